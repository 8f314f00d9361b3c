// The format settings of the cells of the pane's range: 書式設定１ (font), 書式設定２
// (alignment), 書式設定３ (borders and fill), 書式設定（数値表示） (number format) and
// 書式設定（文字列の一部） (a font for the parts of text cells that match a text). Every property
// the pane leaves at "変更しない" or empty stays as each cell has it.

#include <charconv>

#include "ops/cell/cell_common.h"
#include "ops/cell/formats.h"
#include "ops/registry.h"
#include "run/session.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

using formats::apply_switch;
using formats::kKeep;
using formats::parse_colour;

Result<void> no_sheet() { return Error::failed("シートがありません。"); }

// A number typed in a box: nullopt when empty; `bad` set when it is not a number.
std::optional<double> box_number(const shell::Params& p, const char* key, bool& bad) {
    std::string t = text::narrow(text::trim(p.text(key)));
    if (t.empty()) return std::nullopt;
    double v = 0;
    auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), v);
    if (ec != std::errc() || end != t.data() + t.size()) {
        bad = true;
        return std::nullopt;
    }
    return v;
}

bool chosen(const shell::Params& p, const char* key) {
    std::string v = p.option(key);
    return !v.empty() && v != kKeep;
}

// Formats the pane's range of the active sheet (every cell of it, empty ones included).
Result<void> format_pane_range(run::Session& s,
                               const std::function<void(xl::CellRef, const xl::Area&,
                                                        xl::CellFormat&)>& edit) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    std::optional<xl::Area> area = pane_area(*ws, s.params);
    if (!area) return {};
    if (s.yield()) return {};
    Result<void> r = ws->format_cells(*area, true, [&](xl::CellRef c, xl::CellFormat& f) {
        edit(c, *area, f);
    });
    if (!r) s.update_error_text(ws->name() + " " + r.error().message);
    return {};
}

// ---- The font fields shared by 書式設定１ and 書式設定（文字列の一部） ----

std::string check_font_fields(const shell::Params& p, bool& any) {
    bool bad = false;
    std::optional<double> size = box_number(p, "size", bad);
    if (bad || (size && (*size < 1 || *size > 409)))
        return "サイズは 1 から 409 までの数値で指定してください。";
    std::string colour = text::trim(p.text("colour"));
    if (!colour.empty() && !parse_colour(colour))
        return "色の指定が不正です。（例 #FF0000、255,0,0、自動）";
    any = !text::trim(p.text("font_name")).empty() || size || !colour.empty() ||
          chosen(p, "bold") || chosen(p, "italic") || chosen(p, "underline") ||
          chosen(p, "strike");
    return {};
}

void apply_font_fields(const shell::Params& p, xl::FontFormat& f) {
    std::string name = text::trim(p.text("font_name"));
    if (!name.empty()) f.name = name;
    bool bad = false;
    if (auto size = box_number(p, "size", bad)) f.size = *size;
    apply_switch(p, "bold", f.bold);
    apply_switch(p, "italic", f.italic);
    apply_switch(p, "strike", f.strike);
    std::string u = p.option("underline");
    if (u == "none") f.underline.clear();
    if (u == "single" || u == "double") f.underline = u;
    if (auto colour = parse_colour(p.text("colour"))) f.colour = *colour;
}

// ---- 書式設定１ ----

std::string Check_セル_書式設定1(const shell::Params& p, std::string_view) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    bool any = false;
    if (std::string e = check_font_fields(p, any); !e.empty()) return e;
    return any ? "" : "変更する書式が指定されていません。";
}

Result<void> Excel_セル_書式設定1(run::Session& s) {
    return format_pane_range(s, [&](xl::CellRef, const xl::Area&, xl::CellFormat& f) {
        apply_font_fields(s.params, f.font);
    });
}

// ---- 書式設定２ ----

std::string Check_セル_書式設定2(const shell::Params& p, std::string_view) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    bool bad = false;
    std::optional<double> indent = box_number(p, "indent", bad);
    if (bad || (indent && (*indent < 0 || *indent > 15 || *indent != int(*indent))))
        return "インデントは 0 から 15 までの整数で指定してください。";
    std::optional<double> angle = box_number(p, "rotation", bad);
    if (bad || (angle && (*angle < -90 || *angle > 90 || *angle != int(*angle))))
        return "文字の角度は -90 から 90 までの整数で指定してください。";
    bool any = chosen(p, "horizontal") || chosen(p, "vertical") || chosen(p, "wrap") ||
               chosen(p, "shrink") || chosen(p, "vertical_text") || indent || angle;
    return any ? "" : "変更する書式が指定されていません。";
}

Result<void> Excel_セル_書式設定2(run::Session& s) {
    const shell::Params& p = s.params;
    bool bad = false;
    std::optional<double> indent = box_number(p, "indent", bad);
    std::optional<double> angle = box_number(p, "rotation", bad);
    return format_pane_range(s, [&](xl::CellRef, const xl::Area&, xl::CellFormat& f) {
        xl::AlignmentFormat& a = f.alignment;
        if (chosen(p, "horizontal")) a.horizontal = p.option("horizontal");
        if (chosen(p, "vertical")) a.vertical = p.option("vertical");
        apply_switch(p, "wrap", a.wrap);
        apply_switch(p, "shrink", a.shrink);
        if (indent) a.indent = static_cast<int>(*indent);
        // The part stores a downward angle as 90 plus its size.
        if (angle) a.rotation = *angle >= 0 ? static_cast<int>(*angle) : 90 - static_cast<int>(*angle);
        if (p.option("vertical_text") == "on") a.rotation = 255;
        if (p.option("vertical_text") == "off" && a.rotation == 255) a.rotation = 0;
    });
}

// ---- 書式設定３ ----

std::string Check_セル_書式設定3(const shell::Params& p, std::string_view) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    for (const char* key : {"border_colour", "fill_colour"}) {
        std::string c = text::trim(p.text(key));
        if (!c.empty() && !parse_colour(c)) return "色の指定が不正です。（例 #FF0000、255,0,0、自動）";
    }
    if (chosen(p, "borders") && p.option("borders") != "none" && p.option("line").empty())
        return "線の種類が選択されていません。";
    if (p.option("fill") == "solid" && text::trim(p.text("fill_colour")).empty())
        return "塗りつぶしの色が入力されていません。";
    return chosen(p, "borders") || chosen(p, "fill") ? "" : "変更する書式が指定されていません。";
}

Result<void> Excel_セル_書式設定3(run::Session& s) {
    const shell::Params& p = s.params;
    const std::string where = p.option("borders");
    xl::BorderEdge line{p.option("line"),
                        parse_colour(p.text("border_colour")).value_or(xl::kAutomaticColour)};
    const std::string fill = p.option("fill");
    const std::int32_t fill_colour =
        parse_colour(p.text("fill_colour")).value_or(xl::kAutomaticColour);
    return format_pane_range(s, [&](xl::CellRef c, const xl::Area& a, xl::CellFormat& f) {
        xl::BorderFormat& b = f.border;
        const bool top = c.row == a.first_row, bottom = c.row == a.last_row;
        const bool left = c.col == a.first_col, right = c.col == a.last_col;
        if (where == "all") b.left = b.right = b.top = b.bottom = line;
        if (where == "outline") {
            if (top) b.top = line;
            if (bottom) b.bottom = line;
            if (left) b.left = line;
            if (right) b.right = line;
        }
        if (where == "inside") {
            if (!top) b.top = line;
            if (!bottom) b.bottom = line;
            if (!left) b.left = line;
            if (!right) b.right = line;
        }
        if (where == "top") b.top = line;
        if (where == "bottom") b.bottom = line;
        if (where == "left") b.left = line;
        if (where == "right") b.right = line;
        if (where == "none") b.left = b.right = b.top = b.bottom = xl::BorderEdge{};
        if (fill == "solid") {
            f.fill.pattern = "solid";
            f.fill.colour = fill_colour;
            f.fill.pattern_colour = xl::kAutomaticColour;
        }
        if (fill == "none") f.fill = xl::FillFormat{};
    });
}

// ---- 書式設定（数値表示） ----

struct Preset {
    const char* key;
    const char* code;
};
const Preset kPresets[] = {
    {"general", "General"},
    {"number", "0"},
    {"comma", "#,##0"},
    {"comma2", "#,##0.00"},
    {"currency", "\"¥\"#,##0"},
    {"percent", "0%"},
    {"percent2", "0.00%"},
    {"date", "yyyy/m/d"},
    {"date_ja", "yyyy\"年\"m\"月\"d\"日\""},
    {"era", "[$-ja-JP-x-gannen]ggge\"年\"m\"月\"d\"日\""},
    {"time", "h:mm"},
    {"text", "@"},
};

std::string number_format_code(const shell::Params& p) {
    std::string preset = p.option("preset");
    for (const Preset& x : kPresets)
        if (preset == x.key) return x.code;
    return p.text("code");
}

std::string Check_セル_書式設定_数値表示(const shell::Params& p, std::string_view) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    if (p.option("preset").empty()) return "表示形式が選択されていません。";
    if (number_format_code(p).empty()) return "表示形式が入力されていません。";
    bool bad = false;
    (void)box_number(p, "sample", bad);
    if (bad) return "表示例の値は数値で指定してください。";
    return {};
}

// The run begins with the sample value as the chosen format shows it.
Result<void> Excel_セル_書式設定_数値表示_First(run::Session& s) {
    bool bad = false;
    std::optional<double> sample = box_number(s.params, "sample", bad);
    if (sample) {
        std::string code = number_format_code(s.params);
        s.append_error_line("表示例：" + text::trim(s.params.text("sample")) + " → " +
                            xl::format_number_text(*sample, code) + "（" + code + "）");
    }
    return {};
}

Result<void> Excel_セル_書式設定_数値表示(run::Session& s) {
    const std::string code = number_format_code(s.params);
    return format_pane_range(
        s, [&](xl::CellRef, const xl::Area&, xl::CellFormat& f) { f.number_format = code; });
}

// ---- 書式設定（文字列の一部） ----

std::string Check_セル_書式設定_文字列の一部(const shell::Params& p, std::string_view) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    if (p.text("text").empty()) return "書式を設定する文字列が入力されていません。";
    bool any = false;
    if (std::string e = check_font_fields(p, any); !e.empty()) return e;
    return any ? "" : "変更する書式が指定されていません。";
}

Result<void> Excel_セル_書式設定_文字列の一部(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    const bool match_case = s.params.check("match_case");
    auto fold = [&](const std::u32string& t) {
        return match_case ? t : text::to_u32(text::upper(text::to_utf8(t)));
    };
    const std::u32string what = fold(text::to_u32(s.params.text("text")));
    std::string failure;
    for_each_pane_cell(s, *ws, [&](xl::CellRef c) {
        if (!failure.empty() || !text_constant(*ws, c)) return;
        std::vector<xl::TextRun> runs = ws->text_runs(c);
        // One font per character; the runs are built again from them.
        std::u32string plain;
        std::vector<std::optional<xl::FontFormat>> fonts;
        for (const xl::TextRun& r : runs) {
            std::u32string t = text::to_u32(r.text);
            plain += t;
            fonts.insert(fonts.end(), t.size(), r.font);
        }
        const std::u32string hay = fold(plain);
        if (hay.size() != plain.size()) return;
        const xl::FontFormat cell_font = ws->cell_format(c).font;
        bool hit = false;
        for (std::size_t at = hay.find(what); at != std::u32string::npos && !what.empty();
             at = hay.find(what, at + what.size())) {
            hit = true;
            for (std::size_t i = at; i < at + what.size(); ++i) {
                xl::FontFormat f = fonts[i].value_or(cell_font);
                apply_font_fields(s.params, f);
                fonts[i] = f;
            }
        }
        if (!hit) return;
        std::vector<xl::TextRun> out;
        for (std::size_t i = 0; i < plain.size(); ++i) {
            if (out.empty() || out.back().font != fonts[i])
                out.push_back({"", fonts[i]});
            out.back().text += text::to_utf8(plain[i]);
        }
        if (auto r = ws->set_text_runs(c, out); !r) failure = r.error().message;
    });
    if (!failure.empty()) s.update_error_text(ws->name() + " " + failure);
    return {};
}

const Procedures kProcedures[] = {
    {"セル", "書式設定１", Check_セル_書式設定1, Excel_セル_書式設定1, nullptr, nullptr, nullptr,
     true},
    {"セル", "書式設定２", Check_セル_書式設定2, Excel_セル_書式設定2, nullptr, nullptr, nullptr,
     true},
    {"セル", "書式設定３", Check_セル_書式設定3, Excel_セル_書式設定3, nullptr, nullptr, nullptr,
     true},
    {"セル", "書式設定（数値表示）", Check_セル_書式設定_数値表示, Excel_セル_書式設定_数値表示,
     Excel_セル_書式設定_数値表示_First, nullptr, nullptr, true},
    {"セル", "書式設定（文字列の一部）", Check_セル_書式設定_文字列の一部,
     Excel_セル_書式設定_文字列の一部, nullptr, nullptr, nullptr, true},
};

}  // namespace

std::span<const Procedures> cell_format_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
