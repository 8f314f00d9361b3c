// The procedures of the cell operations, in dispatch order.
#include "ops/cell/cell_text.h"
#include "ops/registry.h"

namespace sheaflow::ops {

namespace {

Procedures make(std::string_view category, std::string_view key_name, CheckFn check, ExecFn execute,
                bool updates, bool own_sheet_loop) {
    Procedures p;
    p.category = category;
    p.key_name = key_name;
    p.check = check;
    p.execute = execute;
    p.updates = updates;
    p.own_sheet_loop = own_sheet_loop;
    return p;
}

const Procedures kCellProcedures[] = {
    make("セル", "文字列検索", Check_セル_文字列検索, Excel_セル_文字列検索, false, false),
    make("セル", "文字列置換", Check_セル_文字列置換, Excel_セル_文字列置換, true, false),
    // The all-sheets variants walk the worksheets themselves, once per workbook.
    make("すべてのシート_セル", "文字列検索", Check_すべてのシート_セル_文字列検索,
         Excel_すべてのシート_セル_文字列検索, false, true),
    make("すべてのシート_セル", "文字列置換", Check_すべてのシート_セル_文字列置換,
         Excel_すべてのシート_セル_文字列置換, true, true),
};

}  // namespace

std::span<const Procedures> cell_procedures() { return kCellProcedures; }

}  // namespace sheaflow::ops
