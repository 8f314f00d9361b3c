#include "xl/native/value_text.h"

#include <charconv>
#include <cmath>
#include <cstdio>

#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::xl::native {

std::string formula_bar_number(double d) { return xl::to_text(xl::Value(d)); }

namespace {

// Civil date of a serial in the 1900 system (serial 60 is the fictitious 1900-02-29).
void civil_of(long serial, int& y, int& m, int& d) {
    if (serial == 60) {
        y = 1900, m = 2, d = 29;
        return;
    }
    if (serial < 60) ++serial;  // before the fictitious day the count is one behind
    long z = serial - 25569 + 719468;
    long era = (z >= 0 ? z : z - 146096) / 146097;
    long doe = z - era * 146097;
    long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    long doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    long mp = (5 * doy + 2) / 153;
    d = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
    m = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
    y = static_cast<int>(yoe + era * 400 + (m <= 2 ? 1 : 0));
}

bool parse_number(std::string_view s, double& out) {
    if (s.empty()) return false;
    std::size_t i = 0;
    if (s[0] == '+' || s[0] == '-') ++i;
    std::size_t digits = 0, dots = 0;
    while (i < s.size() && ((s[i] >= '0' && s[i] <= '9') || s[i] == '.')) {
        if (s[i] == '.')
            ++dots;
        else
            ++digits;
        ++i;
    }
    if (digits == 0 || dots > 1) return false;
    if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
        ++i;
        if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
        std::size_t exp_digits = 0;
        while (i < s.size() && s[i] >= '0' && s[i] <= '9') ++i, ++exp_digits;
        if (exp_digits == 0) return false;
    }
    if (i != s.size()) return false;
    std::string_view body = s[0] == '+' ? s.substr(1) : s;
    auto r = std::from_chars(body.data(), body.data() + body.size(), out);
    return r.ec == std::errc() && std::isfinite(out);
}

bool parse_small(std::string_view s, int& out, std::size_t max_digits) {
    if (s.empty() || s.size() > max_digits) return false;
    auto r = std::from_chars(s.data(), s.data() + s.size(), out);
    return r.ec == std::errc() && r.ptr == s.data() + s.size();
}

// "h:mm", "h:mm:ss", with an optional " AM"/" PM".
bool parse_time(std::string_view s, double& seconds) {
    bool pm = false, am = false;
    std::string upper = text::upper(s);
    if (upper.size() > 3 && (upper.ends_with(" PM") || upper.ends_with(" AM"))) {
        pm = upper.ends_with(" PM");
        am = !pm;
        s = s.substr(0, s.size() - 3);
    }
    auto parts = text::split(s, ":");
    if (parts.size() < 2 || parts.size() > 3) return false;
    int h, m, sec = 0;
    if (!parse_small(parts[0], h, 2) || !parse_small(parts[1], m, 2)) return false;
    if (parts.size() == 3 && !parse_small(parts[2], sec, 2)) return false;
    if (am || pm) {
        if (h < 1 || h > 12) return false;
        if (h == 12) h = 0;
        if (pm) h += 12;
    }
    if (h > 23 || m > 59 || sec > 59) return false;
    seconds = h * 3600.0 + m * 60.0 + sec;
    return true;
}

bool parse_date(std::string_view s, double& serial) {
    std::string_view date = s, time;
    if (auto sp = s.find(' '); sp != std::string_view::npos) {
        date = s.substr(0, sp);
        time = s.substr(sp + 1);
    }
    auto parts = text::split(date, "/");
    if (parts.size() != 3) return false;
    int a, b, c;
    if (!parse_small(parts[0], a, 4) || !parse_small(parts[1], b, 2) ||
        !parse_small(parts[2], c, 4))
        return false;
    int y, m, d;
    if (parts[0].size() == 4) {
        y = a, m = b, d = c;  // yyyy/m/d
    } else {
        if (parts[2].size() != 4) return false;
        m = a, d = b, y = c;  // m/d/yyyy
    }
    double seconds = 0;
    if (!time.empty() && !parse_time(time, seconds)) return false;
    auto v = date_serial(y, m, d, seconds);
    if (!v) return false;
    serial = *v;
    return true;
}

}  // namespace

std::optional<double> date_serial(int y, int m, int d, double seconds) {
    if (y < 1900 || y > 9999 || m < 1 || m > 12 || d < 1) return std::nullopt;
    static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
    int max_day = kDays[m - 1] + (m == 2 && leap ? 1 : 0);
    if (y == 1900 && m == 2 && d == 29) return 60 + seconds / 86400.0;
    if (d > max_day) return std::nullopt;
    int yy = y - (m <= 2);
    long era = yy / 400;
    long yoe = yy - era * 400;
    long doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    long doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    long days = era * 146097 + doe - 719468 + 25569;
    if (days < 61) days -= 1;
    return static_cast<double>(days) + seconds / 86400.0;
}

std::string formula_bar_date(double serial) {
    double day = std::floor(serial);
    long seconds = std::lround((serial - day) * 86400.0);
    if (seconds >= 86400) {
        day += 1;
        seconds -= 86400;
    }
    std::string out;
    char buf[64];
    if (day >= 1) {
        int y, m, d;
        civil_of(static_cast<long>(day), y, m, d);
        std::snprintf(buf, sizeof buf, "%d/%d/%d", m, d, y);
        out = buf;
    }
    if (seconds != 0 || day < 1) {
        long h = seconds / 3600;
        const char* half = h >= 12 ? "PM" : "AM";
        long h12 = h % 12 == 0 ? 12 : h % 12;
        std::snprintf(buf, sizeof buf, "%ld:%02ld:%02ld %s", h12, (seconds / 60) % 60, seconds % 60,
                      half);
        if (!out.empty()) out += ' ';
        out += buf;
    }
    return out;
}

bool is_error_literal(std::string_view s) {
    static const std::string_view kErrors[] = {"#NULL!", "#DIV/0!", "#VALUE!", "#REF!",
                                               "#NAME?", "#NUM!",   "#N/A",    "#GETTING_DATA"};
    std::string up = text::upper(s);
    for (std::string_view e : kErrors)
        if (up == e) return true;
    return false;
}

TypedEntry parse_typed(std::string_view s, bool dates) {
    TypedEntry e;
    if (s.empty()) return e;
    if (s[0] == '=' && s.size() > 1) {
        e.kind = TypedEntry::Kind::Formula;
        e.text = std::string(s.substr(1));
        return e;
    }
    if (s[0] == '\'') {
        e.kind = TypedEntry::Kind::Text;
        e.text = std::string(s.substr(1));
        return e;
    }
    double d;
    if (parse_number(s, d)) {
        e.kind = TypedEntry::Kind::Number;
        e.number = d;
        return e;
    }
    if (s.size() == 4 || s.size() == 5) {
        std::string up = text::upper(s);
        if (up == "TRUE" || up == "FALSE") {
            e.kind = TypedEntry::Kind::Bool;
            e.number = up == "TRUE" ? 1 : 0;
            return e;
        }
    }
    if (s[0] == '#' && is_error_literal(s)) {
        e.kind = TypedEntry::Kind::Error;
        e.text = text::upper(s);
        return e;
    }
    if (dates && parse_date(s, d)) {
        e.kind = TypedEntry::Kind::Date;
        e.number = d;
        return e;
    }
    e.kind = TypedEntry::Kind::Text;
    e.text = std::string(s);
    return e;
}

}  // namespace sheaflow::xl::native
