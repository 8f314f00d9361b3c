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

// The workbook as it stands, saved into the office's work folder for the office to read.
struct OfficeCopy {
    native::Book* book = nullptr;
    OfficeBridge* office = nullptr;
    std::string folder;
    std::string path;
    bool macros = false;
};

Result<OfficeCopy> save_office_copy(Workbook& wb) {
    auto* book = dynamic_cast<native::Book*>(&wb);
    if (!book) return no_office();
    OfficeBridge* office = book->app().office();
    if (!office) return no_office();
    auto folder = office->work_folder();
    if (!folder) return folder.error();
    if (auto r = book->flush(); !r) return r.error();
    OfficeCopy copy;
    copy.book = book;
    copy.office = office;
    copy.folder = *folder;
    copy.macros = book->workbook_rels().by_type(native::rel::kVbaProject).has_value();
    copy.path = work_file(copy.folder, copy.macros ? "xlsm" : "xlsx");
    if (auto r = book->package().save(copy.path); !r) {
        std::error_code ec;
        fs::remove(copy.path, ec);
        return r.error();
    }
    return copy;
}

}  // namespace

Result<void> export_pdf(Workbook& wb, const std::vector<std::string>& sheets,
                        const std::string& pdf_path) {
    auto copy = save_office_copy(wb);
    if (!copy) return copy.error();
    std::error_code ec;
    if (!sheets.empty()) {
        // The chosen sheets only: the others are deleted from the copy.
        auto opened = copy->book->app().open(copy->path, false);
        if (!opened) {
            fs::remove(copy->path, ec);
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
            edited = c.save_as(copy->path,
                               copy->macros ? xlOpenXMLWorkbookMacroEnabled : xlOpenXMLWorkbook);
        c.close();
        (void)wb.activate();
        if (!edited) {
            fs::remove(copy->path, ec);
            return edited.error();
        }
    }
    auto r = copy->office->convert(copy->path, pdf_path, kFilterPdf);
    fs::remove(copy->path, ec);
    return r;
}

Result<std::string> range_picture(Workbook& wb, Worksheet& sheet, const Area& area,
                                  double scale) {
    auto copy = save_office_copy(wb);
    if (!copy) return copy.error();
    const std::string png = work_file(copy->folder, "png");
    Result<void> made = copy->office->picture(copy->path, sheet.name(),
                                              format_address(area, false, false), png, scale);
    std::string bytes;
    if (made && !file::read_all(png, bytes))
        made = Error::failed("書き出した画像を読めませんでした。");
    std::error_code ec;
    fs::remove(copy->path, ec);
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
