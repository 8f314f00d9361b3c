#pragma once
// What the view operations and the jump share: the pane keys, the sheets an operation is asked
// to treat, a cell address typed in a pane, and a change of the sheet window logged per sheet.

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "run/session.h"
#include "shell/params.h"
#include "xl/xl.h"

namespace sheaflow::ops::view {

namespace keys {
inline constexpr const char* kTarget = "target";  // which sheets: "active", "all", "names"
inline constexpr const char* kActive = "active";
inline constexpr const char* kAll = "all";
inline constexpr const char* kNames = "names";  // also the key of the sheet-names box
inline constexpr const char* kCell = "cell";
inline constexpr const char* kAction = "action";
inline constexpr const char* kZoom = "zoom";
inline constexpr const char* kView = "view";
inline constexpr const char* kActivate = "activate";
inline constexpr const char* kPosition = "position";
}  // namespace keys

// A cell address typed in a pane ("B2", "$B$2", "ｂ２"); nullopt when it is not one cell.
std::optional<xl::CellRef> pane_cell(std::string_view text);
// The pane check of the sheet choice: the names box must name sheets when names are chosen.
std::string check_target(const shell::Params& p);
// The sheet names typed in the names box (separated by commas, full-width ones too).
std::vector<std::string> target_names(const shell::Params& p);
// The worksheets of the active workbook that the pane chooses: the active sheet, every
// worksheet, or those named (a name the workbook lacks is logged and passed over).
std::vector<xl::Worksheet*> target_sheets(run::Session& s);
// Reads each sheet's window, lets `edit` change it and writes it back; a sheet whose window
// cannot be changed is logged with its name and the run goes on.
void change_views(run::Session& s, const std::vector<xl::Worksheet*>& sheets,
                  const std::function<void(xl::SheetView&)>& edit);

}  // namespace sheaflow::ops::view
