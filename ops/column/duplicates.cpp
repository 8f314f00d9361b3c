// Values that occur more than once in a column, each with how often and in which rows; the rows
// below a number of title rows are looked at. Optionally the values are compared after folding
// full-width and half-width forms together and trimming blanks at both ends.

#include <map>

#include "ops/registry.h"
#include "ops/row/lines.h"
#include "report/result_table.h"
#include "util/text.h"

namespace sheaflow::ops {
namespace {
using xl::Axis;
namespace k = lines::keys;

// Blanks at both ends, the ideographic space included.
std::string trim_blanks(const std::string& s) {
    std::u32string u = text::to_u32(s);
    auto blank = [](char32_t c) { return c == U' ' || c == U'\t' || c == U'\u3000'; };
    std::size_t b = 0, e = u.size();
    while (b < e && blank(u[b])) ++b;
    while (e > b && blank(u[e - 1])) --e;
    return text::to_utf8(u.substr(b, e - b));
}

std::string Check_列_データ重複検索(const shell::Params& p, std::string_view) {
    if (std::string e = lines::check_lines(Axis::Columns, p.text(k::kKey), "調べる"); !e.empty())
        return e;
    const std::string& titles = p.text(k::kTitleRows);
    if (!titles.empty() && titles != "0" && !lines::pane_number(titles, 1048575))
        return "タイトル行数が不正です。";
    return {};
}

Result<void> Excel_列_データ重複検索(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return lines::no_sheet();
    const shell::Params& p = s.params;
    const std::int32_t col = lines::parse_lines(Axis::Columns, p.text(k::kKey))->first;
    auto titles = lines::pane_number(p.text(k::kTitleRows), 1048575);
    const std::int32_t first = titles ? static_cast<std::int32_t>(*titles) + 1 : 1;
    const bool fold = p.check(k::kFold);
    const xl::LineSpan rows = lines::used_lines(*ws, Axis::Rows);
    // Key -> the value as first seen and its rows, in order of first appearance.
    std::map<std::string, std::size_t> index;
    std::vector<std::pair<std::string, std::vector<std::int32_t>>> seen;
    ws->for_each_cell({std::max(first, rows.first), col, std::max(rows.last, 1), col},
                      [&](xl::CellRef c) {
                          std::string shown = ws->cell_text(c);
                          if (shown.empty()) return;
                          std::string key = shown;
                          if (fold) key = text::to_utf8(text::fold_width(text::to_u32(trim_blanks(shown))));
                          auto [it, added] = index.emplace(key, seen.size());
                          if (added) seen.push_back({shown, {}});
                          seen[it->second].second.push_back(c.row);
                      });
    report::ResultTable& t = s.table;
    for (const auto& [value, at] : seen) {
        if (at.size() < 2) continue;
        std::string list;
        for (std::int32_t r : at) list += (list.empty() ? "" : ",") + std::to_string(r);
        t.new_row();
        t.set_title(0, "ファイル名");
        t.set_title(1, "シート名");
        t.set_title(2, "値");
        t.set_title(3, "件数");
        t.set_title(4, "行");
        t.set(0, s.file_name);
        t.set(1, ws->name());
        t.set(2, value);
        t.set(3, std::to_string(at.size()));
        t.set(4, list);
    }
    return {};
}

const Procedures kProcedures[] = {
    {"列", "データ重複検索", Check_列_データ重複検索, Excel_列_データ重複検索},
};

}  // namespace

std::span<const Procedures> column_duplicates_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
