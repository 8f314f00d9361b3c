// The engine on the real workbooks of the shared corpus: every package opens and reads, an
// unchanged save keeps every part, and the files the engine cannot handle give a clear error.

#include <gtest/gtest.h>

#include "engine_helpers.h"
#include "xl/native/engine.h"

namespace sheaflow::xl::native {
namespace {

using testing::corpus_files;
using testing::EngineTempDir;
using testing::package_difference;

// Reads everything a search or an export would read from every worksheet.
void read_everything(Workbook& book) {
    for (int i = 1; i <= book.worksheet_count(); ++i) {
        Worksheet* ws = book.worksheet(i);
        ASSERT_NE(ws, nullptr);
        ws->name();
        ws->code_name();
        Area used = ws->used_range();
        ws->for_each_cell(used, [&](CellRef c) {
            ws->cell_value(c);
            ws->cell_formula(c);
            ws->cell_text(c);
        });
    }
}

// Workbooks of the corpus that are damaged beyond reading: the engine must refuse them with a
// message rather than guess.
bool known_damaged(const std::string& f) {
    // Its workbook relationships part inflates to garbage (a wrong checksum as well).
    return f.ends_with("cal-issue252.xlsx");
}

TEST(EngineCorpus, every_package_opens_reads_and_saves_unchanged) {
    auto files = corpus_files("xlsx", {".xlsx"});
    auto macro = corpus_files("xlsm", {".xlsm"});
    files.insert(files.end(), macro.begin(), macro.end());
    if (files.empty()) GTEST_SKIP() << "no corpus";
    EngineTempDir dir;
    int n = 0;
    for (const std::string& f : files) {
        SCOPED_TRACE(f);
        auto app = create_application();
        auto book = app->workbooks().open(f, false);
        if (known_damaged(f)) {
            ASSERT_FALSE(book);
            EXPECT_NE(book.error().message.find("壊れています"), std::string::npos);
            continue;
        }
        if (!book) {
            ADD_FAILURE() << book.error().message;
            continue;
        }
        EXPECT_GE((*book)->sheet_count(), 1);
        ASSERT_NE((*book)->active_sheet(), nullptr);
        read_everything(**book);
        bool macro_book = f.ends_with(".xlsm");
        std::string out = dir.file("out" + std::to_string(n++) + (macro_book ? ".xlsm" : ".xlsx"));
        auto saved =
            (*book)->save_as(out, macro_book ? xlOpenXMLWorkbookMacroEnabled : xlOpenXMLWorkbook);
        ASSERT_TRUE(saved) << saved.error().message;
        EXPECT_EQ(package_difference(f, out), "");
    }
}

TEST(EngineCorpus, files_the_engine_cannot_open_give_a_japanese_error) {
    auto files = corpus_files("odd", {".xls", ".xlsb", ".ods", ".xlsx", ".xlsm"});
    auto xls = corpus_files("xls", {".xls"});
    files.insert(files.end(), xls.begin(), xls.end());
    if (files.empty()) GTEST_SKIP() << "no corpus";
    for (const std::string& f : files) {
        SCOPED_TRACE(f);
        // Strict Open XML workbooks open (tests/xl/strict_test.cpp).
        if (f.find("strict") != std::string::npos) continue;
        auto app = create_application();
        auto book = app->workbooks().open(f, true);
        ASSERT_FALSE(book);
        const std::string& msg = book.error().message;
        EXPECT_NE(msg.find("を開けません"), std::string::npos) << msg;
        EXPECT_EQ(app->workbooks().count(), 0);
    }
}

TEST(EngineCorpus, templates_and_addins_open_as_workbooks) {
    auto files = corpus_files("odd", {".xltx", ".xltm", ".xlam"});
    if (files.empty()) GTEST_SKIP() << "no corpus";
    for (const std::string& f : files) {
        SCOPED_TRACE(f);
        auto app = create_application();
        auto book = app->workbooks().open(f, true);
        ASSERT_TRUE(book) << book.error().message;
        read_everything(**book);
    }
}

}  // namespace
}  // namespace sheaflow::xl::native
