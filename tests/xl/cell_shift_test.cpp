// Cells shifted up, down, left or right inside some columns or rows: references into the band
// follow, references outside it stay, range lists are split at the band's edges, what the
// application refuses is refused, and the values and validated cells LibreOffice gives for the
// result equal those of its own edit.

#include <gtest/gtest.h>

#include <cstdlib>

#include "structure_helpers.h"
#include "xl/native/package.h"
#include "xl/native/shift_refs.h"

namespace sheaflow::testing {
namespace {

using xl::Axis;
using xl::native::LineMap;
using xl::native::RefScope;
using xl::native::shift_formula_refs;

TEST(CellShift, references_move_only_inside_the_band) {
    const RefScope own{"Data", true};
    // B2:C2 deleted with the cells below moving up (columns B:C).
    LineMap up = LineMap::deletion({{2, 2}}, 1048576).within({2, 3});
    struct Case {
        const char* before;
        const char* after;
    };
    const Case cases[] = {
        {"B5+A5+D5", "B4+A5+D5"},
        {"SUM(B3:C9)", "SUM(B2:C8)"},
        {"SUM(A3:C9)", "SUM(A3:C9)"},  // wider than the band: stays
        {"B2*2", "#REF!*2"},
        {"SUM(B:B)+SUM(3:4)", "SUM(B:B)+SUM(3:4)"},
        {"$C$10", "$C$9"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(shift_formula_refs(c.before, own, Axis::Rows, up), c.after) << c.before;
    // Rows 2..3 get two cells inserted at column C, moving right.
    LineMap right = LineMap::insertion(3, 2, 16384).within({2, 3});
    EXPECT_EQ(shift_formula_refs("C2+C4+SUM(C2:D3)+B2", own, Axis::Columns, right),
              "E2+C4+SUM(E2:F3)+B2");
    EXPECT_EQ(xl::native::shift_sqref("B3:C5 A3:C5 B7", Axis::Rows, up), "B2:C4 A3:C5 B6");
}

TEST(CellShift, range_lists_split_at_the_edges_of_the_band) {
    // B2:C2 deleted upwards; then two cells inserted at C2:C3 moving right.
    LineMap up = LineMap::deletion({{2, 2}}, 1048576).within({2, 3});
    LineMap right = LineMap::insertion(3, 2, 16384).within({2, 3});
    struct Case {
        const char* before;
        const LineMap& map;
        Axis axis;
        const char* after;
    };
    const Case cases[] = {
        // Across both edges: the outer parts stay, the part inside moves up; the part holding
        // the first cell stays first.
        {"A3:E5", up, Axis::Rows, "A3:A5 B2:C4 D3:E5"},
        // Across one edge, and an area above the deleted line that does not move at all.
        {"C1:D9 A1:E1", up, Axis::Rows, "C1:C8 D1:D9 A1:E1"},
        // The part inside the band deleted entirely.
        {"A2:D2", up, Axis::Rows, "A2 D2"},
        // Rows 1..4 across the band of rows 2..3 moving right.
        {"C1:C4", right, Axis::Columns, "C1 E2:E3 C4"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(xl::native::shift_sqref(c.before, c.axis, c.map, true), c.after) << c.before;
    // Without splitting (a single reference), an area wider than the band stays as it is.
    EXPECT_EQ(xl::native::shift_sqref("A3:E5", Axis::Rows, up), "A3:E5");
}

std::string read_part(const std::string& file, const std::string& name) {
    auto pkg = xl::native::Package::open_file(file);
    if (!pkg) return "";
    auto text = (*pkg)->read(name);
    return text ? *text : "";
}

// A sheet with values in A1:D6 and formulas reading them; optionally a validation over A1:D6,
// which every band of the comparisons with LibreOffice cuts through.
std::string make_book(const std::string& path, bool with_validation = false) {
    auto app = xl::native::create_application();
    auto b = app->workbooks().add();
    xl::Worksheet* ws = (*b)->worksheet(1);
    for (int r = 1; r <= 6; ++r)
        for (int c = 1; c <= 4; ++c) (void)ws->set_cell_value({r, c}, double(r * 10 + c));
    (void)ws->set_cell_formula({8, 1}, "=SUM(B1:C6)");
    (void)ws->set_cell_formula({8, 2}, "=B4+A4+D4");
    (void)ws->set_cell_formula({8, 3}, "=C2*2");
    (void)ws->set_cell_value({1, 6}, std::string("merged"));
    if (with_validation) {
        xl::Validation v;
        v.sqref = "A1:D6";
        v.type = "whole";
        v.formula1 = "0";
        v.formula2 = "1000";
        EXPECT_TRUE(ws->add_validation(v).has_value());
    }
    (void)(*b)->save_as(path, xl::xlOpenXMLWorkbook);
    return path;
}

TEST(CellShift, cells_move_inside_the_band_and_the_rest_stays) {
    EngineTempDir dir;
    OpenBook b(make_book(dir.file("src.xlsx")));
    ASSERT_TRUE(b.book) << b.error;
    xl::Worksheet& ws = *b.book->worksheet(1);
    ASSERT_TRUE(ws.delete_cells(Axis::Rows, {2, 2, 3, 3}).has_value());  // B2:C3 up
    EXPECT_EQ(ws.cell_formula({2, 2}), "42");  // B4 moved to B2
    EXPECT_EQ(ws.cell_formula({2, 1}), "21");  // A2 stays
    EXPECT_EQ(ws.cell_formula({2, 4}), "24");  // D2 stays
    EXPECT_EQ(ws.cell_formula({5, 2}), "");    // B5 and B6 are empty now
    // A8 stays; B8 and C8 are in the moving columns and go up with them.
    EXPECT_EQ(ws.cell_formula({8, 1}), "=SUM(B1:C4)");
    EXPECT_EQ(ws.cell_formula({6, 2}), "=B2+A4+D4");
    EXPECT_EQ(ws.cell_formula({6, 3}), "=#REF!*2");
    EXPECT_EQ(ws.cell_formula({8, 2}), "");
    ASSERT_TRUE(ws.insert_cells(Axis::Columns, {1, 1, 1, 2}).has_value());  // A1:B1 right
    EXPECT_EQ(ws.cell_formula({1, 3}), "11");
    EXPECT_EQ(ws.cell_formula({1, 6}), "14");
    EXPECT_EQ(ws.cell_formula({1, 8}), "merged");
    EXPECT_EQ(ws.cell_formula({2, 1}), "21");
    std::string out = b.save();
    // Read back: the sheet's rows are in order and each cell sits in its own row element.
    OpenBook again(out, "again.xlsx");
    ASSERT_TRUE(again.book) << again.error;
    EXPECT_EQ(again.book->worksheet(1)->cell_formula({2, 2}), "42");
    EXPECT_EQ(again.book->worksheet(1)->cell_formula({4, 3}), "63");
}

TEST(CellShift, cutting_merged_cells_is_refused) {
    OpenBook m(corpus("xlsx/xw-merge_cells01.xlsx"));
    ASSERT_TRUE(m.book) << m.error;
    xl::Worksheet& ws = *m.book->worksheet(1);
    // The corpus book merges A1:A2, B1:B2...: moving row 1's cells alone would cut them.
    auto r = ws.delete_cells(Axis::Columns, {1, 1, 1, 1});
    ASSERT_FALSE(r.has_value());
    EXPECT_EQ(r.error().message, "結合セルの一部を移動することはできません（セル A1:A2）。");
    ASSERT_TRUE(ws.delete_cells(Axis::Columns, {1, 1, 2, 1}).has_value());
    std::string out = m.save();
    std::string sheet = read_part(out, "xl/worksheets/sheet1.xml");
    EXPECT_NE(sheet.find("<mergeCells count=\"3\"><mergeCell ref=\"A1:A2\"/><mergeCell "
                         "ref=\"B1:B2\"/><mergeCell ref=\"C1:C2\"/></mergeCells>"),
              std::string::npos)
        << sheet;
}

void expect_same_as_office(const std::string& fixture, int sheet, Axis axis, bool insert,
                           std::int32_t first, std::int32_t count, xl::LineSpan band) {
    SCOPED_TRACE(fixture);
    OpenBook b(fixture);
    ASSERT_TRUE(b.book) << b.error;
    xl::Worksheet* ws = b.book->worksheet(sheet + 1);
    xl::Area a = axis == Axis::Rows ? xl::Area{first, band.first, first + count - 1, band.last}
                                    : xl::Area{band.first, first, band.last, first + count - 1};
    auto r = insert ? ws->insert_cells(axis, a) : ws->delete_cells(axis, a);
    ASSERT_TRUE(r.has_value()) << r.error().message;
    std::string out = b.save();
    std::string cmd = "cd '" + b.dir.path() + "' && /usr/bin/python3 '" +
                      std::string(SHEAFLOW_TEST_DATA_DIR) + "/lo_shift_compare.py' '" + b.path +
                      "' '" + out + "' " + std::to_string(sheet) +
                      (axis == Axis::Rows ? " rows " : " columns ") +
                      (insert ? "insert " : "delete ") + std::to_string(first) + " " +
                      std::to_string(count) + " " + std::to_string(band.first) + " " +
                      std::to_string(band.last) + " > diff.txt 2>&1";
    EXPECT_EQ(std::system(cmd.c_str()), 0) << read_file(b.dir.file("diff.txt"));
}

TEST(CellShift, values_match_libreoffice_shifting_the_same_cells) {
    if (std::system("command -v soffice >/dev/null 2>&1") != 0) GTEST_SKIP() << "no soffice";
    EngineTempDir dir;
    // The values, and the cells under the validation (split where the band cuts it).
    std::string made = make_book(dir.file("made.xlsx"), true);
    expect_same_as_office(made, 0, Axis::Rows, false, 2, 2, {2, 3});
    expect_same_as_office(made, 0, Axis::Rows, true, 3, 1, {1, 2});
    expect_same_as_office(made, 0, Axis::Columns, false, 1, 1, {2, 4});
    expect_same_as_office(made, 0, Axis::Columns, true, 2, 2, {1, 3});
    expect_same_as_office(corpus("xlsx/sjs-formula_stress_test.xlsx"), 7, Axis::Rows, false, 3, 2,
                          {1, 2});
}

}  // namespace
}  // namespace sheaflow::testing
