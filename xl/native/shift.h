#pragma once
// Inserting and deleting rows or columns of a sheet with everything that refers to them moved:
// the sheet's own cells, formats, merged cells, validation, conditional formats, links, filters
// and breaks; its comments, drawings, tables and pivot tables; formulas, names and charts on every
// sheet. Internal to xl/native (the object model calls it through Sheet).

#include "util/result.h"
#include "xl/native/book.h"
#include "xl/native/shift_refs.h"

namespace sheaflow::xl::native {

// Moves the lines of `sheet` as `map` says. Refused (nothing changed) where the application
// refuses: part of an array formula or of a table's header or columns, a pivot table cut,
// cells with contents pushed off the grid.
Result<void> shift_lines(Book& book, Sheet& sheet, Axis axis, const LineMap& map);

// The text of a worksheet part with its own content moved (cells and their formulas, row and
// column records, everything anchored to cells); references from other sheets are not touched.
// `sheet_name` is the sheet's name, for references that name it.
Result<std::string> shift_sheet_part(std::string_view xml, std::string_view sheet_name, Axis axis,
                                     const LineMap& map);

}  // namespace sheaflow::xl::native
