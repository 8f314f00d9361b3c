#include "ops/check_process.h"

#include "ops/registry.h"
#include "util/text.h"

namespace sheaflow::ops {

std::string Check_Process(std::string_view category, std::string_view name,
                          const shell::Params& params) {
    const Procedures* p = find_procedures(category, text::upper(name));
    if (p == nullptr || p->check == nullptr) return kNotImplemented;
    return p->check(params, category);
}

}  // namespace sheaflow::ops
