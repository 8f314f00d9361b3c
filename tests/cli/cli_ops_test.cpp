// The ops and params subcommands, run as the user runs them.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <fstream>

#include "cli/cli_support.h"
#include "shell/catalogue.h"
#include "shell/temp_dir.h"
#include "util/file.h"
#include "util/text.h"

namespace sheaflow {
namespace {

using cli_test::Outcome;

Outcome run(const std::vector<std::string>& args) {
    testing::TempDir tmp;
    return cli_test::run_cli(args, tmp.file("err"));
}

std::vector<std::string> lines(const std::string& s) {
    auto v = text::split(s, "\n");
    if (!v.empty() && v.back().empty()) v.pop_back();
    return v;
}

TEST(CliOps, ListsTheWholeCatalogueInOrder) {
    Outcome r = run({"ops"});
    ASSERT_EQ(r.code, 0) << r.err;
    auto l = lines(r.out);
    ASSERT_EQ(l.size(), shell::declarations().size());
    EXPECT_EQ(l.front(), "ファイル\tファイル名を変えて保存");
    EXPECT_EQ(l[4], std::string("ファイル\t") + shell::kSeparator10);
    EXPECT_EQ(l.back(), "Excel\t列番号対応表");
}

TEST(CliOps, FiltersByCategoryAndRefusesAnUnknownOne) {
    Outcome r = run({"ops", "--category", "すべてのシート_セル"});
    ASSERT_EQ(r.code, 0);
    for (const auto& line : lines(r.out)) EXPECT_EQ(line.rfind("すべてのシート_セル\t", 0), 0u);
    EXPECT_EQ(lines(r.out).front(), "すべてのシート_セル\t文字列検索");

    Outcome bad = run({"ops", "--category", "セルズ"});
    EXPECT_EQ(bad.code, 2);
    EXPECT_TRUE(bad.out.empty());
    EXPECT_NE(bad.err.find("カテゴリー「セルズ」はありません。"), std::string::npos);
}

TEST(CliParams, PrintsTheFieldsWithValuesFromTheFiles) {
    testing::TempDir dir;
    ASSERT_TRUE(file::write_all(dir.file("Cell_Tikan.txt"),
                                text::to_cp932("\"A\"\r\n\"1\"\r\n\"C\"\r\n\"5\"\r\n\"東京\"\r\n"
                                               "\"とうきょう\"\r\n1\r\n0\r\n1\r\n"))
                    .has_value());
    Outcome r = run({"params", "セル", "文字列置換", "--param-dir", dir.path()});
    ASSERT_EQ(r.code, 0) << r.err;
    auto l = lines(r.out);
    ASSERT_EQ(l.size(), 9u);
    EXPECT_EQ(l[0], "col_from\t開始列\tA");
    EXPECT_EQ(l[4], "search\t検索文字\t東京");
    EXPECT_EQ(l[5], "replace\t置換後の文字\tとうきょう");
    EXPECT_EQ(l[6], "match_case\t大文字と小文字を区別する\t1");
    EXPECT_EQ(l[7], "match_byte\t半角と全角を区別する\t0");

    Outcome opt = run({"params", "セル", "文字列検索", "--param-dir", dir.path()});
    ASSERT_EQ(opt.code, 0);
    EXPECT_EQ(lines(opt.out).back(), "look_in\t検索対象\tformulas");
}

TEST(CliParams, OperationWithoutFieldsSaysSo) {
    testing::TempDir dir;
    Outcome r = run({"params", "シート", "シート名順でソート", "--param-dir", dir.path()});
    EXPECT_EQ(r.code, 0);
    EXPECT_TRUE(r.out.empty());
    EXPECT_NE(r.err.find("設定項目がありません"), std::string::npos);
}

TEST(CliParams, UnknownOperationOrCategoryIsExitCodeTwo) {
    testing::TempDir dir;
    Outcome r = run({"params", "セル", "文字列変換", "--param-dir", dir.path()});
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.err.find("処理「文字列変換」はありません。"), std::string::npos);
    EXPECT_EQ(run({"params", "せる", "文字列置換", "--param-dir", dir.path()}).code, 2);
    EXPECT_EQ(run({"params", "セル"}).code, 2);
    EXPECT_EQ(run({"bogus"}).code, 2);
}

}  // namespace
}  // namespace sheaflow
