// The sheet window as every workbook should open: frozen panes, zoom and the kind of view, for
// the active sheet, every sheet or the sheets named in the pane; シート 初期化 puts the window
// back as a new sheet opens (A1 active and alone selected, scrolled to the top, 100%, normal).

#include "ops/registry.h"
#include "ops/view/view_common.h"
#include "util/text.h"

namespace sheaflow::ops {
namespace {
namespace k = view::keys;

std::string Check_表示_枠の固定(const shell::Params& p, std::string_view) {
    if (p.option(k::kAction) == "freeze") {
        auto cell = view::pane_cell(p.text(k::kCell));
        if (!cell) return "固定する位置のセルの指定が不正です。";
        if (*cell == xl::CellRef{}) return "A1では枠を固定できません。";
    }
    return view::check_target(p);
}

Result<void> Excel_表示_枠の固定(run::Session& s) {
    std::optional<xl::CellRef> cell;
    if (s.params.option(k::kAction) == "freeze") cell = view::pane_cell(s.params.text(k::kCell));
    view::change_views(s, view::target_sheets(s), [&](xl::SheetView& v) {
        v.freeze = cell;
        v.split = false;
    });
    return {};
}

std::optional<int> zoom_of(const shell::Params& p) {
    std::string t = text::narrow(text::trim(p.text(k::kZoom)));
    if (!text::is_digits(t) || t.size() > 3) return std::nullopt;
    int z = std::stoi(t);
    if (z < 10 || z > 400) return std::nullopt;
    return z;
}

std::string Check_表示_ズーム(const shell::Params& p, std::string_view) {
    if (!zoom_of(p)) return "倍率は１０～４００の整数で指定してください。";
    return view::check_target(p);
}

Result<void> Excel_表示_ズーム(run::Session& s) {
    int zoom = *zoom_of(s.params);
    view::change_views(s, view::target_sheets(s), [&](xl::SheetView& v) { v.zoom = zoom; });
    return {};
}

int view_of(const shell::Params& p) {
    const std::string& v = p.option(k::kView);
    return v == "break" ? xl::xlPageBreakPreview : v == "layout" ? xl::xlPageLayoutView
                                                                 : xl::xlNormalView;
}

std::string Check_表示_レイアウト(const shell::Params& p, std::string_view) {
    return view::check_target(p);
}

Result<void> Excel_表示_レイアウト(run::Session& s) {
    int mode = view_of(s.params);
    view::change_views(s, view::target_sheets(s), [&](xl::SheetView& v) { v.view = mode; });
    return {};
}

std::string Check_シート_初期化(const shell::Params& p, std::string_view) {
    return view::check_target(p);
}

Result<void> Excel_シート_初期化(run::Session& s) {
    // The normal view first: switching views brings back the zoom the view last had, and the
    // zoom is set to 100% after it. Frozen panes stay; the scrolling pane starts at its top.
    std::vector<xl::Worksheet*> sheets = view::target_sheets(s);
    view::change_views(s, sheets, [](xl::SheetView& v) { v.view = xl::xlNormalView; });
    view::change_views(s, sheets, [](xl::SheetView& v) {
        v.zoom = 100;
        v.scroll = xl::CellRef{1, 1};
        v.active_cell = xl::CellRef{1, 1};
        v.selection = {xl::Area{1, 1, 1, 1}};
    });
    return {};
}

const Procedures kProcedures[] = {
    {"シート", "初期化", Check_シート_初期化, Excel_シート_初期化, nullptr, nullptr, nullptr, true},
    {"表示", "枠の固定", Check_表示_枠の固定, Excel_表示_枠の固定, nullptr, nullptr, nullptr, true},
    {"表示", "ズーム", Check_表示_ズーム, Excel_表示_ズーム, nullptr, nullptr, nullptr, true},
    {"表示", "レイアウト", Check_表示_レイアウト, Excel_表示_レイアウト, nullptr, nullptr, nullptr,
     true},
};

}  // namespace

std::span<const Procedures> view_window_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
