#include "address/address.h"

#include <climits>
#include <cstdlib>

#include "util/text.h"

namespace sheaflow::address {
namespace {

constexpr std::int64_t kCap = INT32_MAX;

// A digit typed half-width or full-width (the input method may give either); -1 otherwise.
int digit_of(char32_t c) {
    if (c >= U'0' && c <= U'9') return static_cast<int>(c - U'0');
    if (c >= U'０' && c <= U'９') return static_cast<int>(c - U'０');
    return -1;
}

// Splits off the sheet part: everything up to and including the first "!".
std::string_view split_sheet(std::string_view address, std::string* sheet) {
    std::size_t bang = address.find('!');
    if (bang == std::string_view::npos) {
        if (sheet) sheet->clear();
        return address;
    }
    if (sheet) sheet->assign(address.substr(0, bang + 1));
    return address.substr(bang + 1);
}

std::int32_t capped(std::int64_t v) { return static_cast<std::int32_t>(v > kCap ? kCap : v); }

// Blanks at both ends, the ideographic space included.
std::string trim_blanks(std::string_view s) {
    std::u32string u = text::to_u32(s);
    std::size_t b = 0, e = u.size();
    auto blank = [](char32_t c) { return c == U' ' || c == U'\t' || c == 0x3000; };
    while (b < e && blank(u[b])) ++b;
    while (e > b && blank(u[e - 1])) --e;
    return text::to_utf8(u.substr(b, e - b));
}

// Empty, or a number whose value is 0 ("0", "00", "0.0"): the pane treats both as not given.
bool is_blank(std::string_view raw) {
    std::string t = text::narrow(trim_blanks(raw));
    if (t.empty()) return true;
    char* end = nullptr;
    double v = std::strtod(t.c_str(), &end);
    return end != t.c_str() && *end == '\0' && v == 0.0 &&
           t.find_first_of("xXnN") == std::string::npos;
}

std::string prefix_text(const Prefix& p) {
    std::string out;
    if (p.table_row > 0) out += text::widen(std::to_string(p.table_row)) + "行目の";
    out += p.label;
    return out;
}

// The row number a pane box holds (its first number).
std::int64_t row_of(std::string_view text) { return Address_To_GyoNo(text).start; }

}  // namespace

std::string Address_Hensyu(std::string_view text) { return text::replace_all(text, "$", ""); }

std::string Address_Hensyu_Gyo(std::string_view text) {
    std::u32string out;
    for (char32_t c : text::to_u32(text))
        if (c == U':' || digit_of(c) >= 0) out.push_back(c);
    return text::to_utf8(out);
}

std::string Address_Hensyu_Retu(std::string_view text) {
    std::u32string out;
    for (char32_t c : text::to_u32(text))
        if (c != U'$' && digit_of(c) < 0) out.push_back(c);
    return text::to_utf8(out);
}

std::string Address_Hensyu_Colon(std::string_view text) {
    if (text.empty()) return {};
    std::string out;
    bool first = true;
    for (const std::string& item : text::split(text, ",")) {
        std::string kept = item;
        if (std::size_t colon = item.find(':'); colon != std::string::npos) {
            auto halves = text::split(item, ":");
            if (halves.size() == 2 && halves[0] == halves[1]) kept = halves[0];
        }
        if (!first) out += ',';
        out += kept;
        first = false;
    }
    return out;
}

Span Address_To_GyoNo(std::string_view address, std::string* sheet) {
    const std::string cleaned = Address_Hensyu_Gyo(split_sheet(address, sheet));
    std::int64_t start = 0, end = 0;
    bool at_end = false;
    for (char32_t c : text::to_u32(cleaned)) {
        if (c == U':') {
            at_end = true;
            end = 0;
            continue;
        }
        const int d = digit_of(c);
        if (at_end) {
            end = std::min<std::int64_t>(end * 10 + d, kCap + 1);
        } else {
            start = std::min<std::int64_t>(start * 10 + d, kCap + 1);
            end = start;
        }
    }
    return {capped(start), capped(end)};
}

std::int32_t column_number(std::string_view letters) {
    std::u32string u = text::to_u32(letters);
    if (u.empty()) return 0;
    std::int64_t n = 0;
    for (char32_t c : u) {
        int v;
        if (c >= U'A' && c <= U'Z')
            v = static_cast<int>(c - U'A') + 1;
        else if (c >= U'a' && c <= U'z')
            v = static_cast<int>(c - U'a') + 1;
        else if (c >= U'Ａ' && c <= U'Ｚ')
            v = static_cast<int>(c - U'Ａ') + 1;
        else if (c >= U'ａ' && c <= U'ｚ')
            v = static_cast<int>(c - U'ａ') + 1;
        else
            return 0;
        n = std::min<std::int64_t>(n * 26 + v, kCap);
    }
    return static_cast<std::int32_t>(n);
}

Span Address_To_RetuNo(std::string_view address, std::string* sheet) {
    const std::string cleaned = Address_Hensyu_Retu(split_sheet(address, sheet));
    std::size_t colon = cleaned.find(':');
    if (colon == std::string::npos) {
        std::int32_t n = column_number(cleaned);
        return {n, n};
    }
    return {column_number(std::string_view(cleaned).substr(0, colon)),
            column_number(std::string_view(cleaned).substr(colon + 1))};
}

Parsed Address_To_GyoRetuNo(std::string_view address) {
    Parsed p;
    p.rows = Address_To_GyoNo(address, &p.sheet);
    p.columns = Address_To_RetuNo(address);
    return p;
}

bool Check_Gyo(std::int64_t from, std::int64_t to, const Maxima& max) {
    return from >= 1 && to <= max.rows && from <= to;
}

bool Check_Retu(std::string_view from, std::string_view to, const Maxima& max) {
    const std::int64_t a = Address_To_RetuNo(from).start;
    const std::int64_t b = Address_To_RetuNo(to).start;
    return a >= 1 && b <= max.columns && a <= b;
}

std::string Check_Gyo_01(std::string_view row_from, std::string_view row_to, Prefix p,
                         const Maxima& max) {
    if (is_blank(row_from) || is_blank(row_to) ||
        !Check_Gyo(row_of(trim_blanks(row_from)), row_of(trim_blanks(row_to)), max))
        return prefix_text(p) + kBadRow;
    return {};
}

std::string Check_Gyo_01_All(std::string_view row_from, std::string_view row_to, Prefix p,
                             const Maxima& max) {
    if (is_blank(row_from) && is_blank(row_to)) return {};
    return Check_Gyo_01(row_from, row_to, p, max);
}

std::string Check_Retu_01(std::string_view col_from, std::string_view col_to, Prefix p,
                          const Maxima& max) {
    if (is_blank(col_from) || is_blank(col_to) ||
        !Check_Retu(trim_blanks(col_from), trim_blanks(col_to), max))
        return prefix_text(p) + kBadColumn;
    return {};
}

std::string Check_Retu_01_All(std::string_view col_from, std::string_view col_to, Prefix p,
                              const Maxima& max) {
    if (is_blank(col_from) && is_blank(col_to)) return {};
    return Check_Retu_01(col_from, col_to, p, max);
}

std::string Check_GyoRetu_01(std::string_view col_from, std::string_view row_from,
                             std::string_view col_to, std::string_view row_to, Prefix p,
                             const Maxima& max) {
    if (std::string m = Check_Gyo_01(row_from, row_to, p, max); !m.empty()) return m;
    return Check_Retu_01(col_from, col_to, p, max);
}

std::string Check_GyoRetu_01_All(std::string_view col_from, std::string_view row_from,
                                 std::string_view col_to, std::string_view row_to, Prefix p,
                                 const Maxima& max) {
    if (std::string m = Check_Gyo_01_All(row_from, row_to, p, max); !m.empty()) return m;
    return Check_Retu_01_All(col_from, col_to, p, max);
}

std::string Check_GyoRetu_0(std::string_view col_from, std::string_view row_from,
                            std::string_view col_to, std::string_view row_to, Prefix p,
                            const Maxima& max) {
    return Check_GyoRetu_01(col_from, row_from, is_blank(col_to) ? col_from : col_to,
                            is_blank(row_to) ? row_from : row_to, p, max);
}

std::string Check_GyoRetu_0_All(std::string_view col_from, std::string_view row_from,
                                std::string_view col_to, std::string_view row_to, Prefix p,
                                const Maxima& max) {
    return Check_GyoRetu_01_All(col_from, row_from, is_blank(col_to) ? col_from : col_to,
                                is_blank(row_to) ? row_from : row_to, p, max);
}

}  // namespace sheaflow::address
