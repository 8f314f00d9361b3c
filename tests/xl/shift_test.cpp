// Inserting and deleting rows and columns: the reference rules on formula texts, the engine on a
// workbook full of dependants, and LibreOffice's own edit as the judge of the computed values.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "structure_helpers.h"
#include "xl/native/shift_refs.h"

namespace sheaflow::testing {
namespace {

using xl::Axis;
using xl::native::LineMap;
using xl::native::RefScope;
using xl::native::shift_formula_refs;

TEST(ShiftRefs, ReferencesMoveAsTheApplicationMovesThem) {
    const RefScope own{"Data", true};    // a formula on the sheet itself
    const RefScope other{"Data", false};  // a formula on another sheet
    LineMap insert3 = LineMap::insertion(3, 2, 1048576);
    LineMap delete3to4 = LineMap::deletion({{4, 4}, {3, 3}}, 1048576);
    struct Case {
        const RefScope& scope;
        const LineMap& map;
        Axis axis;
        const char* before;
        const char* after;
    };
    const Case cases[] = {
        {own, insert3, Axis::Rows, "A1+A3+$B$7", "A1+A5+$B$9"},
        {own, insert3, Axis::Rows, "SUM(A1:A3)", "SUM(A1:A5)"},  // grows when lines go inside
        {own, insert3, Axis::Rows, "SUM(A3:A4)", "SUM(A5:A6)"},
        {own, insert3, Axis::Rows, "SUM(A1:A2)", "SUM(A1:A2)"},  // ends just above
        {own, insert3, Axis::Rows, "SUM(2:3)+SUM(B:B)", "SUM(2:5)+SUM(B:B)"},
        {own, insert3, Axis::Rows, "\"A3\"&Other!A3&[1]Data!A3", "\"A3\"&Other!A3&[1]Data!A3"},
        {own, insert3, Axis::Rows, "Data!A3+'Data'!B4", "Data!A5+'Data'!B6"},
        {own, insert3, Axis::Rows, "SUM(Jan:Data!A3)+LOG10(A3)", "SUM(Jan:Data!A3)+LOG10(A5)"},
        {own, insert3, Axis::Rows, "SUM(Table1[Qty])+MyName+#REF!", "SUM(Table1[Qty])+MyName+#REF!"},
        {other, insert3, Axis::Rows, "A3+Data!A3+data!$A$3:$A$9", "A3+Data!A5+data!$A$5:$A$11"},
        {own, delete3to4, Axis::Rows, "A3+A5+A2", "#REF!+A3+A2"},
        {own, delete3to4, Axis::Rows, "SUM(A2:A6)", "SUM(A2:A4)"},
        {own, delete3to4, Axis::Rows, "SUM(A3:A4)", "SUM(#REF!)"},
        {own, delete3to4, Axis::Rows, "SUM(A4:A9)", "SUM(A3:A7)"},
        {other, delete3to4, Axis::Rows, "Data!A3*2+'Data'!A4:A3", "#REF!*2+#REF!"},
        {own, insert3, Axis::Columns, "B1+C1+SUM(C:D)+SUM(1:2)", "B1+E1+SUM(E:F)+SUM(1:2)"},
        {own, delete3to4, Axis::Columns, "SUM(B1:E1)+D2", "SUM(B1:C1)+#REF!"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(shift_formula_refs(c.before, c.scope, c.axis, c.map), c.after) << c.before;

    // Pushed off the grid: single references go, ranges are cut at the edge.
    LineMap near_end = LineMap::insertion(1048575, 5, 1048576);
    EXPECT_EQ(shift_formula_refs("A1048576+SUM(A1:A1048576)", own, Axis::Rows, near_end),
              "#REF!+SUM(A1:A1048576)");
    EXPECT_EQ(xl::native::shift_sqref("A1:B2 D5 C3:C4 B:B", Axis::Rows, delete3to4), "A1:B2 D3 B:B");
}

// The values LibreOffice computes for the engine's edit equal those of its own edit.
void expect_same_as_office(const std::string& fixture, int sheet, Axis axis, bool insert,
                           std::int32_t first, std::int32_t count) {
    SCOPED_TRACE(fixture + (axis == Axis::Rows ? " rows " : " columns ") +
                 (insert ? "insert " : "delete ") + std::to_string(first) + "+" +
                 std::to_string(count));
    OpenBook b(fixture);
    ASSERT_TRUE(b.book) << b.error;
    xl::Worksheet* ws = b.book->worksheet(sheet + 1);
    ASSERT_NE(ws, nullptr);
    auto r = insert ? ws->insert_lines(axis, first, count)
                    : ws->delete_lines(axis, {{first, first + count - 1}});
    ASSERT_TRUE(r.has_value()) << r.error().message;
    std::string out = b.save();
    std::string cmd = "cd '" + b.dir.path() + "' && /usr/bin/python3 '" +
                      std::string(SHEAFLOW_TEST_DATA_DIR) + "/lo_shift_compare.py' '" + b.path +
                      "' '" + out + "' " + std::to_string(sheet) +
                      (axis == Axis::Rows ? " rows " : " columns ") +
                      (insert ? "insert " : "delete ") + std::to_string(first) + " " +
                      std::to_string(count) + " > diff.txt 2>&1";
    int status = std::system(cmd.c_str());
    EXPECT_EQ(status, 0) << read_file(b.dir.file("diff.txt"));
}

TEST(ShiftLines, ValuesMatchLibreOfficeDoingTheSameEdit) {
    if (!office_available()) GTEST_SKIP() << "soffice is not installed";
    const std::string structure = structure_fixture();
    expect_same_as_office(structure, 0, Axis::Rows, true, 2, 2);
    expect_same_as_office(structure, 0, Axis::Rows, false, 3, 1);
    expect_same_as_office(structure, 0, Axis::Columns, true, 1, 1);
    expect_same_as_office(structure, 3, Axis::Columns, false, 1, 1);
    expect_same_as_office(corpus("xlsx/cal-shared_formula_simple.xlsx"), 0, Axis::Rows, true, 2, 1);
    expect_same_as_office(corpus("xlsx/sjs-formula_stress_test.xlsx"), 7, Axis::Rows, false, 3, 2);
    expect_same_as_office(corpus("xlsx/sjs-named_ranges_2011.xlsx"), 0, Axis::Columns, false, 2, 1);
}

TEST(ShiftLines, DependantsOfTheSheetFollowItsRows) {
    OpenBook b(structure_fixture());
    ASSERT_TRUE(b.book) << b.error;
    xl::Worksheet& data = b.ws("Data");
    ASSERT_TRUE(data.insert_lines(Axis::Rows, 1, 1).has_value());
    ASSERT_TRUE(data.delete_lines(Axis::Rows, {{3, 3}}).has_value());  // old row 2
    EXPECT_EQ(data.cell_formula({4, 1}), "=SUM(A2:A3)");
    EXPECT_EQ(b.ws("Summary").cell_formula({1, 1}), "=SUM(Data!A2:A3)+'My Sheet'!B2");
    EXPECT_EQ(b.ws("My Sheet").cell_formula({1, 3}), "=Data!A2*2");
    EXPECT_EQ(data.line_format(Axis::Rows, 2).size, 30);  // the tall first row moved
    std::string out = b.save();
    std::string sheet1 = part_of(out, "xl/worksheets/sheet1.xml");
    EXPECT_NE(sheet1.find("<mergeCell ref=\"C2:D2\"/>"), std::string::npos);
    EXPECT_NE(sheet1.find("<dimension ref=\"A2:C4\"/>"), std::string::npos);
    EXPECT_NE(part_of(out, "xl/worksheets/sheet2.xml").find("<formula1>Data!$A$2:$A$3</formula1>"),
              std::string::npos);
    EXPECT_NE(part_of(out, "xl/comments1.xml").find("ref=\"A2\""), std::string::npos);

    // The table's header row cannot go; nothing changes when it is refused.
    xl::Worksheet& my = b.ws("My Sheet");
    auto header = my.delete_lines(Axis::Rows, {{1, 1}});
    ASSERT_FALSE(header.has_value());
    EXPECT_EQ(header.error().code, Error::Code::Refused);
    EXPECT_EQ(my.cell_formula({1, 3}), "=Data!A2*2");
    EXPECT_FALSE(my.insert_lines(Axis::Columns, 2, 1).has_value());
}

// Lines inserted at many places as one edit give the package that inserting them one place at a
// time from the bottom up gives.
TEST(ShiftLines, ManyPlacesAtOnceEqualOneAtATime) {
    struct Case {
        std::string fixture;
        int sheet;
        Axis axis;
        std::vector<std::int32_t> before;  // a place given twice takes two lines
    };
    const Case cases[] = {
        {structure_fixture(), 1, Axis::Rows, {2, 3, 3, 5, 9}},
        {structure_fixture(), 1, Axis::Columns, {2, 4, 4}},
        {corpus("xlsx/cal-shared_formula_simple.xlsx"), 1, Axis::Rows, {2, 4, 6, 8, 10, 30}},
        {corpus("xlsx/sjs-חישוב_נקודות_זיכוי.xlsx"), 1, Axis::Rows, {3, 6, 7, 12, 20}},
        {corpus("xlsx/sjs-comments_stress_test.xlsx"), 1, Axis::Rows, {1, 2, 4}},
        {corpus("xlsx/sjs-formula_stress_test.xlsx"), 8, Axis::Rows, {2, 3, 5}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.fixture + (c.axis == Axis::Rows ? " rows" : " columns"));
        OpenBook batch(c.fixture), single(c.fixture);
        ASSERT_TRUE(batch.book) << batch.error;
        ASSERT_TRUE(batch.book->worksheet(c.sheet)
                        ->insert_lines_before(c.axis, c.before)
                        .has_value());
        std::vector<std::int32_t> places = c.before;
        std::sort(places.rbegin(), places.rend());
        for (std::int32_t at : places)
            ASSERT_TRUE(single.book->worksheet(c.sheet)->insert_lines(c.axis, at, 1).has_value());
        const std::string a = batch.save(), b = single.save();
        const std::vector<std::string> names = parts_of(a);
        ASSERT_EQ(names, parts_of(b));
        for (const std::string& part : names) EXPECT_EQ(part_of(a, part), part_of(b, part)) << part;
    }
}

TEST(ShiftLines, RowAndColumnRecords) {
    OpenBook b(structure_fixture());
    ASSERT_TRUE(b.book) << b.error;
    xl::Worksheet& data = b.ws("Data");
    xl::LineFormatChange hide;
    hide.hidden = true;
    hide.outline_level = 1;
    ASSERT_TRUE(data.format_lines(Axis::Rows, {{2, 3}, {7, 7}}, hide).has_value());
    xl::LineFormatChange wide;
    wide.size = 12;
    ASSERT_TRUE(data.format_lines(Axis::Columns, {{2, 4}}, wide).has_value());
    auto rows = data.formatted_lines(Axis::Rows);
    ASSERT_EQ(rows.size(), 4u);  // the tall row 1 and the three hidden ones
    EXPECT_EQ(rows[3].first, (xl::LineSpan{7, 7}));
    EXPECT_TRUE(rows[3].second.hidden);
    EXPECT_EQ(rows[3].second.outline_level, 1);
    EXPECT_DOUBLE_EQ(data.line_format(Axis::Columns, 3).size, 12);
    EXPECT_DOUBLE_EQ(data.line_format(Axis::Columns, 1).size, 20);  // untouched
    // Cells and the sheet's other content are kept.
    EXPECT_EQ(data.cell_formula({4, 1}), "=SUM(A1:A3)");
    std::string out = b.save();
    std::string sheet1 = part_of(out, "xl/worksheets/sheet1.xml");
    EXPECT_NE(sheet1.find("outlineLevelRow=\"1\""), std::string::npos);
    EXPECT_NE(sheet1.find("<col min=\"2\" max=\"4\" width=\"12.7109375\" customWidth=\"1\"/>"),
              std::string::npos)
        << sheet1;
}

}  // namespace
}  // namespace sheaflow::testing
