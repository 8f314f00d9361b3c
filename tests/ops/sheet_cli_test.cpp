// Every sheet operation through `sheaflow run シート ...` over a folder, one after the other on
// the same workbook, checked by reading the sheets back with the engine.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "xl/native/engine.h"
#include "xl/xl.h"

namespace fs = std::filesystem;

namespace sheaflow::test {
namespace {

using Names = std::vector<std::string>;

struct Step {
    std::string operation;
    std::vector<std::string> sets;  // key=value
    Names expected;
};

class SheetCliTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() / ("sheaflow_sheet_cli_" + std::to_string(::getpid()));
        fs::remove_all(dir_);
        fs::create_directories(dir_ / "params");
        fs::create_directories(dir_ / "target");
        fs::copy_file(fs::path(SHEAFLOW_TEST_DATA_DIR) / "structure.xlsx",
                      dir_ / "target/book.xlsx");
    }
    void TearDown() override { fs::remove_all(dir_); }

    // Runs the command line; its exit status, with stderr in `err_`.
    int run(const std::string& operation, const std::vector<std::string>& sets) {
        std::string cmd = std::string("'") + SHEAFLOW_CLI_PATH + "' run シート '" + operation +
                          "' --folder '" + (dir_ / "target").string() + "' --yes --param-dir '" +
                          (dir_ / "params").string() + "'";
        for (const std::string& s : sets) cmd += " --set '" + s + "'";
        cmd += " >/dev/null 2>'" + (dir_ / "err.txt").string() + "'";
        int rc = std::system(cmd.c_str());
        std::ifstream in(dir_ / "err.txt");
        std::stringstream ss;
        ss << in.rdbuf();
        err_ = ss.str();
        return WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
    }

    Names names() {
        auto app = xl::native::create_application();
        auto book = app->workbooks().open((dir_ / "target/book.xlsx").string(), true);
        if (!book) return {book.error().message};
        Names out;
        for (int i = 1; i <= (*book)->sheet_count(); ++i) out.push_back((*book)->sheet(i)->name());
        return out;
    }

    fs::path dir_;
    std::string err_;
};

TEST_F(SheetCliTest, EveryOperationOverAFolder) {
    const Step steps[] = {
        {"シート名設定",
         {"target=position", "position=1", "name=Input"},
         {"Input", "My Sheet", "Summary", "Hidden"}},
        {"シート名変更",
         {"basis=whole", "old=Input", "new=Numbers"},
         {"Numbers", "My Sheet", "Summary", "Hidden"}},
        {"シート名編集",
         {"target=all", "method=suffix", "text=_x"},
         {"Numbers_x", "My Sheet_x", "Summary_x", "Hidden_x"}},
        {"シート名編集",
         {"target=all", "method=remove", "text=_x"},
         {"Numbers", "My Sheet", "Summary", "Hidden"}},
        {"シート名をファイル名の一部から引用",
         {"target=position", "position=4", "part=left", "length=4"},
         {"Numbers", "My Sheet", "Summary", "book"}},
        {"挿入",
         {"where=front", "count=2", "kind=new"},
         {"Sheet2", "Sheet1", "Numbers", "My Sheet", "Summary", "book"}},
        {"移動",
         {"source=position", "source_position=1", "target_position=6", "place=after"},
         {"Sheet1", "Numbers", "My Sheet", "Summary", "book", "Sheet2"}},
        {"シート名順でソート", {}, {"My Sheet", "Numbers", "Sheet1", "Sheet2", "Summary", "book"}},
        {"不要なシートを一括削除", {}, {"My Sheet", "Numbers", "Summary", "book"}},
        {"削除", {"target=part", "name=boo"}, {"My Sheet", "Numbers", "Summary"}},
        {"シートを選択して削除", {"sheets=My Sheet"}, {"Numbers", "Summary"}},
        {"選択したシート以外、削除", {"sheets=Summary"}, {"Summary"}},
    };
    for (const Step& step : steps) {
        EXPECT_EQ(run(step.operation, step.sets), 0) << step.operation << "\n" << err_;
        EXPECT_EQ(names(), step.expected) << step.operation;
    }
    auto app = xl::native::create_application();
    auto book = app->workbooks().open((dir_ / "target/book.xlsx").string(), true);
    ASSERT_TRUE(book.has_value());
    EXPECT_EQ((*book)->worksheet(1)->cell_formula({1, 1}), "=SUM(#REF!A1:A3)+#REF!B2");
}

TEST_F(SheetCliTest, PaneErrorsAndPerFileErrors) {
    // A name the pane refuses: the check's message, nothing run.
    EXPECT_NE(run("シート名変更", {"basis=active", "new=集計[1]"}), 0);
    EXPECT_NE(err_.find("変更後のシート名に、記号［は使えない。"), std::string::npos) << err_;
    // A position out of range: the file's error line.
    EXPECT_NE(
        run("移動", {"source=position", "source_position=9", "target_position=1", "place=before"}),
        0);
    EXPECT_NE(err_.find("book.xlsx 移動元のシート番号が間違っています。"), std::string::npos)
        << err_;
    EXPECT_EQ(names(), (Names{"Data", "My Sheet", "Summary", "Hidden"}));
}

}  // namespace
}  // namespace sheaflow::test
