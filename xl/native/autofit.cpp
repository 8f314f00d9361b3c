// AutoFit of rows and columns: the texts of the cells as their fonts draw them, measured with the
// installed fonts, or by the character-width rule where a font is missing.

#include <algorithm>
#include <cmath>
#include <map>

#include "util/text.h"
#include "xl/native/book.h"
#include "xl/native/line_size.h"
#include "xl/native/text_measure.h"
#include "xl/native/xml.h"

namespace sheaflow::xl::native {
namespace {

// The font of each cell format, read once per fit.
class CellFonts {
public:
    explicit CellFonts(Book& book) : standard_(standard_font(book)) {
        pugi::xml_node root = book.styles().root();
        for (pugi::xml_node f : xml::child(root, "fonts").children()) {
            if (f.type() != pugi::node_element) continue;
            FontSpec font = standard_;
            if (pugi::xml_node n = xml::child(f, "name")) font.name = n.attribute("val").value();
            if (pugi::xml_node sz = xml::child(f, "sz")) font.size = sz.attribute("val").as_double(11);
            font.bold = static_cast<bool>(xml::child(f, "b"));
            font.italic = static_cast<bool>(xml::child(f, "i"));
            fonts_.push_back(font);
        }
        for (pugi::xml_node xf : xml::child(root, "cellXfs").children())
            if (xf.type() == pugi::node_element) xf_font_.push_back(xf.attribute("fontId").as_int(0));
    }
    const FontSpec& of(std::uint32_t xf) const {
        if (xf >= xf_font_.size()) return standard_;
        auto id = static_cast<std::size_t>(xf_font_[xf]);
        return id < fonts_.size() ? fonts_[id] : standard_;
    }

private:
    FontSpec standard_;
    std::vector<FontSpec> fonts_;
    std::vector<int> xf_font_;
};

double text_width(const FontSpec& font, std::string_view line) {
    if (auto w = measure_text_width(font, line)) return *w;
    return fallback_text_width(font, line);
}

double line_height(const FontSpec& font) {
    if (auto h = measure_line_height(font)) return *h;
    // The application's rows are about 1.3 times the font size high.
    return std::ceil(font.size * 96.0 / 72.0 * 1.3) * 72.0 / 96.0;
}

}  // namespace

Result<void> Sheet::autofit_lines(Axis axis, const std::vector<LineSpan>& spans,
                                  std::int32_t first_cross) {
    if (!has_cells())
        return Error::make(Error::Code::Refused,
                           "シート「" + name_ + "」はワークシートではありません。");
    auto p = part();
    if (!p) return p.error();
    CellFonts fonts(book_);
    const double mdw = max_digit_width(book_);
    const CellTable& table = (*p)->table();
    // The widest text (pixels) of each column, or the tallest cell (points) of each row.
    std::map<std::int32_t, double> extent;
    auto wanted = [&](std::int32_t line) {
        return std::any_of(spans.begin(), spans.end(),
                           [&](const LineSpan& s) { return line >= s.first && line <= s.last; });
    };
    for (const Row& row : table.rows) {
        if (axis == Axis::Columns && row.r < first_cross) continue;
        if (axis == Axis::Rows && !wanted(row.r)) continue;
        for (std::uint32_t i = row.first; i < row.last; ++i) {
            const Cell& c = table.cells[i];
            if (!c.has_content() || (axis == Axis::Columns && !wanted(c.col))) continue;
            const FontSpec& font = fonts.of(c.style);
            std::string shown = display_text(c);
            if (axis == Axis::Columns) {
                double widest = 0;
                for (const std::string& l : text::split(shown, "\n"))
                    widest = std::max(widest, text_width(font, l));
                extent[c.col] = std::max(extent[c.col], widest);
            } else {
                auto lines = static_cast<double>(std::count(shown.begin(), shown.end(), '\n') + 1);
                extent[row.r] = std::max(extent[row.r], lines * line_height(font));
            }
        }
    }
    const double standard = standard_size(axis);
    // Lines of equal size are changed together (-1 stands for the standard size).
    std::map<double, std::vector<LineSpan>> by_size;
    const std::int32_t last_filled = extent.empty() ? 0 : extent.rbegin()->first;
    for (const LineSpan& s : spans) {
        for (std::int32_t line = s.first; line <= std::min(s.last, last_filled); ++line) {
            auto it = extent.find(line);
            double size = -1;
            if (it != extent.end() && axis == Axis::Columns) {
                // The text plus the cell's margins, in whole pixels, as characters.
                double pixels = std::ceil(it->second) + 7;
                size = std::trunc((pixels - 5) / mdw * 100 + 0.5) / 100;
            } else if (it != extent.end()) {
                size = std::max(standard, std::ceil(it->second * 4) / 4);
            }
            std::vector<LineSpan>& v = by_size[size];
            if (!v.empty() && v.back().last == line - 1)
                v.back().last = line;
            else
                v.push_back({line, line});
        }
    }
    for (const auto& [size, lines] : by_size) {
        LineFormatChange change;
        if (size < 0)
            change.standard_size = true;
        else
            change.size = size;
        if (auto r = format_lines(axis, lines, change); !r) return r;
    }
    return {};
}

}  // namespace sheaflow::xl::native
