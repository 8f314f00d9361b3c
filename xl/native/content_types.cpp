#include "xl/native/content_types.h"

#include <strings.h>

namespace sheaflow::xl::native {

namespace {

bool same_name(std::string_view a, std::string_view b) {
    if (!a.empty() && a.front() == '/') a.remove_prefix(1);
    if (!b.empty() && b.front() == '/') b.remove_prefix(1);
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

std::string key_of(std::string_view part) {
    if (!part.empty() && part.front() == '/') part.remove_prefix(1);
    std::string key(part);
    for (char& c : key)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return key;
}

}  // namespace

pugi::xml_node ContentTypes::override_of(std::string_view part) const {
    if (!indexed_) {
        overrides_.clear();
        for (pugi::xml_node n = doc_.root().first_child(); n; n = n.next_sibling())
            if (xml::local_name(n.name()) == "Override")
                overrides_.emplace(key_of(n.attribute("PartName").value()), n);  // first wins
        indexed_ = true;
    }
    auto it = overrides_.find(key_of(part));
    return it == overrides_.end() ? pugi::xml_node() : it->second;
}

Result<void> ContentTypes::parse(std::string_view bytes) {
    dirty_ = false;
    indexed_ = false;
    return xml::load(doc_, bytes, "[Content_Types].xml");
}

std::string ContentTypes::serialize() const { return xml::save(doc_); }

std::string ContentTypes::type_of(std::string_view part) const {
    pugi::xml_node root = doc_.root();
    if (pugi::xml_node n = override_of(part)) return n.attribute("ContentType").value();
    auto dot = part.rfind('.');
    auto slash = part.rfind('/');
    if (dot == std::string_view::npos || (slash != std::string_view::npos && dot < slash))
        return {};
    std::string_view ext = part.substr(dot + 1);
    for (pugi::xml_node n = root.first_child(); n; n = n.next_sibling())
        if (xml::local_name(n.name()) == "Default" &&
            same_name(n.attribute("Extension").value(), ext))
            return n.attribute("ContentType").value();
    return {};
}

void ContentTypes::set_override(std::string_view part, std::string_view type) {
    std::string name = "/" + std::string(part.substr(!part.empty() && part.front() == '/'));
    pugi::xml_node root = doc_.root();
    if (pugi::xml_node n = override_of(part)) {
        if (type != n.attribute("ContentType").value()) {
            n.attribute("ContentType").set_value(std::string(type).c_str());
            dirty_ = true;
        }
        return;
    }
    pugi::xml_node n = root.append_child((xml::prefix_of(root) + "Override").c_str());
    n.append_attribute("PartName") = name.c_str();
    n.append_attribute("ContentType") = std::string(type).c_str();
    overrides_.emplace(key_of(name), n);
    dirty_ = true;
}

bool ContentTypes::remove_override(std::string_view part) {
    pugi::xml_node root = doc_.root();
    for (pugi::xml_node n = root.first_child(); n; n = n.next_sibling()) {
        if (xml::local_name(n.name()) == "Override" &&
            same_name(n.attribute("PartName").value(), part)) {
            root.remove_child(n);
            indexed_ = false;  // another Override of the same name may come forward
            dirty_ = true;
            return true;
        }
    }
    return false;
}

void ContentTypes::ensure_default(std::string_view extension, std::string_view type) {
    pugi::xml_node root = doc_.root();
    for (pugi::xml_node n = root.first_child(); n; n = n.next_sibling())
        if (xml::local_name(n.name()) == "Default" &&
            same_name(n.attribute("Extension").value(), extension))
            return;
    // Defaults come before the overrides, as the application writes them.
    pugi::xml_node first_override;
    for (pugi::xml_node n = root.first_child(); n; n = n.next_sibling())
        if (xml::local_name(n.name()) == "Override") {
            first_override = n;
            break;
        }
    std::string name = xml::prefix_of(root) + "Default";
    pugi::xml_node n = first_override ? root.insert_child_before(name.c_str(), first_override)
                                      : root.append_child(name.c_str());
    n.append_attribute("Extension") = std::string(extension).c_str();
    n.append_attribute("ContentType") = std::string(type).c_str();
    dirty_ = true;
}

}  // namespace sheaflow::xl::native
