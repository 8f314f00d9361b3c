#pragma once
// Merges the formats a copied sheet uses into another workbook's style table: number formats,
// fonts, fills, borders, cell formats, named cell styles and conditional-format styles are
// looked up by content and added only when the destination has no equal one. The destination's
// definition wins for a named style that both workbooks have.

#include <cstdint>
#include <map>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "util/result.h"

namespace sheaflow::xl::native {

class StyleMerge {
public:
    // `source` and `destination` are the styles parts (either may be empty: a workbook without
    // a styles part has the default format only).
    Result<void> load(std::string_view source, std::string_view destination);

    // The destination cell format (cellXfs index) equal to the source's `xf`.
    std::uint32_t cell_format(std::uint32_t xf);
    // The destination differential format (dxfs index) equal to the source's `dxf`.
    std::uint32_t differential_format(std::uint32_t dxf);

    // The names of the source's named cell styles, in its order.
    std::vector<std::string> source_style_names() const;
    // Styles.Merge for one named style of the source: added to the destination, or, when the
    // destination has a style of that name, its definition replaced by the source's (the
    // application's answer to merging styles of the same name). False when the source has no
    // such style.
    bool merge_named_style(const std::string& name);

    bool changed() const { return changed_; }
    // The destination styles part with what was added.
    std::string destination_xml() const;

private:
    // Index in the destination list `list` (created when missing) of an element equal to `src`
    // after its references were mapped; appended when none is equal.
    std::uint32_t find_or_add(const char* list, pugi::xml_node src);
    std::uint32_t map_child(const char* list, std::uint32_t index);
    std::uint32_t map_num_fmt(std::uint32_t id);
    std::uint32_t map_style_xf(std::uint32_t xf);
    pugi::xml_node dest_list(const char* list);
    // A copy of a source xf with its font, fill, border and number format mapped.
    void map_xf_refs(pugi::xml_node xf);

    pugi::xml_document src_, dst_;
    std::string ns_prefix_;  // the destination's prefix for spreadsheet elements
    bool changed_ = false;
    std::map<std::pair<std::string, std::uint32_t>, std::uint32_t> done_;  // (list, src) -> dst
    std::unordered_map<std::string, std::unordered_map<std::string, std::uint32_t>> index_;
};

}  // namespace sheaflow::xl::native
