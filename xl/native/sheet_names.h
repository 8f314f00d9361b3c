#pragma once
// The spreadsheet application's rules for sheet names: which names it refuses, the names it gives
// to new and copied sheets, and how a name is written inside a formula. Plain functions over
// strings, so that the structure code and test fakes share one set of rules.

#include <map>
#include <optional>
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

// Renames of sheets made one after the other, composed: where a name that formulas wrote before
// the first of them points after the last. A name renamed away and another sheet renamed to it
// later are told apart as the application does it one rename at a time.
class SheetRenameChain {
public:
    void add(std::string_view old_name, std::string_view new_name);
    bool empty() const { return last_.empty(); }
    // The name a reference to sheet `name` (as written before the renames) now reads; nullopt
    // when no rename touched it.
    std::optional<std::string> find(std::string_view name) const;
    // The names renamed (as first written).
    std::vector<std::string> old_names() const;

private:
    std::map<std::string, std::string> last_;  // folded first name -> name now
    std::map<std::string, std::string> first_spelling_;
    std::map<std::string, std::vector<std::string>> firsts_;  // folded name now -> first names
};

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
