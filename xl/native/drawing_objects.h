#pragma once
// The objects of a sheet as found in its parts, for the object members of Sheet. Internal to
// xl/native.

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "util/result.h"
#include "xl/native/drawing.h"
#include "xl/xl.h"

namespace sheaflow::xl::native {

class Sheet;

namespace drawing {

// Row heights and column widths of a sheet in EMU, read once; positions are measured from the
// sheet's top-left corner.
class Grid {
public:
    Grid(Sheet& s, Book& b);
    // Where 0-based column `col0` (row `row0`) begins.
    double x(std::int32_t col0) const { return start(cols_, col_std_, col0); }
    double y(std::int32_t row0) const { return start(rows_, row_std_, row0); }
    // The 0-based column (row) holding a position, and the offset within it.
    std::pair<std::int32_t, double> col_at(double x) const { return at(cols_, col_std_, x, 16384); }
    std::pair<std::int32_t, double> row_at(double y) const {
        return at(rows_, row_std_, y, 1048576);
    }

private:
    using Lines = std::vector<std::pair<LineSpan, double>>;
    double column_emu(double characters) const;
    static double start(const Lines& lines, double standard, std::int32_t line0);
    static std::pair<std::int32_t, double> at(const Lines& lines, double standard, double pos,
                                              std::int32_t limit);
    double mdw_ = 7;
    double col_std_ = 0, row_std_ = 0;
    Lines cols_, rows_;
};

// One object and where it lives.
struct Found {
    SheetObject obj;
    enum class Where { Cell, Drawing, Vml } where = Where::Cell;
    std::string part;  // the drawing or VML part
    int index = -1;    // the element child of the drawing's root, or the VML shape, counted from 0
    int shape_id = 0;  // cNvPr id, or the VML shape number
    CellRef cell{};    // a note's or hyperlink's cell
};

// Every object of a sheet in the order of Worksheet::objects(), ids set.
std::vector<Found> scan(Book& b, Sheet& s);
// The object that `o` (from an earlier scan) names, refused when the sheet changed under it.
Result<Found> find(Book& b, Sheet& s, const SheetObject& o);

// A drawing part loaded for an edit of one of its objects.
struct DrawingEdit {
    EditedPart part;
    pugi::xml_node top;     // the root's child that holds the anchor
    pugi::xml_node anchor;  // twoCellAnchor, oneCellAnchor or absoluteAnchor
    pugi::xml_node object;  // sp, pic, graphicFrame, grpSp, cxnSp or contentPart
    Result<void> load(Book& b, const Found& f);
};

// Drawing XML: the anchor of a child of the drawing's root (an alternate-content block's first
// anchor), the object of an anchor, the non-visual properties (name, id) of an object.
pugi::xml_node anchor_of(pugi::xml_node top);
pugi::xml_node object_of(pugi::xml_node anchor);
pugi::xml_node c_nv_pr(pugi::xml_node object);

// A cell corner of an anchor marker: 0-based column and row, offsets in EMU.
struct Corner {
    std::int32_t col0 = 0, row0 = 0;
    double col_off = 0, row_off = 0;
};
Corner read_marker(pugi::xml_node m);
void write_marker(pugi::xml_node m, const Corner& c);
Corner corner_at(Grid& g, double x, double y);

// The rectangle of an anchor in EMU from the sheet's top-left corner.
struct Rect {
    double x = 0, y = 0, w = 0, h = 0;
};
Rect anchor_rect(Grid& g, pugi::xml_node anchor, pugi::xml_node object);
// Writes a rectangle into an anchor and into the object's own transform.
void write_rect(Grid& g, pugi::xml_node anchor, pugi::xml_node object, const Rect& r);

// VML: the shape blocks of a part, as text ("<v:shape ...>...</v:shape>").
struct VmlBlock {
    std::size_t begin = 0, end = 0;
};
std::vector<VmlBlock> vml_blocks(std::string_view text);
// The shape number of a VML shape ("_x0000_s1025" -> 1025), 0 when it has none.
int vml_shape_number(std::string_view block);
// The eight numbers of a VML shape's anchor (columns and rows from 0, offsets in pixels).
std::vector<double> anchor_numbers(std::string_view block);
// Moves or resizes the VML shape of `f` (the `f.index`th block of `f.part`).
Result<void> edit_vml_rect(Book& b, Sheet& s, const Found& f,
                           const std::function<Rect(const Rect&)>& change);

// The relationship ids of a part, and those of them that attributes under `n` name.
std::set<std::string> rel_ids(Book& b, const std::string& part);
void ids_used(pugi::xml_node n, const std::set<std::string>& known, std::set<std::string>& out);

}  // namespace drawing

// A new identifier of a threaded comment ("{8C2D...}").
std::string new_guid();

// The persons (authors of threaded comments) of `from` that `ids` name, added to the persons
// list of `to` (made when missing) unless it has them; persons are matched by id.
Result<void> merge_persons(Book& from, Book& to, const std::set<std::string>& ids);
}  // namespace sheaflow::xl::native
