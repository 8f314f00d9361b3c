// Printers through CUPS: the queues, the default one, and print jobs of PDF files (one job of
// several documents, so that a run's pages come out together). Without CUPS at build time there
// are no printers, and printing says so.

#include <fstream>
#include <string>
#include <vector>

#include "xl/print.h"

#ifdef SHEAFLOW_HAVE_CUPS
#include <cups/cups.h>
#endif

namespace sheaflow::xl {

#ifdef SHEAFLOW_HAVE_CUPS

std::vector<std::string> printer_names() {
    cups_dest_t* dests = nullptr;
    int n = cupsGetDests2(CUPS_HTTP_DEFAULT, &dests);
    std::vector<std::string> names;
    for (int i = 0; i < n; ++i)
        if (!dests[i].instance) names.emplace_back(dests[i].name);
    cupsFreeDests(n, dests);
    return names;
}

std::string default_printer() {
    cups_dest_t* dest = cupsGetNamedDest(CUPS_HTTP_DEFAULT, nullptr, nullptr);
    if (!dest) return {};
    std::string name = dest->name;
    cupsFreeDests(1, dest);
    return name;
}

Result<void> print_pdfs(const std::vector<std::string>& pdfs, const PrintOptions& o) {
    const std::string printer = o.printer.empty() ? default_printer() : o.printer;
    if (printer.empty())
        return Error::failed("プリンターがありません（CUPS に既定のプリンターがありません）。");
    cups_option_t* options = nullptr;
    int count = 0;
    count = cupsAddOption("copies", std::to_string(o.copies < 1 ? 1 : o.copies).c_str(), count,
                          &options);
    if (o.monochrome) {
        count = cupsAddOption("print-color-mode", "monochrome", count, &options);
        count = cupsAddOption("ColorModel", "Gray", count, &options);
    }
    auto fail = [&](const std::string& what) {
        cupsFreeOptions(count, options);
        return Error::failed("プリンター「" + printer + "」に印字できません（" + what + "）。");
    };
    int job = cupsCreateJob(CUPS_HTTP_DEFAULT, printer.c_str(),
                            o.title.empty() ? "Sheaflow" : o.title.c_str(), count, options);
    if (job == 0) return fail(cupsLastErrorString());
    for (std::size_t i = 0; i < pdfs.size(); ++i) {
        const bool last = i + 1 == pdfs.size();
        if (cupsStartDocument(CUPS_HTTP_DEFAULT, printer.c_str(), job, pdfs[i].c_str(),
                              CUPS_FORMAT_PDF, last ? 1 : 0) != HTTP_STATUS_CONTINUE) {
            cupsCancelJob2(CUPS_HTTP_DEFAULT, printer.c_str(), job, 0);
            return fail(cupsLastErrorString());
        }
        std::ifstream in(pdfs[i], std::ios::binary);
        char buf[65536];
        while (in.read(buf, sizeof buf) || in.gcount() > 0)
            if (cupsWriteRequestData(CUPS_HTTP_DEFAULT, buf, static_cast<size_t>(in.gcount())) !=
                HTTP_STATUS_CONTINUE)
                break;
        if (cupsFinishDocument(CUPS_HTTP_DEFAULT, printer.c_str()) != IPP_STATUS_OK) {
            cupsCancelJob2(CUPS_HTTP_DEFAULT, printer.c_str(), job, 0);
            return fail(cupsLastErrorString());
        }
    }
    cupsFreeOptions(count, options);
    return {};
}

#else

std::vector<std::string> printer_names() { return {}; }
std::string default_printer() { return {}; }
Result<void> print_pdfs(const std::vector<std::string>&, const PrintOptions&) {
    return Error::failed("このプログラムは CUPS なしで作られているため印字できません。");
}

#endif

}  // namespace sheaflow::xl
