#pragma once
// The format of a cell as the operations see it: font, alignment, borders, fill, number format
// and protection, and the text runs of a cell whose text carries fonts of its own. Worksheet in
// xl/xl.h reads the effective format of a cell and changes formats through an editing visitor.
// Colours are the object model's colour longs (red + 256 green + 65536 blue).

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sheaflow::xl {

// A colour that is automatic (no colour of its own).
inline constexpr std::int32_t kAutomaticColour = -1;
// A colour the workbook stores in a way that cannot be resolved to RGB (a theme colour without a
// theme); it is kept as it is unless an edit sets another colour.
inline constexpr std::int32_t kUnknownColour = -2;

struct FontFormat {
    std::string name;  // "游ゴシック"
    double size = 11;  // points
    bool bold = false;
    bool italic = false;
    // "" none, "single", "double", "singleAccounting", "doubleAccounting".
    std::string underline;
    bool strike = false;
    std::int32_t colour = kAutomaticColour;
    // "" baseline, "superscript", "subscript".
    std::string vert_align;
    bool operator==(const FontFormat&) const = default;
};

struct AlignmentFormat {
    // "general", "left", "center", "right", "fill", "justify", "centerContinuous",
    // "distributed".
    std::string horizontal = "general";
    // "top", "center", "bottom", "justify", "distributed".
    std::string vertical = "bottom";
    bool wrap = false;
    bool shrink = false;
    int indent = 0;
    // Degrees 0..180 as the part stores them (91..180 turn downwards); 255 is vertical text.
    int rotation = 0;
    bool operator==(const AlignmentFormat&) const = default;
};

struct BorderEdge {
    // "" none, or "thin", "medium", "thick", "dashed", "dotted", "double", "hair",
    // "mediumDashed", "dashDot", "mediumDashDot", "dashDotDot", "mediumDashDotDot",
    // "slantDashDot".
    std::string style;
    std::int32_t colour = kAutomaticColour;
    bool operator==(const BorderEdge&) const = default;
};

struct BorderFormat {
    BorderEdge left, right, top, bottom, diagonal;
    bool diagonal_up = false;
    bool diagonal_down = false;
    bool operator==(const BorderFormat&) const = default;
};

struct FillFormat {
    // "none", "solid", or a pattern ("gray125", "darkGray", "lightHorizontal", ...); "gradient"
    // for a gradient fill (read only: setting another pattern replaces it).
    std::string pattern = "none";
    std::int32_t colour = kAutomaticColour;          // Interior.Color: what the cell shows
    std::int32_t pattern_colour = kAutomaticColour;  // Interior.PatternColor
    bool operator==(const FillFormat&) const = default;
};

struct CellFormat {
    FontFormat font;
    AlignmentFormat alignment;
    BorderFormat border;
    FillFormat fill;
    std::string number_format = "General";
    bool locked = true;
    bool hidden = false;
    // The name of the cell style the format is based on ("Normal", "標準", "Good"...); read only.
    std::string style;
    bool operator==(const CellFormat&) const = default;
};

// One run of a cell's text; a run without a font of its own shows the cell's font.
struct TextRun {
    std::string text;
    std::optional<FontFormat> font;
    bool operator==(const TextRun&) const = default;
};

}  // namespace sheaflow::xl
