#include "ops/registry.h"

namespace sheaflow::ops {

std::span<const Procedures> sheet_procedures() { return {}; }

}  // namespace sheaflow::ops
