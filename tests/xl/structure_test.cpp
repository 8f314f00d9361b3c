// Sheet structure on a real workbook: rename, insert, delete, move and copy keep every
// reference and the package consistent; the engine and LibreOffice read the result.

#include <gtest/gtest.h>

#include "structure_helpers.h"

namespace sheaflow::testing {
namespace {

using Names = std::vector<std::string>;

bool contains(const std::string& hay, const std::string& needle) {
    return hay.find(needle) != std::string::npos;
}

// Every value of a sheet (formula-bar text), for comparing a sheet before and after a change.
std::map<std::string, std::string> contents(xl::Worksheet& ws) {
    std::map<std::string, std::string> out;
    ws.for_each_cell(ws.used_range(), [&](xl::CellRef c) {
        out[xl::format_address({c.row, c.col, c.row, c.col}, false, false)] = ws.cell_formula(c);
    });
    return out;
}

TEST(SheetRename, RewritesEveryReference) {
    OpenBook b(structure_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    ASSERT_TRUE(b.ws("Data").set_name("Input Data").has_value());
    EXPECT_EQ(b.names(), (Names{"Input Data", "My Sheet", "Summary", "Hidden"}));
    EXPECT_EQ(b.ws("Summary").cell_formula({1, 1}), "=SUM('Input Data'!A1:A3)+'My Sheet'!B2");
    EXPECT_EQ(b.ws("Summary").cell_formula({2, 1}), "=SUM('Input Data':'My Sheet'!A2)");
    EXPECT_EQ(b.ws("My Sheet").cell_formula({1, 3}), "='Input Data'!A1*2");
    // A string literal that looks like a reference stays as it was.
    EXPECT_EQ(b.ws("Input Data").cell_formula({4, 2}), "=\"Data!A1\"");
    std::string out = b.save();

    std::string sheet2 = part_of(out, "xl/worksheets/sheet2.xml");
    EXPECT_TRUE(contains(sheet2, "<formula>B2&gt;'Input Data'!$A$1</formula>")) << sheet2;
    EXPECT_TRUE(contains(sheet2, "<formula1>'Input Data'!$A$1:$A$3</formula1>"));
    EXPECT_TRUE(contains(sheet2, "location=\"'Input Data'!A1\""));
    std::string chart = part_of(out, "xl/charts/chart1.xml");
    EXPECT_TRUE(contains(chart, "<c:f>'Input Data'!$B$1</c:f>"));
    EXPECT_TRUE(contains(chart, "<c:f>'My Sheet'!$B$2:$B$3</c:f>"));
    EXPECT_TRUE(contains(part_of(out, "xl/workbook.xml"), "name=\"Input Data\""));
    EXPECT_TRUE(contains(part_of(out, "docProps/app.xml"), "<vt:lpstr>Input Data</vt:lpstr>"));

    // A second rename to a name without quotes, read back by a new engine.
    OpenBook again(out, "again.xlsx");
    ASSERT_NE(again.book, nullptr) << again.error;
    ASSERT_TRUE(again.ws("Input Data").set_name("Numbers").has_value());
    EXPECT_EQ(again.ws("Summary").cell_formula({1, 1}), "=SUM(Numbers!A1:A3)+'My Sheet'!B2");
    EXPECT_EQ(again.ws("Summary").cell_formula({2, 1}), "=SUM(Numbers:'My Sheet'!A2)");
}

TEST(SheetRename, RefusalsLeaveTheWorkbookAsItWas) {
    OpenBook b(structure_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    for (const std::string& bad :
         std::vector<std::string>{"summary", "a:b", "History", std::string(32, 'x'), "", "'q"}) {
        auto r = b.ws("Data").set_name(bad);
        ASSERT_FALSE(r.has_value()) << bad;
        EXPECT_EQ(r.error().code, Error::Code::Refused);
        EXPECT_FALSE(r.error().message.empty());
    }
    EXPECT_EQ(b.names(), (Names{"Data", "My Sheet", "Summary", "Hidden"}));
    EXPECT_EQ(b.ws("Summary").cell_formula({1, 1}), "=SUM(Data!A1:A3)+'My Sheet'!B2");
    EXPECT_TRUE(b.book->saved());
}

// Renames made as one batch leave the package that the same renames one at a time leave: names
// swapped through a third one, a refusal in between, a change of case.
TEST(SheetRename, ABatchEqualsOneRenameAtATime) {
    const std::vector<std::pair<std::string, std::string>> steps = {
        {"Data", "Tmp"},
        {"Summary", "Data"},
        {"Tmp", "Summary"},
        {"My Sheet", "summary"},  // refused: Summary is taken again
        {"Hidden", "hidden"},
        {"My Sheet", "Mine"},
    };
    OpenBook batch(structure_fixture()), single(structure_fixture());
    ASSERT_NE(batch.book, nullptr) << batch.error;
    std::vector<std::pair<xl::Worksheet*, std::string>> renames;
    std::map<std::string, xl::Worksheet*> by_name;  // the sheets by their names as they go
    for (const std::string& n : batch.names()) by_name[n] = &batch.ws(n);
    for (const auto& [from, to] : steps) {
        renames.emplace_back(by_name.at(from), to);
        if (from != "My Sheet" || to != "summary") by_name[to] = by_name.at(from);
    }
    auto done = batch.book->rename_sheets(renames);
    ASSERT_TRUE(done.has_value()) << done.error().message;
    ASSERT_EQ(done->size(), steps.size());
    for (std::size_t i = 0; i < steps.size(); ++i)
        EXPECT_EQ((*done)[i].has_value(), i != 3) << steps[i].first << " -> " << steps[i].second;
    for (const auto& [from, to] : steps) (void)single.ws(from).set_name(to);

    EXPECT_EQ(batch.names(), (Names{"Summary", "Mine", "Data", "hidden"}));
    EXPECT_EQ(batch.names(), single.names());
    EXPECT_EQ(batch.ws("Data").cell_formula({1, 1}), "=SUM(Summary!A1:A3)+Mine!B2");
    const std::string a = batch.save(), b = single.save();
    ASSERT_EQ(parts_of(a), parts_of(b));
    for (const std::string& part : parts_of(a))
        EXPECT_EQ(part_of(a, part), part_of(b, part)) << part;
}

TEST(SheetInsert, NewSheetWithItsPartAndShiftedIndexes) {
    OpenBook b(structure_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    auto added = b.book->add_worksheet(b.book->worksheet("My Sheet"), nullptr);
    ASSERT_TRUE(added.has_value()) << added.error().message;
    EXPECT_EQ((*added)->name(), "Sheet1");
    EXPECT_EQ(b.book->active_sheet(), *added);
    EXPECT_EQ(b.names(), (Names{"Data", "Sheet1", "My Sheet", "Summary", "Hidden"}));
    ASSERT_TRUE(b.book->add_worksheet(nullptr, b.book->worksheet("Hidden")).has_value());
    EXPECT_EQ(b.names(), (Names{"Data", "Sheet1", "My Sheet", "Summary", "Hidden", "Sheet2"}));
    std::string out = b.save();

    std::string wb = part_of(out, "xl/workbook.xml");
    EXPECT_TRUE(contains(wb, "name=\"LocalName\" localSheetId=\"2\""));
    EXPECT_TRUE(contains(wb, "name=\"_xlnm.Print_Area\" localSheetId=\"3\""));
    EXPECT_TRUE(contains(wb, "activeTab=\"5\"")) << wb;
    EXPECT_TRUE(contains(wb, "sheetId=\"6\"") && contains(wb, "sheetId=\"7\""));
    EXPECT_TRUE(contains(part_of(out, "[Content_Types].xml"), "/xl/worksheets/sheet5.xml"));
    EXPECT_FALSE(contains(part_of(out, "xl/worksheets/sheet3.xml"), "tabSelected=\"1\""));
    EXPECT_TRUE(contains(part_of(out, "xl/worksheets/sheet6.xml"), "tabSelected=\"1\""));
    // The calculation chain goes with a structure change.
    EXPECT_EQ(part_of(out, "xl/calcChain.xml"), "");

    OpenBook again(out, "again.xlsx");
    ASSERT_NE(again.book, nullptr) << again.error;
    EXPECT_EQ(again.names(), (Names{"Data", "Sheet1", "My Sheet", "Summary", "Hidden", "Sheet2"}));
    EXPECT_EQ(again.book->active_sheet()->name(), "Sheet2");
    EXPECT_NE(again.ws("Sheet1").code_name(), again.ws("Sheet2").code_name());
}

TEST(SheetDelete, ReferencesBecomeRefErrorsAndOwnedPartsGo) {
    OpenBook b(structure_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    auto before = contents(b.ws("Hidden"));
    ASSERT_TRUE(b.ws("My Sheet").delete_sheet().has_value());
    EXPECT_EQ(b.names(), (Names{"Data", "Summary", "Hidden"}));
    EXPECT_EQ(b.ws("Summary").cell_formula({1, 1}), "=SUM(Data!A1:A3)+#REF!B2");
    EXPECT_EQ(b.ws("Summary").cell_formula({2, 1}), "=SUM(Data!A2)");
    EXPECT_EQ(contents(b.ws("Hidden")), before);
    std::string out = b.save();

    auto parts = parts_of(out);
    for (const char* gone : {"xl/worksheets/sheet2.xml", "xl/worksheets/_rels/sheet2.xml.rels",
                             "xl/tables/table1.xml"})
        EXPECT_EQ(std::count(parts.begin(), parts.end(), gone), 0) << gone;
    std::string types = part_of(out, "[Content_Types].xml");
    EXPECT_FALSE(contains(types, "table1.xml"));
    EXPECT_FALSE(contains(types, "sheet2.xml"));
    EXPECT_FALSE(contains(part_of(out, "xl/_rels/workbook.xml.rels"), "sheet2.xml"));
    std::string wb = part_of(out, "xl/workbook.xml");
    EXPECT_FALSE(contains(wb, "LocalName"));
    EXPECT_TRUE(contains(wb, "localSheetId=\"1\">Summary!$A$1:$B$4"));
    EXPECT_TRUE(contains(wb, "activeTab=\"1\"")) << wb;
    EXPECT_TRUE(contains(part_of(out, "xl/charts/chart1.xml"), "<c:f>#REF!$B$2:$B$3</c:f>"));

    OpenBook again(out, "again.xlsx");
    ASSERT_NE(again.book, nullptr) << again.error;
    // Summary owns the drawing and the chart: they go with it. The last visible sheet stays.
    ASSERT_TRUE(again.ws("Summary").delete_sheet().has_value());
    auto last = again.ws("Data").delete_sheet();
    ASSERT_FALSE(last.has_value());
    EXPECT_EQ(last.error().code, Error::Code::Refused);
    std::string out2 = again.save("out2.xlsx");
    for (const std::string& p : parts_of(out2)) {
        EXPECT_FALSE(contains(p, "drawing1.xml")) << p;
        EXPECT_FALSE(contains(p, "chart1.xml")) << p;
    }
    EXPECT_TRUE(contains(part_of(out2, "xl/comments1.xml"), "first value"));  // Data's own
    EXPECT_EQ(OpenBook(out2, "again2.xlsx").names(), (Names{"Data", "Hidden"}));
}

TEST(SheetMove, IndexesFollowTheSheets) {
    OpenBook b(structure_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    ASSERT_TRUE(b.ws("Data").move(nullptr, b.book->worksheet("Summary")).has_value());
    EXPECT_EQ(b.names(), (Names{"My Sheet", "Summary", "Data", "Hidden"}));
    ASSERT_TRUE(b.ws("Hidden").move(b.book->worksheet("My Sheet"), nullptr).has_value());
    EXPECT_EQ(b.names(), (Names{"Hidden", "My Sheet", "Summary", "Data"}));
    ASSERT_TRUE(b.ws("Data").move(b.book->worksheet("Data"), nullptr).has_value());
    EXPECT_EQ(b.names(), (Names{"Hidden", "My Sheet", "Summary", "Data"}));
    std::string out = b.save();
    std::string wb = part_of(out, "xl/workbook.xml");
    EXPECT_TRUE(contains(wb, "name=\"LocalName\" localSheetId=\"1\""));
    EXPECT_TRUE(contains(wb, "localSheetId=\"2\">Summary!$A$1:$B$4"));
    EXPECT_TRUE(contains(wb, "activeTab=\"2\"")) << wb;
    OpenBook again(out, "again.xlsx");
    EXPECT_EQ(again.names(), (Names{"Hidden", "My Sheet", "Summary", "Data"}));
    EXPECT_EQ(again.book->active_sheet()->name(), "Summary");
}

TEST(SheetMove, ManyMovesKeepNumbersElementsAndPropertiesInStep) {
    OpenBook b(structure_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    // Sheets added among the fixture's, then sorted by exchanges as the sheet sort does: every
    // lookup by number and every position must follow each move.
    for (const char* name : {"k", "B", "x", "a", "Q", "m", "C", "z"}) {
        auto added = b.book->add_worksheet(nullptr, b.book->worksheet(b.book->worksheet_count()));
        ASSERT_TRUE(added);
        ASSERT_TRUE((*added)->set_name(name));
    }
    const int n = b.book->worksheet_count();
    for (int i = 1; i <= n; ++i)
        for (int j = 1; j <= n - i; ++j) {
            xl::Worksheet* first = b.book->worksheet(j);
            xl::Worksheet* second = b.book->worksheet(j + 1);
            if (first->name() > second->name()) {
                ASSERT_TRUE(first->move(nullptr, second));
            }
        }
    const Names sorted{"B", "C", "Data", "Hidden", "My Sheet", "Q", "Summary",
                       "a", "k",    "m",      "x",        "z"};
    EXPECT_EQ(b.names(), sorted);
    for (int i = 1; i <= n; ++i) EXPECT_EQ(b.book->worksheet(i)->index(), i);
    // A delete and an insert after the moves see the new order.
    ASSERT_TRUE(b.ws("m").delete_sheet());
    ASSERT_TRUE(b.book->add_worksheet(b.book->worksheet("C"), nullptr));
    EXPECT_EQ(b.book->worksheet(2)->index(), 2);
    EXPECT_EQ(b.book->worksheet("C")->index(), 3);
    const std::string inserted = b.book->worksheet(2)->name();
    std::string out = b.save();
    // The document properties list the sheets once, in the final order.
    const std::string app = part_of(out, "docProps/app.xml");
    std::string titles;
    for (const std::string& name : b.names()) titles += "<vt:lpstr>" + name + "</vt:lpstr>";
    EXPECT_TRUE(contains(app, titles)) << app;
    EXPECT_TRUE(contains(app, "<vt:i4>12</vt:i4>")) << app;
    EXPECT_TRUE(contains(part_of(out, "xl/workbook.xml"), "localSheetId=\"7\">Summary!$A$1:$B$4"));
    OpenBook again(out, "again.xlsx");
    EXPECT_EQ(again.names(), b.names());
    EXPECT_EQ(again.names()[1], inserted);
}

TEST(SheetMove, IntoAnotherWorkbookAndRefusedForTheLastVisibleSheet) {
    OpenBook b(structure_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    auto dest = b.app->workbooks().add();
    ASSERT_TRUE(dest.has_value());
    ASSERT_TRUE(b.ws("My Sheet").move(nullptr, (*dest)->worksheet(1)).has_value());
    EXPECT_EQ(b.names(), (Names{"Data", "Summary", "Hidden"}));
    EXPECT_EQ((*dest)->worksheet(2)->name(), "My Sheet");
    EXPECT_EQ((*dest)->worksheet(2)->cell_formula({1, 3}), "=[1]Data!A1*2");
    // References left behind become #REF!: the destination has no file yet to point them at.
    EXPECT_EQ(b.ws("Summary").cell_formula({1, 1}), "=SUM(Data!A1:A3)+#REF!B2");

    OpenBook single(structure_fixture(), "single.xlsx");
    ASSERT_NE(single.book, nullptr);
    ASSERT_TRUE(single.ws("Data").delete_sheet().has_value());
    ASSERT_TRUE(single.ws("My Sheet").delete_sheet().has_value());
    auto other = single.app->workbooks().add();
    ASSERT_TRUE(other.has_value());
    auto r = single.ws("Summary").move(nullptr, (*other)->worksheet(1));
    ASSERT_FALSE(r.has_value());  // Hidden is hidden: Summary is the last visible sheet
    EXPECT_EQ(r.error().code, Error::Code::Refused);
    EXPECT_EQ((*other)->sheet_count(), 1);
}

TEST(SheetCopy, WithinTheWorkbook) {
    OpenBook b(structure_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    auto table_sheet = b.ws("My Sheet").copy(nullptr, b.book->worksheet("Hidden"));
    ASSERT_TRUE(table_sheet.has_value()) << table_sheet.error().message;
    EXPECT_EQ((*table_sheet)->name(), "My Sheet (2)");
    EXPECT_EQ(b.book->active_sheet(), *table_sheet);
    auto chart_sheet = b.ws("Summary").copy(b.book->worksheet("Data"), nullptr);
    ASSERT_TRUE(chart_sheet.has_value()) << chart_sheet.error().message;
    auto comment_sheet = b.ws("Data").copy(nullptr, b.book->worksheet("Data"));
    ASSERT_TRUE(comment_sheet.has_value()) << comment_sheet.error().message;
    EXPECT_EQ(b.names(), (Names{"Summary (2)", "Data", "Data (2)", "My Sheet", "Summary", "Hidden",
                                "My Sheet (2)"}));
    EXPECT_EQ(contents(b.ws("Summary (2)")), contents(b.ws("Summary")));
    EXPECT_EQ(contents(b.ws("My Sheet (2)")), contents(b.ws("My Sheet")));
    EXPECT_NE(b.ws("Data (2)").code_name(), b.ws("Data").code_name());
    std::string out = b.save();

    std::string wb = part_of(out, "xl/workbook.xml");
    EXPECT_TRUE(contains(wb, "name=\"LocalName\" localSheetId=\"3\""));
    EXPECT_TRUE(contains(wb, "name=\"LocalName\" localSheetId=\"6\">'My Sheet (2)'!$B$2:$B$3"));
    EXPECT_TRUE(contains(wb, "name=\"_xlnm.Print_Area\" localSheetId=\"4\">Summary!"));
    EXPECT_TRUE(contains(wb, "localSheetId=\"0\">'Summary (2)'!$A$1:$B$4"));
    auto parts = parts_of(out);
    auto has = [&](const char* p) { return std::count(parts.begin(), parts.end(), p) == 1; };
    EXPECT_TRUE(has("xl/tables/table2.xml"));
    EXPECT_TRUE(has("xl/charts/chart2.xml"));
    EXPECT_TRUE(has("xl/drawings/drawing2.xml"));
    EXPECT_TRUE(has("xl/comments2.xml"));
    EXPECT_TRUE(has("xl/drawings/vmlDrawing2.vml"));
    std::string table = part_of(out, "xl/tables/table2.xml");
    EXPECT_TRUE(contains(table, "id=\"2\"") && contains(table, "name=\"Table2\""));
    EXPECT_TRUE(contains(part_of(out, "xl/drawings/vmlDrawing2.vml"), "data=\"2\""));
    EXPECT_TRUE(contains(part_of(out, "xl/drawings/vmlDrawing2.vml"), "_x0000_s2049"));

    OpenBook again(out, "again.xlsx");
    ASSERT_NE(again.book, nullptr) << again.error;
    EXPECT_EQ(again.names().size(), 7u);
    EXPECT_EQ(again.ws("My Sheet (2)").cell_value({2, 2}), xl::Value{10.0});
}

TEST(SheetCopy, IntoAnotherWorkbookKeepsValuesFormatsAndLinks) {
    OpenBook b(structure_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    auto dest = b.app->workbooks().add();
    ASSERT_TRUE(dest.has_value());
    xl::Workbook& d = **dest;
    auto data = b.ws("Data").copy(d.worksheet(1), nullptr);
    ASSERT_TRUE(data.has_value()) << data.error().message;
    auto summary = b.ws("Summary").copy(nullptr, d.worksheet("Data"));
    ASSERT_TRUE(summary.has_value()) << summary.error().message;
    EXPECT_EQ(b.app->active_workbook(), &d);
    EXPECT_EQ(d.active_sheet(), *summary);
    xl::Worksheet& data_copy = *d.worksheet("Data");
    EXPECT_EQ(data_copy.cell_text({1, 1}), "1.000");  // the custom number format came along
    EXPECT_EQ(data_copy.cell_value({1, 2}), xl::Value{std::string("x")});
    EXPECT_EQ(data_copy.cell_formula({4, 1}), "=SUM(A1:A3)");
    // References to sheets left behind point at the source file.
    EXPECT_EQ(d.worksheet("Summary")->cell_formula({1, 1}), "=SUM([1]Data!A1:A3)+'[1]My Sheet'!B2");
    EXPECT_EQ(d.worksheet("Summary")->cell_formula({3, 1}), "=SUM(Table1[Qty])");
    EXPECT_EQ(b.ws("Data").name(), "Data");  // the source is untouched
    ASSERT_TRUE(d.worksheet("Sheet1")->delete_sheet().has_value());

    std::string out = b.dir.file("combined.xlsx");
    ASSERT_TRUE(d.save_as(out, xl::xlOpenXMLWorkbook).has_value());
    std::string sheet1 = part_of(out, "xl/worksheets/sheet2.xml");
    EXPECT_TRUE(contains(sheet1, "<mergeCell ref=\"C1:D1\"/>"));
    EXPECT_TRUE(contains(sheet1, "customWidth=\"1\""));
    EXPECT_TRUE(contains(sheet1, "ht=\"30\""));
    std::string link = part_of(out, "xl/externalLinks/externalLink1.xml");
    EXPECT_TRUE(contains(link, "<sheetName val=\"Data\"/>") && contains(link, "My Sheet"));
    // The values the references use are kept in the link, for a recalculation without the
    // source open.
    EXPECT_TRUE(contains(link, "<cell r=\"A1\"><v>1</v></cell>")) << link;
    EXPECT_TRUE(contains(link, "<cell r=\"A3\"><v>3</v></cell>"));
    EXPECT_TRUE(contains(link, "<cell r=\"B2\"><v>10</v></cell>"));
    EXPECT_TRUE(
        contains(part_of(out, "xl/externalLinks/_rels/externalLink1.xml.rels"), "book.xlsx"));
    EXPECT_TRUE(contains(part_of(out, "xl/workbook.xml"), "<externalReference"));
    std::string styles = part_of(out, "xl/styles.xml");
    EXPECT_TRUE(contains(styles, "formatCode=\"0.000\""));
    EXPECT_TRUE(contains(styles, "FFFF0000"));
    bool comments = false;
    for (const std::string& p : parts_of(out)) comments = comments || contains(p, "comments");
    EXPECT_TRUE(comments);

    OpenBook again(out, "again.xlsx");
    ASSERT_NE(again.book, nullptr) << again.error;
    EXPECT_EQ(again.names(), (Names{"Data", "Summary"}));
    EXPECT_EQ(again.ws("Data").cell_text({1, 1}), "1.000");
}

TEST(SheetCopy, WithNoPositionMakesANewWorkbook) {
    OpenBook b(structure_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    auto copied = b.ws("My Sheet").copy(nullptr, nullptr);
    ASSERT_TRUE(copied.has_value()) << copied.error().message;
    xl::Workbook& made = (*copied)->parent();
    EXPECT_NE(&made, b.book);
    EXPECT_EQ(made.sheet_count(), 1);
    EXPECT_EQ((*copied)->name(), "My Sheet");
    EXPECT_EQ(b.app->workbooks().count(), 2);
}

TEST(SheetStructure, LibreOfficeComputesTheSameValues) {
    if (!office_available()) GTEST_SKIP() << "soffice is not installed";
    EngineTempDir dir;
    std::vector<std::string> files;
    auto edit = [&](const std::string& name, const std::function<void(OpenBook&)>& f) {
        OpenBook b(structure_fixture(), name + "-in.xlsx");
        ASSERT_NE(b.book, nullptr) << b.error;
        f(b);
        std::string out = dir.file(name + ".xlsx");
        ASSERT_TRUE(b.book->save_as(out, xl::xlOpenXMLWorkbook).has_value());
        files.push_back(out);
    };
    edit("renamed", [](OpenBook& b) { ASSERT_TRUE(b.ws("Data").set_name("Numbers").has_value()); });
    edit("inserted", [](OpenBook& b) {
        ASSERT_TRUE(b.book->add_worksheet(b.book->worksheet("Data"), nullptr).has_value());
    });
    edit("moved", [](OpenBook& b) {
        ASSERT_TRUE(b.ws("Summary").move(b.book->worksheet("Data"), nullptr).has_value());
    });
    edit("copied", [](OpenBook& b) {
        ASSERT_TRUE(b.ws("Summary").copy(nullptr, b.book->worksheet("Hidden")).has_value());
        ASSERT_TRUE(b.ws("My Sheet").copy(nullptr, b.book->worksheet("Hidden")).has_value());
    });
    edit("deleted", [](OpenBook& b) { ASSERT_TRUE(b.ws("Hidden").delete_sheet().has_value()); });
    files.push_back(structure_fixture());
    OfficeDump dump = office_dump(files);
    const std::string original = structure_fixture();
    for (const std::string& f : files)
        ASSERT_TRUE(dump.count(f)) << "LibreOffice could not open " << f;

    auto value = [&](const std::string& file, const std::string& sheet, const std::string& cell) {
        const OfficeSheet* s = office_sheet(dump, file, sheet);
        if (!s) return std::string("(no sheet ") + sheet + ")";
        auto it = s->cells.find(cell);
        return it == s->cells.end() ? std::string() : it->second.second;
    };
    for (const char* cell : {"A1", "B1", "A2", "A3", "A4"}) {
        std::string want = value(original, "Summary", cell);
        EXPECT_EQ(value(files[0], "Summary", cell), want) << "renamed " << cell;
        EXPECT_EQ(value(files[1], "Summary", cell), want) << "inserted " << cell;
        EXPECT_EQ(value(files[2], "Summary", cell), want) << "moved " << cell;
        EXPECT_EQ(value(files[3], "Summary (2)", cell), want) << "copied " << cell;
    }
    EXPECT_EQ(value(files[3], "My Sheet (2)", "C1"), value(original, "My Sheet", "C1"));
    // A reference to the deleted sheet is an error (LibreOffice reads "#REF!A1" as a bad name).
    EXPECT_EQ(value(files[4], "Summary", "A4").substr(0, 1), "#");
    EXPECT_EQ(value(files[0], "Summary", "A1"), "16");
}

}  // namespace
}  // namespace sheaflow::testing
