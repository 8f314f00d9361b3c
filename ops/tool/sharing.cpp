// ブックの共有: the legacy shared workbook (a revision history kept inside the file that lets
// several users edit it from a network folder). Set, clear, or list it. Co-authoring in today's
// office suites does not use this flag; clearing it is the usual step before such editing.

#include <cstdlib>

#include "ops/registry.h"
#include "report/result_table.h"
#include "run/session.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

bool lists(const shell::Params& p) { return p.option("action") == "list"; }
bool changes(const shell::Params& p) { return !lists(p); }

std::string Check_ツール_ブックの共有(const shell::Params& p, std::string_view) {
    std::string_view a = p.option("action");
    if (a != "share" && a != "unshare" && a != "list") return "共有の処理を選んでください。";
    return "";
}

Result<void> Excel_ツール_ブックの共有_First(run::Session& s) {
    if (!lists(s.params)) return {};
    const char* titles[] = {"ファイル名", "共有", "ユーザー", "変更履歴の数"};
    for (int i = 0; i < 4; ++i) s.table.set_title(i, titles[i]);
    return {};
}

Result<void> Excel_ツール_ブックの共有(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return Error::failed("ブックが開かれていません。");
    const shell::Params& p = s.params;
    if (lists(p)) {
        xl::SharingState st = b->sharing();
        std::string users;
        for (const std::string& u : st.users) users += (users.empty() ? "" : "、") + u;
        s.table.new_row();
        s.table.set(0, s.file_name);
        s.table.set(1, st.shared ? "共有" : "なし");
        s.table.set(2, users);
        s.table.set(3, st.shared ? std::to_string(st.revisions) : "");
        return {};
    }
    std::string user = text::trim(p.text("user"));
    if (user.empty()) {
        const char* env = std::getenv("USER");
        user = env && *env ? env : "Sheaflow";
    }
    if (Result<void> r = b->set_shared(p.option("action") == "share", user); !r)
        s.update_error_text(r.error().message);
    return {};
}

}  // namespace

std::span<const Procedures> sharing_procedures() {
    static const Procedures table[] = {
        {.category = "ツール",
         .key_name = "ブックの共有",
         .check = Check_ツール_ブックの共有,
         .execute = Excel_ツール_ブックの共有,
         .first = Excel_ツール_ブックの共有_First,
         .updates_when = changes},
    };
    return table;
}

}  // namespace sheaflow::ops
