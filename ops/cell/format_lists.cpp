// The format lists and the bulk format change: 書式一覧 (the format of every cell of the range),
// 書式ごとのセル一覧 (the distinct formats of the range, each with its cells), 書式一括修正 (one
// property value replaced by another wherever a cell has it) and, for every sheet at once,
// スタイル利用状況 (each cell style of the workbook with the number of cells based on it).

#include <charconv>
#include <map>

#include "ops/cell/cell_common.h"
#include "ops/cell/formats.h"
#include "ops/registry.h"
#include "report/result_table.h"
#include "run/session.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

Result<void> no_sheet() { return Error::failed("シートがありません。"); }

// Visits the cells of the pane's range that hold something or carry a format of their own.
void for_each_formatted_cell(run::Session& s, xl::Worksheet& ws,
                             const std::function<void(xl::CellRef, const xl::CellFormat&)>& visit) {
    std::optional<xl::Area> area = pane_area(ws, s.params);
    if (!area) return;
    Result<void> r = ws.format_cells(*area, false, [&](xl::CellRef c, xl::CellFormat& f) {
        if (!s.cancel) visit(c, f);
    });
    if (!r) s.update_error_text(ws.name() + " " + r.error().message);
}

std::string Check_range(const shell::Params& p, std::string_view) { return range_boxes_error(p); }

// ---- 書式一覧 ----

Result<void> Excel_セル_書式一覧(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    begin_cell_list(s, *ws,
                    {"値", "フォント", "配置", "表示形式", "罫線", "背景", "スタイル"});
    std::int64_t n = 0;
    for_each_formatted_cell(s, *ws, [&](xl::CellRef c, const xl::CellFormat& f) {
        if ((++n & 255) == 0 && s.yield()) return;
        add_cell_row(s, c,
                     {ws->cell_text(c), formats::font_text(f.font),
                      formats::alignment_text(f.alignment), f.number_format,
                      formats::border_text(f.border), formats::fill_text(f.fill), f.style});
    });
    return {};
}

// ---- 書式ごとのセル一覧 ----

// "A1:C1,B3": the cells of a row that follow one another written as one range.
std::string cell_ranges(const std::vector<xl::CellRef>& cells) {
    std::string out;
    for (std::size_t i = 0; i < cells.size();) {
        std::size_t j = i;
        while (j + 1 < cells.size() && cells[j + 1].row == cells[i].row &&
               cells[j + 1].col == cells[j].col + 1)
            ++j;
        if (!out.empty()) out += ",";
        out += cell_address(cells[i]);
        if (j > i) out += ":" + cell_address(cells[j]);
        i = j + 1;
    }
    return out;
}

Result<void> Excel_セル_書式ごとのセル一覧(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    std::vector<std::string> order;
    std::map<std::string, std::vector<xl::CellRef>> cells;
    for_each_formatted_cell(s, *ws, [&](xl::CellRef c, const xl::CellFormat& f) {
        std::string key = formats::format_text(f);
        auto& list = cells[key];
        if (list.empty()) order.push_back(key);
        list.push_back(c);
    });
    report::ResultTable& t = s.table;
    t.new_row();
    t.set_title(0, "ファイル名");
    t.set_title(1, "シート名");
    t.set_title(2, "セル数");
    t.set_title(3, "書式");
    t.set_title(4, "セル");
    t.set(0, s.file_name);
    t.set(1, sheet_label(*ws));
    for (const std::string& key : order) {
        t.new_row();
        t.set(2, std::to_string(cells[key].size()));
        t.set(3, key);
        t.set(4, cell_ranges(cells[key]));
    }
    return {};
}

// ---- 書式一括修正 ----

enum class Property { FontName, Size, NumberFormat, FontColour, FillColour };

std::optional<Property> chosen_property(const shell::Params& p) {
    std::string v = p.option("property");
    if (v == "font_name") return Property::FontName;
    if (v == "size") return Property::Size;
    if (v == "number_format") return Property::NumberFormat;
    if (v == "font_colour") return Property::FontColour;
    if (v == "fill_colour") return Property::FillColour;
    return std::nullopt;
}

std::optional<double> size_value(std::string_view typed) {
    std::string t = text::narrow(text::trim(typed));
    double v = 0;
    auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), v);
    if (t.empty() || ec != std::errc() || end != t.data() + t.size() || v < 1 || v > 409)
        return std::nullopt;
    return v;
}

std::string Check_セル_書式一括修正(const shell::Params& p, std::string_view) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    std::optional<Property> prop = chosen_property(p);
    if (!prop) return "修正する書式が選択されていません。";
    const std::string old_value = p.text("old"), new_value = p.text("new");
    if (text::trim(old_value).empty()) return "修正前の値が入力されていません。";
    if (text::trim(new_value).empty()) return "修正後の値が入力されていません。";
    if (*prop == Property::Size && (!size_value(old_value) || !size_value(new_value)))
        return "サイズは 1 から 409 までの数値で指定してください。";
    if ((*prop == Property::FontColour || *prop == Property::FillColour) &&
        (!formats::parse_colour(old_value) || !formats::parse_colour(new_value)))
        return "色の指定が不正です。（例 #FF0000、255,0,0、自動）";
    return {};
}

Result<void> Excel_セル_書式一括修正(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    const shell::Params& p = s.params;
    const Property prop = *chosen_property(p);
    const std::string old_text = text::trim(p.text("old")), new_text = text::trim(p.text("new"));
    std::optional<xl::Area> area = pane_area(*ws, p);
    if (!area) return {};
    Result<void> r = ws->format_cells(*area, false, [&](xl::CellRef, xl::CellFormat& f) {
        switch (prop) {
            case Property::FontName:
                if (f.font.name == old_text) f.font.name = new_text;
                break;
            case Property::Size:
                if (f.font.size == *size_value(old_text)) f.font.size = *size_value(new_text);
                break;
            case Property::NumberFormat:
                if (f.number_format == old_text) f.number_format = new_text;
                break;
            case Property::FontColour:
                if (f.font.colour == *formats::parse_colour(old_text))
                    f.font.colour = *formats::parse_colour(new_text);
                break;
            case Property::FillColour: {
                std::int32_t shown = f.fill.pattern == "none" ? xl::kAutomaticColour : f.fill.colour;
                if (shown != *formats::parse_colour(old_text)) break;
                std::int32_t colour = *formats::parse_colour(new_text);
                if (colour == xl::kAutomaticColour) {
                    f.fill = xl::FillFormat{};
                } else {
                    if (f.fill.pattern == "none" || f.fill.pattern == "gradient")
                        f.fill.pattern = "solid";
                    f.fill.colour = colour;
                }
                break;
            }
        }
    });
    if (!r) s.update_error_text(ws->name() + " " + r.error().message);
    return {};
}

// ---- すべてのシート_セル スタイル利用状況 ----

std::string Check_すべてのシート_セル_スタイル利用状況(const shell::Params&, std::string_view) {
    return {};
}

Result<void> Excel_すべてのシート_セル_スタイル利用状況(run::Session& s) {
    xl::Workbook* book = s.book();
    if (!book) return Error::failed("ブックがありません。");
    std::map<std::string, std::int64_t> used;
    for (int i = 1; i <= book->worksheet_count(); ++i) {
        if (s.yield()) return {};
        xl::Worksheet* ws = book->worksheet(i);
        if (!ws) continue;
        Result<void> r = ws->format_cells(ws->used_range(), false,
                                          [&](xl::CellRef, xl::CellFormat& f) { ++used[f.style]; });
        if (!r) s.update_error_text(ws->name() + " " + r.error().message);
    }
    report::ResultTable& t = s.table;
    t.new_row();
    t.set_title(0, "ファイル名");
    t.set_title(1, "スタイル名");
    t.set_title(2, "セル数");
    t.set(0, s.file_name);
    for (const std::string& name : book->cell_style_names()) {
        t.new_row();
        t.set(1, name);
        auto it = used.find(name);
        t.set(2, std::to_string(it == used.end() ? 0 : it->second));
    }
    return {};
}

const Procedures kProcedures[] = {
    {"セル", "書式一覧", Check_range, Excel_セル_書式一覧},
    {"セル", "書式一括修正", Check_セル_書式一括修正, Excel_セル_書式一括修正, nullptr, nullptr,
     nullptr, true},
    {"セル", "書式ごとのセル一覧", Check_range, Excel_セル_書式ごとのセル一覧},
    {.category = "すべてのシート_セル",
     .key_name = "スタイル利用状況",
     .check = Check_すべてのシート_セル_スタイル利用状況,
     .execute = Excel_すべてのシート_セル_スタイル利用状況,
     .own_sheet_loop = true},
};

}  // namespace

std::span<const Procedures> cell_format_list_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
