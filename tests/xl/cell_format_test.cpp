// Cell formats through the object model: reading the effective format, editing it through the
// visitor, entries reused rather than grown, entries that other cells keep left alone, and rich
// text runs; everything read back from the saved package.

#include <gtest/gtest.h>

#include <regex>

#include "engine_helpers.h"
#include "xl/native/engine.h"
#include "xl/native/package.h"

namespace sheaflow::xl::native {
namespace {

using testing::EngineTempDir;

std::string part_of(const std::string& file, const std::string& part) {
    auto pkg = Package::open_file(file);
    if (!pkg) return "<no package>";
    auto bytes = (*pkg)->read(part);
    return bytes ? *bytes : "<no part>";
}

// The count attribute of a styles list.
int list_count(const std::string& styles, const std::string& list) {
    std::smatch m;
    if (!std::regex_search(styles, m, std::regex("<" + list + " count=\"(\\d+)\"")))
        return -1;
    return std::stoi(m[1]);
}

// The s attribute of a cell in a sheet part ("" when none).
std::string cell_style(const std::string& sheet, const std::string& ref) {
    std::smatch m;
    if (!std::regex_search(sheet, m, std::regex("<c r=\"" + ref + "\"[^>]*?s=\"(\\d+)\"")))
        return "";
    return m[1];
}

TEST(CellFormats, edits_share_new_entries_and_leave_other_cells_alone) {
    EngineTempDir dir;
    std::string out = dir.file("out.xlsx");
    int fonts_before = 0, xfs_before = 0;
    {
        auto app = create_application();
        auto b = app->workbooks().add();
        ASSERT_TRUE(b);
        Worksheet* ws = (*b)->worksheet(1);
        for (int r = 1; r <= 3; ++r)
            for (int c = 1; c <= 3; ++c) ASSERT_TRUE(ws->set_cell_value({r, c}, double(r * c)));
        ASSERT_TRUE((*b)->save_as(out, xlOpenXMLWorkbook));
        std::string styles = part_of(out, "xl/styles.xml");
        fonts_before = list_count(styles, "fonts");
        xfs_before = list_count(styles, "cellXfs");

        // Bold red on A1:B2; twice the same edit, so the second finds the entries of the first.
        auto bold_red = [](CellRef, CellFormat& f) {
            f.font.bold = true;
            f.font.colour = 0x0000FF;
        };
        ASSERT_TRUE(ws->format_cells({1, 1, 2, 2}, true, bold_red));
        ASSERT_TRUE(ws->format_cells({1, 1, 2, 2}, true, bold_red));
        // A border and a fill on B2 only, a number format and alignment on C3, and an empty
        // cell D5 given a fill.
        ASSERT_TRUE(ws->format_cells({2, 2, 2, 2}, true, [](CellRef, CellFormat& f) {
            f.border.bottom = {"double", 0xFF0000};
            f.fill.pattern = "solid";
            f.fill.colour = 0x00FFFF;
        }));
        ASSERT_TRUE(ws->format_cells({3, 3, 3, 3}, true, [](CellRef, CellFormat& f) {
            f.number_format = "#,##0.00";
            f.alignment.horizontal = "center";
            f.alignment.wrap = true;
            f.font.name = "ＭＳ 明朝";
        }));
        ASSERT_TRUE(ws->format_cells({5, 4, 5, 4}, true, [](CellRef, CellFormat& f) {
            f.fill.pattern = "solid";
            f.fill.colour = 0x00FFFF;
        }));
        // Without blanks, an empty position is not visited.
        int visited = 0;
        ASSERT_TRUE(ws->format_cells({6, 1, 9, 9}, false, [&](CellRef, CellFormat&) { ++visited; }));
        EXPECT_EQ(visited, 0);

        CellFormat a1 = ws->cell_format({1, 1});
        EXPECT_TRUE(a1.font.bold);
        EXPECT_EQ(a1.font.colour, 0x0000FF);
        CellFormat b2 = ws->cell_format({2, 2});
        EXPECT_TRUE(b2.font.bold);
        EXPECT_EQ(b2.border.bottom.style, "double");
        EXPECT_EQ(b2.border.bottom.colour, 0xFF0000);
        EXPECT_EQ(b2.fill.colour, 0x00FFFF);
        EXPECT_EQ(ws->cell_text({3, 3}), "9.00");  // the new number format shows at once
        EXPECT_FALSE(ws->cell_format({3, 1}).font.bold);
        ASSERT_TRUE((*b)->save_as(out, xlOpenXMLWorkbook));
    }
    std::string styles = part_of(out, "xl/styles.xml");
    std::string sheet = part_of(out, "xl/worksheets/sheet1.xml");
    // One bold red font and one ＭＳ 明朝 font added; the repeated edit added nothing.
    EXPECT_EQ(list_count(styles, "fonts"), fonts_before + 2);
    // xfs: bold red, bold red + border + fill, number format, fill alone.
    EXPECT_EQ(list_count(styles, "cellXfs"), xfs_before + 4);
    EXPECT_EQ(cell_style(sheet, "A1"), cell_style(sheet, "B1"));
    EXPECT_NE(cell_style(sheet, "A1"), cell_style(sheet, "B2"));
    EXPECT_EQ(cell_style(sheet, "C1"), "");  // untouched cells keep no format
    EXPECT_NE(cell_style(sheet, "D5"), "");
    // "#,##0.00" is built-in format 4: no numFmt entry is added for it.
    EXPECT_NE(styles.find("numFmtId=\"4\""), std::string::npos);
    EXPECT_EQ(styles.find("formatCode=\"#,##0.00\""), std::string::npos);
    EXPECT_NE(styles.find("<bottom style=\"double\"><color rgb=\"FF0000FF\"/></bottom>"),
              std::string::npos);
    EXPECT_NE(styles.find("wrapText=\"1\""), std::string::npos);
    EXPECT_NE(styles.find("<name val=\"ＭＳ 明朝\"/>"), std::string::npos);

    // Read back by a fresh engine.
    auto app = create_application();
    auto b = app->workbooks().open(out, true);
    ASSERT_TRUE(b);
    Worksheet* ws = (*b)->worksheet(1);
    EXPECT_TRUE(ws->cell_format({2, 1}).font.bold);
    EXPECT_EQ(ws->cell_format({3, 3}).number_format, "#,##0.00");
    EXPECT_EQ(ws->cell_format({3, 3}).alignment.horizontal, "center");
    EXPECT_EQ(ws->cell_format({5, 4}).fill.pattern, "solid");
    EXPECT_EQ((*b)->cell_style_names().size(), 1u);
}

TEST(CellFormats, theme_colours_and_schemes_not_edited_stay_as_written) {
    EngineTempDir dir;
    std::string out = dir.file("out.xlsx");
    auto app = create_application();
    auto b = app->workbooks().add();
    ASSERT_TRUE(b);
    Worksheet* ws = (*b)->worksheet(1);
    ASSERT_TRUE(ws->set_cell_value({1, 1}, std::string("x")));
    ASSERT_TRUE(ws->format_cells({1, 1, 1, 1}, true, [](CellRef, CellFormat& f) {
        f.font.italic = true;
    }));
    ASSERT_TRUE((*b)->save_as(out, xlOpenXMLWorkbook));
    std::string styles = part_of(out, "xl/styles.xml");
    // The new font is the default font (theme colour, minor scheme) plus italics.
    EXPECT_NE(styles.find("<font><i/><sz val=\"11\"/><color theme=\"1\"/>"), std::string::npos)
        << styles;
    EXPECT_NE(styles.find("<scheme val=\"minor\"/></font></fonts>"), std::string::npos);
}

TEST(CellFormats, rich_text_runs_are_written_and_read_back) {
    EngineTempDir dir;
    std::string out = dir.file("out.xlsx");
    {
        auto app = create_application();
        auto b = app->workbooks().add();
        ASSERT_TRUE(b);
        Worksheet* ws = (*b)->worksheet(1);
        ASSERT_TRUE(ws->set_cell_value({1, 1}, std::string("東京都港区")));
        FontFormat red;
        red.name = "游ゴシック";
        red.size = 14;
        red.bold = true;
        red.colour = 0x0000FF;
        ASSERT_TRUE(ws->set_text_runs({1, 1}, {{"東京都", std::nullopt}, {"港区", red}}));
        // A plain string equal to the rich text's plain text stays plain.
        ASSERT_TRUE(ws->set_cell_value({2, 1}, std::string("東京都港区")));
        ASSERT_TRUE((*b)->save_as(out, xlOpenXMLWorkbook));
    }
    std::string sst = part_of(out, "xl/sharedStrings.xml");
    EXPECT_NE(sst.find("<r><rPr><b/><sz val=\"14\"/><color rgb=\"FFFF0000\"/>"
                       "<rFont val=\"游ゴシック\"/></rPr><t xml:space=\"preserve\">港区</t></r>"),
              std::string::npos)
        << sst;
    auto app = create_application();
    auto b = app->workbooks().open(out, true);
    ASSERT_TRUE(b);
    Worksheet* ws = (*b)->worksheet(1);
    EXPECT_EQ(ws->cell_text({1, 1}), "東京都港区");
    auto runs = ws->text_runs({1, 1});
    ASSERT_EQ(runs.size(), 2u);
    EXPECT_FALSE(runs[0].font);
    ASSERT_TRUE(runs[1].font);
    EXPECT_TRUE(runs[1].font->bold);
    EXPECT_EQ(runs[1].font->size, 14);
    EXPECT_EQ(runs[1].font->colour, 0x0000FF);
    EXPECT_EQ(ws->text_runs({2, 1}).size(), 1u);
}

TEST(CellFormats, corpus_workbook_formats_keep_every_other_part) {
    std::string src = testing::corpus("xlsx/xw-unicode_shift_jis.xlsx");
    EngineTempDir dir;
    std::string out = dir.file("out.xlsx");
    auto app = create_application();
    auto b = app->workbooks().open(src, false);
    ASSERT_TRUE(b) << b.error().message;
    Worksheet* ws = (*b)->worksheet(1);
    Area used = ws->used_range();
    ASSERT_TRUE(ws->format_cells(used, false, [](CellRef, CellFormat& f) { f.font.size = 20; }));
    ASSERT_TRUE((*b)->save_as(out, xlOpenXMLWorkbook));
    auto again = app->workbooks().open(out, true);
    ASSERT_TRUE(again);
    Worksheet* ws2 = (*again)->worksheet(1);
    int cells = 0;
    ws2->for_each_cell(used, [&](CellRef c) {
        ++cells;
        EXPECT_EQ(ws2->cell_format(c).font.size, 20);
        EXPECT_EQ(ws2->cell_text(c), ws->cell_text(c));
    });
    EXPECT_GT(cells, 0);
}

}  // namespace
}  // namespace sheaflow::xl::native
