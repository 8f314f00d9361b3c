// Deleting and inserting columns: the executors shared with the row operations.

#include "ops/registry.h"
#include "ops/row/lines.h"

namespace sheaflow::ops {
namespace {
using xl::Axis;

std::string Check_列_削除(const shell::Params& p, std::string_view) {
    return lines::check_delete(p, Axis::Columns);
}
Result<void> Excel_列_削除(run::Session& s) { return lines::delete_lines(s, Axis::Columns); }
std::string Check_列_挿入(const shell::Params& p, std::string_view) {
    return lines::check_insert(p, Axis::Columns);
}
Result<void> Excel_列_挿入(run::Session& s) { return lines::insert_lines(s, Axis::Columns); }
std::string Check_列_空白列削除(const shell::Params& p, std::string_view) {
    return lines::check_blank(p, Axis::Columns);
}
Result<void> Excel_列_空白列削除(run::Session& s) {
    return lines::delete_blank_lines(s, Axis::Columns);
}

const Procedures kProcedures[] = {
    {"列", "削除", Check_列_削除, Excel_列_削除, nullptr, nullptr, nullptr, true},
    {"列", "挿入", Check_列_挿入, Excel_列_挿入, nullptr, nullptr, nullptr, true},
    {"列", "空白列削除", Check_列_空白列削除, Excel_列_空白列削除, nullptr, nullptr, nullptr,
     true},
};

}  // namespace

std::span<const Procedures> column_delete_insert_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
