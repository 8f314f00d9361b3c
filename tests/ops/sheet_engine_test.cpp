// The sheet operations run by the driver over real workbooks with the engine: what the saved
// files hold afterwards, read back by the engine and, where it is installed, by LibreOffice.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "ops/registry.h"
#include "report/record_store.h"
#include "report/result_table.h"
#include "run/driver.h"
#include "shell/catalogue.h"
#include "util/text.h"
#include "support/scripted_host.h"
#include "xl/native/engine.h"
#include "xl/xl.h"

namespace fs = std::filesystem;

namespace sheaflow::test {
namespace {

using Names = std::vector<std::string>;

class SheetEngineTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() /
               ("sheaflow_sheet_ops_" + std::to_string(::getpid()) + "_" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }

    // A copy of the structure fixture under `name` in the run's folder.
    void add_fixture(const std::string& name) {
        fs::copy_file(fs::path(SHEAFLOW_TEST_DATA_DIR) / "structure.xlsx", dir_ / name);
        files_.push_back({dir_.string(), name, true});
    }
    // A workbook made by the engine with the given sheets; "*" in a name puts a value in A1.
    void add_made(const std::string& name, const Names& sheets) {
        auto app = xl::native::create_application();
        auto book = app->workbooks().add();
        ASSERT_TRUE(book.has_value());
        xl::Workbook& b = **book;
        for (std::size_t i = 0; i < sheets.size(); ++i) {
            xl::Worksheet* ws = i == 0
                                    ? b.worksheet(1)
                                    : *b.add_worksheet(nullptr, b.worksheet(static_cast<int>(i)));
            std::string n = sheets[i];
            bool filled = !n.empty() && n.back() == '*';
            if (filled) n.pop_back();
            ASSERT_TRUE(ws->set_name(n).has_value());
            if (filled) {
                ASSERT_TRUE(ws->set_cell_value({1, 1}, xl::Value{1.0}).has_value());
            }
        }
        ASSERT_TRUE(b.save_as((dir_ / name).string(), xl::xlOpenXMLWorkbook).has_value());
        files_.push_back({dir_.string(), name, true});
    }

    // Runs a sheet operation with its declared pane and the given values.
    run::RunOutcome run(const std::string& name,
                        const std::vector<std::pair<std::string, std::string>>& values) {
        const shell::OperationDecl* decl = shell::find_declaration("シート", name);
        EXPECT_NE(decl, nullptr) << name;
        pane_.values.clear();
        for (const shell::Field& f : decl->fields) pane_.values.push_back(f.default_value);
        for (const auto& [key, value] : values)
            for (std::size_t i = 0; i < decl->fields.size(); ++i)
                if (decl->fields[i].key == key) pane_.values[i] = value;
        params_ = std::make_unique<shell::Params>(*decl, pane_);
        for (auto& f : files_) f.selected = true;
        run::RunRequest req;
        req.category = "シート";
        req.name = name;
        req.params = params_.get();
        req.files = &files_;
        req.procedures = ops::find_procedures(req.category, text::upper(req.name));
        return run::run_batch(req, host_, table_, store_,
                              [] { return xl::native::create_application(); });
    }

    // The sheet names and the formula of one cell of a saved file, read by a new engine.
    Names names_of(const std::string& file) {
        auto app = xl::native::create_application();
        auto book = app->workbooks().open((dir_ / file).string(), true);
        if (!book) return {"(" + book.error().message + ")"};
        Names out;
        for (int i = 1; i <= (*book)->sheet_count(); ++i) out.push_back((*book)->sheet(i)->name());
        return out;
    }
    std::string formula_of(const std::string& file, const std::string& sheet, xl::CellRef c) {
        auto app = xl::native::create_application();
        auto book = app->workbooks().open((dir_ / file).string(), true);
        if (!book) return "(" + book.error().message + ")";
        xl::Worksheet* ws = (*book)->worksheet(sheet);
        return ws ? ws->cell_formula(c) : "(no sheet)";
    }

    fs::path dir_;
    std::vector<run::TargetFile> files_;
    testing::ScriptedHost host_;
    report::ResultTable table_;
    report::RecordStore store_;
    shell::PaneValues pane_;
    std::unique_ptr<shell::Params> params_;
};

TEST_F(SheetEngineTest, RenameByPartRewritesReferencesInEveryFile) {
    add_fixture("a.xlsx");
    add_fixture("b.xlsx");
    auto out = run("シート名変更", {{"basis", "part"}, {"old", "Sheet"}, {"new", "Page"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    for (const char* f : {"a.xlsx", "b.xlsx"}) {
        EXPECT_EQ(names_of(f), (Names{"Data", "My Page", "Summary", "Hidden"}));
        EXPECT_EQ(formula_of(f, "Summary", {1, 1}), "=SUM(Data!A1:A3)+'My Page'!B2");
    }
}

TEST_F(SheetEngineTest, RefusedNameIsAnErrorLineAndTheFileIsUnchanged) {
    add_fixture("a.xlsx");
    auto out = run("シート名変更", {{"basis", "whole"}, {"old", "Data"}, {"new", "summary"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_NE(out.error_text.find("a.xlsx "), std::string::npos) << out.error_text;
    EXPECT_EQ(names_of("a.xlsx"), (Names{"Data", "My Sheet", "Summary", "Hidden"}));
}

TEST_F(SheetEngineTest, SheetNameListByFileAndBySheet) {
    add_made("b.xlsx", {"売上", "My Sheet*"});  // the sheet added last is the front-most one
    add_fixture("a.xlsx");
    ASSERT_TRUE(run("シート名一覧", {{"sort", "file"}}).checked);
    using Row = report::ResultTable::Row;
    auto row = [&](int i) {
        Row r = table_.rows()[static_cast<std::size_t>(i)];
        r.resize(4);
        return r;
    };
    ASSERT_EQ(table_.rows().size(), 7u);  // 4 + separator + 2
    EXPECT_EQ(table_.titles()[0], "ファイル名");
    EXPECT_EQ(row(0), (Row{"a.xlsx", " ", "Sheet1", "Data"}));
    EXPECT_EQ(row(2), (Row{"a.xlsx", "＊", "Sheet3", "Summary"}));
    EXPECT_EQ(row(1), (Row{"a.xlsx", " ", "Sheet2", "「My Sheet」"}));
    EXPECT_EQ(row(4), (Row{"", "", "", ""}));
    EXPECT_EQ(row(6)[0], "b.xlsx");
    EXPECT_EQ(row(6)[1], "＊");
    EXPECT_EQ(row(6)[3], "「My Sheet」");

    table_.clear();
    ASSERT_TRUE(run("シート名一覧", {{"sort", "sheet"}}).checked);
    EXPECT_EQ(table_.titles()[0], "シート名");
    // Data, Hidden, then the two files' "My Sheet" as one group (shown as named), Summary, 売上.
    ASSERT_EQ(table_.rows().size(), 10u);
    EXPECT_EQ(row(2)[0], "Hidden");
    EXPECT_EQ(row(4)[0], "My Sheet");
    EXPECT_EQ(row(5)[0], "My Sheet");
    EXPECT_NE(row(4)[3], row(5)[3]);
    EXPECT_EQ(row(9)[0], "売上");
    // Listing opens the files read-only: nothing was saved.
    EXPECT_EQ(names_of("a.xlsx"), (Names{"Data", "My Sheet", "Summary", "Hidden"}));
}

}  // namespace
}  // namespace sheaflow::test
