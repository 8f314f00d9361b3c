#pragma once
// "xl/styles.xml": the cell formats (cellXfs) and the number formats they use. Kept as a tree so
// that formats can be added or merged in; the engine reads the number format of a cell from here.

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "util/result.h"
#include "xl/native/numfmt.h"
#include "xl/native/xml.h"

namespace sheaflow::xl::native {

class Styles {
public:
    // A workbook without a styles part behaves as if every cell had the General format.
    Styles() = default;
    Result<void> parse(std::string_view bytes, const std::string& part_name);
    std::string serialize() const { return xml::save(doc_); }
    bool dirty() const { return dirty_; }

    std::size_t xf_count() const { return xf_num_fmt_.size(); }
    // numFmtId of a cell format (0 for an index out of range).
    int num_fmt_id(std::uint32_t xf) const;
    // The number format code of a cell format ("General" when none).
    const std::string& format_code(std::uint32_t xf) const;
    // True when the cell format shows dates or times.
    bool is_date(std::uint32_t xf) const;
    // The number format of a cell format, parsed once.
    const numfmt::CompiledFormat& compiled(std::uint32_t xf) const;
    // True when the format shows a text cell's text as it is (General, "@").
    bool shows_text_as_is(std::uint32_t xf) const;
    // True when the cell format carries the quote prefix (text typed with a leading apostrophe).
    bool quote_prefix(std::uint32_t xf) const;

    pugi::xml_node root() const { return doc_.root(); }

private:
    xml::Document doc_;
    bool dirty_ = false;
    std::vector<int> xf_num_fmt_;
    std::vector<bool> xf_quote_;
    std::unordered_map<int, std::string> custom_;                       // numFmtId -> code
    mutable std::unordered_map<int, std::string> codes_;                // resolved codes by id
    mutable std::vector<std::int8_t> date_;                             // per xf: -1 unknown, 0, 1
    mutable std::unordered_map<int, numfmt::CompiledFormat> compiled_;  // by numFmtId
};

}  // namespace sheaflow::xl::native
