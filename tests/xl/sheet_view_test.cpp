// The sheet's window and the selected tabs on a workbook with every kind of pane: what is read,
// what a change writes (only the sheet views), and that an unchanged view writes nothing.

#include <gtest/gtest.h>

#include "structure_helpers.h"

namespace sheaflow::testing {
namespace {

std::string panes_fixture() { return corpus("xlsx/xw-panes01.xlsx"); }

std::string views_of(const std::string& file, int sheet) {
    std::string xml = part_of(file, "xl/worksheets/sheet" + std::to_string(sheet) + ".xml");
    auto b = xml.find("<sheetViews"), e = xml.find("</sheetViews>");
    return b == std::string::npos || e == std::string::npos ? xml : xml.substr(b, e + 13 - b);
}

TEST(SheetView, ReadsFrozenAndSplitPanes) {
    OpenBook b(panes_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    auto rows = b.book->worksheet(1)->view();
    ASSERT_TRUE(rows.has_value());
    EXPECT_EQ(rows->freeze, (xl::CellRef{2, 1}));
    EXPECT_EQ(rows->scroll, (xl::CellRef{2, 1}));
    auto both = b.book->worksheet(5)->view();
    ASSERT_TRUE(both.has_value());
    EXPECT_EQ(both->freeze, (xl::CellRef{2, 2}));
    EXPECT_FALSE(both->split);
    auto split = b.book->worksheet(13)->view();
    ASSERT_TRUE(split.has_value());
    EXPECT_FALSE(split->freeze.has_value());
    EXPECT_TRUE(split->split);
    EXPECT_EQ(split->active_cell, (xl::CellRef{4, 7}));
    EXPECT_EQ(split->zoom, 100);
    EXPECT_EQ(split->view, xl::xlNormalView);
}

TEST(SheetView, FreezeZoomAndViewAreWrittenAndReadBack) {
    OpenBook b(panes_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    xl::Worksheet& s2 = *b.book->worksheet(2);
    auto v = s2.view();
    ASSERT_TRUE(v.has_value());
    v->freeze = xl::CellRef{3, 3};
    v->zoom = 85;
    v->active_cell = {5, 4};
    v->selection = {{5, 4, 6, 5}};
    ASSERT_TRUE(s2.set_view(*v).has_value());
    v->scroll = {3, 3};  // the scrolling pane starts at the first cell that scrolls
    auto back = s2.view();
    ASSERT_TRUE(back.has_value());
    EXPECT_EQ(*back, *v);

    // Page break preview keeps the normal zoom for the way back.
    xl::Worksheet& s3 = *b.book->worksheet(3);
    auto p = s3.view();
    ASSERT_TRUE(p.has_value());
    p->freeze.reset();
    p->zoom = 150;
    ASSERT_TRUE(s3.set_view(*p).has_value());
    p->view = xl::xlPageBreakPreview;
    p->zoom = 60;
    ASSERT_TRUE(s3.set_view(*p).has_value());
    p->view = xl::xlNormalView;
    ASSERT_TRUE(s3.set_view(*p).has_value());
    EXPECT_EQ(s3.view()->zoom, 150);

    std::string out = b.save();
    std::string v2 = views_of(out, 2);
    EXPECT_NE(v2.find("<pane xSplit=\"2\" ySplit=\"2\" topLeftCell=\"C3\" activePane=\"bottomRight\" "
                      "state=\"frozen\"/>"),
              std::string::npos)
        << v2;
    EXPECT_NE(v2.find("<selection pane=\"bottomRight\" activeCell=\"D5\" sqref=\"D5:E6\"/>"),
              std::string::npos)
        << v2;
    EXPECT_NE(v2.find("zoomScale=\"85\""), std::string::npos) << v2;
    std::string v3 = views_of(out, 3);
    EXPECT_EQ(v3.find("<pane"), std::string::npos) << v3;
    EXPECT_NE(v3.find("zoomScaleSheetLayoutView=\"60\""), std::string::npos) << v3;
    EXPECT_EQ(v3.find("view=\"pageBreakPreview\""), std::string::npos) << v3;
    // Sheets not touched keep their part byte for byte.
    EXPECT_EQ(part_of(out, "xl/worksheets/sheet4.xml"),
              part_of(panes_fixture(), "xl/worksheets/sheet4.xml"));
}

TEST(SheetView, UnchangedViewLeavesTheWorkbookSaved) {
    OpenBook b(panes_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    for (int i = 1; i <= b.book->worksheet_count(); ++i) {
        auto v = b.book->worksheet(i)->view();
        ASSERT_TRUE(v.has_value());
        ASSERT_TRUE(b.book->worksheet(i)->set_view(*v).has_value());
    }
    EXPECT_TRUE(b.book->saved());
    EXPECT_EQ(b.book->selected_sheets(), (std::vector<int>{1}));
    ASSERT_TRUE(b.book->select_sheets({1}).has_value());
    EXPECT_TRUE(b.book->saved());
}

TEST(SheetView, HomeViewRemovesPanesAndSplits) {
    OpenBook b(panes_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    for (int i = 1; i <= b.book->worksheet_count(); ++i) {
        ASSERT_TRUE(b.book->worksheet(i)->set_view(xl::SheetView{}).has_value());
        EXPECT_EQ(*b.book->worksheet(i)->view(), xl::SheetView{});
    }
    std::string out = b.save();
    EXPECT_EQ(views_of(out, 13), "<sheetViews><sheetView workbookViewId=\"0\"/></sheetViews>");
}

TEST(SheetView, SelectedTabsFollowTheGroupAndTheActiveSheet) {
    OpenBook b(panes_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    ASSERT_TRUE(b.book->select_sheets({3, 5, 6}).has_value());
    EXPECT_EQ(b.book->active_sheet()->name(), "Sheet3");
    EXPECT_EQ(b.book->selected_sheets(), (std::vector<int>{3, 5, 6}));
    std::string grouped = b.save("grouped.xlsx");
    EXPECT_NE(part_of(grouped, "xl/workbook.xml").find("activeTab=\"2\""), std::string::npos);
    EXPECT_NE(views_of(grouped, 5).find("tabSelected=\"1\""), std::string::npos);
    EXPECT_EQ(views_of(grouped, 1).find("tabSelected"), std::string::npos);

    // Activating a sheet outside the group selects it alone.
    ASSERT_TRUE(b.book->worksheet(2)->activate().has_value());
    EXPECT_EQ(b.book->selected_sheets(), (std::vector<int>{2}));
    std::string alone = b.save("alone.xlsx");
    EXPECT_EQ(views_of(alone, 5).find("tabSelected"), std::string::npos);
    EXPECT_NE(views_of(alone, 2).find("tabSelected=\"1\""), std::string::npos);
}

TEST(SheetView, PageBreaksLiveInTheSheetPropertiesBeforeTheViews) {
    OpenBook b(panes_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    xl::Worksheet& s = *b.book->worksheet(1);
    auto v = s.view();
    ASSERT_TRUE(v.has_value());
    EXPECT_TRUE(v->page_breaks);
    v->page_breaks = false;
    v->gridlines = false;  // both parts change in one write
    ASSERT_TRUE(s.set_view(*v).has_value());
    EXPECT_EQ(*s.view(), *v);
    std::string off = part_of(b.save("off.xlsx"), "xl/worksheets/sheet1.xml");
    std::size_t pr = off.find("<sheetPr><pageSetUpPr autoPageBreaks=\"0\"/></sheetPr>");
    EXPECT_NE(pr, std::string::npos) << off;
    EXPECT_LT(pr, off.find("<dimension"));
    EXPECT_NE(views_of(b.save("off2.xlsx"), 1).find("showGridLines=\"0\""), std::string::npos);

    v->page_breaks = true;
    ASSERT_TRUE(s.set_view(*v).has_value());
    EXPECT_TRUE(s.view()->page_breaks);
    std::string on = part_of(b.save("on.xlsx"), "xl/worksheets/sheet1.xml");
    EXPECT_EQ(on.find("sheetPr"), std::string::npos) << on;
}

TEST(SheetView, RefusesWhatTheApplicationRefuses) {
    OpenBook b(panes_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    xl::Worksheet& s = *b.book->worksheet(1);
    xl::SheetView v;
    v.zoom = 401;
    EXPECT_FALSE(s.set_view(v).has_value());
    v.zoom = 100;
    v.active_cell = {1048577, 1};
    EXPECT_FALSE(s.set_view(v).has_value());
    v.active_cell = {1, 1};
    v.freeze = xl::CellRef{1, 16385};
    EXPECT_FALSE(s.set_view(v).has_value());
    EXPECT_FALSE(b.book->select_sheets({14}).has_value());
    EXPECT_FALSE(b.book->select_sheets({}).has_value());
    EXPECT_TRUE(b.book->saved());
}

}  // namespace
}  // namespace sheaflow::testing
