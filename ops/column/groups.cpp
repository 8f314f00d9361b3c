// Outline groups of columns: the executor shared with the row groups.

#include "ops/registry.h"
#include "ops/row/lines.h"

namespace sheaflow::ops {
namespace {
using xl::Axis;

std::string Check_列_グループ(const shell::Params& p, std::string_view) {
    return lines::check_group(p, Axis::Columns);
}
Result<void> Excel_列_グループ(run::Session& s) { return lines::group_lines(s, Axis::Columns); }

const Procedures kProcedures[] = {
    {"列", "グループ", Check_列_グループ, Excel_列_グループ, nullptr, nullptr, nullptr, true},
};

}  // namespace

std::span<const Procedures> column_groups_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
