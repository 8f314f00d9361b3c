// セル 削除 and 挿入: the cells of the pane's range deleted (the cells below pulled up, or those
// right of them pulled left) or inserted (those at and below pushed down, or right), or the
// range's entire rows or columns; formulas and everything anchored to cells follow as the
// application moves them, and a move the application refuses leaves the sheet as it was.

#include "ops/cell/cell_common.h"
#include "ops/registry.h"
#include "run/session.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

std::string check_shift(const shell::Params& p, bool deleting) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    const Boxes b = read_boxes(p);
    if (b.col_from == 0 || b.row_from == 0 || b.col_to == 0 || b.row_to == 0)
        return deleting ? "削除するセルの範囲を指定してください。"
                        : "挿入するセルの範囲を指定してください。";
    if (p.option("shift").empty()) return "シフトの方向が選択されていません。";
    return {};
}

Result<void> shift(run::Session& s, bool deleting) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return Error::failed("シートがありません。");
    const Boxes b = read_boxes(s.params);
    const xl::Area area{b.row_from, b.col_from, b.row_to, b.col_to};
    const std::string how = s.params.option("shift");
    Result<void> r;
    if (how == "row") {
        xl::LineSpan rows{area.first_row, area.last_row};
        r = deleting ? ws->delete_lines(xl::Axis::Rows, {rows})
                     : ws->insert_lines(xl::Axis::Rows, rows.first, rows.last - rows.first + 1);
    } else if (how == "column") {
        xl::LineSpan cols{area.first_col, area.last_col};
        r = deleting ? ws->delete_lines(xl::Axis::Columns, {cols})
                     : ws->insert_lines(xl::Axis::Columns, cols.first, cols.last - cols.first + 1);
    } else {
        // Up and down move cells along the rows; left and right along the columns.
        xl::Axis axis = how == "up" || how == "down" ? xl::Axis::Rows : xl::Axis::Columns;
        r = deleting ? ws->delete_cells(axis, area) : ws->insert_cells(axis, area);
    }
    if (!r) s.update_error_text(ws->name() + " " + r.error().message);
    return {};
}

std::string Check_セル_削除(const shell::Params& p, std::string_view) { return check_shift(p, true); }
Result<void> Excel_セル_削除(run::Session& s) { return shift(s, true); }
std::string Check_セル_挿入(const shell::Params& p, std::string_view) { return check_shift(p, false); }
Result<void> Excel_セル_挿入(run::Session& s) { return shift(s, false); }

const Procedures kProcedures[] = {
    {"セル", "削除", Check_セル_削除, Excel_セル_削除, nullptr, nullptr, nullptr, true},
    {"セル", "挿入", Check_セル_挿入, Excel_セル_挿入, nullptr, nullptr, nullptr, true},
};

}  // namespace

std::span<const Procedures> cell_shift_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
