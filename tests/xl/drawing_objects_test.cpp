// The drawing objects of a sheet: listed in the object operations' order with their cells and
// sizes, and deleted, moved, scaled and renamed with the parts around them kept consistent.

#include <gtest/gtest.h>

#include <cmath>
#include <optional>

#include "structure_helpers.h"
#include "util/file.h"
#include "xl/native/relationships.h"
#include "xl/native/xml.h"

namespace sheaflow::testing {
namespace {

std::string colours_fixture() { return std::string(SHEAFLOW_TEST_DATA_DIR) + "/colours.xlsx"; }

bool contains(const std::string& hay, const std::string& needle) {
    return hay.find(needle) != std::string::npos;
}

std::string controls_fixture() { return std::string(SHEAFLOW_TEST_DATA_DIR) + "/controls.xlsx"; }

// What is wrong with a saved package: XML parts (VML included) that do not parse, and internal
// relationship targets that are not in the package; "" when nothing is.
std::string package_faults(const std::string& file) {
    auto pkg = xl::native::Package::open_file(file);
    if (!pkg) return "cannot open " + file;
    std::string faults;
    for (const std::string& name : (*pkg)->part_names()) {
        if (!name.ends_with(".xml") && !name.ends_with(".rels") && !name.ends_with(".vml"))
            continue;
        auto bytes = (*pkg)->read(name);
        xl::native::xml::Document doc;
        if (!bytes || !xl::native::xml::load(doc, *bytes, name)) {
            faults += name + " is not well-formed\n";
            continue;
        }
        if (!name.ends_with(".rels")) continue;
        std::string source = name;
        source.erase(source.find("_rels/"), 6);
        source.resize(source.size() - 5);
        for (pugi::xml_node rel : doc.root().children()) {
            if (std::string_view(rel.attribute("TargetMode").value()) == "External") continue;
            std::string target =
                xl::native::resolve_target(source, rel.attribute("Target").value());
            if (!(*pkg)->has(target)) faults += name + " names a missing " + target + "\n";
        }
    }
    return faults;
}

std::size_t occurrences(const std::string& hay, const std::string& needle) {
    std::size_t n = 0;
    for (std::size_t at = hay.find(needle); at != std::string::npos; at = hay.find(needle, at + 1))
        ++n;
    return n;
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
    // The chart reads its cells in the source workbook through a link.
    std::string chart = part_of(out, "xl/charts/chart2.xml");
    EXPECT_TRUE(contains(chart, "<c:f>[1]Colours!$A$1:$D$1</c:f>")) << chart;
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
    EXPECT_EQ(package_faults(out), "");
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

TEST(SheetObjects, EmbeddedObjectsAndControlsCopyWithEveryPart) {
    // The destination sheet has no drawing of either kind; the workbook's notes take block 1
    // of the VML shape numbers.
    OpenBook dst(colours_fixture(), "dest.xlsx");
    ASSERT_NE(dst.book, nullptr) << dst.error;
    xl::Worksheet& to = dst.ws("Other");
    struct Source {
        std::string file;
        std::string name;
        std::optional<xl::CellRef> at;
    };
    const Source sources[] = {
        {controls_fixture(), "Check Box 1", xl::CellRef{20, 2}},
        {controls_fixture(), "CommandButton1", std::nullopt},
        {controls_fixture(), "Object 3", xl::CellRef{30, 6}},
        {corpus("xlsx/olet-embedded-simple-2007.xlsx"), "Object 1", xl::CellRef{40, 2}},
        {corpus("xlsm/xw-button07.xlsm"), "Button 1", std::nullopt},
    };
    for (const Source& s : sources) {
        OpenBook src(s.file, "src" + s.file.substr(s.file.rfind('.')));
        ASSERT_NE(src.book, nullptr) << src.error;
        xl::Worksheet& from = *src.book->worksheet(1);
        const auto all = from.objects();
        const xl::SheetObject* o = named(all, s.name);
        ASSERT_NE(o, nullptr) << s.name;
        auto r = from.copy_object(*o, to, s.at);
        ASSERT_TRUE(r.has_value()) << s.name << ": " << r.error().message;
    }
    std::vector<std::string> seen;
    for (const auto& o : to.objects())
        seen.push_back(
            o.type_word + ":" + o.name + "@" +
            xl::format_address({o.first_row, o.first_col, o.last_row, o.last_col}, false, false));
    // Embedded objects come before the other shapes; the button and the form button keep
    // their cells when no cell is given, and the others their size at the cell given. Objects
    // only the VML drawing holds are named by their new shape numbers.
    EXPECT_EQ(seen,
              (std::vector<std::string>{
                  "埋め込みOLEオブジェクト:Object 3@F30:I35",
                  "埋め込みOLEオブジェクト:Object 4@B40:C42", "コントロール:Check Box 1@B20:E22",
                  "コントロール:CommandButton1@B5:E8", "ボタン:Button 5@C2:D3"}));
    std::string out = dst.save();
    EXPECT_EQ(package_faults(out), "");
    // Each object took a new shape number of the destination's block, in all three places.
    std::string sheet = part_of(out, "xl/worksheets/sheet2.xml");
    std::string vml = part_of(out, "xl/drawings/vmlDrawing2.vml");
    std::string drawing = part_of(out, "xl/drawings/drawing2.xml");
    for (int number = 2049; number <= 2053; ++number) {
        std::string spid = "_x0000_s" + std::to_string(number);
        EXPECT_TRUE(contains(vml, spid)) << spid << "\n" << vml;
    }
    EXPECT_TRUE(contains(vml, "data=\"2\"")) << vml;
    EXPECT_TRUE(contains(vml, "<v:shapetype id=\"_x0000_t201\"")) << vml;
    EXPECT_TRUE(contains(vml, "<v:shapetype id=\"_x0000_t75\"")) << vml;
    EXPECT_TRUE(contains(drawing, "id=\"2049\" name=\"Check Box 1\"")) << drawing;
    EXPECT_TRUE(contains(drawing, "spid=\"_x0000_s2049\"")) << drawing;
    EXPECT_TRUE(contains(sheet, "<legacyDrawing r:id=")) << sheet;
    EXPECT_TRUE(contains(sheet, "shapeId=\"2049\" r:id=")) << sheet;
    EXPECT_TRUE(contains(sheet, "<oleObject progId=\"Excel.Sheet.12\" shapeId=\"2051\"")) << sheet;
    EXPECT_TRUE(contains(sheet, "<xdr:col>5</xdr:col>")) << sheet;  // the object's anchor, F30
    EXPECT_TRUE(contains(sheet, "<xdr:row>29</xdr:row>")) << sheet;
    EXPECT_LT(sheet.find("<oleObjects>"), sheet.find("<controls>"));
    std::string types = part_of(out, "[Content_Types].xml");
    EXPECT_TRUE(contains(types, "/xl/ctrlProps/ctrlProp1.xml")) << types;
    EXPECT_TRUE(contains(types, "/xl/activeX/activeX1.xml")) << types;
    EXPECT_TRUE(part_of(out, "xl/embeddings/Microsoft_Excel_Worksheet1.xlsx") ==
                part_of(controls_fixture(), "xl/embeddings/Microsoft_Excel_Worksheet.xlsx"));
    EXPECT_NE(part_of(out, "xl/embeddings/oleObject1.bin"), "");
    OpenBook again(out, "again.xlsx");
    ASSERT_NE(again.book, nullptr) << again.error;
    EXPECT_EQ(again.ws("Other").objects().size(), seen.size());
}

TEST(SheetObjects, ControlsCopiedOntoTheirOwnSheetTakeTheNextShapeNumber) {
    OpenBook b(controls_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    xl::Worksheet& ws = b.ws("Controls");
    ASSERT_TRUE(ws.copy_object(*named(ws.objects(), "Check Box 1"), ws, xl::CellRef{2, 8}));
    ASSERT_TRUE(ws.copy_object(*named(ws.objects(), "Object 3"), ws, std::nullopt));
    // A second ActiveX button on the sheet takes a name of its own.
    ASSERT_TRUE(ws.copy_object(*named(ws.objects(), "CommandButton1"), ws, xl::CellRef{20, 2}));
    std::string out = b.save();
    EXPECT_EQ(package_faults(out), "");
    std::string sheet = part_of(out, "xl/worksheets/sheet1.xml");
    EXPECT_TRUE(contains(sheet, "shapeId=\"1028\"")) << sheet;
    EXPECT_TRUE(contains(sheet, "shapeId=\"1029\"")) << sheet;
    EXPECT_TRUE(contains(sheet, "shapeId=\"1030\"")) << sheet;
    EXPECT_TRUE(contains(sheet, "name=\"CommandButton2\"")) << sheet;
    EXPECT_TRUE(contains(part_of(out, "xl/drawings/vmlDrawing1.vml"),
                         "id=\"CommandButton2\" o:spid=\"_x0000_s1030\""));
    EXPECT_NE(part_of(out, "xl/ctrlProps/ctrlProp2.xml"), "");
    OpenBook again(out, "again.xlsx");
    ASSERT_NE(again.book, nullptr) << again.error;
    std::vector<std::string> names;
    for (const auto& o : again.ws("Controls").objects()) names.push_back(o.name);
    EXPECT_EQ(names, (std::vector<std::string>{"Object 3", "Object 3", "Check Box 1",
                                               "CommandButton1", "Check Box 1", "CommandButton2"}));
}

TEST(SheetObjects, ChartsCopiedIntoAnotherWorkbookReadTheSourceThroughALink) {
    // The chart is on Sheet2 and reads Sheet1; the destination has no Sheet1.
    OpenBook src(corpus("xlsx/xw-chart_column06.xlsx"), "source.xlsx");
    OpenBook dst(colours_fixture(), "dest.xlsx");
    ASSERT_NE(src.book, nullptr) << src.error;
    ASSERT_NE(dst.book, nullptr) << dst.error;
    xl::Worksheet& from = *src.book->worksheet(2);
    const xl::SheetObject chart = from.objects().at(0);
    ASSERT_EQ(chart.kind, xl::ObjectKind::Chart);
    ASSERT_TRUE(from.copy_object(chart, dst.ws("Other"), xl::CellRef{2, 2}).has_value());
    // Within its own workbook the chart reads the same cells as before.
    ASSERT_TRUE(from.copy_object(chart, *src.book->worksheet(1), xl::CellRef{10, 5}));
    std::string own = src.save("own.xlsx");
    EXPECT_EQ(part_of(own, "xl/charts/chart2.xml"), part_of(src.path, "xl/charts/chart1.xml"));
    EXPECT_EQ(part_of(own, "xl/workbook.xml").find("externalReference"), std::string::npos);

    std::string out = dst.save();
    EXPECT_EQ(package_faults(out), "");
    std::string copied = part_of(out, "xl/charts/chart2.xml");
    EXPECT_TRUE(contains(copied, "<c:f>[1]Sheet1!$A$1:$A$5</c:f>")) << copied;
    EXPECT_TRUE(contains(copied, "<c:f>[1]Sheet1!$C$1:$C$5</c:f>")) << copied;
    EXPECT_FALSE(contains(copied, "<c:f>Sheet1!")) << copied;
    // The chart's own cached values stay; the link caches the cells it reads.
    std::string original = part_of(src.path, "xl/charts/chart1.xml");
    auto cache = [](const std::string& x) {
        std::size_t a = x.find("<c:numCache>");
        return a == std::string::npos ? std::string() : x.substr(a, x.find("</c:numCache>", a) - a);
    };
    EXPECT_EQ(cache(copied), cache(original));
    EXPECT_NE(cache(copied), "");
    std::string link = part_of(out, "xl/externalLinks/externalLink1.xml");
    EXPECT_TRUE(contains(link, "<sheetName val=\"Sheet1\"/>")) << link;
    EXPECT_TRUE(contains(link, "<cell r=\"C5\"><v>15</v></cell>")) << link;
    EXPECT_TRUE(
        contains(part_of(out, "xl/externalLinks/_rels/externalLink1.xml.rels"), "source.xlsx"));
    EXPECT_TRUE(contains(part_of(out, "xl/workbook.xml"), "<externalReference r:id="));
    if (!office_available()) GTEST_SKIP() << "no soffice";
    OfficeDump seen = office_dump({out}, true);
    EXPECT_NE(office_sheet(seen, out, "Other"), nullptr);
}

TEST(SheetObjects, NotesTakeTheirThreadsRepliesAndPersonsAlong) {
    OpenBook src(corpus("xlsx/sjs-threaded_comments_none.xlsx"), "source.xlsx");
    OpenBook dst(structure_fixture(), "dest.xlsx");
    ASSERT_NE(src.book, nullptr) << src.error;
    ASSERT_NE(dst.book, nullptr) << dst.error;
    xl::Worksheet& from = *src.book->worksheet(1);
    // Onto Data's A1, which has a note of its own (replaced), and onto another cell of the same
    // sheet (a second thread with ids of its own).
    ASSERT_TRUE(from.copy_object(*named(from.objects(), "E5"), dst.ws("Data"), xl::CellRef{1, 1}));
    ASSERT_TRUE(from.copy_object(*named(from.objects(), "E5"), from, xl::CellRef{2, 7}));
    EXPECT_EQ(dst.ws("Data").comments().size(), 1u);
    EXPECT_NE(dst.ws("Data").comments().at(0).second.find("Test3"), std::string::npos);

    std::string out = dst.save();
    EXPECT_EQ(package_faults(out), "");
    std::string threads = part_of(out, "xl/threadedComments/threadedComment1.xml");
    std::string comments = part_of(out, "xl/comments1.xml");
    std::string persons = part_of(out, "xl/persons/person1.xml");
    std::string types = part_of(out, "[Content_Types].xml");
    // Three comments of the thread on A1, the replies naming the new root.
    std::size_t at = threads.find("id=\"{");
    ASSERT_NE(at, std::string::npos) << threads;
    std::string root_id = threads.substr(at + 4, 38);
    EXPECT_EQ(occurrences(threads, "ref=\"A1\""), 3u) << threads;
    EXPECT_EQ(occurrences(threads, "parentId=\"" + root_id + "\""), 2u) << threads;
    EXPECT_FALSE(contains(threads, "697C734A")) << threads;
    EXPECT_TRUE(contains(comments, "<author>tc=" + root_id + "</author>")) << comments;
    EXPECT_TRUE(contains(comments, "xr:uid=\"" + root_id + "\"")) << comments;
    EXPECT_FALSE(contains(comments, "first value")) << comments;
    EXPECT_TRUE(contains(persons, "displayName=\"Sheet JS\"")) << persons;
    EXPECT_TRUE(contains(persons, "displayName=\"Sheet TS\"")) << persons;
    EXPECT_TRUE(contains(types,
                         "threadedComment1.xml\" ContentType=\"application/vnd.ms-excel."
                         "threadedcomments+xml\""))
        << types;
    EXPECT_TRUE(
        contains(types, "person1.xml\" ContentType=\"application/vnd.ms-excel.person+xml\""))
        << types;
    EXPECT_TRUE(contains(part_of(out, "xl/_rels/workbook.xml.rels"), "persons/person1.xml"));

    // In its own workbook: two threads, the persons listed once.
    std::string own = src.save("own.xlsx");
    EXPECT_EQ(package_faults(own), "");
    std::string own_threads = part_of(own, "xl/threadedComments/threadedComment1.xml");
    EXPECT_EQ(occurrences(own_threads, "ref=\"G2\""), 3u) << own_threads;
    EXPECT_EQ(occurrences(own_threads, "ref=\"E5\""), 3u) << own_threads;
    EXPECT_EQ(occurrences(part_of(own, "xl/persons/person.xml"), "<person "), 2u);

    // Deleting a note takes its thread along.
    OpenBook again(own, "again.xlsx");
    ASSERT_NE(again.book, nullptr) << again.error;
    xl::Worksheet& ws = *again.book->worksheet(1);
    ASSERT_TRUE(ws.delete_object(*named(ws.objects(), "E5")));
    std::string after = again.save("after.xlsx");
    std::string left = part_of(after, "xl/threadedComments/threadedComment1.xml");
    EXPECT_EQ(occurrences(left, "ref=\"E5\""), 0u) << left;
    EXPECT_EQ(occurrences(left, "ref=\"G2\""), 3u) << left;

    // A copy of the sheet as a new workbook lists the persons of its threads.
    auto copied = ws.copy(nullptr, nullptr);
    ASSERT_TRUE(copied.has_value()) << copied.error().message;
    std::string piece = again.dir.file("piece.xlsx");
    ASSERT_TRUE((*copied)->parent().save_as(piece, xl::xlOpenXMLWorkbook));
    EXPECT_EQ(package_faults(piece), "");
    EXPECT_EQ(occurrences(part_of(piece, "xl/persons/person1.xml"), "<person "), 2u);
    // A copy within the workbook gives its threads ids of their own, its notes following.
    ASSERT_TRUE(ws.copy(nullptr, &ws).has_value());
    std::string twins = again.save("twins.xlsx");
    EXPECT_EQ(package_faults(twins), "");
    std::string first = part_of(twins, "xl/threadedComments/threadedComment1.xml");
    std::string second = part_of(twins, "xl/threadedComments/threadedComment2.xml");
    std::size_t id_at = second.find(" id=\"{");
    ASSERT_NE(id_at, std::string::npos) << second;
    std::string twin_root = second.substr(id_at + 5, 38);
    EXPECT_FALSE(contains(first, twin_root)) << first << "\n" << second;
    EXPECT_EQ(occurrences(second, "parentId=\"" + twin_root + "\""), 2u) << second;
    EXPECT_EQ(occurrences(second, "personId=\"{54EE7950-7262-4200-6969-00000000000"), 3u);
    std::string twin_notes = part_of(twins, "xl/comments2.xml");
    EXPECT_TRUE(contains(twin_notes, "<author>tc=" + twin_root + "</author>")) << twin_notes;
    EXPECT_TRUE(contains(twin_notes, "xr:uid=\"" + twin_root + "\"")) << twin_notes;
    if (!office_available()) GTEST_SKIP() << "no soffice";
    OfficeDump seen = office_dump({out, own, piece}, true);
    EXPECT_NE(office_sheet(seen, piece, "Sheet1"), nullptr);
    EXPECT_NE(office_sheet(seen, out, "Data"), nullptr);
    EXPECT_NE(office_sheet(seen, own, "Sheet1"), nullptr);
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
