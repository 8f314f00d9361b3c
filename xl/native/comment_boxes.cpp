// Sheet's comment boxes: the legacy note shapes of the sheet's VML drawing (size, fill, line,
// visibility, fitting to the text) together with the text runs of the comments part (their font).
// A VML drawing that is not well-formed XML is left as it is, and its boxes are not listed.

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>

#include "xl/native/book.h"
#include "xl/native/cell_formats.h"
#include "xl/native/colours.h"
#include "xl/native/drawing.h"
#include "xl/native/relationships.h"

namespace sheaflow::xl::native {
namespace {

// "position:absolute;width:96pt;..." as ordered name/value pairs.
using Style = std::vector<std::pair<std::string, std::string>>;

Style parse_style(std::string_view s) {
    Style out;
    std::size_t i = 0;
    while (i < s.size()) {
        std::size_t j = s.find(';', i);
        if (j == std::string_view::npos) j = s.size();
        std::string_view item = s.substr(i, j - i);
        std::size_t colon = item.find(':');
        auto trim = [](std::string_view t) {
            while (!t.empty() && std::isspace(static_cast<unsigned char>(t.front()))) t.remove_prefix(1);
            while (!t.empty() && std::isspace(static_cast<unsigned char>(t.back()))) t.remove_suffix(1);
            return std::string(t);
        };
        if (colon != std::string_view::npos)
            out.emplace_back(trim(item.substr(0, colon)), trim(item.substr(colon + 1)));
        i = j + 1;
    }
    return out;
}

std::string style_text(const Style& s) {
    std::string out;
    for (const auto& [k, v] : s) out += (out.empty() ? "" : ";") + k + ":" + v;
    return out;
}

std::string* style_value(Style& s, const std::string& key) {
    for (auto& [k, v] : s)
        if (k == key) return &v;
    return nullptr;
}

void set_style(Style& s, const std::string& key, const std::string& value) {
    if (std::string* v = style_value(s, key))
        *v = value;
    else
        s.emplace_back(key, value);
}

void drop_style(Style& s, const std::string& key) {
    std::erase_if(s, [&](const auto& kv) { return kv.first == key; });
}

// A VML length in points ("96pt", "128px", "1.5in").
double points(std::string_view v) {
    double n = std::atof(std::string(v).c_str());
    if (v.ends_with("px")) return n * 0.75;
    if (v.ends_with("in")) return n * 72;
    if (v.ends_with("cm")) return n * 72 / 2.54;
    if (v.ends_with("mm")) return n * 72 / 25.4;
    return n;
}

std::string pt(double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%gpt", std::round(v * 100) / 100);
    return buf;
}

struct Note {
    pugi::xml_node shape;
    CellRef cell;
};

std::vector<Note> notes(pugi::xml_node root) {
    std::vector<Note> out;
    std::vector<pugi::xml_node> stack{root};
    while (!stack.empty()) {
        pugi::xml_node n = stack.back();
        stack.pop_back();
        for (pugi::xml_node c = n.last_child(); c; c = c.previous_sibling())
            if (c.type() == pugi::node_element) stack.push_back(c);
        if (xml::local_name(n.name()) != "shape") continue;
        pugi::xml_node data = xml::child(n, "ClientData");
        if (std::string_view(data.attribute("ObjectType").value()) != "Note") continue;
        out.push_back({n, CellRef{std::atoi(xml::child(data, "Row").text().get()) + 1,
                                  std::atoi(xml::child(data, "Column").text().get()) + 1}});
    }
    return out;
}

// A VML colour attribute as a colour long; automatic when missing or not a plain colour.
std::int32_t vml_value(pugi::xml_node n, const char* attr, std::int32_t missing) {
    pugi::xml_attribute a = n.attribute(attr);
    if (!a) return missing;
    ResolvedColour rc = ColourResolver::vml(a.value());
    if (rc.automatic) return kAutomaticColour;
    return rc.known ? rc.colour : kUnknownColour;
}

// The comments part and the VML drawing of a sheet, loaded for reading or editing.
struct CommentParts {
    EditedPart comments;
    EditedPart vml;
    bool has_comments = false, has_vml = false;
};

Result<CommentParts> load_parts(Book& b, const std::string& sheet_part) {
    CommentParts p;
    for (const std::string& name : related_parts(b, sheet_part, rel::kComments)) {
        if (auto r = p.comments.load(b, name); !r) return r.error();
        p.has_comments = true;
        break;
    }
    for (const std::string& name : related_parts(b, sheet_part, rel::kVmlDrawing)) {
        if (!p.vml.load(b, name)) continue;
        p.has_vml = true;
        break;
    }
    return p;
}

std::map<std::pair<int, int>, pugi::xml_node> comment_nodes(pugi::xml_node root) {
    std::map<std::pair<int, int>, pugi::xml_node> out;
    for (pugi::xml_node c = xml::child(root, "commentList").first_child(); c; c = c.next_sibling()) {
        if (c.type() != pugi::node_element) continue;
        if (auto a = parse_address(c.attribute("ref").value()))
            out[{a->first_row, a->first_col}] = c;
    }
    return out;
}

std::vector<pugi::xml_node> run_properties(pugi::xml_node comment) {
    std::vector<pugi::xml_node> out;
    for (pugi::xml_node r = xml::child(comment, "text").first_child(); r; r = r.next_sibling())
        if (r.type() == pugi::node_element && xml::local_name(r.name()) == "r")
            out.push_back(xml::child(r, "rPr"));
    return out;
}

std::string plain_text(pugi::xml_node comment) {
    std::string out;
    struct Walker : pugi::xml_tree_walker {
        std::string* out;
        bool for_each(pugi::xml_node& n) override {
            if ((n.type() == pugi::node_pcdata || n.type() == pugi::node_cdata) &&
                xml::local_name(n.parent().name()) == "t") {
                for (pugi::xml_node up = n.parent(); up; up = up.parent())
                    if (xml::local_name(up.name()) == "rPh") return true;
                *out += n.value();
            }
            return true;
        }
    } w;
    w.out = &out;
    xml::child(comment, "text").traverse(w);
    return out;
}

CommentBox read_box(const Note& n, pugi::xml_node comment, FormatTable* ft) {
    CommentBox box;
    box.row = n.cell.row;
    box.col = n.cell.col;
    Style st = parse_style(n.shape.attribute("style").value());
    if (std::string* w = style_value(st, "width")) box.width = points(*w);
    if (std::string* h = style_value(st, "height")) box.height = points(*h);
    std::string* vis = style_value(st, "visibility");
    box.visible = vis && *vis == "visible";
    // No fill colour attribute means the default white; no stroke colour, black.
    box.fill = vml_value(n.shape, "fillcolor", 0xFFFFFF);
    box.line = vml_value(n.shape, "strokecolor", 0);
    if (pugi::xml_attribute w = n.shape.attribute("strokeweight")) box.line_weight = points(w.value());
    Style tb = parse_style(xml::child(n.shape, "textbox").attribute("style").value());
    std::string* fit = style_value(tb, "mso-fit-shape-to-text");
    box.autosize = fit && (*fit == "t" || *fit == "true");
    if (comment) {
        box.text = plain_text(comment);
        std::vector<pugi::xml_node> props = run_properties(comment);
        if (!props.empty() && props[0] && ft) box.font = ft->read_font(props[0]);
    }
    return box;
}

// The width of a column and the height of a row in pixels as the application lays out notes.
double column_pixels(Worksheet& ws, std::int32_t col) {
    double chars = ws.line_format(Axis::Columns, col).size;
    return std::floor(chars * 7 + 5);
}
double row_pixels(Worksheet& ws, std::int32_t row) {
    return std::round(ws.line_format(Axis::Rows, row).size * 4 / 3);
}

// Moves the bottom-right corner of the note's anchor so that the box has its new size.
void write_anchor(Worksheet& ws, pugi::xml_node data, double width_pt, double height_pt) {
    pugi::xml_node anchor = xml::child(data, "Anchor");
    if (!anchor) return;
    int v[8] = {0};
    if (std::sscanf(anchor.text().get(), " %d , %d , %d , %d , %d , %d , %d , %d", &v[0], &v[1],
                    &v[2], &v[3], &v[4], &v[5], &v[6], &v[7]) != 8)
        return;
    double w = width_pt * 4 / 3 + v[1], h = height_pt * 4 / 3 + v[3];
    std::int32_t col = v[0] + 1, row = v[2] + 1;
    for (int guard = 0; guard < 16384 && w >= column_pixels(ws, col); ++guard)
        w -= column_pixels(ws, col++);
    for (int guard = 0; guard < 100000 && h >= row_pixels(ws, row); ++guard)
        h -= row_pixels(ws, row++);
    char buf[128];
    std::snprintf(buf, sizeof buf, "%d, %d, %d, %d, %d, %d, %d, %d", v[0], v[1], v[2], v[3],
                  col - 1, static_cast<int>(w), row - 1, static_cast<int>(h));
    anchor.text().set(buf);
}

}  // namespace

std::vector<CommentBox> Sheet::comment_boxes() {
    std::vector<CommentBox> out;
    if (!has_cells()) return out;
    auto parts = load_parts(book_, part_name_);
    if (!parts || !parts->has_vml) return out;
    auto ft = book_.formats();
    auto comments = comment_nodes(parts->comments.doc.root());
    for (const Note& n : notes(parts->vml.doc.root())) {
        auto it = comments.find({n.cell.row, n.cell.col});
        out.push_back(read_box(n, it == comments.end() ? pugi::xml_node() : it->second,
                               ft ? *ft : nullptr));
    }
    return out;
}

Result<void> Sheet::format_comment_boxes(const Area& area,
                                         const std::function<void(CommentBox&)>& edit) {
    if (!has_cells()) return Error::failed("ワークシートではありません。");
    auto parts = load_parts(book_, part_name_);
    if (!parts) return parts.error();
    if (!parts->has_vml) return {};
    auto ft = book_.formats();
    if (!ft) return ft.error();
    auto comments = comment_nodes(parts->comments.doc.root());
    for (const Note& n : notes(parts->vml.doc.root())) {
        if (!area.contains(n.cell)) continue;
        auto it = comments.find({n.cell.row, n.cell.col});
        pugi::xml_node comment = it == comments.end() ? pugi::xml_node() : it->second;
        const CommentBox was = read_box(n, comment, *ft);
        CommentBox want = was;
        edit(want);
        pugi::xml_node shape = n.shape;
        pugi::xml_node data = xml::child(shape, "ClientData");
        Style st = parse_style(shape.attribute("style").value());
        bool shape_changed = false;
        if (want.width != was.width || want.height != was.height) {
            set_style(st, "width", pt(want.width));
            set_style(st, "height", pt(want.height));
            write_anchor(*this, data, want.width, want.height);
            shape_changed = true;
        }
        if (want.visible != was.visible) {
            set_style(st, "visibility", want.visible ? "visible" : "hidden");
            pugi::xml_node v = xml::child(data, "Visible");
            if (want.visible && !v)
                data.append_child((xml::prefix_of(data) + "Visible").c_str());
            if (!want.visible && v) data.remove_child(v);
            shape_changed = true;
        }
        if (shape_changed) shape.attribute("style").set_value(style_text(st).c_str());
        auto colour_attr = [&](const char* name, std::int32_t value) {
            if (value < 0) return;
            pugi::xml_attribute a = shape.attribute(name);
            if (!a) a = shape.append_attribute(name);
            a.set_value(vml_colour(value).c_str());
            shape_changed = true;
        };
        if (want.fill != was.fill) {
            colour_attr("fillcolor", want.fill);
            if (pugi::xml_node fill = xml::child(shape, "fill"))
                if (pugi::xml_attribute c = fill.attribute("color"))
                    c.set_value(vml_colour(want.fill).c_str());
        }
        if (want.line != was.line) colour_attr("strokecolor", want.line);
        if (want.line_weight != was.line_weight) {
            pugi::xml_attribute a = shape.attribute("strokeweight");
            if (!a) a = shape.append_attribute("strokeweight");
            a.set_value(pt(want.line_weight).c_str());
            shape_changed = true;
        }
        if (want.autosize != was.autosize) {
            pugi::xml_node tb = xml::child(shape, "textbox");
            if (tb) {
                Style ts = parse_style(tb.attribute("style").value());
                if (want.autosize)
                    set_style(ts, "mso-fit-shape-to-text", "t");
                else
                    drop_style(ts, "mso-fit-shape-to-text");
                pugi::xml_attribute a = tb.attribute("style");
                if (!a) a = tb.append_attribute("style");
                a.set_value(style_text(ts).c_str());
                shape_changed = true;
            }
        }
        parts->vml.changed |= shape_changed;
        if (want.font != was.font && comment) {
            // Each run keeps what the edit did not change of its own font.
            for (pugi::xml_node r = xml::child(comment, "text").first_child(); r;
                 r = r.next_sibling()) {
                if (r.type() != pugi::node_element || xml::local_name(r.name()) != "r") continue;
                pugi::xml_node pr = xml::child(r, "rPr");
                if (!pr) pr = r.prepend_child((xml::prefix_of(r) + "rPr").c_str());
                FontFormat run_was = (*ft)->read_font(pr), run_want = run_was;
                const FontFormat &a = was.font, &b = want.font;
                if (a.name != b.name) run_want.name = b.name;
                if (a.size != b.size) run_want.size = b.size;
                if (a.bold != b.bold) run_want.bold = b.bold;
                if (a.italic != b.italic) run_want.italic = b.italic;
                if (a.underline != b.underline) run_want.underline = b.underline;
                if (a.strike != b.strike) run_want.strike = b.strike;
                if (a.colour != b.colour) run_want.colour = b.colour;
                (*ft)->write_font(pr, run_was, run_want);
            }
            parts->comments.changed = true;
        }
    }
    if (parts->vml.changed || parts->comments.changed) book_.set_saved(false);
    parts->vml.store(book_);
    parts->comments.store(book_);
    comments_loaded_ = false;
    comments_.clear();
    return {};
}

}  // namespace sheaflow::xl::native
