// The sheet-name list: one record per worksheet of every target (file name, sheet name, code
// name, and a mark for the workbook's front-most sheet), sorted and shown as the pane's order
// option says.

#include "ops/sheet/sheet_keys.h"
#include "ops/sheet/sheet_ops.h"
#include "report/list_final.h"
#include "report/record_store.h"
#include "run/session.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace k = sheet_keys;

Result<void> Excel_シート_シート名一覧_First(run::Session& s) {
    s.store.reset();
    return {};
}

Result<void> Excel_シート_シート名一覧(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return Error::failed("ブックが開かれていません。");
    report::SheetListSort sort = report::sheet_list_sort(s.params.option(k::kSort));
    // The front-most sheet is read once per workbook.
    xl::Worksheet* active = b->active_sheet();
    const std::string front = active ? active->name() : std::string();
    for (int i = 1; i <= b->worksheet_count(); ++i) {
        if (s.yield()) return {};
        xl::Worksheet* w = b->worksheet(i);
        if (!w) continue;
        std::string name = w->name();
        report::sheet_name_list_add(s.store, sort, s.file_name, name, w->code_name(),
                                    name == front);
    }
    return {};
}

Result<void> Excel_シート_シート名一覧_Final(run::Session& s) {
    report::sheet_name_list_final(s.store, s.table,
                                  report::sheet_list_sort(s.params.option(k::kSort)),
                                  [](const std::string& n) { return Sheet_Space_Check(n); });
    return {};
}

}  // namespace sheaflow::ops
