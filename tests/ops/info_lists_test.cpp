// The Excel information lists: each runs without target files and lists what the system, the
// catalogue and the engine know; fonts are compared with fontconfig's own command.

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>

#include "object_run.h"
#include "settings_helpers.h"

namespace sheaflow::test {
namespace {

class InfoListsTest : public OperationRunTest {
protected:
    std::vector<std::vector<std::string>> list(const std::string& name, std::size_t width,
                                               const Values& values = {}) {
        outcome_ = run("Excel", name, values);
        EXPECT_TRUE(outcome_.checked) << outcome_.check_message;
        return rows(width);
    }
    run::RunOutcome outcome_;
};

TEST_F(InfoListsTest, ColumnTableCoversTheWholeGrid) {
    auto r = list("列番号対応表", 2);
    ASSERT_EQ(r.size(), 16384u);
    EXPECT_EQ(r[0], (std::vector<std::string>{"1", "A"}));
    EXPECT_EQ(r[25][1] + r[26][1] + r[701][1] + r[702][1], "ZAAZZAAA");
    EXPECT_EQ(r[16383], (std::vector<std::string>{"16384", "XFD"}));
}

TEST_F(InfoListsTest, StandardStylesAndTheCatalogue) {
    auto styles = list("標準スタイル定義一覧", 4);
    ASSERT_EQ(styles.size(), 49u);
    EXPECT_EQ(styles[0], (std::vector<std::string>{"0", "標準", "Normal", "良い、悪い、どちらでもない"}));
    EXPECT_EQ(styles[4][1] + "/" + styles[4][2], "桁区切り/Comma [0]");

    auto bars = list("コマンドバー一覧", 5);
    std::set<std::string> categories;
    for (const auto& row : bars) categories.insert(row[1]);
    EXPECT_TRUE(categories.count("Excel") && categories.count("すべてのシート_シート"));
    EXPECT_EQ(categories.size(), bars.size());

    auto menu = list("コマンドメニュー一覧", 5);
    bool protect = false, all_sheets = false;
    for (const auto& row : menu) {
        EXPECT_NE(row[1].rfind("─", 0), 0u) << "separators are not commands";
        if (row[0] == "シート" && row[1] == "保護")
            protect = row[2] == "Sheet_Protect.txt" && row[3] == "実装済み" && !row[4].empty();
        if (row[0] == "すべてのシート_シート" && row[1] == "保護")
            all_sheets = row[2] == "Sheet_Protect.txt";  // shares its base entry's files
    }
    EXPECT_TRUE(protect);
    EXPECT_TRUE(all_sheets);
}

TEST_F(InfoListsTest, FunctionsByCategoryAndName) {
    auto all = list("関数一覧", 5);
    EXPECT_GT(all.size(), 400u);
    std::set<std::string> names;
    for (const auto& row : all) EXPECT_TRUE(names.insert(row[0]).second) << row[0] << " twice";
    auto x = list("関数一覧", 5, {{"name", "xlookup"}});
    ASSERT_EQ(x.size(), 1u);
    EXPECT_EQ(x[0][0] + "|" + x[0][1] + "|" + x[0][3], "XLOOKUP|検索/行列|_xlfn.XLOOKUP");
    auto db = list("関数一覧", 5, {{"category", "database"}});
    EXPECT_EQ(db.size(), 12u);
    EXPECT_EQ(db[0][3], "DAVERAGE");
    list("関数一覧", 5, {{"name", "NOSUCH"}});
    EXPECT_NE(outcome_.error_text.find("該当する関数がありません。"), std::string::npos);
    EXPECT_FALSE(run("Excel", "関数一覧", {{"category", ""}}).checked);
}

TEST_F(InfoListsTest, FoldersAndVersions) {
    auto folders = list("Systemフォルダ一覧", 3);
    ASSERT_EQ(folders.size(), 7u);
    const char* home = std::getenv("HOME");
    EXPECT_EQ(folders[4], (std::vector<std::string>{"ホーム", home ? home : "", "あり"}));
    EXPECT_EQ(folders[0][2], "あり");  // the program's folder
    auto versions = list("Excelバージョン一覧", 2);
    ASSERT_GE(versions.size(), 4u);
    EXPECT_EQ(versions[0][0], "Sheaflow");
    EXPECT_EQ(versions[1][1], "16.0");
    if (have_soffice()) {
        EXPECT_EQ(versions[3][1].rfind("LibreOffice ", 0), 0u) << versions[3][1];
    }
}

TEST_F(InfoListsTest, FontListsAgreeWithFontconfig) {
    if (std::system("command -v fc-list >/dev/null 2>&1") != 0) GTEST_SKIP() << "no fc-list";
    std::string listing = command_output("fc-list --format '%{family[0]}\\t%{style[0]}\\n'");
    std::set<std::string> families;
    std::size_t faces = 0;
    for (const std::string& line : text::split(listing, "\n")) {
        if (line.empty()) continue;
        ++faces;
        families.insert(line.substr(0, line.find('\t')));
    }
    auto all = list("すべてのフォント一覧", 5);
    EXPECT_EQ(all.size(), faces);
    bool japanese = false;
    for (const auto& row : all) japanese = japanese || row[2] == "○";
    EXPECT_TRUE(japanese) << "fonts-ipafont covers Japanese";
    auto screen = list("スクリーンフォント一覧", 4);
    EXPECT_EQ(screen.size(), families.size());
    auto ui = list("リボンフォント一覧", 5);
    ASSERT_FALSE(ui.empty());
    EXPECT_EQ(ui[0][0], "標準（日本語）");
    EXPECT_EQ(ui[0][3], "○");
}

TEST_F(InfoListsTest, PrinterListsNameEveryPrinterOrSayThereIsNone) {
    auto printers = list("すべてのプリンターのフォント一覧", 6);
    std::string names = command_output("lpstat -e 2>/dev/null");
    if (names.empty()) {
        EXPECT_TRUE(printers.empty());
        EXPECT_NE(outcome_.error_text.find("プリンターが登録されていません。"), std::string::npos);
    } else {
        std::set<std::string> listed;
        for (const auto& row : printers) listed.insert(row[0]);
        for (const std::string& n : text::split(names, "\n")) {
            if (!n.empty()) {
                EXPECT_TRUE(listed.count(n)) << n;
            }
        }
    }
}

}  // namespace
}  // namespace sheaflow::test
