// Cut and paste within a sheet: a range of cells moved to another place (切取り貼付_セル), and
// rows or columns moved before another row or column (切取り貼付_行, 切取り貼付_列), as the
// application's cut and "insert cut cells" do: references to the moved cells follow them.

#include "ops/edit/edit_common.h"
#include "ops/registry.h"
#include "ops/row/lines.h"
#include "util/text.h"

namespace sheaflow::ops {
namespace {

constexpr const char* kSheet = "sheet";
constexpr const char* kRange = "range";
constexpr const char* kDest = "dest";

xl::Worksheet* sheet_of(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return nullptr;
    const std::string& name = s.params.text(kSheet);
    xl::Worksheet* ws = edit::named_or_active(*b, name);
    if (!ws) s.update_error_text("シート「" + text::trim(name) + "」がありません。");
    return ws;
}

std::string Check_編集_切取り貼付_セル(const shell::Params& p, std::string_view) {
    auto from = edit::pane_range(p.text(kRange));
    if (!from) return "切り取るセル範囲の指定が不正です。";
    auto to = edit::pane_range(p.text(kDest));
    if (!to || to->first_row != to->last_row || to->first_col != to->last_col)
        return "貼り付け先のセルの指定が不正です。";
    if (to->first_row + (from->last_row - from->first_row) > 1048576 ||
        to->first_col + (from->last_col - from->first_col) > 16384)
        return "貼り付け先がシートの範囲外です。";
    return {};
}

Result<void> Excel_編集_切取り貼付_セル(run::Session& s) {
    xl::Worksheet* ws = sheet_of(s);
    if (!ws) return {};
    xl::Area from = *edit::pane_range(s.params.text(kRange));
    xl::Area to = *edit::pane_range(s.params.text(kDest));
    if (auto r = ws->cut_cells(from, {to.first_row, to.first_col}); !r)
        edit::log_failure(s, r.error(), ws);
    return {};
}

std::string check_lines_cut(const shell::Params& p, xl::Axis axis) {
    if (std::string m = lines::check_lines(axis, p.text(kRange), "切り取る"); !m.empty()) return m;
    auto to = lines::parse_lines(axis, p.text(kDest));
    if (!to || to->first != to->last)
        return axis == xl::Axis::Rows ? "移動先の行の指定が不正です。" : "移動先の列の指定が不正です。";
    return {};
}

// The lines `span` moved so that they stand before line `at` (as it was numbered before the
// move), with their sizes, visibility and outline levels.
Result<void> move_lines(xl::Worksheet& ws, xl::Axis axis, xl::LineSpan span, std::int32_t at) {
    if (at >= span.first && at <= span.last + 1) return {};  // already there
    const std::int32_t n = span.last - span.first + 1;
    const std::int32_t limit = axis == xl::Axis::Rows ? 1048576 : 16384;
    if (at + n - 1 > limit) return Error::make(Error::Code::Refused, "移動先がシートの範囲外です。");
    if (auto r = ws.insert_lines(axis, at, n); !r) return r;
    xl::LineSpan moved = at <= span.first ? xl::LineSpan{span.first + n, span.last + n} : span;
    xl::Area from = axis == xl::Axis::Rows ? xl::Area{moved.first, 1, moved.last, 16384}
                                           : xl::Area{1, moved.first, 1048576, moved.last};
    xl::CellRef to = axis == xl::Axis::Rows ? xl::CellRef{at, 1} : xl::CellRef{1, at};
    if (auto r = ws.cut_cells(from, to); !r) return r;
    for (std::int32_t i = 0; i < n; ++i) {
        xl::LineFormat f = ws.line_format(axis, moved.first + i);
        xl::LineFormatChange change;
        if (f.custom_size)
            change.size = f.size;
        else
            change.standard_size = true;
        change.hidden = f.hidden;
        change.outline_level = f.outline_level;
        if (auto r = ws.format_lines(axis, {{at + i, at + i}}, change); !r) return r;
    }
    return ws.delete_lines(axis, {moved});
}

Result<void> cut_lines(run::Session& s, xl::Axis axis) {
    xl::Worksheet* ws = sheet_of(s);
    if (!ws) return {};
    xl::LineSpan span = *lines::parse_lines(axis, s.params.text(kRange));
    std::int32_t at = lines::parse_lines(axis, s.params.text(kDest))->first;
    // A move refused half way (a table in the way of the deletion) leaves the workbook unsaved:
    // the error is the run's pending error for this file.
    if (auto r = move_lines(*ws, axis, span, at); !r)
        return Error::make(r.error().code, "シート「" + ws->name() + "」：" + r.error().message);
    return {};
}

std::string Check_編集_切取り貼付_行(const shell::Params& p, std::string_view) {
    return check_lines_cut(p, xl::Axis::Rows);
}
Result<void> Excel_編集_切取り貼付_行(run::Session& s) { return cut_lines(s, xl::Axis::Rows); }
std::string Check_編集_切取り貼付_列(const shell::Params& p, std::string_view) {
    return check_lines_cut(p, xl::Axis::Columns);
}
Result<void> Excel_編集_切取り貼付_列(run::Session& s) { return cut_lines(s, xl::Axis::Columns); }

const Procedures kProcedures[] = {
    {"編集", "切取り貼付_セル", Check_編集_切取り貼付_セル, Excel_編集_切取り貼付_セル, nullptr,
     nullptr, nullptr, true},
    {"編集", "切取り貼付_行", Check_編集_切取り貼付_行, Excel_編集_切取り貼付_行, nullptr, nullptr,
     nullptr, true},
    {"編集", "切取り貼付_列", Check_編集_切取り貼付_列, Excel_編集_切取り貼付_列, nullptr, nullptr,
     nullptr, true},
};

}  // namespace

std::span<const Procedures> edit_cut_paste_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
