// Data validation, conditional formats, hyperlinks and comment boxes set by the operations and
// read back from the saved package (and by LibreOffice for the conditional formats).

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>

#include "cell_run.h"
#include "xl/native/package.h"

namespace sheaflow::testing {
namespace {

using Lines = std::vector<std::string>;

std::string corpus(const std::string& name) {
    return std::string(SHEAFLOW_CORPUS_DIR) + "/xlsx/" + name;
}

std::string part(const std::string& file, const std::string& name) {
    auto pkg = xl::native::Package::open_file(file);
    if (!pkg) return "";
    auto text = (*pkg)->read(name);
    return text ? *text : "";
}

// A workbook with two sheets, texts in A1:A6 of the first, saved into a fresh folder.
class RuleRun : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = std::filesystem::temp_directory_path() /
               ("sheaflow_rules_" + std::to_string(::getpid()) + "_" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(dir_);
        auto app = xl::native::create_application();
        auto b = app->workbooks().add();
        xl::Worksheet* ws = (*b)->worksheet(1);
        const char* values[] = {"https://example.com/a?b=1", "info@example.com", "Sheet2!B3",
                                "ただの文字", "C:\\data\\本.xlsx", "www.example.jp"};
        for (int r = 1; r <= 6; ++r) (void)ws->set_cell_value({r, 1}, std::string(values[r - 1]));
        for (int r = 1; r <= 6; ++r) (void)ws->set_cell_value({r, 2}, double(r * 10));
        (void)(*b)->add_worksheet(nullptr, ws);
        (void)ws->activate();
        (void)(*b)->save_as((dir_ / "src.xlsx").string(), xl::xlOpenXMLWorkbook);
        app->quit();
    }
    void TearDown() override { std::filesystem::remove_all(dir_); }
    std::string source() const { return (dir_ / "src.xlsx").string(); }
    std::filesystem::path dir_;
};

TEST_F(RuleRun, validation_set_changed_and_deleted) {
    CellRun r(source());
    auto out = r.run("データ", "入力規則設定",
                     {{"col_from", "C"}, {"row_from", "2"}, {"col_to", "C"}, {"row_to", "20"},
                      {"kind", "list"}, {"value1", "東京,大阪,\"名古屋\""},
                      {"prompt", "選んでください"}, {"error_title", "入力エラー"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    std::string sheet = part(r.path(), "xl/worksheets/sheet1.xml");
    EXPECT_NE(sheet.find("<dataValidations count=\"1\"><dataValidation type=\"list\" "
                         "allowBlank=\"1\" showInputMessage=\"1\" showErrorMessage=\"1\" "
                         "errorTitle=\"入力エラー\" prompt=\"選んでください\" sqref=\"C2:C20\">"
                         "<formula1>\"東京,大阪,\"\"名古屋\"\"\"</formula1></dataValidation>"),
              std::string::npos)
        << sheet;
    // A whole-number limit over part of the list's cells takes them over.
    out = r.run("データ", "入力規則設定",
                {{"col_from", "C"}, {"row_from", "10"}, {"col_to", "D"}, {"row_to", "12"},
                 {"kind", "whole"}, {"op", "between"}, {"value1", "1"}, {"value2", "100"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    sheet = part(r.path(), "xl/worksheets/sheet1.xml");
    EXPECT_NE(sheet.find("sqref=\"C2:C9 C13:C20\""), std::string::npos) << sheet;
    EXPECT_NE(sheet.find("<formula1>1</formula1><formula2>100</formula2>"), std::string::npos);

    out = r.run("データ", "入力規則修正",
                {{"kind", "whole"}, {"old2", "100"}, {"new2", "999"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    sheet = part(r.path(), "xl/worksheets/sheet1.xml");
    EXPECT_NE(sheet.find("<formula2>999</formula2>"), std::string::npos);
    EXPECT_NE(sheet.find("名古屋"), std::string::npos);  // the list is another kind

    out = r.run("データ", "入力規則削除",
                {{"col_from", "C"}, {"row_from", "1"}, {"col_to", "C"}, {"row_to", "15"}});
    sheet = part(r.path(), "xl/worksheets/sheet1.xml");
    EXPECT_NE(sheet.find("sqref=\"C16:C20\""), std::string::npos) << sheet;
    EXPECT_NE(sheet.find("sqref=\"D10:D12\""), std::string::npos);
    out = r.run("データ", "入力規則削除", {});
    EXPECT_EQ(part(r.path(), "xl/worksheets/sheet1.xml").find("dataValidation"),
              std::string::npos);

    out = r.run("データ", "入力規則設定",
                {{"col_from", "C"}, {"row_from", "2"}, {"col_to", "C"}, {"row_to", "3"},
                 {"kind", "date"}, {"op", "between"}, {"value1", "2024/02/30"}, {"value2", "x"}});
    EXPECT_FALSE(out.checked);
    EXPECT_EQ(out.check_message, "値１は yyyy/mm/dd の日付で指定してください。");
}

TEST_F(RuleRun, hyperlinks_from_cell_values) {
    CellRun r(source());
    auto out = r.run("セル", "セルの値でハイパーリンク作成",
                     {{"col_from", "A"}, {"col_to", "A"}, {"tooltip", "開く"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    std::string sheet = part(r.path(), "xl/worksheets/sheet1.xml");
    std::string rels = part(r.path(), "xl/worksheets/_rels/sheet1.xml.rels");
    EXPECT_NE(sheet.find("<hyperlink ref=\"A3\" location=\"Sheet2!B3\" tooltip=\"開く\"/>"),
              std::string::npos)
        << sheet;
    EXPECT_EQ(sheet.find("<hyperlink ref=\"A4\""), std::string::npos);  // plain text
    for (const char* target : {"https://example.com/a?b=1", "mailto:info@example.com",
                               "C:\\data\\本.xlsx", "http://www.example.jp"})
        EXPECT_NE(rels.find(std::string("Target=\"") + target + "\" TargetMode=\"External\""),
                  std::string::npos)
            << target << "\n"
            << rels;
    // Again with a display text: the links are replaced, not added twice.
    out = r.run("セル", "セルの値でハイパーリンク作成",
                {{"col_from", "A"}, {"row_from", "1"}, {"col_to", "A"}, {"row_to", "1"},
                 {"display", "サイト"}});
    sheet = part(r.path(), "xl/worksheets/sheet1.xml");
    EXPECT_EQ(r.formula("", "A1"), "サイト");
    std::regex a1("<hyperlink ref=\"A1\"");
    EXPECT_EQ(std::distance(std::sregex_iterator(sheet.begin(), sheet.end(), a1),
                            std::sregex_iterator()),
              1);
}

TEST_F(RuleRun, conditional_formats_added_removed_and_read_by_libreoffice) {
    CellRun r(source());
    auto out = r.run("セル", "条件付き書式設定",
                     {{"col_from", "B"}, {"col_to", "B"}, {"kind", "greater"}, {"value1", "30"},
                      {"bold", "1"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    out = r.run("セル", "条件付き書式設定",
                {{"col_from", "A"}, {"col_to", "A"}, {"kind", "contains"}, {"value1", "example"}});
    out = r.run("セル", "条件付き書式設定",
                {{"col_from", "B"}, {"col_to", "B"}, {"kind", "colour_scale3"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    std::string sheet = part(r.path(), "xl/worksheets/sheet1.xml");
    EXPECT_NE(sheet.find("<conditionalFormatting sqref=\"B1:B6\"><cfRule type=\"cellIs\" "
                         "dxfId=\"0\" priority=\"3\" operator=\"greaterThan\"><formula>30</formula>"),
              std::string::npos)
        << sheet;
    EXPECT_NE(sheet.find("operator=\"containsText\" text=\"example\"><formula>NOT(ISERROR(SEARCH("
                         "\"example\",A1)))</formula>"),
              std::string::npos);
    EXPECT_NE(sheet.find("<colorScale><cfvo type=\"min\"/><cfvo type=\"percentile\" val=\"50\"/>"),
              std::string::npos);
    std::string styles = part(r.path(), "xl/styles.xml");
    EXPECT_NE(styles.find("<dxf><font><b/><color rgb=\"FF9C0006\"/></font><fill><patternFill "
                          "patternType=\"solid\"><bgColor rgb=\"FFFFC7CE\"/></patternFill></fill>"),
              std::string::npos)
        << styles;

    if (std::system("command -v soffice >/dev/null 2>&1") == 0) {
        std::string lo = r.folder() + "/lo";
        std::string cmd = "cd '" + r.folder() +
                          "' && timeout 120 soffice --headless --convert-to xlsx --outdir lo "
                          "本.xlsx >/dev/null 2>&1";
        ASSERT_EQ(std::system(cmd.c_str()), 0);
        std::string back = part(lo + "/本.xlsx", "xl/worksheets/sheet1.xml");
        EXPECT_NE(back.find("operator=\"greaterThan\""), std::string::npos) << back;
        EXPECT_NE(back.find("<colorScale>"), std::string::npos);
        EXPECT_NE(back.find("containsText"), std::string::npos);
    }

    out = r.run("セル", "条件付き書式設定", {{"col_from", "B"}, {"col_to", "B"}, {"kind", "remove"}});
    sheet = part(r.path(), "xl/worksheets/sheet1.xml");
    EXPECT_EQ(sheet.find("sqref=\"B1:B6\""), std::string::npos);
    EXPECT_NE(sheet.find("sqref=\"A1:A6\""), std::string::npos);
    out = r.run("セル", "条件付き書式設定", {{"kind", "between"}, {"value1", "1"}});
    EXPECT_FALSE(out.checked);
    EXPECT_EQ(out.check_message, "値２が入力されていません。");
}

TEST_F(RuleRun, cells_deleted_and_inserted_through_the_pane) {
    CellRun r(source());
    auto out = r.run("セル", "削除",
                     {{"col_from", "B"}, {"row_from", "2"}, {"col_to", "B"}, {"row_to", "3"},
                      {"shift", "up"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    EXPECT_EQ(r.formula("", "B2"), "40");
    EXPECT_EQ(r.formula("", "A2"), "info@example.com");
    EXPECT_EQ(r.formula("", "B5"), "");
    out = r.run("セル", "挿入",
                {{"col_from", "A"}, {"row_from", "1"}, {"col_to", "A"}, {"row_to", "1"},
                 {"shift", "right"}});
    EXPECT_EQ(r.formula("", "B1"), "https://example.com/a?b=1");
    EXPECT_EQ(r.formula("", "C1"), "10");
    EXPECT_EQ(r.formula("", "B2"), "40");
    // Every sheet: the second sheet is empty, so only the first changes.
    out = r.run("すべてのシート_セル", "削除",
                {{"col_from", "A"}, {"row_from", "1"}, {"col_to", "A"}, {"row_to", "1"},
                 {"shift", "left"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.failed_files, 0);
    EXPECT_EQ(r.formula("Sheet1", "A1"), "https://example.com/a?b=1");
    out = r.run("セル", "削除", {{"shift", "up"}});
    EXPECT_FALSE(out.checked);
    EXPECT_EQ(out.check_message, "削除するセルの範囲を指定してください。");
}

// A validation list and a conditional format that the application keeps in its extension (as
// it does when they read another sheet): changed, cut, shifted and split like the plain ones.
TEST_F(RuleRun, extension_validations_and_formats_follow_the_edits) {
    {
        auto pkg = xl::native::Package::open_file(source());
        ASSERT_TRUE(pkg.has_value());
        std::string sheet = *(*pkg)->read("xl/worksheets/sheet1.xml");
        const std::string x14 = "http://schemas.microsoft.com/office/spreadsheetml/2009/9/main";
        const std::string xm = "http://schemas.microsoft.com/office/excel/2006/main";
        const std::string ext =
            "<extLst><ext uri=\"{78C0D931-6437-407d-A8EE-F0AAD7539E65}\" xmlns:x14=\"" + x14 +
            "\"><x14:conditionalFormattings><x14:conditionalFormatting xmlns:xm=\"" + xm +
            "\"><x14:cfRule type=\"expression\" priority=\"1\" id=\"{00000000-0000-0000-0000-"
            "000000000001}\"><xm:f>Sheet2!$A$1&gt;$B$5</xm:f><x14:dxf><font><b/></font></x14:dxf>"
            "</x14:cfRule><xm:sqref>B1:B6</xm:sqref></x14:conditionalFormatting>"
            "</x14:conditionalFormattings></ext><ext "
            "uri=\"{CCE6A557-97BC-4b89-ADB6-D9C93CAAB3DF}\" "
            "xmlns:x14=\"" +
            x14 + "\"><x14:dataValidations count=\"1\" xmlns:xm=\"" + xm +
            "\"><x14:dataValidation type=\"list\" allowBlank=\"1\" showInputMessage=\"1\" "
            "showErrorMessage=\"1\"><x14:formula1><xm:f>Sheet2!$A$1:$A$3</xm:f></x14:formula1>"
            "<xm:sqref>A1:B6</xm:sqref></x14:dataValidation></x14:dataValidations></ext></extLst>";
        sheet.insert(sheet.rfind("</worksheet>"), ext);
        (*pkg)->write("xl/worksheets/sheet1.xml", sheet);
        ASSERT_TRUE((*pkg)->save(source()).has_value());
    }
    CellRun r(source());
    // Two cells of column B deleted upwards: the validation over A:B is split at the band's
    // edge (column A stays, column B moves up), the format inside the band moves with it.
    auto out = r.run(
        "セル", "削除",
        {{"col_from", "B"}, {"row_from", "2"}, {"col_to", "B"}, {"row_to", "3"}, {"shift", "up"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    std::string sheet = part(r.path(), "xl/worksheets/sheet1.xml");
    EXPECT_NE(sheet.find("<xm:sqref>A1:A6 B1:B4</xm:sqref>"), std::string::npos) << sheet;
    EXPECT_NE(sheet.find("<xm:f>Sheet2!$A$1&gt;$B$3</xm:f>"), std::string::npos) << sheet;
    EXPECT_NE(sheet.find("<xm:sqref>B1:B4</xm:sqref>"), std::string::npos) << sheet;

    out = r.run("データ", "入力規則修正",
                {{"kind", "list"}, {"old1", "=Sheet2!$A$1:$A$3"}, {"new1", "=Sheet2!$A$1:$A$9"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    sheet = part(r.path(), "xl/worksheets/sheet1.xml");
    EXPECT_NE(sheet.find("<x14:formula1><xm:f>Sheet2!$A$1:$A$9</xm:f></x14:formula1>"
                         "<xm:sqref>A1:A6 B1:B4</xm:sqref>"),
              std::string::npos)
        << sheet;

    // Cells cut and pasted carry their part of the range along.
    out = r.run("編集", "切取り貼付_セル", {{"range", "A1:A6"}, {"dest", "D1"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    sheet = part(r.path(), "xl/worksheets/sheet1.xml");
    EXPECT_NE(sheet.find("<xm:sqref>D1:D6 B1:B4</xm:sqref>"), std::string::npos) << sheet;

    // Cut out of a range, then removed entirely with their extension elements.
    out = r.run("データ", "入力規則削除",
                {{"col_from", "D"}, {"row_from", "1"}, {"col_to", "D"}, {"row_to", "6"}});
    sheet = part(r.path(), "xl/worksheets/sheet1.xml");
    EXPECT_NE(sheet.find("<x14:dataValidations count=\"1\""), std::string::npos) << sheet;
    EXPECT_NE(sheet.find("<xm:sqref>B1:B4</xm:sqref></x14:dataValidation>"), std::string::npos);
    out = r.run("データ", "入力規則削除", {});
    // A new rule comes first: the extension's rule moves down a place as well.
    out = r.run("セル", "条件付き書式設定",
                {{"col_from", "D"}, {"col_to", "D"}, {"kind", "greater"}, {"value1", "1"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    sheet = part(r.path(), "xl/worksheets/sheet1.xml");
    EXPECT_NE(sheet.find("<x14:cfRule type=\"expression\" priority=\"2\""), std::string::npos)
        << sheet;
    out = r.run("セル", "条件付き書式設定", {{"kind", "remove"}});
    sheet = part(r.path(), "xl/worksheets/sheet1.xml");
    EXPECT_EQ(sheet.find("dataValidation"), std::string::npos) << sheet;
    EXPECT_EQ(sheet.find("conditionalFormatting"), std::string::npos) << sheet;
    EXPECT_EQ(sheet.find("extLst"), std::string::npos) << sheet;
}

TEST(CommentRun, comment_boxes_listed_and_formatted_in_a_corpus_workbook) {
    const std::string book = corpus("xw-comment04.xlsx");
    if (!std::filesystem::exists(book)) GTEST_SKIP() << "no corpus";
    CellRun r(book);
    auto out = r.run("セル", "コメント書式一覧", {});
    ASSERT_TRUE(out.checked) << out.check_message;
    Lines rows = r.rows();
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[1], "||B2|Some text|96|55.5|RGB(255,255,225)|RGB(0,0,0)|0.75|表示しない|しない|"
                       "Tahoma 8 自動");

    out = r.run("セル", "コメント書式設定",
                {{"width", "150"}, {"fill_colour", "#CCFFCC"}, {"visible", "show"},
                 {"autosize", "on"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    out = r.run("セル", "コメントの文字書式設定", {{"bold", "on"}, {"size", "12"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    std::string vml = part(r.path(), "xl/drawings/vmlDrawing1.vml");
    EXPECT_NE(vml.find("width:150pt"), std::string::npos) << vml;
    EXPECT_NE(vml.find("visibility:visible"), std::string::npos);
    EXPECT_NE(vml.find("fillcolor=\"#ccffcc\""), std::string::npos);
    EXPECT_NE(vml.find("mso-fit-shape-to-text:t"), std::string::npos);
    EXPECT_NE(vml.find("<x:Visible/>"), std::string::npos);
    std::string comments = part(r.path(), "xl/comments1.xml");
    EXPECT_NE(comments.find("<rPr><b/><sz val=\"12\"/><color indexed=\"81\"/><rFont val=\"Tahoma\"/>"),
              std::string::npos)
        << comments;
    out = r.run("セル", "コメント書式一覧", {});
    EXPECT_EQ(r.rows()[1], "||B2|Some text|150|55.5|RGB(204,255,204)|RGB(0,0,0)|0.75|常に表示|する|"
                           "Tahoma 12 太字 自動");
    out = r.run("セル", "コメント書式設定", {{"width", "-3"}});
    EXPECT_FALSE(out.checked);
}

}  // namespace
}  // namespace sheaflow::testing
