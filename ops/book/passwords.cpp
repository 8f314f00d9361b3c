// パスワード変更１ and パスワード変更２: the password to open (the workbook saved encrypted) set,
// changed or removed; １ with the same passwords for every target, ２ with each file's passwords
// from a list file. The current password opens the target (a wrong one is the open's error line,
// the file unchanged); the driver saves the workbook, encrypted with the new password.

#include <optional>
#include <string>
#include <vector>

#include "ops/registry.h"
#include "run/session.h"
#include "util/file.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

// The application refuses longer passwords.
constexpr std::size_t kMostPasswordLength = 255;

struct FilePasswords {
    std::string old_open, new_open;
};

std::string check_length(const std::string& password, const char* label) {
    if (text::length(password) > kMostPasswordLength)
        return std::string(label) + "は255文字以内で指定してください。";
    return {};
}

// The list file of パスワード変更２: one line per file, "name,current,new" (fields may be
// quoted as in a CSV file); lines starting with '#' and empty lines are skipped.
Result<std::vector<std::pair<std::string, FilePasswords>>> read_list(const std::string& path) {
    std::string bytes, content;
    if (!file::read_all(path, bytes))
        return Error::failed("パスワード一覧ファイル「" + path + "」を読み込めません。");
    if (!text::decode_file_text(bytes, content))
        return Error::failed("パスワード一覧ファイル「" + path + "」の文字コードが不明です。");
    std::vector<std::pair<std::string, FilePasswords>> out;
    int line_no = 0;
    for (std::string line : text::split(text::replace_all(content, "\r\n", "\n"), "\n")) {
        ++line_no;
        if (line.empty() || line[0] == '#') continue;
        std::vector<std::string> fields;
        std::string field;
        bool quoted = false;
        for (std::size_t i = 0; i < line.size(); ++i) {
            char c = line[i];
            if (quoted && c == '"' && i + 1 < line.size() && line[i + 1] == '"') {
                field += '"';
                ++i;
            } else if (c == '"') {
                quoted = !quoted;
            } else if (c == ',' && !quoted) {
                fields.push_back(field);
                field.clear();
            } else {
                field += c;
            }
        }
        fields.push_back(field);
        if (fields.size() != 3 || text::trim(fields[0]).empty())
            return Error::failed(
                "パスワード一覧ファイルの " + std::to_string(line_no) +
                " 行目は「ファイル名,現在のパスワード,新しいパスワード」の形ではありません。");
        out.push_back({text::trim(fields[0]), FilePasswords{fields[1], fields[2]}});
    }
    return out;
}

// The passwords of the current target from the list file, nullopt when it is not listed.
std::optional<FilePasswords> listed(const run::Session& s) {
    auto list = read_list(s.params.text("list"));
    if (!list) return std::nullopt;
    for (const auto& [name, passwords] : *list)
        if (name == s.file_name || name == s.full_path()) return passwords;
    return std::nullopt;
}

}  // namespace

std::string Check_ファイル_パスワード変更1(const shell::Params& p, std::string_view) {
    if (std::string m = check_length(p.text("new_open"), "新しい読み取りパスワード"); !m.empty())
        return m;
    if (p.text("old_open") == p.text("new_open"))
        return "現在のパスワードと新しいパスワードが同じです。";
    return {};
}

Result<void> Excel_ファイル_パスワード変更1_Read(run::Session& s) {
    if (!s.params.text("old_open").empty()) s.app.open_password = s.params.text("old_open");
    return {};
}

Result<void> Excel_ファイル_パスワード変更1(run::Session& s) {
    xl::Workbook* book = s.book();
    if (!book) return Error::failed("ブックが開かれていません。");
    return book->set_open_password(s.params.text("new_open"));
}

std::string Check_ファイル_パスワード変更2(const shell::Params& p, std::string_view) {
    const std::string& path = p.text("list");
    if (path.empty()) return "パスワード一覧ファイルを指定してください。";
    auto list = read_list(path);
    if (!list) return list.error().message;
    if (list->empty()) return "パスワード一覧ファイルにファイルがありません。";
    for (const auto& [name, passwords] : *list)
        if (std::string m = check_length(passwords.new_open, "新しいパスワード"); !m.empty())
            return name + ": " + m;
    return {};
}

Result<void> Excel_ファイル_パスワード変更2_Read(run::Session& s) {
    if (std::optional<FilePasswords> p = listed(s); p && !p->old_open.empty())
        s.app.open_password = p->old_open;
    return {};
}

// A target that the list does not name is left as it is, with a line that says so.
Result<void> Excel_ファイル_パスワード変更2(run::Session& s) {
    xl::Workbook* book = s.book();
    if (!book) return Error::failed("ブックが開かれていません。");
    std::optional<FilePasswords> p = listed(s);
    if (!p) {
        s.update_error_text("パスワード一覧ファイルにないため、変更していません。");
        return {};
    }
    return book->set_open_password(p->new_open);
}

std::span<const Procedures> password_procedures() {
    static const Procedures table[] = {
        {.category = "ファイル",
         .key_name = "パスワード変更１",
         .check = Check_ファイル_パスワード変更1,
         .execute = Excel_ファイル_パスワード変更1,
         .read = Excel_ファイル_パスワード変更1_Read,
         .updates = true},
        {.category = "ファイル",
         .key_name = "パスワード変更２",
         .check = Check_ファイル_パスワード変更2,
         .execute = Excel_ファイル_パスワード変更2,
         .read = Excel_ファイル_パスワード変更2_Read,
         .updates = true},
    };
    return table;
}

}  // namespace sheaflow::ops
