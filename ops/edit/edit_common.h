#pragma once
// What the edit operations share: the pane keys, the source workbook that the preparation step
// opens before each target (and the close step closes with it), a sheet looked up by name or the
// active one, and a failure of the engine logged with the sheet's name.

#include <optional>
#include <string>
#include <string_view>

#include "run/session.h"
#include "shell/params.h"
#include "xl/xl.h"

namespace sheaflow::ops::edit {

namespace keys {
inline constexpr const char* kSourceFile = "source_file";    // the source workbook's path
inline constexpr const char* kSourceSheet = "source_sheet";  // its sheet ("" = active sheet)
inline constexpr const char* kWhere = "where";
inline constexpr const char* kPosition = "position";
inline constexpr const char* kName = "name";
inline constexpr const char* kMode = "mode";
inline constexpr const char* kCount = "count";
inline constexpr const char* kNames = "names";
}  // namespace keys

// The pane check of a source workbook path: "" when it names an existing workbook file.
std::string check_source_file(const shell::Params& p);
// The preparation step: opens the pane's source workbook read-only beside the targets. A target
// that is the source itself is refused, as is a source whose file name is a target's (the
// application cannot open two workbooks of one name).
Result<void> open_source(run::Session& s);
// The source workbook opened by open_source (nullptr when it is not open).
xl::Workbook* source_book(run::Session& s);
// The sheet named in the pane (`key`), or the workbook's active sheet when the box is empty;
// nullptr when the workbook has no such worksheet.
xl::Worksheet* named_or_active(xl::Workbook& b, const std::string& name);
// A range typed in a pane ("B2:D5", "$b$2", full-width too); nullopt when it is no cell range.
std::optional<xl::Area> pane_range(std::string_view text);
// A single cell typed in a pane; nullopt when it is none.
std::optional<xl::CellRef> pane_cell(std::string_view text);
// A whole number typed in a pane (full-width digits too) in 1..max; 0 when it is not one.
long pane_count(std::string_view text, long max);
// Logs an engine failure as a line of the run error text, with the sheet's name when given.
void log_failure(run::Session& s, const Error& e, const xl::Worksheet* ws = nullptr);

}  // namespace sheaflow::ops::edit
