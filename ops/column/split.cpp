// Splitting the text of a column into several columns, as text-to-columns does: at a delimiter
// or at fixed widths (in characters). The pieces go into the column and the columns to its right,
// entered as if typed (numbers become numbers); the rows below a number of title rows are split.

#include "ops/registry.h"
#include "ops/row/lines.h"
#include "util/text.h"

namespace sheaflow::ops {
namespace {
using xl::Axis;
namespace k = lines::keys;

std::vector<std::size_t> widths(const std::string& typed) {
    std::vector<std::size_t> out;
    for (const std::string& item : text::split(text::narrow(typed), ",")) {
        auto n = lines::pane_number(item, 32767);
        if (!n) return {};
        out.push_back(static_cast<std::size_t>(*n));
    }
    return out;
}

std::vector<std::string> pieces(const std::string& s, const shell::Params& p) {
    if (p.option(k::kMethod) == "fixed") {
        std::vector<std::string> out;
        std::size_t at = 0, length = text::length(s);
        for (std::size_t w : widths(p.text(k::kWidths))) {
            if (at >= length) break;
            out.push_back(text::mid(s, at, w));
            at += w;
        }
        if (at < length) out.push_back(text::mid(s, at));
        return out;
    }
    return text::split(s, p.text(k::kDelimiter));
}

std::string Check_列_文字の分割(const shell::Params& p, std::string_view) {
    if (std::string e = lines::check_lines(Axis::Columns, p.text(k::kKey), "分割する"); !e.empty())
        return e;
    const std::string& titles = p.text(k::kTitleRows);
    if (!titles.empty() && titles != "0" && !lines::pane_number(titles, 1048575))
        return "タイトル行数が不正です。";
    if (p.option(k::kMethod) == "fixed") {
        if (widths(p.text(k::kWidths)).empty())
            return "文字数はカンマで区切った数値で指定してください。";
    } else if (p.text(k::kDelimiter).empty()) {
        return "区切り文字が空白です。";
    }
    return {};
}

Result<void> Excel_列_文字の分割(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return lines::no_sheet();
    const shell::Params& p = s.params;
    const std::int32_t col = lines::parse_lines(Axis::Columns, p.text(k::kKey))->first;
    auto titles = lines::pane_number(p.text(k::kTitleRows), 1048575);
    const std::int32_t first = titles ? static_cast<std::int32_t>(*titles) + 1 : 1;
    const xl::LineSpan rows = lines::used_lines(*ws, Axis::Rows);
    std::vector<std::pair<std::int32_t, std::string>> texts;
    ws->for_each_cell({std::max(first, rows.first), col, std::max(rows.last, 1), col},
                      [&](xl::CellRef c) {
                          xl::Value v = ws->cell_value(c);
                          if (std::holds_alternative<std::string>(v) &&
                              ws->cell_formula(c).rfind("=", 0) != 0)
                              texts.emplace_back(c.row, std::get<std::string>(v));
                      });
    for (const auto& [row, value] : texts) {
        if (s.yield()) break;
        std::vector<std::string> parts = pieces(value, p);
        if (parts.size() < 2) continue;
        for (std::size_t i = 0; i < parts.size(); ++i) {
            auto target = static_cast<std::int32_t>(col + static_cast<std::int32_t>(i));
            if (target > lines::grid_limit(Axis::Columns)) break;
            Result<void> r = parts[i].empty() ? ws->set_cell_value({row, target}, xl::Value{})
                                              : ws->set_cell_formula({row, target}, parts[i]);
            if (!r) {
                lines::log_refusal(s, *ws, r.error());
                return {};
            }
        }
    }
    return {};
}

const Procedures kProcedures[] = {
    {"列", "文字の分割", Check_列_文字の分割, Excel_列_文字の分割, nullptr, nullptr, nullptr,
     true},
};

}  // namespace

std::span<const Procedures> column_split_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
