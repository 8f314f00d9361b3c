#include "ops/registry.h"

namespace sheaflow::ops {

std::span<const Procedures> book_procedures() { return {}; }

}  // namespace sheaflow::ops
