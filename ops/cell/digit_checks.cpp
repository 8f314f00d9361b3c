// 整数の桁数チェック and 小数の桁数チェック: numeric cells whose integer part has more digits, or
// whose fraction more decimal places, than the pane allows. The findings go into the run error
// text, headed by the workbook's path; nothing in the workbook changes.

#include <charconv>
#include <cmath>
#include <optional>

#include "ops/cell/cell_common.h"
#include "ops/registry.h"
#include "run/session.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {

namespace {

// The allowed number of digits, a 16-bit number; nullopt when the box holds none.
std::optional<std::int16_t> allowed_digits(const shell::Params& p) {
    std::string t = text::narrow(text::trim(p.text("digits")));
    std::int16_t n = 0;
    auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), n);
    if (t.empty() || ec != std::errc() || end != t.data() + t.size() || n < 0) return std::nullopt;
    return n;
}

std::string check_digits_pane(const shell::Params& p) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    if (text::trim(p.text("digits")).empty()) return "桁数が入力されていません。";
    if (!allowed_digits(p)) return "桁数が不正です。";
    if (p.option("value_kind").empty()) return "チェックする値が選択されていません。";
    return {};
}

// The value a cell is checked by and its text for the finding: a number, or a text that reads
// as one; with the second option, the number shown by the cell's format.
struct Tested {
    double number = 0;
    std::string text;
};

std::optional<Tested> tested_value(xl::Worksheet& ws, xl::CellRef c, bool displayed) {
    xl::Value v = ws.cell_value(c);
    std::optional<double> number;
    if (const double* d = std::get_if<double>(&v))
        number = *d;
    else if (const std::string* s = std::get_if<std::string>(&v))
        number = numeric_value(*s);
    if (!number) return std::nullopt;
    if (!displayed) return Tested{*number, xl::to_text(v)};
    std::optional<double> shown = numeric_value(ws.cell_text(c));
    if (!shown) return std::nullopt;
    return Tested{*shown, xl::to_text(xl::Value(*shown))};
}

// With n = 3, 999.99 passes and 1000 or -1000 is a finding.
bool too_many_integer_digits(double v, int n) {
    for (int i = 0; i < n; ++i) v /= 10;
    return v >= 1 || v <= -1;
}

// Digits remain after n places when the product by 10^n, written as text, shows a fraction.
// The text form (15 significant digits) hides the representation error of the product: 1.255
// times 1000 is 1254.9999999999998, written 1255, so it passes with n = 3.
bool too_many_decimal_places(double v, int n) {
    for (int i = 0; i < n; ++i) v *= 10;
    std::string t = xl::to_text(xl::Value(v));
    if (t.find("E-") != std::string::npos) return true;
    return t.find('.') != std::string::npos && t.find('E') == std::string::npos;
}

Result<void> check_cells(run::Session& s, bool (*finding)(double, int)) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return Error::failed("シートが開かれていません。");
    const int n = allowed_digits(s.params).value_or(0);
    const bool displayed = s.params.option("value_kind") == "display";
    for_each_pane_cell(s, *ws, [&](xl::CellRef c) {
        std::optional<Tested> t = tested_value(*ws, c, displayed);
        if (t && finding(t->number, n)) findings::add(s, cell_address(c) + " = " + t->text);
    });
    return {};
}

std::string Check_セル_整数の桁数チェック(const shell::Params& p, std::string_view) {
    return check_digits_pane(p);
}
std::string Check_セル_小数の桁数チェック(const shell::Params& p, std::string_view) {
    return check_digits_pane(p);
}
Result<void> Excel_セル_整数の桁数チェック(run::Session& s) {
    return check_cells(s, too_many_integer_digits);
}
Result<void> Excel_セル_小数の桁数チェック(run::Session& s) {
    return check_cells(s, too_many_decimal_places);
}

const Procedures kDigitCheckProcedures[] = {
    {.category = "セル",
     .key_name = "整数の桁数チェック",
     .check = Check_セル_整数の桁数チェック,
     .execute = Excel_セル_整数の桁数チェック,
     .first = findings::start,
     .final = findings::finish},
    {.category = "セル",
     .key_name = "小数の桁数チェック",
     .check = Check_セル_小数の桁数チェック,
     .execute = Excel_セル_小数の桁数チェック,
     .first = findings::start,
     .final = findings::finish},
};

}  // namespace

std::span<const Procedures> digit_check_procedures() { return kDigitCheckProcedures; }

}  // namespace sheaflow::ops
