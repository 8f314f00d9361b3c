// The character operations and digit checks run through the driver on a real workbook: what
// the lists and the run error text say, and what a write-back leaves in the file.
#include <gtest/gtest.h>

#include "cell_run.h"

namespace sheaflow::testing {
namespace {

using Lines = std::vector<std::string>;

TEST(RomajiRun, lists_the_kana_cells_of_the_range) {
    CellRun r(kCellChecksBook);
    auto out = r.run("セル", "カナ→ローマ字", {{"style", "hepburn_family_upper"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_TRUE(out.is_list);
    EXPECT_EQ(r.rows(), (Lines{"本.xlsx|名簿(Meibo)", "||A1|やまだ\u3000たろう|YAMADA Tarou",
                               "||A2|ｷｬｯﾄ|KYATTO"}));
    EXPECT_EQ(r.table().title(2), "ｱﾄﾞﾚｽ");
    EXPECT_EQ(r.table().title(4), "ローマ字");
}

TEST(RomajiRun, writes_beside_or_into_the_cells) {
    CellRun r(kCellChecksBook);
    auto out = r.run("セル", "カナ→ローマ字",
                     {{"style", "simple"},
                      {"output", "write"},
                      {"offset", "2"},
                      {"row_to", "2"},
                      {"row_from", "1"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    EXPECT_EQ(r.formula("名簿", "C1"), "yamada tarou");
    EXPECT_EQ(r.formula("名簿", "C2"), "kyatto");
    EXPECT_EQ(r.formula("名簿", "A1"), "やまだ\u3000たろう");
    out =
        r.run("セル", "カナ→ローマ字", {{"style", "simple"}, {"output", "write"}, {"offset", "0"}});
    EXPECT_EQ(r.formula("名簿", "A2"), "kyatto");
    // A bad column count is refused before the run.
    out = r.run("セル", "カナ→ローマ字", {{"output", "write"}, {"offset", "x"}});
    EXPECT_FALSE(out.checked);
    EXPECT_EQ(out.check_message, "書き込み先の列数が不正です。");
}

TEST(KansujiRun, converts_text_cells_and_keeps_their_type) {
    CellRun r(kCellChecksBook);
    auto out = r.run("セル", "文字の操作１_漢数字", {{"mode", "half"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(r.formula("名簿", "A3"), "123");
    // The reverse conversion finds A3 again: the converted text stayed text. Numbers and
    // formulas are left alone.
    out = r.run("セル", "文字の操作１_漢数字", {{"mode", "kanji"}});
    EXPECT_EQ(r.formula("名簿", "A3"), "一二三");
    EXPECT_EQ(r.formula("名簿", "A7"), "1000");
    EXPECT_EQ(r.formula("名簿", "B2"), "=A7*2");
    EXPECT_EQ(r.formula("名簿", "A6"), "一二三四五六");
    out = r.run("セル", "文字の操作１_漢数字", {{"mode", "full"}});
    EXPECT_EQ(r.formula("名簿", "A3"), "１２３");
}

TEST(DigitChecks, integer_and_decimal_digits_by_stored_and_displayed_value) {
    CellRun r(kCellChecksBook);
    const std::string head = r.path() + "\r\n";
    auto out = r.run("セル", "整数の桁数チェック", {{"digits", "3"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    // Dates, errors and texts that are not numbers are skipped; the text 123456 is checked.
    EXPECT_EQ(out.error_text, head + "B2 = 2000\r\nA6 = 123456\r\nA7 = 1000\r\nA14 = -1000\r\n");
    out = r.run(
        "セル", "整数の桁数チェック",
        {{"digits", "0"}, {"col_from", "A"}, {"col_to", "A"}, {"row_from", "4"}, {"row_to", "8"}});
    EXPECT_EQ(out.error_text, head + "A4 = 1.2345\r\nA5 = 1.255\r\nA6 = 123456\r\nA7 = 1000\r\n");

    out = r.run("セル", "小数の桁数チェック", {{"digits", "2"}});
    EXPECT_EQ(out.error_text, head + "A4 = 1.2345\r\nA5 = 1.255\r\n");
    // 1.2345 shown as 1.23 passes by its displayed value.
    out = r.run("セル", "小数の桁数チェック", {{"digits", "2"}, {"value_kind", "display"}});
    EXPECT_EQ(out.error_text, head + "A5 = 1.255\r\n");
    // 1.255 x 1000 is 1254.9999999999998 in binary: the check goes by its text form, 1255.
    out = r.run("セル", "小数の桁数チェック", {{"digits", "3"}});
    EXPECT_EQ(out.error_text, head + "A4 = 1.2345\r\n");
    out = r.run("セル", "小数の桁数チェック", {{"digits", "4"}});
    EXPECT_EQ(out.error_text, "エラーはありません。\r\n");

    out = r.run("セル", "小数の桁数チェック", {{"digits", "-1"}});
    EXPECT_FALSE(out.checked);
    EXPECT_EQ(out.check_message, "桁数が不正です。");
}

}  // namespace
}  // namespace sheaflow::testing
