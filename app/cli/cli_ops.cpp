// sheaflow ops [--category C]: the catalogue, one row a line, separators included.
#include <cstdio>

#include "app/cli/cli_common.h"
#include "shell/catalogue.h"

namespace sheaflow::cli {

int cmd_ops(const Args& in) {
    Args args = in;
    bool missing = false;
    std::optional<std::string> category = take_option(args, "--category", missing);
    if (missing) {
        error_line("--category にカテゴリー名を指定してください。");
        return 2;
    }
    if (!args.empty()) {
        error_line("使い方: sheaflow ops [--category カテゴリー]");
        return 2;
    }
    bool found = !category;
    std::string out;
    for (const shell::OperationDecl& d : shell::declarations()) {
        if (category && d.category != *category) continue;
        found = true;
        out += d.category + "\t" + d.name + "\n";
    }
    if (!found) {
        error_line("カテゴリー「" + *category + "」はありません。");
        return 2;
    }
    std::fwrite(out.data(), 1, out.size(), stdout);
    return 0;
}

}  // namespace sheaflow::cli
