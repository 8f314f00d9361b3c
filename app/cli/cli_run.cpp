// sheaflow run: not available yet.
#include "app/cli/cli_common.h"
#include "ops/registry.h"

namespace sheaflow::cli {

int cmd_run(const Args& args) {
    (void)args;
    error_line(ops::kNotImplemented);
    return 2;
}

}  // namespace sheaflow::cli
