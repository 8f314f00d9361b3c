#pragma once
// The objects of a sheet as found in its parts, for the object members of Sheet. Internal to
// xl/native.

#include <cstdint>
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

}  // namespace drawing
}  // namespace sheaflow::xl::native
