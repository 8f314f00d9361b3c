#pragma once
// Row and column sizes in the application's units. Column widths are stored in characters of
// the workbook's standard font plus padding: a column of n digits is n * w + 5 pixels wide, where
// w is the widest digit of that font (the maximum digit width) at 96 dots per inch.

#include <string>

namespace sheaflow::xl::native {

class Book;

// The standard font of a workbook: the first font of its styles.
struct FontSpec {
    std::string name = "Calibri";
    double size = 11;  // points
    bool bold = false;
    bool italic = false;
};
FontSpec standard_font(Book& book);

// The maximum digit width of the workbook's standard font in pixels.
double max_digit_width(Book& book);

// ColumnWidth (characters) from the stored width and back.
double width_to_characters(double width, double mdw);
double characters_to_width(double characters, double mdw);
// StandardWidth of a sheet whose base column width is `base` characters.
double standard_characters(int base, double mdw);

}  // namespace sheaflow::xl::native
