// スタイル定義一覧 (every cell style of each workbook: built in or the user's, and how many
// cells, rows and columns use it) and スタイル定義削除 (the clean-up of workbooks bloated by
// styles copied in from other workbooks: unused styles of the user's, all of them, or named
// ones; cells that used a deleted style fall back to 標準 and keep their own formats). The
// deletion reports each file's size before and after on the progress lines.

#include <filesystem>
#include <system_error>

#include "ops/info/standard_styles.h"
#include "ops/registry.h"
#include "report/record_store.h"
#include "report/result_table.h"
#include "run/session.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

Error no_workbook() { return Error::failed("ブックが開かれていません。"); }

std::string kind_of(const xl::CellStyleInfo& s) {
    if (s.builtin_id < 0) return "ユーザー定義";
    return "組み込み";
}

// The name the Japanese application shows for a built-in style stored under its English name.
std::string shown_name(const xl::CellStyleInfo& s) {
    if (const BuiltinStyle* b = builtin_style(s.builtin_id); b && s.name == b->english)
        return std::string(b->japanese);
    return s.name;
}

std::string Check_ツール_スタイル定義一覧(const shell::Params&, std::string_view) { return ""; }

Result<void> Excel_ツール_スタイル定義一覧_First(run::Session& s) {
    const char* titles[] = {"ファイル名", "スタイル名", "種類", "builtinId", "使用数", "非表示"};
    for (int i = 0; i < 6; ++i) s.table.set_title(i, titles[i]);
    return {};
}

Result<void> Excel_ツール_スタイル定義一覧(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    auto styles = b->cell_styles();
    if (!styles) {
        s.update_error_text(styles.error().message);
        return {};
    }
    for (const xl::CellStyleInfo& st : *styles) {
        if (s.yield()) return {};
        s.table.new_row();
        s.table.set(0, s.file_name);
        s.table.set(1, shown_name(st));
        s.table.set(2, kind_of(st));
        s.table.set(3, st.builtin_id >= 0 ? std::to_string(st.builtin_id) : "");
        s.table.set(4, std::to_string(st.cells));
        s.table.set(5, st.hidden ? "○" : "");
    }
    return {};
}

// スタイル定義削除 ------------------------------------------------------------------------------

constexpr const char* kUnused = "unused";
constexpr const char* kAllCustom = "all_custom";
constexpr const char* kNamed = "named";

std::vector<std::string> named_styles(const shell::Params& p) {
    std::vector<std::string> out;
    for (std::string n : text::split(text::replace_all(p.text("names"), "、", ","), ","))
        if (!(n = text::trim(n)).empty()) out.push_back(n);
    return out;
}

std::string Check_ツール_スタイル定義削除(const shell::Params& p, std::string_view) {
    std::string_view mode = p.option("mode");
    if (mode != kUnused && mode != kAllCustom && mode != kNamed)
        return "削除するスタイルの指定が不正です。";
    if (mode == kNamed && named_styles(p).empty()) return "削除するスタイル名を入力してください。";
    return "";
}

std::string size_text(std::uintmax_t bytes) {
    return text::group_thousands(static_cast<std::int64_t>(bytes)) + " バイト";
}

Result<void> Excel_ツール_スタイル定義削除_First(run::Session& s) {
    s.store.reset();
    return {};
}

Result<void> Excel_ツール_スタイル定義削除(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    auto styles = b->cell_styles();
    if (!styles) {
        s.update_error_text(styles.error().message);
        return {};
    }
    const std::string& mode = s.params.option("mode");
    std::vector<std::string> names;
    if (mode == kNamed) {
        // A name a workbook lacks is no error: a batch names the styles of many workbooks.
        for (const std::string& n : named_styles(s.params)) {
            for (const xl::CellStyleInfo& st : *styles)
                if (text::upper(shown_name(st)) == text::upper(n)) names.push_back(st.name);
            names.push_back(n);
        }
    } else {
        for (const xl::CellStyleInfo& st : *styles)
            if (st.builtin_id < 0 && (mode == kAllCustom || st.cells == 0))
                names.push_back(st.name);
    }
    auto deleted = b->delete_cell_styles(names);
    if (!deleted) {
        s.update_error_text(deleted.error().message);
        return {};
    }
    std::error_code ec;
    std::uintmax_t before = std::filesystem::file_size(s.full_path(), ec);
    s.store.add({s.full_path()}, {s.full_path(), s.file_name, std::to_string(*deleted),
                                  ec ? "" : std::to_string(before)});
    return {};
}

// After the saves: the size of each file before and after.
Result<void> Excel_ツール_スタイル定義削除_Final(run::Session& s) {
    for (std::int32_t i = 0; i <= s.store.count(); ++i) {
        const report::RecordStore::Record& r = s.store.record(i);
        std::error_code ec;
        std::uintmax_t after = std::filesystem::file_size(r.field(0), ec);
        std::string line = r.field(1) + "  スタイル " + r.field(2) + " 個を削除";
        if (!r.field(3).empty() && !ec)
            line += "  " + size_text(std::stoull(r.field(3))) + " → " + size_text(after);
        s.host.progress(line);
    }
    return {};
}

}  // namespace

std::span<const Procedures> style_procedures() {
    static const Procedures table[] = {
        {"ツール", "スタイル定義一覧", Check_ツール_スタイル定義一覧, Excel_ツール_スタイル定義一覧,
         Excel_ツール_スタイル定義一覧_First, nullptr, nullptr, false},
        {"ツール", "スタイル定義削除", Check_ツール_スタイル定義削除, Excel_ツール_スタイル定義削除,
         Excel_ツール_スタイル定義削除_First, Excel_ツール_スタイル定義削除_Final, nullptr, true},
    };
    return table;
}

}  // namespace sheaflow::ops
