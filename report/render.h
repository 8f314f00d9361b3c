#pragma once
// What the result window shows of a result table: repeat suppression in the first column, the
// number of columns to show, the text renderings (comma-separated, fixed-width, tab-separated)
// and the page chooser. Pure functions over a ResultTable.

#include <string>
#include <string_view>
#include <vector>

#include "report/result_table.h"

namespace sheaflow::report {

// Check_Hyoji0_Indication: a first-column value is shown on the first row of its run only; the
// rows below it that repeat it (or are empty there) get an empty first column.
void Check_Hyoji0_Indication(ResultTable& table);

// Check_Hyoji_Max: the number of columns to show, the highest index at which a title or any cell
// is non-empty, plus one (0 for an empty table without titles).
int Check_Hyoji_Max(const ResultTable& table);

// A range of rows, 0-based, both ends included.
struct Page {
    int first = 0;
    int last = -1;
    std::string text;  // the chooser's entry: "1行～5,000行"
};

inline constexpr int kPageRows = 5000;

// Index_Hensyu: the table cut into pages of `page_rows` rows; an empty table has no page.
std::vector<Page> Index_Hensyu(const ResultTable& table, int page_rows = kPageRows);

// The renderings: the title line (when any title is set), then one line per row, each line ended
// by `eol`. Display_CSV quotes a cell that holds a comma, a quote or a line break (quotes
// doubled); Display_Tab joins the cells with tabs as they are; Display_Kotei pads every column to
// its widest cell (full-width characters count two) with one blank between columns.
std::string Display_CSV(const ResultTable& table, std::string_view eol = "\r\n");
std::string Display_Tab(const ResultTable& table, std::string_view eol = "\r\n");
std::string Display_Kotei(const ResultTable& table, std::string_view eol = "\r\n");
// The same for one page: its rows under the title line.
std::string Display_CSV_X(const ResultTable& table, const Page& page,
                          std::string_view eol = "\r\n");
std::string Display_Tab_X(const ResultTable& table, const Page& page,
                          std::string_view eol = "\r\n");
std::string Display_Kotei_X(const ResultTable& table, const Page& page,
                            std::string_view eol = "\r\n");

// The width of a text in a fixed-width Japanese font: half-width characters (ASCII, half-width
// katakana) count one, all others two.
int display_width(std::string_view text);

}  // namespace sheaflow::report
