// Code page 932 conversion, file decoding and the dispatch upper case.
#include "util/text.h"

#include <gtest/gtest.h>

namespace sheaflow::text {
namespace {

TEST(Cp932, MapsLikeWindows) {
    struct Case {
        const char* utf8;
        std::string bytes;
    };
    const Case cases[] = {
        {"～", "\x81\x60"}, {"－", "\x81\x7C"},
        {"￥", "\x81\x8F"}, {"\\", "\x5C"},
        {"~", "\x7E"},      {"∥", "\x81\x61"},
        {"￢", "\x81\xCA"}, {"ｱｲｳﾞﾟ", "\xB1\xB2\xB3\xDE\xDF"},
        {"Ⅰ", "\x87\x54"},  {"≒", "\x81\xE0"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(to_cp932(c.utf8), c.bytes) << c.utf8;
        std::string back;
        ASSERT_TRUE(from_cp932(c.bytes, back));
        EXPECT_EQ(back, c.utf8);
    }
    std::string s;
    ASSERT_TRUE(from_cp932("\xFA\x4A", s));  // the IBM duplicate of Ⅰ
    EXPECT_EQ(s, "Ⅰ");
    EXPECT_EQ(to_cp932("a〜b"), "a?b") << "one unmappable character gives one substitute";
}

TEST(DecodeFileText, ChoosesTheEncodingThatFits) {
    std::string out;
    // UTF-8 Japanese is valid CP932 too (E3 81 82 E3 81 84); it must read as UTF-8.
    ASSERT_TRUE(decode_file_text("\xE3\x81\x82\xE3\x81\x84", out));
    EXPECT_EQ(out, "あい");
    ASSERT_TRUE(decode_file_text("\x82\xA0\x82\xA2", out));
    EXPECT_EQ(out, "あい");
    // C3 BD is both the UTF-8 of ý and the CP932 of ﾃｽ: the files are CP932.
    ASSERT_TRUE(decode_file_text("\xC3\xBD", out));
    EXPECT_EQ(out, "ﾃｽ");
    ASSERT_TRUE(
        decode_file_text("\xEF\xBB\xBF"
                         "abc",
                         out));
    EXPECT_EQ(out, "abc");
    ASSERT_TRUE(decode_file_text("plain", out));
    EXPECT_EQ(out, "plain");
    EXPECT_FALSE(decode_file_text("\x81", out)) << "a cut double-byte character";
    EXPECT_FALSE(decode_file_text("\xFF\xFE\x00", out));
    EXPECT_TRUE(out.empty());
}

TEST(Upper, OnlyLatinLettersChange) {
    EXPECT_EQ(upper("ColorIndex一覧ａｂｃｘｙｚ"), "COLORINDEX一覧ＡＢＣＸＹＺ");
    EXPECT_EQ(upper("ぁァｧ"), "ぁァｧ");
    EXPECT_EQ(lower("ABC Ａ"), "abc ａ");
}

TEST(Width, WidenAndNarrowJoinVoicedMarks) {
    EXPECT_EQ(widen("ｶﾞﾊﾟｳﾞ A1"), "ガパヴ　Ａ１");
    EXPECT_EQ(narrow("ガパヴ　Ａ１"), "ｶﾞﾊﾟｳﾞ A1");
    EXPECT_EQ(to_katakana("ひらがな"), "ヒラガナ");
}

TEST(Characters, CountCodePointsNotBytes) {
    EXPECT_EQ(length("集計Sheet"), 7u);
    EXPECT_EQ(mid("売上_集計", 3, 2), "集計");
    EXPECT_EQ(right("売上_集計", 2), "集計");
    EXPECT_EQ(find("あいうえ", "うえ"), 2u);
    EXPECT_EQ(find("あいう", "x"), std::string::npos);
}

}  // namespace
}  // namespace sheaflow::text
