#include "xl/native/formula_refs.h"

#include <algorithm>
#include <cctype>

#include "util/text.h"
#include "xl/native/sheet_names.h"

namespace sheaflow::xl::native {
namespace {

// Characters of an unquoted sheet name, defined name, function name or cell reference. Bytes of
// multi-byte UTF-8 characters count as name characters (unquoted names may hold letters of any
// script).
bool is_name_char(char c) {
    auto u = static_cast<unsigned char>(c);
    return u >= 0x80 || std::isalnum(u) != 0 || c == '_' || c == '.' || c == '\\';
}

std::size_t name_run_end(std::string_view f, std::size_t i) {
    while (i < f.size() && is_name_char(f[i])) ++i;
    return i;
}

// Splits "[1]Jan:Mar" (unquoted content) into its parts.
SheetRef split_ref(std::string_view content) {
    SheetRef ref;
    if (std::size_t close = content.rfind(']'); close != std::string_view::npos) {
        ref.external = std::string(content.substr(0, close + 1));
        content.remove_prefix(close + 1);
    }
    if (std::size_t colon = content.find(':'); colon != std::string_view::npos) {
        ref.first = std::string(content.substr(0, colon));
        ref.last = std::string(content.substr(colon + 1));
    } else {
        ref.first = std::string(content);
    }
    return ref;
}

// The end of a bracket group starting at f[i] == '[' (nested groups and the "'" escape of
// structured references included); f.size() when it is not closed.
std::size_t bracket_end(std::string_view f, std::size_t i) {
    int depth = 0;
    for (; i < f.size(); ++i) {
        char c = f[i];
        if (c == '\'') {
            ++i;
        } else if (c == '[') {
            ++depth;
        } else if (c == ']') {
            if (--depth == 0) return i + 1;
        }
    }
    return f.size();
}

// Past a cell or name reference after "!", so that "Sheet1!A1:Sheet1!B2" is not read as a 3-D
// reference "A1:Sheet1".
std::size_t skip_after_bang(std::string_view f, std::size_t i) {
    while (i < f.size() && (is_name_char(f[i]) || f[i] == '$')) ++i;
    return i;
}

}  // namespace

std::string sheet_ref_text(const SheetRef& ref) {
    if (ref.split_quotes && !ref.last.empty())
        return ref.external + formula_sheet_name(ref.first) + ":" + formula_sheet_name(ref.last);
    bool quote = sheet_name_needs_quotes(ref.first) ||
                 (!ref.last.empty() && sheet_name_needs_quotes(ref.last));
    std::string body = ref.external + ref.first;
    if (!ref.last.empty()) body += ":" + ref.last;
    if (!quote) return body;
    return "'" + text::replace_all(body, "'", "''") + "'";
}

namespace {

// One sheet-name token: an apostrophe-quoted text or an unquoted run of name characters.
struct Token {
    std::string content;  // unquoted
    std::size_t end = 0;  // just past the token
    bool quoted = false;
};

std::optional<Token> read_token(std::string_view f, std::size_t i) {
    if (i >= f.size()) return std::nullopt;
    Token t;
    if (f[i] == '\'') {
        std::size_t j = i + 1;
        while (j < f.size()) {
            if (f[j] == '\'') {
                if (j + 1 < f.size() && f[j + 1] == '\'') {
                    t.content += '\'';
                    j += 2;
                    continue;
                }
                t.end = j + 1;
                t.quoted = true;
                return t;
            }
            t.content += f[j++];
        }
        return std::nullopt;  // not closed
    }
    std::size_t run = name_run_end(f, i);
    if (run == i) return std::nullopt;
    t.content = std::string(f.substr(i, run - i));
    t.end = run;
    return t;
}

// A sheet prefix starting at f[i] ("Data", "'My Sheet'", "Jan:Mar", "'Jan:Mar'", "Jan:'Mar x'",
// with `external` already read before it): the reference and the position of its "!".
std::optional<std::pair<SheetRef, std::size_t>> read_prefix(std::string_view f, std::size_t i,
                                                            const std::string& external) {
    std::optional<Token> a = read_token(f, i);
    if (!a) return std::nullopt;
    if (a->end < f.size() && f[a->end] == '!') {
        SheetRef ref = split_ref(external + a->content);
        return std::make_pair(ref, a->end);
    }
    if (a->end < f.size() && f[a->end] == ':') {
        std::optional<Token> b = read_token(f, a->end + 1);
        if (b && b->end < f.size() && f[b->end] == '!' &&
            a->content.find(':') == std::string::npos) {
            SheetRef ref = split_ref(external + a->content);
            ref.last = b->content;
            ref.split_quotes = a->quoted || b->quoted;
            return std::make_pair(ref, b->end);
        }
    }
    return std::nullopt;
}

}  // namespace

std::string rewrite_sheet_refs(
    std::string_view f, const std::function<std::optional<std::string>(const SheetRef&)>& fn) {
    std::string out;
    out.reserve(f.size() + 16);
    std::size_t i = 0;
    auto emit_ref = [&](std::size_t start, std::size_t bang, SheetRef ref) {
        std::size_t end = skip_after_bang(f, bang + 1);
        if (end + 1 < f.size() && f[end] == ':' && (is_name_char(f[end + 1]) || f[end + 1] == '$'))
            end = skip_after_bang(f, end + 1);
        ref.cells = std::string(f.substr(bang + 1, end - bang - 1));
        if (std::optional<std::string> replaced = fn(ref)) {
            out += *replaced;
        } else {
            out.append(f.substr(start, bang - start));
        }
        out += '!';
        std::size_t next = skip_after_bang(f, bang + 1);
        out.append(f.substr(bang + 1, next - bang - 1));
        i = next;
    };
    while (i < f.size()) {
        char c = f[i];
        if (c == '"') {
            std::size_t j = i + 1;
            while (j < f.size()) {
                if (f[j] == '"') {
                    if (j + 1 < f.size() && f[j + 1] == '"') {
                        j += 2;
                        continue;
                    }
                    break;
                }
                ++j;
            }
            std::size_t end = std::min(j + 1, f.size());
            out.append(f.substr(i, end - i));
            i = end;
        } else if (c == '[') {
            // "[1]Sheet1!" names a sheet of another workbook; any other bracket group is a
            // structured reference and is copied as it is.
            std::size_t close = bracket_end(f, i);
            if (auto ref = read_prefix(f, close, std::string(f.substr(i, close - i)))) {
                emit_ref(i, ref->second, ref->first);
            } else {
                out.append(f.substr(i, close - i));
                i = close;
            }
        } else if (c == '#') {
            // Error values such as "#REF!" and "#DIV/0!" end in "!" but name no sheet.
            std::size_t j = i + 1;
            while (j < f.size() && (std::isalnum(static_cast<unsigned char>(f[j])) != 0 ||
                                    f[j] == '/' || f[j] == '_'))
                ++j;
            if (j < f.size() && (f[j] == '!' || f[j] == '?')) ++j;
            out.append(f.substr(i, j - i));
            i = j;
        } else if (c == '\'' || is_name_char(c)) {
            if (auto ref = read_prefix(f, i, {})) {
                emit_ref(i, ref->second, ref->first);
            } else if (std::optional<Token> t = read_token(f, i)) {
                out.append(f.substr(i, t->end - i));
                i = t->end;
            } else {
                out.append(f.substr(i));
                i = f.size();
            }
        } else {
            out += c;
            ++i;
        }
    }
    return out;
}

namespace {

// Calls `visit(begin, end)` for every run of name characters of a formula that is not inside a
// string literal, a quoted sheet name, a bracket group or an error value.
template <typename Visit>
void for_each_name_run(std::string_view f, Visit&& visit) {
    std::size_t i = 0;
    while (i < f.size()) {
        char c = f[i];
        if (c == '"' || c == '\'') {
            std::size_t j = i + 1;
            while (j < f.size()) {
                if (f[j] == c) {
                    if (j + 1 < f.size() && f[j + 1] == c) {
                        j += 2;
                        continue;
                    }
                    break;
                }
                ++j;
            }
            i = std::min(j + 1, f.size());
        } else if (c == '[') {
            i = bracket_end(f, i);
        } else if (c == '#') {
            ++i;
            while (i < f.size() && (std::isalnum(static_cast<unsigned char>(f[i])) != 0 ||
                                    f[i] == '/' || f[i] == '_'))
                ++i;
        } else if (is_name_char(c)) {
            std::size_t end = name_run_end(f, i);
            visit(i, end);
            i = end;
        } else {
            ++i;
        }
    }
}

}  // namespace

std::string rename_table_in_formula(std::string_view f, std::string_view old_name,
                                    std::string_view new_name) {
    std::string out;
    std::size_t copied = 0;
    for_each_name_run(f, [&](std::size_t b, std::size_t e) {
        if (e < f.size() && f[e] == '[' && same_sheet_name(f.substr(b, e - b), old_name)) {
            out.append(f.substr(copied, b - copied));
            out.append(new_name);
            copied = e;
        }
    });
    out.append(f.substr(copied));
    return out;
}

std::vector<std::string> formula_names(std::string_view f) {
    std::vector<std::string> names;
    for_each_name_run(f, [&](std::size_t b, std::size_t e) {
        char next = e < f.size() ? f[e] : '\0';
        if (next == '(' || next == '!' || next == '[' || next == ':') return;
        if (b > 0 && f[b - 1] == ':') return;  // the second name of "Jan:Mar!"
        if (std::isdigit(static_cast<unsigned char>(f[b])) != 0 || f[b] == '.') return;
        names.emplace_back(f.substr(b, e - b));
    });
    return names;
}

std::vector<SheetRef> sheet_refs(std::string_view formula) {
    std::vector<SheetRef> refs;
    (void)rewrite_sheet_refs(formula, [&](const SheetRef& r) -> std::optional<std::string> {
        refs.push_back(r);
        return std::nullopt;
    });
    return refs;
}

std::string rename_sheet_in_formula(std::string_view formula, std::string_view old_name,
                                    std::string_view new_name) {
    return rewrite_sheet_refs(formula, [&](const SheetRef& r) -> std::optional<std::string> {
        if (!r.external.empty()) return std::nullopt;
        bool first = same_sheet_name(r.first, old_name);
        bool last = !r.last.empty() && same_sheet_name(r.last, old_name);
        if (!first && !last) return std::nullopt;
        SheetRef renamed = r;
        if (first) renamed.first = std::string(new_name);
        if (last) renamed.last = std::string(new_name);
        return sheet_ref_text(renamed);
    });
}

std::string rename_sheets_in_formula(std::string_view formula, const SheetRenameChain& renames) {
    return rewrite_sheet_refs(formula, [&](const SheetRef& r) -> std::optional<std::string> {
        if (!r.external.empty()) return std::nullopt;
        auto first = renames.find(r.first);
        auto last = r.last.empty() ? std::nullopt : renames.find(r.last);
        if (!first && !last) return std::nullopt;
        SheetRef renamed = r;
        if (first) renamed.first = std::move(*first);
        if (last) renamed.last = std::move(*last);
        return sheet_ref_text(renamed);
    });
}

std::string delete_sheet_in_formula(std::string_view formula, std::string_view deleted,
                                    const std::vector<std::string>& order) {
    auto position = [&](std::string_view name) -> std::ptrdiff_t {
        for (std::size_t k = 0; k < order.size(); ++k)
            if (same_sheet_name(order[k], name)) return static_cast<std::ptrdiff_t>(k);
        return -1;
    };
    return rewrite_sheet_refs(formula, [&](const SheetRef& r) -> std::optional<std::string> {
        if (!r.external.empty()) return std::nullopt;
        bool first = same_sheet_name(r.first, deleted);
        bool last = !r.last.empty() && same_sheet_name(r.last, deleted);
        if (!first && !last) return std::nullopt;
        if (r.last.empty()) return std::string("#REF");
        std::ptrdiff_t a = position(r.first), b = position(r.last);
        if (a < 0 || b < 0) return std::string("#REF");
        if (a > b) std::swap(a, b);
        std::ptrdiff_t d = position(deleted);
        // The deleted end moves one sheet inwards; a range of one sheet left is a plain reference.
        if (d == a) ++a;
        if (d == b) --b;
        if (a > b) return std::string("#REF");
        SheetRef shrunk;
        shrunk.first = order[static_cast<std::size_t>(a)];
        if (b != a) shrunk.last = order[static_cast<std::size_t>(b)];
        return sheet_ref_text(shrunk);
    });
}

}  // namespace sheaflow::xl::native
