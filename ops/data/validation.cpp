// Data validation of the pane's range: 入力規則設定 (a validation of the common kinds with its
// input and error messages), 入力規則修正 (the list or the limits of the validations that match
// a condition changed) and 入力規則削除 (the validation of the range's cells removed).
// Values are typed as a user types them in the application's dialog: a list as "a,b,c", a range
// or a formula with a leading "=", dates as yyyy/mm/dd.

#include <charconv>
#include <chrono>
#include <cstdio>

#include "ops/cell/cell_common.h"
#include "ops/registry.h"
#include "run/session.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

Result<void> no_sheet() { return Error::failed("シートがありません。"); }

bool ranged(const std::string& type) {
    return type == "whole" || type == "decimal" || type == "date" || type == "textLength";
}
bool two_limits(const std::string& op) { return op == "between" || op == "notBetween"; }

// The validation type a pane's kind stands for ("list_range" is a list too).
std::string type_of(const std::string& kind) { return kind == "list_range" ? "list" : kind; }

std::optional<double> number_of(std::string_view typed) {
    std::string t = text::narrow(text::trim(typed));
    double v = 0;
    auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), v);
    if (t.empty() || ec != std::errc() || end != t.data() + t.size()) return std::nullopt;
    return v;
}

// yyyy/mm/dd (or yyyy-mm-dd) as a serial day number.
std::optional<double> date_serial(std::string_view typed) {
    std::string t = text::narrow(text::trim(typed));
    for (char& c : t)
        if (c == '-') c = '/';
    std::vector<std::string> parts = text::split(t, "/");
    if (parts.size() != 3) return std::nullopt;
    int n[3];
    for (int i = 0; i < 3; ++i) {
        const std::string& s = parts[static_cast<std::size_t>(i)];
        auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), n[i]);
        if (s.empty() || ec != std::errc() || end != s.data() + s.size()) return std::nullopt;
    }
    using namespace std::chrono;
    year_month_day ymd{year{n[0]}, month{static_cast<unsigned>(n[1])},
                       day{static_cast<unsigned>(n[2])}};
    if (!ymd.ok() || n[0] < 1900) return std::nullopt;
    return static_cast<double>((sys_days{ymd} - sys_days{year{1899} / December / 30}).count());
}

std::string serial_date(double serial) {
    using namespace std::chrono;
    year_month_day ymd{sys_days{year{1899} / December / 30} + days{static_cast<int>(serial)}};
    char buf[16];
    std::snprintf(buf, sizeof buf, "%04d/%02u/%02u", static_cast<int>(ymd.year()),
                  static_cast<unsigned>(ymd.month()), static_cast<unsigned>(ymd.day()));
    return buf;
}

std::string number_text(double v) { return xl::to_text(xl::Value(v)); }

// A value as the pane takes it, written as the formula the part stores; nullopt when it does
// not suit the type.
std::optional<std::string> stored_formula(const std::string& type, std::string_view typed_in) {
    std::string typed = text::trim(typed_in);
    if (typed.empty()) return std::nullopt;
    if (typed[0] == '=') return typed.substr(1);
    if (type == "list") {
        std::string out = "\"";
        for (char c : typed) out += c == '"' ? std::string("\"\"") : std::string(1, c);
        return out + "\"";
    }
    if (type == "custom") return typed;
    if (type == "date") {
        auto d = date_serial(typed);
        if (!d) return std::nullopt;
        return number_text(*d);
    }
    auto n = number_of(typed);
    if (!n) return std::nullopt;
    if ((type == "whole" || type == "textLength") && *n != static_cast<double>(static_cast<long long>(*n)))
        return std::nullopt;
    return number_text(*n);
}

// The stored formula as the pane shows it (the inverse of stored_formula).
std::string typed_value(const std::string& type, const std::string& formula) {
    if (formula.empty()) return {};
    if (type == "list" && formula.size() >= 2 && formula.front() == '"' && formula.back() == '"')
        return text::replace_all(formula.substr(1, formula.size() - 2), "\"\"", "\"");
    if (type == "date")
        if (auto n = number_of(formula)) return serial_date(*n);
    if (type == "custom" || type == "list" || !number_of(formula)) return "=" + formula;
    return formula;
}

std::string value_error(const std::string& type, const std::string& which) {
    if (type == "date") return which + "は yyyy/mm/dd の日付で指定してください。";
    if (type == "whole" || type == "textLength") return which + "は整数で指定してください。";
    return which + "は数値で指定してください。";
}

// ---- 入力規則設定 ----

std::string Check_データ_入力規則設定(const shell::Params& p, std::string_view) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    const Boxes b = read_boxes(p);
    if (b.col_from == 0 && b.row_from == 0 && b.col_to == 0 && b.row_to == 0)
        return "入力規則を設定する範囲が指定されていません。";
    const std::string kind = p.option("kind");
    if (kind.empty()) return "入力値の種類が選択されていません。";
    const std::string type = type_of(kind);
    if (text::trim(p.text("value1")).empty())
        return kind == "list" || kind == "list_range" ? "元の値が入力されていません。"
                                                      : "値１が入力されていません。";
    if (kind == "list_range" && text::trim(p.text("value1"))[0] != '=')
        return "元の値の範囲は =$A$1:$A$5 の形で指定してください。";
    if (!stored_formula(type, p.text("value1"))) return value_error(type, "値１");
    if (ranged(type)) {
        if (p.option("op").empty()) return "データの条件が選択されていません。";
        if (two_limits(p.option("op"))) {
            if (text::trim(p.text("value2")).empty()) return "値２が入力されていません。";
            if (!stored_formula(type, p.text("value2"))) return value_error(type, "値２");
        }
    }
    if (text::length(p.text("prompt_title")) > 32 || text::length(p.text("error_title")) > 32)
        return "タイトルは 32 文字以内で指定してください。";
    if (text::length(p.text("prompt")) > 255 || text::length(p.text("error")) > 255)
        return "メッセージは 255 文字以内で指定してください。";
    return {};
}

Result<void> Excel_データ_入力規則設定(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    const shell::Params& p = s.params;
    std::optional<xl::Area> area = pane_target_area(*ws, p);
    if (!area) return {};
    xl::Validation v;
    v.sqref = xl::format_address(*area, false, false);
    v.type = type_of(p.option("kind"));
    v.op = ranged(v.type) ? p.option("op") : "between";
    v.formula1 = *stored_formula(v.type, p.text("value1"));
    if (ranged(v.type) && two_limits(v.op)) v.formula2 = *stored_formula(v.type, p.text("value2"));
    v.allow_blank = p.check("blank");
    v.dropdown = p.check("dropdown");
    v.prompt_title = p.text("prompt_title");
    v.prompt = p.text("prompt");
    v.show_input = true;
    v.error_title = p.text("error_title");
    v.error = p.text("error");
    v.error_style = p.option("error_style").empty() ? "stop" : p.option("error_style");
    v.show_error = true;
    if (auto r = ws->add_validation(v); !r) s.update_error_text(ws->name() + " " + r.error().message);
    return {};
}

// ---- 入力規則修正 ----

std::string Check_データ_入力規則修正(const shell::Params& p, std::string_view) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    if (p.option("kind").empty()) return "入力値の種類が選択されていません。";
    if (text::trim(p.text("new1")).empty() && text::trim(p.text("new2")).empty())
        return "修正後の値が入力されていません。";
    const std::string kind = p.option("kind");
    if (kind != "all") {
        const std::string type = type_of(kind);
        if (!text::trim(p.text("new1")).empty() && !stored_formula(type, p.text("new1")))
            return value_error(type, "修正後の値１");
        if (!text::trim(p.text("new2")).empty() && !stored_formula(type, p.text("new2")))
            return value_error(type, "修正後の値２");
    }
    return {};
}

Result<void> Excel_データ_入力規則修正(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    const shell::Params& p = s.params;
    std::optional<xl::Area> area = pane_target_area(*ws, p);
    if (!area) return {};
    const std::string kind = p.option("kind");
    const std::string old1 = text::trim(p.text("old1")), new1 = text::trim(p.text("new1"));
    const std::string old2 = text::trim(p.text("old2")), new2 = text::trim(p.text("new2"));
    std::vector<xl::Validation> changed;
    for (xl::Validation v : ws->validations()) {
        if (kind != "all" && v.type != type_of(kind)) continue;
        bool inside = false;
        for (const std::string& a : text::split(v.sqref, " "))
            if (auto at = xl::parse_address(a))
                inside |= at->first_row <= area->last_row && area->first_row <= at->last_row &&
                          at->first_col <= area->last_col && area->first_col <= at->last_col;
        if (!inside) continue;
        // The condition: the values as the pane shows them; an empty one matches any.
        if (!old1.empty() && typed_value(v.type, v.formula1) != old1) continue;
        if (!old2.empty() && typed_value(v.type, v.formula2) != old2) continue;
        xl::Validation w = v;
        if (!new1.empty())
            if (auto f = stored_formula(v.type, new1)) w.formula1 = *f;
        if (!new2.empty() && ranged(v.type) && two_limits(v.op))
            if (auto f = stored_formula(v.type, new2)) w.formula2 = *f;
        if (w.formula1 != v.formula1 || w.formula2 != v.formula2) changed.push_back(w);
    }
    if (auto r = ws->update_validations(changed); !r)
        s.update_error_text(ws->name() + " " + r.error().message);
    return {};
}

// ---- 入力規則削除 ----

std::string Check_データ_入力規則削除(const shell::Params& p, std::string_view) {
    return range_boxes_error(p);
}

Result<void> Excel_データ_入力規則削除(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    std::optional<xl::Area> area = pane_target_area(*ws, s.params);
    if (!area) return {};
    if (auto r = ws->delete_validations(*area); !r)
        s.update_error_text(ws->name() + " " + r.error().message);
    return {};
}

const Procedures kProcedures[] = {
    {"データ", "入力規則設定", Check_データ_入力規則設定, Excel_データ_入力規則設定, nullptr,
     nullptr, nullptr, true},
    {"データ", "入力規則修正", Check_データ_入力規則修正, Excel_データ_入力規則修正, nullptr,
     nullptr, nullptr, true},
    {"データ", "入力規則削除", Check_データ_入力規則削除, Excel_データ_入力規則削除, nullptr,
     nullptr, nullptr, true},
};

}  // namespace

std::span<const Procedures> validation_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
