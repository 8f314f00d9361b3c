// What a run writes back: nothing when the operation changed nothing, and a package saved over
// itself keeps what the engine does not understand.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <filesystem>

#include "cli/cli_support.h"
#include "shell/temp_dir.h"
#include "util/file.h"
#include "xl/native/package.h"

namespace fs = std::filesystem;

namespace sheaflow {
namespace {

using cli_test::Outcome;
using cli_test::quote;

std::string read(const std::string& path) {
    std::string bytes;
    EXPECT_TRUE(file::read_all(path, bytes)) << path;
    return bytes;
}

std::string unzip(const std::string& book, const std::string& part) {
    std::string out;
    FILE* p = ::popen(("unzip -p " + quote(book) + " " + quote(part)).c_str(), "r");
    if (p == nullptr) return out;
    char buf[4096];
    std::size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
    ::pclose(p);
    return out;
}

class CliSaves : public ::testing::Test {
protected:
    void SetUp() override {
        folder_ = tmp_.file("対象");
        fs::create_directories(folder_);
    }
    Outcome run(std::vector<std::string> args) {
        args.insert(args.begin(), "run");
        for (const char* a : {"--folder", "", "--yes", "--param-dir", ""}) args.push_back(a);
        args[args.size() - 4] = folder_;
        args.back() = tmp_.file("params");
        return cli_test::run_cli(args, tmp_.file("err"));
    }
    // Copies `source` into the target folder as `as`, dated an hour ago.
    std::string place(const std::string& source, const std::string& as) {
        std::string to = folder_ + "/" + as;
        fs::copy_file(source, to);
        // The corpus is read-only, and a save refuses a read-only target.
        fs::permissions(to, fs::perms::owner_write, fs::perm_options::add);
        fs::last_write_time(to, fs::last_write_time(to) - std::chrono::hours(1));
        return to;
    }

    testing::TempDir tmp_;
    std::string folder_;
};

const std::string kFixture = std::string(SHEAFLOW_TEST_DATA_DIR) + "/cell_text.xlsx";
const std::string kStructureBook = std::string(SHEAFLOW_TEST_DATA_DIR) + "/structure.xlsx";
const std::string kMacroBook = std::string(SHEAFLOW_CORPUS_DIR) + "/xlsm/cal-vba.xlsm";

TEST_F(CliSaves, unchanged_workbooks_keep_their_bytes_and_time) {
    // A replace without a hit, and a delete that refuses because it would remove every sheet.
    const std::string book = place(kFixture, "本.xlsx");
    const auto time = fs::last_write_time(book);
    Outcome replace = run({"すべてのシート_セル", "文字列置換", "--set", "search=どこにもない",
                           "--set", "replace=x"});
    EXPECT_EQ(replace.code, 0) << replace.err;
    EXPECT_NE(replace.err.find("本.xlsx 変更なし"), std::string::npos) << replace.err;
    EXPECT_EQ(read(book), read(kFixture));
    EXPECT_EQ(fs::last_write_time(book), time);

    Outcome refused = run({"シート", "選択したシート以外、削除", "--set", "sheets=どこにもない"});
    EXPECT_NE(refused.err.find("すべてのシートを削除してしまう"), std::string::npos)
        << refused.err;
    EXPECT_EQ(read(book), read(kFixture));
    EXPECT_EQ(fs::last_write_time(book), time);
}

TEST_F(CliSaves, macro_enabled_package_named_xlsx_keeps_its_vba_project) {
    const std::string book = place(kMacroBook, "マクロ.xlsx");
    Outcome r = run({"シート", "挿入", "--set", "where=front", "--set", "kind=new"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(read(book), read(kMacroBook)) << "the sheet was not inserted";
    EXPECT_EQ(unzip(book, "xl/vbaProject.bin"), unzip(kMacroBook, "xl/vbaProject.bin"));
    EXPECT_NE(unzip(book, "\\[Content_Types\\].xml").find("sheet.macroEnabled.main+xml"),
              std::string::npos);
    EXPECT_NE(unzip(book, "xl/_rels/workbook.xml.rels").find("vbaProject"), std::string::npos);
}

TEST_F(CliSaves, document_properties_follow_the_sheet_list) {
    const std::string book = place(kStructureBook, "構成.xlsx");
    ASSERT_EQ(run({"シート", "挿入", "--set", "where=front", "--set", "kind=new"}).code, 0);
    ASSERT_EQ(run({"シート", "削除", "--set", "target=name", "--set", "name=Data"}).code, 0);
    const std::string app = unzip(book, "docProps/app.xml");
    // Four worksheets now, the new one first; the defined name keeps its place after them.
    EXPECT_NE(app.find("<vt:lpstr>ワークシート</vt:lpstr></vt:variant><vt:variant><vt:i4>4<"),
              std::string::npos)
        << app;
    EXPECT_NE(app.find("<vt:vector size=\"5\" baseType=\"lpstr\"><vt:lpstr>Sheet1</vt:lpstr>"
                       "<vt:lpstr>My Sheet</vt:lpstr><vt:lpstr>Summary</vt:lpstr>"
                       "<vt:lpstr>Hidden</vt:lpstr><vt:lpstr>Summary!Print_Area</vt:lpstr>"),
              std::string::npos)
        << app;
}

TEST_F(CliSaves, structure_protected_workbook_refuses_sheet_changes) {
    // The structure fixture with its sheet list locked, as the application writes it.
    const std::string book = folder_ + "/保護.xlsx";
    {
        auto package = xl::native::Package::open_file(kStructureBook);
        ASSERT_TRUE(package);
        std::string workbook = *(*package)->read("xl/workbook.xml");
        workbook.insert(workbook.find("<bookViews"), "<workbookProtection lockStructure=\"1\"/>");
        (*package)->write("xl/workbook.xml", workbook);
        ASSERT_TRUE((*package)->save(book));
    }
    const std::string before = read(book);
    const std::vector<std::vector<std::string>> runs = {
        {"シート", "シート名順でソート"},
        {"シート", "挿入", "--set", "where=front"},
        {"シート", "削除", "--set", "target=name", "--set", "name=Data"},
        {"シート", "移動", "--set", "source=name", "--set", "source_name=Data", "--set",
         "target_position=3"},
        {"シート", "シート名変更", "--set", "basis=whole", "--set", "old=Data", "--set", "new=D2"},
    };
    for (const auto& args : runs) {
        Outcome r = run(args);
        EXPECT_EQ(r.code, 1) << args[1] << "\n" << r.err;
        EXPECT_NE(r.err.find("保護.xlsx ブック「保護.xlsx」の構成は保護されているため"),
                  std::string::npos)
            << args[1] << "\n" << r.err;
        EXPECT_EQ(read(book), before) << args[1];
    }
}

TEST_F(CliSaves, a_read_only_target_is_refused_and_the_run_goes_on_with_the_next) {
    const std::string locked = place(kFixture, "a_読み取り専用.xlsx");
    const std::string open = place(kFixture, "b_書き込み可.xlsx");
    fs::permissions(locked, fs::perms::owner_write | fs::perms::group_write |
                                fs::perms::others_write,
                    fs::perm_options::remove);
    const auto time = fs::last_write_time(locked);
    Outcome r = run({"すべてのシート_セル", "文字列置換", "--set", "search=東京", "--set",
                     "replace=大阪"});
    EXPECT_EQ(r.code, 1) << r.err;
    EXPECT_NE(r.err.find("書込エラー　ファイル「" + locked + "」は読み取り専用のため、保存できません。"),
              std::string::npos)
        << r.err;
    EXPECT_EQ(r.err.find("処理を中止しました。"), std::string::npos) << r.err;
    EXPECT_EQ(read(locked), read(kFixture));
    EXPECT_EQ(fs::last_write_time(locked), time);
    EXPECT_NE(read(open), read(kFixture));
    // The completion message counts what was replaced.
    EXPECT_NE(r.err.find("置換したセル "), std::string::npos) << r.err;
    // Nothing is left beside the targets.
    int entries = 0;
    for (const auto& e : fs::directory_iterator(folder_)) {
        (void)e;
        ++entries;
    }
    EXPECT_EQ(entries, 2);
}

TEST_F(CliSaves, searches_over_subfolders_say_which_folder_each_row_comes_from) {
    place(kFixture, "本.xlsx");
    fs::create_directories(folder_ + "/支店");
    fs::copy_file(kFixture, folder_ + "/支店/本.xlsx");
    Outcome r = run({"すべてのシート_セル", "文字列検索", "--subfolders", "--set", "search=東京",
                     "--format", "records"});
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("\"フォルダー\":\".\""), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\"フォルダー\":\"支店\""), std::string::npos) << r.out;
    EXPECT_NE(r.err.find("見つかったセル "), std::string::npos) << r.err;
}

}  // namespace
}  // namespace sheaflow
