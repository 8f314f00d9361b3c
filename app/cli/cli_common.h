#pragma once
// Helpers shared by the subcommands: option parsing, the operation look-up with its messages,
// and the parameter folder.

#include <optional>
#include <string>
#include <string_view>

#include "app/cli/commands.h"
#include "shell/operation.h"

namespace sheaflow::cli {

// Removes "--name value" or "--name=value" from `args` and returns the value; nullopt when the
// option is absent. `missing_value` is set when the option was given without a value.
std::optional<std::string> take_option(Args& args, std::string_view name, bool& missing_value);
// Removes a flag ("--name") from `args`; true when it was there.
bool take_flag(Args& args, std::string_view name);

// The operation of (category, name), the name compared upper-cased. nullptr with a Japanese
// message when the category or the operation does not exist.
const shell::OperationDecl* find_operation(const std::string& category, const std::string& name,
                                           std::string& message);

// The folder of the running program (where "Temp" is looked for).
std::string program_dir();
// The parameter folder for this run, created when missing (`--param-dir` wins).
std::string param_dir(const std::string& override_dir);

// Prints a message line to stderr.
void error_line(const std::string& text);

}  // namespace sheaflow::cli
