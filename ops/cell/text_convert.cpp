// 文字の操作１ (width, kana and letter case), 文字の操作２ (blanks, line breaks, given
// characters, digits only) and 文字の追加 (a text added at the front, the end or a position) on
// the text cells of a range. 文字の操作１ and ２ list the changes or write them back as the pane
// says; 文字の追加 always writes. Numbers and formulas are left alone unless the pane says so.

#include <charconv>
#include <optional>

#include "ops/cell/cell_common.h"
#include "ops/registry.h"
#include "run/session.h"
#include "util/text.h"

namespace sheaflow::ops {

namespace {

using Convert = std::string (*)(const shell::Params&, const std::string&);

// Lists or writes the conversion of every text constant of the range that it changes.
Result<void> convert_text_cells(run::Session& s, Convert convert) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return Error::failed("シートが開かれていません。");
    const bool write = writes_back(s.params);
    if (!write) begin_cell_list(s, *ws, {"変更前", "変更後"});
    std::optional<Error> failed;
    for_each_pane_cell(s, *ws, [&](xl::CellRef c) {
        if (failed) return;
        std::optional<std::string> text = text_constant(*ws, c);
        if (!text) return;
        std::string converted = convert(s.params, *text);
        if (converted == *text) return;
        if (!write)
            add_cell_row(s, c, {*text, converted});
        else if (auto r = write_text(*ws, c, converted); !r)
            failed = r.error();
    });
    if (failed) return *failed;
    return {};
}

// ---- 文字の操作１ ----

unsigned width_classes(const shell::Params& p) {
    return (p.check("alnum") ? text::kAlnumWidth : 0u) | (p.check("kana") ? text::kKanaWidth : 0u) |
           (p.check("symbol") ? text::kSymbolWidth : 0u);
}

std::string convert1(const shell::Params& p, const std::string& t) {
    const std::string& how = p.option("conversion");
    if (how == "to_full") return text::widen(t, width_classes(p));
    if (how == "to_half") return text::narrow(t, width_classes(p));
    if (how == "to_katakana") return text::to_katakana(t);
    if (how == "to_hiragana") return text::to_hiragana(t);
    if (how == "to_upper") return text::upper(t);
    if (how == "to_lower") return text::lower(t);
    return t;
}

std::string Check_セル_文字の操作1(const shell::Params& p, std::string_view) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    const std::string& how = p.option("conversion");
    if (how.empty()) return "変換方法が選択されていません。";
    if ((how == "to_full" || how == "to_half") && width_classes(p) == 0)
        return "変換する文字の種類が選択されていません。";
    return {};
}

Result<void> Excel_セル_文字の操作1(run::Session& s) { return convert_text_cells(s, convert1); }

// ---- 文字の操作２ ----

bool is_blank(char32_t c, bool full_width_too) {
    return c == U' ' || c == U'\t' || (full_width_too && c == 0x3000);
}

std::string convert2(const shell::Params& p, const std::string& t) {
    const std::string& how = p.option("operation");
    const bool full = p.check("full_space");
    std::u32string cps = text::to_u32(t);
    std::u32string out;
    if (how == "trim" || how == "trim_left" || how == "trim_right") {
        std::size_t b = 0, e = cps.size();
        if (how != "trim_right")
            while (b < e && is_blank(cps[b], full)) ++b;
        if (how != "trim_left")
            while (e > b && is_blank(cps[e - 1], full)) --e;
        out = cps.substr(b, e - b);
    } else {
        const std::u32string remove = text::to_u32(p.text("chars"));
        for (char32_t c : cps) {
            bool drop = false;
            if (how == "remove_spaces")
                drop = is_blank(c, full);
            else if (how == "remove_breaks")
                drop = c == U'\r' || c == U'\n';
            else if (how == "remove_chars")
                drop = remove.find(c) != std::u32string::npos;
            else if (how == "digits_only")
                drop = !((c >= U'0' && c <= U'9') || (c >= U'０' && c <= U'９'));
            if (!drop) out.push_back(c);
        }
    }
    return text::to_utf8(out);
}

std::string Check_セル_文字の操作2(const shell::Params& p, std::string_view) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    const std::string& how = p.option("operation");
    if (how.empty()) return "操作が選択されていません。";
    if (how == "remove_chars" && p.text("chars").empty())
        return "削除する文字が入力されていません。";
    return {};
}

Result<void> Excel_セル_文字の操作2(run::Session& s) { return convert_text_cells(s, convert2); }

// ---- 文字の追加 ----

// The number of characters after which the text is added; -1 when the box holds no such number.
int add_position(const shell::Params& p) {
    std::string t = text::narrow(text::trim(p.text("at")));
    int n = -1;
    auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), n);
    if (t.empty() || ec != std::errc() || end != t.data() + t.size() || n < 0) return -1;
    return n;
}

std::string Check_セル_文字の追加(const shell::Params& p, std::string_view) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    if (p.text("text").empty()) return "追加する文字が入力されていません。";
    const std::string& where = p.option("position");
    if (where.empty()) return "追加する位置が選択されていません。";
    if (where == "at" && add_position(p) < 0) return "追加する位置が不正です。";
    return {};
}

Result<void> Excel_セル_文字の追加(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return Error::failed("シートが開かれていません。");
    const std::string& add = s.params.text("text");
    const std::string& where = s.params.option("position");
    const bool numbers = s.params.check("numbers");
    std::optional<Error> failed;
    for_each_pane_cell(s, *ws, [&](xl::CellRef c) {
        if (failed) return;
        std::optional<std::string> text = text_constant(*ws, c);
        // A number is taken as typed (its formula-bar text), not as its format shows it.
        if (!text && numbers && std::holds_alternative<double>(ws->cell_value(c)) &&
            ws->cell_formula(c).rfind('=', 0) != 0)
            text = ws->cell_formula(c);
        if (!text) return;
        std::string out;
        if (where == "front") {
            out = add + *text;
        } else if (where == "end") {
            out = *text + add;
        } else {
            // Past the end of a shorter text the addition goes at its end.
            const std::size_t at = static_cast<std::size_t>(add_position(s.params));
            out = text::left(*text, at) + add + text::mid(*text, std::min(at, text::length(*text)));
        }
        if (auto r = write_text(*ws, c, out); !r) failed = r.error();
    });
    if (failed) return *failed;
    return {};
}

const Procedures kTextConvertProcedures[] = {
    {.category = "セル",
     .key_name = "文字の操作１",
     .check = Check_セル_文字の操作1,
     .execute = Excel_セル_文字の操作1,
     .updates_when = writes_back},
    {.category = "セル",
     .key_name = "文字の操作２",
     .check = Check_セル_文字の操作2,
     .execute = Excel_セル_文字の操作2,
     .updates_when = writes_back},
    {.category = "セル",
     .key_name = "文字の追加",
     .check = Check_セル_文字の追加,
     .execute = Excel_セル_文字の追加,
     .updates = true},
};

}  // namespace

std::span<const Procedures> text_convert_procedures() { return kTextConvertProcedures; }

}  // namespace sheaflow::ops
