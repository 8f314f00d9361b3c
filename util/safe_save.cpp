#include "util/safe_save.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <vector>

namespace sheaflow::file {

namespace detail {
std::function<bool(std::string_view stage)> save_fault_hook;
int fault_errno = EIO;
}  // namespace detail

std::string errno_text(int err) {
    switch (err) {
        case ENOSPC:
        case EDQUOT: return "ディスクの空き容量が足りません";
        case EACCES:
        case EPERM: return "書き込みの権限がありません";
        case EROFS: return "読み取り専用のディスクです";
        case ENAMETOOLONG: return "ファイル名またはパスが長すぎます";
        case ENOENT: return "ファイルまたはフォルダーがありません";
        case ENOTDIR: return "パスの途中にフォルダーでないものがあります";
        case EISDIR: return "同じ名前のフォルダーがあります";
        case EIO: return "ディスクの読み書きでエラーが発生しました";
        case EMFILE:
        case ENFILE: return "開いているファイルが多すぎます";
        case ENOMEM: return "メモリが足りません";
        case EFBIG: return "ファイルが大きすぎます";
        case EBUSY:
        case ETXTBSY:
        case EAGAIN: return "ファイルが使用中です";
        case ELOOP: return "シンボリックリンクが循環しています";
        case EXDEV: return "別のディスクにあるファイルとは置き換えられません";
        default: return "システムのエラーが発生しました（番号 " + std::to_string(err) + "）";
    }
}

bool errno_is_whole_run(int err) { return err == ENOSPC || err == EDQUOT || err == EROFS; }

namespace {

bool stage_ok(std::string_view stage) {
    return !detail::save_fault_hook || detail::save_fault_hook(stage);
}

Error save_error(const std::string& target, int err) {
    Error e = Error::make(Error::Code::Io,
                          "ファイル「" + target + "」を保存できません（" + errno_text(err) + "）。",
                          target);
    e.whole_run = errno_is_whole_run(err);
    return e;
}

Error refusal(const std::string& target, std::string text) {
    return Error::make(Error::Code::Refused, std::move(text), target);
}

std::string folder_of(const std::string& path) {
    auto slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

constexpr mode_t kAnyWrite = S_IWUSR | S_IWGRP | S_IWOTH;

// A file or folder counts as read-only when no one may write it (even where this process could,
// as root can) or when this process may not.
bool read_only(const std::string& path, const struct stat& st, int access_mode) {
    return (st.st_mode & kAnyWrite) == 0 || ::access(path.c_str(), access_mode) != 0;
}

bool write_fully(int fd, std::string_view bytes, int& err) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            err = errno;
            return false;
        }
        done += static_cast<std::size_t>(n);
    }
    return true;
}

bool lock_exclusively(int fd) {
    struct flock fl {};
    fl.l_type = F_WRLCK;
    fl.l_whence = SEEK_SET;
    return ::fcntl(fd, F_OFD_SETLK, &fl) == 0;
}

// The file a save writes: the target, or the file a symbolic link at the target names.
Result<std::string> resolve(const std::string& target) {
    struct stat st {};
    if (::lstat(target.c_str(), &st) != 0 || !S_ISLNK(st.st_mode)) return target;
    char* real = ::realpath(target.c_str(), nullptr);
    if (!real) {
        int err = errno;
        if (err == ENOENT)
            return refusal(target, "ファイル「" + target +
                                       "」はリンク先のないシンボリックリンクのため、保存できません。");
        return save_error(target, err);
    }
    std::string out(real);
    std::free(real);
    return out;
}

bool is_save_temp_name(std::string_view name) {
    // Current names, and those of earlier versions (".<name>.sheaflow-XXXXXX").
    if (name.size() == kSaveTempPrefix.size() + 6 + kSaveTempSuffix.size() &&
        name.substr(0, kSaveTempPrefix.size()) == kSaveTempPrefix &&
        name.substr(name.size() - kSaveTempSuffix.size()) == kSaveTempSuffix)
        return true;
    auto at = name.rfind(".sheaflow-");
    return !name.empty() && name.front() == '.' && at != std::string_view::npos && at > 0 &&
           name.size() == at + 10 + 6;
}

}  // namespace

Result<void> check_replaceable(const std::string& target) {
    const std::string folder = folder_of(target);
    struct stat dir {};
    if (::stat(folder.c_str(), &dir) != 0) {
        int err = errno;
        if (err == ENOENT)
            return Error::make(Error::Code::Io, "保存先のフォルダー「" + folder + "」がありません。",
                               target);
        return save_error(target, err);
    }
    if (!S_ISDIR(dir.st_mode))
        return Error::make(Error::Code::Io, "保存先「" + folder + "」はフォルダーではありません。",
                           target);
    struct stat st {};
    if (::stat(target.c_str(), &st) == 0) {
        if (S_ISDIR(st.st_mode))
            return refusal(target, "「" + target + "」は同じ名前のフォルダーのため、保存できません。");
        if (!S_ISREG(st.st_mode))
            return refusal(target, "「" + target + "」は通常のファイルではないため、保存できません。");
        if (read_only(target, st, W_OK))
            return refusal(target, "ファイル「" + target + "」は読み取り専用のため、保存できません。");
        if (st.st_nlink > 1)
            return refusal(target, "ファイル「" + target +
                                       "」には別の名前（ハードリンク）があり、保存すると切り離されて"
                                       "しまうため、保存できません。");
    } else if (errno != ENOENT) {
        return save_error(target, errno);
    }
    if (read_only(folder, dir, W_OK | X_OK))
        return refusal(target, "フォルダー「" + folder + "」に書き込めないため、ファイル「" + target +
                                   "」を保存できません。");
    return {};
}

Result<void> replace_file(const std::string& target, const FillFn& fill) {
    auto resolved = resolve(target);
    if (!resolved) return resolved.error();
    const std::string& path = *resolved;
    if (auto r = check_replaceable(path); !r) {
        Error e = r.error();
        e.path = target;
        return e;
    }
    struct stat old {};
    const bool replacing = ::stat(path.c_str(), &old) == 0;

    std::string pattern = folder_of(path) + "/" + std::string(kSaveTempPrefix) + "XXXXXX" +
                          std::string(kSaveTempSuffix);
    std::vector<char> buf(pattern.begin(), pattern.end());
    buf.push_back('\0');
    int fd = ::mkostemps(buf.data(), static_cast<int>(kSaveTempSuffix.size()), O_CLOEXEC);
    if (fd < 0) return save_error(target, errno);
    const std::string temp(buf.data());
    // Locked while it is written, so that another run's clean-up leaves it alone.
    (void)lock_exclusively(fd);
    auto discard = [&](Error e) -> Result<void> {
        ::unlink(temp.c_str());
        ::close(fd);
        if (e.path.empty()) e.path = target;
        return e;
    };

    if (!stage_ok("write")) return discard(save_error(target, detail::fault_errno));
    if (auto r = fill(fd, temp); !r) return discard(r.error());
    // A writer that went by the name (another program writing the file anew) may have put a
    // new file there: the steps below act on that one.
    struct stat written {}, named {};
    if (::fstat(fd, &written) == 0 && ::stat(temp.c_str(), &named) == 0 &&
        (written.st_ino != named.st_ino || written.st_dev != named.st_dev)) {
        int again = ::open(temp.c_str(), O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
        if (again < 0) return discard(save_error(target, errno));
        ::close(fd);
        fd = again;
    }

    // The new file keeps the mode and, where this process may set them, the owner and group of
    // the one it replaces; a new file gets the usual 0666 less the umask.
    mode_t mode;
    if (replacing) {
        mode = old.st_mode & 07777;
        if (::fchown(fd, old.st_uid, old.st_gid) != 0) (void)::fchown(fd, static_cast<uid_t>(-1), old.st_gid);
    } else {
        mode_t mask = ::umask(0);
        ::umask(mask);
        mode = 0666 & ~mask;
    }
    if (::fchmod(fd, mode) != 0) return discard(save_error(target, errno));
    if (!stage_ok("sync")) return discard(save_error(target, detail::fault_errno));
    if (::fsync(fd) != 0) return discard(save_error(target, errno));
    if (!stage_ok("rename")) return discard(save_error(target, detail::fault_errno));
    if (::rename(temp.c_str(), path.c_str()) != 0) return discard(save_error(target, errno));
    ::close(fd);
    int dir = ::open(folder_of(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0) {
        (void)::fsync(dir);
        ::close(dir);
    }
    return {};
}

Result<void> replace_file(const std::string& target, std::string_view bytes) {
    return replace_file(target, [&](int fd, const std::string&) -> Result<void> {
        int err = 0;
        if (!write_fully(fd, bytes, err)) return save_error(target, err);
        return {};
    });
}

Result<int> open_regular(const std::string& path) {
    int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) {
        int err = errno;
        Error::Code code = err == ENOENT ? Error::Code::NotFound : Error::Code::Io;
        return Error::make(code, err == ENOENT ? "ファイルがありません" : errno_text(err), path);
    }
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        bool dir = S_ISDIR(st.st_mode);
        ::close(fd);
        return Error::make(Error::Code::BadFormat,
                           dir ? "フォルダーです" : "通常のファイルではありません", path);
    }
    // Reads of a regular file never block; later reads need no flag.
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    return fd;
}

int remove_stale_save_files(const std::string& folder, std::time_t before) {
    DIR* d = ::opendir(folder.c_str());
    if (!d) return 0;
    std::vector<std::string> names;
    while (const dirent* e = ::readdir(d))
        if (is_save_temp_name(e->d_name)) names.emplace_back(e->d_name);
    ::closedir(d);
    int removed = 0;
    for (const std::string& name : names) {
        const std::string path = (folder == "/" ? "" : folder) + "/" + name;
        struct stat st {};
        if (::lstat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode) || st.st_mtime >= before)
            continue;
        int fd = ::open(path.c_str(), O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY);
        if (fd < 0) continue;
        // A save in progress holds its file locked; a killed one holds nothing.
        if (lock_exclusively(fd) && ::unlink(path.c_str()) == 0) ++removed;
        ::close(fd);
    }
    return removed;
}

}  // namespace sheaflow::file
