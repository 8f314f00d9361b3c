// ブック用オプション設定 and ブック用オプション一覧 (the options a workbook keeps: tabs and scroll
// bars shown, calculation mode and iteration, precision as displayed, the 1904 date system,
// saving external link values) and 水平スクロールバーの幅設定 (the share of the window's bottom
// edge given to the sheet tabs).

#include <cmath>
#include <cstdio>

#include "ops/registry.h"
#include "report/result_table.h"
#include "ops/sheet/sheet_ops.h"
#include "ops/tool/tool_options.h"
#include "run/session.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

constexpr const char* kFlagKeys[] = {"sheet_tabs", "horizontal_scroll", "vertical_scroll",
                                     "iteration",  "precision",         "date1904",
                                     "save_link_values"};

// A decimal number of the pane; nullopt when the text is not one.
std::optional<double> decimal(std::string_view text) {
    std::string t = text::trim(text::narrow(text));
    if (t.empty()) return std::nullopt;
    char* end = nullptr;
    double v = std::strtod(t.c_str(), &end);
    if (end == t.c_str() || *end != '\0' || !std::isfinite(v)) return std::nullopt;
    return v;
}

std::string Check_ツール_ブック用オプション設定(const shell::Params& p, std::string_view) {
    for (const char* k : kFlagKeys)
        if (!three_way_valid(p, k)) return "オプションの指定が不正です。";
    std::string_view calc = p.option("calculation");
    if (calc != kKeep && calc != "auto" && calc != "semi" && calc != "manual")
        return "計算方法の指定が不正です。";
    const std::string& count = p.text("max_iterations");
    if (!text::trim(count).empty()) {
        long n = pane_number(count);
        if (!text::is_digits(text::trim(text::narrow(count))) || n < 1 || n > 32767)
            return "最大反復回数は１～３２７６７で指定してください。";
    }
    const std::string& change = p.text("max_change");
    if (!text::trim(change).empty() && (!decimal(change) || *decimal(change) < 0))
        return "変化の最大値は０以上の数値で指定してください。";
    if (three_way(p, "date1904") && !p.check("confirm_1904"))
        return "1904年から計算する設定を変えると日付の表示が1,462日ずれます。"
               "承知のうえで変更する場合は確認の欄をチェックしてください。";
    return "";
}

Result<void> Excel_ツール_ブック用オプション設定(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return Error::failed("ブックが開かれていません。");
    const shell::Params& p = s.params;
    xl::BookOptionsChange c;
    c.show_sheet_tabs = three_way(p, "sheet_tabs");
    c.show_horizontal_scroll = three_way(p, "horizontal_scroll");
    c.show_vertical_scroll = three_way(p, "vertical_scroll");
    const std::string& calc = p.option("calculation");
    if (calc == "auto") c.calculation = xl::xlCalculationAutomatic;
    if (calc == "semi") c.calculation = xl::xlCalculationSemiautomatic;
    if (calc == "manual") c.calculation = xl::xlCalculationManual;
    c.iteration = three_way(p, "iteration");
    if (!text::trim(p.text("max_iterations")).empty())
        c.max_iterations = static_cast<int>(pane_number(p.text("max_iterations")));
    c.max_change = decimal(p.text("max_change"));
    c.precision_as_displayed = three_way(p, "precision");
    c.date1904 = three_way(p, "date1904");
    c.save_link_values = three_way(p, "save_link_values");
    if (Result<void> r = b->set_options(c); !r) s.update_error_text(r.error().message);
    return {};
}

const char* calculation_text(int mode) {
    if (mode == xl::xlCalculationManual) return "手動";
    if (mode == xl::xlCalculationSemiautomatic) return "データテーブル以外自動";
    return "自動";
}

std::string number_text(double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.15g", v);
    return buf;
}

std::string Check_ツール_ブック用オプション一覧(const shell::Params&, std::string_view) {
    return "";
}

Result<void> Excel_ツール_ブック用オプション一覧_First(run::Session& s) {
    const char* titles[] = {"ファイル名",     "シート見出し",   "水平スクロールバー",
                            "垂直スクロールバー", "見出しの幅(%)",  "計算方法",
                            "反復計算",       "最大反復回数",   "変化の最大値",
                            "表示桁数で計算", "1904年から計算", "外部リンクの値を保存",
                            "ブックの保護",   "ブックの共有"};
    for (int i = 0; i < 14; ++i) s.table.set_title(i, titles[i]);
    return {};
}

Result<void> Excel_ツール_ブック用オプション一覧(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return Error::failed("ブックが開かれていません。");
    xl::BookOptions o = b->options();
    xl::BookProtection protection = b->protection();
    std::string protected_text = protection.structure || protection.windows
                                     ? std::string(protection.structure ? "シート構成" : "") +
                                           (protection.structure && protection.windows ? "・" : "") +
                                           (protection.windows ? "ウィンドウ" : "") +
                                           (protection.has_password ? "（パスワードあり）" : "")
                                     : "なし";
    const std::string cells[] = {s.file_name,
                                 yes_no(o.show_sheet_tabs),
                                 yes_no(o.show_horizontal_scroll),
                                 yes_no(o.show_vertical_scroll),
                                 number_text(o.tab_ratio / 10.0),
                                 calculation_text(o.calculation),
                                 yes_no(o.iteration),
                                 std::to_string(o.max_iterations),
                                 number_text(o.max_change),
                                 yes_no(o.precision_as_displayed),
                                 yes_no(o.date1904),
                                 yes_no(o.save_link_values),
                                 protected_text,
                                 b->sharing().shared ? "共有" : "なし"};
    s.table.new_row();
    for (int i = 0; i < 14; ++i) s.table.set(i, cells[i]);
    return {};
}

std::string Check_ツール_水平スクロールバーの幅設定(const shell::Params& p, std::string_view) {
    std::optional<double> v = decimal(p.text("ratio"));
    if (!v || *v < 0 || *v > 100) return "シート見出しの幅は０～１００（％）で指定してください。";
    return "";
}

Result<void> Excel_ツール_水平スクロールバーの幅設定(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return Error::failed("ブックが開かれていません。");
    xl::BookOptionsChange c;
    c.tab_ratio = static_cast<int>(std::lround(*decimal(s.params.text("ratio")) * 10));
    if (Result<void> r = b->set_options(c); !r) s.update_error_text(r.error().message);
    return {};
}

}  // namespace

std::span<const Procedures> book_option_procedures() {
    static const Procedures table[] = {
        {"ツール", "ブック用オプション設定", Check_ツール_ブック用オプション設定,
         Excel_ツール_ブック用オプション設定, nullptr, nullptr, nullptr, true},
        {"ツール", "ブック用オプション一覧", Check_ツール_ブック用オプション一覧,
         Excel_ツール_ブック用オプション一覧, Excel_ツール_ブック用オプション一覧_First, nullptr,
         nullptr, false},
        {"ツール", "水平スクロールバーの幅設定", Check_ツール_水平スクロールバーの幅設定,
         Excel_ツール_水平スクロールバーの幅設定, nullptr, nullptr, nullptr, true},
    };
    return table;
}

}  // namespace sheaflow::ops
