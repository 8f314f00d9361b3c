#include "ops/cell/cell_text.h"

#include <algorithm>
#include <optional>

#include "report/result_table.h"
#include "run/session.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace k = cell_text_keys;

namespace {

constexpr std::int32_t kMaxRows = 1048576;
constexpr std::int32_t kMaxCols = 16384;

// A range box as typed: blanks trimmed, absolute markers dropped.
std::string box(const shell::Params& p, const char* key) {
    return text::replace_all(text::trim(p.text(key)), "$", "");
}

// The row number of a box (0 when empty, not a number, or 0).
std::int32_t row_number(const std::string& t) {
    if (!text::is_digits(t) || t.size() > 9) return 0;
    return static_cast<std::int32_t>(std::stol(t));
}

// The column number of a box (0 when empty or not a column name).
std::int32_t col_number(const std::string& t) { return xl::column_number(t); }

// The four range boxes checked together: all empty means the whole used range; otherwise both
// rows and both columns must be given and lie within the grid, from not after to.
std::string range_boxes_error(const shell::Params& p) {
    std::string cf = box(p, k::kColFrom), rf = box(p, k::kRowFrom);
    std::string ct = box(p, k::kColTo), rt = box(p, k::kRowTo);
    // A box whose numeric value is 0 counts as empty.
    auto empty = [](const std::string& t) {
        return t.empty() || (text::is_digits(t) && t.find_first_not_of('0') == std::string::npos);
    };
    if (empty(cf) && empty(rf) && empty(ct) && empty(rt)) return {};
    std::int32_t r1 = row_number(rf), r2 = row_number(rt);
    if (r1 < 1 || r2 < 1 || r2 > kMaxRows || r1 > r2) return "行の指定が不正です。";
    std::int32_t c1 = col_number(cf), c2 = col_number(ct);
    if (c1 < 1 || c2 < 1 || c2 > kMaxCols || c1 > c2) return "列の指定が不正です。";
    return {};
}

std::string sheet_label(const xl::Worksheet& ws) { return ws.name() + "(" + ws.code_name() + ")"; }

xl::FindOptions find_options(const shell::Params& p) {
    xl::FindOptions o;
    o.what = p.text(k::kSearch);
    const std::string& look_in = p.option(k::kLookIn);
    // With neither option on, LookIn stays as the previous search left it.
    if (look_in == k::kFormulas) o.look_in = xl::xlFormulas;
    if (look_in == k::kValues) o.look_in = xl::xlValues;
    o.look_at = p.check(k::kWholeCell) ? xl::xlWhole : xl::xlPart;
    o.match_case = p.check(k::kMatchCase);
    o.match_byte = p.check(k::kMatchByte);
    return o;
}

xl::ReplaceOptions replace_options(const shell::Params& p) {
    xl::ReplaceOptions o;
    o.what = p.text(k::kSearch);
    o.replacement = p.text(k::kReplace);
    o.look_at = p.check(k::kWholeCell) ? xl::xlWhole : xl::xlPart;
    o.search_order = xl::xlByRows;
    o.match_case = p.check(k::kMatchCase);
    o.match_byte = p.check(k::kMatchByte);
    return o;
}

// Walks every cell that Find and FindNext give over `range`, each once, in the application's
// order, until FindNext comes back to the first one; stops when the user cancels.
template <typename Visit>
void for_each_found(run::Session& s, const xl::Range& range, const xl::FindOptions& o,
                    Visit visit) {
    std::optional<xl::Range> found = range.find(o);
    if (!found) return;
    const std::string first = found->address();
    while (found) {
        if (s.yield()) return;
        visit(*found);
        found = range.find_next(*found);
        if (found && found->address() == first) return;
    }
}

Error no_sheet() { return Error::failed("シートが開かれていません。"); }

}  // namespace

std::string Excel_Used_Cells(xl::Worksheet& sheet, std::int32_t col_from, std::int32_t row_from,
                             std::int32_t col_to, std::int32_t row_to) {
    xl::Area used = sheet.used_range();
    xl::Area a = used;
    if (row_from > 0 || row_to > 0) {
        a.first_row = std::max(row_from > 0 ? row_from : 1, used.first_row);
        a.last_row = std::min(row_to > 0 ? row_to : used.last_row, used.last_row);
    }
    if (col_from > 0 || col_to > 0) {
        a.first_col = std::max(col_from > 0 ? col_from : 1, used.first_col);
        a.last_col = std::min(col_to > 0 ? col_to : used.last_col, used.last_col);
    }
    if (a.first_row > a.last_row || a.first_col > a.last_col) return {};
    return xl::format_address(a);
}

std::string Check_セル_文字列検索(const shell::Params& p, std::string_view) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    if (p.text(k::kSearch).empty()) return "検索文字が空白です。";
    return {};
}

std::string Check_セル_文字列置換(const shell::Params& p, std::string_view) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    if (p.text(k::kSearch) == p.text(k::kReplace)) return "新旧が一致してます。";
    return {};
}

std::string Check_すべてのシート_セル_文字列検索(const shell::Params& p, std::string_view) {
    if (p.text(k::kSearch).empty()) return "検索文字が設定されていません。";
    return {};
}

std::string Check_すべてのシート_セル_文字列置換(const shell::Params& p, std::string_view) {
    if (p.text(k::kSearch) == p.text(k::kReplace)) return "新旧が一致してます。";
    return {};
}

Result<void> Excel_セル_文字列検索(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    report::ResultTable& t = s.table;
    t.new_row();
    t.set_title(0, "ファイル名");
    t.set_title(1, "シート名");
    t.set_title(2, "検索結果");
    t.set(0, s.file_name);
    t.set(1, sheet_label(*ws));

    const std::string address = box(s.params, k::kColFrom) + box(s.params, k::kRowFrom) + ":" +
                                box(s.params, k::kColTo) + box(s.params, k::kRowTo);
    std::optional<xl::Range> range;
    if (address == ":") {
        range = ws->cells();
    } else {
        auto r = ws->range(address);
        if (!r) return r.error();
        range = *r;
    }
    for_each_found(s, *range, find_options(s.params), [&](const xl::Range& cell) {
        t.new_row();
        xl::Value v = cell.value();
        std::string line = cell.address(false, false);
        line += xl::is_error(v) ? "  値= エラー" : "  値=" + xl::to_text(v);
        line += "  計算式=" + cell.formula();
        t.set(2, std::move(line));
    });
    return {};
}

Result<void> Excel_セル_文字列置換(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    const shell::Params& p = s.params;
    std::string address =
        Excel_Used_Cells(*ws, col_number(box(p, k::kColFrom)), row_number(box(p, k::kRowFrom)),
                         col_number(box(p, k::kColTo)), row_number(box(p, k::kRowTo)));
    if (address.empty()) return {};  // the rectangle holds nothing
    auto range = ws->range(address);
    if (!range) return range.error();
    if (auto r = range->replace(replace_options(p)); !r) return r.error();
    return {};
}

Result<void> Excel_すべてのシート_セル_文字列検索(run::Session& s) {
    xl::Workbook* book = s.book();
    if (!book) return no_sheet();
    report::ResultTable& t = s.table;
    const xl::FindOptions o = find_options(s.params);
    // The heading rows come once, before the first workbook's rows.
    if (t.empty()) {
        t.new_row();
        t.set(0, "すべてのシートで文字列検索");
        t.new_row();
        t.set(0, "検索文字=" + o.what);
        t.new_row();
    }
    t.new_row();
    t.set_title(0, "ファイル名");
    t.set_title(1, "シート名");
    t.set(0, s.file_name);

    const int count = book->worksheet_count();
    for (int i = 1; i <= count; ++i) {
        if (s.yield()) break;
        xl::Worksheet* ws = book->worksheet(i);
        if (!ws) continue;
        if (!ws->activate() || !ws->select()) {
            t.new_row();
            t.set(1, sheet_label(*ws) + "シートが参照できません。");
            continue;
        }
        s.sheet_name = ws->name();
        t.new_row();
        t.set(1, sheet_label(*ws));
        for_each_found(s, ws->cells(), o, [&](const xl::Range& cell) {
            t.set_title(2, "セル");
            t.set_title(3, "値");
            t.set_title(4, "計算式");
            t.new_row();
            xl::Value v = cell.value();
            t.set(2, cell.address(false, false));
            t.set(3, xl::is_error(v) ? std::string("エラー") : xl::to_text(v));
            t.set(4, cell.formula());
        });
    }
    return {};
}

Result<void> Excel_すべてのシート_セル_文字列置換(run::Session& s) {
    xl::Workbook* book = s.book();
    if (!book) return no_sheet();
    xl::Worksheet* active = book->active_sheet();
    const std::string remembered = active ? active->name() : std::string();
    const xl::ReplaceOptions o = replace_options(s.params);
    std::optional<Error> failed;
    const int count = book->worksheet_count();
    for (int i = 1; i <= count; ++i) {
        if (s.yield()) break;
        xl::Worksheet* ws = book->worksheet(i);
        if (!ws) continue;
        if (auto r = ws->activate(); !r) {
            failed = r.error();
            break;
        }
        s.sheet_name = ws->name();
        if (auto r = ws->cells().replace(o); !r) {
            failed = r.error();
            break;
        }
    }
    // The workbook is saved with the sheet that was active before.
    if (xl::Worksheet* ws = book->worksheet(remembered)) (void)ws->activate();
    s.sheet_name = remembered;
    if (failed) return *failed;
    return {};
}

}  // namespace sheaflow::ops
