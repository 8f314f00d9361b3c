// The colour walks over a sheet's comments and shapes.

#include <functional>

#include "xl/native/book.h"
#include "xl/native/colours.h"
#include "xl/native/drawing.h"

namespace sheaflow::xl::native {
namespace {

// Visits one colour; true when the visitor's answer was written by `write`.
bool visit_one(const ResolvedColour& rc, const std::string& place, const char* item,
               const ColourVisit& visit, const std::function<void(std::int32_t)>& write) {
    if (rc.automatic) return false;
    auto answer = visit(ColourUse{place, item, rc.colour, rc.known});
    if (!answer || !rc.known || *answer < 0 || *answer == rc.colour) return false;
    write(*answer);
    return true;
}

template <typename F>
void for_each_element(pugi::xml_node n, const F& f) {
    for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling()) {
        if (c.type() != pugi::node_element) continue;
        f(c);
        for_each_element(c, f);
    }
}

pugi::xml_node colour_choice(pugi::xml_node parent) {
    for (pugi::xml_node c = parent.first_child(); c; c = c.next_sibling())
        if (is_drawing_colour(xml::local_name(c.name()))) return c;
    return {};
}

bool is_fill(std::string_view n) {
    return n == "solidFill" || n == "noFill" || n == "gradFill" || n == "blipFill" ||
           n == "pattFill" || n == "grpFill";
}

// A DrawingML colour choice, visited and rewritten.
bool visit_choice(pugi::xml_node choice, const ColourResolver& resolver, const std::string& place,
                  const char* item, const ColourVisit& visit) {
    if (!choice) return false;
    return visit_one(resolver.drawing(choice), place, item, visit,
                     [&](std::int32_t c) { write_drawing_colour(choice, c); });
}

// One shape: its fill, its line and its text; where the shape sets none of its own, the
// colours its style refers to.
bool visit_shape(pugi::xml_node sp, const ColourResolver& resolver, const ColourVisit& visit) {
    std::string name;
    for (pugi::xml_node nv = sp.first_child(); nv; nv = nv.next_sibling())
        if (xml::local_name(nv.name()).rfind("nv", 0) == 0)
            name = xml::child(nv, "cNvPr").attribute("name").value();
    std::string place = "オートシェイプ(" + name + ")";
    pugi::xml_node sppr = xml::child(sp, "spPr"), style = xml::child(sp, "style"),
                   body = xml::child(sp, "txBody");
    bool changed = false;
    // Fill.
    pugi::xml_node fill;
    for (pugi::xml_node c = sppr.first_child(); c; c = c.next_sibling())
        if (is_fill(xml::local_name(c.name()))) fill = c;
    if (fill && xml::local_name(fill.name()) == "solidFill") {
        changed |= visit_choice(colour_choice(fill), resolver, place, "背景", visit);
    } else if (fill && xml::local_name(fill.name()) == "gradFill") {
        for (pugi::xml_node gs : xml::child(fill, "gsLst").children())
            changed |= visit_choice(colour_choice(gs), resolver, place, "背景", visit);
    } else if (!fill && xml::local_name(sp.name()) == "sp") {
        changed |= visit_choice(colour_choice(xml::child(style, "fillRef")), resolver, place,
                                "背景", visit);
    }
    // Line.
    pugi::xml_node ln = xml::child(sppr, "ln");
    pugi::xml_node line_fill;
    for (pugi::xml_node c = ln.first_child(); c; c = c.next_sibling())
        if (is_fill(xml::local_name(c.name()))) line_fill = c;
    if (line_fill && xml::local_name(line_fill.name()) == "solidFill")
        changed |= visit_choice(colour_choice(line_fill), resolver, place, "外枠", visit);
    else if (!line_fill)
        changed |=
            visit_choice(colour_choice(xml::child(style, "lnRef")), resolver, place, "外枠", visit);
    // Text.
    bool own_text_colour = false, has_text = false;
    std::vector<pugi::xml_node> text_fills;
    for_each_element(body, [&](pugi::xml_node n) {
        std::string_view ln_ = xml::local_name(n.name());
        if (ln_ == "solidFill") text_fills.push_back(n);
        if (ln_ == "t" && *n.text().get()) has_text = true;
    });
    for (pugi::xml_node f : text_fills) {
        own_text_colour = true;
        changed |= visit_choice(colour_choice(f), resolver, place, "文字", visit);
    }
    if (has_text && !own_text_colour)
        changed |= visit_choice(colour_choice(xml::child(style, "fontRef")), resolver, place,
                                "文字", visit);
    return changed;
}

}  // namespace

Result<void> visit_comment_colours(Book& b, const std::string& sheet_part,
                                   const ColourResolver& resolver, const ColourVisit& visit) {
    for (const std::string& name : related_parts(b, sheet_part, rel::kComments)) {
        EditedPart part;
        if (auto r = part.load(b, name); !r) return r;
        for (pugi::xml_node c : xml::child(part.doc.root(), "commentList").children()) {
            if (xml::local_name(c.name()) != "comment") continue;
            std::string place = std::string("コメント(") + c.attribute("ref").value() + ")";
            for_each_element(c, [&](pugi::xml_node n) {
                if (xml::local_name(n.name()) != "color") return;
                part.changed |= visit_one(resolver.spreadsheet(n), place, "文字", visit,
                                          [&](std::int32_t v) { write_spreadsheet_colour(n, v); });
            });
        }
        part.store(b);
    }
    for (const std::string& name : related_parts(b, sheet_part, rel::kVmlDrawing)) {
        EditedPart part;
        // A VML drawing that is not well-formed XML is left as it is.
        if (!part.load(b, name)) continue;
        for_each_element(part.doc.root(), [&](pugi::xml_node shape) {
            if (xml::local_name(shape.name()) != "shape") return;
            pugi::xml_node data = xml::child(shape, "ClientData");
            if (std::string_view(data.attribute("ObjectType").value()) != "Note") return;
            int row = std::atoi(xml::child(data, "Row").text().get());
            int col = std::atoi(xml::child(data, "Column").text().get());
            std::string place =
                "コメント(" + column_letters(col + 1) + std::to_string(row + 1) + ")";
            auto attr = [&](pugi::xml_node n, const char* a, const char* item) {
                pugi::xml_attribute at = n.attribute(a);
                if (!at) return;
                part.changed |=
                    visit_one(ColourResolver::vml(at.value()), place, item, visit,
                              [&](std::int32_t v) { at.set_value(vml_colour(v).c_str()); });
            };
            attr(shape, "fillcolor", "背景");
            attr(shape, "strokecolor", "外枠");
            attr(xml::child(shape, "fill"), "color", "背景");
            attr(xml::child(shape, "stroke"), "color", "外枠");
        });
        part.store(b);
    }
    return {};
}

Result<void> visit_shape_colours(Book& b, const std::string& sheet_part,
                                 const ColourResolver& resolver, const ColourVisit& visit) {
    for (const std::string& name : related_parts(b, sheet_part, rel::kDrawing)) {
        EditedPart part;
        if (auto r = part.load(b, name); !r) return r;
        std::vector<pugi::xml_node> shapes;
        for_each_element(part.doc.root(), [&](pugi::xml_node n) {
            std::string_view ln = xml::local_name(n.name());
            if (ln == "sp" || ln == "cxnSp") shapes.push_back(n);
        });
        for (pugi::xml_node sp : shapes) part.changed |= visit_shape(sp, resolver, visit);
        part.store(b);
    }
    return {};
}

}  // namespace sheaflow::xl::native
