#include "ops/registry.h"

namespace sheaflow::ops {

std::span<const Procedures> cell_procedures() { return {}; }

}  // namespace sheaflow::ops
