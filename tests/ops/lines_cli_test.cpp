// The row and column operations through `sheaflow run 行|列 ...` on a workbook made for them and
// on corpus workbooks, read back with the engine; the lists checked against the package's XML
// read on its own.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <pugixml.hpp>
#include <sstream>

#include "xl/native/engine.h"
#include "xl/native/package.h"
#include "xl/xl.h"

namespace fs = std::filesystem;

namespace sheaflow::test {
namespace {

using xl::Axis;

class LinesCliTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() /
               ("sheaflow_lines_cli_" + std::to_string(::getpid()) + "_" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_ / "params");
        fs::create_directories(dir_ / "target");
        // Names and numbers with two blank rows (4 and 7), a total and a text to split.
        auto app = xl::native::create_application();
        xl::Workbook& b = **app->workbooks().add();
        xl::Worksheet& ws = *b.worksheet(1);
        const char* cells[][2] = {{"A1", "名前"}, {"B1", "数"},  {"A2", "a"},       {"B2", "1"},
                                  {"A3", "b"},    {"B3", "2"},   {"A5", "a"},       {"B5", "3"},
                                  {"A6", "ａ "},  {"B6", "4"},   {"A8", "c"},       {"B8", "5"},
                                  {"A9", "x,y,z"}, {"D1", "=SUM(B1:B9)"}};
        for (auto [at, typed] : cells)
            ASSERT_TRUE(ws.range(at)->set_formula(typed).has_value()) << at;
        ASSERT_TRUE(b.save_as(book_path(), xl::xlOpenXMLWorkbook).has_value());
    }
    void TearDown() override { fs::remove_all(dir_); }

    std::string book_path() const { return (dir_ / "target/book.xlsx").string(); }

    // Runs the command line; its exit status, stdout in `out_`, stderr in `err_`.
    int run(const std::string& category, const std::string& operation,
            const std::vector<std::string>& sets) {
        std::string cmd = std::string("'") + SHEAFLOW_CLI_PATH + "' run '" + category + "' '" +
                          operation + "' --folder '" + (dir_ / "target").string() +
                          "' --yes --param-dir '" + (dir_ / "params").string() + "'";
        for (const std::string& s : sets) cmd += " --set '" + s + "'";
        cmd += " >'" + (dir_ / "out.txt").string() + "' 2>'" + (dir_ / "err.txt").string() + "'";
        int rc = std::system(cmd.c_str());
        out_ = slurp(dir_ / "out.txt");
        err_ = slurp(dir_ / "err.txt");
        return WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
    }
    static std::string slurp(const fs::path& p) {
        std::ifstream in(p);
        std::stringstream ss;
        ss << in.rdbuf();
        return ss.str();
    }

    // The saved workbook opened again.
    struct Reopened {
        std::unique_ptr<xl::Application> app;
        xl::Worksheet* ws = nullptr;
    };
    Reopened reopen() {
        Reopened r{xl::native::create_application()};
        auto book = r.app->workbooks().open(book_path(), true);
        if (book) r.ws = (*book)->worksheet(1);
        return r;
    }

    fs::path dir_;
    std::string out_, err_;
};

TEST_F(LinesCliTest, RowOperationsInTurn) {
    ASSERT_EQ(run("行", "空白行削除", {}), 0) << err_;
    {
        auto r = reopen();
        EXPECT_EQ(r.ws->cell_formula({1, 4}), "=SUM(B1:B7)");
        EXPECT_EQ(r.ws->cell_text({4, 1}), "a");
        EXPECT_EQ(r.ws->cell_text({7, 1}), "x,y,z");
    }
    ASSERT_EQ(run("行", "削除", {"mode=match", "key=A", "value=a"}), 0) << err_;
    ASSERT_EQ(run("行", "挿入１", {"at=2", "count=2"}), 0) << err_;
    {
        auto r = reopen();
        EXPECT_EQ(r.ws->cell_text({4, 1}), "b");
        EXPECT_EQ(r.ws->cell_formula({1, 4}), "=SUM(B1:B7)");  // grew by 2 after losing 2
    }
    ASSERT_EQ(run("行", "表示１", {"lines=2:3", "show=hide"}), 0) << err_;
    ASSERT_EQ(run("行", "高さ設定１", {"lines=1", "size=30"}), 0) << err_;
    ASSERT_EQ(run("行", "グループ", {"lines=5:6", "action=group"}), 0) << err_;
    {
        auto r = reopen();
        EXPECT_TRUE(r.ws->line_format(Axis::Rows, 3).hidden);
        EXPECT_EQ(r.ws->line_format(Axis::Rows, 1).size, 30);
        EXPECT_EQ(r.ws->line_format(Axis::Rows, 6).outline_level, 1);
    }
    ASSERT_EQ(run("行", "高さ一覧", {"lines=1:3"}), 0) << err_;
    EXPECT_NE(out_.find("book.xlsx\tSheet1\t1\t30\t"), std::string::npos) << out_;
    EXPECT_NE(out_.find("\t3\t"), std::string::npos) << out_;
    ASSERT_EQ(run("行", "表示２", {"mode=show_all"}), 0) << err_;
    EXPECT_FALSE(reopen().ws->line_format(Axis::Rows, 3).hidden);
    ASSERT_EQ(run("行", "挿入２", {"mode=every", "from=2", "interval=2"}), 0) << err_;
    {
        // Rows 2 and 3 are blank, "b" was row 4: a blank row goes before it and before row 6.
        auto r = reopen();
        EXPECT_EQ(r.ws->cell_text({4, 1}), "");
        EXPECT_EQ(r.ws->cell_text({5, 1}), "b");
    }

    // A row text the pane refuses: nothing runs.
    EXPECT_NE(run("行", "削除", {"mode=lines", "lines=0"}), 0);
    EXPECT_NE(err_.find("行の指定が不正です。"), std::string::npos) << err_;
}

TEST_F(LinesCliTest, ColumnOperationsInTurn) {
    ASSERT_EQ(run("列", "データ重複検索", {"key=A", "title_rows=1", "fold=1"}), 0) << err_;
    EXPECT_NE(out_.find("\ta\t3\t2,5,6"), std::string::npos) << out_;
    ASSERT_EQ(run("列", "文字の分割", {"key=A", "method=delimiter", "delimiter=,"}), 0) << err_;
    {
        auto r = reopen();
        EXPECT_EQ(r.ws->cell_text({9, 1}), "x");
        EXPECT_EQ(r.ws->cell_text({9, 3}), "z");
    }
    ASSERT_EQ(run("列", "挿入", {"at=B", "count=1"}), 0) << err_;
    EXPECT_EQ(reopen().ws->cell_formula({1, 5}), "=SUM(C1:C9)");
    ASSERT_EQ(run("列", "幅設定１", {"lines=A:B", "size=20"}), 0) << err_;
    ASSERT_EQ(run("列", "タイトル行を除いて列幅自動調整", {"title_rows=1", "from=C", "to=C"}), 0)
        << err_;
    {
        auto r = reopen();
        EXPECT_DOUBLE_EQ(r.ws->line_format(Axis::Columns, 2).size, 20);
        EXPECT_TRUE(r.ws->line_format(Axis::Columns, 3).custom_size);
    }
    ASSERT_EQ(run("列", "幅一覧", {"lines=A:C"}), 0) << err_;
    EXPECT_NE(out_.find("\tB\t20\t"), std::string::npos) << out_;
    ASSERT_EQ(run("列", "削除", {"mode=lines", "lines=B:C"}), 0) << err_;
    EXPECT_EQ(reopen().ws->cell_formula({1, 3}), "=SUM(#REF!)");

    EXPECT_NE(run("列", "挿入", {"at=3", "count=1"}), 0);
    EXPECT_NE(err_.find("列の指定が不正です。"), std::string::npos) << err_;
}

// The last row and the count of rows with values, from the sheet XML read directly: rows with
// a <v> or an inline string.
std::pair<int, int> extent_from_xml(const std::string& file, const std::string& part) {
    auto pkg = xl::native::Package::open_file(file);
    auto xml = (*pkg)->read(part);
    pugi::xml_document doc;
    doc.load_string(xml->c_str());
    int last = 0, count = 0;
    for (pugi::xml_node row : doc.child("worksheet").child("sheetData").children("row")) {
        bool value = false;
        for (pugi::xml_node c : row.children("c"))
            value = value || *c.child_value("v") != '\0' || c.child("is");
        if (value) {
            last = row.attribute("r").as_int();
            ++count;
        }
    }
    return {last, count};
}

TEST_F(LinesCliTest, ValueExtentOfCorpusSheetsMatchesTheirXml) {
    const std::string corpus = std::string(SHEAFLOW_CORPUS_DIR) + "/xlsx/cal-merge_cells.xlsx";
    if (!fs::exists(corpus)) GTEST_SKIP() << "corpus not found";
    fs::copy_file(corpus, book_path(), fs::copy_options::overwrite_existing);
    fs::permissions(book_path(), fs::perms::owner_write, fs::perm_options::add);
    ASSERT_EQ(run("すべてのシート_行", "値あり行一覧", {"formula_blank=0"}), 0) << err_;
    auto [last, count] = extent_from_xml(book_path(), "xl/worksheets/sheet1.xml");
    EXPECT_NE(out_.find("\t" + std::to_string(last) + "\t" + std::to_string(count)),
              std::string::npos)
        << out_;
}

}  // namespace
}  // namespace sheaflow::test
