#include "xl/native/safe_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <vector>

namespace sheaflow::xl::native {

namespace detail {
std::function<bool(std::string_view stage)> save_fault_hook;
}

namespace {

bool stage_ok(std::string_view stage) {
    return !detail::save_fault_hook || detail::save_fault_hook(stage);
}

Error io_error(const std::string& target, const std::string& what) {
    return Error::make(Error::Code::Io,
                       "ファイル「" + target + "」を保存できません（" + what + "）。", target);
}

std::string errno_text() { return std::strerror(errno); }

bool sync_path(const std::string& path, bool directory) {
    int fd = ::open(path.c_str(), directory ? (O_RDONLY | O_DIRECTORY) : O_RDONLY);
    if (fd < 0) return false;
    bool ok = ::fsync(fd) == 0;
    ::close(fd);
    return ok;
}

}  // namespace

Result<void> write_atomically(const std::string& target,
                              const std::function<Result<void>(const std::string& temp)>& fill) {
    namespace fs = std::filesystem;
    fs::path target_path(target);
    fs::path dir = target_path.parent_path();
    if (dir.empty()) dir = ".";
    std::error_code ec;
    if (!fs::is_directory(dir, ec))
        return Error::make(Error::Code::Io,
                           "保存先のフォルダー「" + dir.string() + "」がありません。", target);
    if (fs::is_directory(target_path, ec))
        return io_error(target, "同じ名前のフォルダーがあります");

    // Reserve a unique name beside the target.
    std::string pattern =
        (dir / ("." + target_path.filename().string() + ".sheaflow-XXXXXX")).string();
    std::vector<char> buf(pattern.begin(), pattern.end());
    buf.push_back('\0');
    int fd = ::mkstemp(buf.data());
    if (fd < 0) return io_error(target, "一時ファイルを作成できません: " + errno_text());
    ::close(fd);
    std::string temp(buf.data());
    auto discard = [&]() { ::unlink(temp.c_str()); };

    if (!stage_ok("write")) {
        discard();
        return io_error(target, "書き込みに失敗しました");
    }
    if (auto r = fill(temp); !r) {
        discard();
        Error e = r.error();
        if (e.path.empty()) e.path = target;
        return e;
    }
    // Keep the permissions of the file being replaced; a new file gets the usual 0666 & ~umask.
    struct stat st {};
    mode_t mode;
    if (::stat(target.c_str(), &st) == 0) {
        mode = st.st_mode & 07777;
    } else {
        mode_t mask = ::umask(0);
        ::umask(mask);
        mode = 0666 & ~mask;
    }
    ::chmod(temp.c_str(), mode);
    if (!stage_ok("sync") || !sync_path(temp, false)) {
        discard();
        return io_error(target, "ディスクへの書き込みに失敗しました");
    }
    if (!stage_ok("rename") || ::rename(temp.c_str(), target.c_str()) != 0) {
        std::string why = errno_text();
        discard();
        return io_error(target, "置き換えに失敗しました: " + why);
    }
    sync_path(dir.string(), true);
    return {};
}

Result<void> write_file_atomically(const std::string& target, std::string_view bytes) {
    return write_atomically(target, [&](const std::string& temp) -> Result<void> {
        std::FILE* f = std::fopen(temp.c_str(), "wb");
        if (!f) return io_error(target, errno_text());
        bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
        ok = std::fflush(f) == 0 && ok;
        ok = std::fclose(f) == 0 && ok;
        if (!ok) return io_error(target, "書き込みに失敗しました");
        return {};
    });
}

}  // namespace sheaflow::xl::native
