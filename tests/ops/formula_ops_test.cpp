// 計算式一覧, 結合セル一覧, 計算式解析 and 計算式で影響するセル一覧 on corpus workbooks, and the
// dependents found beside those LibreOffice finds by changing each input and recalculating.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "cell_run.h"

namespace sheaflow::testing {
namespace {

using Lines = std::vector<std::string>;
std::string corpus(const std::string& name) {
    return std::string(SHEAFLOW_CORPUS_DIR) + "/xlsx/" + name;
}

TEST(FormulaListRun, lists_shared_formulas_cell_by_cell_with_their_values) {
    const std::string book = corpus("cal-shared_formula_simple.xlsx");
    if (!std::filesystem::exists(book)) GTEST_SKIP() << "no corpus";
    CellRun r(book);
    auto out = r.run("セル", "計算式一覧", {});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_TRUE(out.is_list);
    EXPECT_EQ(r.rows(),
              (Lines{"本.xlsx|Sheet1()", "||B1|=A1*2|2", "||B2|=A2*2|4", "||B3|=A3*2|6"}));
    out = r.run("セル", "計算式一覧", {{"row_from", "2"}, {"row_to", "2"}});
    EXPECT_EQ(r.rows(), (Lines{"本.xlsx|Sheet1()", "||B2|=A2*2|4"}));
    out = r.run("セル", "計算式一覧", {{"row_from", "3"}, {"row_to", "2"}});
    EXPECT_FALSE(out.checked);
}

TEST(MergedListRun, lists_merged_areas_that_reach_into_the_range) {
    const std::string book = corpus("cal-merge_cells.xlsx");
    if (!std::filesystem::exists(book)) GTEST_SKIP() << "no corpus";
    CellRun r(book);
    auto out = r.run("セル", "結合セル一覧", {});
    ASSERT_TRUE(out.checked) << out.check_message;
    ASSERT_EQ(r.rows().size(), 4u);
    EXPECT_EQ(r.rows()[1].substr(0, 10), "||A1:B1|1|");
    EXPECT_EQ(r.rows()[2].substr(0, 10), "||A2:A4|3|");
    EXPECT_EQ(r.rows()[3], "||B2:D4|3|3|Chunk Merged");
    // Only B2:D4 reaches into column D.
    out = r.run("セル", "結合セル一覧", {{"col_from", "D"}, {"col_to", "D"}});
    EXPECT_EQ(r.rows(), (Lines{"本.xlsx|Sheet1()", "||B2:D4|3|3|Chunk Merged"}));
}

TEST(FormulaAnalysisRun, breaks_formulas_into_names_references_functions_and_constants) {
    const std::string book = corpus("sjs-defined_names_simple.xlsx");
    if (!std::filesystem::exists(book)) GTEST_SKIP() << "no corpus";
    CellRun r(book);
    auto out = r.run("セル", "計算式解析", {});
    ASSERT_TRUE(out.checked) << out.check_message;
    // SHEETjs is both a name of Sheet1 and (in other case) a name of the workbook: on Sheet1 the
    // sheet's own name wins, with or without the sheet written before it.
    EXPECT_EQ(r.rows(), (Lines{"本.xlsx|Sheet1()",
                               "||A1|=1+1|値|2",
                               "||||定数|1",
                               "||||定数|1",
                               "||B2|=SHEETjs - Sheet1!SHEETjs|値|0",
                               "||||名前|SHEETjs|=Sheet1!$A$2",
                               "||||名前|Sheet1!SHEETjs|=Sheet1!$A$2"}));
}

TEST(FormulaAnalysisRun, flags_faults_and_resolves_references_across_sheets) {
    CellRun r(kCellChecksBook);
    // The workbook is written here so that its formulas are known exactly.
    {
        auto app = xl::native::create_application();
        auto b = app->workbooks().open(r.path(), false);
        ASSERT_TRUE(b);
        xl::Worksheet* ws = (*b)->active_sheet();
        ASSERT_TRUE(ws->set_cell_formula({20, 1}, "=SUM(Nowhere!A1,'" + ws->name() +
                                                      "'!B2:C3)+Undefined+#REF!").has_value());
        ASSERT_TRUE(ws->set_cell_formula({21, 1}, "=_xlfn.XLOOKUP(1,{1,2},{\"a\",\"b\"})")
                        .has_value());
        ASSERT_TRUE((*b)->save_as(r.path(), xl::xlOpenXMLWorkbook).has_value());
        app->quit();
    }
    auto out = r.run("セル", "計算式解析", {{"row_from", "20"}, {"row_to", "21"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    Lines rows = r.rows();
    ASSERT_GE(rows.size(), 3u);
    auto has = [&](const std::string& line) {
        return std::find(rows.begin(), rows.end(), line) != rows.end();
    };
    EXPECT_TRUE(has("||||参照|Nowhere!A1|シートがありません。")) << rows[1];
    EXPECT_TRUE(has("||||名前|Undefined|定義されていない名前です。"));
    EXPECT_TRUE(has("||||エラー値|#REF!|参照先が失われています。"));
    EXPECT_TRUE(has("||||関数|XLOOKUP"));
    EXPECT_TRUE(has("||||定数|\"b\""));
}

// The dependents the operation lists for a cell, as "Sheet!A1" (all levels).
std::set<std::string> listed_dependents(CellRun& r, const std::string& cell) {
    auto out = r.run("セル", "計算式で影響するセル一覧",
                     {{"address", cell}, {"direction", "dependents"}, {"all_levels", "1"}});
    EXPECT_TRUE(out.checked) << out.check_message;
    std::set<std::string> found;
    Lines rows = r.rows();
    for (std::size_t i = 1; i < rows.size(); ++i) {
        std::vector<std::string> cols = text::split(rows[i], "|");
        std::string a = cols.at(2);
        a.erase(std::remove(a.begin(), a.end(), '$'), a.end());
        found.insert(cols.at(1) + "!" + a);
    }
    return found;
}

TEST(FormulaTraceRun, dependents_match_libreoffice_changing_each_input) {
    if (std::system("command -v soffice >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "soffice is not installed";
    auto dir = std::filesystem::temp_directory_path() /
               ("sheaflow_lodep_" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    const std::string book = (dir / "dep.xlsx").string();
    std::string cmd = "cd '" + dir.string() + "' && /usr/bin/python3 '" +
                      std::string(SHEAFLOW_TEST_DATA_DIR) + "/lo_dependents.py' '" + book +
                      "' > listing.txt 2>&1";
    int status = std::system(cmd.c_str());
    std::ifstream in(dir / "listing.txt");
    std::stringstream listing;
    listing << in.rdbuf();
    if (WEXITSTATUS(status) == 2) GTEST_SKIP() << "LibreOffice did not answer";
    ASSERT_EQ(status, 0) << listing.str();
    CellRun r(book);
    int inputs = 0;
    std::string line;
    while (std::getline(listing, line)) {
        std::vector<std::string> cells = text::split(line, "\t");
        ASSERT_FALSE(cells.empty());
        const std::string input = cells[0];
        const std::set<std::string> expected(cells.begin() + 1, cells.end());
        EXPECT_EQ(listed_dependents(r, input), expected) << input;
        ++inputs;
    }
    EXPECT_EQ(inputs, 7);
    std::filesystem::remove_all(dir);
}

TEST(FormulaTraceRun, precedents_level_by_level_through_names) {
    CellRun r(kCellChecksBook);
    {
        auto app = xl::native::create_application();
        auto b = app->workbooks().open(r.path(), false);
        ASSERT_TRUE(b);
        xl::Worksheet* ws = (*b)->active_sheet();
        ASSERT_TRUE(ws->set_cell_formula({30, 1}, "=B30*2").has_value());
        ASSERT_TRUE(ws->set_cell_formula({30, 2}, "=C30+C31").has_value());
        ASSERT_TRUE(ws->set_cell_value({30, 3}, 5.0).has_value());
        ASSERT_TRUE((*b)->save_as(r.path(), xl::xlOpenXMLWorkbook).has_value());
        app->quit();
    }
    auto out = r.run("セル", "計算式で影響するセル一覧",
                     {{"address", "A30"}, {"direction", "precedents"}, {"all_levels", "1"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    Lines rows = r.rows();
    ASSERT_EQ(rows.size(), 4u);
    EXPECT_NE(rows[1].find("|$B$30|1|=C30+C31"), std::string::npos) << rows[1];
    EXPECT_NE(rows[2].find("|$C$30|2|5"), std::string::npos) << rows[2];
    EXPECT_TRUE(rows[3].ends_with("|$C$31|2")) << rows[3];
    out = r.run("セル", "計算式で影響するセル一覧",
                {{"address", "A30"}, {"direction", "precedents"}, {"all_levels", "0"}});
    EXPECT_EQ(r.rows().size(), 2u);
    // A sheet the workbook does not have is a line of the run error text.
    out = r.run("セル", "計算式で影響するセル一覧", {{"address", "Nowhere!A1"}});
    EXPECT_NE(out.error_text.find("シート「Nowhere」がありません。"), std::string::npos);
    out = r.run("セル", "計算式で影響するセル一覧", {{"address", "1A"}});
    EXPECT_FALSE(out.checked);
    EXPECT_EQ(out.check_message, "調べるセルの指定が不正です。");
}

}  // namespace
}  // namespace sheaflow::testing
