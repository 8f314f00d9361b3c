// The string conversions of the character operations: romaji in both styles with the tables'
// known oddities, the output styles, kanji numerals both ways.
#include <gtest/gtest.h>

#include "ops/cell/conversions.h"
#include "util/text.h"

namespace sheaflow::ops {
namespace {

TEST(Romaji, words_in_both_styles) {
    struct Case {
        const char* kana;
        const char* hepburn;
        const char* simple;
    };
    const Case cases[] = {
        {"キャット", "kyatto", "kyatto"},
        {"シンブン", "shimbun", "shimbun"},
        {"カンイ", "kan-i", "kani"},
        {"ラーメン", "r\u0101men", "ramen"},
        {"マッチ", "matchi", "matchi"},
        // ッ before n: qn in the first style, n in the second; ッ before a vowel or at the end.
        {"ッナ", "qna", "na"},
        {"アッ", "a'", "a"},
        {"ニイガタ", "niigata", "niigata"},
        {"ヴァイオリン", "ヴァiorin", "buaiorin"},
        {"チーズ", "ch\u012Bzu", "chiizu"},
        {"ティー", "teィー", "teii"},  // ティ is in the second table only
        {"", "", ""},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(romaji_hepburn(c.kana), c.hepburn) << c.kana;
        EXPECT_EQ(romaji_simple(c.kana), c.simple) << c.kana;
    }
}

// Every syllable the tables cover comes out as romaji only: a row left out or mistyped in either
// table leaves katakana behind.
TEST(Romaji, every_syllable_of_the_tables_is_converted) {
    std::vector<std::string> syllables;
    for (std::string_view row :
         {"アイウエオ", "カキクケコ", "サシスセソ", "タチツテト", "ナニヌネノ", "ハヒフヘホ",
          "マミムメモ", "ヤユヨ", "ラリルレロ", "ワヰヱヲ", "ガギグゲゴ", "ザジズゼゾ",
          "ダヂヅデド", "バビブベボ", "パピプペポ"})
        for (char32_t c : text::to_u32(row)) syllables.push_back(text::to_utf8(c));
    for (std::string_view i :
         {"キ", "シ", "チ", "ニ", "ヒ", "ミ", "リ", "ギ", "ジ", "ヂ", "ビ", "ピ"})
        for (std::string_view y : {"ャ", "ュ", "ョ"})
            syllables.push_back(std::string(i) + std::string(y));
    const std::vector<std::string> simple_only = {
        "イェ", "ウィ", "ウェ", "ウォ", "ヴァ", "ヴィ", "ヴェ", "ヴォ", "クァ", "クィ", "クェ",
        "クォ", "グァ", "グィ", "グェ", "グォ", "ジェ", "チェ", "ツァ", "ツィ", "ツェ", "ツォ",
        "ティ", "ディ", "デュ", "ドゥ", "ファ", "フィ", "フェ", "フォ", "フョ", "ヴ"};

    auto only_romaji = [](const std::string& s) {
        for (char32_t c : text::to_u32(s))
            if (!((c >= U'a' && c <= U'z') || c == U'\'' || c == U'-' || c == 0x0101 ||
                  c == 0x012B || c == 0x016B || c == 0x0113 || c == 0x014D))
                return false;
        return true;
    };
    // In a word with ン and ッ around it and a long mark after it.
    auto word = [](const std::string& syllable) {
        return "ン" + syllable + "ーッ" + syllable + "ン";
    };
    for (const std::string& s : syllables) {
        EXPECT_TRUE(only_romaji(romaji_hepburn(word(s)))) << s << " " << romaji_hepburn(word(s));
        EXPECT_TRUE(only_romaji(romaji_simple(word(s)))) << s << " " << romaji_simple(word(s));
    }
    for (const std::string& s : simple_only)
        EXPECT_TRUE(only_romaji(romaji_simple(word(s)))) << s << " " << romaji_simple(word(s));
}

TEST(Romaji, cell_text_in_the_output_styles) {
    const std::string name = "やまだ\u3000ﾀﾛｳ";  // hiragana, a full-width space, half-width kana
    struct Case {
        const char* style;
        const char* out;
    };
    const Case cases[] = {
        {"hepburn", "yamada tarou"},
        {"hepburn_capital", "Yamada Tarou"},
        {"hepburn_upper", "YAMADA TAROU"},
        {"hepburn_family_upper", "YAMADA Tarou"},
        {"hepburn_reversed", "tarou yamada"},
        {"hepburn_reversed_family_upper", "Tarou YAMADA"},
        {"simple_reversed_capital", "Tarou Yamada"},
        {"simple_upper", "YAMADA TAROU"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(cell_romaji(name, romaji_style(c.style)), c.out) << c.style;
    // The long mark is capitalised with its vowel; a voiced mark joins its half-width kana.
    EXPECT_EQ(cell_romaji("ｵｰﾀ", romaji_style("hepburn_upper")), "\u014CTA");
    EXPECT_EQ(cell_romaji("ｶﾞｯｺｳ", romaji_style("simple")), "gakkou");
    // Only a two-word name is turned round.
    EXPECT_EQ(cell_romaji("ア イ ウ", romaji_style("hepburn_reversed")), "a i u");
}

TEST(Romaji, kana_is_told_from_punctuation) {
    EXPECT_TRUE(has_kana("東京タワー"));
    EXPECT_TRUE(has_kana("ｶﾅ"));
    EXPECT_TRUE(has_kana("かな"));
    EXPECT_FALSE(has_kana("高・295 幅ー"));
    EXPECT_FALSE(has_kana("ABC"));
}

TEST(Kansuji, digits_both_ways) {
    EXPECT_EQ(StrConv_Kansuji_To_Suji("一二三", 1), "123");
    EXPECT_EQ(StrConv_Kansuji_To_Suji("一二三", 2), "１２３");
    EXPECT_EQ(StrConv_Kansuji_To_Suji("壱弐参〇", 1), "1230");
    EXPECT_EQ(StrConv_Kansuji_To_Suji("二十五", 1), "2十5");  // no positional reading
    EXPECT_EQ(Suji_Hensyu("2024年１０月"), "二〇二四年一〇月");
    EXPECT_EQ(Suji_Hensyu(StrConv_Kansuji_To_Suji("九八七六五四三二一〇", 1)),
              "九八七六五四三二一〇");
}

TEST(ReplaceByLists, items_apply_in_order_to_the_previous_output) {
    EXPECT_EQ(replace_by_lists("abc", "a b", "b c"), "ccc");
    EXPECT_EQ(replace_by_lists("xyz", "q", "r"), "xyz");
    EXPECT_EQ(replace_by_lists("aXbX", "X", ""), "ab");
}

}  // namespace
}  // namespace sheaflow::ops
