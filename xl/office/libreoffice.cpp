#include "xl/office/libreoffice.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

extern char** environ;

namespace sheaflow::xl::office {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

constexpr auto kStartLimit = std::chrono::seconds(120);
constexpr auto kConvertLimit = std::chrono::seconds(300);
constexpr auto kQuitLimit = std::chrono::seconds(10);
constexpr auto kLoadAllowance = std::chrono::seconds(15);

std::string env_or(const char* name, const std::string& fallback) {
    const char* v = std::getenv(name);
    return v && *v ? std::string(v) : fallback;
}

bool executable(const std::string& path) { return ::access(path.c_str(), X_OK) == 0; }

// soffice as the helper will find it: $SHEAFLOW_SOFFICE, PATH, then Debian's place.
std::string find_soffice() {
    if (const char* v = std::getenv("SHEAFLOW_SOFFICE"); v && *v) return v;
    std::string path = env_or("PATH", "/usr/bin:/bin");
    std::size_t start = 0;
    while (start <= path.size()) {
        std::size_t end = path.find(':', start);
        if (end == std::string::npos) end = path.size();
        std::string dir = path.substr(start, end - start);
        if (!dir.empty() && executable(dir + "/soffice")) return dir + "/soffice";
        start = end + 1;
    }
    return "/usr/lib/libreoffice/program/soffice";
}

// The folder of uno_helper.py: $SHEAFLOW_OFFICE_HELPER_DIR, "office" beside the program, or the
// source folder the program was built from.
std::string helper_folder() {
    if (const char* v = std::getenv("SHEAFLOW_OFFICE_HELPER_DIR"); v && *v) return v;
    std::error_code ec;
    fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    if (!ec) {
        fs::path beside = exe.parent_path() / "office";
        if (fs::exists(beside / "uno_helper.py", ec)) return beside.string();
    }
#ifdef SHEAFLOW_OFFICE_DIR
    return SHEAFLOW_OFFICE_DIR;
#else
    return "xl/office";
#endif
}

std::string escape(std::string_view s) {
    std::string out;
    for (char c : s) {
        switch (c) {
            case '\\': out += "\\\\"; break;
            case '\t': out += "\\t"; break;
            case '\n': out += "\\n"; break;
            case '\r': out += "\\r"; break;
            default: out += c;
        }
    }
    return out;
}

std::vector<std::string> split_answer(std::string_view line) {
    std::vector<std::string> fields(1);
    for (std::size_t i = 0; i < line.size(); ++i) {
        char c = line[i];
        if (c == '\t') {
            fields.emplace_back();
        } else if (c == '\\' && i + 1 < line.size()) {
            char n = line[++i];
            fields.back() += n == 't' ? '\t' : n == 'n' ? '\n' : n == 'r' ? '\r' : n;
        } else {
            fields.back() += c;
        }
    }
    return fields;
}

bool process_gone(pid_t pid) { return ::kill(pid, 0) == -1 && errno == ESRCH; }

pid_t read_group(const fs::path& dir) {
    std::ifstream in(dir / "group");
    long g = 0;
    in >> g;
    return g > 1 ? static_cast<pid_t>(g) : 0;
}

Error office_error(std::string text) {
    return Error::make(Error::Code::Failed, "LibreOffice：" + std::move(text));
}

}  // namespace

std::string registry_folder() {
    std::string base = env_or("SHEAFLOW_OFFICE_REGISTRY", "");
    if (!base.empty()) return base;
    return (fs::temp_directory_path() / ("sheaflow-office-" + std::to_string(::getuid())))
        .string();
}

void reap_orphans() {
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(registry_folder(), ec)) {
        std::string name = entry.path().filename().string();
        long owner = std::strtol(name.c_str(), nullptr, 10);
        if (owner <= 1 || !process_gone(static_cast<pid_t>(owner))) continue;
        if (pid_t group = read_group(entry.path())) ::kill(-group, SIGKILL);
        fs::remove_all(entry.path(), ec);
    }
}

Result<std::string> LibreOffice::work_folder() {
    if (pid_ == 0)
        if (auto r = start(); !r) return r.error();
    return dir_;
}

Result<void> LibreOffice::start() {
    if (not_installed_) return office_error(std::string(kNotInstalled));
    const std::string python = env_or("SHEAFLOW_PYTHON", "/usr/bin/python3");
    const std::string helper = helper_folder() + "/uno_helper.py";
    if (!executable(find_soffice()) || !executable(python)) {
        not_installed_ = true;
        return office_error(std::string(kNotInstalled));
    }
    if (!fs::exists(helper))
        return office_error("補助プログラム「" + helper + "」が見つかりません");

    reap_orphans();
    std::error_code ec;
    fs::create_directories(registry_folder(), ec);
    ::chmod(registry_folder().c_str(), 0700);
    std::string pattern = registry_folder() + "/" + std::to_string(::getpid()) + "-XXXXXX";
    std::vector<char> buf(pattern.begin(), pattern.end());
    buf.push_back('\0');
    if (!::mkdtemp(buf.data())) return office_error("作業フォルダーを作れません");
    dir_ = buf.data();

    int fds[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) {
        fs::remove_all(dir_, ec);
        return office_error("補助プログラムとの接続を作れません");
    }
    const std::string log = dir_ + "/helper.log";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], 0);
    posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
    posix_spawn_file_actions_addopen(&actions, 2, log.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                     0600);
    posix_spawnattr_t attr;
    posix_spawnattr_init(&attr);
    sigset_t none, all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attr, &none);
    posix_spawnattr_setsigdefault(&attr, &all);
    posix_spawnattr_setpgroup(&attr, 0);  // a group of its own: killed as one, no terminal ^C
    posix_spawnattr_setflags(&attr,
                             POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    std::vector<std::string> args = {python, helper, dir_};
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    pid_t pid = 0;
    int rc = ::posix_spawn(&pid, python.c_str(), &actions, &attr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attr);
    ::close(fds[1]);
    if (rc != 0) {
        ::close(fds[0]);
        fs::remove_all(dir_, ec);
        return office_error("補助プログラムを起動できません（" + std::string(std::strerror(rc)) +
                            "）");
    }
    pid_ = pid;
    socket_ = fds[0];
    received_.clear();
    std::ofstream(dir_ + "/group") << pid_ << '\n';

    auto line = read_line(Clock::now() + kStartLimit);
    if (!line) return line.error();
    auto fields = split_answer(*line);
    if (fields[0] == "ready") return {};
    std::string why = fields.size() > 1 ? fields[1] : *line;
    kill_group();
    if (why.rfind("python3-uno", 0) == 0) {
        not_installed_ = true;
        return office_error(std::string(kNotInstalled));
    }
    return office_error("起動できませんでした（" + why + "）");
}

Result<std::string> LibreOffice::read_line(Clock::time_point deadline) {
    for (;;) {
        if (std::size_t nl = received_.find('\n'); nl != std::string::npos) {
            std::string line = received_.substr(0, nl);
            received_.erase(0, nl + 1);
            return line;
        }
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) {
            kill_group();
            return office_error("時間内に応答がないため終了させました");
        }
        pollfd p{socket_, POLLIN, 0};
        int n = ::poll(&p, 1, static_cast<int>(std::min<long long>(left.count(), 1000)));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) continue;
        char chunk[4096];
        ssize_t got = ::recv(socket_, chunk, sizeof chunk, 0);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) {
            kill_group();
            return office_error("異常終了しました");
        }
        received_.append(chunk, static_cast<std::size_t>(got));
    }
}

Result<std::vector<std::string>> LibreOffice::request(const std::vector<std::string>& fields,
                                                      std::chrono::milliseconds limit) {
    if (pid_ == 0)
        if (auto r = start(); !r) return r.error();
    std::string line;
    for (const auto& f : fields) line += (line.empty() ? "" : "\t") + escape(f);
    line += '\n';
    std::size_t sent = 0;
    while (sent < line.size()) {
        ssize_t n = ::send(socket_, line.data() + sent, line.size() - sent, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            kill_group();
            return office_error("異常終了しました");
        }
        sent += static_cast<std::size_t>(n);
    }
    auto answer = read_line(Clock::now() + limit);
    if (!answer) return answer.error();
    auto parts = split_answer(*answer);
    if (parts[0] == "ok") {
        parts.erase(parts.begin());
        return parts;
    }
    std::string why = parts.size() > 1 ? parts[1] : *answer;
    if (parts[0] == "fatal") {
        kill_group();
        return office_error("異常終了しました（" + why + "）");
    }
    return office_error(why);
}

Result<void> LibreOffice::convert(const std::string& from, const std::string& to,
                                  std::string_view filter) {
    auto r = request({"convert", from, to, std::string(filter)}, kConvertLimit);
    if (!r) return r.error();
    return {};
}

Result<std::string> LibreOffice::convert_and_keep(const std::string& from, const std::string& to,
                                                  std::string_view filter) {
    auto r = request({"keep", from, to, std::string(filter)}, kConvertLimit);
    if (!r) return r.error();
    if (r->empty()) return office_error("文書の番号が返されませんでした");
    return r->front();
}

Result<void> LibreOffice::store_kept(const std::string& handle,
                                     const std::vector<OfficeCellEdit>& edits,
                                     const std::string& active_sheet, const std::string& to,
                                     std::string_view filter) {
    // A handle of an office that has ended since means nothing to a new one.
    if (pid_ == 0) return office_error("文書を開いた LibreOffice が終了しています");
    std::vector<std::string> fields{"store_kept", handle, active_sheet, to, std::string(filter)};
    fields.reserve(fields.size() + edits.size() * 5);
    char number[32];
    for (const OfficeCellEdit& e : edits) {
        fields.push_back(e.sheet);
        fields.push_back(std::to_string(e.row));
        fields.push_back(std::to_string(e.col));
        switch (e.kind) {
            case OfficeCellEdit::Kind::Text:
                fields.push_back("t");
                fields.push_back(e.text);
                break;
            case OfficeCellEdit::Kind::Number:
                std::snprintf(number, sizeof number, "%.17g", e.number);
                fields.push_back("n");
                fields.push_back(number);
                break;
            case OfficeCellEdit::Kind::Clear:
                fields.push_back("c");
                fields.push_back("");
                break;
        }
    }
    auto r = request(fields, kConvertLimit);
    if (!r) return r.error();
    return {};
}

void LibreOffice::close_kept(const std::string& handle) {
    if (pid_ == 0) return;
    (void)request({"close_kept", handle}, kConvertLimit);
}

Result<void> LibreOffice::run_macro(const std::string& target, const std::string& macro_book,
                                    const std::string& macro, const std::string& result,
                                    std::string_view filter, int time_limit_seconds) {
    // The limit is the macro's; loading and storing the two workbooks get a little more.
    const auto limit = std::chrono::seconds(time_limit_seconds) + kLoadAllowance;
    const auto started = Clock::now();
    auto r = request({"run_macro", target, macro_book, macro, result, std::string(filter)},
                     limit);
    if (r) return {};
    if (pid_ == 0 && Clock::now() - started >= limit)
        return office_error("マクロ「" + macro + "」が " + std::to_string(time_limit_seconds) +
                            " 秒以内に終わらなかったため停止しました");
    return r.error();
}

Result<void> LibreOffice::picture(const std::string& from, const std::string& sheet,
                                  const std::string& range, const std::string& to,
                                  double scale) {
    char factor[32];
    std::snprintf(factor, sizeof factor, "%.3f", scale);
    auto r = request({"picture", from, sheet, range, to, factor}, kConvertLimit);
    if (!r) return r.error();
    return {};
}

void LibreOffice::kill_group() { release(false); }

void LibreOffice::release(bool reaped) {
    if (pid_ > 0) {
        // The group outlives its leader while parts of the office still run.
        ::kill(-pid_, SIGKILL);
        int status = 0;
        if (!reaped)
            while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
            }
    }
    if (socket_ >= 0) ::close(socket_);
    socket_ = -1;
    pid_ = 0;
    received_.clear();
    std::error_code ec;
    if (!dir_.empty()) fs::remove_all(dir_, ec);
    dir_.clear();
}

void LibreOffice::shutdown() {
    if (pid_ <= 0) return;
    // The helper closes the office properly; the group is killed afterwards in any case.
    const char quit[] = "quit\n";
    (void)::send(socket_, quit, sizeof quit - 1, MSG_NOSIGNAL);
    const auto deadline = Clock::now() + kQuitLimit;
    bool reaped = false;
    while (!reaped && Clock::now() < deadline) {
        int status = 0;
        pid_t r = ::waitpid(pid_, &status, WNOHANG);
        if (r == pid_ || (r < 0 && errno != EINTR))
            reaped = true;
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    release(reaped);
}

std::unique_ptr<xl::OfficeBridge> libreoffice_bridge() { return std::make_unique<LibreOffice>(); }

}  // namespace sheaflow::xl::office
