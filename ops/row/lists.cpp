// Lists of rows (and, through the shared executors, columns): the height of each row, and per
// sheet the last row with a value and the number of rows with values.

#include <map>
#include <set>

#include "ops/registry.h"
#include "ops/row/lines.h"
#include "report/result_table.h"

namespace sheaflow::ops {
namespace lines {
namespace k = keys;

namespace {
std::string number_text(double d) {
    std::string s = std::to_string(d);
    s.erase(s.find_last_not_of('0') + 1);
    if (!s.empty() && s.back() == '.') s.pop_back();
    return s;
}
}  // namespace

std::string check_list_sizes(const shell::Params& p, Axis axis) {
    if (p.text(k::kLines).empty()) return {};  // every line in use
    return check_lines(axis, p.text(k::kLines));
}

Result<void> list_sizes(run::Session& s, Axis axis) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    xl::LineSpan span = used_lines(*ws, axis);
    if (auto given = parse_lines(axis, s.params.text(k::kLines))) span = *given;
    std::map<std::int32_t, xl::LineFormat> own;
    for (const auto& [lines, format] : ws->formatted_lines(axis))
        for (std::int32_t l = std::max(lines.first, span.first); l <= std::min(lines.last, span.last);
             ++l)
            own[l] = format;
    const double standard = ws->standard_size(axis);
    report::ResultTable& t = s.table;
    for (std::int32_t line = span.first; line <= span.last; ++line) {
        if (s.yield()) break;
        auto it = own.find(line);
        t.new_row();
        t.set_title(0, "ファイル名");
        t.set_title(1, "シート名");
        t.set_title(2, word(axis));
        t.set_title(3, axis == Axis::Rows ? "高さ" : "幅");
        t.set_title(4, "非表示");
        t.set(0, s.file_name);
        t.set(1, ws->name());
        t.set(2, axis == Axis::Rows ? std::to_string(line) : xl::column_letters(line));
        t.set(3, number_text(it != own.end() ? it->second.size : standard));
        t.set(4, it != own.end() && it->second.hidden ? "○" : "");
    }
    return {};
}

Result<void> list_value_extent(run::Session& s, Axis axis) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    const bool formula_blank = s.params.check(k::kFormulaBlank);
    std::set<std::int32_t> filled;
    ws->for_each_cell(ws->used_range(), [&](xl::CellRef c) {
        if (has_value(*ws, c, !formula_blank)) filled.insert(axis == Axis::Rows ? c.row : c.col);
    });
    report::ResultTable& t = s.table;
    t.new_row();
    t.set_title(0, "ファイル名");
    t.set_title(1, "シート名");
    t.set_title(2, axis == Axis::Rows ? "最終行" : "最終列");
    t.set_title(3, axis == Axis::Rows ? "値あり行数" : "値あり列数");
    t.set(0, s.file_name);
    t.set(1, ws->name());
    std::int32_t last = filled.empty() ? 0 : *filled.rbegin();
    t.set(2, last == 0 ? std::string()
                       : axis == Axis::Rows ? std::to_string(last) : xl::column_letters(last));
    t.set(3, std::to_string(filled.size()));
    return {};
}

}  // namespace lines

namespace {
using xl::Axis;

std::string Check_行_高さ一覧(const shell::Params& p, std::string_view) {
    return lines::check_list_sizes(p, Axis::Rows);
}
Result<void> Excel_行_高さ一覧(run::Session& s) { return lines::list_sizes(s, Axis::Rows); }
std::string Check_行_値あり行一覧(const shell::Params&, std::string_view) { return {}; }
Result<void> Excel_行_値あり行一覧(run::Session& s) {
    return lines::list_value_extent(s, Axis::Rows);
}

const Procedures kProcedures[] = {
    {"行", "高さ一覧", Check_行_高さ一覧, Excel_行_高さ一覧},
    {"行", "値あり行一覧", Check_行_値あり行一覧, Excel_行_値あり行一覧},
};

}  // namespace

std::span<const Procedures> row_lists_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
