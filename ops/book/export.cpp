// ＣＳＶで出力, ＴＳＶで出力, ＴＸＴで出力: every worksheet of each target saved as a text file
// of its own, named after the book and the sheet. The driver visits the worksheets (chart sheets
// are not among them) and activates each; saving the active workbook in a text format writes its
// active sheet, through the engine's text formats (displayed texts, CP932, CR LF).

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

constexpr const char* kTxtMethodKey = "txt_method";

// The text method word of FileFormat_FromExt for the pane's choice ("" when none is chosen).
std::string txt_separator(const shell::Params& p) {
    const std::string& m = p.option(kTxtMethodKey);
    return m == "comma" ? "Comma" : m == "tab" ? "Tab" : "";
}

// Saves the visited sheet as "<book stem>_<sheet>.<ext>" in the output folder.
Result<void> export_sheet(run::Session& s, std::string_view ext, std::string_view separator) {
    xl::Workbook* book = s.book();
    xl::Worksheet* sheet = s.sheet();
    if (!book || !sheet) return Error::failed("ブックが開かれていません。");
    std::optional<int> format = xl::FileFormat_FromExt(ext, separator);
    if (!format) {
        s.update_error_text(std::string(xl::kUnknownExtensionMessage));
        return {};
    }
    const std::string name = file_stem(s.file_name) + "_" + sheet->name() + "." + text::lower(ext);
    const std::string path = file::join(output_folder(s), name);
    if (!claim_output(s, path)) return {};
    if (auto r = book->save_as(path, *format); !r) log_save_error(s, path, r.error());
    return {};
}

// A target already in the output format is passed over.
bool is_csv(const run::Session& s) { return s.extension == "CSV"; }

}  // namespace

std::string Check_すべてのシート_ファイル_CSVで出力(const shell::Params& p, std::string_view) {
    return check_output_folder(p, true);
}
std::string Check_すべてのシート_ファイル_TSVで出力(const shell::Params& p, std::string_view) {
    return check_output_folder(p, true);
}
std::string Check_すべてのシート_ファイル_TXTで出力(const shell::Params& p, std::string_view) {
    if (std::string m = check_output_folder(p, true); !m.empty()) return m;
    if (txt_separator(p).empty()) return "TXTの編集方法が設定されていません。";
    return {};
}

Result<void> Excel_すべてのシート_ファイル_CSVで出力(run::Session& s) {
    return export_sheet(s, "CSV", {});
}
Result<void> Excel_すべてのシート_ファイル_TSVで出力(run::Session& s) {
    return export_sheet(s, "TSV", {});
}
Result<void> Excel_すべてのシート_ファイル_TXTで出力(run::Session& s) {
    return export_sheet(s, "TXT", txt_separator(s.params));
}

std::span<const Procedures> export_procedures() {
    static const Procedures table[] = {
        {.category = "すべてのシート_ファイル",
         .key_name = "ＣＳＶで出力",
         .check = Check_すべてのシート_ファイル_CSVで出力,
         .execute = Excel_すべてのシート_ファイル_CSVで出力,
         .updates = true,
         .saves_itself = true,
         .skip = is_csv},
        {.category = "すべてのシート_ファイル",
         .key_name = "ＴＳＶで出力",
         .check = Check_すべてのシート_ファイル_TSVで出力,
         .execute = Excel_すべてのシート_ファイル_TSVで出力,
         .updates = true,
         .saves_itself = true},
        {.category = "すべてのシート_ファイル",
         .key_name = "ＴＸＴで出力",
         .check = Check_すべてのシート_ファイル_TXTで出力,
         .execute = Excel_すべてのシート_ファイル_TXTで出力,
         .updates = true,
         .saves_itself = true},
    };
    return table;
}

}  // namespace sheaflow::ops
