// Copy and paste of cells, rows and columns: from a sheet of a source workbook, or of the target
// itself, to a place of a sheet of every target; the special paste chooses what is pasted
// (values, formulas, formats, column widths), with transpose and skip blanks.

#include "ops/edit/edit_common.h"
#include "ops/registry.h"
#include "ops/row/lines.h"
#include "util/text.h"

namespace sheaflow::ops {
namespace {
namespace k = edit::keys;

constexpr const char* kSource = "source";
constexpr const char* kRange = "range";
constexpr const char* kDestSheet = "dest_sheet";
constexpr const char* kDest = "dest";
constexpr const char* kPaste = "paste";
constexpr const char* kTranspose = "transpose";
constexpr const char* kSkipBlanks = "skip_blanks";

enum class Unit { Cells, Rows, Columns };

// The source range of the pane.
std::optional<xl::Area> source_area(const shell::Params& p, Unit unit) {
    if (unit == Unit::Cells) return edit::pane_range(p.text(kRange));
    xl::Axis axis = unit == Unit::Rows ? xl::Axis::Rows : xl::Axis::Columns;
    auto span = lines::parse_lines(axis, p.text(kRange));
    if (!span) return std::nullopt;
    return unit == Unit::Rows ? xl::Area{span->first, 1, span->last, 16384}
                              : xl::Area{1, span->first, 1048576, span->last};
}

// The top-left cell of the paste.
std::optional<xl::CellRef> dest_cell(const shell::Params& p, Unit unit) {
    if (unit == Unit::Cells) return edit::pane_cell(p.text(kDest));
    xl::Axis axis = unit == Unit::Rows ? xl::Axis::Rows : xl::Axis::Columns;
    auto span = lines::parse_lines(axis, p.text(kDest));
    if (!span || span->first != span->last) return std::nullopt;
    return unit == Unit::Rows ? xl::CellRef{span->first, 1} : xl::CellRef{1, span->first};
}

int paste_kind(const shell::Params& p) {
    const std::string& kind = p.option(kPaste);
    if (kind == "values") return xl::xlPasteValues;
    if (kind == "formulas") return xl::xlPasteFormulas;
    if (kind == "formats") return xl::xlPasteFormats;
    if (kind == "widths") return xl::xlPasteColumnWidths;
    return xl::xlPasteAll;
}

std::string check_paste(const shell::Params& p, Unit unit) {
    if (p.option(kSource) == "file")
        if (std::string m = edit::check_source_file(p); !m.empty()) return m;
    auto from = source_area(p, unit);
    if (!from)
        return unit == Unit::Cells  ? "コピー元のセル範囲の指定が不正です。"
               : unit == Unit::Rows ? "コピー元の行の指定が不正です。"
                                    : "コピー元の列の指定が不正です。";
    auto to = dest_cell(p, unit);
    if (!to)
        return unit == Unit::Cells  ? "貼り付け先のセルの指定が不正です。"
               : unit == Unit::Rows ? "貼り付け先の行の指定が不正です。"
                                    : "貼り付け先の列の指定が不正です。";
    bool transpose = unit == Unit::Cells && p.check(kTranspose);
    std::int64_t h = from->last_row - from->first_row + 1, w = from->last_col - from->first_col + 1;
    if (transpose) std::swap(h, w);
    if (to->row + h - 1 > 1048576 || to->col + w - 1 > 16384)
        return "貼り付け先がシートの範囲外です。";
    return {};
}

Result<void> read_source(run::Session& s) {
    if (s.params.option(kSource) != "file") return {};
    return edit::open_source(s);
}

Result<void> paste(run::Session& s, Unit unit, int kind, bool transpose, bool skip_blanks) {
    xl::Workbook* target = s.book();
    if (!target) return {};
    xl::Workbook* from_book = s.params.option(kSource) == "file" ? edit::source_book(s) : target;
    if (!from_book) return {};
    const std::string& src_name = s.params.text(k::kSourceSheet);
    xl::Worksheet* src = edit::named_or_active(*from_book, src_name);
    if (!src) {
        s.update_error_text("コピー元のシート「" + text::trim(src_name) + "」がありません。");
        return {};
    }
    const std::string& dst_name = s.params.text(kDestSheet);
    xl::Worksheet* dst = edit::named_or_active(*target, dst_name);
    if (!dst) {
        s.update_error_text("貼り付け先のシート「" + text::trim(dst_name) + "」がありません。");
        return {};
    }
    xl::Area from = *source_area(s.params, unit);
    xl::CellRef to = *dest_cell(s.params, unit);
    if (auto r = dst->paste_special(*src, from, to, kind, skip_blanks, transpose); !r) {
        edit::log_failure(s, r.error(), dst);
        return {};
    }
    // Whole rows take their heights along (whole columns their widths).
    if (unit == Unit::Rows && kind == xl::xlPasteAll) {
        for (std::int32_t r = from.first_row; r <= from.last_row; ++r) {
            xl::LineFormat f = src->line_format(xl::Axis::Rows, r);
            xl::LineFormatChange change;
            if (f.custom_size)
                change.size = f.size;
            else
                change.standard_size = true;
            std::int32_t at = to.row + (r - from.first_row);
            if (at > 1048576) break;
            xl::LineFormat now = dst->line_format(xl::Axis::Rows, at);
            if (now.custom_size == f.custom_size && (!f.custom_size || now.size == f.size)) continue;
            if (auto e = dst->format_lines(xl::Axis::Rows, {{at, at}}, change); !e) {
                edit::log_failure(s, e.error(), dst);
                return {};
            }
        }
    }
    if (unit == Unit::Columns && kind == xl::xlPasteAll)
        if (auto r = dst->paste_special(*src, from, to, xl::xlPasteColumnWidths); !r)
            edit::log_failure(s, r.error(), dst);
    return {};
}

std::string Check_編集_コピー貼付_セル(const shell::Params& p, std::string_view) {
    return check_paste(p, Unit::Cells);
}
Result<void> Excel_編集_コピー貼付_セル(run::Session& s) {
    return paste(s, Unit::Cells, xl::xlPasteAll, false, false);
}
std::string Check_編集_コピー貼付_セル_特殊(const shell::Params& p, std::string_view) {
    if (p.check(kTranspose) && paste_kind(p) == xl::xlPasteColumnWidths)
        return "列幅の貼り付けでは行列を入れ替えられません。";
    return check_paste(p, Unit::Cells);
}
Result<void> Excel_編集_コピー貼付_セル_特殊(run::Session& s) {
    return paste(s, Unit::Cells, paste_kind(s.params), s.params.check(kTranspose),
                 s.params.check(kSkipBlanks));
}
std::string Check_編集_コピー貼付_行(const shell::Params& p, std::string_view) {
    return check_paste(p, Unit::Rows);
}
Result<void> Excel_編集_コピー貼付_行(run::Session& s) {
    return paste(s, Unit::Rows, xl::xlPasteAll, false, false);
}
std::string Check_編集_コピー貼付_列(const shell::Params& p, std::string_view) {
    return check_paste(p, Unit::Columns);
}
Result<void> Excel_編集_コピー貼付_列(run::Session& s) {
    return paste(s, Unit::Columns, xl::xlPasteAll, false, false);
}

const Procedures kProcedures[] = {
    {"編集", "コピー貼付", Check_編集_コピー貼付_セル, Excel_編集_コピー貼付_セル, nullptr, nullptr,
     read_source, true},
    {"編集", "コピー貼付_セル", Check_編集_コピー貼付_セル, Excel_編集_コピー貼付_セル, nullptr,
     nullptr, read_source, true},
    {"編集", "コピー貼付_セル_特殊", Check_編集_コピー貼付_セル_特殊, Excel_編集_コピー貼付_セル_特殊,
     nullptr, nullptr, read_source, true},
    {"編集", "コピー貼付_行", Check_編集_コピー貼付_行, Excel_編集_コピー貼付_行, nullptr, nullptr,
     read_source, true},
    {"編集", "コピー貼付_列", Check_編集_コピー貼付_列, Excel_編集_コピー貼付_列, nullptr, nullptr,
     read_source, true},
};

}  // namespace

std::span<const Procedures> edit_copy_paste_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
