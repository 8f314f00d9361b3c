// Result table rules and its renderings.
#include "report/render.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace sheaflow::report {
namespace {

ResultTable table_of(std::initializer_list<std::vector<std::string>> rows,
                     std::vector<std::string> titles = {}) {
    ResultTable t;
    for (std::size_t c = 0; c < titles.size(); ++c) t.set_title(static_cast<int>(c), titles[c]);
    for (const auto& r : rows) {
        t.new_row();
        for (std::size_t c = 0; c < r.size(); ++c) t.set(static_cast<int>(c), r[c]);
    }
    return t;
}

struct Full : std::runtime_error {
    using std::runtime_error::runtime_error;
};

TEST(ResultTable, HardStopAtTheLastRowLimit) {
    ResultTable t([](const std::string& m) { throw Full(m); });
    for (int i = 0; i <= ResultTable::kLastRowLimit; ++i) t.new_row();
    EXPECT_EQ(t.last_row(), 32760) << "the row at index 32,760 is still accepted";
    try {
        t.new_row();
        FAIL() << "the 32,762nd row must stop the program";
    } catch (const Full& e) {
        EXPECT_STREQ(e.what(),
                     "チェックメッセージが３万行を超えました。\r\nこの後、強制終了します。");
    }
    EXPECT_EQ(t.last_row(), 32760);

    ResultTable quiet;  // no host: the row is refused, nothing else happens
    for (int i = 0; i < 32800; ++i) quiet.new_row();
    EXPECT_EQ(quiet.last_row(), 32760);
}

TEST(ResultTable, NewRowsStartEmptyAndCellsStayInTheGrid) {
    ResultTable t;
    t.set(0, "no row yet");
    EXPECT_TRUE(t.empty());
    t.new_row();
    t.set(255, "last");
    t.set(256, "outside");
    t.set(-1, "outside");
    t.new_row();
    EXPECT_EQ(t.cell(0, 255), "last");
    EXPECT_EQ(t.cell(1, 0), "");
    EXPECT_EQ(t.cell(1, 255), "");
    EXPECT_EQ(Check_Hyoji_Max(t), 256);
}

TEST(Render, FirstColumnShownOnceForARun) {
    ResultTable t = table_of({{"a.xlsx", "1"},
                              {"a.xlsx", "2"},
                              {"", "3"},
                              {"a.xlsx", "4"},
                              {"a.xlsx", "5"},
                              {"b.xlsx", "6"},
                              {"", "7"},
                              {"a.xlsx", "8"}});
    Check_Hyoji0_Indication(t);
    std::vector<std::string> col0;
    for (int r = 0; r <= t.last_row(); ++r) col0.push_back(t.cell(r, 0));
    EXPECT_EQ(col0, (std::vector<std::string>{"a.xlsx", "", "", "", "", "b.xlsx", "", "a.xlsx"}));
    EXPECT_EQ(t.cell(4, 1), "5") << "other columns are untouched";
}

TEST(Render, ColumnCountLooksAtTitlesAndCells) {
    EXPECT_EQ(Check_Hyoji_Max(ResultTable()), 0);
    EXPECT_EQ(Check_Hyoji_Max(table_of({{"a", "", "c", ""}})), 3);
    EXPECT_EQ(Check_Hyoji_Max(table_of({{"a"}}, {"t0", "t1", "", "t3"})), 4);
    EXPECT_EQ(Check_Hyoji_Max(table_of({{"", "", ""}})), 0);
}

TEST(Render, TextForms) {
    ResultTable t = table_of({{"売上.xlsx", "集計(Sheet1)", ""}, {"", "", "A1  値=1,2"}, {}},
                             {"ファイル名", "シート名", "検索結果"});
    EXPECT_EQ(Display_Tab(t, "\n"),
              "ファイル名\tシート名\t検索結果\n売上.xlsx\t集計(Sheet1)\t\n\t\tA1  値=1,2\n\t\t\n");
    EXPECT_EQ(
        Display_CSV(t),
        "ファイル名,シート名,検索結果\r\n売上.xlsx,集計(Sheet1),\r\n,,\"A1  値=1,2\"\r\n,,\r\n");
    EXPECT_EQ(Display_CSV(table_of({{"say \"hi\""}})), "\"say \"\"hi\"\"\"\r\n");
    // Widths: ファイル名 10, 売上.xlsx 9 -> column 0 is 10 wide; シート名 8, 集計(Sheet1) 12.
    EXPECT_EQ(Display_Kotei(t, "\n"),
              "ファイル名 シート名     検索結果\n"
              "売上.xlsx  集計(Sheet1)\n"
              "                        A1  値=1,2\n"
              "\n");
}

TEST(Render, PagesAndTheirChooserTexts) {
    EXPECT_TRUE(Index_Hensyu(ResultTable()).empty());
    ResultTable t;
    for (int i = 0; i < 12001; ++i) t.new_row();
    auto pages = Index_Hensyu(t);
    ASSERT_EQ(pages.size(), 3u);
    EXPECT_EQ(pages[0].text, "1行～5,000行");
    EXPECT_EQ(pages[2].first, 10000);
    EXPECT_EQ(pages[2].last, 12000);
    EXPECT_EQ(pages[2].text, "10,001行～12,001行");

    ResultTable small = table_of({{"1"}, {"2"}, {"3"}}, {"n"});
    EXPECT_EQ(Display_Tab_X(small, Index_Hensyu(small, 2)[1], "\n"), "n\n3\n");
}

TEST(Render, DisplayWidth) {
    EXPECT_EQ(display_width("abc"), 3);
    EXPECT_EQ(display_width("ｱｲｳ"), 3);
    EXPECT_EQ(display_width("アイウ"), 6);
    EXPECT_EQ(display_width("＊ "), 3);
}

}  // namespace
}  // namespace sheaflow::report
