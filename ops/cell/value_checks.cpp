// 値のチェック (cells whose value breaks the rule chosen on the pane, reported in the run error
// text as the digit checks do), エラー表示一覧 (cells holding an error value, listed with their
// formulas) and 日付検索 (cells holding a date within a period, listed with the text shown).

#include <charconv>
#include <chrono>
#include <cmath>
#include <optional>

#include "ops/cell/cell_common.h"
#include "ops/registry.h"
#include "run/session.h"
#include "util/text.h"

namespace sheaflow::ops {

namespace {

Error no_sheet() { return Error::failed("シートが開かれていません。"); }

// ---- 値のチェック ----

// The character limit of the "too long" rule; -1 when the box holds no positive number.
int max_length(const shell::Params& p) {
    std::string t = text::narrow(text::trim(p.text("max_length")));
    int n = -1;
    auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), n);
    if (t.empty() || ec != std::errc() || end != t.data() + t.size() || n < 1) return -1;
    return n;
}

bool has_outer_blank(const std::string& s) {
    std::u32string cps = text::to_u32(s);
    auto blank = [](char32_t c) { return c == U' ' || c == U'\t' || c == 0x3000; };
    return !cps.empty() && (blank(cps.front()) || blank(cps.back()));
}

bool has_full_width_digit(const std::string& s) {
    for (char32_t c : text::to_u32(s))
        if (c >= U'０' && c <= U'９') return true;
    return false;
}

// A character that code page 932 cannot hold does not come back from the round trip.
bool outside_cp932(const std::string& s) {
    std::string back;
    return !text::from_cp932(text::to_cp932(s), back) || back != s;
}

// The text a finding shows for a cell, or nullopt when the cell keeps the rule.
std::optional<std::string> breaks_rule(xl::Worksheet& ws, xl::CellRef c, const std::string& rule,
                                       int limit) {
    if (rule == "empty") {
        if (xl::is_empty(ws.cell_value(c))) return std::string("（空白セル）");
        return std::nullopt;
    }
    if (rule == "too_long") {
        std::string shown = ws.cell_text(c);
        if (static_cast<int>(text::length(shown)) > limit) return shown;
        return std::nullopt;
    }
    // The other rules are about texts typed into cells.
    std::optional<std::string> t = text_constant(ws, c);
    if (!t) return std::nullopt;
    bool broken = (rule == "number_text" && numeric_value(*t)) ||
                  (rule == "blanks" && has_outer_blank(*t)) ||
                  (rule == "full_digits" && has_full_width_digit(*t)) ||
                  (rule == "non_cp932" && outside_cp932(*t));
    if (broken) return t;
    return std::nullopt;
}

std::string Check_セル_値のチェック(const shell::Params& p, std::string_view) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    const std::string& rule = p.option("rule");
    if (rule.empty()) return "チェック内容が選択されていません。";
    if (rule == "too_long" && max_length(p) < 0) return "上限の文字数が不正です。";
    return {};
}

Result<void> Excel_セル_値のチェック(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    const std::string& rule = s.params.option("rule");
    const int limit = max_length(s.params);
    auto report = [&](xl::CellRef c) {
        if (auto shown = breaks_rule(*ws, c, rule, limit))
            findings::add(s, cell_address(c) + " = " + *shown);
    };
    if (rule != "empty") {
        for_each_pane_cell(s, *ws, report);
        return {};
    }
    // Empty cells are not visited by the walk over cells that hold something.
    std::optional<xl::Area> area = pane_area(*ws, s.params);
    if (!area) return {};
    for (std::int32_t r = area->first_row; r <= area->last_row; ++r) {
        if (s.yield()) break;
        for (std::int32_t c = area->first_col; c <= area->last_col; ++c) report({r, c});
    }
    return {};
}

// ---- エラー表示一覧 ----

std::string Check_セル_エラー表示一覧(const shell::Params& p, std::string_view) {
    return range_boxes_error(p);
}

Result<void> Excel_セル_エラー表示一覧(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    begin_cell_list(s, *ws, {"値", "計算式"});
    for_each_pane_cell(s, *ws, [&](xl::CellRef c) {
        xl::Value v = ws->cell_value(c);
        if (const xl::CellError* e = std::get_if<xl::CellError>(&v))
            add_cell_row(s, c, {e->code, ws->cell_formula(c)});
    });
    return {};
}

// ---- 日付検索 ----

// The serial day number (days since 1899-12-30) of a date typed as yyyy/mm/dd or yyyy-mm-dd
// (full-width digits too); nullopt when the text is not a real date.
std::optional<double> day_serial(std::string_view typed) {
    std::string t = text::narrow(text::trim(text::narrow(typed)));
    for (char& ch : t)
        if (ch == '-') ch = '/';
    std::vector<std::string> parts = text::split(t, "/");
    if (parts.size() != 3) return std::nullopt;
    int n[3] = {0, 0, 0};
    for (int i = 0; i < 3; ++i) {
        const std::string& part = parts[static_cast<std::size_t>(i)];
        auto [end, ec] = std::from_chars(part.data(), part.data() + part.size(), n[i]);
        if (part.empty() || ec != std::errc() || end != part.data() + part.size())
            return std::nullopt;
    }
    using namespace std::chrono;
    year_month_day ymd{year{n[0]}, month{static_cast<unsigned>(n[1])},
                       day{static_cast<unsigned>(n[2])}};
    if (n[0] < 1900 || n[0] > 9999 || !ymd.ok()) return std::nullopt;
    constexpr sys_days kEpoch = sys_days{year{1899} / December / 30};
    return static_cast<double>((sys_days{ymd} - kEpoch).count());
}

// Whether a number format shows a date (a year, month name or day), not only a time or a
// duration: "h:mm" and "[h]:mm:ss" values are not dates to search for.
bool shows_date(std::string_view format) {
    bool quoted = false, bracket = false;
    for (char32_t c : text::to_u32(format)) {
        if (c == U'"') quoted = !quoted;
        else if (!quoted && c == U'[') bracket = true;
        else if (!quoted && c == U']') bracket = false;
        else if (!quoted && !bracket &&
                 (c == U'y' || c == U'Y' || c == U'd' || c == U'D' || c == U'e' || c == U'g' ||
                  c == U'G' || c == U'年' || c == U'月' || c == U'日'))
            return true;
    }
    return false;
}

std::string Check_セル_日付検索(const shell::Params& p, std::string_view) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    const std::string& from = p.text("from");
    const std::string& to = p.text("to");
    if (!text::trim(from).empty() && !day_serial(from)) return "開始日が日付ではありません。";
    if (!text::trim(to).empty() && !day_serial(to)) return "終了日が日付ではありません。";
    if (day_serial(from) && day_serial(to) && *day_serial(from) > *day_serial(to))
        return "開始日が終了日より後です。";
    return {};
}

Result<void> Excel_セル_日付検索(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    // Either end of the period may be open.
    const std::optional<double> from = day_serial(s.params.text("from"));
    const std::optional<double> to = day_serial(s.params.text("to"));
    begin_cell_list(s, *ws, {"表示", "日付"});
    for_each_pane_cell(s, *ws, [&](xl::CellRef c) {
        xl::Value v = ws->cell_value(c);
        const xl::DateTime* d = std::get_if<xl::DateTime>(&v);
        if (!d || !shows_date(ws->cell_number_format_local(c))) return;
        const double day = std::floor(d->serial);
        if ((from && day < *from) || (to && day > *to)) return;
        add_cell_row(s, c, {ws->cell_text(c), xl::to_text(v)});
    });
    return {};
}

const Procedures kValueCheckProcedures[] = {
    {.category = "セル",
     .key_name = "値のチェック",
     .check = Check_セル_値のチェック,
     .execute = Excel_セル_値のチェック,
     .first = findings::start,
     .final = findings::finish},
    {.category = "セル",
     .key_name = "エラー表示一覧",
     .check = Check_セル_エラー表示一覧,
     .execute = Excel_セル_エラー表示一覧},
    {.category = "セル",
     .key_name = "日付検索",
     .check = Check_セル_日付検索,
     .execute = Excel_セル_日付検索},
};

}  // namespace

std::span<const Procedures> value_check_procedures() { return kValueCheckProcedures; }

}  // namespace sheaflow::ops
