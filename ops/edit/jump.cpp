// ジャンプ: a given cell becomes the active cell, selected and scrolled to, on the chosen sheets
// (usually A1 on every sheet), and the workbook opens on the chosen sheet.

#include "ops/registry.h"
#include "ops/view/view_common.h"
#include "util/text.h"

namespace sheaflow::ops {
namespace {
namespace k = view::keys;

std::optional<int> position_of(const shell::Params& p) {
    std::string t = text::narrow(text::trim(p.text(k::kPosition)));
    if (!text::is_digits(t) || t.size() > 4) return std::nullopt;
    int n = std::stoi(t);
    return n >= 1 ? std::optional<int>(n) : std::nullopt;
}

std::string Check_編集_ジャンプ(const shell::Params& p, std::string_view) {
    if (!view::pane_cell(p.text(k::kCell))) return "ジャンプ先のセルの指定が不正です。";
    if (p.option(k::kActivate) == "position" && !position_of(p))
        return "アクティブにするシート位置が不正です。";
    return view::check_target(p);
}

Result<void> Excel_編集_ジャンプ(run::Session& s) {
    xl::CellRef cell = *view::pane_cell(s.params.text(k::kCell));
    view::change_views(s, view::target_sheets(s), [&](xl::SheetView& v) {
        v.active_cell = cell;
        v.selection = {xl::Area{cell.row, cell.col, cell.row, cell.col}};
        v.scroll = cell;
    });
    xl::Workbook* b = s.book();
    const std::string& activate = s.params.option(k::kActivate);
    if (!b || activate == "keep") return {};
    int position = 0;
    if (activate == "first") {
        for (int i = 1; i <= b->worksheet_count() && !position; ++i)
            if (b->worksheet(i)->visible()) position = i;
    } else {
        position = *position_of(s.params);
        if (position > b->worksheet_count()) {
            s.update_error_text("シート位置" + std::to_string(position) + "のシートはありません。");
            return {};
        }
    }
    if (position == 0) return {};
    if (auto r = b->select_sheets({position}); !r) s.update_error_text(r.error().message);
    else s.sheet_name = b->worksheet(position)->name();
    return {};
}

const Procedures kProcedures[] = {
    {"編集", "ジャンプ", Check_編集_ジャンプ, Excel_編集_ジャンプ, nullptr, nullptr, nullptr, true},
};

}  // namespace

std::span<const Procedures> edit_jump_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
