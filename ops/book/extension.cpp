// 拡張子変更(CSV・XLS・XLSX): each target of the chosen old extension saved again under the new
// one, beside it or in the output folder. Between the workbook formats the engine saves the
// whole workbook losslessly (the VBA project kept for .xlsm, dropped for .xlsx); a text format
// holds the active sheet; .xls is written by LibreOffice through the engine's bridge. The target
// itself is left as it was.

#include <string>
#include <string_view>

#include "ops/book/book_files.h"
#include "ops/registry.h"
#include "run/session.h"
#include "util/file.h"
#include "util/text.h"
#include "xl/file_format.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

constexpr const char* kOldExtKey = "old_ext";
constexpr const char* kNewExtKey = "new_ext";
constexpr const char* kTxtMethodKey = "txt_method";

}  // namespace

std::string Check_ファイル_拡張子変更_XLS_CSV(const shell::Params& p, std::string_view) {
    const std::string& old_ext = p.option(kOldExtKey);
    const std::string& new_ext = p.option(kNewExtKey);
    if (old_ext.empty()) return "変更前の拡張子が設定されていません。";
    if (new_ext.empty()) return "変更後の拡張子が設定されていません。";
    if (std::string m = check_output_folder(p, true); !m.empty()) return m;
    if (new_ext == "txt" && p.option(kTxtMethodKey).empty())
        return "TXTの編集方法が設定されていません。";
    if (new_ext == old_ext) return "拡張子の変更になってません。";
    return {};
}

// Only targets of the pane's old extension are changed; one that already has the new
// extension is passed over as well.
bool skip_extension_change(const run::Session& s) {
    return s.extension != text::upper(s.params.option(kOldExtKey)) ||
           s.extension == text::upper(s.params.option(kNewExtKey));
}

// Saves the active workbook under `new_name` in the output folder, in the new extension's format.
Result<void> Excel_ファイル_拡張子変更_XLS_CSV_Save(run::Session& s, const std::string& new_name) {
    xl::Workbook* book = s.book();
    if (!book) return Error::failed("ブックが開かれていません。");
    s.app.display_alerts = false;
    s.app.window_state = xl::xlMaximized;
    const std::string path = file::join(output_folder(s), new_name);
    const std::string type = text::upper(s.params.option(kNewExtKey));
    const std::string& method = s.params.option(kTxtMethodKey);
    std::optional<int> format =
        type == "TXT" ? xl::FileFormat_FromExt(type, method == "tab" ? "Tab" : "Comma")
                      : xl::FileFormat_FromExt(type);
    if (!format) {
        s.update_error_text(std::string(xl::kUnknownExtensionMessage));
        return {};
    }
    if (!claim_output(s, path)) return {};
    if (auto r = book->save_as(path, *format); !r) log_save_error(s, path, r.error());
    return {};
}

// The new file name: the target's name less its extension, then the new one.
Result<void> Excel_ファイル_拡張子変更_XLS_CSV(run::Session& s) {
    return Excel_ファイル_拡張子変更_XLS_CSV_Save(
        s, file_stem(s.file_name) + "." + s.params.option(kNewExtKey));
}

std::span<const Procedures> extension_procedures() {
    static const Procedures table[] = {
        {.category = "ファイル",
         .key_name = "拡張子変更(CSV・XLS・XLSX)",
         .check = Check_ファイル_拡張子変更_XLS_CSV,
         .execute = Excel_ファイル_拡張子変更_XLS_CSV,
         .updates = true,
         .saves_itself = true,
         .skip = skip_extension_change},
    };
    return table;
}

}  // namespace sheaflow::ops
