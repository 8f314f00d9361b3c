// シート 選択 (the sheet that is active and selected when the workbook opens), 表示 (show,
// hide or very-hide sheets chosen by name, position or a name pattern) and コード名変更 (a
// sheet's code name, with the VBA document module tied to it).

#include "ops/registry.h"
#include "ops/sheet/sheet_ops.h"
#include "run/session.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

Error no_workbook() { return Error::failed("ブックが開かれていません。"); }

// Like-style match: "*" any run of characters, "?" one character.
bool matches(std::u32string_view pattern, std::u32string_view name) {
    std::size_t p = 0, n = 0, star = std::u32string_view::npos, mark = 0;
    while (n < name.size()) {
        if (p < pattern.size() && (pattern[p] == U'?' || pattern[p] == name[n])) {
            ++p, ++n;
        } else if (p < pattern.size() && pattern[p] == U'*') {
            star = p++;
            mark = n;
        } else if (star != std::u32string_view::npos) {
            p = star + 1;
            n = ++mark;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == U'*') ++p;
    return p == pattern.size();
}

// The sheets (chart sheets included) that a by-name, by-position or by-pattern choice names.
std::vector<xl::Worksheet*> sheets_by(xl::Workbook& b, std::string_view by, std::string_view what) {
    std::vector<xl::Worksheet*> out;
    const std::string key = text::trim(what);
    const std::u32string pattern = text::to_u32(text::upper(key));
    for (int i = 1; i <= b.sheet_count(); ++i) {
        xl::Worksheet* w = b.sheet(i);
        if (!w) continue;
        bool hit = by == "position" ? i == pane_number(key)
                   : by == "pattern" ? matches(pattern, text::to_u32(text::upper(w->name())))
                                     : w->name() == key;
        if (hit) out.push_back(w);
    }
    return out;
}

// 選択 ---------------------------------------------------------------------------------------

std::string Check_シート_選択(const shell::Params& p, std::string_view) {
    std::string_view by = p.option("by");
    if (by != "name" && by != "position") return "選択するシートの指定が不正です。";
    if (by == "name" && text::trim(p.text("name")).empty()) return "シート名を入力してください。";
    if (by == "position" && pane_number(p.text("position")) < 1) return "シート位置が不正です。";
    return "";
}

Result<void> Excel_シート_選択(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    const shell::Params& p = s.params;
    const std::string& by = p.option("by");
    std::vector<xl::Worksheet*> found = sheets_by(*b, by, p.text(by == "name" ? "name" : "position"));
    if (found.empty()) {
        s.update_error_text(by == "name" ? "シート「" + text::trim(p.text("name")) + "」がありません。"
                                         : std::string("シート番号が間違っています。"));
        return {};
    }
    xl::Worksheet* w = found.front();
    if (!w->visible()) {
        s.update_error_text("シート「" + w->name() + "」は非表示のため選択できません。");
        return {};
    }
    if (b->active_sheet() == w) return {};
    if (auto r = w->activate(); !r) {
        s.update_error_text(r.error().message);
        return {};
    }
    s.sheet_name = w->name();
    b->set_saved(false);
    return {};
}

// 表示 ---------------------------------------------------------------------------------------

std::string Check_シート_表示(const shell::Params& p, std::string_view) {
    std::string_view action = p.option("action");
    if (action != "show" && action != "hide" && action != "very_hide")
        return "表示・非表示の指定が不正です。";
    std::string_view by = p.option("by");
    if (by != "name" && by != "position" && by != "pattern") return "対象シートの指定が不正です。";
    const std::string what = text::trim(p.text("name"));
    if (what.empty()) return "シート名・シート位置・パターンを入力してください。";
    if (by == "position" && pane_number(what) < 1) return "シート位置が不正です。";
    return "";
}

Result<void> Excel_シート_表示(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    const shell::Params& p = s.params;
    const std::string& action = p.option("action");
    const int visibility = action == "show"   ? xl::xlSheetVisible
                           : action == "hide" ? xl::xlSheetHidden
                                              : xl::xlSheetVeryHidden;
    std::vector<xl::Worksheet*> found = sheets_by(*b, p.option("by"), p.text("name"));
    if (found.empty()) {
        s.update_error_text("対象のシート「" + text::trim(p.text("name")) + "」がありません。");
        return {};
    }
    for (xl::Worksheet* w : found) {
        if (s.yield()) return {};
        if (auto r = w->set_visibility(visibility); !r)
            s.update_error_text("シート「" + w->name() + "」 " + r.error().message);
    }
    if (xl::Worksheet* active = b->active_sheet()) s.sheet_name = active->name();
    return {};
}

// コード名変更 -----------------------------------------------------------------------------------

std::string Check_シート_コード名変更(const shell::Params& p, std::string_view) {
    std::string_view by = p.option("by");
    if (by != "name" && by != "code") return "対象シートの指定が不正です。";
    if (text::trim(p.text("sheet")).empty())
        return by == "name" ? "シート名を入力してください。" : "コード名を入力してください。";
    const std::string code = text::trim(p.text("new_code"));
    if (code.empty()) return "新しいコード名を入力してください。";
    if (text::length(code) > 31) return "コード名は３１文字以内で入力してください。";
    return "";
}

Result<void> Excel_シート_コード名変更(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    const shell::Params& p = s.params;
    const std::string key = text::trim(p.text("sheet"));
    const bool by_code = p.option("by") == "code";
    xl::Worksheet* target = nullptr;
    for (int i = 1; i <= b->worksheet_count() && !target; ++i)
        if (xl::Worksheet* w = b->worksheet(i);
            w && (by_code ? text::upper(w->code_name()) == text::upper(key) : w->name() == key))
            target = w;
    if (!target) {
        s.update_error_text((by_code ? "コード名「" : "シート「") + key + "」がありません。");
        return {};
    }
    if (auto r = target->set_code_name(text::trim(p.text("new_code"))); !r)
        s.update_error_text(r.error().message);
    return {};
}

}  // namespace

std::span<const Procedures> sheet_setting_procedures() {
    static const Procedures table[] = {
        {"シート", "選択", Check_シート_選択, Excel_シート_選択, nullptr, nullptr, nullptr, true},
        {"シート", "表示", Check_シート_表示, Excel_シート_表示, nullptr, nullptr, nullptr, true},
        {"シート", "コード名変更", Check_シート_コード名変更, Excel_シート_コード名変更, nullptr,
         nullptr, nullptr, true},
    };
    return table;
}

}  // namespace sheaflow::ops
