#pragma once
// The string conversions behind the character operations. They never touch a workbook and never
// fail: an item that does not occur is not replaced, and an empty text stays empty.

#include <string>
#include <string_view>

namespace sheaflow::ops {

// Replaces, for i from the first to the last item, every occurrence of search item i by
// replacement item i; both lists are separated by single half-width spaces. An empty replacement
// list removes every search item.
std::string replace_by_lists(std::string_view text, std::string_view search_items,
                             std::string_view replacement_items);

// Katakana to romaji, Hepburn with long-vowel marks (first style) and simple without marks
// (second style). Characters the tables do not know are kept.
std::string romaji_hepburn(std::string_view katakana);
std::string romaji_simple(std::string_view katakana);

// The output styles of the kana-to-romaji operation, as the pane's option keys name them:
// "hepburn" or "simple", then optionally "_reversed" (given name first for a two-word name), then
// "_capital" (each word capitalised), "_upper" (all capitals) or "_family_upper" (the family name,
// the first word typed, in capitals and the others capitalised).
struct RomajiStyle {
    bool simple = false;
    bool reversed = false;
    enum class Case { AsIs, Capital, Upper, FamilyUpper } letter_case = Case::AsIs;
};
RomajiStyle romaji_style(std::string_view key);
// One cell's text in romaji: full-width spaces made half-width, split into words at spaces,
// each word's half-width kana widened and hiragana turned into katakana, converted, and joined
// in the chosen style with single spaces.
std::string cell_romaji(std::string_view text, const RomajiStyle& style);
// True when the text holds hiragana or katakana (full- or half-width).
bool has_kana(std::string_view text);

// Kanji numerals to digits, character by character (〇 一 壱 二 弐 三 参 四 … 九): mode 1 gives
// half-width digits, mode 2 full-width ones. 十, 百 and 千 are not read positionally.
std::string StrConv_Kansuji_To_Suji(std::string_view text, int mode);
// Digits (half- or full-width) to kanji numerals, digit by digit, 〇 for 0.
std::string Suji_Hensyu(std::string_view text);

}  // namespace sheaflow::ops
