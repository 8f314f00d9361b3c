#include "xl/native/structure_support.h"

#include <algorithm>

#include "util/text.h"
#include "xl/native/relationships.h"
#include "xl/native/xml.h"

namespace sheaflow::xl::native::structure {

Error refused(std::string message) { return Error::make(Error::Code::Refused, std::move(message)); }

std::vector<std::string> sheet_names(Book& b, const Sheet* except) {
    std::vector<std::string> names;
    for (const auto& s : b.sheets())
        if (s.get() != except) names.push_back(s->name());
    return names;
}

pugi::xml_node sheet_element(WorkbookPart& wp, int position) {
    int k = 0;
    for (pugi::xml_node n = wp.sheets_node().first_child(); n; n = n.next_sibling()) {
        if (n.type() != pugi::node_element || xml::local_name(n.name()) != "sheet") continue;
        if (k++ == position) return n;
    }
    return {};
}

std::string sheet_rel_id(pugi::xml_node sheet) {
    for (pugi::xml_attribute a : sheet.attributes()) {
        std::string_view name = a.name();
        if (name.find(':') != std::string_view::npos && xml::local_name(name) == "id")
            return a.value();
    }
    return {};
}

pugi::xml_node insert_sheet_element(WorkbookPart& wp, int position, const std::string& name,
                                    const std::string& rel_id) {
    constexpr std::string_view kRelNs =
        "http://schemas.openxmlformats.org/officeDocument/2006/relationships";
    std::string r_prefix;
    for (pugi::xml_attribute at : wp.root().attributes()) {
        std::string_view n = at.name();
        if (n.substr(0, 6) == "xmlns:" && at.value() == kRelNs) r_prefix = std::string(n.substr(6));
    }
    if (r_prefix.empty()) {
        r_prefix = "r";
        wp.root().append_attribute("xmlns:r").set_value(std::string(kRelNs).c_str());
    }
    std::uint32_t sheet_id = 0;
    for (const WorkbookPart::Sheet& s : wp.sheets()) sheet_id = std::max(sheet_id, s.sheet_id);
    pugi::xml_node list = wp.sheets_node();
    if (!list) list = wp.insert_in_order("sheets");
    std::string element_name = xml::prefix_of(wp.root()) + "sheet";
    pugi::xml_node next = sheet_element(wp, position);
    pugi::xml_node element = next ? list.insert_child_before(element_name.c_str(), next)
                                  : list.append_child(element_name.c_str());
    element.append_attribute("name").set_value(name.c_str());
    element.append_attribute("sheetId").set_value(sheet_id + 1);
    element.append_attribute((r_prefix + ":id").c_str()).set_value(rel_id.c_str());
    wp.mark_dirty();
    return element;
}

std::vector<pugi::xml_node> defined_names(WorkbookPart& wp) {
    std::vector<pugi::xml_node> out;
    for (pugi::xml_node n = wp.defined_names_node().first_child(); n; n = n.next_sibling())
        if (n.type() == pugi::node_element && xml::local_name(n.name()) == "definedName")
            out.push_back(n);
    return out;
}

void remap_sheet_indexes(WorkbookPart& wp, const std::function<int(int)>& map) {
    bool changed = false;
    for (pugi::xml_node n : defined_names(wp)) {
        pugi::xml_attribute a = n.attribute("localSheetId");
        if (!a) continue;
        int to = map(a.as_int(-1));
        if (to < 0) {
            n.parent().remove_child(n);
            changed = true;
        } else if (to != a.as_int(-1)) {
            a.set_value(to);
            changed = true;
        }
    }
    pugi::xml_node names = wp.defined_names_node();
    if (names && !xml::child(names, "definedName")) {
        wp.root().remove_child(names);
        changed = true;
    }
    for (pugi::xml_node v = xml::child(xml::child(wp.root(), "bookViews"), "workbookView"); v;
         v = v.next_sibling()) {
        pugi::xml_attribute a = v.attribute("firstSheet");
        if (!a) continue;
        int to = map(a.as_int(0));
        if (to < 0) to = std::max(0, a.as_int(0) - 1);
        if (to != a.as_int(0)) {
            a.set_value(to);
            changed = true;
        }
    }
    if (changed) wp.mark_dirty();
}

Result<std::string> sheet_text(Book& b, Sheet& s) {
    if (s.loaded()) {
        auto part = s.part();
        if (!part) return part.error();
        return (*part)->serialize();
    }
    return b.package().read(s.part_name());
}

Result<void> store_sheet_text(Book& b, Sheet& s, std::string text) {
    if (s.loaded()) {
        auto part = std::make_unique<WorksheetPart>();
        if (auto r = part->parse(text, s.part_name()); !r) return r;
        part->mark_dirty();
        s.adopt_part(std::move(part));
    }
    b.package().write(s.part_name(), std::move(text));
    return {};
}

namespace {

bool formula_part_type(std::string_view type) {
    return type == kChartType || type == kChartExType || type == kDrawingType ||
           type == kCtrlPropType || type == kTableType;
}

}  // namespace

Result<void> rewrite_workbook_formulas(Book& b, const FormulaEdit& edit, std::string_view probe,
                                       const Sheet* skip) {
    // Everything is read and rewritten first, then stored, so that a part that cannot be read
    // leaves the workbook as it was.
    std::vector<std::pair<Sheet*, std::string>> sheets;
    std::vector<std::pair<std::string, std::string>> parts;
    for (auto& s : b.sheets()) {
        if (s.get() == skip || !s->has_cells()) continue;
        auto text = sheet_text(b, *s);
        if (!text) return text.error();
        if (!may_mention(*text, probe)) continue;
        if (auto edited = rewrite_part_formulas(*text, edit))
            sheets.emplace_back(s.get(), std::move(*edited));
    }
    auto ct = b.content_types();
    if (!ct) return ct.error();
    for (const std::string& name : b.package().part_names()) {
        if (!formula_part_type((*ct)->type_of(name))) continue;
        auto text = b.package().read(name);
        if (!text) return text.error();
        if (!may_mention(*text, probe)) continue;
        if (auto edited = rewrite_part_formulas(*text, edit))
            parts.emplace_back(name, std::move(*edited));
    }
    for (auto& [sheet, text] : sheets)
        if (auto r = store_sheet_text(b, *sheet, std::move(text)); !r) return r;
    for (auto& [name, text] : parts) b.package().write(name, std::move(text));
    bool names_changed = false;
    for (pugi::xml_node n : defined_names(b.workbook_part())) {
        std::string f = n.text().get();
        std::string edited = edit(f);
        if (edited == f) continue;
        n.text().set(edited.c_str());
        names_changed = true;
    }
    if (names_changed) b.workbook_part().mark_dirty();
    return {};
}

std::string rels_source(std::string_view rels_part) {
    std::size_t slash = rels_part.rfind("_rels/");
    if (slash == std::string_view::npos) return {};
    std::string folder(rels_part.substr(0, slash));
    std::string_view file = rels_part.substr(slash + 6);
    if (file.size() < 5 || file.substr(file.size() - 5) != ".rels") return {};
    return folder + std::string(file.substr(0, file.size() - 5));
}

std::vector<std::string> internal_targets(Book& b, const std::string& part) {
    std::vector<std::string> out;
    if (part == b.workbook_part_name()) {
        for (const auto& item : b.workbook_rels().items())
            if (!item.external) out.push_back(resolve_target(part, item.target));
        return out;
    }
    std::string rels_name = rels_path_for(part);
    if (!b.package().has(rels_name)) return out;
    auto bytes = b.package().read(rels_name);
    if (!bytes) return out;
    Relationships rels;
    if (!rels.parse(*bytes, rels_name)) return out;
    for (const auto& item : rels.items()) {
        if (item.external) continue;
        std::string target = resolve_target(part, item.target);
        if (auto stored = b.package().find(target)) out.push_back(*stored);
    }
    return out;
}

std::vector<std::string> owned_parts(Book& b, const std::string& root) {
    std::vector<std::string> reach = {root};
    std::set<std::string> seen = {text::lower(root)};
    for (std::size_t i = 0; i < reach.size(); ++i)
        for (std::string& t : internal_targets(b, reach[i]))
            if (seen.insert(text::lower(t)).second) reach.push_back(std::move(t));
    // Parts that something outside the set still refers to stay.
    std::set<std::string> kept;
    auto note_outside = [&](const std::string& source) {
        for (const std::string& t : internal_targets(b, source)) kept.insert(text::lower(t));
    };
    note_outside(b.workbook_part_name());
    for (const std::string& name : b.package().part_names()) {
        if (name.size() < 5 || name.substr(name.size() - 5) != ".rels") continue;
        std::string source = rels_source(name);
        if (source.empty() || seen.count(text::lower(source)) ||
            text::lower(source) == text::lower(b.workbook_part_name()))
            continue;
        if (!source.empty() && !b.package().has(source)) continue;  // a stray relationships part
        note_outside(source);
    }
    for (const auto& s : b.sheets()) kept.insert(text::lower(s->part_name()));
    kept.erase(text::lower(root));
    std::vector<std::string> owned;
    for (const std::string& p : reach)
        if (!kept.count(text::lower(p))) owned.push_back(p);
    return owned;
}

std::string unique_part_name(Package& pkg, std::string_view folder, std::string_view stem,
                             std::string_view ext) {
    for (int n = 1;; ++n) {
        std::string name =
            std::string(folder) + std::string(stem) + std::to_string(n) + std::string(ext);
        if (!pkg.has(name)) return name;
    }
}

std::set<std::string> code_names(Book& b) {
    std::set<std::string> names;
    for (const auto& s : b.sheets()) {
        std::string c = s->code_name();
        if (!c.empty()) names.insert(text::upper(c));
    }
    std::string wb = b.workbook_part().code_name();
    names.insert(text::upper(wb.empty() ? "ThisWorkbook" : wb));
    return names;
}

std::string new_code_name(Book& b) {
    std::set<std::string> used = code_names(b);
    for (int n = 1;; ++n) {
        std::string c = "Sheet" + std::to_string(n);
        if (!used.count(text::upper(c))) return c;
    }
}

std::string without_tab_selected(std::string_view xml_text) {
    xml::Scanner sc(xml_text);
    while (true) {
        xml::Token t = sc.next();
        if (t.kind == xml::Token::Kind::Eof || t.kind == xml::Token::Kind::Error) break;
        if (t.kind != xml::Token::Kind::Start) continue;
        std::string_view local = xml::local_name(t.name);
        if (local == "sheetData") break;  // views come before the cells
        if (local != "sheetView") continue;
        if (!xml::find_attr(t.attrs, "tabSelected")) break;
        std::size_t begin = static_cast<std::size_t>(t.attrs.data() - xml_text.data());
        std::string out(xml_text.substr(0, begin));
        out += xml::set_attr(t.attrs, "tabSelected", std::nullopt);
        out.append(xml_text.substr(begin + t.attrs.size()));
        return out;
    }
    return std::string(xml_text);
}

std::string with_code_name(std::string_view xml_text, std::string_view code_name) {
    xml::Scanner sc(xml_text);
    std::string value;
    xml::escape_attr(code_name, value);
    int depth = 0;
    std::size_t root_end = std::string_view::npos;
    std::string prefix;
    while (true) {
        xml::Token t = sc.next();
        if (t.kind == xml::Token::Kind::Eof || t.kind == xml::Token::Kind::Error) break;
        if (t.kind != xml::Token::Kind::Start) {
            if (t.kind == xml::Token::Kind::End) --depth;
            continue;
        }
        if (depth == 0) {
            root_end = t.end;
            std::size_t colon = t.name.find(':');
            if (colon != std::string_view::npos) prefix = std::string(t.name.substr(0, colon + 1));
        } else if (depth == 1) {
            if (xml::local_name(t.name) == "sheetPr") {
                std::size_t begin = static_cast<std::size_t>(t.attrs.data() - xml_text.data());
                std::string out(xml_text.substr(0, begin));
                out += xml::set_attr(t.attrs, "codeName", std::string_view(value));
                out.append(xml_text.substr(begin + t.attrs.size()));
                return out;
            }
            break;  // sheetPr is the first child when there is one
        }
        if (!t.self_closing) ++depth;
    }
    if (root_end == std::string_view::npos) return std::string(xml_text);
    std::string out(xml_text.substr(0, root_end));
    out += "<" + prefix + "sheetPr codeName=\"" + value + "\"/>";
    out.append(xml_text.substr(root_end));
    return out;
}

}  // namespace sheaflow::xl::native::structure
