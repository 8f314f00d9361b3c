#pragma once
// Worksheet.PageSetup: how a sheet is printed. Margins are in points as the object model gives
// them; paper sizes are the object model's XlPaperSize codes.

#include <optional>
#include <string>

namespace sheaflow::xl {

inline constexpr int xlPortrait = 1;
inline constexpr int xlLandscape = 2;
inline constexpr int xlPaperA4 = 9;

struct PageSetup {
    int orientation = xlPortrait;
    int paper_size = xlPaperA4;
    double left_margin = 50.4;  // 0.7 inch, the defaults of a new workbook
    double right_margin = 50.4;
    double top_margin = 54;
    double bottom_margin = 54;
    double header_margin = 21.6;
    double footer_margin = 21.6;
    // The three parts of the header and the footer, with their codes (&P, &N, &D, &A, &F...).
    std::string left_header, center_header, right_header;
    std::string left_footer, center_footer, right_footer;
    std::string print_area;           // "$A$1:$F$40", "" when the whole sheet
    std::string print_title_rows;     // "$1:$2"
    std::string print_title_columns;  // "$A:$B"
    int zoom = 100;                   // percent; 0 when the sheet is fitted to pages
    int fit_to_pages_wide = 1;        // used when zoom is 0; 0 means no limit
    int fit_to_pages_tall = 1;
    bool center_horizontally = false;
    bool center_vertically = false;
    bool operator==(const PageSetup&) const = default;
};

// A change of a sheet's page setup; what is left empty stays as it is.
struct PageSetupChange {
    std::optional<int> orientation;
    std::optional<int> paper_size;
    std::optional<double> left_margin, right_margin, top_margin, bottom_margin;
    std::optional<double> header_margin, footer_margin;
    std::optional<std::string> left_header, center_header, right_header;
    std::optional<std::string> left_footer, center_footer, right_footer;
    std::optional<std::string> print_area, print_title_rows, print_title_columns;
    std::optional<int> zoom;  // 10..400, or 0 to fit to pages
    std::optional<int> fit_to_pages_wide, fit_to_pages_tall;
    std::optional<bool> center_horizontally, center_vertically;

    // Every field of `all`: copying a whole page setup.
    static PageSetupChange whole(const PageSetup& all);
};

}  // namespace sheaflow::xl
