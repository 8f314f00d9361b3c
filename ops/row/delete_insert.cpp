// Deleting and inserting rows (and, through the shared executors, columns): by a row text, by
// the value of a column, blank rows, and blank rows inserted at intervals or where a value
// changes.

#include <algorithm>

#include "address/address.h"
#include "ops/registry.h"
#include "ops/row/lines.h"

namespace sheaflow::ops {
namespace lines {
namespace k = keys;

namespace {

// The lines whose cell on the key line of the other axis shows the text looked for, as spans.
std::vector<xl::LineSpan> matching_lines(xl::Worksheet& ws, Axis axis, std::int32_t key,
                                         const std::string& wanted, bool partial) {
    std::vector<xl::LineSpan> spans;
    xl::LineSpan used = used_lines(ws, axis);
    for (std::int32_t line = used.first; line <= used.last; ++line) {
        if (!text_matches(ws.cell_text(cell_at(axis, line, key)), wanted, partial)) continue;
        if (!spans.empty() && spans.back().last == line - 1)
            spans.back().last = line;
        else
            spans.push_back({line, line});
    }
    return spans;
}

std::int32_t key_line(const shell::Params& p, Axis axis) {
    return parse_lines(other(axis), p.text(k::kKey))->first;
}

}  // namespace

std::string check_delete(const shell::Params& p, Axis axis) {
    if (p.option(k::kMode) == "match") {
        if (std::string e = check_lines(other(axis), p.text(k::kKey), "値を調べる"); !e.empty())
            return e;
        if (p.text(k::kValue).empty()) return "一致する値が空白です。";
        return {};
    }
    return check_lines(axis, p.text(k::kLines));
}

Result<void> delete_lines(run::Session& s, Axis axis) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    const shell::Params& p = s.params;
    std::vector<xl::LineSpan> spans;
    if (p.option(k::kMode) == "match")
        spans = matching_lines(*ws, axis, key_line(p, axis), p.text(k::kValue), p.check(k::kPartial));
    else
        spans.push_back(*parse_lines(axis, p.text(k::kLines)));
    if (spans.empty()) return {};
    if (auto r = ws->delete_lines(axis, spans); !r) log_refusal(s, *ws, r.error());
    return {};
}

std::string check_insert(const shell::Params& p, Axis axis) {
    auto at = parse_lines(axis, p.text(k::kAt));
    if (!at || at->first != at->last) return check_lines(axis, "", "挿入する位置の");
    if (!pane_number(p.text(k::kCount), grid_limit(axis)))
        return "挿入する" + word(axis) + "数が不正です。";
    return {};
}

Result<void> insert_lines(run::Session& s, Axis axis) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    const shell::Params& p = s.params;
    auto at = parse_lines(axis, p.text(k::kAt))->first;
    auto count = static_cast<std::int32_t>(*pane_number(p.text(k::kCount), grid_limit(axis)));
    if (auto r = ws->insert_lines(axis, at, count); !r) log_refusal(s, *ws, r.error());
    return {};
}

std::string check_blank(const shell::Params& p, Axis axis) {
    // The four boxes of a range; empty boxes mean every row or column.
    const bool rows = axis == Axis::Rows;
    return address::Check_GyoRetu_01_All(
        p.text(rows ? k::kCrossFrom : k::kFrom), p.text(rows ? k::kFrom : k::kCrossFrom),
        p.text(rows ? k::kCrossTo : k::kTo), p.text(rows ? k::kTo : k::kCrossTo));
}

Result<void> delete_blank_lines(run::Session& s, Axis axis) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    const shell::Params& p = s.params;
    xl::LineSpan lines = used_lines(*ws, axis), cross = used_lines(*ws, other(axis));
    if (auto from = parse_lines(axis, p.text(k::kFrom)))
        lines = {std::max(lines.first, from->first),
                 std::min(lines.last, parse_lines(axis, p.text(k::kTo))->last)};
    if (auto from = parse_lines(other(axis), p.text(k::kCrossFrom)))
        cross = {from->first, parse_lines(other(axis), p.text(k::kCrossTo))->last};
    const bool formula_blank = p.check(k::kFormulaBlank);
    // Lines holding a value, found from the cells that exist rather than cell by cell.
    std::vector<bool> filled(static_cast<std::size_t>(std::max(0, lines.last - lines.first + 1)));
    if (filled.empty()) return {};
    xl::Area area = axis == Axis::Rows
                        ? xl::Area{lines.first, cross.first, lines.last, cross.last}
                        : xl::Area{cross.first, lines.first, cross.last, lines.last};
    ws->for_each_cell(area, [&](xl::CellRef c) {
        std::int32_t line = axis == Axis::Rows ? c.row : c.col;
        auto i = static_cast<std::size_t>(line - lines.first);
        if (!filled[i] && has_value(*ws, c, !formula_blank)) filled[i] = true;
    });
    std::vector<xl::LineSpan> spans;
    for (std::int32_t line = lines.first; line <= lines.last; ++line) {
        if (filled[static_cast<std::size_t>(line - lines.first)]) continue;
        if (!spans.empty() && spans.back().last == line - 1)
            spans.back().last = line;
        else
            spans.push_back({line, line});
    }
    if (spans.empty()) return {};
    if (auto r = ws->delete_lines(axis, spans); !r) log_refusal(s, *ws, r.error());
    return {};
}

}  // namespace lines

namespace {
namespace k = lines::keys;
using xl::Axis;

std::string Check_行_削除(const shell::Params& p, std::string_view) {
    return lines::check_delete(p, Axis::Rows);
}
Result<void> Excel_行_削除(run::Session& s) { return lines::delete_lines(s, Axis::Rows); }

std::string Check_行_挿入1(const shell::Params& p, std::string_view) {
    return lines::check_insert(p, Axis::Rows);
}
Result<void> Excel_行_挿入1(run::Session& s) { return lines::insert_lines(s, Axis::Rows); }

std::string Check_行_空白行削除(const shell::Params& p, std::string_view) {
    return lines::check_blank(p, Axis::Rows);
}
Result<void> Excel_行_空白行削除(run::Session& s) {
    return lines::delete_blank_lines(s, Axis::Rows);
}

// A blank row every n rows from the first row given, or before each row whose value in the key
// column differs from the row above. All the rows go in as one edit of the sheet.
std::string Check_行_挿入2(const shell::Params& p, std::string_view) {
    if (std::string e = lines::check_lines(Axis::Rows, p.text(k::kFrom), "開始"); !e.empty())
        return e;
    if (p.option(k::kMode) == "change")
        return lines::check_lines(Axis::Columns, p.text(k::kKey), "値を調べる");
    if (!lines::pane_number(p.text(k::kInterval), 1048576)) return "行数が不正です。";
    return {};
}

Result<void> Excel_行_挿入2(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return lines::no_sheet();
    const shell::Params& p = s.params;
    const std::int32_t from = lines::parse_lines(Axis::Rows, p.text(k::kFrom))->first;
    const std::int32_t last = lines::used_lines(*ws, Axis::Rows).last;
    std::vector<std::int32_t> before;  // rows to insert a blank row before
    if (p.option(k::kMode) == "change") {
        const std::int32_t key = lines::parse_lines(Axis::Columns, p.text(k::kKey))->first;
        std::string previous = ws->cell_text({from, key});
        for (std::int32_t r = from + 1; r <= last; ++r) {
            std::string current = ws->cell_text({r, key});
            if (current != previous) before.push_back(r);
            previous = std::move(current);
        }
    } else {
        const auto n = static_cast<std::int32_t>(*lines::pane_number(p.text(k::kInterval), 1048576));
        for (std::int32_t r = from + n; r <= last; r += n) before.push_back(r);
    }
    if (before.empty()) return {};
    if (auto r = ws->insert_lines_before(Axis::Rows, std::move(before)); !r)
        lines::log_refusal(s, *ws, r.error());
    return {};
}

const Procedures kProcedures[] = {
    {"行", "削除", Check_行_削除, Excel_行_削除, nullptr, nullptr, nullptr, true},
    {"行", "挿入１", Check_行_挿入1, Excel_行_挿入1, nullptr, nullptr, nullptr, true},
    {"行", "挿入２", Check_行_挿入2, Excel_行_挿入2, nullptr, nullptr, nullptr, true},
    {"行", "空白行削除", Check_行_空白行削除, Excel_行_空白行削除, nullptr, nullptr, nullptr,
     true},
};

}  // namespace

std::span<const Procedures> row_delete_insert_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
