// sheaflow ops [--category C] [--long] [--implemented]: the catalogue, one row a line,
// separators included; --long adds whether the operation is implemented and its description.
#include <cstdio>

#include "app/cli/cli_common.h"
#include "ops/registry.h"
#include "shell/catalogue.h"
#include "shell/descriptions.h"

namespace sheaflow::cli {

int cmd_ops(const Args& in) {
    Args args = in;
    bool missing = false;
    std::optional<std::string> category = take_option(args, "--category", missing);
    if (missing) {
        error_line("--category にカテゴリー名を指定してください。");
        return 2;
    }
    const bool long_form = take_flag(args, "--long");
    const bool implemented_only = take_flag(args, "--implemented");
    if (!args.empty()) {
        error_line("使い方: sheaflow ops [--category カテゴリー] [--long] [--implemented]");
        return 2;
    }
    bool found = !category;
    std::string out;
    for (const shell::OperationDecl& d : shell::declarations()) {
        if (category && d.category != *category) continue;
        found = true;
        const bool implemented =
            !d.is_separator() && ops::find_procedures(d.category, d.key_name) != nullptr;
        if (implemented_only && !implemented) continue;
        out += d.category + "\t" + d.name;
        if (long_form && !d.is_separator())
            out += std::string("\t") + (implemented ? "実装済み" : "未実装") + "\t" +
                   shell::description(d.category, d.name);
        out += "\n";
    }
    if (!found) {
        error_line("カテゴリー「" + *category + "」はありません。");
        return 2;
    }
    std::fwrite(out.data(), 1, out.size(), stdout);
    return 0;
}

}  // namespace sheaflow::cli
