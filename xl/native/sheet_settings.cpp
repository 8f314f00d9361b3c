// Worksheet.Visible and Worksheet.CodeName: the state attribute of the sheet's entry in the
// workbook part, and the codeName of its <sheetPr> with the VBA document module renamed along.

#include "util/text.h"
#include "xl/native/book.h"
#include "xl/native/structure_support.h"

namespace sheaflow::xl::native {
namespace {

// A module name as the VBA editor accepts it: up to 31 characters, a letter first (any
// character outside ASCII counts as one), then letters, digits and underscores.
bool valid_code_name(const std::string& name) {
    std::u32string u = text::to_u32(name);
    if (u.empty() || u.size() > 31) return false;
    auto letter = [](char32_t c) {
        return (c >= U'A' && c <= U'Z') || (c >= U'a' && c <= U'z') ||
               (c > 0x7F && c != 0x3000 && c != 0xFFFD);
    };
    if (!letter(u[0])) return false;
    for (char32_t c : u)
        if (!letter(c) && !(c >= U'0' && c <= U'9') && c != U'_') return false;
    return true;
}

}  // namespace

int Sheet::visibility() const {
    if (state_ == "hidden") return xlSheetHidden;
    if (state_ == "veryHidden") return xlSheetVeryHidden;
    return xlSheetVisible;
}

Result<void> Sheet::set_visibility(int visibility) {
    const char* state = visibility == xlSheetHidden       ? "hidden"
                        : visibility == xlSheetVeryHidden ? "veryHidden"
                        : visibility == xlSheetVisible    ? ""
                                                          : nullptr;
    if (!state) return Error::failed("シートの表示の指定が正しくありません。");
    if (this->visibility() == visibility) return {};
    if (book_.workbook_part().structure_locked())
        return structure::refused("ブックの構成が保護されているため、シートの表示を変更できません。");
    const int position = book_.sheet_position(this);
    if (visibility != xlSheetVisible) {
        int others = 0;
        for (const auto& s : book_.sheets())
            if (s.get() != this && s->visible()) ++others;
        if (others == 0)
            return structure::refused("ブックには少なくとも1つのシートを表示する必要があります。");
    }
    pugi::xml_node e = structure::sheet_element(book_.workbook_part(), position);
    if (!e) return Error::failed("シートの一覧が壊れています。");
    if (*state)
        (e.attribute("state") ? e.attribute("state") : e.append_attribute("state")) = state;
    else
        e.remove_attribute("state");
    state_ = state;
    book_.workbook_part().mark_dirty();
    // A hidden sheet cannot stay active: the next visible sheet takes its place, or the one
    // before it, as the application does.
    if (visibility != xlSheetVisible && book_.active_sheet() == this) {
        auto& sheets = book_.sheets();
        Sheet* next = nullptr;
        for (std::size_t i = static_cast<std::size_t>(position) + 1; i < sheets.size() && !next; ++i)
            if (sheets[i]->visible()) next = sheets[i].get();
        for (int i = position - 1; i >= 0 && !next; --i)
            if (sheets[static_cast<std::size_t>(i)]->visible())
                next = sheets[static_cast<std::size_t>(i)].get();
        book_.set_active(next);
    }
    book_.structure_changed();
    return {};
}

Result<void> Sheet::set_code_name(const std::string& name) {
    if (!has_cells()) return Error::failed("ワークシートではありません。");
    if (auto r = check(); !r) return r;
    const std::string old = code_name();
    if (name == old) return {};
    if (!valid_code_name(name))
        return structure::refused("コード名「" + name + "」は使えません。");
    std::set<std::string> in_use = structure::code_names(book_);
    in_use.erase(text::upper(old));
    if (in_use.count(text::upper(name)))
        return structure::refused("コード名「" + name + "」は既に使われています。");
    // Nor may it name another module of the project.
    if (auto project = book_.vb_project(); project && (*project)->exists())
        if (VBComponent* c = (*project)->vb_components().item(name);
            c && text::upper(c->name()) != text::upper(old))
            return structure::refused("コード名「" + name + "」は既に使われています。");
    auto sheet_xml = structure::sheet_text(book_, *this);
    if (!sheet_xml) return sheet_xml.error();
    // The module first: a project that cannot be changed leaves the sheet as it was.
    if (!old.empty())
        if (auto r = book_.rename_document_module(old, name); !r) return r;
    if (auto r = structure::store_sheet_text(book_, *this,
                                             structure::with_code_name(*sheet_xml, name));
        !r)
        return r;
    code_name_ = name;
    book_.set_saved(false);
    return {};
}

}  // namespace sheaflow::xl::native
