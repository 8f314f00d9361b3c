#pragma once
// The parsed form of a number format code, shared by the parser and the renderers of numfmt.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace sheaflow::xl::native::numfmt::detail {

enum class Tok : std::uint8_t {
    Literal,      // text shown as is (quoted text, escapes, `_x` padding, currency symbols)
    General,      // "General" / "G/標準"
    Digit,        // a digit placeholder: ch is '0', '#' or '?'
    Point,        // the decimal point
    Comma,        // thousands separator or scaling comma (resolved by the analysis)
    Percent,      // '%'
    Exponent,     // "E+" / "E-": ch is the sign character, text the letter as written
    Slash,        // '/': a fraction bar between placeholders, otherwise literal
    Denominator,  // a fixed fraction denominator such as the 8 of "?/8": count is the number
    Text,         // '@'
    Year,         // y: count letters
    Month,        // m as month: count letters
    Minute,       // m as minute
    Day,          // d: count 1-2 day of month, 3-4 weekday names
    WeekdayJa,    // aaa / aaaa: Japanese weekday
    Hour,
    Second,
    SubSecond,  // the digits of ".00" after seconds: count digits
    AmPm,       // text is the token as written ("AM/PM", "a/p", "午前/午後")
    Era,        // g: count letters
    EraYear,    // e: count letters
    ElapsedHour,
    ElapsedMinute,
    ElapsedSecond,
};

// Which number a digit placeholder belongs to.
enum class Field : std::uint8_t { None, Int, Frac, Exp, Num, Den };

struct Token {
    Tok type = Tok::Literal;
    char ch = 0;
    Field field = Field::None;
    int count = 0;  // letters of a date token; for a digit, its position in its field
    std::string text;
};

enum class Kind : std::uint8_t { Literal, General, Decimal, Scientific, Fraction, Date, Text };

enum class CondOp : std::uint8_t { None, Lt, Le, Gt, Ge, Eq, Ne };

struct Section {
    std::vector<Token> tokens;
    Kind kind = Kind::Literal;
    CondOp op = CondOp::None;
    double bound = 0;
    bool japanese = false;  // [$-411]: Japanese month and weekday names, 午前/午後
    bool gannen = false;    // era year 1 shown as 元
    bool has_text = false;  // contains '@'
    // Numbers: the value is multiplied by 10^shift (percent +2, scaling comma -3).
    int shift = 0;
    bool grouping = false;
    int int_count = 0;  // placeholders of the integer part (mantissa, whole part of a fraction)
    int frac_count = 0;
    int exp_count = 0;
    int num_count = 0;
    int den_count = 0;
    long long fixed_den = 0;  // > 0 for "?/8"
    // Dates.
    bool twelve_hour = false;
    int subsec_digits = 0;
};

struct Format {
    std::vector<Section> sections;
    std::vector<int> numeric;  // indexes of the sections that show numbers, in order
    int text_section = -1;
    bool conditional = false;  // a numeric section has a condition
    bool date = false;
};

// Parses a whole code; never fails.
Format parse(std::string_view code);

// The text of a number (absolute value) under General in a standard-width column.
std::string general_text(double magnitude);

// Renders a non-date number section for a non-negative value.
std::string render_number(const Section& s, double magnitude);

// Renders a date section; `value` may be negative (shown with a minus in the 1904 system).
std::string render_date(const Section& s, double value, bool date1904);

// Appends the UTF-8 character at s[i] to out and returns its length in bytes.
std::size_t utf8_char_length(std::string_view s, std::size_t i);

}  // namespace sheaflow::xl::native::numfmt::detail
