// カラーチェック: every cell of the sheet whose font or fill has a colour of its own (not the
// automatic one, nor the workbook's default text colour), listed with the colour and its codes
// in the two palettes.

#include "ops/registry.h"
#include "ops/sheet/colours.h"
#include "report/list_final.h"
#include "report/record_store.h"
#include "report/result_table.h"
#include "run/session.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

enum Detail : std::size_t { kFile, kSheet, kCell, kText };

std::string Check_セル_カラーチェック(const shell::Params& p, std::string_view) {
    return p.check("font") || p.check("interior") ? "" : "チェックマークがありません。";
}

Result<void> Excel_セル_カラーチェック_First(run::Session& s) {
    s.store.reset();
    return {};
}

Result<void> Excel_セル_カラーチェック(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return Error::failed("シートがありません。");
    xl::ColourKinds kinds;
    kinds.font = s.params.check("font");
    kinds.interior = s.params.check("interior");
    kinds.pattern = kinds.interior;
    std::string sheet = ws->name();
    Result<void> r = ws->visit_colours(kinds, [&](const xl::ColourUse& u) {
        if (u.is_default) return std::optional<std::int32_t>();
        std::string text = u.item + "の色=" + (u.known ? colour_text(u.colour) : "不明");
        if (u.known) {
            int n = exact_code(Palette::ColorIndex, u.colour);
            int k = exact_code(Palette::Color2010, u.colour);
            if (n > 0) text += " ColorIndex=" + std::to_string(n);
            if (k > 0) text += " Color2010=" + std::to_string(k);
        }
        s.store.add({s.file_name}, {s.file_name, sheet, u.place, text});
        return std::optional<std::int32_t>();
    });
    if (!r) s.update_error_text(r.error().message);
    return {};
}

Result<void> Excel_セル_カラーチェック_Final(run::Session& s) {
    report::Final_Process(s.store, s.table, {"ファイル名", "シート名", "セル", "色"},
                          [](const report::RecordStore::Record& rec, report::ResultTable& t) {
                              for (std::size_t i = kFile; i <= kText; ++i)
                                  t.set(static_cast<int>(i), rec.field(i));
                          });
    return {};
}

}  // namespace

std::span<const Procedures> colour_check_procedures() {
    static const Procedures table[] = {
        {"セル", "カラーチェック", Check_セル_カラーチェック, Excel_セル_カラーチェック,
         Excel_セル_カラーチェック_First, Excel_セル_カラーチェック_Final, nullptr, false},
    };
    return table;
}

}  // namespace sheaflow::ops
