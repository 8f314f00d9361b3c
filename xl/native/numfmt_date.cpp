// Rendering of dates and times from serial numbers, in the 1900 and 1904 date systems, with
// Japanese eras and weekday names.

#include <array>
#include <cmath>
#include <string>

#include "xl/native/numfmt.h"
#include "xl/native/numfmt_detail.h"

namespace sheaflow::xl::native::numfmt::detail {
namespace {

// The last serials the two systems can show: 9999-12-31.
constexpr long long kMaxSerial1900 = 2958465;
constexpr long long kMaxSerial1904 = 2957003;

struct Civil {
    int year = 0;
    int month = 0;
    int day = 0;
};

// The proleptic Gregorian date of a day count from 1970-01-01 (H. Hinnant's algorithm).
Civil civil_from_days(long long z) {
    z += 719468;
    long long era = (z >= 0 ? z : z - 146096) / 146097;
    long long doe = z - era * 146097;
    long long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    long long y = yoe + era * 400;
    long long doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    long long mp = (5 * doy + 2) / 153;
    long long d = doy - (153 * mp + 2) / 5 + 1;
    long long m = mp < 10 ? mp + 3 : mp - 9;
    return {static_cast<int>(y + (m <= 2)), static_cast<int>(m), static_cast<int>(d)};
}

constexpr long long kDays1899_12_31 = -25568;  // days from 1970-01-01
constexpr long long kDays1904_01_01 = -24107;

// The calendar date of a whole serial. The 1900 system counts the nonexistent 1900-02-29 as
// serial 60, so that serials agree with the spreadsheets it was made compatible with; serial 0
// is shown as 1900-01-00.
Civil date_of(long long serial, bool date1904) {
    if (date1904) return civil_from_days(kDays1904_01_01 + serial);
    if (serial == 0) return {1900, 1, 0};
    if (serial == 60) return {1900, 2, 29};
    return civil_from_days(kDays1899_12_31 + serial - (serial > 60 ? 1 : 0));
}

// 0 = Sunday. The 1900 system counts its weekdays from serial 1 as a Sunday, the fictitious
// leap day included.
int weekday_of(long long serial, bool date1904) {
    return static_cast<int>((serial + (date1904 ? 5 : 6)) % 7);
}

struct Era {
    int year, month, day;  // first day
    const char* letter;
    const char* kanji;
    const char* name;
};

constexpr std::array<Era, 5> kEras = {{
    {1868, 1, 1, "M", "明", "明治"},
    {1912, 7, 30, "T", "大", "大正"},
    {1926, 12, 25, "S", "昭", "昭和"},
    {1989, 1, 8, "H", "平", "平成"},
    {2019, 5, 1, "R", "令", "令和"},
}};

const Era& era_of(const Civil& c) {
    std::size_t i = kEras.size();
    while (i > 1) {
        const Era& e = kEras[i - 1];
        if (c.year > e.year || (c.year == e.year && c.month > e.month) ||
            (c.year == e.year && c.month == e.month && c.day >= e.day)) {
            break;
        }
        --i;
    }
    return kEras[i - 1];
}

constexpr std::array<const char*, 12> kMonthShort = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr std::array<const char*, 12> kMonthLong = {
    "January", "February", "March",     "April",   "May",      "June",
    "July",    "August",   "September", "October", "November", "December"};
constexpr std::array<const char*, 7> kDayShort = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<const char*, 7> kDayLong = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                 "Thursday", "Friday", "Saturday"};
constexpr std::array<const char*, 7> kDayJa = {"日", "月", "火", "水", "木", "金", "土"};

void append_padded(std::string& out, long long n, int width) {
    std::string digits = std::to_string(n);
    if (static_cast<int>(digits.size()) < width) {
        out.append(static_cast<std::size_t>(width) - digits.size(), '0');
    }
    out += digits;
}

// "AM/PM" shows AM or PM (午前/午後 in a Japanese section); "a/p" keeps the case of its letters.
void append_ampm(std::string& out, const Token& t, bool pm, bool japanese) {
    if (t.text.size() == 3) {
        out += pm ? t.text[2] : t.text[0];
    } else if (japanese || t.text == "午前/午後") {
        out += pm ? "午後" : "午前";
    } else {
        out += pm ? "PM" : "AM";
    }
}

}  // namespace

std::string render_date(const Section& s, double value, bool date1904) {
    if (std::isnan(value)) return std::string(kUnshowable);
    if (value < 0) {
        // The 1904 system shows negative dates and times with a minus sign.
        if (!date1904) return std::string(kUnshowable);
        return "-" + render_date(s, -value, true);
    }
    long long max_serial = date1904 ? kMaxSerial1904 : kMaxSerial1900;
    if (value >= static_cast<double>(max_serial + 1)) return std::string(kUnshowable);
    // Round the time to the shown fraction of a second (whole seconds by default).
    long long per_second = 1;
    for (int i = 0; i < s.subsec_digits; ++i) per_second *= 10;
    long long per_day = 86400 * per_second;
    auto total = static_cast<long long>(std::llround(value * static_cast<double>(per_day)));
    long long serial = total / per_day;
    if (serial > max_serial) return std::string(kUnshowable);
    long long in_day = total % per_day;
    long long secs_total = total / per_second;  // since serial 0
    long long second_part = total % per_second;
    long long secs = in_day / per_second;
    int hour = static_cast<int>(secs / 3600);
    int minute = static_cast<int>(secs / 60 % 60);
    int second = static_cast<int>(secs % 60);
    Civil c = date_of(serial, date1904);
    bool pm = hour >= 12;
    std::string out;
    for (const Token& t : s.tokens) {
        switch (t.type) {
            case Tok::Literal:
                out += t.text;
                break;
            case Tok::Year:
                if (t.count <= 2) {
                    append_padded(out, c.year % 100, 2);
                } else {
                    append_padded(out, c.year, 4);
                }
                break;
            case Tok::Month:
                if (t.count <= 2) {
                    append_padded(out, c.month, t.count);
                } else if (s.japanese) {
                    out += std::to_string(c.month);
                    if (t.count < 5) out += "月";
                } else if (t.count == 3) {
                    out += kMonthShort[static_cast<std::size_t>(c.month - 1)];
                } else if (t.count == 4) {
                    out += kMonthLong[static_cast<std::size_t>(c.month - 1)];
                } else {
                    out += kMonthLong[static_cast<std::size_t>(c.month - 1)][0];
                }
                break;
            case Tok::Day:
                if (t.count <= 2) {
                    append_padded(out, c.day, t.count);
                } else {
                    auto wd = static_cast<std::size_t>(weekday_of(serial, date1904));
                    if (s.japanese) {
                        out += kDayJa[wd];
                        if (t.count >= 4) out += "曜日";
                    } else {
                        out += t.count == 3 ? kDayShort[wd] : kDayLong[wd];
                    }
                }
                break;
            case Tok::WeekdayJa: {
                auto wd = static_cast<std::size_t>(weekday_of(serial, date1904));
                out += kDayJa[wd];
                if (t.count >= 4) out += "曜日";
                break;
            }
            case Tok::Hour: {
                int h = hour;
                if (s.twelve_hour) h = hour % 12 == 0 ? 12 : hour % 12;
                append_padded(out, h, std::min(t.count, 2));
                break;
            }
            case Tok::Minute:
                append_padded(out, minute, std::min(t.count, 2));
                break;
            case Tok::Second:
                append_padded(out, second, std::min(t.count, 2));
                break;
            case Tok::SubSecond: {
                out += '.';
                std::string digits;
                append_padded(digits, second_part, s.subsec_digits);
                for (int i = 0; i < t.count; ++i) {
                    out += i < static_cast<int>(digits.size()) ? digits[static_cast<std::size_t>(i)]
                                                               : '0';
                }
                break;
            }
            case Tok::AmPm:
                append_ampm(out, t, pm, s.japanese);
                break;
            case Tok::Era: {
                const Era& e = era_of(c);
                out += t.count == 1 ? e.letter : t.count == 2 ? e.kanji : e.name;
                break;
            }
            case Tok::EraYear: {
                int year = c.year - era_of(c).year + 1;
                if (year == 1 && s.gannen) {
                    out += "元";
                } else {
                    append_padded(out, year, std::min(t.count, 2));
                }
                break;
            }
            case Tok::ElapsedHour:
                append_padded(out, secs_total / 3600, t.count);
                break;
            case Tok::ElapsedMinute:
                append_padded(out, secs_total / 60, t.count);
                break;
            case Tok::ElapsedSecond:
                append_padded(out, secs_total, t.count);
                break;
            default:
                break;
        }
    }
    return out;
}

}  // namespace sheaflow::xl::native::numfmt::detail
