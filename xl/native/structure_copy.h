#pragma once
// Worksheet.Copy: a copy of a sheet within its workbook or into another one, with the parts the
// sheet owns (drawings, charts, images, comments, tables, controls) copied along. Internal to
// xl/native.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

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

// Cells pasted from a sheet of one workbook into another: the source's cell formats merged into
// the destination's styles, and the references of pasted formulas to sheets of the source made
// external references to the source's file (the application's rule, whatever sheets the
// destination has), with the values they read cached in the link.
class PasteTransfer {
public:
    PasteTransfer(Book& source, Book& dest);
    ~PasteTransfer();
    Result<void> load();
    // The destination cell format (cellXfs index) equal to the source's `xf`.
    std::uint32_t cell_format(std::uint32_t xf);
    // The destination differential format (dxfs index) equal to the source's `dxf`.
    std::uint32_t differential_format(std::uint32_t dxf);
    // A formula (without "=") as the destination must read it.
    std::string formula(std::string_view f);
    // Writes the styles and links that were added.
    Result<void> finish();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// Styles.Merge: the named cell styles of `source` (those of `names`, all when empty) merged into
// `dest`; the first name the source lacks is the error.
Result<void> merge_named_styles(Book& source, Book& dest, const std::vector<std::string>& names);
std::vector<std::string> named_styles(Book& book);
// A formula typed with references to other workbooks by their path ("='/data/[Book.xlsx]Sheet1'!A1",
// or "[Book.xlsx]Sheet1!A1" for a workbook open in the application) as the workbook stores it:
// each such reference goes through a link of `b` ("[1]Sheet1!A1"), made when missing. The link
// keeps the values of the cells referred to when that workbook is open in the application.
Result<std::string> link_external_references(Book& b, std::string_view formula);

}  // namespace sheaflow::xl::native
