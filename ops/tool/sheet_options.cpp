// シート用オプション設定 and シート用オプション一覧: the display options a sheet's window keeps
// (gridlines, row and column headings, zero values, page breaks, formulas, right-to-left, the
// ruler of the page layout view), for the active sheet or, under すべてのシート_ツール, for
// every sheet the driver visits.

#include "ops/registry.h"
#include "ops/tool/tool_options.h"
#include "report/result_table.h"
#include "run/session.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

// The pane's option groups with the flag each one sets and the title of its list column.
struct SheetOption {
    const char* key;
    bool xl::SheetView::*flag;
    const char* title;
};
constexpr SheetOption kOptions[] = {
    {"gridlines", &xl::SheetView::gridlines, "枠線"},
    {"headings", &xl::SheetView::headings, "行列番号"},
    {"zeros", &xl::SheetView::zeros, "ゼロ値"},
    {"page_breaks", &xl::SheetView::page_breaks, "改ページ"},
    {"formulas", &xl::SheetView::formulas, "数式"},
    {"right_to_left", &xl::SheetView::right_to_left, "右から左"},
    {"ruler", &xl::SheetView::ruler, "ルーラー"},
};
constexpr int kOptionCount = static_cast<int>(std::size(kOptions));

// The sheet in hand: the active one, or the one the all-sheets loop visits; chart sheets have
// no such options and are passed over.
xl::Worksheet* options_sheet(run::Session& s) {
    xl::Worksheet* w = s.sheet();
    return w && w->type() == xl::xlWorksheet ? w : nullptr;
}

std::string Check_ツール_シート用オプション設定(const shell::Params& p, std::string_view) {
    for (const SheetOption& o : kOptions)
        if (!three_way_valid(p, o.key)) return "オプションの指定が不正です。";
    return "";
}

Result<void> Excel_ツール_シート用オプション設定(run::Session& s) {
    if (!s.book()) return Error::failed("ブックが開かれていません。");
    xl::Worksheet* w = options_sheet(s);
    if (!w) return {};
    auto v = w->view();
    Result<void> r = v ? Result<void>{} : Result<void>(v.error());
    if (v) {
        for (const SheetOption& o : kOptions)
            if (std::optional<bool> want = three_way(s.params, o.key)) (*v).*o.flag = *want;
        r = w->set_view(*v);
    }
    if (!r) s.update_error_text("シート「" + w->name() + "」：" + r.error().message);
    return {};
}

std::string Check_ツール_シート用オプション一覧(const shell::Params&, std::string_view) {
    return "";
}

Result<void> Excel_ツール_シート用オプション一覧_First(run::Session& s) {
    s.table.set_title(0, "ファイル名");
    s.table.set_title(1, "シート名");
    for (int i = 0; i < kOptionCount; ++i) s.table.set_title(2 + i, kOptions[i].title);
    return {};
}

Result<void> Excel_ツール_シート用オプション一覧(run::Session& s) {
    if (!s.book()) return Error::failed("ブックが開かれていません。");
    xl::Worksheet* w = options_sheet(s);
    if (!w) return {};
    auto v = w->view();
    if (!v) {
        s.update_error_text("シート「" + w->name() + "」：" + v.error().message);
        return {};
    }
    s.table.new_row();
    s.table.set(0, s.file_name);
    s.table.set(1, w->name());
    for (int i = 0; i < kOptionCount; ++i) s.table.set(2 + i, yes_no((*v).*kOptions[i].flag));
    return {};
}

}  // namespace

std::span<const Procedures> sheet_option_procedures() {
    static const Procedures table[] = {
        {"ツール", "シート用オプション設定", Check_ツール_シート用オプション設定,
         Excel_ツール_シート用オプション設定, nullptr, nullptr, nullptr, true},
        {"ツール", "シート用オプション一覧", Check_ツール_シート用オプション一覧,
         Excel_ツール_シート用オプション一覧, Excel_ツール_シート用オプション一覧_First, nullptr,
         nullptr, false},
    };
    return table;
}

}  // namespace sheaflow::ops
