#include "ops/book/file_support.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <vector>

#include "ops/book/book_files.h"
#include "run/session.h"
#include "shell/params.h"
#include "util/file.h"
#include "util/text.h"
#include "xl/file_format.h"
#include "xl/xl.h"

namespace sheaflow::ops::files {
namespace {

// What went wrong with a file system call, in the words a user reads.
std::string reason(int err) {
    switch (err) {
        case ENOSPC:
        case EDQUOT: return "ディスクの空き容量が足りません";
        case EACCES:
        case EPERM: return "アクセスが拒否されました";
        case EROFS: return "読み取り専用の場所です";
        case ENAMETOOLONG: return "名前が長すぎます";
        case ENOENT: return "ファイルまたはフォルダーがありません";
        case ENOTDIR: return "フォルダーの位置にファイルがあります";
        case EISDIR: return "ファイルの位置にフォルダーがあります";
        case EEXIST: return "既にあります";
        case EILSEQ:
        case EINVAL: return "名前に使えない文字があります";
        default: return "エラー番号 " + std::to_string(err);
    }
}

Error io_error(const std::string& what, const std::string& path, int err) {
    return Error::make(Error::Code::Io, what + "「" + path + "」：" + reason(err), path);
}

Error exists_error(const std::string& path) {
    return Error::make(Error::Code::Refused,
                       "ファイル「" + path + "」が既にあるので、処理しませんでした。", path);
}

bool same_file(const std::string& a, const std::string& b) {
    struct stat sa {}, sb {};
    return ::stat(a.c_str(), &sa) == 0 && ::stat(b.c_str(), &sb) == 0 && sa.st_dev == sb.st_dev &&
           sa.st_ino == sb.st_ino;
}

std::string folder_of(const std::string& path) {
    std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : (slash == 0 ? "/" : path.substr(0, slash));
}

// Gives the complete temporary file `tmp` the name `to`: replacing it, or only when no file of
// that name exists (a hard link cannot replace, so an existing name is never lost to a race).
Result<void> publish(const std::string& tmp, const std::string& to, Clash clash) {
    if (clash == Clash::Overwrite) {
        if (::rename(tmp.c_str(), to.c_str()) != 0) return io_error("ファイル", to, errno);
        return {};
    }
    if (::renameat2(AT_FDCWD, tmp.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return {};
    int err = errno;
    if (err == EEXIST) return exists_error(to);
    if (err != EINVAL && err != ENOSYS) return io_error("ファイル", to, err);
    // File systems without the no-replace rename: a link fails on an existing name too.
    if (::link(tmp.c_str(), to.c_str()) != 0) {
        err = errno;
        return err == EEXIST ? exists_error(to) : io_error("ファイル", to, err);
    }
    ::unlink(tmp.c_str());
    return {};
}

}  // namespace

std::string extension(std::string_view name) {
    std::size_t dot = name.rfind('.');
    return dot == std::string_view::npos || dot == 0 ? std::string() : std::string(name.substr(dot));
}

bool unusable_in_name(char c) {
    unsigned char u = static_cast<unsigned char>(c);
    return u < 0x20 || u == 0x7f || std::string_view("\\/:*?\"<>|").find(c) != std::string_view::npos;
}

std::string safe_name(std::string_view text, std::string_view substitute) {
    std::string out;
    for (char c : text) {
        if (unusable_in_name(c))
            out += substitute;
        else
            out += c;
    }
    std::string trimmed = text::trim(out);
    while (!trimmed.empty() && (trimmed.back() == '.' || trimmed.back() == ' '))
        trimmed.pop_back();
    return trimmed;
}

std::string substitute_error(std::string_view substitute) {
    if (safe_name(substitute, "") != substitute)
        return "置換文字にファイル名に使えない文字があります。";
    return {};
}

Result<void> copy_file(const std::string& from, const std::string& to, Clash clash) {
    if (same_file(from, to)) return Error::make(Error::Code::Refused, "コピー先が元のファイルと同じです。", to);
    if (clash == Clash::Refuse && file::exists(to)) return exists_error(to);
    int in = ::open(from.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (in < 0) return io_error("ファイル", from, errno);
    struct stat st {};
    if (::fstat(in, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(in);
        return Error::make(Error::Code::Refused, "「" + from + "」は通常のファイルではありません。", from);
    }
    std::string tmp = file::join(folder_of(to), ".~sheaflow-copy-XXXXXX");
    std::vector<char> name(tmp.begin(), tmp.end());
    name.push_back('\0');
    int out = ::mkstemp(name.data());
    if (out < 0) {
        int err = errno;
        ::close(in);
        return io_error("フォルダー", folder_of(to), err);
    }
    tmp = name.data();
    int err = 0;
    std::vector<char> buffer(1 << 16);
    for (;;) {
        ssize_t n = ::read(in, buffer.data(), buffer.size());
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) { err = errno; break; }
        if (n == 0) break;
        for (ssize_t done = 0; done < n;) {
            ssize_t w = ::write(out, buffer.data() + done, static_cast<std::size_t>(n - done));
            if (w < 0 && errno == EINTR) continue;
            if (w < 0) { err = errno; break; }
            done += w;
        }
        if (err) break;
    }
    if (!err) ::fchmod(out, st.st_mode & 07777);
    if (!err && ::fsync(out) != 0) err = errno;
    if (::close(out) != 0 && !err) err = errno;
    ::close(in);
    if (err) {
        ::unlink(tmp.c_str());
        return io_error("ファイル", to, err);
    }
    // The copy keeps the original's modification time, as a file manager's copy does.
    struct timespec times[2] = {st.st_atim, st.st_mtim};
    ::utimensat(AT_FDCWD, tmp.c_str(), times, 0);
    Result<void> r = publish(tmp, to, clash);
    if (!r) ::unlink(tmp.c_str());
    return r;
}

Result<void> move_file(const std::string& from, const std::string& to, Clash clash) {
    if (same_file(from, to)) return {};
    if (clash == Clash::Overwrite) {
        if (::rename(from.c_str(), to.c_str()) == 0) return {};
    } else {
        if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
            return {};
        if (errno == EEXIST) return exists_error(to);
    }
    if (errno != EXDEV && errno != EINVAL && errno != ENOSYS) return io_error("ファイル", to, errno);
    // Another file system (or no no-replace rename): copy completely, then remove the original.
    if (Result<void> r = copy_file(from, to, clash); !r) return r;
    if (::unlink(from.c_str()) != 0) {
        int err = errno;
        ::unlink(to.c_str());  // the original stays, so the copy goes
        return io_error("ファイル", from, err);
    }
    return {};
}

xl::Worksheet* chosen_sheet(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return nullptr;
    return s.params.option("sheet") == "first" ? b->worksheet(1) : b->active_sheet();
}

std::string cell_address_error(std::string_view address) {
    std::string a = text::trim(address);
    if (a.empty()) return "セルを入力してください。";
    std::optional<xl::Area> area = xl::parse_address(a);
    if (!area || area->first_row != area->last_row || area->first_col != area->last_col ||
        a.find(':') != std::string::npos)
        return "セル「" + a + "」が正しくありません。";
    return {};
}

Result<std::string> chosen_cell_text(run::Session& s) {
    std::string a = text::trim(s.params.text("cell"));
    std::optional<xl::Area> area = xl::parse_address(a);
    if (!area) return Error::failed("セル「" + a + "」が正しくありません。");
    xl::Worksheet* w = chosen_sheet(s);
    if (!w) return Error::failed("シートがありません。");
    return w->cell_text({area->first_row, area->first_col});
}

Clash clash_rule(const shell::Params& p) {
    return p.check("overwrite") ? Clash::Overwrite : Clash::Refuse;
}

std::string new_book_extension(const std::string& target, const std::string& templ) {
    if (!templ.empty()) return extension(templ);
    std::string ext = extension(target);
    std::string upper = text::upper(ext);
    return upper == ".XLSX" || upper == ".XLSM" || upper == ".CSV" ? ext : ".xlsx";
}

std::string template_error(const shell::Params& p) {
    const std::string& t = p.text("template");
    if (t.empty()) return {};
    if (!file::exists(t) || file::is_directory(t)) return "ひな形のブック「" + t + "」がありません。";
    std::string ext = text::upper(extension(t));
    if (ext != ".XLSX" && ext != ".XLSM" && ext != ".CSV")
        return "ひな形のブックは拡張子がXLSX・XLSM・CSVのファイルにしてください。";
    return {};
}

Result<void> create_book(run::Session& s, const std::string& to) {
    const std::string& templ = s.params.text("template");
    const Clash clash = clash_rule(s.params);
    const std::string folder = folder_of(to);
    if (Result<void> r = Folder_Create_Process(folder); !r) return r;
    if (!templ.empty()) return copy_file(templ, to, clash);
    std::optional<int> format = xl::FileFormat_FromFile(to);
    if (!format) return Error::failed("ファイルの拡張子が不明です。");
    if (clash == Clash::Refuse && file::exists(to)) return exists_error(to);
    // The new workbook is saved beside its destination first and takes the name only when the
    // name is free (or may be replaced), so that a file made meanwhile is not lost.
    xl::Workbook* target = s.book();
    Result<xl::Workbook*> book = s.app.workbooks().add();
    if (!book) return book.error();
    const std::string tmp =
        file::join(folder, ".~sheaflow-new-" + std::to_string(::getpid()) + extension(to));
    Result<void> saved = (*book)->save_as(tmp, *format);
    (*book)->close();
    if (target) (void)target->activate();
    if (!saved) return saved;
    Result<void> r = move_file(tmp, to, clash);
    if (!r) ::unlink(tmp.c_str());
    return r;
}

}  // namespace sheaflow::ops::files
