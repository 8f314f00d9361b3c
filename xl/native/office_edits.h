#pragma once
// What a workbook read through the office changed, told as cell values when that is all it
// changed. The office then writes those values into the document it kept open and stores it,
// instead of reading the engine's whole package back. Internal to xl/native.

#include <optional>
#include <string>
#include <vector>

#include "xl/native/package.h"
#include "xl/office_bridge.h"

namespace sheaflow::xl::native {

struct OfficeSheet {
    std::string name;
    std::string part;
};

// The cell values that turn the package as it was opened into the package as it is now, when
// those are its only differences besides the active sheet (the workbook's active tab and the
// sheets' selected flags) and the request to calculate in full: values of existing cells of
// `sheets`, each a plain text, a number or no value. nullopt when anything else differs: another
// part, a row or a cell added or removed, a format, a formula, a text with runs or phonetic guides,
// a truth value or an error value; and when the edits are so many that the office would read the
// package sooner than write them one by one.
std::optional<std::vector<OfficeCellEdit>> office_cell_edits(const Package& pkg,
                                                             const std::vector<OfficeSheet>& sheets,
                                                             const std::string& workbook_part,
                                                             const std::string& strings_part);

}  // namespace sheaflow::xl::native
