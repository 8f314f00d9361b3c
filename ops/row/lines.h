#pragma once
// What the row and the column operations share: the pane keys, reading a row text ("5", "5:9")
// or a column text ("C", "C:F") along either axis, the cells of a line, and the executors that
// are the same for rows and columns but for the axis. The row topic files (ops/row/) hold these
// executors; the column topic files (ops/column/) call them with Axis::Columns.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "run/session.h"
#include "shell/params.h"
#include "xl/xl.h"

namespace sheaflow::ops::lines {

using xl::Axis;

// Pane keys of the row and column panes.
namespace keys {
inline constexpr const char* kMode = "mode";
inline constexpr const char* kLines = "lines";    // the row or column text
inline constexpr const char* kKey = "key";        // the line of the other axis whose values count
inline constexpr const char* kValue = "value";    // the value looked for
inline constexpr const char* kPartial = "partial";  // a part of the value is enough
inline constexpr const char* kAt = "at";
inline constexpr const char* kCount = "count";
inline constexpr const char* kFrom = "from";
inline constexpr const char* kTo = "to";
inline constexpr const char* kCrossFrom = "cross_from";  // the other axis: first line looked at
inline constexpr const char* kCrossTo = "cross_to";
inline constexpr const char* kInterval = "interval";
inline constexpr const char* kFormulaBlank = "formula_blank";
inline constexpr const char* kShow = "show";
inline constexpr const char* kSize = "size";
inline constexpr const char* kList = "list";
inline constexpr const char* kAction = "action";
inline constexpr const char* kTitleRows = "title_rows";
inline constexpr const char* kFold = "fold";
inline constexpr const char* kMethod = "method";
inline constexpr const char* kDelimiter = "delimiter";
inline constexpr const char* kWidths = "widths";
}  // namespace keys

Axis other(Axis axis);
// "行" or "列".
std::string word(Axis axis);
// The last row or column of the grid.
std::int32_t grid_limit(Axis axis);

// The lines of a row text ("5", "5:9", full-width digits too) or a column text ("C", "C:F");
// nullopt when the text does not name lines within the grid.
std::optional<xl::LineSpan> parse_lines(Axis axis, std::string_view text);
// The pane check of a line text: "" when valid, else "行の指定が不正です。" (or 列), prefixed
// with the field's caption.
std::string check_lines(Axis axis, std::string_view text, std::string_view label = {});
// A whole number in 1..max typed in a pane (full-width digits accepted); nullopt otherwise.
std::optional<std::int64_t> pane_number(std::string_view text, std::int64_t max);
std::optional<double> pane_decimal(std::string_view text);

// The cell at `line` along the axis and `cross` along the other axis.
xl::CellRef cell_at(Axis axis, std::int32_t line, std::int32_t cross);
// The used lines of a sheet along the axis (1..0 for an empty sheet).
xl::LineSpan used_lines(xl::Worksheet& ws, Axis axis);

// Whether a cell holds a value: a formula whose result is "" counts as one only when
// `formula_blank_is_value`.
bool has_value(xl::Worksheet& ws, xl::CellRef c, bool formula_blank_is_value);
// Whether the displayed text of a cell matches the text looked for.
bool text_matches(const std::string& cell_text, const std::string& wanted, bool partial);

// Logs an error of the engine in the run error text with the sheet's name; the run goes on.
void log_refusal(run::Session& s, xl::Worksheet& ws, const Error& e);
Error no_sheet();

// Executors shared by rows and columns.
Result<void> delete_lines(run::Session& s, Axis axis);
Result<void> insert_lines(run::Session& s, Axis axis);
Result<void> delete_blank_lines(run::Session& s, Axis axis);
Result<void> show_lines(run::Session& s, Axis axis);
Result<void> show_lines_by_value(run::Session& s, Axis axis);
Result<void> size_lines(run::Session& s, Axis axis);
Result<void> size_lines_by_list(run::Session& s, Axis axis);
Result<void> list_sizes(run::Session& s, Axis axis);
Result<void> list_value_extent(run::Session& s, Axis axis);
Result<void> group_lines(run::Session& s, Axis axis);

// Checks shared by rows and columns.
std::string check_delete(const shell::Params& p, Axis axis);
std::string check_insert(const shell::Params& p, Axis axis);
std::string check_blank(const shell::Params& p, Axis axis);
std::string check_show(const shell::Params& p, Axis axis);
std::string check_show_by_value(const shell::Params& p, Axis axis);
std::string check_size(const shell::Params& p, Axis axis);
std::string check_size_by_list(const shell::Params& p, Axis axis);
std::string check_list_sizes(const shell::Params& p, Axis axis);
std::string check_group(const shell::Params& p, Axis axis);

// The "lines=size" items of a size list ("1=20,3:5=15"); the message of the first bad item in
// `error`.
struct SizeItem {
    xl::LineSpan lines;
    double size = 0;
};
std::vector<SizeItem> parse_size_list(Axis axis, std::string_view text, std::string& error);

}  // namespace sheaflow::ops::lines
