#include "xl/native/shift_refs.h"

#include <algorithm>

#include "xl/native/formula_tokens.h"
#include "xl/native/sheet_names.h"

namespace sheaflow::xl::native {

LineMap LineMap::insertion(std::int32_t at, std::int32_t count, std::int32_t limit) {
    return insertions({{at, count}}, limit);
}

LineMap LineMap::insertions(std::vector<LineInsertion> places, std::int32_t limit) {
    LineMap m;
    m.limit_ = limit;
    std::erase_if(places,
                  [&](const LineInsertion& p) { return p.count < 1 || p.at < 1 || p.at > limit; });
    std::sort(places.begin(), places.end(),
              [](const LineInsertion& a, const LineInsertion& b) { return a.at < b.at; });
    // Counts are kept within the grid: more lines than it has push everything off anyway.
    for (const LineInsertion& p : places) {
        if (!m.inserted_.empty() && m.inserted_.back().at == p.at)
            m.inserted_.back().count = std::min(limit, m.inserted_.back().count + p.count);
        else
            m.inserted_.push_back({p.at, std::min(limit, p.count)});
    }
    std::int32_t total = 0;
    for (const LineInsertion& p : m.inserted_) {
        total = std::min(limit, total + p.count);
        m.inserted_prefix_.push_back(total);
    }
    return m;
}

std::int32_t LineMap::inserted_upto(std::int32_t old) const {
    auto it = std::upper_bound(inserted_.begin(), inserted_.end(), old,
                               [](std::int32_t v, const LineInsertion& p) { return v < p.at; });
    if (it == inserted_.begin()) return 0;
    return inserted_prefix_[static_cast<std::size_t>(it - inserted_.begin()) - 1];
}

LineMap LineMap::deletion(std::vector<LineSpan> spans, std::int32_t limit) {
    LineMap m;
    m.limit_ = limit;
    for (LineSpan& s : spans) {
        if (s.first > s.last) std::swap(s.first, s.last);
        s.first = std::max(s.first, 1);
        s.last = std::min(s.last, limit);
    }
    std::erase_if(spans, [](const LineSpan& s) { return s.first > s.last; });
    std::sort(spans.begin(), spans.end(),
              [](const LineSpan& a, const LineSpan& b) { return a.first < b.first; });
    std::int32_t total = 0;
    for (const LineSpan& s : spans) {
        if (!m.deleted_.empty() && s.first <= m.deleted_.back().last + 1) {
            std::int32_t grow = std::max(0, s.last - m.deleted_.back().last);
            m.deleted_.back().last += grow;
            total += grow;
            continue;
        }
        m.deleted_prefix_.push_back(total);
        m.deleted_.push_back(s);
        total += s.last - s.first + 1;
    }
    return m;
}

std::int32_t LineMap::deleted_before(std::int32_t old) const {
    // The last span starting before `old`.
    auto it = std::upper_bound(deleted_.begin(), deleted_.end(), old,
                               [](std::int32_t v, const LineSpan& s) { return v <= s.first; });
    if (it == deleted_.begin()) return 0;
    std::size_t i = static_cast<std::size_t>(it - deleted_.begin()) - 1;
    const LineSpan& s = deleted_[i];
    return deleted_prefix_[i] + (std::min(old, s.last + 1) - s.first);
}

namespace {

// The deleted span holding `line`, or nullptr.
const LineSpan* span_holding(const std::vector<LineSpan>& spans, std::int32_t line) {
    auto it = std::upper_bound(spans.begin(), spans.end(), line,
                               [](std::int32_t v, const LineSpan& s) { return v < s.first; });
    if (it == spans.begin()) return nullptr;
    --it;
    return line <= it->last ? &*it : nullptr;
}

}  // namespace

std::optional<std::int32_t> LineMap::line(std::int32_t old) const {
    if (inserting()) {
        std::int32_t now = old + inserted_upto(old);
        if (now > limit_) return std::nullopt;
        return now;
    }
    if (span_holding(deleted_, old)) return std::nullopt;
    return old - deleted_before(old);
}

std::optional<LineSpan> LineMap::span(std::int32_t lo, std::int32_t hi) const {
    if (inserting()) {
        std::int32_t a = lo + inserted_upto(lo);
        std::int32_t b = hi + inserted_upto(hi);
        if (a > limit_) return std::nullopt;
        return LineSpan{a, std::min(b, limit_)};
    }
    if (const LineSpan* s = span_holding(deleted_, lo)) lo = s->last + 1;
    if (const LineSpan* s = span_holding(deleted_, hi)) hi = s->first - 1;
    if (lo > hi) return std::nullopt;
    return LineSpan{lo - deleted_before(lo), hi - deleted_before(hi)};
}

std::int32_t LineMap::nearest(std::int32_t old) const {
    if (auto l = line(old)) return *l;
    if (inserting()) return limit_;
    const LineSpan* s = span_holding(deleted_, old);
    std::int32_t next = s->last + 1;
    std::int32_t total = deleted_prefix_.empty()
                             ? 0
                             : deleted_prefix_.back() + deleted_.back().last -
                                   deleted_.back().first + 1;
    if (next > limit_) return std::max(1, limit_ - total);
    return next - deleted_before(next);
}

bool LineMap::cuts(std::int32_t lo, std::int32_t hi) const {
    if (inserting()) return inserted_upto(hi) != inserted_upto(lo);
    auto it = std::lower_bound(deleted_.begin(), deleted_.end(), lo,
                               [](const LineSpan& s, std::int32_t v) { return s.last < v; });
    return it != deleted_.end() && it->first <= hi;
}

std::optional<Area> shift_area(const Area& a, Axis axis, const LineMap& map) {
    if (axis == Axis::Rows ? !map.moves(a.first_col, a.last_col)
                           : !map.moves(a.first_row, a.last_row))
        return a;
    Area out = a;
    if (axis == Axis::Rows) {
        auto s = map.span(a.first_row, a.last_row);
        if (!s) return std::nullopt;
        out.first_row = s->first;
        out.last_row = s->last;
    } else {
        auto s = map.span(a.first_col, a.last_col);
        if (!s) return std::nullopt;
        out.first_col = s->first;
        out.last_col = s->last;
    }
    return out;
}

namespace {

// The pieces of `a` on either side of the band's edges along the other axis, when the band cuts
// it and its cells reach the lines that move; otherwise `a` alone. The piece holding the area's
// first cell comes first, so that rules relative to that cell keep their meaning.
std::vector<Area> split_at_band(const Area& a, Axis axis, const LineMap& map) {
    const std::optional<LineSpan>& band = map.band();
    const std::int32_t lo = axis == Axis::Rows ? a.first_col : a.first_row;
    const std::int32_t hi = axis == Axis::Rows ? a.last_col : a.last_row;
    const std::int32_t last = axis == Axis::Rows ? a.last_row : a.last_col;
    if (!band || map.moves(lo, hi) || hi < band->first || lo > band->last ||
        last < map.first_affected())
        return {a};
    std::vector<LineSpan> spans;
    if (lo < band->first) spans.push_back({lo, band->first - 1});
    spans.push_back({std::max(lo, band->first), std::min(hi, band->last)});
    if (hi > band->last) spans.push_back({band->last + 1, hi});
    std::vector<Area> out;
    for (const LineSpan& s : spans) {
        Area piece = a;
        if (axis == Axis::Rows) {
            piece.first_col = s.first;
            piece.last_col = s.last;
        } else {
            piece.first_row = s.first;
            piece.last_row = s.last;
        }
        out.push_back(piece);
    }
    return out;
}

}  // namespace

std::string shift_sqref(std::string_view sqref, Axis axis, const LineMap& map,
                        bool split_at_band_edges) {
    std::string out;
    std::size_t i = 0;
    while (i < sqref.size()) {
        std::size_t end = sqref.find(' ', i);
        if (end == std::string_view::npos) end = sqref.size();
        std::string_view item = sqref.substr(i, end - i);
        i = end + 1;
        if (item.empty()) continue;
        auto a = parse_address(item);
        if (!a) {
            // Not an area this engine reads: kept as it is.
            if (!out.empty()) out += ' ';
            out.append(item);
            continue;
        }
        if (split_at_band_edges) {
            std::vector<Area> pieces = split_at_band(*a, axis, map);
            if (pieces.size() > 1) {
                for (const Area& piece : pieces) {
                    auto moved = shift_area(piece, axis, map);
                    if (!moved) continue;
                    if (!out.empty()) out += ' ';
                    out += format_address(*moved, false, false);
                }
                continue;
            }
        }
        auto moved = shift_area(*a, axis, map);
        if (!moved) continue;
        if (!out.empty()) out += ' ';
        // "B:D" and "3:5" keep their whole-column or whole-row form.
        bool letters = item.find_first_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz") !=
                       std::string_view::npos;
        bool digits = item.find_first_of("0123456789") != std::string_view::npos;
        if (letters && !digits)
            out += column_letters(moved->first_col) + ":" + column_letters(moved->last_col);
        else if (digits && !letters)
            out += std::to_string(moved->first_row) + ":" + std::to_string(moved->last_row);
        else
            out += format_address(*moved, false, false);
    }
    return out;
}

namespace {

constexpr std::int32_t kMaxRows = 1048576;

bool is_word_char(char ch) {
    auto c = static_cast<unsigned char>(ch);
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '$' || c == '.' || c == '\\' || c >= 0x80;
}
bool is_alpha(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

std::size_t word_end(std::string_view f, std::size_t i) {
    while (i < f.size() && is_word_char(f[i])) ++i;
    return i;
}

std::size_t quoted_end(std::string_view f, std::size_t i, char q) {
    std::size_t j = i + 1;
    while (j < f.size()) {
        if (f[j] == q) {
            if (j + 1 < f.size() && f[j + 1] == q) {
                j += 2;
                continue;
            }
            return j + 1;
        }
        ++j;
    }
    return f.size();
}

class Shifter {
public:
    Shifter(std::string_view f, const RefScope& scope, Axis axis, const LineMap& map,
            const BlockMove* block = nullptr)
        : f_(f), scope_(scope), axis_(axis), map_(map), block_(block) {}

    std::string run() {
        out_.reserve(f_.size() + 8);
        while (i_ < f_.size()) {
            char c = f_[i_];
            if (c == '"') {
                copy_to(quoted_end(f_, i_, '"'));
            } else if (c == '\'') {
                quoted_sheet();
            } else if (c == '[') {
                bracket();
            } else if (c == '#') {
                std::size_t j = i_ + 1;
                while (j < f_.size() && (is_alpha(f_[j]) || is_digit(f_[j]) || f_[j] == '/' ||
                                         f_[j] == '_'))
                    ++j;
                if (j < f_.size() && (f_[j] == '!' || f_[j] == '?')) ++j;
                copy_to(j);
            } else if (is_word_char(c)) {
                word();
            } else {
                out_ += c;
                ++i_;
            }
        }
        return std::move(out_);
    }

private:
    void copy_to(std::size_t j) {
        j = std::min(j, f_.size());
        out_.append(f_.substr(i_, j - i_));
        i_ = j;
    }

    // "[1]Sheet1!A1" points into another workbook; "Table1[Qty]" is a structured reference.
    void bracket() {
        int depth = 0;
        std::size_t j = i_;
        for (; j < f_.size(); ++j) {
            if (f_[j] == '\'') {
                ++j;
            } else if (f_[j] == '[') {
                ++depth;
            } else if (f_[j] == ']' && --depth == 0) {
                ++j;
                break;
            }
        }
        copy_to(j);
        // What follows an external book index is that book's sheet and cells: copied.
        if (i_ < f_.size() && (is_word_char(f_[i_]) || f_[i_] == '\'')) {
            std::size_t k = f_[i_] == '\'' ? quoted_end(f_, i_, '\'') : word_end(f_, i_);
            if (k < f_.size() && f_[k] == '!') {
                copy_to(k + 1);
                skip_reference();
            }
        }
    }

    void quoted_sheet() {
        std::size_t end = quoted_end(f_, i_, '\'');
        if (end >= f_.size() || f_[end] != '!') {
            copy_to(end);
            return;
        }
        std::string name;
        for (std::size_t k = i_ + 1; k + 1 < end; ++k) {
            name += f_[k];
            if (f_[k] == '\'') ++k;
        }
        std::size_t prefix_at = out_.size();
        copy_to(end + 1);
        // A 3-D reference ('Jan:Mar'!) or another book ('[1]Data'!) is not moved.
        bool ours = name.find(':') == std::string::npos && name.find('[') == std::string::npos &&
                    same_sheet_name(name, scope_.sheet);
        if (ours)
            reference(prefix_at);
        else
            skip_reference();
    }

    void word() {
        std::size_t end = word_end(f_, i_);
        char next = end < f_.size() ? f_[end] : '\0';
        if (next == '(') {
            copy_to(end);
            return;
        }
        if (next == '!') {
            bool ours = same_sheet_name(f_.substr(i_, end - i_), scope_.sheet);
            std::size_t prefix_at = out_.size();
            copy_to(end + 1);
            if (ours)
                reference(prefix_at);
            else
                skip_reference();
            return;
        }
        if (next == ':') {
            // "Jan:Mar!A1" (a 3-D reference) or "Jan:'Mar x'!A1".
            std::size_t k = end + 1;
            std::size_t k_end = k < f_.size() && f_[k] == '\'' ? quoted_end(f_, k, '\'')
                                                                : word_end(f_, k);
            if (k_end < f_.size() && f_[k_end] == '!' && k_end > k) {
                copy_to(k_end + 1);
                skip_reference();
                return;
            }
        }
        if (scope_.unqualified) {
            reference(out_.size());
        } else {
            skip_reference();
        }
    }

    // Past a reference that is not moved.
    void skip_reference() {
        std::size_t end = word_end(f_, i_);
        if (end < f_.size() && f_[end] == ':' && end + 1 < f_.size() && is_word_char(f_[end + 1])) {
            std::size_t end2 = word_end(f_, end + 1);
            if (end2 >= f_.size() || (f_[end2] != '(' && f_[end2] != '!')) end = end2;
        }
        copy_to(end);
    }

    // A cell, range, whole-column or whole-row reference at i_, moved; anything else copied.
    // A reference whose lines are all deleted becomes #REF! without its sheet name, which
    // starts at out_[prefix_at] (both applications read "#REF!" alone alike).
    void reference(std::size_t prefix_at) {
        std::size_t end = word_end(f_, i_);
        if (end < f_.size() && f_[end] == '(') {
            copy_to(end);
            return;
        }
        RefPart a, b;
        if (end == i_ || !parse_ref_part(f_.substr(i_, end - i_), a)) {
            copy_to(end);
            return;
        }
        if (end + 1 < f_.size() && f_[end] == ':') {
            std::size_t end2 = word_end(f_, end + 1);
            bool followed = end2 < f_.size() && (f_[end2] == '(' || f_[end2] == '!');
            if (!followed && parse_ref_part(f_.substr(end + 1, end2 - end - 1), b) &&
                ((a.col && a.row && b.col && b.row) || (a.col && !a.row && b.col && !b.row) ||
                 (a.row && !a.col && b.row && !b.col))) {
                i_ = end2;
                emit_range(a, b, prefix_at);
                return;
            }
        }
        if (!(a.col && a.row)) {
            copy_to(end);
            return;
        }
        i_ = end;
        if (block_) {
            emit_moved(a, a, false, prefix_at);
            return;
        }
        std::int32_t& v = axis_ == Axis::Rows ? a.row : a.col;
        const std::int32_t cross = axis_ == Axis::Rows ? a.col : a.row;
        if (!map_.moves(cross, cross)) {
            out_ += ref_part_text(a);
            return;
        }
        auto moved = map_.line(v);
        if (!moved) {
            out_.resize(prefix_at);
            out_ += "#REF!";
            return;
        }
        v = *moved;
        out_ += ref_part_text(a);
    }

    // Range.Cut: a reference wholly inside the block moves with it; one wholly inside the
    // cells pasted over (and not in the block) is lost.
    void emit_moved(RefPart a, RefPart b, bool range, std::size_t prefix_at) {
        const BlockMove& m = *block_;
        Area r{a.row ? std::min(a.row, b.row) : 1, a.col ? std::min(a.col, b.col) : 1,
               a.row ? std::max(a.row, b.row) : kMaxRows, a.col ? std::max(a.col, b.col) : 16384};
        auto within = [&](const Area& o) {
            return r.first_row >= o.first_row && r.last_row <= o.last_row &&
                   r.first_col >= o.first_col && r.last_col <= o.last_col;
        };
        Area dest{m.from.first_row + m.rows, m.from.first_col + m.cols, m.from.last_row + m.rows,
                  m.from.last_col + m.cols};
        if (within(m.from)) {
            for (RefPart* p : {&a, &b}) {
                if (p->row) p->row += m.rows;
                if (p->col) p->col += m.cols;
            }
        } else if (within(dest)) {
            out_.resize(prefix_at);
            out_ += "#REF!";
            return;
        } else if (m.whole_lines && range) {
            bool by_rows = m.from.first_col == 1 && m.from.last_col == 16384;
            std::int32_t lo = by_rows ? r.first_row : r.first_col;
            std::int32_t hi = by_rows ? r.last_row : r.last_col;
            std::int32_t b_lo = by_rows ? m.from.first_row : m.from.first_col;
            std::int32_t b_hi = by_rows ? m.from.last_row : m.from.last_col;
            std::int32_t d_lo = by_rows ? dest.first_row : dest.first_col;
            std::int32_t d_hi = by_rows ? dest.last_row : dest.last_col;
            if (lo <= b_lo && b_hi <= hi && d_lo <= hi + 1 && d_hi + 1 >= lo) {
                RefPart& top = (by_rows ? a.row <= b.row : a.col <= b.col) ? a : b;
                RefPart& bottom = &top == &a ? b : a;
                std::int32_t& t = by_rows ? top.row : top.col;
                std::int32_t& u = by_rows ? bottom.row : bottom.col;
                if (t != 0 && u != 0) {
                    t = std::min(t, d_lo);
                    u = std::max(u, d_hi);
                }
            }
        }
        out_ += range ? ref_part_text(a) + ":" + ref_part_text(b) : ref_part_text(a);
    }

    void emit_range(RefPart a, RefPart b, std::size_t prefix_at) {
        if (block_) {
            emit_moved(a, b, true, prefix_at);
            return;
        }
        std::int32_t& va = axis_ == Axis::Rows ? a.row : a.col;
        std::int32_t& vb = axis_ == Axis::Rows ? b.row : b.col;
        // The other axis' extent: whole rows or columns span all of it.
        std::int32_t ca = axis_ == Axis::Rows ? a.col : a.row;
        std::int32_t cb = axis_ == Axis::Rows ? b.col : b.row;
        bool across = ca != 0 && cb != 0 ? map_.moves(std::min(ca, cb), std::max(ca, cb))
                                         : map_.moves(1, axis_ == Axis::Rows ? 16384 : kMaxRows);
        if (va != 0 && vb != 0 && across) {
            bool swapped = va > vb;
            auto s = map_.span(std::min(va, vb), std::max(va, vb));
            if (!s) {
                out_.resize(prefix_at);
                out_ += "#REF!";
                return;
            }
            va = swapped ? s->last : s->first;
            vb = swapped ? s->first : s->last;
        }
        out_ += ref_part_text(a) + ":" + ref_part_text(b);
    }

    std::string_view f_;
    const RefScope& scope_;
    Axis axis_;
    const LineMap& map_;
    const BlockMove* block_;
    std::size_t i_ = 0;
    std::string out_;
};

}  // namespace

std::string shift_formula_refs(std::string_view formula, const RefScope& scope, Axis axis,
                               const LineMap& map) {
    return Shifter(formula, scope, axis, map).run();
}

std::string move_block_refs(std::string_view formula, const RefScope& scope, const BlockMove& move) {
    static const LineMap unused = LineMap::insertion(1, 0, kMaxRows);
    return Shifter(formula, scope, Axis::Rows, unused, &move).run();
}

}  // namespace sheaflow::xl::native
