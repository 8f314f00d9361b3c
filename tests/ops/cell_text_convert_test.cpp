// 文字の操作１, 文字の操作２, 文字の追加 and 文字列設定１・２ on a workbook of the corpus (Japanese
// product specs in column A, odd rows), listed or written, and their pane checks.
#include <gtest/gtest.h>

#include "cell_run.h"

namespace sheaflow::testing {
namespace {

using Lines = std::vector<std::string>;
const std::string kSpecs = std::string(SHEAFLOW_CORPUS_DIR) + "/xlsx/xw-unicode_shift_jis.xlsx";

TEST(TextConvertRun, half_width_kana_only_listed) {
    if (!std::filesystem::exists(kSpecs)) GTEST_SKIP() << "no corpus";
    CellRun r(kSpecs);
    auto out = r.run("セル", "文字の操作１",
                     {{"conversion", "to_half"},
                      {"alnum", "0"},
                      {"symbol", "0"},
                      {"row_from", "9"},
                      {"row_to", "21"},
                      {"col_from", "A"},
                      {"col_to", "A"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_TRUE(out.is_list);
    // The full-width space and brackets are symbols: they stay.
    EXPECT_EQ(r.rows(), (Lines{"本.xlsx|Sheet1()",
                               "||A9|GZ4 ダイクロイックミラーランプ 12V 10W×1|GZ4 "
                               "ﾀﾞｲｸﾛｲｯｸﾐﾗｰﾗﾝﾌﾟ 12V 10W×1",
                               "||A13|高・295 幅・365 奥・76mm|高･295 幅･365 奥･76mm",
                               "||A21|樹脂\u3000アルミ、アルマイト仕上\u3000ガラス|"
                               "樹脂\u3000ｱﾙﾐ､ｱﾙﾏｲﾄ仕上\u3000ｶﾞﾗｽ"}));
    EXPECT_EQ(r.table().title(3), "変更前");

    out = r.run("セル", "文字の操作１",
                {{"conversion", "to_full"}, {"alnum", "0"}, {"kana", "0"}, {"symbol", "0"}});
    EXPECT_FALSE(out.checked);
    EXPECT_EQ(out.check_message, "変換する文字の種類が選択されていません。");
}

TEST(TextConvertRun, spaces_removed_and_text_added_in_the_file) {
    if (!std::filesystem::exists(kSpecs)) GTEST_SKIP() << "no corpus";
    CellRun r(kSpecs);
    auto out = r.run("セル", "文字の操作２", {{"operation", "remove_spaces"}, {"output", "write"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    EXPECT_EQ(r.formula("", "A9"), "GZ4ダイクロイックミラーランプ12V10W×1");
    EXPECT_EQ(r.formula("", "A21"), "樹脂アルミ、アルマイト仕上ガラス");

    out = r.run(
        "セル", "文字の操作２",
        {{"operation", "digits_only"}, {"output", "write"}, {"row_from", "5"}, {"row_to", "5"}});
    EXPECT_EQ(r.formula("", "A5"), "2763");
    EXPECT_EQ(r.formula("", "A7"), "光源");

    out = r.run("セル", "文字の追加", {{"text", "【"}, {"row_from", "3"}, {"row_to", "3"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    out = r.run(
        "セル", "文字の追加",
        {{"text", "】"}, {"position", "at"}, {"at", "3"}, {"row_from", "3"}, {"row_to", "3"}});
    EXPECT_EQ(r.formula("", "A3"), "【型番】");
    out = r.run("セル", "文字の追加",
                {{"text", "円"},
                 {"position", "end"},
                 {"numbers", "1"},
                 {"row_from", "5"},
                 {"row_to", "5"}});
    EXPECT_EQ(r.formula("", "A5"), "2763円");

    out = r.run("セル", "文字の追加", {{"text", "x"}, {"position", "at"}, {"at", "-1"}});
    EXPECT_FALSE(out.checked);
    EXPECT_EQ(out.check_message, "追加する位置が不正です。");
    out = r.run("セル", "文字の操作２", {{"operation", "remove_chars"}});
    EXPECT_EQ(out.check_message, "削除する文字が入力されていません。");
}

TEST(TextConvertRun, trims_only_the_chosen_side) {
    CellRun r(kCellChecksBook);
    auto out = r.run("セル", "文字の操作２",
                     {{"operation", "trim_left"}, {"row_from", "12"}, {"row_to", "12"}});
    EXPECT_EQ(r.rows(), (Lines{"本.xlsx|名簿(Meibo)", "||A12| 前後空白 |前後空白 "}));
}

TEST(CellSetRun, values_typed_into_cells_and_pairs) {
    if (!std::filesystem::exists(kSpecs)) GTEST_SKIP() << "no corpus";
    CellRun r(kSpecs);
    auto out = r.run("セル", "文字列設定１", {{"address", "$B$1:C2"}, {"value", "=LEN(A1)"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    EXPECT_EQ(r.formula("Sheet1", "C2"), "=LEN(A1)");
    out = r.run("セル", "文字列設定２",
                {{"address1", "B3"},
                 {"value1", "12"},
                 {"address3", "Sheet1!B5"},
                 {"value3", "確認済"},
                 {"address4", "B1"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(r.formula("Sheet1", "B3"), "12");
    EXPECT_EQ(r.formula("Sheet1", "B5"), "確認済");
    EXPECT_EQ(r.formula("Sheet1", "B1"), "");  // an empty value clears the cell
    EXPECT_EQ(r.formula("Sheet1", "A1"), "Some uninteresting product specs found on the Net");

    // A sheet the workbook does not have fails that file, which is left as it was.
    out = r.run("セル", "文字列設定１", {{"address", "無い!A1"}, {"value", "1"}});
    EXPECT_NE(out.error_text.find("シート「無い」がありません。"), std::string::npos);
    EXPECT_EQ(r.formula("Sheet1", "A1"), "Some uninteresting product specs found on the Net");

    for (const auto& [address, message] : std::vector<std::pair<std::string, std::string>>{
             {"A:A", "セルの指定が不正です。"}, {"", "セルが指定されていません。"}}) {
        out = r.run("セル", "文字列設定１", {{"address", address}, {"value", "1"}});
        EXPECT_EQ(out.check_message, message) << address;
    }
    out = r.run("セル", "文字列設定２", {{"address1", "B1"}, {"value2", "x"}});
    EXPECT_EQ(out.check_message, "２行目のセルが指定されていません。");
}

}  // namespace
}  // namespace sheaflow::testing
