// Combining the targets into one workbook and splitting them per sheet, run by the driver: the
// sheets and their order, the references among the copies and to sheets left behind, the files
// written, and what the panes refuse.

#include "book_helpers.h"
#include "xl/structure_helpers.h"

namespace sheaflow::test {
namespace {

namespace fs = std::filesystem;
using testing::office_available;
using testing::office_dump;
using testing::OfficeDump;
using testing::part_of;

const char* const kFile = "ファイル";
const char* const kCombine = "すべてのファイルを１つのファイルにまとめる";
const char* const kSplit = "シートごとのファイルに分割";

class BookCombineTest : public BookOpsTest {
protected:
    // The collecting workbook the run wrote (the one file named まとめ_*).
    fs::path combined() const {
        for (const auto& e : fs::directory_iterator(in()))
            if (e.path().filename().string().rfind("まとめ_", 0) == 0) return e.path();
        return {};
    }
    static std::string formula(const fs::path& file, const std::string& sheet, xl::CellRef c) {
        auto app = xl::native::create_application();
        auto book = app->workbooks().open(file.string(), true);
        if (!book) return "(" + book.error().message + ")";
        xl::Worksheet* ws = (*book)->worksheet(sheet);
        return ws ? ws->cell_formula(c) : "(no sheet " + sheet + ")";
    }
};

TEST_F(BookCombineTest, SheetsOfEveryBookInRunOrderWithTheirReferences) {
    add_made("a.xlsx", {{"S1", {"5", "7"}}, {"S2", {"=S1!A1*2", "=SUM(S1:S2!A2)"}}});
    add_made("b.xlsx", {{"S1", {"11"}}});
    const std::string a_before = read_bytes(in() / "a.xlsx");
    auto out = run(kFile, kCombine, {});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    fs::path book = combined();
    ASSERT_FALSE(book.empty());
    EXPECT_NE(out.completion_text.find(book.filename().string()), std::string::npos);
    // The sheet the collecting workbook was made with is gone.
    EXPECT_EQ(sheets_of(book), (Names{"a.xlsx-S1", "a.xlsx-S2", "b.xlsx-S1"}));
    // References among sheets copied together point at the copies, 3-D ranges included.
    EXPECT_EQ(formula(book, "a.xlsx-S2", {1, 1}), "='a.xlsx-S1'!A1*2");
    EXPECT_EQ(formula(book, "a.xlsx-S2", {2, 1}), "=SUM('a.xlsx-S1:a.xlsx-S2'!A2)");
    // The sources keep their names and bytes.
    EXPECT_EQ(read_bytes(in() / "a.xlsx"), a_before);

    if (!office_available()) GTEST_SKIP() << "LibreOffice (soffice) is not installed";
    OfficeDump dump = office_dump({book.string()});
    ASSERT_EQ(dump[book.string()].size(), 3u);
    // (LibreOffice reads no 3-D reference whose sheet names need quotes, not even its own.)
    EXPECT_EQ(dump[book.string()][1].cells["A1"].second, "10");
}

TEST_F(BookCombineTest, ChosenSheetsReferToSheetsLeftBehindByExternalLinks) {
    add_made("a.xlsx", {{"入力", {"5"}}, {"集計", {"=入力!A1*2"}}, {"メモ", {"x"}}});
    auto out = run(kFile, kCombine, {{"input", "search"}, {"search3", "集"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    fs::path book = combined();
    EXPECT_EQ(sheets_of(book), (Names{"a.xlsx-集計"}));
    // The sheet left behind is named as it is in the file, with its value kept in the link.
    const std::string f = formula(book, "a.xlsx-集計", {1, 1});
    EXPECT_EQ(f.substr(0, 2), "=[") << f;
    EXPECT_NE(f.find("入力!A1*2"), std::string::npos) << f;
    const std::string link = part_of(book.string(), "xl/externalLinks/externalLink1.xml");
    EXPECT_NE(link.find("<sheetName val=\"入力\"/>"), std::string::npos) << link;
    EXPECT_NE(link.find("<v>5</v>"), std::string::npos) << link;
}

TEST_F(BookCombineTest, TooLongPrefixedNameIsLoggedAndTheSheetKeepsItsOwnName) {
    const std::string file = std::string(20, 'f') + ".xlsx";
    add_made(file, {{"Sheet1", {"1"}}, {"短い", {"2"}}});
    auto out = run(kFile, kCombine, {});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_NE(out.error_text.find(file), std::string::npos) << out.error_text;
    // "Sheet1" is taken by the collecting workbook's own sheet when the copy comes in.
    EXPECT_EQ(sheets_of(combined()), (Names{"Sheet1 (2)", file + "-短い"}));

    // Into the pane's output folder, made when missing.
    fs::path out_dir = dir_ / "まとめ先";
    out = run(kFile, kCombine, {{"folder", out_dir.string()}});
    ASSERT_TRUE(out.checked) << out.check_message;
    ASSERT_EQ(listing(out_dir).size(), 1u);
    EXPECT_EQ(listing(out_dir)[0].rfind("まとめ_", 0), 0u);
}

// A corpus macro workbook as a target, with lines put into some of its modules first.
void add_with_code(const std::string& corpus_file, const fs::path& to,
                   const std::vector<std::pair<std::string, std::string>>& code) {
    auto app = xl::native::create_application();
    auto book = app->workbooks().open(corpus(corpus_file).string(), false);
    ASSERT_TRUE(book.has_value());
    xl::VBComponents& c = (*(*book)->vb_project())->vb_components();
    for (const auto& [module, line] : code) {
        ASSERT_NE(c.item(module), nullptr) << module;
        ASSERT_TRUE(c.item(module)->code_module().insert_lines(1, line));
    }
    ASSERT_TRUE((*book)->save_as(to.string(), xl::xlOpenXMLWorkbookMacroEnabled).has_value());
}

Names split_lines(const std::string& text) {
    Names out;
    std::size_t start = 0;
    for (std::size_t nl; (nl = text.find('\n', start)) != std::string::npos; start = nl + 1)
        if (nl > start) out.push_back(text.substr(start, nl - start));
    if (start < text.size()) out.push_back(text.substr(start));
    return out;
}

TEST_F(BookCombineTest, MacrosKeptGoIntoAnXlsmWithSheetCodeFollowingTheCopies) {
    add_with_code("xlsm/cal-issue281.xlsm", in() / "a.xlsm",
                  {{"Sheet1", "' a のシート"}, {"ThisWorkbook", "' a のブック"}});
    add_with_code("xlsm/xw-macro01.xlsm", in() / "b.xlsm", {{"ThisWorkbook", "' b のブック"}});
    add_with_code("xlsm/xw-macro01.xlsm", in() / "c.xlsm", {});
    add_with_code("xlsm/xw-macro01.xlsm", in() / "d.xlsm", {{"Module1", "' 別物"}});
    for (const char* f : {"a.xlsm", "b.xlsm", "c.xlsm", "d.xlsm"}) files_.push_back({in().string(), f, true});
    auto out = run(kFile, kCombine, {{"keep_macros", "1"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    fs::path book = combined();
    ASSERT_EQ(book.extension(), ".xlsm") << book;
    // Only the first book's workbook code is kept; the same module twice goes in once; a
    // different module under a name in use is left out; each left out says so.
    const Names lines = split_lines(out.error_text);
    ASSERT_EQ(lines.size(), 2u) << out.error_text;
    EXPECT_NE(lines[0].find("b.xlsm"), std::string::npos) << lines[0];
    EXPECT_NE(lines[0].find("ThisWorkbook"), std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find("d.xlsm"), std::string::npos) << lines[1];
    EXPECT_NE(lines[1].find("Module1"), std::string::npos) << lines[1];

    auto app = xl::native::create_application();
    auto opened = app->workbooks().open(book.string(), true);
    ASSERT_TRUE(opened.has_value());
    xl::VBComponents& c = (*(*opened)->vb_project())->vb_components();
    auto code = [&](const std::string& module) {
        xl::VBComponent* m = c.item(module);
        return m ? m->code_module().lines(1, m->code_module().count_of_lines()) : "(none)";
    };
    EXPECT_EQ(code("ThisWorkbook"), "' a のブック");
    EXPECT_NE(code("testVBA"), "(none)");
    EXPECT_EQ(code("Module1").find("' 別物"), std::string::npos);
    // Every sheet has its document module under its code name, the copy of a's first sheet
    // with that sheet's code; the collecting workbook's own first sheet took its module along.
    int documents = 0;
    for (int i = 1; i <= c.count(); ++i) documents += c.item(i)->type() == xl::vbext_ct_Document;
    EXPECT_EQ(documents, 1 + (*opened)->sheet_count());
    xl::Worksheet* first = (*opened)->sheet(1);
    EXPECT_EQ(first->name().rfind("a.xlsm-", 0), 0u) << first->name();
    EXPECT_EQ(code(first->code_name()), "' a のシート");
    (*opened)->close();

    // Without the box, or from books without macros, the result is an .xlsx.
    fs::remove(book);
    out = run(kFile, kCombine, {});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(combined().extension(), ".xlsx");

    if (!have_soffice()) GTEST_SKIP() << "LibreOffice (soffice) is not installed";
    fs::remove(combined());
    ASSERT_TRUE(run(kFile, kCombine, {{"keep_macros", "1"}}).checked);
    const std::string cmd = "/usr/bin/python3 '" + std::string(SHEAFLOW_TEST_DATA_DIR) +
                            "/lo_basic.py' '" + combined().string() + "' 2>/dev/null";
    std::string listing;
    if (FILE* p = ::popen(cmd.c_str(), "r")) {
        char buf[4096];
        std::size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) listing.append(buf, n);
        ::pclose(p);
    }
    EXPECT_EQ(listing.find("!! "), std::string::npos) << listing;
    EXPECT_NE(listing.find("VBAProject\ttestVBA\n"), std::string::npos) << listing;
    EXPECT_NE(listing.find("VBAProject\tModule1\n"), std::string::npos) << listing;
    EXPECT_NE(listing.find("VBAProject\tThisWorkbook\n"), std::string::npos) << listing;
}

TEST_F(BookCombineTest, PaneRefusals) {
    EXPECT_EQ(check(kFile, kCombine, {{"input", ""}}), "入力シートの選択指定が不正です。");
    EXPECT_EQ(check(kFile, kCombine, {{"input", "search"}}), "入力シートの検索文字列が不正です。");
    EXPECT_EQ(check(kFile, kCombine, {{"input", "search"}, {"search10", "x"}}), "");
    EXPECT_NE(check(kFile, kSplit, {{"folder", "相対/パス"}}), "");
}

TEST_F(BookCombineTest, SplitWritesOneFilePerSheetInTheSourceFormat) {
    add_made("売上.xlsm", {{"集計", {"1", "=A1+1"}}, {"明細", {"3"}}});
    fs::path out_dir = dir_ / "分割";
    auto out = run(kFile, kSplit, {{"folder", out_dir.string()}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    EXPECT_EQ(listing(out_dir), (Names{"売上-明細.xlsm", "売上-集計.xlsm"}));
    // The sheet the new workbook was made with stays behind the copy.
    EXPECT_EQ(sheets_of(out_dir / "売上-集計.xlsm"), (Names{"集計", "Sheet1"}));
    EXPECT_EQ(formula(out_dir / "売上-集計.xlsm", "集計", {2, 1}), "=A1+1");
    EXPECT_EQ(listing(in()), (Names{"売上.xlsm"}));
}

TEST_F(BookCombineTest, SplitGivesAnErrorLineForAChartSheet) {
    auto app = xl::native::create_application();
    auto book = app->workbooks().open(corpus("xlsx/cal-any_sheets.xlsx").string(), true);
    ASSERT_TRUE(book.has_value());
    ASSERT_TRUE((*book)->save_as((in() / "c.xlsx").string(), xl::xlOpenXMLWorkbook).has_value());
    files_.push_back({in().string(), "c.xlsx", true});
    auto out = run(kFile, kSplit, {});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_NE(out.error_text.find("「Chart」はワークシートではない"), std::string::npos)
        << out.error_text;
    EXPECT_EQ(listing(in()),
              (Names{"c-Hidden.xlsx", "c-VeryHidden.xlsx", "c-Visible.xlsx", "c.xlsx"}));
}

}  // namespace
}  // namespace sheaflow::test
