// What `sheaflow run` writes for scripts and spreadsheets: escaped tsv, flat records, repeat
// suppression, csv with a byte-order mark or in CP932, and --out looked at before the run.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "cli/cli_support.h"
#include "report/result_table.h"
#include "shell/temp_dir.h"
#include "util/file.h"
#include "util/text.h"
#include "xl/native/engine.h"

namespace fs = std::filesystem;

namespace sheaflow {
namespace {

using cli_test::Outcome;

const std::string kMultiLine = "一行目\n二行目\tタブ\\円";

class CliOutput : public ::testing::Test {
protected:
    void SetUp() override {
        folder_ = tmp_.file("対象");
        fs::create_directories(folder_);
        // Two books, each with two sheets; A1 of the first sheet holds a multi-line text.
        for (const char* name : {"a.xlsx", "b.xlsx"}) {
            auto app = xl::native::create_application();
            auto book = app->workbooks().add();
            ASSERT_TRUE(book);
            ASSERT_TRUE((*book)->active_sheet()->set_cell_value({1, 1}, kMultiLine));
            ASSERT_TRUE((*book)->add_worksheet(nullptr, (*book)->active_sheet()));
            ASSERT_TRUE((*book)->worksheet(1)->activate());
            ASSERT_TRUE((*book)->save_as(folder_ + "/" + name, xl::xlOpenXMLWorkbook));
        }
    }
    Outcome run(std::vector<std::string> args) {
        args.insert(args.begin(), "run");
        for (const std::string& a : {std::string("--folder"), folder_, std::string("--yes"),
                                     std::string("--param-dir"), tmp_.file("params")})
            args.push_back(a);
        return cli_test::run_cli(args, tmp_.file("err"));
    }
    std::vector<std::string> lines(const std::string& s) {
        auto v = text::split(s, "\n");
        if (!v.empty() && v.back().empty()) v.pop_back();
        return v;
    }

    testing::TempDir tmp_;
    std::string folder_;
};

TEST_F(CliOutput, tsv_escapes_cells_and_records_are_flat) {
    Outcome tsv = run({"セル", "文字列検索", "--set", "search=二行目"});
    ASSERT_EQ(tsv.code, 0) << tsv.err;
    auto l = lines(tsv.out);
    // Titles, then per book its heading row and one finding: each row stays one line.
    ASSERT_EQ(l.size(), 5u) << tsv.out;
    EXPECT_EQ(l[2], "\t\tA1  値=一行目\\n二行目\\tタブ\\\\円  計算式=一行目\\n二行目\\tタブ\\\\円");

    Outcome records = run({"セル", "文字列検索", "--set", "search=二行目", "--format", "records"});
    ASSERT_EQ(records.code, 0) << records.err;
    auto r = lines(records.out);
    ASSERT_EQ(r.size(), 2u) << records.out;
    EXPECT_EQ(r[0].rfind("{\"ファイル名\":\"a.xlsx\",\"シート名\":\"Sheet1(Sheet1)\",\"検索結果\":"
                         "\"A1  値=一行目\\n二行目\\tタブ\\\\円",
                         0),
              0u)
        << r[0];
    EXPECT_EQ(r[1].rfind("{\"ファイル名\":\"b.xlsx\"", 0), 0u) << r[1];
}

TEST_F(CliOutput, text_renderings_suppress_repeats_and_records_do_not) {
    Outcome tsv = run({"シート", "シート名一覧", "--set", "sort=file"});
    ASSERT_EQ(tsv.code, 0) << tsv.err;
    auto l = lines(tsv.out);
    ASSERT_EQ(l.size(), 6u) << tsv.out;  // titles, two sheets, separator, two sheets
    EXPECT_EQ(l[1].rfind("a.xlsx\t", 0), 0u);
    EXPECT_EQ(l[2].rfind("\t", 0), 0u) << l[2];
    EXPECT_EQ(l[3], "");

    Outcome records = run({"シート", "シート名一覧", "--set", "sort=file", "--format", "records"});
    auto r = lines(records.out);
    ASSERT_EQ(r.size(), 4u) << records.out;
    for (const std::string& line : r) EXPECT_EQ(line.rfind("{\"ファイル名\":\"", 0), 0u) << line;
}

// Records are written as findings come and are not bound by the result table's row limit.
TEST_F(CliOutput, records_pass_the_row_limit) {
    const int cells = report::ResultTable::kLastRowLimit + 240;
    {
        auto app = xl::native::create_application();
        auto book = app->workbooks().add();
        ASSERT_TRUE(book);
        xl::Worksheet* ws = (*book)->active_sheet();
        for (int r = 1; r <= cells; ++r) ASSERT_TRUE(ws->set_cell_value({r, 1}, "探す"));
        ASSERT_TRUE((*book)->save_as(folder_ + "/c.xlsx", xl::xlOpenXMLWorkbook));
    }
    const std::string out = tmp_.file("records.jsonl");
    Outcome records = run({"セル", "文字列検索", "--set", "search=探す", "--format", "records",
                           "--files", "c.xlsx", "--out", out});
    ASSERT_EQ(records.code, 0) << records.err;
    std::string bytes;
    ASSERT_TRUE(file::read_all(out, bytes));
    auto r = lines(bytes);
    ASSERT_EQ(r.size(), static_cast<std::size_t>(cells));
    EXPECT_EQ(r.back().rfind("{\"ファイル名\":\"c.xlsx\"", 0), 0u) << r.back();
    const std::string last_cell = "A" + std::to_string(cells) + " ";
    EXPECT_TRUE(std::any_of(r.begin(), r.end(), [&](const std::string& line) {
        return line.find(last_cell) != std::string::npos;
    }));
}

TEST_F(CliOutput, csv_files_carry_a_bom_or_are_written_in_cp932) {
    const std::string out = tmp_.file("一覧.csv");
    ASSERT_EQ(run({"シート", "シート名一覧", "--format", "csv", "--out", out}).code, 0);
    std::string bytes;
    ASSERT_TRUE(file::read_all(out, bytes));
    EXPECT_EQ(bytes.rfind("\xEF\xBB\xBF" "ファイル名,", 0), 0u);

    ASSERT_EQ(run({"シート", "シート名一覧", "--format", "csv", "--out", out, "--encoding",
                   "cp932"})
                  .code,
              0);
    ASSERT_TRUE(file::read_all(out, bytes));
    EXPECT_EQ(bytes.rfind(text::to_cp932("ファイル名,"), 0), 0u);
}

TEST_F(CliOutput, out_is_refused_before_the_run) {
    Outcome missing = run({"シート", "シート名一覧", "--out", tmp_.file("無い/一覧.tsv")});
    EXPECT_EQ(missing.code, 2);
    EXPECT_NE(missing.err.find("がありません。"), std::string::npos) << missing.err;
    EXPECT_EQ(missing.err.find("処理開始"), std::string::npos) << missing.err;

    Outcome folder = run({"シート", "シート名一覧", "--out", folder_});
    EXPECT_EQ(folder.code, 2);

    Outcome nothing_listed = run({"すべてのシート_セル", "文字列置換", "--set", "search=一",
                                  "--set", "replace=壱", "--out", tmp_.file("x.tsv")});
    EXPECT_EQ(nothing_listed.code, 2);
    EXPECT_EQ(nothing_listed.err.find("処理開始"), std::string::npos) << nothing_listed.err;
}

TEST_F(CliOutput, help_and_version) {
    Outcome help = cli_test::run_cli({"run", "--help"}, tmp_.file("err"));
    EXPECT_EQ(help.code, 0);
    EXPECT_NE(help.out.find("終了コード"), std::string::npos);
    EXPECT_NE(help.out.find("設定フォルダー"), std::string::npos);
    Outcome version = cli_test::run_cli({"--version"}, tmp_.file("err"));
    EXPECT_EQ(version.code, 0);
    EXPECT_EQ(version.out.rfind("sheaflow ", 0), 0u);
}

}  // namespace
}  // namespace sheaflow
