#pragma once
// Where rows or columns go when lines are inserted or deleted, and the references of formulas,
// ranges and range lists moved accordingly: the application's rules for a reference to moved
// lines (a range grows when lines go inside it, shrinks when some of its lines go, becomes #REF!
// when all of them go).

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "xl/xl.h"

namespace sheaflow::xl::native {

// Lines inserted before line `at` (counted before any insertion).
struct LineInsertion {
    std::int32_t at = 0, count = 0;
};

// The new position of every line after insertions or after the deletion of some spans.
class LineMap {
public:
    // `count` lines inserted before line `at`; `limit` is the last line of the grid.
    static LineMap insertion(std::int32_t at, std::int32_t count, std::int32_t limit);
    // Lines inserted at several places as one edit, the same as inserting them one place at a
    // time from the bottom up (sorted and merged here; places outside the grid are left out).
    static LineMap insertions(std::vector<LineInsertion> places, std::int32_t limit);
    // The lines of `spans` deleted (sorted and merged here).
    static LineMap deletion(std::vector<LineSpan> spans, std::int32_t limit);

    bool inserting() const { return !inserted_.empty(); }
    // The places lines go in, in order.
    const std::vector<LineInsertion>& inserted() const { return inserted_; }
    const std::vector<LineSpan>& deleted() const { return deleted_; }
    std::int32_t limit() const { return limit_; }

    // The new position of a line; nullopt when it is deleted or pushed off the grid.
    std::optional<std::int32_t> line(std::int32_t old) const;
    // The new span of lines lo..hi: what is left of it; nullopt when nothing is.
    std::optional<LineSpan> span(std::int32_t lo, std::int32_t hi) const;
    // For anchors that must stay somewhere: a deleted line goes to the line that follows the
    // deletion (or the last line left).
    std::int32_t nearest(std::int32_t old) const;
    // Whether any line of lo..hi is deleted or has lines inserted strictly inside.
    bool cuts(std::int32_t lo, std::int32_t hi) const;
    // Lines deleted before line `old`.
    std::int32_t deleted_before(std::int32_t old) const;

    // The same move made by the cells of `band` only (lines of the other axis: the columns of
    // cells shifted up or down, the rows of cells shifted left or right). What spans lines of
    // the other axis outside the band stays where it is.
    LineMap within(LineSpan band) const {
        LineMap m = *this;
        m.band_ = band;
        return m;
    }
    const std::optional<LineSpan>& band() const { return band_; }
    // Whether what spans lo..hi of the other axis moves with the lines.
    bool moves(std::int32_t lo, std::int32_t hi) const {
        return !band_ || (lo >= band_->first && hi <= band_->last);
    }
    // The first line whose cells move or go.
    std::int32_t first_affected() const {
        return inserting()         ? inserted_.front().at
               : deleted_.empty() ? limit_ + 1
                                  : deleted_.front().first;
    }

private:
    // Lines inserted before or at line `old`: how far it moves down.
    std::int32_t inserted_upto(std::int32_t old) const;

    std::optional<LineSpan> band_;
    std::int32_t limit_ = 0;
    std::vector<LineInsertion> inserted_;
    std::vector<std::int32_t> inserted_prefix_;  // lines inserted at places up to place i
    std::vector<LineSpan> deleted_;
    std::vector<std::int32_t> deleted_prefix_;  // lines deleted in spans before span i
};

// The area moved; nullopt when all of its lines along `axis` are deleted.
std::optional<Area> shift_area(const Area& a, Axis axis, const LineMap& map);
// A space-separated list of areas ("A1:B2 D4") moved; areas deleted entirely are left out, so
// the result may be "". With `split_at_band`, an area of a range list (conditional formats,
// validation) that reaches across the edge of a band of moving cells is split there, as the
// application splits it: the part inside the band moves, the parts beside it stay.
std::string shift_sqref(std::string_view sqref, Axis axis, const LineMap& map,
                        bool split_at_band = false);

// Which references of a formula point at the sheet whose lines move.
struct RefScope {
    std::string sheet;         // the sheet's name
    bool unqualified = false;  // references without a sheet name point at it too (its own cells)
};
// The formula (without "=") with every reference into the sheet moved; a reference whose lines
// are all deleted becomes #REF!. String literals, other sheets, other workbooks, 3-D references,
// names and structured references are left as they are.
std::string shift_formula_refs(std::string_view formula, const RefScope& scope, Axis axis,
                               const LineMap& map);

// Range.Cut on one sheet: the cells of `from` go `rows` down and `cols` right.
struct BlockMove {
    Area from;
    std::int32_t rows = 0, cols = 0;
    // Whole lines moved to lines just inserted for them (the application's "insert cut cells"):
    // a range over the lines that holds the block and reaches the place it goes grows over
    // that place, so that taking the emptied lines out afterwards leaves it whole.
    bool whole_lines = false;
};
// The formula with every reference into the sheet that lies wholly inside the block moved with
// it, and every reference wholly inside the cells pasted over (outside the block) made #REF!;
// other references, partly inside or not, stay as they are.
std::string move_block_refs(std::string_view formula, const RefScope& scope, const BlockMove& move);

}  // namespace sheaflow::xl::native
