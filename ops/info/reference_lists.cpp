// 標準スタイル定義一覧 (the built-in cell styles) and 列番号対応表 (column numbers and letters,
// 1 to 16,384).

#include "ops/info/info_common.h"
#include "ops/info/standard_styles.h"
#include "ops/registry.h"
#include "run/session.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

using info::row;

Result<void> Excel_Excel_標準スタイル定義一覧(run::Session& s) {
    report::ResultTable& t = s.table;
    info::titles(t, {"builtinId", "スタイル名", "英語名", "分類"});
    for (const BuiltinStyle& b : builtin_styles())
        row(t, {std::to_string(b.id), std::string(b.japanese), std::string(b.english),
                std::string(b.group)});
    return {};
}

Result<void> Excel_Excel_列番号対応表(run::Session& s) {
    report::ResultTable& t = s.table;
    info::titles(t, {"列番号", "列記号"});
    for (std::int32_t c = 1; c <= s.max_col; ++c) {
        if (c % 1024 == 0 && s.yield()) return {};
        row(t, {std::to_string(c), xl::column_letters(c)});
    }
    return {};
}

}  // namespace

std::span<const Procedures> reference_list_procedures() {
    static const Procedures table[] = {
        {"Excel", "標準スタイル定義一覧", info::Check_Info_List, Excel_Excel_標準スタイル定義一覧,
         nullptr, nullptr, nullptr, false, false, false},
        {"Excel", "列番号対応表", info::Check_Info_List, Excel_Excel_列番号対応表, nullptr, nullptr,
         nullptr, false, false, false},
    };
    return table;
}

}  // namespace sheaflow::ops
