#pragma once
// Running the built command line from the tests, as a user runs it from a shell.
#include <sys/wait.h>

#include <cstdio>
#include <string>
#include <vector>

#include "util/file.h"

namespace sheaflow::cli_test {

struct Outcome {
    int code = -1;
    std::string out;
    std::string err;
};

// The argument quoted for /bin/sh.
inline std::string quote(const std::string& s) {
    std::string q = "'";
    for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

// Runs `sheaflow args...` with stdin from /dev/null (no terminal), stdout captured and stderr
// sent to `err_file`, then read back.
inline Outcome run_cli(const std::vector<std::string>& args, const std::string& err_file) {
    std::string cmd = quote(SHEAFLOW_CLI_PATH);
    for (const auto& a : args) cmd += " " + quote(a);
    cmd += " </dev/null 2>" + quote(err_file);
    Outcome r;
    FILE* p = ::popen(cmd.c_str(), "r");
    if (p == nullptr) return r;
    char buf[4096];
    std::size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) r.out.append(buf, n);
    int status = ::pclose(p);
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    (void)file::read_all(err_file, r.err);
    return r;
}

}  // namespace sheaflow::cli_test
