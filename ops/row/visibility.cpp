// Hiding and showing rows (and, through the shared executors, columns): given rows, every hidden
// row, or the rows whose value in a column matches.

#include "ops/registry.h"
#include "ops/row/lines.h"

namespace sheaflow::ops {
namespace lines {
namespace k = keys;

std::string check_show(const shell::Params& p, Axis axis) {
    return check_lines(axis, p.text(k::kLines));
}

Result<void> show_lines(run::Session& s, Axis axis) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    xl::LineFormatChange change;
    change.hidden = s.params.option(k::kShow) != "show";
    if (auto r = ws->format_lines(axis, {*parse_lines(axis, s.params.text(k::kLines))}, change); !r)
        log_refusal(s, *ws, r.error());
    return {};
}

std::string check_show_by_value(const shell::Params& p, Axis axis) {
    if (p.option(k::kMode) == "hide_match")
        return check_lines(other(axis), p.text(k::kKey), "値を調べる");
    return {};
}

Result<void> show_lines_by_value(run::Session& s, Axis axis) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    const shell::Params& p = s.params;
    std::vector<xl::LineSpan> spans;
    xl::LineFormatChange change;
    if (p.option(k::kMode) == "hide_match") {
        change.hidden = true;
        const std::int32_t key = parse_lines(other(axis), p.text(k::kKey))->first;
        const std::string& wanted = p.text(k::kValue);
        xl::LineSpan used = used_lines(*ws, axis);
        for (std::int32_t line = used.first; line <= used.last; ++line) {
            if (!text_matches(ws->cell_text(cell_at(axis, line, key)), wanted, p.check(k::kPartial)))
                continue;
            if (!spans.empty() && spans.back().last == line - 1)
                spans.back().last = line;
            else
                spans.push_back({line, line});
        }
    } else {
        change.hidden = false;
        for (const auto& [span, format] : ws->formatted_lines(axis))
            if (format.hidden) spans.push_back(span);
    }
    if (spans.empty()) return {};
    if (auto r = ws->format_lines(axis, spans, change); !r) log_refusal(s, *ws, r.error());
    return {};
}

}  // namespace lines

namespace {
using xl::Axis;

std::string Check_行_表示1(const shell::Params& p, std::string_view) {
    return lines::check_show(p, Axis::Rows);
}
Result<void> Excel_行_表示1(run::Session& s) { return lines::show_lines(s, Axis::Rows); }
std::string Check_行_表示2(const shell::Params& p, std::string_view) {
    return lines::check_show_by_value(p, Axis::Rows);
}
Result<void> Excel_行_表示2(run::Session& s) { return lines::show_lines_by_value(s, Axis::Rows); }

const Procedures kProcedures[] = {
    {"行", "表示１", Check_行_表示1, Excel_行_表示1, nullptr, nullptr, nullptr, true},
    {"行", "表示２", Check_行_表示2, Excel_行_表示2, nullptr, nullptr, nullptr, true},
};

}  // namespace

std::span<const Procedures> row_visibility_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
