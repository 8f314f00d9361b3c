// 値の加算_画面表示, 値の加算_EXCEL登録 and 値の加算_リンク登録 over three workbooks: the list with
// its totals, the new workbook read back by the engine, and the linked workbook recalculated by
// LibreOffice.

#include <gtest/gtest.h>

#include "book_helpers.h"

namespace sheaflow::test {
namespace {

class ValueSums : public BookOpsTest {
protected:
    void SetUp() override {
        BookOpsTest::SetUp();
        add_made("a.xlsx", {{"Sheet1", {"10", "2.5", "文字"}}, {"売上 1", {"100"}}});
        add_made("b.xlsx", {{"Sheet1", {"5", "-1"}}, {"売上 1", {"200"}}});
        add_made("c.xlsx", {{"Sheet1", {"なし", "0.25"}}, {"売上 1", {"0.5"}}});
    }
    static constexpr const char* kCells = "A1:A2,'売上 1'!A1";

    // The result rows, cells joined by "|" without trailing empty cells.
    Names rows() const {
        Names out;
        for (const auto& r : table_.rows()) {
            std::size_t n = r.size();
            while (n > 0 && r[n - 1].empty()) --n;
            std::string line;
            for (std::size_t i = 0; i < n; ++i) line += (i ? "|" : "") + r[i];
            out.push_back(line);
        }
        return out;
    }
};

TEST_F(ValueSums, lists_each_workbook_and_the_totals) {
    auto out = run("セル", "値の加算_画面表示", {{"cells", kCells}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    EXPECT_EQ(rows(), (Names{"a.xlsx", "|Sheet1|A1|10", "|Sheet1|A2|2.5", "|売上 1|A1|100",
                             "b.xlsx", "|Sheet1|A1|5", "|Sheet1|A2|-1", "|売上 1|A1|200",
                             "c.xlsx", "|Sheet1|A1|なし", "|Sheet1|A2|0.25", "|売上 1|A1|0.5", "",
                             "合計", "||A1|15", "||A2|1.75", "|売上 1|A1|300.5"}));
    // The targets are only read.
    EXPECT_EQ(listing(in()), (Names{"a.xlsx", "b.xlsx", "c.xlsx"}));
}

TEST_F(ValueSums, bad_cells_are_refused_and_a_missing_sheet_is_an_error_line) {
    EXPECT_EQ(check("セル", "値の加算_画面表示", {{"cells", ""}}),
              "加算するセルが指定されていません。");
    EXPECT_NE(check("セル", "値の加算_画面表示", {{"cells", "B:B"}}).find("指定が不正"),
              std::string::npos);
    EXPECT_NE(check("セル", "値の加算_画面表示", {{"cells", "A1:Z100"}}).find("1000"),
              std::string::npos);
    EXPECT_EQ(check("セル", "値の加算_EXCEL登録", {{"cells", "A1"}, {"file_name", "x.csv"}}),
              "登録するファイル名の拡張子は .xlsx にしてください。");
    auto out = run("セル", "値の加算_画面表示", {{"cells", "Nowhere!A1,A1"}});
    ASSERT_TRUE(out.checked);
    EXPECT_NE(out.error_text.find("a.xlsx シート「Nowhere」がありません。"), std::string::npos)
        << out.error_text;
    EXPECT_EQ(rows().back(), "||A1|15");
}

TEST_F(ValueSums, registers_values_and_totals_in_a_new_workbook) {
    auto out = run("セル", "値の加算_EXCEL登録", {{"cells", kCells}, {"file_name", "集計.xlsx"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    EXPECT_EQ(listing(in()), (Names{"a.xlsx", "b.xlsx", "c.xlsx", "集計.xlsx"}));
    auto app = xl::native::create_application();
    auto book = app->workbooks().open((in() / "集計.xlsx").string(), true);
    ASSERT_TRUE(book) << book.error().message;
    xl::Worksheet* ws = (*book)->worksheet(1);
    auto text = [&](int r, int c) { return xl::to_text(ws->cell_value({r, c})); };
    EXPECT_EQ(text(1, 1), "ファイル名");
    EXPECT_EQ(text(1, 4), "売上 1!A1");
    EXPECT_EQ(text(2, 1), (in() / "a.xlsx").string());
    EXPECT_EQ(text(4, 2), "");  // a text is not added
    EXPECT_EQ(text(5, 1), "合計");
    EXPECT_EQ(text(5, 2), "15");
    EXPECT_EQ(text(5, 3), "1.75");
    EXPECT_EQ(text(5, 4), "300.5");
    app->quit();
    // A second run does not overwrite without being told to.
    out = run("セル", "値の加算_EXCEL登録", {{"cells", kCells}, {"file_name", "集計.xlsx"}});
    EXPECT_NE(out.error_text.find("上書きしません"), std::string::npos) << out.error_text;
    out = run("セル", "値の加算_EXCEL登録",
              {{"cells", kCells}, {"file_name", "集計.xlsx"}, {"overwrite", "1"}});
    EXPECT_EQ(out.error_text, "");
}

TEST_F(ValueSums, linked_workbook_refers_to_the_targets_and_office_computes_the_totals) {
    auto out = run("セル", "値の加算_リンク登録", {{"cells", kCells}, {"file_name", "リンク.xlsx"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    const std::string linked = (in() / "リンク.xlsx").string();
    {
        auto app = xl::native::create_application();
        auto book = app->workbooks().open(linked, true);
        ASSERT_TRUE(book) << book.error().message;
        xl::Worksheet* ws = (*book)->worksheet(1);
        EXPECT_EQ(ws->cell_formula({2, 2}), "=[1]Sheet1!$A$1");
        EXPECT_EQ(ws->cell_formula({3, 4}), "='[2]売上 1'!$A$1");
        EXPECT_EQ(ws->cell_formula({5, 3}), "=SUM(C2:C4)");
        app->quit();
    }
    if (!have_soffice()) GTEST_SKIP() << "soffice is not installed";
    std::string cmd = "/usr/bin/python3 '" + std::string(SHEAFLOW_TEST_DATA_DIR) +
                      "/lo_dump.py' '" + linked + "' > '" + (dir_ / "dump.txt").string() +
                      "' 2>&1";
    ASSERT_EQ(std::system(cmd.c_str()), 0);
    const std::string dump = read_bytes(dir_ / "dump.txt");
    // The links keep the targets' values; the totals are LibreOffice's own sums over them.
    EXPECT_NE(dump.find("\nB2\t"), std::string::npos) << dump;
    EXPECT_NE(dump.find("\t10\n"), std::string::npos) << dump;
    EXPECT_NE(dump.find("B5\t=SUM(B2:B4)\t15\n"), std::string::npos) << dump;
    EXPECT_NE(dump.find("C5\t=SUM(C2:C4)\t1.75\n"), std::string::npos) << dump;
    EXPECT_NE(dump.find("D5\t=SUM(D2:D4)\t300.5\n"), std::string::npos) << dump;
}

}  // namespace
}  // namespace sheaflow::test
