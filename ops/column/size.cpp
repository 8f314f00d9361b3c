// Column widths: one width for given columns, a width per column from a list or fitted to the
// contents (the executors shared with the row heights), and widths fitted to the cells below a
// number of title rows.

#include "ops/registry.h"
#include "ops/row/lines.h"

namespace sheaflow::ops {
namespace {
using xl::Axis;
namespace k = lines::keys;

std::string Check_列_幅設定1(const shell::Params& p, std::string_view) {
    return lines::check_size(p, Axis::Columns);
}
Result<void> Excel_列_幅設定1(run::Session& s) { return lines::size_lines(s, Axis::Columns); }
std::string Check_列_幅設定2(const shell::Params& p, std::string_view) {
    return lines::check_size_by_list(p, Axis::Columns);
}
Result<void> Excel_列_幅設定2(run::Session& s) {
    return lines::size_lines_by_list(s, Axis::Columns);
}

// Title rows are often wider than the data (long headings, merged captions): the widths follow
// the cells below them. Empty column boxes mean every column in use.
std::string Check_列_タイトル列幅自動調整(const shell::Params& p, std::string_view) {
    if (!p.text(k::kTitleRows).empty() && p.text(k::kTitleRows) != "0" &&
        !lines::pane_number(p.text(k::kTitleRows), 1048575))
        return "タイトル行数が不正です。";
    if (p.text(k::kFrom).empty() && p.text(k::kTo).empty()) return {};
    if (std::string e = lines::check_lines(Axis::Columns, p.text(k::kFrom), "開始"); !e.empty())
        return e;
    return lines::check_lines(Axis::Columns, p.text(k::kTo), "終了");
}

Result<void> Excel_列_タイトル列幅自動調整(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return lines::no_sheet();
    const shell::Params& p = s.params;
    xl::LineSpan span = lines::used_lines(*ws, Axis::Columns);
    if (auto from = lines::parse_lines(Axis::Columns, p.text(k::kFrom)))
        span = {from->first, lines::parse_lines(Axis::Columns, p.text(k::kTo))->last};
    if (span.last < span.first) return {};
    auto titles = lines::pane_number(p.text(k::kTitleRows), 1048575);
    const std::int32_t first = titles ? static_cast<std::int32_t>(*titles) + 1 : 1;
    if (auto r = ws->autofit_lines(Axis::Columns, {span}, first); !r)
        lines::log_refusal(s, *ws, r.error());
    return {};
}

const Procedures kProcedures[] = {
    {"列", "幅設定１", Check_列_幅設定1, Excel_列_幅設定1, nullptr, nullptr, nullptr, true},
    {"列", "幅設定２", Check_列_幅設定2, Excel_列_幅設定2, nullptr, nullptr, nullptr, true},
    {"列", "タイトル行を除いて列幅自動調整", Check_列_タイトル列幅自動調整,
     Excel_列_タイトル列幅自動調整, nullptr, nullptr, nullptr, true},
};

}  // namespace

std::span<const Procedures> column_size_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
