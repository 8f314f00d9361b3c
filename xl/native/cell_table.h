#pragma once
// The cells of one sheet in a compact table: rows in order, each with its cells in column order,
// in two flat vectors. Texts (inline strings, formula texts, error codes) live in one string pool.
// A cell read from a part remembers where its XML lies, so that an unchanged cell is written back
// byte for byte. A plain value type: tests build it without a package.

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace sheaflow::xl::native {

enum class CellKind : std::uint8_t {
    Blank,         // no value (a formatted cell, or a formula without a cached value)
    Number,        // number (dates are numbers with a date format)
    SharedString,  // index into the shared strings in `number`
    String,        // text in the pool: inline string, or a formula's string result
    Bool,          // 0 or 1 in `number`
    Error,         // error code ("#N/A") in the pool
};

enum class FormulaKind : std::uint8_t {
    None,
    Normal,        // formula text in the pool
    SharedMaster,  // the cell a shared formula was written for; text in the pool
    SharedChild,   // another cell of a shared formula; `formula` holds the group id (si)
    Array,         // array formula (its first cell); text in the pool
    Other,         // data table and the like: kept, not edited
};

struct Cell {
    static constexpr std::uint8_t kDirty = 1;     // changed since reading: written anew
    static constexpr std::uint8_t kInline = 2;    // was an inline string (t="inlineStr")
    static constexpr std::uint8_t kDropMeta = 4;  // value changed: drop value metadata (vm)

    std::int32_t col = 0;
    std::uint32_t style = 0;
    CellKind kind = CellKind::Blank;
    FormulaKind formula_kind = FormulaKind::None;
    std::uint8_t flags = 0;
    double number = 0;
    std::uint32_t text = 0;     // pool index for String and Error
    std::uint32_t formula = 0;  // pool index of the formula text, or the shared group id
    std::uint32_t raw_begin = 0, raw_end = 0;  // <c> element in the part text; 0,0 for new cells

    bool dirty() const { return flags & kDirty; }
    bool has_formula() const { return formula_kind != FormulaKind::None; }
    // Holds a value or a formula (what CountA counts).
    bool has_content() const { return kind != CellKind::Blank || has_formula(); }
};

struct Row {
    std::int32_t r = 0;
    std::uint32_t first = 0, last = 0;         // its cells: [first, last) in the cell vector
    std::uint32_t raw_begin = 0, raw_end = 0;  // <row> element in the part text; 0,0 for new rows
    std::uint32_t tag_end = 0;                 // end of the start tag
    bool self_closing = false;
    bool dirty = false;   // holds a changed or added cell
    bool styled = false;  // customFormat: the row's format extends the used range
    bool numbered = false;  // its start tag carries its number (r)
    std::uint32_t style = 0;  // the row's format (s), what its empty cells show when styled
};

// The cells an array formula spans; its first cell holds the formula.
struct ArrayRange {
    std::int32_t first_row = 0, first_col = 0, last_row = 0, last_col = 0;
    bool contains(std::int32_t r, std::int32_t c) const {
        return r >= first_row && r <= last_row && c >= first_col && c <= last_col;
    }
};

// A shared formula: the cell it was written for and its text.
struct SharedFormula {
    std::int32_t row = 0, col = 0;
    std::uint32_t text = 0;  // pool index
};

class CellTable {
public:
    std::vector<Row> rows;
    std::vector<Cell> cells;
    std::vector<std::string> pool;
    std::unordered_map<std::uint32_t, SharedFormula> shared;  // by group id (si)
    std::vector<ArrayRange> arrays;

    const Cell* find(std::int32_t r, std::int32_t c) const;
    Cell* find(std::int32_t r, std::int32_t c);
    // Index of the row with number r, or -1.
    std::int64_t row_index(std::int32_t r) const;
    // The cell at (r, c), created empty (and its row) when missing; marks the row dirty.
    Cell& touch(std::int32_t r, std::int32_t c);
    std::uint32_t add_text(std::string s);
    const std::string& text(std::uint32_t index) const { return pool[index]; }
    // Formula text of a cell without "=", shared formulas resolved for their other cells.
    std::string formula_text(std::int32_t r, const Cell& c) const;
};

}  // namespace sheaflow::xl::native
