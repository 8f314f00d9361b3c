#include "xl/native/formula.h"

#include "xl/native/formula_tokens.h"
#include "xl/xl.h"

namespace sheaflow::xl::native::formula {

namespace {

constexpr std::int32_t kMaxRows = 1048576;
constexpr std::int32_t kMaxCols = 16384;

bool is_word_char(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '$' || c == '.' || c == '\\' || c >= 0x80;
}

bool is_alpha(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

// Moves a part; false when it leaves the grid.
bool move_part(RefPart& p, std::int32_t rows, std::int32_t cols) {
    if (p.col && !p.col_abs) {
        p.col += cols;
        if (p.col < 1 || p.col > kMaxCols) return false;
    }
    if (p.row && !p.row_abs) {
        p.row += rows;
        if (p.row < 1 || p.row > kMaxRows) return false;
    }
    return true;
}

}  // namespace

std::string shift(std::string_view f, std::int32_t rows, std::int32_t cols) {
    std::string out;
    out.reserve(f.size() + 8);
    std::size_t i = 0, n = f.size();
    while (i < n) {
        char c = f[i];
        if (c == '"') {
            std::size_t j = i + 1;
            while (j < n) {
                if (f[j] == '"') {
                    if (j + 1 < n && f[j + 1] == '"') {
                        j += 2;
                        continue;
                    }
                    break;
                }
                ++j;
            }
            out.append(f.substr(i, j + 1 - i));
            i = j + 1;
            continue;
        }
        if (c == '\'') {
            // A quoted sheet name: copy through the closing quote (doubled quotes inside).
            std::size_t j = i + 1;
            while (j < n) {
                if (f[j] == '\'') {
                    if (j + 1 < n && f[j + 1] == '\'') {
                        j += 2;
                        continue;
                    }
                    break;
                }
                ++j;
            }
            out.append(f.substr(i, j + 1 - i));
            i = j + 1;
            continue;
        }
        if (c == '[') {
            // External book index or structured reference: copied as is.
            int depth = 0;
            std::size_t j = i;
            while (j < n) {
                if (f[j] == '[') ++depth;
                if (f[j] == ']' && --depth == 0) break;
                ++j;
            }
            out.append(f.substr(i, j + 1 - i));
            i = j + 1;
            continue;
        }
        if (c == '#') {
            // Error literal (#REF!, #N/A, #DIV/0!).
            std::size_t j = i + 1;
            while (j < n && (is_alpha(f[j]) || f[j] == '/' || is_digit(f[j]) || f[j] == '_')) ++j;
            if (j < n && (f[j] == '!' || f[j] == '?')) ++j;
            out.append(f.substr(i, j - i));
            i = j;
            continue;
        }
        if (!is_word_char(static_cast<unsigned char>(c))) {
            out += c;
            ++i;
            continue;
        }
        std::size_t j = i;
        while (j < n && is_word_char(static_cast<unsigned char>(f[j]))) ++j;
        std::string_view word = f.substr(i, j - i);
        char next = j < n ? f[j] : '\0';
        if (next == '(' || next == '!') {
            // Function name or sheet name.
            out.append(word);
            i = j;
            continue;
        }
        RefPart a;
        if (!parse_ref_part(word, a)) {
            out.append(word);
            i = j;
            continue;
        }
        if (a.col && a.row) {
            // A cell reference.
            if (move_part(a, rows, cols))
                out += ref_part_text(a);
            else
                out += "#REF!";
            i = j;
            continue;
        }
        // A lone column or row only counts as part of a whole-column or whole-row range.
        RefPart b;
        std::size_t k = j + 1;
        while (k < n && is_word_char(static_cast<unsigned char>(f[k])) && f[k] != '.') ++k;
        if (next == ':' && parse_ref_part(f.substr(j + 1, k - j - 1), b) &&
            ((a.col && !a.row && b.col && !b.row) || (a.row && !a.col && b.row && !b.col))) {
            if (move_part(a, rows, cols) && move_part(b, rows, cols))
                out += ref_part_text(a) + ":" + ref_part_text(b);
            else
                out += "#REF!";
            i = k;
            continue;
        }
        out.append(word);
        i = j;
    }
    return out;
}

bool plausible(std::string_view f) {
    if (f.empty()) return false;
    int parens = 0, brackets = 0, braces = 0;
    std::size_t i = 0, n = f.size();
    char last = 0;
    while (i < n) {
        char c = f[i];
        if (c == '"' || c == '\'') {
            std::size_t j = i + 1;
            bool closed = false;
            while (j < n) {
                if (f[j] == c) {
                    if (j + 1 < n && f[j + 1] == c) {
                        j += 2;
                        continue;
                    }
                    closed = true;
                    break;
                }
                ++j;
            }
            if (!closed) return false;
            i = j + 1;
            last = 'x';
            continue;
        }
        if (c == '(') ++parens;
        if (c == ')' && --parens < 0) return false;
        if (c == '[') ++brackets;
        if (c == ']' && --brackets < 0) return false;
        if (c == '{') ++braces;
        if (c == '}' && --braces < 0) return false;
        if (c != ' ') last = c;
        ++i;
    }
    if (parens || brackets || braces) return false;
    switch (last) {
        case '+':
        case '-':
        case '*':
        case '/':
        case '^':
        case '&':
        case '=':
        case '<':
        case '>':
        case ',':
        case '(':
            return false;
        default:
            return true;
    }
}

}  // namespace sheaflow::xl::native::formula
