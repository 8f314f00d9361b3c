// Printing and PDF: ファイル 印字 and 印字（色なし） (each workbook to a printer), 印字（ＰＤＦ・
// ＸＰＳ） (a PDF file per workbook or per worksheet), 印字した場合の頁情報 (the pages each
// worksheet prints on, as a list), and the all-sheets rows まとめて印字 (every worksheet of every
// target as one print job), まとめて印字（ＰＤＦ・ＸＰＳ） (one PDF for the whole run),
// シートを選択して印字 and シートを選択してまとめて印字 (only the worksheets named on the pane).
//
// LibreOffice lays the pages out with each sheet's page setup; printers are CUPS queues (the
// default one when the pane names none). XPS is a Windows format: there is no XPS writer on
// Linux, and the pane says so.

#include <unistd.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "ops/book/book_files.h"
#include "ops/registry.h"
#include "report/list_final.h"
#include "report/record_store.h"
#include "report/result_table.h"
#include "run/session.h"
#include "util/file.h"
#include "util/text.h"
#include "xl/print.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

namespace fs = std::filesystem;

Error no_workbook() { return Error::failed("ブックが開かれていません。"); }

// ---- The run's work folder: PDFs waiting to be printed together -------------------------------

struct PrintRun {
    std::string folder;             // removed at the end of the run
    std::vector<std::string> pdfs;  // in target order, for the one-job operations
    int next = 0;
};
PrintRun g_run;

Result<void> start_run(run::Session&) {
    std::error_code ec;
    if (!g_run.folder.empty()) fs::remove_all(g_run.folder, ec);
    g_run = {};
    std::string pattern = (fs::temp_directory_path() / "sheaflow-print-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) return Error::failed("作業フォルダーを作れません。");
    g_run.folder = pattern;
    return {};
}

void end_run() {
    std::error_code ec;
    if (!g_run.folder.empty()) fs::remove_all(g_run.folder, ec);
    g_run = {};
}

std::string work_pdf() { return g_run.folder + "/" + std::to_string(++g_run.next) + ".pdf"; }

// ---- Pane values ----------------------------------------------------------------------------

constexpr const char* kXpsRefused =
    "XPS 形式は Linux では出力できません。形式に PDF を選んでください。";

// The CUPS queues and the default one, asked again at most every few seconds: the pane check
// runs on every tick of the main window.
struct Printers {
    std::vector<std::string> names;
    std::string default_name;
};
const Printers& printers() {
    static Printers known;
    static std::chrono::steady_clock::time_point asked;
    static bool ever = false;
    auto now = std::chrono::steady_clock::now();
    if (!ever || now - asked > std::chrono::seconds(5)) {
        known = {xl::printer_names(), xl::default_printer()};
        asked = now;
        ever = true;
    }
    return known;
}

std::string check_printer(const shell::Params& p) {
    const std::string printer = text::trim(p.text("printer"));
    const std::vector<std::string>& names = printers().names;
    if (printer.empty()) {
        if (names.empty() || printers().default_name.empty())
            return "既定のプリンターがありません。プリンター名を入力してください。";
        return "";
    }
    for (const std::string& n : names)
        if (n == printer) return "";
    std::string listed;
    for (const std::string& n : names) listed += (listed.empty() ? "" : "、") + n;
    return "プリンター「" + printer + "」がありません。" +
           (listed.empty() ? "（CUPS にプリンターがありません）" : "（使えるプリンター：" + listed + "）");
}

std::string check_copies(const shell::Params& p) {
    std::string t = text::trim(text::narrow(p.text("copies")));
    if (t.empty() || !text::is_digits(t) || t.size() > 3 || std::stoi(t) < 1)
        return "部数は 1 から 999 で指定してください。";
    return "";
}

xl::PrintOptions options_of(const run::Session& s, bool monochrome) {
    xl::PrintOptions o;
    o.printer = text::trim(s.params.text("printer"));
    o.monochrome = monochrome;
    std::string copies = text::trim(text::narrow(s.params.text("copies")));
    o.copies = text::is_digits(copies) && !copies.empty() ? std::stoi(copies) : 1;
    o.title = s.file_name;
    return o;
}

// The worksheet names typed on the pane, separated by commas (half- or full-width).
std::vector<std::string> chosen_sheets(const shell::Params& p) {
    std::vector<std::string> out;
    for (const std::string& name : text::split(text::replace_all(p.text("sheets"), "、", ","), ","))
        if (std::string t = text::trim(name); !t.empty()) out.push_back(t);
    return out;
}

// The chosen names that this workbook has, in its tab order; every worksheet without a choice.
std::vector<std::string> sheets_to_print(xl::Workbook& b, const std::vector<std::string>& chosen) {
    std::vector<std::string> out;
    for (int i = 1; i <= b.worksheet_count(); ++i) {
        xl::Worksheet* w = b.worksheet(i);
        if (!w || w->type() != xl::xlWorksheet || !w->visible()) continue;
        if (chosen.empty()) {
            out.push_back(w->name());
            continue;
        }
        for (const std::string& c : chosen)
            if (text::upper(c) == text::upper(w->name())) out.push_back(w->name());
    }
    return out;
}

// ---- 印字, 印字（色なし）, シートを選択して印字 ------------------------------------------------

std::string Check_ファイル_印字(const shell::Params& p, std::string_view) {
    if (std::string m = check_printer(p); !m.empty()) return m;
    return check_copies(p);
}

std::string Check_すべてのシート_ファイル_シートを選択して印字(const shell::Params& p,
                                                              std::string_view c) {
    if (chosen_sheets(p).empty()) return "印字するシート名を入力してください。";
    return Check_ファイル_印字(p, c);
}

// One workbook (its chosen worksheets) as its own job.
Result<void> print_book(run::Session& s, bool monochrome, const std::vector<std::string>& chosen) {
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    std::vector<std::string> sheets = sheets_to_print(*b, chosen);
    if (sheets.empty()) {
        if (!chosen.empty()) s.update_error_text("印字するシートがありません。");
        return {};
    }
    const std::string pdf = work_pdf();
    if (auto r = xl::export_pdf(*b, sheets, pdf); !r) return r.error();
    auto r = xl::print_pdfs({pdf}, options_of(s, monochrome));
    std::error_code ec;
    fs::remove(pdf, ec);
    if (!r) return r.error();
    s.host.progress(s.file_name + " 印字しました");
    return {};
}

Result<void> Excel_ファイル_印字(run::Session& s) { return print_book(s, false, {}); }
Result<void> Excel_ファイル_印字色なし(run::Session& s) { return print_book(s, true, {}); }
Result<void> Excel_すべてのシート_ファイル_シートを選択して印字(run::Session& s) {
    return print_book(s, false, chosen_sheets(s.params));
}

Result<void> Excel_印字_Final(run::Session&) {
    end_run();
    return {};
}

// ---- まとめて印字, シートを選択してまとめて印字: one job for the run ------------------------------

Result<void> collect_book(run::Session& s, const std::vector<std::string>& chosen) {
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    std::vector<std::string> sheets = sheets_to_print(*b, chosen);
    if (sheets.empty()) return {};
    const std::string pdf = work_pdf();
    if (auto r = xl::export_pdf(*b, sheets, pdf); !r) return r.error();
    g_run.pdfs.push_back(pdf);
    return {};
}

Result<void> Excel_すべてのシート_ファイル_まとめて印字(run::Session& s) {
    return collect_book(s, {});
}
Result<void> Excel_すべてのシート_ファイル_シートを選択してまとめて印字(run::Session& s) {
    return collect_book(s, chosen_sheets(s.params));
}

Result<void> Excel_まとめて印字_Final(run::Session& s) {
    Result<void> out;
    if (!g_run.pdfs.empty() && !s.cancel) {
        xl::PrintOptions o = options_of(s, false);
        o.title = "Sheaflow まとめて印字";
        out = xl::print_pdfs(g_run.pdfs, o);
        if (out)
            s.host.progress(std::to_string(g_run.pdfs.size()) + " ファイルをまとめて印字しました");
    }
    end_run();
    return out;
}

// ---- 印字（ＰＤＦ・ＸＰＳ） and まとめて印字（ＰＤＦ・ＸＰＳ） -------------------------------------

std::string Check_ファイル_印字PDF(const shell::Params& p, std::string_view) {
    if (p.option("format") == "xps") return kXpsRefused;
    if (p.option("format") != "pdf") return "出力形式が設定されていません。";
    return check_output_folder(p, false);
}

Result<void> write_pdf(run::Session& s, const std::vector<std::string>& sheets,
                       const std::string& path) {
    if (!claim_output(s, path)) return {};
    if (auto r = xl::export_pdf(*s.book(), sheets, path); !r) log_save_error(s, path, r.error());
    return {};
}

Result<void> Excel_ファイル_印字PDF(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    const std::string stem = file::join(output_folder(s), file_stem(s.file_name));
    if (s.params.option("unit") != "sheet") return write_pdf(s, {}, stem + ".pdf");
    for (const std::string& sheet : sheets_to_print(*b, {})) {
        if (s.yield()) return {};
        if (auto r = write_pdf(s, {sheet}, stem + "_" + sheet + ".pdf"); !r) return r;
    }
    return {};
}

// The whole run in one PDF: every target's worksheets are copied into one collecting workbook
// in the work folder (with their page setups), which LibreOffice lays out once at the end.
std::string collection_path() { return g_run.folder + "/まとめて印字.xlsx"; }

Result<void> Excel_すべてのシート_ファイル_まとめて印字PDF(run::Session& s) {
    xl::Workbook* target = s.book();
    if (!target) return no_workbook();
    std::vector<std::string> sheets = sheets_to_print(*target, {});
    if (sheets.empty()) return {};
    const std::string path = collection_path();
    const bool fresh = !file::exists(path);
    auto dest = fresh ? s.app.workbooks().add() : s.app.workbooks().open(path, false);
    if (!dest) return dest.error();
    xl::Workbook& d = **dest;
    const int before = d.sheet_count();
    Result<void> out;
    for (const std::string& name : sheets) {
        xl::Worksheet* w = target->worksheet(name);
        if (!w) continue;
        if (auto copied = w->copy(nullptr, d.sheet(d.sheet_count())); !copied) {
            out = copied.error();
            break;
        }
    }
    // A new collecting workbook starts with a blank sheet of its own: it goes.
    if (out && fresh && d.sheet_count() > before) out = d.sheet(1)->delete_sheet();
    if (out) out = d.save_as(path, xl::xlOpenXMLWorkbook);
    d.close();
    (void)target->activate();
    if (out) g_run.pdfs.push_back(path);
    return out;
}

Result<void> Excel_まとめて印字PDF_Final(run::Session& s) {
    Result<void> out;
    if (!g_run.pdfs.empty() && !s.cancel) {
        std::string folder = text::trim(s.params.text(kOutputFolderKey));
        if (folder.empty()) folder = s.target_folder;
        std::time_t now = std::time(nullptr);
        char stamp[32];
        std::strftime(stamp, sizeof stamp, "%Y%m%d_%H%M%S", std::localtime(&now));
        const std::string path = file::join(folder, std::string("まとめて印字_") + stamp + ".pdf");
        auto book = s.app.workbooks().open(collection_path(), true);
        if (!book) {
            out = book.error();
        } else {
            out = xl::export_pdf(**book, {}, path);
            (*book)->close();
        }
        if (out) s.host.progress("「" + path + "」に書き出しました");
    }
    end_run();
    return out;
}

// ---- 印字した場合の頁情報 -----------------------------------------------------------------------

std::string Check_ファイル_印字した場合の頁情報(const shell::Params&, std::string_view) {
    return "";
}

Result<void> Excel_ファイル_印字した場合の頁情報_First(run::Session& s) {
    s.store.reset();
    return {};
}

Result<void> Excel_ファイル_印字した場合の頁情報(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    auto pages = xl::printed_pages(*b);
    if (!pages) return pages.error();
    int total = 0;
    for (int i = 1; i <= b->worksheet_count() && i <= static_cast<int>(pages->size()); ++i) {
        int n = (*pages)[static_cast<std::size_t>(i - 1)];
        total += n;
        s.store.add({s.file_name, std::to_string(i)},
                    {s.file_name, b->worksheet(i)->name(), std::to_string(n)});
    }
    s.store.add({s.file_name, "~"}, {s.file_name, "（合計）", std::to_string(total)});
    return {};
}

Result<void> Excel_ファイル_印字した場合の頁情報_Final(run::Session& s) {
    report::Final_Process(s.store, s.table, {"ファイル名", "シート名", "頁数"},
                          [](const report::RecordStore::Record& r, report::ResultTable& t) {
                              for (std::size_t i = 0; i < 3; ++i)
                                  t.set(static_cast<int>(i), r.field(i));
                          });
    return {};
}

}  // namespace

std::span<const Procedures> printing_procedures() {
    static const Procedures table[] = {
        {.category = "ファイル",
         .key_name = "印字",
         .check = Check_ファイル_印字,
         .execute = Excel_ファイル_印字,
         .first = start_run,
         .final = Excel_印字_Final},
        {.category = "ファイル",
         .key_name = "印字（色なし）",
         .check = Check_ファイル_印字,
         .execute = Excel_ファイル_印字色なし,
         .first = start_run,
         .final = Excel_印字_Final},
        {.category = "ファイル",
         .key_name = "印字（ＰＤＦ・ＸＰＳ）",
         .check = Check_ファイル_印字PDF,
         .execute = Excel_ファイル_印字PDF},
        {.category = "ファイル",
         .key_name = "印字した場合の頁情報",
         .check = Check_ファイル_印字した場合の頁情報,
         .execute = Excel_ファイル_印字した場合の頁情報,
         .first = Excel_ファイル_印字した場合の頁情報_First,
         .final = Excel_ファイル_印字した場合の頁情報_Final},
        {.category = "すべてのシート_ファイル",
         .key_name = "まとめて印字",
         .check = Check_ファイル_印字,
         .execute = Excel_すべてのシート_ファイル_まとめて印字,
         .first = start_run,
         .final = Excel_まとめて印字_Final,
         .own_sheet_loop = true},
        {.category = "すべてのシート_ファイル",
         .key_name = "まとめて印字（ＰＤＦ・ＸＰＳ）",
         .check = Check_ファイル_印字PDF,
         .execute = Excel_すべてのシート_ファイル_まとめて印字PDF,
         .first = start_run,
         .final = Excel_まとめて印字PDF_Final,
         .own_sheet_loop = true},
        {.category = "すべてのシート_ファイル",
         .key_name = "シートを選択して印字",
         .check = Check_すべてのシート_ファイル_シートを選択して印字,
         .execute = Excel_すべてのシート_ファイル_シートを選択して印字,
         .first = start_run,
         .final = Excel_印字_Final,
         .own_sheet_loop = true},
        {.category = "すべてのシート_ファイル",
         .key_name = "シートを選択してまとめて印字",
         .check = Check_すべてのシート_ファイル_シートを選択して印字,
         .execute = Excel_すべてのシート_ファイル_シートを選択してまとめて印字,
         .first = start_run,
         .final = Excel_まとめて印字_Final,
         .own_sheet_loop = true},
    };
    return table;
}

}  // namespace sheaflow::ops
