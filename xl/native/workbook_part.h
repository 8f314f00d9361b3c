#pragma once
// "xl/workbook.xml": the sheet list, the views (active tab), workbook properties, defined names
// and calculation properties. Kept as a tree; everything the engine does not edit stays as read.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "util/result.h"
#include "xl/native/xml.h"

namespace sheaflow::xl::native {

class WorkbookPart {
public:
    struct Sheet {
        std::string name;
        std::uint32_t sheet_id = 0;
        std::string rel_id;
        std::string state;  // "" (visible), "hidden", "veryHidden"
    };

    Result<void> parse(std::string_view bytes, const std::string& part_name);
    std::string serialize() const;
    bool dirty() const { return dirty_; }
    void mark_dirty() { dirty_ = true; }

    std::vector<Sheet> sheets() const;
    // The 0-based index of the active tab (0 when no view says otherwise).
    int active_tab() const;
    void set_active_tab(int index);
    bool date1904() const;
    // workbookProtection lockStructure: sheets may not be added, removed, moved or renamed.
    bool structure_locked() const;
    std::string code_name() const;
    // The codeName of <workbookPr>, which ties the workbook to its document module.
    void set_code_name(const std::string& name);
    // Sets calcPr fullCalcOnLoad="1" (calcPr created in its place when missing).
    void set_full_calc_on_load();

    // The tree, for the parts of the engine that edit sheets and defined names.
    pugi::xml_node root() const { return doc_.root(); }
    pugi::xml_node sheets_node() const { return xml::child(root(), "sheets"); }
    pugi::xml_node defined_names_node() const { return xml::child(root(), "definedNames"); }
    // Inserts a child of <workbook> at its place in the schema order.
    pugi::xml_node insert_in_order(std::string_view local);

private:
    xml::Document doc_;
    bool dirty_ = false;
};

}  // namespace sheaflow::xl::native
