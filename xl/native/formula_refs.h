#pragma once
// Sheet references inside formulas as the package stores them (no leading "="): finding the
// "Sheet1!", "'My sheet'!", "Jan:Mar!" and "[1]Sheet1!" prefixes while leaving string literals,
// structured references and error values alone, and rewriting them when a sheet is renamed,
// deleted or copied into another workbook. Used for cell formulas, defined names, validation and
// conditional-format formulas, chart series and internal hyperlink locations alike.

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "xl/native/sheet_names.h"

namespace sheaflow::xl::native {

// One sheet prefix of a formula, names unquoted.
struct SheetRef {
    std::string external;  // "[1]" and the like for another workbook; "" for this workbook
    std::string first;     // the sheet, or the first sheet of a 3-D reference
    std::string last;      // the last sheet of a 3-D reference; "" for a single sheet
    // A 3-D reference written with each name quoted on its own ("Jan:'Mar x'", as some programs
    // write it) rather than quoted as a whole ("'Jan:Mar x'", as the application does).
    bool split_quotes = false;
    // What follows the "!": the cell or range ("$A$1", "A1:B5", "C:C") or a name; filled when
    // the reference is read from a formula (not used when the prefix is written).
    std::string cells = {};
};

// The prefix text before "!" for a reference, quoted when any name needs it.
std::string sheet_ref_text(const SheetRef& ref);

// Calls `fn` for each sheet prefix of the formula; where it answers a text, that text replaces
// the prefix (the part before "!"). Everything else is copied unchanged.
std::string rewrite_sheet_refs(
    std::string_view formula, const std::function<std::optional<std::string>(const SheetRef&)>& fn);

// Every sheet prefix of the formula, in order.
std::vector<SheetRef> sheet_refs(std::string_view formula);

// The formula after sheet `old_name` of this workbook was renamed to `new_name`.
std::string rename_sheet_in_formula(std::string_view formula, std::string_view old_name,
                                    std::string_view new_name);

// The formula after the renames of `renames`.
std::string rename_sheets_in_formula(std::string_view formula, const SheetRenameChain& renames);

// The formula after sheet `deleted` was removed. `order` is the tab order before the deletion
// (needed for 3-D references whose end is the deleted sheet: the range shrinks to the sheets left
// in it). A reference to the sheet alone becomes "#REF!".
std::string delete_sheet_in_formula(std::string_view formula, std::string_view deleted,
                                    const std::vector<std::string>& order);

// The formula with every structured reference to table `old_name` ("Table1[Qty]") made to name
// `new_name` instead.
std::string rename_table_in_formula(std::string_view formula, std::string_view old_name,
                                    std::string_view new_name);

// The bare names a formula uses: runs of name characters outside string literals that are not
// a function (followed by "("), a sheet (followed by "!"), a table (followed by "[") or a
// number. Cell references such as "A1" are among them; callers compare with what they look for.
std::vector<std::string> formula_names(std::string_view formula);

}  // namespace sheaflow::xl::native
