#pragma once
// The styles part as a table of cell formats that can be read as CellFormat values and edited:
// an edited format is written into a copy of the entry it came from (so that what the edit does
// not touch, theme colours and font schemes included, stays as it was) and the copy is looked up
// among the existing entries before it is appended. Fonts, fills, borders, number formats and
// cell formats are all reused by content. Differential formats (conditional formats) are built
// the same way. Internal to xl/native.

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "util/result.h"
#include "xl/cell_format.h"
#include "xl/native/colours.h"
#include "xl/native/xml.h"

namespace sheaflow::xl::native {

class Book;

class FormatTable {
public:
    // Reads the workbook's styles part (a workbook without one gets the default part).
    Result<void> load(Book& b);
    bool changed() const { return changed_; }
    // Writes the part into the package when it changed.
    void store(Book& b);

    std::uint32_t xf_count() const;
    // The format of cell format `xf` (index into cellXfs; out of range reads as 0).
    const CellFormat& read(std::uint32_t xf);
    // The cell format that is `xf` with the differences between `was` (what read(xf) gave) and
    // `want` applied: an existing equal entry, else a new one.
    std::uint32_t intern(std::uint32_t xf, const CellFormat& was, const CellFormat& want);
    // The differential format (dxfs index) with the font colour, bold, italic, fill colour and
    // border of `want` that differ from the default CellFormat; an equal existing entry is
    // reused.
    std::uint32_t intern_dxf(const CellFormat& want);
    // The names of the cell styles.
    std::vector<std::string> style_names() const;

    // A font element read as a FontFormat, and the differences of `want` from `was` written into
    // a font element (also used for the runs of rich text and of comments).
    FontFormat read_font(pugi::xml_node font) const;
    void write_font(pugi::xml_node font, const FontFormat& was, const FontFormat& want) const;

private:
    pugi::xml_node list(const char* name, bool create);
    std::uint32_t find_or_add(const char* list_name, pugi::xml_node entry);
    std::uint32_t num_fmt_id(const std::string& code);
    std::int32_t colour_of(pugi::xml_node color) const;

    xml::Document doc_;
    std::string part_;
    bool created_ = false;  // the workbook had no styles part
    bool changed_ = false;
    ColourResolver resolver_;
    std::vector<CellFormat> cache_;
    std::vector<bool> cached_;
    std::map<std::string, std::unordered_map<std::string, std::uint32_t>> index_;
    std::map<std::pair<std::uint32_t, std::string>, std::uint32_t> memo_;
};

// A canonical text of an element (attributes sorted), for comparing entries by content.
std::string canonical(pugi::xml_node n);

}  // namespace sheaflow::xl::native
