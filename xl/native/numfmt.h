#pragma once
// Number formats: the text a cell shows (Range.Text) for a value under an Excel format code, as a
// Japanese-locale session of the spreadsheet application displays it in a standard-width column.
//
// Codes are parsed once into a CompiledFormat; the free functions keep a small per-thread cache of
// compiled codes, so rendering many cells with a handful of codes costs one parse per code.
//
// The text is what the cell holds, not its painting: colours are dropped, `_x` pads with one
// space, and `*x` fill characters add nothing (the column width is not known here).
//
//   numfmt::format_number(1234.5, "#,##0.00")            // "1,234.50"
//   numfmt::format_number(45293, "[$-411]ggge\"年\"m\"月\"d\"日\"")  // "令和6年1月2日"
//   auto f = numfmt::CompiledFormat::compile("0.0%");  // reuse for a column of cells
//   f.render(0.125);                                     // "12.5%"

#include <memory>
#include <string>
#include <string_view>

namespace sheaflow::xl::native::numfmt {

namespace detail {
struct Format;
}

// The format code of a built-in number format id as a Japanese-locale application shows it
// (0 "General", 14 "yyyy/m/d", 28 "[$-411]ggge\"年\"m\"月\"d\"日\"", ...). "" for an unknown id.
std::string builtin_code(int id);

// True when the code shows dates or times (so Range.Value gives a date).
bool is_date_code(std::string_view code);

// NumberFormatLocal: the code as a Japanese-locale application shows it ("General" -> "G/標準",
// "[Red]" -> "[赤]").
std::string local_code(std::string_view code);

// Range.Text of a number. `date1904` selects the 1904 date system.
std::string format_number(double value, std::string_view code, bool date1904 = false);

// Range.Text of a text cell under a code (the fourth section, or a section with "@"; otherwise
// the text itself).
std::string format_text(std::string_view value, std::string_view code);

// The text a date or time code shows for a value it cannot display (a negative serial in the 1900
// system, or a date after 9999-12-31).
inline constexpr std::string_view kUnshowable = "#######";

// A parsed format code. Cheap to copy (shares the parsed form); safe to use from several threads
// once compiled.
class CompiledFormat {
public:
    // General.
    CompiledFormat();
    // Parses a format code, in either the English or the Japanese local form ("G/標準", "[赤]").
    // Never fails: characters without a meaning are shown literally, as the application does with
    // codes it accepts.
    static CompiledFormat compile(std::string_view code);

    // Range.Text of a number.
    std::string render(double value, bool date1904 = false) const;
    // Range.Text of a text cell.
    std::string render_text(std::string_view value) const;
    // True when a section shows dates or times.
    bool is_date() const;

private:
    explicit CompiledFormat(std::shared_ptr<const detail::Format> format);
    std::shared_ptr<const detail::Format> format_;
};

}  // namespace sheaflow::xl::native::numfmt
