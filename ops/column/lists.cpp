// Lists of columns: the width of each column and per sheet the last column with a value.

#include "ops/registry.h"
#include "ops/row/lines.h"

namespace sheaflow::ops {
namespace {
using xl::Axis;

std::string Check_列_幅一覧(const shell::Params& p, std::string_view) {
    return lines::check_list_sizes(p, Axis::Columns);
}
Result<void> Excel_列_幅一覧(run::Session& s) { return lines::list_sizes(s, Axis::Columns); }
std::string Check_列_値あり列一覧(const shell::Params&, std::string_view) { return {}; }
Result<void> Excel_列_値あり列一覧(run::Session& s) {
    return lines::list_value_extent(s, Axis::Columns);
}

const Procedures kProcedures[] = {
    {"列", "幅一覧", Check_列_幅一覧, Excel_列_幅一覧},
    {"列", "値あり列一覧", Check_列_値あり列一覧, Excel_列_値あり列一覧},
};

}  // namespace

std::span<const Procedures> column_lists_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
