// sheaflow run C OP --folder D [--subfolders] [--files GLOB] [--set key=value]... [--yes]
//              [--param-dir P] [--out FILE] [--format tsv|csv|fixed]
// Reads the operation's parameters like the desktop program, applies --set, runs the check,
// writes the parameters back, runs the driver over the folder's workbooks and prints the result
// list.
#include <fnmatch.h>

#include <algorithm>
#include <cstdio>

#include "app/cli/cli_common.h"
#include "app/cli/cli_host.h"
#include "ops/check_process.h"
#include "ops/registry.h"
#include "report/record_store.h"
#include "report/render.h"
#include "report/result_table.h"
#include "run/driver.h"
#include "run/target_list.h"
#include "shell/catalogue.h"
#include "shell/settings.h"
#include "util/file.h"
#include "util/text.h"
#include "xl/native/engine.h"

namespace sheaflow::cli {

namespace {

constexpr const char* kUsage =
    "使い方: sheaflow run カテゴリー 処理 --folder フォルダー [--subfolders] [--files パターン]\n"
    "        [--set キー=値]... [--yes] [--out ファイル] [--format tsv|csv|fixed]\n"
    "        [--param-dir フォルダー]";

struct RunArgs {
    std::string category, name, folder, files_glob, out, format = "tsv", param_dir;
    bool subfolders = false, yes = false;
    std::vector<std::string> sets;
};

// Reads the command line; false with the message already written when it is not usable.
bool parse(const Args& in, RunArgs& a) {
    Args args = in;
    bool missing = false;
    auto option = [&](const char* name, std::string& into) {
        std::optional<std::string> v = take_option(args, name, missing);
        if (missing) {
            error_line(std::string(name) + " に値を指定してください。");
            return false;
        }
        if (v) into = *v;
        return true;
    };
    if (!option("--folder", a.folder) || !option("--files", a.files_glob) ||
        !option("--out", a.out) || !option("--format", a.format) ||
        !option("--param-dir", a.param_dir))
        return false;
    while (true) {
        std::optional<std::string> v = take_option(args, "--set", missing);
        if (missing) {
            error_line("--set に キー=値 を指定してください。");
            return false;
        }
        if (!v) break;
        a.sets.push_back(*v);
    }
    a.subfolders = take_flag(args, "--subfolders");
    a.yes = take_flag(args, "--yes");
    for (const std::string& s : args)
        if (s.rfind("--", 0) == 0) {
            error_line("「" + s + "」というオプションはありません。");
            error_line(kUsage);
            return false;
        }
    if (args.size() != 2) {
        error_line(kUsage);
        return false;
    }
    a.category = args[0];
    a.name = args[1];
    if (a.folder.empty()) {
        error_line("--folder に対象のフォルダーを指定してください。");
        return false;
    }
    if (a.format != "tsv" && a.format != "csv" && a.format != "fixed") {
        error_line("--format には tsv、csv、fixed のどれかを指定してください。");
        return false;
    }
    return true;
}

// --files: the pattern is matched against the file name, or against the path below the target
// folder when it holds a "/".
bool matches(const std::string& glob, const std::string& root, const run::TargetFile& f) {
    if (glob.empty()) return true;
    std::string subject = f.name;
    if (glob.find('/') != std::string::npos) {
        std::string full = f.full_path();
        subject = full.size() > root.size() + 1 ? full.substr(root.size() + 1) : f.name;
    }
    return ::fnmatch(glob.c_str(), subject.c_str(), FNM_PATHNAME) == 0;
}

// The result list as tab-separated text: the titles line, then the rows; an empty row (the
// separator between groups) is an empty line.
std::string render_tsv(const report::ResultTable& table) {
    const int columns = report::Check_Hyoji_Max(table);
    auto line = [&](const report::ResultTable::Row& row) {
        bool any = false;
        for (const std::string& c : row) any = any || !c.empty();
        if (!any) return std::string("\n");
        std::string s;
        for (int i = 0; i < columns; ++i) {
            if (i > 0) s += '\t';
            if (i < static_cast<int>(row.size())) s += row[static_cast<std::size_t>(i)];
        }
        return s + "\n";
    };
    std::string out;
    if (!table.titles().empty()) out += line(table.titles());
    for (const auto& row : table.rows()) out += line(row);
    return out;
}

}  // namespace

int cmd_run(const Args& in) {
    RunArgs a;
    if (!parse(in, a)) return 2;

    std::string message;
    const shell::OperationDecl* decl = find_operation(a.category, a.name, message);
    if (decl == nullptr) {
        error_line(message);
        return 2;
    }
    const shell::OperationDecl& owner = shell::params_owner(*decl);
    const std::string params_folder = param_dir(a.param_dir);
    shell::ParameterStore store;
    store.text_update('R', params_folder, error_line);
    for (const std::string& s : a.sets) {
        auto eq = s.find('=');
        if (eq == std::string::npos) {
            error_line("--set は キー=値 の形で指定してください:「" + s + "」");
            return 2;
        }
        if (!store.set(*decl, s.substr(0, eq), s.substr(eq + 1), message)) {
            error_line(message);
            return 2;
        }
    }
    const shell::Params params(owner, store.values(owner));
    if (std::string e = ops::Check_Process(decl->category, decl->name, params); !e.empty()) {
        error_line(e);
        return 2;
    }
    store.text_update('W', params_folder, error_line);

    const ops::Procedures* proc = ops::find_procedures(decl->category, decl->key_name);
    std::string folder = a.folder;
    while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
    std::vector<run::TargetFile> files;
    if (!proc || proc->needs_files) {
        if (!file::is_directory(folder)) {
            error_line("フォルダー「" + folder + "」がありません。");
            return 2;
        }
        files = run::Lst_FileName_Load(folder, a.subfolders).files;
        for (run::TargetFile& f : files) f.selected = matches(a.files_glob, folder, f);
        if (std::none_of(files.begin(), files.end(), [](auto& f) { return f.selected; })) {
            error_line("フォルダー「" + folder + "」に対象のファイルがありません。");
            return 2;
        }
    }

    CliHost host(a.yes);
    report::ResultTable table([&host](const std::string& text) { host.fatal(text); });
    report::RecordStore records;
    records.set_progress([&host](const std::string& t) { host.status(t); });
    records.set_message([&host](const std::string& t) { host.message(t); });
    run::RunRequest req;
    req.category = decl->category;
    req.name = decl->name;
    req.params = &params;
    req.files = &files;
    req.procedures = proc;
    req.output_folder = folder;
    run::RunOutcome out =
        run::run_batch(req, host, table, records, [] { return xl::native::create_application(); });

    // A refusal here (a file missing or held, no engine) has been shown by the driver.
    if (!out.checked) return 2;
    if (out.is_list && (!table.empty() || !table.titles().empty())) {
        std::string text;
        if (a.format == "csv")
            text = report::Display_CSV(table, "\n");
        else if (a.format == "fixed")
            text = report::Display_Kotei(table, "\n");
        else
            text = render_tsv(table);
        if (a.out.empty()) {
            std::fwrite(text.data(), 1, text.size(), stdout);
            std::fflush(stdout);
        } else if (auto w = file::write_all(a.out, text); !w) {
            error_line("「" + a.out + "」に書き込めません。" + w.error().message);
            return 1;
        }
    }
    if (!out.error_text.empty())
        std::fputs(text::replace_all(out.error_text, "\r\n", "\n").c_str(), stderr);
    if (out.cancelled || out.stopped) {
        error_line("処理を中止しました。");
        return 1;
    }
    return out.failed_files > 0 ? 1 : 0;
}

}  // namespace sheaflow::cli
