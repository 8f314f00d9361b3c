// sheaflow run, as the user runs it: replace and search in a folder of real workbooks, the
// error line of a file that cannot be opened, the checks, --files, the parameter files, and
// what a replace keeps.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "cli/cli_support.h"
#include "shell/temp_dir.h"
#include "util/file.h"
#include "util/text.h"
#include "xl/native/engine.h"

namespace fs = std::filesystem;

namespace sheaflow {
namespace {

using cli_test::Outcome;
using cli_test::quote;

std::string capture(const std::string& cmd) {
    std::string out;
    FILE* p = ::popen(cmd.c_str(), "r");
    if (p == nullptr) return out;
    char buf[4096];
    std::size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
    ::pclose(p);
    return out;
}

// Runs the command line with stdin from /dev/null (no terminal: the first-file confirmation is
// taken as OK) and a parameter folder of its own.
class CliRun : public ::testing::Test {
protected:
    void SetUp() override {
        folder_ = tmp_.file("対象");
        params_ = tmp_.file("params");
        fs::create_directories(folder_);
    }

    Outcome run(std::vector<std::string> args) {
        args.insert(args.begin(), "run");
        args.push_back("--param-dir");
        args.push_back(params_);
        return cli_test::run_cli(args, tmp_.file("err"));
    }

    void copy_fixture(const std::string& as) {
        fs::copy_file(std::string(SHEAFLOW_TEST_DATA_DIR) + "/cell_text.xlsx", folder_ + "/" + as);
    }
    std::string path(const std::string& name) const { return folder_ + "/" + name; }

    // The formula-bar text of a cell of a saved workbook, read back through the engine.
    std::string formula(const std::string& book, const std::string& sheet, const std::string& a) {
        auto app = xl::native::create_application();
        auto b = app->workbooks().open(path(book), true);
        if (!b) return "<" + b.error().message + ">";
        xl::Worksheet* ws = (*b)->worksheet(sheet);
        if (!ws) return "<no sheet>";
        auto r = ws->range(a);
        std::string f = r ? r->formula() : "<bad address>";
        app->quit();
        return f;
    }
    std::string unzip(const std::string& book, const std::string& part) {
        return capture("unzip -p " + quote(path(book)) + " " + quote(part));
    }
    std::string fixture_part(const std::string& part) {
        return capture("unzip -p " +
                       quote(std::string(SHEAFLOW_TEST_DATA_DIR) + "/cell_text.xlsx") + " " +
                       quote(part));
    }

    testing::TempDir tmp_;
    std::string folder_;
    std::string params_;
};

std::vector<std::string> lines(const std::string& s) {
    auto v = text::split(s, "\n");
    if (!v.empty() && v.back().empty()) v.pop_back();
    return v;
}

TEST_F(CliRun, replace_in_every_sheet_saves_the_books_and_reports_the_broken_one) {
    copy_fixture("一.xlsx");
    copy_fixture("二.xlsx");
    std::ofstream(path("壊れ.xlsx")) << "this is not a workbook";
    Outcome r = run({"すべてのシート_セル", "文字列置換", "--folder", folder_, "--set",
                     "search=東京", "--set", "replace=とうきょう", "--yes"});
    EXPECT_EQ(r.code, 1) << r.err;
    EXPECT_TRUE(r.out.empty());
    // One error line, for the file that cannot be opened.
    auto err = lines(r.err);
    int error_lines = 0;
    for (const auto& l : err)
        if (l.find("壊れ.xlsx") != std::string::npos &&
            l.find("ファイルチェック") == std::string::npos &&
            l.find("文字列置換、") == std::string::npos)
            ++error_lines;
    EXPECT_EQ(error_lines, 1) << r.err;
    EXPECT_NE(r.err.find("処理が終了しました。"), std::string::npos);

    for (const char* book : {"一.xlsx", "二.xlsx"}) {
        EXPECT_EQ(formula(book, "売上", "A1"), "とうきょう") << book;
        EXPECT_EQ(formula(book, "売上", "B2"), "とうきょう都") << book;
        EXPECT_EQ(formula(book, "売上", "D4"), "=A1&\"x\"") << book;
        EXPECT_EQ(formula(book, "在庫", "A1"), "とうきょう") << book;
        EXPECT_EQ(formula(book, "売上", "A6"), "大阪") << book;
        // The parts a replace has no business with come out byte for byte.
        EXPECT_EQ(unzip(book, "xl/styles.xml"), fixture_part("xl/styles.xml")) << book;
        EXPECT_EQ(unzip(book, "docProps/core.xml"), fixture_part("docProps/core.xml")) << book;
    }
    // The broken file is left as it was, and no temporary file stays behind.
    std::string broken;
    ASSERT_TRUE(file::read_all(path("壊れ.xlsx"), broken));
    EXPECT_EQ(broken, "this is not a workbook");
    int entries = 0;
    for (auto& e : fs::directory_iterator(folder_)) {
        (void)e;
        ++entries;
    }
    EXPECT_EQ(entries, 3);
}

TEST_F(CliRun, search_in_one_sheet_lists_the_matches_as_tsv) {
    copy_fixture("本.xlsx");
    Outcome r = run({"セル", "文字列検索", "--folder", folder_, "--set", "search=東京", "--set",
                     "look_in=formulas", "--set", "col_from=", "--set", "row_from=", "--set",
                     "col_to=", "--set", "row_to="});
    ASSERT_EQ(r.code, 0) << r.err;
    // The active sheet is 在庫: A1 holds the text; B3's value does, its formula does not.
    auto l = lines(r.out);
    ASSERT_EQ(l.size(), 3u) << r.out;
    EXPECT_EQ(l[0], "ファイル名\tシート名\t検索結果");
    EXPECT_EQ(l[1].rfind("本.xlsx\t在庫(", 0), 0u) << l[1];
    EXPECT_EQ(l[2], "\t\tA1  値=東京  計算式=東京");

    Outcome v = run({"セル", "文字列検索", "--folder", folder_, "--set", "look_in=values"});
    ASSERT_EQ(v.code, 0) << v.err;
    EXPECT_EQ(lines(v.out).size(), 4u) << v.out;
    EXPECT_EQ(lines(v.out)[2], "\t\tB3  値=東京  計算式==売上!A1");
}

TEST_F(CliRun, all_sheets_search_lists_errors_and_writes_csv) {
    copy_fixture("本.xlsx");
    Outcome r = run({"すべてのシート_セル", "文字列検索", "--folder", folder_, "--set", "search=NA",
                     "--set", "look_in=formulas", "--format", "csv"});
    ASSERT_EQ(r.code, 0) << r.err;
    auto l = lines(r.out);
    ASSERT_GE(l.size(), 6u) << r.out;
    EXPECT_EQ(l[0], "ファイル名,シート名,セル,値,計算式");
    EXPECT_EQ(l[1].rfind("すべてのシートで文字列検索", 0), 0u);
    EXPECT_EQ(l[2].rfind("検索文字=NA", 0), 0u);
    EXPECT_NE(r.out.find("E5,エラー,=NA()"), std::string::npos) << r.out;
}

TEST_F(CliRun, refused_checks_and_bad_arguments_exit_with_two) {
    copy_fixture("本.xlsx");
    Outcome same = run({"すべてのシート_セル", "文字列置換", "--folder", folder_, "--set",
                        "search=x", "--set", "replace=x"});
    EXPECT_EQ(same.code, 2);
    EXPECT_NE(same.err.find("新旧が一致してます。"), std::string::npos) << same.err;

    Outcome blank =
        run({"すべてのシート_セル", "文字列検索", "--folder", folder_, "--set", "search="});
    EXPECT_EQ(blank.code, 2);
    EXPECT_NE(blank.err.find("検索文字が設定されていません。"), std::string::npos) << blank.err;

    Outcome rows = run({"セル", "文字列検索", "--folder", folder_, "--set", "search=a", "--set",
                        "row_from=5", "--set", "row_to=2"});
    EXPECT_EQ(rows.code, 2);
    EXPECT_NE(rows.err.find("行の指定が不正です。"), std::string::npos) << rows.err;

    EXPECT_EQ(run({"セル", "文字列検索", "--folder", folder_, "--set", "nokey=1"}).code, 2);
    EXPECT_EQ(run({"セル", "文字列検索", "--folder", tmp_.file("無い")}).code, 2);
    EXPECT_EQ(run({"セル", "文字列検索", "--folder", folder_, "--format", "xml"}).code, 2);
    EXPECT_EQ(run({"セル", "文字列検索"}).code, 2);
    // The workbook was never touched.
    EXPECT_EQ(unzip("本.xlsx", "xl/sharedStrings.xml"), fixture_part("xl/sharedStrings.xml"));
}

TEST_F(CliRun, locked_target_stops_the_run_before_anything_opens) {
    copy_fixture("本.xlsx");
    copy_fixture("他.xlsx");
    std::ofstream(path(".~lock.他.xlsx#")) << "someone";
    Outcome r = run({"すべてのシート_セル", "文字列置換", "--folder", folder_, "--set",
                     "search=東京", "--set", "replace=大阪", "--yes"});
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find("ファイル「" + path("他.xlsx") + "」にロックがかかっています。"),
              std::string::npos)
        << r.err;
    EXPECT_EQ(formula("本.xlsx", "売上", "A1"), "東京");
}

TEST_F(CliRun, files_pattern_picks_the_targets_and_parameters_are_kept) {
    copy_fixture("a1.xlsx");
    copy_fixture("b1.xlsx");
    fs::create_directories(path("sub"));
    fs::copy_file(path("a1.xlsx"), path("sub/a2.xlsx"));
    Outcome r = run({"すべてのシート_セル", "文字列置換", "--folder", folder_, "--subfolders",
                     "--files", "a*.xlsx", "--set", "search=大阪", "--set", "replace=京都", "--set",
                     "whole_cell=1", "--yes"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(formula("a1.xlsx", "売上", "A6"), "京都");
    EXPECT_EQ(formula("sub/a2.xlsx", "売上", "A6"), "京都");
    EXPECT_EQ(formula("b1.xlsx", "売上", "A6"), "大阪");

    // The values given with --set are in the parameter files for the next run.
    std::string cmd = quote(SHEAFLOW_CLI_PATH) +
                      " params すべてのシート_セル 文字列置換 --param-dir " + quote(params_);
    std::string shown = capture(cmd);
    EXPECT_NE(shown.find("search\t検索文字\t大阪\n"), std::string::npos) << shown;
    EXPECT_NE(shown.find("whole_cell\t"), std::string::npos);
    EXPECT_NE(shown.find("\t1\n"), std::string::npos);
}

}  // namespace
}  // namespace sheaflow
