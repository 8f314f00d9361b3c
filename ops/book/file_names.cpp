// File names: save a target under a name made from its own, rename it after a sheet or a cell,
// and write a part of its name into a cell.

#include <string>

#include "ops/book/book_files.h"
#include "ops/book/file_support.h"
#include "ops/registry.h"
#include "ops/sheet/sheet_ops.h"
#include "run/session.h"
#include "shell/params.h"
#include "util/file.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

constexpr const char* kBadChars = "ファイル名に使えない文字（\\ / : * ? \" < > |）があります。";

bool has_bad_chars(std::string_view text) {
    for (char c : text)
        if (files::unusable_in_name(c)) return true;
    return false;
}

bool is_one_of_position(const shell::Params& p) {
    const std::string& o = p.option("position");
    return o == "front" || o == "end";
}

// Copies or moves the target to `new_name` in `folder`; logs a refusal; true when done.
bool place_target(run::Session& s, const std::string& folder, const std::string& new_name,
                  bool move) {
    if (Result<void> r = Folder_Create_Process(folder); !r) {
        s.update_error_text(r.error().message);
        return false;
    }
    const std::string to = file::join(folder, new_name);
    const files::Clash clash = files::clash_rule(s.params);
    Result<void> r = move ? files::move_file(s.full_path(), to, clash)
                          : files::copy_file(s.full_path(), to, clash);
    if (!r) {
        s.update_error_text(r.error().message);
        return false;
    }
    s.host.progress((move ? "名前を変更しました：" : "保存しました：") + to);
    return true;
}

// The stem with `added` joined before or after it, as the pane's position option says.
std::string with_added(const run::Session& s, const std::string& stem, const std::string& added) {
    const std::string& delimiter = s.params.text("delimiter");
    return s.params.option("position") == "front" ? added + delimiter + stem
                                                  : stem + delimiter + added;
}

std::string check_added_name(const shell::Params& p) {
    if (!is_one_of_position(p)) return "追加する位置を設定してください。";
    if (has_bad_chars(p.text("delimiter"))) return "区切り文字に" + std::string(kBadChars);
    return files::substitute_error(p.text("substitute"));
}

}  // namespace

// ---- ファイル名を変えて保存 -------------------------------------------------------------------

std::string Check_ファイル_ファイル名を変えて保存(const shell::Params& p, std::string_view) {
    const std::string& how = p.option("how");
    if (how != "front" && how != "end" && how != "number")
        return "新しいファイル名の作り方を設定してください。";
    if (p.text("text").empty())
        return how == "number" ? "新しい名前を入力してください。" : "追加する文字を入力してください。";
    if (has_bad_chars(p.text("text"))) return kBadChars;
    if (how == "number") {
        long digits = pane_number(p.text("digits"));
        if (digits < 1 || digits > 9) return "連番の桁数を1～9で設定してください。";
        if (text::trim(p.text("start")).empty() || pane_number(p.text("start")) < 0)
            return "連番の開始番号を設定してください。";
    }
    return check_output_folder(p, false);
}

Result<void> Excel_ファイル_ファイル名を変えて保存(run::Session& s) {
    const shell::Params& p = s.params;
    const std::string stem = file_stem(s.file_name);
    const std::string& added = p.text("text");
    std::string new_stem;
    if (p.option("how") == "front") {
        new_stem = added + stem;
    } else if (p.option("how") == "end") {
        new_stem = stem + added;
    } else {
        std::string n = std::to_string(pane_number(p.text("start")) + s.processed - 1);
        std::size_t digits = static_cast<std::size_t>(pane_number(p.text("digits")));
        if (n.size() < digits) n.insert(0, digits - n.size(), '0');
        new_stem = added + n;
    }
    place_target(s, output_folder(s), new_stem + files::extension(s.file_name),
                 p.check("remove"));
    return {};
}

// ---- ファイル名の一部を変更して保存 -------------------------------------------------------------

namespace {

// Replaces the first or every occurrence of `search` in `name`; ASCII letters compare without
// regard to case unless asked.
std::string replace_in_name(std::string name, const std::string& search, const std::string& by,
                            bool all, bool match_case) {
    std::string hay = match_case ? name : text::upper(name);
    const std::string needle = match_case ? search : text::upper(search);
    std::string out;
    std::size_t from = 0;
    for (;;) {
        std::size_t at = hay.find(needle, from);
        if (at == std::string::npos) break;
        out += name.substr(from, at - from) + by;
        from = at + needle.size();
        if (!all) break;
    }
    return out + name.substr(from);
}

}  // namespace

std::string Check_ファイル_ファイル名の一部を変更して保存(const shell::Params& p,
                                                          std::string_view) {
    if (p.text("search").empty()) return "変更前の文字を入力してください。";
    if (has_bad_chars(p.text("replace"))) return "変更後の文字に" + std::string(kBadChars);
    if (p.option("which") != "first" && p.option("which") != "all")
        return "変更する箇所を設定してください。";
    return check_output_folder(p, false);
}

Result<void> Excel_ファイル_ファイル名の一部を変更して保存(run::Session& s) {
    const shell::Params& p = s.params;
    const std::string stem = file_stem(s.file_name);
    const std::string new_stem = replace_in_name(stem, p.text("search"), p.text("replace"),
                                                 p.option("which") == "all", p.check("match_case"));
    if (new_stem == stem && text::upper(stem).find(text::upper(p.text("search"))) == std::string::npos) {
        s.host.progress("ファイル名に「" + p.text("search") + "」がないので、処理しませんでした：" +
                        s.file_name);
        return {};
    }
    if (files::safe_name(new_stem, "_").empty()) {
        s.update_error_text("変更後のファイル名が空になるので、処理しませんでした。");
        return {};
    }
    place_target(s, output_folder(s), new_stem + files::extension(s.file_name),
                 p.check("remove"));
    return {};
}

// ---- ファイル名にシート名を追加 -----------------------------------------------------------------

std::string Check_ファイル_ファイル名にシート名を追加(const shell::Params& p, std::string_view) {
    return check_added_name(p);
}

Result<void> Excel_ファイル_ファイル名にシート名を追加(run::Session& s) {
    xl::Worksheet* w = files::chosen_sheet(s);
    if (!w) return Error::failed("シートがありません。");
    const std::string added = files::safe_name(w->name(), s.params.text("substitute"));
    const std::string stem = file_stem(s.file_name);
    place_target(s, s.folder, with_added(s, stem, added) + files::extension(s.file_name), true);
    return {};
}

// ---- ファイル名にセルの値を追加 -----------------------------------------------------------------

std::string Check_ファイル_ファイル名にセルの値を追加(const shell::Params& p, std::string_view) {
    if (std::string m = files::cell_address_error(p.text("cell")); !m.empty()) return m;
    return check_added_name(p);
}

Result<void> Excel_ファイル_ファイル名にセルの値を追加(run::Session& s) {
    Result<std::string> value = files::chosen_cell_text(s);
    if (!value) return value.error();
    const std::string added = files::safe_name(*value, s.params.text("substitute"));
    if (added.empty()) {
        s.update_error_text("セル「" + text::trim(s.params.text("cell")) +
                            "」が空白なので、ファイル名を変更しませんでした。");
        return {};
    }
    const std::string stem = file_stem(s.file_name);
    place_target(s, s.folder, with_added(s, stem, added) + files::extension(s.file_name), true);
    return {};
}

// ---- ファイル名の一部をセルの値にする -----------------------------------------------------------

std::string Check_ファイル_ファイル名の一部をセルの値にする(const shell::Params& p,
                                                            std::string_view) {
    if (std::string m = files::cell_address_error(p.text("cell")); !m.empty()) return m;
    const std::string& part = p.option("part");
    if (part != "left" && part != "mid" && part != "right" && part != "before" && part != "after")
        return "引用する部分を設定してください。";
    if (part == "mid" && pane_number(p.text("start")) < 1) return "開始位置を設定してください。";
    if ((part == "left" || part == "right") && pane_number(p.text("length")) < 1)
        return "文字数を設定してください。";
    if ((part == "before" || part == "after") && p.text("delimiter").empty())
        return "区切り文字を入力してください。";
    return {};
}

Result<void> Excel_ファイル_ファイル名の一部をセルの値にする(run::Session& s) {
    const std::string part = file_name_part(file_stem(s.file_name), s.params);
    if (part.empty()) {
        s.update_error_text("ファイル名「" + s.file_name + "」から引用する部分がありません。");
        return {};
    }
    xl::Worksheet* w = files::chosen_sheet(s);
    if (!w) return Error::failed("シートがありません。");
    std::optional<xl::Area> at = xl::parse_address(text::trim(s.params.text("cell")));
    if (!at) return Error::failed("セルが正しくありません。");
    // Written as a text, so that a part such as "001" keeps its zeros.
    return w->set_cell_value({at->first_row, at->first_col}, xl::Value(part));
}

namespace {

const Procedures kFileNameProcedures[] = {
    {.category = "ファイル", .key_name = "ファイル名を変えて保存",
     .check = Check_ファイル_ファイル名を変えて保存,
     .execute = Excel_ファイル_ファイル名を変えて保存, .saves_itself = true},
    {.category = "ファイル", .key_name = "ファイル名の一部を変更して保存",
     .check = Check_ファイル_ファイル名の一部を変更して保存,
     .execute = Excel_ファイル_ファイル名の一部を変更して保存, .saves_itself = true},
    {.category = "ファイル", .key_name = "ファイル名にシート名を追加",
     .check = Check_ファイル_ファイル名にシート名を追加,
     .execute = Excel_ファイル_ファイル名にシート名を追加, .saves_itself = true},
    {.category = "ファイル", .key_name = "ファイル名にセルの値を追加",
     .check = Check_ファイル_ファイル名にセルの値を追加,
     .execute = Excel_ファイル_ファイル名にセルの値を追加, .saves_itself = true},
    {.category = "ファイル", .key_name = "ファイル名の一部をセルの値にする",
     .check = Check_ファイル_ファイル名の一部をセルの値にする,
     .execute = Excel_ファイル_ファイル名の一部をセルの値にする, .updates = true},
};

}  // namespace

std::span<const Procedures> file_name_procedures() { return kFileNameProcedures; }

}  // namespace sheaflow::ops
