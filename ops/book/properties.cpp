// Document properties of the targets: listed, or set and cleared; and re-saving every target
// with a pause between files.

#include <chrono>
#include <string>
#include <thread>

#include "ops/registry.h"
#include "ops/sheet/sheet_ops.h"
#include "report/result_table.h"
#include "run/session.h"
#include "shell/params.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

// The Japanese caption of a built-in property, as the application's property dialog names it.
std::string caption(const xl::DocumentProperty& p) {
    if (p.custom) return "ユーザー設定：" + p.name;
    static const std::pair<const char*, const char*> kCaptions[] = {
        {"Title", "タイトル"},          {"Subject", "件名"},
        {"Author", "作成者"},           {"Manager", "管理者"},
        {"Company", "会社名"},          {"Category", "分類"},
        {"Keywords", "キーワード"},     {"Comments", "コメント"},
        {"Last Author", "最終更新者"}, {"Creation Date", "作成日時"},
        {"Last Save Time", "更新日時"},
    };
    for (const auto& [name, text] : kCaptions)
        if (p.name == name) return text;
    return p.name;
}

// The pane's field of each built-in property that プロパティ設定 sets.
constexpr std::pair<const char*, const char*> kSettable[] = {
    {"title", "Title"},       {"subject", "Subject"},   {"author", "Author"},
    {"manager", "Manager"},   {"company", "Company"},   {"category", "Category"},
    {"keywords", "Keywords"}, {"comments", "Comments"},
};

// W3C date-times ("2024-01-31T09:05:00Z") as the list shows them.
std::string shown_value(const xl::DocumentProperty& p) {
    if (!p.custom && (p.name == "Creation Date" || p.name == "Last Save Time") &&
        p.value.size() >= 19 && p.value[10] == 'T') {
        std::string v = p.value.substr(0, 19);
        v[4] = v[7] = '/';
        v[10] = ' ';
        return v + (p.value.size() > 19 && p.value.back() == 'Z' ? " (UTC)" : "");
    }
    return p.value;
}

}  // namespace

// ---- プロパティ一覧 -----------------------------------------------------------------------------

std::string Check_ファイル_プロパティ一覧(const shell::Params&, std::string_view) { return {}; }

Result<void> Excel_ファイル_プロパティ一覧(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return Error::failed("ブックが開かれていません。");
    auto props = b->document_properties();
    if (!props) return props.error();
    report::ResultTable& t = s.table;
    for (const xl::DocumentProperty& p : *props) {
        if (p.value.empty() && !s.params.check("empty")) continue;
        t.new_row();
        t.set_title(0, "ファイル名");
        t.set_title(1, "項目");
        t.set_title(2, "値");
        t.set(0, s.file_name);
        t.set(1, caption(p));
        t.set(2, shown_value(p));
    }
    return {};
}

// ---- プロパティ設定 -----------------------------------------------------------------------------

std::string Check_ファイル_プロパティ設定(const shell::Params& p, std::string_view) {
    const std::string& blank = p.option("blank");
    if (blank != "keep" && blank != "clear") return "空欄の項目の扱いを設定してください。";
    if (p.text("custom_name").empty() && !p.text("custom_value").empty())
        return "ユーザー設定のプロパティ名を入力してください。";
    if (blank == "keep") {
        bool any = !p.text("custom_name").empty();
        for (const auto& [key, name] : kSettable) any = any || !p.text(key).empty();
        if (!any) return "設定するプロパティを入力してください。";
    }
    return {};
}

Result<void> Excel_ファイル_プロパティ設定(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return Error::failed("ブックが開かれていません。");
    const bool clear_blank = s.params.option("blank") == "clear";
    for (const auto& [key, name] : kSettable) {
        const std::string& value = s.params.text(key);
        if (value.empty() && !clear_blank) continue;
        if (auto r = b->set_document_property(name, value, false); !r) return r;
    }
    const std::string& custom = s.params.text("custom_name");
    if (!custom.empty()) {
        const std::string& value = s.params.text("custom_value");
        if (!value.empty() || clear_blank)
            if (auto r = b->set_document_property(custom, value, true); !r) return r;
    }
    return {};
}

// ---- 間隔をあけて再登録 -------------------------------------------------------------------------

std::string Check_ファイル_間隔をあけて再登録(const shell::Params& p, std::string_view) {
    const std::string t = text::trim(p.text("seconds"));
    long seconds = pane_number(t);
    if (t.empty() || seconds < 0 || seconds > 3600) return "間隔（秒）を0～3600で設定してください。";
    return {};
}

Result<void> Excel_ファイル_間隔をあけて再登録(run::Session& s) {
    // The pause comes before every file but the first, so that the files' modification times
    // follow the list order at the chosen interval; the cancel button is answered meanwhile.
    if (s.processed > 1) {
        const auto end = std::chrono::steady_clock::now() +
                         std::chrono::seconds(pane_number(s.params.text("seconds")));
        while (std::chrono::steady_clock::now() < end) {
            if (s.yield()) return {};
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    }
    // Nothing changes in the workbook, but it is to be written again all the same.
    if (xl::Workbook* b = s.book()) b->set_saved(false);
    return {};
}

namespace {

const Procedures kPropertyProcedures[] = {
    {.category = "ファイル", .key_name = "プロパティ一覧", .check = Check_ファイル_プロパティ一覧,
     .execute = Excel_ファイル_プロパティ一覧},
    {.category = "ファイル", .key_name = "プロパティ設定", .check = Check_ファイル_プロパティ設定,
     .execute = Excel_ファイル_プロパティ設定, .updates = true},
    {.category = "ファイル", .key_name = "間隔をあけて再登録",
     .check = Check_ファイル_間隔をあけて再登録, .execute = Excel_ファイル_間隔をあけて再登録,
     .updates = true},
};

}  // namespace

std::span<const Procedures> property_procedures() { return kPropertyProcedures; }

}  // namespace sheaflow::ops
