#include "app/cli/cli_common.h"

#include <unistd.h>

#include <cstdio>

#include "shell/catalogue.h"
#include "shell/settings.h"

namespace sheaflow::cli {

std::optional<std::string> take_option(Args& args, std::string_view name, bool& missing_value) {
    missing_value = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == name) {
            if (i + 1 >= args.size()) {
                missing_value = true;
                args.erase(args.begin() + static_cast<std::ptrdiff_t>(i));
                return std::nullopt;
            }
            std::string v = args[i + 1];
            args.erase(args.begin() + static_cast<std::ptrdiff_t>(i),
                       args.begin() + static_cast<std::ptrdiff_t>(i) + 2);
            return v;
        }
        if (a.size() > name.size() && a.compare(0, name.size(), name) == 0 &&
            a[name.size()] == '=') {
            std::string v = a.substr(name.size() + 1);
            args.erase(args.begin() + static_cast<std::ptrdiff_t>(i));
            return v;
        }
    }
    return std::nullopt;
}

bool take_flag(Args& args, std::string_view name) {
    for (std::size_t i = 0; i < args.size(); ++i)
        if (args[i] == name) {
            args.erase(args.begin() + static_cast<std::ptrdiff_t>(i));
            return true;
        }
    return false;
}

const shell::OperationDecl* find_operation(const std::string& category, const std::string& name,
                                           std::string& message) {
    bool category_exists = false;
    for (const shell::OperationDecl& d : shell::declarations())
        if (d.category == category) category_exists = true;
    if (!category_exists) {
        message = "カテゴリー「" + category + "」はありません。";
        return nullptr;
    }
    const shell::OperationDecl* d = shell::find_declaration(category, name);
    if (d == nullptr)
        message = "カテゴリー「" + category + "」に処理「" + name + "」はありません。";
    return d;
}

std::string program_dir() {
    char buf[4096];
    ssize_t n = ::readlink("/proc/self/exe", buf, sizeof buf - 1);
    if (n <= 0) return {};
    std::string path(buf, static_cast<std::size_t>(n));
    std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

std::string param_dir(const std::string& override_dir) {
    return shell::parameter_folder(override_dir, program_dir());
}

void error_line(const std::string& text) {
    std::fputs(text.c_str(), stderr);
    std::fputc('\n', stderr);
}

}  // namespace sheaflow::cli
