#include "ops/view/view_common.h"

#include "util/text.h"

namespace sheaflow::ops::view {
namespace k = keys;

std::optional<xl::CellRef> pane_cell(std::string_view text) {
    std::string t = text::upper(text::narrow(text::trim(text)));
    t = text::replace_all(t, "$", "");
    // Letters then digits: "5" or "C" alone name a whole row or column, not a cell.
    std::size_t digits = t.find_first_of("0123456789");
    if (digits == 0 || digits == std::string::npos || !text::is_digits(t.substr(digits)))
        return std::nullopt;
    auto a = xl::parse_address(t);
    if (!a) return std::nullopt;
    return xl::CellRef{a->first_row, a->first_col};
}

std::vector<std::string> target_names(const shell::Params& p) {
    std::string t = text::replace_all(p.text(k::kNames), "，", ",");
    std::vector<std::string> out;
    for (const std::string& n : text::split(t, ",")) {
        std::string name = text::trim(n);
        if (!name.empty()) out.push_back(name);
    }
    return out;
}

std::string check_target(const shell::Params& p) {
    if (p.option(k::kTarget) == k::kNames && target_names(p).empty())
        return "シート名を入力してください。";
    return {};
}

std::vector<xl::Worksheet*> target_sheets(run::Session& s) {
    std::vector<xl::Worksheet*> out;
    xl::Workbook* b = s.book();
    if (!b) return out;
    const std::string& target = s.params.option(k::kTarget);
    if (target == k::kAll) {
        for (int i = 1; i <= b->worksheet_count(); ++i) out.push_back(b->worksheet(i));
    } else if (target == k::kNames) {
        for (const std::string& n : target_names(s.params)) {
            if (xl::Worksheet* ws = b->worksheet(n))
                out.push_back(ws);
            else
                s.update_error_text("シート「" + n + "」はありません。");
        }
    } else if (xl::Worksheet* ws = s.sheet()) {
        out.push_back(ws);
    }
    return out;
}

void change_views(run::Session& s, const std::vector<xl::Worksheet*>& sheets,
                  const std::function<void(xl::SheetView&)>& edit) {
    for (xl::Worksheet* ws : sheets) {
        if (s.yield()) return;
        auto v = ws->view();
        Result<void> r = v ? Result<void>{} : Result<void>(v.error());
        if (v) {
            edit(*v);
            r = ws->set_view(*v);
        }
        if (!r) s.update_error_text("シート「" + ws->name() + "」：" + r.error().message);
    }
}

}  // namespace sheaflow::ops::view
