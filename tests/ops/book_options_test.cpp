// Workbook options, the tab area ratio and the legacy shared workbook over real workbooks,
// read back from the workbook part and listed again.

#include <gtest/gtest.h>

#include "settings_helpers.h"

namespace sheaflow::test {
namespace {

class BookOptionsTest : public BookOpsTest {};

TEST_F(BookOptionsTest, SetsOnlyWhatThePaneChangesAndListsIt) {
    add("xlsx/cal-date_1904.xlsx", "d.xlsx");
    add("xlsm/cal-issue281.xlsm", "m.xlsm");
    const std::string untouched = read_bytes(in() / "d.xlsx");
    // Everything left as each workbook has it: nothing is rewritten.
    auto out = run("ツール", "ブック用オプション設定", {});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    EXPECT_EQ(read_bytes(in() / "d.xlsx"), untouched);

    out = run("ツール", "ブック用オプション設定",
              {{"sheet_tabs", "off"},
               {"vertical_scroll", "off"},
               {"calculation", "manual"},
               {"iteration", "on"},
               {"max_iterations", "50"},
               {"max_change", "0.01"},
               {"precision", "on"},
               {"save_link_values", "off"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    std::string wb = part_text(in() / "m.xlsm", "xl/workbook.xml");
    EXPECT_NE(wb.find("showSheetTabs=\"0\""), std::string::npos) << wb;
    EXPECT_NE(wb.find("showVerticalScroll=\"0\""), std::string::npos);
    EXPECT_EQ(wb.find("showHorizontalScroll"), std::string::npos);
    EXPECT_NE(wb.find("calcMode=\"manual\""), std::string::npos);
    EXPECT_NE(wb.find("iterate=\"1\""), std::string::npos);
    EXPECT_NE(wb.find("iterateCount=\"50\""), std::string::npos);
    EXPECT_NE(wb.find("iterateDelta=\"0.01\""), std::string::npos);
    EXPECT_NE(wb.find("fullPrecision=\"0\""), std::string::npos);
    EXPECT_NE(wb.find("saveExternalLinkValues=\"0\""), std::string::npos);

    run("ツール", "ブック用オプション一覧", {});
    ASSERT_EQ(table_.rows().size(), 2u);
    const auto& d = table_.rows()[0];
    const auto& m = table_.rows()[1];
    EXPECT_EQ(d[0] + d[10], "d.xlsxする");  // the 1904 date system, unchanged
    EXPECT_EQ(m[0], "m.xlsm");
    EXPECT_EQ(m[1] + m[2] + m[3] + m[4] + m[5], "しないするしない60手動");
    EXPECT_EQ(m[6] + m[7] + m[8] + m[9] + m[10] + m[11], "する500.01するしないしない");
}

TEST_F(BookOptionsTest, The1904DateSystemChangesOnlyWhenConfirmed) {
    add("xlsx/cal-date_1904.xlsx", "d.xlsx");
    EXPECT_NE(check("ツール", "ブック用オプション設定", {{"date1904", "off"}}).find("1,462日"),
              std::string::npos);
    EXPECT_EQ(check("ツール", "ブック用オプション設定",
                    {{"date1904", "off"}, {"confirm_1904", "1"}}),
              "");
    EXPECT_EQ(check("ツール", "ブック用オプション設定", {{"max_iterations", "0"}}),
              "最大反復回数は１～３２７６７で指定してください。");
    EXPECT_EQ(check("ツール", "ブック用オプション設定", {{"max_change", "abc"}}),
              "変化の最大値は０以上の数値で指定してください。");
    auto out = run("ツール", "ブック用オプション設定", {{"date1904", "off"}, {"confirm_1904", "1"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    EXPECT_EQ(part_text(in() / "d.xlsx", "xl/workbook.xml").find("date1904"), std::string::npos);
    auto app = xl::native::create_application();
    auto book = app->workbooks().open((in() / "d.xlsx").string(), true);
    ASSERT_TRUE(book.has_value());
    EXPECT_FALSE((*book)->options().date1904);
}

TEST_F(BookOptionsTest, SheetOptionsOfTheActiveSheetOrOfEverySheet) {
    add("xlsx/xw-panes01.xlsx", "p.xlsx");
    auto out = run("ツール", "シート用オプション設定",
                   {{"gridlines", "off"}, {"zeros", "off"}, {"page_breaks", "off"},
                    {"right_to_left", "on"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    std::string first = part_text(in() / "p.xlsx", "xl/worksheets/sheet1.xml");
    EXPECT_NE(first.find("<sheetPr><pageSetUpPr autoPageBreaks=\"0\"/></sheetPr>"),
              std::string::npos)
        << first;
    for (const char* flag : {"showGridLines=\"0\"", "showZeros=\"0\"", "rightToLeft=\"1\""})
        EXPECT_NE(first.find(flag), std::string::npos) << flag << first;
    EXPECT_EQ(part_text(in() / "p.xlsx", "xl/worksheets/sheet2.xml").find("showGridLines"),
              std::string::npos);

    out = run("すべてのシート_ツール", "シート用オプション設定",
              {{"headings", "off"}, {"gridlines", "on"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    run("すべてのシート_ツール", "シート用オプション一覧", {});
    ASSERT_EQ(table_.rows().size(), 13u);
    // File, sheet, gridlines, headings, zeros, page breaks, formulas, right-to-left, ruler.
    EXPECT_EQ(table_.rows()[0], (Names{"p.xlsx", "Sheet1", "する", "しない", "しない", "しない",
                                       "しない", "する", "する"}));
    EXPECT_EQ(table_.rows()[12], (Names{"p.xlsx", "Sheet13", "する", "しない", "する", "する",
                                        "しない", "しない", "する"}));
    run("ツール", "シート用オプション一覧", {});  // the active sheet alone, after those rows
    ASSERT_EQ(table_.rows().size(), 14u);
    EXPECT_EQ(table_.rows()[13][1], "Sheet1");

    EXPECT_EQ(check("ツール", "シート用オプション設定", {{"ruler", "maybe"}}),
              "オプションの指定が不正です。");
}

TEST_F(BookOptionsTest, TabRatio) {
    add("xlsm/cal-issue281.xlsm", "m.xlsm");
    EXPECT_EQ(run("ツール", "水平スクロールバーの幅設定", {{"ratio", "25"}}).failed_files, 0);
    EXPECT_NE(part_text(in() / "m.xlsm", "xl/workbook.xml").find("tabRatio=\"250\""),
              std::string::npos);
    EXPECT_EQ(check("ツール", "水平スクロールバーの幅設定", {{"ratio", "101"}}),
              "シート見出しの幅は０～１００（％）で指定してください。");
}

TEST_F(BookOptionsTest, SharesListsAndUnsharesAWorkbook) {
    add("xlsm/cal-issue281.xlsm", "m.xlsm");
    add("xlsx/sjs-fn.xlsx", "t.xlsx");  // holds a table: the application refuses to share it
    auto out = run("ツール", "ブックの共有", {{"action", "share"}, {"user", "山田"}});
    EXPECT_NE(out.error_text.find("t.xlsx テーブルを含むブックは共有できません。"),
              std::string::npos)
        << out.error_text;
    std::string headers = part_text(in() / "m.xlsm", "xl/revisions/revisionHeaders.xml");
    EXPECT_NE(headers.find("shared=\"1\""), std::string::npos) << headers;
    EXPECT_NE(headers.find("<sheetIdMap count=\"3\">"), std::string::npos);
    EXPECT_NE(part_text(in() / "m.xlsm", "xl/revisions/userNames.xml").find("name=\"山田\""),
              std::string::npos);
    EXPECT_NE(part_text(in() / "m.xlsm", "[Content_Types].xml").find("revisionLog+xml"),
              std::string::npos);
    EXPECT_NE(part_text(in() / "m.xlsm", "xl/_rels/workbook.xml.rels").find("revisionHeaders"),
              std::string::npos);

    run("ツール", "ブックの共有", {{"action", "list"}});
    ASSERT_EQ(table_.rows().size(), 2u);
    EXPECT_EQ(table_.rows()[0], (Names{"m.xlsm", "共有", "山田", "1"}));
    EXPECT_EQ(table_.rows()[1][1], "なし");

    out = run("ツール", "ブックの共有", {{"action", "unshare"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    EXPECT_EQ(part_text(in() / "m.xlsm", "xl/revisions/revisionHeaders.xml"), "");
    EXPECT_EQ(part_text(in() / "m.xlsm", "[Content_Types].xml").find("revision"),
              std::string::npos);
    EXPECT_EQ(part_text(in() / "m.xlsm", "xl/_rels/workbook.xml.rels").find("revision"),
              std::string::npos);
    EXPECT_EQ(check("ツール", "ブックの共有", {{"action", ""}}), "共有の処理を選んでください。");
}

}  // namespace
}  // namespace sheaflow::test
