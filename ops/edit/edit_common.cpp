#include "ops/edit/edit_common.h"

#include "util/file.h"
#include "util/text.h"

namespace sheaflow::ops::edit {
namespace k = keys;

namespace {

std::string file_name_of(const std::string& path) {
    std::size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace

std::string check_source_file(const shell::Params& p) {
    const std::string& path = p.text(k::kSourceFile);
    if (path.empty()) return "コピー元のブックを指定してください。";
    if (!file::exists(path) || file::is_directory(path))
        return "コピー元のブック「" + path + "」がありません。";
    std::string ext = text::upper(path.substr(path.find_last_of('.') + 1));
    if (path.find('.') == std::string::npos ||
        (ext != "XLSX" && ext != "XLSM" && ext != "XLS" && ext != "CSV"))
        return "コピー元のブックの拡張子が不明です。";
    return {};
}

Result<void> open_source(run::Session& s) {
    const std::string& path = s.params.text(k::kSourceFile);
    if (path == s.full_path())
        return Error::make(Error::Code::Refused, "コピー元のブックなので処理しません。");
    if (text::upper(file_name_of(path)) == text::upper(s.file_name))
        return Error::make(Error::Code::Refused,
                           "コピー元のブックと同じ名前のブックは同時に開けません。");
    if (source_book(s)) return {};
    auto b = s.app.workbooks().open(path, true);
    if (!b) return Error::make(b.error().code, "コピー元のブック「" + path + "」を開けません。" +
                                                   b.error().message);
    return {};
}

xl::Workbook* source_book(run::Session& s) {
    return s.app.workbooks().item(file_name_of(s.params.text(k::kSourceFile)));
}

xl::Worksheet* named_or_active(xl::Workbook& b, const std::string& name) {
    if (text::trim(name).empty()) return b.active_sheet();
    return b.worksheet(text::trim(name));
}

std::optional<xl::Area> pane_range(std::string_view t) {
    std::string c = text::replace_all(text::upper(text::narrow(text::trim(t))), "$", "");
    if (c.empty() || c.find_first_of("0123456789") == std::string::npos) return std::nullopt;
    auto a = xl::parse_address(c);
    if (!a || a->first_row > a->last_row || a->first_col > a->last_col) return std::nullopt;
    return a;
}

std::optional<xl::CellRef> pane_cell(std::string_view t) {
    auto a = pane_range(t);
    if (!a || a->first_row != a->last_row || a->first_col != a->last_col) return std::nullopt;
    return xl::CellRef{a->first_row, a->first_col};
}

long pane_count(std::string_view t, long max) {
    std::string n = text::narrow(text::trim(t));
    if (!text::is_digits(n) || n.size() > 9) return 0;
    long v = std::stol(n);
    return v >= 1 && v <= max ? v : 0;
}

void log_failure(run::Session& s, const Error& e, const xl::Worksheet* ws) {
    s.update_error_text(ws ? "シート「" + ws->name() + "」：" + e.message : e.message);
}

}  // namespace sheaflow::ops::edit
