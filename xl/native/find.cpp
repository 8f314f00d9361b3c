#include "xl/native/find.h"

#include <unicode/uchar.h>

#include <algorithm>

#include "util/text.h"

namespace sheaflow::xl::native {

Matcher::Matcher(const FindSpec& criteria)
    : whole_(criteria.look_at == xlWhole), match_case_(criteria.match_case), match_byte_(criteria.match_byte) {
    std::u32string raw = text::to_u32(criteria.what);
    // Fold the literal characters the same way as the searched text, keeping wildcards apart.
    std::u32string pending;
    auto flush = [&]() {
        if (pending.empty()) return;
        Folded f = fold(pending);
        for (char32_t c : f.chars) pattern_.push_back({Item::Literal, c});
        pending.clear();
    };
    for (std::size_t i = 0; i < raw.size(); ++i) {
        char32_t c = raw[i];
        if (c == U'~' && i + 1 < raw.size() &&
            (raw[i + 1] == U'*' || raw[i + 1] == U'?' || raw[i + 1] == U'~')) {
            pending.push_back(raw[++i]);
        } else if (c == U'*') {
            flush();
            // Consecutive stars are one.
            if (pattern_.empty() || pattern_.back().kind != Item::AnyRun)
                pattern_.push_back({Item::AnyRun, 0});
            plain_ = false;
        } else if (c == U'?') {
            flush();
            pattern_.push_back({Item::AnyOne, 0});
            plain_ = false;
        } else {
            pending.push_back(c);
        }
    }
    flush();
    if (plain_)
        for (const Item& it : pattern_) literal_.push_back(it.c);
}

char32_t Matcher::fold_one(char32_t c) const {
    if (c < 0x80) {
        if (!match_case_ && c >= U'A' && c <= U'Z') c += 32;
        return c;
    }
    if (!match_byte_) {
        if (c >= 0xFF01 && c <= 0xFF5E) {
            c -= 0xFEE0;
            if (!match_case_ && c >= U'A' && c <= U'Z') c += 32;
            return c;
        }
        if (c == 0x3000) return U' ';
        if (c >= 0xFF61 && c <= 0xFF9F) {
            std::u32string one = text::fold_width(std::u32string_view(&c, 1));
            if (!one.empty()) c = one[0];
        }
    }
    // Kana and ideographs have no case; other scripts fold as Unicode says.
    if (!match_case_ && !(c >= 0x3040 && c <= 0x9FFF))
        c = static_cast<char32_t>(u_foldCase(static_cast<UChar32>(c), U_FOLD_CASE_DEFAULT));
    return c;
}

Matcher::Folded Matcher::fold(std::u32string_view s) const {
    Folded f;
    f.chars.reserve(s.size());
    f.origin.reserve(s.size() + 1);
    for (std::size_t i = 0; i < s.size(); ++i) {
        char32_t c = s[i];
        if (!match_byte_ && c >= 0xFF61 && c <= 0xFF9F && i + 1 < s.size() &&
            (s[i + 1] == 0xFF9E || s[i + 1] == 0xFF9F)) {
            // Half-width kana with a following voiced mark fold to one full-width kana.
            std::u32string pair = text::fold_width(s.substr(i, 2));
            if (pair.size() == 1) {
                f.chars.push_back(pair[0]);
                f.origin.push_back(i);
                ++i;
                continue;
            }
        }
        f.chars.push_back(fold_one(c));
        f.origin.push_back(i);
    }
    f.origin.push_back(s.size());
    return f;
}

bool Matcher::may_match_within(std::u32string_view alphabet) const {
    for (const Item& it : pattern_) {
        if (it.kind != Item::Literal) continue;
        bool found = false;
        for (char32_t a : alphabet)
            if (fold_one(a) == it.c) found = true;
        if (!found) return false;
    }
    return true;
}

std::size_t Matcher::longest_at(const std::u32string& s, std::size_t start) const {
    const std::size_t m = pattern_.size();
    std::vector<char> states(m + 1, 0), next(m + 1, 0);
    states[0] = 1;
    for (std::size_t k = 0; k < m; ++k)
        if (states[k] && pattern_[k].kind == Item::AnyRun) states[k + 1] = 1;
    std::size_t best = std::u32string::npos;
    if (states[m]) best = start;
    for (std::size_t i = start; i < s.size(); ++i) {
        std::fill(next.begin(), next.end(), 0);
        bool any = false;
        for (std::size_t k = 0; k < m; ++k) {
            if (!states[k]) continue;
            const Item& it = pattern_[k];
            if (it.kind == Item::AnyRun) {
                next[k] = 1;
                any = true;
            } else if (it.kind == Item::AnyOne || it.c == s[i]) {
                next[k + 1] = 1;
                any = true;
            }
        }
        if (!any) break;
        for (std::size_t k = 0; k < m; ++k)
            if (next[k] && pattern_[k].kind == Item::AnyRun) next[k + 1] = 1;
        states.swap(next);
        if (states[m]) best = i + 1;
    }
    return best;
}

std::vector<bool> Matcher::match_starts(const std::u32string& s) const {
    // after[k]: pattern items k.. match some text beginning at the next position; here[k]: the
    // same at this position. Items are looked at from the last, so a star sees here[k + 1].
    const std::size_t m = pattern_.size();
    std::vector<char> after(m + 1, 0), here(m + 1, 0);
    after[m] = 1;
    for (std::size_t k = m; k-- > 0;) after[k] = pattern_[k].kind == Item::AnyRun && after[k + 1];
    std::vector<bool> starts(s.size(), false);
    for (std::size_t i = s.size(); i-- > 0;) {
        here[m] = 1;
        for (std::size_t k = m; k-- > 0;) {
            const Item& it = pattern_[k];
            if (it.kind == Item::AnyRun)
                here[k] = here[k + 1] || after[k];
            else
                here[k] = (it.kind == Item::AnyOne || it.c == s[i]) && after[k + 1];
        }
        starts[i] = here[0] != 0;
        here.swap(after);
    }
    return starts;
}

bool Matcher::whole_match(const std::u32string& s) const { return longest_at(s, 0) == s.size(); }

bool Matcher::matches(std::string_view text) const {
    if (!valid()) return false;
    Folded f = fold(text::to_u32(text));
    if (plain_)
        return whole_ ? f.chars == literal_ : f.chars.find(literal_) != std::u32string::npos;
    if (whole_) return whole_match(f.chars);
    std::vector<bool> starts = match_starts(f.chars);
    return std::find(starts.begin(), starts.end(), true) != starts.end();
}

std::optional<std::string> Matcher::replace(std::string_view text,
                                            std::string_view replacement) const {
    if (!valid()) return std::nullopt;
    std::u32string original = text::to_u32(text);
    Folded f = fold(original);
    if (whole_) {
        bool hit = plain_ ? f.chars == literal_ : whole_match(f.chars);
        if (!hit) return std::nullopt;
        return std::string(replacement);
    }
    std::u32string repl = text::to_u32(replacement);
    std::u32string out;
    std::size_t copied = 0;  // original code points written so far
    bool any = false;
    std::size_t i = 0;
    // A longest match is only looked for where one starts. With a star it runs to the last
    // place the rest can match, and nothing matches after it; without one it is short.
    std::vector<bool> starts;
    if (!plain_) starts = match_starts(f.chars);
    while (i < f.chars.size()) {
        std::size_t end = std::u32string::npos;
        if (plain_) {
            std::size_t at = f.chars.find(literal_, i);
            if (at == std::u32string::npos) break;
            i = at;
            end = at + literal_.size();
        } else {
            while (i < starts.size() && !starts[i]) ++i;
            if (i == starts.size()) break;
            end = longest_at(f.chars, i);
        }
        if (end == std::u32string::npos || end == i) {
            ++i;
            continue;
        }
        out.append(original, copied, f.origin[i] - copied);
        out += repl;
        copied = f.origin[end];
        any = true;
        i = end;
    }
    if (!any) return std::nullopt;
    out.append(original, copied, std::u32string::npos);
    return text::to_utf8(out);
}

}  // namespace sheaflow::xl::native
