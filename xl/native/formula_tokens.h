#pragma once
// The pieces of the formula grammar that the engine's reference scanners share with the
// tokenizer: the characters of a word and one end of a reference ("$A$1", "A", "$5").

#include <cstdint>
#include <string>
#include <string_view>

namespace sheaflow::xl::native {

inline constexpr std::int32_t kGridRows = 1048576;
inline constexpr std::int32_t kGridCols = 16384;

// Characters of a name, a function, a sheet name without quotes or a reference.
inline bool is_formula_word_char(char ch) {
    auto c = static_cast<unsigned char>(ch);
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '$' || c == '.' || c == '\\' || c == '?' || c >= 0x80;
}

// One end of a reference.
struct RefPart {
    bool col_abs = false, row_abs = false;
    std::int32_t col = 0, row = 0;  // 0 when absent
};

// Reads a whole word as a cell ($A$1), a column (A, $A) or a row (1, $1); false when it is
// none of them (a name such as "ABCD1" or "Q1.5").
bool parse_ref_part(std::string_view word, RefPart& part);
// The part written again.
std::string ref_part_text(const RefPart& part);

}  // namespace sheaflow::xl::native
