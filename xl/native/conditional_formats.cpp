// Sheet's conditional formats: the rules of the worksheet's conditionalFormatting elements
// listed, a rule of the common kinds added on top of the others (its format a differential format
// of the styles part, reused when an equal one exists), and the rules cut out of areas. Rules the
// application keeps in its extension (x14:conditionalFormatting: data bars' extra settings, icon
// sets, rules on other sheets' cells) are listed and cut alike; their range is an xm:sqref
// element and their formulas xm:f elements.

#include <optional>
#include <set>

#include "xl/native/book.h"
#include "xl/native/cell_formats.h"
#include "xl/native/colours.h"
#include "xl/native/sheet_xml.h"

namespace sheaflow::xl::native {
namespace {

std::vector<pugi::xml_node> formattings(pugi::xml_node root) {
    std::vector<pugi::xml_node> out;
    for (pugi::xml_node n = root.first_child(); n; n = n.next_sibling())
        if (n.type() == pugi::node_element &&
            xml::local_name(n.name()) == "conditionalFormatting")
            out.push_back(n);
    return out;
}

std::vector<pugi::xml_node> extension_formattings(pugi::xml_node root) {
    std::vector<pugi::xml_node> out;
    for (pugi::xml_node list : extension_lists(root, "conditionalFormattings"))
        for (pugi::xml_node n = list.first_child(); n; n = n.next_sibling())
            if (n.type() == pugi::node_element &&
                xml::local_name(n.name()) == "conditionalFormatting")
                out.push_back(n);
    return out;
}

std::vector<pugi::xml_node> rules_of(pugi::xml_node cf) {
    std::vector<pugi::xml_node> out;
    for (pugi::xml_node rule = cf.first_child(); rule; rule = rule.next_sibling())
        if (rule.type() == pugi::node_element && xml::local_name(rule.name()) == "cfRule")
            out.push_back(rule);
    return out;
}

// `area` cut out of a range list; nullopt when the list does not meet it.
std::optional<std::vector<Area>> cut_out(const std::string& sqref, const Area& area) {
    std::vector<Area> kept;
    bool cut = false;
    for (const Area& a : parse_sqref(sqref)) {
        if (overlaps(a, area)) cut = true;
        for (const Area& piece : subtract_area(a, area)) kept.push_back(piece);
    }
    if (!cut) return std::nullopt;
    return kept;
}

std::string quoted(const std::string& text) {
    std::string out = "\"";
    for (char c : text) {
        if (c == '"') out += '"';
        out += c;
    }
    return out + "\"";
}

pugi::xml_node add(pugi::xml_node parent, const char* local) {
    return parent.append_child((xml::prefix_of(parent) + local).c_str());
}

void add_colour(pugi::xml_node parent, std::int32_t colour) {
    write_spreadsheet_colour(add(parent, "color"), colour);
}

}  // namespace

std::vector<ConditionalFormat> Sheet::conditional_formats() {
    std::vector<ConditionalFormat> out;
    if (!has_cells()) return out;
    xml::Document doc;
    if (!read_sheet_xml(book_, *this, doc)) return out;
    auto list = [&](pugi::xml_node cf, const std::string& sqref) {
        for (pugi::xml_node rule : rules_of(cf)) {
            ConditionalFormat f;
            f.sqref = sqref;
            f.type = rule.attribute("type").value();
            f.op = rule.attribute("operator").value();
            f.text = rule.attribute("text").value();
            f.priority = rule.attribute("priority").as_int(0);
            int k = 0;
            for (pugi::xml_node fm = rule.first_child(); fm; fm = fm.next_sibling()) {
                if (fm.type() != pugi::node_element) continue;
                std::string_view l = xml::local_name(fm.name());
                if (l == "formula" || l == "f")
                    (k++ == 0 ? f.formula1 : f.formula2) = fm.text().get();
            }
            out.push_back(std::move(f));
        }
    };
    // A rule of the worksheet may name an extension rule that completes it (a data bar's
    // settings), by the id in its own extLst: that one is not listed a second time.
    std::set<std::string> completing;
    for (pugi::xml_node cf : formattings(doc.root())) {
        list(cf, cf.attribute("sqref").value());
        for (pugi::xml_node rule : rules_of(cf))
            for (pugi::xml_node ext = xml::child(rule, "extLst").first_child(); ext;
                 ext = ext.next_sibling())
                if (pugi::xml_node id = xml::child(ext, "id")) completing.insert(id.text().get());
    }
    for (pugi::xml_node cf : extension_formattings(doc.root())) {
        std::vector<pugi::xml_node> rules = rules_of(cf);
        if (!rules.empty() && completing.count(rules.front().attribute("id").value())) continue;
        list(cf, extension_sqref(cf));
    }
    return out;
}

Result<void> Sheet::add_conditional_format(const ConditionalFormat& f) {
    std::vector<Area> areas = parse_sqref(f.sqref);
    if (areas.empty()) return Error::failed("条件付き書式の範囲が正しくありません。");
    const bool scale = f.type == "colorScale" || f.type == "dataBar";
    if (scale && (f.colours.empty() || (f.type == "colorScale" && f.colours.size() < 2)))
        return Error::failed("条件付き書式の色が指定されていません。");
    std::uint32_t dxf = 0;
    if (!scale) {
        auto ft = book_.formats();
        if (!ft) return ft.error();
        dxf = (*ft)->intern_dxf(f.format);
        if ((*ft)->changed()) {
            (*ft)->store(book_);
            book_.formats_stored();
        }
    }
    return edit_sheet_xml(book_, *this, [&](pugi::xml_node root) -> Result<bool> {
        std::vector<pugi::xml_node> existing = formattings(root);
        // The new rule comes first: every other rule moves down one place, those of the
        // extension too.
        std::vector<pugi::xml_node> all = existing;
        for (pugi::xml_node cf : extension_formattings(root)) all.push_back(cf);
        for (pugi::xml_node cf : all)
            for (pugi::xml_node rule : rules_of(cf))
                if (pugi::xml_attribute p = rule.attribute("priority"))
                    p.set_value(p.as_int(0) + 1);
        std::string name = xml::prefix_of(root) + "conditionalFormatting";
        pugi::xml_node cf = existing.empty()
                                ? sheet_element(root, "conditionalFormatting")
                                : root.insert_child_after(name.c_str(), existing.back());
        cf.append_attribute("sqref") = format_sqref(areas).c_str();
        pugi::xml_node rule = add(cf, "cfRule");
        rule.append_attribute("type") = f.type.c_str();
        if (!scale) rule.append_attribute("dxfId") = dxf;
        rule.append_attribute("priority") = 1;
        const std::string top_left =
            format_address(Area{areas[0].first_row, areas[0].first_col, areas[0].first_row,
                                areas[0].first_col},
                           false, false);
        if (f.type == "cellIs") {
            rule.append_attribute("operator") = f.op.c_str();
            add(rule, "formula").text().set(f.formula1.c_str());
            if (f.op == "between" || f.op == "notBetween")
                add(rule, "formula").text().set(f.formula2.c_str());
        } else if (f.type == "containsText") {
            rule.append_attribute("operator") = "containsText";
            rule.append_attribute("text") = f.text.c_str();
            add(rule, "formula").text().set(
                ("NOT(ISERROR(SEARCH(" + quoted(f.text) + "," + top_left + ")))").c_str());
        } else if (f.type == "expression") {
            add(rule, "formula").text().set(f.formula1.c_str());
        } else if (f.type == "colorScale") {
            pugi::xml_node cs = add(rule, "colorScale");
            add(cs, "cfvo").append_attribute("type") = "min";
            if (f.colours.size() >= 3) {
                pugi::xml_node mid = add(cs, "cfvo");
                mid.append_attribute("type") = "percentile";
                mid.append_attribute("val") = 50;
            }
            add(cs, "cfvo").append_attribute("type") = "max";
            for (std::size_t i = 0; i < f.colours.size() && i < 3; ++i) add_colour(cs, f.colours[i]);
        } else if (f.type == "dataBar") {
            pugi::xml_node bar = add(rule, "dataBar");
            add(bar, "cfvo").append_attribute("type") = "min";
            add(bar, "cfvo").append_attribute("type") = "max";
            add_colour(bar, f.colours[0]);
        }
        return true;
    });
}

Result<void> Sheet::delete_conditional_formats(const Area& area) {
    return edit_sheet_xml(book_, *this, [&](pugi::xml_node root) -> Result<bool> {
        bool changed = false;
        for (pugi::xml_node cf : formattings(root)) {
            auto kept = cut_out(cf.attribute("sqref").value(), area);
            if (!kept) continue;
            changed = true;
            if (kept->empty())
                root.remove_child(cf);
            else
                cf.attribute("sqref").set_value(format_sqref(*kept).c_str());
        }
        for (pugi::xml_node cf : extension_formattings(root)) {
            auto kept = cut_out(extension_sqref(cf), area);
            if (!kept) continue;
            changed = true;
            if (!kept->empty()) {
                set_extension_sqref(cf, format_sqref(*kept));
                continue;
            }
            pugi::xml_node list = cf.parent();
            list.remove_child(cf);
            remove_when_empty(list);
        }
        return changed;
    });
}

}  // namespace sheaflow::xl::native
