// Page setup: the update leaves what the pane does not name, the list shows every worksheet,
// the copy takes a whole page setup from a source workbook, LibreOffice reads the result, and
// the pane refuses what cannot be set.

#include <cstdio>

#include "book_helpers.h"

namespace sheaflow::test {
namespace {

namespace fs = std::filesystem;

class PageSetupTest : public BookOpsTest {
protected:
    // The listed rows by sheet name: column title -> value.
    std::map<std::string, std::map<std::string, std::string>> listed() {
        std::map<std::string, std::map<std::string, std::string>> out;
        const auto& titles = table_.titles();
        for (const auto& row : table_.rows()) {
            if (row.size() < 2 || row[1].empty()) continue;
            for (std::size_t i = 0; i < titles.size() && i < row.size(); ++i)
                out[row[1]][titles[i]] = row[i];
        }
        return out;
    }
    run::RunOutcome list() {
        table_.clear();
        return run("ファイル", "頁設定_一覧", {});
    }
    xl::PageSetup setup_of(const fs::path& file, const std::string& sheet) {
        auto app = xl::native::create_application();
        auto book = app->workbooks().open(file.string(), true);
        EXPECT_TRUE(book.has_value());
        auto p = (*book)->worksheet(sheet)->page_setup();
        EXPECT_TRUE(p.has_value());
        return p ? *p : xl::PageSetup{};
    }
};

TEST_F(PageSetupTest, UpdateSetsWhatThePaneNamesOnEveryWorksheetAndTheListShowsIt) {
    add_made("売上.xlsx", {{"一月", {"a", "b"}}, {"二月", {"c"}}});
    auto out = run("ファイル", "頁設定_更新",
                   {{"orientation", "landscape"},
                    {"paper", "8"},
                    {"left", "2.5"},
                    {"center_header", "&P / &N"},
                    {"right_footer", "&F"},
                    {"print_area", "a1:c5"},
                    {"title_rows", "1:2"},
                    {"fit_wide", "1"},
                    {"fit_tall", "0"},
                    {"center_h", "1"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    ASSERT_TRUE(list().checked);
    auto rows = listed();
    ASSERT_EQ(rows.size(), 2u);
    for (const char* sheet : {"一月", "二月"}) {
        auto& r = rows[sheet];
        EXPECT_EQ(r["印刷の向き"], "横") << sheet;
        EXPECT_EQ(r["用紙サイズ"], "A3");
        EXPECT_EQ(r["左余白(cm)"], "2.50");
        EXPECT_EQ(r["右余白(cm)"], "1.78");  // the 0.7 inch of a new workbook, untouched
        EXPECT_EQ(r["中央ヘッダー"], "&P / &N");
        EXPECT_EQ(r["右フッター"], "&F");
        EXPECT_EQ(r["印刷範囲"], "$A$1:$C$5");
        EXPECT_EQ(r["行のタイトル"], "$1:$2");
        EXPECT_EQ(r["拡大縮小"], "ページ数に合わせる");
        EXPECT_EQ(r["横のページ数"], "1");
        EXPECT_EQ(r["縦のページ数"], "0");
        EXPECT_EQ(r["水平中央"], "する");
        EXPECT_EQ(r["垂直中央"], "しない");
    }

    // A second update changes only what it names; "なし" clears.
    out = run("ファイル", "頁設定_更新",
              {{"orientation", "portrait"}, {"print_area", "なし"}, {"zoom", "80"}});
    EXPECT_EQ(out.error_text, "");
    xl::PageSetup p = setup_of(in() / "売上.xlsx", "二月");
    EXPECT_EQ(p.orientation, xl::xlPortrait);
    EXPECT_EQ(p.paper_size, 8);
    EXPECT_EQ(p.print_area, "");
    EXPECT_EQ(p.print_title_rows, "$1:$2");
    EXPECT_EQ(p.zoom, 80);
    EXPECT_EQ(p.center_header, "&P / &N");
    EXPECT_NEAR(p.left_margin, 2.5 / 2.54 * 72, 0.01);
}

TEST_F(PageSetupTest, ListingChangesNothingAndCorpusPageSetupsAreRead) {
    add("xlsx/cal-any_sheets.xlsx", "any.xlsx");
    add("xlsm/sjs-BlankSheetTypes.xlsm", "blank.xlsm");
    const std::string before = read_bytes(in() / "blank.xlsm");
    auto out = list();
    ASSERT_TRUE(out.checked);
    EXPECT_EQ(out.error_text, "");
    EXPECT_FALSE(listed().empty());
    EXPECT_EQ(read_bytes(in() / "blank.xlsm"), before);
}

TEST_F(PageSetupTest, CopyTakesTheSourceSheetsWholePageSetup) {
    add_made("元.xlsx", {{"原本", {"x"}}});
    ASSERT_EQ(run("ファイル", "頁設定_更新",
                  {{"orientation", "landscape"}, {"paper", "12"}, {"left_header", "社外秘"},
                   {"title_columns", "A:B"}, {"center_v", "1"}})
                  .error_text,
              "");
    fs::rename(in() / "元.xlsx", dir_ / "元.xlsx");
    files_.clear();
    add_made("先.xlsx", {{"集計", {"y"}}, {"明細", {"z"}}});
    auto out = run("編集", "コピー貼付_頁設定",
                   {{"source_book", (dir_ / "元.xlsx").string()}, {"source_sheet", "原本"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    xl::PageSetup copied = setup_of(in() / "先.xlsx", "集計");
    EXPECT_EQ(copied, setup_of(dir_ / "元.xlsx", "原本"));
    EXPECT_EQ(copied.left_header, "社外秘");
    // Only the active sheet of the target.
    EXPECT_EQ(setup_of(in() / "先.xlsx", "明細"), xl::PageSetup{});

    // A missing source sheet is one line per target; nothing is changed.
    const std::string target = read_bytes(in() / "先.xlsx");
    out = run("編集", "コピー貼付_頁設定",
              {{"source_book", (dir_ / "元.xlsx").string()}, {"source_sheet", "無い"}});
    EXPECT_NE(out.error_text.find("無い"), std::string::npos) << out.error_text;
    EXPECT_EQ(read_bytes(in() / "先.xlsx"), target);
}

TEST_F(PageSetupTest, LibreOfficeReadsTheUpdatedPageStyle) {
    if (!have_soffice()) GTEST_SKIP() << "LibreOffice is not installed";
    add_made("p.xlsx", {{"S1", {"a"}}});
    ASSERT_EQ(run("ファイル", "頁設定_更新",
                  {{"orientation", "landscape"},
                   {"paper", "9"},
                   {"left", "3"},
                   {"center_header", "見出し"},
                   {"print_area", "B2:D9"},
                   {"zoom", "75"},
                   {"center_h", "1"}})
                  .error_text,
              "");
    std::string cmd = "/usr/bin/python3 '" + std::string(SHEAFLOW_TEST_DATA_DIR) +
                      "/lo_page_style.py' '" + (in() / "p.xlsx").string() + "' 2>/dev/null";
    FILE* p = ::popen(cmd.c_str(), "r");
    ASSERT_NE(p, nullptr);
    std::string got;
    char buf[1024];
    std::size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) got.append(buf, n);
    ::pclose(p);
    // A4 landscape: the page is 297 mm wide; 3 cm margin; B2:D9 is columns 1-3, rows 1-8.
    EXPECT_EQ(got,
              "S1\tlandscape=1\twidth=29700\tleft=3000\theader=見出し\tarea=1:1-3:8\tscale=75\t"
              "centre=1\n");
}

TEST_F(PageSetupTest, PaneRefusesWhatCannotBeSet) {
    struct Case {
        Values values;
        const char* message;
    };
    const Case cases[] = {
        {{}, "変更する頁設定がありません。"},
        {{{"left", "abc"}}, "余白は 0 から 30 までの cm で指定してください。"},
        {{{"top", "-1"}}, "余白は 0 から 30 までの cm で指定してください。"},
        {{{"zoom", "500"}}, "拡大縮小は 10 から 400 までの整数で指定してください。"},
        {{{"zoom", "80"}, {"fit_wide", "1"}}, "拡大縮小とページ数は同時に指定できません。"},
        {{{"title_rows", "A1:B2"}}, "行のタイトルは 1:2 のように行で指定してください。"},
        {{{"title_columns", "1:2"}}, "列のタイトルは A:B のように列で指定してください。"},
        {{{"print_area", "A1:"}}, "印刷範囲は A1:F40 のように指定してください。"},
        {{{"left", "１．５"}}, ""},
        {{{"center_header", "なし"}}, ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(check("ファイル", "頁設定_更新", c.values), c.message);
    EXPECT_EQ(check("編集", "コピー貼付_頁設定", {}), "コピー元のブックが指定されていません。");
    EXPECT_EQ(check("編集", "コピー貼付_頁設定", {{"source_book", "/nonexistent/a.xlsx"}}),
              "コピー元のブックがありません。");
}

}  // namespace
}  // namespace sheaflow::test
