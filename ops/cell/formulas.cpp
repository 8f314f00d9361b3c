// 計算式一覧 (every formula of the range with the value the workbook keeps for it) and 結合セル一覧
// (the merged areas that lie in the range, with their size and the value they show).

#include "ops/cell/cell_common.h"
#include "ops/cell/formula_support.h"
#include "ops/registry.h"
#include "report/result_table.h"
#include "run/session.h"

namespace sheaflow::ops {

namespace {

Error no_sheet() { return Error::failed("シートが開かれていません。"); }

// ---- 計算式一覧 ----

std::string Check_セル_計算式一覧(const shell::Params& p, std::string_view) {
    return range_boxes_error(p);
}

Result<void> Excel_セル_計算式一覧(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    begin_cell_list(s, *ws, {"計算式", "値"});
    for_each_pane_cell(s, *ws, [&](xl::CellRef c) {
        std::string f = ws->cell_formula(c);
        if (!is_formula(f)) return;
        add_cell_row(s, c, {f, value_text(ws->cell_value(c))});
    });
    return {};
}

// ---- 結合セル一覧 ----

std::string Check_セル_結合セル一覧(const shell::Params& p, std::string_view) {
    return range_boxes_error(p);
}

bool overlaps(const xl::Area& a, const xl::Area& b) {
    return a.first_row <= b.last_row && b.first_row <= a.last_row && a.first_col <= b.last_col &&
           b.first_col <= a.last_col;
}

Result<void> Excel_セル_結合セル一覧(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    begin_cell_list(s, *ws, {"行数", "列数", "値"});
    // Merged areas reaching into the pane's rectangle are listed whole; with no box filled,
    // every merged area of the sheet (an area of empty cells lies outside the used range).
    const Boxes b = read_boxes(s.params);
    const xl::Area range{b.row_from ? b.row_from : 1, b.col_from ? b.col_from : 1,
                         b.row_to ? b.row_to : ws->rows_count(),
                         b.col_to ? b.col_to : ws->columns_count()};
    for (const xl::Area& a : ws->merged_areas()) {
        if (s.yield()) break;
        if (!overlaps(a, range)) continue;
        s.table.new_row();
        s.table.set(2, xl::format_address(a, false, false));
        s.table.set(3, std::to_string(a.last_row - a.first_row + 1));
        s.table.set(4, std::to_string(a.last_col - a.first_col + 1));
        s.table.set(5, ws->cell_text({a.first_row, a.first_col}));
    }
    return {};
}

const Procedures kProcedures[] = {
    {.category = "セル",
     .key_name = "計算式一覧",
     .check = Check_セル_計算式一覧,
     .execute = Excel_セル_計算式一覧},
    {.category = "セル",
     .key_name = "結合セル一覧",
     .check = Check_セル_結合セル一覧,
     .execute = Excel_セル_結合セル一覧},
};

}  // namespace

std::span<const Procedures> formula_list_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
