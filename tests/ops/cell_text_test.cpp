// Cell text search and replace over a fake object model: the pane checks, the range cut to the
// used range, the kept LookIn, sheets that cannot be read, a refused replace and cancel. The
// engine tests cover what the cells say.
#include "ops/cell/cell_text.h"

#include <gtest/gtest.h>

#include "report/record_store.h"
#include "report/result_table.h"
#include "run/session.h"
#include "support/fake_xl.h"
#include "support/scripted_host.h"

using namespace sheaflow;
using sheaflow::testing::FakeApplication;
using sheaflow::testing::FakeBookSpec;
using sheaflow::testing::FakeSheetSpec;
using sheaflow::testing::FakeWorkbook;
using sheaflow::testing::FakeWorld;
using sheaflow::testing::ScriptedHost;

namespace {

report::RecordStore& unused_store() {
    static report::RecordStore records;
    return records;
}

// A pane of the four operations with its fields in a fixed order.
shell::OperationDecl text_decl() {
    shell::OperationDecl d;
    d.category = "セル";
    d.name = "文字列検索";
    for (const char* key : {"col_from", "row_from", "col_to", "row_to", "search", "replace",
                            "match_case", "match_byte", "whole_cell", "look_in"}) {
        shell::Field f;
        f.key = key;
        d.fields.push_back(f);
    }
    return d;
}

struct Pane {
    Pane() = default;
    Pane(std::string cf, std::string rf, std::string ct, std::string rt, std::string s,
         std::string r = {})
        : col_from(std::move(cf)),
          row_from(std::move(rf)),
          col_to(std::move(ct)),
          row_to(std::move(rt)),
          search(std::move(s)),
          replace(std::move(r)) {}
    std::string col_from, row_from, col_to, row_to, search, replace;
    bool match_case = false, match_byte = false, whole_cell = false;
    std::string look_in;
    shell::PaneValues values() const {
        return {{col_from, row_from, col_to, row_to, search, replace, match_case ? "1" : "0",
                 match_byte ? "1" : "0", whole_cell ? "1" : "0", look_in},
                {}};
    }
};

const shell::OperationDecl& decl() {
    static const shell::OperationDecl d = text_decl();
    return d;
}

TEST(CellTextChecks, first_complaint_of_each_operation) {
    using CheckFn = std::string (*)(const shell::Params&, std::string_view);
    auto* single_search = ops::Check_セル_文字列検索;
    auto* single_replace = ops::Check_セル_文字列置換;
    auto* all_search = ops::Check_すべてのシート_セル_文字列検索;
    auto* all_replace = ops::Check_すべてのシート_セル_文字列置換;
    struct Case {
        CheckFn check;
        Pane pane;
        std::string message;
    } cases[] = {
        {single_search, {"", "", "", "", "abc"}, ""},
        {single_search, {"", "", "", "", ""}, "検索文字が空白です。"},
        {single_search, {"B", "2", "D", "9", "abc"}, ""},
        {single_search, {"$b", "$2", "$d", "$9", "abc"}, ""},
        {single_search, {"B", "2", "D", "", "abc"}, "行の指定が不正です。"},
        {single_search, {"B", "0", "D", "5", "abc"}, "行の指定が不正です。"},
        {single_search, {"B", "9", "D", "2", "abc"}, "行の指定が不正です。"},
        {single_search, {"B", "1", "D", "1048577", "abc"}, "行の指定が不正です。"},
        // A dimension left empty is the whole of it.
        {single_search, {"", "2", "", "9", "abc"}, ""},
        {single_search, {"B", "", "D", "", "abc"}, ""},
        {single_search, {"B", "2", "", "9", "abc"}, "列の指定が不正です。"},
        {single_search, {"D", "2", "B", "9", "abc"}, "列の指定が不正です。"},
        {single_search, {"A", "2", "XFE", "9", "abc"}, "列の指定が不正です。"},
        // The range complaint comes before the blank search text.
        {single_search, {"B", "", "", "", ""}, "列の指定が不正です。"},
        {all_search, {"", "", "", "", ""}, "検索文字が設定されていません。"},
        {all_search, {"B", "", "", "", "x"}, ""},
        {single_replace, {"", "", "", "", "a", "a"}, "新旧が一致してます。"},
        {single_replace, {"", "", "", "", "", ""}, "新旧が一致してます。"},
        {single_replace, {"", "", "", "", "", "b"}, ""},
        {single_replace, {"A", "1", "", "", "a", "b"}, "行の指定が不正です。"},
        {all_replace, {"", "", "", "", "東京", "東京"}, "新旧が一致してます。"},
        {all_replace, {"", "", "", "", "東京", "とうきょう"}, ""},
    };
    for (const Case& c : cases) {
        shell::PaneValues v = c.pane.values();
        EXPECT_EQ(c.check(shell::Params(decl(), v), "セル"), c.message)
            << c.pane.col_from << c.pane.row_from << ":" << c.pane.col_to << c.pane.row_to << " "
            << c.pane.search << "/" << c.pane.replace;
    }
}

class CellTextTest : public ::testing::Test {
protected:
    FakeWorkbook& open(const FakeBookSpec& criteria, const std::string& path = "/t/本.xlsx") {
        world_.books[path] = criteria;
        auto b = app_.workbooks().open(path, false);
        EXPECT_TRUE(b.has_value());
        session_.folder = "/t";
        session_.file_name = path.substr(3);
        session_.book_name = session_.file_name;
        return static_cast<FakeWorkbook&>(**b);
    }
    void set_pane(const Pane& p) { values_ = p.values(); }
    std::vector<std::string> column(int col) const {
        std::vector<std::string> out;
        for (const auto& row : table_.rows())
            out.push_back(static_cast<int>(row.size()) > col ? row[static_cast<std::size_t>(col)]
                                                             : "");
        return out;
    }

    FakeWorld world_;
    FakeApplication app_{world_};
    ScriptedHost host_;
    shell::PaneValues values_ = Pane{}.values();
    shell::Params params_{decl(), values_};
    report::ResultTable table_;
    run::Session session_{app_, host_, params_, table_, unused_store()};
};

FakeSheetSpec search_sheet() {
    FakeSheetSpec s("売上", xl::xlWorksheet,
                    {{"A1", "abc"},
                     {"B2", "xabcx"},
                     {"C3", "=A1&\"abc\""},
                     {"D4", "ABC"},
                     {"A5", "other"},
                     {"B6", "=NA()"}});
    s.code_name = "Sheet1";
    s.error_cells = {"B6"};
    return s;
}

TEST_F(CellTextTest, used_cells_cuts_the_rectangle_to_the_used_range) {
    FakeSheetSpec s("S", xl::xlWorksheet, {{"B2", "x"}, {"E10", "y"}});
    FakeWorkbook& b = open({{s}, 1});
    xl::Worksheet& ws = *b.worksheet(1);
    EXPECT_EQ(ops::Excel_Used_Cells(ws, 0, 0, 0, 0), "$B$2:$E$10");
    EXPECT_EQ(ops::Excel_Used_Cells(ws, 1, 1, 26, 5), "$B$2:$E$5");
    EXPECT_EQ(ops::Excel_Used_Cells(ws, 3, 3, 26, 20), "$C$3:$E$10");
    EXPECT_EQ(ops::Excel_Used_Cells(ws, 0, 4, 0, 6), "$B$4:$E$6");
    EXPECT_EQ(ops::Excel_Used_Cells(ws, 4, 0, 4, 0), "$D$2:$D$10");
    EXPECT_EQ(ops::Excel_Used_Cells(ws, 1, 20, 3, 30), "");
    EXPECT_EQ(ops::Excel_Used_Cells(ws, 6, 1, 9, 5), "");
}

TEST_F(CellTextTest, search_options_map_to_the_find_arguments) {
    open({{search_sheet()}, 1});
    Pane p{"", "", "", "", "abc"};
    p.whole_cell = true;
    p.match_case = true;
    p.match_byte = true;
    p.look_in = "values";
    set_pane(p);
    ASSERT_TRUE(ops::Excel_セル_文字列検索(session_));
    EXPECT_EQ(column(2), (std::vector<std::string>{"", "A1  値=abc  計算式=abc"}));
    const xl::FindSpec& criteria = app_.find_state.last;
    EXPECT_EQ(criteria.look_in, xl::xlValues);
    EXPECT_EQ(criteria.look_at, xl::xlWhole);
    EXPECT_TRUE(criteria.match_case);
    EXPECT_TRUE(criteria.match_byte);

    // Neither look-in option: LookIn stays as the previous search left it.
    p.look_in = "";
    set_pane(p);
    ASSERT_TRUE(ops::Excel_セル_文字列検索(session_));
    EXPECT_EQ(app_.find_state.last.look_in, xl::xlValues);
    p.look_in = "formulas";
    set_pane(p);
    ASSERT_TRUE(ops::Excel_セル_文字列検索(session_));
    EXPECT_EQ(app_.find_state.last.look_in, xl::xlFormulas);
}

TEST_F(CellTextTest, search_stops_when_cancelled) {
    open({{search_sheet()}, 1});
    set_pane({"", "", "", "", "abc"});
    host_.on_yield = [](ScriptedHost& h) { h.cancel = h.yields >= 2; };
    ASSERT_TRUE(ops::Excel_セル_文字列検索(session_));
    EXPECT_EQ(table_.rows().size(), 2u);  // the book row and the first match only
}

TEST_F(CellTextTest, all_sheets_search_lists_every_sheet_under_one_heading) {
    FakeSheetSpec second("在庫", xl::xlWorksheet, {{"C2", "abc"}});
    FakeSheetSpec broken("壊れ", xl::xlWorksheet, {{"A1", "abc"}});
    FakeSheetSpec damaged("傷", xl::xlWorksheet, {{"A1", "abc"}});
    FakeWorkbook& one = open({{search_sheet(), second, broken, damaged}, 1}, "/t/一.xlsx");
    one.fake_sheet(3).fail_activate = true;
    one.fake_sheet(4).damaged = true;
    set_pane({"", "", "", "", "abc"});
    ASSERT_TRUE(ops::Excel_すべてのシート_セル_文字列検索(session_));
    open({{second}, 1}, "/t/二.xlsx");
    ASSERT_TRUE(ops::Excel_すべてのシート_セル_文字列検索(session_));

    EXPECT_EQ(column(0),
              (std::vector<std::string>{"すべてのシートで文字列検索", "検索文字=abc", "", "一.xlsx",
                                        "", "", "", "", "", "", "", "", "", "二.xlsx", "", ""}));
    EXPECT_EQ(column(1),
              (std::vector<std::string>{"", "", "", "", "売上(Sheet1)", "", "", "", "",
                                        "在庫(在庫)", "", "壊れ(壊れ)シートが参照できません。",
                                        "傷(傷)シートが参照できません。", "", "在庫(在庫)", ""}));
    EXPECT_EQ(column(2), (std::vector<std::string>{"", "", "", "", "", "B2", "C3", "D4", "A1", "",
                                                   "C2", "", "", "", "", "C2"}));
    EXPECT_EQ(column(3)[7], "ABC");
    EXPECT_EQ(column(4)[6], "=A1&\"abc\"");
    EXPECT_EQ(table_.titles(),
              (report::ResultTable::Row{"ファイル名", "シート名", "セル", "値", "計算式"}));
    // The sheets that could not be read are in the run's error text as well.
    EXPECT_NE(session_.error_text.find("壊れ(壊れ)シートが参照できません。\r\n"), std::string::npos)
        << session_.error_text;
    EXPECT_NE(session_.error_text.find("傷(傷)シートが参照できません。\r\n"), std::string::npos);
    EXPECT_EQ(session_.cells_found, 6);
}

TEST_F(CellTextTest, all_sheets_replace_restores_the_active_sheet) {
    FakeSheetSpec a("A", xl::xlWorksheet, {{"A1", "x-x"}});
    FakeSheetSpec b("B", xl::xlWorksheet, {{"B2", "x"}});
    FakeSheetSpec c("C", xl::xlWorksheet, {{"C3", "yx"}});
    FakeWorkbook& book = open({{a, b, c}, 2});
    set_pane({"", "", "", "", "x", "zz"});
    ASSERT_TRUE(ops::Excel_すべてのシート_セル_文字列置換(session_));
    EXPECT_EQ(book.fake_sheet(1).formula_at("A1"), "zz-zz");
    EXPECT_EQ(book.fake_sheet(2).formula_at("B2"), "zz");
    EXPECT_EQ(book.fake_sheet(3).formula_at("C3"), "yzz");
    EXPECT_EQ(book.active_sheet()->name(), "B");
    EXPECT_EQ(session_.sheet_name, "B");

    book.fake_sheet(2).refuse_replace = "数式が不正になります。";
    auto r = ops::Excel_すべてのシート_セル_文字列置換(session_);
    ASSERT_FALSE(r);
    EXPECT_EQ(r.error().message, "数式が不正になります。");
    EXPECT_EQ(book.fake_sheet(3).replaces, 1);  // the walk stopped at the refusing sheet
    EXPECT_EQ(book.active_sheet()->name(), "B");
}

// Through the driver: the all-sheets replace runs once per workbook, not once per sheet, and
// the save sees the sheet that was active before.
}  // namespace
