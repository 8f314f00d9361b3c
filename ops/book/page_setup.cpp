// Page setup: 頁設定_一覧 (how every worksheet prints: orientation, paper, margins, header and
// footer, print area and titles, zoom or fit to pages, centring), 頁設定_更新 (set any of them
// on every worksheet, leaving the others) and 編集 コピー貼付_頁設定 (a sheet's whole page setup
// copied from a source workbook onto the active sheet of each target). The all-sheets rows share
// these procedures: there the driver visits every worksheet and the executor works on the active
// one.
//
// Margins are typed and listed in centimetres, as the application's dialog shows them.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ops/registry.h"
#include "report/list_final.h"
#include "report/record_store.h"
#include "report/result_table.h"
#include "run/session.h"
#include "shell/operation.h"
#include "util/file.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

Error no_workbook() { return Error::failed("ブックが開かれていません。"); }

bool all_sheets(std::string_view category) {
    const std::string_view prefix = shell::kAllSheetsPrefix;
    return category.substr(0, prefix.size()) == prefix;
}

// ---- Values as the pane shows them -------------------------------------------------------

constexpr double kPointsPerCm = 72 / 2.54;

struct Paper {
    int code;
    const char* name;
};
constexpr Paper kPapers[] = {{1, "レター"}, {5, "リーガル"}, {8, "A3"}, {9, "A4"},
                             {11, "A5"},  {12, "B4"},      {13, "B5"}, {43, "はがき"}};

std::string paper_name(int code) {
    for (const Paper& p : kPapers)
        if (p.code == code) return p.name;
    return "コード" + std::to_string(code);
}

std::string cm_text(double points) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.2f", points / kPointsPerCm);
    return buf;
}

// A number typed in the pane (full-width digits accepted); nullopt when it is not one.
std::optional<double> typed_number(std::string_view text) {
    std::string t = text::trim(text::narrow(text));
    if (t.empty()) return std::nullopt;
    char* end = nullptr;
    double v = std::strtod(t.c_str(), &end);
    if (end == t.c_str() || *end != '\0' || !std::isfinite(v)) return std::nullopt;
    return v;
}

// ---- 頁設定_一覧 ---------------------------------------------------------------------------

const std::vector<std::string> kListTitles = {
    "ファイル名", "シート名", "印刷の向き", "用紙サイズ", "左余白(cm)", "右余白(cm)",
    "上余白(cm)", "下余白(cm)", "ヘッダー余白(cm)", "フッター余白(cm)", "左ヘッダー",
    "中央ヘッダー", "右ヘッダー", "左フッター", "中央フッター", "右フッター", "印刷範囲",
    "行のタイトル", "列のタイトル", "拡大縮小", "横のページ数", "縦のページ数", "水平中央",
    "垂直中央"};

std::vector<std::string> list_row(const std::string& file, const std::string& sheet,
                                  const xl::PageSetup& p) {
    auto yes = [](bool b) { return std::string(b ? "する" : "しない"); };
    const bool fit = p.zoom == 0;
    return {file,
            sheet,
            p.orientation == xl::xlLandscape ? "横" : "縦",
            paper_name(p.paper_size),
            cm_text(p.left_margin),
            cm_text(p.right_margin),
            cm_text(p.top_margin),
            cm_text(p.bottom_margin),
            cm_text(p.header_margin),
            cm_text(p.footer_margin),
            p.left_header,
            p.center_header,
            p.right_header,
            p.left_footer,
            p.center_footer,
            p.right_footer,
            p.print_area,
            p.print_title_rows,
            p.print_title_columns,
            fit ? "ページ数に合わせる" : std::to_string(p.zoom) + "%",
            fit ? std::to_string(p.fit_to_pages_wide) : "",
            fit ? std::to_string(p.fit_to_pages_tall) : "",
            yes(p.center_horizontally),
            yes(p.center_vertically)};
}

std::string Check_ファイル_頁設定_一覧(const shell::Params&, std::string_view) { return ""; }

Result<void> Excel_ファイル_頁設定_一覧_First(run::Session& s) {
    s.store.reset();
    return {};
}

Result<void> Excel_ファイル_頁設定_一覧(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    auto list = [&](xl::Worksheet* w) {
        if (!w || w->type() != xl::xlWorksheet) return;
        auto p = w->page_setup();
        if (!p) {
            s.update_error_text(w->name() + " " + p.error().message);
            return;
        }
        s.store.add({s.file_name, std::to_string(w->index())}, list_row(s.file_name, w->name(), *p));
    };
    if (all_sheets(s.category)) {
        list(s.sheet());
        return {};
    }
    for (int i = 1; i <= b->worksheet_count(); ++i) {
        if (s.yield()) return {};
        list(b->worksheet(i));
    }
    return {};
}

Result<void> Excel_ファイル_頁設定_一覧_Final(run::Session& s) {
    report::Final_Process(s.store, s.table, kListTitles,
                          [](const report::RecordStore::Record& r, report::ResultTable& t) {
                              for (std::size_t i = 0; i < kListTitles.size(); ++i)
                                  t.set(static_cast<int>(i), r.field(i));
                          });
    return {};
}

// ---- 頁設定_更新 ---------------------------------------------------------------------------

// Text fields whose empty value leaves the setting as it is; "なし" clears a print area or title.
constexpr const char* kNone = "なし";

struct Margin {
    const char* key;
    std::optional<double> xl::PageSetupChange::*field;
};
constexpr Margin kMargins[] = {
    {"left", &xl::PageSetupChange::left_margin},     {"right", &xl::PageSetupChange::right_margin},
    {"top", &xl::PageSetupChange::top_margin},       {"bottom", &xl::PageSetupChange::bottom_margin},
    {"header", &xl::PageSetupChange::header_margin}, {"footer", &xl::PageSetupChange::footer_margin}};

struct HeaderText {
    const char* key;
    std::optional<std::string> xl::PageSetupChange::*field;
};
constexpr HeaderText kHeaderTexts[] = {{"left_header", &xl::PageSetupChange::left_header},
                                       {"center_header", &xl::PageSetupChange::center_header},
                                       {"right_header", &xl::PageSetupChange::right_header},
                                       {"left_footer", &xl::PageSetupChange::left_footer},
                                       {"center_footer", &xl::PageSetupChange::center_footer},
                                       {"right_footer", &xl::PageSetupChange::right_footer}};

// The pane as a change, or the first complaint about it.
Result<xl::PageSetupChange> change_of(const shell::Params& p) {
    auto bad = [](const char* what) { return Error::failed(what); };
    xl::PageSetupChange c;
    if (const std::string& o = p.option("orientation"); !o.empty())
        c.orientation = o == "landscape" ? xl::xlLandscape : xl::xlPortrait;
    if (const std::string& paper = p.option("paper"); !paper.empty())
        c.paper_size = std::atoi(paper.c_str());
    for (const Margin& m : kMargins) {
        const std::string& typed = p.text(m.key);
        if (text::trim(typed).empty()) continue;
        auto v = typed_number(typed);
        if (!v || *v < 0 || *v > 30) return bad("余白は 0 から 30 までの cm で指定してください。");
        c.*m.field = *v * kPointsPerCm;
    }
    if (const std::string& z = p.text("zoom"); !text::trim(z).empty()) {
        auto v = typed_number(z);
        if (!v || *v < 10 || *v > 400 || *v != std::floor(*v))
            return bad("拡大縮小は 10 から 400 までの整数で指定してください。");
        c.zoom = static_cast<int>(*v);
    }
    const bool zoom_given = c.zoom.has_value();
    for (const char* key : {"fit_wide", "fit_tall"}) {
        const std::string& typed = p.text(key);
        if (text::trim(typed).empty()) continue;
        auto v = typed_number(typed);
        if (!v || *v < 0 || *v > 32767 || *v != std::floor(*v))
            return bad("ページ数は 0 以上の整数で指定してください（0 は指定なし）。");
        (std::string_view(key) == "fit_wide" ? c.fit_to_pages_wide : c.fit_to_pages_tall) =
            static_cast<int>(*v);
        c.zoom = 0;
    }
    if (zoom_given && (c.fit_to_pages_wide || c.fit_to_pages_tall))
        return bad("拡大縮小とページ数は同時に指定できません。");
    if (const std::string& h = p.option("center_h"); !h.empty()) c.center_horizontally = h == "1";
    if (const std::string& v = p.option("center_v"); !v.empty()) c.center_vertically = v == "1";
    struct Ref {
        const char* key;
        std::optional<std::string> xl::PageSetupChange::*field;
        bool rows, columns;
    };
    const Ref refs[] = {{"print_area", &xl::PageSetupChange::print_area, false, false},
                        {"title_rows", &xl::PageSetupChange::print_title_rows, true, false},
                        {"title_columns", &xl::PageSetupChange::print_title_columns, false, true}};
    for (const Ref& r : refs) {
        std::string typed = text::trim(text::narrow(p.text(r.key)));
        if (typed.empty()) continue;
        if (typed == kNone) {
            c.*r.field = std::string();
            continue;
        }
        // Whole rows ("1:2") and columns ("A:B") are what titles take.
        for (const std::string& item : text::split(typed, ",")) {
            auto area = xl::parse_address(text::trim(item));
            bool rows = area && area->first_col == 1 && area->last_col == 16384;
            bool columns = area && area->first_row == 1 && area->last_row == 1048576;
            if (!area || (r.rows && !rows) || (r.columns && !columns))
                return bad(r.rows      ? "行のタイトルは 1:2 のように行で指定してください。"
                           : r.columns ? "列のタイトルは A:B のように列で指定してください。"
                                       : "印刷範囲は A1:F40 のように指定してください。");
        }
        c.*r.field = typed;
    }
    for (const HeaderText& h : kHeaderTexts) {
        const std::string& typed = p.text(h.key);
        if (typed.empty()) continue;
        c.*h.field = typed == kNone ? std::string() : typed;
    }
    return c;
}

bool changes_nothing(const xl::PageSetupChange& c) {
    return !c.orientation && !c.paper_size && !c.left_margin && !c.right_margin && !c.top_margin &&
           !c.bottom_margin && !c.header_margin && !c.footer_margin && !c.left_header &&
           !c.center_header && !c.right_header && !c.left_footer && !c.center_footer &&
           !c.right_footer && !c.print_area && !c.print_title_rows && !c.print_title_columns &&
           !c.zoom && !c.fit_to_pages_wide && !c.fit_to_pages_tall && !c.center_horizontally &&
           !c.center_vertically;
}

std::string Check_ファイル_頁設定_更新(const shell::Params& p, std::string_view) {
    auto c = change_of(p);
    if (!c) return c.error().message;
    if (changes_nothing(*c)) return "変更する頁設定がありません。";
    return "";
}

Result<void> apply_change(run::Session& s, xl::Worksheet& w, const xl::PageSetupChange& c) {
    if (w.type() != xl::xlWorksheet) return {};
    if (auto r = w.set_page_setup(c); !r) s.update_error_text(w.name() + " " + r.error().message);
    return {};
}

Result<void> Excel_ファイル_頁設定_更新(run::Session& s) {
    auto c = change_of(s.params);
    if (!c) return c.error();
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    if (all_sheets(s.category)) return apply_change(s, *s.sheet(), *c);
    for (int i = 1; i <= b->worksheet_count(); ++i) {
        if (s.yield()) return {};
        if (xl::Worksheet* w = b->worksheet(i)) (void)apply_change(s, *w, *c);
    }
    return {};
}

// ---- 編集 コピー貼付_頁設定 ------------------------------------------------------------------

// The source sheet's page setup, read once before the first target.
std::optional<xl::PageSetup> g_source;

std::string Check_編集_コピー貼付_頁設定(const shell::Params& p, std::string_view) {
    const std::string& book = p.text("source_book");
    if (text::trim(book).empty()) return "コピー元のブックが指定されていません。";
    if (!file::exists(book) || file::is_directory(book)) return "コピー元のブックがありません。";
    return "";
}

Result<void> Excel_編集_コピー貼付_頁設定_First(run::Session& s) {
    g_source.reset();
    const std::string path = s.params.text("source_book");
    const std::string sheet = text::trim(s.params.text("source_sheet"));
    auto book = s.app.workbooks().open(path, true);
    if (!book) return book.error();
    xl::Workbook* b = *book;
    xl::Worksheet* w = sheet.empty() ? b->active_sheet() : b->worksheet(sheet);
    Result<void> out;
    if (!w) {
        out = Error::failed("コピー元のシート「" + sheet + "」がありません。");
    } else if (auto p = w->page_setup(); !p) {
        out = p.error();
    } else {
        g_source = *p;
    }
    b->close();
    return out;
}

Result<void> Excel_編集_コピー貼付_頁設定(run::Session& s) {
    if (!g_source) return Error::failed("コピー元の頁設定を読めませんでした。");
    xl::Worksheet* w = s.sheet();
    if (!w) return no_workbook();
    // The print area and titles name cells of the source sheet; they are copied as ranges.
    return apply_change(s, *w, xl::PageSetupChange::whole(*g_source));
}

}  // namespace

std::span<const Procedures> page_setup_procedures() {
    static const Procedures table[] = {
        {.category = "ファイル",
         .key_name = "頁設定_一覧",
         .check = Check_ファイル_頁設定_一覧,
         .execute = Excel_ファイル_頁設定_一覧,
         .first = Excel_ファイル_頁設定_一覧_First,
         .final = Excel_ファイル_頁設定_一覧_Final},
        {.category = "ファイル",
         .key_name = "頁設定_更新",
         .check = Check_ファイル_頁設定_更新,
         .execute = Excel_ファイル_頁設定_更新,
         .updates = true},
        {.category = "編集",
         .key_name = "コピー貼付_頁設定",
         .check = Check_編集_コピー貼付_頁設定,
         .execute = Excel_編集_コピー貼付_頁設定,
         .first = Excel_編集_コピー貼付_頁設定_First,
         .updates = true},
    };
    return table;
}

}  // namespace sheaflow::ops
