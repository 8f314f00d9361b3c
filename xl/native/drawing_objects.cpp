// The drawing objects of a sheet as the object operations see them: notes, embedded objects,
// charts, pictures, shapes and controls (of the drawing part and of the legacy VML drawing) and
// hyperlinks; listed, deleted, moved, renamed and scaled. A part an edit leaves unchanged is not
// written; parts that only a deleted object used go with it.

#include "xl/native/drawing_objects.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <set>

#include "util/text.h"
#include "xl/native/book.h"
#include "xl/native/drawing.h"
#include "xl/native/line_size.h"
#include "xl/native/sheet_xml.h"
#include "xl/native/structure_support.h"

namespace sheaflow::xl::native {

using drawing::Found;
using namespace drawing;

namespace {

constexpr double kEmuPerPoint = 12700;
constexpr double kEmuPerPixel = 9525;

Error refused(std::string m) { return Error::make(Error::Code::Refused, std::move(m)); }

// Shape kinds by preset geometry, in the words the application's shape list uses.
std::string preset_word(std::string_view prst) {
    static const std::map<std::string_view, const char*> words = {
        {"rect", "四角形"},
        {"roundRect", "角丸四角形"},
        {"ellipse", "楕円"},
        {"triangle", "二等辺三角形"},
        {"rtTriangle", "直角三角形"},
        {"diamond", "ひし形"},
        {"pentagon", "ホームベース"},
        {"hexagon", "六角形"},
        {"octagon", "八角形"},
        {"line", "直線"},
        {"straightConnector1", "直線矢印コネクタ"},
        {"rightArrow", "右矢印"},
        {"leftArrow", "左矢印"},
        {"upArrow", "上矢印"},
        {"downArrow", "下矢印"},
        {"star5", "星 5"},
        {"heart", "ハート"},
        {"smileyFace", "スマイル"},
        {"can", "円柱"},
        {"cube", "直方体"},
        {"wedgeRectCallout", "四角形吹き出し"},
        {"wedgeRoundRectCallout", "角丸四角形吹き出し"},
        {"wedgeEllipseCallout", "円形吹き出し"},
        {"flowChartProcess", "フローチャート: 処理"},
        {"flowChartDecision", "フローチャート: 判断"},
    };
    auto it = words.find(prst);
    return it == words.end() ? "オートシェイプ" : it->second;
}

// Form controls of the legacy drawing by their ObjectType: the type word and the English stem
// of the name the application gives a new one ("Button 1").
struct ControlWord {
    const char* type;
    const char* word;
    const char* stem;
};
constexpr ControlWord kControls[] = {
    {"Button", "ボタン", "Button"},
    {"Checkbox", "チェックボックス", "Check Box"},
    {"Radio", "オプションボタン", "Option Button"},
    {"List", "リストボックス", "List Box"},
    {"Drop", "コンボボックス", "Drop Down"},
    {"Label", "ラベル", "Label"},
    {"GBox", "グループボックス", "Group Box"},
    {"Scroll", "スクロールバー", "Scroll Bar"},
    {"Spin", "スピンボタン", "Spinner"},
    {"Edit", "エディットボックス", "Edit Box"},
};

bool is_anchor(std::string_view local) {
    return local == "twoCellAnchor" || local == "oneCellAnchor" || local == "absoluteAnchor";
}

bool is_object(std::string_view local) {
    return local == "sp" || local == "pic" || local == "graphicFrame" || local == "grpSp" ||
           local == "cxnSp" || local == "contentPart";
}

}  // namespace

namespace drawing {

// The anchor held by a child of the drawing's root: the child itself, or the anchor of the
// first branch of an alternate-content block that has one.
pugi::xml_node anchor_of(pugi::xml_node top) {
    std::string_view local = xml::local_name(top.name());
    if (is_anchor(local)) return top;
    if (local != "AlternateContent") return {};
    for (pugi::xml_node branch : top.children())
        for (pugi::xml_node c : branch.children())
            if (is_anchor(xml::local_name(c.name()))) return c;
    return {};
}

pugi::xml_node object_of(pugi::xml_node anchor) {
    for (pugi::xml_node c : anchor.children())
        if (is_object(xml::local_name(c.name()))) return c;
    return {};
}

pugi::xml_node c_nv_pr(pugi::xml_node object) {
    for (pugi::xml_node nv : object.children())
        if (xml::local_name(nv.name()).rfind("nv", 0) == 0) return xml::child(nv, "cNvPr");
    return {};
}

}  // namespace drawing

namespace {

// The transform of an object: a:xfrm of its shape properties, or xdr:xfrm of a frame.
pugi::xml_node xfrm_of(pugi::xml_node object) {
    std::string_view local = xml::local_name(object.name());
    if (local == "graphicFrame") return xml::child(object, "xfrm");
    if (local == "grpSp") return xml::child(xml::child(object, "grpSpPr"), "xfrm");
    return xml::child(xml::child(object, "spPr"), "xfrm");
}

double num(pugi::xml_node n, const char* local) {
    return std::atof(xml::child(n, local).text().get());
}

std::string all_text(pugi::xml_node n) {
    std::string out;
    for (pugi::xml_node c : n.children()) {
        if (c.type() != pugi::node_element) continue;
        std::string_view local = xml::local_name(c.name());
        if (local == "t")
            out += c.text().get();
        else
            out += all_text(c);
        if (local == "p" && c.next_sibling()) out += "\n";
    }
    return out;
}

std::string integer(double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.0f", std::round(v));
    return buf;
}

void set_text(pugi::xml_node n, double v) { n.text().set(integer(v).c_str()); }

}  // namespace

namespace drawing {

std::vector<VmlBlock> vml_blocks(std::string_view text) {
    std::vector<VmlBlock> out;
    std::size_t pos = 0;
    while (true) {
        std::size_t b = text.find("<v:shape ", pos);
        if (b == std::string_view::npos) break;
        std::size_t tag_end = text.find('>', b);
        if (tag_end == std::string_view::npos) break;
        std::size_t e;
        if (text[tag_end - 1] == '/') {
            e = tag_end + 1;
        } else {
            e = text.find("</v:shape>", tag_end);
            if (e == std::string_view::npos) break;
            e += 10;
        }
        out.push_back({b, e});
        pos = e;
    }
    return out;
}

}  // namespace drawing

namespace {

std::string between(std::string_view s, std::string_view open, std::string_view close) {
    std::size_t a = s.find(open);
    if (a == std::string_view::npos) return {};
    a += open.size();
    std::size_t b = s.find(close, a);
    return b == std::string_view::npos ? std::string() : std::string(s.substr(a, b - a));
}

}  // namespace

namespace drawing {

// The shape number of a VML shape ("_x0000_s1025" -> 1025), 0 when it has none.
int vml_shape_number(std::string_view block) {
    for (std::string_view key : {"o:spid=\"", "id=\""}) {
        std::size_t at = block.find(key);
        if (at == std::string_view::npos) continue;
        std::string v(block.substr(at + key.size(), 24));
        std::size_t s = v.find("_s");
        if (s != std::string::npos) return std::atoi(v.c_str() + s + 2);
    }
    return 0;
}

std::vector<double> anchor_numbers(std::string_view block) {
    std::vector<double> out;
    std::string a = between(block, "<x:Anchor>", "</x:Anchor>");
    for (std::size_t i = 0; i < a.size();) {
        while (i < a.size() && (a[i] == ',' || std::isspace(static_cast<unsigned char>(a[i])))) ++i;
        if (i >= a.size()) break;
        out.push_back(std::atof(a.c_str() + i));
        while (i < a.size() && a[i] != ',') ++i;
    }
    return out;
}

}  // namespace drawing

namespace {

// A VML length in points ("96pt", "128px", "1.5in").
double vml_points(std::string_view v) {
    double n = std::atof(std::string(v).c_str());
    if (v.ends_with("px")) return n * 0.75;
    if (v.ends_with("in")) return n * 72;
    if (v.ends_with("cm")) return n * 72 / 2.54;
    if (v.ends_with("mm")) return n * 72 / 25.4;
    return n;
}

std::string style_value(std::string_view style, std::string_view key) {
    std::size_t i = 0;
    while (i < style.size()) {
        std::size_t j = style.find(';', i);
        if (j == std::string_view::npos) j = style.size();
        std::string_view item = style.substr(i, j - i);
        while (!item.empty() && std::isspace(static_cast<unsigned char>(item.front())))
            item.remove_prefix(1);
        std::size_t colon = item.find(':');
        if (colon != std::string_view::npos && item.substr(0, colon) == key)
            return std::string(item.substr(colon + 1));
        i = j + 1;
    }
    return {};
}

// The style attribute's value with some properties set (added when missing).
std::string with_style(std::string_view style,
                       const std::vector<std::pair<std::string, std::string>>& set) {
    std::vector<std::string> items;
    std::set<std::string> done;
    std::size_t i = 0;
    while (i <= style.size()) {
        std::size_t j = style.find(';', i);
        if (j == std::string_view::npos) j = style.size();
        std::string item(style.substr(i, j - i));
        std::size_t lead = item.find_first_not_of(" \t\r\n");
        std::string key = lead == std::string::npos ? "" : item.substr(lead, item.find(':') - lead);
        for (const auto& [k, v] : set)
            if (k == key) {
                item = item.substr(0, lead) + k + ":" + v;
                done.insert(k);
            }
        if (!item.empty()) items.push_back(item);
        i = j + 1;
    }
    for (const auto& [k, v] : set)
        if (!done.count(k)) items.push_back(k + ":" + v);
    std::string out;
    for (const std::string& s : items) out += (out.empty() ? "" : ";") + s;
    return out;
}

std::string pt(double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%gpt", std::round(v * 100) / 100);
    return buf;
}

// The embedded objects and controls that the sheet part lists, by shape number.
struct SheetEntries {
    std::map<int, std::string> ole;       // shape number -> program id
    std::map<int, std::string> controls;  // shape number -> name
};

void collect_entries(pugi::xml_node n, SheetEntries& out) {
    for (pugi::xml_node c : n.children()) {
        if (c.type() != pugi::node_element) continue;
        std::string_view local = xml::local_name(c.name());
        if (local == "oleObject")
            out.ole[c.attribute("shapeId").as_int()] = c.attribute("progId").value();
        else if (local == "control")
            out.controls[c.attribute("shapeId").as_int()] = c.attribute("name").value();
        else if (local == "oleObjects" || local == "controls" || local == "AlternateContent" ||
                 local == "Choice" || local == "Fallback")
            collect_entries(c, out);
    }
}

// Whether any relationship of the package still points at `part`.
bool referenced(Book& b, const std::string& part) {
    std::string want = text::lower(part);
    for (const auto& item : b.workbook_rels().items())
        if (!item.external &&
            text::lower(resolve_target(b.workbook_part_name(), item.target)) == want)
            return true;
    for (const std::string& name : b.package().part_names()) {
        if (!name.ends_with(".rels")) continue;
        std::string source = structure::rels_source(name);
        if (source.empty() || source == b.workbook_part_name()) continue;
        for (const std::string& t : structure::internal_targets(b, source))
            if (text::lower(t) == want) return true;
    }
    return false;
}

// Drops the relationships among `ids` of `source` that its text no longer names, and the
// parts that nothing refers to any more, with the parts only they used.
Result<void> prune_relationships(Book& b, const std::string& source, std::string_view text,
                                 const std::set<std::string>& ids) {
    std::string rels_name = rels_path_for(source);
    if (ids.empty() || !b.package().has(rels_name)) return {};
    auto bytes = b.package().read(rels_name);
    if (!bytes) return bytes.error();
    Relationships rels;
    if (auto r = rels.parse(*bytes, rels_name); !r) return r;
    std::vector<std::string> orphans;
    bool changed = false;
    for (const std::string& id : ids) {
        if (text.find("\"" + id + "\"") != std::string_view::npos ||
            text.find("'" + id + "'") != std::string_view::npos)
            continue;
        auto item = rels.by_id(id);
        if (!item || !rels.remove_id(id)) continue;
        changed = true;
        if (!item->external) orphans.push_back(resolve_target(source, item->target));
    }
    if (!changed) return {};
    b.package().write(rels_name, rels.serialize());
    auto ct = b.content_types();
    if (!ct) return ct.error();
    for (const std::string& target : orphans) {
        auto stored = b.package().find(target);
        if (!stored || referenced(b, *stored)) continue;
        for (const std::string& part : structure::owned_parts(b, *stored)) {
            std::string r = rels_path_for(part);
            if (b.package().has(r)) b.package().remove(r);
            b.package().remove(part);
            (*ct)->remove_override(part);
        }
    }
    return {};
}

}  // namespace

namespace drawing {

std::set<std::string> rel_ids(Book& b, const std::string& part) {
    std::set<std::string> out;
    std::string name = rels_path_for(part);
    if (!b.package().has(name)) return out;
    auto bytes = b.package().read(name);
    Relationships rels;
    if (!bytes || !rels.parse(*bytes, name)) return out;
    for (const auto& item : rels.items()) out.insert(item.id);
    return out;
}

// The relationship ids that attributes of `n` and its descendants name.
void ids_used(pugi::xml_node n, const std::set<std::string>& known, std::set<std::string>& out) {
    for (pugi::xml_attribute a : n.attributes())
        if (known.count(a.value())) out.insert(a.value());
    for (pugi::xml_node c : n.children())
        if (c.type() == pugi::node_element) ids_used(c, known, out);
}

Grid::Grid(Sheet& s, Book& b) {
    mdw_ = max_digit_width(b);
    col_std_ = column_emu(s.standard_size(Axis::Columns));
    row_std_ = s.standard_size(Axis::Rows) * kEmuPerPoint;
    for (auto& [span, f] : s.formatted_lines(Axis::Columns))
        cols_.push_back({span, f.hidden ? 0 : column_emu(f.size)});
    for (auto& [span, f] : s.formatted_lines(Axis::Rows))
        rows_.push_back({span, f.hidden ? 0 : f.size * kEmuPerPoint});
    auto by_first = [](const auto& x, const auto& y) { return x.first.first < y.first.first; };
    std::sort(cols_.begin(), cols_.end(), by_first);
    std::sort(rows_.begin(), rows_.end(), by_first);
}

double Grid::column_emu(double characters) const {
    if (characters <= 0) return 0;
    return (std::round(characters * mdw_) + 5) * kEmuPerPixel;
}

double Grid::start(const Lines& lines, double standard, std::int32_t line0) {
    double total = standard * line0;
    for (const auto& [span, v] : lines) {
        std::int32_t lo = span.first, hi = std::min(span.last, line0);
        if (hi >= lo) total += (v - standard) * (hi - lo + 1);
    }
    return total;
}

// Walks runs of equal lines (a span, or the standard lines between spans) rather than lines,
// so that a position far down a sheet with many sized rows is found quickly.
std::pair<std::int32_t, double> Grid::at(const Lines& lines, double standard, double pos,
                                         std::int32_t limit) {
    std::int32_t line = 1;  // the first line of the next run, 1-based
    double edge = 0;        // where it begins
    std::size_t k = 0;
    while (line <= limit) {
        while (k < lines.size() && lines[k].first.last < line) ++k;
        bool in_span = k < lines.size() && lines[k].first.first <= line;
        double w = in_span ? lines[k].second : standard;
        std::int32_t last = in_span            ? lines[k].first.last
                            : k < lines.size() ? lines[k].first.first - 1
                                               : limit;
        last = std::min(last, limit);
        double n = last - line + 1;
        if (w > 0 && pos < edge + w * n) {
            auto i = static_cast<std::int32_t>(std::floor((pos - edge) / w));
            i = std::clamp(i, 0, last - line);
            return {line - 1 + i, std::max(0.0, pos - edge - w * i)};
        }
        edge += w * n;
        line = last + 1;
    }
    return {limit - 1, 0};
}

Corner read_marker(pugi::xml_node m) {
    return {static_cast<std::int32_t>(num(m, "col")), static_cast<std::int32_t>(num(m, "row")),
            num(m, "colOff"), num(m, "rowOff")};
}

void write_marker(pugi::xml_node m, const Corner& c) {
    set_text(xml::child(m, "col"), c.col0);
    set_text(xml::child(m, "colOff"), c.col_off);
    set_text(xml::child(m, "row"), c.row0);
    set_text(xml::child(m, "rowOff"), c.row_off);
}

Corner corner_at(Grid& g, double x, double y) {
    auto [c, co] = g.col_at(x);
    auto [r, ro] = g.row_at(y);
    return {c, r, co, ro};
}

Rect anchor_rect(Grid& g, pugi::xml_node anchor, pugi::xml_node object) {
    std::string_view kind = xml::local_name(anchor.name());
    Rect r;
    if (kind == "absoluteAnchor") {
        pugi::xml_node pos = xml::child(anchor, "pos");
        r.x = pos.attribute("x").as_double();
        r.y = pos.attribute("y").as_double();
    } else {
        Corner from = read_marker(xml::child(anchor, "from"));
        r.x = g.x(from.col0) + from.col_off;
        r.y = g.y(from.row0) + from.row_off;
    }
    if (kind == "twoCellAnchor") {
        Corner to = read_marker(xml::child(anchor, "to"));
        r.w = std::max(0.0, g.x(to.col0) + to.col_off - r.x);
        r.h = std::max(0.0, g.y(to.row0) + to.row_off - r.y);
    } else {
        pugi::xml_node ext = xml::child(anchor, "ext");
        r.w = ext.attribute("cx").as_double();
        r.h = ext.attribute("cy").as_double();
    }
    (void)object;
    return r;
}

// Writes a rectangle into an anchor and into the object's own transform.
void write_rect(Grid& g, pugi::xml_node anchor, pugi::xml_node object, const Rect& r) {
    std::string_view kind = xml::local_name(anchor.name());
    if (kind == "absoluteAnchor") {
        pugi::xml_node pos = xml::child(anchor, "pos");
        pos.attribute("x").set_value(integer(r.x).c_str());
        pos.attribute("y").set_value(integer(r.y).c_str());
    } else {
        write_marker(xml::child(anchor, "from"), corner_at(g, r.x, r.y));
    }
    if (kind == "twoCellAnchor") {
        write_marker(xml::child(anchor, "to"), corner_at(g, r.x + r.w, r.y + r.h));
    } else {
        pugi::xml_node ext = xml::child(anchor, "ext");
        ext.attribute("cx").set_value(integer(r.w).c_str());
        ext.attribute("cy").set_value(integer(r.h).c_str());
    }
    if (pugi::xml_node xfrm = xfrm_of(object)) {
        pugi::xml_node off = xml::child(xfrm, "off"), ext = xml::child(xfrm, "ext");
        // A frame of a chart written with a zero transform keeps it: the anchor places it.
        if (off && ext && ext.attribute("cx").as_double() > 0) {
            off.attribute("x").set_value(integer(r.x).c_str());
            off.attribute("y").set_value(integer(r.y).c_str());
            ext.attribute("cx").set_value(integer(r.w).c_str());
            ext.attribute("cy").set_value(integer(r.h).c_str());
        }
    }
}

}  // namespace drawing

namespace {

void fill_cells(SheetObject& o, Grid& g, const Rect& r, pugi::xml_node anchor) {
    if (xml::local_name(anchor.name()) == "twoCellAnchor") {
        Corner from = read_marker(xml::child(anchor, "from"));
        Corner to = read_marker(xml::child(anchor, "to"));
        o.first_row = from.row0 + 1, o.first_col = from.col0 + 1;
        o.last_row = to.row0 + 1, o.last_col = to.col0 + 1;
    } else {
        Corner a = corner_at(g, r.x, r.y), b = corner_at(g, r.x + r.w, r.y + r.h);
        o.first_row = a.row0 + 1, o.first_col = a.col0 + 1;
        o.last_row = b.row0 + 1, o.last_col = b.col0 + 1;
    }
    o.width = r.w / kEmuPerPoint;
    o.height = r.h / kEmuPerPoint;
}

int group_rank(ObjectKind k) {
    switch (k) {
        case ObjectKind::Comment:
            return 0;
        case ObjectKind::OleObject:
            return 1;
        case ObjectKind::Chart:
            return 2;
        case ObjectKind::Hyperlink:
            return 4;
        default:
            return 3;
    }
}

SheetEntries sheet_entries(Book& b, Sheet& s) {
    SheetEntries e;
    xml::Document doc;
    if (read_sheet_xml(b, s, doc)) collect_entries(doc.root(), e);
    return e;
}

// Removes the sheet part's embedded-object and control entries of a shape number (with the
// alternate-content blocks that hold them), and their relationships.
Result<void> drop_sheet_entries(Book& b, Sheet& s, int number) {
    std::set<std::string> known = rel_ids(b, s.part_name()), used;
    std::string after;
    auto r = edit_sheet_xml(b, s, [&](pugi::xml_node root) -> Result<bool> {
        bool changed = false;
        for (const char* list_name : {"oleObjects", "controls"}) {
            pugi::xml_node list = xml::child(root, list_name);
            if (!list) continue;
            std::vector<pugi::xml_node> gone;
            for (pugi::xml_node c : list.children()) {
                if (c.type() != pugi::node_element) continue;
                bool hit = false;
                std::function<void(pugi::xml_node)> look = [&](pugi::xml_node n) {
                    std::string_view local = xml::local_name(n.name());
                    if ((local == "oleObject" || local == "control") &&
                        n.attribute("shapeId").as_int() == number)
                        hit = true;
                    for (pugi::xml_node k : n.children())
                        if (k.type() == pugi::node_element) look(k);
                };
                look(c);
                if (hit) gone.push_back(c);
            }
            for (pugi::xml_node g : gone) {
                ids_used(g, known, used);
                list.remove_child(g);
                changed = true;
            }
            if (changed && !list.first_child()) root.remove_child(list);
        }
        return changed;
    });
    if (!r) return r;
    if (used.empty()) return {};
    auto text = structure::sheet_text(b, s);
    if (!text) return text.error();
    return prune_relationships(b, s.part_name(), *text, used);
}

// Removes the VML shape of a shape number from the sheet's VML drawings.
Result<void> drop_vml_shape(Book& b, Sheet& s, int number) {
    for (const std::string& name : related_parts(b, s.part_name(), rel::kVmlDrawing)) {
        auto bytes = b.package().read(name);
        if (!bytes) return bytes.error();
        for (const VmlBlock& blk : vml_blocks(*bytes)) {
            std::string_view block =
                std::string_view(*bytes).substr(blk.begin, blk.end - blk.begin);
            if (vml_shape_number(block) != number) continue;
            std::set<std::string> known = rel_ids(b, name), used;
            for (const std::string& id : known)
                if (block.find("\"" + id + "\"") != std::string_view::npos) used.insert(id);
            std::string out = bytes->substr(0, blk.begin) + bytes->substr(blk.end);
            b.package().write(name, out);
            return prune_relationships(b, name, out, used);
        }
    }
    return {};
}

}  // namespace

namespace drawing {

std::vector<Found> scan(Book& b, Sheet& s) {
    std::vector<Found> out;
    if (!s.has_cells()) return out;
    Grid g(s, b);
    // Notes, with the size of their boxes.
    std::vector<CommentBox> boxes = s.comment_boxes();
    for (const auto& [cell, text] : s.comments()) {
        Found f;
        f.obj.kind = ObjectKind::Comment;
        f.obj.type_word = "コメント";
        f.obj.name = format_address({cell.row, cell.col, cell.row, cell.col}, false, false);
        f.obj.first_row = f.obj.last_row = cell.row;
        f.obj.first_col = f.obj.last_col = cell.col;
        f.obj.text = text;
        for (const CommentBox& box : boxes)
            if (box.row == cell.row && box.col == cell.col)
                f.obj.width = box.width, f.obj.height = box.height;
        f.cell = cell;
        out.push_back(std::move(f));
    }
    SheetEntries entries = sheet_entries(b, s);
    std::set<int> in_drawing;
    for (const std::string& part : related_parts(b, s.part_name(), rel::kDrawing)) {
        xml::Document doc;
        auto bytes = b.package().read(part);
        if (!bytes || !xml::load(doc, *bytes, part)) continue;
        int index = -1;
        for (pugi::xml_node top : doc.root().children()) {
            if (top.type() != pugi::node_element) continue;
            ++index;
            pugi::xml_node anchor = anchor_of(top), object = object_of(anchor);
            if (!object) continue;
            pugi::xml_node nv = c_nv_pr(object);
            Found f;
            f.where = Found::Where::Drawing;
            f.part = part;
            f.index = index;
            f.shape_id = nv.attribute("id").as_int();
            f.obj.name = nv.attribute("name").value();
            std::string_view local = xml::local_name(object.name());
            if (entries.ole.count(f.shape_id)) {
                f.obj.kind = ObjectKind::OleObject;
                f.obj.type_word = "埋め込みOLEオブジェクト";
            } else if (entries.controls.count(f.shape_id)) {
                f.obj.kind = ObjectKind::Control;
                f.obj.type_word = "コントロール";
                if (f.obj.name.empty()) f.obj.name = entries.controls[f.shape_id];
            } else if (local == "graphicFrame") {
                std::string uri = xml::child(xml::child(object, "graphic"), "graphicData")
                                      .attribute("uri")
                                      .value();
                bool chart = uri.find("/chart") != std::string::npos;
                f.obj.kind = chart ? ObjectKind::Chart : ObjectKind::Shape;
                f.obj.type_word = chart ? "グラフ" : "SmartArt";
            } else if (local == "pic") {
                f.obj.kind = ObjectKind::Picture;
                f.obj.type_word = "図";
            } else if (local == "grpSp") {
                f.obj.type_word = "グループ";
            } else if (local == "cxnSp") {
                f.obj.type_word = "コネクタ";
            } else if (local == "contentPart") {
                f.obj.type_word = "インク";
            } else {
                pugi::xml_node sp_nv = xml::child(xml::child(object, "nvSpPr"), "cNvSpPr");
                f.obj.type_word =
                    std::string_view(sp_nv.attribute("txBox").value()) == "1"
                        ? "テキストボックス"
                        : preset_word(xml::child(xml::child(object, "spPr"), "prstGeom")
                                          .attribute("prst")
                                          .value());
            }
            f.obj.text = all_text(xml::child(object, "txBody"));
            fill_cells(f.obj, g, anchor_rect(g, anchor, object), anchor);
            in_drawing.insert(f.shape_id);
            out.push_back(std::move(f));
        }
    }
    // Embedded objects and form controls that only the legacy drawing holds.
    for (const std::string& part : related_parts(b, s.part_name(), rel::kVmlDrawing)) {
        auto bytes = b.package().read(part);
        if (!bytes) continue;
        int index = -1;
        for (const VmlBlock& blk : vml_blocks(*bytes)) {
            ++index;
            std::string_view block =
                std::string_view(*bytes).substr(blk.begin, blk.end - blk.begin);
            std::string type = between(block, "ObjectType=\"", "\"");
            if (type.empty() || type == "Note") continue;
            int number = vml_shape_number(block);
            if (number && in_drawing.count(number)) continue;
            Found f;
            f.where = Found::Where::Vml;
            f.part = part;
            f.index = index;
            f.shape_id = number;
            int ordinal = number > 1024 ? number % 1024 : number;
            if (entries.ole.count(number)) {
                f.obj.kind = ObjectKind::OleObject;
                f.obj.type_word = "埋め込みOLEオブジェクト";
                f.obj.name = "Object " + std::to_string(ordinal);
            } else {
                f.obj.kind = ObjectKind::Control;
                f.obj.type_word = "コントロール";
                std::string stem = type;
                for (const ControlWord& c : kControls)
                    if (type == c.type) f.obj.type_word = c.word, stem = c.stem;
                f.obj.name = entries.controls.count(number) ? entries.controls[number]
                                                            : stem + " " + std::to_string(ordinal);
            }
            std::vector<double> a = anchor_numbers(block);
            if (a.size() == 8) {
                f.obj.first_col = static_cast<std::int32_t>(a[0]) + 1;
                f.obj.first_row = static_cast<std::int32_t>(a[2]) + 1;
                f.obj.last_col = static_cast<std::int32_t>(a[4]) + 1;
                f.obj.last_row = static_cast<std::int32_t>(a[6]) + 1;
            }
            std::string style = between(block, "style='", "'");
            if (style.empty()) style = between(block, "style=\"", "\"");
            f.obj.width = vml_points(style_value(style, "width"));
            f.obj.height = vml_points(style_value(style, "height"));
            out.push_back(std::move(f));
        }
    }
    for (const Hyperlink& h : s.hyperlinks()) {
        Found f;
        f.obj.kind = ObjectKind::Hyperlink;
        f.obj.type_word = "ハイパーリンク";
        f.obj.name = format_address({h.row, h.col, h.row, h.col}, false, false);
        f.obj.first_row = f.obj.last_row = h.row;
        f.obj.first_col = f.obj.last_col = h.col;
        f.obj.text = h.address.empty() ? h.location
                                       : h.address + (h.location.empty() ? "" : "#" + h.location);
        f.cell = {h.row, h.col};
        out.push_back(std::move(f));
    }
    std::stable_sort(out.begin(), out.end(), [](const Found& x, const Found& y) {
        return group_rank(x.obj.kind) < group_rank(y.obj.kind);
    });
    for (std::size_t i = 0; i < out.size(); ++i) out[i].obj.id = static_cast<int>(i);
    return out;
}

Result<Found> find(Book& b, Sheet& s, const SheetObject& o) {
    std::vector<Found> all = scan(b, s);
    if (o.id >= 0 && o.id < static_cast<int>(all.size()) && all[o.id].obj.kind == o.kind &&
        all[o.id].obj.name == o.name)
        return all[o.id];
    return refused("オブジェクト「" + o.name + "」が見つかりません。");
}

// Loads a drawing part and finds the anchor and object of a found object.
Result<void> DrawingEdit::load(Book& b, const Found& f) {
    if (auto r = part.load(b, f.part); !r) return r;
    int index = -1;
    for (pugi::xml_node c : part.doc.root().children()) {
        if (c.type() != pugi::node_element) continue;
        if (++index != f.index) continue;
        top = c;
        anchor = anchor_of(c);
        object = object_of(anchor);
    }
    if (!object) return refused("図形の位置を読めません。");
    return {};
}

// Moves or resizes a legacy drawing's shape: its anchor (columns and rows with pixel offsets)
// and its style's margins and size.
Result<void> edit_vml_rect(Book& b, Sheet& s, const Found& f,
                           const std::function<Rect(const Rect&)>& change) {
    auto bytes = b.package().read(f.part);
    if (!bytes) return bytes.error();
    std::vector<VmlBlock> blocks = vml_blocks(*bytes);
    if (f.index < 0 || f.index >= static_cast<int>(blocks.size()))
        return refused("図形の位置を読めません。");
    const VmlBlock& blk = blocks[f.index];
    std::string block = bytes->substr(blk.begin, blk.end - blk.begin);
    std::vector<double> a = anchor_numbers(block);
    if (a.size() != 8) return refused("図形の位置を読めません。");
    Grid g(s, b);
    Rect r;
    r.x = g.x(static_cast<std::int32_t>(a[0])) + a[1] * kEmuPerPixel;
    r.y = g.y(static_cast<std::int32_t>(a[2])) + a[3] * kEmuPerPixel;
    r.w = g.x(static_cast<std::int32_t>(a[4])) + a[5] * kEmuPerPixel - r.x;
    r.h = g.y(static_cast<std::int32_t>(a[6])) + a[7] * kEmuPerPixel - r.y;
    Rect n = change(r);
    Corner tl = corner_at(g, n.x, n.y), br = corner_at(g, n.x + n.w, n.y + n.h);
    auto px = [](double emu) { return integer(emu / kEmuPerPixel); };
    std::string anchor = std::to_string(tl.col0) + ", " + px(tl.col_off) + ", " +
                         std::to_string(tl.row0) + ", " + px(tl.row_off) + ", " +
                         std::to_string(br.col0) + ", " + px(br.col_off) + ", " +
                         std::to_string(br.row0) + ", " + px(br.row_off);
    std::size_t ab = block.find("<x:Anchor>") + 10, ae = block.find("</x:Anchor>");
    block.replace(ab, ae - ab, anchor);
    for (const char* quote : {"'", "\""}) {
        std::string open = std::string("style=") + quote;
        std::size_t sb = block.find(open);
        if (sb == std::string::npos) continue;
        sb += open.size();
        std::size_t se = block.find(quote, sb);
        std::string style = block.substr(sb, se - sb);
        style = with_style(style, {{"margin-left", pt(n.x / kEmuPerPoint)},
                                   {"margin-top", pt(n.y / kEmuPerPoint)},
                                   {"width", pt(n.w / kEmuPerPoint)},
                                   {"height", pt(n.h / kEmuPerPoint)}});
        block.replace(sb, se - sb, style);
        break;
    }
    std::string out = bytes->substr(0, blk.begin) + block + bytes->substr(blk.end);
    if (out != *bytes) b.package().write(f.part, std::move(out));
    return {};
}

}  // namespace drawing

namespace {

Result<void> edit_rect(Book& b, Sheet& s, const Found& f,
                       const std::function<Rect(const Rect&)>& change) {
    if (f.where == Found::Where::Vml) return edit_vml_rect(b, s, f, change);
    if (f.where != Found::Where::Drawing)
        return refused("セルのコメントとハイパーリンクは移動・拡大縮小できません。");
    DrawingEdit d;
    if (auto r = d.load(b, f); !r) return r;
    Grid g(s, b);
    Rect old = anchor_rect(g, d.anchor, d.object);
    Rect n = change(old);
    if (n.x == old.x && n.y == old.y && n.w == old.w && n.h == old.h) return {};
    write_rect(g, d.anchor, d.object, n);
    d.part.changed = true;
    d.part.store(b);
    return {};
}

Result<void> delete_found(Book& b, Sheet& s, const Found& f) {
    switch (f.where) {
        case Found::Where::Cell:
            break;
        case Found::Where::Drawing: {
            DrawingEdit d;
            if (auto r = d.load(b, f); !r) return r;
            std::set<std::string> used;
            ids_used(d.top, rel_ids(b, f.part), used);
            d.part.doc.root().remove_child(d.top);
            d.part.changed = true;
            d.part.store(b);
            if (auto r = prune_relationships(b, f.part, xml::save(d.part.doc), used); !r) return r;
            if (f.shape_id > 0) {
                if (auto r = drop_vml_shape(b, s, f.shape_id); !r) return r;
                return drop_sheet_entries(b, s, f.shape_id);
            }
            return {};
        }
        case Found::Where::Vml: {
            auto bytes = b.package().read(f.part);
            if (!bytes) return bytes.error();
            std::vector<VmlBlock> blocks = vml_blocks(*bytes);
            if (f.index < 0 || f.index >= static_cast<int>(blocks.size()))
                return refused("図形の位置を読めません。");
            const VmlBlock& blk = blocks[f.index];
            std::string_view block =
                std::string_view(*bytes).substr(blk.begin, blk.end - blk.begin);
            std::set<std::string> used;
            for (const std::string& id : rel_ids(b, f.part))
                if (block.find("\"" + id + "\"") != std::string_view::npos) used.insert(id);
            std::string out = bytes->substr(0, blk.begin) + bytes->substr(blk.end);
            b.package().write(f.part, out);
            if (auto r = prune_relationships(b, f.part, out, used); !r) return r;
            return f.shape_id > 0 ? drop_sheet_entries(b, s, f.shape_id) : Result<void>{};
        }
    }
    Area cell{f.cell.row, f.cell.col, f.cell.row, f.cell.col};
    if (f.obj.kind == ObjectKind::Comment) return s.clear_cells(cell, kClearComments);
    // A hyperlink: its element goes, and its relationship when no other link uses it.
    std::set<std::string> known = rel_ids(b, s.part_name()), used;
    auto r = edit_sheet_xml(b, s, [&](pugi::xml_node root) -> Result<bool> {
        pugi::xml_node list = xml::child(root, "hyperlinks");
        std::vector<pugi::xml_node> gone;
        for (pugi::xml_node h : list.children()) {
            auto a = parse_address(h.attribute("ref").value());
            if (a && a->contains(f.cell)) gone.push_back(h);
        }
        for (pugi::xml_node h : gone) {
            ids_used(h, known, used);
            list.remove_child(h);
        }
        if (list && !list.first_child()) root.remove_child(list);
        return !gone.empty();
    });
    if (!r) return r;
    auto text = structure::sheet_text(b, s);
    if (!text) return text.error();
    return prune_relationships(b, s.part_name(), *text, used);
}

}  // namespace

std::vector<SheetObject> Sheet::objects() {
    std::vector<SheetObject> out;
    for (Found& f : drawing::scan(book_, *this)) out.push_back(std::move(f.obj));
    return out;
}

Result<void> Sheet::delete_object(const SheetObject& o) {
    if (auto r = check(); !r) return r;
    auto f = drawing::find(book_, *this, o);
    if (!f) return f.error();
    if (auto r = delete_found(book_, *this, *f); !r) return r;
    book_.set_saved(false);
    return {};
}

Result<void> Sheet::move_object(const SheetObject& o, CellRef to) {
    if (to.row < 1 || to.col < 1 || to.row > rows_count() || to.col > columns_count())
        return refused("移動先のセルがシートの範囲外です。");
    if (auto r = check(); !r) return r;
    auto f = drawing::find(book_, *this, o);
    if (!f) return f.error();
    Grid g(*this, book_);
    double x = g.x(to.col - 1), y = g.y(to.row - 1);
    return edit_rect(book_, *this, *f, [&](const Rect& r) { return Rect{x, y, r.w, r.h}; });
}

Result<void> Sheet::scale_object(const SheetObject& o, double width, double height) {
    if (!(width > 0) || !(height > 0) || width > 100 || height > 100)
        return refused("倍率が不正です。");
    if (auto r = check(); !r) return r;
    auto f = drawing::find(book_, *this, o);
    if (!f) return f.error();
    return edit_rect(book_, *this, *f, [&](const Rect& r) {
        return Rect{r.x, r.y, r.w * width, r.h * height};
    });
}

Result<void> Sheet::rename_object(const SheetObject& o, const std::string& name) {
    if (name.empty()) return refused("オブジェクト名が空白です。");
    if (text::length(name) > 255) return refused("オブジェクト名が長すぎます。");
    if (auto r = check(); !r) return r;
    auto f = drawing::find(book_, *this, o);
    if (!f) return f.error();
    if (f->where != Found::Where::Drawing)
        return refused("「" + o.name + "」は名前を変更できない種類のオブジェクトです。");
    if (name == o.name) return {};
    DrawingEdit d;
    if (auto r = d.load(book_, *f); !r) return r;
    pugi::xml_node nv = c_nv_pr(d.object);
    if (!nv.attribute("name")) nv.append_attribute("name");
    nv.attribute("name").set_value(name.c_str());
    d.part.changed = true;
    d.part.store(book_);
    // A control keeps its name in the sheet part too.
    if (f->obj.kind == ObjectKind::Control) {
        auto r = edit_sheet_xml(book_, *this, [&](pugi::xml_node root) -> Result<bool> {
            bool changed = false;
            std::function<void(pugi::xml_node)> walk = [&](pugi::xml_node n) {
                for (pugi::xml_node c : n.children()) {
                    if (c.type() != pugi::node_element) continue;
                    if (xml::local_name(c.name()) == "control" &&
                        c.attribute("shapeId").as_int() == f->shape_id && c.attribute("name")) {
                        c.attribute("name").set_value(name.c_str());
                        changed = true;
                    }
                    walk(c);
                }
            };
            walk(xml::child(root, "controls"));
            return changed;
        });
        if (!r) return r;
    }
    book_.set_saved(false);
    return {};
}

}  // namespace sheaflow::xl::native
