#pragma once
// Colours as the parts store them, resolved to the object model's colour long (red + 256 green
// + 65536 blue): SpreadsheetML <color> elements (rgb, indexed through the workbook's palette,
// theme with tint through its theme), DrawingML colour choices (srgbClr, schemeClr with their
// luminance modifiers, sysClr) and VML colour texts. Writing a colour always writes plain RGB.
// Internal to xl/native.

#include <array>
#include <cstdint>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace sheaflow::xl::native {

class Book;

struct ResolvedColour {
    bool automatic = true;  // no colour of its own (auto, system colours): never visited
    bool known = false;     // false: a colour that cannot be resolved
    std::int32_t colour = -1;
};

class ColourResolver {
public:
    ColourResolver();
    // The theme and palette of a workbook; `styles_root` is the styles part's root element (or
    // empty).
    void load(Book& b, pugi::xml_node styles_root);

    // A SpreadsheetML <color> element (empty node: automatic).
    ResolvedColour spreadsheet(pugi::xml_node color) const;
    // A DrawingML colour choice element (a:srgbClr, a:schemeClr, a:sysClr...).
    ResolvedColour drawing(pugi::xml_node choice) const;
    // A VML colour text ("#ffffe1", "#fc0 [80]", "red", "infoBackground [80]").
    static ResolvedColour vml(std::string_view text);

    // The theme colours by SpreadsheetML index: lt1, dk1, lt2, dk2, accent1..6, hlink, folHlink;
    // -1 where the theme has none.
    const std::array<std::int32_t, 12>& theme() const { return theme_; }

private:
    std::array<std::int32_t, 12> theme_;
    std::vector<std::int32_t> indexed_;  // palette: index -> colour
};

// SpreadsheetML tint applied in HLS space.
std::int32_t apply_tint(std::int32_t colour, double tint);

// Sets a <color> element to plain RGB (rgb="FFRRGGBB"), dropping theme, indexed, tint and auto.
void write_spreadsheet_colour(pugi::xml_node color, std::int32_t colour);
// Replaces a DrawingML colour choice element by an a:srgbClr of the same prefix, keeping its
// alpha; returns the new element.
pugi::xml_node write_drawing_colour(pugi::xml_node choice, std::int32_t colour);
// "#rrggbb".
std::string vml_colour(std::int32_t colour);
// True for the local names of DrawingML colour choices.
bool is_drawing_colour(std::string_view local);

}  // namespace sheaflow::xl::native
