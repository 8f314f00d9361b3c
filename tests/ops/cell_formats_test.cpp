// The cell format operations run through the driver on a workbook made here and on corpus
// workbooks; what they wrote is read back from the saved package and by a fresh engine.

#include <gtest/gtest.h>

#include "cell_run.h"
#include "xl/native/package.h"

namespace sheaflow::testing {
namespace {

using Lines = std::vector<std::string>;

std::string corpus(const std::string& name) {
    return std::string(SHEAFLOW_CORPUS_DIR) + "/xlsx/" + name;
}

// A workbook with numbers in A1:C3 and a text in A5, saved into a fresh folder.
class FormatRun : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = std::filesystem::temp_directory_path() /
               ("sheaflow_fmt_" + std::to_string(::getpid()) + "_" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(dir_);
        auto app = xl::native::create_application();
        auto b = app->workbooks().add();
        xl::Worksheet* ws = (*b)->worksheet(1);
        for (int r = 1; r <= 3; ++r)
            for (int c = 1; c <= 3; ++c) (void)ws->set_cell_value({r, c}, 1234.5 * r * c);
        (void)ws->set_cell_value({5, 1}, std::string("東京都港区芝公園"));
        (void)(*b)->save_as((dir_ / "src.xlsx").string(), xl::xlOpenXMLWorkbook);
        app->quit();
    }
    void TearDown() override { std::filesystem::remove_all(dir_); }
    std::string source() const { return (dir_ / "src.xlsx").string(); }

    // The format of a cell of the saved workbook, as a fresh engine reads it.
    static xl::CellFormat format_of(const CellRun& r, xl::CellRef c) {
        auto app = xl::native::create_application();
        auto b = app->workbooks().open(r.path(), true);
        xl::CellFormat f = (*b)->worksheet(1)->cell_format(c);
        app->quit();
        return f;
    }
    static std::string part(const CellRun& r, const std::string& name) {
        auto pkg = xl::native::Package::open_file(r.path());
        if (!pkg) return "";
        auto text = (*pkg)->read(name);
        return text ? *text : "";
    }

    std::filesystem::path dir_;
};

TEST_F(FormatRun, font_alignment_borders_and_fill_on_the_pane_range) {
    CellRun r(source());
    const KeyValues range = {{"col_from", "B"}, {"row_from", "2"}, {"col_to", "C"}, {"row_to", "3"}};
    KeyValues font = range;
    font.insert(font.end(), {{"bold", "on"}, {"colour", "#FF0000"}, {"size", "14"},
                             {"font_name", "ＭＳ ゴシック"}});
    auto out = r.run("セル", "書式設定１", font);
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    xl::CellFormat b2 = format_of(r, {2, 2});
    EXPECT_TRUE(b2.font.bold);
    EXPECT_EQ(b2.font.colour, 0x0000FF);
    EXPECT_EQ(b2.font.size, 14);
    EXPECT_EQ(b2.font.name, "ＭＳ ゴシック");
    EXPECT_FALSE(format_of(r, {1, 1}).font.bold);
    EXPECT_FALSE(format_of(r, {2, 1}).font.bold);
    std::string styles = part(r, "xl/styles.xml");
    EXPECT_NE(styles.find("<b/><sz val=\"14\"/><color rgb=\"FFFF0000\"/><name val=\"ＭＳ ゴシック\"/>"),
              std::string::npos)
        << styles;

    KeyValues align = range;
    align.insert(align.end(), {{"horizontal", "center"}, {"wrap", "on"}, {"rotation", "-45"}});
    out = r.run("セル", "書式設定２", align);
    ASSERT_TRUE(out.checked) << out.check_message;
    xl::CellFormat c3 = format_of(r, {3, 3});
    EXPECT_EQ(c3.alignment.horizontal, "center");
    EXPECT_TRUE(c3.alignment.wrap);
    EXPECT_EQ(c3.alignment.rotation, 135);
    EXPECT_TRUE(c3.font.bold);  // the font set before stays

    KeyValues frame = range;
    frame.insert(frame.end(), {{"borders", "outline"}, {"line", "double"}, {"fill", "solid"},
                               {"fill_colour", "255,255,0"}});
    out = r.run("セル", "書式設定３", frame);
    ASSERT_TRUE(out.checked) << out.check_message;
    xl::CellFormat tl = format_of(r, {2, 2}), br = format_of(r, {3, 3});
    EXPECT_EQ(tl.border.top.style, "double");
    EXPECT_EQ(tl.border.left.style, "double");
    EXPECT_EQ(tl.border.bottom.style, "");
    EXPECT_EQ(br.border.bottom.style, "double");
    EXPECT_EQ(br.border.right.style, "double");
    EXPECT_EQ(br.border.top.style, "");
    EXPECT_EQ(tl.fill.pattern, "solid");
    EXPECT_EQ(tl.fill.colour, 0x00FFFF);
    EXPECT_EQ(format_of(r, {1, 1}).fill.pattern, "none");
}

TEST_F(FormatRun, number_format_presets_custom_codes_and_the_sample) {
    CellRun r(source());
    auto out = r.run("セル", "書式設定（数値表示）", {{"preset", "comma2"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "表示例：1234.5 → 1,234.50（#,##0.00）\r\n");
    EXPECT_EQ(r.formula("", "A1"), "1234.5");
    auto app = xl::native::create_application();
    {
        auto b = app->workbooks().open(r.path(), true);
        EXPECT_EQ((*b)->worksheet(1)->cell_text({2, 2}), "4,938.00");
        (*b)->close();
    }
    out = r.run("セル", "書式設定（数値表示）",
                {{"preset", "custom"}, {"code", "#,##0\"円\""}, {"sample", "-5"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "表示例：-5 → -5円（#,##0\"円\"）\r\n");
    auto b = app->workbooks().open(r.path(), true);
    EXPECT_EQ((*b)->worksheet(1)->cell_text({1, 1}), "1,235円");

    out = r.run("セル", "書式設定（数値表示）", {{"preset", "custom"}, {"code", ""}});
    EXPECT_FALSE(out.checked);
    EXPECT_EQ(out.check_message, "表示形式が入力されていません。");
}

TEST_F(FormatRun, part_of_a_text_gets_a_run_of_its_own) {
    CellRun r(source());
    auto out = r.run("セル", "書式設定（文字列の一部）",
                     {{"text", "港区"}, {"bold", "on"}, {"colour", "0,0,255"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    std::string sst = part(r, "xl/sharedStrings.xml");
    EXPECT_NE(sst.find("<r><t xml:space=\"preserve\">東京都</t></r><r><rPr><b/>"),
              std::string::npos)
        << sst;
    EXPECT_NE(sst.find("<color rgb=\"FF0000FF\"/>"), std::string::npos);
    EXPECT_NE(sst.find("<t xml:space=\"preserve\">港区</t></r><r><t xml:space=\"preserve\">芝公園"),
              std::string::npos);
    // A second run on the same cell keeps the first run's font where it does not overlap.
    out = r.run("セル", "書式設定（文字列の一部）", {{"text", "芝"}, {"italic", "on"}});
    auto app = xl::native::create_application();
    auto b = app->workbooks().open(r.path(), true);
    auto runs = (*b)->worksheet(1)->text_runs({5, 1});
    ASSERT_EQ(runs.size(), 4u);
    EXPECT_EQ(runs[1].text, "港区");
    EXPECT_TRUE(runs[1].font->bold);
    EXPECT_EQ(runs[2].text, "芝");
    EXPECT_TRUE(runs[2].font->italic);
    EXPECT_FALSE(runs[2].font->bold);
    EXPECT_EQ((*b)->worksheet(1)->cell_text({5, 1}), "東京都港区芝公園");
}

TEST_F(FormatRun, lists_and_the_bulk_change) {
    CellRun r(source());
    (void)r.run("セル", "書式設定１",
                {{"col_from", "A"}, {"row_from", "1"}, {"col_to", "C"}, {"row_to", "1"},
                 {"bold", "on"}});
    auto out = r.run("セル", "書式ごとのセル一覧", {});
    ASSERT_TRUE(out.is_list);
    Lines rows = r.rows();
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0], "本.xlsx|Sheet1(Sheet1)");
    EXPECT_EQ(rows[1].substr(0, 4), "||3|");
    EXPECT_NE(rows[1].find("太字"), std::string::npos);
    EXPECT_NE(rows[1].find("|A1:C1"), std::string::npos);
    EXPECT_NE(rows[2].find("|A2:C2,A3:C3,A5"), std::string::npos) << rows[2];

    out = r.run("セル", "書式一覧", {{"row_from", "1"}, {"row_to", "1"}});
    rows = r.rows();
    ASSERT_EQ(rows.size(), 4u);
    EXPECT_EQ(rows[1].rfind("||A1|1234.5|游ゴシック 11 太字", 0), 0u) << rows[1];
    EXPECT_NE(rows[1].find("太字"), std::string::npos);
    EXPECT_NE(rows[1].find("|General|なし|なし|"), std::string::npos) << rows[1];

    out = r.run("セル", "書式一括修正",
                {{"property", "font_name"}, {"old", "游ゴシック"}, {"new", "メイリオ"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(format_of(r, {1, 1}).font.name, "メイリオ");
    EXPECT_TRUE(format_of(r, {1, 1}).font.bold);
    EXPECT_EQ(format_of(r, {3, 3}).font.name, "メイリオ");
    out = r.run("セル", "書式一括修正", {{"property", "size"}, {"old", "11"}, {"new", "abc"}});
    EXPECT_FALSE(out.checked);
    EXPECT_EQ(out.check_message, "サイズは 1 から 409 までの数値で指定してください。");
}

TEST(FormatChecks, bad_panes_are_refused_with_their_messages) {
    CellRun r(kCellChecksBook);
    struct Case {
        const char* op;
        KeyValues values;
        const char* message;
    };
    const Case cases[] = {
        {"書式設定１", {}, "変更する書式が指定されていません。"},
        {"書式設定１", {{"colour", "赤"}}, "色の指定が不正です。（例 #FF0000、255,0,0、自動）"},
        {"書式設定１", {{"size", "0"}}, "サイズは 1 から 409 までの数値で指定してください。"},
        {"書式設定２", {{"rotation", "91"}}, "文字の角度は -90 から 90 までの整数で指定してください。"},
        {"書式設定３", {{"fill", "solid"}}, "塗りつぶしの色が入力されていません。"},
        {"書式設定（文字列の一部）", {{"bold", "on"}}, "書式を設定する文字列が入力されていません。"},
    };
    for (const Case& c : cases) {
        auto out = r.run("セル", c.op, c.values);
        EXPECT_FALSE(out.checked) << c.op;
        EXPECT_EQ(out.check_message, c.message) << c.op;
    }
}

TEST(FormatCorpus, style_use_counts_cells_per_style_over_every_sheet) {
    const std::string book = corpus("xw-format17.xlsx");
    if (!std::filesystem::exists(book)) GTEST_SKIP() << "no corpus";
    CellRun r(book);
    auto out = r.run("すべてのシート_セル", "スタイル利用状況", {});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_TRUE(out.is_list);
    Lines rows = r.rows();
    ASSERT_GE(rows.size(), 2u);
    EXPECT_EQ(rows[0], "本.xlsx");
    EXPECT_EQ(rows[1].substr(0, 8), "|Normal|");
}

TEST(FormatCorpus, font_change_on_every_sheet_of_a_corpus_workbook) {
    const std::string book = corpus("sjs-comments_stress_test.xlsx");
    if (!std::filesystem::exists(book)) GTEST_SKIP() << "no corpus";
    CellRun r(book);
    auto out = r.run("すべてのシート_セル", "書式設定１", {{"italic", "on"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    auto app = xl::native::create_application();
    auto b = app->workbooks().open(r.path(), true);
    ASSERT_TRUE(b);
    int cells = 0;
    for (int i = 1; i <= (*b)->worksheet_count(); ++i) {
        xl::Worksheet* ws = (*b)->worksheet(i);
        ws->for_each_cell(ws->used_range(), [&](xl::CellRef c) {
            ++cells;
            EXPECT_TRUE(ws->cell_format(c).font.italic) << ws->name() << " " << c.row << "," << c.col;
        });
    }
    EXPECT_GT(cells, 0);
}

}  // namespace
}  // namespace sheaflow::testing
