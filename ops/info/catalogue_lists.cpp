// コマンドバー一覧 (the categories of the catalogue, as the bars of commands a user chooses from)
// and コマンドメニュー一覧 (every operation with its description and whether it runs).

#include "ops/info/info_common.h"
#include "ops/registry.h"
#include "run/session.h"
#include "shell/catalogue.h"
#include "shell/descriptions.h"

namespace sheaflow::ops {
namespace {

using info::row;

bool implemented(const shell::OperationDecl& d) {
    return !d.is_separator() && find_procedures(d.category, d.key_name) != nullptr;
}

Result<void> Excel_Excel_コマンドバー一覧(run::Session& s) {
    report::ResultTable& t = s.table;
    info::titles(t, {"番号", "カテゴリー", "処理数", "実装済み", "すべてのシート版"});
    shell::Catalogue catalogue;
    int number = 0;
    for (const std::string& category : catalogue.categories()) {
        int count = 0, done = 0;
        for (const shell::Catalogue::Row* r : catalogue.rows_of(category)) {
            if (r->decl->is_separator()) continue;
            ++count;
            done += implemented(*r->decl) ? 1 : 0;
        }
        bool variant = category.rfind(shell::kAllSheetsPrefix, 0) == 0;
        row(t, {std::to_string(++number), category, std::to_string(count), std::to_string(done),
                variant ? "○" : ""});
    }
    return {};
}

Result<void> Excel_Excel_コマンドメニュー一覧(run::Session& s) {
    report::ResultTable& t = s.table;
    info::titles(t, {"カテゴリー", "処理名", "パラメータファイル", "実装", "説明"});
    for (const shell::OperationDecl& d : shell::declarations()) {
        if (d.is_separator()) continue;
        const shell::OperationDecl& owner = shell::params_owner(d);
        row(t, {d.category, d.name, owner.main_file, implemented(d) ? "実装済み" : "未実装",
                shell::description(d.category, d.name)});
    }
    return {};
}

}  // namespace

std::span<const Procedures> catalogue_list_procedures() {
    static const Procedures table[] = {
        {"Excel", "コマンドバー一覧", info::Check_Info_List, Excel_Excel_コマンドバー一覧, nullptr,
         nullptr, nullptr, false, false, false},
        {"Excel", "コマンドメニュー一覧", info::Check_Info_List, Excel_Excel_コマンドメニュー一覧,
         nullptr, nullptr, nullptr, false, false, false},
    };
    return table;
}

}  // namespace sheaflow::ops
