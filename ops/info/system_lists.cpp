// Systemフォルダ一覧 (the folders the program uses) and Excelバージョン一覧 (Sheaflow's version,
// the workbook formats the engine reads and writes, and the office suite's version).

#include <cstdlib>

#include "ops/info/info_common.h"
#include "ops/registry.h"
#include "run/session.h"
#include "shell/settings.h"
#include "util/file.h"
#include "util/system_info.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

using info::row;

Result<void> Excel_Excel_Systemフォルダ一覧(run::Session& s) {
    report::ResultTable& t = s.table;
    info::titles(t, {"フォルダの種類", "フォルダ", "存在"});
    const std::string program = sysinfo::program_folder();
    const std::string params = shell::parameter_folder("", program);
    const char* config = std::getenv("XDG_CONFIG_HOME");
    std::string settings = config && *config ? std::string(config) : sysinfo::home_folder() + "/.config";
    const std::pair<const char*, std::string> folders[] = {
        {"プログラム", program},
        {"パラメータ", params},
        {"設定(XDG_CONFIG_HOME)", settings + "/sheaflow"},
        {"一時ファイル", sysinfo::temp_folder()},
        {"ホーム", sysinfo::home_folder()},
        {"デスクトップ", sysinfo::user_dir("DESKTOP", "Desktop")},
        {"ドキュメント", sysinfo::user_dir("DOCUMENTS", "Documents")},
    };
    for (const auto& [kind, path] : folders)
        row(t, {kind, path, file::is_directory(path) ? "あり" : "なし"});
    return {};
}

Result<void> Excel_Excel_Excelバージョン一覧(run::Session& s) {
    report::ResultTable& t = s.table;
    info::titles(t, {"項目", "値"});
    row(t, {"Sheaflow", SHEAFLOW_VERSION});
    row(t, {"ブックエンジン（Application.Version）", s.app.version()});
    row(t, {"読み書きできる形式", "XLSX, XLSM, CSV（書き出しはTSV・TXTも）"});
    const std::string office = sysinfo::office_version();
    row(t, {"LibreOffice", office.empty() ? "インストールされていません" : office});
    row(t, {"XLS（Excel 97-2003）", office.empty() ? "扱えません（LibreOfficeが必要です）"
                                                    : "LibreOffice経由で読み書きします"});
    row(t, {"マクロの実行", office.empty() ? "できません（LibreOfficeが必要です）"
                                           : "LibreOffice経由で実行します"});
    return {};
}

}  // namespace

std::span<const Procedures> system_list_procedures() {
    static const Procedures table[] = {
        {"Excel", "SYSTEMフォルダ一覧", info::Check_Info_List, Excel_Excel_Systemフォルダ一覧,
         nullptr, nullptr, nullptr, false, false, false},
        {"Excel", "EXCELバージョン一覧", info::Check_Info_List, Excel_Excel_Excelバージョン一覧,
         nullptr, nullptr, nullptr, false, false, false},
    };
    return table;
}

}  // namespace sheaflow::ops
