// Copying, pasting and clearing cells on the structure workbook: relative references move,
// formats travel (merged into another workbook's styles), references to the source's sheets
// become external references, and the application's refusals (merged areas, array formulas,
// the grid's edge) leave the sheet as it was.

#include <gtest/gtest.h>

#include <cstdlib>

#include "structure_helpers.h"
#include "xl/native/package.h"

namespace sheaflow::testing {
namespace {

bool contains(const std::string& hay, const std::string& needle) {
    return hay.find(needle) != std::string::npos;
}

TEST(RangePaste, FormulasMoveTheirRelativeReferences) {
    OpenBook b(structure_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    xl::Worksheet& data = b.ws("Data");
    // A1:A4 (1, 2, 3, =SUM(A1:A3)) to C6: the sum reads C6:C8.
    ASSERT_TRUE(data.paste_special(data, {1, 1, 4, 1}, {6, 3}).has_value());
    EXPECT_EQ(data.cell_formula({9, 3}), "=SUM(C6:C8)");
    EXPECT_EQ(data.cell_value({7, 3}), xl::Value(2.0));
    // The format came along: A1's style is the pasted C6's.
    std::string out = b.save();
    std::string sheet = part_of(out, "xl/worksheets/sheet1.xml");
    EXPECT_TRUE(contains(sheet, "<c r=\"C6\" s=\"1\"><v>1</v></c>")) << sheet;
    // Transposed values only: the sum's result, not its formula.
    ASSERT_TRUE(data.paste_special(data, {1, 1, 4, 1}, {12, 1}, xl::xlPasteValues, false, true)
                    .has_value());
    EXPECT_EQ(data.cell_formula({12, 4}), "6");
    EXPECT_EQ(data.cell_value({12, 2}), xl::Value(2.0));
}

TEST(RangePaste, AnotherSheetKeepsUnqualifiedReferencesOnItself) {
    OpenBook b(structure_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    xl::Worksheet& summary = b.ws("Summary");
    xl::Worksheet& mine = b.ws("My Sheet");
    ASSERT_TRUE(mine.paste_special(summary, {1, 1, 2, 1}, {5, 2}).has_value());
    EXPECT_EQ(mine.cell_formula({5, 2}), "=SUM(Data!B5:B7)+'My Sheet'!C6");
    EXPECT_EQ(mine.cell_formula({6, 2}), "=SUM(Data:'My Sheet'!B6)");
}

TEST(RangePaste, IntoAnotherWorkbookLinksTheSourceAndMergesStyles) {
    OpenBook b(structure_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    auto other = b.app->workbooks().add();
    ASSERT_TRUE(other.has_value());
    xl::Worksheet& dest = *(*other)->worksheet(1);
    ASSERT_TRUE(dest.paste_special(b.ws("Summary"), {1, 1, 1, 1}, {2, 2}).has_value());
    ASSERT_TRUE(dest.paste_special(b.ws("Data"), {1, 1, 4, 1}, {1, 4}).has_value());
    EXPECT_EQ(dest.cell_formula({2, 2}), "=SUM([1]Data!B2:B4)+'[1]My Sheet'!C3");
    EXPECT_EQ(dest.cell_formula({4, 4}), "=SUM(D1:D3)");
    std::string out = b.dir.file("other.xlsx");
    ASSERT_TRUE((*other)->save_as(out, xl::xlOpenXMLWorkbook).has_value());
    std::string link = part_of(out, "xl/externalLinks/externalLink1.xml");
    EXPECT_TRUE(contains(link, "<sheetName val=\"Data\"/>")) << link;
    EXPECT_TRUE(contains(part_of(out, "xl/externalLinks/_rels/externalLink1.xml.rels"),
                         "book.xlsx"));
    // D1 took the source's A1 format: its font is in the new workbook's styles now.
    std::string sheet = part_of(out, "xl/worksheets/sheet1.xml");
    EXPECT_FALSE(contains(sheet, "<c r=\"D1\"><v>")) << sheet;
}

TEST(RangePaste, SkipBlanksAndRefusals) {
    OpenBook b(structure_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    xl::Worksheet& data = b.ws("Data");
    xl::Worksheet& mine = b.ws("My Sheet");
    // B1:B3 of My Sheet ("x", 10, 20) onto A1:A3 of Data with A2 blank in the source area
    // C1:C3 (formula, blank, blank): skip blanks keeps Data's A2 and A3.
    ASSERT_TRUE(data.paste_special(mine, {1, 3, 3, 3}, {1, 1}, xl::xlPasteValues, true).has_value());
    EXPECT_EQ(data.cell_value({1, 1}), xl::Value(2.0));
    EXPECT_EQ(data.cell_value({2, 1}), xl::Value(2.0));
    // Without it the blanks empty the cells.
    ASSERT_TRUE(data.paste_special(mine, {1, 3, 3, 3}, {1, 1}, xl::xlPasteValues).has_value());
    EXPECT_TRUE(xl::is_empty(data.cell_value({2, 1})));

    // Over part of the merged C1:D1, past the grid's edge: refused, nothing changed.
    auto merged = data.paste_special(mine, {1, 1, 1, 1}, {1, 4});
    ASSERT_FALSE(merged.has_value());
    EXPECT_TRUE(contains(merged.error().message, "結合したセル")) << merged.error().message;
    EXPECT_FALSE(data.paste_special(mine, {1, 1, 2, 2}, {1, 16384}).has_value());
    EXPECT_FALSE(data.paste_special(mine, {1, 1, 1, 1}, {1048577, 1}).has_value());
    EXPECT_TRUE(xl::is_empty(data.cell_value({1, 4})));
}

TEST(RangeCut, ReferencesFollowTheCellsAndNotesMove) {
    OpenBook b(structure_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    xl::Worksheet& data = b.ws("Data");
    // A1:A4 (with A1's note) to C6; B2 of My Sheet pasted over by nothing.
    ASSERT_TRUE(data.cut_cells({1, 1, 4, 1}, {6, 3}).has_value());
    EXPECT_EQ(data.cell_formula({9, 3}), "=SUM(C6:C8)");
    EXPECT_TRUE(xl::is_empty(data.cell_value({1, 1})));
    EXPECT_EQ(b.ws("My Sheet").cell_formula({1, 3}), "=Data!C6*2");
    EXPECT_EQ(b.ws("Summary").cell_formula({1, 1}), "=SUM(Data!C6:C8)+'My Sheet'!B2");
    auto notes = data.comments();
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_EQ(notes[0].first, (xl::CellRef{6, 3}));
    // A reference to cells pasted over is lost, as the application loses it.
    xl::Worksheet& mine = b.ws("My Sheet");
    ASSERT_TRUE(mine.cut_cells({1, 3, 1, 3}, {2, 2}).has_value());
    EXPECT_EQ(mine.cell_formula({2, 2}), "=Data!C6*2");
    EXPECT_EQ(b.ws("Summary").cell_formula({1, 1}), "=SUM(Data!C6:C8)+#REF!");
    // The merged C1:D1 moves whole; part of it cannot be cut.
    EXPECT_FALSE(data.cut_cells({1, 4, 1, 4}, {20, 1}).has_value());
    ASSERT_TRUE(data.cut_cells({1, 3, 1, 4}, {20, 1}).has_value());
    std::string out = b.save();
    std::string sheet = part_of(out, "xl/worksheets/sheet1.xml");
    EXPECT_TRUE(contains(sheet, "<mergeCell ref=\"A20:B20\"/>")) << sheet;
    EXPECT_TRUE(contains(part_of(out, "xl/comments1.xml"), "ref=\"C6\""));
}

TEST(StyleMergeNamed, StylesAddedAndSameNamesReplaced) {
    OpenBook b(structure_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    auto src = b.app->workbooks().open(corpus("xlsx/cal-issue127.xlsx"), true);
    ASSERT_TRUE(src.has_value());
    EXPECT_EQ(b.book->style_names(), (std::vector<std::string>{"Normal"}));
    ASSERT_TRUE(b.book->merge_styles(**src, {"Heading", "Result"}).has_value());
    EXPECT_EQ(b.book->style_names(), (std::vector<std::string>{"Normal", "Heading", "Result"}));
    auto missing = b.book->merge_styles(**src, {"無い"});
    ASSERT_FALSE(missing.has_value());
    EXPECT_TRUE(contains(missing.error().message, "スタイル「無い」")) << missing.error().message;
    // Everything: Normal takes the source's definition in place (still entry 0).
    ASSERT_TRUE(b.book->merge_styles(**src, {}).has_value());
    EXPECT_EQ(b.book->style_names().size(), 10u);
    std::string out = b.save();
    std::string styles = part_of(out, "xl/styles.xml");
    EXPECT_TRUE(contains(styles, "<cellStyle name=\"Normal\" xfId=\"0\" builtinId=\"0\"/>"));
    EXPECT_TRUE(contains(styles, "<cellStyles count=\"10\">")) << styles;
    // Merging again changes nothing.
    OpenBook again(out);
    ASSERT_NE(again.book, nullptr) << again.error;
    auto src2 = again.app->workbooks().open(corpus("xlsx/cal-issue127.xlsx"), true);
    ASSERT_TRUE(src2.has_value());
    ASSERT_TRUE(again.book->merge_styles(**src2, {}).has_value());
    EXPECT_TRUE(again.book->saved());
}

TEST(ConditionalFormatPaste, RulesCutMovedAndMerged) {
    OpenBook b(structure_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    xl::Worksheet& mine = b.ws("My Sheet");
    // B2:B3 holds one rule; B3 alone pasted to E10 keeps it for E10, its formula moved.
    auto same = mine.paste_conditional_formats(mine, {3, 2, 3, 2}, {10, 5});
    ASSERT_TRUE(same.has_value()) << same.error().message;
    auto other = b.app->workbooks().add();
    ASSERT_TRUE(other.has_value());
    xl::Worksheet& dest = *(*other)->worksheet(1);
    ASSERT_TRUE(dest.paste_conditional_formats(mine, {1, 1, 3, 3}, {1, 1}).has_value());
    // Nothing to copy from a range without rules.
    ASSERT_TRUE(dest.paste_conditional_formats(mine, {20, 20, 21, 21}, {1, 1}).has_value());
    std::string out = b.save();
    std::string sheet = part_of(out, "xl/worksheets/sheet2.xml");
    EXPECT_TRUE(contains(sheet, "<conditionalFormatting sqref=\"E10\"><cfRule type=\"expression\" "
                                "dxfId=\"0\" priority=\"2\"><formula>E10&gt;Data!$A$1</formula>"))
        << sheet;
    std::string other_path = b.dir.file("other.xlsx");
    ASSERT_TRUE((*other)->save_as(other_path, xl::xlOpenXMLWorkbook).has_value());
    std::string dsheet = part_of(other_path, "xl/worksheets/sheet1.xml");
    EXPECT_TRUE(contains(dsheet, "sqref=\"B2:B3\"")) << dsheet;
    EXPECT_TRUE(contains(dsheet, "<formula>B2&gt;[1]Data!$A$1</formula>")) << dsheet;
    EXPECT_TRUE(contains(part_of(other_path, "xl/styles.xml"), "FFFFC7CE"));
    EXPECT_FALSE(mine.paste_conditional_formats(mine, {1, 1, 3, 3}, {1048576, 1}).has_value());
}

TEST(ConditionalFormatPaste, ADataBarIsCopiedWithoutItsLinkToTheExtension) {
    // A data bar as the application writes it: the rule names its completion in the sheet's
    // extension by id. Copied within the sheet, the copy must not take the id (nor turn the
    // extension's elements into the main namespace).
    EngineTempDir dir;
    const std::string path = dir.file("bar.xlsx");
    {
        auto app = xl::native::create_application();
        auto b = app->workbooks().add();
        ASSERT_TRUE(b.has_value());
        ASSERT_TRUE((*b)->save_as(path, xl::xlOpenXMLWorkbook).has_value());
    }
    {
        auto pkg = xl::native::Package::open_file(path);
        ASSERT_TRUE(pkg.has_value());
        std::string sheet = *(*pkg)->read("xl/worksheets/sheet1.xml");
        const std::string x14 = "http://schemas.microsoft.com/office/spreadsheetml/2009/9/main";
        const std::string id = "{3D0BD2B6-5A35-4C1B-9B3E-2F1F43A0B7C1}";
        std::string block =
            "<conditionalFormatting sqref=\"A1:A5\"><cfRule type=\"dataBar\" priority=\"1\">"
            "<dataBar><cfvo type=\"min\"/><cfvo type=\"max\"/><color rgb=\"FF638EC6\"/></dataBar>"
            "<extLst><ext uri=\"{B025F937-C7B1-47D3-B67F-A62EFF666E3E}\" xmlns:x14=\"" +
            x14 + "\"><x14:id>" + id + "</x14:id></ext></extLst></cfRule></conditionalFormatting>";
        std::string ext =
            "<extLst><ext uri=\"{78C0D931-6437-407d-A8EE-F0AAD7539E65}\" xmlns:x14=\"" + x14 +
            "\"><x14:conditionalFormattings><x14:conditionalFormatting xmlns:xm=\"http://schemas."
            "microsoft.com/office/excel/2006/main\"><x14:cfRule type=\"dataBar\" id=\"" +
            id +
            "\"><x14:dataBar minLength=\"0\" maxLength=\"100\"><x14:cfvo type=\"autoMin\"/>"
            "<x14:cfvo type=\"autoMax\"/></x14:dataBar></x14:cfRule><xm:sqref>A1:A5</xm:sqref>"
            "</x14:conditionalFormatting></x14:conditionalFormattings></ext></extLst>";
        std::size_t at = sheet.find("<pageMargins");
        ASSERT_NE(at, std::string::npos) << sheet;
        sheet.insert(at, block);
        sheet.insert(sheet.rfind("</worksheet>"), ext);
        (*pkg)->write("xl/worksheets/sheet1.xml", sheet);
        ASSERT_TRUE((*pkg)->save(path).has_value());
    }
    OpenBook b(path);
    ASSERT_NE(b.book, nullptr) << b.error;
    xl::Worksheet& ws = *b.book->worksheet(1);
    // The rule is listed once, though the extension completes it.
    EXPECT_EQ(ws.conditional_formats().size(), 1u);
    ASSERT_TRUE(ws.paste_conditional_formats(ws, {1, 1, 5, 1}, {1, 3}).has_value());
    const std::string sheet = part_of(b.save(), "xl/worksheets/sheet1.xml");
    EXPECT_TRUE(contains(sheet,
                         "<conditionalFormatting sqref=\"C1:C5\"><cfRule type=\"dataBar\" "
                         "priority=\"2\"><dataBar><cfvo type=\"min\"/><cfvo type=\"max\"/>"
                         "<color rgb=\"FF638EC6\"/></dataBar></cfRule>"))
        << sheet;
    EXPECT_FALSE(contains(sheet, "<id>")) << sheet;
}

// LibreOffice recalculating the engine's copies and moves gives what its own copy and move give.
TEST(RangePaste, ValuesMatchLibreOfficeDoingTheSameCopyAndMove) {
    if (!office_available()) GTEST_SKIP() << "soffice is not installed";
    OpenBook b(structure_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    xl::Worksheet& data = b.ws("Data");
    xl::Worksheet& mine = b.ws("My Sheet");
    ASSERT_TRUE(data.paste_special(data, {1, 1, 4, 1}, {6, 3}).has_value());
    ASSERT_TRUE(mine.paste_special(b.ws("Summary"), {1, 1, 2, 1}, {5, 2}).has_value());
    ASSERT_TRUE(data.cut_cells({2, 1, 3, 1}, {2, 6}).has_value());
    ASSERT_TRUE(mine.cut_cells({1, 3, 1, 3}, {5, 5}).has_value());
    std::string out = b.save();
    std::string cmd = "cd '" + b.dir.path() + "' && /usr/bin/python3 '" +
                      std::string(SHEAFLOW_TEST_DATA_DIR) + "/lo_copy_compare.py' '" + b.path +
                      "' '" + out +
                      "' copy,0,A1:A4,0,C6 copy,2,A1:A2,1,B5 move,0,A2:A3,0,F2 move,1,C1,1,E5"
                      " > diff.txt 2>&1";
    int status = std::system(cmd.c_str());
    EXPECT_EQ(status, 0) << read_file(b.dir.file("diff.txt"));
}

TEST(RangeClear, ContentsFormatsAndAll) {
    OpenBook b(structure_fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    xl::Worksheet& data = b.ws("Data");
    ASSERT_TRUE(data.clear_cells({1, 1, 2, 1}, xl::kClearContents).has_value());
    EXPECT_TRUE(xl::is_empty(data.cell_value({1, 1})));
    EXPECT_EQ(data.cell_value({3, 1}), xl::Value(3.0));
    ASSERT_TRUE(data.clear_cells({4, 1, 4, 2}, xl::kClearFormats).has_value());
    EXPECT_EQ(data.cell_formula({4, 1}), "=SUM(A1:A3)");
    std::string out = b.save();
    std::string sheet = part_of(out, "xl/worksheets/sheet1.xml");
    // A1 keeps its format without a value; the merged area may be cleared only as a whole.
    EXPECT_TRUE(contains(sheet, "<c r=\"A1\" s=\"1\">")) << sheet;
    EXPECT_FALSE(contains(sheet, "<c r=\"A1\" s=\"1\"><v>")) << sheet;
    EXPECT_FALSE(data.clear_cells({1, 3, 1, 3}, xl::kClearAll).has_value());
    EXPECT_TRUE(data.clear_cells({1, 3, 1, 4}, xl::kClearContents | xl::kClearFormats).has_value());
    EXPECT_FALSE(data.clear_cells({0, 1, 1, 1}, xl::kClearContents).has_value());
    // The note of A1 goes, from the comments part and from its shape.
    ASSERT_EQ(data.comments().size(), 1u);
    auto notes = data.clear_cells({1, 1, 2, 2}, xl::kClearComments);
    ASSERT_TRUE(notes.has_value()) << notes.error().message;
    EXPECT_TRUE(data.comments().empty());
    std::string cleared = b.save("cleared.xlsx");
    EXPECT_FALSE(contains(part_of(cleared, "xl/comments1.xml"), "<comment ref"));
    EXPECT_FALSE(contains(part_of(cleared, "xl/drawings/vmlDrawing1.vml"), "ObjectType=\"Note\""));
}

}  // namespace
}  // namespace sheaflow::testing
