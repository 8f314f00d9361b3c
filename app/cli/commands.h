#pragma once
// The subcommands of the command line. Each takes the arguments after its own name and returns
// the process exit code (0 success, 1 a run with failed files, 2 bad input or a refused check).

#include <string>
#include <vector>

namespace sheaflow::cli {

using Args = std::vector<std::string>;

// sheaflow ops [--category C]
int cmd_ops(const Args& args);
// sheaflow params C OP [--param-dir D]
int cmd_params(const Args& args);
// sheaflow run C OP --folder D ...
int cmd_run(const Args& args);

}  // namespace sheaflow::cli
