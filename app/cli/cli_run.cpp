// sheaflow run C OP --folder D [--subfolders] [--files GLOB] [--set key=value]... [--yes]
//              [--param-dir P] [--out FILE] [--format tsv|csv|fixed|records]
//              [--encoding utf-8|cp932]
// Reads the operation's parameters like the desktop program, applies --set, runs the check,
// writes the parameters back, runs the driver over the folder's workbooks and prints the result
// list.
#include <fnmatch.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <optional>

#include "app/cli/cli_common.h"
#include "app/cli/cli_host.h"
#include "ops/check_process.h"
#include "ops/registry.h"
#include "report/folders.h"
#include "report/records.h"
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
#include "xl/office/libreoffice.h"

namespace sheaflow::cli {

namespace {

constexpr const char* kUsage =
    "使い方: sheaflow run カテゴリー 処理 --folder フォルダー [--subfolders] [--files パターン]\n"
    "        [--set キー=値]... [--yes] [--out ファイル] [--format tsv|csv|fixed|records]\n"
    "        [--encoding utf-8|cp932] [--param-dir フォルダー] [--password パスワード]";

// What `sheaflow run --help` adds to the usage line.
std::string help_text() {
    return std::string(kUsage) +
           "\n\n"
           "フォルダー内のブック（.xlsx .xlsm .xls .csv）に処理を実行します。対象のブックは\n"
           "その場で書き換えられます（変更のなかったブックは書き換えません）。元のブックを残す\n"
           "ときは、先にコピーを取ってください。\n\n"
           "  --set キー=値   処理の設定項目（sheaflow params で一覧）。指定した値は設定フォルダーに\n"
           "                  保存され、次回の実行とデスクトップ版でも使われます。\n"
           "  --param-dir     設定フォルダー（既定: " +
           program_dir() +
           "/Temp）\n"
           "  --yes           最初のブックの確認を省略して続行します。\n"
           "  --password      パスワードで保護（暗号化）されたブックを開くパスワード。\n"
           "  --out ファイル  一覧を作る処理の結果をファイルに書きます（実行前に書き込めるか確認）。\n"
           "  --format        tsv（既定。タブ・改行・\\ は \\t \\n \\\\ と書きます）、csv（--out\n"
           "                  では BOM 付き UTF-8）、fixed（桁そろえ）、records（1 行 1 件の JSON。\n"
           "                  見出し・空行・繰り返しの省略なし）\n"
           "  --encoding      cp932 でシフト JIS（Windows の既定の文字コード）で書きます。\n\n"
           "終了コード: 0 正常終了、1 処理できなかったブックがある・中止・書き込みエラー、\n"
           "            2 引数や設定の誤りで実行しなかった\n";
}

struct RunArgs {
    std::string category, name, folder, files_glob, out, format = "tsv", param_dir, encoding,
        password;
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
        !option("--param-dir", a.param_dir) || !option("--encoding", a.encoding) ||
        !option("--password", a.password))
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
    if (a.format != "tsv" && a.format != "csv" && a.format != "fixed" && a.format != "records") {
        error_line("--format には tsv、csv、fixed、records のどれかを指定してください。");
        return false;
    }
    a.encoding = text::lower(a.encoding);
    if (!a.encoding.empty() && a.encoding != "utf-8" && a.encoding != "cp932") {
        error_line("--encoding には utf-8 か cp932 を指定してください。");
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

// A tsv cell: tabs, line breaks and backslashes written as \t, \n, \r and \\, so that every
// row of the table is one line.
std::string tsv_cell(const std::string& cell) {
    if (cell.find_first_of("\t\n\r\\") == std::string::npos) return cell;
    std::string out;
    for (char c : cell) {
        switch (c) {
            case '\t': out += "\\t"; break;
            case '\n': out += "\\n"; break;
            case '\r': out += "\\r"; break;
            case '\\': out += "\\\\"; break;
            default: out += c;
        }
    }
    return out;
}

bool blank(const report::ResultTable::Row& row) {
    return std::all_of(row.begin(), row.end(), [](const std::string& c) { return c.empty(); });
}

// The result list as tab-separated text: the titles line, then the rows; an empty row (the
// separator between groups) is an empty line.
std::string render_tsv(const report::ResultTable& table) {
    const int columns = report::Check_Hyoji_Max(table);
    auto line = [&](const report::ResultTable::Row& row) {
        if (blank(row)) return std::string("\n");
        std::string s;
        for (int i = 0; i < columns; ++i) {
            if (i > 0) s += '\t';
            if (i < static_cast<int>(row.size())) s += tsv_cell(row[static_cast<std::size_t>(i)]);
        }
        return s + "\n";
    };
    std::string out;
    if (!table.titles().empty()) out += line(table.titles());
    for (const auto& row : table.rows()) out += line(row);
    return out;
}

// The marker under a list that the result table's row limit cut off.
constexpr const char* kCutOff = "（３万行を超えたため、ここまでで打ち切りました。）";

// The rendering that --format asks for (records are written as they come, see RecordsOut).
// The text renderings show a first-column value on the first row of its run only, as the result
// window does.
std::string render(const report::ResultTable& table, const RunArgs& a, bool cut_off) {
    report::ResultTable shown = table;
    report::Check_Hyoji0_Indication(shown);
    std::string text;
    if (a.format == "csv")
        text = report::Display_CSV(shown, "\n");
    else if (a.format == "fixed")
        text = report::Display_Kotei(shown, "\n");
    else
        text = render_tsv(shown);
    if (cut_off) text += std::string(kCutOff) + "\n";
    return text;
}

// Writes the list to --out or stdout: a csv file with a byte-order mark (the desktop
// spreadsheet application takes BOM-less text for the ANSI code page), or in CP932.
bool write_list(const std::string& text, const RunArgs& a) {
    std::string bytes = text;
    if (a.encoding == "cp932")
        bytes = text::to_cp932(text, '?');
    else if (a.format == "csv" && !a.out.empty())
        bytes = "\xEF\xBB\xBF" + text;
    if (a.out.empty()) {
        std::fwrite(bytes.data(), 1, bytes.size(), stdout);
        std::fflush(stdout);
        return true;
    }
    if (auto w = file::write_all(a.out, bytes); !w) {
        error_line("「" + a.out + "」に書き込めません。" + w.error().message);
        return false;
    }
    return true;
}

// Why --out cannot be written, or "" (looked at before the run, so that a long run does not end
// in a write error).
std::string out_problem(const std::string& path) {
    if (file::is_directory(path)) return "「" + path + "」はフォルダーです。";
    if (::access(path.c_str(), F_OK) == 0)
        return ::access(path.c_str(), W_OK) == 0 ? "" : "「" + path + "」に書き込めません。";
    std::string dir = path.substr(0, path.rfind('/') == std::string::npos ? 0 : path.rfind('/'));
    if (path.rfind('/') == 0) dir = "/";
    if (dir.empty()) dir = ".";
    if (!file::is_directory(dir)) return "フォルダー「" + dir + "」がありません。";
    if (::access(dir.c_str(), W_OK) != 0) return "フォルダー「" + dir + "」に書き込めません。";
    return {};
}

// --format records: each finding written to stdout or --out as soon as the table has it, so that
// the output is not bound by the table's row limit and memory stays flat however long the list.
class RecordsOut {
public:
    RecordsOut(const RunArgs& a, const std::string& target_folder)
        : a_(a),
          target_folder_(target_folder),
          stream_([this](const std::string& line) { write(line); }) {}
    ~RecordsOut() {
        if (file_ && file_ != stdout) std::fclose(file_);
    }
    RecordsOut(const RecordsOut&) = delete;
    RecordsOut& operator=(const RecordsOut&) = delete;

    bool open() {
        file_ = a_.out.empty() ? stdout : std::fopen(a_.out.c_str(), "wb");
        if (!file_) error_line("「" + a_.out + "」に書き込めません。");
        return file_ != nullptr;
    }
    void attach(report::ResultTable& table) {
        table.stream_rows([this](const report::ResultTable::Row& titles,
                                 report::ResultTable::Row row, const std::string& source) {
            std::optional<std::string> folder;
            if (a_.subfolders) folder = report::relative_folder(source, target_folder_);
            stream_.push(titles, std::move(row), std::move(folder));
        });
    }
    // After the run: the last finding, then everything flushed. False on a write error.
    bool finish(report::ResultTable& table) {
        table.finish_stream();
        stream_.finish(table.titles());
        if (std::fflush(file_) != 0 || failed_) {
            error_line("「" + (a_.out.empty() ? std::string("標準出力") : a_.out) +
                       "」に書き込めません。");
            return false;
        }
        return true;
    }

private:
    void write(const std::string& line) {
        const std::string bytes = a_.encoding == "cp932" ? text::to_cp932(line, '?') : line;
        if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size()) failed_ = true;
        // A script reading stdout sees each finding at once.
        if (file_ == stdout) std::fflush(stdout);
    }

    const RunArgs& a_;
    std::string target_folder_;
    report::RecordStream stream_;
    std::FILE* file_ = nullptr;
    bool failed_ = false;
};

}  // namespace

int cmd_run(const Args& in) {
    if (std::find(in.begin(), in.end(), "--help") != in.end()) {
        std::fputs(help_text().c_str(), stdout);
        return 0;
    }
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
    const ops::Procedures* proc = ops::find_procedures(decl->category, decl->key_name);
    if (!a.out.empty()) {
        // The run lists (as the driver decides it) or --out has nothing to receive.
        if (!proc || (proc->updates_when ? proc->updates_when(params) : proc->updates)) {
            error_line("「" + decl->name + "」は一覧を作る処理ではないので、--out は指定できません。");
            return 2;
        }
        if (std::string why = out_problem(a.out); !why.empty()) {
            error_line("--out: " + why);
            return 2;
        }
    }
    store.text_update('W', params_folder, error_line);

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
    report::ResultTable table;
    std::optional<RecordsOut> records_out;
    if (a.format == "records") {
        records_out.emplace(a, folder);
        if (!records_out->open()) return 2;
        records_out->attach(table);
    }
    // Past the table's row limit the program stops, as in the desktop program; the rows found
    // so far are written first, marked as cut off.
    // Over subfolders the rows say which folder each file was found in.
    auto listed = [&]() {
        return a.subfolders ? report::with_folder_column(table, folder) : table;
    };
    table.set_on_full([&](const std::string& text) {
        (void)write_list(render(listed(), a, true), a);
        host.fatal(text);
    });
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
    req.target_folder = folder;
    req.open_password = a.password;
    run::RunOutcome out =
        run::run_batch(req, host, table, records, [] {
        return xl::native::create_application(xl::office::libreoffice_bridge());
    });

    // A refusal here (a file missing or held, no engine) has been shown by the driver.
    if (!out.checked) return 2;
    if (records_out) {
        if (!records_out->finish(table)) return 1;
    } else if (out.is_list && (!table.empty() || !table.titles().empty()) &&
               !write_list(render(listed(), a, false), a)) {
        return 1;
    }
    if (!out.error_text.empty())
        std::fputs(text::replace_all(out.error_text, "\r\n", "\n").c_str(), stderr);
    // The driver has said "処理を中止しました。" in the progress lines.
    if (out.cancelled || out.stopped) return 1;
    return out.failed_files > 0 ? 1 : 0;
}

}  // namespace sheaflow::cli
