#pragma once
// Helpers shared by the cell operations: the pane's four range boxes and the used part of the
// sheet they select, the walk over that range's cells, the sheet label of the result rows, writing
// a converted text back to a cell, and the findings log that the check operations write into the
// run error text.

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "shell/params.h"
#include "util/result.h"
#include "xl/xl.h"

namespace sheaflow::run {
class Session;
}

namespace sheaflow::ops {

// The four range boxes as numbers (0 for a box left empty): column-from, row-from, column-to,
// row-to. Pane keys "col_from", "row_from", "col_to", "row_to".
struct Boxes {
    std::int32_t col_from = 0, row_from = 0, col_to = 0, row_to = 0;
};
Boxes read_boxes(const shell::Params& p);
// The range boxes checked together; "" when valid (all four empty = the used range).
std::string range_boxes_error(const shell::Params& p);

// The rectangle of columns col_from..col_to and rows row_from..row_to (0 for a box left empty)
// cut to the sheet's used range, as an absolute address ("$B$2:$D$9"). A pair of empty boxes
// takes the used range's extent; all four empty give the whole used range. "" when the rectangle
// misses the used range.
std::string Excel_Used_Cells(xl::Worksheet& sheet, std::int32_t col_from, std::int32_t row_from,
                             std::int32_t col_to, std::int32_t row_to);
// The pane's range on `sheet` cut to the used range; nullopt when it holds nothing.
std::optional<xl::Area> pane_area(xl::Worksheet& sheet, const shell::Params& p);

// The pane's range for what may sit on empty cells (validation, conditional formats, comments):
// the rectangle as typed when all four boxes are filled; the whole sheet when all four are
// empty; else the used part as pane_area gives it.
std::optional<xl::Area> pane_target_area(xl::Worksheet& sheet, const shell::Params& p);

// Visits every cell of the pane's range that holds something, row by row, yielding to the host
// before each; stops when the user cancels.
void for_each_pane_cell(run::Session& s, xl::Worksheet& sheet,
                        const std::function<void(xl::CellRef)>& visit);

// "Sheet1(Sheet1)": the sheet name followed by its code name in parentheses.
std::string sheet_label(const xl::Worksheet& ws);
// "B2": the cell's address without "$" (Address_Hensyu).
std::string cell_address(xl::CellRef c);

// Adds the per-workbook row of a list over cells (file name, sheet label) and sets the titles:
// "ファイル名", "シート名", "ｱﾄﾞﾚｽ" and `more` from column 3 on.
void begin_cell_list(run::Session& s, xl::Worksheet& ws,
                     std::initializer_list<std::string_view> more);
// Adds a row of that list: the cell's address in column 2, `cols` from column 3 on.
void add_cell_row(run::Session& s, xl::CellRef c, std::initializer_list<std::string> cols);

// The text of a cell holding a text constant; nullopt for numbers, dates, booleans, errors,
// empty cells and formulas.
std::optional<std::string> text_constant(xl::Worksheet& ws, xl::CellRef c);
// The number a text reads as, as the application's numeric test takes it: blanks around it,
// full-width digits, a sign, thousands separators, a currency mark in front, a decimal point, an
// exponent and a percent sign after it are allowed. nullopt when the text is not a number.
std::optional<double> numeric_value(std::string_view text);
// Writes `text` into the cell as text: a converted text stays text even when it reads as a
// number, a date or a formula.
Result<void> write_text(xl::Worksheet& ws, xl::CellRef c, const std::string& text);

// The operations whose pane chooses between listing and writing back (option "output": "list"
// or "write") update the workbook only when writing.
inline constexpr const char* kOutput = "output";
bool writes_back(const shell::Params& p);

// The findings of a check operation, written into the run error text: the workbook's full path
// once before its first finding, then one line per finding; "エラーはありません。" at the end of
// a run that found nothing.
namespace findings {
// Excel_<op>_First: a new run begins.
Result<void> start(run::Session& s);
// One finding: "<address> = <value>".
void add(run::Session& s, const std::string& line);
// Excel_<op>_Final.
Result<void> finish(run::Session& s);
}  // namespace findings

}  // namespace sheaflow::ops
