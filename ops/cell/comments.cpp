// The comment boxes of the pane's range: コメント書式一覧 (size, fill, line, visibility, fitting
// and font of every comment), コメント書式設定 (the box) and コメントの文字書式設定 (the font of
// the comment's text, every run of it).

#include <charconv>
#include <cstdio>

#include "ops/cell/cell_common.h"
#include "ops/cell/formats.h"
#include "ops/registry.h"
#include "run/session.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

using formats::parse_colour;

Result<void> no_sheet() { return Error::failed("シートがありません。"); }

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

std::string points_text(double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%g", v);
    return buf;
}

// The comments of the pane's range on the active sheet, edited.
Result<void> format_boxes(run::Session& s, const std::function<void(xl::CommentBox&)>& edit) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    std::optional<xl::Area> area = pane_target_area(*ws, s.params);
    if (!area) return {};
    if (s.yield()) return {};
    if (auto r = ws->format_comment_boxes(*area, edit); !r)
        s.update_error_text(ws->name() + " " + r.error().message);
    return {};
}

// ---- コメント書式一覧 ----

std::string Check_range(const shell::Params& p, std::string_view) { return range_boxes_error(p); }

Result<void> Excel_セル_コメント書式一覧(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_sheet();
    std::optional<xl::Area> area = pane_target_area(*ws, s.params);
    begin_cell_list(s, *ws,
                    {"コメント", "幅", "高さ", "塗りつぶし", "線の色", "線の太さ", "表示",
                     "自動調整", "フォント"});
    if (!area) return {};
    for (const xl::CommentBox& b : ws->comment_boxes()) {
        if (!area->contains({b.row, b.col})) continue;
        add_cell_row(s, {b.row, b.col},
                     {b.text, points_text(b.width), points_text(b.height),
                      formats::colour_words(b.fill), formats::colour_words(b.line),
                      points_text(b.line_weight), b.visible ? "常に表示" : "表示しない",
                      b.autosize ? "する" : "しない", formats::font_text(b.font)});
    }
    return {};
}

// ---- コメント書式設定 ----

std::string Check_セル_コメント書式設定(const shell::Params& p, std::string_view) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    bool bad = false;
    auto width = box_number(p, "width", bad);
    auto height = box_number(p, "height", bad);
    if (bad || (width && (*width <= 0 || *width > 1000)) || (height && (*height <= 0 || *height > 1000)))
        return "幅と高さは 1000 ポイントまでの正の数値で指定してください。";
    auto weight = box_number(p, "line_weight", bad);
    if (bad || (weight && (*weight <= 0 || *weight > 20)))
        return "線の太さは 20 ポイントまでの正の数値で指定してください。";
    for (const char* key : {"fill_colour", "line_colour"}) {
        std::string c = text::trim(p.text(key));
        if (!c.empty() && (!parse_colour(c) || *parse_colour(c) < 0))
            return "色の指定が不正です。（例 #FFFFE1、255,255,225）";
    }
    bool any = width || height || weight || !text::trim(p.text("fill_colour")).empty() ||
               !text::trim(p.text("line_colour")).empty() ||
               (!p.option("visible").empty() && p.option("visible") != formats::kKeep) ||
               (!p.option("autosize").empty() && p.option("autosize") != formats::kKeep);
    return any ? "" : "変更する書式が指定されていません。";
}

Result<void> Excel_セル_コメント書式設定(run::Session& s) {
    const shell::Params& p = s.params;
    bool bad = false;
    auto width = box_number(p, "width", bad);
    auto height = box_number(p, "height", bad);
    auto weight = box_number(p, "line_weight", bad);
    auto fill = parse_colour(p.text("fill_colour"));
    auto line = parse_colour(p.text("line_colour"));
    return format_boxes(s, [&](xl::CommentBox& b) {
        if (width) b.width = *width;
        if (height) b.height = *height;
        if (weight) b.line_weight = *weight;
        if (fill) b.fill = *fill;
        if (line) b.line = *line;
        if (p.option("visible") == "show") b.visible = true;
        if (p.option("visible") == "hide") b.visible = false;
        formats::apply_switch(p, "autosize", b.autosize);
    });
}

// ---- コメントの文字書式設定 ----

std::string Check_セル_コメントの文字書式設定(const shell::Params& p, std::string_view) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    bool bad = false;
    auto size = box_number(p, "size", bad);
    if (bad || (size && (*size < 1 || *size > 409)))
        return "サイズは 1 から 409 までの数値で指定してください。";
    std::string colour = text::trim(p.text("colour"));
    if (!colour.empty() && !parse_colour(colour))
        return "色の指定が不正です。（例 #FF0000、255,0,0、自動）";
    auto chosen = [&](const char* key) {
        return !p.option(key).empty() && p.option(key) != formats::kKeep;
    };
    bool any = !text::trim(p.text("font_name")).empty() || size || !colour.empty() ||
               chosen("bold") || chosen("italic") || chosen("underline") || chosen("strike");
    return any ? "" : "変更する書式が指定されていません。";
}

Result<void> Excel_セル_コメントの文字書式設定(run::Session& s) {
    const shell::Params& p = s.params;
    return format_boxes(s, [&](xl::CommentBox& b) {
        xl::FontFormat& f = b.font;
        std::string name = text::trim(p.text("font_name"));
        if (!name.empty()) f.name = name;
        bool bad = false;
        if (auto size = box_number(p, "size", bad)) f.size = *size;
        formats::apply_switch(p, "bold", f.bold);
        formats::apply_switch(p, "italic", f.italic);
        formats::apply_switch(p, "strike", f.strike);
        std::string u = p.option("underline");
        if (u == "none") f.underline.clear();
        if (u == "single" || u == "double") f.underline = u;
        if (auto colour = parse_colour(p.text("colour"))) f.colour = *colour;
    });
}

const Procedures kProcedures[] = {
    {"セル", "コメント書式一覧", Check_range, Excel_セル_コメント書式一覧},
    {"セル", "コメント書式設定", Check_セル_コメント書式設定, Excel_セル_コメント書式設定, nullptr,
     nullptr, nullptr, true},
    {"セル", "コメントの文字書式設定", Check_セル_コメントの文字書式設定,
     Excel_セル_コメントの文字書式設定, nullptr, nullptr, nullptr, true},
};

}  // namespace

std::span<const Procedures> comment_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
