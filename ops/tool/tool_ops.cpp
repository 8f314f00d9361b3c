#include "ops/registry.h"

namespace sheaflow::ops {

std::span<const Procedures> tool_procedures() { return {}; }

}  // namespace sheaflow::ops
