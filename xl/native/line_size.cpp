#include "xl/native/line_size.h"

#include <cmath>

#include "xl/native/book.h"
#include "xl/native/text_measure.h"
#include "xl/native/xml.h"

namespace sheaflow::xl::native {

FontSpec standard_font(Book& book) {
    FontSpec f;
    pugi::xml_node fonts = xml::child(book.styles().root(), "fonts");
    pugi::xml_node first = xml::child(fonts, "font");
    if (!first) return f;
    if (pugi::xml_node n = xml::child(first, "name")) f.name = n.attribute("val").value();
    if (pugi::xml_node s = xml::child(first, "sz")) f.size = s.attribute("val").as_double(11);
    f.bold = static_cast<bool>(xml::child(first, "b"));
    f.italic = static_cast<bool>(xml::child(first, "i"));
    return f;
}

double max_digit_width(Book& book) {
    FontSpec f = standard_font(book);
    if (auto w = measure_max_digit_width(f)) return *w;
    return fallback_max_digit_width(f.size);
}

double width_to_characters(double width, double mdw) {
    double pixels = std::trunc(width * mdw + 0.5);
    if (pixels <= 5) return std::trunc(pixels / (mdw + 5) * 100 + 0.5) / 100;
    return std::trunc((pixels - 5) / mdw * 100 + 0.5) / 100;
}

double characters_to_width(double characters, double mdw) {
    if (characters <= 0) return 0;
    double pixels = std::trunc(characters * mdw + 0.5) + 5;
    return std::trunc(pixels / mdw * 256) / 256;
}

double standard_characters(int base, double mdw) {
    // The padding of a standard column: a digit's width plus one pixel.
    double pixels = base * mdw + mdw + 1;
    return std::trunc((pixels - 5) / mdw * 100 + 0.5) / 100;
}

}  // namespace sheaflow::xl::native
