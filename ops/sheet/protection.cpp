// シート 保護 (and its all-sheets variant): protect the chosen sheets with a password and the
// permissions of the application's protection dialog, or unprotect them with the password.

#include "ops/registry.h"
#include "ops/sheet/sheet_targets.h"
#include "run/session.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

constexpr const char* kProtect = "protect";
constexpr const char* kUnprotect = "unprotect";

// The pane's check boxes and the permission each one grants.
struct Permission {
    const char* key;
    bool xl::SheetPermissions::*allow;
};
constexpr Permission kPermissions[] = {
    {"select_locked", &xl::SheetPermissions::select_locked_cells},
    {"select_unlocked", &xl::SheetPermissions::select_unlocked_cells},
    {"format_cells", &xl::SheetPermissions::format_cells},
    {"format_columns", &xl::SheetPermissions::format_columns},
    {"format_rows", &xl::SheetPermissions::format_rows},
    {"insert_columns", &xl::SheetPermissions::insert_columns},
    {"insert_rows", &xl::SheetPermissions::insert_rows},
    {"insert_hyperlinks", &xl::SheetPermissions::insert_hyperlinks},
    {"delete_columns", &xl::SheetPermissions::delete_columns},
    {"delete_rows", &xl::SheetPermissions::delete_rows},
    {"sort", &xl::SheetPermissions::sort},
    {"auto_filter", &xl::SheetPermissions::auto_filter},
    {"pivot_tables", &xl::SheetPermissions::pivot_tables},
    {"edit_objects", &xl::SheetPermissions::edit_objects},
    {"edit_scenarios", &xl::SheetPermissions::edit_scenarios},
};

std::string Check_シート_保護(const shell::Params& p, std::string_view category) {
    std::string_view action = p.option("action");
    if (action != kProtect && action != kUnprotect) return "保護・解除の指定が不正です。";
    if (category.rfind("すべてのシート_", 0) != 0) {
        if (const char* m = check_sheet_target(p.option("target"), p.text("name")); *m) return m;
    }
    if (text::length(p.text("password")) > 255) return "パスワードは２５５文字以内で入力してください。";
    return "";
}

Result<void> Excel_シート_保護(run::Session& s) {
    const shell::Params& p = s.params;
    xl::SheetPermissions allow;
    for (const Permission& k : kPermissions) allow.*k.allow = p.check(k.key);
    const std::string& password = p.text("password");
    bool protect = p.option("action") == kProtect;
    for (xl::Worksheet* w : chosen_sheets(s, p.option("target"), p.text("name"))) {
        if (s.yield()) return {};
        Result<void> r = protect ? w->protect(password, allow) : w->unprotect(password);
        if (!r) s.update_error_text("シート「" + w->name() + "」 " + r.error().message);
    }
    return {};
}

}  // namespace

std::span<const Procedures> sheet_protection_procedures() {
    static const Procedures table[] = {
        {"シート", "保護", Check_シート_保護, Excel_シート_保護, nullptr, nullptr, nullptr, true},
    };
    return table;
}

}  // namespace sheaflow::ops
