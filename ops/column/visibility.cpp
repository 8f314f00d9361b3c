// Hiding and showing columns: the executors shared with the row operations.

#include "ops/registry.h"
#include "ops/row/lines.h"

namespace sheaflow::ops {
namespace {
using xl::Axis;

std::string Check_列_表示1(const shell::Params& p, std::string_view) {
    return lines::check_show(p, Axis::Columns);
}
Result<void> Excel_列_表示1(run::Session& s) { return lines::show_lines(s, Axis::Columns); }
std::string Check_列_表示2(const shell::Params& p, std::string_view) {
    return lines::check_show_by_value(p, Axis::Columns);
}
Result<void> Excel_列_表示2(run::Session& s) {
    return lines::show_lines_by_value(s, Axis::Columns);
}

const Procedures kProcedures[] = {
    {"列", "表示１", Check_列_表示1, Excel_列_表示1, nullptr, nullptr, nullptr, true},
    {"列", "表示２", Check_列_表示2, Excel_列_表示2, nullptr, nullptr, nullptr, true},
};

}  // namespace

std::span<const Procedures> column_visibility_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
