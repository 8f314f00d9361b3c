// Clearing a range of the active sheet (of every sheet under すべてのシート_編集): contents,
// formats, comments or all of it (クリア), or only the cells of one kind, as the application's
// special cells choose them (クリア特殊).

#include "ops/cell/cell_common.h"
#include "ops/edit/edit_common.h"
#include "ops/registry.h"

namespace sheaflow::ops {
namespace {

constexpr const char* kWhat = "what";
constexpr const char* kKind = "kind";

int clear_bits(const std::string& what) {
    if (what == "contents") return xl::kClearContents;
    if (what == "formats") return xl::kClearFormats;
    if (what == "comments") return xl::kClearComments;
    return xl::kClearAll;
}

std::string Check_編集_クリア(const shell::Params& p, std::string_view) {
    return range_boxes_error(p);
}

Result<void> Excel_編集_クリア(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return {};
    std::optional<xl::Area> area = pane_area(*ws, s.params);
    if (!area) return {};
    if (auto r = ws->clear_cells(*area, clear_bits(s.params.option(kWhat))); !r)
        edit::log_failure(s, r.error(), ws);
    return {};
}

// Whether a cell is of the kind the pane chooses.
bool of_kind(xl::Worksheet& ws, xl::CellRef c, const std::string& kind) {
    bool formula = ws.cell_formula(c).rfind('=', 0) == 0;
    if (kind == "formulas") return formula;
    if (kind == "blank_formats") return false;  // handled by clearing formats of empty cells
    xl::Value v = ws.cell_value(c);
    if (kind == "errors") return xl::is_error(v);
    if (formula) return false;
    if (kind == "numbers")
        return std::holds_alternative<double>(v) || std::holds_alternative<xl::DateTime>(v);
    if (kind == "texts") return std::holds_alternative<std::string>(v);
    return !xl::is_empty(v);  // every constant
}

std::string Check_編集_クリア特殊(const shell::Params& p, std::string_view) {
    return range_boxes_error(p);
}

Result<void> Excel_編集_クリア特殊(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return {};
    const std::string& kind = s.params.option(kKind);
    std::optional<xl::Area> area = pane_area(*ws, s.params);
    if (!area) return {};
    int bits = kind == "blank_formats"              ? xl::kClearFormats
               : s.params.option(kWhat) == "all"    ? xl::kClearContents | xl::kClearFormats
                                                    : xl::kClearContents;
    // Runs of neighbouring cells of a row are cleared together.
    std::vector<xl::Area> runs;
    if (kind == "blank_formats") {
        // Empty cells that carry a format: every cell of the range the walk does not visit as
        // holding something is one; clearing formats of the empty cells only leaves the others.
        std::vector<xl::CellRef> filled;
        ws->for_each_cell(*area, [&](xl::CellRef c) {
            if (!xl::is_empty(ws->cell_value(c)) || ws->cell_formula(c).rfind('=', 0) == 0)
                filled.push_back(c);
        });
        std::size_t i = 0;
        for (std::int32_t r = area->first_row; r <= area->last_row; ++r) {
            if (s.yield()) return {};
            std::int32_t start = area->first_col;
            for (; i < filled.size() && filled[i].row == r; ++i) {
                if (filled[i].col > start) runs.push_back({r, start, r, filled[i].col - 1});
                start = filled[i].col + 1;
            }
            if (start <= area->last_col) runs.push_back({r, start, r, area->last_col});
        }
    } else {
        std::vector<xl::CellRef> chosen;
        for_each_pane_cell(s, *ws, [&](xl::CellRef c) {
            if (of_kind(*ws, c, kind)) chosen.push_back(c);
        });
        for (xl::CellRef c : chosen) {
            if (!runs.empty() && runs.back().first_row == c.row && runs.back().last_col == c.col - 1)
                runs.back().last_col = c.col;
            else
                runs.push_back({c.row, c.col, c.row, c.col});
        }
    }
    for (const xl::Area& a : runs) {
        if (s.yield()) return {};
        if (auto r = ws->clear_cells(a, bits); !r) {
            edit::log_failure(s, r.error(), ws);
            return {};
        }
    }
    return {};
}

const Procedures kProcedures[] = {
    {"編集", "クリア", Check_編集_クリア, Excel_編集_クリア, nullptr, nullptr, nullptr, true},
    {"編集", "クリア特殊", Check_編集_クリア特殊, Excel_編集_クリア特殊, nullptr, nullptr, nullptr,
     true},
};

}  // namespace

std::span<const Procedures> edit_clear_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
