#pragma once
// Worksheet.Copy: a copy of a sheet within its workbook or into another one, with the parts the
// sheet owns (drawings, charts, images, comments, tables, controls) copied along. Internal to
// xl/native.

#include "util/result.h"
#include "xl/native/book.h"

namespace sheaflow::xl::native {

// Copies `source` into `dest` before or after the given sheet of `dest` (one of them set). The
// copy becomes the active sheet of `dest`, and `dest` the active workbook.
Result<Worksheet*> copy_sheet(Sheet& source, Book& dest, Worksheet* before, Worksheet* after);

// Copies `sources` (sheets of one workbook) together after `after`, a sheet of `dest`, in their
// order, under `names` (their own names when empty) made unique in `dest`; references among
// them point at the copies.
Result<std::vector<Worksheet*>> copy_sheets(const std::vector<Sheet*>& sources, Book& dest,
                                            Worksheet& after,
                                            const std::vector<std::string>& names);

}  // namespace sheaflow::xl::native
