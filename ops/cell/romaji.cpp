// カナ→ローマ字: the romaji of the kana in a range's cells, listed or written back. The two
// romaji tables are applied row after row, each row to the output of the one before; their
// oddities (ッチ gives tchi, ッン gives qn, n-a after ン) are the required behaviour.

#include <algorithm>
#include <charconv>

#include "ops/cell/cell_common.h"
#include "ops/cell/conversions.h"
#include "ops/registry.h"
#include "run/session.h"
#include "util/text.h"

namespace sheaflow::ops {

namespace {

// One row of a romaji table: space-separated katakana items and their romaji.
struct Step {
    const char* katakana;
    const char* romaji;
};

// Rows 1-12 of the first style, shared by the second.
constexpr Step kContracted[] = {
    {"キャ キュ キョ", "kya kyu kyo"}, {"シャ シュ ショ", "sha shu sho"},
    {"チャ チュ チョ", "cha chu cho"}, {"ニャ ニュ ニョ", "nya nyu nyo"},
    {"ヒャ ヒュ ヒョ", "hya hyu hyo"}, {"ミャ ミュ ミョ", "mya myu myo"},
    {"リャ リュ リョ", "rya ryu ryo"}, {"ギャ ギュ ギョ", "gya gyu gyo"},
    {"ジャ ジュ ジョ", "ja ju jo"},    {"ヂャ ヂュ ヂョ", "ja ju jo"},
    {"ビャ ビュ ビョ", "bya byu byo"}, {"ピャ ピュ ピョ", "pya pyu pyo"},
};

// Rows 13-27 of the first style, shared by the second.
constexpr Step kSyllables[] = {
    {"ア イ ウ エ オ", "a i u e o"},       {"カ キ ク ケ コ", "ka ki ku ke ko"},
    {"サ シ ス セ ソ", "sa shi su se so"}, {"タ チ ツ テ ト", "ta chi tsu te to"},
    {"ナ ニ ヌ ネ ノ", "na ni nu ne no"},  {"ハ ヒ フ ヘ ホ", "ha hi fu he ho"},
    {"マ ミ ム メ モ", "ma mi mu me mo"},  {"ヤ ユ ヨ", "ya yu yo"},
    {"ラ リ ル レ ロ", "ra ri ru re ro"},  {"ワ ヰ ヱ ヲ", "wa i e o"},
    {"ガ ギ グ ゲ ゴ", "ga gi gu ge go"},  {"ザ ジ ズ ゼ ゾ", "za ji zu ze zo"},
    {"ダ ヂ ヅ デ ド", "da ji zu de do"},  {"バ ビ ブ ベ ボ", "ba bi bu be bo"},
    {"パ ピ プ ペ ポ", "pa pi pu pe po"},
};

// Rows 28-36 of the first style.
constexpr Step kHepburnTail[] = {
    {"ンa ンi ンu ンe ンo ンy", "n-a n-i n-u n-e n-o n-y"},
    {"ン", "n"},
    {"nb nm np", "mb mm mp"},
    {"ッa ッi ッu ッe ッo", "qa qi qu qe qo"},
    {"ッk ッs ッt ッn ッh ッm ッy ッr ッw", "kk ss tt qn hh mm yy rr ww"},
    {"ッg ッz ッd ッb ッp", "gg zz dd bb pp"},
    {"ッc ッf ッj", "tc ff jj"},
    {"ッ", "'"},
    // The long mark after a vowel: the vowel with a macron (U+0101, U+012B, U+016B, U+0113,
    // U+014D).
    {"aー iー uー eー oー", "\u0101 \u012B \u016B \u0113 \u014D"},
};

// The second style's own rows before the syllables.
constexpr Step kSimpleForeign[] = {
    {"イェ ウィ ウェ ウォ", "ie ui ue uo"},
    {"ヴァ ヴィ ヴェ ヴォ", "bua bui bue buo"},
    {"クァ クィ クェ クォ", "kua kui kue kuo"},
    {"グァ グィ グェ グォ", "gua gui gue guo"},
    {"ジェ チェ", "jie chie"},
    {"ツァ ツィ ツェ ツォ", "tsua tsui tsue tsuo"},
    {"ティ ディ デュ ドゥ", "tei dei deyu dou"},
    {"ファ フィ フェ フォ", "fua fui fue fuo"},
    {"フョ", "fuyo"},
};

// The second style's rows after the syllables; an empty romaji list removes the items.
constexpr Step kSimpleTail[] = {
    {"ヴ", "bu"},
    {"ン", "n"},
    {"nb nm np", "mb mm mp"},
    {"ッk ッs ッt ッn ッh ッm ッy ッr ッw", "kk ss tt n hh mm yy rr ww"},
    {"ッg ッz ッd ッb ッp", "gg zz dd bb pp"},
    {"ッc ッf ッj", "tc ff jj"},
    {"ッ", ""},
    {"iー", "ii"},
    {"ー", ""},
};

template <std::size_t N>
void apply(std::string& text, const Step (&steps)[N]) {
    for (const Step& s : steps) text = replace_by_lists(text, s.katakana, s.romaji);
}

// Upper case of the romaji letters: ASCII and the five vowels with a macron (each capital sits
// one code point below its small letter).
char32_t upper_romaji(char32_t c) {
    if (c >= U'a' && c <= U'z') return c - 32;
    if (c == 0x0101 || c == 0x012B || c == 0x016B || c == 0x0113 || c == 0x014D) return c - 1;
    return c;
}

std::string to_upper(std::string_view word) {
    std::u32string cps = text::to_u32(word);
    for (char32_t& c : cps) c = upper_romaji(c);
    return text::to_utf8(cps);
}

std::string capitalise(std::string_view word) {
    std::u32string cps = text::to_u32(word);
    if (!cps.empty()) cps[0] = upper_romaji(cps[0]);
    return text::to_utf8(cps);
}

}  // namespace

std::string replace_by_lists(std::string_view text, std::string_view search_items,
                             std::string_view replacement_items) {
    std::vector<std::string> from = text::split(search_items, " ");
    std::vector<std::string> to = replacement_items.empty() ? std::vector<std::string>(from.size())
                                                            : text::split(replacement_items, " ");
    std::string out(text);
    for (std::size_t i = 0; i < from.size() && i < to.size(); ++i)
        if (!from[i].empty()) out = text::replace_all(out, from[i], to[i]);
    return out;
}

std::string romaji_hepburn(std::string_view katakana) {
    std::string t(katakana);
    apply(t, kContracted);
    apply(t, kSyllables);
    apply(t, kHepburnTail);
    return t;
}

std::string romaji_simple(std::string_view katakana) {
    std::string t(katakana);
    apply(t, kContracted);
    apply(t, kSimpleForeign);
    apply(t, kSyllables);
    apply(t, kSimpleTail);
    return t;
}

RomajiStyle romaji_style(std::string_view key) {
    RomajiStyle s;
    s.simple = key.rfind("simple", 0) == 0;
    s.reversed = key.find("_reversed") != std::string_view::npos;
    auto ends_with = [&](std::string_view tail) {
        return key.size() >= tail.size() && key.substr(key.size() - tail.size()) == tail;
    };
    if (ends_with("_family_upper"))
        s.letter_case = RomajiStyle::Case::FamilyUpper;
    else if (ends_with("_upper"))
        s.letter_case = RomajiStyle::Case::Upper;
    else if (ends_with("_capital"))
        s.letter_case = RomajiStyle::Case::Capital;
    return s;
}

std::string cell_romaji(std::string_view text, const RomajiStyle& style) {
    std::vector<std::string> words;
    for (std::string& w : text::split(text::replace_all(text, "\u3000", " "), " ")) {
        if (w.empty()) continue;  // runs of spaces separate words once
        std::string kana = text::to_katakana(text::widen_kana_runs(w));
        words.push_back(style.simple ? romaji_simple(kana) : romaji_hepburn(kana));
    }
    using Case = RomajiStyle::Case;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (style.letter_case == Case::Upper || (style.letter_case == Case::FamilyUpper && i == 0))
            words[i] = to_upper(words[i]);
        else if (style.letter_case != Case::AsIs)
            words[i] = capitalise(words[i]);
    }
    // A name is typed family name first; reversed puts the given name first.
    if (style.reversed && words.size() == 2) std::swap(words[0], words[1]);
    std::string out;
    for (const std::string& w : words) out += (out.empty() ? "" : " ") + w;
    return out;
}

bool has_kana(std::string_view text) {
    for (char32_t c : text::to_u32(text))
        if ((c >= 0x3041 && c <= 0x3096) || (c >= 0x30A1 && c <= 0x30FA) ||
            (c >= 0xFF66 && c <= 0xFF9D))
            return true;
    return false;
}

// ---- The operation ----------------------------------------------------------------------------

namespace {

// The number of columns to the right that the romaji is written to (0: the cell itself); -1
// when the box does not hold such a number.
int write_offset(const shell::Params& p) {
    std::string t = text::narrow(text::trim(p.text("offset")));
    if (t.empty()) return 0;
    int n = -1;
    auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), n);
    if (ec != std::errc() || end != t.data() + t.size() || n < 0 || n > 16383) return -1;
    return n;
}

std::string Check_セル_カナ_ローマ字(const shell::Params& p, std::string_view) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    if (p.option("style").empty()) return "出力形式が選択されていません。";
    if (writes_back(p) && write_offset(p) < 0) return "書き込み先の列数が不正です。";
    return {};
}

Result<void> Excel_セル_カナ_ローマ字(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return Error::failed("シートが開かれていません。");
    const RomajiStyle style = romaji_style(s.params.option("style"));
    const bool write = writes_back(s.params);
    const int offset = write_offset(s.params);
    if (!write) begin_cell_list(s, *ws, {"文字", "ローマ字"});
    std::optional<Error> failed;
    for_each_pane_cell(s, *ws, [&](xl::CellRef c) {
        if (failed) return;
        std::string shown = ws->cell_text(c);
        if (!has_kana(shown)) return;
        std::string romaji = cell_romaji(shown, style);
        if (!write) {
            add_cell_row(s, c, {shown, romaji});
            return;
        }
        // Written into the cell itself only over a text constant: a formula stays.
        if (offset == 0 && !text_constant(*ws, c)) return;
        xl::CellRef to{c.row, c.col + offset};
        if (to.col > ws->columns_count()) {
            failed = Error::failed("書き込み先の列がシートの範囲を超えています（" +
                                   cell_address(c) + "）。");
            return;
        }
        if (auto r = write_text(*ws, to, romaji); !r) failed = r.error();
    });
    if (failed) return *failed;
    return {};
}

const Procedures kRomajiProcedures[] = {
    {.category = "セル",
     .key_name = "カナ→ローマ字",
     .check = Check_セル_カナ_ローマ字,
     .execute = Excel_セル_カナ_ローマ字,
     .updates_when = writes_back},
};

}  // namespace

std::span<const Procedures> romaji_procedures() { return kRomajiProcedures; }

}  // namespace sheaflow::ops
