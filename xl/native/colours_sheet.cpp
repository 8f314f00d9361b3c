// Sheet::visit_colours and the tab members: the colour walk over a sheet's cells (through the
// styles part), conditional formats, comments, shapes and tab, rewriting what the visitor
// answers. Cell formats and differential formats are never edited in place: a changed one is
// appended as a new entry and only this sheet's cells and rules are pointed at it.

#include <map>
#include <set>

#include "xl/native/book.h"
#include "xl/native/colours.h"
#include "xl/native/drawing.h"
#include "xl/native/structure_support.h"

namespace sheaflow::xl::native {
namespace {

// A colour element inside a style entry (font, fill, border, dxf): its item word and its
// position among the entry's descendants, so that the same element can be found in a copy.
struct Slot {
    const char* item;
    char group;  // 'f' font, 'l' fill, 'b' border, 'd' differential format
    std::size_t ordinal;
    pugi::xml_node colour;
};

std::vector<pugi::xml_node> descendants(pugi::xml_node n) {
    std::vector<pugi::xml_node> out;
    for (pugi::xml_node d = n.first_child(); d;) {
        if (d.type() == pugi::node_element) out.push_back(d);
        if (d.first_child()) {
            d = d.first_child();
            continue;
        }
        while (d && d != n && !d.next_sibling()) d = d.parent();
        if (!d || d == n) break;
        d = d.next_sibling();
    }
    return out;
}

pugi::xml_node nth(pugi::xml_node list, std::uint32_t index) {
    std::uint32_t i = 0;
    for (pugi::xml_node n = list.first_child(); n; n = n.next_sibling()) {
        if (n.type() != pugi::node_element) continue;
        if (i++ == index) return n;
    }
    return {};
}

std::uint32_t element_count(pugi::xml_node list) {
    std::uint32_t i = 0;
    for (pugi::xml_node n = list.first_child(); n; n = n.next_sibling())
        if (n.type() == pugi::node_element) ++i;
    return i;
}

// Appends a copy of `entry` to `list`, keeps the count attribute right, returns its index.
std::uint32_t append_entry(pugi::xml_node list, pugi::xml_node entry) {
    std::uint32_t index = element_count(list);
    pugi::xml_node last;
    for (pugi::xml_node n = list.last_child(); n; n = n.previous_sibling())
        if (n.type() == pugi::node_element) {
            last = n;
            break;
        }
    if (last)
        list.insert_copy_after(entry, last);
    else
        list.append_copy(entry);
    if (pugi::xml_attribute c = list.attribute("count")) c.set_value(index + 1);
    return index;
}

// The colour elements of a fill, font or border with their item words.
void fill_slots(pugi::xml_node fill, char group, bool dxf, const ColourKinds& k,
                std::vector<Slot>& out, const std::vector<pugi::xml_node>& order) {
    auto ordinal = [&](pugi::xml_node n) {
        return static_cast<std::size_t>(std::find(order.begin(), order.end(), n) - order.begin());
    };
    pugi::xml_node pattern = xml::child(fill, "patternFill");
    if (pattern) {
        std::string_view type = pattern.attribute("patternType").value();
        pugi::xml_node fg = xml::child(pattern, "fgColor"), bg = xml::child(pattern, "bgColor");
        bool solid = type == "solid" || (dxf && type.empty());
        if (type == "none" && !dxf) return;
        if (solid) {
            // A solid fill shows its foreground colour (in a differential format, its
            // background colour).
            pugi::xml_node shown = dxf ? (bg ? bg : fg) : fg;
            if (k.interior && shown) out.push_back({"背景", group, ordinal(shown), shown});
        } else {
            if (k.pattern && fg) out.push_back({"パターン", group, ordinal(fg), fg});
            if (k.interior && bg) out.push_back({"背景", group, ordinal(bg), bg});
        }
    }
    if (pugi::xml_node gradient = xml::child(fill, "gradientFill"); gradient && k.interior)
        for (pugi::xml_node stop = gradient.first_child(); stop; stop = stop.next_sibling())
            if (pugi::xml_node c = xml::child(stop, "color"))
                out.push_back({"背景", group, ordinal(c), c});
}

void font_slots(pugi::xml_node font, char group, const ColourKinds& k, std::vector<Slot>& out,
                const std::vector<pugi::xml_node>& order) {
    if (!k.font) return;
    if (pugi::xml_node c = xml::child(font, "color"))
        out.push_back(
            {"文字", group,
             static_cast<std::size_t>(std::find(order.begin(), order.end(), c) - order.begin()),
             c});
}

void border_slots(pugi::xml_node border, char group, const ColourKinds& k, std::vector<Slot>& out,
                  const std::vector<pugi::xml_node>& order) {
    if (!k.borders) return;
    std::string_view down = border.attribute("diagonalDown").value();
    for (pugi::xml_node side = border.first_child(); side; side = side.next_sibling()) {
        std::string_view style = side.attribute("style").value();
        pugi::xml_node c = xml::child(side, "color");
        if (!c || style.empty() || style == "none") continue;
        std::string_view n = xml::local_name(side.name());
        const char* word = nullptr;
        if (n == "left" || n == "start") word = "罫線左";
        if (n == "right" || n == "end") word = "罫線右";
        if (n == "top") word = "罫線上";
        if (n == "bottom") word = "罫線下";
        if (n == "vertical") word = "罫線内側の縦";
        if (n == "horizontal") word = "罫線内側の横";
        if (n == "diagonal") word = (down == "1" || down == "true") ? "罫線斜め下" : "罫線斜め上";
        if (!word) continue;
        out.push_back(
            {word, group,
             static_cast<std::size_t>(std::find(order.begin(), order.end(), c) - order.begin()),
             c});
    }
}

bool same_attributes(pugi::xml_node a, pugi::xml_node b) {
    std::map<std::string, std::string> x, y;
    for (pugi::xml_attribute at : a.attributes()) x[at.name()] = at.value();
    for (pugi::xml_attribute at : b.attributes()) y[at.name()] = at.value();
    return x == y;
}

// A decision of the visitor: slot index -> colour to write.
using Decisions = std::vector<std::pair<std::size_t, std::int32_t>>;

std::string decisions_key(std::uint32_t index, const Decisions& d) {
    std::string key = std::to_string(index);
    for (const auto& [slot, colour] : d)
        key += "," + std::to_string(slot) + ":" + std::to_string(colour);
    return key;
}

// A copy of `entry` appended to `list` with the decided colours written into it.
std::uint32_t copy_with(pugi::xml_node list, pugi::xml_node entry, const std::vector<Slot>& slots,
                        const Decisions& d, char group) {
    std::uint32_t index = append_entry(list, entry);
    pugi::xml_node copy = nth(list, index);
    std::vector<pugi::xml_node> order = descendants(copy);
    for (const auto& [slot, colour] : d)
        if (slots[slot].group == group && slots[slot].ordinal < order.size())
            write_spreadsheet_colour(order[slots[slot].ordinal], colour);
    return index;
}

struct Walk {
    Book& book;
    const ColourKinds& kinds;
    const ColourVisit& visit;
    ColourResolver resolver;
    EditedPart styles;

    // Visits the slots; the decisions for the colours the visitor changes.
    Decisions decide(const std::string& place, const std::vector<Slot>& slots,
                     pugi::xml_node default_font_colour = {}) {
        Decisions d;
        for (std::size_t i = 0; i < slots.size(); ++i) {
            ResolvedColour rc = resolver.spreadsheet(slots[i].colour);
            if (rc.automatic) continue;
            bool is_default = slots[i].group == 'f' && default_font_colour &&
                              same_attributes(slots[i].colour, default_font_colour);
            auto answer =
                visit(ColourUse{place, slots[i].item, rc.colour, rc.known, is_default});
            if (answer && rc.known && *answer >= 0 && *answer != rc.colour)
                d.emplace_back(i, *answer);
        }
        return d;
    }
};

struct XfInfo {
    bool read = false;
    std::vector<Slot> slots;
    pugi::xml_node xf, font, fill, border;
};

}  // namespace

std::vector<std::string> related_parts(Book& b, const std::string& part, std::string_view type) {
    std::vector<std::string> out;
    std::string rels_name = rels_path_for(part);
    if (!b.package().has(rels_name)) return out;
    auto bytes = b.package().read(rels_name);
    if (!bytes) return out;
    Relationships rels;
    if (!rels.parse(*bytes, rels_name)) return out;
    for (const auto& item : rels.items()) {
        if (item.type != type || item.external) continue;
        std::string target = resolve_target(part, item.target);
        if (b.package().has(target)) out.push_back(*b.package().find(target));
    }
    return out;
}

Result<void> EditedPart::load(Book& b, const std::string& part_name) {
    name = part_name;
    auto bytes = b.package().read(part_name);
    if (!bytes) return bytes.error();
    return xml::load(doc, *bytes, part_name);
}

void EditedPart::store(Book& b) const {
    if (changed) b.package().write(name, xml::save(doc));
}

Result<void> Sheet::visit_colours(const ColourKinds& kinds, const ColourVisit& visit) {
    if (!has_cells()) return Error::failed("ワークシートではありません。");
    if (auto r = check(); !r) return r;
    Walk w{book_, kinds, visit, {}, {}};
    if (auto item = book_.workbook_rels().by_type(rel::kStyles)) {
        std::string part = resolve_target(book_.workbook_part_name(), item->target);
        if (book_.package().has(part))
            if (auto r = w.styles.load(book_, *book_.package().find(part)); !r) return r;
    }
    pugi::xml_node sroot = w.styles.doc.root();
    w.resolver.load(book_, sroot);

    auto text = structure::sheet_text(book_, *this);
    if (!text) return text.error();
    EditedPart sheet;
    sheet.name = part_name_;
    if (auto r = xml::load(sheet.doc, *text, part_name_); !r) return r;
    pugi::xml_node root = sheet.doc.root();

    // Cells.
    bool cell_kinds = kinds.font || kinds.interior || kinds.pattern || kinds.borders;
    if (cell_kinds && sroot) {
        pugi::xml_node xfs = xml::child(sroot, "cellXfs"), fonts = xml::child(sroot, "fonts"),
                       fills = xml::child(sroot, "fills"), borders = xml::child(sroot, "borders");
        std::vector<XfInfo> info(element_count(xfs));
        pugi::xml_node default_font_colour = xml::child(nth(fonts, 0), "color");
        std::map<std::string, std::uint32_t> made;  // decisions key -> new xf
        auto info_of = [&](std::uint32_t s) -> XfInfo& {
            XfInfo& x = info[s];
            if (x.read) return x;
            x.read = true;
            x.xf = nth(xfs, s);
            x.font = nth(fonts, x.xf.attribute("fontId").as_uint(0));
            x.fill = nth(fills, x.xf.attribute("fillId").as_uint(0));
            x.border = nth(borders, x.xf.attribute("borderId").as_uint(0));
            font_slots(x.font, 'f', kinds, x.slots, descendants(x.font));
            fill_slots(x.fill, 'l', false, kinds, x.slots, descendants(x.fill));
            border_slots(x.border, 'b', kinds, x.slots, descendants(x.border));
            return x;
        };
        pugi::xml_node data = xml::child(root, "sheetData");
        for (pugi::xml_node row = data.first_child(); row; row = row.next_sibling()) {
            if (xml::local_name(row.name()) != "row") continue;
            for (pugi::xml_node c = row.first_child(); c; c = c.next_sibling()) {
                if (xml::local_name(c.name()) != "c") continue;
                std::uint32_t s = c.attribute("s").as_uint(0);
                if (s >= info.size()) continue;
                XfInfo& x = info_of(s);
                if (x.slots.empty()) continue;
                std::string place = c.attribute("r").value();
                Decisions d = w.decide(place, x.slots, default_font_colour);
                if (d.empty()) continue;
                std::string key = decisions_key(s, d);
                auto it = made.find(key);
                if (it == made.end()) {
                    bool font = false, fill = false, border = false;
                    for (const auto& [slot, colour] : d) {
                        font |= x.slots[slot].group == 'f';
                        fill |= x.slots[slot].group == 'l';
                        border |= x.slots[slot].group == 'b';
                    }
                    pugi::xml_document tmp;
                    pugi::xml_node xf = tmp.append_copy(x.xf);
                    if (font)
                        xf.attribute("fontId").set_value(copy_with(fonts, x.font, x.slots, d, 'f'));
                    if (fill)
                        xf.attribute("fillId").set_value(copy_with(fills, x.fill, x.slots, d, 'l'));
                    if (border)
                        xf.attribute("borderId")
                            .set_value(copy_with(borders, x.border, x.slots, d, 'b'));
                    it = made.emplace(key, append_entry(xfs, xf)).first;
                    w.styles.changed = true;
                }
                pugi::xml_attribute sa = c.attribute("s");
                if (!sa) sa = c.append_attribute("s");
                sa.set_value(it->second);
                sheet.changed = true;
            }
        }
    }

    // Conditional formats: the differential formats their rules use, and the colours of colour
    // scales and data bars.
    if (kinds.format_conditions) {
        pugi::xml_node dxfs = xml::child(sroot, "dxfs");
        // Every colour of a rule's format counts as the rule's.
        ColourKinds every_cell_kind;
        every_cell_kind.font = every_cell_kind.interior = every_cell_kind.pattern =
            every_cell_kind.borders = true;
        std::map<std::string, std::uint32_t> made;
        for (pugi::xml_node cf = root.first_child(); cf; cf = cf.next_sibling()) {
            if (xml::local_name(cf.name()) != "conditionalFormatting") continue;
            std::string place = std::string("条件書式(") + cf.attribute("sqref").value() + ")";
            for (pugi::xml_node rule = cf.first_child(); rule; rule = rule.next_sibling()) {
                if (xml::local_name(rule.name()) != "cfRule") continue;
                for (pugi::xml_node n : descendants(rule)) {
                    if (xml::local_name(n.name()) != "color") continue;
                    ResolvedColour rc = w.resolver.spreadsheet(n);
                    if (rc.automatic) continue;
                    auto answer = visit(ColourUse{place, "背景", rc.colour, rc.known});
                    if (answer && rc.known && *answer >= 0 && *answer != rc.colour) {
                        write_spreadsheet_colour(n, *answer);
                        sheet.changed = true;
                    }
                }
                pugi::xml_attribute id = rule.attribute("dxfId");
                if (!id || !dxfs) continue;
                pugi::xml_node dxf = nth(dxfs, id.as_uint());
                if (!dxf) continue;
                std::vector<Slot> slots;
                std::vector<pugi::xml_node> order = descendants(dxf);
                font_slots(xml::child(dxf, "font"), 'd', every_cell_kind, slots, order);
                fill_slots(xml::child(dxf, "fill"), 'd', true, every_cell_kind, slots, order);
                border_slots(xml::child(dxf, "border"), 'd', every_cell_kind, slots, order);
                Decisions d = w.decide(place, slots);
                if (d.empty()) continue;
                std::string key = decisions_key(id.as_uint(), d);
                auto it = made.find(key);
                if (it == made.end()) {
                    it = made.emplace(key, copy_with(dxfs, dxf, slots, d, 'd')).first;
                    w.styles.changed = true;
                }
                id.set_value(it->second);
                sheet.changed = true;
            }
        }
    }

    // The tab.
    if (kinds.tab) {
        pugi::xml_node tab = xml::child(xml::child(root, "sheetPr"), "tabColor");
        ResolvedColour rc = w.resolver.spreadsheet(tab);
        if (!rc.automatic) {
            auto answer = visit(ColourUse{"タブ", "タブ", rc.colour, rc.known});
            if (answer && rc.known && *answer >= 0 && *answer != rc.colour) {
                write_spreadsheet_colour(tab, *answer);
                sheet.changed = true;
            }
        }
    }

    if (kinds.comments)
        if (auto r = visit_comment_colours(book_, part_name_, w.resolver, visit); !r) return r;
    if (kinds.shapes)
        if (auto r = visit_shape_colours(book_, part_name_, w.resolver, visit); !r) return r;

    if (w.styles.changed) {
        w.styles.store(book_);
        book_.styles_changed();
    }
    if (sheet.changed) {
        if (auto r = structure::store_sheet_text(book_, *this, xml::save(sheet.doc)); !r) return r;
    }
    if (w.styles.changed || sheet.changed) book_.set_saved(false);
    return {};
}

}  // namespace sheaflow::xl::native

namespace sheaflow::xl::native {

std::optional<std::int32_t> Sheet::tab_colour() {
    ColourKinds tab;
    tab.tab = true;
    std::optional<std::int32_t> out;
    (void)visit_colours(tab, [&](const ColourUse& u) -> std::optional<std::int32_t> {
        if (u.known) out = u.colour;
        return std::nullopt;
    });
    return out;
}

Result<void> Sheet::set_tab_colour(std::int32_t colour) {
    if (!has_cells()) return Error::failed("ワークシートではありません。");
    if (auto r = check(); !r) return r;
    auto text = structure::sheet_text(book_, *this);
    if (!text) return text.error();
    xml::Document doc;
    if (auto r = xml::load(doc, *text, part_name_); !r) return r;
    pugi::xml_node root = doc.root();
    std::string prefix = xml::prefix_of(root);
    pugi::xml_node pr = xml::child(root, "sheetPr");
    pugi::xml_node tab = xml::child(pr, "tabColor");
    if (colour < 0) {
        if (!tab) return {};
        pr.remove_child(tab);
    } else {
        if (!pr) pr = root.prepend_child((prefix + "sheetPr").c_str());
        if (!tab) tab = pr.prepend_child((prefix + "tabColor").c_str());
        write_spreadsheet_colour(tab, colour);
    }
    book_.set_saved(false);
    return structure::store_sheet_text(book_, *this, xml::save(doc));
}

int Book::first_tab() {
    pugi::xml_node view = xml::child(xml::child(workbook_.root(), "bookViews"), "workbookView");
    return view.attribute("firstSheet").as_int(0) + 1;
}

Result<void> Book::set_first_tab(int position) {
    if (position < 1 || position > sheet_count())
        return Error::failed("シート番号が間違っています。");
    if (position == first_tab()) return {};
    pugi::xml_node views = xml::child(workbook_.root(), "bookViews");
    if (!views) views = workbook_.insert_in_order("bookViews");
    pugi::xml_node view = xml::child(views, "workbookView");
    if (!view) view = views.append_child((xml::prefix_of(views) + "workbookView").c_str());
    pugi::xml_attribute a = view.attribute("firstSheet");
    if (!a) a = view.append_attribute("firstSheet");
    a.set_value(position - 1);
    workbook_.mark_dirty();
    saved_ = false;
    return {};
}

}  // namespace sheaflow::xl::native
