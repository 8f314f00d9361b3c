// Files and folders named by cell values: a workbook (a copy of a template, or a new one) or a
// folder for every value of a range of the target.

#include <set>
#include <string>

#include "ops/book/book_files.h"
#include "ops/book/file_support.h"
#include "ops/cell/cell_common.h"
#include "ops/registry.h"
#include "run/session.h"
#include "shell/params.h"
#include "util/file.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

std::string check_names_from_range(const shell::Params& p) {
    if (std::string m = range_boxes_error(p); !m.empty()) return m;
    const std::string& f = p.text("folder");
    if (f.empty()) return "作成先フォルダーを入力してください。";
    if (std::string m = Check_File_FullName("作成先フォルダー", f); !m.empty()) return m;
    return files::substitute_error(p.text("substitute"));
}

// Calls `make` with every distinct usable name that the displayed values of the pane's range
// give, in row order; an empty cell gives none, a value met before is passed over.
template <typename Make>
Result<void> for_each_name(run::Session& s, Make make) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return Error::failed("シートが開かれていません。");
    std::set<std::string> seen;
    for_each_pane_cell(s, *ws, [&](xl::CellRef c) {
        std::string name = files::safe_name(ws->cell_text(c), s.params.text("substitute"));
        if (name.empty() || name == "." || name == ".." || !seen.insert(name).second) return;
        make(name);
    });
    return {};
}

}  // namespace

// ---- セルの値をファイル名と扱いファイルを作成 ---------------------------------------------------

std::string Check_ファイル_セルの値でファイルを作成(const shell::Params& p, std::string_view) {
    if (std::string m = check_names_from_range(p); !m.empty()) return m;
    return files::template_error(p);
}

Result<void> Excel_ファイル_セルの値でファイルを作成(run::Session& s) {
    const std::string ext = files::new_book_extension(".xlsx", s.params.text("template"));
    return for_each_name(s, [&](const std::string& name) {
        const std::string to = file::join(s.params.text("folder"), name + ext);
        if (Result<void> r = files::create_book(s, to); !r)
            s.update_error_text(r.error().message);
        else
            s.host.progress("作成しました：" + to);
    });
}

// ---- セルの値をフォルダ名と扱いフォルダを作成 ---------------------------------------------------

std::string Check_ファイル_セルの値でフォルダを作成(const shell::Params& p, std::string_view) {
    return check_names_from_range(p);
}

Result<void> Excel_ファイル_セルの値でフォルダを作成(run::Session& s) {
    return for_each_name(s, [&](const std::string& name) {
        const std::string path = file::join(s.params.text("folder"), name);
        if (file::is_directory(path)) {
            s.host.progress("既にあります：" + path);
            return;
        }
        if (Result<void> r = Folder_Create_Process(path); !r)
            s.update_error_text(r.error().message);
        else
            s.host.progress("作成しました：" + path);
    });
}

namespace {

const Procedures kFileCreateProcedures[] = {
    {.category = "ファイル", .key_name = "セルの値をファイル名と扱いファイルを作成",
     .check = Check_ファイル_セルの値でファイルを作成,
     .execute = Excel_ファイル_セルの値でファイルを作成, .saves_itself = true},
    {.category = "ファイル", .key_name = "セルの値をフォルダ名と扱いフォルダを作成",
     .check = Check_ファイル_セルの値でフォルダを作成,
     .execute = Excel_ファイル_セルの値でフォルダを作成, .saves_itself = true},
};

}  // namespace

std::span<const Procedures> file_create_procedures() { return kFileCreateProcedures; }

}  // namespace sheaflow::ops
