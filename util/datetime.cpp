#include "util/datetime.h"

#include <cstdio>
#include <ctime>

namespace sheaflow::datetime {
namespace {

std::tm local(Clock::time_point t) {
    std::time_t tt = Clock::to_time_t(t);
    std::tm tm{};
    localtime_r(&tt, &tm);
    return tm;
}

// Reads exactly `digits` decimal digits at `pos`.
bool number(std::string_view s, std::size_t& pos, int digits_min, int digits_max, int& out) {
    int n = 0, v = 0;
    while (pos < s.size() && n < digits_max && s[pos] >= '0' && s[pos] <= '9') {
        v = v * 10 + (s[pos] - '0');
        ++pos;
        ++n;
    }
    out = v;
    return n >= digits_min;
}

}  // namespace

std::string format(Clock::time_point t) {
    std::tm tm = local(t);
    char buf[40];
    std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d", tm.tm_year + 1900,
                  tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec);
    return buf;
}

std::string format_write(Clock::time_point t) {
    std::tm tm = local(t);
    char buf[48];
    if (tm.tm_hour == 0 && tm.tm_min == 0 && tm.tm_sec == 0)
        std::snprintf(buf, sizeof buf, "#%04d-%02d-%02d#", tm.tm_year + 1900, tm.tm_mon + 1,
                      tm.tm_mday);
    else
        std::snprintf(buf, sizeof buf, "#%04d-%02d-%02d %02d:%02d:%02d#", tm.tm_year + 1900,
                      tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec);
    return buf;
}

std::optional<Clock::time_point> parse(std::string_view s) {
    while (!s.empty() && s.front() == ' ') s.remove_prefix(1);
    while (!s.empty() && s.back() == ' ') s.remove_suffix(1);
    if (s.size() >= 2 && s.front() == '#' && s.back() == '#') s = s.substr(1, s.size() - 2);
    std::size_t pos = 0;
    int y, mo, d, h = 0, mi = 0, sec = 0;
    if (!number(s, pos, 4, 4, y) || pos >= s.size() || (s[pos] != '-' && s[pos] != '/'))
        return std::nullopt;
    const char sep = s[pos++];
    if (!number(s, pos, 1, 2, mo) || pos >= s.size() || s[pos++] != sep) return std::nullopt;
    if (!number(s, pos, 1, 2, d)) return std::nullopt;
    if (pos < s.size()) {
        if (s[pos++] != ' ') return std::nullopt;
        if (!number(s, pos, 1, 2, h) || pos >= s.size() || s[pos++] != ':') return std::nullopt;
        if (!number(s, pos, 1, 2, mi)) return std::nullopt;
        if (pos < s.size()) {
            if (s[pos++] != ':' || !number(s, pos, 1, 2, sec)) return std::nullopt;
        }
        if (pos != s.size()) return std::nullopt;
    }
    if (y < 1900 || mo < 1 || mo > 12 || d < 1 || d > 31 || h > 23 || mi > 59 || sec > 59)
        return std::nullopt;
    std::tm tm{};
    tm.tm_year = y - 1900;
    tm.tm_mon = mo - 1;
    tm.tm_mday = d;
    tm.tm_hour = h;
    tm.tm_min = mi;
    tm.tm_sec = sec;
    tm.tm_isdst = -1;
    std::tm probe = tm;
    std::time_t tt = std::mktime(&probe);
    if (tt == static_cast<std::time_t>(-1)) return std::nullopt;
    // mktime normalises 31 February into March: such a date is not a date.
    if (probe.tm_mday != d || probe.tm_mon != mo - 1) return std::nullopt;
    return Clock::from_time_t(tt);
}

}  // namespace sheaflow::datetime
