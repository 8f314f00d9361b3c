// ブックの保護: protect a workbook's structure (sheets may not be added, deleted, moved,
// renamed, hidden or shown) and its windows with a password, or unprotect it.

#include "ops/registry.h"
#include "run/session.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

std::string Check_ツール_ブックの保護(const shell::Params& p, std::string_view) {
    std::string_view action = p.option("action");
    if (action != "protect" && action != "unprotect") return "保護・解除の指定が不正です。";
    if (action == "protect" && !p.check("structure") && !p.check("windows"))
        return "保護する対象（シート構成・ウィンドウ）を選んでください。";
    if (text::length(p.text("password")) > 255) return "パスワードは２５５文字以内で入力してください。";
    return "";
}

Result<void> Excel_ツール_ブックの保護(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return Error::failed("ブックが開かれていません。");
    const shell::Params& p = s.params;
    Result<void> r = p.option("action") == "protect"
                         ? b->protect(p.text("password"), p.check("structure"), p.check("windows"))
                         : b->unprotect(p.text("password"));
    if (!r) s.update_error_text(r.error().message);
    return {};
}

}  // namespace

std::span<const Procedures> book_protection_procedures() {
    static const Procedures table[] = {
        {"ツール", "ブックの保護", Check_ツール_ブックの保護, Excel_ツール_ブックの保護, nullptr,
         nullptr, nullptr, true},
    };
    return table;
}

}  // namespace sheaflow::ops
