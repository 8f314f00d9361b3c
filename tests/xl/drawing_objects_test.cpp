// The drawing objects of a sheet: listed in the object operations' order with their cells and
// sizes, and deleted, moved, scaled and renamed with the parts around them kept consistent.

#include <gtest/gtest.h>

#include <cmath>

#include "structure_helpers.h"
#include "util/file.h"

namespace sheaflow::testing {
namespace {

std::string colours_fixture() { return std::string(SHEAFLOW_TEST_DATA_DIR) + "/colours.xlsx"; }

bool contains(const std::string& hay, const std::string& needle) {
    return hay.find(needle) != std::string::npos;
}

const xl::SheetObject* named(const std::vector<xl::SheetObject>& all, const std::string& name) {
    for (const auto& o : all)
        if (o.name == name) return &o;
    return nullptr;
}

TEST(SheetObjects, ListedByKindWithCellsAndSizes) {
    OpenBook b(colours_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    std::vector<xl::SheetObject> all = b.book->worksheet(1)->objects();
    std::vector<std::string> seen;
    for (const auto& o : all) seen.push_back(o.type_word + ":" + o.name);
    // Notes, charts, the other shapes in drawing order, hyperlinks.
    EXPECT_EQ(seen,
              (std::vector<std::string>{"コメント:B2", "グラフ:Chart 7", "四角形:Rectangle 1",
                                        "グループ:Group 3", "図:Picture 6", "ハイパーリンク:C3"}));
    const xl::SheetObject* rect = named(all, "Rectangle 1");
    ASSERT_NE(rect, nullptr);
    EXPECT_EQ(rect->first_row, 4);
    EXPECT_EQ(rect->first_col, 2);
    EXPECT_EQ(rect->last_row, 8);
    EXPECT_EQ(rect->last_col, 4);
    EXPECT_NEAR(rect->width, 96, 1);  // two standard columns
    EXPECT_NEAR(rect->height, 60, 0.1);
    EXPECT_EQ(rect->text, "box/text");
    EXPECT_EQ(all.front().text, "note text more");
    EXPECT_TRUE(b.book->saved());
}

TEST(SheetObjects, DeletingAChartOrPictureTakesItsPartsAlong) {
    OpenBook b(colours_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    xl::Worksheet& ws = *b.book->worksheet(1);
    auto all = ws.objects();
    ASSERT_TRUE(ws.delete_object(*named(all, "Chart 7")).has_value());
    all = ws.objects();
    ASSERT_TRUE(ws.delete_object(*named(all, "Picture 6")).has_value());
    EXPECT_FALSE(b.book->saved());
    std::string out = b.save();
    EXPECT_EQ(part_of(out, "xl/charts/chart1.xml"), "");
    EXPECT_EQ(part_of(out, "xl/media/image1.png"), "");
    EXPECT_FALSE(contains(part_of(out, "[Content_Types].xml"), "chart1.xml"));
    EXPECT_FALSE(contains(part_of(out, "xl/drawings/_rels/drawing1.xml.rels"), "Target"));
    std::string drawing = part_of(out, "xl/drawings/drawing1.xml");
    EXPECT_TRUE(contains(drawing, "Rectangle 1"));
    EXPECT_FALSE(contains(drawing, "Chart 7"));
    // The parts no object used are as they were.
    EXPECT_EQ(part_of(out, "xl/comments1.xml"), part_of(b.path, "xl/comments1.xml"));
    OpenBook again(out, "again.xlsx");
    ASSERT_NE(again.book, nullptr) << again.error;
    EXPECT_EQ(again.book->worksheet(1)->objects().size(), 4u);
}

TEST(SheetObjects, NotesAndHyperlinksAreDeletedFromTheirCells) {
    OpenBook b(colours_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    xl::Worksheet& ws = *b.book->worksheet(1);
    ASSERT_TRUE(ws.delete_object(*named(ws.objects(), "C3")).has_value());
    ASSERT_TRUE(ws.delete_object(*named(ws.objects(), "B2")).has_value());
    EXPECT_TRUE(ws.comments().empty());
    EXPECT_TRUE(ws.hyperlinks().empty());
    std::string out = b.save();
    std::string rels = part_of(out, "xl/worksheets/_rels/sheet1.xml.rels");
    EXPECT_FALSE(contains(rels, "example.com")) << rels;
    EXPECT_FALSE(contains(part_of(out, "xl/worksheets/sheet1.xml"), "<hyperlinks"));
}

TEST(SheetObjects, MovedScaledAndRenamedShapesKeepTheirParts) {
    OpenBook b(colours_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    xl::Worksheet& ws = *b.book->worksheet(1);
    ASSERT_TRUE(ws.move_object(*named(ws.objects(), "Rectangle 1"), {10, 4}).has_value());
    auto all = ws.objects();
    const xl::SheetObject* rect = named(all, "Rectangle 1");
    ASSERT_NE(rect, nullptr);
    EXPECT_EQ(rect->first_row, 10);
    EXPECT_EQ(rect->first_col, 4);
    EXPECT_EQ(rect->last_row, 14);
    EXPECT_EQ(rect->last_col, 6);
    ASSERT_TRUE(ws.scale_object(*rect, 0.5, 1.5).has_value());
    all = ws.objects();
    rect = named(all, "Rectangle 1");
    EXPECT_NEAR(rect->width, 48, 1);
    EXPECT_NEAR(rect->height, 90, 0.1);
    ASSERT_TRUE(ws.rename_object(*rect, "枠/1").has_value());
    // A group scales as a whole (from its anchor's size): its members keep their own
    // coordinates.
    all = ws.objects();
    const xl::SheetObject* group = named(all, "Group 3");
    ASSERT_TRUE(ws.scale_object(*group, 2, 2).has_value());
    std::string out = b.save();
    std::string drawing = part_of(out, "xl/drawings/drawing1.xml");
    EXPECT_TRUE(contains(drawing, "name=\"枠/1\""));
    EXPECT_TRUE(contains(drawing,
                         "<a:off x=\"3048000\" y=\"571500\"/><a:ext cx=\"2438400\" "
                         "cy=\"1524000\"/><a:chOff x=\"3048000\" y=\"571500\"/>"))
        << drawing;
    EXPECT_EQ(part_of(out, "xl/charts/chart1.xml"), part_of(b.path, "xl/charts/chart1.xml"));
    // A stale handle and a bad factor are refused.
    xl::SheetObject stale = *named(ws.objects(), "枠/1");
    stale.id = 3;
    EXPECT_FALSE(ws.rename_object(stale, "x"));
    EXPECT_FALSE(ws.scale_object(*named(ws.objects(), "Picture 6"), 0, 1));
    EXPECT_FALSE(ws.move_object(*named(ws.objects(), "B2"), {1, 1}));
}

TEST(SheetObjects, EmbeddedObjectOfTheLegacyDrawing) {
    OpenBook b(corpus("xlsx/olet-embedded-simple-2007.xlsx"));
    ASSERT_NE(b.book, nullptr) << b.error;
    xl::Worksheet& ws = *b.book->worksheet(1);
    auto all = ws.objects();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].kind, xl::ObjectKind::OleObject);
    EXPECT_EQ(all[0].name, "Object 1");
    EXPECT_EQ(all[0].first_row, 2);
    EXPECT_EQ(all[0].last_row, 4);
    EXPECT_NEAR(all[0].width, 90.75, 0.01);
    ASSERT_TRUE(ws.move_object(all[0], {6, 3}).has_value());
    EXPECT_EQ(ws.objects()[0].first_row, 6);
    EXPECT_EQ(ws.objects()[0].first_col, 3);
    ASSERT_TRUE(ws.delete_object(ws.objects()[0]).has_value());
    EXPECT_TRUE(ws.objects().empty());
    std::string out = b.save();
    EXPECT_FALSE(contains(part_of(out, "xl/worksheets/sheet1.xml"), "oleObject"));
    EXPECT_EQ(part_of(out, "xl/embeddings/oleObject1.bin"), "");
    EXPECT_EQ(part_of(out, "xl/media/image1.emf"), "");
    EXPECT_FALSE(contains(part_of(out, "xl/worksheets/_rels/sheet1.xml.rels"), "oleObject"));
}

TEST(SheetObjects, CopiesBringTheirPartsIntoAnotherWorkbook) {
    OpenBook src(colours_fixture());
    OpenBook dst(structure_fixture(), "dest.xlsx");
    ASSERT_NE(src.book, nullptr) << src.error;
    ASSERT_NE(dst.book, nullptr) << dst.error;
    xl::Worksheet& from = *src.book->worksheet(1);
    auto all = from.objects();
    // Summary has a drawing of its own (whose root does not declare the relationships
    // prefix); Data has none yet, only notes.
    ASSERT_TRUE(from.copy_object(*named(all, "Chart 7"), dst.ws("Summary"), xl::CellRef{20, 1})
                    .has_value());
    ASSERT_TRUE(
        from.copy_object(*named(all, "Picture 6"), dst.ws("Data"), std::nullopt).has_value());
    ASSERT_TRUE(from.copy_object(*named(all, "C3"), dst.ws("Data"), xl::CellRef{9, 9}).has_value());
    EXPECT_FALSE(from.copy_object(*named(all, "B2"), dst.ws("Data"), std::nullopt));
    std::vector<std::string> seen;
    for (const auto& o : dst.ws("Summary").objects())
        seen.push_back(o.name + "@" + std::to_string(o.first_row) + "," +
                       std::to_string(o.first_col));
    EXPECT_EQ(seen, (std::vector<std::string>{"Chart 1@2,4", "Chart 7@20,1"}));
    std::string out = dst.save();
    std::string summary_drawing = part_of(out, "xl/drawings/drawing1.xml");
    EXPECT_TRUE(contains(summary_drawing, "xmlns:r=")) << summary_drawing;
    EXPECT_TRUE(contains(summary_drawing, "id=\"3\" name=\"Chart 7\"")) << summary_drawing;
    EXPECT_NE(part_of(out, "xl/charts/chart2.xml"), "");
    EXPECT_EQ(part_of(out, "xl/charts/chart2.xml"), part_of(src.path, "xl/charts/chart1.xml"));
    std::string types = part_of(out, "[Content_Types].xml");
    EXPECT_TRUE(contains(types, "/xl/charts/chart2.xml")) << types;
    EXPECT_TRUE(contains(types, "/xl/drawings/drawing2.xml")) << types;
    EXPECT_EQ(part_of(out, "xl/media/image1.png"), part_of(src.path, "xl/media/image1.png"));
    std::string data = part_of(out, "xl/worksheets/sheet1.xml");
    EXPECT_TRUE(contains(data, "<drawing r:id=")) << data;
    EXPECT_LT(data.find("<drawing "), data.find("<legacyDrawing "));
    EXPECT_TRUE(contains(data, "<hyperlink ref=\"I9\""));
    OpenBook again(out, "again.xlsx");
    ASSERT_NE(again.book, nullptr) << again.error;
    EXPECT_EQ(again.ws("Data").objects().size(), 3u);  // note, picture, hyperlink
}

TEST(SheetObjects, EmbeddedObjectsStayTiedToTheirShapesInASheetCopy) {
    // The destination has a VML drawing of its own, so the copy's shapes are renumbered.
    OpenBook src(corpus("xlsx/olet-embedded-simple-2007.xlsx"));
    OpenBook dst(colours_fixture(), "dest.xlsx");
    ASSERT_NE(src.book, nullptr) << src.error;
    ASSERT_NE(dst.book, nullptr) << dst.error;
    auto copied = src.book->worksheet(1)->copy(nullptr, dst.book->worksheet(2));
    ASSERT_TRUE(copied.has_value()) << copied.error().message;
    auto all = (*copied)->objects();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].kind, xl::ObjectKind::OleObject);
    EXPECT_EQ(all[0].name, "Object 1");
    std::string out = dst.save();
    EXPECT_TRUE(contains(part_of(out, "xl/worksheets/sheet3.xml"), "shapeId=\"2049\""));
}

TEST(SheetObjects, AddedPicturesGetAMediaPartAndSitOnTheirCell) {
    std::string png;
    ASSERT_TRUE(file::read_all(std::string(SHEAFLOW_TEST_DATA_DIR) + "/range_picture.png", png));
    // Summary has a drawing already (a chart); Data has none.
    OpenBook b(structure_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    ASSERT_TRUE(b.ws("Summary").add_picture(png, {5, 3}, 120, 60).has_value());
    ASSERT_TRUE(b.ws("Data").add_picture(png, {2, 2}, 90, 45).has_value());
    EXPECT_FALSE(b.ws("Data").add_picture(png, {0, 2}, 90, 45));
    EXPECT_FALSE(b.ws("Data").add_picture(png, {2, 2}, 0, 45));
    std::string out = b.save();
    OpenBook again(out, "again.xlsx");
    ASSERT_NE(again.book, nullptr) << again.error;
    std::vector<std::string> seen;
    for (const char* sheet : {"Summary", "Data"})
        for (const auto& o : again.ws(sheet).objects())
            if (o.kind == xl::ObjectKind::Picture)
                seen.push_back(std::string(sheet) + ":" + o.name + "@" +
                               std::to_string(o.first_row) + "," + std::to_string(o.first_col));
    EXPECT_EQ(seen, (std::vector<std::string>{"Summary:図 3@5,3", "Data:図 1@2,2"}));
    for (const auto& o : again.ws("Data").objects())
        if (o.kind == xl::ObjectKind::Picture) {
            EXPECT_NEAR(o.width, 90, 0.1);
            EXPECT_NEAR(o.height, 45, 0.1);
        }
    // Two media parts holding the bytes as given, typed once.
    std::string types = part_of(out, "[Content_Types].xml");
    EXPECT_TRUE(contains(types, "Extension=\"png\" ContentType=\"image/png\"")) << types;
    std::vector<std::string> media;
    for (const char* name : {"xl/media/image1.png", "xl/media/image2.png"})
        if (part_of(out, name) == png) media.push_back(name);
    EXPECT_EQ(media.size(), 2u);
}

}  // namespace
}  // namespace sheaflow::testing
