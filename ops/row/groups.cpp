// Outline groups of rows (and, through the shared executors, columns): grouping raises the
// outline level of the rows by one, ungrouping lowers it; collapsing hides the rows and marks the
// summary row after them, as the application's outline buttons do; expanding undoes that.

#include <map>

#include "ops/registry.h"
#include "ops/row/lines.h"

namespace sheaflow::ops {
namespace lines {
namespace k = keys;

std::string check_group(const shell::Params& p, Axis axis) {
    return check_lines(axis, p.text(k::kLines));
}

Result<void> group_lines(run::Session& s, Axis axis) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    const xl::LineSpan span = *parse_lines(axis, s.params.text(k::kLines));
    const std::string& action = s.params.option(k::kAction);
    Result<void> r;
    if (action == "collapse" || action == "expand") {
        xl::LineFormatChange detail, summary;
        detail.hidden = action == "collapse";
        summary.collapsed = action == "collapse";
        r = ws->format_lines(axis, {span}, detail);
        if (r && span.last < grid_limit(axis))
            r = ws->format_lines(axis, {{span.last + 1, span.last + 1}}, summary);
    } else {
        // Each line's level moves by one; lines of equal new level are changed together.
        std::map<std::int32_t, int> level;
        for (const auto& [lines, format] : ws->formatted_lines(axis))
            for (std::int32_t l = std::max(lines.first, span.first);
                 l <= std::min(lines.last, span.last); ++l)
                level[l] = format.outline_level;
        std::map<int, std::vector<xl::LineSpan>> by_level;
        for (std::int32_t l = span.first; l <= span.last; ++l) {
            int now = level.count(l) ? level[l] : 0;
            int next = action == "ungroup" ? std::max(0, now - 1) : std::min(7, now + 1);
            auto& v = by_level[next];
            if (!v.empty() && v.back().last == l - 1)
                v.back().last = l;
            else
                v.push_back({l, l});
        }
        for (const auto& [next, spans] : by_level) {
            xl::LineFormatChange change;
            change.outline_level = next;
            if (r = ws->format_lines(axis, spans, change); !r) break;
        }
    }
    if (!r) log_refusal(s, *ws, r.error());
    return {};
}

}  // namespace lines

namespace {
using xl::Axis;

std::string Check_行_グループ(const shell::Params& p, std::string_view) {
    return lines::check_group(p, Axis::Rows);
}
Result<void> Excel_行_グループ(run::Session& s) { return lines::group_lines(s, Axis::Rows); }

const Procedures kProcedures[] = {
    {"行", "グループ", Check_行_グループ, Excel_行_グループ, nullptr, nullptr, nullptr, true},
};

}  // namespace

std::span<const Procedures> row_groups_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
