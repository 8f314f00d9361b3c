// コピー貼付_コメント→セル: the text of each note of the range written into the cell at a given
// distance from the note's cell (by default the cell to its right; empty boxes mean the whole
// sheet).

#include "ops/cell/cell_common.h"
#include "ops/edit/edit_common.h"
#include "ops/registry.h"
#include "util/text.h"

namespace sheaflow::ops {
namespace {

constexpr const char* kRowOffset = "row_offset";
constexpr const char* kColOffset = "col_offset";
constexpr const char* kOverwrite = "overwrite";

// A whole number typed in a pane, signed, full-width digits too; an empty box gives `fallback`.
std::optional<std::int32_t> offset(std::string_view t, std::int32_t fallback) {
    std::string n = text::narrow(text::trim(t));
    if (n.empty()) return fallback;
    bool negative = n[0] == '-';
    if (negative || n[0] == '+') n.erase(0, 1);
    if (!text::is_digits(n) || n.size() > 7) return std::nullopt;
    std::int32_t v = std::stoi(n);
    return negative ? -v : v;
}

std::string Check_編集_コピー貼付_コメント_セル(const shell::Params& p, std::string_view) {
    if (std::string m = range_boxes_error(p); !m.empty()) return m;
    auto r = offset(p.text(kRowOffset), 0), c = offset(p.text(kColOffset), 1);
    if (!r) return "行方向のずれの指定が不正です。";
    if (!c) return "列方向のずれの指定が不正です。";
    if (*r == 0 && *c == 0) return "ずれが０では、コメントのセルに書き込むことになります。";
    return {};
}

Result<void> Excel_編集_コピー貼付_コメント_セル(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return {};
    const std::int32_t dr = *offset(s.params.text(kRowOffset), 0);
    const std::int32_t dc = *offset(s.params.text(kColOffset), 1);
    const Boxes b = read_boxes(s.params);
    xl::Area area{b.row_from > 0 ? b.row_from : 1, b.col_from > 0 ? b.col_from : 1,
                  b.row_to > 0 ? b.row_to : ws->rows_count(),
                  b.col_to > 0 ? b.col_to : ws->columns_count()};
    for (const auto& [cell, note] : ws->comments()) {
        if (s.yield()) return {};
        if (!area.contains(cell)) continue;
        xl::CellRef to{cell.row + dr, cell.col + dc};
        std::string where = xl::format_address({cell.row, cell.col, cell.row, cell.col}, false, false);
        if (to.row < 1 || to.col < 1 || to.row > ws->rows_count() || to.col > ws->columns_count()) {
            s.update_error_text("セル" + where + "のコメントの書き込み先がシートの範囲外です。");
            continue;
        }
        if (!s.params.check(kOverwrite) && !ws->cell_formula(to).empty()) continue;
        if (auto r = ws->set_cell_value(to, note); !r) edit::log_failure(s, r.error(), ws);
    }
    return {};
}

const Procedures kProcedures[] = {
    {"編集", "コピー貼付_コメント→セル", Check_編集_コピー貼付_コメント_セル,
     Excel_編集_コピー貼付_コメント_セル, nullptr, nullptr, nullptr, true},
};

}  // namespace

std::span<const Procedures> edit_comment_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
