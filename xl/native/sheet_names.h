#pragma once
// The spreadsheet application's rules for sheet names: which names it refuses, the names it gives
// to new and copied sheets, and how a name is written inside a formula. Plain functions over
// strings, so that the structure code and test fakes share one set of rules.

#include <string>
#include <string_view>
#include <vector>

#include "util/result.h"

namespace sheaflow::xl::native {

// Longest sheet name the application accepts, in UTF-16 code units.
inline constexpr std::size_t kMaxSheetNameLength = 31;

// True when two sheet names are the same name to the application (case-insensitive, with
// Unicode case folding, so that full-width letters and Greek or Cyrillic letters fold too).
bool same_sheet_name(std::string_view a, std::string_view b);

// Why the application refuses `name` as the name of a sheet (Error::Code::Refused with a Japanese
// message), or nothing when it accepts it. `others` are the names of the workbook's other sheets.
Result<void> check_sheet_name(std::string_view name, const std::vector<std::string>& others);

// The name Worksheets.Add gives: "Sheet<N>" with N one more than the largest N among the names
// of that form (compared without regard to case), the first such name that is free.
std::string new_sheet_name(const std::vector<std::string>& names);

// The name a copy within a workbook gets: "<base> (2)", or the next free number. A name that
// already ends in " (n)" counts on from n; the base is cut so that the result fits 31 units.
std::string copy_sheet_name(std::string_view name, const std::vector<std::string>& names);

// True when a sheet name must be written in apostrophes inside a formula.
bool sheet_name_needs_quotes(std::string_view name);
// The name as a formula writes it before "!": quoted (apostrophes doubled) when needed.
std::string formula_sheet_name(std::string_view name);

}  // namespace sheaflow::xl::native
