// Feeds arbitrary bytes to the part readers that do not go through pugixml: the worksheet
// scanner (then a change and a write-back, which must parse again) and the string table.

#include <cstddef>
#include <cstdint>
#include <string>

#include "xl/native/shared_strings.h"
#include "xl/native/worksheet_part.h"

using namespace sheaflow::xl::native;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    WorksheetPart part;
    if (part.parse(text, "sheet.xml")) {
        CellTable& t = part.table();
        for (const Row& row : t.rows)
            for (std::uint32_t i = row.first; i < row.last; ++i) t.formula_text(row.r, t.cells[i]);
        Cell& c = t.touch(3, 3);
        c.kind = CellKind::Number;
        c.number = 1;
        part.mark_dirty();
        std::string out = part.serialize();
        WorksheetPart again;
        if (!again.parse(out, "sheet.xml")) __builtin_trap();
        if (again.table().find(3, 3) == nullptr) __builtin_trap();
    }
    // Under a small cell limit a part is read whole or refused, never cut short silently.
    WorksheetPart small;
    if (small.parse(text, "sheet.xml", 64)) {
        const CellTable& t = small.table();
        if (t.cells.size() + t.rows.size() > 64) __builtin_trap();
    }
    WorksheetPart::read_head(text);
    SharedStrings sst;
    if (sst.parse(text, "sst.xml")) {
        sst.intern("new");
        sst.add_references(1);
        if (sst.size() > 0) sst.set_text(0, "x");
        SharedStrings again;
        if (!again.parse(sst.serialize(), "sst.xml")) __builtin_trap();
    }
    return 0;
}
