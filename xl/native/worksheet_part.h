#pragma once
// A worksheet part ("xl/worksheets/sheet1.xml", also macro sheets): its cells read into a
// CellTable by a forward scan, and the few properties the engine needs from around them. Writing
// streams the original text and regenerates only the rows that hold changed cells; everything
// else, unknown attributes and elements included, is copied as it was.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "util/result.h"
#include "xl/native/cell_table.h"

namespace sheaflow::xl::native {

// Most cells one sheet may hold (cells with a value, a formula or a format): a guard against
// files written to exhaust memory. SHEAFLOW_MAX_CELLS sets it; tests set it directly.
std::uint64_t cell_limit();
void set_cell_limit(std::uint64_t cells);

class WorksheetPart {
public:
    // Reads a part. Its text is kept for writing back. A part holding more than `max_cells`
    // cells and rows together is refused.
    Result<void> parse(std::string xml, const std::string& part_name,
                       std::uint64_t max_cells = cell_limit());
    // An empty worksheet (new workbooks).
    static std::string empty_xml(bool tab_selected);
    // Reads the head of a part only (up to its cells): the code name and the selected flag.
    struct Head {
        std::string code_name;
        bool tab_selected = false;
    };
    static Head read_head(std::string_view xml_prefix);

    CellTable& table() { return table_; }
    const CellTable& table() const { return table_; }
    const std::string& code_name() const { return code_name_; }
    bool tab_selected() const { return tab_selected_; }
    void set_tab_selected(bool on);
    // Columns given a format by <col style=...>: (first, last) pairs.
    const std::vector<std::pair<std::int32_t, std::int32_t>>& styled_columns() const {
        return styled_cols_;
    }
    // The format a column gives its empty cells (0 when none).
    std::uint32_t column_style(std::int32_t col) const {
        for (std::size_t i = 0; i < styled_cols_.size(); ++i)
            if (col >= styled_cols_[i].first && col <= styled_cols_[i].second)
                return column_styles_[i];
        return 0;
    }
    bool dirty() const { return dirty_; }
    void mark_dirty() { dirty_ = true; }
    // The <c> element a cell was read with; "" for a cell changed or added since.
    std::string_view cell_source(const Cell& c) const {
        if (c.dirty() || c.raw_end <= c.raw_begin) return {};
        return std::string_view(source_).substr(c.raw_begin, c.raw_end - c.raw_begin);
    }

    // The part's text as read (cells and rows point into it), and with the changes.
    const std::string& source() const { return source_; }
    std::string serialize() const;

    // The shared-string index a changed cell was read with, when it was a plain shared-string
    // cell (no formula, no value metadata) with the format it has now; nullopt otherwise.
    std::optional<std::uint32_t> original_shared_index(const Cell& c) const;
    // Recomputes which rows (and whether the part) must be written, after cells were put back
    // to what they were read as.
    void refresh_dirty();

private:
    Result<void> sort_cells(const std::string& part_name);
    void write_row(const Row& row, std::string& out) const;
    void write_cell(std::int32_t r, const Cell& c, std::string& out) const;

    std::string source_;
    CellTable table_;
    std::string prefix_;  // namespace prefix of the sheet's elements ("x:" or "")
    std::string code_name_;
    bool tab_selected_ = false;
    bool tab_selected_changed_ = false;
    bool root_self_closing_ = false;  // <worksheet .../> with nothing inside
    std::string root_name_;
    std::size_t view_tag_begin_ = 0, view_tag_end_ = 0;  // first <sheetView ...> start tag
    std::size_t dimension_tag_begin_ = 0, dimension_tag_end_ = 0;  // <dimension .../>
    bool has_sheet_data_ = false;
    bool sheet_data_self_closing_ = false;
    std::size_t sheet_data_begin_ = 0;  // "<sheetData"
    std::size_t content_begin_ = 0;     // after its start tag
    std::size_t content_end_ = 0;       // "</sheetData>" (or the end of a self-closing tag)
    std::size_t insert_pos_ = 0;        // where a missing sheetData would go
    std::vector<std::pair<std::int32_t, std::int32_t>> styled_cols_;
    std::vector<std::uint32_t> column_styles_;  // the style of each of styled_cols_
    bool dirty_ = false;
};

}  // namespace sheaflow::xl::native
