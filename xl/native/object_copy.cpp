// Objects copied onto a sheet of the same or another workbook: shapes, pictures and charts of
// the drawing part with the parts they use (a chart's references to the source workbook's sheets
// become links to that workbook); embedded objects and controls with their shapes in both
// drawings and their entries in the sheet part, under a new shape number; notes with their box
// and their threaded comments. Pictures added to a sheet.

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <set>

#include "util/text.h"
#include "xl/native/book.h"
#include "xl/native/drawing.h"
#include "xl/native/drawing_objects.h"
#include "xl/native/sheet_xml.h"
#include "xl/native/structure_copy.h"
#include "xl/native/structure_support.h"

namespace sheaflow::xl::native {

using namespace drawing;

namespace {

constexpr double kEmuPerPoint = 12700;
constexpr double kEmuPerPixel = 9525;
constexpr std::string_view kDrawingContentType =
    "application/vnd.openxmlformats-officedocument.drawing+xml";
constexpr std::string_view kVmlContentType =
    "application/vnd.openxmlformats-officedocument.vmlDrawing";
constexpr std::string_view kRelationshipsNs =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships";

Error refused(std::string m) { return Error::make(Error::Code::Refused, std::move(m)); }

// A part's relationships (none yet when it has no relationships part), written back when added
// to.
struct RelsFile {
    std::string name;
    Relationships rels;
    Result<void> load(Book& b, const std::string& part) {
        name = rels_path_for(part);
        if (!b.package().has(name)) return {};
        auto bytes = b.package().read(name);
        if (!bytes) return bytes.error();
        return rels.parse(*bytes, name);
    }
    void store(Book& b) const {
        if (rels.dirty()) b.package().write(name, rels.serialize());
    }
};

// Parts copied from one workbook into another (or into the same one under new names), with the
// parts they refer to; each source part is copied once. `transform` may change a part's text
// on the way (by its content type).
class PartCopier {
public:
    PartCopier(Book& from, Book& to) : from_(from), to_(to) {}

    std::function<std::string(std::string_view type, std::string bytes)> transform;

    // The name of the copy of `part`, made on first use.
    Result<std::string> copy(const std::string& part) {
        if (auto it = done_.find(part); it != done_.end()) return it->second;
        auto bytes = from_.package().read(part);
        if (!bytes) return bytes.error();
        std::string name = new_name(part);
        done_[part] = name;
        auto from_ct = from_.content_types();
        auto to_ct = to_.content_types();
        if (!from_ct) return from_ct.error();
        if (!to_ct) return to_ct.error();
        std::string type = (*from_ct)->type_of(part);
        if (!type.empty() && (*to_ct)->type_of(name) != type) (*to_ct)->set_override(name, type);
        // The copy's relationships keep their ids (the part names them) and point at copies.
        std::string rels_name = rels_path_for(part);
        if (from_.package().has(rels_name)) {
            auto rels = from_.package().read(rels_name);
            if (!rels) return rels.error();
            xml::Document doc;
            if (auto r = xml::load(doc, *rels, rels_name); !r) return r.error();
            for (pugi::xml_node rel : doc.root().children()) {
                if (rel.type() != pugi::node_element) continue;
                if (std::string_view(rel.attribute("TargetMode").value()) == "External") continue;
                std::string target = resolve_target(part, rel.attribute("Target").value());
                auto stored = from_.package().find(target);
                if (!stored) continue;
                auto copied = copy(*stored);
                if (!copied) return copied.error();
                rel.attribute("Target").set_value(relative_target(name, *copied).c_str());
            }
            to_.package().write(rels_path_for(name), xml::save(doc));
        }
        std::string content = transform ? transform(type, std::move(*bytes)) : std::move(*bytes);
        to_.package().write(name, std::move(content));
        return name;
    }

private:
    std::string new_name(const std::string& part) {
        std::size_t slash = part.rfind('/');
        std::string folder = part.substr(0, slash + 1), file = part.substr(slash + 1);
        std::size_t dot = file.rfind('.');
        std::string ext = dot == std::string::npos ? "" : file.substr(dot);
        std::string stem = file.substr(0, dot);
        while (!stem.empty() && std::isdigit(static_cast<unsigned char>(stem.back())))
            stem.pop_back();
        return structure::unique_part_name(to_.package(), folder, stem, ext);
    }

    Book& from_;
    Book& to_;
    std::map<std::string, std::string> done_;
};

// Relationship ids of copied content re-pointed from the source part's relationships to new
// ones of the destination part; internal targets are copied through `parts`.
class Relinker {
public:
    Relinker(Book& from, std::string src_part, Book& to, std::string dst_part, PartCopier& parts)
        : from_(from),
          to_(to),
          src_part_(std::move(src_part)),
          dst_part_(std::move(dst_part)),
          parts_(parts) {}

    Result<void> load() {
        if (auto r = src_.load(from_, src_part_); !r) return r;
        return dst_.load(to_, dst_part_);
    }

    // The destination's id for a source id; "" when the source has no such relationship.
    Result<std::string> id_for(const std::string& id) {
        if (auto it = done_.find(id); it != done_.end()) return it->second;
        auto item = src_.rels.by_id(id);
        if (!item) return std::string();
        std::string new_id;
        if (item->external) {
            new_id = dst_.rels.add_external(item->type, item->target);
        } else {
            auto stored = from_.package().find(resolve_target(src_part_, item->target));
            if (!stored) return std::string();
            auto copied = parts_.copy(*stored);
            if (!copied) return copied.error();
            new_id = dst_.rels.add(item->type, relative_target(dst_part_, *copied));
        }
        done_[id] = new_id;
        return new_id;
    }

    // Every attribute of `n` and its descendants that names a source relationship.
    Result<void> relink(pugi::xml_node n) {
        for (pugi::xml_attribute a : n.attributes()) {
            auto id = id_for(a.value());
            if (!id) return id.error();
            if (!id->empty()) a.set_value(id->c_str());
        }
        for (pugi::xml_node c : n.children())
            if (c.type() == pugi::node_element)
                if (auto r = relink(c); !r) return r;
        return {};
    }

    // The same over the text of a VML shape, whose relationship attributes are o:relid and r:id.
    Result<std::string> relink_text(std::string_view text) {
        std::string out;
        std::size_t i = 0;
        while (true) {
            std::size_t hit = std::min(text.find("relid=\"", i), text.find(":id=\"", i));
            if (hit == std::string_view::npos) break;
            std::size_t v = text.find('"', hit) + 1, e = text.find('"', v);
            if (e == std::string_view::npos) break;
            auto id = id_for(std::string(text.substr(v, e - v)));
            if (!id) return id.error();
            out.append(text.substr(i, v - i));
            out += id->empty() ? std::string(text.substr(v, e - v)) : *id;
            i = e;
        }
        out.append(text.substr(i));
        return out;
    }

    void store() const { dst_.store(to_); }

private:
    Book& from_;
    Book& to_;
    std::string src_part_, dst_part_;
    PartCopier& parts_;
    RelsFile src_, dst_;
    std::map<std::string, std::string> done_;
};

// The prefix of the relationships namespace on a part's root, declared when missing.
std::string relationships_prefix(pugi::xml_node root) {
    for (pugi::xml_attribute a : root.attributes())
        if (std::string_view(a.name()).substr(0, 6) == "xmlns:" &&
            std::string_view(a.value()) == kRelationshipsNs)
            return std::string(a.name()).substr(6);
    root.append_attribute("xmlns:r") = std::string(kRelationshipsNs).c_str();
    return "r";
}

// Namespace declarations of `from`'s root that `to`'s root lacks are added to it, so that
// copied elements keep their prefixes; so is the list of ignorable prefixes when `to` has none.
void declare_namespaces(pugi::xml_node from, pugi::xml_node to) {
    for (pugi::xml_attribute a : from.attributes()) {
        std::string_view n = a.name();
        if ((n.substr(0, 6) == "xmlns:" || n == "xmlns" || xml::local_name(n) == "Ignorable") &&
            !to.attribute(a.name()))
            to.append_attribute(a.name()) = a.value();
    }
}

// The sheet's drawing part, made (with its relationship, its element in the sheet and its
// content type) when the sheet has none.
Result<std::string> drawing_of(Book& b, Sheet& s) {
    auto parts = related_parts(b, s.part_name(), rel::kDrawing);
    if (!parts.empty()) return parts.front();
    std::string name = structure::unique_part_name(b.package(), "xl/drawings/", "drawing", ".xml");
    b.package().write(name,
                      "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
                      "<xdr:wsDr xmlns:xdr=\"http://schemas.openxmlformats.org/drawingml/2006/"
                      "spreadsheetDrawing\" xmlns:a=\"http://schemas.openxmlformats.org/drawingml/"
                      "2006/main\"/>");
    auto ct = b.content_types();
    if (!ct) return ct.error();
    (*ct)->set_override(name, kDrawingContentType);
    Relationships rels;
    std::string rels_name = rels_path_for(s.part_name());
    if (b.package().has(rels_name)) {
        auto bytes = b.package().read(rels_name);
        if (!bytes) return bytes.error();
        if (auto r = rels.parse(*bytes, rels_name); !r) return r.error();
    }
    std::string id = rels.add(rel::kDrawing, relative_target(s.part_name(), name));
    b.package().write(rels_name, rels.serialize());
    auto r = edit_sheet_xml(b, s, [&](pugi::xml_node root) -> Result<bool> {
        std::string rp = relationships_prefix(root);
        pugi::xml_node d = sheet_element(root, "drawing");
        d.append_attribute((rp + ":id").c_str()) = id.c_str();
        return true;
    });
    if (!r) return r.error();
    return name;
}

int largest_shape_id(pugi::xml_node n) {
    int best = 0;
    for (pugi::xml_node c : n.children()) {
        if (c.type() != pugi::node_element) continue;
        if (xml::local_name(c.name()) == "cNvPr") best = std::max(best, c.attribute("id").as_int());
        best = std::max(best, largest_shape_id(c));
    }
    return best;
}

void renumber_shapes(pugi::xml_node n, int& next) {
    for (pugi::xml_node c : n.children()) {
        if (c.type() != pugi::node_element) continue;
        if (xml::local_name(c.name()) == "cNvPr") c.attribute("id").set_value(next++);
        renumber_shapes(c, next);
    }
}

// The first shape number of a VML drawing's block ("<o:idmap data="2"/>": 2048), 0 when it
// names none.
int vml_block_start(std::string_view vml) {
    std::size_t at = vml.find("idmap");
    if (at == std::string_view::npos) return 0;
    std::size_t data = vml.find("data=\"", at);
    if (data == std::string_view::npos) return 0;
    return 1024 * std::atoi(std::string(vml.substr(data + 6, 12)).c_str());
}

// The sheet's legacy drawing (the one its <legacyDrawing> names), made when the sheet has none:
// with its relationship, its element in the sheet, its content type and a block of shape
// numbers that no other drawing of the workbook uses.
Result<std::string> legacy_drawing_of(Book& b, Sheet& s) {
    xml::Document doc;
    if (auto r = read_sheet_xml(b, s, doc); !r) return r.error();
    RelsFile rels;
    if (auto r = rels.load(b, s.part_name()); !r) return r.error();
    for (pugi::xml_attribute a : xml::child(doc.root(), "legacyDrawing").attributes()) {
        if (xml::local_name(a.name()) != "id") continue;
        if (auto item = rels.rels.by_id(a.value()); item && !item->external)
            if (auto stored = b.package().find(resolve_target(s.part_name(), item->target)))
                return *stored;
    }
    int block = 0;
    for (const std::string& part : b.package().part_names())
        if (text::lower(part).ends_with(".vml"))
            if (auto bytes = b.package().read(part))
                block = std::max(block, vml_block_start(*bytes) / 1024);
    std::string name =
        structure::unique_part_name(b.package(), "xl/drawings/", "vmlDrawing", ".vml");
    b.package().write(name,
                      "<xml xmlns:v=\"urn:schemas-microsoft-com:vml\"\r\n"
                      " xmlns:o=\"urn:schemas-microsoft-com:office:office\"\r\n"
                      " xmlns:x=\"urn:schemas-microsoft-com:office:excel\">\r\n"
                      " <o:shapelayout v:ext=\"edit\">\r\n"
                      "  <o:idmap v:ext=\"edit\" data=\"" +
                          std::to_string(block + 1) +
                          "\"/>\r\n"
                          " </o:shapelayout></xml>");
    auto ct = b.content_types();
    if (!ct) return ct.error();
    if ((*ct)->type_of(name) != kVmlContentType) (*ct)->ensure_default("vml", kVmlContentType);
    if ((*ct)->type_of(name) != kVmlContentType) (*ct)->set_override(name, kVmlContentType);
    std::string id = rels.rels.add(rel::kVmlDrawing, relative_target(s.part_name(), name));
    rels.store(b);
    auto r = edit_sheet_xml(b, s, [&](pugi::xml_node root) -> Result<bool> {
        std::string rp = relationships_prefix(root);
        sheet_element(root, "legacyDrawing").append_attribute((rp + ":id").c_str()) = id.c_str();
        return true;
    });
    if (!r) return r.error();
    return name;
}

// A shape of a sheet's VML drawing: the part and the shape's text.
struct VmlShape {
    std::string part;
    std::string text;
};

std::optional<VmlShape> find_vml_shape(Book& b, Sheet& s,
                                       const std::function<bool(std::string_view)>& match) {
    for (const std::string& part : related_parts(b, s.part_name(), rel::kVmlDrawing)) {
        auto bytes = b.package().read(part);
        if (!bytes) continue;
        for (const VmlBlock& blk : vml_blocks(*bytes)) {
            std::string_view block =
                std::string_view(*bytes).substr(blk.begin, blk.end - blk.begin);
            if (match(block)) return VmlShape{part, std::string(block)};
        }
    }
    return std::nullopt;
}

// The rectangle of a VML shape's anchor in EMU.
Rect vml_rect(Grid& g, std::string_view block) {
    std::vector<double> a = anchor_numbers(block);
    if (a.size() != 8) return {};
    Rect r;
    r.x = g.x(static_cast<std::int32_t>(a[0])) + a[1] * kEmuPerPixel;
    r.y = g.y(static_cast<std::int32_t>(a[2])) + a[3] * kEmuPerPixel;
    r.w = g.x(static_cast<std::int32_t>(a[4])) + a[5] * kEmuPerPixel - r.x;
    r.h = g.y(static_cast<std::int32_t>(a[6])) + a[7] * kEmuPerPixel - r.y;
    return r;
}

// The next free shape number of a VML drawing (and of the sheet's drawing, whose controls and
// embedded objects share the numbers).
int next_shape_number(std::string_view vml, int largest_in_drawing) {
    int best = vml_block_start(vml);
    for (const VmlBlock& blk : vml_blocks(vml))
        best = std::max(best, vml_shape_number(vml.substr(blk.begin, blk.end - blk.begin)));
    if (largest_in_drawing >= best && largest_in_drawing < best + 1024) best = largest_in_drawing;
    return best + 1;
}

// Text with the shape number `from` ("_x0000_s1025") written as `to`.
std::string with_shape_number(std::string_view text, int from, int to) {
    const std::string key = "_x0000_s" + std::to_string(from);
    std::string out;
    std::size_t i = 0;
    while (true) {
        std::size_t hit = text.find(key, i);
        if (hit == std::string_view::npos) break;
        std::size_t after = hit + key.size();
        out.append(text.substr(i, hit - i));
        if (after < text.size() && std::isdigit(static_cast<unsigned char>(text[after])))
            out.append(key);
        else
            out += "_x0000_s" + std::to_string(to);
        i = after;
    }
    out.append(text.substr(i));
    return out;
}

// The <v:shapetype> a shape names with type="#...", from the VML text that holds it; "" when
// there is none.
std::string shape_type_of(std::string_view vml, std::string_view shape) {
    std::size_t t = shape.find("type=\"#");
    if (t == std::string_view::npos) return {};
    std::size_t e = shape.find('"', t + 7);
    std::string id(shape.substr(t + 7, e - t - 7));
    std::size_t b = vml.find("<v:shapetype id=\"" + id + "\"");
    if (b == std::string_view::npos) return {};
    std::size_t close = vml.find("</v:shapetype>", b), tag_end = vml.find('>', b);
    if (tag_end != std::string_view::npos && vml[tag_end - 1] == '/')
        return std::string(vml.substr(b, tag_end + 1 - b));
    if (close == std::string_view::npos) return {};
    return std::string(vml.substr(b, close + 14 - b));
}

// Adds a copy of a VML shape (its text already renumbered) to the end of the destination's
// VML drawing, with the shape type it names when the drawing lacks it; returns the shape's
// index among the drawing's shapes.
Result<int> add_vml_shape(Book& from, const VmlShape& shape, std::string text, Book& to,
                          const std::string& dest_part, PartCopier& parts) {
    auto source = from.package().read(shape.part);
    if (!source) return source.error();
    auto dest = to.package().read(dest_part);
    if (!dest) return dest.error();
    Relinker links(from, shape.part, to, dest_part, parts);
    if (auto r = links.load(); !r) return r.error();
    auto relinked = links.relink_text(text);
    if (!relinked) return relinked.error();
    std::string insert;
    std::string type = shape_type_of(*source, text);
    std::size_t id_at = type.find("id=\"");
    if (!type.empty() &&
        dest->find(type.substr(id_at, type.find('"', id_at + 4) + 1 - id_at)) == std::string::npos)
        insert = type;
    insert += *relinked;
    std::size_t end = dest->rfind("</xml>");
    if (end == std::string::npos) return refused("VML図形の描画部分を読めません。");
    int index = static_cast<int>(vml_blocks(*dest).size());
    to.package().write(dest_part, dest->substr(0, end) + insert + dest->substr(end));
    links.store();
    return index;
}

void rename_controls(pugi::xml_node n, const std::string& name) {
    if (xml::local_name(n.name()) == "control" && n.attribute("name"))
        n.attribute("name").set_value(name.c_str());
    for (pugi::xml_node c : n.children())
        if (c.type() == pugi::node_element) rename_controls(c, name);
}

bool names_shape(pugi::xml_node n, int number) {
    if (n.attribute("shapeId").as_int() == number) return true;
    for (pugi::xml_node c : n.children())
        if (c.type() == pugi::node_element && names_shape(c, number)) return true;
    return false;
}

void set_shape_ids(pugi::xml_node n, int from, int to) {
    if (pugi::xml_attribute a = n.attribute("shapeId"); a && a.as_int() == from) a.set_value(to);
    for (pugi::xml_node c : n.children())
        if (c.type() == pugi::node_element) set_shape_ids(c, from, to);
}

// The <anchor> of an embedded object's or control's properties placed on a rectangle.
void place_anchors(pugi::xml_node n, Grid& g, const Rect& r) {
    for (pugi::xml_node c : n.children()) {
        if (c.type() != pugi::node_element) continue;
        if (xml::local_name(c.name()) != "anchor") {
            place_anchors(c, g, r);
            continue;
        }
        if (pugi::xml_node from = xml::child(c, "from")) write_marker(from, corner_at(g, r.x, r.y));
        if (pugi::xml_node to = xml::child(c, "to"))
            write_marker(to, corner_at(g, r.x + r.w, r.y + r.h));
    }
}

// Copies the sheet part's entries of shape `number` (<oleObject> and <control>, with the
// alternate-content blocks that hold them) onto the destination sheet as shape `new_number`,
// with the parts they name; their anchors go to `at` when given.
Result<void> copy_sheet_entries(Book& from, Sheet& src, int number, Book& to, Sheet& dst,
                                int new_number, PartCopier& parts, const std::optional<Rect>& at,
                                const std::string& control_name) {
    xml::Document source;
    if (auto r = read_sheet_xml(from, src, source); !r) return r;
    std::vector<std::pair<const char*, pugi::xml_node>> entries;
    for (const char* list : {"oleObjects", "controls"})
        for (pugi::xml_node c : xml::child(source.root(), list).children())
            if (c.type() == pugi::node_element && names_shape(c, number))
                entries.emplace_back(list, c);
    if (entries.empty()) return {};
    Relinker links(from, src.part_name(), to, dst.part_name(), parts);
    if (auto r = links.load(); !r) return r;
    Grid g(dst, to);
    auto r = edit_sheet_xml(to, dst, [&](pugi::xml_node root) -> Result<bool> {
        declare_namespaces(source.root(), root);
        for (const auto& [list, entry] : entries) {
            pugi::xml_node copy = sheet_element(root, list).append_copy(entry);
            set_shape_ids(copy, number, new_number);
            if (!control_name.empty()) rename_controls(copy, control_name);
            if (auto linked = links.relink(copy); !linked) return linked.error();
            if (at) place_anchors(copy, g, *at);
        }
        return true;
    });
    if (!r) return r;
    links.store();
    return {};
}

constexpr std::string_view kActiveXRel =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/control";

void control_names(pugi::xml_node n, std::set<std::string>& out) {
    for (pugi::xml_node c : n.children()) {
        if (c.type() != pugi::node_element) continue;
        if (xml::local_name(c.name()) == "control")
            out.insert(text::upper(c.attribute("name").value()));
        control_names(c, out);
    }
}

// The name an ActiveX control of shape `number` takes on the destination sheet: its own, or,
// when a control there has it already, its stem with the next free number ("CommandButton2"),
// as the sheet's code knows each control by a name of its own. "" for anything else.
Result<std::string> new_activex_name(Book& from, Sheet& src, int number, Book& to, Sheet& dst) {
    xml::Document source, dest;
    if (auto r = read_sheet_xml(from, src, source); !r) return r.error();
    RelsFile rels;
    if (auto r = rels.load(from, src.part_name()); !r) return r.error();
    std::string name;
    std::function<void(pugi::xml_node)> look = [&](pugi::xml_node n) {
        for (pugi::xml_node c : n.children()) {
            if (c.type() != pugi::node_element) continue;
            if (xml::local_name(c.name()) == "control" && c.attribute("shapeId").as_int() == number)
                for (pugi::xml_attribute a : c.attributes())
                    if (xml::local_name(a.name()) == "id")
                        if (auto item = rels.rels.by_id(a.value());
                            item && item->type == kActiveXRel)
                            name = c.attribute("name").value();
            look(c);
        }
    };
    look(xml::child(source.root(), "controls"));
    if (name.empty()) return std::string();
    if (auto r = read_sheet_xml(to, dst, dest); !r) return r.error();
    std::set<std::string> taken;
    control_names(xml::child(dest.root(), "controls"), taken);
    if (!taken.count(text::upper(name))) return name;
    std::string stem = name;
    while (!stem.empty() && std::isdigit(static_cast<unsigned char>(stem.back()))) stem.pop_back();
    for (int n = 1;; ++n)
        if (!taken.count(text::upper(stem + std::to_string(n)))) return stem + std::to_string(n);
}

// An embedded object or a control: its drawing shape (when it has one), its VML shape and its
// entries in the sheet part, under the next shape number of the destination's VML drawing.
Result<void> copy_legacy_object(Book& from, Sheet& src, const Found& f, Book& to, Sheet& dst,
                                std::optional<CellRef> cell) {
    auto shape = find_vml_shape(
        from, src, [&](std::string_view block) { return vml_shape_number(block) == f.shape_id; });
    if (!shape || f.shape_id <= 0)
        return refused("「" + f.obj.name + "」はVML図形がないため、コピーできません。");
    auto control_name = new_activex_name(from, src, f.shape_id, to, dst);
    if (!control_name) return control_name.error();
    PartCopier parts(from, to);
    std::optional<DrawingEdit> source_drawing;
    if (f.where == Found::Where::Drawing) {
        source_drawing.emplace();
        if (auto r = source_drawing->load(from, f); !r) return r;
    }
    // The parts of the destination sheet first, so that each later step reads the sheet's
    // relationships as they end up.
    std::optional<std::string> dest_drawing;
    if (source_drawing) {
        auto d = drawing_of(to, dst);
        if (!d) return d.error();
        dest_drawing = *d;
    }
    auto dest_vml = legacy_drawing_of(to, dst);
    if (!dest_vml) return dest_vml.error();
    auto vml_text = to.package().read(*dest_vml);
    if (!vml_text) return vml_text.error();
    EditedPart d;
    if (dest_drawing)
        if (auto r = d.load(to, *dest_drawing); !r) return r;
    const int number =
        next_shape_number(*vml_text, dest_drawing ? largest_shape_id(d.doc.root()) : 0);

    std::optional<Rect> at;
    if (cell) {
        Grid sg(src, from);
        Rect size = source_drawing ? anchor_rect(sg, source_drawing->anchor, source_drawing->object)
                                   : vml_rect(sg, shape->text);
        Grid dg(dst, to);
        at = Rect{dg.x(cell->col - 1), dg.y(cell->row - 1), size.w, size.h};
    }
    if (source_drawing) {
        pugi::xml_node copy = d.doc.root().append_copy(source_drawing->top);
        declare_namespaces(source_drawing->part.doc.root(), d.doc.root());
        Relinker links(from, f.part, to, *dest_drawing, parts);
        if (auto r = links.load(); !r) return r;
        if (auto r = links.relink(copy); !r) return r;
        // The shape's id and its compatibility link to the VML shape ("_x0000_s1025").
        const std::string old_spid = "_x0000_s" + std::to_string(f.shape_id);
        const std::string new_spid = "_x0000_s" + std::to_string(number);
        std::function<void(pugi::xml_node)> renumber = [&](pugi::xml_node n) {
            for (pugi::xml_node c : n.children()) {
                if (c.type() != pugi::node_element) continue;
                if (xml::local_name(c.name()) == "cNvPr" &&
                    c.attribute("id").as_int() == f.shape_id) {
                    c.attribute("id").set_value(number);
                    if (!control_name->empty() && c.attribute("name"))
                        c.attribute("name").set_value(control_name->c_str());
                }
                for (pugi::xml_attribute a : c.attributes())
                    if (old_spid == a.value()) a.set_value(new_spid.c_str());
                renumber(c);
            }
        };
        renumber(copy);
        if (at) {
            Grid dg(dst, to);
            pugi::xml_node anchor = anchor_of(copy);
            write_rect(dg, anchor, object_of(anchor), *at);
        }
        d.changed = true;
        d.store(to);
        links.store();
    }
    std::string vml = with_shape_number(shape->text, f.shape_id, number);
    if (!control_name->empty() && *control_name != f.obj.name)
        vml = text::replace_all(vml, "id=\"" + f.obj.name + "\"", "id=\"" + *control_name + "\"");
    auto index = add_vml_shape(from, *shape, std::move(vml), to, *dest_vml, parts);
    if (!index) return index.error();
    if (at) {
        Found placed;
        placed.where = Found::Where::Vml;
        placed.part = *dest_vml;
        placed.index = *index;
        if (auto r = edit_vml_rect(to, dst, placed, [&](const Rect&) { return *at; }); !r) return r;
    }
    return copy_sheet_entries(from, src, f.shape_id, to, dst, number, parts, at, *control_name);
}

constexpr std::string_view kThreadedRel =
    "http://schemas.microsoft.com/office/2017/10/relationships/threadedComment";
constexpr std::string_view kThreadedType = "application/vnd.ms-excel.threadedcomments+xml";
constexpr std::string_view kPersonRel =
    "http://schemas.microsoft.com/office/2017/10/relationships/person";
constexpr std::string_view kPersonType = "application/vnd.ms-excel.person+xml";
constexpr std::string_view kThreadedNs =
    "http://schemas.microsoft.com/office/spreadsheetml/2018/threadedcomments";
constexpr std::string_view kMainNs = "http://schemas.openxmlformats.org/spreadsheetml/2006/main";

// The part that the sheet's relationship of a type points to, made from `empty` (with the
// relationship and its content type) when the sheet has none.
Result<std::string> sheet_part_of(Book& b, Sheet& s, std::string_view rel_type,
                                  std::string_view folder, std::string_view stem,
                                  std::string_view type, const std::string& empty) {
    auto parts = related_parts(b, s.part_name(), rel_type);
    if (!parts.empty()) return parts.front();
    std::string name = structure::unique_part_name(b.package(), folder, stem, ".xml");
    b.package().write(name, empty);
    auto ct = b.content_types();
    if (!ct) return ct.error();
    (*ct)->set_override(name, type);
    RelsFile rels;
    if (auto r = rels.load(b, s.part_name()); !r) return r.error();
    rels.rels.add(rel_type, relative_target(s.part_name(), name));
    rels.store(b);
    return name;
}

// The workbook's persons part (the authors of threaded comments), made when missing.
Result<std::string> persons_of(Book& b) {
    if (auto item = b.workbook_rels().by_type(kPersonRel); item && !item->external)
        if (auto stored = b.package().find(resolve_target(b.workbook_part_name(), item->target)))
            return *stored;
    std::string folder = b.workbook_part_name().substr(0, b.workbook_part_name().rfind('/') + 1);
    std::string name =
        structure::unique_part_name(b.package(), folder + "persons/", "person", ".xml");
    b.package().write(name,
                      "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
                      "<personList xmlns=\"" +
                          std::string(kThreadedNs) + "\" xmlns:x=\"" + std::string(kMainNs) +
                          "\"/>");
    auto ct = b.content_types();
    if (!ct) return ct.error();
    (*ct)->set_override(name, kPersonType);
    b.workbook_rels().add(kPersonRel, relative_target(b.workbook_part_name(), name));
    return name;
}

bool at_cell(pugi::xml_node n, CellRef cell) {
    auto a = parse_address(n.attribute("ref").value());
    return a && a->first_row == cell.row && a->first_col == cell.col;
}

std::string cell_name(CellRef c) {
    return format_address({c.row, c.col, c.row, c.col}, false, false);
}

// A note copied onto a cell: its entry in the comments part (its author listed there), its
// VML box (placed as it sat beside its cell) and its threaded comment with the replies and
// their persons, under new identifiers. A note the cell had is replaced.
Result<void> copy_note(Book& from, Sheet& src, CellRef cell, Book& to, Sheet& dst, CellRef dest) {
    auto comments = related_parts(from, src.part_name(), rel::kComments);
    EditedPart source;
    if (comments.empty()) return refused("コメントが見つかりません。");
    if (auto r = source.load(from, comments.front()); !r) return r;
    pugi::xml_node note;
    for (pugi::xml_node c : xml::child(source.doc.root(), "commentList").children())
        if (c.type() == pugi::node_element && at_cell(c, cell)) note = c;
    if (!note) return refused("コメントが見つかりません。");
    std::string author;
    int index = 0;
    for (pugi::xml_node a : xml::child(source.doc.root(), "authors").children())
        if (a.type() == pugi::node_element && index++ == note.attribute("authorId").as_int())
            author = a.text().get();
    // The thread, in its order; every comment of it gets a new id.
    EditedPart threads;
    std::vector<pugi::xml_node> thread;
    std::map<std::string, std::string> new_ids;
    std::set<std::string> persons;
    auto threaded = related_parts(from, src.part_name(), kThreadedRel);
    if (!threaded.empty()) {
        if (auto r = threads.load(from, threaded.front()); !r) return r;
        for (pugi::xml_node t : threads.doc.root().children())
            if (t.type() == pugi::node_element && at_cell(t, cell)) {
                thread.push_back(t);
                new_ids[t.attribute("id").value()] = new_guid();
                persons.insert(t.attribute("personId").value());
            }
    }
    std::string root_id;
    for (pugi::xml_node t : thread)
        if (!t.attribute("parentId")) root_id = new_ids[t.attribute("id").value()];

    Area target{dest.row, dest.col, dest.row, dest.col};
    if (auto r = dst.clear_cells(target, kClearComments); !r) return r;

    // The comments part: the author (a thread's own, "tc=" and its id) and the note.
    auto dest_comments = sheet_part_of(
        to, dst, rel::kComments, "xl/", "comments", structure::kCommentsType,
        "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n<comments xmlns=\"" +
            std::string(kMainNs) + "\"><authors/><commentList/></comments>");
    if (!dest_comments) return dest_comments.error();
    EditedPart dc;
    if (auto r = dc.load(to, *dest_comments); !r) return r;
    pugi::xml_node root = dc.doc.root();
    declare_namespaces(source.doc.root(), root);
    const std::string prefix = xml::prefix_of(root);
    pugi::xml_node authors = xml::child(root, "authors");
    if (!authors) authors = root.prepend_child((prefix + "authors").c_str());
    if (!root_id.empty()) author = "tc=" + root_id;
    int author_id = 0;
    bool listed = false;
    for (pugi::xml_node a : authors.children()) {
        if (a.type() != pugi::node_element) continue;
        if (a.text().get() == author) {
            listed = true;
            break;
        }
        ++author_id;
    }
    if (!listed) authors.append_child((prefix + "author").c_str()).text().set(author.c_str());
    pugi::xml_node list = xml::child(root, "commentList");
    if (!list) list = root.append_child((prefix + "commentList").c_str());
    pugi::xml_node copy = list.append_copy(note);
    copy.set_name((prefix + "comment").c_str());
    copy.attribute("ref").set_value(cell_name(dest).c_str());
    if (!copy.attribute("authorId")) copy.append_attribute("authorId");
    copy.attribute("authorId").set_value(author_id);
    for (pugi::xml_attribute a : copy.attributes())
        if (xml::local_name(a.name()) == "uid") {
            if (root_id.empty())
                copy.remove_attribute(a);
            else
                a.set_value(root_id.c_str());
            break;
        }
    dc.changed = true;
    dc.store(to);

    // The box of the legacy drawing, as far right of and below its cell as it was.
    PartCopier parts(from, to);
    auto shape = find_vml_shape(from, src, [&](std::string_view block) {
        std::size_t row = block.find("<x:Row>"), col = block.find("<x:Column>");
        return block.find("ObjectType=\"Note\"") != std::string_view::npos &&
               row != std::string_view::npos && col != std::string_view::npos &&
               std::atoi(std::string(block.substr(row + 7, 8)).c_str()) == cell.row - 1 &&
               std::atoi(std::string(block.substr(col + 10, 8)).c_str()) == cell.col - 1;
    });
    if (shape) {
        auto dest_vml = legacy_drawing_of(to, dst);
        if (!dest_vml) return dest_vml.error();
        auto vml_text = to.package().read(*dest_vml);
        if (!vml_text) return vml_text.error();
        const int number = next_shape_number(*vml_text, 0);
        std::string text = with_shape_number(shape->text, vml_shape_number(shape->text), number);
        for (auto [tag, value] : {std::pair{std::string("<x:Row>"), dest.row - 1},
                                  std::pair{std::string("<x:Column>"), dest.col - 1}}) {
            std::size_t at = text.find(tag) + tag.size();
            text.replace(at, text.find('<', at) - at, std::to_string(value));
        }
        auto added = add_vml_shape(from, *shape, std::move(text), to, *dest_vml, parts);
        if (!added) return added.error();
        Grid sg(src, from), dg(dst, to);
        Rect r = vml_rect(sg, shape->text);
        Rect moved{dg.x(dest.col - 1) + r.x - sg.x(cell.col - 1),
                   dg.y(dest.row - 1) + r.y - sg.y(cell.row - 1), r.w, r.h};
        Found placed;
        placed.where = Found::Where::Vml;
        placed.part = *dest_vml;
        placed.index = *added;
        if (auto r2 = edit_vml_rect(to, dst, placed, [&](const Rect&) { return moved; }); !r2)
            return r2;
    }
    if (thread.empty()) return {};

    auto dest_threads = sheet_part_of(
        to, dst, kThreadedRel, "xl/threadedComments/", "threadedComment", kThreadedType,
        "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n<ThreadedComments "
        "xmlns=\"" +
            std::string(kThreadedNs) + "\" xmlns:x=\"" + std::string(kMainNs) + "\"/>");
    if (!dest_threads) return dest_threads.error();
    EditedPart dt;
    if (auto r = dt.load(to, *dest_threads); !r) return r;
    declare_namespaces(threads.doc.root(), dt.doc.root());
    for (pugi::xml_node t : thread) {
        pugi::xml_node c = dt.doc.root().append_copy(t);
        c.set_name((xml::prefix_of(dt.doc.root()) + "threadedComment").c_str());
        c.attribute("ref").set_value(cell_name(dest).c_str());
        c.attribute("id").set_value(new_ids[t.attribute("id").value()].c_str());
        if (pugi::xml_attribute p = c.attribute("parentId"))
            p.set_value(new_ids[p.value()].c_str());
    }
    dt.changed = true;
    dt.store(to);
    return merge_persons(from, to, persons);
}

}  // namespace

std::string new_guid() {
    static std::mt19937_64 random{std::random_device{}()};
    const std::uint64_t a = random(), b = random();
    char buf[40];
    std::snprintf(buf, sizeof buf, "{%08X-%04X-4%03X-%04X-%012llX}", static_cast<unsigned>(a >> 32),
                  static_cast<unsigned>((a >> 16) & 0xFFFF), static_cast<unsigned>(a & 0xFFF),
                  static_cast<unsigned>(0x8000 | ((b >> 48) & 0x3FFF)),
                  static_cast<unsigned long long>(b & 0xFFFFFFFFFFFFULL));
    return buf;
}

Result<void> merge_persons(Book& from, Book& to, const std::set<std::string>& ids) {
    auto item = from.workbook_rels().by_type(kPersonRel);
    if (!item || ids.empty()) return {};
    auto source_part = from.package().find(resolve_target(from.workbook_part_name(), item->target));
    if (!source_part) return {};
    EditedPart source;
    if (auto r = source.load(from, *source_part); !r) return r;
    auto dest_part = persons_of(to);
    if (!dest_part) return dest_part.error();
    EditedPart dest;
    if (auto r = dest.load(to, *dest_part); !r) return r;
    std::set<std::string> present;
    for (pugi::xml_node p : dest.doc.root().children())
        if (p.type() == pugi::node_element) present.insert(p.attribute("id").value());
    for (pugi::xml_node p : source.doc.root().children()) {
        if (p.type() != pugi::node_element) continue;
        std::string id = p.attribute("id").value();
        if (!ids.count(id) || present.count(id)) continue;
        pugi::xml_node copy = dest.doc.root().append_copy(p);
        copy.set_name((xml::prefix_of(dest.doc.root()) + "person").c_str());
        present.insert(id);
        dest.changed = true;
    }
    dest.store(to);
    return {};
}

Result<void> Sheet::copy_object(const SheetObject& o, Worksheet& dest, std::optional<CellRef> to) {
    auto* target = dynamic_cast<Sheet*>(&dest);
    if (!target || !target->has_cells()) return refused("貼り付け先がワークシートではありません。");
    if (to && (to->row < 1 || to->col < 1 || to->row > rows_count() || to->col > columns_count()))
        return refused("貼り付け先のセルがシートの範囲外です。");
    if (auto r = target->check(); !r) return r;
    auto f = drawing::find(book_, *this, o);
    if (!f) return f.error();
    Book& db = target->book_;
    if (o.kind == ObjectKind::Hyperlink) {
        for (Hyperlink h : hyperlinks()) {
            if (h.row != f->cell.row || h.col != f->cell.col) continue;
            if (to) h.row = to->row, h.col = to->col;
            return target->add_hyperlink(h);
        }
        return refused("ハイパーリンクが見つかりません。");
    }
    if (o.kind == ObjectKind::Comment) {
        CellRef cell = to ? *to : f->cell;
        if (target == this && cell.row == f->cell.row && cell.col == f->cell.col) return {};
        auto r = copy_note(book_, *this, f->cell, db, *target, cell);
        target->comments_loaded_ = false;
        target->comments_.clear();
        db.set_saved(false);
        return r;
    }
    if (o.kind == ObjectKind::OleObject || o.kind == ObjectKind::Control ||
        f->where == Found::Where::Vml) {
        auto r = copy_legacy_object(book_, *this, *f, db, *target, to);
        db.set_saved(false);
        return r;
    }
    if (f->where != Found::Where::Drawing)
        return refused("「" + o.name + "」はコピーできない種類のオブジェクトです。");
    DrawingEdit src;
    if (auto r = src.load(book_, *f); !r) return r;
    Grid sg(*this, book_);
    Rect rect = anchor_rect(sg, src.anchor, src.object);
    auto dpart = drawing_of(db, *target);
    if (!dpart) return dpart.error();
    EditedPart d;
    if (auto r = d.load(db, *dpart); !r) return r;
    int next = largest_shape_id(d.doc.root()) + 1;
    pugi::xml_node copy = d.doc.root().append_copy(src.top);
    declare_namespaces(src.part.doc.root(), d.doc.root());
    PartCopier parts(book_, db);
    // A chart copied into another workbook reads the source's cells through a link to the
    // source workbook, as its references named sheets of that workbook.
    std::optional<PasteTransfer> transfer;
    if (&db != &book_) {
        transfer.emplace(book_, db);
        parts.transform = [&](std::string_view type, std::string bytes) {
            if (type != structure::kChartType && type != structure::kChartExType) return bytes;
            auto edited = rewrite_part_formulas(
                bytes, [&](std::string_view formula) { return transfer->formula(formula); });
            return edited ? std::move(*edited) : bytes;
        };
    }
    Relinker links(book_, f->part, db, *dpart, parts);
    if (auto r = links.load(); !r) return r;
    if (auto r = links.relink(copy); !r) return r;
    renumber_shapes(copy, next);
    if (to) {
        Grid dg(*target, db);
        pugi::xml_node anchor = anchor_of(copy);
        write_rect(dg, anchor, object_of(anchor),
                   Rect{dg.x(to->col - 1), dg.y(to->row - 1), rect.w, rect.h});
    }
    d.changed = true;
    d.store(db);
    links.store();
    if (transfer)
        if (auto r = transfer->finish(); !r) return r;
    db.set_saved(false);
    return {};
}

Result<void> Sheet::add_picture(const std::string& png, CellRef at, double width, double height) {
    if (!has_cells()) return refused("画像を貼り付けられるのはワークシートだけです。");
    if (at.row < 1 || at.col < 1 || at.row > rows_count() || at.col > columns_count())
        return refused("画像を貼り付けるセルがシートの範囲外です。");
    if (width <= 0 || height <= 0) return refused("画像の大きさが正しくありません。");
    if (auto r = check(); !r) return r;
    auto dpart = drawing_of(book_, *this);
    if (!dpart) return dpart.error();
    EditedPart d;
    if (auto r = d.load(book_, *dpart); !r) return r;
    // The picture's bytes become a media part that the drawing refers to.
    std::string media = structure::unique_part_name(book_.package(), "xl/media/", "image", ".png");
    auto ct = book_.content_types();
    if (!ct) return ct.error();
    (*ct)->ensure_default("png", "image/png");
    Relationships rels;
    std::string rels_name = rels_path_for(*dpart);
    if (book_.package().has(rels_name)) {
        auto bytes = book_.package().read(rels_name);
        if (!bytes) return bytes.error();
        if (auto r = rels.parse(*bytes, rels_name); !r) return r;
    }
    std::string id =
        rels.add("http://schemas.openxmlformats.org/officeDocument/2006/relationships/image",
                 relative_target(*dpart, media));

    // Elements take the prefixes the part already uses for its two namespaces.
    pugi::xml_node root = d.doc.root();
    std::string_view root_name = root.name();
    std::size_t colon = root_name.find(':');
    const std::string x = colon == std::string_view::npos
                              ? std::string()
                              : std::string(root_name.substr(0, colon + 1));
    std::string a;
    for (pugi::xml_attribute attr : root.attributes())
        if (std::string_view(attr.value()) ==
                "http://schemas.openxmlformats.org/drawingml/2006/main" &&
            std::string_view(attr.name()).substr(0, 6) == "xmlns:")
            a = std::string(attr.name()).substr(6) + ":";
    if (a.empty()) {
        root.append_attribute("xmlns:a") = "http://schemas.openxmlformats.org/drawingml/2006/main";
        a = "a:";
    }
    auto el = [](pugi::xml_node parent, const std::string& name) {
        return parent.append_child(name.c_str());
    };
    const int shape_id = largest_shape_id(root) + 1;
    pugi::xml_node anchor = el(root, x + "twoCellAnchor");
    anchor.append_attribute("editAs") = "oneCell";
    for (const char* corner : {"from", "to"}) {
        pugi::xml_node m = el(anchor, x + corner);
        for (const char* part : {"col", "colOff", "row", "rowOff"}) el(m, x + part).text() = "0";
    }
    pugi::xml_node pic = el(anchor, x + "pic");
    pugi::xml_node nv = el(pic, x + "nvPicPr");
    pugi::xml_node cnv = el(nv, x + "cNvPr");
    cnv.append_attribute("id") = shape_id;
    cnv.append_attribute("name") = ("図 " + std::to_string(shape_id)).c_str();
    el(el(nv, x + "cNvPicPr"), a + "picLocks").append_attribute("noChangeAspect") = "1";
    pugi::xml_node fill = el(pic, x + "blipFill");
    pugi::xml_node blip = el(fill, a + "blip");
    blip.append_attribute("xmlns:r") =
        "http://schemas.openxmlformats.org/officeDocument/2006/relationships";
    blip.append_attribute("r:embed") = id.c_str();
    el(el(fill, a + "stretch"), a + "fillRect");
    pugi::xml_node sp = el(pic, x + "spPr");
    pugi::xml_node xfrm = el(sp, a + "xfrm");
    pugi::xml_node off = el(xfrm, a + "off");
    off.append_attribute("x") = "0";
    off.append_attribute("y") = "0";
    pugi::xml_node ext = el(xfrm, a + "ext");
    ext.append_attribute("cx") = "1";
    ext.append_attribute("cy") = "1";
    pugi::xml_node geom = el(sp, a + "prstGeom");
    geom.append_attribute("prst") = "rect";
    el(geom, a + "avLst");
    el(anchor, x + "clientData");

    Grid g(*this, book_);
    write_rect(g, anchor, pic,
               Rect{g.x(at.col - 1), g.y(at.row - 1), width * kEmuPerPoint, height * kEmuPerPoint});
    book_.package().write(media, png);
    book_.package().write(rels_name, rels.serialize());
    d.changed = true;
    d.store(book_);
    book_.set_saved(false);
    return {};
}

}  // namespace sheaflow::xl::native
