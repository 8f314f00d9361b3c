// Row, column and range specifications: cleaning, parsing and the pane checks.
#include "address/address.h"

#include <gtest/gtest.h>

namespace sheaflow::address {
namespace {

TEST(Cleaning, KeepsWhatEachFormNeeds) {
    EXPECT_EQ(Address_Hensyu("$A$1:$C$5"), "A1:C5");
    EXPECT_EQ(Address_Hensyu_Gyo("$B$2:D9"), "2:9");
    EXPECT_EQ(Address_Hensyu_Gyo("行３"), "３");
    EXPECT_EQ(Address_Hensyu_Retu("$B$2:D9"), "B:D");
    EXPECT_EQ(Address_Hensyu_Retu("AA100"), "AA");
}

TEST(Cleaning, ColonListShortensEqualHalves) {
    EXPECT_EQ(Address_Hensyu_Colon("B2:B2"), "B2");
    EXPECT_EQ(Address_Hensyu_Colon("B2:C3,D4:D4"), "B2:C3,D4");
    EXPECT_EQ(Address_Hensyu_Colon("A1,B2:B3"), "A1,B2:B3");
    EXPECT_EQ(Address_Hensyu_Colon(""), "");
}

TEST(Parsing, RowsColumnsAndSheetPart) {
    struct Case {
        const char* text;
        std::int32_t r1, r2, c1, c2;
        const char* sheet;
    };
    const Case cases[] = {
        {"5", 5, 5, 0, 0, ""},
        {"3:7", 3, 7, 0, 0, ""},
        {"$3:$7", 3, 7, 0, 0, ""},
        {"$A$1:$C$5", 1, 5, 1, 3, ""},
        {"Sheet1!B2", 2, 2, 2, 2, "Sheet1!"},
        {"'売上 2024'!$AA$10:$AB$12", 10, 12, 27, 28, "'売上 2024'!"},
        {"B:D", 0, 0, 2, 4, ""},
        {"c", 0, 0, 3, 3, ""},
        {"xfd1048576", 1048576, 1048576, 16384, 16384, ""},
        {"3:", 3, 0, 0, 0, ""},
        {"", 0, 0, 0, 0, ""},
    };
    for (const Case& c : cases) {
        Parsed p = Address_To_GyoRetuNo(c.text);
        EXPECT_EQ(p.rows.start, c.r1) << c.text;
        EXPECT_EQ(p.rows.end, c.r2) << c.text;
        EXPECT_EQ(p.columns.start, c.c1) << c.text;
        EXPECT_EQ(p.columns.end, c.c2) << c.text;
        EXPECT_EQ(p.sheet, c.sheet) << c.text;
    }
}

TEST(Parsing, HugeNumbersAndNamesDoNotOverflow) {
    Span r = Address_To_GyoNo("99999999999999999999");
    EXPECT_EQ(r.start, INT32_MAX);
    EXPECT_FALSE(Check_Gyo(r.start, r.end));
    EXPECT_EQ(column_number("ZZZZZZZZZZZZZZZZZZZZ"), INT32_MAX);
    EXPECT_EQ(column_number("XFE"), 16385);
    EXPECT_EQ(column_number("Ａｂ"), 28);
    EXPECT_EQ(column_number("A-"), 0);
    EXPECT_EQ(column_number(""), 0);
}

TEST(RangeBounds, RowsAndColumnsAgainstTheGrid) {
    EXPECT_TRUE(Check_Gyo(1, 1048576));
    EXPECT_FALSE(Check_Gyo(1, 1048577));
    EXPECT_FALSE(Check_Gyo(0, 5));
    EXPECT_FALSE(Check_Gyo(6, 5));
    EXPECT_TRUE(Check_Gyo(5, 5, Maxima{5, 5}));
    EXPECT_TRUE(Check_Retu("a", "XFD"));
    EXPECT_FALSE(Check_Retu("A", "XFE"));
    EXPECT_FALSE(Check_Retu("D", "B"));
    EXPECT_FALSE(Check_Retu("1", "B"));
    EXPECT_FALSE(Check_Retu("ZZZZZZZZZZZZ", "ZZZZZZZZZZZZ"));
}

TEST(PaneChecks, RowPairs) {
    struct Case {
        const char* from;
        const char* to;
        bool ok;
        bool ok_all;
    };
    const Case cases[] = {
        {"1", "10", true, true},        {" 3 ", "3", true, true},     {"", "", false, true},
        {"0", "", false, true},         {"0", "0", false, true},      {"", "5", false, false},
        {"5", "", false, false},        {"0", "5", false, false},     {"6", "5", false, false},
        {"1", "1048577", false, false}, {"1", "1048576", true, true}, {"abc", "3", false, false},
        {"２", "３", true, true},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Check_Gyo_01(c.from, c.to).empty(), c.ok) << c.from << ".." << c.to;
        EXPECT_EQ(Check_Gyo_01_All(c.from, c.to).empty(), c.ok_all) << c.from << ".." << c.to;
    }
    EXPECT_EQ(Check_Gyo_01("0", "3"), "行の指定が不正です。");
}

TEST(PaneChecks, ColumnPairs) {
    EXPECT_EQ(Check_Retu_01("A", "C"), "");
    EXPECT_EQ(Check_Retu_01("$a", "c"), "");
    EXPECT_EQ(Check_Retu_01("C", "A"), "列の指定が不正です。");
    EXPECT_EQ(Check_Retu_01("A", ""), "列の指定が不正です。");
    EXPECT_EQ(Check_Retu_01("A", "XFE"), "列の指定が不正です。");
    EXPECT_EQ(Check_Retu_01_All("", ""), "");
    EXPECT_EQ(Check_Retu_01_All("0", ""), "");
    EXPECT_EQ(Check_Retu_01_All("", "B"), "列の指定が不正です。");
}

TEST(PaneChecks, RangeOfFourBoxes) {
    // column-from, row-from, column-to, row-to
    EXPECT_EQ(Check_GyoRetu_01("A", "1", "C", "5"), "");
    EXPECT_EQ(Check_GyoRetu_01("A", "0", "C", "5"), "行の指定が不正です。");
    EXPECT_EQ(Check_GyoRetu_01("C", "0", "A", "5"), "行の指定が不正です。")
        << "rows are checked first";
    EXPECT_EQ(Check_GyoRetu_01("C", "1", "A", "5"), "列の指定が不正です。");
    EXPECT_EQ(Check_GyoRetu_01("", "", "", ""), "行の指定が不正です。");

    EXPECT_EQ(Check_GyoRetu_01_All("", "", "", ""), "") << "the whole sheet";
    EXPECT_EQ(Check_GyoRetu_01_All("", "3", "", "7"), "") << "whole rows";
    EXPECT_EQ(Check_GyoRetu_01_All("B", "", "D", ""), "") << "whole columns";
    EXPECT_EQ(Check_GyoRetu_01_All("A", "1", "", ""), "行の指定が不正です。");
    EXPECT_EQ(Check_GyoRetu_01_All("A", "1", "", "1"), "列の指定が不正です。");
    EXPECT_EQ(Check_GyoRetu_01_All("A", "5", "C", "1"), "行の指定が不正です。");

    EXPECT_EQ(Check_GyoRetu_0("B", "2", "", ""), "") << "a single cell";
    EXPECT_EQ(Check_GyoRetu_0("", "2", "", ""), "列の指定が不正です。");
    EXPECT_EQ(Check_GyoRetu_0("B", "9", "", "3"), "行の指定が不正です。");
    EXPECT_EQ(Check_GyoRetu_0_All("", "", "", ""), "");
}

TEST(PaneChecks, MessagePrefixNamesTheTableRowAndLabel) {
    EXPECT_EQ(Check_Gyo_01("", "", Prefix{3, ""}), "３行目の行の指定が不正です。");
    EXPECT_EQ(Check_Retu_01("", "", Prefix{12, "コピー元の"}),
              "１２行目のコピー元の列の指定が不正です。");
    EXPECT_EQ(Check_GyoRetu_01("A", "1", "B", "2", Prefix{0, "貼付先の"}), "");
    EXPECT_EQ(Check_GyoRetu_01("A", "1", "B", "0", Prefix{0, "貼付先の"}),
              "貼付先の行の指定が不正です。");
}

TEST(PaneChecks, SmallerGridOfAnOlderWorkbook) {
    Maxima xls{65536, 256};
    EXPECT_EQ(Check_GyoRetu_01("A", "1", "IV", "65536", {}, xls), "");
    EXPECT_EQ(Check_GyoRetu_01("A", "1", "IW", "2", {}, xls), "列の指定が不正です。");
    EXPECT_EQ(Check_Gyo_01("1", "65537", {}, xls), "行の指定が不正です。");
}

}  // namespace
}  // namespace sheaflow::address
