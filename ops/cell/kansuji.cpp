// 文字の操作１_漢数字: kanji numerals in the text cells of a range turned into digits (half- or
// full-width), or digits into kanji numerals. Numbers and formulas are left alone.

#include <optional>

#include "ops/cell/cell_common.h"
#include "ops/cell/conversions.h"
#include "ops/registry.h"
#include "run/session.h"
#include "util/text.h"

namespace sheaflow::ops {

namespace {

// The kanji of each digit 0..9, first the common form, then the forms of legal documents.
constexpr const char32_t* kKanjiDigits[] = {U"〇", U"一壱", U"二弐", U"三参", U"四",
                                            U"五", U"六",   U"七",   U"八",   U"九"};

int kanji_digit(char32_t c) {
    for (int d = 0; d < 10; ++d)
        for (const char32_t* k = kKanjiDigits[d]; *k; ++k)
            if (*k == c) return d;
    return -1;
}

}  // namespace

std::string StrConv_Kansuji_To_Suji(std::string_view text, int mode) {
    std::u32string cps = text::to_u32(text);
    for (char32_t& c : cps)
        if (int d = kanji_digit(c); d >= 0) c = (mode == 2 ? U'０' : U'0') + d;
    return text::to_utf8(cps);
}

std::string Suji_Hensyu(std::string_view text) {
    std::u32string cps = text::to_u32(text);
    for (char32_t& c : cps) {
        if (c >= U'0' && c <= U'9')
            c = kKanjiDigits[c - U'0'][0];
        else if (c >= U'０' && c <= U'９')
            c = kKanjiDigits[c - U'０'][0];
    }
    return text::to_utf8(cps);
}

namespace {

std::string Check_セル_文字の操作1_漢数字(const shell::Params& p, std::string_view) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    if (p.option("mode").empty()) return "変換方法が選択されていません。";
    return {};
}

Result<void> Excel_セル_文字の操作1_漢数字(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return Error::failed("シートが開かれていません。");
    const std::string& mode = s.params.option("mode");
    std::optional<Error> failed;
    for_each_pane_cell(s, *ws, [&](xl::CellRef c) {
        if (failed) return;
        std::optional<std::string> text = text_constant(*ws, c);
        if (!text) return;
        std::string converted = mode == "kanji"
                                    ? Suji_Hensyu(*text)
                                    : StrConv_Kansuji_To_Suji(*text, mode == "full" ? 2 : 1);
        if (converted == *text) return;
        if (auto r = write_text(*ws, c, converted); !r) failed = r.error();
    });
    if (failed) return *failed;
    return {};
}

const Procedures kKansujiProcedures[] = {
    {.category = "セル",
     .key_name = "文字の操作１_漢数字",
     .check = Check_セル_文字の操作1_漢数字,
     .execute = Excel_セル_文字の操作1_漢数字,
     .updates = true},
};

}  // namespace

std::span<const Procedures> kansuji_procedures() { return kKansujiProcedures; }

}  // namespace sheaflow::ops
