#include "ops/tool/macro_support.h"

#include "util/text.h"

namespace sheaflow::ops::macro {
namespace {

const Kind kKinds[] = {
    {"標準モジュール", xl::vbext_ct_StdModule, "bas"},
    {"クラスモジュール", xl::vbext_ct_ClassModule, "cls"},
    {"フォームモジュール", xl::vbext_ct_MSForm, "frm"},
    {"ActiveXデザイナ", xl::vbext_ct_ActiveXDesigner, "cls"},
    {kSheetKind, xl::vbext_ct_Document, "txt"},
};

// Takes a leading word (compared without regard to case) and the blanks after it.
bool take_word(std::string_view& s, std::string_view word) {
    if (s.size() <= word.size() || text::upper(s.substr(0, word.size())) != text::upper(word) ||
        (s[word.size()] != ' ' && s[word.size()] != '\t'))
        return false;
    s.remove_prefix(word.size());
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
    return true;
}

}  // namespace

const Kind& kind_of(int type) {
    for (const Kind& k : kKinds)
        if (k.type == type) return k;
    return kKinds[0];
}

Result<xl::VBComponents*> components(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return Error::failed("ブックが開かれていません。");
    auto project = b->vb_project();
    if (!project) return project.error();
    return &(*project)->vb_components();
}

Result<xl::VBComponents*> components_for_import(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return Error::failed("ブックが開かれていません。");
    auto project = b->vb_project();
    if (!project) return project.error();
    if (!(*project)->exists())
        if (auto r = (*project)->create(nullptr); !r) return r.error();
    return &(*project)->vb_components();
}

bool may_hold_macros(const run::Session& s) { return s.extension == "XLSM" || s.extension == "XLS"; }

std::string sheet_name_from_code_name(xl::Workbook& book, std::string_view code_name) {
    for (int i = 1; i <= book.sheet_count(); ++i)
        if (xl::Worksheet* w = book.sheet(i); w && w->code_name() == code_name) return w->name();
    return "";
}

xl::VBComponent* sheet_module(xl::Workbook& book, xl::VBComponents& c, bool by_code_name,
                              const std::string& name) {
    std::string code = name;
    if (!by_code_name) {
        xl::Worksheet* w = book.worksheet(name);
        if (!w) return nullptr;
        code = w->code_name();
    }
    xl::VBComponent* m = code.empty() ? nullptr : c.item(code);
    if (!m || m->type() != xl::vbext_ct_Document || m->name() == kThisWorkbook) return nullptr;
    return m;
}

Result<void> clear_code(xl::VBComponent& c) {
    int n = c.code_module().count_of_lines();
    return n > 0 ? c.code_module().delete_lines(1, n) : Result<void>();
}

std::optional<Procedure> procedure_on(std::string_view line) {
    std::string trimmed = text::trim(line);
    std::string_view s = trimmed;
    for (std::string_view scope : {"Public", "Private", "Friend"})
        if (take_word(s, scope)) break;
    take_word(s, "Static");
    Procedure p;
    if (take_word(s, "Sub")) {
        p.kind = "Sub";
    } else if (take_word(s, "Function")) {
        p.kind = "Function";
    } else if (take_word(s, "Property")) {
        p.kind = "Property";
        if (!take_word(s, "Get") && !take_word(s, "Let") && !take_word(s, "Set")) return std::nullopt;
    } else {
        return std::nullopt;
    }
    std::size_t end = s.find_first_of("( \t");
    p.name = std::string(s.substr(0, end));
    if (p.name.empty()) return std::nullopt;
    return p;
}

}  // namespace sheaflow::ops::macro
