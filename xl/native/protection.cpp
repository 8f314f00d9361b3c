// Sheet and workbook protection: <sheetProtection> of a worksheet part and <workbookProtection>
// of the workbook part, with the password stored as the application stores it (salted, iterated
// SHA-512) and older files' 16-bit hashes still accepted on unprotecting.

#include <array>
#include <cctype>

#include "xl/native/book.h"
#include "xl/native/password_hash.h"
#include "xl/native/structure_support.h"

namespace sheaflow::xl::native {
namespace {

bool truthy(pugi::xml_attribute a, bool absent) {
    if (!a) return absent;
    std::string_view v = a.value();
    return v == "1" || v == "true";
}

// Children of <worksheet> that come before <sheetProtection>.
constexpr std::array<std::string_view, 7> kBeforeProtection = {
    "sheetPr", "dimension", "sheetViews", "sheetFormatPr", "cols", "sheetData", "sheetCalcPr"};

bool before_protection(std::string_view local) {
    for (std::string_view n : kBeforeProtection)
        if (n == local) return true;
    return false;
}

// The flags of <sheetProtection>: attribute, its value when absent, and the permission it
// stands for. An attribute that is true protects; so a permission is the attribute's negation.
struct Flag {
    const char* attr;
    bool absent;
    bool SheetPermissions::*allow;
};
constexpr Flag kFlags[] = {
    {"objects", false, &SheetPermissions::edit_objects},
    {"scenarios", false, &SheetPermissions::edit_scenarios},
    {"formatCells", true, &SheetPermissions::format_cells},
    {"formatColumns", true, &SheetPermissions::format_columns},
    {"formatRows", true, &SheetPermissions::format_rows},
    {"insertColumns", true, &SheetPermissions::insert_columns},
    {"insertRows", true, &SheetPermissions::insert_rows},
    {"insertHyperlinks", true, &SheetPermissions::insert_hyperlinks},
    {"deleteColumns", true, &SheetPermissions::delete_columns},
    {"deleteRows", true, &SheetPermissions::delete_rows},
    {"selectLockedCells", false, &SheetPermissions::select_locked_cells},
    {"sort", true, &SheetPermissions::sort},
    {"autoFilter", true, &SheetPermissions::auto_filter},
    {"pivotTables", true, &SheetPermissions::pivot_tables},
    {"selectUnlockedCells", false, &SheetPermissions::select_unlocked_cells},
};

// Attributes of <workbookProtection> that belong to the shared workbook's revision lock.
bool revision_attr(std::string_view name) {
    return name.rfind("revisions", 0) == 0 || name == "lockRevision";
}

Error wrong_password() {
    return Error::make(Error::Code::Refused, "パスワードが正しくありません。");
}

// Whether `password` opens a protection element whose attributes carry the given prefix
// ("" for sheets and the password to modify, "workbook" for the workbook's structure);
// `legacy_attr` holds the older 16-bit hash.
bool password_matches(pugi::xml_node e, const std::string& prefix, const char* legacy_attr,
                      const std::string& password) {
    auto attr = [&](const char* name) {
        std::string full = prefix.empty() ? std::string(name) : prefix + name;
        if (!prefix.empty()) full[prefix.size()] = static_cast<char>(std::toupper(name[0]));
        return e.attribute(full.c_str());
    };
    if (pugi::xml_attribute h = attr("hashValue")) {
        PasswordHash stored;
        stored.algorithm = attr("algorithmName").value();
        stored.hash = h.value();
        stored.salt = attr("saltValue").value();
        stored.spin_count = attr("spinCount").as_uint(0);
        return verify_password(stored, password);
    }
    pugi::xml_attribute legacy = e.attribute(legacy_attr);
    if (legacy && *legacy.value() && std::string_view(legacy.value()) != "0000") {
        std::string want = legacy.value();
        for (char& c : want) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        while (want.size() < 4) want.insert(want.begin(), '0');
        return legacy_password_hash(password) == want;
    }
    return true;  // protected without a password
}

bool has_password(pugi::xml_node e, const char* hash_attr, const char* legacy_attr) {
    std::string_view legacy = e.attribute(legacy_attr).value();
    return e.attribute(hash_attr) || (!legacy.empty() && legacy != "0000");
}

// Writes the password's hash. A workbook the office program reads and writes for the engine
// (.xls) can keep only the legacy 16-bit hash, so it gets that one.
void write_hash(pugi::xml_node e, const std::string& prefix, const char* legacy_attr,
                const std::string& password, bool legacy) {
    if (password.empty()) return;
    if (legacy) {
        e.append_attribute(legacy_attr) = legacy_password_hash(password).c_str();
        return;
    }
    PasswordHash h = hash_password(password);
    auto name = [&](const char* n) {
        if (prefix.empty()) return std::string(n);
        std::string full = prefix + n;
        full[prefix.size()] = static_cast<char>(std::toupper(n[0]));
        return full;
    };
    e.append_attribute(name("algorithmName").c_str()) = h.algorithm.c_str();
    e.append_attribute(name("hashValue").c_str()) = h.hash.c_str();
    e.append_attribute(name("saltValue").c_str()) = h.salt.c_str();
    e.append_attribute(name("spinCount").c_str()) = h.spin_count;
}

}  // namespace

SheetProtection Sheet::protection() {
    SheetProtection out;
    if (!has_cells()) return out;
    auto text = structure::sheet_text(book_, *this);
    if (!text) return out;
    xml::Document doc;
    if (!xml::load(doc, *text, part_name_)) return out;
    pugi::xml_node p = xml::child(doc.root(), "sheetProtection");
    if (!p || !truthy(p.attribute("sheet"), false)) return out;
    out.on = true;
    out.has_password = has_password(p, "hashValue", "password");
    for (const Flag& f : kFlags) out.allow.*f.allow = !truthy(p.attribute(f.attr), f.absent);
    return out;
}

Result<void> Sheet::protect(const std::string& password, const SheetPermissions& allow) {
    if (!has_cells()) return Error::failed("ワークシートではありません。");
    if (auto r = check(); !r) return r;
    auto text = structure::sheet_text(book_, *this);
    if (!text) return text.error();
    xml::Document doc;
    if (auto r = xml::load(doc, *text, part_name_); !r) return r;
    pugi::xml_node root = doc.root();
    pugi::xml_node p = xml::child(root, "sheetProtection");
    if (p && truthy(p.attribute("sheet"), false))
        return Error::make(Error::Code::Refused, "シートは既に保護されています。");
    std::string name = xml::prefix_of(root) + "sheetProtection";
    if (p) {
        // An element that protects nothing: replaced in its place.
        pugi::xml_node fresh = root.insert_child_before(name.c_str(), p);
        root.remove_child(p);
        p = fresh;
    } else {
        pugi::xml_node after;
        for (pugi::xml_node n : root.children())
            if (n.type() == pugi::node_element && before_protection(xml::local_name(n.name())))
                after = n;
        p = after ? root.insert_child_after(name.c_str(), after) : root.prepend_child(name.c_str());
    }
    write_hash(p, "", "password", password, !book_.opened_through().empty());
    p.append_attribute("sheet") = "1";
    for (const Flag& f : kFlags) {
        bool value = !(allow.*f.allow);
        if (value != f.absent) p.append_attribute(f.attr) = value ? "1" : "0";
    }
    book_.set_saved(false);
    return structure::store_sheet_text(book_, *this, xml::save(doc));
}

Result<void> Sheet::unprotect(const std::string& password) {
    if (!has_cells()) return Error::failed("ワークシートではありません。");
    if (auto r = check(); !r) return r;
    auto text = structure::sheet_text(book_, *this);
    if (!text) return text.error();
    xml::Document doc;
    if (auto r = xml::load(doc, *text, part_name_); !r) return r;
    pugi::xml_node p = xml::child(doc.root(), "sheetProtection");
    if (!p || !truthy(p.attribute("sheet"), false)) return {};
    if (!password_matches(p, "", "password", password)) return wrong_password();
    doc.root().remove_child(p);
    book_.set_saved(false);
    return structure::store_sheet_text(book_, *this, xml::save(doc));
}

BookProtection Book::protection() {
    BookProtection out;
    pugi::xml_node p = xml::child(workbook_.root(), "workbookProtection");
    if (!p) return out;
    out.structure = truthy(p.attribute("lockStructure"), false);
    out.windows = truthy(p.attribute("lockWindows"), false);
    out.has_password = (out.structure || out.windows) &&
                       has_password(p, "workbookHashValue", "workbookPassword");
    return out;
}

Result<void> Book::protect(const std::string& password, bool structure, bool windows) {
    if (format_ != Format::Package && format_ != Format::New)
        return Error::failed("この形式のブックは保護できません。");
    BookProtection now = protection();
    if (now.structure || now.windows)
        return Error::make(Error::Code::Refused, "ブックは既に保護されています。");
    pugi::xml_node root = workbook_.root();
    pugi::xml_node p = xml::child(root, "workbookProtection");
    // Revision (shared workbook) passwords are kept; the workbook's own attributes are new.
    if (p) {
        for (pugi::xml_attribute a = p.first_attribute(); a;) {
            pugi::xml_attribute next = a.next_attribute();
            if (!revision_attr(a.name())) p.remove_attribute(a);
            a = next;
        }
    } else {
        p = workbook_.insert_in_order("workbookProtection");
    }
    write_hash(p, "workbook", "workbookPassword", password, !opened_through().empty());
    if (structure) p.append_attribute("lockStructure") = "1";
    if (windows) p.append_attribute("lockWindows") = "1";
    workbook_.mark_dirty();
    saved_ = false;
    return {};
}

Result<void> Book::unprotect(const std::string& password) {
    pugi::xml_node root = workbook_.root();
    pugi::xml_node p = xml::child(root, "workbookProtection");
    BookProtection now = protection();
    if (!now.structure && !now.windows) return {};
    if (!password_matches(p, "workbook", "workbookPassword", password)) return wrong_password();
    bool keeps_revisions = false;
    for (pugi::xml_attribute a = p.first_attribute(); a;) {
        pugi::xml_attribute next = a.next_attribute();
        if (revision_attr(a.name()))
            keeps_revisions = true;
        else
            p.remove_attribute(a);
        a = next;
    }
    if (!keeps_revisions) root.remove_child(p);
    workbook_.mark_dirty();
    saved_ = false;
    return {};
}

// The password to modify: <fileSharing> with the hash as the protection elements keep it (the
// application's own), or the 16-bit reservationPassword of older files. readOnlyRecommended and
// userName stay; the element goes when nothing else is left in it.
bool Book::has_modify_password() {
    pugi::xml_node f = xml::child(workbook_.root(), "fileSharing");
    return f && has_password(f, "hashValue", "reservationPassword");
}

Result<void> Book::change_modify_password(const std::string& old_password,
                                          const std::string& password) {
    if (format_ != Format::Package && format_ != Format::New)
        return Error::failed("この形式のブックには書き込みパスワードを設定できません。");
    // The office program drops the password to modify when it writes an .xls: refused rather
    // than lost.
    if (!opened_through().empty())
        return Error::make(
            Error::Code::Unsupported,
            "Excel 97-2003 形式（.xls）のブックの書き込みパスワードは変更できません。");
    pugi::xml_node f = xml::child(workbook_.root(), "fileSharing");
    if (f && !password_matches(f, "", "reservationPassword", old_password))
        return Error::make(Error::Code::Refused, "書き込みパスワードが正しくありません。");
    if (!f && password.empty()) return {};
    if (!f) f = workbook_.insert_in_order("fileSharing");
    for (const char* a :
         {"reservationPassword", "algorithmName", "hashValue", "saltValue", "spinCount"})
        f.remove_attribute(a);
    write_hash(f, "", "reservationPassword", password, false);
    if (!truthy(f.attribute("readOnlyRecommended"), false) && password.empty())
        workbook_.root().remove_child(f);
    workbook_.mark_dirty();
    saved_ = false;
    return {};
}

}  // namespace sheaflow::xl::native
