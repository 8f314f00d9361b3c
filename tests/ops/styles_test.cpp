// The cell style list and the style clean-up: a workbook bloated with styles of the user's and
// the corpus workbooks with the most styles; every cell shows the same text afterwards.

#include <gtest/gtest.h>

#include "settings_helpers.h"

namespace sheaflow::test {
namespace {

class StylesTest : public BookOpsTest {
protected:
    void add_fixture(const std::string& name) {
        std::filesystem::copy_file(std::filesystem::path(SHEAFLOW_TEST_DATA_DIR) / "styles.xlsx",
                                   in() / name);
        files_.push_back({in().string(), name, true});
    }
    // Every cell's displayed text, sheet by sheet, as the number-format renderer draws it.
    Names rendered(const std::string& file) {
        auto app = xl::native::create_application();
        auto book = app->workbooks().open((in() / file).string(), true);
        if (!book) return {"(" + book.error().message + ")"};
        Names out;
        for (int i = 1; i <= (*book)->worksheet_count(); ++i) {
            xl::Worksheet* w = (*book)->worksheet(i);
            w->for_each_cell(w->used_range(), [&](xl::CellRef c) {
                out.push_back(w->name() + "!" + xl::column_letters(c.col) + std::to_string(c.row) +
                              "=" + w->cell_text(c));
            });
        }
        return out;
    }
};

TEST_F(StylesTest, ListsStylesWithTheirUse) {
    add_fixture("s.xlsx");
    run("ツール", "スタイル定義一覧", {});
    const auto& rows = table_.rows();
    ASSERT_EQ(rows.size(), 1502u);
    EXPECT_EQ(rows[0], (Names{"s.xlsx", "標準", "組み込み", "0", "1", ""}));
    EXPECT_EQ(rows[1], (Names{"s.xlsx", "桁区切り [0.00]", "組み込み", "3", "1", ""}));
    EXPECT_EQ(rows[2], (Names{"s.xlsx", "Style 1", "ユーザー定義", "", "1", ""}));
    EXPECT_EQ(rows[3][1] + rows[3][4], "Style 23");  // two cells and a row
    EXPECT_EQ(rows[4][1] + rows[4][4], "Style 30");
}

TEST_F(StylesTest, DeletesUnusedStylesAndKeepsEveryCellsLook) {
    add_fixture("s.xlsx");
    const Names before = rendered("s.xlsx");
    EXPECT_EQ(before[0], "Data!A1=45000");  // its own number format, not Style 1's date
    const auto size_before = std::filesystem::file_size(in() / "s.xlsx");
    auto out = run("ツール", "スタイル定義削除", {});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    EXPECT_LT(std::filesystem::file_size(in() / "s.xlsx"), size_before / 2);
    bool reported = false;
    for (const std::string& line : host_.progress_lines_)
        reported = reported || line.find("s.xlsx  スタイル 1498 個を削除") == 0;
    EXPECT_TRUE(reported);
    EXPECT_EQ(rendered("s.xlsx"), before);
    table_.clear();
    run("ツール", "スタイル定義一覧", {});
    EXPECT_EQ(table_.rows().size(), 4u);

    // Now the used ones by name: their cells fall back to 標準 and keep what they showed.
    out = run("ツール", "スタイル定義削除", {{"mode", "named"}, {"names", "Style 1, style 2"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    EXPECT_EQ(rendered("s.xlsx"), before);
    std::string xml = part_text(in() / "s.xlsx", "xl/styles.xml");
    EXPECT_NE(xml.find("<xf numFmtId=\"0\" fontId=\"0\" fillId=\"0\" borderId=\"0\" xfId=\"0\" "
                       "applyNumberFormat=\"1\" applyFont=\"1\" applyFill=\"1\""),
              std::string::npos)
        << xml;
    EXPECT_NE(xml.find("<cellStyleXfs count=\"2\">"), std::string::npos);
    EXPECT_NE(xml.find("<cellStyles count=\"2\">"), std::string::npos);

    // A name the workbook lacks changes nothing.
    const std::string kept = read_bytes(in() / "s.xlsx");
    out = run("ツール", "スタイル定義削除", {{"mode", "named"}, {"names", "無い"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    EXPECT_EQ(read_bytes(in() / "s.xlsx"), kept);
    EXPECT_EQ(check("ツール", "スタイル定義削除", {{"mode", "named"}, {"names", " , "}}),
              "削除するスタイル名を入力してください。");
}

TEST_F(StylesTest, CorpusWorkbooksWithTheMostStylesKeepTheirCells) {
    const char* files[] = {"xlsx/sjs-fn.xlsx", "xlsx/sjs-issue.xlsx",
                           "xlsx/cal-shared_formula_simple.xlsx", "xlsx/cal-issue_261.xlsx"};
    std::vector<Names> before;
    for (int i = 0; i < 4; ++i) {
        add(files[i], "c" + std::to_string(i) + ".xlsx");
        before.push_back(rendered("c" + std::to_string(i) + ".xlsx"));
    }
    // Every style but Normal, named: the hardest case for the cells that use them.
    run("ツール", "スタイル定義一覧", {});
    std::string names;
    for (const auto& row : table_.rows())
        if (row[1] != "標準" && names.find("," + row[1] + ",") == std::string::npos)
            names += "," + row[1] + ",";
    auto out = run("ツール", "スタイル定義削除", {{"mode", "named"}, {"names", names}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    for (int i = 0; i < 4; ++i) {
        std::string name = "c" + std::to_string(i) + ".xlsx";
        EXPECT_EQ(rendered(name), before[static_cast<std::size_t>(i)]) << files[i];
    }
    table_.clear();
    run("ツール", "スタイル定義一覧", {});
    for (const auto& row : table_.rows()) EXPECT_EQ(row[1], "標準") << row[0];
}

}  // namespace
}  // namespace sheaflow::test
