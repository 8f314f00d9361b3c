// What a run writes back: nothing when the operation changed nothing, and a package saved over
// itself keeps what the engine does not understand.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <filesystem>

#include "cli/cli_support.h"
#include "shell/temp_dir.h"
#include "util/file.h"

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
        fs::last_write_time(to, fs::last_write_time(to) - std::chrono::hours(1));
        return to;
    }

    testing::TempDir tmp_;
    std::string folder_;
};

const std::string kFixture = std::string(SHEAFLOW_TEST_DATA_DIR) + "/cell_text.xlsx";
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

}  // namespace
}  // namespace sheaflow
