#pragma once
// What a sheet attaches to ranges of cells besides their formats: data validation, conditional
// formats, hyperlinks and the look of comment boxes. Worksheet in xl/xl.h lists and changes them.

#include <cstdint>
#include <string>
#include <vector>

#include "xl/cell_format.h"

namespace sheaflow::xl {

// One data validation (Validation of the object model) over a list of areas.
struct Validation {
    std::string sqref;  // "B2:B10 D4"
    // "" any value, "whole", "decimal", "list", "date", "time", "textLength", "custom".
    std::string type;
    // "between", "notBetween", "equal", "notEqual", "greaterThan", "lessThan",
    // "greaterThanOrEqual", "lessThanOrEqual".
    std::string op = "between";
    std::string formula1, formula2;  // without "="; a list of values is "\"a,b,c\""
    bool allow_blank = true;
    bool dropdown = true;  // a list shows its drop-down arrow
    bool show_input = true;
    bool show_error = true;
    std::string error_style = "stop";  // "stop", "warning", "information"
    std::string prompt_title, prompt, error_title, error;
    int id = -1;  // the engine's handle while the sheet's validations stay as listed
};

// One conditional-format rule over a list of areas.
struct ConditionalFormat {
    std::string sqref;
    // "cellIs", "containsText", "duplicateValues", "uniqueValues", "colorScale", "dataBar",
    // "expression", or another kind the workbook holds (listed, not made).
    std::string type;
    std::string op;                  // cellIs: "between", "equal", "greaterThan", ...
    std::string formula1, formula2;  // cellIs and expression, without "="
    std::string text;                // containsText
    CellFormat format;               // the font colour, bold, italic and fill the rule shows
    std::vector<std::int32_t> colours;  // colorScale: 2 or 3 colours; dataBar: its colour
    int priority = 0;
};

// A hyperlink of a cell: an address (URL, file path) or a place in the workbook.
struct Hyperlink {
    std::int32_t row = 1, col = 1;  // the cell, 1-based
    std::string address;   // external target ("https://...", "C:\\x.xlsx", "mailto:...")
    std::string location;  // "Sheet2!A1"
    std::string tooltip;
};

// The box of a comment (the legacy note).
struct CommentBox {
    std::int32_t row = 1, col = 1;  // the cell, 1-based
    double width = 0, height = 0;  // points
    std::int32_t fill = kAutomaticColour;
    std::int32_t line = kAutomaticColour;
    double line_weight = 0.75;  // points
    bool visible = false;       // shown all the time, not only on hovering
    bool autosize = false;
    FontFormat font;  // the font of the comment's first text run
    std::string text;
};

}  // namespace sheaflow::xl
