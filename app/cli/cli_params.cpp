// sheaflow params C OP [--param-dir D]: the pane's fields with their current values, read from
// the parameter files.
#include <cstdio>

#include "app/cli/cli_common.h"
#include "shell/settings.h"

namespace sheaflow::cli {

int cmd_params(const Args& in) {
    Args args = in;
    bool missing = false;
    std::optional<std::string> dir = take_option(args, "--param-dir", missing);
    if (missing) {
        error_line("--param-dir にフォルダーを指定してください。");
        return 2;
    }
    if (args.size() != 2) {
        error_line("使い方: sheaflow params カテゴリー 処理 [--param-dir フォルダー]");
        return 2;
    }
    std::string message;
    const shell::OperationDecl* decl = find_operation(args[0], args[1], message);
    if (decl == nullptr) {
        error_line(message);
        return 2;
    }
    shell::ParameterStore store;
    store.text_update('R', param_dir(dir.value_or("")), error_line);
    const shell::OperationDecl& owner = shell::params_owner(*decl);
    const shell::PaneValues& values = store.values(owner);
    std::string out;
    for (std::size_t i = 0; i < owner.fields.size(); ++i) {
        const shell::Field& f = owner.fields[i];
        out += f.key + "\t" + f.caption + "\t" +
               (i < values.values.size() ? values.values[i] : f.default_value) + "\n";
    }
    if (owner.fields.empty()) error_line("この処理には設定項目がありません。");
    std::fwrite(out.data(), 1, out.size(), stdout);
    return 0;
}

}  // namespace sheaflow::cli
