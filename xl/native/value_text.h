#pragma once
// Cell values as text the way the formula bar shows them, and text entered "as typed" turned back
// into a value (Range.Value = "123" stores a number; Replace re-enters the changed text).

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sheaflow::xl::native {

// A number as the formula bar shows it: up to 15 significant digits ("0.1", "1E+20").
std::string formula_bar_number(double d);
// A date serial (1900 system) as the formula bar of a US-English session shows it:
// "1/5/2024", "1/5/2024 1:30:00 PM", "1:30:00 PM" for a time alone.
std::string formula_bar_date(double serial);

// Serial (1900 system) of a civil date and time; nullopt outside 1900-01-01..9999-12-31.
std::optional<double> date_serial(int year, int month, int day, double seconds = 0);

struct TypedEntry {
    enum class Kind { Empty, Number, Date, Bool, Error, Text, Formula } kind = Kind::Empty;
    double number = 0;  // Number, Date (serial), Bool (0/1)
    std::string text;   // Text, Error code, Formula (without "=")
};

// Interprets text as typed into a cell: "" empty, "=..." a formula, numbers ("12", "-1.5",
// "1e3"), TRUE/FALSE, error literals; dates ("1/5/2024", "2024/1/5", with an optional time) only
// when `dates` is set (the cell already shows dates); anything else is text. A leading
// apostrophe makes the rest text.
TypedEntry parse_typed(std::string_view s, bool dates);

// True for the error literals the application knows ("#N/A", "#DIV/0!", ...).
bool is_error_literal(std::string_view s);

}  // namespace sheaflow::xl::native
