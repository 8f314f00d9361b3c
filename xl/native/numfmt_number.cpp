// Rendering of numbers: General, fixed decimals, scientific notation and fractions.
//
// Numbers are first turned into at most 15 significant decimal digits, as the application keeps
// them, and all further rounding works on those digits, half away from zero. So 2.675 under "0.00"
// shows 2.68 although the binary double is slightly below 2.675.

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string>

#include "xl/native/numfmt_detail.h"

namespace sheaflow::xl::native::numfmt::detail {
namespace {

// A non-negative decimal number 0.d1d2d3... x 10^point. No trailing zeros in digits; zero has
// no digits.
struct Decimal {
    std::string digits;
    int point = 0;

    bool zero() const { return digits.empty(); }
    // The digit of weight 10^(point-1-i), '0' outside the stored digits.
    char at(int i) const {
        return i >= 0 && i < static_cast<int>(digits.size()) ? digits[static_cast<std::size_t>(i)]
                                                             : '0';
    }
    // The integer part's digits, "" when it is zero.
    std::string int_digits() const {
        if (point <= 0 || zero()) return {};
        std::string out;
        for (int i = 0; i < point; ++i) out += at(i);
        return out;
    }
};

Decimal to_decimal(double magnitude) {
    Decimal d;
    if (!(magnitude > 0) || !std::isfinite(magnitude)) return d;
    // "d.dddddddddddddde+XX": 15 significant digits, correctly rounded.
    char buf[40];
    char* end =
        std::to_chars(buf, buf + sizeof buf, magnitude, std::chars_format::scientific, 14).ptr;
    char* e = std::find(buf, end, 'e');
    d.digits.reserve(15);
    d.digits += buf[0];
    d.digits.append(buf + 2, e);
    int exponent = 0;
    std::from_chars(e + (e[1] == '+' ? 2 : 1), end, exponent);
    d.point = exponent + 1;
    while (!d.digits.empty() && d.digits.back() == '0') d.digits.pop_back();
    return d;
}

// Rounds to `decimals` places after the point (negative: to tens, hundreds...), half away from
// zero.
Decimal round_to(Decimal d, int decimals) {
    if (d.zero()) return d;
    int keep = d.point + decimals;
    if (keep >= static_cast<int>(d.digits.size())) return d;
    if (keep < 0) return {};
    bool up = d.digits[static_cast<std::size_t>(keep)] >= '5';
    d.digits.resize(static_cast<std::size_t>(keep));
    if (up) {
        int i = keep - 1;
        while (i >= 0 && d.digits[static_cast<std::size_t>(i)] == '9') {
            d.digits[static_cast<std::size_t>(i)] = '0';
            --i;
        }
        if (i >= 0) {
            ++d.digits[static_cast<std::size_t>(i)];
        } else {
            d.digits.insert(d.digits.begin(), '1');
            ++d.point;
        }
    }
    while (!d.digits.empty() && d.digits.back() == '0') d.digits.pop_back();
    if (d.digits.empty()) d.point = 0;
    return d;
}

// General's scientific form in `width` characters: 1.23457E+11, 1E-05.
std::string general_scientific(const Decimal& value, int width) {
    auto exponent_text = [](int exponent) {
        int e = std::abs(exponent);
        return std::string(exponent < 0 ? "E-" : "E+") + (e < 10 ? "0" : "") + std::to_string(e);
    };
    int exponent = value.point - 1;
    int decimals = std::max(0, width - static_cast<int>(exponent_text(exponent).size()) - 2);
    Decimal m = value;
    m.point = 1;
    m = round_to(m, decimals);
    if (m.point > 1) {  // 9.999996 rounded up to 10: one more in the exponent
        ++exponent;
        m.point = 1;
    }
    std::string out(1, m.at(0));
    if (m.digits.size() > 1) out += '.' + m.digits.substr(1);
    return out + exponent_text(exponent);
}

// Appends the integer digits that the placeholder at position `pos` (counted from the right)
// shows, with the thousands separators after it. The leftmost placeholder also shows every digit
// beyond the placeholders.
void append_int_digits(std::string& out, const std::string& digits, char placeholder, int pos,
                       bool leftmost, bool grouping) {
    int n = static_cast<int>(digits.size());
    int top = leftmost ? std::max(pos, n - 1) : pos;
    for (int p = top; p >= pos; --p) {
        bool shown;
        if (p < n) {
            out += digits[static_cast<std::size_t>(n - 1 - p)];
            shown = true;
        } else if (placeholder == '0') {
            out += '0';
            shown = true;
        } else {
            if (placeholder == '?') out += ' ';
            shown = false;
        }
        if (shown && grouping && p > 0 && p % 3 == 0) out += ',';
    }
}

std::string render_decimal(const Section& s, double magnitude) {
    Decimal d = to_decimal(magnitude);
    if (!d.zero()) d.point += s.shift;
    d = round_to(d, s.frac_count);
    std::string ints = d.int_digits();
    // Decimal places: trailing zeros vanish under '#' and become spaces under '?'.
    std::string frac;
    for (int i = 0; i < s.frac_count; ++i) frac += d.at(d.point + i);
    std::string frac_places;
    for (const Token& t : s.tokens) {
        if (t.type == Tok::Digit && t.field == Field::Frac) frac_places += t.ch;
    }
    std::string frac_text = frac;
    for (int i = s.frac_count - 1; i >= 0; --i) {
        char ph = frac_places[static_cast<std::size_t>(i)];
        if (ph == '0' || frac[static_cast<std::size_t>(i)] != '0') break;
        frac_text[static_cast<std::size_t>(i)] = ph == '?' ? ' ' : '\0';
    }
    std::string out;
    bool ints_done = false;
    for (const Token& t : s.tokens) {
        switch (t.type) {
            case Tok::Literal:
                out += t.text;
                break;
            case Tok::Percent:
                out += '%';
                break;
            case Tok::Point:
                if (s.int_count == 0 && !ints_done) {
                    append_int_digits(out, ints, '#', 0, true, s.grouping);
                    ints_done = true;
                }
                out += '.';
                break;
            case Tok::Digit:
                if (t.field == Field::Int) {
                    append_int_digits(out, ints, t.ch, t.count, t.count == s.int_count - 1,
                                      s.grouping);
                } else if (char c = frac_text[static_cast<std::size_t>(t.count)]; c != '\0') {
                    out += c;
                }
                break;
            default:
                break;
        }
    }
    return out;
}

std::string render_scientific(const Section& s, double magnitude) {
    Decimal d = to_decimal(magnitude);
    if (!d.zero()) d.point += s.shift;
    int exponent = 0;
    if (!d.zero()) {
        int e10 = d.point - 1;
        if (s.int_count <= 1) {
            exponent = s.int_count == 1 ? e10 : e10 + 1;
        } else {
            // Engineering style: "##0.0E+0" keeps the exponent a multiple of 3.
            int n = s.int_count;
            exponent = (e10 >= 0 ? e10 / n : -((-e10 + n - 1) / n)) * n;
        }
        d.point -= exponent;
        d = round_to(d, s.frac_count);
        int step = std::max(s.int_count, 1);
        if (d.point > s.int_count && !d.zero()) {
            exponent += step;
            d.point -= step;
        }
    }
    std::string ints = d.int_digits();
    std::string exp_digits = std::to_string(std::abs(exponent));
    std::string out;
    for (const Token& t : s.tokens) {
        switch (t.type) {
            case Tok::Literal:
                out += t.text;
                break;
            case Tok::Percent:
                out += '%';
                break;
            case Tok::Point:
                if (s.int_count == 0) append_int_digits(out, ints, '#', 0, true, false);
                out += '.';
                break;
            case Tok::Exponent:
                out += t.text;
                if (exponent < 0) {
                    out += '-';
                } else if (t.ch == '+') {
                    out += '+';
                }
                break;
            case Tok::Digit:
                if (t.field == Field::Int) {
                    append_int_digits(out, ints, t.ch, t.count, t.count == s.int_count - 1, false);
                } else if (t.field == Field::Frac) {
                    out += d.at(d.point + t.count);
                } else if (t.field == Field::Exp) {
                    // At least one exponent digit shows, even under '#'.
                    char ph = t.ch == '#' && t.count == 0 ? '0' : t.ch;
                    append_int_digits(out, exp_digits, ph, t.count, t.count == s.exp_count - 1,
                                      false);
                }
                break;
            default:
                break;
        }
    }
    return out;
}

// The closest fraction num/den to `x` with den up to `max_den` (the smallest such den on ties).
// Small limits are searched denominator by denominator; large ones ("??????" codes) through the
// continued fraction of `x`, whose convergents and semiconvergents are the best approximations,
// so that a nine-digit denominator costs a few steps rather than a billion.
void best_fraction(double x, long long max_den, long long& num, long long& den) {
    num = std::llround(x);
    den = 1;
    double best = std::fabs(x - static_cast<double>(num));
    if (max_den <= 9999) {
        for (long long q = 2; q <= max_den && best > 0; ++q) {
            long long p = std::llround(x * static_cast<double>(q));
            double err = std::fabs(x - static_cast<double>(p) / static_cast<double>(q));
            if (err < best - 1e-12) {
                best = err;
                num = p;
                den = q;
            }
        }
        return;
    }
    auto consider = [&](long long p, long long q) {
        double err = std::fabs(x - static_cast<double>(p) / static_cast<double>(q));
        if (err < best - 1e-12 || (err <= best + 1e-12 && q < den)) {
            best = err;
            num = p;
            den = q;
        }
    };
    // h/k are the convergents: h(-1)/k(-1) = 1/0, h(0)/k(0) = a0/1.
    double a = std::floor(x);
    long long h_prev = 1, k_prev = 0;
    auto h = static_cast<long long>(a);
    long long k = 1;
    double rest = x - a;
    for (int step = 0; step < 64 && rest > 1e-15 && best > 0; ++step) {
        double inv = 1.0 / rest;
        double next = std::floor(inv);
        if (next > 1e15) break;
        auto ai = static_cast<long long>(next);
        if (k > 0 && ai > (max_den - k_prev) / k) {
            // The next convergent's denominator passes the limit: the best semiconvergent left.
            long long t = (max_den - k_prev) / k;
            if (t > 0) consider(t * h + h_prev, t * k + k_prev);
            break;
        }
        long long h_next = ai * h + h_prev, k_next = ai * k + k_prev;
        h_prev = h;
        k_prev = k;
        h = h_next;
        k = k_next;
        consider(h, k);
        rest = inv - next;
    }
}

std::string render_fraction(const Section& s, double magnitude) {
    double x = magnitude * std::pow(10.0, s.shift);
    long long whole = 0;
    if (s.int_count > 0) {
        whole = static_cast<long long>(std::floor(x));
        x -= static_cast<double>(whole);
    }
    long long num = 0;
    long long den = 1;
    if (s.fixed_den > 0) {
        den = s.fixed_den;
        num = std::llround(x * static_cast<double>(den));
    } else {
        long long max_den = 1;
        for (int i = 0; i < s.den_count && max_den < 100000000; ++i) max_den *= 10;
        best_fraction(x, std::max(1LL, max_den - 1), num, den);
    }
    if (s.int_count > 0 && num == den) {
        ++whole;
        num = 0;
    }
    // With a whole part, a zero fraction is blanked out; the whole part then shows even "0".
    bool blank = s.int_count > 0 && num == 0;
    std::string whole_digits = whole > 0 ? std::to_string(whole) : std::string();
    if (blank && whole_digits.empty()) whole_digits = "0";
    std::string num_digits = std::to_string(num);
    std::string den_digits = std::to_string(den);
    std::string out;
    for (const Token& t : s.tokens) {
        std::size_t before = out.size();
        switch (t.type) {
            case Tok::Literal:
                out += t.text;
                break;
            case Tok::Percent:
                out += '%';
                break;
            case Tok::Slash:
                out += '/';
                break;
            case Tok::Denominator:
                out += den_digits;
                break;
            case Tok::Digit:
                if (t.field == Field::Int) {
                    append_int_digits(out, whole_digits, t.ch, t.count, t.count == s.int_count - 1,
                                      false);
                } else if (t.field == Field::Num) {
                    append_int_digits(out, num_digits, t.ch, t.count, t.count == s.num_count - 1,
                                      false);
                } else if (t.field == Field::Den && s.fixed_den == 0) {
                    // Denominator digits are left-aligned: padding goes to the right.
                    int i = t.count;
                    int last = t.count == s.den_count - 1
                                   ? std::max(i, static_cast<int>(den_digits.size()) - 1)
                                   : i;
                    for (int k = i; k <= last; ++k) {
                        if (k < static_cast<int>(den_digits.size())) {
                            out += den_digits[static_cast<std::size_t>(k)];
                        } else if (t.ch == '0') {
                            out += '0';
                        } else if (t.ch == '?') {
                            out += ' ';
                        }
                    }
                }
                break;
            default:
                break;
        }
        bool in_fraction = t.field == Field::Num || t.field == Field::Den;
        if (blank && in_fraction) out.replace(before, std::string::npos, out.size() - before, ' ');
    }
    return out;
}

}  // namespace

std::string general_text(double magnitude) {
    constexpr int kWidth = 11;
    Decimal d = to_decimal(magnitude);
    if (d.zero()) return "0";
    int e10 = d.point - 1;
    if (e10 >= -4 && e10 < kWidth) {  // 0.0001 stays fixed, 0.00001 is 1E-05
        int int_len = std::max(1, d.point);
        int decimals = std::max(0, kWidth - int_len - 1);
        Decimal r = round_to(d, decimals);
        if (r.zero()) return "0";
        if (r.point <= kWidth) {
            std::string ints = r.int_digits();
            if (ints.empty()) ints = "0";
            std::string frac;
            for (int i = r.point; i < static_cast<int>(r.digits.size()); ++i) frac += r.at(i);
            return frac.empty() ? ints : ints + '.' + frac;
        }
    }
    return general_scientific(d, kWidth);
}

std::string render_number(const Section& s, double magnitude) {
    switch (s.kind) {
        case Kind::Decimal:
            return render_decimal(s, magnitude);
        case Kind::Scientific:
            return render_scientific(s, magnitude);
        case Kind::Fraction:
            return render_fraction(s, magnitude);
        case Kind::General:
        case Kind::Literal:
        case Kind::Text: {
            std::string out;
            for (const Token& t : s.tokens) {
                if (t.type == Tok::Literal) out += t.text;
                if (t.type == Tok::General) out += general_text(magnitude);
            }
            return out;
        }
        case Kind::Date:
            break;
    }
    return {};
}

}  // namespace sheaflow::xl::native::numfmt::detail
