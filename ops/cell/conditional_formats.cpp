// 条件付き書式設定: a conditional format of the common kinds over the pane's range (cell value
// between, equal, greater or less; text contained; duplicate or unique values; a formula; two- or
// three-colour scales; data bars), or every rule of the range removed.

#include "ops/cell/cell_common.h"
#include "ops/cell/formats.h"
#include "ops/registry.h"
#include "run/session.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

using formats::parse_colour;

// A value of the pane as a rule's formula: a number stays, "=..." is a formula, any other text
// is a quoted text.
std::string rule_formula(std::string_view typed_in) {
    std::string typed = text::trim(typed_in);
    if (!typed.empty() && typed[0] == '=') return typed.substr(1);
    if (numeric_value(typed) && text::narrow(typed) == typed) return typed;
    return "\"" + text::replace_all(typed, "\"", "\"\"") + "\"";
}

bool needs_value1(const std::string& kind) {
    return kind == "between" || kind == "equal" || kind == "greater" || kind == "less" ||
           kind == "contains" || kind == "expression";
}

bool is_scale(const std::string& kind) {
    return kind == "colour_scale2" || kind == "colour_scale3" || kind == "data_bar";
}

std::string Check_セル_条件付き書式設定(const shell::Params& p, std::string_view) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    const std::string kind = p.option("kind");
    if (kind.empty()) return "条件が選択されていません。";
    if (kind == "remove") return {};
    if (needs_value1(kind) && text::trim(p.text("value1")).empty())
        return kind == "contains" ? "文字が入力されていません。" : "値１が入力されていません。";
    if (kind == "expression" && text::trim(p.text("value1"))[0] != '=')
        return "数式は = で始めてください。";
    if (kind == "between" && text::trim(p.text("value2")).empty()) return "値２が入力されていません。";
    std::vector<const char*> colours;
    if (is_scale(kind))
        colours = kind == "data_bar"        ? std::vector<const char*>{"colour1"}
                  : kind == "colour_scale2" ? std::vector<const char*>{"colour1", "colour2"}
                                            : std::vector<const char*>{"colour1", "colour2",
                                                                       "colour3"};
    else
        colours = {"font_colour", "fill_colour"};
    for (const char* key : colours) {
        std::string c = text::trim(p.text(key));
        if (c.empty() && is_scale(kind)) return "スケール・バーの色が入力されていません。";
        if (!c.empty() && (!parse_colour(c) || *parse_colour(c) < 0))
            return "色の指定が不正です。（例 #FF0000、255,0,0）";
    }
    if (!is_scale(kind) && text::trim(p.text("font_colour")).empty() &&
        text::trim(p.text("fill_colour")).empty() && !p.check("bold"))
        return "書式（文字の色・太字・塗りつぶし）が指定されていません。";
    return {};
}

Result<void> Excel_セル_条件付き書式設定(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return Error::failed("シートがありません。");
    const shell::Params& p = s.params;
    std::optional<xl::Area> area = pane_target_area(*ws, p);
    if (!area) return {};
    const std::string kind = p.option("kind");
    Result<void> r;
    if (kind == "remove") {
        r = ws->delete_conditional_formats(*area);
    } else {
        xl::ConditionalFormat f;
        f.sqref = xl::format_address(*area, false, false);
        if (kind == "between" || kind == "equal" || kind == "greater" || kind == "less") {
            f.type = "cellIs";
            f.op = kind == "greater" ? "greaterThan" : kind == "less" ? "lessThan" : kind;
            f.formula1 = rule_formula(p.text("value1"));
            if (kind == "between") f.formula2 = rule_formula(p.text("value2"));
        } else if (kind == "contains") {
            f.type = "containsText";
            f.text = text::trim(p.text("value1"));
        } else if (kind == "duplicate") {
            f.type = "duplicateValues";
        } else if (kind == "unique") {
            f.type = "uniqueValues";
        } else if (kind == "expression") {
            f.type = "expression";
            f.formula1 = rule_formula(p.text("value1"));
        } else {
            f.type = kind == "data_bar" ? "dataBar" : "colorScale";
            int n = kind == "data_bar" ? 1 : kind == "colour_scale2" ? 2 : 3;
            for (int i = 1; i <= n; ++i)
                f.colours.push_back(*parse_colour(p.text("colour" + std::to_string(i))));
        }
        if (!is_scale(kind)) {
            if (auto c = parse_colour(p.text("font_colour"))) f.format.font.colour = *c;
            f.format.font.bold = p.check("bold");
            if (auto c = parse_colour(p.text("fill_colour"))) {
                f.format.fill.pattern = "solid";
                f.format.fill.colour = *c;
            }
        }
        r = ws->add_conditional_format(f);
    }
    if (!r) s.update_error_text(ws->name() + " " + r.error().message);
    return {};
}

const Procedures kProcedures[] = {
    {"セル", "条件付き書式設定", Check_セル_条件付き書式設定, Excel_セル_条件付き書式設定, nullptr,
     nullptr, nullptr, true},
};

}  // namespace

std::span<const Procedures> conditional_format_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
