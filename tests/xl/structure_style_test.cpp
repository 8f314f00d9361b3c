// Merging the formats of a copied sheet into another workbook's style table.

#include <gtest/gtest.h>

#include <pugixml.hpp>

#include "xl/native/style_merge.h"

namespace sheaflow::xl::native {
namespace {

constexpr const char* kSource = R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<styleSheet xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main"><numFmts count="2"><numFmt numFmtId="164" formatCode="0.000"/><numFmt numFmtId="165" formatCode="yyyy&quot;年&quot;"/></numFmts><fonts count="2"><font><sz val="11"/><name val="Calibri"/></font><font><b/><sz val="11"/><color rgb="FFFF0000"/><name val="Calibri"/></font></fonts><fills count="3"><fill><patternFill patternType="none"/></fill><fill><patternFill patternType="gray125"/></fill><fill><patternFill patternType="solid"><fgColor rgb="FFFFFF00"/></patternFill></fill></fills><borders count="1"><border><left/><right/><top/><bottom/><diagonal/></border></borders><cellStyleXfs count="2"><xf numFmtId="0" fontId="0" fillId="0" borderId="0"/><xf numFmtId="0" fontId="1" fillId="0" borderId="0"/></cellStyleXfs><cellXfs count="4"><xf numFmtId="0" fontId="0" fillId="0" borderId="0" xfId="0"/><xf numFmtId="164" fontId="1" fillId="0" borderId="0" xfId="0" applyNumberFormat="1"/><xf numFmtId="165" fontId="0" fillId="2" borderId="0" xfId="0"/><xf numFmtId="0" fontId="1" fillId="0" borderId="0" xfId="1"/></cellXfs><cellStyles count="2"><cellStyle name="Normal" xfId="0" builtinId="0"/><cellStyle name="Loud" xfId="1"/></cellStyles><dxfs count="2"><dxf><font><b/></font></dxf><dxf><fill><patternFill><bgColor rgb="FF00FF00"/></patternFill></fill></dxf></dxfs></styleSheet>)";

// A destination with the spreadsheet namespace on a prefix, a format "0.000" of its own under
// another number, and the same bold differential format.
constexpr const char* kDestination = R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<x:styleSheet xmlns:x="http://schemas.openxmlformats.org/spreadsheetml/2006/main"><x:numFmts count="1"><x:numFmt numFmtId="170" formatCode="0.000"/></x:numFmts><x:fonts count="1"><x:font><x:sz val="11"/><x:name val="Calibri"/></x:font></x:fonts><x:fills count="2"><x:fill><x:patternFill patternType="none"/></x:fill><x:fill><x:patternFill patternType="gray125"/></x:fill></x:fills><x:borders count="1"><x:border><x:left/><x:right/><x:top/><x:bottom/><x:diagonal/></x:border></x:borders><x:cellStyleXfs count="1"><x:xf numFmtId="0" fontId="0" fillId="0" borderId="0"/></x:cellStyleXfs><x:cellXfs count="1"><x:xf numFmtId="0" fontId="0" fillId="0" borderId="0" xfId="0"/></x:cellXfs><x:cellStyles count="1"><x:cellStyle name="Normal" xfId="0" builtinId="0"/></x:cellStyles><x:dxfs count="1"><x:dxf><x:font><x:b/></x:font></x:dxf></x:dxfs></x:styleSheet>)";

pugi::xml_node list(const pugi::xml_document& d, const char* name) {
    return d.document_element().child(name);
}

TEST(StyleMerge, AddsOnlyWhatTheDestinationLacksAndMapsEveryReference) {
    StyleMerge m;
    ASSERT_TRUE(m.load(kSource, kDestination).has_value());
    EXPECT_EQ(m.cell_format(0), 0u);  // equal content: the destination's default format
    std::uint32_t bold = m.cell_format(1);
    std::uint32_t yellow = m.cell_format(2);
    std::uint32_t loud = m.cell_format(3);
    EXPECT_EQ(m.cell_format(1), bold);  // asked twice, added once
    EXPECT_EQ(bold, 1u);
    EXPECT_EQ(yellow, 2u);
    EXPECT_EQ(loud, 3u);
    EXPECT_EQ(m.differential_format(0), 0u);
    EXPECT_EQ(m.differential_format(1), 1u);
    EXPECT_EQ(m.cell_format(99), 0u);  // an index the source does not have
    ASSERT_TRUE(m.changed());

    pugi::xml_document out;
    std::string xml = m.destination_xml();
    ASSERT_TRUE(out.load_string(xml.c_str()));
    auto xfs = list(out, "x:cellXfs");
    EXPECT_STREQ(xfs.attribute("count").value(), "4");
    // "0.000" exists in the destination as 170; the year format gets the next free number.
    pugi::xml_node xf1 = xfs.first_child().next_sibling();
    EXPECT_STREQ(xf1.attribute("numFmtId").value(), "170");
    EXPECT_STREQ(xf1.attribute("fontId").value(), "1");
    pugi::xml_node xf2 = xf1.next_sibling();
    EXPECT_STREQ(xf2.attribute("numFmtId").value(), "171");
    EXPECT_STREQ(xf2.attribute("fillId").value(), "2");
    EXPECT_STREQ(list(out, "x:numFmts").last_child().attribute("formatCode").value(), "yyyy\"年\"");
    // The named style came along with its own style format; copied elements took the prefix.
    pugi::xml_node named = list(out, "x:cellStyles").last_child();
    EXPECT_STREQ(named.name(), "x:cellStyle");
    EXPECT_STREQ(named.attribute("name").value(), "Loud");
    EXPECT_STREQ(xfs.last_child().attribute("xfId").value(), named.attribute("xfId").value());
    EXPECT_STREQ(list(out, "x:fonts").last_child().first_child().name(), "x:b");
    EXPECT_STREQ(list(out, "x:dxfs").attribute("count").value(), "2");
}

TEST(StyleMerge, DestinationWithoutStylesGetsAWholeTable) {
    StyleMerge m;
    ASSERT_TRUE(m.load(kSource, "").has_value());
    EXPECT_NE(m.cell_format(0), m.cell_format(1));
    EXPECT_TRUE(m.changed());
    pugi::xml_document out;
    ASSERT_TRUE(out.load_string(m.destination_xml().c_str()));
    EXPECT_STREQ(list(out, "numFmts").first_child().attribute("numFmtId").value(), "164");
}

TEST(StyleMerge, BuiltInNumbersThatTheSourceRedefinesKeepTheirCode) {
    // Some programs write a format under a built-in number (59 here is not "m/d" in the
    // application's table); the destination must get the code, not the number.
    const char* source =
        R"(<styleSheet xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main">)"
        R"(<numFmts count="2"><numFmt numFmtId="0" formatCode="General"/>)"
        R"(<numFmt numFmtId="59" formatCode="m/d"/></numFmts><fonts count="1"><font/></fonts>)"
        R"(<fills count="1"><fill/></fills><borders count="1"><border/></borders>)"
        R"(<cellXfs count="2"><xf numFmtId="0" fontId="0" fillId="0" borderId="0"/>)"
        R"(<xf numFmtId="59" fontId="0" fillId="0" borderId="0"/></cellXfs></styleSheet>)";
    StyleMerge m;
    ASSERT_TRUE(m.load(source, kDestination).has_value());
    std::uint32_t dated = m.cell_format(1);
    std::uint32_t general = m.cell_format(0);
    pugi::xml_document out;
    ASSERT_TRUE(out.load_string(m.destination_xml().c_str()));
    pugi::xml_node xf = list(out, "x:cellXfs").first_child();
    for (std::uint32_t i = 0; i < dated; ++i) xf = xf.next_sibling();
    EXPECT_STREQ(xf.attribute("numFmtId").value(), "171");
    EXPECT_STREQ(list(out, "x:numFmts").last_child().attribute("formatCode").value(), "m/d");
    // "General" under its own number stays number 0.
    xf = list(out, "x:cellXfs").first_child();
    for (std::uint32_t i = 0; i < general; ++i) xf = xf.next_sibling();
    EXPECT_STREQ(xf.attribute("numFmtId").value(), "0");
}

TEST(StyleMerge, RefusesBrokenParts) {
    StyleMerge m;
    EXPECT_FALSE(m.load("<styleSheet>", kDestination).has_value());
    EXPECT_FALSE(m.load(kSource, "<worksheet/>").has_value());
}

}  // namespace
}  // namespace sheaflow::xl::native
