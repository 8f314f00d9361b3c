// Formats brought from a source workbook: named cell styles (one, several or all of them, a style
// of the same name taking the source's definition as the application's merge does), and the
// conditional formats of a range, applied to a range of every target.

#include "ops/edit/edit_common.h"
#include "ops/registry.h"
#include "util/text.h"

namespace sheaflow::ops {
namespace {
namespace k = edit::keys;

constexpr const char* kStyles = "styles";

std::vector<std::string> style_list(const shell::Params& p) {
    std::string t = text::replace_all(p.text(kStyles), "，", ",");
    std::vector<std::string> out;
    for (const std::string& n : text::split(t, ",")) {
        std::string name = text::trim(n);
        if (!name.empty()) out.push_back(name);
    }
    return out;
}

std::string Check_編集_コピー貼付_スタイル(const shell::Params& p, std::string_view) {
    if (std::string m = edit::check_source_file(p); !m.empty()) return m;
    if (style_list(p).empty()) return "スタイル名を入力してください。";
    return {};
}

Result<void> merge(run::Session& s, const std::vector<std::string>& names) {
    xl::Workbook* target = s.book();
    xl::Workbook* source = edit::source_book(s);
    if (!target || !source) return {};
    if (auto r = target->merge_styles(*source, names); !r) edit::log_failure(s, r.error());
    return {};
}

Result<void> Excel_編集_コピー貼付_スタイル(run::Session& s) {
    return merge(s, style_list(s.params));
}

std::string Check_編集_コピー貼付_すべてのスタイル(const shell::Params& p, std::string_view) {
    return edit::check_source_file(p);
}

Result<void> Excel_編集_コピー貼付_すべてのスタイル(run::Session& s) { return merge(s, {}); }

// The conditional formats: the same pane as the cell copy.
constexpr const char* kSource = "source";
constexpr const char* kRange = "range";
constexpr const char* kDestSheet = "dest_sheet";
constexpr const char* kDest = "dest";

std::string Check_編集_コピー貼付_条件付き書式(const shell::Params& p, std::string_view) {
    if (p.option(kSource) == "file")
        if (std::string m = edit::check_source_file(p); !m.empty()) return m;
    auto from = edit::pane_range(p.text(kRange));
    if (!from) return "コピー元のセル範囲の指定が不正です。";
    auto to = edit::pane_range(p.text(kDest));
    if (!to || to->first_row != to->last_row || to->first_col != to->last_col)
        return "貼り付け先のセルの指定が不正です。";
    if (to->first_row + (from->last_row - from->first_row) > 1048576 ||
        to->first_col + (from->last_col - from->first_col) > 16384)
        return "貼り付け先がシートの範囲外です。";
    return {};
}

Result<void> read_source(run::Session& s) {
    if (s.params.option(kSource) != "file") return {};
    return edit::open_source(s);
}

Result<void> Excel_編集_コピー貼付_条件付き書式(run::Session& s) {
    xl::Workbook* target = s.book();
    if (!target) return {};
    xl::Workbook* from_book = s.params.option(kSource) == "file" ? edit::source_book(s) : target;
    if (!from_book) return {};
    const std::string& src_name = s.params.text(k::kSourceSheet);
    xl::Worksheet* src = edit::named_or_active(*from_book, src_name);
    if (!src) {
        s.update_error_text("コピー元のシート「" + text::trim(src_name) + "」がありません。");
        return {};
    }
    const std::string& dst_name = s.params.text(kDestSheet);
    xl::Worksheet* dst = edit::named_or_active(*target, dst_name);
    if (!dst) {
        s.update_error_text("貼り付け先のシート「" + text::trim(dst_name) + "」がありません。");
        return {};
    }
    xl::Area from = *edit::pane_range(s.params.text(kRange));
    xl::Area to = *edit::pane_range(s.params.text(kDest));
    if (auto r = dst->paste_conditional_formats(*src, from, {to.first_row, to.first_col}); !r)
        edit::log_failure(s, r.error(), dst);
    return {};
}

const Procedures kProcedures[] = {
    {"編集", "コピー貼付_条件付き書式", Check_編集_コピー貼付_条件付き書式,
     Excel_編集_コピー貼付_条件付き書式, nullptr, nullptr, read_source, true},
    {"編集", "コピー貼付_スタイル", Check_編集_コピー貼付_スタイル, Excel_編集_コピー貼付_スタイル,
     nullptr, nullptr, edit::open_source, true},
    {"編集", "コピー貼付_すべてのスタイル", Check_編集_コピー貼付_すべてのスタイル,
     Excel_編集_コピー貼付_すべてのスタイル, nullptr, nullptr, edit::open_source, true},
};

}  // namespace

std::span<const Procedures> edit_style_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
