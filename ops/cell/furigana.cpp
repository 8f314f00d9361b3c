// ふり仮名検索: the text cells of the pane's range whose phonetic reading (furigana) contains the
// text searched for, listed with their readings; on request the reading of those cells is set
// from a text of the pane, or removed.

#include "ops/cell/cell_common.h"
#include "ops/registry.h"
#include "run/session.h"
#include "util/text.h"

namespace sheaflow::ops {

namespace {

// The form a reading is compared in: hiragana and katakana alike, half-width kana widened (a
// voiced mark joins its kana), full-width letters and digits narrowed, capitals, no spaces.
std::string reading_key(std::string_view reading) {
    std::string s = text::to_katakana(text::widen_kana_runs(reading));
    s = text::upper(text::narrow(s, text::kAlnumWidth | text::kSymbolWidth));
    std::string out;
    for (char ch : s)
        if (ch != ' ' && ch != '\t') out += ch;
    return out;
}


constexpr const char* kList = "list";
constexpr const char* kSet = "set";
constexpr const char* kRemove = "remove";

bool changes_readings(const shell::Params& p) { return p.option("action") != kList; }

std::string Check_セル_ふり仮名検索(const shell::Params& p, std::string_view) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    const std::string& action = p.option("action");
    if (action != kList && action != kSet && action != kRemove) return "処理の指定が不正です。";
    if (action == kSet && text::trim(text::narrow(p.text("reading"))).empty())
        return "設定するふりがなを入力してください。";
    return {};
}

Result<void> Excel_セル_ふり仮名検索(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return Error::failed("シートが開かれていません。");
    const std::string& action = s.params.option("action");
    // An empty search box finds every cell that has a reading.
    const std::string wanted = reading_key(s.params.text("search"));
    const std::string replacement = action == kSet ? s.params.text("reading") : std::string();
    if (action == kList)
        begin_cell_list(s, *ws, {"値", "ふりがな"});
    else
        begin_cell_list(s, *ws, {"値", "ふりがな", "変更後のふりがな"});
    std::optional<Error> failed;
    for_each_pane_cell(s, *ws, [&](xl::CellRef c) {
        if (failed) return;
        std::optional<std::string> value = text_constant(*ws, c);
        if (!value) return;
        std::string reading = ws->phonetic(c);
        if (reading.empty() || reading_key(reading).find(wanted) == std::string::npos) return;
        if (action == kList) {
            add_cell_row(s, c, {*value, reading});
            return;
        }
        if (auto r = ws->set_phonetic(c, replacement); !r) {
            failed = Error::failed(cell_address(c) + " " + r.error().message);
            return;
        }
        add_cell_row(s, c, {*value, reading, replacement});
    });
    if (failed) return *failed;
    return {};
}

const Procedures kFuriganaProcedures[] = {
    {.category = "セル",
     .key_name = "ふり仮名検索",
     .check = Check_セル_ふり仮名検索,
     .execute = Excel_セル_ふり仮名検索,
     .updates_when = changes_readings},
};

}  // namespace

std::span<const Procedures> furigana_procedures() { return kFuriganaProcedures; }

}  // namespace sheaflow::ops
