#pragma once
// Text widths in pixels at 96 dots per inch, measured with the installed fonts (fontconfig and
// FreeType), for fitting columns and rows to their contents.

#include <optional>
#include <string_view>

#include "xl/native/line_size.h"

namespace sheaflow::xl::native {

// The advance width of the text in the font; nullopt when neither the font nor a font made with
// the same metrics is installed.
std::optional<double> measure_text_width(const FontSpec& font, std::string_view utf8);
// The widest of the digits 0-9 in the font; nullopt when the font is not installed.
std::optional<double> measure_max_digit_width(const FontSpec& font);
// The line height of the font in points; nullopt when it is not installed.
std::optional<double> measure_line_height(const FontSpec& font);

// Without the font: the application's rule of thumb, digits half as wide as the font is high,
// and full-width characters (ideographs, kana) two digits wide.
double fallback_max_digit_width(double size_points);
double fallback_text_width(const FontSpec& font, std::string_view utf8);

}  // namespace sheaflow::xl::native
