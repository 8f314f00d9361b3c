#include "util/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>

namespace sheaflow::file {

bool read_all(const std::string& path, std::string& bytes) {
    bytes.clear();
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        return false;
    }
    char buf[65536];
    while (true) {
        ssize_t n = ::read(fd, buf, sizeof buf);
        if (n < 0) {
            if (errno == EINTR) continue;
            ::close(fd);
            bytes.clear();
            return false;
        }
        if (n == 0) break;
        bytes.append(buf, static_cast<std::size_t>(n));
    }
    ::close(fd);
    return true;
}

Result<void> write_all(const std::string& path, std::string_view bytes) {
    static thread_local std::mt19937_64 rng{std::random_device{}()};
    char suffix[32];
    std::snprintf(suffix, sizeof suffix, ".tmp%08llx",
                  static_cast<unsigned long long>(rng() & 0xFFFFFFFFu));
    const std::string tmp = path + suffix;
    int fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd < 0) return Error::make(Error::Code::Io, std::strerror(errno), path);
    std::size_t done = 0;
    while (done < bytes.size()) {
        ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            int e = errno;
            ::close(fd);
            ::unlink(tmp.c_str());
            return Error::make(Error::Code::Io, std::strerror(e), path);
        }
        done += static_cast<std::size_t>(n);
    }
    if (::close(fd) != 0 || ::rename(tmp.c_str(), path.c_str()) != 0) {
        int e = errno;
        ::unlink(tmp.c_str());
        return Error::make(Error::Code::Io, std::strerror(e), path);
    }
    return {};
}

bool exists(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0;
}

bool is_directory(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool make_directories(const std::string& path) {
    if (path.empty()) return false;
    std::error_code ec;
    std::filesystem::create_directories(path, ec);
    return is_directory(path);
}

std::string join(std::string_view folder, std::string_view name) {
    std::string out(folder);
    if (!out.empty() && out.back() != '/') out += '/';
    out += name;
    return out;
}

}  // namespace sheaflow::file
