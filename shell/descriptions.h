#pragma once
// One line per catalogue entry that says what the operation does to the target files; shown at
// the top of the pane and by `sheaflow ops --long`. Destructive operations say so.

#include <string>
#include <string_view>

namespace sheaflow::shell {

// The description of (category, name), "" for a separator or an entry without one. An
// all-sheets entry ("すべてのシート_...") is described by its base entry, marked as working on
// every worksheet.
std::string description(std::string_view category, std::string_view name);

}  // namespace sheaflow::shell
