// PDF output of an open workbook: the package as it stands goes to the office program, which
// lays out the pages with each sheet's page setup. A choice of sheets is made on a copy of the
// package opened beside the workbook, with the other sheets deleted.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "util/file.h"
#include "xl/native/book.h"
#include "xl/print.h"

namespace sheaflow::xl {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kFilterPdf = "calc_pdf_Export";

Error no_office() {
    return Error::make(Error::Code::Unsupported,
                       "印字と PDF の出力には LibreOffice との連携が必要です。");
}

std::string work_file(const std::string& folder, std::string_view extension) {
    static int counter = 0;
    return folder + "/print-" + std::to_string(++counter) + "." + std::string(extension);
}

}  // namespace

Result<void> export_pdf(Workbook& wb, const std::vector<std::string>& sheets,
                        const std::string& pdf_path) {
    auto* book = dynamic_cast<native::Book*>(&wb);
    if (!book) return no_office();
    OfficeBridge* office = book->app().office();
    if (!office) return no_office();
    auto folder = office->work_folder();
    if (!folder) return folder.error();
    if (auto r = book->flush(); !r) return r;
    const bool macros = book->workbook_rels().by_type(native::rel::kVbaProject).has_value();
    const std::string copy = work_file(*folder, macros ? "xlsm" : "xlsx");
    if (auto r = book->package().save(copy); !r) return r;
    std::error_code ec;
    if (!sheets.empty()) {
        // The chosen sheets only: the others are deleted from the copy.
        auto opened = book->app().open(copy, false);
        if (!opened) {
            fs::remove(copy, ec);
            return opened.error();
        }
        Workbook& c = **opened;
        Result<void> edited;
        for (int i = c.sheet_count(); i >= 1 && edited; --i) {
            Worksheet* s = c.sheet(i);
            if (s && std::find(sheets.begin(), sheets.end(), s->name()) == sheets.end())
                edited = s->delete_sheet();
        }
        if (edited)
            edited = c.save_as(copy, macros ? xlOpenXMLWorkbookMacroEnabled : xlOpenXMLWorkbook);
        c.close();
        (void)wb.activate();
        if (!edited) {
            fs::remove(copy, ec);
            return edited.error();
        }
    }
    auto r = office->convert(copy, pdf_path, kFilterPdf);
    fs::remove(copy, ec);
    return r;
}

Result<std::string> range_picture(Workbook& wb, Worksheet& sheet, const Area& area,
                                  double scale) {
    auto* book = dynamic_cast<native::Book*>(&wb);
    if (!book) return no_office();
    OfficeBridge* office = book->app().office();
    if (!office) return no_office();
    auto folder = office->work_folder();
    if (!folder) return folder.error();
    if (auto r = book->flush(); !r) return r.error();
    const bool macros = book->workbook_rels().by_type(native::rel::kVbaProject).has_value();
    const std::string copy = work_file(*folder, macros ? "xlsm" : "xlsx");
    const std::string png = work_file(*folder, "png");
    Result<void> made = book->package().save(copy);
    if (made)
        made = office->picture(copy, sheet.name(), format_address(area, false, false), png, scale);
    std::string bytes;
    if (made && !file::read_all(png, bytes))
        made = Error::failed("書き出した画像を読めませんでした。");
    std::error_code ec;
    fs::remove(copy, ec);
    fs::remove(png, ec);
    if (!made) return made.error();
    return bytes;
}

int pdf_page_count(const std::string& pdf_path) {
    std::ifstream in(pdf_path, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    // "/Type/Page" or "/Type /Page", not followed by "s" (the page tree nodes).
    int pages = 0;
    for (std::size_t at = 0; (at = bytes.find("/Type", at)) != std::string::npos;) {
        at += 5;
        std::size_t p = at;
        while (p < bytes.size() && (bytes[p] == ' ' || bytes[p] == '\r' || bytes[p] == '\n')) ++p;
        if (bytes.compare(p, 5, "/Page") == 0 && (p + 5 >= bytes.size() || bytes[p + 5] != 's'))
            ++pages;
    }
    return pages;
}

Result<std::vector<int>> printed_pages(Workbook& wb) {
    auto* book = dynamic_cast<native::Book*>(&wb);
    if (!book || !book->app().office()) return no_office();
    auto folder = book->app().office()->work_folder();
    if (!folder) return folder.error();
    std::vector<int> pages;
    for (int i = 1; i <= wb.worksheet_count(); ++i) {
        Worksheet* s = wb.worksheet(i);
        if (!s) continue;
        const std::string pdf = work_file(*folder, "pdf");
        if (auto r = export_pdf(wb, {s->name()}, pdf); !r) return r.error();
        pages.push_back(pdf_page_count(pdf));
        std::error_code ec;
        fs::remove(pdf, ec);
    }
    return pages;
}

}  // namespace sheaflow::xl
