#include "run/locks.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace sheaflow::run {

namespace {

// Opens the file for a lock: read-write when allowed (a write lock keeps other writers and
// readers that lock out), else read-only with a read lock (still keeps every writer out).
int open_and_lock(const std::string& path) {
    short type = F_WRLCK;
    // Never blocks: a FIFO or a device at the path is opened at once and then refused.
    int fd = ::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0 && (errno == EACCES || errno == EROFS || errno == EPERM || errno == ETXTBSY)) {
        type = F_RDLCK;
        fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    }
    if (fd < 0) return -1;
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        return -1;
    }
    struct flock fl {};
    fl.l_type = type;
    fl.l_whence = SEEK_SET;
    fl.l_start = 0;
    fl.l_len = 0;  // the whole file, however it grows
    if (::fcntl(fd, F_OFD_SETLK, &fl) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

std::pair<std::string, std::string> split_path(const std::string& path) {
    auto slash = path.rfind('/');
    if (slash == std::string::npos) return {".", path};
    return {path.substr(0, slash == 0 ? 1 : slash), path.substr(slash + 1)};
}

bool exists(const std::string& path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0;
}

}  // namespace

FileLocks& FileLocks::operator=(FileLocks&& other) noexcept {
    if (this != &other) {
        Up_File_UnLockAll();
        held_ = std::move(other.held_);
        other.held_.clear();
    }
    return *this;
}

void FileLocks::Up_File_LockAll(const std::vector<std::string>& paths) {
    for (const std::string& p : paths) (void)Up_File_Lock(p);
}

bool FileLocks::Up_File_Lock(const std::string& path) {
    if (holds(path)) return true;
    int fd = open_and_lock(path);
    if (fd < 0) return false;
    held_.emplace(path, fd);
    return true;
}

void FileLocks::Up_File_UnLock(const std::string& path) {
    auto it = held_.find(path);
    if (it == held_.end()) return;
    ::close(it->second);  // closing the last descriptor of the description drops its lock
    held_.erase(it);
}

bool FileLocks::relock(const std::string& path) {
    auto it = held_.find(path);
    if (it == held_.end()) return Up_File_Lock(path);
    const int old_fd = it->second;
    // Still the same file (nothing was saved): the lock held is the right one.
    struct stat held {}, now {};
    if (::fstat(old_fd, &held) == 0 && ::stat(path.c_str(), &now) == 0 &&
        held.st_dev == now.st_dev && held.st_ino == now.st_ino)
        return true;
    int fd = open_and_lock(path);
    if (fd < 0) {
        // Another program took the new file first: the old one is no longer at the path.
        ::close(old_fd);
        held_.erase(it);
        return false;
    }
    it->second = fd;
    ::close(old_fd);
    return true;
}

void FileLocks::Up_File_UnLockAll() {
    for (auto& [path, fd] : held_) ::close(fd);
    held_.clear();
}

bool locked_by_other(const std::string& path) {
    auto [dir, name] = split_path(path);
    if (exists(dir + "/~$" + name) || exists(dir + "/.~lock." + name + "#")) return true;
    int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) return false;  // unreadable: the open step reports it per file
    struct flock fl {};
    fl.l_type = F_WRLCK;
    fl.l_whence = SEEK_SET;
    fl.l_start = 0;
    fl.l_len = 0;
    bool locked = ::fcntl(fd, F_OFD_GETLK, &fl) == 0 && fl.l_type != F_UNLCK;
    ::close(fd);
    return locked;
}

std::string Excel_FileName_Error_Text(const std::string& path) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
        return "ファイル「" + path + "」が不明です。";
    if (locked_by_other(path)) return "ファイル「" + path + "」にロックがかかっています。";
    return {};
}

}  // namespace sheaflow::run
