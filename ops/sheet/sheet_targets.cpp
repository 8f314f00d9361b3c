#include "ops/sheet/sheet_targets.h"

#include "ops/sheet/sheet_ops.h"
#include "run/session.h"
#include "shell/operation.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {

std::vector<xl::Worksheet*> chosen_sheets(run::Session& s, std::string_view target,
                                          std::string_view name) {
    std::vector<xl::Worksheet*> out;
    xl::Workbook* b = s.book();
    if (!b) return out;
    if (s.category.rfind(shell::kAllSheetsPrefix, 0) == 0 || target == kTargetActive) {
        if (xl::Worksheet* w = s.sheet(); w && w->type() == xl::xlWorksheet) out.push_back(w);
        return out;
    }
    if (target == kTargetName) {
        std::string wanted = text::trim(name);
        if (!Excel_SheetName_Error_Text(s, wanted).empty()) return out;
        for (int i = 1; i <= b->worksheet_count(); ++i)
            if (xl::Worksheet* w = b->worksheet(i); w && w->name() == wanted) out.push_back(w);
        return out;
    }
    for (int i = 1; i <= b->worksheet_count(); ++i)
        if (xl::Worksheet* w = b->worksheet(i); w && w->type() == xl::xlWorksheet)
            out.push_back(w);
    return out;
}

const char* check_sheet_target(std::string_view target, std::string_view name) {
    if (target != kTargetActive && target != kTargetName && target != kTargetAll)
        return "対象シートの指定が不正です。";
    if (target == kTargetName && text::trim(name).empty()) return "シート名を入力してください。";
    return "";
}

}  // namespace sheaflow::ops
