// Row heights (and, through the shared executors, column widths): one size for given rows, a
// size per row from a list, or rows fitted to their contents.

#include "ops/registry.h"
#include "ops/row/lines.h"

namespace sheaflow::ops {
namespace lines {
namespace k = keys;

namespace {
double max_size(Axis axis) { return axis == Axis::Rows ? 409 : 255; }
std::string size_word(Axis axis) { return axis == Axis::Rows ? "高さ" : "幅"; }
}  // namespace

std::string check_size(const shell::Params& p, Axis axis) {
    if (std::string e = check_lines(axis, p.text(k::kLines)); !e.empty()) return e;
    auto size = pane_decimal(p.text(k::kSize));
    if (!size || *size < 0 || *size > max_size(axis))
        return size_word(axis) + "は 0 から " + std::to_string(static_cast<int>(max_size(axis))) +
               " までの数値で指定してください。";
    return {};
}

Result<void> size_lines(run::Session& s, Axis axis) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    xl::LineFormatChange change;
    change.size = pane_decimal(s.params.text(k::kSize));
    if (auto r = ws->format_lines(axis, {*parse_lines(axis, s.params.text(k::kLines))}, change); !r)
        log_refusal(s, *ws, r.error());
    return {};
}

std::string check_size_by_list(const shell::Params& p, Axis axis) {
    if (p.option(k::kMode) == "auto") return check_lines(axis, p.text(k::kLines));
    std::string error;
    (void)parse_size_list(axis, p.text(k::kList), error);
    return error;
}

Result<void> size_lines_by_list(run::Session& s, Axis axis) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    const shell::Params& p = s.params;
    if (p.option(k::kMode) == "auto") {
        if (auto r = ws->autofit_lines(axis, {*parse_lines(axis, p.text(k::kLines))}); !r)
            log_refusal(s, *ws, r.error());
        return {};
    }
    std::string error;
    for (const SizeItem& item : parse_size_list(axis, p.text(k::kList), error)) {
        xl::LineFormatChange change;
        change.size = item.size;
        if (auto r = ws->format_lines(axis, {item.lines}, change); !r) {
            log_refusal(s, *ws, r.error());
            break;
        }
    }
    return {};
}

}  // namespace lines

namespace {
using xl::Axis;

std::string Check_行_高さ設定1(const shell::Params& p, std::string_view) {
    return lines::check_size(p, Axis::Rows);
}
Result<void> Excel_行_高さ設定1(run::Session& s) { return lines::size_lines(s, Axis::Rows); }
std::string Check_行_高さ設定2(const shell::Params& p, std::string_view) {
    return lines::check_size_by_list(p, Axis::Rows);
}
Result<void> Excel_行_高さ設定2(run::Session& s) {
    return lines::size_lines_by_list(s, Axis::Rows);
}

const Procedures kProcedures[] = {
    {"行", "高さ設定１", Check_行_高さ設定1, Excel_行_高さ設定1, nullptr, nullptr, nullptr, true},
    {"行", "高さ設定２", Check_行_高さ設定2, Excel_行_高さ設定2, nullptr, nullptr, nullptr, true},
};

}  // namespace

std::span<const Procedures> row_size_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
