// The part readers and writers on inline XML: bad input refused, escapes kept, a changed
// worksheet written back with only its changed rows regenerated, and formula references moved.

#include <gtest/gtest.h>

#include "xl/native/formula.h"
#include "xl/native/shared_strings.h"
#include "xl/native/worksheet_part.h"
#include "xl/native/xml.h"

namespace sheaflow::xl::native {
namespace {

const std::string kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
    "<worksheet xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\">";

TEST(WorksheetPartParse, refuses_what_is_not_well_formed) {
    const char* bad[] = {
        "",
        "<worksheet><sheetData><row r=\"1\"><c r=\"A1\"><v>1</v></c></row></sheetData>",
        "<worksheet><sheetData><row><c><v>1</c></row></sheetData></worksheet>",
        "<worksheet><sheetData></row></sheetData></worksheet>",
        "<worksheet><sheetData><row r=\"1\"><c r=\"A1\" s=\"1></c></row></sheetData></worksheet>",
        "<worksheet><sheetData><row r=\"1\"><c r\"A1\"/></row></sheetData></worksheet>",
        "<!DOCTYPE x [<!ENTITY a \"aaaa\">]><worksheet><sheetData/></worksheet>",
        "<worksheet/><worksheet/>",
        "<worksheet><sheetData><row r=\"1\"><c r=\"A1\"><v>1</v></c></row></sheetData></sheet>",
        "<worksheet><![CDATA[never closed</worksheet>",
        "<worksheet><!-- never closed </worksheet>",
        "<worksheet><sheetData/><sheetData/></worksheet>",
        "<worksheet><sheetData/></worksheet>text after the root",
        "<worksheet><sheetData><row r=\"1\"><c r=\"A1\" t=\"s\"><v "
        "a=\"<\">1</v></c></row></sheetData></worksheet>",
    };
    for (const char* x : bad) {
        WorksheetPart p;
        EXPECT_FALSE(p.parse(x, "xl/worksheets/sheet1.xml")) << x;
    }
    // A byte-order mark before the declaration is fine.
    WorksheetPart bom;
    EXPECT_TRUE(bom.parse("\xEF\xBB\xBF" + kHead + "<sheetData/></worksheet>", "s"));
    // Odd but readable: unknown types read as empty, rows out of order are put in order.
    WorksheetPart p;
    ASSERT_TRUE(
        p.parse(kHead + "<sheetData><row r=\"3\"><c r=\"A3\"><v>1</v></c><c t=\"zz\"><v>2</v></c>"
                        "</row><row r=\"2\"><c r=\"B2\"><v>5</v></c></row></sheetData></worksheet>",
                "s"));
    EXPECT_EQ(p.table().rows.front().r, 2);
    ASSERT_NE(p.table().find(3, 1), nullptr);
    EXPECT_EQ(p.table().find(3, 2)->kind, CellKind::Blank);
}

TEST(WorksheetPartWrite, only_changed_rows_are_regenerated) {
    std::string original =
        kHead +
        "<sheetData>\n  <row r=\"1\" spans=\"1:2\" ht=\"20\" customHeight=\"1\">"
        "<c r=\"A1\" s=\"3\" cm=\"1\"><v>1</v></c>  <c r=\"B1\"><v>2</v></c></row>\n"
        "  <row r=\"2\"><c r=\"A2\" t=\"s\"><v>0</v><extLst><ext uri=\"x\"/></extLst></c></row>\n"
        "</sheetData><pageMargins left=\"1\"/></worksheet>";
    WorksheetPart p;
    ASSERT_TRUE(p.parse(original, "s"));
    EXPECT_EQ(p.serialize(), original);  // nothing changed, nothing rewritten
    Cell& c = p.table().touch(1, 4);
    c.kind = CellKind::Number;
    c.number = 0.1;
    Cell& a2 = p.table().touch(2, 1);
    a2.kind = CellKind::String;
    a2.text = p.table().add_text(" a<b&c\r");
    a2.flags |= Cell::kDirty;
    p.mark_dirty();
    std::string out = p.serialize();
    // Row 1: its attributes stay except the now wrong spans; its cells as written; D1 added.
    EXPECT_NE(
        out.find(
            "<row r=\"1\" ht=\"20\" customHeight=\"1\"><c r=\"A1\" s=\"3\" cm=\"1\"><v>1</v></c>"
            "<c r=\"B1\"><v>2</v></c><c r=\"D1\"><v>0.1</v></c></row>\n"),
        std::string::npos)
        << out;
    // Row 2: the changed cell keeps its unknown child; text escaped, CR kept as _x000D_.
    EXPECT_NE(out.find("<c r=\"A2\" t=\"inlineStr\"><is><t xml:space=\"preserve\"> "
                       "a&lt;b&amp;c_x000D_</t></is>"
                       "<extLst><ext uri=\"x\"/></extLst></c>"),
              std::string::npos)
        << out;
    EXPECT_NE(out.find("</sheetData><pageMargins left=\"1\"/></worksheet>"), std::string::npos);
    WorksheetPart again;
    ASSERT_TRUE(again.parse(out, "s"));
    EXPECT_EQ(again.table().text(again.table().find(2, 1)->text), " a<b&c\r");
    EXPECT_EQ(again.table().find(1, 4)->number, 0.1);
}

TEST(XmlSave, carriage_returns_and_the_declaration_survive) {
    std::string text =
        "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
        "<a b=\"x&#13;y\"><t> </t><t>1&#13;\n2</t><!-- c --><?pi data?></a>";
    xml::Document d;
    ASSERT_TRUE(xml::load(d, text, "a.xml"));
    std::string out = xml::save(d);
    EXPECT_EQ(out, text);
    xml::Document again;
    ASSERT_TRUE(xml::load(again, out, "a.xml"));
    EXPECT_STREQ(again.root().child("t").next_sibling("t").text().get(), "1\r\n2");
}

TEST(XmlEscapes, spreadsheet_string_escapes_round_trip) {
    for (std::string s : std::vector<std::string>{"plain", "_x000D_ literal", "tab\there",
                                                  std::string("nul\x01", 4), "a\rb"}) {
        EXPECT_EQ(xml::decode_ooxml_escapes(xml::encode_ooxml_escapes(s)), s) << s;
    }
    EXPECT_EQ(xml::decode_ooxml_escapes("_x0041__x3042_"), "Aあ");
    EXPECT_EQ(xml::set_attr(" a=\"1\" spans=\"1:2\" b='3'", "spans", std::nullopt),
              " a=\"1\" b=\"3\"");
    EXPECT_EQ(xml::set_attr(" a=\"1\"", "tabSelected", "1"), " a=\"1\" tabSelected=\"1\"");
}

TEST(SharedStringsTable, appends_and_rewrites_only_what_changed) {
    std::string x =
        "<?xml version=\"1.0\"?>\n<sst xmlns=\"m\" count=\"5\" uniqueCount=\"3\"><si><t>a</t></si>"
        "<si><r><t>b</t></r><r><t>c</t></r><rPh><t>ﾌﾘ</t></rPh></si><si/></sst>";
    SharedStrings s;
    ASSERT_TRUE(s.parse(x, "sst"));
    ASSERT_EQ(s.size(), 3u);
    EXPECT_EQ(s.at(1), "bc");
    EXPECT_EQ(s.at(2), "");
    EXPECT_EQ(s.intern("a"), 0u);
    EXPECT_EQ(s.intern("new"), 3u);
    s.add_references(2);
    s.set_text(1, "B");
    EXPECT_EQ(
        s.serialize(),
        "<?xml version=\"1.0\"?>\n<sst xmlns=\"m\" count=\"7\" uniqueCount=\"4\"><si><t>a</t></si>"
        "<si><t>B</t></si><si/><si><t>new</t></si></sst>");
}

TEST(FormulaShift, relative_references_move_and_the_rest_stays) {
    struct Case {
        const char* in;
        int rows, cols;
        const char* out;
    } cases[] = {
        {"A1*2", 1, 0, "A2*2"},
        {"$A$1+A$1+$A1", 2, 2, "$A$1+C$1+$A3"},
        {"SUM(A1:B2)", 1, 1, "SUM(B2:C3)"},
        {"SUM(A:A)+SUM(1:1)", 3, 1, "SUM(B:B)+SUM(4:4)"},
        {"'My Sheet'!A1&\"A1\"", 1, 0, "'My Sheet'!A2&\"A1\""},
        {"Sheet2!B3+LOG10(C1)", 0, 1, "Sheet2!C3+LOG10(D1)"},
        {"A1", -1, 0, "#REF!"},
        {"Table1[Col A]+A1", 1, 0, "Table1[Col A]+A2"},
        {"#N/A+A1", 1, 0, "#N/A+A2"},
        {"1.5E+3+A1", 1, 0, "1.5E+3+A2"},
    };
    for (const Case& c : cases) EXPECT_EQ(formula::shift(c.in, c.rows, c.cols), c.out) << c.in;
}

TEST(FormulaPlausible, refuses_unbalanced_text) {
    for (const char* ok : {"A1", "SUM(A1,B1)", "\"(\"&A1", "'a(b'!A1"})
        EXPECT_TRUE(formula::plausible(ok)) << ok;
    for (const char* bad : {"", "SUM(A1", "A1)", "\"open", "A1+", "{1,2"})
        EXPECT_FALSE(formula::plausible(bad)) << bad;
}

}  // namespace
}  // namespace sheaflow::xl::native
