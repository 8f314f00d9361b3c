// The file operations through `sheaflow run ファイル ...` over a folder tree: the tree afterwards
// (names and contents), clashes refused with nothing lost, and the document properties read back
// by the engine and by LibreOffice.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <sstream>

#include "xl/native/engine.h"
#include "xl/xl.h"

namespace fs = std::filesystem;

namespace sheaflow::test {
namespace {

using Tree = std::map<std::string, std::size_t>;  // relative path -> hash of the content

std::string slurp(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

class FileOpsTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() / ("sheaflow_file_ops_" + std::to_string(::getpid()));
        fs::remove_all(dir_);
        fs::create_directories(dir_ / "params");
        fs::create_directories(target());
        // structure.xlsx: first sheet "Data", active "Summary"; its A1 holds a text.
        fs::copy_file(fs::path(SHEAFLOW_TEST_DATA_DIR) / "structure.xlsx", target() / "a_1.xlsx");
        fs::copy_file(fs::path(SHEAFLOW_TEST_DATA_DIR) / "cell_text.xlsx", target() / "b_2.xlsx");
    }
    void TearDown() override { fs::remove_all(dir_); }

    fs::path target() const { return dir_ / "target"; }

    int run(const std::string& operation, const std::vector<std::string>& sets,
            const std::string& extra = "") {
        std::string cmd = std::string("'") + SHEAFLOW_CLI_PATH + "' run ファイル '" + operation +
                          "' --folder '" + target().string() + "' --yes --param-dir '" +
                          (dir_ / "params").string() + "' " + extra;
        for (const std::string& s : sets) cmd += " --set '" + s + "'";
        cmd += " >'" + (dir_ / "out.txt").string() + "' 2>'" + (dir_ / "err.txt").string() + "'";
        int rc = std::system(cmd.c_str());
        out_ = slurp(dir_ / "out.txt");
        err_ = slurp(dir_ / "err.txt");
        return WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
    }

    Tree tree(const fs::path& root) const {
        Tree t;
        for (const auto& e : fs::recursive_directory_iterator(root))
            if (e.is_regular_file())
                t[fs::relative(e.path(), root).string()] = std::hash<std::string>{}(slurp(e.path()));
        return t;
    }

    fs::path dir_;
    std::string out_, err_;
};

TEST_F(FileOpsTest, NewNamesCopyOrMoveAndNeverOverwrite) {
    const Tree before = tree(target());
    ASSERT_EQ(run("ファイル名を変えて保存", {"how=end", "text=_old"}), 0) << err_;
    Tree t = tree(target());
    EXPECT_EQ(t.size(), 4u);
    EXPECT_EQ(t["a_1_old.xlsx"], before.at("a_1.xlsx"));

    // Again: both names are taken, so each file is an error line and nothing changes.
    EXPECT_NE(run("ファイル名を変えて保存", {"how=end", "text=_old"}, "--files '?_?.xlsx'"), 0);
    EXPECT_NE(err_.find("a_1_old.xlsx」が既にあるので、処理しませんでした。"), std::string::npos)
        << err_;
    EXPECT_EQ(tree(target()), t);

    // Sequence numbers into another folder, the originals removed.
    fs::create_directories(dir_ / "out");
    ASSERT_EQ(run("ファイル名を変えて保存",
                  {"how=number", "text=報告", "digits=2", "start=7",
                   "folder=" + (dir_ / "out").string(), "remove=1"},
                  "--files '?_?.xlsx'"),
              0)
        << err_;
    Tree out = tree(dir_ / "out");
    EXPECT_EQ(out["報告07.xlsx"], before.at("a_1.xlsx"));
    EXPECT_EQ(out["報告08.xlsx"], before.at("b_2.xlsx"));
    EXPECT_FALSE(fs::exists(target() / "a_1.xlsx"));

    // A part of the name replaced: every occurrence, case ignored.
    ASSERT_EQ(run("ファイル名の一部を変更して保存", {"search=_OLD", "replace=-new", "remove=1"}), 0)
        << err_;
    EXPECT_EQ(tree(target())["a_1-new.xlsx"], before.at("a_1.xlsx"));
    EXPECT_EQ(tree(target()).size(), 2u);
}

TEST_F(FileOpsTest, NamesFromSheetsAndCellsAndBack) {
    ASSERT_EQ(run("ファイル名にシート名を追加", {"sheet=first", "position=front", "delimiter=-"},
                  "--files a_1.xlsx"),
              0)
        << err_;
    EXPECT_TRUE(fs::exists(target() / "Data-a_1.xlsx"));

    // The part of the name before "-" written into A1 of the active sheet, as a text.
    ASSERT_EQ(run("ファイル名の一部をセルの値にする",
                  {"cell=C3", "sheet=first", "part=before", "delimiter=-"}, "--files Data-a_1.xlsx"),
              0)
        << err_;
    auto app = xl::native::create_application();
    auto book = app->workbooks().open((target() / "Data-a_1.xlsx").string(), true);
    ASSERT_TRUE(book.has_value()) << book.error().message;
    EXPECT_EQ((*book)->worksheet(1)->cell_value({3, 3}), xl::Value(std::string("Data")));
    (*book)->close();

    // An empty cell gives no name: an error line, the file stays as it was.
    const Tree before = tree(target());
    EXPECT_NE(run("ファイル名にセルの値を追加", {"cell=Z99"}), 0);
    EXPECT_NE(err_.find("セル「Z99」が空白なので、ファイル名を変更しませんでした。"), std::string::npos)
        << err_;
    EXPECT_EQ(tree(target()), before);
    // A cell text with characters a file name cannot hold is made usable.
    ASSERT_EQ(run("ファイル名にセルの値を追加", {"cell=C3", "sheet=first", "substitute=＿"},
                  "--files Data-a_1.xlsx"),
              0)
        << err_;
    EXPECT_TRUE(fs::exists(target() / "Data-a_1_Data.xlsx"));
}

TEST_F(FileOpsTest, FoldersBySheetAndSubfoldersRoundTrip) {
    const Tree before = tree(target());
    ASSERT_EQ(run("シート名でフォルダーに分類", {"sheet=first", "action=move"}), 0) << err_;
    Tree moved = tree(target());
    ASSERT_EQ(moved.size(), 2u);
    EXPECT_EQ(moved["Data/a_1.xlsx"], before.at("a_1.xlsx"));

    // Subfolders into names and back again gives the same tree.
    ASSERT_EQ(run("サブフォルダー⇔ファイル名", {"direction=up", "delimiter_up=＠"}, "--subfolders"),
              0)
        << err_;
    Tree flat = tree(target());
    EXPECT_EQ(flat["Data＠a_1.xlsx"], before.at("a_1.xlsx"));
    ASSERT_EQ(run("サブフォルダー⇔ファイル名", {"direction=down", "delimiter_down=＠"}), 0) << err_;
    EXPECT_EQ(tree(target()), moved);

    // A file standing where the folder should be: an error line, nothing lost.
    std::ofstream(target() / "Data2") << "x";
    fs::create_directories(dir_ / "single");
    fs::rename(target() / "Data", dir_ / "hold");
    std::ofstream(target() / "Data") << "not a folder";
    fs::rename(dir_ / "hold" / "a_1.xlsx", target() / "a_1.xlsx");
    EXPECT_NE(run("シート名でフォルダーに分類", {"sheet=first"}, "--files a_1.xlsx"), 0);
    EXPECT_NE(err_.find("同じ名前のファイルがあります"), std::string::npos) << err_;
    EXPECT_TRUE(fs::exists(target() / "a_1.xlsx"));
}

TEST_F(FileOpsTest, NewWorkbooksBesideTheTargets) {
    const fs::path made = dir_ / "made";
    ASSERT_EQ(run("同じファイル名でファイルを作成", {"folder=" + made.string()}), 0) << err_;
    auto app = xl::native::create_application();
    for (const char* name : {"a_1.xlsx", "b_2.xlsx"}) {
        auto book = app->workbooks().open((made / name).string(), true);
        ASSERT_TRUE(book.has_value()) << name;
        EXPECT_EQ((*book)->sheet_count(), 1);
        (*book)->close();
    }
    // From a template: byte copies; a second run finds the names taken.
    fs::remove_all(made);
    const fs::path templ = fs::path(SHEAFLOW_TEST_DATA_DIR) / "structure.xlsx";
    ASSERT_EQ(run("同じファイル名でファイルを作成",
                  {"folder=" + made.string(), "template=" + templ.string()}),
              0)
        << err_;
    EXPECT_EQ(slurp(made / "b_2.xlsx"), slurp(templ));
    EXPECT_NE(run("同じファイル名でファイルを作成", {"folder=" + made.string()}), 0);
    EXPECT_EQ(slurp(made / "b_2.xlsx"), slurp(templ));
    // The target's own folder would make the target itself: refused.
    EXPECT_NE(run("同じファイル名でファイルを作成", {"folder=" + target().string()}), 0);
    EXPECT_NE(err_.find("対象ファイルと同じ"), std::string::npos) << err_;
    // A template that does not exist: the pane's message, nothing run.
    EXPECT_NE(run("同じファイル名でファイルを作成",
                  {"folder=" + made.string(), "template=/nonexistent.xlsx"}),
              0);
    EXPECT_NE(err_.find("ひな形のブック「/nonexistent.xlsx」がありません。"), std::string::npos)
        << err_;
}

TEST_F(FileOpsTest, WorkbooksAndFoldersNamedByCellValues) {
    {
        // A1:A4 of the first target's active sheet: two equal names, one with a slash.
        auto app = xl::native::create_application();
        auto book = app->workbooks().open((target() / "a_1.xlsx").string(), false);
        ASSERT_TRUE(book.has_value());
        xl::Worksheet* ws = (*book)->active_sheet();
        for (auto [row, text] : {std::pair{1, "東京"}, {2, "大阪"}, {3, "東京"}, {4, "北/南"}})
            ASSERT_TRUE(ws->set_cell_value({row, 1}, xl::Value(std::string(text))));
        ASSERT_TRUE((*book)->save_as((target() / "a_1.xlsx").string(), xl::xlOpenXMLWorkbook));
        (*book)->close();
    }
    const fs::path folders = dir_ / "folders";
    ASSERT_EQ(run("セルの値をフォルダ名と扱いフォルダを作成",
                  {"col_from=A", "col_to=A", "row_from=1", "row_to=4",
                   "folder=" + folders.string(), "substitute=＿"},
                  "--files a_1.xlsx"),
              0)
        << err_;
    std::set<std::string> made;
    for (const auto& e : fs::directory_iterator(folders)) made.insert(e.path().filename().string());
    EXPECT_EQ(made, (std::set<std::string>{"東京", "大阪", "北＿南"}));

    // The same names as copies of a template; a name already there is an error line.
    const fs::path books = dir_ / "books";
    fs::create_directories(books);
    std::ofstream(books / "大阪.xlsx") << "keep me";
    const fs::path templ = fs::path(SHEAFLOW_TEST_DATA_DIR) / "cell_text.xlsx";
    EXPECT_NE(run("セルの値をファイル名と扱いファイルを作成",
                  {"col_from=A", "col_to=A", "row_from=1", "row_to=4",
                   "folder=" + books.string(), "template=" + templ.string()},
                  "--files a_1.xlsx"),
              0);
    EXPECT_NE(err_.find("大阪.xlsx」が既にあるので、処理しませんでした。"), std::string::npos) << err_;
    EXPECT_EQ(slurp(books / "大阪.xlsx"), "keep me");
    EXPECT_EQ(slurp(books / "東京.xlsx"), slurp(templ));
    EXPECT_TRUE(fs::exists(books / "北_南.xlsx"));
    // A range box that is not a column: the pane's message.
    EXPECT_NE(run("セルの値をフォルダ名と扱いフォルダを作成",
                  {"col_from=XFE", "folder=" + folders.string()}),
              0);
}

TEST_F(FileOpsTest, PropertiesSetListedAndReadByLibreOffice) {
    ASSERT_EQ(run("プロパティ設定", {"title=売上報告", "company=テスト社", "custom_name=部署",
                                    "custom_value=経理"}),
              0)
        << err_;
    ASSERT_EQ(run("プロパティ一覧", {}), 0) << err_;
    EXPECT_NE(out_.find("a_1.xlsx\tタイトル\t売上報告"), std::string::npos) << out_;
    // The list names each file once, on its first row.
    auto count = [&](const std::string& row) {
        int n = 0;
        for (std::size_t at = 0; (at = out_.find(row, at)) != std::string::npos; ++at) ++n;
        return n;
    };
    EXPECT_EQ(count("\t会社名\tテスト社"), 2) << out_;
    EXPECT_EQ(count("\tユーザー設定：部署\t経理"), 2) << out_;

    // Setting the same values again changes nothing in the package.
    const Tree set = tree(target());
    ASSERT_EQ(run("プロパティ設定", {"title=売上報告", "company=テスト社", "custom_name=部署",
                                    "custom_value=経理"}),
              0);
    auto app = xl::native::create_application();
    auto book = app->workbooks().open((target() / "a_1.xlsx").string(), true);
    ASSERT_TRUE(book.has_value());
    auto props = (*book)->document_properties();
    ASSERT_TRUE(props.has_value());
    int titles = 0;
    for (const auto& p : *props) titles += p.name == "Title";
    EXPECT_EQ(titles, 1);
    (*book)->close();

    // Clearing: a blank title with the clear option removes it.
    ASSERT_EQ(run("プロパティ設定", {"title=", "company=", "custom_name=部署", "custom_value=",
                                    "subject=件名だけ", "blank=clear"}),
              0)
        << err_;
    ASSERT_EQ(run("プロパティ一覧", {}), 0);
    EXPECT_EQ(out_.find("売上報告"), std::string::npos) << out_;
    EXPECT_EQ(out_.find("経理"), std::string::npos) << out_;
    EXPECT_NE(out_.find("a_1.xlsx\t件名\t件名だけ"), std::string::npos) << out_;

    if (std::system("command -v soffice >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "LibreOffice (soffice) is not installed";
    ASSERT_EQ(run("プロパティ設定", {"title=売上報告", "custom_name=部署", "custom_value=経理",
                                    "blank=keep"}),
              0);
    const fs::path profile = dir_ / "lo_profile";
    std::string cmd = "cd '" + dir_.string() + "' && soffice -env:UserInstallation=file://" +
                      profile.string() + " --headless --convert-to ods --outdir '" +
                      (dir_ / "ods").string() + "' '" + (target() / "a_1.xlsx").string() +
                      "' >/dev/null 2>&1 && unzip -p '" + (dir_ / "ods/a_1.ods").string() +
                      "' meta.xml >'" + (dir_ / "meta.xml").string() + "'";
    ASSERT_EQ(std::system(cmd.c_str()), 0);
    const std::string meta = slurp(dir_ / "meta.xml");
    EXPECT_NE(meta.find("<dc:title>売上報告</dc:title>"), std::string::npos) << meta;
    EXPECT_NE(meta.find("部署"), std::string::npos) << meta;
    EXPECT_NE(meta.find("件名だけ"), std::string::npos) << meta;
}

}  // namespace
}  // namespace sheaflow::test
