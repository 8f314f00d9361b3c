// The output folder of the book operations: its pane check, its creation, and the bookkeeping
// that keeps one run from writing a file twice or over one of its own targets.

#include "ops/book/book_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <filesystem>

#include "run/session.h"
#include "util/file.h"
#include "util/text.h"

namespace fs = std::filesystem;

namespace sheaflow::ops {
namespace {

// Longest name of one folder or file, and of a whole path, that Linux file systems take.
constexpr std::size_t kMaxNameBytes = 255;
constexpr std::size_t kMaxPathBytes = 4095;

bool is_regular_or_other(const std::string& p) {
    struct stat st {};
    return ::stat(p.c_str(), &st) == 0 && !S_ISDIR(st.st_mode);
}

// The path itself, or its deepest parent that exists.
std::string deepest_existing(std::string p) {
    while (!p.empty() && !file::exists(p)) {
        std::size_t slash = p.rfind('/');
        if (slash == std::string::npos) return {};
        p = slash == 0 ? "/" : p.substr(0, slash);
    }
    return p;
}

std::string normalised(std::string_view path) {
    std::string p = fs::path(std::string(path)).lexically_normal().string();
    while (p.size() > 1 && p.back() == '/') p.pop_back();
    return p;
}

std::string stamp() {
    std::time_t t = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm tm{};
    localtime_r(&t, &tm);
    char buf[32];
    std::size_t n = std::strftime(buf, sizeof buf, "%Y/%m/%d %H:%M:%S", &tm);
    return std::string(buf, n);
}

}  // namespace

std::string Check_File_FullName(std::string_view label, std::string_view path) {
    const std::string l(label);
    if (text::trim(path).empty()) return l + "が不明です。";
    if (path.front() != '/') return l + "は「/」から始まるフルパスで指定してください。";
    for (unsigned char c : path)
        if (c < 0x20 || c == 0x7F) return l + "に制御文字は使えません。";
    if (!text::is_valid_utf8(path)) return l + "に使えない文字が含まれています。";
    if (path.size() > kMaxPathBytes) return l + "が長すぎます。";
    std::string p = normalised(path);
    for (const std::string& part : text::split(p, "/"))
        if (part.size() > kMaxNameBytes)
            return l + "のフォルダー名「" + text::left(part, 20) + "…」が長すぎます。";
    // A file where one of the folders should be.
    for (std::string at = p; at.size() > 1;) {
        if (is_regular_or_other(at))
            return l + "の「" + at + "」はフォルダーではなくファイルです。";
        std::size_t slash = at.rfind('/');
        at = slash == 0 ? "/" : at.substr(0, slash);
    }
    std::string existing = deepest_existing(p);
    if (existing.empty()) return l + "が不明です。";
    if (::access(existing.c_str(), W_OK | X_OK) != 0)
        return l + "「" + existing + "」に書き込む権限がありません。";
    return {};
}

Result<void> Folder_Create_Process(const std::string& folder) {
    std::string p = normalised(folder);
    if (file::is_directory(p)) return {};
    std::error_code ec;
    fs::create_directories(p, ec);
    if (!ec && file::is_directory(p)) return {};
    std::string why;
    if (ec == std::errc::permission_denied || ec == std::errc::read_only_file_system)
        why = "作成する権限がありません。";
    else if (ec == std::errc::file_exists || ec == std::errc::not_a_directory)
        why = "同じ名前のファイルがあります。";
    else if (ec == std::errc::filename_too_long)
        why = "名前が長すぎます。";
    else
        why = ec ? ec.message() : std::string("作成できませんでした。");
    return Error::make(Error::Code::Io, "フォルダー「" + p + "」を作成できません。" + why, p);
}

std::string output_folder(const run::Session& s) {
    const std::string& given = s.params.text(kOutputFolderKey);
    return text::trim(given).empty() ? s.folder : given;
}

std::string check_output_folder(const shell::Params& p, bool must_exist) {
    const std::string& folder = p.text(kOutputFolderKey);
    if (text::trim(folder).empty()) return {};
    if (std::string m = Check_File_FullName(kOutputFolderLabel, folder); !m.empty()) return m;
    if (must_exist && !file::is_directory(folder))
        return std::string(kOutputFolderLabel) + "が不明です。";
    return {};
}

std::string file_stem(std::string_view file_name) {
    std::size_t dot = file_name.rfind('.');
    if (dot == std::string_view::npos || dot == 0) return std::string(file_name);
    return std::string(file_name.substr(0, dot));
}

std::string file_extension(std::string_view file_name) {
    std::size_t dot = file_name.rfind('.');
    if (dot == std::string_view::npos || dot == 0) return {};
    return std::string(file_name.substr(dot + 1));
}

bool claim_output(run::Session& s, const std::string& path) {
    std::string p = normalised(path);
    if (s.written_files.count(p)) {
        log_save_error(s, p,
                       Error::failed("この実行で既に書き出したファイルです。上書きしません"
                                     "（拡張子だけが違う同じ名前のブックがあります）。"));
        return false;
    }
    if (s.target_files.count(p)) {
        log_save_error(s, p, Error::failed("処理対象のファイルのため、上書きしません。"));
        return false;
    }
    std::size_t slash = p.rfind('/');
    if (slash != std::string::npos && slash > 0)
        if (auto r = Folder_Create_Process(p.substr(0, slash)); !r) {
            log_save_error(s, p, r.error());
            return false;
        }
    s.written_files.insert(p);
    return true;
}

void log_save_error(run::Session& s, const std::string& path, const Error& e) {
    s.append_error_line(stamp() + " " + path + " 書込エラー　" +
                        (e.message.empty() ? std::string("保存できませんでした。") : e.message));
    s.error_flag = true;
}

}  // namespace sheaflow::ops
