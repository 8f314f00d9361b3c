// パスワード変更１ and パスワード変更２: the password to open (the workbook saved encrypted), the
// password to modify and the password of the workbook's protection, each set, changed or removed;
// １ with the same passwords for every target, ２ with each file's passwords from a list file.
// A pair whose current and new passwords are equal is left alone. The current password to open
// opens the target (a wrong one is the open's error line); a wrong current password to modify or
// of the protection is an error line for the file, which stays unchanged. The driver saves.

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
    std::string old_modify, new_modify;
    std::string old_book, new_book;
    bool changes_nothing() const {
        return old_open == new_open && old_modify == new_modify && old_book == new_book;
    }
};

FilePasswords from_pane(const shell::Params& p) {
    return {p.text("old_open"),   p.text("new_open"), p.text("old_modify"),
            p.text("new_modify"), p.text("old_book"), p.text("new_book")};
}

std::string check_lengths(const FilePasswords& p) {
    const std::pair<const std::string*, const char*> fields[] = {
        {&p.new_open, "新しい読み取りパスワード"},
        {&p.new_modify, "新しい書き込みパスワード"},
        {&p.new_book, "新しいブック保護パスワード"}};
    for (const auto& [value, label] : fields)
        if (text::length(*value) > kMostPasswordLength)
            return std::string(label) + "は255文字以内で指定してください。";
    return {};
}

// The list file of パスワード変更２: one line per file, "name,current,new" for the password to
// open, optionally followed by the current and new passwords to modify and then by those of the
// workbook's protection (3, 5 or 7 fields, quoted as in a CSV file where they hold commas); lines
// starting with '#' and empty lines are skipped.
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
        if ((fields.size() != 3 && fields.size() != 5 && fields.size() != 7) ||
            text::trim(fields[0]).empty())
            return Error::failed(
                "パスワード一覧ファイルの " + std::to_string(line_no) +
                " 行目は「ファイル名,現在のパスワード,新しいパスワード」の形ではありません"
                "（書き込みパスワード、ブック保護パスワードの組を続けることができます）。");
        fields.resize(7);
        out.push_back({text::trim(fields[0]), FilePasswords{fields[1], fields[2], fields[3],
                                                            fields[4], fields[5], fields[6]}});
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

// The protection keeps what it locks (structure, windows) under its new password; a new empty
// password unprotects the workbook.
Result<void> change_book_password(xl::Workbook& book, const FilePasswords& p) {
    const xl::BookProtection now = book.protection();
    const bool on = now.structure || now.windows;
    if (on) {
        if (auto r = book.unprotect(p.old_book); !r) {
            if (r.error().code == Error::Code::Refused)
                return Error::make(Error::Code::Refused,
                                   "ブック保護のパスワードが正しくありません。");
            return r;
        }
    }
    if (p.new_book.empty()) return {};
    return book.protect(p.new_book, on ? now.structure : true, on && now.windows);
}

// Everything that may be refused is tried before the password to open is set, and an error
// leaves the workbook unsaved.
Result<void> change_passwords(xl::Workbook& book, const FilePasswords& p) {
    if (p.old_modify != p.new_modify)
        if (auto r = book.change_modify_password(p.old_modify, p.new_modify); !r) return r;
    if (p.old_book != p.new_book)
        if (auto r = change_book_password(book, p); !r) return r;
    if (p.old_open != p.new_open) return book.set_open_password(p.new_open);
    return {};
}

}  // namespace

std::string Check_ファイル_パスワード変更1(const shell::Params& p, std::string_view) {
    const FilePasswords passwords = from_pane(p);
    if (std::string m = check_lengths(passwords); !m.empty()) return m;
    if (passwords.changes_nothing()) return "現在のパスワードと新しいパスワードが同じです。";
    return {};
}

Result<void> Excel_ファイル_パスワード変更1_Read(run::Session& s) {
    if (!s.params.text("old_open").empty()) s.app.open_password = s.params.text("old_open");
    return {};
}

Result<void> Excel_ファイル_パスワード変更1(run::Session& s) {
    xl::Workbook* book = s.book();
    if (!book) return Error::failed("ブックが開かれていません。");
    return change_passwords(*book, from_pane(s.params));
}

std::string Check_ファイル_パスワード変更2(const shell::Params& p, std::string_view) {
    const std::string& path = p.text("list");
    if (path.empty()) return "パスワード一覧ファイルを指定してください。";
    auto list = read_list(path);
    if (!list) return list.error().message;
    if (list->empty()) return "パスワード一覧ファイルにファイルがありません。";
    for (const auto& [name, passwords] : *list)
        if (std::string m = check_lengths(passwords); !m.empty()) return name + ": " + m;
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
    return change_passwords(*book, *p);
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
