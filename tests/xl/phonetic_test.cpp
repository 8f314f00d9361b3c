// Phonetic readings of text cells: read from plain, rich and inline strings as PHONETIC() reads
// them, set and removed, and what a change leaves in the string table for the other cells.

#include <gtest/gtest.h>

#include "structure_helpers.h"

namespace sheaflow::testing {
namespace {

std::string fixture() { return std::string(SHEAFLOW_TEST_DATA_DIR) + "/phonetic.xlsx"; }

TEST(Phonetic, ReadingsOfSharedRichAndInlineStrings) {
    OpenBook b(fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    xl::Worksheet& s = *b.book->worksheet(1);
    EXPECT_EQ(s.phonetic({1, 1}), "カンジ");
    EXPECT_EQ(s.phonetic({2, 1}), "カンジwithColor");  // the part without a reading stays
    EXPECT_EQ(s.phonetic({3, 1}), "ﾔﾏﾀﾞ　たろう");
    EXPECT_EQ(s.phonetic({4, 1}), "");  // a number
    EXPECT_EQ(s.phonetic({5, 1}), "");  // a text without readings
    EXPECT_EQ(s.phonetic({9, 9}), "");

    // Readings written as runs, over parts of the text.
    OpenBook runs(corpus("xlsx/cal-rph.xlsx"));
    ASSERT_NE(runs.book, nullptr) << runs.error;
    EXPECT_EQ(runs.book->worksheet(1)->phonetic({1, 1}), "カきく　ケこ");
}

TEST(Phonetic, SetAndRemovedReadingsKeepTheTextAndTheOtherCells) {
    OpenBook b(fixture());
    ASSERT_NE(b.book, nullptr) << b.error;
    xl::Worksheet& s = *b.book->worksheet(1);
    ASSERT_TRUE(s.set_phonetic({2, 1}, "かんじ").has_value());
    ASSERT_TRUE(s.set_phonetic({3, 1}, "").has_value());
    ASSERT_TRUE(s.set_phonetic({5, 1}, "カナ").has_value());
    EXPECT_FALSE(s.set_phonetic({4, 1}, "ジュウニ").has_value());
    EXPECT_EQ(s.phonetic({2, 1}), "かんじ");
    EXPECT_EQ(s.phonetic({3, 1}), "");

    std::string out = b.save();
    OpenBook again(out, "again.xlsx");
    ASSERT_NE(again.book, nullptr) << again.error;
    xl::Worksheet& t = *again.book->worksheet(1);
    EXPECT_EQ(t.phonetic({1, 1}), "カンジ");
    EXPECT_EQ(t.phonetic({2, 1}), "かんじ");
    EXPECT_EQ(t.phonetic({3, 1}), "");
    EXPECT_EQ(t.phonetic({5, 1}), "カナ");
    EXPECT_EQ(t.cell_text({2, 1}), "漢字withColor");
    EXPECT_EQ(t.cell_text({3, 1}), "山田　太郎");
    EXPECT_EQ(t.cell_text({5, 1}), "かな");

    // The rich entry keeps its coloured run; the reading covers the whole text.
    std::string sst = part_of(out, "xl/sharedStrings.xml");
    EXPECT_NE(sst.find("<rPh sb=\"0\" eb=\"11\"><t>かんじ</t></rPh><phoneticPr fontId=\"1\"/>"),
              std::string::npos)
        << sst;
    EXPECT_NE(sst.find("<t>かな</t><rPh sb=\"0\" eb=\"2\"><t>カナ</t></rPh><phoneticPr fontId=\"0\"/>"),
              std::string::npos)
        << sst;
    EXPECT_EQ(sst.find("<?xml", 1), std::string::npos) << sst;  // one declaration: well-formed
    EXPECT_EQ(part_of(out, "xl/worksheets/sheet1.xml").find("inlineStr"), std::string::npos);

    // Removing what is not there changes nothing.
    OpenBook plain(fixture());
    ASSERT_TRUE(plain.book->worksheet(1)->set_phonetic({5, 1}, "").has_value());
    EXPECT_TRUE(plain.book->saved());
}

}  // namespace
}  // namespace sheaflow::testing
