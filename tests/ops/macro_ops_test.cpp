// The macro operations run by the driver over the corpus's macro workbooks: the saved projects
// read back by the engine, by an independent decoder, and by LibreOffice where it is installed.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "ops/registry.h"
#include "report/record_store.h"
#include "report/result_table.h"
#include "run/driver.h"
#include "shell/catalogue.h"
#include "support/scripted_host.h"
#include "util/text.h"
#include "xl/native/engine.h"
#include "xl/xl.h"

namespace fs = std::filesystem;

namespace sheaflow::test {
namespace {

using Names = std::vector<std::string>;

std::string corpus(const std::string& rel) {
    const char* env = std::getenv("SHEAFLOW_CORPUS_DIR");
    return std::string(env && *env ? env : SHEAFLOW_CORPUS_DIR) + "/" + rel;
}
std::string slurp(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

class MacroOpsTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() /
               ("sheaflow_macro_ops_" + std::to_string(::getpid()) + "_" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_ / "in");
    }
    void TearDown() override { fs::remove_all(dir_); }

    void add(const std::string& corpus_file, const std::string& name) {
        fs::copy_file(corpus(corpus_file), dir_ / "in" / name);
        // The corpus is read-only, and a save refuses a read-only target.
        fs::permissions(dir_ / "in" / name, fs::perms::owner_write, fs::perm_options::add);
        files_.push_back({(dir_ / "in").string(), name, true});
    }
    std::string write(const std::string& name, const std::string& bytes) {
        std::ofstream(dir_ / name, std::ios::binary) << bytes;
        return (dir_ / name).string();
    }

    run::RunOutcome run(const std::string& name,
                        const std::vector<std::pair<std::string, std::string>>& values) {
        const shell::OperationDecl* decl = shell::find_declaration("ツール", name);
        EXPECT_NE(decl, nullptr) << name;
        pane_.values.clear();
        for (const shell::Field& f : decl->fields) pane_.values.push_back(f.default_value);
        for (const auto& [key, value] : values)
            for (std::size_t i = 0; i < decl->fields.size(); ++i)
                if (decl->fields[i].key == key) pane_.values[i] = value;
        params_ = std::make_unique<shell::Params>(*decl, pane_);
        table_.clear();
        run::RunRequest req;
        req.category = "ツール";
        req.name = name;
        req.params = params_.get();
        req.files = &files_;
        req.procedures = ops::find_procedures(req.category, text::upper(req.name));
        EXPECT_NE(req.procedures, nullptr) << name;
        return run::run_batch(req, host_, table_, store_,
                              [] { return xl::native::create_application(); });
    }

    // "Name:Type:lines" of every component of a saved file, read by a new engine.
    Names modules_of(const std::string& file) {
        auto app = xl::native::create_application();
        auto book = app->workbooks().open((dir_ / "in" / file).string(), true);
        if (!book) return {"(" + book.error().message + ")"};
        auto project = (*book)->vb_project();
        if (!project) return {"(" + project.error().message + ")"};
        Names out;
        xl::VBComponents& c = (*project)->vb_components();
        for (int i = 1; i <= c.count(); ++i)
            out.push_back(c.item(i)->name() + ":" + std::to_string(c.item(i)->type()) + ":" +
                          std::to_string(c.item(i)->code_module().count_of_lines()));
        return out;
    }
    std::string code_of(const std::string& file, const std::string& module) {
        auto app = xl::native::create_application();
        auto book = app->workbooks().open((dir_ / "in" / file).string(), true);
        if (!book) return "(" + book.error().message + ")";
        xl::VBComponent* m = (*(*book)->vb_project())->vb_components().item(module);
        return m ? m->code_module().lines(1, m->code_module().count_of_lines()) : "(none)";
    }
    std::vector<Names> rows() const {
        std::vector<Names> out;
        for (const auto& r : table_.rows()) {
            Names row(r.begin(), r.end());
            while (!row.empty() && row.back().empty()) row.pop_back();
            out.push_back(row);
        }
        return out;
    }

    fs::path dir_;
    std::vector<run::TargetFile> files_;
    testing::ScriptedHost host_;
    report::ResultTable table_;
    report::RecordStore store_;
    shell::PaneValues pane_;
    std::unique_ptr<shell::Params> params_;
};

TEST_F(MacroOpsTest, StandardImportReplacesTheModuleOfItsNameAndRefusesAnXlsx) {
    add("xlsm/sjs-BlankSheetTypes.xlsm", "a.xlsm");
    add("xlsm/cal-vba.xlsm", "b.xlsm");
    add("xlsm/cal-issue3.xlsm", "none.xlsx");  // a macro-free target by its extension
    std::string xlsx_before = slurp(dir_ / "in" / "none.xlsx");
    std::string bas = write("Module1.bas",
                            "Attribute VB_Name = \"Module1\"\nSub Replaced()\nEnd Sub\n");
    auto out = run("マクロインポート(標準モージュール)", {{"file", bas}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(modules_of("a.xlsm"), (Names{"ThisWorkbook:100:0", "Sheet1:100:0", "Chart1:100:0",
                                           "UserForm1:3:3", "Class1:2:10", "Module1:1:2"}));
    EXPECT_EQ(code_of("a.xlsm", "Module1"), "Sub Replaced()\r\nEnd Sub");
    EXPECT_EQ(modules_of("b.xlsm").back(), "Module1:1:2");
    EXPECT_NE(out.error_text.find("マクロModule1　インポート先ファイルの拡張子によりインポート不可 " +
                                  (dir_ / "in" / "none.xlsx").string()),
              std::string::npos)
        << out.error_text;
    EXPECT_EQ(slurp(dir_ / "in" / "none.xlsx"), xlsx_before);

    // The pane's checks, in their order.
    EXPECT_EQ(run("マクロインポート(標準モージュール)", {{"file", ""}}).check_message,
              "マクロファイルが記述されてません。");
    EXPECT_EQ(run("マクロインポート(標準モージュール)", {{"file", bas + "x"}}).check_message,
              "マクロファイルがありません。");
    EXPECT_EQ(run("マクロインポート(標準モージュール)",
                  {{"file", write("x.bas", "Sub A()\r\nEnd Sub\r\n")}})
                  .check_message,
              "マクロに記述されているマクロ名(Attribute名)不明です。");
}

TEST_F(MacroOpsTest, SheetCodeGoesInAndComesOutWithoutHeaders) {
    add("xlsm/cal-issue281.xlsm", "売上.xlsm");  // a project in code page 932
    const std::string code = "Private Sub Worksheet_Activate()\r\n    MsgBox \"集計\"\r\nEnd Sub\r\n";
    std::string txt = write("sheet.txt", text::to_cp932(code));
    auto in = run("マクロインポート(シート)", {{"file", txt}, {"target", "code"}, {"code_name", "Sheet2"}});
    ASSERT_TRUE(in.checked) << in.check_message;
    EXPECT_EQ(in.failed_files, 0) << in.error_text;
    auto missing = run("マクロインポート(シート)", {{"file", txt}, {"target", "name"}, {"sheet_name", "無い"}});
    EXPECT_NE(missing.error_text.find("「無い」がありません。"), std::string::npos) << missing.error_text;

    auto out = run("マクロエクスポート（すべて）", {{"folder", (dir_ / "out").string()}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    Names written;
    for (const auto& e : fs::directory_iterator(dir_ / "out")) written.push_back(e.path().filename().string());
    std::sort(written.begin(), written.end());
    EXPECT_EQ(written, (Names{"売上_ThisWorkbook.txt", "売上_シートモジュール_Sheet1(Sheet1).txt",
                              "売上_シートモジュール_Sheet2(Sheet2).txt",
                              "売上_シートモジュール_Sheet3(Sheet3).txt", "売上_標準モジュール_testVBA.bas"}));
    EXPECT_EQ(slurp(dir_ / "out" / "売上_シートモジュール_Sheet2(Sheet2).txt"), text::to_cp932(code));
    EXPECT_EQ(slurp(dir_ / "out" / "売上_ThisWorkbook.txt"), "");
    EXPECT_EQ(slurp(dir_ / "out" / "売上_標準モジュール_testVBA.bas").rfind("Attribute VB_Name = \"testVBA\"\r\n", 0), 0u);

    EXPECT_EQ(run("マクロエクスポート（すべて）", {{"folder", "relative/path"}}).check_message,
              "エクスポート先ディレクトリが不明です。");
}

TEST_F(MacroOpsTest, AFormIsExportedWithItsDesignerBesideIt) {
    add("xlsm/sjs-BlankSheetTypes.xlsm", "a.xlsm");
    auto out = run("マクロエクスポート（すべて）", {{"folder", (dir_ / "out").string()}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    const fs::path frm = dir_ / "out" / "a_フォームモジュール_UserForm1.frm";
    const std::string text = slurp(frm);
    EXPECT_EQ(text.rfind("VERSION 5.00\r\n", 0), 0u) << text;
    EXPECT_NE(text.find("OleObjectBlob   =   \"" + text::to_cp932("a_フォームモジュール_UserForm1.frx") +
                        "\":0000\r\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("Attribute VB_Name = \"UserForm1\""), std::string::npos) << text;
    // The designer is a compound file of its own.
    EXPECT_EQ(slurp(dir_ / "out" / "a_フォームモジュール_UserForm1.frx").rfind("\xD0\xCF\x11\xE0", 0), 0u);
}

TEST_F(MacroOpsTest, DeletionsAndRenameChangeExactlyWhatTheySay) {
    add("xlsm/sjs-BlankSheetTypes.xlsm", "a.xlsm");
    add("xlsm/cal-issue281.xlsm", "b.xlsm");
    auto renamed = run("マクロ名変更(標準モージュール)", {{"old_name", "testVBA"}, {"new_name", "集計処理"}});
    ASSERT_TRUE(renamed.checked) << renamed.check_message;
    EXPECT_NE(renamed.error_text.find("マクロ名「testVBA」がありません。"), std::string::npos);
    EXPECT_EQ(modules_of("b.xlsm").back(), "集計処理:1:3");

    auto three = run("マクロ削除３", {{"target", "standard"}, {"module_name", "Module1"}});
    EXPECT_NE(three.error_text.find("b.xlsm マクロModule1なし "), std::string::npos) << three.error_text;
    EXPECT_EQ(modules_of("a.xlsm").size(), 5u);

    auto two = run("マクロ削除２", {{"modules", "Class1\tSheet1"}});
    ASSERT_TRUE(two.checked) << two.check_message;
    EXPECT_EQ(modules_of("a.xlsm"),
              (Names{"ThisWorkbook:100:0", "Sheet1:100:0", "Chart1:100:0", "UserForm1:3:3"}));

    auto one = run("マクロ削除１", {{"other_modules", "1"}});
    ASSERT_TRUE(one.checked) << one.check_message;
    EXPECT_EQ(modules_of("a.xlsm"), (Names{"ThisWorkbook:100:0", "Sheet1:100:0", "Chart1:100:0"}));
    EXPECT_EQ(modules_of("b.xlsm"),
              (Names{"ThisWorkbook:100:0", "Sheet1:100:0", "Sheet2:100:0", "Sheet3:100:0"}));
    EXPECT_EQ(run("マクロ削除１", {}).check_message, "マクロ削除オプションが設定されていません。");
}

TEST_F(MacroOpsTest, ListsSearchAndTrailingBlankLines) {
    add("xlsm/sjs-BlankSheetTypes.xlsm", "a.xlsm");
    add("xlsm/cal-issue281.xlsm", "b.xlsm");
    auto names = run("マクロ名一覧", {{"kind", "all"}});
    ASSERT_TRUE(names.checked);
    EXPECT_EQ(rows(), (std::vector<Names>{
                          {"a.xlsm", "標準モジュール", "Module1", "Function", "Add", "2"},
                          {"a.xlsm", "フォームモジュール", "UserForm1", "Sub", "ListBox1_Click", "1"},
                          {"a.xlsm", "クラスモジュール", "Class1", "Sub", "Class_Initialize", "4"},
                          {"a.xlsm", "クラスモジュール", "Class1", "Sub", "Class_Terminate", "8"},
                          {},
                          {"b.xlsm", "標準モジュール", "testVBA", "Sub", "test", "1"}}));

    auto found = run("マクロ内のプログラム検索", {{"search", "msgbox"}});
    ASSERT_TRUE(found.checked);
    EXPECT_EQ(rows(), (std::vector<Names>{{"b.xlsm", "標準モジュール_testVBA", "2", "5",
                                           "    MsgBox \"Hello from vba!\""}}));

    // A module of only "Option Explicit" and blank lines goes; another keeps its code.
    std::string empty = write("Empty.bas", "Attribute VB_Name = \"Empty\"\r\nOption Explicit\r\n\r\n \t\r\n");
    std::string tail = write("Tail.bas", "Attribute VB_Name = \"Tail\"\r\nOption Explicit\r\nSub A()\r\nEnd Sub\r\n\r\n　\r\n");
    ASSERT_TRUE(run("マクロインポート(標準モージュール)", {{"file", empty}}).checked);
    ASSERT_TRUE(run("マクロインポート(標準モージュール)", {{"file", tail}}).checked);
    auto trimmed = run("マクロ最終改行のみ行削除", {});
    EXPECT_EQ(trimmed.failed_files, 0) << trimmed.error_text;
    EXPECT_EQ(rows(), (std::vector<Names>{{"標準モジュール", "a.xlsm", "Empty", "行数がないので削除"},
                                          {"標準モジュール", "b.xlsm", "Empty", "行数がないので削除"}}));
    EXPECT_EQ(code_of("b.xlsm", "Tail"), "Option Explicit\r\nSub A()\r\nEnd Sub");
    EXPECT_EQ(code_of("b.xlsm", "Empty"), "(none)");
}

TEST_F(MacroOpsTest, ImportsIntoAMacroEnabledWorkbookWithoutAProjectMakeOne) {
    add("xlsm/cal-issue221.xlsm", "none.xlsm");  // macro-enabled, no project yet
    add("xlsm/cal-issue221.xlsm", "sheet.xlsm");
    ASSERT_EQ(modules_of("none.xlsm"), Names{});
    std::string bas = write("Module1.bas", "Attribute VB_Name = \"集計\"\r\nSub 実行()\r\nEnd Sub\r\n");
    files_[1].selected = false;
    ASSERT_TRUE(run("マクロインポート(標準モージュール)", {{"file", bas}}).checked);
    EXPECT_EQ(modules_of("none.xlsm"), (Names{"ThisWorkbook:100:0", "Sheet1:100:0", "集計:1:2"}));
    // A sheet import into such a workbook finds the sheet's new module.
    files_[0].selected = false;
    files_[1].selected = true;
    std::string txt = write("code.txt", "Private Sub Worksheet_Activate()\r\nEnd Sub\r\n");
    auto out = run("マクロインポート(シート)", {{"file", txt}, {"target", "code"}, {"code_name", "Sheet1"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    EXPECT_EQ(code_of("sheet.xlsm", "Sheet1"), "Private Sub Worksheet_Activate()\r\nEnd Sub");

    if (std::system("command -v soffice >/dev/null 2>&1") != 0) GTEST_SKIP() << "no soffice";
    std::string cmd = "/usr/bin/python3 '" + std::string(SHEAFLOW_TEST_DATA_DIR) + "/lo_basic.py' '" +
                      (dir_ / "in" / "none.xlsm").string() + "' 2>/dev/null";
    std::string listing;
    if (FILE* p = ::popen(cmd.c_str(), "r")) {
        char buf[4096];
        std::size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) listing.append(buf, n);
        ::pclose(p);
    }
    EXPECT_EQ(listing, "== " + (dir_ / "in" / "none.xlsm").string() +
                           "\nVBAProject\tSheet1\nVBAProject\tThisWorkbook\nVBAProject\t集計\n");
}

TEST_F(MacroOpsTest, LibreOfficeOpensTheChangedWorkbooksAndListsTheirModules) {
    if (std::system("command -v soffice >/dev/null 2>&1") != 0) GTEST_SKIP() << "no soffice";
    add("xlsm/sjs-BlankSheetTypes.xlsm", "a.xlsm");
    add("xlsm/cal-issue281.xlsm", "b.xlsm");
    std::string bas = write("Module1.bas", "Attribute VB_Name = \"Added\"\r\nSub Hello()\r\nEnd Sub\r\n");
    ASSERT_TRUE(run("マクロインポート(標準モージュール)", {{"file", bas}}).checked);
    ASSERT_TRUE(run("マクロ削除２", {{"modules", "UserForm1\tClass1"}}).checked);
    std::string cmd = "/usr/bin/python3 '" + std::string(SHEAFLOW_TEST_DATA_DIR) + "/lo_basic.py' '" +
                      (dir_ / "in" / "a.xlsm").string() + "' '" + (dir_ / "in" / "b.xlsm").string() +
                      "' 2>/dev/null";
    std::string listing;
    if (FILE* p = ::popen(cmd.c_str(), "r")) {
        char buf[4096];
        std::size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) listing.append(buf, n);
        ::pclose(p);
    }
    EXPECT_EQ(listing.find("!! "), std::string::npos) << listing;
    std::string a = (dir_ / "in" / "a.xlsm").string(), b = (dir_ / "in" / "b.xlsm").string();
    EXPECT_EQ(listing, "== " + a + "\nVBAProject\tAdded\nVBAProject\tChart1\nVBAProject\tModule1\nVBAProject\tSheet1\n"
                       "VBAProject\tThisWorkbook\n== " + b +
                       "\nVBAProject\tAdded\nVBAProject\tSheet1\nVBAProject\tSheet2\nVBAProject\tSheet3\n"
                       "VBAProject\tThisWorkbook\nVBAProject\ttestVBA\n");
}

}  // namespace
}  // namespace sheaflow::test
