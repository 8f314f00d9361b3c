#include "xl/native/sheet_xml.h"

#include <algorithm>

#include "xl/native/book.h"
#include "xl/native/structure_support.h"

namespace sheaflow::xl::native {
namespace {

// The worksheet's children in schema order.
const char* const kOrder[] = {
    "sheetPr",        "dimension",        "sheetViews",      "sheetFormatPr",
    "cols",           "sheetData",        "sheetCalcPr",     "sheetProtection",
    "protectedRanges", "scenarios",       "autoFilter",      "sortState",
    "dataConsolidate", "customSheetViews", "mergeCells",     "phoneticPr",
    "conditionalFormatting", "dataValidations", "hyperlinks", "printOptions",
    "pageMargins",    "pageSetup",        "headerFooter",    "rowBreaks",
    "colBreaks",      "customProperties", "cellWatches",     "ignoredErrors",
    "smartTags",      "drawing",          "legacyDrawing",   "legacyDrawingHF",
    "drawingHF",      "picture",          "oleObjects",      "controls",
    "webPublishItems", "tableParts",      "extLst"};

int order_of(std::string_view local) {
    for (int i = 0; i < static_cast<int>(std::size(kOrder)); ++i)
        if (local == kOrder[i]) return i;
    return -1;
}

}  // namespace

Result<void> read_sheet_xml(Book& b, Sheet& s, xml::Document& doc) {
    auto text = structure::sheet_text(b, s);
    if (!text) return text.error();
    return xml::load(doc, *text, s.part_name());
}

Result<void> edit_sheet_xml(Book& b, Sheet& s,
                            const std::function<Result<bool>(pugi::xml_node root)>& edit) {
    if (!s.has_cells()) return Error::failed("ワークシートではありません。");
    if (auto r = s.check(); !r) return r;
    xml::Document doc;
    if (auto r = read_sheet_xml(b, s, doc); !r) return r;
    auto changed = edit(doc.root());
    if (!changed) return changed.error();
    if (!*changed) return {};
    b.set_saved(false);
    return structure::store_sheet_text(b, s, xml::save(doc));
}

pugi::xml_node sheet_element(pugi::xml_node root, const char* local) {
    if (pugi::xml_node n = xml::child(root, local)) return n;
    const int mine = order_of(local);
    std::string name = xml::prefix_of(root) + local;
    for (pugi::xml_node n = root.first_child(); n; n = n.next_sibling()) {
        if (n.type() != pugi::node_element) continue;
        if (order_of(xml::local_name(n.name())) > mine)
            return root.insert_child_before(name.c_str(), n);
    }
    return root.append_child(name.c_str());
}

namespace {

bool has_element(pugi::xml_node n) {
    for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling())
        if (c.type() == pugi::node_element) return true;
    return false;
}

}  // namespace

std::vector<pugi::xml_node> extension_lists(pugi::xml_node root, std::string_view local) {
    std::vector<pugi::xml_node> out;
    for (pugi::xml_node ext = xml::child(root, "extLst").first_child(); ext;
         ext = ext.next_sibling()) {
        if (ext.type() != pugi::node_element || xml::local_name(ext.name()) != "ext") continue;
        for (pugi::xml_node n = ext.first_child(); n; n = n.next_sibling())
            if (n.type() == pugi::node_element && xml::local_name(n.name()) == local)
                out.push_back(n);
    }
    return out;
}

void remove_when_empty(pugi::xml_node list) {
    pugi::xml_node n = list;
    while (n && !has_element(n)) {
        pugi::xml_node parent = n.parent();
        // Up to the extLst, not beyond it.
        const bool last = xml::local_name(n.name()) == "extLst";
        parent.remove_child(n);
        if (last) break;
        n = parent;
    }
}

std::string extension_sqref(pugi::xml_node entry) {
    return xml::child(entry, "sqref").text().get();
}

void set_extension_sqref(pugi::xml_node entry, const std::string& sqref) {
    xml::child(entry, "sqref").text().set(sqref.c_str());
}

std::vector<Area> parse_sqref(std::string_view sqref) {
    std::vector<Area> out;
    std::size_t i = 0;
    while (i < sqref.size()) {
        std::size_t j = sqref.find(' ', i);
        if (j == std::string_view::npos) j = sqref.size();
        if (j > i)
            if (auto a = parse_address(sqref.substr(i, j - i))) out.push_back(*a);
        i = j + 1;
    }
    return out;
}

std::string format_sqref(const std::vector<Area>& areas) {
    std::string out;
    for (const Area& a : areas) {
        if (!out.empty()) out += ' ';
        out += format_address(a, false, false);
    }
    return out;
}

bool overlaps(const Area& a, const Area& b) {
    return a.first_row <= b.last_row && b.first_row <= a.last_row && a.first_col <= b.last_col &&
           b.first_col <= a.last_col;
}

std::vector<Area> subtract_area(const Area& a, const Area& cut) {
    if (!overlaps(a, cut)) return {a};
    std::vector<Area> out;
    // Rows above and below the cut, then the columns left and right of it between them.
    if (a.first_row < cut.first_row)
        out.push_back({a.first_row, a.first_col, cut.first_row - 1, a.last_col});
    if (a.last_row > cut.last_row)
        out.push_back({cut.last_row + 1, a.first_col, a.last_row, a.last_col});
    std::int32_t top = std::max(a.first_row, cut.first_row);
    std::int32_t bottom = std::min(a.last_row, cut.last_row);
    if (a.first_col < cut.first_col) out.push_back({top, a.first_col, bottom, cut.first_col - 1});
    if (a.last_col > cut.last_col) out.push_back({top, cut.last_col + 1, bottom, a.last_col});
    return out;
}

}  // namespace sheaflow::xl::native
