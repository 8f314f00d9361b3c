#pragma once
// Text matching for Find and Replace: wildcards (* ? and ~ to escape them), whole or part of the
// text, case folded unless MatchCase, full-width and half-width forms folded unless MatchByte.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "xl/xl.h"

namespace sheaflow::xl::native {

class Matcher {
public:
    explicit Matcher(const FindSpec& criteria);

    // False for an empty search text: it matches nothing.
    bool valid() const { return !pattern_.empty(); }
    bool matches(std::string_view text) const;
    // False when no text made only of these characters can match (every literal character of
    // the search text must occur in a match): lets numbers be skipped for a word.
    bool may_match_within(std::u32string_view alphabet) const;
    // The text with every match replaced (the whole text for LookAt whole), or nullopt when
    // nothing matched. The replacement is inserted as given.
    std::optional<std::string> replace(std::string_view text, std::string_view replacement) const;

private:
    struct Item {
        enum Kind { Literal, AnyOne, AnyRun } kind;
        char32_t c;
    };
    // Folded code points of a text, with the index of the original code point each came from.
    struct Folded {
        std::u32string chars;
        std::vector<std::size_t> origin;  // size chars.size() + 1
    };
    Folded fold(std::u32string_view s) const;
    char32_t fold_one(char32_t c) const;
    // Where a match of the pattern starts: one flag per position of `s`, in one backward pass
    // (so that a search never tries every start against the whole rest of the text).
    std::vector<bool> match_starts(const std::u32string& s) const;
    // Longest match of the pattern starting at `start`; npos when none.
    std::size_t longest_at(const std::u32string& s, std::size_t start) const;
    bool whole_match(const std::u32string& s) const;

    std::vector<Item> pattern_;
    bool plain_ = true;  // no wildcard: substring search
    std::u32string literal_;
    bool whole_ = false;
    bool match_case_ = false;
    bool match_byte_ = false;
};

}  // namespace sheaflow::xl::native
