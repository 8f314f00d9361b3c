// Sheet structure on every workbook of the corpus: insert, copy, rename, move and delete leave
// the other sheets' contents as they were and a package that the engine and LibreOffice open;
// a sheet copied into a new workbook shows the same values and the same displayed text there.

#include <gtest/gtest.h>

#include "structure_helpers.h"

namespace sheaflow::testing {
namespace {

using Contents = std::map<std::pair<int, int>, std::pair<std::string, std::string>>;

// Formula-bar text and cell style of every cell of a sheet.
Contents contents(xl::Worksheet& ws) {
    Contents out;
    ws.for_each_cell(ws.used_range(), [&](xl::CellRef c) {
        out[{c.row, c.col}] = {ws.cell_formula(c), ws.cell_number_format_local(c)};
    });
    return out;
}

// Values and displayed texts only (a copied sheet's formulas may point elsewhere). A date's
// displayed text is what must stay: its serial number differs between the two date systems.
Contents shown(xl::Worksheet& ws) {
    Contents out;
    ws.for_each_cell(ws.used_range(), [&](xl::CellRef c) {
        xl::Value v = ws.cell_value(c);
        out[{c.row, c.col}] = {std::holds_alternative<xl::DateTime>(v) ? "(date)" : xl::to_text(v),
                               ws.cell_text(c)};
    });
    return out;
}

// LibreOffice opens the results: every third one, which covers the kinds of package and keeps
// the test short (LibreOffice takes a few tenths of a second a file).
void expect_office_opens(const std::vector<std::string>& outputs) {
    if (!office_available()) return;
    std::vector<std::string> sample;
    for (std::size_t i = 0; i < outputs.size(); i += 3) sample.push_back(outputs[i]);
    OfficeDump dump = office_dump(sample, true);
    for (const std::string& out : sample) EXPECT_TRUE(dump.count(out)) << out;
}

// Every package of the corpus.
std::vector<std::string> corpus_books() {
    std::vector<std::string> books = corpus_files("xlsx", {".xlsx"});
    auto more = corpus_files("xlsm", {".xlsm"});
    books.insert(books.end(), more.begin(), more.end());
    return books;
}

TEST(SheetStructureCorpus, EditsKeepOtherSheetsAndAValidPackage) {
    std::vector<std::string> books = corpus_books();
    if (books.empty()) GTEST_SKIP() << "no corpus";
    EngineTempDir dir;
    std::vector<std::string> outputs;
    int edited = 0;
    for (const std::string& path : books) {
        SCOPED_TRACE(path);
        auto app = xl::native::create_application();
        auto opened = app->workbooks().open(path, true);
        if (!opened) continue;  // the engine's own tests cover what it refuses
        xl::Workbook& b = **opened;
        xl::Worksheet* first = b.worksheet(1);
        if (!first || first->type() != xl::xlWorksheet || !first->check().has_value()) continue;
        std::vector<std::string> names;
        std::vector<Contents> before;
        for (int i = 1; i <= b.worksheet_count(); ++i) {
            names.push_back(b.worksheet(i)->name());
            before.push_back(contents(*b.worksheet(i)));
        }
        // A copy is renamed, moved to the front and deleted again; an inserted sheet too.
        auto copy = first->copy(nullptr, b.worksheet(b.worksheet_count()));
        ASSERT_TRUE(copy.has_value()) << copy.error().message;
        ASSERT_TRUE((*copy)->set_name("構造テスト").has_value());
        ASSERT_TRUE((*copy)->move(b.sheet(1), nullptr).has_value());
        auto added = b.add_worksheet(nullptr, b.worksheet(2));
        ASSERT_TRUE(added.has_value()) << added.error().message;
        ASSERT_TRUE((*added)->delete_sheet().has_value());
        ASSERT_TRUE(b.worksheet("構造テスト")->delete_sheet().has_value());

        std::string out = dir.file(std::to_string(edited++) + ".xlsx");
        auto saved = b.save_as(out, xl::xlOpenXMLWorkbook);
        ASSERT_TRUE(saved.has_value()) << saved.error().message;
        auto again_app = xl::native::create_application();
        auto again = again_app->workbooks().open(out, true);
        ASSERT_TRUE(again.has_value()) << again.error().message;
        ASSERT_EQ((*again)->worksheet_count(), static_cast<int>(names.size()));
        for (std::size_t i = 0; i < names.size(); ++i) {
            xl::Worksheet* ws = (*again)->worksheet(static_cast<int>(i) + 1);
            EXPECT_EQ(ws->name(), names[i]);
            EXPECT_EQ(contents(*ws), before[i]) << names[i];
        }
        outputs.push_back(out);
    }
    EXPECT_GT(edited, 50);
    expect_office_opens(outputs);
}

TEST(SheetStructureCorpus, CopiesIntoANewWorkbookShowTheSameValues) {
    std::vector<std::string> books = corpus_books();
    if (books.empty()) GTEST_SKIP() << "no corpus";
    EngineTempDir dir;
    std::vector<std::string> outputs;
    int copied = 0;
    for (const std::string& path : books) {
        SCOPED_TRACE(path);
        auto app = xl::native::create_application();
        auto opened = app->workbooks().open(path, true);
        if (!opened) continue;
        xl::Workbook& b = **opened;
        auto dest = app->workbooks().add();
        ASSERT_TRUE(dest.has_value());
        std::vector<std::pair<std::string, Contents>> expected;
        for (int i = 1; i <= b.worksheet_count(); ++i) {
            xl::Worksheet* ws = b.worksheet(i);
            if (ws->type() != xl::xlWorksheet || !ws->check().has_value()) continue;
            Contents want = shown(*ws);
            auto c = ws->copy(nullptr, (*dest)->worksheet((*dest)->worksheet_count()));
            ASSERT_TRUE(c.has_value()) << c.error().message;
            EXPECT_EQ(shown(**c), want) << ws->name();
            expected.emplace_back((*c)->name(), std::move(want));
        }
        if (expected.empty()) continue;
        std::string out = dir.file("copy" + std::to_string(copied++) + ".xlsx");
        auto saved = (*dest)->save_as(out, xl::xlOpenXMLWorkbook);
        ASSERT_TRUE(saved.has_value()) << saved.error().message;
        auto again_app = xl::native::create_application();
        auto again = again_app->workbooks().open(out, true);
        ASSERT_TRUE(again.has_value()) << again.error().message;
        for (const auto& [name, want] : expected) {
            xl::Worksheet* ws = (*again)->worksheet(name);
            ASSERT_NE(ws, nullptr) << name;
            EXPECT_EQ(shown(*ws), want) << name;
        }
        outputs.push_back(out);
    }
    EXPECT_GT(copied, 50);
    expect_office_opens(outputs);
}

}  // namespace
}  // namespace sheaflow::testing
