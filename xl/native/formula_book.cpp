// What the formula operations read from a workbook besides cells: the defined names and the
// merged areas of a sheet.

#include <string_view>

#include "xl/native/book.h"
#include "xl/native/structure_support.h"

namespace sheaflow::xl::native {

std::vector<DefinedName> Book::names() {
    std::vector<DefinedName> out;
    if (format_ != Format::Package) return out;
    for (pugi::xml_node n : structure::defined_names(workbook_part())) {
        DefinedName d;
        d.name = n.attribute("name").value();
        d.refers_to = n.text().get();
        std::string_view hidden = n.attribute("hidden").value();
        d.hidden = hidden == "1" || hidden == "true";
        if (pugi::xml_attribute id = n.attribute("localSheetId")) {
            int index = id.as_int(-1);
            if (index < 0 || index >= static_cast<int>(sheets_.size())) continue;
            d.sheet = sheets_[static_cast<std::size_t>(index)]->name();
        }
        out.push_back(std::move(d));
    }
    return out;
}

std::vector<Area> Sheet::merged_areas() {
    std::vector<Area> out;
    if (!has_cells()) return out;
    auto text = structure::sheet_text(book_, *this);
    if (!text) return out;
    std::string_view x = *text;
    // <mergeCell ref="B2:C3"/> (with or without a namespace prefix) inside <mergeCells>.
    std::size_t i = x.find("mergeCells");
    while (i != std::string_view::npos) {
        i = x.find("mergeCell ", i);
        if (i == std::string_view::npos) break;
        std::size_t end = x.find('>', i);
        std::size_t ref = x.find("ref=\"", i);
        if (end == std::string_view::npos) break;
        if (ref != std::string_view::npos && ref < end) {
            std::size_t close = x.find('"', ref + 5);
            if (auto a = parse_address(x.substr(ref + 5, close - ref - 5))) out.push_back(*a);
        }
        i = end;
    }
    return out;
}

}  // namespace sheaflow::xl::native
