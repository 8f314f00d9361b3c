#include "xl/native/workbook_part.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace sheaflow::xl::native {

namespace {

// Children of <workbook> in schema order.
constexpr std::array<std::string_view, 19> kOrder = {"fileVersion",    "fileSharing",
                                                     "workbookPr",     "workbookProtection",
                                                     "bookViews",      "sheets",
                                                     "functionGroups", "externalReferences",
                                                     "definedNames",   "calcPr",
                                                     "oleSize",        "customWorkbookViews",
                                                     "pivotCaches",    "smartTagPr",
                                                     "smartTagTypes",  "webPublishing",
                                                     "fileRecoveryPr", "webPublishObjects",
                                                     "extLst"};

int order_of(std::string_view local) {
    for (std::size_t i = 0; i < kOrder.size(); ++i)
        if (kOrder[i] == local) return static_cast<int>(i);
    return -1;
}

bool truthy(const char* v) {
    std::string_view s(v);
    return s == "1" || s == "true";
}

}  // namespace

Result<void> WorkbookPart::parse(std::string_view bytes, const std::string& part_name) {
    dirty_ = false;
    if (auto r = xml::load(doc_, bytes, part_name); !r) return r;
    if (xml::local_name(doc_.root().name()) != "workbook")
        return Error::make(Error::Code::BadFormat,
                           "ブックの部品「" + part_name + "」が壊れています。", part_name);
    return {};
}

std::string WorkbookPart::serialize() const { return xml::save(doc_); }

std::vector<WorkbookPart::Sheet> WorkbookPart::sheets() const {
    std::vector<Sheet> out;
    for (pugi::xml_node n = sheets_node().first_child(); n; n = n.next_sibling()) {
        if (n.type() != pugi::node_element || xml::local_name(n.name()) != "sheet") continue;
        Sheet s;
        s.name = n.attribute("name").value();
        s.sheet_id =
            static_cast<std::uint32_t>(std::strtoul(n.attribute("sheetId").value(), nullptr, 10));
        // The relationship id attribute carries whatever prefix the part binds to the
        // relationships namespace (usually "r:").
        for (pugi::xml_attribute a = n.first_attribute(); a; a = a.next_attribute())
            if (xml::local_name(a.name()) == "id" && std::string_view(a.name()) != "id")
                s.rel_id = a.value();
        s.state = n.attribute("state").value();
        out.push_back(std::move(s));
    }
    return out;
}

int WorkbookPart::active_tab() const {
    pugi::xml_node view = xml::child(xml::child(root(), "bookViews"), "workbookView");
    return std::max(0, view.attribute("activeTab").as_int(0));
}

void WorkbookPart::set_active_tab(int index) {
    pugi::xml_node views = xml::child(root(), "bookViews");
    if (!views) views = insert_in_order("bookViews");
    pugi::xml_node view = xml::child(views, "workbookView");
    if (!view) view = views.append_child((xml::prefix_of(root()) + "workbookView").c_str());
    if (active_tab() == index && view.attribute("activeTab")) return;
    if (index == 0 && !view.attribute("activeTab")) return;
    pugi::xml_attribute a = view.attribute("activeTab");
    if (!a) a = view.append_attribute("activeTab");
    a.set_value(index);
    // The first visible tab must not lie beyond the active one.
    if (view.attribute("firstSheet").as_int(0) > index)
        view.attribute("firstSheet").set_value(index);
    dirty_ = true;
}

bool WorkbookPart::date1904() const {
    return truthy(xml::child(root(), "workbookPr").attribute("date1904").value());
}

bool WorkbookPart::structure_locked() const {
    return truthy(xml::child(root(), "workbookProtection").attribute("lockStructure").value());
}

std::string WorkbookPart::code_name() const {
    return xml::child(root(), "workbookPr").attribute("codeName").value();
}

void WorkbookPart::set_code_name(const std::string& name) {
    pugi::xml_node pr = xml::child(root(), "workbookPr");
    if (!pr) pr = insert_in_order("workbookPr");
    pugi::xml_attribute a = pr.attribute("codeName");
    if (!a) a = pr.append_attribute("codeName");
    a.set_value(name.c_str());
    dirty_ = true;
}

void WorkbookPart::set_full_calc_on_load() {
    pugi::xml_node calc = xml::child(root(), "calcPr");
    if (!calc) calc = insert_in_order("calcPr");
    pugi::xml_attribute a = calc.attribute("fullCalcOnLoad");
    if (a && truthy(a.value())) return;
    if (!a) a = calc.append_attribute("fullCalcOnLoad");
    a.set_value("1");
    dirty_ = true;
}

pugi::xml_node WorkbookPart::insert_in_order(std::string_view local) {
    std::string name = xml::prefix_of(root()) + std::string(local);
    int mine = order_of(local);
    for (pugi::xml_node n = root().first_child(); n; n = n.next_sibling()) {
        if (n.type() != pugi::node_element) continue;
        int theirs = order_of(xml::local_name(n.name()));
        if (theirs > mine) {
            dirty_ = true;
            return root().insert_child_before(name.c_str(), n);
        }
    }
    dirty_ = true;
    return root().append_child(name.c_str());
}

}  // namespace sheaflow::xl::native
