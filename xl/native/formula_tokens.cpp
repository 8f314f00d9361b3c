// The formula tokenizer and the grammar check over its tokens. Formulas are read as the package
// stores them (English function names, "," between arguments, ";" between array rows).

#include "xl/native/formula_tokens.h"

#include <algorithm>
#include <array>

#include "xl/xl.h"

namespace sheaflow::xl {

namespace native {

namespace {
bool is_alpha(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool is_digit(char c) { return c >= '0' && c <= '9'; }
}  // namespace

bool parse_ref_part(std::string_view w, RefPart& p) {
    p = {};
    std::size_t i = 0;
    if (i < w.size() && w[i] == '$') {
        p.col_abs = true;
        ++i;
    }
    std::size_t letters_begin = i;
    while (i < w.size() && is_alpha(w[i])) ++i;
    std::string_view letters = w.substr(letters_begin, i - letters_begin);
    if (letters.empty() && p.col_abs) {
        // "$5": an absolute row on its own.
        p.col_abs = false;
        p.row_abs = true;
    }
    if (!letters.empty()) {
        if (letters.size() > 3) return false;
        p.col = column_number(letters);
        if (p.col == 0) return false;
    }
    if (i < w.size() && w[i] == '$') {
        if (letters.empty()) return false;
        p.row_abs = true;
        ++i;
    }
    std::size_t digits_begin = i;
    while (i < w.size() && is_digit(w[i])) ++i;
    if (i != w.size()) return false;
    std::string_view digits = w.substr(digits_begin);
    if (!digits.empty()) {
        if (digits.size() > 7 || digits[0] == '0') return false;
        for (char c : digits) p.row = p.row * 10 + (c - '0');
        if (p.row > kGridRows) return false;
    }
    if (p.row_abs && digits.empty()) return false;
    return p.col != 0 || p.row != 0;
}

std::string ref_part_text(const RefPart& p) {
    std::string s;
    if (p.col) {
        if (p.col_abs) s += '$';
        s += column_letters(p.col);
    }
    if (p.row) {
        if (p.row_abs) s += '$';
        s += std::to_string(p.row);
    }
    return s;
}

}  // namespace native

namespace {

using native::is_formula_word_char;
using native::parse_ref_part;
using native::RefPart;

bool is_space(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }
bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_alpha(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

std::string upper_ascii(std::string_view s) {
    std::string u(s);
    for (char& c : u)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return u;
}

// The error values of the grammar, longest first where one begins another.
constexpr std::array<std::string_view, 15> kErrors = {
    "#GETTING_DATA", "#DIV/0!", "#VALUE!",   "#NULL!",  "#NAME?", "#NUM!",   "#N/A", "#REF!",
    "#SPILL!",       "#CALC!",  "#BLOCKED!", "#FIELD!", "#BUSY!", "#CONNECT!", "#UNKNOWN!"};

bool operand_end(const FormulaToken* t) {
    if (!t) return false;
    switch (t->kind) {
        case TokenKind::Reference:
        case TokenKind::Name:
        case TokenKind::Table:
        case TokenKind::Close:
        case TokenKind::Error:
            return true;
        default:
            return false;
    }
}

class Tokenizer {
public:
    explicit Tokenizer(std::string_view f) : f_(f) {}

    std::vector<FormulaToken> run() {
        if (!f_.empty() && f_[0] == '=') i_ = 1;
        while (i_ < f_.size()) next();
        return std::move(out_);
    }

private:
    std::size_t quoted_end(std::size_t i, char q) const {
        std::size_t j = i + 1;
        while (j < f_.size()) {
            if (f_[j] == q) {
                if (j + 1 < f_.size() && f_[j + 1] == q) {
                    j += 2;
                    continue;
                }
                return j + 1;
            }
            ++j;
        }
        return std::string_view::npos;  // not closed
    }
    // The end of a bracketed part starting at `i` ("[" ... "]", nested, "'" escaping the next
    // character as structured references do); npos when not closed.
    std::size_t bracket_end(std::size_t i) const {
        int depth = 0;
        for (std::size_t j = i; j < f_.size(); ++j) {
            char c = f_[j];
            if (c == '\'' && depth > 0) {
                ++j;
            } else if (c == '[') {
                ++depth;
            } else if (c == ']' && --depth == 0) {
                return j + 1;
            }
        }
        return std::string_view::npos;
    }
    std::size_t word_end(std::size_t i) const {
        while (i < f_.size() && is_formula_word_char(f_[i])) ++i;
        return i;
    }

    FormulaToken& push(TokenKind kind, std::size_t begin, std::size_t end) {
        FormulaToken t;
        t.kind = kind;
        t.position = begin;
        t.text = std::string(f_.substr(begin, end - begin));
        t.body = t.text;
        out_.push_back(std::move(t));
        i_ = end;
        return out_.back();
    }
    const FormulaToken* last_significant() const {
        for (auto it = out_.rbegin(); it != out_.rend(); ++it)
            if (it->kind != TokenKind::Space) return &*it;
        return nullptr;
    }

    void next() {
        char c = f_[i_];
        if (is_space(c)) {
            std::size_t j = i_;
            while (j < f_.size() && is_space(f_[j])) ++j;
            push(TokenKind::Space, i_, j);
            return;
        }
        switch (c) {
            case '"': {
                std::size_t j = quoted_end(i_, '"');
                if (j == std::string_view::npos)
                    push(TokenKind::Invalid, i_, f_.size());
                else
                    push(TokenKind::String, i_, j);
                return;
            }
            case '\'':
                quoted_prefix();
                return;
            case '[':
                bracket();
                return;
            case '#':
                if (operand_end(last_significant()) &&
                    (i_ + 1 >= f_.size() || !is_alpha(f_[i_ + 1]))) {
                    push(TokenKind::Operator, i_, i_ + 1);  // the spill mark: A1#
                    return;
                }
                error_literal(i_, {});
                return;
            case '(':
                push(TokenKind::Open, i_, i_ + 1);
                return;
            case ')':
                push(TokenKind::Close, i_, i_ + 1);
                return;
            case ',':
                push(TokenKind::Comma, i_, i_ + 1);
                return;
            case '{':
                push(TokenKind::ArrayOpen, i_, i_ + 1);
                return;
            case '}':
                push(TokenKind::ArrayClose, i_, i_ + 1);
                return;
            case ';':
                push(TokenKind::ArrayRow, i_, i_ + 1);
                return;
            case '<':
                if (i_ + 1 < f_.size() && (f_[i_ + 1] == '>' || f_[i_ + 1] == '='))
                    push(TokenKind::Operator, i_, i_ + 2);
                else
                    push(TokenKind::Operator, i_, i_ + 1);
                return;
            case '>':
                push(TokenKind::Operator, i_,
                     i_ + (i_ + 1 < f_.size() && f_[i_ + 1] == '=' ? 2 : 1));
                return;
            case '+':
            case '-':
            case '*':
            case '/':
            case '^':
            case '&':
            case '=':
            case '%':
            case ':':
            case '@':
                push(TokenKind::Operator, i_, i_ + 1);
                return;
            default:
                break;
        }
        if (is_digit(c) || (c == '.' && i_ + 1 < f_.size() && is_digit(f_[i_ + 1]))) {
            number_or_rows();
            return;
        }
        if (is_formula_word_char(c)) {
            word();
            return;
        }
        push(TokenKind::Invalid, i_, i_ + 1);
    }

    // "12", "1.5E+3", or the rows "1:3" (also a sheet named with digits: "2019!A1").
    void number_or_rows() {
        std::size_t w = word_end(i_);
        if (w < f_.size() && (f_[w] == '!' || f_[w] == ':')) {
            if (f_[w] == '!' || rows_follow(w)) {
                word();
                return;
            }
        }
        std::size_t j = i_;
        while (j < f_.size() && is_digit(f_[j])) ++j;
        if (j < f_.size() && f_[j] == '.') {
            ++j;
            while (j < f_.size() && is_digit(f_[j])) ++j;
        }
        if (j < f_.size() && (f_[j] == 'E' || f_[j] == 'e')) {
            std::size_t k = j + 1;
            if (k < f_.size() && (f_[k] == '+' || f_[k] == '-')) ++k;
            if (k < f_.size() && is_digit(f_[k])) {
                while (k < f_.size() && is_digit(f_[k])) ++k;
                j = k;
            }
        }
        push(TokenKind::Number, i_, j);
    }
    // Whether "digits:" at i_ starts a row range ("1:3", "$1:$3").
    bool rows_follow(std::size_t colon) const {
        RefPart a, b;
        std::size_t e2 = word_end(colon + 1);
        return parse_ref_part(f_.substr(i_, colon - i_), a) && a.row && !a.col &&
               parse_ref_part(f_.substr(colon + 1, e2 - colon - 1), b) && b.row && !b.col;
    }

    void error_literal(std::size_t begin, const FormulaToken* prefix) {
        std::string rest = upper_ascii(f_.substr(i_, 16));
        std::size_t len = 0;
        for (std::string_view e : kErrors)
            if (rest.compare(0, e.size(), e) == 0) {
                len = e.size();
                break;
            }
        if (len == 0) {
            // An error value this grammar does not know: letters up to "!" or "?".
            std::size_t j = i_ + 1;
            while (j < f_.size() && (is_alpha(f_[j]) || is_digit(f_[j]) || f_[j] == '/' ||
                                     f_[j] == '_'))
                ++j;
            if (j < f_.size() && (f_[j] == '!' || f_[j] == '?')) ++j;
            len = j - i_;
        }
        std::size_t body_at = i_;
        FormulaToken& t = push(TokenKind::Error, begin, i_ + len);
        if (prefix) copy_prefix(t, *prefix);
        t.body = std::string(f_.substr(body_at, len));
    }

    static void copy_prefix(FormulaToken& t, const FormulaToken& p) {
        t.has_prefix = true;
        t.book = p.book;
        t.sheet = p.sheet;
        t.last_sheet = p.last_sheet;
        t.quoted = p.quoted;
    }

    // Splits "[1]Sheet1", "C:\dir\[Book.xlsx]Jan:Mar" into book, sheet and last sheet.
    static void split_prefix(std::string_view inner, FormulaToken& p) {
        std::size_t close = inner.rfind(']');
        if (close != std::string_view::npos && inner.find('[') != std::string_view::npos) {
            p.book = std::string(inner.substr(0, close + 1));
            inner.remove_prefix(close + 1);
        }
        std::size_t colon = inner.find(':');
        if (colon != std::string_view::npos) {
            p.sheet = std::string(inner.substr(0, colon));
            p.last_sheet = std::string(inner.substr(colon + 1));
        } else {
            p.sheet = std::string(inner);
        }
    }

    // 'My sheet'!A1, '[1]Data'!A1, 'Jan:Mar'!A1.
    void quoted_prefix() {
        std::size_t end = quoted_end(i_, '\'');
        if (end == std::string_view::npos || end >= f_.size() || f_[end] != '!') {
            push(TokenKind::Invalid, i_, end == std::string_view::npos ? f_.size() : end);
            return;
        }
        std::string inner;
        for (std::size_t k = i_ + 1; k + 1 < end; ++k) {
            inner += f_[k];
            if (f_[k] == '\'') ++k;
        }
        FormulaToken p;
        p.has_prefix = true;
        p.quoted = true;
        split_prefix(inner, p);
        std::size_t begin = i_;
        i_ = end + 1;
        body(begin, &p);
    }

    // "[1]Sheet1!A1", "[1]!Name", or a structured reference of the table the formula is in.
    void bracket() {
        std::size_t end = bracket_end(i_);
        if (end == std::string_view::npos) {
            push(TokenKind::Invalid, i_, f_.size());
            return;
        }
        std::size_t begin = i_;
        if (end < f_.size() && f_[end] == '!') {
            FormulaToken p;
            p.has_prefix = true;
            p.book = std::string(f_.substr(i_, end - i_));
            i_ = end + 1;
            body(begin, &p);
            return;
        }
        std::size_t w = word_end(end);
        if (w > end && w < f_.size() && (f_[w] == '!' || f_[w] == ':')) {
            std::size_t bang = w;
            if (f_[w] == ':') {
                std::size_t w2 = word_end(w + 1);
                if (w2 < f_.size() && f_[w2] == '!' && w2 > w + 1) bang = w2;
            }
            if (f_[bang] == '!') {
                FormulaToken p;
                p.has_prefix = true;
                split_prefix(f_.substr(i_, bang - i_), p);
                i_ = bang + 1;
                body(begin, &p);
                return;
            }
        }
        push(TokenKind::Table, i_, end);
    }

    void word() {
        std::size_t begin = i_;
        std::size_t end = word_end(i_);
        char next = end < f_.size() ? f_[end] : '\0';
        if (next == '!') {
            FormulaToken p;
            p.has_prefix = true;
            p.sheet = std::string(f_.substr(i_, end - i_));
            i_ = end + 1;
            body(begin, &p);
            return;
        }
        if (next == ':' && end + 1 < f_.size()) {
            // A 3-D prefix: Jan:Mar!A1.
            std::size_t e2 = word_end(end + 1);
            if (e2 > end + 1 && e2 < f_.size() && f_[e2] == '!') {
                FormulaToken p;
                p.has_prefix = true;
                p.sheet = std::string(f_.substr(i_, end - i_));
                p.last_sheet = std::string(f_.substr(end + 1, e2 - end - 1));
                i_ = e2 + 1;
                body(begin, &p);
                return;
            }
        }
        if (next == '(') {
            push(TokenKind::Function, i_, end);
            return;
        }
        if (next == '[') {
            std::size_t b = bracket_end(end);
            if (b != std::string_view::npos) {
                push(TokenKind::Table, i_, b);
                return;
            }
        }
        std::string_view w = f_.substr(i_, end - i_);
        std::string u = upper_ascii(w);
        if (u == "TRUE" || u == "FALSE") {
            push(TokenKind::Bool, i_, end);
            return;
        }
        body(begin, nullptr);
    }

    // What follows a prefix (or a bare word): a reference, a name or an error value.
    void body(std::size_t begin, const FormulaToken* prefix) {
        if (i_ < f_.size() && f_[i_] == '#') {
            error_literal(begin, prefix);
            return;
        }
        std::size_t body_at = i_;
        std::size_t end = word_end(i_);
        if (end == i_) {
            // A prefix with nothing after it.
            FormulaToken& t = push(TokenKind::Invalid, begin, i_);
            if (prefix) copy_prefix(t, *prefix);
            t.body.clear();
            return;
        }
        RefPart a, b;
        bool first = parse_ref_part(f_.substr(i_, end - i_), a);
        std::size_t ref_end = end;
        bool range = false;
        if (first && end + 1 < f_.size() && f_[end] == ':') {
            std::size_t e2 = word_end(end + 1);
            bool followed = e2 < f_.size() && (f_[e2] == '(' || f_[e2] == '!' || f_[e2] == '[');
            if (!followed && e2 > end + 1 &&
                parse_ref_part(f_.substr(end + 1, e2 - end - 1), b) &&
                ((a.col && a.row && b.col && b.row) || (a.col && !a.row && b.col && !b.row) ||
                 (a.row && !a.col && b.row && !b.col))) {
                range = true;
                ref_end = e2;
            }
        }
        if (!first || (!range && !(a.col && a.row))) {
            FormulaToken& t = push(TokenKind::Name, begin, end);
            if (prefix) copy_prefix(t, *prefix);
            t.body = std::string(f_.substr(body_at, end - body_at));
            return;
        }
        FormulaToken& t = push(TokenKind::Reference, begin, ref_end);
        if (prefix) copy_prefix(t, *prefix);
        t.body = std::string(f_.substr(body_at, ref_end - body_at));
        t.range = range;
        if (!range) b = a;
        t.abs_col1 = a.col_abs;
        t.abs_row1 = a.row_abs;
        t.abs_col2 = b.col_abs;
        t.abs_row2 = b.row_abs;
        t.shape = a.col && a.row ? RefShape::Cell : a.col ? RefShape::Columns : RefShape::Rows;
        std::int32_t r1 = a.row ? a.row : 1, r2 = b.row ? b.row : native::kGridRows;
        std::int32_t c1 = a.col ? a.col : 1, c2 = b.col ? b.col : native::kGridCols;
        t.swapped_rows = r1 > r2;
        t.swapped_cols = c1 > c2;
        t.area = Area{std::min(r1, r2), std::min(c1, c2), std::max(r1, r2), std::max(c1, c2)};
    }

    std::string_view f_;
    std::size_t i_ = 0;
    std::vector<FormulaToken> out_;
};

// A sheet or book name written in quotes: quotes inside doubled.
std::string quote(std::string_view s) {
    std::string out = "'";
    for (char c : s) {
        out += c;
        if (c == '\'') out += '\'';
    }
    return out + "'";
}

std::string prefix_text(const FormulaToken& t) {
    if (!t.has_prefix) return {};
    std::string inner = t.book + t.sheet;
    if (!t.last_sheet.empty()) inner += ":" + t.last_sheet;
    return (t.quoted ? quote(inner) : inner) + "!";
}

std::string reference_text(const FormulaToken& t) {
    const Area& a = t.area;
    std::int32_t r1 = t.swapped_rows ? a.last_row : a.first_row;
    std::int32_t r2 = t.swapped_rows ? a.first_row : a.last_row;
    std::int32_t c1 = t.swapped_cols ? a.last_col : a.first_col;
    std::int32_t c2 = t.swapped_cols ? a.first_col : a.last_col;
    bool cols = t.shape != RefShape::Rows, rows = t.shape != RefShape::Columns;
    RefPart p1{t.abs_col1, t.abs_row1, cols ? c1 : 0, rows ? r1 : 0};
    RefPart p2{t.abs_col2, t.abs_row2, cols ? c2 : 0, rows ? r2 : 0};
    std::string s = native::ref_part_text(p1);
    if (t.range) s += ":" + native::ref_part_text(p2);
    return s;
}

// ---- The grammar check ----

class Checker {
public:
    explicit Checker(const std::vector<FormulaToken>& t) {
        for (const FormulaToken& x : t) toks_.push_back(&x);
    }

    std::string run() {
        if (toks_.empty() || only_spaces()) return "計算式が空です。";
        for (const FormulaToken* t : toks_)
            if (t->kind == TokenKind::Invalid) return at(t, "解釈できない文字があります");
        // A "," at the top joins references into a union, as names of print titles do.
        std::string e = expression(true);
        if (!e.empty()) return e;
        skip_spaces();
        if (i_ < toks_.size()) {
            if (toks_[i_]->kind == TokenKind::Close) return at(toks_[i_], "括弧の対応が正しくありません");
            return at(toks_[i_], "演算子がありません");
        }
        return {};
    }

private:
    bool only_spaces() const {
        return std::all_of(toks_.begin(), toks_.end(),
                           [](const FormulaToken* t) { return t->kind == TokenKind::Space; });
    }
    static std::string at(const FormulaToken* t, const char* what) {
        return std::string(what) + "（" + std::to_string(t->position + 1) + "文字目「" + t->text +
               "」）。";
    }
    std::string at_end(const char* what) const { return std::string(what) + "（式の終わり）。"; }
    bool skip_spaces() {
        bool any = false;
        while (i_ < toks_.size() && toks_[i_]->kind == TokenKind::Space) {
            ++i_;
            any = true;
        }
        return any;
    }
    const FormulaToken* peek() {
        skip_spaces();
        return i_ < toks_.size() ? toks_[i_] : nullptr;
    }
    static bool binary(const FormulaToken* t) {
        if (t->kind != TokenKind::Operator) return false;
        return t->text != "%" && t->text != "@" && t->text != "#";
    }
    static bool starts_operand(const FormulaToken* t) {
        switch (t->kind) {
            case TokenKind::Number:
            case TokenKind::String:
            case TokenKind::Bool:
            case TokenKind::Error:
            case TokenKind::Reference:
            case TokenKind::Name:
            case TokenKind::Function:
            case TokenKind::Table:
            case TokenKind::Open:
            case TokenKind::ArrayOpen:
                return true;
            case TokenKind::Operator:
                return t->text == "+" || t->text == "-" || t->text == "@";
            default:
                return false;
        }
    }

    // An expression; `in_parens` lets "," join references into a union ("(A1,B2)").
    std::string expression(bool in_parens) {
        for (;;) {
            if (std::string e = operand(); !e.empty()) return e;
            // Postfix marks.
            for (;;) {
                std::size_t save = i_;
                const FormulaToken* t = peek();
                if (t && t->kind == TokenKind::Operator && (t->text == "%" || t->text == "#")) {
                    ++i_;
                    continue;
                }
                i_ = save;
                break;
            }
            std::size_t before_spaces = i_;
            bool spaced = skip_spaces();
            if (i_ >= toks_.size()) return {};
            const FormulaToken* t = toks_[i_];
            if (binary(t) || (in_parens && t->kind == TokenKind::Comma)) {
                ++i_;
                if (!peek()) return at_end("演算子の後に値がありません");
                continue;
            }
            // Two references with blanks between them: their intersection.
            if (spaced && starts_operand(t) && t->kind != TokenKind::Operator) continue;
            i_ = before_spaces;
            return {};
        }
    }

    std::string operand() {
        const FormulaToken* t = peek();
        if (!t) return at_end("値がありません");
        // Prefix signs.
        while (t && t->kind == TokenKind::Operator &&
               (t->text == "+" || t->text == "-" || t->text == "@")) {
            ++i_;
            t = peek();
        }
        if (!t) return at_end("演算子の後に値がありません");
        switch (t->kind) {
            case TokenKind::Number:
            case TokenKind::String:
            case TokenKind::Bool:
            case TokenKind::Error:
            case TokenKind::Reference:
            case TokenKind::Name:
            case TokenKind::Table:
                ++i_;
                return {};
            case TokenKind::Open: {
                ++i_;
                if (std::string e = expression(true); !e.empty()) return e;
                const FormulaToken* c = peek();
                if (!c || c->kind != TokenKind::Close)
                    return c ? at(c, "括弧の対応が正しくありません")
                             : at_end("閉じ括弧がありません");
                ++i_;
                return {};
            }
            case TokenKind::Function:
                ++i_;
                return arguments();
            case TokenKind::ArrayOpen:
                ++i_;
                return array();
            default:
                return at(t, binary(t) ? "演算子の前に値がありません" : "値がありません");
        }
    }

    // After a function name: "(" arguments ")"; an argument may be left empty.
    std::string arguments() {
        if (i_ >= toks_.size() || toks_[i_]->kind != TokenKind::Open)
            return at_end("関数の括弧がありません");
        ++i_;
        const FormulaToken* t = peek();
        if (t && t->kind == TokenKind::Close) {
            ++i_;
            return {};
        }
        for (;;) {
            t = peek();
            if (!t) return at_end("閉じ括弧がありません");
            if (t->kind != TokenKind::Comma && t->kind != TokenKind::Close) {
                if (std::string e = expression(false); !e.empty()) return e;
                t = peek();
                if (!t) return at_end("閉じ括弧がありません");
            }
            if (t->kind == TokenKind::Comma) {
                ++i_;
                continue;
            }
            if (t->kind == TokenKind::Close) {
                ++i_;
                return {};
            }
            return at(t, "関数の引数が正しくありません");
        }
    }

    // After "{": constants separated by "," and ";".
    std::string array() {
        for (;;) {
            const FormulaToken* t = peek();
            if (!t) return at_end("配列の閉じ括弧がありません");
            if (t->kind == TokenKind::Operator && (t->text == "-" || t->text == "+")) {
                ++i_;
                t = peek();
                if (!t || t->kind != TokenKind::Number) return at_end("配列の値が正しくありません");
            }
            if (t->kind != TokenKind::Number && t->kind != TokenKind::String &&
                t->kind != TokenKind::Bool && t->kind != TokenKind::Error)
                return at(t, "配列の値が正しくありません");
            ++i_;
            t = peek();
            if (!t) return at_end("配列の閉じ括弧がありません");
            if (t->kind == TokenKind::ArrayClose) {
                ++i_;
                return {};
            }
            if (t->kind != TokenKind::Comma && t->kind != TokenKind::ArrayRow)
                return at(t, "配列の区切りが正しくありません");
            ++i_;
        }
    }

    std::vector<const FormulaToken*> toks_;
    std::size_t i_ = 0;
};

}  // namespace

std::vector<FormulaToken> tokenize_formula(std::string_view formula) {
    return Tokenizer(formula).run();
}

std::string token_text(const FormulaToken& t) {
    switch (t.kind) {
        case TokenKind::Reference:
            return prefix_text(t) + reference_text(t);
        case TokenKind::Name:
        case TokenKind::Error:
        case TokenKind::Invalid:
            return prefix_text(t) + t.body;
        default:
            return t.text;
    }
}

std::string formula_from_tokens(const std::vector<FormulaToken>& tokens) {
    std::string out;
    for (const FormulaToken& t : tokens) out += token_text(t);
    return out;
}

std::string formula_syntax_error(const std::vector<FormulaToken>& tokens) {
    return Checker(tokens).run();
}

}  // namespace sheaflow::xl
