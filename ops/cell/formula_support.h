#pragma once
// What the formula operations share: telling a formula from a constant, the text of a kept
// value, and the references of a workbook's formulas resolved to sheets and areas (through
// defined names and 3-D ranges), from which precedents and dependents are found.

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "xl/xl.h"

namespace sheaflow::ops {

// Whether a formula-bar text is a formula ("=..." and more than "=").
bool is_formula(std::string_view formula_bar_text);
// The value a cell keeps as the list shows it: error values by their code ("#DIV/0!").
std::string value_text(const xl::Value& v);

// Cells of one sheet: the sheet's 1-based position in Worksheets and the area.
struct SheetArea {
    int sheet = 0;
    xl::Area area;
    auto operator<=>(const SheetArea& o) const {
        return std::tie(sheet, area.first_row, area.first_col, area.last_row, area.last_col) <=>
               std::tie(o.sheet, o.area.first_row, o.area.first_col, o.area.last_row,
                        o.area.last_col);
    }
    bool operator==(const SheetArea&) const = default;
};

// One reference of a formula, resolved.
struct ResolvedRef {
    SheetArea where;
    std::string via;       // the defined name it was reached through ("" when written directly)
    std::string text;      // the token as written
    bool resolved = true;  // false for another workbook, a missing sheet or name, #REF!
};

// A formula cell of the workbook with its references.
struct FormulaCell {
    int sheet = 0;
    xl::CellRef cell;
    std::string formula;
    std::vector<ResolvedRef> refs;
};

class BookFormulas {
public:
    explicit BookFormulas(xl::Workbook& book);

    // The references of a formula written on sheet `sheet` (1-based).
    std::vector<ResolvedRef> references(std::string_view formula, int sheet);
    // The defined name a name token stands for on a sheet; nullptr when none.
    const xl::DefinedName* find_name(const xl::FormulaToken& t, int sheet) const;
    // The sheet position of a name in this workbook, 0 when there is none.
    int sheet_index(const std::string& name) const;
    std::string sheet_name(int sheet) const;
    // Every formula cell of every worksheet, read on first use.
    const std::vector<FormulaCell>& cells();
    // The formula cells inside an area.
    std::vector<const FormulaCell*> cells_in(const SheetArea& where);

private:
    void add_refs(std::string_view formula, int sheet, const std::string& via, int depth,
                  std::vector<ResolvedRef>& out);

    xl::Workbook& book_;
    std::vector<xl::DefinedName> names_;
    std::vector<std::string> sheets_;  // worksheet names by position - 1
    std::vector<FormulaCell> cells_;
    bool loaded_ = false;
    // Position in cells_ by sheet and cell.
    std::map<int, std::map<std::pair<std::int32_t, std::int32_t>, std::size_t>> index_;
};

}  // namespace sheaflow::ops
