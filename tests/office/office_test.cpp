// The LibreOffice bridge: .xls targets read and written through one LibreOffice per run, what a
// run without LibreOffice says, and that no office process outlives a run, a crash or a kill.
// The tests that need LibreOffice skip when it is not installed.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <thread>

#include "cli/cli_support.h"
#include "report/result_table.h"
#include "shell/temp_dir.h"
#include "xl/native/engine.h"
#include "xl/office/libreoffice.h"
#include "xl/print.h"

namespace sheaflow {
namespace {

namespace fs = std::filesystem;
using cli_test::quote;
using cli_test::run_cli;

bool office_installed() {
    return ::access("/usr/bin/python3", X_OK) == 0 &&
           (::access("/usr/bin/soffice", X_OK) == 0 ||
            ::access("/usr/lib/libreoffice/program/soffice", X_OK) == 0);
}

#define REQUIRE_OFFICE() \
    if (!office_installed()) GTEST_SKIP() << "LibreOffice is not installed"

fs::path corpus(const std::string& rel) { return fs::path(SHEAFLOW_CORPUS_DIR) / rel; }

std::string read_bytes(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool is_ole(const fs::path& p) { return read_bytes(p).substr(0, 4) == "\xD0\xCF\x11\xE0"; }

// True while any process of the group lives.
bool group_alive(pid_t group) { return group > 0 && ::kill(-group, 0) == 0; }

// Cell formulas of every sheet as LibreOffice reads them (tests/data/lo_dump.py): sheet!cell ->
// formula or constant.
std::map<std::string, std::string> lo_cells(const fs::path& file) {
    std::string cmd = "/usr/bin/python3 " + quote(std::string(SHEAFLOW_TEST_DATA_DIR) + "/lo_dump.py") +
                      " " + quote(file.string()) + " 2>/dev/null";
    std::map<std::string, std::string> cells;
    FILE* p = ::popen(cmd.c_str(), "r");
    if (!p) return cells;
    std::string out;
    char buf[4096];
    std::size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
    ::pclose(p);
    std::istringstream lines(out);
    std::string line, sheet;
    while (std::getline(lines, line)) {
        if (line.rfind("== ", 0) == 0) {
            sheet = line.substr(line.find('\t') + 1);
        } else if (line.rfind("!! ", 0) == 0) {
            cells["!!"] = line;
        } else {
            std::size_t t1 = line.find('\t'), t2 = line.find('\t', t1 + 1);
            cells[sheet + "!" + line.substr(0, t1)] = line.substr(t1 + 1, t2 - t1 - 1);
        }
    }
    return cells;
}

class OfficeTest : public ::testing::Test {
protected:
    void SetUp() override {
        registry_ = dir_.file("registry");
        ::setenv("SHEAFLOW_OFFICE_REGISTRY", registry_.c_str(), 1);
        fs::create_directories(dir_.file("in"));
    }
    void TearDown() override {
        ::unsetenv("SHEAFLOW_OFFICE_REGISTRY");
        ::unsetenv("SHEAFLOW_SOFFICE");
    }
    fs::path in() const { return dir_.file("in"); }
    void copy_in(const std::string& rel, const std::string& as = {}) {
        fs::copy_file(corpus(rel), in() / (as.empty() ? fs::path(rel).filename().string() : as));
        fs::permissions(in() / (as.empty() ? fs::path(rel).filename().string() : as),
                        fs::perms::owner_write, fs::perm_options::add);
    }
    cli_test::Outcome cli(std::vector<std::string> args) {
        args.insert(args.begin(), "run");
        args.insert(args.end(), {"--folder", in().string(), "--yes", "--param-dir",
                                 dir_.file("params")});
        return run_cli(args, dir_.file("err.txt"));
    }
    // Work folders of bridges still registered (a run that ended cleanly leaves none).
    std::vector<fs::path> registered() const {
        std::vector<fs::path> out;
        std::error_code ec;
        for (const auto& e : fs::directory_iterator(registry_, ec)) out.push_back(e.path());
        return out;
    }

    testing::TempDir dir_;
    std::string registry_;
};

TEST_F(OfficeTest, WithoutLibreOfficeEachXlsFileGetsALineNamingTheInstallAndTheRunGoesOn) {
    ::setenv("SHEAFLOW_SOFFICE", "/nonexistent/soffice", 1);
    copy_in("xls/pe-Test97J.xls");
    copy_in("xls/cal-merge_cells.xls");
    copy_in("xlsx/cal-any_sheets.xlsx", "plain.xlsx");
    auto r = cli({"セル", "文字列検索", "--set", "search=ASC"});
    EXPECT_NE(r.code, 0);
    std::size_t lines = 0;
    for (std::size_t at = 0; (at = r.err.find("scripts/install-deps --office", at)) != std::string::npos;
         ++at)
        ++lines;
    EXPECT_EQ(lines, 2u) << r.err;
    EXPECT_NE(r.err.find("pe-Test97J.xls"), std::string::npos);
    // The .xlsx was searched all the same.
    EXPECT_NE(r.out.find("plain.xlsx"), std::string::npos) << r.out;
}

TEST_F(OfficeTest, ReplaceRewritesXlsInPlaceAsXlsAndSearchLeavesItAlone) {
    REQUIRE_OFFICE();
    copy_in("xls/pe-Test97J.xls");
    copy_in("xls/cal-merge_cells.xls");
    const fs::path changed = in() / "pe-Test97J.xls", untouched = in() / "cal-merge_cells.xls";
    auto before = lo_cells(changed);
    ASSERT_FALSE(before.empty());
    const std::string merge_bytes = read_bytes(untouched);

    // A list operation never rewrites an .xls.
    auto search = cli({"セル", "文字列検索", "--set", "search=漢字"});
    EXPECT_EQ(search.code, 0) << search.err;
    EXPECT_NE(search.out.find("漢字のデータ"), std::string::npos) << search.out;
    EXPECT_EQ(read_bytes(untouched), merge_bytes);
    const std::string searched = read_bytes(changed);

    auto replace = cli({"セル", "文字列置換", "--set", "search=漢字", "--set", "replace=かんじ"});
    EXPECT_EQ(replace.code, 0) << replace.err;
    EXPECT_NE(replace.err.find("（LibreOffice で保存）"), std::string::npos) << replace.err;
    // The file without a match is not rewritten; the other is an .xls again, not a package.
    EXPECT_EQ(read_bytes(untouched), merge_bytes);
    EXPECT_NE(read_bytes(changed), searched);
    EXPECT_TRUE(is_ole(changed));

    auto after = lo_cells(changed);
    ASSERT_EQ(after.count("!!"), 0u) << after["!!"];
    std::map<std::string, std::string> expected;
    for (auto [cell, text] : before) {
        for (std::size_t at; (at = text.find("漢字")) != std::string::npos;)
            text.replace(at, std::string("漢字").size(), "かんじ");
        expected[cell] = text;
    }
    EXPECT_EQ(after, expected);
    EXPECT_TRUE(registered().empty());
}

TEST_F(OfficeTest, CorpusXlsFilesOpenThroughTheBridge) {
    REQUIRE_OFFICE();
    auto app = xl::native::create_application(xl::office::libreoffice_bridge());
    int opened = 0;
    for (const auto& e : fs::directory_iterator(corpus("xls"))) {
        auto book = app->workbooks().open(e.path().string(), true);
        ASSERT_TRUE(book.has_value()) << e.path() << ": " << book.error().message;
        EXPECT_EQ((*book)->opened_through(), "LibreOffice");
        EXPECT_GE((*book)->worksheet_count() + (*book)->sheet_count(), 1);
        (*book)->close();
        ++opened;
    }
    EXPECT_GT(opened, 20);
    app->quit();
    EXPECT_TRUE(registered().empty());
}

TEST_F(OfficeTest, ExtensionChangeWritesXlsAndReadsItBack) {
    REQUIRE_OFFICE();
    copy_in("xls/pe-TestEncoding.xls", "enc.xls");
    auto to_xlsx = cli({"ファイル", "拡張子変更(CSV・XLS・XLSX)", "--set", "old_ext=xls", "--set",
                        "new_ext=xlsx"});
    EXPECT_EQ(to_xlsx.code, 0) << to_xlsx.err;
    ASSERT_TRUE(fs::exists(in() / "enc.xlsx"));
    EXPECT_EQ(read_bytes(in() / "enc.xlsx").substr(0, 2), "PK");
    fs::rename(in() / "enc.xls", dir_.file("enc-original.xls"));

    auto to_xls = cli({"ファイル", "拡張子変更(CSV・XLS・XLSX)", "--set", "old_ext=xlsx", "--set",
                       "new_ext=xls"});
    EXPECT_EQ(to_xls.code, 0) << to_xls.err;
    ASSERT_TRUE(is_ole(in() / "enc.xls"));
    // Full-width and CP932-only characters come back the same after xls -> xlsx -> xls.
    auto original = lo_cells(dir_.file("enc-original.xls"));
    auto back = lo_cells(in() / "enc.xls");
    EXPECT_EQ(back, original);
    EXPECT_EQ(back["Sheet1!B4"], "㍻");
}

TEST_F(OfficeTest, ExternalMacroWritesTheTargetAndAHungMacroIsStopped) {
    REQUIRE_OFFICE();
    // The macro workbook: a VBA module imported into a corpus .xlsm.
    const std::string bas = dir_.file("Writer.bas");
    std::ofstream(bas) << "Attribute VB_Name = \"Writer\"\r\n"
                          "Sub WriteCell()\r\n"
                          "    ActiveSheet.Range(\"B2\").Value = \"written\"\r\n"
                          "End Sub\r\n"
                          "Sub Forever()\r\n"
                          "    Do\r\n"
                          "    Loop\r\n"
                          "End Sub\r\n";
    const std::string macros = dir_.file("macros.xlsm");
    {
        auto app = xl::native::create_application();
        auto book = app->workbooks().open(corpus("xlsm/cal-vba.xlsm").string(), true);
        ASSERT_TRUE(book.has_value());
        auto project = (*book)->vb_project();
        ASSERT_TRUE(project.has_value()) << project.error().message;
        ASSERT_TRUE((*project)->vb_components().import_file(bas).has_value());
        ASSERT_TRUE((*book)->save_as(macros, xl::xlOpenXMLWorkbookMacroEnabled).has_value());
    }
    copy_in("xlsx/cal-any_sheets.xlsx", "target.xlsx");
    auto r = cli({"ツール", "外部マクロ実行", "--set", "book=" + macros, "--set", "module=Writer",
                  "--set", "macro=WriteCell"});
    EXPECT_EQ(r.code, 0) << r.err;
    {
        auto app = xl::native::create_application();
        auto book = app->workbooks().open((in() / "target.xlsx").string(), true);
        ASSERT_TRUE(book.has_value());
        EXPECT_EQ((*book)->active_sheet()->cell_text({2, 2}), "written");
    }

    const std::string before = read_bytes(in() / "target.xlsx");
    r = cli({"ツール", "外部マクロ実行", "--set", "book=" + macros, "--set", "module=Writer",
             "--set", "macro=Forever", "--set", "time_limit=2"});
    EXPECT_NE(r.code, 0);
    EXPECT_NE(r.err.find("2 秒以内に終わらなかったため停止しました"), std::string::npos) << r.err;
    EXPECT_EQ(read_bytes(in() / "target.xlsx"), before);
    EXPECT_TRUE(registered().empty());

    r = cli({"ツール", "外部マクロ実行", "--set", "book=" + macros, "--set", "module=Nothing",
             "--set", "macro=WriteCell"});
    EXPECT_NE(r.err.find("'macros.xlsm'!Nothing.WriteCell"), std::string::npos) << r.err;
}

TEST_F(OfficeTest, ACrashedOfficeFailsOneRequestAndTheNextStartsAFreshOne) {
    REQUIRE_OFFICE();
    xl::office::LibreOffice office;
    const std::string out = dir_.file("a.xlsx");
    ASSERT_TRUE(office.convert(corpus("xls/cal-merge_cells.xls").string(), out, xl::kFilterXlsx));
    pid_t first = office.process_group();
    ASSERT_TRUE(group_alive(first));
    ::kill(-first, SIGKILL);
    auto failed = office.convert(corpus("xls/cal-merge_cells.xls").string(), out, xl::kFilterXlsx);
    ASSERT_FALSE(failed);
    EXPECT_NE(failed.error().message.find("LibreOffice"), std::string::npos);
    fs::remove(out);
    EXPECT_TRUE(office.convert(corpus("xls/cal-merge_cells.xls").string(), out, xl::kFilterXlsx));
    EXPECT_TRUE(fs::exists(out));
    pid_t second = office.process_group();
    office.shutdown();
    EXPECT_FALSE(group_alive(second));
    EXPECT_TRUE(registered().empty());
}

// LibreOffice, with a count of how each .xls was stored.
class CountingOffice final : public xl::OfficeBridge {
public:
    Result<std::string> work_folder() override { return office_.work_folder(); }
    Result<void> convert(const std::string& from, const std::string& to,
                         std::string_view filter) override {
        if (filter == xl::kFilterXls) ++converted_to_xls;
        return office_.convert(from, to, filter);
    }
    Result<std::string> convert_and_keep(const std::string& from, const std::string& to,
                                         std::string_view filter) override {
        return office_.convert_and_keep(from, to, filter);
    }
    Result<void> store_kept(const std::string& handle, const std::vector<xl::OfficeCellEdit>& edits,
                            const std::string& active_sheet, const std::string& to,
                            std::string_view filter) override {
        ++stored_kept;
        cell_edits += edits.size();
        if (fail_store_kept) {
            office_.close_kept(handle);
            return Error::make(Error::Code::Io, "store_kept failed on purpose");
        }
        return office_.store_kept(handle, edits, active_sheet, to, filter);
    }
    void close_kept(const std::string& handle) override { office_.close_kept(handle); }
    Result<void> run_macro(const std::string& target, const std::string& macro_book,
                           const std::string& macro, const std::string& result,
                           std::string_view filter, int time_limit_seconds) override {
        return office_.run_macro(target, macro_book, macro, result, filter, time_limit_seconds);
    }
    Result<void> picture(const std::string& from, const std::string& sheet,
                         const std::string& range, const std::string& to, double scale) override {
        return office_.picture(from, sheet, range, to, scale);
    }
    void shutdown() override { office_.shutdown(); }
    std::string name() const override { return office_.name(); }

    int converted_to_xls = 0, stored_kept = 0;
    std::size_t cell_edits = 0;
    bool fail_store_kept = false;

private:
    xl::office::LibreOffice office_;
};

TEST_F(OfficeTest, CellValueChangesAreWrittenIntoTheOfficesOwnCopyAndOtherChangesGoTheLongWay) {
    REQUIRE_OFFICE();
    copy_in("xls/pe-Test97J.xls", "values.xls");
    copy_in("xls/pe-Test97J.xls", "rows.xls");
    const fs::path values = in() / "values.xls", rows = in() / "rows.xls";
    auto before = lo_cells(values);
    ASSERT_FALSE(before.empty());
    auto counting = std::make_unique<CountingOffice>();
    CountingOffice& office = *counting;
    auto app = xl::native::create_application(std::move(counting));

    // A text (with a tab and a line break), a number, a cleared value, another active sheet.
    auto book = app->workbooks().open(values.string(), false);
    ASSERT_TRUE(book.has_value()) << book.error().message;
    xl::Worksheet* kanji = (*book)->worksheet("漢字名");
    ASSERT_NE(kanji, nullptr);
    ASSERT_TRUE(kanji->set_cell_value({2, 2}, std::string("かんじ\tの\nデータ")));
    ASSERT_TRUE(kanji->set_cell_value({4, 2}, 54321.5));
    ASSERT_TRUE(kanji->set_cell_value({5, 2}, xl::Value{}));
    ASSERT_TRUE(kanji->activate());
    ASSERT_TRUE((*book)->save_as(values.string(), xl::xlExcel8));
    (*book)->close();
    EXPECT_EQ(office.stored_kept, 1);
    EXPECT_EQ(office.cell_edits, 3u);
    EXPECT_EQ(office.converted_to_xls, 0);

    // A row inserted is more than cell values: the office reads the engine's package.
    auto other = app->workbooks().open(rows.string(), false);
    ASSERT_TRUE(other.has_value()) << other.error().message;
    ASSERT_TRUE((*other)->worksheet("漢字名")->insert_lines(xl::Axis::Rows, 1, 1));
    ASSERT_TRUE((*other)->save_as(rows.string(), xl::xlExcel8));
    (*other)->close();
    EXPECT_EQ(office.stored_kept, 1);
    EXPECT_EQ(office.converted_to_xls, 1);

    // A failure on the short way falls back to the long way, with the same result.
    copy_in("xls/pe-Test97J.xls", "fallback.xls");
    const fs::path fallback = in() / "fallback.xls";
    office.fail_store_kept = true;
    auto third = app->workbooks().open(fallback.string(), false);
    ASSERT_TRUE(third.has_value()) << third.error().message;
    ASSERT_TRUE((*third)->worksheet("漢字名")->set_cell_value({4, 2}, 54321.5));
    ASSERT_TRUE((*third)->save_as(fallback.string(), xl::xlExcel8));
    (*third)->close();
    EXPECT_EQ(office.stored_kept, 2);
    EXPECT_EQ(office.converted_to_xls, 2);

    // Both read back as the engine left them, the active sheet included.
    auto reopened = app->workbooks().open(values.string(), true);
    ASSERT_TRUE(reopened.has_value()) << reopened.error().message;
    EXPECT_EQ((*reopened)->active_sheet()->name(), "漢字名");
    EXPECT_EQ((*reopened)->worksheet("漢字名")->cell_value({2, 2}),
              xl::Value(std::string("かんじ\tの\nデータ")));
    (*reopened)->close();
    app->quit();
    auto after = lo_cells(values);
    after.erase("漢字名!B2");
    after.erase("漢字名!データ");  // the line break of B2 splits the dump's line
    auto expected = before;
    expected.erase("漢字名!B2");
    expected["漢字名!B4"] = "54321.5";
    expected.erase("漢字名!B5");
    EXPECT_EQ(after, expected);
    auto shifted = lo_cells(rows);
    EXPECT_EQ(shifted["漢字名!B3"], before["漢字名!B2"]);
    EXPECT_EQ(shifted["漢字名!B2"], before["漢字名!B1"]);
    EXPECT_EQ(shifted.count("漢字名!B1"), 0u);
    auto fell_back = lo_cells(fallback);
    EXPECT_EQ(fell_back["漢字名!B4"], "54321.5");
    EXPECT_EQ(fell_back["漢字名!B2"], before["漢字名!B2"]);
    EXPECT_TRUE(registered().empty());
}

TEST_F(OfficeTest, KilledRunLeavesNoOfficeAndNoDamagedTarget) {
    REQUIRE_OFFICE();
    for (int i = 0; i < 40; ++i) copy_in("xls/pe-Test97J.xls", "b" + std::to_string(i) + ".xls");
    std::map<std::string, std::string> before;
    for (const auto& e : fs::directory_iterator(in())) before[e.path().string()] = read_bytes(e.path());

    pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        int devnull = ::open("/dev/null", O_RDWR);
        ::dup2(devnull, 0);
        ::dup2(devnull, 1);
        ::dup2(devnull, 2);
        ::execl(SHEAFLOW_CLI_PATH, SHEAFLOW_CLI_PATH, "run", "セル", "文字列置換", "--folder",
                in().c_str(), "--set", "search=漢字", "--set", "replace=かんじ", "--yes",
                "--param-dir", dir_.file("params").c_str(), static_cast<char*>(nullptr));
        ::_exit(127);
    }
    // Wait until the office runs and a few files are done, then kill the program outright.
    pid_t group = 0;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
    while (std::chrono::steady_clock::now() < deadline) {
        for (const auto& w : registered()) {
            std::ifstream g(w / "group");
            g >> group;
        }
        int changed = 0;
        for (const auto& [path, bytes] : before)
            if (fs::exists(path) && read_bytes(path) != bytes) ++changed;
        if (group > 0 && changed >= 3) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    ASSERT_GT(group, 0);
    ::kill(pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);

    // The helper sees its parent go and takes the office with it.
    deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (group_alive(group) && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(group_alive(group));

    // Every target is the original or a complete .xls; no temporary file is left as a target.
    for (const auto& [path, bytes] : before) {
        ASSERT_TRUE(fs::exists(path));
        EXPECT_TRUE(is_ole(path)) << path;
    }
    // The next run clears the dead run's registration and finishes the batch.
    auto r = cli({"セル", "文字列置換", "--set", "search=漢字", "--set", "replace=かんじ"});
    EXPECT_EQ(r.code, 0) << r.err;
    EXPECT_TRUE(registered().empty());
    for (const char* name : {"b0.xls", "b20.xls", "b39.xls"})
        EXPECT_EQ(lo_cells(in() / name)["漢字名!B2"], "かんじのデータ") << name;
}

TEST_F(OfficeTest, AGroupLeftByAKilledRunIsKilledByTheNextBridge) {
    REQUIRE_OFFICE();
    // A registration whose owner is gone, with a live process group standing for its office.
    pid_t orphan = ::fork();
    if (orphan == 0) {
        ::setpgid(0, 0);
        ::execl("/bin/sleep", "sleep", "60", static_cast<char*>(nullptr));
        ::_exit(127);
    }
    ::setpgid(orphan, orphan);
    pid_t dead_owner = ::fork();
    if (dead_owner == 0) ::_exit(0);
    ::waitpid(dead_owner, nullptr, 0);
    fs::path reg = fs::path(registry_) / (std::to_string(dead_owner) + "-abc");
    fs::create_directories(reg);
    std::ofstream(reg / "group") << orphan << '\n';

    xl::office::LibreOffice office;
    ASSERT_TRUE(office.work_folder());
    int status = 0;
    EXPECT_EQ(::waitpid(orphan, &status, 0), orphan);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_FALSE(fs::exists(reg));
    office.shutdown();
}

std::vector<fs::path> files_in(const fs::path& folder, const std::string& ext) {
    std::vector<fs::path> out;
    for (const auto& e : fs::directory_iterator(folder))
        if (e.path().extension() == ext) out.push_back(e.path());
    std::sort(out.begin(), out.end());
    return out;
}

TEST_F(OfficeTest, PdfPerWorkbookPerSheetAndForTheWholeRunWithPageCounts) {
    REQUIRE_OFFICE();
    copy_in("xls/pe-Test97J.xls", "日本.xls");
    copy_in("xlsx/cal-merge_cells.xlsx", "merge.xlsx");
    const std::string out = dir_.file("pdf");
    fs::create_directories(out);

    auto xps = cli({"ファイル", "印字（ＰＤＦ・ＸＰＳ）", "--set", "format=xps", "--set", "folder=" + out});
    EXPECT_EQ(xps.code, 2);
    EXPECT_NE(xps.err.find("XPS 形式は Linux では出力できません。"), std::string::npos) << xps.err;

    auto books = cli({"ファイル", "印字（ＰＤＦ・ＸＰＳ）", "--set", "folder=" + out});
    EXPECT_EQ(books.code, 0) << books.err;
    ASSERT_EQ(files_in(out, ".pdf"),
              (std::vector<fs::path>{fs::path(out) / "merge.pdf", fs::path(out) / "日本.pdf"}));
    for (const auto& pdf : files_in(out, ".pdf")) {
        EXPECT_EQ(read_bytes(pdf).substr(0, 5), "%PDF-") << pdf;
        EXPECT_GE(xl::pdf_page_count(pdf.string()), 1) << pdf;
    }
    const int japan_pages = xl::pdf_page_count(out + "/日本.pdf");
    const int merge_pages = xl::pdf_page_count(out + "/merge.pdf");
    EXPECT_EQ(japan_pages, 2);  // two sheets of one page each

    fs::remove_all(out);
    fs::create_directories(out);
    auto sheets = cli({"ファイル", "印字（ＰＤＦ・ＸＰＳ）", "--set", "unit=sheet", "--set",
                       "folder=" + out});
    EXPECT_EQ(sheets.code, 0) << sheets.err;
    EXPECT_TRUE(fs::exists(out + "/日本_漢字名.pdf"));
    EXPECT_TRUE(fs::exists(out + "/日本_Sheet1-ASC.pdf"));
    EXPECT_EQ(xl::pdf_page_count(out + "/日本_漢字名.pdf"), 1);

    // The page list says the same as the PDFs.
    auto pages = cli({"ファイル", "印字した場合の頁情報"});
    EXPECT_EQ(pages.code, 0) << pages.err;
    EXPECT_NE(pages.out.find("漢字名\t1"), std::string::npos) << pages.out;
    EXPECT_NE(pages.out.find("（合計）\t2"), std::string::npos) << pages.out;

    fs::remove_all(out);
    fs::create_directories(out);
    auto whole = cli({"すべてのシート_ファイル", "まとめて印字（ＰＤＦ・ＸＰＳ）", "--set",
                      "folder=" + out});
    EXPECT_EQ(whole.code, 0) << whole.err;
    auto one = files_in(out, ".pdf");
    ASSERT_EQ(one.size(), 1u);
    EXPECT_EQ(one[0].filename().string().rfind("まとめて印字_", 0), 0u);
    EXPECT_EQ(xl::pdf_page_count(one[0].string()), japan_pages + merge_pages);
    EXPECT_TRUE(registered().empty());
}

TEST_F(OfficeTest, RangePicturesAreDrawnToScaleAndSavedBesideTheList) {
    REQUIRE_OFFICE();
    copy_in("xlsx/cal-any_sheets.xlsx", "any.xlsx");
    copy_in("xls/pe-Test97J.xls", "日本.xls");
    const std::string before = read_bytes(in() / "any.xlsx");
    const std::string out = dir_.file("png");
    auto sizes = [&](const std::string& scale) {
        fs::remove_all(out);
        auto r = cli({"セル", "画像として印字", "--set", "col_from=A", "--set", "row_from=1",
                      "--set", "col_to=C", "--set", "row_to=5", "--set", "scale=" + scale,
                      "--set", "save_files=1", "--set", "folder=" + out});
        EXPECT_EQ(r.code, 0) << r.err;
        EXPECT_NE(r.out.find("any.xlsx\tVisible(Лист2)\tA1:B5\t(画像)"), std::string::npos)
            << r.out;
        std::vector<std::pair<int, int>> got;
        for (const auto& png : files_in(out, ".png")) {
            auto size = report::png_size(read_bytes(png));
            EXPECT_TRUE(size.has_value()) << png;  // the range cut to the used cells
            if (size) got.push_back(*size);
        }
        return got;
    };
    auto once = sizes("1");
    EXPECT_EQ(files_in(out, ".png"),
              (std::vector<fs::path>{fs::path(out) / "any_Visible.png",
                                     fs::path(out) / ("日本_" + std::string("漢字名") + ".png")}))
        << "the .xls target's active sheet is drawn too";
    auto twice = sizes("2");
    ASSERT_EQ(once.size(), 2u);
    ASSERT_EQ(twice.size(), 2u);
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_NEAR(twice[i].first, 2 * once[i].first, 2);
        EXPECT_NEAR(twice[i].second, 2 * once[i].second, 2);
    }
    // The picture placed in a workbook by the engine is one LibreOffice draws.
    {
        auto app = xl::native::create_application();
        auto book = app->workbooks().add();
        ASSERT_TRUE(book.has_value());
        const std::string png = read_bytes(fs::path(out) / "any_Visible.png");
        ASSERT_TRUE((*book)->worksheet(1)->add_picture(png, {3, 2}, 150, 100).has_value());
        const std::string made = dir_.file("picture.xlsx");
        ASSERT_TRUE((*book)->save_as(made, xl::xlOpenXMLWorkbook).has_value());
        std::string seen;
        std::string cmd = "/usr/bin/python3 " +
                          quote(std::string(SHEAFLOW_TEST_DATA_DIR) + "/lo_objects.py") + " " +
                          quote(made) + " 2>/dev/null";
        if (FILE* p = ::popen(cmd.c_str(), "r")) {
            char buf[4096];
            while (std::size_t n = std::fread(buf, 1, sizeof buf, p)) seen.append(buf, n);
            ::pclose(p);
        }
        EXPECT_NE(seen.find("shapes=1\tnotes=0\tlinks=0\t図 1"), std::string::npos) << seen;
    }
    // A list operation: the targets are left as they were, and no office outlives the run.
    EXPECT_EQ(read_bytes(in() / "any.xlsx"), before);
    EXPECT_TRUE(is_ole(in() / "日本.xls"));
    EXPECT_TRUE(registered().empty());
}

// Printing goes to CUPS: checked with a virtual PDF printer (cups-pdf) when CUPS runs one.
TEST_F(OfficeTest, PrintingReachesACupsPdfPrinter) {
    REQUIRE_OFFICE();
    std::string printer;
    for (const std::string& n : xl::printer_names())
        if (n.find("PDF") != std::string::npos) printer = n;
    if (printer.empty()) GTEST_SKIP() << "no CUPS PDF printer (cups-pdf) here";
    copy_in("xlsx/cal-merge_cells.xlsx", "merge.xlsx");
    // cups-pdf writes what it prints into ~/PDF (Debian's setting).
    const char* home = std::getenv("HOME");
    const fs::path printed = fs::path(home ? home : "/nonexistent") / "PDF";
    auto printed_count = [&] {
        std::error_code ec;
        int n = 0;
        for (const auto& e : fs::directory_iterator(printed, ec))
            n += e.path().filename().string().find("merge") != std::string::npos;
        return n;
    };
    const int before = printed_count();
    auto r = cli({"ファイル", "印字（色なし）", "--set", "printer=" + printer});
    EXPECT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.err.find("印字しました"), std::string::npos) << r.err;
    bool arrived = false;
    for (int i = 0; i < 100 && !arrived; ++i) {
        arrived = printed_count() > before;
        if (!arrived) std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
    EXPECT_TRUE(arrived) << "no PDF of the job in " << printed;
    auto bad = cli({"ファイル", "印字", "--set", "printer=no-such-printer"});
    EXPECT_EQ(bad.code, 2);
    EXPECT_NE(bad.err.find("プリンター「no-such-printer」がありません。"), std::string::npos);
}

}  // namespace
}  // namespace sheaflow
