#include "ops/cell/cell_common.h"

#include <algorithm>
#include <cstdlib>

#include "address/address.h"
#include "report/result_table.h"
#include "run/session.h"
#include "util/text.h"

namespace sheaflow::ops {

Boxes read_boxes(const shell::Params& p) {
    auto row = [&](const char* key) { return address::Address_To_GyoNo(p.text(key)).start; };
    auto col = [&](const char* key) {
        return address::column_number(address::Address_Hensyu(text::trim(p.text(key))));
    };
    return {col("col_from"), row("row_from"), col("col_to"), row("row_to")};
}

std::string range_boxes_error(const shell::Params& p) {
    return address::Check_GyoRetu_01_All(p.text("col_from"), p.text("row_from"), p.text("col_to"),
                                         p.text("row_to"));
}

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

std::optional<xl::Area> pane_area(xl::Worksheet& sheet, const shell::Params& p) {
    const Boxes b = read_boxes(p);
    std::string address = Excel_Used_Cells(sheet, b.col_from, b.row_from, b.col_to, b.row_to);
    if (address.empty()) return std::nullopt;
    return xl::parse_address(address);
}

std::optional<xl::Area> pane_target_area(xl::Worksheet& sheet, const shell::Params& p) {
    const Boxes b = read_boxes(p);
    if (b.col_from > 0 && b.row_from > 0 && b.col_to > 0 && b.row_to > 0)
        return xl::Area{b.row_from, b.col_from, b.row_to, b.col_to};
    if (b.col_from == 0 && b.row_from == 0 && b.col_to == 0 && b.row_to == 0)
        return xl::Area{1, 1, sheet.rows_count(), sheet.columns_count()};
    return pane_area(sheet, p);
}

void for_each_pane_cell(run::Session& s, xl::Worksheet& sheet,
                        const std::function<void(xl::CellRef)>& visit) {
    std::optional<xl::Area> area = pane_area(sheet, s.params);
    if (!area) return;
    // The cells are collected first: a visit may write, and writing must not disturb the walk.
    std::vector<xl::CellRef> cells;
    sheet.for_each_cell(*area, [&](xl::CellRef c) { cells.push_back(c); });
    for (xl::CellRef c : cells) {
        if (s.yield()) return;
        visit(c);
    }
}

std::string sheet_label(const xl::Worksheet& ws) { return ws.name() + "(" + ws.code_name() + ")"; }

std::string cell_address(xl::CellRef c) {
    return xl::format_address(xl::Area{c.row, c.col, c.row, c.col}, false, false);
}

void begin_cell_list(run::Session& s, xl::Worksheet& ws,
                     std::initializer_list<std::string_view> more) {
    report::ResultTable& t = s.table;
    t.new_row();
    t.set_title(0, "ファイル名");
    t.set_title(1, "シート名");
    t.set_title(2, "ｱﾄﾞﾚｽ");
    int col = 3;
    for (std::string_view title : more) t.set_title(col++, std::string(title));
    t.set(0, s.file_name);
    t.set(1, sheet_label(ws));
}

void add_cell_row(run::Session& s, xl::CellRef c, std::initializer_list<std::string> cols) {
    report::ResultTable& t = s.table;
    t.new_row();
    t.set(2, cell_address(c));
    int col = 3;
    for (const std::string& text : cols) t.set(col++, text);
}

std::optional<std::string> text_constant(xl::Worksheet& ws, xl::CellRef c) {
    xl::Value v = ws.cell_value(c);
    const std::string* s = std::get_if<std::string>(&v);
    if (!s || s->empty()) return std::nullopt;
    if (ws.cell_formula(c).rfind('=', 0) == 0) return std::nullopt;
    return *s;
}

std::optional<double> numeric_value(std::string_view text_in) {
    std::string t = text::trim(text::narrow(text_in));
    if (t.empty()) return std::nullopt;
    bool percent = false;
    if (t.back() == '%') {
        percent = true;
        t.pop_back();
    }
    std::string clean;
    std::size_t i = 0;
    if (i < t.size() && (t[i] == '+' || t[i] == '-')) clean += t[i++];
    for (std::string_view mark : {"\\", "$", "\u00A5", "\uFFE5"})  // \, $, yen signs
        if (t.compare(i, mark.size(), mark) == 0) {
            i += mark.size();
            break;
        }
    bool digits = false, point = false, exponent = false;
    for (; i < t.size(); ++i) {
        char c = t[i];
        if (c >= '0' && c <= '9') {
            digits = true;
            clean += c;
        } else if (c == ',' && digits && !point && !exponent) {
            continue;  // a thousands separator
        } else if (c == '.' && !point && !exponent) {
            point = true;
            clean += c;
        } else if ((c == 'e' || c == 'E') && digits && !exponent) {
            exponent = true;
            clean += c;
            if (i + 1 < t.size() && (t[i + 1] == '+' || t[i + 1] == '-')) clean += t[++i];
            if (i + 1 >= t.size()) return std::nullopt;
        } else {
            return std::nullopt;
        }
    }
    if (!digits) return std::nullopt;
    char* end = nullptr;
    double d = std::strtod(clean.c_str(), &end);
    if (end != clean.c_str() + clean.size()) return std::nullopt;
    return percent ? d / 100 : d;
}

Result<void> write_text(xl::Worksheet& ws, xl::CellRef c, const std::string& text) {
    // The leading apostrophe makes the entry text whatever it looks like.
    return ws.set_cell_formula(c, text.empty() ? std::string() : "'" + text);
}

bool writes_back(const shell::Params& p) { return p.option(kOutput) == "write"; }

namespace findings {
namespace {

// The state of the run in progress (one run at a time, on the one thread).
struct Log {
    std::string heading;  // full path of the workbook whose heading was written last
    bool found = false;
};
Log& log() {
    static Log l;
    return l;
}

}  // namespace

Result<void> start(run::Session&) {
    log() = {};
    return {};
}

void add(run::Session& s, const std::string& line) {
    Log& l = log();
    const std::string path = s.full_path();
    if (!l.found || l.heading != path) {
        s.append_error_line(path);
        l.heading = path;
    }
    l.found = true;
    s.append_error_line(line);
}

Result<void> finish(run::Session& s) {
    if (!log().found) s.append_error_line("エラーはありません。");
    return {};
}

}  // namespace findings

}  // namespace sheaflow::ops
