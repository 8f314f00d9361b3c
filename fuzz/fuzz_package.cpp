// Opens arbitrary bytes as a workbook package and does what an operation would: lists the
// sheets, reads every cell, searches, replaces and writes the changed parts back.

#include <cstddef>
#include <cstdint>
#include <string>

#include "xl/native/book.h"

using namespace sheaflow::xl;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    native::NativeApplication app;
    auto book = native::Book::open_memory(
        app, std::string(reinterpret_cast<const char*>(data), size), "fuzz.xlsx");
    if (!book) return 0;
    native::Book& b = **book;
    for (int i = 1; i <= b.sheet_count(); ++i) {
        Worksheet* ws = b.sheet(i);
        ws->name();
        ws->code_name();
        ws->type();
        if (!ws->check()) continue;
        Area used = ws->used_range();
        ws->for_each_cell(used, [&](CellRef c) {
            ws->cell_value(c);
            ws->cell_formula(c);
            ws->cell_text(c);
            ws->cell_number_format_local(c);
        });
        FindSpec criteria;
        criteria.what = "a*";
        ws->find(used, criteria, std::nullopt);
        criteria.look_in = xlComments;
        ws->find(used, criteria, std::nullopt);
        criteria.what = "1";
        (void)ws->replace(used, criteria, "2");
        (void)ws->set_cell_value({used.last_row + 1, 1}, std::string("x"));
    }
    (void)b.flush();
    (void)b.text_of_active_sheet(xlCSV);
    return 0;
}
