// 外部マクロ実行: a macro kept in another workbook run against each target, as
// Application.Run("'<book>'!<module>.<procedure>") with the target active. The engine hands the
// two workbooks to LibreOffice, which runs the macro with its VBA support; the target is saved
// by the driver in its own format afterwards. A macro that does not end within the pane's time
// limit is stopped, and the target is left as it was.

#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

#include "ops/registry.h"
#include "run/session.h"
#include "util/file.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

constexpr int kMaxSeconds = 3600;

int time_limit(const shell::Params& p) {
    std::string t = text::trim(text::narrow(p.text("time_limit")));
    if (t.empty() || !text::is_digits(t) || t.size() > 5) return 0;
    return std::atoi(t.c_str());
}

std::string Check_ツール_外部マクロ実行(const shell::Params& p, std::string_view) {
    const std::string book = text::trim(p.text("book"));
    if (book.empty()) return "マクロのあるファイルが指定されていません。";
    if (!file::exists(book) || file::is_directory(book)) return "マクロのあるファイルがありません。";
    if (text::trim(p.text("module")).empty()) return "モジュール名を入力してください。";
    if (text::trim(p.text("macro")).empty()) return "マクロ名を入力してください。";
    int limit = time_limit(p);
    if (limit < 1 || limit > kMaxSeconds) return "制限時間は 1 から 3600 秒で指定してください。";
    return "";
}

Result<void> Excel_ツール_外部マクロ実行(run::Session& s) {
    if (!s.book()) return Error::failed("ブックが開かれていません。");
    const std::string book = text::trim(s.params.text("book"));
    const std::string module = text::trim(s.params.text("module"));
    const std::string macro = text::trim(s.params.text("macro"));
    auto r = s.app.run_macro(book, module, macro, time_limit(s.params));
    if (!r) {
        Error e = r.error();
        const std::string name = "'" + std::filesystem::path(book).filename().string() + "'!" +
                                 module + "." + macro;
        e.message = "マクロ「" + name + "」を実行できません（" + e.message + "）。";
        return e;
    }
    return {};
}

}  // namespace

std::span<const Procedures> external_macro_procedures() {
    static const Procedures table[] = {
        {.category = "ツール",
         .key_name = "外部マクロ実行",
         .check = Check_ツール_外部マクロ実行,
         .execute = Excel_ツール_外部マクロ実行,
         .updates = true},
    };
    return table;
}

}  // namespace sheaflow::ops
