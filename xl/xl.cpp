#include "xl/xl.h"

#include <cmath>
#include <cctype>
#include <cstdio>

#include "util/text.h"
#include "xl/native/numfmt.h"

namespace sheaflow::xl {

bool is_empty(const Value& v) { return std::holds_alternative<std::monostate>(v); }
bool is_error(const Value& v) { return std::holds_alternative<CellError>(v); }

namespace {

std::string number_text(double d) {
    if (d == 0) return "0";
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.15G", d);
    std::string s = buf;
    // "%G" pads the exponent to two digits as the object model does ("1E+20", "1E-05").
    return s;
}

// Days since 1899-12-30 to a civil date (proleptic Gregorian).
void civil_from_serial(std::int64_t serial, int& y, unsigned& m, unsigned& d) {
    std::int64_t z = serial - 25569 + 719468;  // 1970-01-01 is serial 25569
    std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    auto doe = static_cast<unsigned>(z - era * 146097);
    unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    std::int64_t yy = static_cast<std::int64_t>(yoe) + era * 400;
    unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    unsigned mp = (5 * doy + 2) / 153;
    d = doy - (153 * mp + 2) / 5 + 1;
    m = mp < 10 ? mp + 3 : mp - 9;
    y = static_cast<int>(yy + (m <= 2 ? 1 : 0));
}

std::string date_text(double serial) {
    double day = std::floor(serial);
    auto seconds = static_cast<long>(std::llround((serial - day) * 86400.0));
    if (seconds >= 86400) {
        day += 1;
        seconds -= 86400;
    }
    char buf[64];
    std::string out;
    if (day != 0 || seconds == 0) {
        int y;
        unsigned m, d;
        civil_from_serial(static_cast<std::int64_t>(day), y, m, d);
        std::snprintf(buf, sizeof buf, "%04d/%02u/%02u", y, m, d);
        out = buf;
    }
    if (seconds != 0) {
        std::snprintf(buf, sizeof buf, "%ld:%02ld:%02ld", seconds / 3600, (seconds / 60) % 60,
                      seconds % 60);
        if (!out.empty()) out += ' ';
        out += buf;
    }
    return out;
}

std::string error_text(const std::string& code) {
    // The numbers that CStr gives for the cell error values (CVErr codes).
    static const std::pair<const char*, const char*> kCodes[] = {
        {"#NULL!", "2000"}, {"#DIV/0!", "2007"}, {"#VALUE!", "2015"}, {"#REF!", "2023"},
        {"#NAME?", "2029"}, {"#NUM!", "2036"},   {"#N/A", "2042"},    {"#GETTING_DATA", "2043"}};
    for (const auto& [c, n] : kCodes)
        if (code == c) return std::string("Error ") + n;
    return "Error 2015";
}

}  // namespace

std::string to_text(const Value& v) {
    struct Visitor {
        std::string operator()(std::monostate) const { return {}; }
        std::string operator()(double d) const { return number_text(d); }
        std::string operator()(const DateTime& d) const { return date_text(d.serial); }
        std::string operator()(bool b) const { return b ? "True" : "False"; }
        std::string operator()(const std::string& s) const { return s; }
        std::string operator()(const CellError& e) const { return error_text(e.code); }
    };
    return std::visit(Visitor{}, v);
}

std::string column_letters(std::int32_t col) {
    if (col < 1 || col > 16384) return {};
    char buf[4] = {};
    int n = 3;
    while (col > 0) {
        buf[--n] = static_cast<char>('A' + (col - 1) % 26);
        col = (col - 1) / 26;
    }
    return std::string(buf + n, buf + 3);
}

std::int32_t column_number(std::string_view letters) {
    if (letters.empty() || letters.size() > 3) return 0;
    std::int32_t n = 0;
    for (char c : letters) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
        if (c < 'A' || c > 'Z') return 0;
        n = n * 26 + (c - 'A' + 1);
    }
    return n <= 16384 ? n : 0;
}

std::string format_address(const Area& a, bool row_absolute, bool column_absolute) {
    auto cell = [&](std::int32_t r, std::int32_t c) {
        std::string s;
        if (column_absolute) s += '$';
        s += column_letters(c);
        if (row_absolute) s += '$';
        s += std::to_string(r);
        return s;
    };
    std::string s = cell(a.first_row, a.first_col);
    if (a.last_row != a.first_row || a.last_col != a.first_col)
        s += ":" + cell(a.last_row, a.last_col);
    return s;
}

namespace {

// One end of an address: optional column letters, optional row digits.
bool parse_end(std::string_view s, std::int32_t& col, std::int32_t& row) {
    std::string clean;
    for (char c : s)
        if (c != '$') clean += c;
    std::size_t i = 0;
    while (i < clean.size() && std::isalpha(static_cast<unsigned char>(clean[i]))) ++i;
    std::string letters = clean.substr(0, i), digits = clean.substr(i);
    if (letters.empty() && digits.empty()) return false;
    if (!digits.empty() && !text::is_digits(digits)) return false;
    col = letters.empty() ? 0 : column_number(letters);
    if (!letters.empty() && col == 0) return false;
    row = 0;
    if (!digits.empty()) {
        if (digits.size() > 8) return false;
        row = std::stoi(digits);
        if (row < 1) return false;
    }
    return true;
}

}  // namespace

std::optional<Area> parse_address(std::string_view address, std::int32_t max_rows,
                                  std::int32_t max_cols) {
    auto colon = address.find(':');
    std::string_view a = address.substr(0, colon);
    std::string_view b = colon == std::string_view::npos ? a : address.substr(colon + 1);
    std::int32_t c1, r1, c2, r2;
    if (!parse_end(a, c1, r1) || !parse_end(b, c2, r2)) return std::nullopt;
    // "B:D" is whole columns, "3:7" whole rows; a single end needs both parts.
    if ((c1 == 0) != (c2 == 0) || (r1 == 0) != (r2 == 0)) return std::nullopt;
    if (colon == std::string_view::npos && (c1 == 0 || r1 == 0)) return std::nullopt;
    Area area{r1 ? r1 : 1, c1 ? c1 : 1, r2 ? r2 : max_rows, c2 ? c2 : max_cols};
    if (area.first_row > area.last_row) std::swap(area.first_row, area.last_row);
    if (area.first_col > area.last_col) std::swap(area.first_col, area.last_col);
    if (area.last_row > max_rows || area.last_col > max_cols) return std::nullopt;
    return area;
}

std::int64_t Range::count() const {
    return static_cast<std::int64_t>(area_.last_row - area_.first_row + 1) *
           (area_.last_col - area_.first_col + 1);
}

Range Range::cells(std::int32_t row, std::int32_t col) const {
    std::int32_t r = area_.first_row + row - 1, c = area_.first_col + col - 1;
    return Range(*sheet_, Area{r, c, r, c});
}

Value Range::value() const { return sheet_->cell_value({area_.first_row, area_.first_col}); }
std::string Range::formula() const { return sheet_->cell_formula({area_.first_row, area_.first_col}); }
std::string Range::text() const { return sheet_->cell_text({area_.first_row, area_.first_col}); }
std::string Range::number_format_local() const {
    return sheet_->cell_number_format_local({area_.first_row, area_.first_col});
}

Result<void> Range::set_value(const Value& v) {
    for (std::int32_t r = area_.first_row; r <= area_.last_row; ++r)
        for (std::int32_t c = area_.first_col; c <= area_.last_col; ++c)
            if (auto res = sheet_->set_cell_value({r, c}, v); !res) return res;
    return {};
}

Result<void> Range::set_formula(const std::string& f) {
    for (std::int32_t r = area_.first_row; r <= area_.last_row; ++r)
        for (std::int32_t c = area_.first_col; c <= area_.last_col; ++c)
            if (auto res = sheet_->set_cell_formula({r, c}, f); !res) return res;
    return {};
}

std::string Range::address(bool row_absolute, bool column_absolute) const {
    return format_address(area_, row_absolute, column_absolute);
}

std::optional<Range> Range::find(const FindOptions& o, std::optional<CellRef> after) const {
    FindState& st = sheet_->parent().application().find_state;
    // LookIn, LookAt, SearchOrder and MatchByte persist; an omitted MatchCase means False.
    if (o.look_in) st.look_in = *o.look_in;
    if (o.look_at) st.look_at = *o.look_at;
    if (o.search_order) st.search_order = *o.search_order;
    if (o.match_byte) st.match_byte = *o.match_byte;
    FindSpec criteria;
    criteria.what = o.what;
    criteria.look_in = st.look_in;
    criteria.look_at = st.look_at;
    criteria.search_order = st.search_order;
    criteria.search_direction = o.search_direction.value_or(xlNext);
    criteria.match_case = o.match_case.value_or(false);
    criteria.match_byte = st.match_byte;
    st.last = criteria;
    auto hit = sheet_->find(area_, criteria, after);
    if (!hit) return std::nullopt;
    return Range(*sheet_, Area{hit->row, hit->col, hit->row, hit->col});
}

std::optional<Range> Range::find_next(const Range& after) const {
    const FindSpec& criteria = sheet_->parent().application().find_state.last;
    CellRef start{after.area().first_row, after.area().first_col};
    auto hit = sheet_->find(area_, criteria, start);
    if (!hit) return std::nullopt;
    return Range(*sheet_, Area{hit->row, hit->col, hit->row, hit->col});
}

Result<bool> Range::replace(const ReplaceOptions& o) {
    FindState& st = sheet_->parent().application().find_state;
    if (o.look_at) st.look_at = *o.look_at;
    if (o.search_order) st.search_order = *o.search_order;
    if (o.match_case) st.match_case = *o.match_case;
    if (o.match_byte) st.match_byte = *o.match_byte;
    FindSpec criteria;
    criteria.what = o.what;
    criteria.look_in = xlFormulas;
    criteria.look_at = st.look_at;
    criteria.search_order = st.search_order;
    criteria.match_case = st.match_case;
    criteria.match_byte = st.match_byte;
    return sheet_->replace(area_, criteria, o.replacement);
}

std::int64_t Range::count_a() const { return sheet_->count_a(area_); }

Result<Range> Worksheet::range(std::string_view address) {
    auto area = parse_address(address, rows_count(), columns_count());
    if (!area)
        return Error::make(Error::Code::Failed,
                           "アドレス「" + std::string(address) + "」が不正です。");
    return Range(*this, *area);
}

// Rows and columns: an object model without its own rows and columns refuses these.
namespace {
Error lines_unsupported() {
    return Error::make(Error::Code::Unsupported, "このブックでは行や列を操作できません。");
}
}  // namespace

Result<void> Worksheet::insert_lines(Axis, std::int32_t, std::int32_t) {
    return lines_unsupported();
}
Result<void> Worksheet::insert_lines_before(Axis, std::vector<std::int32_t>) {
    return lines_unsupported();
}
Result<void> Worksheet::delete_lines(Axis, std::vector<LineSpan>) { return lines_unsupported(); }
LineFormat Worksheet::line_format(Axis, std::int32_t) { return {}; }
Result<void> Worksheet::format_lines(Axis, const std::vector<LineSpan>&, const LineFormatChange&) {
    return lines_unsupported();
}
Result<void> Worksheet::autofit_lines(Axis, const std::vector<LineSpan>&, std::int32_t) {
    return lines_unsupported();
}
double Worksheet::standard_size(Axis) { return 0; }
std::vector<std::pair<LineSpan, LineFormat>> Worksheet::formatted_lines(Axis) { return {}; }

Result<void> Range::insert_entire(Axis axis) const {
    if (axis == Axis::Rows)
        return sheet_->insert_lines(axis, area_.first_row, area_.last_row - area_.first_row + 1);
    return sheet_->insert_lines(axis, area_.first_col, area_.last_col - area_.first_col + 1);
}

Result<void> Range::delete_entire(Axis axis) const {
    if (axis == Axis::Rows)
        return sheet_->delete_lines(axis, {{area_.first_row, area_.last_row}});
    return sheet_->delete_lines(axis, {{area_.first_col, area_.last_col}});
}

std::string format_number_text(double value, std::string_view code) {
    return native::numfmt::format_number(value, code);
}

std::string format_text_value(std::string_view value, std::string_view code) {
    return native::numfmt::format_text(value, code);
}

}  // namespace sheaflow::xl
