#pragma once
// Printing and PDF output of workbooks (the object model's PrintOut and ExportAsFixedFormat).
// The office program lays the pages out as a PDF, with each sheet's page setup; printers are
// CUPS queues, and a print job is that PDF sent to the queue.

#include <string>
#include <vector>

#include "util/result.h"

namespace sheaflow::xl {

class Workbook;
class Worksheet;
struct Area;

// The workbook as it stands (unsaved changes included) written as a PDF file. With `sheets`,
// only those worksheets (by name) are written. Needs the office program.
Result<void> export_pdf(Workbook& book, const std::vector<std::string>& sheets,
                        const std::string& pdf_path);

// The cells `area` of `sheet` drawn as they print, as a PNG picture (the file's bytes), `scale`
// times the screen size (1 = 96 pixels an inch). Needs the office program.
Result<std::string> range_picture(Workbook& book, Worksheet& sheet, const Area& area,
                                  double scale);

// How many pages each worksheet would print on, in Worksheets order.
Result<std::vector<int>> printed_pages(Workbook& book);

// The pages of a PDF file (counted from its page objects).
int pdf_page_count(const std::string& pdf_path);

struct PrintOptions {
    std::string printer;  // a CUPS queue; the default printer when empty
    bool monochrome = false;
    int copies = 1;
    std::string title;  // the job's name in the queue
};

// Sends the PDF files to a printer as one job, in order.
Result<void> print_pdfs(const std::vector<std::string>& pdfs, const PrintOptions& options);

// The CUPS queues, and the default one ("" when none); empty when CUPS is not there.
std::vector<std::string> printer_names();
std::string default_printer();

}  // namespace sheaflow::xl
