// The edit operations through the driver on copies of real workbooks: sheets copied from a
// source workbook and within a target, ranges cleared, cells, rows and columns pasted (from the
// target itself and from another workbook), notes written into cells; what they wrote is read
// back by a new engine, and bad panes and sources give their messages.

#include <gtest/gtest.h>

#include "object_run.h"
#include "xl/native/package.h"

namespace sheaflow::test {
namespace {

class EditOpsTest : public OperationRunTest {
protected:
    std::string structure() const { return std::string(SHEAFLOW_TEST_DATA_DIR) + "/structure.xlsx"; }
    // A copy of the structure workbook beside the targets that is not one of them.
    std::string source() {
        std::filesystem::create_directories(dir_ / "src");
        std::filesystem::path p = dir_ / "src" / "source.xlsx";
        std::filesystem::copy_file(structure(), p, std::filesystem::copy_options::overwrite_existing);
        return p.string();
    }
    struct Opened {
        std::unique_ptr<xl::Application> app;
        xl::Workbook* book = nullptr;
    };
    Opened open(const std::string& name) {
        Opened o{xl::native::create_application(), nullptr};
        auto b = o.app->workbooks().open((dir_ / name).string(), true);
        EXPECT_TRUE(b.has_value());
        if (b) o.book = *b;
        return o;
    }
    static std::vector<std::string> names(xl::Workbook& b) {
        std::vector<std::string> out;
        for (int i = 1; i <= b.worksheet_count(); ++i) out.push_back(b.worksheet(i)->name());
        return out;
    }
};

TEST_F(EditOpsTest, SheetCopiedFromASourceAndWithinTheTarget) {
    add_target(std::string(SHEAFLOW_CORPUS_DIR) + "/xlsx/xw-panes01.xlsx", "p.xlsx");
    auto out = run("編集", "コピー_シート１",
                   {{"source_file", source()}, {"source_sheet", "My Sheet"}, {"where", "front"},
                    {"name", "取込"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    {
        auto o = open("p.xlsx");
        ASSERT_NE(o.book, nullptr);
        EXPECT_EQ(o.book->worksheet(1)->name(), "取込");
        EXPECT_EQ(o.book->worksheet_count(), 14);
        // A reference to another sheet of the source is an external reference now.
        EXPECT_EQ(o.book->worksheet(1)->cell_formula({1, 3}), "=[1]Data!A1*2");
        EXPECT_EQ(o.book->worksheet(1)->cell_value({2, 2}), xl::Value(10.0));
    }
    out = run("編集", "コピー_シート２",
              {{"source_sheet", "取込"}, {"mode", "names"}, {"names", "四月，五月"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    out = run("編集", "コピー_シート２", {{"source_sheet", "Sheet13"}, {"count", "2"},
                                         {"where", "position"}, {"position", "2"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    auto o = open("p.xlsx");
    ASSERT_NE(o.book, nullptr);
    auto n = names(*o.book);
    ASSERT_EQ(n.size(), 18u);
    EXPECT_EQ((std::vector<std::string>(n.begin(), n.begin() + 5)),
              (std::vector<std::string>{"取込", "Sheet13 (3)", "Sheet13 (2)", "四月", "五月"}));

    // A name in use, a source that is not there.
    out = run("編集", "コピー_シート２", {{"source_sheet", "取込"}, {"mode", "names"}, {"names", "四月"}});
    EXPECT_NE(out.error_text.find("シート「四月」はすでにあります。"), std::string::npos);
    EXPECT_FALSE(run("編集", "コピー_シート１", {{"source_file", (dir_ / "none.xlsx").string()}}).checked);
    out = run("編集", "コピー_シート１", {{"source_file", source()}, {"source_sheet", "無い"}});
    EXPECT_NE(out.error_text.find("コピー元のシート「無い」がありません。"), std::string::npos);
}

TEST_F(EditOpsTest, SheetsCollectedIntoANewWorkbook) {
    add_target(structure(), "s.xlsx");
    add_target(std::string(SHEAFLOW_CORPUS_DIR) + "/xlsx/xw-panes01.xlsx", "p.xlsx");
    auto before = std::filesystem::last_write_time(dir_ / "s.xlsx");
    auto out = run("編集", "コピー_シート３", {{"sheet", "Sheet2"}, {"naming", "both"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    // structure.xlsx has no Sheet2: a line for it; the other file is collected.
    EXPECT_NE(out.error_text.find("シート「Sheet2」がありません。"), std::string::npos);
    ASSERT_FALSE(out.output_path.empty());
    auto app = xl::native::create_application();
    auto b = app->workbooks().open(out.output_path, true);
    ASSERT_TRUE(b.has_value());
    EXPECT_EQ(names(**b), (std::vector<std::string>{"一覧", "p_Sheet2"}));
    xl::Worksheet& list = *(*b)->worksheet(1);
    EXPECT_EQ(list.cell_value({2, 1}), xl::Value(std::string("p.xlsx")));
    EXPECT_EQ(list.cell_value({2, 3}), xl::Value(std::string("p_Sheet2")));
    EXPECT_EQ(std::filesystem::last_write_time(dir_ / "s.xlsx"), before);
}

TEST_F(EditOpsTest, ClearAndClearSpecial) {
    add_target(structure(), "s.xlsx");
    auto out = run("すべてのシート_編集", "クリア特殊", {{"kind", "formulas"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    {
        auto o = open("s.xlsx");
        ASSERT_NE(o.book, nullptr);
        EXPECT_TRUE(xl::is_empty(o.book->worksheet("Summary")->cell_value({1, 1})));
        EXPECT_TRUE(xl::is_empty(o.book->worksheet("Data")->cell_value({4, 1})));
        EXPECT_EQ(o.book->worksheet("Data")->cell_value({3, 1}), xl::Value(3.0));
    }
    out = run("すべてのシート_編集", "クリア",
              {{"col_from", "A"}, {"row_from", "1"}, {"col_to", "B"}, {"row_to", "2"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    auto o = open("s.xlsx");
    ASSERT_NE(o.book, nullptr);
    EXPECT_TRUE(xl::is_empty(o.book->worksheet("Data")->cell_value({2, 1})));
    EXPECT_EQ(o.book->worksheet("Data")->cell_value({3, 1}), xl::Value(3.0));
    EXPECT_TRUE(xl::is_empty(o.book->worksheet("My Sheet")->cell_value({2, 2})));

    EXPECT_FALSE(run("編集", "クリア", {{"col_from", "A"}, {"row_from", "0"}, {"col_to", "XFE"},
                                        {"row_to", "3"}})
                     .checked);
    // Part of Data's merged C1:D1: the application's refusal as a line for that sheet.
    out = run("すべてのシート_編集", "クリア",
              {{"col_from", "C"}, {"row_from", "1"}, {"col_to", "C"}, {"row_to", "1"}});
    EXPECT_NE(out.error_text.find("シート「Data」：結合したセルの一部は変更できません（C1:D1）。"),
              std::string::npos)
        << out.error_text;
}

TEST_F(EditOpsTest, CellsRowsAndColumnsPasted) {
    add_target(structure(), "s.xlsx");
    auto out = run("編集", "コピー貼付",
                   {{"source_file", source()}, {"source_sheet", "Data"}, {"range", "A1:A4"},
                    {"dest_sheet", "My Sheet"}, {"dest", "E2"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    out = run("編集", "コピー貼付_セル_特殊",
              {{"source_sheet", "My Sheet"}, {"range", "A2:B3"}, {"dest_sheet", "My Sheet"},
               {"dest", "G1"}, {"paste", "values"}, {"transpose", "1"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    out = run("編集", "コピー貼付_行", {{"source_sheet", "Data"}, {"range", "1:2"},
                                         {"dest_sheet", "Data"}, {"dest", "20"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    out = run("編集", "コピー貼付_列", {{"source_sheet", "My Sheet"}, {"range", "B"},
                                         {"dest_sheet", "My Sheet"}, {"dest", "K"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;

    auto o = open("s.xlsx");
    ASSERT_NE(o.book, nullptr);
    xl::Worksheet& mine = *o.book->worksheet("My Sheet");
    EXPECT_EQ(mine.cell_value({3, 5}), xl::Value(2.0));
    EXPECT_EQ(mine.cell_formula({5, 5}), "=SUM(E2:E4)");
    EXPECT_EQ(mine.cell_value({2, 7}), xl::Value(10.0));  // B2 went to G2 (transposed)
    EXPECT_EQ(mine.cell_value({2, 8}), xl::Value(20.0));
    EXPECT_EQ(mine.cell_value({3, 11}), xl::Value(20.0));
    xl::Worksheet& data = *o.book->worksheet("Data");
    EXPECT_EQ(data.cell_value({21, 1}), xl::Value(2.0));
    EXPECT_EQ(data.line_format(xl::Axis::Rows, 20).size, 30.0);

    // The paste area over part of a merged area, a range past the grid.
    out = run("編集", "コピー貼付_セル", {{"source_sheet", "My Sheet"}, {"range", "A1"},
                                           {"dest_sheet", "Data"}, {"dest", "D1"}});
    EXPECT_NE(out.error_text.find("結合したセルの一部は変更できません"), std::string::npos)
        << out.error_text;
    EXPECT_FALSE(run("編集", "コピー貼付_セル", {{"range", "A1:B2"}, {"dest", "XFD1"}}).checked);
    EXPECT_FALSE(run("編集", "コピー貼付", {{"source_file", ""}, {"range", "A1"}, {"dest", "B1"}}).checked);
}

TEST_F(EditOpsTest, RowsColumnsAndCellsMovedWithTheirReferences) {
    add_target(structure(), "s.xlsx");
    // Data's row 1 (height 30, the note, the merged C1:D1) before row 6: it ends as row 5.
    auto out = run("編集", "切取り貼付_行", {{"sheet", "Data"}, {"range", "1"}, {"dest", "6"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    // My Sheet's column C (beside the table of A:B) before F: it ends as column E.
    out = run("編集", "切取り貼付_列", {{"sheet", "My Sheet"}, {"range", "C"}, {"dest", "F"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    out = run("編集", "切取り貼付_セル", {{"sheet", "Data"}, {"range", "A1:A2"}, {"dest", "F1"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    {
        auto o = open("s.xlsx");
        ASSERT_NE(o.book, nullptr);
        xl::Worksheet& data = *o.book->worksheet("Data");
        EXPECT_EQ(data.cell_value({5, 1}), xl::Value(1.0));
        EXPECT_EQ(data.line_format(xl::Axis::Rows, 5).size, 30.0);
        EXPECT_EQ(data.cell_formula({3, 1}), "=SUM(F1:F2)");
        EXPECT_EQ(data.cell_value({1, 6}), xl::Value(2.0));
        xl::Worksheet& mine = *o.book->worksheet("My Sheet");
        EXPECT_EQ(mine.cell_formula({1, 5}), "=Data!A5*2");
        EXPECT_TRUE(mine.cell_formula({1, 3}).empty());
        EXPECT_EQ(o.book->worksheet("Summary")->cell_formula({1, 1}),
                  "=SUM(Data!F1:F2)+'My Sheet'!B2");
        auto notes = data.comments();
        ASSERT_EQ(notes.size(), 1u);
        EXPECT_EQ(notes[0].first, (xl::CellRef{5, 1}));
    }
    // A column of the table cannot leave it: the file gets an error line and is not saved.
    auto before = std::filesystem::last_write_time(dir_ / "s.xlsx");
    out = run("編集", "切取り貼付_列", {{"sheet", "My Sheet"}, {"range", "B"}, {"dest", "G"}});
    EXPECT_EQ(out.failed_files, 1);
    EXPECT_NE(out.error_text.find("テーブル「Table1」"), std::string::npos) << out.error_text;
    EXPECT_EQ(std::filesystem::last_write_time(dir_ / "s.xlsx"), before);
    EXPECT_FALSE(run("編集", "切取り貼付_行", {{"range", "0"}, {"dest", "3"}}).checked);
    EXPECT_FALSE(run("編集", "切取り貼付_セル", {{"range", "A1:B2"}, {"dest", "XFD1"}}).checked);
    out = run("編集", "切取り貼付_セル", {{"sheet", "Data"}, {"range", "D5"}, {"dest", "H1"}});
    EXPECT_NE(out.error_text.find("結合したセルの一部は変更できません"), std::string::npos)
        << out.error_text;
}

TEST_F(EditOpsTest, StylesAndConditionalFormatsFromASource) {
    add_target(structure(), "s.xlsx");
    std::string styles = std::string(SHEAFLOW_CORPUS_DIR) + "/xlsx/cal-issue127.xlsx";
    auto out = run("編集", "コピー貼付_スタイル", {{"source_file", styles}, {"styles", "Heading，Result2"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    {
        auto o = open("s.xlsx");
        ASSERT_NE(o.book, nullptr);
        EXPECT_EQ(o.book->style_names(), (std::vector<std::string>{"Normal", "Heading", "Result2"}));
    }
    out = run("編集", "コピー貼付_スタイル", {{"source_file", styles}, {"styles", "無い"}});
    EXPECT_NE(out.error_text.find("スタイル「無い」がありません。"), std::string::npos);
    out = run("編集", "コピー貼付_すべてのスタイル", {{"source_file", styles}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    {
        auto o = open("s.xlsx");
        ASSERT_NE(o.book, nullptr);
        EXPECT_EQ(o.book->style_names().size(), 10u);
    }
    out = run("編集", "コピー貼付_条件付き書式",
              {{"source", "file"}, {"source_file", source()}, {"source_sheet", "My Sheet"},
               {"range", "B2:B3"}, {"dest_sheet", "Data"}, {"dest", "H1"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    auto pkg = xl::native::Package::open_file((dir_ / "s.xlsx").string());
    ASSERT_TRUE(pkg.has_value());
    auto sheet = (*pkg)->read("xl/worksheets/sheet1.xml");
    ASSERT_TRUE(sheet.has_value());
    EXPECT_NE(sheet->find("<conditionalFormatting sqref=\"H1:H2\">"), std::string::npos) << *sheet;
    EXPECT_FALSE(run("編集", "コピー貼付_すべてのスタイル", {{"source_file", "/nowhere.xlsx"}}).checked);
}

TEST_F(EditOpsTest, NotesWrittenIntoCells) {
    add_target(std::string(SHEAFLOW_CORPUS_DIR) + "/xlsx/xw-comment04.xlsx", "c.xlsx");
    auto out = run("編集", "コピー貼付_コメント→セル", {{"col_offset", "２"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    auto o = open("c.xlsx");
    ASSERT_NE(o.book, nullptr);
    EXPECT_EQ(o.book->worksheet(1)->cell_value({2, 4}), xl::Value(std::string("Some text")));
    EXPECT_FALSE(run("編集", "コピー貼付_コメント→セル", {{"col_offset", "0"}}).checked);
}

}  // namespace
}  // namespace sheaflow::test
