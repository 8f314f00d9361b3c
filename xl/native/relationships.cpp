#include "xl/native/relationships.h"

#include <unordered_set>
#include <vector>

namespace sheaflow::xl::native {

namespace {

constexpr const char* kRelsNs = "http://schemas.openxmlformats.org/package/2006/relationships";

std::vector<std::string> split_path(std::string_view p) {
    std::vector<std::string> out;
    std::size_t i = 0;
    while (i <= p.size()) {
        auto slash = p.find('/', i);
        if (slash == std::string_view::npos) slash = p.size();
        out.emplace_back(p.substr(i, slash - i));
        i = slash + 1;
    }
    return out;
}

}  // namespace

std::string rels_path_for(std::string_view part) {
    if (!part.empty() && part.front() == '/') part.remove_prefix(1);
    auto slash = part.rfind('/');
    if (slash == std::string_view::npos) return "_rels/" + std::string(part) + ".rels";
    return std::string(part.substr(0, slash)) + "/_rels/" + std::string(part.substr(slash + 1)) +
           ".rels";
}

std::string resolve_target(std::string_view source_part, std::string_view target) {
    std::vector<std::string> parts;
    if (!target.empty() && target.front() == '/') {
        target.remove_prefix(1);
    } else {
        auto slash = source_part.rfind('/');
        if (slash != std::string_view::npos) parts = split_path(source_part.substr(0, slash));
    }
    for (std::string& seg : split_path(target)) {
        if (seg.empty() || seg == ".") continue;
        if (seg == "..") {
            if (!parts.empty()) parts.pop_back();
            continue;
        }
        parts.push_back(std::move(seg));
    }
    std::string out;
    for (const std::string& seg : parts) {
        if (seg.empty()) continue;
        if (!out.empty()) out += '/';
        out += seg;
    }
    return out;
}

std::string relative_target(std::string_view source_part, std::string_view part) {
    auto slash = source_part.rfind('/');
    std::string_view dir = slash == std::string_view::npos ? "" : source_part.substr(0, slash + 1);
    if (part.substr(0, dir.size()) == dir) return std::string(part.substr(dir.size()));
    return "/" + std::string(part);
}

Result<void> Relationships::parse(std::string_view bytes, const std::string& part_name) {
    dirty_ = false;
    return xml::load(doc_, bytes, part_name);
}

void Relationships::ensure_root() {
    if (doc_.root()) return;
    auto decl = doc_.doc.append_child(pugi::node_declaration);
    decl.append_attribute("version") = "1.0";
    decl.append_attribute("encoding") = "UTF-8";
    decl.append_attribute("standalone") = "yes";
    doc_.newline_after_declaration = true;
    doc_.doc.append_child("Relationships").append_attribute("xmlns") = kRelsNs;
}

std::string Relationships::serialize() const { return xml::save(doc_); }

namespace {
Relationships::Item item_of(pugi::xml_node n) {
    return {n.attribute("Id").value(), n.attribute("Type").value(), n.attribute("Target").value(),
            std::string_view(n.attribute("TargetMode").value()) == "External"};
}
}  // namespace

std::vector<Relationships::Item> Relationships::items() const {
    std::vector<Item> out;
    for (pugi::xml_node n = doc_.root().first_child(); n; n = n.next_sibling()) {
        if (n.type() != pugi::node_element || xml::local_name(n.name()) != "Relationship") continue;
        out.push_back(item_of(n));
    }
    return out;
}

std::optional<Relationships::Item> Relationships::by_id(std::string_view id) const {
    for (pugi::xml_node n = doc_.root().first_child(); n; n = n.next_sibling())
        if (n.type() == pugi::node_element && id == n.attribute("Id").value()) return item_of(n);
    return std::nullopt;
}

std::optional<Relationships::Item> Relationships::by_type(std::string_view type) const {
    for (pugi::xml_node n = doc_.root().first_child(); n; n = n.next_sibling())
        if (n.type() == pugi::node_element && type == n.attribute("Type").value())
            return item_of(n);
    return std::nullopt;
}

std::string Relationships::add(std::string_view type, std::string_view target) {
    ensure_root();
    // The ids in use, gathered once: a workbook that receives hundreds of sheets adds as many
    // relationships, and a search per candidate id would grow with the square of their number.
    std::unordered_set<std::string_view> used;
    for (pugi::xml_node r = doc_.root().first_child(); r; r = r.next_sibling())
        used.insert(r.attribute("Id").value());
    int n = 1;
    std::string id;
    do {
        id = "rId" + std::to_string(n++);
    } while (used.count(id));
    std::string prefix = xml::prefix_of(doc_.root());
    pugi::xml_node r = doc_.root().append_child((prefix + "Relationship").c_str());
    r.append_attribute("Id") = id.c_str();
    r.append_attribute("Type") = std::string(type).c_str();
    r.append_attribute("Target") = std::string(target).c_str();
    dirty_ = true;
    return id;
}

std::string Relationships::add_external(std::string_view type, std::string_view target) {
    std::string id = add(type, target);
    for (pugi::xml_node r = doc_.root().last_child(); r; r = r.previous_sibling())
        if (id == r.attribute("Id").value()) {
            r.append_attribute("TargetMode") = "External";
            break;
        }
    return id;
}

bool Relationships::remove_type(std::string_view type) {
    bool removed = false;
    for (pugi::xml_node n = doc_.root().first_child(); n;) {
        pugi::xml_node next = n.next_sibling();
        if (n.type() == pugi::node_element && type == n.attribute("Type").value()) {
            doc_.root().remove_child(n);
            removed = true;
        }
        n = next;
    }
    dirty_ = dirty_ || removed;
    return removed;
}

bool Relationships::remove_id(std::string_view id) {
    for (pugi::xml_node n = doc_.root().first_child(); n; n = n.next_sibling()) {
        if (n.type() == pugi::node_element && id == n.attribute("Id").value()) {
            doc_.root().remove_child(n);
            dirty_ = true;
            return true;
        }
    }
    return false;
}

}  // namespace sheaflow::xl::native
