// Color2010カラー標準化, ColorIndexカラー標準化 and their lists: the colours of the chosen kinds of
// item on each target's active sheet, replaced by the nearest palette colour or listed with it.

#include "ops/sheet/colours.h"

#include "ops/registry.h"
#include "report/list_final.h"
#include "report/record_store.h"
#include "report/result_table.h"
#include "run/session.h"
#include "xl/xl.h"

namespace sheaflow::ops {

xl::ColourKinds colour_kinds(const shell::Params& p) {
    xl::ColourKinds k;
    k.font = p.check("font");
    k.interior = p.check("interior");
    k.pattern = p.check("pattern");
    k.borders = p.check("borders");
    k.format_conditions = p.check("format_conditions");
    k.comments = p.check("comments");
    k.shapes = p.check("shapes");
    k.controls = p.check("controls");
    k.tab = p.check("tab");
    return k;
}

std::string colour_detail(Palette palette, const xl::ColourUse& use) {
    int code = use.known ? nearest_code(palette, use.colour) : -1;
    const PaletteEntry* e = code >= 0 ? entry_of(palette, code) : nullptr;
    if (!e) return palette == Palette::Color2010 ? "Color2010 Indexエラー" : "ColorIndexエラー";
    return use.item + "の色=" + std::to_string(code) + " " + colour_text(e->rgb()) + "　実際 " +
           colour_text(use.colour);
}

std::optional<std::int32_t> standard_colour(Palette palette, std::int32_t colour) {
    if (colour < 0 || exact_code(palette, colour) >= 0) return std::nullopt;
    const PaletteEntry* e = entry_of(palette, nearest_code(palette, colour));
    if (!e) return std::nullopt;
    return e->rgb();
}

namespace {

std::string Check_Colour(const shell::Params& p, std::string_view) {
    xl::ColourKinds k = colour_kinds(p);
    bool any = k.font || k.interior || k.pattern || k.borders || k.format_conditions ||
               k.comments || k.shapes || k.controls || k.tab;
    return any ? "" : "チェックマークがありません。";
}

Result<void> standardise(run::Session& s, Palette palette) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return Error::failed("シートがありません。");
    Result<void> r = ws->visit_colours(colour_kinds(s.params), [&](const xl::ColourUse& u) {
        return u.known ? standard_colour(palette, u.colour) : std::nullopt;
    });
    if (!r) s.update_error_text(r.error().message);
    return {};
}

enum Detail : std::size_t { kFile, kSheet, kPlace, kText };

Result<void> list(run::Session& s, Palette palette) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return Error::failed("シートがありません。");
    std::string sheet = ws->name();
    Result<void> r = ws->visit_colours(colour_kinds(s.params), [&](const xl::ColourUse& u) {
        if (!u.known || exact_code(palette, u.colour) < 0)
            s.store.add({s.file_name}, {s.file_name, sheet, u.place, colour_detail(palette, u)});
        return std::optional<std::int32_t>();
    });
    if (!r) s.update_error_text(r.error().message);
    return {};
}

Result<void> list_first(run::Session& s) {
    s.store.reset();
    return {};
}

Result<void> list_final(run::Session& s) {
    report::Final_Process(s.store, s.table, {"ファイル名", "シート名", "場所", "色"},
                          [](const report::RecordStore::Record& rec, report::ResultTable& t) {
                              for (std::size_t i = kFile; i <= kText; ++i)
                                  t.set(static_cast<int>(i), rec.field(i));
                          });
    return {};
}

}  // namespace

std::string Check_シート_Color2010カラー標準化(const shell::Params& p, std::string_view c) {
    return Check_Colour(p, c);
}
std::string Check_シート_ColorIndexカラー標準化(const shell::Params& p, std::string_view c) {
    return Check_Colour(p, c);
}
Result<void> Excel_シート_Color2010カラー標準化(run::Session& s) {
    return standardise(s, Palette::Color2010);
}
Result<void> Excel_シート_ColorIndexカラー標準化(run::Session& s) {
    return standardise(s, Palette::ColorIndex);
}
Result<void> Excel_シート_Color2010カラー標準以外の一覧(run::Session& s) {
    return list(s, Palette::Color2010);
}
Result<void> Excel_シート_ColorIndexカラー標準以外の一覧(run::Session& s) {
    return list(s, Palette::ColorIndex);
}

std::span<const Procedures> colour_procedures() {
    static const Procedures table[] = {
        {"シート", "COLORINDEXカラー標準化", Check_シート_ColorIndexカラー標準化,
         Excel_シート_ColorIndexカラー標準化, nullptr, nullptr, nullptr, true},
        {"シート", "COLOR2010カラー標準化", Check_シート_Color2010カラー標準化,
         Excel_シート_Color2010カラー標準化, nullptr, nullptr, nullptr, true},
        {"シート", "COLORINDEXカラー標準以外の一覧", Check_シート_ColorIndexカラー標準化,
         Excel_シート_ColorIndexカラー標準以外の一覧, list_first, list_final, nullptr, false},
        {"シート", "COLOR2010カラー標準以外の一覧", Check_シート_Color2010カラー標準化,
         Excel_シート_Color2010カラー標準以外の一覧, list_first, list_final, nullptr, false},
    };
    return table;
}

}  // namespace sheaflow::ops
