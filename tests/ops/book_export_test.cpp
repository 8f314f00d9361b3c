// The per-sheet text export and the extension change, run by the driver over corpus workbooks:
// which files they write, what those hold, what they refuse, and the LibreOffice comparison.

#include <cstdlib>

#include "book_helpers.h"
#include "ops/book/book_files.h"

namespace sheaflow::test {
namespace {

namespace fs = std::filesystem;

const char* const kAllFile = "すべてのシート_ファイル";
const char* const kExtension = "拡張子変更(CSV・XLS・XLSX)";

class BookExportTest : public BookOpsTest {
protected:
    // cal-any_sheets.xlsx (Visible, Hidden, VeryHidden, Chart) with its chart sheet moved
    // between the first two worksheets, as 売上.xlsx.
    void add_chart_between(const std::string& name) {
        auto app = xl::native::create_application();
        auto book = app->workbooks().open(corpus("xlsx/cal-any_sheets.xlsx").string(), true);
        ASSERT_TRUE(book.has_value());
        xl::Workbook& b = **book;
        xl::Worksheet* chart = b.sheet(4);
        ASSERT_EQ(chart->type(), xl::xlChart);
        ASSERT_TRUE(chart->move(b.sheet(2), nullptr).has_value());
        ASSERT_TRUE(b.save_as((in() / name).string(), xl::xlOpenXMLWorkbook).has_value());
        files_.push_back({in().string(), name, true});
    }
};

TEST_F(BookExportTest, EveryWorksheetToItsOwnFileChartSheetsSkipped) {
    add_chart_between("売上.xlsx");
    auto out = run(kAllFile, "ＣＳＶで出力", {});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    EXPECT_EQ(listing(in()),
              (Names{"売上.xlsx", "売上_Hidden.csv", "売上_VeryHidden.csv", "売上_Visible.csv"}));
    EXPECT_EQ(read_bytes(in() / "売上_Visible.csv").substr(0, 18), "1,2\r\n3,4\r\n5,6\r\n,\r\n");

    // TXT with the tab method is the TSV under another extension.
    fs::path tsv = dir_ / "tsv", txt = dir_ / "txt";
    fs::create_directories(tsv);
    fs::create_directories(txt);
    ASSERT_EQ(run(kAllFile, "ＴＳＶで出力", {{"folder", tsv.string()}}).error_text, "");
    ASSERT_EQ(
        run(kAllFile, "ＴＸＴで出力", {{"folder", txt.string()}, {"txt_method", "tab"}}).error_text,
        "");
    for (const char* sheet : {"Visible", "Hidden", "VeryHidden"}) {
        std::string stem = std::string("売上_") + sheet;
        EXPECT_EQ(read_bytes(tsv / (stem + ".tsv")), read_bytes(txt / (stem + ".txt"))) << sheet;
    }
    EXPECT_NE(read_bytes(tsv / "売上_Visible.tsv").find("1\t2\r\n"), std::string::npos);
    // The target is not saved again under its own name.
    EXPECT_EQ(read_bytes(in() / "売上.xlsx").substr(0, 2), "PK");
}

TEST_F(BookExportTest, BooksDifferingOnlyByExtensionClashWithAnErrorLine) {
    add_made("売上.xlsx", {{"集計", {"x"}}});
    add_made("売上.xlsm", {{"集計", {"m"}}});
    add("csv/made-ja_sjis_basic.csv", "名簿.csv");
    auto out = run(kAllFile, "ＣＳＶで出力", {});
    EXPECT_EQ(out.processed, 2);  // a CSV target is not exported again
    EXPECT_EQ(out.failed_files, 1);
    EXPECT_NE(out.error_text.find("売上_集計.csv 書込エラー"), std::string::npos) << out.error_text;
    // The first book's file stands; nothing was overwritten.
    EXPECT_EQ(read_bytes(in() / "売上_集計.csv"), "x\r\n");
}

TEST_F(BookExportTest, ExtensionChangeBetweenFormats) {
    add("xlsm/cal-vba.xlsm", "売上.xlsm");
    add("csv/made-ja_sjis_basic.csv", "名簿.csv");
    const std::string before = read_bytes(in() / "売上.xlsm");

    // xlsm to xlsx: the VBA project goes, the sheets stay; the target is left as it was.
    auto out = run("ファイル", kExtension, {{"old_ext", "xlsm"}, {"new_ext", "xlsx"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.error_text, "");
    EXPECT_EQ(out.processed, 1);  // the CSV is not of the old extension
    EXPECT_EQ(sheets_of(in() / "売上.xlsx"), sheets_of(in() / "売上.xlsm"));
    EXPECT_EQ(read_bytes(in() / "売上.xlsx").find("vbaProject"), std::string::npos);
    EXPECT_EQ(read_bytes(in() / "売上.xlsm"), before);

    // xlsm to csv: the active sheet only.
    fs::remove(in() / "売上.xlsx");
    files_.erase(files_.begin());
    files_.insert(files_.begin(), {in().string(), "売上.xlsm", true});
    ASSERT_EQ(run("ファイル", kExtension, {{"old_ext", "xlsm"}, {"new_ext", "csv"}}).error_text,
              "");
    auto app = xl::native::create_application();
    auto src = app->workbooks().open((in() / "売上.xlsm").string(), true);
    ASSERT_TRUE(src.has_value());
    xl::Worksheet* active = (*src)->active_sheet();
    std::string first_line = read_bytes(in() / "売上.csv");
    first_line = first_line.substr(0, first_line.find("\r\n"));
    EXPECT_EQ(first_line.substr(0, first_line.find(',')), active->cell_text({1, 1}));

    // csv to xlsx: the CSV opened as the application opens it (numbers, texts in CP932).
    ASSERT_EQ(run("ファイル", kExtension, {{"old_ext", "csv"}, {"new_ext", "xlsx"}}).error_text,
              "");
    auto book = app->workbooks().open((in() / "名簿.xlsx").string(), true);
    ASSERT_TRUE(book.has_value()) << book.error().message;
    EXPECT_EQ((*book)->worksheet(1)->name(), "名簿");
    EXPECT_EQ((*book)->worksheet(1)->cell_text({1, 1}), "氏名");
}

TEST_F(BookExportTest, PaneChecks) {
    fs::path file = dir_ / "a-file";
    std::ofstream(file) << "x";
    struct Case {
        const char* category;
        const char* name;
        Values values;
        std::string message;
    };
    const std::string missing = (dir_ / "missing").string();
    const Case cases[] = {
        {"ファイル",
         kExtension,
         {{"old_ext", "xlsx"}, {"new_ext", "xlsx"}},
         "拡張子の変更になってません。"},
        {"ファイル",
         kExtension,
         {{"old_ext", "xlsx"}, {"new_ext", "txt"}, {"txt_method", ""}},
         "TXTの編集方法が設定されていません。"},
        {"ファイル",
         kExtension,
         {{"old_ext", "xlsx"}, {"new_ext", "xls"}},
         ""},
        {"ファイル", kExtension, {{"old_ext", "xlsx"}, {"new_ext", "csv"}}, ""},
        {kAllFile, "ＣＳＶで出力", {{"folder", missing}}, "登録先ディレクトリが不明です。"},
        {kAllFile,
         "ＣＳＶで出力",
         {{"folder", "out"}},
         "登録先ディレクトリは「/」から始まるフルパスで指定してください。"},
        {kAllFile,
         "ＴＳＶで出力",
         {{"folder", (file / "sub").string()}},
         "登録先ディレクトリの「" + file.string() + "」はフォルダーではなくファイルです。"},
        {kAllFile, "ＴＸＴで出力", {{"txt_method", ""}}, "TXTの編集方法が設定されていません。"},
        {kAllFile, "ＴＸＴで出力", {{"folder", dir_.string()}}, ""},
    };
    for (const Case& c : cases) EXPECT_EQ(check(c.category, c.name, c.values), c.message) << c.name;
}

TEST(BookFilesTest, OutputFolderPaths) {
    EXPECT_EQ(ops::Check_File_FullName("登録先ディレクトリ", ""), "登録先ディレクトリが不明です。");
    EXPECT_EQ(ops::Check_File_FullName("X", "/tmp/a\tb"), "Xに制御文字は使えません。");
    EXPECT_EQ(ops::Check_File_FullName("X", "/tmp/" + std::string(256, 'a')).substr(0, 22),
              "Xのフォルダー名");
    EXPECT_EQ(ops::Check_File_FullName("X", "/tmp/not/yet/there"), "");
    // A folder that cannot be made names its reason.
    fs::path base = fs::temp_directory_path() / ("sheaflow_folder_" + std::to_string(::getpid()));
    fs::create_directories(base);
    std::ofstream(base / "file") << "x";
    auto made = ops::Folder_Create_Process((base / "a" / "b").string());
    EXPECT_TRUE(made.has_value());
    EXPECT_TRUE(fs::is_directory(base / "a" / "b"));
    auto refused = ops::Folder_Create_Process((base / "file" / "b").string());
    ASSERT_FALSE(refused.has_value());
    EXPECT_NE(refused.error().message.find("作成できません"), std::string::npos);
    fs::remove_all(base);
}

// Each CSV equals LibreOffice's "as shown" export of its sheet, but for the documented
// differences that the comparison script explains.
TEST_F(BookExportTest, SameCellsAsLibreOfficeExport) {
    if (!have_soffice()) GTEST_SKIP() << "LibreOffice (soffice) is not installed";
    const char* books[] = {"xlsx/cal-any_sheets.xlsx", "xlsx/sjs-1904.xlsx",
                           "xlsx/cal-date_quoted_format.xlsx",
                           "xlsx/sjs-ふりがな phonetic_text.xlsx"};
    for (const char* b : books) add(b, fs::path(b).filename().string());
    auto out = run(kAllFile, "ＣＳＶで出力", {});
    ASSERT_EQ(out.error_text, "");
    fs::path profile = dir_ / "profile";
    for (const auto& f : files_) {
        std::string cmd = "/usr/bin/python3 '" + std::string(SHEAFLOW_TEST_DATA_DIR) +
                          "/compare_csv_lo.py' --profile '" + profile.string() + "' '" +
                          (in() / f.name).string() + "' '" + in().string() + "' > '" +
                          (dir_ / "cmp.txt").string() + "' 2>&1";
        int rc = std::system(cmd.c_str());
        EXPECT_EQ(rc, 0) << f.name << "\n" << read_bytes(dir_ / "cmp.txt");
    }
}

}  // namespace
}  // namespace sheaflow::test
