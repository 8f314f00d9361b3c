// セルの値でハイパーリンク作成: every text cell of the pane's range that holds a URL, a mail
// address, a file path or a place in the workbook ("Sheet2!A1", "#Sheet2!A1") becomes a
// hyperlink to it; the cell shows the pane's display text when one is given.

#include "ops/cell/cell_common.h"
#include "ops/registry.h"
#include "run/session.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

bool starts_with_scheme(const std::string& t) {
    for (const char* scheme : {"http://", "https://", "ftp://", "file:", "mailto:"})
        if (text::lower(t.substr(0, std::string_view(scheme).size())) == scheme) return true;
    return false;
}

// A place in the workbook: a sheet it has, "!", and a cell or range address.
std::optional<std::string> workbook_place(xl::Workbook& book, std::string t) {
    if (!t.empty() && t[0] == '#') t.erase(0, 1);
    std::size_t bang = t.rfind('!');
    if (bang == std::string::npos || bang == 0) return std::nullopt;
    std::string sheet = t.substr(0, bang);
    if (sheet.size() >= 2 && sheet.front() == '\'' && sheet.back() == '\'')
        sheet = text::replace_all(sheet.substr(1, sheet.size() - 2), "''", "'");
    if (!book.worksheet(sheet) || !xl::parse_address(t.substr(bang + 1))) return std::nullopt;
    return t;
}

// The hyperlink a cell text stands for; nullopt when it is none of the forms.
std::optional<xl::Hyperlink> link_of(xl::Workbook& book, const std::string& value) {
    std::string t = text::trim(value);
    if (t.empty() || t.find('\n') != std::string::npos) return std::nullopt;
    xl::Hyperlink h;
    if (auto place = workbook_place(book, t)) {
        h.location = *place;
        return h;
    }
    if (starts_with_scheme(t)) {
        h.address = t;
    } else if (t.find('@') != std::string::npos && t.find(' ') == std::string::npos &&
               t.find('/') == std::string::npos && t.find('\\') == std::string::npos) {
        h.address = "mailto:" + t;
    } else if (text::lower(t.substr(0, 4)) == "www.") {
        h.address = "http://" + t;
    } else if ((t.size() > 2 && t[1] == ':' && (t[2] == '\\' || t[2] == '/')) ||
               t.substr(0, 2) == "\\\\" || t[0] == '/') {
        h.address = t;  // a file path: drive, share or absolute
    } else {
        return std::nullopt;
    }
    return h;
}

std::string Check_セル_セルの値でハイパーリンク作成(const shell::Params& p, std::string_view) {
    if (std::string e = range_boxes_error(p); !e.empty()) return e;
    if (text::length(p.text("tooltip")) > 255) return "ヒントの文字は 255 文字以内で指定してください。";
    return {};
}

Result<void> Excel_セル_セルの値でハイパーリンク作成(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return Error::failed("シートがありません。");
    xl::Workbook& book = ws->parent();
    const std::string display = text::trim(s.params.text("display"));
    std::string failure;
    for_each_pane_cell(s, *ws, [&](xl::CellRef c) {
        if (!failure.empty()) return;
        std::optional<std::string> value = text_constant(*ws, c);
        if (!value) return;
        std::optional<xl::Hyperlink> link = link_of(book, *value);
        if (!link) return;
        link->row = c.row;
        link->col = c.col;
        link->tooltip = s.params.text("tooltip");
        if (auto r = ws->add_hyperlink(*link); !r) {
            failure = r.error().message;
            return;
        }
        if (!display.empty())
            if (auto r = write_text(*ws, c, display); !r) failure = r.error().message;
    });
    if (!failure.empty()) s.update_error_text(ws->name() + " " + failure);
    return {};
}

const Procedures kProcedures[] = {
    {"セル", "セルの値でハイパーリンク作成", Check_セル_セルの値でハイパーリンク作成,
     Excel_セル_セルの値でハイパーリンク作成, nullptr, nullptr, nullptr, true},
};

}  // namespace

std::span<const Procedures> hyperlink_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
