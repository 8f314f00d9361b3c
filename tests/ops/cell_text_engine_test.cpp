// Cell text search and replace on a real workbook through the engine, with the panes as the
// catalogue declares them: what the search list says of each cell, width and case matching,
// look-in, and what a replace run leaves in the file.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "ops/cell/cell_text.h"
#include "ops/registry.h"
#include "report/record_store.h"
#include "report/result_table.h"
#include "run/driver.h"
#include "run/session.h"
#include "shell/catalogue.h"
#include "util/text.h"
#include "support/scripted_host.h"
#include "xl/native/engine.h"

namespace fs = std::filesystem;
using namespace sheaflow;
using KeyValues = std::vector<std::pair<std::string, std::string>>;

namespace {

const std::string kFixture = std::string(SHEAFLOW_TEST_DATA_DIR) + "/cell_text.xlsx";

report::RecordStore& unused_store() {
    static report::RecordStore records;
    return records;
}

// The declared pane of an operation at its defaults, with `values` set; an undeclared key fails.
shell::PaneValues pane(const shell::OperationDecl& decl, const KeyValues& values) {
    shell::PaneValues p;
    for (const shell::Field& f : decl.fields) p.values.push_back(f.default_value);
    for (const auto& [key, value] : values) {
        bool found = false;
        for (std::size_t i = 0; i < decl.fields.size(); ++i)
            if (decl.fields[i].key == key) {
                p.values[i] = value;
                found = true;
            }
        EXPECT_TRUE(found) << decl.name << ": no field " << key;
    }
    return p;
}

const shell::OperationDecl& decl(const std::string& category, const std::string& name) {
    const shell::OperationDecl* d = shell::find_declaration(category, name);
    if (!d) throw std::runtime_error("no declaration " + category + " " + name);
    return shell::params_owner(*d);
}

// Runs the single-sheet search on sheet 売上 of the fixture; returns column 2 of the hit rows.
std::vector<std::string> search(const KeyValues& values) {
    const shell::OperationDecl& d = decl("セル", "文字列検索");
    shell::PaneValues v = pane(d, values);
    shell::Params params(d, v);
    EXPECT_EQ(ops::Check_セル_文字列検索(params, "セル"), "");
    auto app = xl::native::create_application();
    auto book = app->workbooks().open(kFixture, true);
    EXPECT_TRUE(book.has_value());
    if (!book) return {};
    (void)(*book)->worksheet("売上")->activate();
    sheaflow::testing::ScriptedHost host;
    report::ResultTable table;
    run::Session s(*app, host, params, table, unused_store());
    s.file_name = "cell_text.xlsx";
    EXPECT_TRUE(ops::Excel_セル_文字列検索(s));
    std::vector<std::string> out;
    for (std::size_t i = 1; i < table.rows().size(); ++i)
        out.push_back(table.rows()[i].size() > 2 ? table.rows()[i][2] : "");
    EXPECT_FALSE(table.rows().empty());
    if (!table.rows().empty()) {
        EXPECT_EQ(table.rows()[0][0], "cell_text.xlsx");
    }
    app->quit();
    return out;
}

using Lines = std::vector<std::string>;

TEST(CellTextEngine, search_lines_for_values_formulas_errors_and_formats) {
    EXPECT_EQ(search({{"search", "東京"}, {"look_in", "formulas"}}),
              (Lines{"B2  値=東京都  計算式=東京都", "A1  値=東京  計算式=東京"}));
    // By value the formula cell D4 (東京x) is found too.
    EXPECT_EQ(search({{"search", "東京"}, {"look_in", "values"}}),
              (Lines{"B2  値=東京都  計算式=東京都", "D4  値=東京x  計算式==A1&\"x\"",
                     "A1  値=東京  計算式=東京"}));
    EXPECT_EQ(search({{"search", "東京"}, {"look_in", "values"}, {"whole_cell", "1"}}),
              (Lines{"A1  値=東京  計算式=東京"}));
    EXPECT_EQ(search({{"search", "na"}, {"look_in", "formulas"}}),
              (Lines{"E5  値= エラー  計算式==NA()"}));
    // A number shown with a format is found by its displayed text with look-in on values.
    EXPECT_EQ(search({{"search", "123円"}, {"look_in", "values"}}),
              (Lines{"C3  値=123  計算式=123"}));
    EXPECT_EQ(search({{"search", "123円"}, {"look_in", "formulas"}}), Lines{});
}

TEST(CellTextEngine, width_and_case_matching) {
    // Full-width ＴＯＫＹＯ equals tokyo unless width or case must match.
    EXPECT_EQ(search({{"search", "tokyo"}}),
              (Lines{"B7  値=ＴＯＫＹＯ  計算式=ＴＯＫＹＯ", "C8  値=tokyo  計算式=tokyo"}));
    EXPECT_EQ(search({{"search", "tokyo"}, {"match_byte", "1"}}),
              (Lines{"C8  値=tokyo  計算式=tokyo"}));
    EXPECT_EQ(search({{"search", "TOKYO"}, {"match_case", "1"}}),
              (Lines{"B7  値=ＴＯＫＹＯ  計算式=ＴＯＫＹＯ"}));
    // Within a range: rows 6 to 8 of columns A to B, the names typed in lower case or full width.
    EXPECT_EQ(search({{"search", "o"},
                      {"col_from", "a"},
                      {"row_from", "6"},
                      {"col_to", "Ｂ"},
                      {"row_to", "8"}}),
              (Lines{"B7  値=ＴＯＫＹＯ  計算式=ＴＯＫＹＯ"}));
}

class CellTextEngineRun : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() / ("sheaflow_cte_" + std::to_string(::getpid()));
        fs::remove_all(dir_);
        fs::create_directories(dir_);
        fs::copy_file(kFixture, dir_ / "本.xlsx");
    }
    void TearDown() override { fs::remove_all(dir_); }

    run::RunOutcome run(const std::string& category, const KeyValues& values) {
        const shell::OperationDecl& d = decl(category, "文字列置換");
        values_ = pane(d, values);
        params_.emplace(d, values_);
        files_ = {{dir_.string(), "本.xlsx", true}};
        run::RunRequest req;
        req.category = category;
        req.name = "文字列置換";
        req.params = &*params_;
        req.files = &files_;
        req.procedures = ops::find_procedures(req.category, text::upper(req.name));
        return run::run_batch(req, host_, table_, unused_store(),
                              [] { return xl::native::create_application(); });
    }
    std::string formula(const std::string& sheet, const std::string& address) {
        auto app = xl::native::create_application();
        auto book = app->workbooks().open((dir_ / "本.xlsx").string(), true);
        if (!book) return "<" + book.error().message + ">";
        auto r = (*book)->worksheet(sheet)->range(address);
        std::string f = r->formula();
        active_ = (*book)->active_sheet()->name();
        app->quit();
        return f;
    }

    fs::path dir_;
    shell::PaneValues values_;
    std::optional<shell::Params> params_;
    std::vector<run::TargetFile> files_;
    sheaflow::testing::ScriptedHost host_;
    report::ResultTable table_;
    std::string active_;
};

TEST_F(CellTextEngineRun, replace_in_a_range_of_the_active_sheet) {
    auto out = run("セル", {{"search", "東京"},
                            {"replace", "大阪"},
                            {"col_from", "A"},
                            {"row_from", "1"},
                            {"col_to", "A"},
                            {"row_to", "2"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    // The active sheet is 在庫: its A1 is replaced, B3 outside the range is not, 売上 untouched.
    EXPECT_EQ(formula("在庫", "A1"), "大阪");
    EXPECT_EQ(formula("在庫", "B3"), "=売上!A1");
    EXPECT_EQ(formula("売上", "A1"), "東京");
    EXPECT_EQ(active_, "在庫");
}

TEST_F(CellTextEngineRun, replace_in_all_sheets_once_keeps_formulas_and_the_active_sheet) {
    // A replacement that holds the search text would grow again on a second pass.
    auto out = run("すべてのシート_セル", {{"search", "東京"}, {"replace", "東京・大阪"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    EXPECT_EQ(formula("売上", "A1"), "東京・大阪");
    EXPECT_EQ(formula("売上", "B2"), "東京・大阪都");
    EXPECT_EQ(formula("売上", "D4"), "=A1&\"x\"");
    EXPECT_EQ(formula("在庫", "A1"), "東京・大阪");
    EXPECT_EQ(formula("売上", "C3"), "123");
    EXPECT_EQ(active_, "在庫");

    // Whole cell: A1 alone is replaced, B2 is not.
    out = run("すべてのシート_セル",
              {{"search", "東京・大阪"}, {"replace", "東京"}, {"whole_cell", "1"}});
    ASSERT_TRUE(out.checked);
    EXPECT_EQ(formula("売上", "A1"), "東京");
    EXPECT_EQ(formula("売上", "B2"), "東京・大阪都");
}

TEST_F(CellTextEngineRun, all_sheets_search_lists_each_sheet_and_error_values) {
    const shell::OperationDecl& d = decl("すべてのシート_セル", "文字列検索");
    values_ = pane(d, {{"search", "A"}, {"look_in", "formulas"}, {"match_case", "1"}});
    params_.emplace(d, values_);
    files_ = {{dir_.string(), "本.xlsx", true}};
    run::RunRequest req;
    req.category = "すべてのシート_セル";
    req.name = "文字列検索";
    req.params = &*params_;
    req.files = &files_;
    req.procedures = ops::find_procedures(req.category, text::upper(req.name));
    auto out = run::run_batch(req, host_, table_, unused_store(),
                              [] { return xl::native::create_application(); });
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_TRUE(out.is_list);
    std::vector<std::string> rows;
    for (const auto& r : table_.rows()) {
        std::string line;
        for (std::size_t i = 0; i < r.size(); ++i) line += (i ? "|" : "") + r[i];
        rows.push_back(line);
    }
    ASSERT_GE(rows.size(), 5u);
    EXPECT_EQ(rows[0], "すべてのシートで文字列検索");
    EXPECT_EQ(rows[1], "検索文字=A");
    EXPECT_EQ(rows[3], "本.xlsx");
    // 売上: D4 (=A1&"x") and E5 (=NA(), an error value); 在庫: B3 (=売上!A1).
    EXPECT_EQ(std::vector<std::string>(rows.begin() + 4, rows.end()),
              (std::vector<std::string>{"|" + rows[4].substr(1), "||D4|東京x|=A1&\"x\"",
                                        "||E5|エラー|=NA()", "|" + rows[7].substr(1),
                                        "||B3|東京|=売上!A1"}));
    EXPECT_EQ(rows[4].rfind("|売上(", 0), 0u);
    EXPECT_EQ(rows[7].rfind("|在庫(", 0), 0u);
}

}  // namespace
