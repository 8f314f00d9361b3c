#include "ops/cell/cell_text.h"

#include <optional>

#include "ops/cell/cell_common.h"
#include "report/result_table.h"
#include "run/session.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace k = cell_text_keys;

namespace {

// The search range as an address: "B2:D9", "B:D" or "2:9"; ":" when every box is empty.
std::string search_address(const Boxes& b) {
    auto row = [](std::int32_t r) { return r > 0 ? std::to_string(r) : std::string(); };
    return xl::column_letters(b.col_from) + row(b.row_from) + ":" + xl::column_letters(b.col_to) +
           row(b.row_to);
}

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
        ++s.cells_found;
        visit(*found);
        found = range.find_next(*found);
        if (found && found->address() == first) return;
    }
}

Error no_sheet() { return Error::failed("シートが開かれていません。"); }

}  // namespace

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

    const std::string address = search_address(read_boxes(s.params));
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
    const Boxes b = read_boxes(s.params);
    std::string address = Excel_Used_Cells(*ws, b.col_from, b.row_from, b.col_to, b.row_to);
    if (address.empty()) return {};  // the rectangle holds nothing
    auto range = ws->range(address);
    if (!range) return range.error();
    if (auto r = range->replace(replace_options(s.params)); !r) return r.error();
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
        if (!ws->activate() || !ws->select() || !ws->check()) {
            t.new_row();
            t.set(1, sheet_label(*ws) + "シートが参照できません。");
            // Said in the run's error text too: the list alone is easily scrolled past.
            s.update_error_text(sheet_label(*ws) + "シートが参照できません。");
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
