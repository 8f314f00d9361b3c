#pragma once
// Row, column and range specifications as the user types them into a pane: cleaning, conversion
// to numbers, and the pane checks with their messages.
//
//   12      one row            3:7     rows 3 to 7
//   C       one column         B:D     columns B to D
//   A1:C5   cells              Sheet1!B2   with a sheet part
//   "$" anywhere is ignored.

#include <cstdint>
#include <string>
#include <string_view>

namespace sheaflow::address {

// The grid of a new .xlsx workbook: the application maxima that every pane check uses.
inline constexpr std::int32_t kMaxRows = 1048576;
inline constexpr std::int32_t kMaxColumns = 16384;

struct Maxima {
    std::int32_t rows = kMaxRows;
    std::int32_t columns = kMaxColumns;
};

// Address_Hensyu: removes every "$".
std::string Address_Hensyu(std::string_view text);
// Address_Hensyu_Gyo: removes "$", then keeps only ":" and digits.
std::string Address_Hensyu_Gyo(std::string_view text);
// Address_Hensyu_Retu: removes "$", then keeps ":" and every character that is not a digit, so
// that B2:D9 becomes B:D.
std::string Address_Hensyu_Retu(std::string_view text);
// Address_Hensyu_Colon: in a comma-separated list, an item whose two halves around ":" are equal
// (B2:B2) becomes its first half (B2).
std::string Address_Hensyu_Colon(std::string_view text);

// A parsed range: 0 and 0 before parsing or when nothing could be read. Numbers too large for the
// grid are kept (capped at INT32_MAX), so the checks reject them instead of overflowing.
struct Span {
    std::int32_t start = 0;
    std::int32_t end = 0;
};

struct Parsed {
    std::string sheet;  // the part up to and including "!", or ""
    Span rows;
    Span columns;
};

// Address_To_GyoNo: the row range of an address ("5", "3:7", "$A$1:$C$5", "Sheet1!B2").
Span Address_To_GyoNo(std::string_view address, std::string* sheet = nullptr);
// Address_To_RetuNo: the column range of an address ("C", "B:D", "B2:D9").
Span Address_To_RetuNo(std::string_view address, std::string* sheet = nullptr);
// Address_To_GyoRetuNo: both.
Parsed Address_To_GyoRetuNo(std::string_view address);

// The number of a column name in A1 notation (A = 1, AA = 27), lower case and full-width letters
// taken as their upper-case ASCII form; 0 when the text holds anything else or is empty. A name
// longer than any grid gives INT32_MAX.
std::int32_t column_number(std::string_view letters);

// Check_Gyo: valid when 1 <= from <= to <= the maximum row.
bool Check_Gyo(std::int64_t from, std::int64_t to, const Maxima& max = {});
// Check_Retu: the same for two column names.
bool Check_Retu(std::string_view from, std::string_view to, const Maxima& max = {});

// The pane checks. Each returns "" when the texts are valid, else the message, which starts with
// the prefix: the table row (full-width digits and "行目の") when `table_row` > 0, then `label`.
// A text that is empty or whose numeric value is 0 counts as empty.
//
// _01: both ends of each range are required. _0: the from-texts are required; an empty to-text
// means the same row or column as the from-text. _All: a range whose texts are all empty means
// the whole of that dimension (all rows, all columns, the whole sheet) and is valid.
struct Prefix {
    int table_row = 0;
    std::string_view label;
};

std::string Check_Gyo_01(std::string_view row_from, std::string_view row_to, Prefix p = {},
                         const Maxima& max = {});
std::string Check_Gyo_01_All(std::string_view row_from, std::string_view row_to, Prefix p = {},
                             const Maxima& max = {});
std::string Check_Retu_01(std::string_view col_from, std::string_view col_to, Prefix p = {},
                          const Maxima& max = {});
std::string Check_Retu_01_All(std::string_view col_from, std::string_view col_to, Prefix p = {},
                              const Maxima& max = {});
// The range checks take the pane's four boxes in pane order: column-from, row-from, column-to,
// row-to. Rows are checked before columns.
std::string Check_GyoRetu_0(std::string_view col_from, std::string_view row_from,
                            std::string_view col_to, std::string_view row_to, Prefix p = {},
                            const Maxima& max = {});
std::string Check_GyoRetu_0_All(std::string_view col_from, std::string_view row_from,
                                std::string_view col_to, std::string_view row_to, Prefix p = {},
                                const Maxima& max = {});
std::string Check_GyoRetu_01(std::string_view col_from, std::string_view row_from,
                             std::string_view col_to, std::string_view row_to, Prefix p = {},
                             const Maxima& max = {});
std::string Check_GyoRetu_01_All(std::string_view col_from, std::string_view row_from,
                                 std::string_view col_to, std::string_view row_to, Prefix p = {},
                                 const Maxima& max = {});

inline constexpr const char* kBadRow = "行の指定が不正です。";
inline constexpr const char* kBadColumn = "列の指定が不正です。";

}  // namespace sheaflow::address
