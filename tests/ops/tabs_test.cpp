// The tab operations over the fixture workbooks: colours set, listed and cleared, and the first
// tab shown, read back by a new engine.

#include <gtest/gtest.h>

#include "object_run.h"

namespace sheaflow::test {
namespace {

class TabOpsTest : public OperationRunTest {};

TEST_F(TabOpsTest, SetListAndClearTabColours) {
    add_target("colours.xlsx", "c.xlsx");
    add_target("structure.xlsx", "s.xlsx");
    ASSERT_EQ(run("シート", "見出し(TAB)の色一覧").failed_files, 0);
    auto r = rows(5);
    // The fixture's own tab colour is outside both palettes; the other tabs have none.
    EXPECT_EQ(r[0], (std::vector<std::string>{"c.xlsx", "Colours", "RGB(0,255,1)", "", ""}));
    EXPECT_EQ(r[1][2], "なし");

    // Every worksheet of every file gets ColorIndex 5 (blue, 2010 code 83).
    auto out = run("シート", "見出し(TAB)の色設定", {{"target", "all"}, {"colour_index", "5"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    run("シート", "見出し(TAB)の色一覧");
    r = rows(5);
    ASSERT_EQ(r.size(), 7u);  // 2 + separator + 4
    for (const auto& row : r) {
        if (!row[1].empty()) {
            EXPECT_EQ(row[2] + row[3] + row[4], "RGB(0,0,255)583") << row[1];
        }
    }

    // Clearing the active sheet's tab only (Summary is structure.xlsx's active sheet).
    run("シート", "見出し(TAB)の色設定", {{"target", "active"}, {"action", "clear"}});
    run("シート", "見出し(TAB)の色一覧");
    r = rows(5);
    EXPECT_EQ(r[0][2], "なし");
    EXPECT_EQ(r[1][2], "RGB(0,0,255)");
    EXPECT_EQ(r[5][1] + r[5][2], "Summaryなし");

    out = run("シート", "見出し(TAB)の色設定", {{"colour_index", "57"}});
    EXPECT_FALSE(out.checked);
}

TEST_F(TabOpsTest, ScrollSetsTheFirstTabShown) {
    add_target("structure.xlsx", "s.xlsx");
    ASSERT_EQ(run("シート", "見出し(TAB)のスクロール", {{"position", "3"}}).failed_files, 0);
    auto app = xl::native::create_application();
    auto book = app->workbooks().open((dir_ / "s.xlsx").string(), true);
    ASSERT_TRUE(book.has_value());
    EXPECT_EQ((*book)->first_tab(), 3);
    auto out = run("シート", "見出し(TAB)のスクロール", {{"position", "9"}});
    EXPECT_NE(out.error_text.find("先頭に表示するシート番号が間違っています。"), std::string::npos);
}

}  // namespace
}  // namespace sheaflow::test
