// Choosing the active sheet, showing and hiding sheets, and code names over real workbooks,
// read back by a new engine and from the package; the VBA module of a renamed code name is
// checked through the engine's VBA project.

#include <gtest/gtest.h>

#include "settings_helpers.h"

namespace sheaflow::test {
namespace {

class SheetSettingsTest : public BookOpsTest {
protected:
    // (name, visibility, code name, active) of every sheet of a saved workbook.
    Names state_of(const std::string& file) {
        auto app = xl::native::create_application();
        auto book = app->workbooks().open((in() / file).string(), true);
        if (!book) return {"(" + book.error().message + ")"};
        Names out;
        for (int i = 1; i <= (*book)->sheet_count(); ++i) {
            xl::Worksheet* w = (*book)->sheet(i);
            out.push_back(w->name() + ":" + std::to_string(w->visibility()) + ":" + w->code_name() +
                          ((*book)->active_sheet() == w ? ":active" : ""));
        }
        return out;
    }
};

TEST_F(SheetSettingsTest, SelectsTheSheetThatOpensFirst) {
    add("xlsm/cal-issue281.xlsm", "m.xlsm");
    auto out = run("シート", "選択", {{"by", "position"}, {"position", "3"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    EXPECT_EQ(state_of("m.xlsm")[2], "Sheet3:-1:Sheet3:active");
    std::string wb = part_text(in() / "m.xlsm", "xl/workbook.xml");
    EXPECT_NE(wb.find("activeTab=\"2\""), std::string::npos) << wb;
    EXPECT_NE(part_text(in() / "m.xlsm", "xl/worksheets/sheet3.xml").find("tabSelected=\"1\""),
              std::string::npos);
    EXPECT_EQ(part_text(in() / "m.xlsm", "xl/worksheets/sheet1.xml").find("tabSelected=\"1\""),
              std::string::npos);
    out = run("シート", "選択", {{"name", "無い"}});
    EXPECT_NE(out.error_text.find("シート「無い」がありません。"), std::string::npos);
    EXPECT_EQ(check("シート", "選択", {{"by", "position"}, {"position", "0"}}),
              "シート位置が不正です。");
}

TEST_F(SheetSettingsTest, HidesByPatternButNeverTheLastVisibleSheet) {
    add("xlsm/cal-issue281.xlsm", "m.xlsm");
    auto out = run("シート", "表示", {{"by", "pattern"}, {"name", "sheet[23]*"}});
    EXPECT_NE(out.error_text.find("対象のシート「sheet[23]*」がありません。"), std::string::npos);
    out = run("シート", "表示", {{"by", "pattern"}, {"name", "SHEET?"}, {"action", "very_hide"}});
    // Two are hidden; the third would be the last visible sheet, which the application refuses.
    EXPECT_NE(out.error_text.find("シート「Sheet3」 ブックには少なくとも1つのシートを表示する必要があります。"),
              std::string::npos)
        << out.error_text;
    Names st = state_of("m.xlsm");
    EXPECT_EQ(st, (Names{"Sheet1:2:Sheet1", "Sheet2:2:Sheet2", "Sheet3:-1:Sheet3:active"}));
    EXPECT_NE(part_text(in() / "m.xlsm", "xl/workbook.xml").find("state=\"veryHidden\""),
              std::string::npos);
    out = run("シート", "表示", {{"by", "position"}, {"name", "1"}, {"action", "show"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    EXPECT_EQ(state_of("m.xlsm")[0], "Sheet1:-1:Sheet1");
    EXPECT_EQ(check("シート", "表示", {{"name", ""}}),
              "シート名・シート位置・パターンを入力してください。");
}

TEST_F(SheetSettingsTest, RenamesCodeNamesWithTheirModules) {
    add("xlsm/cal-issue281.xlsm", "m.xlsm");
    add("xlsx/cal-date_1904.xlsx", "d.xlsx");  // no code names, no project
    auto out = run("シート", "コード名変更", {{"sheet", "Sheet2"}, {"new_code", "売上"}});
    EXPECT_NE(out.error_text.find("d.xlsx シート「Sheet2」がありません。"), std::string::npos)
        << out.error_text;
    EXPECT_EQ(state_of("m.xlsm")[1], "Sheet2:-1:売上");
    auto app = xl::native::create_application();
    auto book = app->workbooks().open((in() / "m.xlsm").string(), true);
    ASSERT_TRUE(book.has_value());
    auto project = (*book)->vb_project();
    ASSERT_TRUE(project.has_value());
    xl::VBComponent* module = (*project)->vb_components().item("売上");
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(module->type(), xl::vbext_ct_Document);
    EXPECT_EQ((*project)->vb_components().item("Sheet2"), nullptr);

    out = run("シート", "コード名変更", {{"by", "code"}, {"sheet", "売上"}, {"new_code", "Sheet1"}});
    EXPECT_NE(out.error_text.find("コード名「Sheet1」は既に使われています。"), std::string::npos);
    out = run("シート", "コード名変更", {{"by", "code"}, {"sheet", "売上"}, {"new_code", "1st"}});
    EXPECT_NE(out.error_text.find("コード名「1st」は使えません。"), std::string::npos);
    out = run("シート", "コード名変更", {{"sheet", "Sheet1"}, {"new_code", "Module_A"}});
    EXPECT_EQ(state_of("d.xlsx")[0], "Sheet1:-1:Module_A:active");
    EXPECT_EQ(check("シート", "コード名変更", {{"sheet", "Sheet1"}}),
              "新しいコード名を入力してください。");
}

}  // namespace
}  // namespace sheaflow::test
