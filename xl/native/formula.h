#pragma once
// Formula text helpers: moving the relative references of a formula (a shared formula's text as
// its other cells read it) and a light syntax check before a changed formula is stored.

#include <cstdint>
#include <string>
#include <string_view>

namespace sheaflow::xl::native::formula {

// The formula text (without "=") as it reads in a cell `rows` down and `cols` right of the cell
// it was written for: relative references move, absolute ones ($A$1) stay; a reference that
// moves off the grid becomes #REF!. String literals, sheet and function names are untouched.
std::string shift(std::string_view text, std::int32_t rows, std::int32_t cols);

// True when the text (without "=") is a plausible formula: not empty, quotes and brackets
// closed, parentheses balanced, not ending in an operator. Used to refuse a replacement that
// would leave a cell with a formula the application cannot read.
bool plausible(std::string_view text);

}  // namespace sheaflow::xl::native::formula
