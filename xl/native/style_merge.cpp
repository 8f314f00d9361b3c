#include "xl/native/style_merge.h"

#include <algorithm>
#include <sstream>
#include <vector>

#include "xl/native/numfmt.h"

namespace sheaflow::xl::native {
namespace {

constexpr const char* kDefaultStyles =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
    "<styleSheet xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\">"
    "<fonts count=\"1\"><font><sz val=\"11\"/><name val=\"Calibri\"/><family val=\"2\"/>"
    "</font></fonts><fills count=\"2\"><fill><patternFill patternType=\"none\"/></fill><fill>"
    "<patternFill patternType=\"gray125\"/></fill></fills><borders count=\"1\"><border><left/>"
    "<right/><top/><bottom/><diagonal/></border></borders><cellStyleXfs count=\"1\"><xf "
    "numFmtId=\"0\" fontId=\"0\" fillId=\"0\" borderId=\"0\"/></cellStyleXfs><cellXfs "
    "count=\"1\"><xf numFmtId=\"0\" fontId=\"0\" fillId=\"0\" borderId=\"0\" xfId=\"0\"/>"
    "</cellXfs><cellStyles count=\"1\"><cellStyle name=\"Normal\" xfId=\"0\" builtinId=\"0\"/>"
    "</cellStyles><dxfs count=\"0\"/><tableStyles count=\"0\"/></styleSheet>";

// The lists of a style sheet in schema order.
constexpr const char* kOrder[] = {"numFmts",      "fonts",   "fills",      "borders",
                                  "cellStyleXfs", "cellXfs", "cellStyles", "dxfs",
                                  "tableStyles",  "colors",  "extLst"};

std::string_view local(const char* qname) {
    std::string_view n(qname);
    std::size_t colon = n.find(':');
    return colon == std::string_view::npos ? n : n.substr(colon + 1);
}

std::string prefix_of(pugi::xml_node n) {
    std::string_view name(n.name());
    std::size_t colon = name.find(':');
    return colon == std::string_view::npos ? std::string() : std::string(name.substr(0, colon + 1));
}

pugi::xml_node child(pugi::xml_node parent, std::string_view name) {
    for (pugi::xml_node c = parent.first_child(); c; c = c.next_sibling())
        if (c.type() == pugi::node_element && local(c.name()) == name) return c;
    return {};
}

pugi::xml_node nth_element(pugi::xml_node list, std::uint32_t index) {
    std::uint32_t k = 0;
    for (pugi::xml_node c = list.first_child(); c; c = c.next_sibling()) {
        if (c.type() != pugi::node_element) continue;
        if (k++ == index) return c;
    }
    return {};
}

std::uint32_t element_count(pugi::xml_node list) {
    std::uint32_t k = 0;
    for (pugi::xml_node c = list.first_child(); c; c = c.next_sibling())
        if (c.type() == pugi::node_element) ++k;
    return k;
}

// A text that is equal for equal formats: element names without prefixes, attributes sorted,
// children in order, text kept.
void canonical(pugi::xml_node n, std::string& out) {
    if (n.type() == pugi::node_pcdata || n.type() == pugi::node_cdata) {
        out += '"';
        out += n.value();
        out += '"';
        return;
    }
    if (n.type() != pugi::node_element) return;
    out += '<';
    out += local(n.name());
    std::vector<std::pair<std::string, std::string>> attrs;
    for (pugi::xml_attribute a : n.attributes()) attrs.emplace_back(a.name(), a.value());
    std::sort(attrs.begin(), attrs.end());
    for (const auto& [k, v] : attrs) out += ' ' + k + "=\"" + v + '"';
    out += '>';
    for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling()) canonical(c, out);
    out += "</>";
}

std::string canonical(pugi::xml_node n) {
    std::string out;
    canonical(n, out);
    return out;
}

// Gives copied elements the destination's prefix (only those of the spreadsheet namespace,
// which carry the source's prefix).
void reprefix(pugi::xml_node n, const std::string& from, const std::string& to) {
    if (n.type() != pugi::node_element) return;
    std::string_view name(n.name());
    bool ours = from.empty() ? name.find(':') == std::string_view::npos
                             : name.substr(0, from.size()) == from;
    if (ours && from != to) n.set_name((to + std::string(local(n.name()))).c_str());
    for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling()) reprefix(c, from, to);
}

void set_count(pugi::xml_node list) {
    pugi::xml_attribute a = list.attribute("count");
    if (!a) a = list.append_attribute("count");
    a.set_value(element_count(list));
}

}  // namespace

Result<void> StyleMerge::load(std::string_view source, std::string_view destination) {
    auto parse = [](pugi::xml_document& d, std::string_view text) -> bool {
        if (text.empty()) text = kDefaultStyles;
        return d.load_buffer(text.data(), text.size(), pugi::parse_full | pugi::parse_ws_pcdata,
                             pugi::encoding_utf8);
    };
    if (!parse(src_, source) || !parse(dst_, destination))
        return Error::make(Error::Code::BadFormat, "スタイルの部品が壊れています");
    if (local(src_.document_element().name()) != "styleSheet" ||
        local(dst_.document_element().name()) != "styleSheet")
        return Error::make(Error::Code::BadFormat, "スタイルの部品が壊れています");
    ns_prefix_ = prefix_of(dst_.document_element());
    changed_ = destination.empty();
    return {};
}

pugi::xml_node StyleMerge::dest_list(const char* list) {
    pugi::xml_node root = dst_.document_element();
    if (pugi::xml_node n = child(root, list)) return n;
    // Created at its place in the schema order.
    std::size_t rank = 0;
    while (std::string_view(kOrder[rank]) != list) ++rank;
    pugi::xml_node after;
    for (std::size_t r = 0; r < rank; ++r)
        if (pugi::xml_node n = child(root, kOrder[r])) after = n;
    std::string name = ns_prefix_ + list;
    pugi::xml_node created =
        after ? root.insert_child_after(name.c_str(), after) : root.prepend_child(name.c_str());
    created.append_attribute("count").set_value(0);
    changed_ = true;
    return created;
}

std::uint32_t StyleMerge::find_or_add(const char* list, pugi::xml_node src) {
    pugi::xml_node dst = dest_list(list);
    auto& index = index_[list];
    if (index.empty()) {
        std::uint32_t k = 0;
        for (pugi::xml_node c = dst.first_child(); c; c = c.next_sibling()) {
            if (c.type() != pugi::node_element) continue;
            index.emplace(canonical(c), k++);
        }
    }
    std::string key = canonical(src);
    if (auto it = index.find(key); it != index.end()) return it->second;
    pugi::xml_node added = dst.append_copy(src);
    reprefix(added, prefix_of(src_.document_element()), ns_prefix_);
    set_count(dst);
    changed_ = true;
    std::uint32_t at = element_count(dst) - 1;
    index.emplace(std::move(key), at);
    return at;
}

std::uint32_t StyleMerge::map_child(const char* list, std::uint32_t i) {
    auto key = std::make_pair(std::string(list), i);
    if (auto it = done_.find(key); it != done_.end()) return it->second;
    pugi::xml_node src = nth_element(child(src_.document_element(), list), i);
    std::uint32_t mapped = src ? find_or_add(list, src) : 0;
    done_[key] = mapped;
    return mapped;
}

std::uint32_t StyleMerge::map_num_fmt(std::uint32_t id) {
    auto key = std::make_pair(std::string("numFmts"), id);
    if (auto it = done_.find(key); it != done_.end()) return it->second;
    std::string code;
    bool defined = false;
    for (pugi::xml_node n = child(src_.document_element(), "numFmts").first_child(); n;
         n = n.next_sibling())
        if (n.type() == pugi::node_element && n.attribute("numFmtId").as_uint() == id) {
            code = n.attribute("formatCode").value();
            defined = true;
        }
    // A built-in format has the same number everywhere; a format the source writes out (custom
    // ones, and built-in numbers some programs redefine) is looked up by its code.
    std::uint32_t mapped = id;
    if (defined && !(id < 164 && code == numfmt::builtin_code(static_cast<int>(id)))) {
        pugi::xml_node list = dest_list("numFmts");
        std::uint32_t largest = 163;
        bool found = false;
        for (pugi::xml_node n = list.first_child(); n; n = n.next_sibling()) {
            if (n.type() != pugi::node_element) continue;
            std::uint32_t dst_id = n.attribute("numFmtId").as_uint();
            if (!found && code == n.attribute("formatCode").value()) {
                mapped = dst_id;
                found = true;
            }
            largest = std::max(largest, dst_id);
        }
        if (!found) {
            mapped = largest + 1;
            pugi::xml_node n = list.append_child((ns_prefix_ + "numFmt").c_str());
            n.append_attribute("numFmtId").set_value(mapped);
            n.append_attribute("formatCode").set_value(code.c_str());
            set_count(list);
            changed_ = true;
        }
    }
    done_[key] = mapped;
    return mapped;
}

void StyleMerge::map_xf_refs(pugi::xml_node xf) {
    if (pugi::xml_attribute a = xf.attribute("numFmtId")) a.set_value(map_num_fmt(a.as_uint()));
    if (pugi::xml_attribute a = xf.attribute("fontId"))
        a.set_value(map_child("fonts", a.as_uint()));
    if (pugi::xml_attribute a = xf.attribute("fillId"))
        a.set_value(map_child("fills", a.as_uint()));
    if (pugi::xml_attribute a = xf.attribute("borderId"))
        a.set_value(map_child("borders", a.as_uint()));
}

std::uint32_t StyleMerge::map_style_xf(std::uint32_t xf) {
    auto key = std::make_pair(std::string("cellStyleXfs"), xf);
    if (auto it = done_.find(key); it != done_.end()) return it->second;
    pugi::xml_node root = src_.document_element();
    // A named style that the destination has keeps the destination's definition.
    std::string name;
    pugi::xml_node named;
    for (pugi::xml_node s = child(root, "cellStyles").first_child(); s; s = s.next_sibling())
        if (s.type() == pugi::node_element && s.attribute("xfId").as_uint() == xf) {
            name = s.attribute("name").value();
            named = s;
            break;
        }
    std::uint32_t mapped = 0;
    bool found = false;
    if (!name.empty()) {
        for (pugi::xml_node s = child(dst_.document_element(), "cellStyles").first_child(); s;
             s = s.next_sibling())
            if (s.type() == pugi::node_element && name == s.attribute("name").value()) {
                mapped = s.attribute("xfId").as_uint();
                found = true;
                break;
            }
    }
    if (!found) {
        pugi::xml_node src = nth_element(child(root, "cellStyleXfs"), xf);
        if (src) {
            pugi::xml_document scratch;
            pugi::xml_node copy = scratch.append_copy(src);
            map_xf_refs(copy);
            mapped = find_or_add("cellStyleXfs", copy);
            if (named) {
                pugi::xml_node list = dest_list("cellStyles");
                pugi::xml_node added = list.append_copy(named);
                reprefix(added, prefix_of(root), ns_prefix_);
                added.attribute("xfId").set_value(mapped);
                set_count(list);
                changed_ = true;
            }
        }
    }
    done_[key] = mapped;
    return mapped;
}

std::uint32_t StyleMerge::cell_format(std::uint32_t xf) {
    auto key = std::make_pair(std::string("cellXfs"), xf);
    if (auto it = done_.find(key); it != done_.end()) return it->second;
    pugi::xml_node src = nth_element(child(src_.document_element(), "cellXfs"), xf);
    std::uint32_t mapped = 0;
    if (src) {
        pugi::xml_document scratch;
        pugi::xml_node copy = scratch.append_copy(src);
        map_xf_refs(copy);
        if (pugi::xml_attribute a = copy.attribute("xfId")) a.set_value(map_style_xf(a.as_uint()));
        mapped = find_or_add("cellXfs", copy);
    }
    done_[key] = mapped;
    return mapped;
}

std::uint32_t StyleMerge::differential_format(std::uint32_t dxf) { return map_child("dxfs", dxf); }

std::vector<std::string> StyleMerge::source_style_names() const {
    std::vector<std::string> out;
    for (pugi::xml_node s = child(src_.document_element(), "cellStyles").first_child(); s;
         s = s.next_sibling())
        if (s.type() == pugi::node_element && s.attribute("name")) out.push_back(s.attribute("name").value());
    return out;
}

bool StyleMerge::merge_named_style(const std::string& name) {
    pugi::xml_node root = src_.document_element();
    pugi::xml_node named;
    for (pugi::xml_node s = child(root, "cellStyles").first_child(); s && !named; s = s.next_sibling())
        if (s.type() == pugi::node_element && name == s.attribute("name").value()) named = s;
    if (!named) return false;
    pugi::xml_node src = nth_element(child(root, "cellStyleXfs"), named.attribute("xfId").as_uint());
    if (!src) return false;
    pugi::xml_document scratch;
    pugi::xml_node copy = scratch.append_copy(src);
    map_xf_refs(copy);
    reprefix(copy, prefix_of(root), ns_prefix_);
    pugi::xml_node existing;
    for (pugi::xml_node s = child(dst_.document_element(), "cellStyles").first_child();
         s && !existing; s = s.next_sibling())
        if (s.type() == pugi::node_element && name == s.attribute("name").value()) existing = s;
    if (existing) {
        // The destination's entry takes the source's definition in place: its cells and formats
        // keep pointing at it.
        pugi::xml_node list = dest_list("cellStyleXfs");
        pugi::xml_node old = nth_element(list, existing.attribute("xfId").as_uint());
        if (!old) return false;
        std::string a, b;
        canonical(old, a);
        canonical(copy, b);
        if (a == b) return true;
        list.insert_copy_after(copy, old);
        list.remove_child(old);
    } else {
        std::uint32_t index = element_count(dest_list("cellStyleXfs"));
        pugi::xml_node list = dest_list("cellStyleXfs");
        list.append_copy(copy);
        set_count(list);
        pugi::xml_node styles = dest_list("cellStyles");
        pugi::xml_node added = styles.append_copy(named);
        reprefix(added, prefix_of(root), ns_prefix_);
        added.attribute("xfId").set_value(index);
        set_count(styles);
    }
    changed_ = true;
    return true;
}

std::string StyleMerge::destination_xml() const {
    std::ostringstream out;
    dst_.save(out, "", pugi::format_raw, pugi::encoding_utf8);
    return out.str();
}

}  // namespace sheaflow::xl::native
