#pragma once
// The sheets that a settings pane names (protection, visibility, sheet options): the pane's
// target option with the words below, and its sheet-name box.

#include <string_view>
#include <vector>

namespace sheaflow::run {
class Session;
}
namespace sheaflow::xl {
class Worksheet;
}

namespace sheaflow::ops {

inline constexpr const char* kTargetActive = "active";
inline constexpr const char* kTargetName = "name";
inline constexpr const char* kTargetAll = "all";

// Under an all-sheets category, the sheet the driver visits; else the active sheet, the
// worksheet named `name` (a missing one is an error line and no sheet), or every worksheet.
std::vector<xl::Worksheet*> chosen_sheets(run::Session& s, std::string_view target,
                                          std::string_view name);
// The pane's complaint about its target option and name box, "" when they are usable.
const char* check_sheet_target(std::string_view target, std::string_view name);

}  // namespace sheaflow::ops
