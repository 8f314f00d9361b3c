// Writing cells and saving: changed cells come back after a reopen, everything else stays as it
// was, the calculation chain goes and a recalculation is requested, shared strings keep their
// indices, and a failed save leaves the target untouched.

#include <gtest/gtest.h>

#include "engine_helpers.h"
#include "xl/native/engine.h"
#include "xl/native/package.h"
#include "util/safe_save.h"

namespace sheaflow::xl::native {
namespace {

using testing::EngineTempDir;

std::string fixture(const std::string& name) {
    return std::string(SHEAFLOW_TEST_DATA_DIR) + "/engine/" + name;
}

std::string part_of(const std::string& file, const std::string& part) {
    auto pkg = Package::open_file(file);
    if (!pkg) return "<no package>";
    auto bytes = (*pkg)->read(part);
    return bytes ? *bytes : "<no part>";
}

TEST(EngineWrite, changed_cells_survive_a_reopen_and_the_rest_stays) {
    EngineTempDir dir;
    std::string out = dir.file("out.xlsx");
    {
        auto app = create_application();
        auto b = app->workbooks().open(fixture("cells.xlsx"), false);
        ASSERT_TRUE(b) << b.error().message;
        Worksheet* ws = (*b)->worksheet(1);
        ASSERT_TRUE(ws->range("B1")->set_value(456.0));
        ASSERT_TRUE(ws->range("A1")->set_value(std::string("大阪府")));
        ASSERT_TRUE(ws->range("H2")->set_value(std::string("新規")));  // beyond the row's spans
        ASSERT_TRUE(ws->range("A20")->set_value(7.0));                 // a new row at the end
        ASSERT_TRUE(ws->range("A8")->set_value(true));                 // a new row in between
        ASSERT_TRUE(ws->range("C3")->set_formula("=B3*100"));          // shared formula's own cell
        ASSERT_TRUE(ws->range("A6")->set_value(std::string("改行\n後")));
        EXPECT_FALSE((*b)->saved());
        auto r = (*b)->save_as(out, xlOpenXMLWorkbook);
        ASSERT_TRUE(r) << r.error().message;
        EXPECT_TRUE((*b)->saved());
        EXPECT_EQ((*b)->name(), "out.xlsx");
    }
    auto app = create_application();
    auto b = app->workbooks().open(out, true);
    ASSERT_TRUE(b) << b.error().message;
    Worksheet* ws = (*b)->worksheet(1);
    EXPECT_EQ(ws->cell_value({1, 2}), Value(456.0));
    EXPECT_EQ(ws->cell_value({1, 1}), Value(std::string("大阪府")));
    EXPECT_EQ(ws->cell_value({2, 8}), Value(std::string("新規")));
    EXPECT_EQ(ws->cell_value({20, 1}), Value(7.0));
    EXPECT_EQ(ws->cell_value({8, 1}), Value(true));
    EXPECT_EQ(ws->cell_value({6, 1}), Value(std::string("改行\n後")));
    EXPECT_EQ(ws->cell_formula({3, 3}), "=B3*100");
    // The other cells of the shared formula still read as before.
    EXPECT_EQ(ws->cell_formula({4, 3}), "=B4*10");
    EXPECT_EQ(ws->cell_formula({5, 3}), "=B5*10");
    // Untouched cells, including those after the changes in the same rows.
    EXPECT_EQ(ws->cell_value({1, 3}), Value(DateTime{45292}));
    EXPECT_EQ(ws->cell_value({1, 6}), Value(std::string("インライン")));
    EXPECT_EQ(ws->cell_value({3, 5}), Value(std::string("ＡＢＣ")));
    EXPECT_EQ(ws->cell_formula({3, 4}), "=B3:B4*2");
    EXPECT_EQ((*b)->worksheet(2)->cell_value({1, 1}), Value(std::string("一")));

    // Parts nobody changed are the same; the calculation chain is gone everywhere.
    for (const char* part : {"xl/styles.xml", "xl/comments1.xml", "xl/worksheets/sheet2.xml",
                             "xl/chartsheets/sheet1.xml"})
        EXPECT_EQ(part_of(out, part), part_of(fixture("cells.xlsx"), part)) << part;
    EXPECT_EQ(part_of(out, "xl/calcChain.xml"), "<no part>");
    EXPECT_EQ(part_of(out, "xl/_rels/workbook.xml.rels").find("calcChain"), std::string::npos);
    EXPECT_EQ(part_of(out, "[Content_Types].xml").find("calcChain"), std::string::npos);
    std::string wb = part_of(out, "xl/workbook.xml");
    EXPECT_NE(wb.find("fullCalcOnLoad=\"1\""), std::string::npos);
    EXPECT_NE(wb.find("<?keep-me instruction?>"), std::string::npos);
    EXPECT_NE(wb.find("<definedName name=\"範囲\">'データ'!$A$1:$C$5</definedName>"),
              std::string::npos);
    // Unknown attributes of rows and cells stay.
    std::string sheet = part_of(out, "xl/worksheets/sheet1.xml");
    EXPECT_NE(sheet.find("x14ac:dyDescent=\"0.15\""), std::string::npos);
    EXPECT_NE(sheet.find("ph=\"1\""), std::string::npos);
    // Strings keep their indices: entry 0 is still 東京都 though no cell uses it now.
    std::string sst = part_of(out, "xl/sharedStrings.xml");
    EXPECT_EQ(sst.find("<si><t>東京都</t></si>"), sst.find("<si>"));
    EXPECT_NE(sst.find("uniqueCount=\"10\""), std::string::npos);
    EXPECT_NE(sst.find("<si><t>一行目&#13;\n二行目</t></si>"), std::string::npos);
}

TEST(EngineWrite, a_string_replaced_everywhere_changes_the_string_table_not_the_sheets) {
    EngineTempDir dir;
    std::string out = dir.file("out.xlsx");
    {
        auto app = create_application();
        auto b = app->workbooks().open(fixture("cells.xlsx"), false);
        ASSERT_TRUE(b);
        for (int i = 1; i <= (*b)->worksheet_count(); ++i) {
            ReplaceOptions o;
            o.what = "abc";  // entry 4, used by E4 alone
            o.replacement = "xyz";
            o.look_at = xlWhole;
            o.match_byte = true;
            ASSERT_TRUE((*b)->worksheet(i)->cells().replace(o));
        }
        // 東京都 (entry 0) is also used on the other sheet: replacing it on one sheet only
        // must leave that sheet's cell as it reads now.
        ReplaceOptions o;
        o.what = "東京都";
        o.replacement = "大阪府";
        ASSERT_TRUE((*b)->worksheet(1)->cells().replace(o));
        ASSERT_TRUE((*b)->save_as(out, xlOpenXMLWorkbook));
        EXPECT_EQ((*b)->worksheet(1)->cell_value({4, 5}), Value(std::string("xyz")));
    }
    std::string sst = part_of(out, "xl/sharedStrings.xml");
    EXPECT_NE(sst.find("<si><t>xyz</t></si><si><t>ＡＢＣ</t></si>"), std::string::npos) << sst;
    EXPECT_EQ(sst.find("abc"), std::string::npos);
    EXPECT_NE(sst.find("uniqueCount=\"8\""), std::string::npos);  // 大阪府 appended
    EXPECT_NE(part_of(out, "xl/worksheets/sheet1.xml"),
              part_of(fixture("cells.xlsx"), "xl/worksheets/sheet1.xml"));
    EXPECT_EQ(part_of(out, "xl/worksheets/sheet2.xml"),
              part_of(fixture("cells.xlsx"), "xl/worksheets/sheet2.xml"));
    auto app = create_application();
    auto b = app->workbooks().open(out, true);
    ASSERT_TRUE(b);
    EXPECT_EQ((*b)->worksheet(1)->cell_value({4, 5}), Value(std::string("xyz")));
    EXPECT_EQ((*b)->worksheet(1)->cell_value({1, 1}), Value(std::string("大阪府")));
    EXPECT_EQ((*b)->worksheet(2)->cell_value({3, 2}), Value(std::string("東京都")));
}

TEST(EngineWrite, only_the_string_table_changes_when_every_use_of_a_string_is_replaced) {
    EngineTempDir dir;
    std::string out = dir.file("out.xlsx");
    auto app = create_application();
    auto b = app->workbooks().open(fixture("cells.xlsx"), false);
    ASSERT_TRUE(b);
    ReplaceOptions o;
    o.what = "abc";
    o.replacement = "xyz";
    o.look_at = xlWhole;
    o.match_byte = true;
    for (int i = 1; i <= (*b)->worksheet_count(); ++i)
        ASSERT_TRUE((*b)->worksheet(i)->cells().replace(o));
    ASSERT_TRUE((*b)->save_as(out, xlOpenXMLWorkbook));
    // The cell keeps its index; the entry took the new text.
    EXPECT_EQ(part_of(out, "xl/worksheets/sheet1.xml"),
              part_of(fixture("cells.xlsx"), "xl/worksheets/sheet1.xml"));
    EXPECT_NE(part_of(out, "xl/sharedStrings.xml").find("uniqueCount=\"7\""), std::string::npos);
}

TEST(EngineWrite, values_as_typed_and_cells_off_the_grid) {
    auto app = create_application();
    auto b = app->workbooks().add();
    ASSERT_TRUE(b);
    Worksheet* ws = (*b)->worksheet(1);
    struct Case {
        const char* typed;
        Value value;
        const char* formula;
    } cases[] = {
        {"123", 123.0, "123"},
        {"-1.5", -1.5, "-1.5"},
        {"007", 7.0, "7"},
        {"abc", std::string("abc"), "abc"},
        {"true", true, "TRUE"},
        {"#N/A", CellError{"#N/A"}, "#N/A"},
        {"=A1+1", Value{}, "=A1+1"},
        {"'123", std::string("123"), "123"},
        {"1,000", std::string("1,000"), "1,000"},
        {"", Value{}, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.typed);
        ASSERT_TRUE(ws->range("B2")->set_value(std::string(c.typed)));
        EXPECT_EQ(ws->range("B2")->value(), c.value);
        EXPECT_EQ(ws->range("B2")->formula(), c.formula);
    }
    EXPECT_FALSE(ws->set_cell_value({0, 1}, 1.0));
    EXPECT_FALSE(ws->set_cell_value({1048577, 1}, 1.0));
    EXPECT_FALSE(ws->set_cell_value({1, 16385}, 1.0));
    EXPECT_EQ(ws->cell_value({1048577, 1}), Value{});
}

TEST(EngineWrite, an_array_formula_refuses_changes_to_its_other_cells) {
    auto app = create_application();
    auto b = app->workbooks().open(fixture("cells.xlsx"), false);
    ASSERT_TRUE(b);
    Worksheet* ws = (*b)->worksheet(1);
    auto r = ws->range("D4")->set_value(1.0);
    ASSERT_FALSE(r);
    EXPECT_EQ(r.error().code, Error::Code::Refused);
    EXPECT_EQ(ws->cell_value({4, 4}), Value(4.0));
}

TEST(EngineWrite, a_new_workbook_saves_as_a_package_that_reopens) {
    EngineTempDir dir;
    auto app = create_application();
    auto b = app->workbooks().add();
    ASSERT_TRUE(b);
    Worksheet* ws = (*b)->worksheet(1);
    ASSERT_TRUE(ws->range("A1")->set_value(std::string("見出し")));
    ASSERT_TRUE(ws->range("B2")->set_value(2.5));
    ASSERT_TRUE((*b)->save_as(dir.file("new.xlsx"), xlOpenXMLWorkbook));
    auto again = app->workbooks().open(dir.file("new.xlsx"), true);
    // The saved book is the one already open under that name.
    ASSERT_TRUE(again);
    auto app2 = create_application();
    auto reopened = app2->workbooks().open(dir.file("new.xlsx"), true);
    ASSERT_TRUE(reopened) << reopened.error().message;
    EXPECT_EQ((*reopened)->worksheet(1)->cell_value({1, 1}), Value(std::string("見出し")));
    EXPECT_EQ((*reopened)->worksheet(1)->cell_value({2, 2}), Value(2.5));
}

TEST(EngineWrite, a_failed_save_leaves_the_target_as_it_was) {
    EngineTempDir dir;
    std::string target = dir.file("target.xlsx");
    testing::write_file(target, testing::read_file(fixture("cells.xlsx")));
    std::string before = testing::read_file(target);
    for (const char* stage : {"write", "sync", "rename"}) {
        SCOPED_TRACE(stage);
        auto app = create_application();
        auto b = app->workbooks().open(target, false);
        ASSERT_TRUE(b);
        ASSERT_TRUE((*b)->worksheet(1)->range("A1")->set_value(1.0));
        std::string failing = stage;
        file::detail::save_fault_hook = [&](std::string_view s) { return s != failing; };
        auto r = (*b)->save_as(target, xlOpenXMLWorkbook);
        file::detail::save_fault_hook = nullptr;
        ASSERT_FALSE(r);
        EXPECT_EQ(r.error().code, Error::Code::Io);
        EXPECT_EQ(testing::read_file(target), before);
        // Nothing is left beside the target.
        int files = 0;
        for (const auto& e : std::filesystem::directory_iterator(dir.path())) {
            (void)e;
            ++files;
        }
        EXPECT_EQ(files, 1);
    }
    auto app = create_application();
    auto b = app->workbooks().open(target, false);
    ASSERT_TRUE(b);
    EXPECT_FALSE((*b)->save_as(dir.path() + "/missing/x.xlsx", xlOpenXMLWorkbook));
    EXPECT_FALSE((*b)->save_as(dir.file("x.xls"), xlExcel8));
}

TEST(EngineWrite, macro_workbooks_keep_or_drop_their_project_by_format) {
    std::string src = testing::corpus("xlsm/xw-macro01.xlsm");
    if (!std::filesystem::exists(src)) GTEST_SKIP() << "no corpus";
    EngineTempDir dir;
    auto app = create_application();
    auto b = app->workbooks().open(src, true);
    ASSERT_TRUE(b) << b.error().message;
    ASSERT_TRUE((*b)->save_as(dir.file("keep.xlsm"), xlOpenXMLWorkbookMacroEnabled));
    EXPECT_EQ(testing::package_difference(src, dir.file("keep.xlsm")), "");
    ASSERT_TRUE((*b)->save_as(dir.file("drop.xlsx"), xlOpenXMLWorkbook));
    std::string out = dir.file("drop.xlsx");
    EXPECT_EQ(part_of(out, "xl/vbaProject.bin"), "<no part>");
    std::string types = part_of(out, "[Content_Types].xml");
    EXPECT_EQ(types.find("macroEnabled"), std::string::npos);
    EXPECT_NE(types.find("spreadsheetml.sheet.main+xml"), std::string::npos);
    EXPECT_EQ(part_of(out, "xl/_rels/workbook.xml.rels").find("vbaProject"), std::string::npos);
    auto app2 = create_application();
    EXPECT_TRUE(app2->workbooks().open(out, true));
}

}  // namespace
}  // namespace sheaflow::xl::native
