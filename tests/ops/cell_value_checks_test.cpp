// 値のチェック, エラー表示一覧 and 日付検索 on workbooks of the corpus and on the checks fixture.
#include <gtest/gtest.h>

#include "cell_run.h"

namespace sheaflow::testing {
namespace {

using Lines = std::vector<std::string>;
std::string corpus(const std::string& name) {
    return std::string(SHEAFLOW_CORPUS_DIR) + "/xlsx/" + name;
}

TEST(ValueCheckRun, each_rule_reports_its_cells) {
    CellRun r(kCellChecksBook);
    const std::string head = r.path() + "\r\n";
    struct Case {
        const char* rule;
        std::string expected;
    };
    const Case cases[] = {
        {"number_text", head + "A6 = 123456\r\n"},
        {"blanks", head + "A12 =  前後空白 \r\n"},
        {"full_digits", head + "A13 = ＡＢＣ１２３\r\n"},
        {"non_cp932", head + "B3 = \U00020BB7野家\r\n"},
    };
    for (const Case& c : cases) {
        auto out = r.run("セル", "値のチェック", {{"rule", c.rule}});
        ASSERT_TRUE(out.checked) << out.check_message;
        EXPECT_EQ(out.error_text, c.expected) << c.rule;
    }
    auto out =
        r.run("セル", "値のチェック", {{"rule", "empty"}, {"row_from", "3"}, {"row_to", "5"}});
    EXPECT_EQ(out.error_text, head + "B4 = （空白セル）\r\nB5 = （空白セル）\r\n");
    out = r.run("セル", "値のチェック", {{"rule", "too_long"}});
    EXPECT_FALSE(out.checked);
    EXPECT_EQ(out.check_message, "上限の文字数が不正です。");
}

TEST(ValueCheckRun, long_values_in_a_corpus_workbook) {
    const std::string book = corpus("xw-unicode_shift_jis.xlsx");
    if (!std::filesystem::exists(book)) GTEST_SKIP() << "no corpus";
    CellRun r(book);
    auto out = r.run("セル", "値のチェック", {{"rule", "too_long"}, {"max_length", "20"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, r.path() +
                                  "\r\nA1 = Some uninteresting product specs found on the Net\r\n"
                                  "A9 = GZ4 ダイクロイックミラーランプ 12V 10W×1\r\n");
    out = r.run("セル", "値のチェック", {{"rule", "full_digits"}});
    EXPECT_EQ(out.error_text, "エラーはありません。\r\n");
}

TEST(ErrorListRun, lists_error_values_with_their_formulas) {
    const std::string book = corpus("cal-errors.xlsx");
    if (!std::filesystem::exists(book)) GTEST_SKIP() << "no corpus";
    CellRun r(book);
    auto out = r.run("セル", "エラー表示一覧", {{"row_from", "1"}, {"row_to", "2"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_TRUE(out.is_list);
    EXPECT_EQ(r.rows(), (Lines{"本.xlsx|Feuil1()", "||A1|#DIV/0!|=5/0", "||A2|#NAME?|=A0"}));
    EXPECT_EQ(r.table().title(4), "計算式");
    out = r.run("セル", "エラー表示一覧", {{"row_from", "2"}});
    EXPECT_EQ(out.check_message, "行の指定が不正です。");
}

TEST(DateSearchRun, dates_in_a_period_either_end_open) {
    const std::string book = corpus("sjs-xlsx-stream-d-date-cell.xlsx");
    if (!std::filesystem::exists(book)) GTEST_SKIP() << "no corpus";
    CellRun r(book);
    // Times and durations are not dates.
    auto out = r.run("セル", "日付検索", {{"from", "2014/02/14"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(r.rows(), (Lines{"本.xlsx|Sheet1()", "||B5|2014/2/14|2014/02/14 8:27:49"}));
    out = r.run("セル", "日付検索", {{"to", "２０１４－０２－１３"}});
    EXPECT_EQ(r.rows(), (Lines{"本.xlsx|Sheet1()"}));

    CellRun f(kCellChecksBook);
    out = f.run("セル", "日付検索", {{"from", "2024/1/2"}, {"to", "2024/12/31"}});
    EXPECT_EQ(f.rows(), (Lines{"本.xlsx|名簿(Meibo)", "||A11|2024/03/15|2024/03/15"}));
    out = f.run("セル", "日付検索", {{"from", "2024/02/30"}});
    EXPECT_EQ(out.check_message, "開始日が日付ではありません。");
    out = f.run("セル", "日付検索", {{"from", "2024/03/01"}, {"to", "2024/01/01"}});
    EXPECT_EQ(out.check_message, "開始日が終了日より後です。");
}

}  // namespace
}  // namespace sheaflow::testing
