#include "xl/native/cell_formats.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "xl/native/book.h"
#include "xl/native/content_types.h"
#include "xl/native/numfmt.h"
#include "xl/native/relationships.h"

namespace sheaflow::xl::native {
namespace {

const char* kDefaultStyles =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
    "<styleSheet xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\">"
    "<fonts count=\"1\"><font><sz val=\"11\"/><color theme=\"1\"/><name val=\"Calibri\"/>"
    "<family val=\"2\"/></font></fonts>"
    "<fills count=\"2\"><fill><patternFill patternType=\"none\"/></fill>"
    "<fill><patternFill patternType=\"gray125\"/></fill></fills>"
    "<borders count=\"1\"><border><left/><right/><top/><bottom/><diagonal/></border></borders>"
    "<cellStyleXfs count=\"1\"><xf numFmtId=\"0\" fontId=\"0\" fillId=\"0\" borderId=\"0\"/>"
    "</cellStyleXfs>"
    "<cellXfs count=\"1\"><xf numFmtId=\"0\" fontId=\"0\" fillId=\"0\" borderId=\"0\" xfId=\"0\"/>"
    "</cellXfs>"
    "<cellStyles count=\"1\"><cellStyle name=\"Normal\" xfId=\"0\" builtinId=\"0\"/></cellStyles>"
    "</styleSheet>";

// The order of the style sheet's lists, for inserting one that is missing.
const char* const kSheetOrder[] = {"numFmts", "fonts",      "fills",  "borders",   "cellStyleXfs",
                                   "cellXfs", "cellStyles", "dxfs",   "tableStyles", "colors",
                                   "extLst"};
// The order of a border's edges.
const char* const kEdgeOrder[] = {"start", "left", "end", "right", "top", "bottom", "diagonal",
                                  "vertical", "horizontal"};

bool truthy(pugi::xml_attribute a, bool missing) {
    if (!a) return missing;
    std::string_view v = a.value();
    return v == "1" || v == "true" || v == "on";
}

pugi::xml_node nth_element(pugi::xml_node list, std::uint32_t index) {
    std::uint32_t i = 0;
    for (pugi::xml_node n = list.first_child(); n; n = n.next_sibling()) {
        if (n.type() != pugi::node_element) continue;
        if (i++ == index) return n;
    }
    return {};
}

std::uint32_t element_count(pugi::xml_node list) {
    std::uint32_t i = 0;
    for (pugi::xml_node n = list.first_child(); n; n = n.next_sibling())
        if (n.type() == pugi::node_element) ++i;
    return i;
}

void set_attr(pugi::xml_node n, const char* name, const std::string& value) {
    pugi::xml_attribute a = n.attribute(name);
    if (!a) a = n.append_attribute(name);
    a.set_value(value.c_str());
}

void drop_attr(pugi::xml_node n, const char* name) { n.remove_attribute(name); }

// The child `local`, created with the element's prefix when missing: before the first child
// whose name comes later in `order` (or at the end).
pugi::xml_node ensure_child(pugi::xml_node parent, const char* local,
                            std::initializer_list<const char*> later = {}) {
    if (pugi::xml_node c = xml::child(parent, local)) return c;
    std::string name = xml::prefix_of(parent) + local;
    for (pugi::xml_node n = parent.first_child(); n; n = n.next_sibling()) {
        if (n.type() != pugi::node_element) continue;
        std::string_view ln = xml::local_name(n.name());
        for (const char* l : later)
            if (ln == l) return parent.insert_child_before(name.c_str(), n);
    }
    return parent.append_child(name.c_str());
}

void remove_children(pugi::xml_node parent, const char* local) {
    while (pugi::xml_node c = xml::child(parent, local)) parent.remove_child(c);
}

std::string number_text(double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.15g", v);
    return buf;
}

// <b/> style flag: on when present without val="0".
bool flag(pugi::xml_node font, const char* local) {
    pugi::xml_node n = xml::child(font, local);
    return n && truthy(n.attribute("val"), true);
}

void write_colour(pugi::xml_node parent, const char* local, std::int32_t colour,
                  std::initializer_list<const char*> later = {}) {
    if (colour == kUnknownColour) return;
    if (colour == kAutomaticColour) {
        if (pugi::xml_node c = xml::child(parent, local)) {
            // An automatic colour: auto="1" keeps the element where one is required.
            for (pugi::xml_attribute a = c.first_attribute(); a;) {
                pugi::xml_attribute next = a.next_attribute();
                c.remove_attribute(a);
                a = next;
            }
            c.append_attribute("auto").set_value("1");
        }
        return;
    }
    write_spreadsheet_colour(ensure_child(parent, local, later), colour);
}

}  // namespace

std::string canonical(pugi::xml_node n) {
    std::string out = "<";
    out += xml::local_name(n.name());
    std::vector<std::pair<std::string, std::string>> attrs;
    for (pugi::xml_attribute a : n.attributes()) attrs.emplace_back(a.name(), a.value());
    std::sort(attrs.begin(), attrs.end());
    for (const auto& [k, v] : attrs) out += " " + k + "=\"" + v + "\"";
    out += ">";
    for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling()) {
        if (c.type() == pugi::node_element)
            out += canonical(c);
        else if (c.type() == pugi::node_pcdata || c.type() == pugi::node_cdata)
            out += c.value();
    }
    return out + "</>";
}

Result<void> FormatTable::load(Book& b) {
    part_.clear();
    if (auto item = b.workbook_rels().by_type(rel::kStyles)) {
        std::string part = resolve_target(b.workbook_part_name(), item->target);
        if (auto found = b.package().find(part)) part_ = *found;
    }
    if (part_.empty()) {
        created_ = true;
        std::string dir = b.workbook_part_name().substr(0, b.workbook_part_name().rfind('/') + 1);
        part_ = dir + "styles.xml";
        if (auto r = xml::load(doc_, kDefaultStyles, part_); !r) return r;
    } else {
        auto bytes = b.package().read(part_);
        if (!bytes) return bytes.error();
        if (auto r = xml::load(doc_, *bytes, part_); !r) return r;
    }
    resolver_.load(b, doc_.root());
    cache_.clear();
    cached_.clear();
    index_.clear();
    memo_.clear();
    changed_ = false;
    return {};
}

void FormatTable::store(Book& b) {
    if (!changed_) return;
    if (created_) {
        b.workbook_rels().add(rel::kStyles, relative_target(b.workbook_part_name(), part_));
        if (auto ct = b.content_types()) (*ct)->set_override(part_, ctype::kStyles);
        created_ = false;
    }
    b.package().write(part_, xml::save(doc_));
    changed_ = false;
}

pugi::xml_node FormatTable::list(const char* name, bool create) {
    pugi::xml_node root = doc_.root();
    pugi::xml_node l = xml::child(root, name);
    if (l || !create) return l;
    // Inserted before the first list that comes after it.
    bool after = false;
    std::vector<const char*> later;
    for (const char* n : kSheetOrder) {
        if (after) later.push_back(n);
        if (std::string_view(n) == name) after = true;
    }
    std::string qname = xml::prefix_of(root) + name;
    for (pugi::xml_node n = root.first_child(); n; n = n.next_sibling()) {
        if (n.type() != pugi::node_element) continue;
        for (const char* l2 : later)
            if (xml::local_name(n.name()) == l2) {
                l = root.insert_child_before(qname.c_str(), n);
                l.append_attribute("count").set_value(0);
                return l;
            }
    }
    l = root.append_child(qname.c_str());
    l.append_attribute("count").set_value(0);
    return l;
}

std::uint32_t FormatTable::xf_count() const {
    return element_count(xml::child(doc_.root(), "cellXfs"));
}

std::int32_t FormatTable::colour_of(pugi::xml_node color) const {
    ResolvedColour rc = resolver_.spreadsheet(color);
    if (rc.automatic) return kAutomaticColour;
    return rc.known ? rc.colour : kUnknownColour;
}

FontFormat FormatTable::read_font(pugi::xml_node font) const {
    FontFormat f;
    f.name = xml::child(font, "name").attribute("val").value();
    if (f.name.empty()) f.name = xml::child(font, "rFont").attribute("val").value();
    if (pugi::xml_node sz = xml::child(font, "sz")) f.size = sz.attribute("val").as_double(11);
    f.bold = flag(font, "b");
    f.italic = flag(font, "i");
    f.strike = flag(font, "strike");
    if (pugi::xml_node u = xml::child(font, "u")) {
        std::string v = u.attribute("val").value();
        f.underline = v.empty() ? "single" : v == "none" ? "" : v;
    }
    f.colour = colour_of(xml::child(font, "color"));
    std::string va = xml::child(font, "vertAlign").attribute("val").value();
    f.vert_align = va == "baseline" ? "" : va;
    return f;
}

void FormatTable::write_font(pugi::xml_node font, const FontFormat& was,
                             const FontFormat& want) const {
    auto set_flag = [&](const char* local, bool on) {
        remove_children(font, local);
        if (on) font.prepend_child((xml::prefix_of(font) + local).c_str());
    };
    // Written in reverse of the application's order, each prepended, so that the flags lead.
    if (want.vert_align != was.vert_align) {
        remove_children(font, "vertAlign");
        if (!want.vert_align.empty())
            ensure_child(font, "vertAlign", {"sz", "color", "name", "rFont", "family", "charset",
                                             "scheme"})
                .append_attribute("val")
                .set_value(want.vert_align.c_str());
    }
    if (want.underline != was.underline) {
        remove_children(font, "u");
        if (!want.underline.empty()) {
            pugi::xml_node u = ensure_child(
                font, "u",
                {"vertAlign", "sz", "color", "name", "rFont", "family", "charset", "scheme"});
            if (want.underline != "single") u.append_attribute("val").set_value(want.underline.c_str());
        }
    }
    if (want.strike != was.strike) set_flag("strike", want.strike);
    if (want.italic != was.italic) set_flag("i", want.italic);
    if (want.bold != was.bold) set_flag("b", want.bold);
    if (want.size != was.size)
        set_attr(ensure_child(font, "sz", {"color", "name", "rFont", "family", "charset", "scheme"}),
                 "val", number_text(want.size));
    if (want.colour != was.colour)
        write_colour(font, "color", want.colour, {"name", "rFont", "family", "charset", "scheme"});
    if (want.name != was.name) {
        // A font of the theme's scheme shows the theme's font whatever its name says.
        remove_children(font, "scheme");
        bool run = static_cast<bool>(xml::child(font, "rFont")) ||
                   xml::local_name(font.name()) == "rPr";
        set_attr(ensure_child(font, run ? "rFont" : "name", {"family", "charset", "scheme"}), "val",
                 want.name);
    }
}

const CellFormat& FormatTable::read(std::uint32_t xf) {
    pugi::xml_node xfs = xml::child(doc_.root(), "cellXfs");
    std::uint32_t n = element_count(xfs);
    if (xf >= n) xf = 0;
    if (cache_.size() < n + 1) {
        cache_.resize(n + 1);
        cached_.resize(n + 1, false);
    }
    if (cached_[xf]) return cache_[xf];
    CellFormat f;
    pugi::xml_node x = nth_element(xfs, xf);
    pugi::xml_node root = doc_.root();
    f.font = read_font(nth_element(xml::child(root, "fonts"), x.attribute("fontId").as_uint(0)));
    // Alignment and protection.
    pugi::xml_node al = xml::child(x, "alignment");
    if (std::string h = al.attribute("horizontal").value(); !h.empty()) f.alignment.horizontal = h;
    if (std::string v = al.attribute("vertical").value(); !v.empty()) f.alignment.vertical = v;
    f.alignment.wrap = truthy(al.attribute("wrapText"), false);
    f.alignment.shrink = truthy(al.attribute("shrinkToFit"), false);
    f.alignment.indent = al.attribute("indent").as_int(0);
    f.alignment.rotation = al.attribute("textRotation").as_int(0);
    pugi::xml_node pr = xml::child(x, "protection");
    f.locked = truthy(pr.attribute("locked"), true);
    f.hidden = truthy(pr.attribute("hidden"), false);
    // Fill.
    pugi::xml_node fill =
        nth_element(xml::child(root, "fills"), x.attribute("fillId").as_uint(0));
    if (xml::child(fill, "gradientFill")) {
        f.fill.pattern = "gradient";
    } else if (pugi::xml_node p = xml::child(fill, "patternFill")) {
        std::string type = p.attribute("patternType").value();
        f.fill.pattern = type.empty() ? "none" : type;
        std::int32_t fg = colour_of(xml::child(p, "fgColor"));
        std::int32_t bg = colour_of(xml::child(p, "bgColor"));
        if (f.fill.pattern == "solid") {
            f.fill.colour = fg;
        } else if (f.fill.pattern != "none") {
            f.fill.colour = bg;
            f.fill.pattern_colour = fg;
        }
    }
    // Border.
    pugi::xml_node border =
        nth_element(xml::child(root, "borders"), x.attribute("borderId").as_uint(0));
    auto edge = [&](std::initializer_list<const char*> names) {
        BorderEdge e;
        for (const char* name : names)
            if (pugi::xml_node side = xml::child(border, name)) {
                e.style = side.attribute("style").value();
                if (e.style == "none") e.style.clear();
                if (!e.style.empty()) e.colour = colour_of(xml::child(side, "color"));
                break;
            }
        return e;
    };
    f.border.left = edge({"left", "start"});
    f.border.right = edge({"right", "end"});
    f.border.top = edge({"top"});
    f.border.bottom = edge({"bottom"});
    f.border.diagonal = edge({"diagonal"});
    f.border.diagonal_up = truthy(border.attribute("diagonalUp"), false);
    f.border.diagonal_down = truthy(border.attribute("diagonalDown"), false);
    // Number format.
    int id = x.attribute("numFmtId").as_int(0);
    std::string code;
    for (pugi::xml_node nf = xml::child(root, "numFmts").first_child(); nf; nf = nf.next_sibling())
        if (nf.type() == pugi::node_element && nf.attribute("numFmtId").as_int(-1) == id)
            code = nf.attribute("formatCode").value();
    if (code.empty()) code = numfmt::builtin_code(id);
    f.number_format = code.empty() ? "General" : code;
    // The cell style.
    pugi::xml_attribute style_xf = x.attribute("xfId");
    std::uint32_t sid = style_xf.as_uint(0);
    for (pugi::xml_node cs = xml::child(root, "cellStyles").first_child(); cs;
         cs = cs.next_sibling())
        if (cs.type() == pugi::node_element && cs.attribute("xfId").as_uint(0) == sid) {
            f.style = cs.attribute("name").value();
            break;
        }
    cache_[xf] = std::move(f);
    cached_[xf] = true;
    return cache_[xf];
}

std::vector<std::string> FormatTable::style_names() const {
    std::vector<std::string> out;
    for (pugi::xml_node cs = xml::child(doc_.root(), "cellStyles").first_child(); cs;
         cs = cs.next_sibling())
        if (cs.type() == pugi::node_element) out.push_back(cs.attribute("name").value());
    return out;
}

std::uint32_t FormatTable::find_or_add(const char* list_name, pugi::xml_node entry) {
    pugi::xml_node l = list(list_name, true);
    auto& index = index_[list_name];
    if (index.empty()) {
        std::uint32_t i = 0;
        for (pugi::xml_node n = l.first_child(); n; n = n.next_sibling())
            if (n.type() == pugi::node_element) index.emplace(canonical(n), i++);
    }
    std::string key = canonical(entry);
    if (auto it = index.find(key); it != index.end()) return it->second;
    std::uint32_t at = element_count(l);
    pugi::xml_node last;
    for (pugi::xml_node n = l.last_child(); n; n = n.previous_sibling())
        if (n.type() == pugi::node_element) {
            last = n;
            break;
        }
    pugi::xml_node copy = last ? l.insert_copy_after(entry, last) : l.append_copy(entry);
    // The copy takes the list's own prefix.
    std::string prefix = xml::prefix_of(l);
    struct Renamer : pugi::xml_tree_walker {
        std::string prefix;
        bool for_each(pugi::xml_node& n) override {
            if (n.type() == pugi::node_element)
                n.set_name((prefix + std::string(xml::local_name(n.name()))).c_str());
            return true;
        }
    } renamer;
    renamer.prefix = prefix;
    copy.set_name((prefix + std::string(xml::local_name(copy.name()))).c_str());
    copy.traverse(renamer);
    set_attr(l, "count", std::to_string(at + 1));
    index.emplace(key, at);
    changed_ = true;
    return at;
}

std::uint32_t FormatTable::num_fmt_id(const std::string& code) {
    if (code == "General") return 0;
    pugi::xml_node root = doc_.root();
    std::uint32_t highest = 163;
    for (pugi::xml_node nf = xml::child(root, "numFmts").first_child(); nf;
         nf = nf.next_sibling()) {
        if (nf.type() != pugi::node_element) continue;
        std::uint32_t id = nf.attribute("numFmtId").as_uint(0);
        if (code == nf.attribute("formatCode").value()) return id;
        highest = std::max(highest, id);
    }
    for (int id = 1; id < 164; ++id)
        if (numfmt::builtin_code(id) == code) return static_cast<std::uint32_t>(id);
    pugi::xml_node l = list("numFmts", true);
    pugi::xml_node nf = l.append_child((xml::prefix_of(l) + "numFmt").c_str());
    nf.append_attribute("numFmtId").set_value(highest + 1);
    nf.append_attribute("formatCode").set_value(code.c_str());
    set_attr(l, "count", std::to_string(element_count(l)));
    changed_ = true;
    return highest + 1;
}

namespace {

void write_fill(pugi::xml_node fill, const FillFormat& want, bool dxf) {
    remove_children(fill, "gradientFill");
    pugi::xml_node p = ensure_child(fill, "patternFill");
    if (want.pattern == "none" && !dxf) {
        remove_children(p, "fgColor");
        remove_children(p, "bgColor");
        set_attr(p, "patternType", "none");
        return;
    }
    if (want.pattern == "solid") {
        // A cell format's solid fill shows its foreground; a differential format's its
        // background.
        set_attr(p, "patternType", "solid");
        write_colour(p, dxf ? "bgColor" : "fgColor", want.colour, {"bgColor"});
        if (!dxf) {
            pugi::xml_node bg = ensure_child(p, "bgColor");
            for (pugi::xml_attribute a = bg.first_attribute(); a;) {
                pugi::xml_attribute next = a.next_attribute();
                bg.remove_attribute(a);
                a = next;
            }
            bg.append_attribute("indexed").set_value(64);
        }
        return;
    }
    set_attr(p, "patternType", want.pattern);
    write_colour(p, "fgColor", want.pattern_colour, {"bgColor"});
    write_colour(p, "bgColor", want.colour);
}

void write_edge(pugi::xml_node border, const char* local, const BorderEdge& e) {
    std::vector<const char*> later;
    bool after = false;
    for (const char* n : kEdgeOrder) {
        if (after) later.push_back(n);
        if (std::string_view(n) == local) after = true;
    }
    pugi::xml_node side = xml::child(border, local);
    if (!side) {
        std::string name = xml::prefix_of(border) + local;
        for (pugi::xml_node n = border.first_child(); n && !side; n = n.next_sibling()) {
            if (n.type() != pugi::node_element) continue;
            for (const char* l : later)
                if (xml::local_name(n.name()) == l) {
                    side = border.insert_child_before(name.c_str(), n);
                    break;
                }
        }
        if (!side) side = border.append_child(name.c_str());
    }
    remove_children(side, "color");
    if (e.style.empty()) {
        drop_attr(side, "style");
        return;
    }
    set_attr(side, "style", e.style);
    std::int32_t colour = e.colour == kUnknownColour ? kAutomaticColour : e.colour;
    pugi::xml_node c = side.append_child((xml::prefix_of(side) + "color").c_str());
    if (colour == kAutomaticColour)
        c.append_attribute("auto").set_value("1");
    else
        write_spreadsheet_colour(c, colour);
}

void write_border(pugi::xml_node border, const BorderFormat& was, const BorderFormat& want) {
    // The start/end names of a border mean left/right: the plain names replace them.
    if (want.left != was.left) {
        remove_children(border, "start");
        write_edge(border, "left", want.left);
    }
    if (want.right != was.right) {
        remove_children(border, "end");
        write_edge(border, "right", want.right);
    }
    if (want.top != was.top) write_edge(border, "top", want.top);
    if (want.bottom != was.bottom) write_edge(border, "bottom", want.bottom);
    if (want.diagonal != was.diagonal) write_edge(border, "diagonal", want.diagonal);
    if (want.diagonal_up != was.diagonal_up) {
        if (want.diagonal_up)
            set_attr(border, "diagonalUp", "1");
        else
            drop_attr(border, "diagonalUp");
    }
    if (want.diagonal_down != was.diagonal_down) {
        if (want.diagonal_down)
            set_attr(border, "diagonalDown", "1");
        else
            drop_attr(border, "diagonalDown");
    }
}

std::string format_key(const CellFormat& f) {
    // Everything an edit can set, as text.
    std::string k;
    auto add = [&](const std::string& s) { k += s + '\x1f'; };
    auto font = [&](const FontFormat& x) {
        add(x.name), add(number_text(x.size)), add(x.bold ? "b" : ""), add(x.italic ? "i" : "");
        add(x.underline), add(x.strike ? "s" : ""), add(std::to_string(x.colour)), add(x.vert_align);
    };
    font(f.font);
    const AlignmentFormat& a = f.alignment;
    add(a.horizontal), add(a.vertical), add(a.wrap ? "w" : ""), add(a.shrink ? "s" : "");
    add(std::to_string(a.indent)), add(std::to_string(a.rotation));
    for (const BorderEdge* e : {&f.border.left, &f.border.right, &f.border.top, &f.border.bottom,
                                &f.border.diagonal})
        add(e->style), add(std::to_string(e->colour));
    add(f.border.diagonal_up ? "u" : ""), add(f.border.diagonal_down ? "d" : "");
    add(f.fill.pattern), add(std::to_string(f.fill.colour)),
        add(std::to_string(f.fill.pattern_colour));
    add(f.number_format), add(f.locked ? "l" : ""), add(f.hidden ? "h" : "");
    return k;
}

}  // namespace

std::uint32_t FormatTable::intern(std::uint32_t xf, const CellFormat& was, const CellFormat& want) {
    if (was == want) return xf;
    std::pair<std::uint32_t, std::string> memo_key{xf, format_key(want)};
    if (auto it = memo_.find(memo_key); it != memo_.end()) return it->second;
    pugi::xml_node root = doc_.root();
    pugi::xml_node xfs = list("cellXfs", true);
    pugi::xml_node original = nth_element(xfs, xf);
    pugi::xml_document tmp;
    pugi::xml_node x = original ? tmp.append_copy(original)
                                : tmp.append_child((xml::prefix_of(xfs) + "xf").c_str());
    if (!original)
        for (const char* a : {"numFmtId", "fontId", "fillId", "borderId", "xfId"})
            x.append_attribute(a).set_value(0);
    if (want.font != was.font) {
        pugi::xml_document t;
        pugi::xml_node font = nth_element(xml::child(root, "fonts"), x.attribute("fontId").as_uint());
        pugi::xml_node copy = font ? t.append_copy(font) : t.append_child("font");
        write_font(copy, was.font, want.font);
        set_attr(x, "fontId", std::to_string(find_or_add("fonts", copy)));
        set_attr(x, "applyFont", "1");
    }
    if (want.fill != was.fill) {
        pugi::xml_document t;
        pugi::xml_node fill = nth_element(xml::child(root, "fills"), x.attribute("fillId").as_uint());
        pugi::xml_node copy = fill ? t.append_copy(fill) : t.append_child("fill");
        write_fill(copy, want.fill, false);
        set_attr(x, "fillId", std::to_string(find_or_add("fills", copy)));
        set_attr(x, "applyFill", "1");
    }
    if (want.border != was.border) {
        pugi::xml_document t;
        pugi::xml_node border =
            nth_element(xml::child(root, "borders"), x.attribute("borderId").as_uint());
        pugi::xml_node copy = border ? t.append_copy(border) : t.append_child("border");
        write_border(copy, was.border, want.border);
        set_attr(x, "borderId", std::to_string(find_or_add("borders", copy)));
        set_attr(x, "applyBorder", "1");
    }
    if (want.number_format != was.number_format) {
        set_attr(x, "numFmtId", std::to_string(num_fmt_id(want.number_format)));
        set_attr(x, "applyNumberFormat", "1");
    }
    if (want.alignment != was.alignment) {
        const AlignmentFormat &a = want.alignment, d;
        pugi::xml_node al = ensure_child(x, "alignment", {"protection", "extLst"});
        auto put = [&](const char* name, bool keep, const std::string& v) {
            if (keep)
                set_attr(al, name, v);
            else
                drop_attr(al, name);
        };
        put("horizontal", a.horizontal != d.horizontal, a.horizontal);
        put("vertical", a.vertical != d.vertical, a.vertical);
        put("wrapText", a.wrap, "1");
        put("shrinkToFit", a.shrink, "1");
        put("indent", a.indent != 0, std::to_string(a.indent));
        put("textRotation", a.rotation != 0, std::to_string(a.rotation));
        if (!al.first_attribute()) x.remove_child(al);
        set_attr(x, "applyAlignment", "1");
    }
    if (want.locked != was.locked || want.hidden != was.hidden) {
        pugi::xml_node pr = ensure_child(x, "protection", {"extLst"});
        if (want.locked)
            drop_attr(pr, "locked");
        else
            set_attr(pr, "locked", "0");
        if (want.hidden)
            set_attr(pr, "hidden", "1");
        else
            drop_attr(pr, "hidden");
        if (!pr.first_attribute()) x.remove_child(pr);
        set_attr(x, "applyProtection", "1");
    }
    std::uint32_t out = find_or_add("cellXfs", x);
    memo_.emplace(std::move(memo_key), out);
    return out;
}

std::uint32_t FormatTable::intern_dxf(const CellFormat& want) {
    const CellFormat d;
    pugi::xml_document t;
    pugi::xml_node dxf = t.append_child("dxf");
    if (want.font != d.font) {
        pugi::xml_node font = dxf.append_child("font");
        FontFormat from;
        from.size = want.font.size;  // a differential font carries no size unless asked
        from.name = want.font.name;
        write_font(font, from, want.font);
    }
    if (want.fill != d.fill) write_fill(dxf.append_child("fill"), want.fill, true);
    if (want.border != d.border) {
        pugi::xml_node border = dxf.append_child("border");
        write_border(border, d.border, want.border);
    }
    return find_or_add("dxfs", dxf);
}

}  // namespace sheaflow::xl::native
