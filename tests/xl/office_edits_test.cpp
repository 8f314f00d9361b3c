// Which changes to a workbook read through the office can be told to the office as cell values,
// and which must go the long way (the office reading the whole package).

#include "xl/native/office_edits.h"

#include <gtest/gtest.h>

#include "engine_helpers.h"
#include "hostile_books.h"

namespace sheaflow::xl::native {
namespace {

using testing::EngineTempDir;
using testing::sheet_xml;

const std::string kRows =
    "<row r=\"1\"><c r=\"A1\" t=\"s\"><v>0</v></c><c r=\"B1\"><v>5</v></c>"
    "<c r=\"C1\" t=\"b\"><v>1</v></c><c r=\"D1\" s=\"1\"><v>7</v></c>"
    "<c r=\"E1\" t=\"e\"><v>#N/A</v></c></row>"
    "<row r=\"2\"><c r=\"A2\"><f>B1*2</f><v>10</v></c><c r=\"B2\" t=\"s\"><v>1</v></c></row>";
const std::string kStrings =
    std::string("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n<sst xmlns=\"") +
    testing::kMainNs +
    "\"><si><t>東京</t></si><si><r><t>ri</t></r><r><rPr><b/></rPr><t>ch</t></r></si></sst>";

struct Case {
    const char* what;
    std::string rows;     // the sheet's new rows ("" leaves the sheet)
    std::string strings;  // the new string table ("" leaves it)
    bool told;            // told as cell values
    std::string edits;    // "A1=t:text B1=n:6.5 C1=c"
};

std::string describe(const std::vector<OfficeCellEdit>& edits) {
    std::string out;
    for (const OfficeCellEdit& e : edits) {
        if (!out.empty()) out += ' ';
        out += std::string(1, static_cast<char>('A' + e.col - 1)) + std::to_string(e.row) + "=";
        switch (e.kind) {
            case OfficeCellEdit::Kind::Text:
                out += "t:" + e.text;
                break;
            case OfficeCellEdit::Kind::Number:
                out += "n:" + std::to_string(e.number);
                break;
            case OfficeCellEdit::Kind::Clear:
                out += "c";
                break;
        }
    }
    return out;
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    text.replace(text.find(from), from.size(), to);
    return text;
}

TEST(OfficeEdits, PlainValueChangesAreToldAndEverythingElseGoesTheLongWay) {
    const std::string sst_plain = replaced(kStrings, "東京", "とうきょう");
    const std::vector<Case> cases = {
        {"a shared text changed; the truth value and the error stay", "", sst_plain, true,
         "A1=t:とうきょう"},
        {"a number", replaced(kRows, "<v>5</v>", "<v>6.5</v>"), "", true, "B1=n:6.500000"},
        {"a cell of the default format cleared away",
         replaced(kRows, "<c r=\"B1\"><v>5</v></c>", ""), "", true, "B1=c"},
        {"a new cell of the default format",
         replaced(kRows, "</row><row r=\"2\">",
                  "<c r=\"F1\" t=\"inlineStr\"><is><t>new</t></is></c></row><row r=\"2\">"),
         "", true, "F1=t:new"},
        {"a text with runs becomes plain",
         replaced(kRows, "<c r=\"B2\" t=\"s\"><v>1</v>", "<c r=\"B2\" t=\"s\"><v>0</v>"), "", true,
         "B2=t:東京"},
        {"a formatted cell removed", replaced(kRows, "<c r=\"D1\" s=\"1\"><v>7</v></c>", ""), "",
         false, ""},
        {"a format changed", replaced(kRows, "<c r=\"D1\" s=\"1\">", "<c r=\"D1\" s=\"2\">"), "",
         false, ""},
        {"a formula changed", replaced(kRows, "B1*2", "B1*3"), "", false, ""},
        {"a truth value changed", replaced(kRows, "t=\"b\"><v>1</v>", "t=\"b\"><v>0</v>"), "",
         false, ""},
        {"a text given runs",
         replaced(kRows, "<c r=\"A1\" t=\"s\"><v>0</v>", "<c r=\"A1\" t=\"s\"><v>1</v>"), "", false,
         ""},
        {"runs changed", "", replaced(kStrings, "<b/>", "<i/>"), false, ""},
        {"a row added", kRows + "<row r=\"3\"><c r=\"A3\"><v>1</v></c></row>", "", false, ""},
    };
    EngineTempDir dir;
    const std::string path = dir.file("book.xlsx");
    ASSERT_TRUE(testing::write_book(path, {sheet_xml(kRows)}, kStrings));
    const std::vector<OfficeSheet> sheets{{"Sheet1", "xl/worksheets/sheet1.xml"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        auto pkg = Package::open_file(path);
        ASSERT_TRUE(pkg.has_value());
        if (!c.rows.empty()) (*pkg)->write("xl/worksheets/sheet1.xml", sheet_xml(c.rows));
        if (!c.strings.empty()) (*pkg)->write("xl/sharedStrings.xml", c.strings);
        auto edits = office_cell_edits(**pkg, sheets, "xl/workbook.xml", "xl/sharedStrings.xml");
        ASSERT_EQ(edits.has_value(), c.told);
        if (edits) {
            EXPECT_EQ(describe(*edits), c.edits);
        }
    }

    // Outside the sheets and the string table, any other part changed goes the long way; one
    // written back as it was does not count.
    auto pkg = Package::open_file(path);
    ASSERT_TRUE(pkg.has_value());
    auto rels = (*pkg)->read("_rels/.rels");
    ASSERT_TRUE(rels.has_value());
    (*pkg)->write("_rels/.rels", *rels);
    auto same = office_cell_edits(**pkg, sheets, "xl/workbook.xml", "xl/sharedStrings.xml");
    ASSERT_TRUE(same.has_value());
    EXPECT_TRUE(same->empty());
    (*pkg)->write("_rels/.rels", *rels + " ");
    EXPECT_FALSE(office_cell_edits(**pkg, sheets, "xl/workbook.xml", "xl/sharedStrings.xml"));
}

}  // namespace
}  // namespace sheaflow::xl::native
