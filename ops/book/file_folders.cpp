// Files into folders: classify targets into subfolders named after a cell or a sheet, turn
// subfolders into parts of file names and back, and make a new workbook for every target.

#include <string>
#include <vector>

#include "ops/book/book_files.h"
#include "ops/book/file_support.h"
#include "ops/registry.h"
#include "run/session.h"
#include "shell/params.h"
#include "util/file.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

// Puts the target into the subfolder `name` of the pane's folder (or of its own folder), moving
// or copying it as the pane says.
void classify(run::Session& s, const std::string& name) {
    const std::string& base = s.params.text("folder");
    const std::string sub = file::join(base.empty() ? s.folder : base, name);
    if (Result<void> r = Folder_Create_Process(sub); !r) {
        s.update_error_text(r.error().message);
        return;
    }
    const std::string to = file::join(sub, s.file_name);
    const bool move = s.params.option("action") != "copy";
    const files::Clash clash = files::clash_rule(s.params);
    Result<void> r = move ? files::move_file(s.full_path(), to, clash)
                          : files::copy_file(s.full_path(), to, clash);
    if (!r) {
        s.update_error_text(r.error().message);
        return;
    }
    s.host.progress((move ? "移動しました：" : "コピーしました：") + to);
}

std::string check_classify(const shell::Params& p) {
    const std::string& a = p.option("action");
    if (a != "move" && a != "copy") return "ファイルの扱いを設定してください。";
    if (std::string m = files::substitute_error(p.text("substitute")); !m.empty()) return m;
    return check_output_folder(p, false);
}

}  // namespace

// ---- セルの値でフォルダーに分類 -----------------------------------------------------------------

std::string Check_ファイル_セルの値でフォルダーに分類(const shell::Params& p, std::string_view) {
    if (std::string m = files::cell_address_error(p.text("cell")); !m.empty()) return m;
    return check_classify(p);
}

Result<void> Excel_ファイル_セルの値でフォルダーに分類(run::Session& s) {
    Result<std::string> value = files::chosen_cell_text(s);
    if (!value) return value.error();
    const std::string name = files::safe_name(*value, s.params.text("substitute"));
    if (name.empty() || name == "." || name == "..") {
        s.update_error_text("セル「" + text::trim(s.params.text("cell")) +
                            "」が空白なので、分類しませんでした。");
        return {};
    }
    classify(s, name);
    return {};
}

// ---- シート名でフォルダーに分類 -----------------------------------------------------------------

std::string Check_ファイル_シート名でフォルダーに分類(const shell::Params& p, std::string_view) {
    return check_classify(p);
}

Result<void> Excel_ファイル_シート名でフォルダーに分類(run::Session& s) {
    xl::Worksheet* w = files::chosen_sheet(s);
    if (!w) return Error::failed("シートがありません。");
    std::string name = files::safe_name(w->name(), s.params.text("substitute"));
    if (name.empty() || name == "." || name == "..") name = "_";
    classify(s, name);
    return {};
}

// ---- サブフォルダー⇔ファイル名 ------------------------------------------------------------------

namespace {

// The target folder of the run: the subfolder part of a target is what lies below it.
std::string relative_folder(const run::Session& s) {
    const std::string& root = s.target_folder;
    if (root.empty() || s.folder.size() <= root.size() || s.folder.compare(0, root.size(), root) != 0)
        return {};
    std::string rest = s.folder.substr(root.size());
    while (!rest.empty() && rest.front() == '/') rest.erase(0, 1);
    return rest;
}

}  // namespace

std::string Check_ファイル_サブフォルダー_ファイル名(const shell::Params& p, std::string_view) {
    const std::string& d = p.option("direction");
    if (d != "up" && d != "down") return "変換の向きを設定してください。";
    const std::string& delimiter = p.text(d == "up" ? "delimiter_up" : "delimiter_down");
    if (delimiter.empty()) return "区切り文字を入力してください。";
    for (char c : delimiter)
        if (files::unusable_in_name(c))
            return "区切り文字にファイル名に使えない文字（\\ / : * ? \" < > |）があります。";
    return {};
}

Result<void> Excel_ファイル_サブフォルダー_ファイル名(run::Session& s) {
    const files::Clash clash = files::clash_rule(s.params);
    if (s.params.option("direction") == "up") {
        // a/b/name.xlsx below the target folder becomes a<d>b<d>name.xlsx in the target folder.
        const std::string rel = relative_folder(s);
        if (rel.empty()) {
            s.host.progress("対象フォルダーのファイルなので、処理しませんでした：" + s.file_name);
            return {};
        }
        const std::string& d = s.params.text("delimiter_up");
        std::string joined = rel;
        for (std::size_t at = 0; (at = joined.find('/', at)) != std::string::npos; at += d.size())
            joined.replace(at, 1, d);
        const std::string to = file::join(s.target_folder, joined + d + s.file_name);
        if (Result<void> r = files::move_file(s.full_path(), to, clash); !r) {
            s.update_error_text(r.error().message);
            return {};
        }
        s.host.progress("移動しました：" + to);
        return {};
    }
    // a<d>b<d>name.xlsx becomes a/b/name.xlsx below the file's folder.
    const std::string& d = s.params.text("delimiter_down");
    std::vector<std::string> parts;
    std::string name = s.file_name;
    for (std::size_t at; (at = name.find(d)) != std::string::npos;) {
        parts.push_back(name.substr(0, at));
        name.erase(0, at + d.size());
    }
    if (parts.empty() || file_stem(name).empty()) {
        s.host.progress("ファイル名に区切り文字がないので、処理しませんでした：" + s.file_name);
        return {};
    }
    std::string folder = s.folder;
    for (const std::string& p : parts) {
        std::string safe = files::safe_name(p, "_");
        if (safe.empty() || safe == "." || safe == "..") {
            s.update_error_text("ファイル名「" + s.file_name + "」からフォルダー名を作れません。");
            return {};
        }
        folder = file::join(folder, safe);
    }
    if (Result<void> r = Folder_Create_Process(folder); !r) {
        s.update_error_text(r.error().message);
        return {};
    }
    const std::string to = file::join(folder, name);
    if (Result<void> r = files::move_file(s.full_path(), to, clash); !r) {
        s.update_error_text(r.error().message);
        return {};
    }
    s.host.progress("移動しました：" + to);
    return {};
}

// ---- 同じファイル名でファイルを作成 -------------------------------------------------------------

std::string Check_ファイル_同じファイル名でファイルを作成(const shell::Params& p, std::string_view) {
    const std::string& f = p.text("folder");
    if (f.empty()) return "作成先フォルダーを入力してください。";
    if (std::string m = Check_File_FullName("作成先フォルダー", f); !m.empty()) return m;
    return files::template_error(p);
}

Result<void> Excel_ファイル_同じファイル名でファイルを作成(run::Session& s) {
    const std::string to =
        file::join(s.params.text("folder"),
                   file_stem(s.file_name) +
                       files::new_book_extension(s.file_name, s.params.text("template")));
    if (to == s.full_path() || file::join(s.params.text("folder"), s.file_name) == s.full_path()) {
        s.update_error_text("作成するファイルが対象ファイルと同じなので、処理しませんでした。");
        return {};
    }
    if (Result<void> r = files::create_book(s, to); !r) {
        s.update_error_text(r.error().message);
        return {};
    }
    s.host.progress("作成しました：" + to);
    return {};
}

namespace {

const Procedures kFileFolderProcedures[] = {
    {.category = "ファイル", .key_name = "セルの値でフォルダーに分類",
     .check = Check_ファイル_セルの値でフォルダーに分類,
     .execute = Excel_ファイル_セルの値でフォルダーに分類, .saves_itself = true},
    {.category = "ファイル", .key_name = "シート名でフォルダーに分類",
     .check = Check_ファイル_シート名でフォルダーに分類,
     .execute = Excel_ファイル_シート名でフォルダーに分類, .saves_itself = true},
    {.category = "ファイル", .key_name = "サブフォルダー⇔ファイル名",
     .check = Check_ファイル_サブフォルダー_ファイル名,
     .execute = Excel_ファイル_サブフォルダー_ファイル名, .saves_itself = true},
    {.category = "ファイル", .key_name = "同じファイル名でファイルを作成",
     .check = Check_ファイル_同じファイル名でファイルを作成,
     .execute = Excel_ファイル_同じファイル名でファイルを作成, .saves_itself = true},
};

}  // namespace

std::span<const Procedures> file_folder_procedures() { return kFileFolderProcedures; }

}  // namespace sheaflow::ops
