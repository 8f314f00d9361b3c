// Strict Open XML workbooks: read in the engine's vocabulary, changed, and written back strict,
// with the parts left alone copied byte for byte; LibreOffice reads the result.

#include <gtest/gtest.h>

#include <filesystem>

#include "structure_helpers.h"
#include "xl/native/package.h"

namespace sheaflow::testing {
namespace {

using xl::native::Package;
using xl::native::translate_strict;

bool contains(const std::string& hay, const std::string& needle) {
    return hay.find(needle) != std::string::npos;
}

// The stored bytes of a part, untranslated.
std::string raw_part(const std::string& file, const std::string& part) {
    auto pkg = Package::open_file(file);
    if (!pkg) return "<no package>";
    auto bytes = (*pkg)->read(part);
    return bytes ? *bytes : "<no part>";
}

TEST(Strict, names_change_in_attribute_values_only_and_both_ways) {
    const std::string strict =
        "<Relationships><Relationship Type=\"http://purl.oclc.org/ooxml/officeDocument/"
        "relationships/extendedProperties\"/><Relationship Type='http://purl.oclc.org/ooxml/"
        "officeDocument/relationships/worksheet'/></Relationships>"
        "<sst xmlns=\"http://purl.oclc.org/ooxml/spreadsheetml/main\"><si><t>http://purl.oclc.org/"
        "ooxml/spreadsheetml/main</t></si><si><t a=\"http://purl.oclc.org/ooxml/spreadsheetmlx\"/>"
        "</si></sst>";
    const std::string transitional = translate_strict(strict, true);
    EXPECT_TRUE(contains(transitional, "\"http://schemas.openxmlformats.org/officeDocument/2006/"
                                       "relationships/extended-properties\""));
    EXPECT_TRUE(contains(transitional, "'http://schemas.openxmlformats.org/officeDocument/2006/"
                                       "relationships/worksheet'"));
    EXPECT_TRUE(contains(transitional,
                         "xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\""));
    // A cell's text and a name that only starts alike stay as they are.
    EXPECT_TRUE(contains(transitional, "<t>http://purl.oclc.org/ooxml/spreadsheetml/main</t>"));
    EXPECT_TRUE(contains(transitional, "\"http://purl.oclc.org/ooxml/spreadsheetmlx\""));
    EXPECT_EQ(translate_strict(transitional, false), strict);
    // A value that would turn into one of the longer names stays, so that both ways agree.
    const std::string odd =
        "\"http://purl.oclc.org/ooxml/officeDocument/relationships/extended-properties\"";
    EXPECT_EQ(translate_strict(odd, true), odd);
}

TEST(Strict, a_changed_workbook_is_written_strict_and_read_by_libreoffice) {
    const std::string source = corpus("odd/cal-strict_iso_paths.xlsx");
    if (!std::filesystem::exists(source)) GTEST_SKIP() << "no corpus";
    OpenBook b(source);
    ASSERT_NE(b.book, nullptr) << b.error;
    xl::Worksheet* ws = b.book->worksheet(1);
    ASSERT_TRUE(ws->check());
    xl::ReplaceOptions o;
    o.what = "Thickness";
    o.replacement = "厚さ";
    auto replaced = ws->cells().replace(o);
    ASSERT_TRUE(replaced);
    EXPECT_TRUE(*replaced);
    auto added = b.book->add_worksheet(nullptr, ws);
    ASSERT_TRUE(added);
    ASSERT_TRUE((*added)->set_cell_value({1, 1}, std::string("追加")));
    // Saved over itself, as a run saves.
    ASSERT_TRUE(b.book->save_as(b.path, xl::xlOpenXMLWorkbook));

    for (const std::string& part : {std::string("xl/workbook.xml"), std::string("xl/_rels/workbook.xml.rels"),
                                    std::string("xl/sharedStrings.xml"), std::string("xl/worksheets/sheet2.xml"),
                                    std::string("_rels/.rels"), std::string("docProps/app.xml")}) {
        SCOPED_TRACE(part);
        const std::string bytes = raw_part(b.path, part);
        EXPECT_FALSE(contains(bytes, "schemas.openxmlformats.org/spreadsheetml")) << bytes;
        EXPECT_FALSE(contains(bytes, "schemas.openxmlformats.org/officeDocument/2006/relationships"))
            << bytes;
    }
    EXPECT_TRUE(contains(raw_part(b.path, "xl/_rels/workbook.xml.rels"),
                         "http://purl.oclc.org/ooxml/officeDocument/relationships/worksheet\" "
                         "Target=\"worksheets/sheet2.xml\""));
    // What the change did not touch keeps its bytes.
    for (const char* part : {"xl/styles.xml", "xl/theme/theme1.xml", "docProps/core.xml"})
        EXPECT_EQ(raw_part(b.path, part), raw_part(source, part)) << part;

    OpenBook again(b.path, "again.xlsx");
    ASSERT_NE(again.book, nullptr) << again.error;
    EXPECT_EQ(again.names()[1], (*added)->name());
    std::string where;
    xl::Worksheet* first_sheet = again.book->worksheet(1);
    first_sheet->for_each_cell(first_sheet->used_range(), [&](xl::CellRef c) {
        if (first_sheet->cell_text(c) == "厚さ")
            where = xl::format_address({c.row, c.col, c.row, c.col}, false, false);
        EXPECT_NE(first_sheet->cell_text(c), "Thickness");
    });
    ASSERT_FALSE(where.empty());

    if (!office_available()) GTEST_SKIP() << "LibreOffice is not installed";
    OfficeDump dump = office_dump({b.path});
    const OfficeSheet* first = office_sheet(dump, b.path, b.names()[0]);
    ASSERT_NE(first, nullptr) << "LibreOffice could not read the strict workbook";
    ASSERT_TRUE(first->cells.count(where));
    EXPECT_EQ(first->cells.at(where).second, "厚さ");
    const OfficeSheet* second = office_sheet(dump, b.path, b.names()[1]);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->cells.at("A1").second, "追加");
}

TEST(Strict, every_strict_workbook_of_the_corpus_opens) {
    for (const char* file : {"odd/cal-strict_iso_paths.xlsx", "odd/sjs-sheet_visibility_strict.xlsx"}) {
        const std::string path = corpus(file);
        if (!std::filesystem::exists(path)) continue;
        auto app = xl::native::create_application();
        auto book = app->workbooks().open(path, true);
        ASSERT_TRUE(book) << file << ": " << book.error().message;
        for (int i = 1; i <= (*book)->worksheet_count(); ++i)
            EXPECT_TRUE((*book)->worksheet(i)->check()) << file << " sheet " << i;
    }
}

}  // namespace
}  // namespace sheaflow::testing
