// Sheet's data validation: the dataValidation elements of the worksheet read as Validation values,
// added (the cells a new one covers leave the validations they had, as the application does),
// changed in place (attributes the engine does not know stay) and cut out of areas. Validations
// the application keeps in its extension (x14:dataValidation, written for lists and limits on
// other sheets) are read, changed and cut alike; their range and formulas are elements there.

#include "xl/native/book.h"
#include "xl/native/sheet_xml.h"

namespace sheaflow::xl::native {
namespace {

bool flag(pugi::xml_node n, const char* name, bool missing) {
    pugi::xml_attribute a = n.attribute(name);
    if (!a) return missing;
    std::string_view v = a.value();
    return v == "1" || v == "true";
}

// The lists of validations: the worksheet's own, then those of the extension.
std::vector<pugi::xml_node> validation_lists(pugi::xml_node root) {
    std::vector<pugi::xml_node> out;
    if (pugi::xml_node plain = xml::child(root, "dataValidations")) out.push_back(plain);
    for (pugi::xml_node ext : extension_lists(root, "dataValidations")) out.push_back(ext);
    return out;
}

std::vector<pugi::xml_node> validation_nodes(pugi::xml_node root) {
    std::vector<pugi::xml_node> out;
    for (pugi::xml_node list : validation_lists(root))
        for (pugi::xml_node n = list.first_child(); n; n = n.next_sibling())
            if (n.type() == pugi::node_element && xml::local_name(n.name()) == "dataValidation")
                out.push_back(n);
    return out;
}

// An extension entry holds <xm:sqref> where the worksheet's has the sqref attribute.
bool in_extension(pugi::xml_node n) { return xml::local_name(n.parent().parent().name()) == "ext"; }

std::string sqref_of(pugi::xml_node n) {
    return in_extension(n) ? extension_sqref(n) : std::string(n.attribute("sqref").value());
}

void set_sqref(pugi::xml_node n, const std::string& sqref) {
    if (in_extension(n))
        set_extension_sqref(n, sqref);
    else
        n.attribute("sqref").set_value(sqref.c_str());
}

// formula1 or formula2: its text, or in the extension the text of the xm:f inside it.
std::string formula_of(pugi::xml_node n, const char* local) {
    pugi::xml_node f = xml::child(n, local);
    return in_extension(n) ? xml::child(f, "f").text().get() : f.text().get();
}

Validation read_validation(pugi::xml_node n, int id) {
    Validation v;
    v.sqref = sqref_of(n);
    v.type = n.attribute("type").value();
    if (v.type == "none") v.type.clear();
    if (pugi::xml_attribute op = n.attribute("operator")) v.op = op.value();
    v.formula1 = formula_of(n, "formula1");
    v.formula2 = formula_of(n, "formula2");
    v.allow_blank = flag(n, "allowBlank", false);
    // The attribute says the opposite of its name: 1 hides the drop-down.
    v.dropdown = !flag(n, "showDropDown", false);
    v.show_input = flag(n, "showInputMessage", false);
    v.show_error = flag(n, "showErrorMessage", false);
    if (pugi::xml_attribute st = n.attribute("errorStyle")) v.error_style = st.value();
    v.prompt_title = n.attribute("promptTitle").value();
    v.prompt = n.attribute("prompt").value();
    v.error_title = n.attribute("errorTitle").value();
    v.error = n.attribute("error").value();
    v.id = id;
    return v;
}

void put(pugi::xml_node n, const char* name, const std::string& value, bool keep) {
    if (!keep) {
        n.remove_attribute(name);
        return;
    }
    pugi::xml_attribute a = n.attribute(name);
    if (!a) a = n.append_attribute(name);
    a.set_value(value.c_str());
}

void write_validation(pugi::xml_node n, const Validation& v) {
    put(n, "type", v.type, !v.type.empty());
    bool ranged = !v.type.empty() && v.type != "list" && v.type != "custom";
    put(n, "operator", v.op, ranged && v.op != "between");
    put(n, "errorStyle", v.error_style, v.error_style != "stop" && !v.error_style.empty());
    put(n, "allowBlank", "1", v.allow_blank);
    put(n, "showDropDown", "1", v.type == "list" && !v.dropdown);
    put(n, "showInputMessage", "1", v.show_input);
    put(n, "showErrorMessage", "1", v.show_error);
    put(n, "errorTitle", v.error_title, !v.error_title.empty());
    put(n, "error", v.error, !v.error.empty());
    put(n, "promptTitle", v.prompt_title, !v.prompt_title.empty());
    put(n, "prompt", v.prompt, !v.prompt.empty());
    const bool extension = in_extension(n);
    if (extension)
        set_extension_sqref(n, v.sqref);
    else
        put(n, "sqref", v.sqref, true);
    // formula1 and formula2, in that order, before anything else the element holds; in the
    // extension each holds an xm:f (prefixed as its xm:sqref is).
    std::string prefix = xml::prefix_of(n);
    std::string f_name = xml::prefix_of(xml::child(n, "sqref")) + "f";
    for (const char* local : {"formula1", "formula2"})
        while (pugi::xml_node f = xml::child(n, local)) n.remove_child(f);
    pugi::xml_node first = n.first_child();
    auto add = [&](const char* local, const std::string& text) {
        pugi::xml_node f = first ? n.insert_child_before((prefix + local).c_str(), first)
                                 : n.append_child((prefix + local).c_str());
        if (extension) f = f.append_child(f_name.c_str());
        f.text().set(text.c_str());
    };
    if (!v.formula1.empty()) add("formula1", v.formula1);
    bool two = v.op == "between" || v.op == "notBetween";
    if (!v.formula2.empty() && ranged && two) add("formula2", v.formula2);
}

void set_count(pugi::xml_node list) {
    int n = 0;
    for (pugi::xml_node c = list.first_child(); c; c = c.next_sibling())
        if (c.type() == pugi::node_element) ++n;
    pugi::xml_attribute a = list.attribute("count");
    if (!a) a = list.append_attribute("count");
    a.set_value(n);
}

// Cuts `areas` out of every validation of the sheet; a validation left with no cells goes, and
// a list left with none goes with it.
bool cut_validations(pugi::xml_node root, const std::vector<Area>& areas) {
    bool changed = false;
    for (pugi::xml_node list : validation_lists(root)) {
        bool cut_here = false;
        std::vector<pugi::xml_node> gone;
        for (pugi::xml_node n = list.first_child(); n; n = n.next_sibling()) {
            if (n.type() != pugi::node_element || xml::local_name(n.name()) != "dataValidation")
                continue;
            std::vector<Area> kept = parse_sqref(sqref_of(n));
            bool cut = false;
            for (const Area& a : areas) {
                std::vector<Area> next;
                for (const Area& k : kept) {
                    if (overlaps(k, a)) cut = true;
                    for (const Area& piece : subtract_area(k, a)) next.push_back(piece);
                }
                kept = std::move(next);
            }
            if (!cut) continue;
            cut_here = true;
            if (kept.empty())
                gone.push_back(n);
            else
                set_sqref(n, format_sqref(kept));
        }
        if (!cut_here) continue;
        changed = true;
        for (pugi::xml_node n : gone) list.remove_child(n);
        bool empty = true;
        for (pugi::xml_node n = list.first_child(); n && empty; n = n.next_sibling())
            empty = n.type() != pugi::node_element;
        if (!empty)
            set_count(list);
        else if (xml::local_name(list.parent().name()) == "ext")
            remove_when_empty(list);
        else
            root.remove_child(list);
    }
    return changed;
}

}  // namespace

std::vector<Validation> Sheet::validations() {
    std::vector<Validation> out;
    if (!has_cells()) return out;
    xml::Document doc;
    if (!read_sheet_xml(book_, *this, doc)) return out;
    int id = 0;
    for (pugi::xml_node n : validation_nodes(doc.root())) out.push_back(read_validation(n, id++));
    return out;
}

Result<void> Sheet::add_validation(const Validation& v) {
    std::vector<Area> areas = parse_sqref(v.sqref);
    if (areas.empty()) return Error::failed("入力規則の範囲が正しくありません。");
    return edit_sheet_xml(book_, *this, [&](pugi::xml_node root) -> Result<bool> {
        (void)cut_validations(root, areas);
        pugi::xml_node list = sheet_element(root, "dataValidations");
        pugi::xml_node n =
            list.append_child((xml::prefix_of(list) + "dataValidation").c_str());
        Validation w = v;
        w.sqref = format_sqref(areas);
        write_validation(n, w);
        set_count(list);
        return true;
    });
}

Result<void> Sheet::update_validations(const std::vector<Validation>& changed) {
    if (changed.empty()) return {};
    return edit_sheet_xml(book_, *this, [&](pugi::xml_node root) -> Result<bool> {
        std::vector<pugi::xml_node> nodes = validation_nodes(root);
        bool any = false;
        for (const Validation& v : changed) {
            if (v.id < 0 || v.id >= static_cast<int>(nodes.size()))
                return Error::failed("入力規則が見つかりません。");
            write_validation(nodes[static_cast<std::size_t>(v.id)], v);
            any = true;
        }
        return any;
    });
}

Result<void> Sheet::delete_validations(const Area& area) {
    return edit_sheet_xml(book_, *this,
                          [&](pugi::xml_node root) -> Result<bool> {
                              return cut_validations(root, {area});
                          });
}

}  // namespace sheaflow::xl::native
