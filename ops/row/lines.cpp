#include "ops/row/lines.h"

#include <charconv>

#include "address/address.h"
#include "util/text.h"

namespace sheaflow::ops::lines {

Axis other(Axis axis) { return axis == Axis::Rows ? Axis::Columns : Axis::Rows; }

std::string word(Axis axis) { return axis == Axis::Rows ? "行" : "列"; }

std::int32_t grid_limit(Axis axis) {
    return axis == Axis::Rows ? address::kMaxRows : address::kMaxColumns;
}

std::optional<xl::LineSpan> parse_lines(Axis axis, std::string_view text) {
    std::string t = text::narrow(text::trim(text));
    if (t.empty()) return std::nullopt;
    address::Span s;
    if (axis == Axis::Rows) {
        // Only digits and ":" may be typed for rows.
        if (t.find_first_not_of("0123456789:$") != std::string::npos) return std::nullopt;
        s = address::Address_To_GyoNo(t);
    } else {
        if (t.find_first_of("0123456789") != std::string::npos) return std::nullopt;
        s = address::Address_To_RetuNo(t);
    }
    if (s.start < 1 || s.end < s.start || s.end > grid_limit(axis)) return std::nullopt;
    return xl::LineSpan{s.start, s.end};
}

std::string check_lines(Axis axis, std::string_view text, std::string_view label) {
    if (parse_lines(axis, text)) return {};
    return std::string(label) + (axis == Axis::Rows ? address::kBadRow : address::kBadColumn);
}

std::optional<std::int64_t> pane_number(std::string_view text, std::int64_t max) {
    std::string t = text::narrow(text::trim(text));
    std::int64_t n = 0;
    auto r = std::from_chars(t.data(), t.data() + t.size(), n);
    if (t.empty() || r.ec != std::errc() || r.ptr != t.data() + t.size() || n < 1 || n > max)
        return std::nullopt;
    return n;
}

std::optional<double> pane_decimal(std::string_view text) {
    std::string t = text::narrow(text::trim(text));
    double d = 0;
    auto r = std::from_chars(t.data(), t.data() + t.size(), d);
    if (t.empty() || r.ec != std::errc() || r.ptr != t.data() + t.size()) return std::nullopt;
    return d;
}

xl::CellRef cell_at(Axis axis, std::int32_t line, std::int32_t cross) {
    return axis == Axis::Rows ? xl::CellRef{line, cross} : xl::CellRef{cross, line};
}

xl::LineSpan used_lines(xl::Worksheet& ws, Axis axis) {
    xl::Area u = ws.used_range();
    if (u.first_row == 1 && u.last_row == 1 && u.first_col == 1 && u.last_col == 1 &&
        xl::is_empty(ws.cell_value({1, 1})) && ws.cell_formula({1, 1}).empty())
        return {1, 0};
    return axis == Axis::Rows ? xl::LineSpan{u.first_row, u.last_row}
                              : xl::LineSpan{u.first_col, u.last_col};
}

bool has_value(xl::Worksheet& ws, xl::CellRef c, bool formula_blank_is_value) {
    xl::Value v = ws.cell_value(c);
    if (auto* s = std::get_if<std::string>(&v); s && s->empty())
        return formula_blank_is_value && !ws.cell_formula(c).empty();
    if (!xl::is_empty(v)) return true;
    // A formula not calculated yet holds no value but is not blank.
    std::string f = ws.cell_formula(c);
    return !f.empty() && f[0] == '=' && formula_blank_is_value;
}

bool text_matches(const std::string& cell_text, const std::string& wanted, bool partial) {
    if (partial) return !wanted.empty() && cell_text.find(wanted) != std::string::npos;
    return cell_text == wanted;
}

void log_refusal(run::Session& s, xl::Worksheet& ws, const Error& e) {
    s.update_error_text("シート「" + ws.name() + "」 " + e.message);
}

Error no_sheet() { return Error::failed("シートが開かれていません。"); }

std::vector<SizeItem> parse_size_list(Axis axis, std::string_view text, std::string& error) {
    std::vector<SizeItem> items;
    std::string t = text::narrow(text);
    for (const std::string& raw : text::split(t, ",")) {
        std::string item = text::trim(raw);
        if (item.empty()) continue;
        auto eq = item.find('=');
        std::optional<xl::LineSpan> span;
        std::optional<double> size;
        if (eq != std::string::npos) {
            span = parse_lines(axis, item.substr(0, eq));
            size = pane_decimal(item.substr(eq + 1));
        }
        if (!span || !size || *size < 0 || *size > (axis == Axis::Rows ? 409 : 255)) {
            error = "「" + item + "」の指定が不正です（" + word(axis) +
                    (axis == Axis::Rows ? "=高さ" : "=幅") + "の形で指定してください）。";
            return {};
        }
        items.push_back({*span, *size});
    }
    if (items.empty())
        error = axis == Axis::Rows ? "行と高さが指定されていません。" : "列と幅が指定されていません。";
    return items;
}

}  // namespace sheaflow::ops::lines
