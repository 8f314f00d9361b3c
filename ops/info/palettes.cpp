// The Excel information lists of the two palettes: ColorIndex一覧 (index 1 to 56) and
// Color2010一覧 (the 2010 palette in its table order), each row with the colour's values and its
// "#RRGGBB" form, which the result window shows as a swatch.

#include "ops/sheet/palettes.h"

#include "ops/registry.h"
#include "report/result_table.h"
#include "run/session.h"

namespace sheaflow::ops {
namespace {

// The title of the column the result window paints with the colour of its text.
constexpr const char* kSwatchTitle = "色見本";

void put_entry(report::ResultTable& t, int first_col, const PaletteEntry& e) {
    t.set(first_col, std::to_string(e.red));
    t.set(first_col + 1, std::to_string(e.green));
    t.set(first_col + 2, std::to_string(e.blue));
    t.set(first_col + 3, std::to_string(e.rgb()));
    t.set(first_col + 4, colour_hex(e.rgb()));
}

std::string Check_Palette_List(const shell::Params&, std::string_view) { return ""; }

Result<void> Excel_Excel_ColorIndex一覧(run::Session& s) {
    report::ResultTable& t = s.table;
    const char* titles[] = {"ColorIndex", "赤", "緑", "青", "Color", kSwatchTitle};
    for (int i = 0; i < 6; ++i) t.set_title(i, titles[i]);
    std::span<const PaletteEntry> entries = palette_entries(Palette::ColorIndex);
    for (std::size_t i = 1; i < entries.size(); ++i) {
        t.new_row();
        t.set(0, std::to_string(entries[i].code));
        put_entry(t, 1, entries[i]);
    }
    return {};
}

Result<void> Excel_Excel_Color2010一覧(run::Session& s) {
    report::ResultTable& t = s.table;
    const char* titles[] = {"コード", "赤", "緑", "青", "Color", kSwatchTitle, "ColorIndex"};
    for (int i = 0; i < 7; ++i) t.set_title(i, titles[i]);
    std::span<const PaletteEntry> entries = palette_entries(Palette::Color2010);
    for (std::size_t i = 1; i < entries.size(); ++i) {
        const PaletteEntry& e = entries[i];
        t.new_row();
        t.set(0, std::to_string(e.code));
        put_entry(t, 1, e);
        if (e.colour_index > 0) t.set(6, std::to_string(e.colour_index));
    }
    return {};
}

}  // namespace

std::span<const Procedures> palette_list_procedures() {
    static const Procedures table[] = {
        {"Excel", "COLORINDEX一覧", Check_Palette_List, Excel_Excel_ColorIndex一覧, nullptr,
         nullptr, nullptr, false, false, false},
        {"Excel", "COLOR2010一覧", Check_Palette_List, Excel_Excel_Color2010一覧, nullptr, nullptr,
         nullptr, false, false, false},
    };
    return table;
}

}  // namespace sheaflow::ops
