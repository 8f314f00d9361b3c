// The view operations and the jump on a workbook with every kind of pane: the sheet views written
// are read back from the package's parts, and an unchanged workbook is not rewritten.

#include <gtest/gtest.h>

#include "object_run.h"
#include "xl/native/package.h"

namespace sheaflow::test {
namespace {

class ViewOpsTest : public OperationRunTest {
protected:
    void SetUp() override {
        OperationRunTest::SetUp();
        add_target(std::string(SHEAFLOW_CORPUS_DIR) + "/xlsx/xw-panes01.xlsx", "p.xlsx");
    }
    std::string part(const std::string& name) {
        auto pkg = xl::native::Package::open_file((dir_ / "p.xlsx").string());
        if (!pkg || !(*pkg)->has(name)) return {};
        auto bytes = (*pkg)->read(name);
        return bytes ? *bytes : std::string();
    }
    std::string views(int sheet) {
        std::string xml = part("xl/worksheets/sheet" + std::to_string(sheet) + ".xml");
        auto b = xml.find("<sheetViews"), e = xml.find("</sheetViews>");
        return b == std::string::npos || e == std::string::npos ? xml : xml.substr(b, e + 13 - b);
    }
};

TEST_F(ViewOpsTest, OpenEveryWorkbookTheSameWay) {
    auto out = run("表示", "枠の固定", {{"action", "unfreeze"}, {"target", "all"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    out = run("表示", "ズーム", {{"zoom", "100"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    out = run("編集", "ジャンプ", {{"activate", "position"}, {"position", "4"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    for (int i = 1; i <= 13; ++i) {
        std::string v = views(i);
        EXPECT_EQ(v.find("<pane"), std::string::npos) << i << v;
        EXPECT_EQ(v.find("<selection"), std::string::npos) << i << v;
        EXPECT_EQ(v.find("tabSelected") != std::string::npos, i == 4) << i << v;
    }
    EXPECT_NE(part("xl/workbook.xml").find("activeTab=\"3\""), std::string::npos);

    // Done again, nothing changes: the file is not rewritten.
    auto before = std::filesystem::last_write_time(dir_ / "p.xlsx");
    out = run("編集", "ジャンプ", {{"activate", "position"}, {"position", "4"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    EXPECT_EQ(std::filesystem::last_write_time(dir_ / "p.xlsx"), before);
}

TEST_F(ViewOpsTest, FreezeZoomAndLayoutOfNamedSheets) {
    auto out = run("表示", "枠の固定",
                   {{"cell", "ｃ３"}, {"target", "names"}, {"names", "Sheet2，Sheet9"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    EXPECT_NE(views(2).find("<pane xSplit=\"2\" ySplit=\"2\" topLeftCell=\"C3\" "
                            "activePane=\"bottomRight\" state=\"frozen\"/>"),
              std::string::npos)
        << views(2);
    EXPECT_NE(views(9).find("state=\"frozen\""), std::string::npos) << views(9);
    EXPECT_EQ(views(3).find("ySplit"), std::string::npos);

    run("表示", "ズーム", {{"zoom", "７５"}, {"target", "active"}});
    EXPECT_NE(views(1).find("zoomScale=\"75\" zoomScaleNormal=\"75\""), std::string::npos)
        << views(1);
    run("表示", "レイアウト", {{"view", "break"}, {"target", "names"}, {"names", "Sheet1"}});
    EXPECT_NE(views(1).find("view=\"pageBreakPreview\""), std::string::npos) << views(1);
    EXPECT_EQ(views(2).find("pageBreakPreview"), std::string::npos);

    // A sheet the workbook lacks is a line of the error text; the others are done.
    out = run("表示", "ズーム", {{"zoom", "120"}, {"target", "names"}, {"names", "Sheet3,無い"}});
    EXPECT_NE(out.error_text.find("シート「無い」はありません。"), std::string::npos);
    EXPECT_NE(views(3).find("zoomScale=\"120\""), std::string::npos);
}

TEST_F(ViewOpsTest, ResetPutsEverySheetBackAsANewSheetOpens) {
    // Zoomed to 150% in the normal view, then page break preview at its own 100%: going back to
    // the normal view alone would bring the 150% back.
    run("表示", "ズーム", {{"zoom", "150"}});
    run("表示", "レイアウト", {{"view", "break"}});
    run("編集", "ジャンプ", {{"cell", "D20"}});
    auto out = run("シート", "初期化", {});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    for (int i = 1; i <= 13; ++i) {
        std::string v = views(i);
        EXPECT_EQ(v.find("pageBreakPreview"), std::string::npos) << i << v;
        EXPECT_EQ(v.find("zoomScale=\""), std::string::npos) << i << v;
        EXPECT_EQ(v.find("D20"), std::string::npos) << i << v;
    }
    // Frozen panes stay, scrolled to their top.
    EXPECT_NE(views(1).find("<pane ySplit=\"1\" topLeftCell=\"A2\" activePane=\"bottomLeft\" "
                            "state=\"frozen\"/>"),
              std::string::npos)
        << views(1);

    auto before = std::filesystem::last_write_time(dir_ / "p.xlsx");
    EXPECT_EQ(run("シート", "初期化", {}).failed_files, 0);
    EXPECT_EQ(std::filesystem::last_write_time(dir_ / "p.xlsx"), before);
    EXPECT_FALSE(run("シート", "初期化", {{"target", "names"}, {"names", ""}}).checked);
}

TEST_F(ViewOpsTest, ChecksRefuseBadPanes) {
    EXPECT_FALSE(run("表示", "ズーム", {{"zoom", "401"}}).checked);
    EXPECT_FALSE(run("表示", "ズーム", {{"zoom", "9"}}).checked);
    EXPECT_FALSE(run("表示", "枠の固定", {{"cell", "A1"}}).checked);
    EXPECT_FALSE(run("表示", "枠の固定", {{"cell", "XFE1"}}).checked);
    EXPECT_FALSE(run("表示", "枠の固定", {{"cell", "B"}}).checked);
    EXPECT_FALSE(run("表示", "レイアウト", {{"target", "names"}, {"names", " , "}}).checked);
    EXPECT_FALSE(run("編集", "ジャンプ", {{"cell", "A0"}}).checked);
    EXPECT_FALSE(run("編集", "ジャンプ", {{"activate", "position"}, {"position", "0"}}).checked);
    auto out = run("編集", "ジャンプ", {{"activate", "position"}, {"position", "20"}});
    EXPECT_NE(out.error_text.find("シート位置20のシートはありません。"), std::string::npos);
}

}  // namespace
}  // namespace sheaflow::test
