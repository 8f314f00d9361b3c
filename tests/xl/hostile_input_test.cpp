// Damaged and hostile workbooks, built here part by part: each is read as the application reads
// it or refused with one error, and never comes out of a change with data moved or lost.

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <pugixml.hpp>

#include "engine_helpers.h"
#include "hostile_books.h"
#include "util/text.h"
#include "xl/native/engine.h"
#include "xl/native/worksheet_part.h"

namespace sheaflow::xl::native {
namespace {

using testing::EngineTempDir;
using testing::sheet_xml;
using testing::sst_xml;
using testing::write_book;

// Two string cells and a number.
const std::string kStringRows =
    "<row r=\"1\"><c r=\"A1\" t=\"s\"><v>0</v></c></row>"
    "<row r=\"2\"><c r=\"A2\" t=\"s\"><v>1</v></c><c r=\"B2\"><v>7</v></c></row>";

Result<bool> replace_all(Worksheet& ws, const std::string& what, const std::string& with) {
    ReplaceOptions o;
    o.what = what;
    o.replacement = with;
    return ws.cells().replace(o);
}

// Every XML part of a saved package is well formed.
std::string malformed_part(const std::string& path) {
    auto pkg = Package::open_file(path);
    if (!pkg) return "cannot open";
    for (const std::string& name : (*pkg)->part_names()) {
        std::string lower = text::lower(name);
        if (!lower.ends_with(".xml") && !lower.ends_with(".rels") && !lower.ends_with(".vml"))
            continue;
        auto bytes = (*pkg)->read(name);
        pugi::xml_document doc;
        if (!bytes || !doc.load_buffer(bytes->data(), bytes->size())) return name;
    }
    return {};
}

TEST(HostileStrings, an_unreadable_string_table_refuses_the_sheets_and_is_never_rewritten) {
    const std::string good = sst_xml({"alpha", "beta"});
    struct Case {
        const char* name;
        std::string sst;
    } cases[] = {
        {"truncated", good.substr(0, good.size() - 12)},
        {"trailing junk", good + "garbage"},
        {"second root", good + "<sst/>"},
        {"doctype", "<?xml version=\"1.0\"?><!DOCTYPE sst [<!ENTITY e \"x\">]>" +
                        good.substr(good.find("<sst"))},
        {"not a table", "<?xml version=\"1.0\"?><table><si><t>alpha</t></si></table>"},
        {"bad bytes for its encoding",
         "<?xml version=\"1.0\" encoding=\"Shift_JIS\"?><sst xmlns=\"" +
             std::string(testing::kMainNs) + "\"><si><t>\x81\xFF</t></si></sst>"},
        {"unknown encoding", "<?xml version=\"1.0\" encoding=\"x-none\"?>" +
                                 good.substr(good.find("<sst"))},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EngineTempDir dir;
        const std::string path = dir.file("book.xlsx");
        // The second sheet holds no strings: it reads, but a string put in it cannot be saved.
        ASSERT_TRUE(write_book(path, {sheet_xml(kStringRows), sheet_xml("")}, c.sst));
        const std::string before = testing::read_file(path);
        auto app = create_application();
        auto book = app->workbooks().open(path, false);
        ASSERT_TRUE(book) << book.error().message;
        Worksheet* ws = (*book)->worksheet(1);
        auto check = ws->check();
        ASSERT_FALSE(check);
        EXPECT_NE(check.error().message.find("sharedStrings.xml"), std::string::npos)
            << check.error().message;
        EXPECT_FALSE(replace_all(*ws, "a", "b"));
        Worksheet* other = (*book)->worksheet(2);
        ASSERT_TRUE(other->check());
        ASSERT_TRUE(other->set_cell_value({1, 1}, std::string("new")));
        EXPECT_FALSE((*book)->save_as(path, xlOpenXMLWorkbook));
        EXPECT_EQ(testing::read_file(path), before);
    }
}

std::string utf16(const std::string& utf8, bool big_endian, bool bom) {
    std::string out;
    auto put = [&](char16_t u) {
        char hi = static_cast<char>(u >> 8), lo = static_cast<char>(u & 0xFF);
        out += big_endian ? hi : lo;
        out += big_endian ? lo : hi;
    };
    if (bom) put(0xFEFF);
    for (char32_t c : text::to_u32(utf8)) {
        if (c >= 0x10000) {
            put(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
            put(static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
        } else {
            put(static_cast<char16_t>(c));
        }
    }
    return out;
}

TEST(HostileStrings, a_table_in_another_encoding_is_read_and_written_back_as_utf8) {
    auto declared = [](const char* encoding) {
        std::string s = sst_xml({"東京都", "大阪府"});
        return text::replace_all(s, "encoding=\"UTF-8\"", std::string("encoding=\"") + encoding +
                                                              "\"");
    };
    struct Case {
        const char* name;
        std::string sst;
    } cases[] = {
        {"UTF-16LE with BOM", utf16(declared("UTF-16"), false, true)},
        {"UTF-16BE without BOM", utf16(declared("UTF-16"), true, false)},
        {"Shift_JIS", text::to_cp932(declared("Shift_JIS"))},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EngineTempDir dir;
        const std::string path = dir.file("book.xlsx");
        ASSERT_TRUE(write_book(path, {sheet_xml(kStringRows)}, c.sst));
        auto app = create_application();
        auto book = app->workbooks().open(path, false);
        ASSERT_TRUE(book);
        Worksheet* ws = (*book)->worksheet(1);
        ASSERT_TRUE(ws->check());
        EXPECT_EQ(ws->cell_text({1, 1}), "東京都");
        EXPECT_EQ(ws->cell_text({2, 1}), "大阪府");
        ASSERT_TRUE(replace_all(*ws, "府", "市"));
        ASSERT_TRUE(ws->set_cell_value({3, 1}, std::string("京都")));
        ASSERT_TRUE((*book)->save_as(dir.file("out.xlsx"), xlOpenXMLWorkbook));
        EXPECT_EQ(malformed_part(dir.file("out.xlsx")), "");
        auto again = app->workbooks().open(dir.file("out.xlsx"), true);
        ASSERT_TRUE(again);
        Worksheet* ws2 = (*again)->worksheet(1);
        EXPECT_EQ(ws2->cell_text({1, 1}), "東京都");
        EXPECT_EQ(ws2->cell_text({2, 1}), "大阪市");
        EXPECT_EQ(ws2->cell_text({3, 1}), "京都");
    }
}

TEST(HostileStrings, an_index_beyond_the_table_refuses_the_sheet) {
    for (const char* index : {"2", "2147483647", "4294967295"}) {
        SCOPED_TRACE(index);
        EngineTempDir dir;
        const std::string path = dir.file("book.xlsx");
        ASSERT_TRUE(write_book(
            path, {sheet_xml(std::string("<row r=\"1\"><c r=\"A1\" t=\"s\"><v>") + index +
                             "</v></c></row>")},
            sst_xml({"a", "b"})));
        auto app = create_application();
        auto book = app->workbooks().open(path, false);
        ASSERT_TRUE(book);
        Worksheet* ws = (*book)->worksheet(1);
        auto check = ws->check();
        ASSERT_FALSE(check);
        EXPECT_NE(check.error().message.find("範囲外"), std::string::npos)
            << check.error().message;
        FindSpec criteria;
        criteria.what = "a";
        EXPECT_FALSE(ws->find(ws->used_range(), criteria, std::nullopt));
    }
}

// What a sheet whose rows are given as `rows` reads as: "refused" or "A1=x B2=y ...".
std::string read_as(const std::string& rows) {
    EngineTempDir dir;
    const std::string path = dir.file("book.xlsx");
    if (!write_book(path, {sheet_xml(rows)}, sst_xml({"s0", "s1"}))) return "not written";
    auto app = create_application();
    auto book = app->workbooks().open(path, true);
    if (!book) return "not opened";
    Worksheet* ws = (*book)->worksheet(1);
    if (!ws->check()) return "refused";
    std::string out;
    ws->for_each_cell(ws->used_range(), [&](CellRef c) {
        std::string t = ws->cell_text(c);
        if (t.empty()) return;
        if (!out.empty()) out += ' ';
        out += format_address(Area{c.row, c.col, c.row, c.col}, false, false) + "=" + t;
    });
    return out;
}

TEST(HostileCells, references_are_read_as_written_or_refused) {
    struct Case {
        const char* rows;
        const char* expected;
    } cases[] = {
        // Without references: one after the other, rows and cells.
        {"<row><c><v>1</v></c><c><v>2</v></c></row><row><c t=\"s\"><v>1</v></c></row>",
         "A1=1 B1=2 A2=s1"},
        {"<row r=\"3\"><c r=\"XFD3\"><v>1</v></c></row>", "XFD3=1"},
        {"<row r=\"1048576\"><c r=\"A1048576\"><v>1</v></c></row>", "A1048576=1"},
        {"<row r=\"3\"><c r=\"XFE3\"><v>1</v></c></row>", "refused"},
        {"<row r=\"3\"><c r=\"A7\"><v>1</v></c></row>", "refused"},
        {"<row r=\"0\"><c><v>1</v></c></row>", "refused"},
        {"<row r=\"-2\"><c><v>1</v></c></row>", "refused"},
        {"<row r=\"1048577\"><c><v>1</v></c></row>", "refused"},
        {"<row r=\"1\"><c r=\"A0\"><v>1</v></c></row>", "refused"},
        {"<row r=\"1\"><c r=\"1A\"><v>1</v></c></row>", "refused"},
        {"<row r=\"x\"><c><v>1</v></c></row>", "refused"},
        // Unordered rows and cells are read where they say.
        {"<row r=\"5\"><c r=\"B5\"><v>5</v></c><c r=\"A5\" t=\"s\"><v>0</v></c></row>"
         "<row r=\"2\"><c r=\"C2\"><v>2</v></c></row>",
         "C2=2 A5=s0 B5=5"},
        // Given twice: which one counts is not guessed.
        {"<row r=\"1\"><c r=\"A1\"><v>1</v></c><c r=\"A1\"><v>2</v></c></row>", "refused"},
        {"<row r=\"2\"><c r=\"B2\"><v>1</v></c><c r=\"A2\"><v>1</v></c><c r=\"B2\"><v>3</v></c>"
         "</row>",
         "refused"},
        {"<row r=\"1\"><c r=\"A1\"><v>1</v></c></row><row r=\"1\"><c r=\"B1\"><v>2</v></c></row>",
         "refused"},
    };
    for (const Case& c : cases) EXPECT_EQ(read_as(c.rows), c.expected) << c.rows;
    // Cells without references past the last column.
    std::string wide = "<row r=\"1\">";
    for (int i = 0; i < 16385; ++i) wide += "<c><v>1</v></c>";
    EXPECT_EQ(read_as(wide + "</row>"), "refused");
}

TEST(HostileCells, unordered_rows_are_replaced_in_place_and_keep_their_attributes) {
    EngineTempDir dir;
    const std::string path = dir.file("book.xlsx");
    const std::string rows =
        "<row r=\"5\" ht=\"30\" customHeight=\"1\"><c r=\"A5\" t=\"s\"><v>0</v></c></row>"
        "<row r=\"2\" hidden=\"1\"><c r=\"B2\" t=\"s\"><v>1</v></c><c r=\"A2\" t=\"s\"><v>0</v></c>"
        "</row><row><c r=\"A3\"><v>3</v></c></row>";
    ASSERT_TRUE(write_book(path, {sheet_xml(rows)}, sst_xml({"old", "keep"})));
    auto app = create_application();
    auto book = app->workbooks().open(path, false);
    ASSERT_TRUE(book);
    Worksheet* ws = (*book)->worksheet(1);
    ASSERT_TRUE(ws->set_cell_value({6, 1}, std::string("old too")));
    ASSERT_TRUE(replace_all(*ws, "old", "new"));
    ASSERT_TRUE((*book)->save_as(dir.file("out.xlsx"), xlOpenXMLWorkbook));
    EXPECT_EQ(malformed_part(dir.file("out.xlsx")), "");
    std::string part = *(*Package::open_file(dir.file("out.xlsx")))->read("xl/worksheets/sheet1.xml");
    // In order now, each row with its own attributes, the row without a number given it.
    auto at = [&](const char* s) { return part.find(s); };
    ASSERT_NE(at("<row r=\"2\" hidden=\"1\">"), std::string::npos) << part;
    ASSERT_NE(at("<row r=\"3\">"), std::string::npos) << part;
    ASSERT_NE(at("<row r=\"5\" ht=\"30\" customHeight=\"1\">"), std::string::npos) << part;
    EXPECT_LT(at("<row r=\"2\""), at("<row r=\"3\""));
    EXPECT_LT(at("<row r=\"3\""), at("<row r=\"5\""));
    auto again = app->workbooks().open(dir.file("out.xlsx"), true);
    ASSERT_TRUE(again);
    Worksheet* ws2 = (*again)->worksheet(1);
    EXPECT_EQ(ws2->cell_text({2, 1}), "new");
    EXPECT_EQ(ws2->cell_text({2, 2}), "keep");
    EXPECT_EQ(ws2->cell_text({3, 1}), "3");
    EXPECT_EQ(ws2->cell_text({5, 1}), "new");
    EXPECT_EQ(ws2->cell_text({6, 1}), "new too");
}

TEST(HostileCells, a_sheet_over_the_cell_limit_is_refused_and_empty_cells_are_not_counted) {
    const std::uint64_t saved = cell_limit();
    set_cell_limit(1000);
    std::string styled = "<row r=\"1\">", empty = "<row r=\"1\">";
    for (int i = 0; i < 1001; ++i) {
        styled += "<c s=\"1\"/>";
        empty += "<c/>";
    }
    std::string empty_then_value = empty + "<c><v>9</v></c></row>";
    EXPECT_EQ(read_as(styled + "</row>"), "refused");
    EXPECT_EQ(read_as(empty_then_value), "ALN1=9");
    set_cell_limit(saved);
}

// `rows` rows of ten numbered cells.
std::string number_rows(int rows) {
    std::string out;
    for (int r = 1; r <= rows; ++r) {
        out += "<row r=\"" + std::to_string(r) + "\">";
        for (int c = 0; c < 10; ++c) out += "<c><v>" + std::to_string(c) + "</v></c>";
        out += "</row>";
    }
    return out;
}

TEST(HostileMemory, the_whole_workbook_stays_within_the_cell_limit) {
    const std::uint64_t saved = cell_limit();
    set_cell_limit(1000);
    EngineTempDir dir;
    // Three sheets of 330 cells and rows each: together past the limit, one at a time within.
    const std::string three = dir.file("three.xlsx");
    ASSERT_TRUE(write_book(three, {sheet_xml(number_rows(30)), sheet_xml(number_rows(30)),
                                   sheet_xml(number_rows(30))}));
    {
        auto app = create_application();
        auto book = app->workbooks().open(three, false);
        ASSERT_TRUE(book);
        for (int i = 1; i <= 3; ++i) {
            SCOPED_TRACE(i);
            Worksheet* ws = (*book)->worksheet(i);
            ASSERT_TRUE(ws->check());
            EXPECT_EQ(ws->cell_text({30, 10}), "9");
        }
        // A changed sheet keeps its cells; the unchanged ones give theirs up and read again.
        ASSERT_TRUE((*book)->worksheet(1)->set_cell_value({1, 1}, 5.0));
        for (int i : {2, 3, 2}) ASSERT_TRUE((*book)->worksheet(i)->check()) << i;
        EXPECT_EQ((*book)->worksheet(1)->cell_text({1, 1}), "5");
        ASSERT_TRUE((*book)->save_as(dir.file("three-out.xlsx"), xlOpenXMLWorkbook));
    }
    // Two sheets of 660: with the first changed, the second does not fit beside it.
    const std::string two = dir.file("two.xlsx");
    ASSERT_TRUE(write_book(two, {sheet_xml(number_rows(60)), sheet_xml(number_rows(60))}));
    auto app = create_application();
    auto book = app->workbooks().open(two, false);
    ASSERT_TRUE(book);
    ASSERT_TRUE((*book)->worksheet(1)->set_cell_value({1, 1}, 5.0));
    auto refused = (*book)->worksheet(2)->check();
    ASSERT_FALSE(refused);
    EXPECT_NE(refused.error().message.find("ブック全体のセルの数が上限（1000 個）を超えています"),
              std::string::npos)
        << refused.error().message;
    set_cell_limit(saved);
}

TEST(HostileMemory, millions_of_cells_without_references_are_refused_within_a_memory_limit) {
    // Four million cells without references in a file of a few hundred kilobytes.
    EngineTempDir dir;
    const std::string path = dir.file("many.xlsx");
    {
        std::string row = "<row>";
        for (int c = 0; c < 1000; ++c) row += "<c><v>1</v></c>";
        row += "</row>";
        std::string rows;
        rows.reserve(row.size() * 4000);
        for (int r = 0; r < 4000; ++r) rows += row;
        ASSERT_TRUE(write_book(path, {sheet_xml(rows)}));
    }
    // In a child process whose address space may grow by 300 MB only: the cells read whole
    // would need about twice that.
    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        set_cell_limit(1'000'000);
        rlimit lim{};
        ::getrlimit(RLIMIT_AS, &lim);
        std::string status;
        std::uint64_t vm_kb = 0;
        if (std::FILE* f = std::fopen("/proc/self/statm", "r")) {
            unsigned long pages = 0;
            if (std::fscanf(f, "%lu", &pages) == 1)
                vm_kb = pages * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE)) / 1024;
            std::fclose(f);
        }
        lim.rlim_cur = (vm_kb + 300 * 1024) * 1024;
        ::setrlimit(RLIMIT_AS, &lim);
        auto app = create_application();
        auto book = app->workbooks().open(path, true);
        if (!book) ::_exit(2);
        auto r = (*book)->worksheet(1)->check();
        ::_exit(!r && r.error().message.find("上限") != std::string::npos ? 0 : 3);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "the child died (signal " << WTERMSIG(status) << ")";
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(HostileNamespaces, every_part_keeps_its_prefixes_after_a_change) {
    EngineTempDir dir;
    // The macro sheet: <xm:macrosheet> around elements of the default namespace.
    const std::string macro = testing::corpus("xlsm/olet-excel4_sample_macro.xlsm");
    // A worksheet and a string table written with the "x:" prefix throughout.
    const std::string ns = testing::kMainNs;
    const std::string prefixed = dir.file("prefixed.xlsx");
    ASSERT_TRUE(write_book(
        prefixed,
        {"<x:worksheet xmlns:x=\"" + ns +
         "\"><x:sheetData><x:row r=\"1\"><x:c r=\"A1\" t=\"s\"><x:v>0</x:v></x:c></x:row>"
         "</x:sheetData></x:worksheet>"},
        "<x:sst xmlns:x=\"" + ns + "\" count=\"1\" uniqueCount=\"1\"><x:si><x:t>sample</x:t></x:si>"
                                   "</x:sst>"));
    for (const std::string& path : {macro, prefixed}) {
        SCOPED_TRACE(path);
        auto app = create_application();
        auto book = app->workbooks().open(path, false);
        if (!book && path == macro) GTEST_SKIP() << "no corpus";
        ASSERT_TRUE(book) << book.error().message;
        Worksheet* ws = (*book)->worksheet(1);
        ASSERT_TRUE(replace_all(*ws, "sample", "trial"));
        ASSERT_TRUE(ws->set_cell_value({5, 3}, std::string("added")));
        const std::string out = dir.file("out" + std::string(path == macro ? ".xlsm" : ".xlsx"));
        ASSERT_TRUE((*book)->save_as(out, path == macro ? xlOpenXMLWorkbookMacroEnabled
                                                        : xlOpenXMLWorkbook));
        EXPECT_EQ(malformed_part(out), "");
        auto again = app->workbooks().open(out, true);
        ASSERT_TRUE(again) << again.error().message;
        Worksheet* ws2 = (*again)->worksheet(1);
        ASSERT_TRUE(ws2->check());
        EXPECT_EQ(ws2->cell_text({5, 3}), "added");
        if (path == prefixed) {
            EXPECT_EQ(ws2->cell_text({1, 1}), "trial");
        }
    }
}

// After a change to every worksheet of every corpus workbook, each part is still well formed and
// the engine reads the result.
TEST(HostileNamespaces, corpus_workbooks_stay_well_formed_after_a_change) {
    auto files = testing::corpus_files("xlsx", {".xlsx"});
    auto macro = testing::corpus_files("xlsm", {".xlsm"});
    files.insert(files.end(), macro.begin(), macro.end());
    if (files.empty()) GTEST_SKIP() << "no corpus";
    EngineTempDir dir;
    int n = 0;
    for (const std::string& f : files) {
        SCOPED_TRACE(f);
        auto app = create_application();
        auto book = app->workbooks().open(f, false);
        if (!book) continue;  // refusals are the corpus test's business
        bool changed = false;
        for (int i = 1; i <= (*book)->worksheet_count(); ++i) {
            Worksheet* ws = (*book)->worksheet(i);
            if (!ws->check()) continue;
            Area used = ws->used_range();
            (void)replace_all(*ws, "e", "E");
            if (used.last_row < ws->rows_count())
                changed = ws->set_cell_value({used.last_row + 1, 1}, std::string("x & <y>")) ||
                          changed;
        }
        if (!changed) continue;
        bool macro_book = f.ends_with(".xlsm");
        std::string out = dir.file("out" + std::to_string(n++) + (macro_book ? ".xlsm" : ".xlsx"));
        auto saved =
            (*book)->save_as(out, macro_book ? xlOpenXMLWorkbookMacroEnabled : xlOpenXMLWorkbook);
        ASSERT_TRUE(saved) << saved.error().message;
        EXPECT_EQ(malformed_part(out), "");
        auto again = app->workbooks().open(out, true);
        ASSERT_TRUE(again) << again.error().message;
        for (int i = 1; i <= (*again)->worksheet_count(); ++i)
            EXPECT_TRUE((*again)->worksheet(i)->check()) << i;
    }
    EXPECT_GT(n, 50);
}

}  // namespace
}  // namespace sheaflow::xl::native
