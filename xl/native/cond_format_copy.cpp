// Conditional formats copied from one range to another (of any sheet of any open workbook): the
// <conditionalFormatting> blocks that meet the source range, cut to it, moved, and added to the
// destination sheet's part with fresh priorities. Rules kept only in the sheet's extension are not
// copied.

#include <algorithm>

#include "xl/native/book.h"
#include "xl/native/formula.h"
#include "xl/native/structure_copy.h"
#include "xl/native/structure_support.h"

namespace sheaflow::xl::native {
namespace {

Error refused(std::string m) { return Error::make(Error::Code::Refused, std::move(m)); }

std::vector<Area> areas_of(std::string_view sqref) {
    std::vector<Area> out;
    std::size_t i = 0;
    while (i < sqref.size()) {
        std::size_t sp = sqref.find(' ', i);
        std::string_view one = sqref.substr(i, sp == std::string_view::npos ? sp : sp - i);
        i = sp == std::string_view::npos ? sqref.size() : sp + 1;
        if (auto a = parse_address(one)) out.push_back(*a);
    }
    return out;
}

std::string sqref_of(const std::vector<Area>& areas) {
    std::string out;
    for (const Area& a : areas) {
        if (!out.empty()) out += ' ';
        std::string t = format_address(a, false, false);
        if (a.first_row == a.last_row && a.first_col == a.last_col) t = t.substr(0, t.find(':'));
        out += t;
    }
    return out;
}

void rename_tree(pugi::xml_node n, const std::string& prefix) {
    if (n.type() != pugi::node_element) return;
    n.set_name((prefix + std::string(xml::local_name(n.name()))).c_str());
    for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling()) rename_tree(c, prefix);
}

// Where a new <conditionalFormatting> goes: after the last one, else before the first element
// that follows them in the schema.
pugi::xml_node insert_point(pugi::xml_node root, const std::string& name) {
    pugi::xml_node last;
    for (pugi::xml_node c = root.first_child(); c; c = c.next_sibling())
        if (c.type() == pugi::node_element && xml::local_name(c.name()) == "conditionalFormatting")
            last = c;
    if (last) return root.insert_child_after(name.c_str(), last);
    static const char* const kAfter[] = {
        "dataValidations", "hyperlinks", "printOptions", "pageMargins", "pageSetup",
        "headerFooter", "rowBreaks", "colBreaks", "customProperties", "cellWatches",
        "ignoredErrors", "smartTags", "drawing", "legacyDrawing", "legacyDrawingHF",
        "drawingHF", "picture", "oleObjects", "controls", "webPublishItems", "tableParts",
        "extLst"};
    for (pugi::xml_node c = root.first_child(); c; c = c.next_sibling()) {
        if (c.type() != pugi::node_element) continue;
        std::string_view l = xml::local_name(c.name());
        if (std::find(std::begin(kAfter), std::end(kAfter), l) != std::end(kAfter))
            return root.insert_child_before(name.c_str(), c);
    }
    return root.append_child(name.c_str());
}

}  // namespace

Result<void> Sheet::paste_conditional_formats(Worksheet& source, const Area& from, CellRef to) {
    auto* src = dynamic_cast<Sheet*>(&source);
    if (!src || !src->has_cells() || !has_cells())
        return refused("ワークシートではないシートの条件付き書式は扱えません。");
    const std::int32_t dr = to.row - from.first_row, dc = to.col - from.first_col;
    if (to.row < 1 || to.col < 1 || from.last_row + dr > 1048576 || from.last_col + dc > 16384)
        return refused("貼り付け先がシートの範囲外です。");
    if (auto r = src->check(); !r) return r;
    if (auto r = check(); !r) return r;
    auto src_text = structure::sheet_text(src->book_, *src);
    if (!src_text) return src_text.error();
    xml::Document sdoc;
    if (auto r = xml::load(sdoc, *src_text, src->part_name_); !r) return r;

    std::vector<pugi::xml_node> blocks;
    std::vector<std::vector<Area>> cut;
    for (pugi::xml_node c = sdoc.root().first_child(); c; c = c.next_sibling()) {
        if (c.type() != pugi::node_element || xml::local_name(c.name()) != "conditionalFormatting")
            continue;
        std::vector<Area> kept;
        for (const Area& a : areas_of(c.attribute("sqref").value())) {
            Area i{std::max(a.first_row, from.first_row), std::max(a.first_col, from.first_col),
                   std::min(a.last_row, from.last_row), std::min(a.last_col, from.last_col)};
            if (i.first_row <= i.last_row && i.first_col <= i.last_col)
                kept.push_back({i.first_row + dr, i.first_col + dc, i.last_row + dr, i.last_col + dc});
        }
        if (kept.empty()) continue;
        blocks.push_back(c);
        cut.push_back(std::move(kept));
    }
    if (blocks.empty()) return {};

    auto text = structure::sheet_text(book_, *this);
    if (!text) return text.error();
    xml::Document doc;
    if (auto r = xml::load(doc, *text, part_name_); !r) return r;
    pugi::xml_node root = doc.root();
    std::string prefix = xml::prefix_of(root);
    int priority = 0;
    for (pugi::xml_node c = root.first_child(); c; c = c.next_sibling())
        if (c.type() == pugi::node_element && xml::local_name(c.name()) == "conditionalFormatting")
            for (pugi::xml_node r = c.first_child(); r; r = r.next_sibling())
                priority = std::max(priority, r.attribute("priority").as_int(0));

    std::unique_ptr<PasteTransfer> transfer;
    if (&src->book_ != &book_) {
        transfer = std::make_unique<PasteTransfer>(src->book_, book_);
        if (auto r = transfer->load(); !r) return r;
    }
    for (std::size_t k = 0; k < blocks.size(); ++k) {
        std::vector<Area> old_areas = areas_of(blocks[k].attribute("sqref").value());
        // Formulas read relative to the first cell of the range.
        std::int32_t fr = cut[k].front().first_row - old_areas.front().first_row;
        std::int32_t fc = cut[k].front().first_col - old_areas.front().first_col;
        pugi::xml_node added = insert_point(root, prefix + "conditionalFormatting");
        for (pugi::xml_attribute a : blocks[k].attributes())
            added.append_attribute(a.name()).set_value(a.value());
        added.attribute("sqref").set_value(sqref_of(cut[k]).c_str());
        for (pugi::xml_node c = blocks[k].first_child(); c; c = c.next_sibling())
            added.append_copy(c);
        // A rule's own extLst links it by id to its completion in the sheet's extension (a data
        // bar's newer settings), which is not copied: the copy is the rule as the older format
        // keeps it, with no second rule claiming the same id.
        for (pugi::xml_node rule = added.first_child(); rule; rule = rule.next_sibling())
            while (pugi::xml_node ext = xml::child(rule, "extLst")) rule.remove_child(ext);
        rename_tree(added, prefix);
        for (pugi::xml_node rule = added.first_child(); rule; rule = rule.next_sibling()) {
            if (rule.type() != pugi::node_element) continue;
            if (pugi::xml_attribute p = rule.attribute("priority")) p.set_value(++priority);
            if (pugi::xml_attribute d = rule.attribute("dxfId"); d && transfer)
                d.set_value(transfer->differential_format(d.as_uint()));
            for (pugi::xml_node f = rule.first_child(); f; f = f.next_sibling()) {
                if (f.type() != pugi::node_element || xml::local_name(f.name()) != "formula")
                    continue;
                std::string moved = formula::shift(f.text().get(), fr, fc);
                if (transfer) moved = transfer->formula(moved);
                f.text().set(moved.c_str());
            }
        }
    }
    if (transfer)
        if (auto r = transfer->finish(); !r) return r;
    book_.set_saved(false);
    return structure::store_sheet_text(book_, *this, xml::save(doc));
}

}  // namespace sheaflow::xl::native
