// Document properties: the core properties part (title, subject, author...), the extended
// properties part (manager, company) and the custom properties part, read and changed in place.
// A part that does not exist yet is added with its relationship and content type.

#include <algorithm>
#include <array>

#include "xl/native/book.h"

namespace sheaflow::xl::native {

// One of the three properties parts: its usual name, relationship, content type and the
// document it starts as.
struct PropertiesPart {
    std::string_view default_name;
    std::string_view rel_type;
    std::string_view content_type;
    std::string_view empty_document;
};

namespace {

constexpr std::string_view kNsDc = "http://purl.org/dc/elements/1.1/";
constexpr std::string_view kNsCp =
    "http://schemas.openxmlformats.org/package/2006/metadata/core-properties";
constexpr std::string_view kNsDcTerms = "http://purl.org/dc/terms/";
constexpr std::string_view kNsVt =
    "http://schemas.openxmlformats.org/officeDocument/2006/docPropsVTypes";

constexpr PropertiesPart kCore = {
    "docProps/core.xml",
    "http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties",
    "application/vnd.openxmlformats-package.core-properties+xml",
    "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
    "<cp:coreProperties xmlns:cp=\"http://schemas.openxmlformats.org/package/2006/metadata/"
    "core-properties\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\" "
    "xmlns:dcterms=\"http://purl.org/dc/terms/\" xmlns:dcmitype=\"http://purl.org/dc/dcmitype/\" "
    "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"></cp:coreProperties>"};
constexpr PropertiesPart kApp = {
    "docProps/app.xml",
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/extended-properties",
    "application/vnd.openxmlformats-officedocument.extended-properties+xml",
    "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
    "<Properties xmlns=\"http://schemas.openxmlformats.org/officeDocument/2006/extended-properties\" "
    "xmlns:vt=\"http://schemas.openxmlformats.org/officeDocument/2006/docPropsVTypes\"></Properties>"};
constexpr PropertiesPart kCustom = {
    "docProps/custom.xml",
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/custom-properties",
    "application/vnd.openxmlformats-officedocument.custom-properties+xml",
    "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
    "<Properties xmlns=\"http://schemas.openxmlformats.org/officeDocument/2006/custom-properties\" "
    "xmlns:vt=\"http://schemas.openxmlformats.org/officeDocument/2006/docPropsVTypes\"></Properties>"};

// A built-in property: its object-model name, the part it lives in, the element and the
// namespace of the element.
struct Builtin {
    std::string_view name;
    const PropertiesPart* part;
    std::string_view element;
    std::string_view ns;  // "" for the part's default namespace
    bool read_only;
};

const std::array<Builtin, 11> kBuiltins = {{
    {"Title", &kCore, "title", kNsDc, false},
    {"Subject", &kCore, "subject", kNsDc, false},
    {"Author", &kCore, "creator", kNsDc, false},
    {"Manager", &kApp, "Manager", "", false},
    {"Company", &kApp, "Company", "", false},
    {"Category", &kCore, "category", kNsCp, false},
    {"Keywords", &kCore, "keywords", kNsCp, false},
    {"Comments", &kCore, "description", kNsDc, false},
    {"Last Author", &kCore, "lastModifiedBy", kNsCp, true},
    {"Creation Date", &kCore, "created", kNsDcTerms, true},
    {"Last Save Time", &kCore, "modified", kNsDcTerms, true},
}};

// The prefix (with its colon) that the document binds to `ns`, declaring one on the root when
// there is none.
std::string prefix_for(pugi::xml_node root, std::string_view ns, std::string_view wanted) {
    if (ns.empty()) return {};
    for (pugi::xml_attribute a = root.first_attribute(); a; a = a.next_attribute()) {
        std::string_view n = a.name();
        if (a.value() != ns) continue;
        if (n == "xmlns") return {};
        if (n.substr(0, 6) == "xmlns:") return std::string(n.substr(6)) + ":";
    }
    root.append_attribute(("xmlns:" + std::string(wanted)).c_str()).set_value(std::string(ns).c_str());
    return std::string(wanted) + ":";
}

// The element of a built-in property, matched by local name and namespace.
pugi::xml_node find_element(pugi::xml_node root, const Builtin& b) {
    for (pugi::xml_node n = root.first_child(); n; n = n.next_sibling()) {
        if (n.type() != pugi::node_element || xml::local_name(n.name()) != b.element) continue;
        return n;
    }
    return {};
}

}  // namespace

// Where a properties part lives: named by the package relationships, else its usual name.
std::string Book::properties_part(const PropertiesPart& kind, bool create) {
    Relationships root;
    if (package_->has("_rels/.rels")) {
        auto bytes = package_->read("_rels/.rels");
        if (!bytes || !root.parse(*bytes, "_rels/.rels")) return {};
    }
    if (auto item = root.by_type(kind.rel_type)) {
        std::string part = resolve_target("", item->target);
        if (package_->has(part)) return *package_->find(part);
    }
    if (!create) return {};
    std::string part(kind.default_name);
    if (package_->has(part)) return {};  // a part of that name that is something else
    package_->write(part, std::string(kind.empty_document));
    root.add(kind.rel_type, part);
    package_->write("_rels/.rels", root.serialize());
    if (auto ct = content_types()) (*ct)->set_override(part, kind.content_type);
    return part;
}

Result<std::vector<DocumentProperty>> Book::document_properties() {
    std::vector<DocumentProperty> out;
    if (format_ != Format::Package) return out;
    auto load = [&](const PropertiesPart& kind, xml::Document& doc) -> Result<bool> {
        std::string part = properties_part(kind, false);
        if (part.empty()) return false;
        auto bytes = package_->read(part);
        if (!bytes) return bytes.error();
        if (auto r = xml::load(doc, *bytes, part); !r) return r.error();
        return true;
    };
    xml::Document core, app, custom;
    auto has_core = load(kCore, core);
    if (!has_core) return has_core.error();
    auto has_app = load(kApp, app);
    if (!has_app) return has_app.error();
    for (const Builtin& b : kBuiltins) {
        const xml::Document& doc = b.part == &kCore ? core : app;
        bool present = b.part == &kCore ? *has_core : *has_app;
        pugi::xml_node n = present ? find_element(doc.root(), b) : pugi::xml_node();
        out.push_back({std::string(b.name), n ? n.text().get() : "", false});
    }
    auto has_custom = load(kCustom, custom);
    if (!has_custom) return has_custom.error();
    if (*has_custom) {
        for (pugi::xml_node p = custom.root().first_child(); p; p = p.next_sibling()) {
            if (p.type() != pugi::node_element || xml::local_name(p.name()) != "property") continue;
            pugi::xml_node v = p.first_child();
            while (v && v.type() != pugi::node_element) v = v.next_sibling();
            out.push_back({p.attribute("name").value(), v ? v.text().get() : "", true});
        }
    }
    return out;
}

Result<void> Book::set_document_property(const std::string& name, const std::string& value,
                                         bool custom) {
    if (format_ != Format::Package)
        return Error::make(Error::Code::Unsupported,
                           "このファイル形式にはプロパティを保存できません。", name_);
    const PropertiesPart& kind = custom ? kCustom : [&]() -> const PropertiesPart& {
        for (const Builtin& b : kBuiltins)
            if (b.name == name) return *b.part;
        return kCore;
    }();
    const Builtin* builtin = nullptr;
    if (!custom) {
        for (const Builtin& b : kBuiltins)
            if (b.name == name) builtin = &b;
        if (!builtin || builtin->read_only)
            return Error::make(Error::Code::Refused,
                               "プロパティ「" + name + "」は設定できません。", name_);
    }
    // Clearing a property of a part that does not exist changes nothing.
    std::string part = properties_part(kind, !value.empty());
    if (part.empty()) {
        if (value.empty()) return {};
        return Error::make(Error::Code::BadFormat, "プロパティの部品を作れません。", name_);
    }
    auto bytes = package_->read(part);
    if (!bytes) return bytes.error();
    xml::Document doc;
    if (auto r = xml::load(doc, *bytes, part); !r) return r;
    pugi::xml_node root = doc.root();
    bool changed = false;
    if (builtin) {
        pugi::xml_node n = find_element(root, *builtin);
        if (value.empty()) {
            if (n) changed = root.remove_child(n);
        } else if (!n || n.text().get() != value) {
            if (!n) {
                std::string prefix = prefix_for(root, builtin->ns,
                                                builtin->ns == kNsDc ? "dc" : "cp");
                n = root.append_child((prefix + std::string(builtin->element)).c_str());
            }
            n.text().set(value.c_str());
            changed = true;
        }
    } else {
        pugi::xml_node found;
        int next_pid = 2;
        for (pugi::xml_node p = root.first_child(); p; p = p.next_sibling()) {
            if (p.type() != pugi::node_element || xml::local_name(p.name()) != "property") continue;
            next_pid = std::max(next_pid, p.attribute("pid").as_int() + 1);
            if (p.attribute("name").value() == name) found = p;
        }
        if (value.empty()) {
            if (found) changed = root.remove_child(found);
        } else {
            const std::string vt = prefix_for(root, kNsVt, "vt");
            if (found) {
                pugi::xml_node v = found.first_child();
                while (v && v.type() != pugi::node_element) v = v.next_sibling();
                if (!v || xml::local_name(v.name()) != "lpwstr" || v.text().get() != value) {
                    while (found.first_child()) found.remove_child(found.first_child());
                    found.append_child((vt + "lpwstr").c_str()).text().set(value.c_str());
                    changed = true;
                }
            } else {
                pugi::xml_node p = root.append_child("property");
                p.append_attribute("fmtid").set_value("{D5CDD505-2E9C-101B-9397-08002B2CF9AE}");
                p.append_attribute("pid").set_value(next_pid);
                p.append_attribute("name").set_value(name.c_str());
                p.append_child((vt + "lpwstr").c_str()).text().set(value.c_str());
                changed = true;
            }
        }
    }
    if (changed || package_->changed(part)) {
        package_->write(part, xml::save(doc));
        saved_ = false;
    }
    return {};
}

}  // namespace sheaflow::xl::native
