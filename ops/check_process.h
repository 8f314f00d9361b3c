#pragma once
// Check_Process: the current operation's pane check, found by dispatch. An operation that has no
// procedures yet answers kNotImplemented, so the run button stays disabled and the command line
// refuses it.

#include <string>
#include <string_view>

#include "shell/params.h"

namespace sheaflow::ops {

// The first complaint about the pane, or "" when the operation may run. `name` is the display
// name or its upper-cased form; separators answer kNotImplemented too.
std::string Check_Process(std::string_view category, std::string_view name,
                          const shell::Params& params);

}  // namespace sheaflow::ops
