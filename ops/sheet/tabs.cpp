// The sheet tabs: 見出し(TAB)の色設定 (set or clear the tab colour of the active sheet or of
// every worksheet, with a colour of the 56-colour palette), 見出し(TAB)の色一覧 (every
// worksheet's tab colour with its palette codes) and 見出し(TAB)のスクロール (which tab the tab
// bar shows first).

#include "ops/registry.h"
#include "ops/sheet/palettes.h"
#include "ops/sheet/sheet_ops.h"
#include "report/list_final.h"
#include "report/record_store.h"
#include "report/result_table.h"
#include "run/session.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

Error no_workbook() { return Error::failed("ブックが開かれていません。"); }

// 見出し(TAB)の色設定 -------------------------------------------------------------------------

std::string Check_シート_見出しの色設定(const shell::Params& p, std::string_view) {
    if (p.option("target").empty()) return "対象シートの指定が不正です。";
    if (p.option("action") == "clear") return "";
    if (p.option("action") != "set") return "色の設定方法の指定が不正です。";
    long n = pane_number(p.text("colour_index"));
    if (n < 1 || n > 56) return "色番号(ColorIndex)は１～５６で指定してください。";
    return "";
}

Result<void> Excel_シート_見出しの色設定(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    std::int32_t colour = -1;
    if (s.params.option("action") == "set") {
        const PaletteEntry* e = entry_of(
            Palette::ColorIndex, static_cast<int>(pane_number(s.params.text("colour_index"))));
        if (e) colour = e->rgb();
    }
    auto apply = [&](xl::Worksheet* w) {
        if (!w) return;
        if (Result<void> r = w->set_tab_colour(colour); !r)
            s.update_error_text(w->name() + " " + r.error().message);
    };
    if (s.params.option("target") == "all") {
        for (int i = 1; i <= b->worksheet_count(); ++i) {
            if (s.yield()) return {};
            apply(b->worksheet(i));
        }
    } else {
        apply(s.sheet());
    }
    return {};
}

// 見出し(TAB)の色一覧 ---------------------------------------------------------------------------

enum Detail : std::size_t { kFile, kSheet, kColour, kIndex, kCode };

std::string Check_シート_見出しの色一覧(const shell::Params&, std::string_view) { return ""; }

Result<void> Excel_シート_見出しの色一覧_First(run::Session& s) {
    s.store.reset();
    return {};
}

Result<void> Excel_シート_見出しの色一覧(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    for (int i = 1; i <= b->worksheet_count(); ++i) {
        if (s.yield()) return {};
        xl::Worksheet* w = b->worksheet(i);
        if (!w) continue;
        std::optional<std::int32_t> c = w->tab_colour();
        std::string text = c ? colour_text(*c) : "なし";
        std::string index, code;
        if (c) {
            int n = exact_code(Palette::ColorIndex, *c);
            int k = exact_code(Palette::Color2010, *c);
            index = n > 0 ? std::to_string(n) : "";
            code = k > 0 ? std::to_string(k) : "";
        }
        s.store.add({s.file_name}, {s.file_name, w->name(), text, index, code});
    }
    return {};
}

Result<void> Excel_シート_見出しの色一覧_Final(run::Session& s) {
    report::Final_Process(s.store, s.table,
                          {"ファイル名", "シート名", "見出しの色", "ColorIndex", "Color2010"},
                          [](const report::RecordStore::Record& r, report::ResultTable& t) {
                              for (std::size_t i = kFile; i <= kCode; ++i)
                                  t.set(static_cast<int>(i), r.field(i));
                          });
    return {};
}

// 見出し(TAB)のスクロール -----------------------------------------------------------------------

std::string Check_シート_見出しのスクロール(const shell::Params& p, std::string_view) {
    if (pane_number(p.text("position")) < 1) return "先頭に表示するシート位置が不正です。";
    return "";
}

Result<void> Excel_シート_見出しのスクロール(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    long n = pane_number(s.params.text("position"));
    if (n > b->sheet_count()) {
        s.update_error_text("先頭に表示するシート番号が間違っています。");
        return {};
    }
    if (Result<void> r = b->set_first_tab(static_cast<int>(n)); !r)
        s.update_error_text(r.error().message);
    return {};
}

}  // namespace

std::span<const Procedures> tab_procedures() {
    static const Procedures table[] = {
        {"シート", "見出し(TAB)の色設定", Check_シート_見出しの色設定, Excel_シート_見出しの色設定,
         nullptr, nullptr, nullptr, true},
        {"シート", "見出し(TAB)の色一覧", Check_シート_見出しの色一覧, Excel_シート_見出しの色一覧,
         Excel_シート_見出しの色一覧_First, Excel_シート_見出しの色一覧_Final, nullptr, false},
        {"シート", "見出し(TAB)のスクロール", Check_シート_見出しのスクロール,
         Excel_シート_見出しのスクロール, nullptr, nullptr, nullptr, true},
    };
    return table;
}

}  // namespace sheaflow::ops
