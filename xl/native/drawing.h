#pragma once
// The parts around a sheet that hold its drawing objects: the drawing (shapes, pictures, charts,
// embedded objects' pictures), the legacy VML drawing (comment boxes, form controls) and the
// comments. Internal to xl/native.

#include <string>
#include <string_view>
#include <vector>

#include "util/result.h"
#include "xl/native/xml.h"
#include "xl/sheet_objects.h"

namespace sheaflow::xl::native {

class Book;

namespace rel {
inline constexpr std::string_view kDrawing =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/drawing";
inline constexpr std::string_view kVmlDrawing =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/vmlDrawing";
inline constexpr std::string_view kChart =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/chart";
inline constexpr std::string_view kHyperlink =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/hyperlink";
}  // namespace rel

// The parts that `part`'s relationships of `type` point to (existing internal parts only).
std::vector<std::string> related_parts(Book& b, const std::string& part, std::string_view type);

// A part loaded as a tree for editing, written back only when changed.
struct EditedPart {
    std::string name;
    xml::Document doc;
    bool changed = false;
    Result<void> load(Book& b, const std::string& part_name);
    void store(Book& b) const;
};

class ColourResolver;

// The colour walks over a sheet's comments (text runs, and the box's fill and line in the VML
// drawing) and shapes (fill, line and text of every shape, grouped ones included).
Result<void> visit_comment_colours(Book& b, const std::string& sheet_part,
                                   const ColourResolver& resolver, const ColourVisit& visit);
Result<void> visit_shape_colours(Book& b, const std::string& sheet_part,
                                 const ColourResolver& resolver, const ColourVisit& visit);

}  // namespace sheaflow::xl::native
