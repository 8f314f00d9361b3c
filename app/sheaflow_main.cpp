// The command line: sheaflow ops | params | run.
#include <cstdio>
#include <cstring>
#include <string>

#include "app/cli/commands.h"

namespace {

const char* const kUsage =
    "使い方:\n"
    "  sheaflow ops [--category カテゴリー]\n"
    "      処理の一覧（カテゴリー<TAB>処理名）\n"
    "  sheaflow params カテゴリー 処理 [--param-dir フォルダー]\n"
    "      処理の設定項目（キー<TAB>項目名<TAB>現在の値）\n"
    "  sheaflow run カテゴリー 処理 --folder フォルダー [--subfolders] [--files パターン]\n"
    "      [--set キー=値]... [--yes] [--out ファイル] [--format tsv|csv|fixed|records]\n"
    "      [--encoding utf-8|cp932] [--param-dir フォルダー]\n"
    "      フォルダー内のブックに処理を実行（詳しくは sheaflow run --help）\n"
    "  sheaflow --version\n";

}  // namespace

int main(int argc, char** argv) {
    using namespace sheaflow::cli;
    if (argc < 2) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    const std::string command = argv[1];
    if (command == "--help" || command == "-h" || command == "help") {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (command == "--version") {
        std::puts("sheaflow " SHEAFLOW_VERSION);
        return 0;
    }
    Args args(argv + 2, argv + argc);
    if (command == "ops") return cmd_ops(args);
    if (command == "params") return cmd_params(args);
    if (command == "run") return cmd_run(args);
    std::fprintf(stderr, "「%s」というコマンドはありません。\n", command.c_str());
    std::fputs(kUsage, stderr);
    return 2;
}
