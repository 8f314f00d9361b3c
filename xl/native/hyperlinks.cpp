// Sheet's hyperlinks: the hyperlink elements of the worksheet with their external targets in the
// sheet's relationships. A cell has one hyperlink; a new one replaces the cell's old one, and a
// relationship no hyperlink uses any more goes with it.

#include <algorithm>

#include "xl/native/book.h"
#include "xl/native/drawing.h"
#include "xl/native/sheet_xml.h"

namespace sheaflow::xl::native {
namespace {

constexpr const char* kRelNs =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships";

// The prefix the part uses for the relationships namespace ("r"), declared on the root when
// the part has none.
std::string rel_prefix(pugi::xml_node root) {
    for (pugi::xml_attribute a : root.attributes()) {
        std::string_view name = a.name();
        if (name.substr(0, 6) == "xmlns:" && std::string_view(a.value()) == kRelNs)
            return std::string(name.substr(6));
    }
    std::string p = "r";
    while (root.attribute(("xmlns:" + p).c_str())) p += "r";
    root.append_attribute(("xmlns:" + p).c_str()) = kRelNs;
    return p;
}

Result<Relationships> sheet_rels(Book& b, const std::string& part) {
    Relationships rels;
    std::string name = rels_path_for(part);
    if (b.package().has(name)) {
        auto bytes = b.package().read(name);
        if (!bytes) return bytes.error();
        if (auto r = rels.parse(*bytes, name); !r) return r.error();
    }
    return rels;
}

}  // namespace

std::vector<Hyperlink> Sheet::hyperlinks() {
    std::vector<Hyperlink> out;
    if (!has_cells()) return out;
    xml::Document doc;
    if (!read_sheet_xml(book_, *this, doc)) return out;
    auto rels = sheet_rels(book_, part_name_);
    std::string rp = rel_prefix(doc.root());
    for (pugi::xml_node h = xml::child(doc.root(), "hyperlinks").first_child(); h;
         h = h.next_sibling()) {
        if (h.type() != pugi::node_element) continue;
        auto area = parse_address(h.attribute("ref").value());
        if (!area) continue;
        Hyperlink link;
        link.row = area->first_row;
        link.col = area->first_col;
        link.location = h.attribute("location").value();
        link.tooltip = h.attribute("tooltip").value();
        std::string id = h.attribute((rp + ":id").c_str()).value();
        if (!id.empty() && rels)
            if (auto item = rels->by_id(id)) link.address = item->target;
        out.push_back(std::move(link));
    }
    return out;
}

Result<void> Sheet::add_hyperlink(const Hyperlink& h) {
    if (!has_cells()) return Error::failed("ワークシートではありません。");
    auto rels = sheet_rels(book_, part_name_);
    if (!rels) return rels.error();
    const std::string ref = format_address(Area{h.row, h.col, h.row, h.col}, false, false);
    bool rels_changed = false;
    Result<void> r = edit_sheet_xml(book_, *this, [&](pugi::xml_node root) -> Result<bool> {
        std::string rp = rel_prefix(root);
        const std::string id_attr = rp + ":id";
        pugi::xml_node list = sheet_element(root, "hyperlinks");
        // The cell's old hyperlink goes; its relationship too when no other link uses it.
        std::vector<pugi::xml_node> gone;
        std::vector<std::string> kept_ids, gone_ids;
        for (pugi::xml_node n = list.first_child(); n; n = n.next_sibling()) {
            if (n.type() != pugi::node_element) continue;
            std::string id = n.attribute(id_attr.c_str()).value();
            auto a = parse_address(n.attribute("ref").value());
            if (a && a->contains(CellRef{h.row, h.col})) {
                gone.push_back(n);
                gone_ids.push_back(id);
            } else {
                kept_ids.push_back(id);
            }
        }
        for (pugi::xml_node n : gone) list.remove_child(n);
        for (const std::string& id : gone_ids)
            if (!id.empty() && std::find(kept_ids.begin(), kept_ids.end(), id) == kept_ids.end() &&
                rels->remove_id(id))
                rels_changed = true;
        pugi::xml_node link = list.append_child((xml::prefix_of(list) + "hyperlink").c_str());
        link.append_attribute("ref") = ref.c_str();
        if (!h.address.empty()) {
            std::string id = rels->add_external(rel::kHyperlink, h.address);
            link.append_attribute(id_attr.c_str()) = id.c_str();
            rels_changed = true;
        }
        if (!h.location.empty()) link.append_attribute("location") = h.location.c_str();
        if (!h.tooltip.empty()) link.append_attribute("tooltip") = h.tooltip.c_str();
        return true;
    });
    if (!r) return r;
    if (rels_changed) book_.package().write(rels_path_for(part_name_), rels->serialize());
    return {};
}

}  // namespace sheaflow::xl::native
