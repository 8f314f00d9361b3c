// Rows and columns of a sheet through the object model: insertion and deletion (xl/native/shift)
// and the row and column records (<row ht hidden outlineLevel collapsed>, <col min max width...>).

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>

#include "xl/native/book.h"
#include "xl/native/line_size.h"
#include "xl/native/shift.h"
#include "xl/native/structure_support.h"
#include "xl/native/xml.h"

namespace sheaflow::xl::native {
namespace {

constexpr std::int32_t kMaxRows = 1048576;
constexpr std::int32_t kMaxCols = 16384;
// Rows created at once by a format change; beyond this a change of rows that have no record yet
// is refused rather than writing a part of a million empty rows.
constexpr std::int64_t kMaxNewRows = 100000;

std::int32_t limit_of(Axis axis) { return axis == Axis::Rows ? kMaxRows : kMaxCols; }

Error refused(std::string message) {
    return Error::make(Error::Code::Refused, std::move(message));
}

std::string line_word(Axis axis) { return axis == Axis::Rows ? "行" : "列"; }

std::string number_text(double d) {
    char buf[32];
    auto r = std::to_chars(buf, buf + sizeof buf, d);
    return std::string(buf, r.ptr);
}

void set_or_remove(pugi::xml_node n, const char* name, const std::optional<std::string>& value) {
    if (!value) {
        n.remove_attribute(name);
        return;
    }
    pugi::xml_attribute a = n.attribute(name);
    if (!a) a = n.append_attribute(name);
    a.set_value(value->c_str());
}

bool truthy(pugi::xml_attribute a) {
    std::string_view v = a.value();
    return v == "1" || v == "true";
}

struct SheetFormat {
    double row_height = 15;
    double column_width = 8.43;  // in characters
};

SheetFormat sheet_format(pugi::xml_node root, double mdw) {
    SheetFormat f;
    pugi::xml_node p = xml::child(root, "sheetFormatPr");
    if (pugi::xml_attribute h = p.attribute("defaultRowHeight")) f.row_height = h.as_double(15);
    if (pugi::xml_attribute w = p.attribute("defaultColWidth"))
        f.column_width = width_to_characters(w.as_double(), mdw);
    else
        f.column_width = standard_characters(p.attribute("baseColWidth").as_int(8), mdw);
    return f;
}

LineFormat row_format(pugi::xml_node row, const SheetFormat& sf) {
    LineFormat f;
    f.custom_size = truthy(row.attribute("customHeight"));
    f.size = row.attribute("ht") ? row.attribute("ht").as_double() : sf.row_height;
    f.hidden = truthy(row.attribute("hidden"));
    f.outline_level = row.attribute("outlineLevel").as_int(0);
    f.collapsed = truthy(row.attribute("collapsed"));
    return f;
}

LineFormat col_format(pugi::xml_node col, const SheetFormat& sf, double mdw) {
    LineFormat f;
    f.custom_size = truthy(col.attribute("customWidth"));
    f.size = col.attribute("width") ? width_to_characters(col.attribute("width").as_double(), mdw)
                                    : sf.column_width;
    f.hidden = truthy(col.attribute("hidden"));
    f.outline_level = col.attribute("outlineLevel").as_int(0);
    f.collapsed = truthy(col.attribute("collapsed"));
    return f;
}

bool has_own_format(const LineFormat& f, bool has_size) {
    return has_size || f.hidden || f.outline_level > 0 || f.collapsed;
}

// The change applied to a row or column record.
void apply_change(pugi::xml_node n, Axis axis, const LineFormatChange& c, double mdw,
                  double standard_width) {
    const char* size_name = axis == Axis::Rows ? "ht" : "width";
    const char* custom_name = axis == Axis::Rows ? "customHeight" : "customWidth";
    if (c.standard_size) {
        if (axis == Axis::Rows)
            set_or_remove(n, size_name, std::nullopt);
        else
            set_or_remove(n, size_name, number_text(characters_to_width(standard_width, mdw)));
        set_or_remove(n, custom_name, std::nullopt);
    } else if (c.size) {
        double v = axis == Axis::Rows ? std::round(*c.size * 4) / 4  // quarter points
                                      : characters_to_width(*c.size, mdw);
        set_or_remove(n, size_name, number_text(v));
        set_or_remove(n, custom_name, std::string("1"));
    }
    if (c.hidden) set_or_remove(n, "hidden", *c.hidden ? std::optional<std::string>("1") : std::nullopt);
    if (c.outline_level)
        set_or_remove(n, "outlineLevel",
                      *c.outline_level > 0
                          ? std::optional<std::string>(std::to_string(std::min(*c.outline_level, 7)))
                          : std::nullopt);
    if (c.collapsed)
        set_or_remove(n, "collapsed", *c.collapsed ? std::optional<std::string>("1") : std::nullopt);
}

std::vector<LineSpan> clean_spans(std::vector<LineSpan> spans, std::int32_t limit) {
    for (LineSpan& s : spans) {
        if (s.first > s.last) std::swap(s.first, s.last);
        s.first = std::max(s.first, 1);
        s.last = std::min(s.last, limit);
    }
    std::erase_if(spans, [](const LineSpan& s) { return s.first > s.last; });
    std::sort(spans.begin(), spans.end(),
              [](const LineSpan& a, const LineSpan& b) { return a.first < b.first; });
    return spans;
}

// The highest outline level of the records, for the sheet's outline buttons.
void update_outline_levels(pugi::xml_node root) {
    int rows = 0, cols = 0;
    for (pugi::xml_node r : xml::child(root, "sheetData").children())
        rows = std::max(rows, r.attribute("outlineLevel").as_int(0));
    for (pugi::xml_node c : xml::child(root, "cols").children())
        cols = std::max(cols, c.attribute("outlineLevel").as_int(0));
    pugi::xml_node p = xml::child(root, "sheetFormatPr");
    if (!p && rows == 0 && cols == 0) return;
    if (!p) {
        pugi::xml_node before = xml::child(root, "cols");
        if (!before) before = xml::child(root, "sheetData");
        p = root.insert_child_before((xml::prefix_of(root) + "sheetFormatPr").c_str(), before);
        p.append_attribute("defaultRowHeight") = "15";
    }
    set_or_remove(p, "outlineLevelRow",
                  rows ? std::optional<std::string>(std::to_string(rows)) : std::nullopt);
    set_or_remove(p, "outlineLevelCol",
                  cols ? std::optional<std::string>(std::to_string(cols)) : std::nullopt);
}

Result<void> format_rows(pugi::xml_node root, const std::vector<LineSpan>& spans,
                         const LineFormatChange& change) {
    pugi::xml_node data = xml::child(root, "sheetData");
    if (!data) {
        pugi::xml_node before;
        for (pugi::xml_node e : root.children()) {
            std::string_view l = xml::local_name(e.name());
            if (l != "sheetPr" && l != "dimension" && l != "sheetViews" && l != "sheetFormatPr" &&
                l != "cols") {
                before = e;
                break;
            }
        }
        std::string name = xml::prefix_of(root) + "sheetData";
        data = before ? root.insert_child_before(name.c_str(), before)
                      : root.append_child(name.c_str());
    }
    std::map<std::int32_t, pugi::xml_node> rows;
    std::int32_t prev = 0;
    for (pugi::xml_node r : data.children()) {
        if (r.type() != pugi::node_element || xml::local_name(r.name()) != "row") continue;
        prev = r.attribute("r").as_int(prev + 1);
        rows[prev] = r;
    }
    std::int64_t missing = 0;
    for (const LineSpan& s : spans) {
        std::int64_t present = std::distance(rows.lower_bound(s.first), rows.upper_bound(s.last));
        missing += (s.last - s.first + 1) - present;
    }
    if (missing > kMaxNewRows)
        return refused("一度に書式を変更できる行数（" + std::to_string(kMaxNewRows) +
                       "行）を超えています。");
    std::string row_name = xml::prefix_of(root) + "row";
    for (const LineSpan& s : spans) {
        for (std::int32_t r = s.first; r <= s.last; ++r) {
            auto it = rows.find(r);
            pugi::xml_node row;
            if (it != rows.end()) {
                row = it->second;
            } else {
                auto next = rows.upper_bound(r);
                row = next == rows.end() ? data.append_child(row_name.c_str())
                                         : data.insert_child_before(row_name.c_str(), next->second);
                row.append_attribute("r") = r;
                rows[r] = row;
            }
            apply_change(row, Axis::Rows, change, 0, 0);
        }
    }
    return {};
}

// Columns: the records expanded to one per column, changed, and written back as runs.
void format_columns(pugi::xml_node root, const std::vector<LineSpan>& spans,
                    const LineFormatChange& change, double mdw, double standard_width) {
    pugi::xml_node cols = xml::child(root, "cols");
    std::string col_name = xml::prefix_of(root) + "col";
    std::vector<std::pair<std::int32_t, pugi::xml_node>> per_col(kMaxCols + 1);
    pugi::xml_document scratch;
    if (cols) {
        for (pugi::xml_node c : cols.children()) {
            if (c.type() != pugi::node_element) continue;
            std::int32_t lo = c.attribute("min").as_int(0), hi = c.attribute("max").as_int(0);
            for (std::int32_t k = std::max(lo, 1); k <= std::min(hi, kMaxCols); ++k)
                per_col[k] = {k, c};
        }
    }
    // A changed column gets a record of its own for now.
    std::vector<pugi::xml_node> own(kMaxCols + 1);
    for (const LineSpan& s : spans) {
        for (std::int32_t k = s.first; k <= s.last; ++k) {
            pugi::xml_node n = scratch.append_child(col_name.c_str());
            if (pugi::xml_node src = per_col[k].second) {
                for (pugi::xml_attribute a : src.attributes()) n.append_attribute(a.name()) = a.value();
            } else {
                n.append_attribute("min") = k;
                n.append_attribute("max") = k;
                n.append_attribute("width") =
                    number_text(characters_to_width(standard_width, mdw)).c_str();
            }
            apply_change(n, Axis::Columns, change, mdw, standard_width);
            own[k] = n;
        }
    }
    // Runs of columns whose records carry the same attributes (min and max aside).
    auto signature = [](pugi::xml_node n) {
        std::string s;
        for (pugi::xml_attribute a : n.attributes()) {
            std::string_view name = a.name();
            if (name == "min" || name == "max") continue;
            s += name;
            s += '=';
            s += a.value();
            s += ';';
        }
        return s;
    };
    if (!cols) {
        pugi::xml_node data = xml::child(root, "sheetData");
        std::string name = xml::prefix_of(root) + "cols";
        cols = data ? root.insert_child_before(name.c_str(), data) : root.append_child(name.c_str());
    }
    pugi::xml_document rebuilt;
    pugi::xml_node out = rebuilt.append_child("cols");
    std::int32_t k = 1;
    while (k <= kMaxCols) {
        pugi::xml_node n = own[k] ? own[k] : per_col[k].second;
        if (!n) {
            ++k;
            continue;
        }
        std::string sig = signature(n);
        std::int32_t end = k;
        while (end + 1 <= kMaxCols) {
            pugi::xml_node m = own[end + 1] ? own[end + 1] : per_col[end + 1].second;
            if (!m || signature(m) != sig) break;
            ++end;
        }
        pugi::xml_node rec = out.append_child(col_name.c_str());
        rec.append_attribute("min") = k;
        rec.append_attribute("max") = end;
        for (pugi::xml_attribute a : n.attributes()) {
            std::string_view name = a.name();
            if (name != "min" && name != "max") rec.append_attribute(a.name()) = a.value();
        }
        k = end + 1;
    }
    while (pugi::xml_node c = cols.first_child()) cols.remove_child(c);
    for (pugi::xml_node rec : out.children()) cols.append_copy(rec);
    if (!cols.first_child()) root.remove_child(cols);
}

}  // namespace

Result<void> Sheet::insert_lines(Axis axis, std::int32_t at, std::int32_t count) {
    std::int32_t limit = limit_of(axis);
    if (!has_cells())
        return refused("シート「" + name_ + "」はワークシートではありません。");
    if (at < 1 || at > limit || count < 1)
        return refused(line_word(axis) + "の位置または数が範囲外です。");
    count = std::min(count, limit - at + 1);
    return shift_lines(book_, *this, axis, LineMap::insertion(at, count, limit));
}

Result<void> Sheet::insert_lines_before(Axis axis, std::vector<std::int32_t> lines) {
    std::int32_t limit = limit_of(axis);
    if (!has_cells())
        return refused("シート「" + name_ + "」はワークシートではありません。");
    std::vector<LineInsertion> places;
    places.reserve(lines.size());
    for (std::int32_t at : lines) {
        if (at < 1 || at > limit) return refused(line_word(axis) + "の位置または数が範囲外です。");
        places.push_back({at, 1});
    }
    if (places.empty()) return {};
    return shift_lines(book_, *this, axis, LineMap::insertions(std::move(places), limit));
}

Result<void> Sheet::delete_lines(Axis axis, std::vector<LineSpan> spans) {
    std::int32_t limit = limit_of(axis);
    if (!has_cells())
        return refused("シート「" + name_ + "」はワークシートではありません。");
    for (const LineSpan& s : spans)
        if (s.first < 1 || s.last < 1 || s.first > limit || s.last > limit)
            return refused(line_word(axis) + "の位置が範囲外です。");
    LineMap map = LineMap::deletion(std::move(spans), limit);
    if (map.deleted().empty()) return {};
    return shift_lines(book_, *this, axis, map);
}

// Cells shift inside the area's band of the other axis: the line moves of insert_lines and
// delete_lines limited to those columns (shifting up or down) or rows (left or right).
Result<void> Sheet::insert_cells(Axis axis, const Area& a) {
    std::int32_t limit = limit_of(axis);
    if (!has_cells()) return refused("シート「" + name_ + "」はワークシートではありません。");
    if (a.first_row < 1 || a.first_col < 1 || a.last_row > kMaxRows || a.last_col > kMaxCols ||
        a.first_row > a.last_row || a.first_col > a.last_col)
        return refused("セルの範囲が不正です。");
    const bool rows = axis == Axis::Rows;
    std::int32_t at = rows ? a.first_row : a.first_col;
    std::int32_t count = rows ? a.last_row - a.first_row + 1 : a.last_col - a.first_col + 1;
    LineSpan band = rows ? LineSpan{a.first_col, a.last_col} : LineSpan{a.first_row, a.last_row};
    return shift_lines(book_, *this, axis, LineMap::insertion(at, count, limit).within(band));
}

Result<void> Sheet::delete_cells(Axis axis, const Area& a) {
    std::int32_t limit = limit_of(axis);
    if (!has_cells()) return refused("シート「" + name_ + "」はワークシートではありません。");
    if (a.first_row < 1 || a.first_col < 1 || a.last_row > kMaxRows || a.last_col > kMaxCols ||
        a.first_row > a.last_row || a.first_col > a.last_col)
        return refused("セルの範囲が不正です。");
    const bool rows = axis == Axis::Rows;
    LineSpan lines = rows ? LineSpan{a.first_row, a.last_row} : LineSpan{a.first_col, a.last_col};
    LineSpan band = rows ? LineSpan{a.first_col, a.last_col} : LineSpan{a.first_row, a.last_row};
    return shift_lines(book_, *this, axis, LineMap::deletion({lines}, limit).within(band));
}

std::vector<std::pair<LineSpan, LineFormat>> Sheet::formatted_lines(Axis axis) {
    std::vector<std::pair<LineSpan, LineFormat>> out;
    if (!has_cells()) return out;
    auto text = structure::sheet_text(book_, *this);
    if (!text) return out;
    xml::Document doc;
    if (!xml::load(doc, *text, part_name_)) return out;
    double mdw = max_digit_width(book_);
    SheetFormat sf = sheet_format(doc.root(), mdw);
    if (axis == Axis::Rows) {
        std::int32_t prev = 0;
        for (pugi::xml_node r : xml::child(doc.root(), "sheetData").children()) {
            if (r.type() != pugi::node_element || xml::local_name(r.name()) != "row") continue;
            prev = r.attribute("r").as_int(prev + 1);
            LineFormat f = row_format(r, sf);
            if (has_own_format(f, static_cast<bool>(r.attribute("ht"))))
                out.push_back({LineSpan{prev, prev}, f});
        }
        return out;
    }
    for (pugi::xml_node c : xml::child(doc.root(), "cols").children()) {
        if (c.type() != pugi::node_element) continue;
        std::int32_t lo = c.attribute("min").as_int(0), hi = c.attribute("max").as_int(0);
        if (lo < 1 || hi < lo) continue;
        out.push_back({LineSpan{lo, std::min(hi, kMaxCols)}, col_format(c, sf, mdw)});
    }
    return out;
}

LineFormat Sheet::line_format(Axis axis, std::int32_t line) {
    for (auto& [span, f] : formatted_lines(axis))
        if (line >= span.first && line <= span.last) return f;
    LineFormat f;
    f.size = standard_size(axis);
    return f;
}

double Sheet::standard_size(Axis axis) {
    double mdw = max_digit_width(book_);
    if (!has_cells()) return axis == Axis::Rows ? 15 : standard_characters(8, mdw);
    auto text = structure::sheet_text(book_, *this);
    xml::Document doc;
    if (!text || !xml::load(doc, *text, part_name_))
        return axis == Axis::Rows ? 15 : standard_characters(8, mdw);
    SheetFormat sf = sheet_format(doc.root(), mdw);
    return axis == Axis::Rows ? sf.row_height : sf.column_width;
}

Result<void> Sheet::format_lines(Axis axis, const std::vector<LineSpan>& spans,
                                 const LineFormatChange& change) {
    if (!has_cells())
        return refused("シート「" + name_ + "」はワークシートではありません。");
    if (change.size && (*change.size < 0 || *change.size > (axis == Axis::Rows ? 409 : 255)))
        return refused(axis == Axis::Rows ? "行の高さは 0 から 409 までです。"
                                          : "列の幅は 0 から 255 までです。");
    std::vector<LineSpan> clean = clean_spans(spans, limit_of(axis));
    if (clean.empty()) return {};
    auto text = structure::sheet_text(book_, *this);
    if (!text) return text.error();
    xml::Document doc;
    if (auto r = xml::load(doc, *text, part_name_); !r) return r;
    double mdw = max_digit_width(book_);
    SheetFormat sf = sheet_format(doc.root(), mdw);
    if (axis == Axis::Rows) {
        if (auto r = format_rows(doc.root(), clean, change); !r) return r;
    } else {
        format_columns(doc.root(), clean, change, mdw, sf.column_width);
    }
    if (change.outline_level) update_outline_levels(doc.root());
    std::string edited = xml::save(doc);
    if (edited == *text) return {};
    if (auto r = structure::store_sheet_text(book_, *this, std::move(edited)); !r) return r;
    book_.set_saved(false);
    return {};
}

}  // namespace sheaflow::xl::native
