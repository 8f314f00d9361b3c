// Parsing of number format codes into sections of tokens, and the analysis that tells a section's
// kind and numbers its digit placeholders.

#include <algorithm>
#include <charconv>

#include "xl/native/numfmt_detail.h"

namespace sheaflow::xl::native::numfmt::detail {
namespace {

char lower_ascii(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

bool starts_with_ci(std::string_view s, std::size_t i, std::string_view what) {
    if (s.size() - i < what.size()) return false;
    for (std::size_t k = 0; k < what.size(); ++k) {
        if (lower_ascii(s[i + k]) != lower_ascii(what[k])) return false;
    }
    return true;
}

// Splits a code at the semicolons that separate sections (not inside quotes, brackets or after an
// escape character).
std::vector<std::string_view> split_sections(std::string_view code) {
    std::vector<std::string_view> out;
    std::size_t start = 0;
    std::size_t i = 0;
    while (i < code.size()) {
        char c = code[i];
        if (c == '"') {
            std::size_t close = code.find('"', i + 1);
            i = close == std::string_view::npos ? code.size() : close + 1;
        } else if (c == '[') {
            std::size_t close = code.find(']', i + 1);
            i = close == std::string_view::npos ? code.size() : close + 1;
        } else if (c == '\\' || c == '!' || c == '_' || c == '*') {
            ++i;
            if (i < code.size()) i += utf8_char_length(code, i);
        } else if (c == ';') {
            out.push_back(code.substr(start, i - start));
            start = ++i;
        } else {
            i += utf8_char_length(code, i);
        }
    }
    out.push_back(code.substr(start));
    return out;
}

void add_literal(std::vector<Token>& tokens, std::string_view text) {
    if (text.empty()) return;
    if (!tokens.empty() && tokens.back().type == Tok::Literal) {
        tokens.back().text.append(text);
        return;
    }
    Token t;
    t.type = Tok::Literal;
    t.text = std::string(text);
    tokens.push_back(std::move(t));
}

void add_token(std::vector<Token>& tokens, Tok type, int count = 0, char ch = 0,
               std::string text = {}) {
    Token t;
    t.type = type;
    t.count = count;
    t.ch = ch;
    t.text = std::move(text);
    tokens.push_back(std::move(t));
}

// What a "[...]" group said about the section.
struct BracketInfo {
    bool long_date = false;
    bool long_time = false;
};

void parse_bracket(std::string_view body, Section& s, std::vector<Token>& tokens,
                   BracketInfo& info) {
    if (body.empty()) return;
    char first = body[0];
    if (first == '$') {
        // [$sym-locale]: a currency symbol shown literally, and a locale.
        std::string_view rest = body.substr(1);
        std::size_t dash = rest.find('-');
        std::string_view symbol = rest.substr(0, dash);
        add_literal(tokens, symbol);
        if (dash == std::string_view::npos) return;
        std::string_view locale = rest.substr(dash + 1);
        if (locale.find("gannen") != std::string_view::npos) s.gannen = true;
        if (locale == "x-sysdate") info.long_date = true;
        if (locale == "x-systime") info.long_time = true;
        if (starts_with_ci(locale, 0, "ja")) {
            s.japanese = true;
            return;
        }
        unsigned long id = 0;
        auto [ptr, ec] = std::from_chars(locale.data(), locale.data() + locale.size(), id, 16);
        if (ec != std::errc()) return;
        if (id == 0xF800) {
            info.long_date = true;
        } else if (id == 0xF400) {
            info.long_time = true;
        } else if ((id & 0xFFFF) == 0x411) {
            s.japanese = true;
        }
        return;
    }
    if (first == '<' || first == '>' || first == '=') {
        std::size_t k = 1;
        CondOp op = CondOp::Eq;
        if (first == '<') {
            op = CondOp::Lt;
            if (body.size() > 1 && body[1] == '=') op = CondOp::Le, k = 2;
            if (body.size() > 1 && body[1] == '>') op = CondOp::Ne, k = 2;
        } else if (first == '>') {
            op = CondOp::Gt;
            if (body.size() > 1 && body[1] == '=') op = CondOp::Ge, k = 2;
        }
        std::string_view number = body.substr(k);
        if (number.starts_with('+')) number.remove_prefix(1);
        double bound = 0;
        auto [ptr, ec] = std::from_chars(number.data(), number.data() + number.size(), bound);
        if (ec != std::errc()) return;
        s.op = op;
        s.bound = bound;
        return;
    }
    // [h], [hh], [mm], [ss]: elapsed time.
    char letter = lower_ascii(first);
    if (letter == 'h' || letter == 'm' || letter == 's') {
        bool same = true;
        for (char c : body) same = same && lower_ascii(c) == letter;
        if (same) {
            Tok type = letter == 'h'   ? Tok::ElapsedHour
                       : letter == 'm' ? Tok::ElapsedMinute
                                       : Tok::ElapsedSecond;
            add_token(tokens, type, static_cast<int>(body.size()));
            return;
        }
    }
    // Colours ([Red], [赤], [Color10], [色10]), [DBNum1] and the like change nothing in the text.
}

int run_length(std::string_view s, std::size_t i) {
    char c = lower_ascii(s[i]);
    std::size_t k = i;
    while (k < s.size() && lower_ascii(s[k]) == c) ++k;
    return static_cast<int>(k - i);
}

// Turns one section's text into tokens and the section attributes of its brackets.
void tokenize(std::string_view src, Section& s, BracketInfo& info) {
    std::vector<Token>& tokens = s.tokens;
    std::size_t i = 0;
    while (i < src.size()) {
        char c = src[i];
        char lc = lower_ascii(c);
        if (c == '"') {
            std::size_t close = src.find('"', i + 1);
            if (close == std::string_view::npos) close = src.size();
            add_literal(tokens, src.substr(i + 1, close - i - 1));
            i = close + 1;
        } else if (c == '\\' || c == '!') {
            ++i;
            if (i < src.size()) {
                std::size_t n = utf8_char_length(src, i);
                add_literal(tokens, src.substr(i, n));
                i += n;
            }
        } else if (c == '_') {
            // Padding the width of a character: one space in the text.
            ++i;
            if (i < src.size()) i += utf8_char_length(src, i);
            add_literal(tokens, " ");
        } else if (c == '*') {
            // Repeating a character to fill the column: nothing in the text.
            ++i;
            if (i < src.size()) i += utf8_char_length(src, i);
        } else if (c == '[') {
            std::size_t close = src.find(']', i + 1);
            if (close == std::string_view::npos) close = src.size();
            parse_bracket(src.substr(i + 1, close - i - 1), s, tokens, info);
            i = close + 1;
        } else if (starts_with_ci(src, i, "general")) {
            add_token(tokens, Tok::General);
            i += 7;
        } else if (src.substr(i).starts_with("G/標準")) {
            add_token(tokens, Tok::General);
            i += std::string_view("G/標準").size();
        } else if (c == '0' || c == '#' || c == '?') {
            add_token(tokens, Tok::Digit, 0, c);
            ++i;
        } else if (c == '.') {
            add_token(tokens, Tok::Point);
            ++i;
        } else if (c == ',') {
            add_token(tokens, Tok::Comma);
            ++i;
        } else if (c == '%') {
            add_token(tokens, Tok::Percent);
            ++i;
        } else if (c == '@') {
            add_token(tokens, Tok::Text);
            s.has_text = true;
            ++i;
        } else if (c == '/') {
            add_token(tokens, Tok::Slash);
            ++i;
            if (i < src.size() && src[i] >= '1' && src[i] <= '9') {
                std::size_t k = i;
                long long den = 0;
                while (k < src.size() && src[k] >= '0' && src[k] <= '9' && den < 100000000) {
                    den = den * 10 + (src[k] - '0');
                    ++k;
                }
                add_token(tokens, Tok::Denominator, 0, 0, std::string(src.substr(i, k - i)));
                tokens.back().count = static_cast<int>(den);
                i = k;
            }
        } else if (lc == 'e' && i + 2 < src.size() && (src[i + 1] == '+' || src[i + 1] == '-') &&
                   (src[i + 2] == '0' || src[i + 2] == '#' || src[i + 2] == '?')) {
            add_token(tokens, Tok::Exponent, 0, src[i + 1], std::string(1, c));
            i += 2;
        } else if (starts_with_ci(src, i, "am/pm")) {
            add_token(tokens, Tok::AmPm, 0, 0, std::string(src.substr(i, 5)));
            i += 5;
        } else if (starts_with_ci(src, i, "a/p")) {
            add_token(tokens, Tok::AmPm, 0, 0, std::string(src.substr(i, 3)));
            i += 3;
        } else if (src.substr(i).starts_with("午前/午後")) {
            std::string_view token = "午前/午後";
            add_token(tokens, Tok::AmPm, 0, 0, std::string(token));
            i += token.size();
        } else if (lc == 'y' || lc == 'm' || lc == 'd' || lc == 'h' || lc == 's' || lc == 'g' ||
                   lc == 'e') {
            int n = run_length(src, i);
            Tok type = lc == 'y'   ? Tok::Year
                       : lc == 'm' ? Tok::Month
                       : lc == 'd' ? Tok::Day
                       : lc == 'h' ? Tok::Hour
                       : lc == 's' ? Tok::Second
                       : lc == 'g' ? Tok::Era
                                   : Tok::EraYear;
            add_token(tokens, type, n);
            i += static_cast<std::size_t>(n);
        } else if (lc == 'a' && run_length(src, i) >= 3) {
            int n = run_length(src, i);
            add_token(tokens, Tok::WeekdayJa, n);
            i += static_cast<std::size_t>(n);
        } else {
            std::size_t n = utf8_char_length(src, i);
            add_literal(tokens, src.substr(i, n));
            i += n;
        }
    }
}

bool is_date_token(Tok t) {
    switch (t) {
        case Tok::Year:
        case Tok::Month:
        case Tok::Minute:
        case Tok::Day:
        case Tok::WeekdayJa:
        case Tok::Hour:
        case Tok::Second:
        case Tok::SubSecond:
        case Tok::AmPm:
        case Tok::Era:
        case Tok::EraYear:
        case Tok::ElapsedHour:
        case Tok::ElapsedMinute:
        case Tok::ElapsedSecond:
            return true;
        default:
            return false;
    }
}

// Characters that a token stands for when it has no meaning in its section.
std::string literal_form(const Token& t) {
    switch (t.type) {
        case Tok::Digit:
            return std::string(1, t.ch);
        case Tok::Point:
            return ".";
        case Tok::Comma:
            return ",";
        case Tok::Percent:
            return "%";
        case Tok::Slash:
            return "/";
        case Tok::Exponent:
            return t.text + t.ch;
        default:
            return t.text;
    }
}

// Rebuilds the token list with the given tokens turned into literal text, merging neighbours.
void literalize(std::vector<Token>& tokens, auto keep) {
    std::vector<Token> out;
    for (Token& t : tokens) {
        if (keep(t)) {
            out.push_back(std::move(t));
        } else {
            add_literal(out, literal_form(t));
        }
    }
    tokens = std::move(out);
}

void analyse_date(Section& s) {
    s.kind = Kind::Date;
    std::vector<Token>& tk = s.tokens;
    // Sub-seconds: a point followed by zeros.
    for (std::size_t i = 0; i + 1 < tk.size(); ++i) {
        if (tk[i].type != Tok::Point || tk[i + 1].type != Tok::Digit || tk[i + 1].ch != '0') {
            continue;
        }
        int n = 0;
        std::size_t k = i + 1;
        while (k < tk.size() && tk[k].type == Tok::Digit && tk[k].ch == '0') ++k, ++n;
        tk[i].type = Tok::SubSecond;
        tk[i].count = n;
        tk.erase(tk.begin() + static_cast<std::ptrdiff_t>(i + 1),
                 tk.begin() + static_cast<std::ptrdiff_t>(k));
        s.subsec_digits = std::max(s.subsec_digits, std::min(n, 3));
    }
    // m is a minute right after an hour or right before a second (literals between allowed).
    auto prev_date = [&](std::size_t i) -> const Token* {
        for (std::size_t k = i; k-- > 0;) {
            if (is_date_token(tk[k].type) && tk[k].type != Tok::AmPm) return &tk[k];
        }
        return nullptr;
    };
    auto next_date = [&](std::size_t i) -> const Token* {
        for (std::size_t k = i + 1; k < tk.size(); ++k) {
            if (is_date_token(tk[k].type) && tk[k].type != Tok::AmPm &&
                tk[k].type != Tok::SubSecond) {
                return &tk[k];
            }
        }
        return nullptr;
    };
    for (std::size_t i = 0; i < tk.size(); ++i) {
        if (tk[i].type != Tok::Month || tk[i].count > 2) continue;
        const Token* p = prev_date(i);
        const Token* n = next_date(i);
        if ((p && (p->type == Tok::Hour || p->type == Tok::ElapsedHour)) ||
            (n && (n->type == Tok::Second || n->type == Tok::ElapsedSecond))) {
            tk[i].type = Tok::Minute;
        }
    }
    for (const Token& t : tk) {
        if (t.type == Tok::AmPm) s.twelve_hour = true;
    }
    literalize(tk, [](const Token& t) { return t.type == Tok::Literal || is_date_token(t.type); });
}

// Numbers the digit placeholders of a plain decimal number and resolves its commas.
void analyse_decimal(Section& s) {
    s.kind = Kind::Decimal;
    std::vector<Token>& tk = s.tokens;
    bool after_point = false;
    std::size_t point_at = tk.size();
    for (std::size_t i = 0; i < tk.size(); ++i) {
        Token& t = tk[i];
        if (t.type == Tok::Point) {
            if (after_point) {
                t.type = Tok::Literal;
                t.text = ".";
            } else {
                after_point = true;
                point_at = i;
            }
        } else if (t.type == Tok::Digit) {
            t.field = after_point ? Field::Frac : Field::Int;
            (after_point ? s.frac_count : s.int_count)++;
        }
    }
    // Commas: between integer placeholders they group thousands; right after the last
    // placeholder each one divides by 1000; anywhere else they are literal.
    for (std::size_t i = 0; i < tk.size(); ++i) {
        if (tk[i].type != Tok::Comma) continue;
        std::size_t end = i;
        while (end < tk.size() && tk[end].type == Tok::Comma) ++end;
        bool after_digit = i > 0 && tk[i - 1].type == Tok::Digit;
        bool before_int_digit =
            end < tk.size() && tk[end].type == Tok::Digit && tk[end].field == Field::Int;
        bool digits_follow = false;
        for (std::size_t k = end; k < tk.size(); ++k) {
            digits_follow = digits_follow || tk[k].type == Tok::Digit;
        }
        if (after_digit && before_int_digit) {
            s.grouping = true;
        } else if (after_digit && (!digits_follow || end == point_at)) {
            s.shift -= 3 * static_cast<int>(end - i);  // "#,##0," and "0,.0" show thousands
        } else {
            for (std::size_t k = i; k < end; ++k) tk[k].type = Tok::Literal, tk[k].text = ",";
            continue;
        }
        for (std::size_t k = i; k < end; ++k) tk[k].type = Tok::Comma;
        i = end - 1;
    }
    int pos = s.int_count;
    int frac = 0;
    for (Token& t : tk) {
        if (t.type != Tok::Digit) continue;
        t.count = t.field == Field::Int ? --pos : frac++;
    }
    literalize(tk, [](const Token& t) {
        return t.type == Tok::Literal || t.type == Tok::Digit || t.type == Tok::Point ||
               t.type == Tok::Comma || t.type == Tok::Percent;
    });
    // The resolved commas carry no text: drop them now that the shift and grouping are known.
    std::erase_if(tk, [](const Token& t) { return t.type == Tok::Comma; });
}

void analyse_scientific(Section& s) {
    s.kind = Kind::Scientific;
    std::vector<Token>& tk = s.tokens;
    Field field = Field::Int;
    bool seen_exp = false;
    for (Token& t : tk) {
        if (t.type == Tok::Exponent) {
            if (seen_exp) {
                t.type = Tok::Literal;
                t.text = literal_form(t);
                continue;
            }
            seen_exp = true;
            field = Field::Exp;
        } else if (t.type == Tok::Point) {
            if (field == Field::Int) {
                field = Field::Frac;
            } else {
                t.type = Tok::Literal;
                t.text = ".";
            }
        } else if (t.type == Tok::Digit) {
            t.field = field;
            (field == Field::Int    ? s.int_count
             : field == Field::Frac ? s.frac_count
                                    : s.exp_count)++;
        }
    }
    int ipos = s.int_count;
    int epos = s.exp_count;
    int fpos = 0;
    for (Token& t : tk) {
        if (t.type != Tok::Digit) continue;
        t.count = t.field == Field::Int ? --ipos : t.field == Field::Frac ? fpos++ : --epos;
    }
    literalize(tk, [](const Token& t) {
        return t.type == Tok::Literal || t.type == Tok::Digit || t.type == Tok::Point ||
               t.type == Tok::Percent || t.type == Tok::Exponent;
    });
}

// A fraction: [whole placeholders] literal numerator '/' denominator.
bool analyse_fraction(Section& s) {
    std::vector<Token>& tk = s.tokens;
    std::size_t slash = tk.size();
    for (std::size_t i = 1; i + 1 < tk.size(); ++i) {
        if (tk[i].type == Tok::Slash && tk[i - 1].type == Tok::Digit &&
            (tk[i + 1].type == Tok::Digit || tk[i + 1].type == Tok::Denominator)) {
            slash = i;
            break;
        }
    }
    if (slash == tk.size()) return false;
    s.kind = Kind::Fraction;
    std::size_t num_begin = slash;
    while (num_begin > 0 && tk[num_begin - 1].type == Tok::Digit) --num_begin;
    for (std::size_t i = num_begin; i < slash; ++i) tk[i].field = Field::Num;
    s.num_count = static_cast<int>(slash - num_begin);
    for (std::size_t i = 0; i < num_begin; ++i) {
        if (tk[i].type == Tok::Digit) tk[i].field = Field::Int, ++s.int_count;
    }
    std::size_t k = slash + 1;
    if (tk[k].type == Tok::Denominator) {
        s.fixed_den = tk[k].count;
        tk[k].field = Field::Den;
    } else {
        while (k < tk.size() && tk[k].type == Tok::Digit) {
            tk[k].field = Field::Den;
            ++s.den_count;
            ++k;
        }
    }
    int ipos = s.int_count;
    int npos = s.num_count;
    int dpos = 0;
    for (Token& t : tk) {
        if (t.type != Tok::Digit) continue;
        switch (t.field) {
            case Field::Int:
                t.count = --ipos;
                break;
            case Field::Num:
                t.count = --npos;
                break;
            case Field::Den:
                t.count = dpos++;
                break;
            default:
                break;
        }
    }
    tk[slash].field = Field::Den;  // the fraction bar, blanked with the fraction
    literalize(tk, [](const Token& t) {
        return t.type == Tok::Literal || t.type == Tok::Percent ||
               (t.type == Tok::Digit && t.field != Field::None) ||
               (t.type == Tok::Slash && t.field == Field::Den) ||
               (t.type == Tok::Denominator && t.field == Field::Den);
    });
    for (const Token& t : tk) {
        if (t.type == Tok::Percent) s.shift += 2;
    }
    return true;
}

void analyse(Section& s, const BracketInfo& info) {
    if (info.long_date || info.long_time) {
        // The system's long date or time format replaces the section's own date tokens.
        Section repl;
        BracketInfo none;
        tokenize(info.long_date ? "yyyy\"年\"m\"月\"d\"日\"" : "h:mm:ss", repl, none);
        s.tokens = std::move(repl.tokens);
        s.japanese = true;
    }
    bool date = false, general = false, digits = false, exponent = false;
    for (const Token& t : s.tokens) {
        date = date || is_date_token(t.type);
        general = general || t.type == Tok::General;
        digits = digits || t.type == Tok::Digit;
        exponent = exponent || t.type == Tok::Exponent;
    }
    if (date) {
        analyse_date(s);
        return;
    }
    int percents = 0;
    for (const Token& t : s.tokens) percents += t.type == Tok::Percent;
    if (general) {
        s.kind = Kind::General;
        literalize(s.tokens, [](const Token& t) {
            return t.type == Tok::Literal || t.type == Tok::General || t.type == Tok::Text;
        });
        return;
    }
    if (digits && exponent) {
        analyse_scientific(s);
        s.shift = 2 * percents;
        return;
    }
    if (digits && analyse_fraction(s)) return;
    if (digits) {
        analyse_decimal(s);
        s.shift += 2 * percents;
        return;
    }
    s.kind = s.has_text ? Kind::Text : Kind::Literal;
    literalize(s.tokens,
               [](const Token& t) { return t.type == Tok::Literal || t.type == Tok::Text; });
}

}  // namespace

std::size_t utf8_char_length(std::string_view s, std::size_t i) {
    auto c = static_cast<unsigned char>(s[i]);
    std::size_t n = c < 0x80 ? 1 : c < 0xE0 ? 2 : c < 0xF0 ? 3 : 4;
    if (c >= 0x80 && c < 0xC0) n = 1;  // a stray continuation byte
    return std::min(n, s.size() - i);
}

Format parse(std::string_view code) {
    Format f;
    if (code.empty()) code = "General";
    std::vector<std::string_view> parts = split_sections(code);
    if (parts.size() > 4) parts.resize(4);
    for (std::string_view part : parts) {
        Section s;
        BracketInfo info;
        tokenize(part, s, info);
        analyse(s, info);
        f.sections.push_back(std::move(s));
    }
    // The text section is the fourth, or a last section holding '@'.
    int n = static_cast<int>(f.sections.size());
    if (n == 4) {
        f.text_section = 3;
    } else if (f.sections.back().has_text && f.sections.back().kind != Kind::Date) {
        f.text_section = n - 1;
    }
    for (int i = 0; i < n && i < 3; ++i) {
        if (i == f.text_section) continue;
        f.numeric.push_back(i);
        const Section& s = f.sections[static_cast<std::size_t>(i)];
        f.conditional = f.conditional || s.op != CondOp::None;
        f.date = f.date || s.kind == Kind::Date;
    }
    return f;
}

}  // namespace sheaflow::xl::native::numfmt::detail
