#include "xl/native/shift.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <functional>
#include <map>

#include "xl/native/formula.h"
#include "xl/native/structure_support.h"
#include "xl/native/xml.h"

namespace sheaflow::xl::native {
namespace {

constexpr std::int32_t kMaxRows = 1048576;
constexpr std::int32_t kMaxCols = 16384;

constexpr std::string_view kCommentsType =
    "application/vnd.openxmlformats-officedocument.spreadsheetml.comments+xml";
constexpr std::string_view kThreadedCommentsType = "application/vnd.ms-excel.threadedcomments+xml";
constexpr std::string_view kPivotTableType =
    "application/vnd.openxmlformats-officedocument.spreadsheetml.pivotTable+xml";

Error refused(std::string message) {
    return Error::make(Error::Code::Refused, std::move(message));
}

std::string_view local(pugi::xml_node n) { return xml::local_name(n.name()); }

std::int32_t int_attr(pugi::xml_node n, const char* name, std::int32_t fallback) {
    pugi::xml_attribute a = n.attribute(name);
    if (!a) return fallback;
    std::string_view v = a.value();
    std::int32_t out = 0;
    auto r = std::from_chars(v.data(), v.data() + v.size(), out);
    return r.ec == std::errc() && r.ptr == v.data() + v.size() ? out : fallback;
}

void set_attr(pugi::xml_node n, const char* name, const std::string& value) {
    pugi::xml_attribute a = n.attribute(name);
    if (!a) a = n.append_attribute(name);
    a.set_value(value.c_str());
}

std::string cell_name(std::int32_t row, std::int32_t col) {
    return column_letters(col) + std::to_string(row);
}

// "B7" -> row 7, column 2.
std::optional<CellRef> parse_cell(std::string_view s) {
    auto a = parse_address(s);
    if (!a || a->first_row != a->last_row || a->first_col != a->last_col) return std::nullopt;
    return CellRef{a->first_row, a->first_col};
}

// The line of a cell along the axis, and the cell with that line set.
std::int32_t line_of(CellRef c, Axis axis) { return axis == Axis::Rows ? c.row : c.col; }
CellRef with_line(CellRef c, Axis axis, std::int32_t line) {
    (axis == Axis::Rows ? c.row : c.col) = line;
    return c;
}

std::string formula_text(pugi::xml_node f) { return f.text().get(); }
void set_formula_text(pugi::xml_node f, const std::string& text) {
    while (pugi::xml_node c = f.first_child()) f.remove_child(c);
    if (!text.empty()) f.append_child(pugi::node_pcdata).set_value(text.c_str());
}

// One cell of sheetData with where it was and where it goes.
struct CellNode {
    pugi::xml_node node;
    CellRef old_pos;
    std::optional<CellRef> new_pos;
};

bool has_contents(pugi::xml_node c) {
    for (pugi::xml_node k = c.first_child(); k; k = k.next_sibling()) {
        std::string_view l = local(k);
        if (l == "v" || l == "f" || l == "is") return true;
    }
    return false;
}

// A shared formula group: the cell its text was written for and every cell of it.
struct SharedGroup {
    CellRef master{0, 0};
    std::string text;
    std::vector<CellNode*> members;
};

// Rewrites the formulas of a shared group after its cells moved: each member's text is what it
// read before (the master's text moved to it), edited. The group stays shared when every text is
// the first surviving member's text moved to that member, as the application keeps it; else each
// cell gets its own formula.
// Answers whether anything changed.
bool rewrite_shared_group(SharedGroup& g, const std::function<std::string(std::string_view)>& edit,
                          bool keep_old_texts) {
    std::vector<CellNode*> alive;
    for (CellNode* m : g.members)
        if (m->new_pos) alive.push_back(m);
    if (alive.empty()) return false;
    std::sort(alive.begin(), alive.end(), [](const CellNode* a, const CellNode* b) {
        return a->new_pos->row != b->new_pos->row ? a->new_pos->row < b->new_pos->row
                                                  : a->new_pos->col < b->new_pos->col;
    });
    std::vector<std::string> old_texts, texts;
    for (CellNode* m : alive) {
        old_texts.push_back(formula::shift(g.text, m->old_pos.row - g.master.row,
                                           m->old_pos.col - g.master.col));
        texts.push_back(edit(old_texts.back()));
    }
    const CellRef head = *alive[0]->new_pos;
    bool consistent = true;
    Area box{head.row, head.col, head.row, head.col};
    for (std::size_t i = 0; i < alive.size() && consistent; ++i) {
        CellRef p = *alive[i]->new_pos;
        consistent = texts[i] == formula::shift(texts[0], p.row - head.row, p.col - head.col);
        box.first_row = std::min(box.first_row, p.row);
        box.last_row = std::max(box.last_row, p.row);
        box.first_col = std::min(box.first_col, p.col);
        box.last_col = std::max(box.last_col, p.col);
    }
    std::vector<std::string>& written = keep_old_texts ? old_texts : texts;
    if (consistent && alive.size() > 1) {
        if (keep_old_texts) return false;  // the later rewrite of the master's text is enough
        for (std::size_t i = 0; i < alive.size(); ++i) {
            pugi::xml_node f = xml::child(alive[i]->node, "f");
            if (i == 0) {
                set_attr(f, "ref", format_address(box, false, false));
                set_formula_text(f, written[0]);
            } else {
                f.remove_attribute("ref");
                set_formula_text(f, "");
            }
        }
        return true;
    }
    for (std::size_t i = 0; i < alive.size(); ++i) {
        pugi::xml_node f = xml::child(alive[i]->node, "f");
        f.remove_attribute("t");
        f.remove_attribute("ref");
        f.remove_attribute("si");
        set_formula_text(f, written[i]);
    }
    return true;
}

// Reads the cells of sheetData in order with their positions (implicit ones counted as the
// application does).
std::vector<CellNode> read_cells(pugi::xml_node sheet_data) {
    std::vector<CellNode> cells;
    std::int32_t prev_row = 0;
    for (pugi::xml_node row = sheet_data.first_child(); row; row = row.next_sibling()) {
        if (row.type() != pugi::node_element || local(row) != "row") continue;
        std::int32_t r = int_attr(row, "r", prev_row + 1);
        prev_row = r;
        std::int32_t next_col = 1;
        for (pugi::xml_node c = row.first_child(); c; c = c.next_sibling()) {
            if (c.type() != pugi::node_element || local(c) != "c") continue;
            std::int32_t col = next_col;
            if (auto p = parse_cell(c.attribute("r").value())) col = p->col;
            next_col = col + 1;
            cells.push_back({c, CellRef{r, col}, std::nullopt});
        }
    }
    return cells;
}

class SheetShift {
public:
    SheetShift(std::string_view sheet_name, Axis axis, const LineMap& map)
        : axis_(axis), map_(map), scope_{std::string(sheet_name), true} {}

    Result<std::string> run(std::string_view text) {
        if (auto r = xml::load(doc_, text, "worksheet"); !r) return r.error();
        root_ = doc_.root();
        sheet_data_ = xml::child(root_, "sheetData");
        cells_ = read_cells(sheet_data_);
        if (auto r = check_cells(); !r) return r.error();
        move_cells();
        edit_cell_formulas();
        if (map_.band() && axis_ == Axis::Rows) relocate_cells();
        if (map_.inserting() && !map_.band()) copy_formats_into_inserted();
        edit_sheet_elements();
        update_dimension();
        return xml::save(doc_);
    }

private:
    std::string edit(std::string_view f) const {
        return shift_formula_refs(f, scope_, axis_, map_);
    }
    std::int32_t limit() const { return axis_ == Axis::Rows ? kMaxRows : kMaxCols; }

    // The other axis' position of a cell, and whether a cell there moves.
    std::int32_t cross_of(CellRef c) const { return axis_ == Axis::Rows ? c.col : c.row; }
    bool moves(CellRef c) const { return map_.moves(cross_of(c), cross_of(c)); }
    // Whether an area lies partly inside the band of moving cells where they move.
    bool straddles(const Area& a) const {
        if (!map_.band()) return false;
        std::int32_t lo = axis_ == Axis::Rows ? a.first_col : a.first_row;
        std::int32_t hi = axis_ == Axis::Rows ? a.last_col : a.last_row;
        std::int32_t last_line = axis_ == Axis::Rows ? a.last_row : a.last_col;
        const LineSpan& b = *map_.band();
        bool partly = hi >= b.first && lo <= b.last && !(lo >= b.first && hi <= b.last);
        return partly && last_line >= map_.first_affected();
    }

    Result<void> check_cells() {
        if (map_.band())
            for (pugi::xml_node m : xml::child(root_, "mergeCells").children()) {
                auto a = parse_address(m.attribute("ref").value());
                if (a && straddles(*a))
                    return refused("結合セルの一部を移動することはできません（セル " +
                                   format_address(*a, false, false) + "）。");
            }
        for (CellNode& c : cells_) {
            std::int32_t line = line_of(c.old_pos, axis_);
            if (pugi::xml_node f = xml::child(c.node, "f");
                f && std::string_view(f.attribute("t").value()) == "array")
                if (auto a = parse_address(f.attribute("ref").value()); a && straddles(*a))
                    return refused("配列数式の一部を変更することはできません（セル " +
                                   format_address(*a, false, false) + "）。");
            if (!moves(c.old_pos)) continue;
            if (map_.inserting() && !map_.line(line) && has_contents(c.node))
                return refused(axis_ == Axis::Rows
                                   ? "シートの最後の行までデータがあるため、行を挿入できません。"
                                   : "シートの最後の列までデータがあるため、列を挿入できません。");
            pugi::xml_node f = xml::child(c.node, "f");
            if (!f || std::string_view(f.attribute("t").value()) != "array") continue;
            auto a = parse_address(f.attribute("ref").value());
            if (!a) continue;
            std::int32_t lo = axis_ == Axis::Rows ? a->first_row : a->first_col;
            std::int32_t hi = axis_ == Axis::Rows ? a->last_row : a->last_col;
            bool whole_deleted = !map_.inserting() && !map_.span(lo, hi);
            if (map_.cuts(lo, hi) && !whole_deleted)
                return refused("配列数式の一部を変更することはできません（セル " +
                               format_address(*a, false, false) + "）。");
        }
        return {};
    }

    void move_cells() {
        for (CellNode& c : cells_) {
            if (!moves(c.old_pos))
                c.new_pos = c.old_pos;
            else if (auto l = map_.line(line_of(c.old_pos, axis_)))
                c.new_pos = with_line(c.old_pos, axis_, *l);
        }
        const bool band = map_.band().has_value();
        // Rows first (a deleted row takes its cells with it), then the cells' own positions.
        std::int32_t prev_row = 0;
        std::vector<pugi::xml_node> gone_rows;
        for (pugi::xml_node row = sheet_data_.first_child(); row; row = row.next_sibling()) {
            if (row.type() != pugi::node_element || local(row) != "row") continue;
            std::int32_t r = int_attr(row, "r", prev_row + 1);
            prev_row = r;
            if (axis_ == Axis::Rows && !band) {
                auto moved = map_.line(r);
                if (!moved) {
                    gone_rows.push_back(row);
                    continue;
                }
                set_attr(row, "r", std::to_string(*moved));
            } else {
                row.remove_attribute("spans");  // a hint of the columns used; now out of date
                set_attr(row, "r", std::to_string(r));
            }
        }
        std::vector<pugi::xml_node> gone_cells;
        for (CellNode& c : cells_) {
            if (!c.new_pos) {
                if (axis_ == Axis::Columns || band) gone_cells.push_back(c.node);
                continue;
            }
            set_attr(c.node, "r", cell_name(c.new_pos->row, c.new_pos->col));
        }
        // Shared groups and the formulas are read before the nodes go.
        for (CellNode& c : cells_) {
            pugi::xml_node f = xml::child(c.node, "f");
            if (!f || std::string_view(f.attribute("t").value()) != "shared") continue;
            std::int32_t si = int_attr(f, "si", -1);
            if (si < 0) continue;
            SharedGroup& g = groups_[si];
            g.members.push_back(&c);
            if (f.attribute("ref") && !formula_text(f).empty()) {
                g.master = c.old_pos;
                g.text = formula_text(f);
            }
        }
        // Texts of deleted members are needed no longer; remove their nodes at the end.
        gone_rows_ = std::move(gone_rows);
        gone_cells_ = std::move(gone_cells);
    }

    void edit_cell_formulas() {
        for (CellNode& c : cells_) {
            if (!c.new_pos) continue;
            pugi::xml_node f = xml::child(c.node, "f");
            if (!f) continue;
            std::string_view t = f.attribute("t").value();
            if (t == "shared") continue;
            if (t == "dataTable") {
                for (const char* a : {"r1", "r2"})
                    if (pugi::xml_attribute at = f.attribute(a))
                        at.set_value(edit(at.value()).c_str());
                continue;
            }
            std::string text = formula_text(f);
            std::string edited = edit(text);
            if (edited != text) set_formula_text(f, edited);
            if (t == "array") {
                if (auto a = parse_address(f.attribute("ref").value()))
                    if (auto moved = shift_area(*a, axis_, map_))
                        set_attr(f, "ref", format_address(*moved, false, false));
            }
        }
        for (auto& [si, g] : groups_) {
            if (g.master.row == 0) {
                // A group without its master cell: its members cannot be read; left alone.
                continue;
            }
            (void)rewrite_shared_group(g, [&](std::string_view f) { return edit(f); }, false);
        }
        for (pugi::xml_node n : gone_cells_) n.parent().remove_child(n);
        for (pugi::xml_node n : gone_rows_) n.parent().remove_child(n);
    }

    // Cells shifted up or down inside some columns change rows: each goes into its new row
    // element (created when missing), in column order.
    void relocate_cells() {
        std::map<std::int32_t, pugi::xml_node> rows;
        std::int32_t prev = 0;
        for (pugi::xml_node row = sheet_data_.first_child(); row; row = row.next_sibling()) {
            if (row.type() != pugi::node_element || local(row) != "row") continue;
            prev = int_attr(row, "r", prev + 1);
            rows[prev] = row;
        }
        std::string row_name = xml::prefix_of(sheet_data_) + "row";
        for (CellNode& c : cells_) {
            if (!c.new_pos || c.new_pos->row == c.old_pos.row) continue;
            std::int32_t r = c.new_pos->row;
            pugi::xml_node target;
            if (auto it = rows.find(r); it != rows.end()) {
                target = it->second;
            } else {
                auto after = rows.upper_bound(r);
                target = after == rows.end()
                             ? sheet_data_.append_child(row_name.c_str())
                             : sheet_data_.insert_child_before(row_name.c_str(), after->second);
                set_attr(target, "r", std::to_string(r));
                rows[r] = target;
            }
            target.remove_attribute("spans");
            c.node.parent().remove_attribute("spans");
            pugi::xml_node before;
            for (pugi::xml_node o = target.first_child(); o; o = o.next_sibling()) {
                if (o.type() != pugi::node_element || o == c.node) continue;
                auto p = parse_cell(o.attribute("r").value());
                if (p && p->col > c.new_pos->col) {
                    before = o;
                    break;
                }
            }
            if (before)
                target.insert_move_before(c.node, before);
            else
                target.append_move(c.node);
        }
    }

    // Inserted lines take the format of the line before them, as the application inserts.
    // Keyed by where that line is now: the lines inserted after it.
    std::map<std::int32_t, std::int32_t> format_sources() const {
        std::map<std::int32_t, std::int32_t> sources;
        for (const LineInsertion& p : map_.inserted())
            if (p.at > 1)
                if (auto now = map_.line(p.at - 1)) sources[*now] = p.count;
        return sources;
    }

    void copy_formats_into_inserted() {
        const std::map<std::int32_t, std::int32_t> sources = format_sources();
        if (sources.empty()) return;
        if (axis_ == Axis::Rows) {
            std::vector<std::pair<pugi::xml_node, std::int32_t>> rows;  // source and its line
            for (pugi::xml_node row = sheet_data_.first_child(); row; row = row.next_sibling())
                if (row.type() == pugi::node_element && local(row) == "row")
                    if (std::int32_t r = int_attr(row, "r", 0); sources.count(r))
                        rows.emplace_back(row, r);
            for (auto [source, before] : rows)
                copy_row_format(source, before, sources.at(before));
            return;
        }
        for (pugi::xml_node row = sheet_data_.first_child(); row; row = row.next_sibling()) {
            if (row.type() != pugi::node_element) continue;
            std::int32_t r = int_attr(row, "r", 0);
            for (pugi::xml_node c = row.first_child(), next; c; c = next) {
                next = c.next_sibling();
                if (c.type() != pugi::node_element) continue;
                auto p = parse_cell(c.attribute("r").value());
                if (!p) continue;
                auto source = sources.find(p->col);
                if (source == sources.end() || int_attr(c, "s", 0) == 0) continue;
                const std::int32_t before = p->col;
                pugi::xml_node after = c;
                for (std::int32_t k = 0; k < source->second && before + 1 + k <= kMaxCols; ++k) {
                    pugi::xml_node cell = row.insert_child_after(c.name(), after);
                    after = cell;
                    set_attr(cell, "r", cell_name(r, before + 1 + k));
                    set_attr(cell, "s", c.attribute("s").value());
                }
            }
        }
    }

    // The `count` rows inserted after row `source` (now at line `before`) as it is formatted.
    void copy_row_format(pugi::xml_node source, std::int32_t before, std::int32_t count) {
        bool formatted = source.attribute("customFormat") || source.attribute("customHeight");
        std::vector<pugi::xml_node> styled;
        for (pugi::xml_node c = source.first_child(); c; c = c.next_sibling())
            if (c.type() == pugi::node_element && int_attr(c, "s", 0) != 0) styled.push_back(c);
        if (!formatted && styled.empty()) return;
        pugi::xml_node after = source;
        for (std::int32_t k = 0; k < count && before + 1 + k <= kMaxRows; ++k) {
            std::int32_t r = before + 1 + k;
            pugi::xml_node row = sheet_data_.insert_child_after(source.name(), after);
            after = row;
            set_attr(row, "r", std::to_string(r));
            for (const char* a : {"s", "customFormat", "ht", "customHeight"})
                if (pugi::xml_attribute at = source.attribute(a)) set_attr(row, a, at.value());
            for (pugi::xml_node c : styled) {
                auto p = parse_cell(c.attribute("r").value());
                if (!p) continue;
                pugi::xml_node cell = row.append_child(c.name());
                set_attr(cell, "r", cell_name(r, p->col));
                set_attr(cell, "s", c.attribute("s").value());
            }
        }
    }

    // Elements of the worksheet around its cells.
    void edit_sheet_elements() {
        std::vector<pugi::xml_node> gone;
        for (pugi::xml_node e = root_.first_child(); e; e = e.next_sibling()) {
            if (e.type() != pugi::node_element) continue;
            std::string_view l = local(e);
            if (l == "cols") {
                if (axis_ == Axis::Columns && !map_.band()) edit_cols(e);
            } else if (l == "mergeCells") {
                edit_list(e, [&](pugi::xml_node m) {
                    auto a = parse_address(m.attribute("ref").value());
                    if (!a) return true;
                    auto moved = shift_area(*a, axis_, map_);
                    if (!moved || (moved->first_row == moved->last_row &&
                                   moved->first_col == moved->last_col))
                        return false;
                    set_attr(m, "ref", format_address(*moved, false, false));
                    return true;
                });
                if (!element_child(e)) gone.push_back(e);
            } else if (l == "conditionalFormatting" || l == "dataValidations" ||
                       l == "protectedRanges" || l == "ignoredErrors") {
                if (!edit_sqref_holders(e)) gone.push_back(e);
            } else if (l == "hyperlinks") {
                edit_list(e, [&](pugi::xml_node h) {
                    if (!edit_ref_attr(h, "ref")) return false;
                    if (pugi::xml_attribute loc = h.attribute("location"))
                        loc.set_value(edit(loc.value()).c_str());
                    return true;
                });
                if (!element_child(e)) gone.push_back(e);
            } else if (l == "autoFilter") {
                if (!edit_auto_filter(e)) gone.push_back(e);
            } else if (l == "sortState") {
                if (!edit_ref_attr(e, "ref")) gone.push_back(e);
                else
                    edit_list(e, [&](pugi::xml_node s) { return edit_ref_attr(s, "ref"); });
            } else if (((l == "rowBreaks" && axis_ == Axis::Rows) ||
                        (l == "colBreaks" && axis_ == Axis::Columns)) &&
                       !map_.band()) {
                edit_list(e, [&](pugi::xml_node b) {
                    auto moved = map_.line(int_attr(b, "id", 0));
                    if (!moved) return false;
                    set_attr(b, "id", std::to_string(*moved));
                    return true;
                });
                std::int32_t n = 0, manual = 0;
                for (pugi::xml_node b = e.first_child(); b; b = b.next_sibling())
                    if (b.type() == pugi::node_element) {
                        ++n;
                        manual += std::string_view(b.attribute("man").value()) == "1";
                    }
                if (e.attribute("count")) set_attr(e, "count", std::to_string(n));
                if (e.attribute("manualBreakCount"))
                    set_attr(e, "manualBreakCount", std::to_string(manual));
            } else if (l == "sheetViews") {
                edit_views(e);
            } else if (l == "extLst") {
                if (!edit_extensions(e)) gone.push_back(e);
            }
        }
        for (pugi::xml_node e : gone) root_.remove_child(e);
    }

    static pugi::xml_node element_child(pugi::xml_node e) {
        for (pugi::xml_node c = e.first_child(); c; c = c.next_sibling())
            if (c.type() == pugi::node_element) return c;
        return {};
    }

    // Calls `keep` for every element child; removes those it answers false for, and keeps a
    // "count" attribute right.
    template <typename Keep>
    void edit_list(pugi::xml_node list, Keep&& keep) {
        std::vector<pugi::xml_node> gone;
        std::int32_t n = 0;
        for (pugi::xml_node c = list.first_child(); c; c = c.next_sibling()) {
            if (c.type() != pugi::node_element) continue;
            if (keep(c))
                ++n;
            else
                gone.push_back(c);
        }
        for (pugi::xml_node c : gone) list.remove_child(c);
        if (list.attribute("count")) set_attr(list, "count", std::to_string(n));
    }

    // An area attribute moved; false when its lines are all deleted. A range list (`list`) is
    // split at the edges of a band of moving cells.
    bool edit_ref_attr(pugi::xml_node n, const char* name, bool list = false) {
        pugi::xml_attribute a = n.attribute(name);
        if (!a) return true;
        std::string moved = shift_sqref(a.value(), axis_, map_, list);
        if (moved.empty()) return false;
        a.set_value(moved.c_str());
        return true;
    }

    // Formula elements inside an element (conditional-format rules, validation).
    void edit_formulas_under(pugi::xml_node n) {
        for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling()) {
            if (c.type() != pugi::node_element) continue;
            std::string_view l = local(c);
            if (l == "formula" || l == "formula1" || l == "formula2" || l == "f") {
                std::string text = formula_text(c);
                std::string edited = edit(text);
                if (edited != text) set_formula_text(c, edited);
            } else {
                edit_formulas_under(c);
            }
        }
    }

    // conditionalFormatting (one sqref for itself), dataValidations, protectedRanges and
    // ignoredErrors (an sqref per child). False when nothing is left.
    bool edit_sqref_holders(pugi::xml_node e) {
        if (local(e) == "conditionalFormatting") {
            if (!edit_ref_attr(e, "sqref", true)) return false;
            edit_formulas_under(e);
            return true;
        }
        edit_list(e, [&](pugi::xml_node item) {
            if (!edit_ref_attr(item, "sqref", true)) return false;
            edit_formulas_under(item);
            return true;
        });
        return element_child(e) != pugi::xml_node();
    }

    bool edit_auto_filter(pugi::xml_node e) {
        auto a = parse_address(e.attribute("ref").value());
        if (!a) return true;
        auto moved = shift_area(*a, axis_, map_);
        if (!moved) return false;
        set_attr(e, "ref", format_address(*moved, false, false));
        if (axis_ == Axis::Columns) {
            // A filter column counts from the filter's first column.
            std::vector<pugi::xml_node> gone;
            for (pugi::xml_node fc = e.first_child(); fc; fc = fc.next_sibling()) {
                if (fc.type() != pugi::node_element || local(fc) != "filterColumn") continue;
                auto col = map_.line(a->first_col + int_attr(fc, "colId", 0));
                if (!col)
                    gone.push_back(fc);
                else
                    set_attr(fc, "colId", std::to_string(*col - moved->first_col));
            }
            for (pugi::xml_node fc : gone) e.remove_child(fc);
        }
        for (pugi::xml_node s = e.first_child(); s; s = s.next_sibling())
            if (s.type() == pugi::node_element && local(s) == "sortState") {
                edit_ref_attr(s, "ref");
                edit_list(s, [&](pugi::xml_node c) { return edit_ref_attr(c, "ref"); });
            }
        return true;
    }

    void edit_cols(pugi::xml_node cols) {
        const std::map<std::int32_t, std::int32_t> sources = format_sources();
        edit_list(cols, [&](pugi::xml_node c) {
            std::int32_t lo = int_attr(c, "min", 0), hi = int_attr(c, "max", 0);
            if (lo < 1 || hi < lo) return true;
            auto s = map_.span(lo, hi);
            if (!s) return false;
            // Inserted columns take the format of the column before them.
            if (auto source = sources.find(s->last); source != sources.end() && map_.line(hi))
                s->last = std::min(kMaxCols, s->last + source->second);
            set_attr(c, "min", std::to_string(s->first));
            set_attr(c, "max", std::to_string(s->last));
            return true;
        });
    }

    // The selection and the pane's first cell stay on cells that exist.
    void edit_views(pugi::xml_node views) {
        auto cell_attr = [&](pugi::xml_node n, const char* name) {
            pugi::xml_attribute a = n.attribute(name);
            if (!a) return;
            if (auto p = parse_cell(a.value()))
                a.set_value(cell_name(axis_ == Axis::Rows ? map_.nearest(p->row) : p->row,
                                      axis_ == Axis::Columns ? map_.nearest(p->col) : p->col)
                                .c_str());
        };
        for (pugi::xml_node v = views.first_child(); v; v = v.next_sibling()) {
            if (v.type() != pugi::node_element) continue;
            cell_attr(v, "topLeftCell");
            for (pugi::xml_node s = v.first_child(); s; s = s.next_sibling()) {
                if (s.type() != pugi::node_element) continue;
                cell_attr(s, "topLeftCell");
                cell_attr(s, "activeCell");
                if (local(s) == "selection" && s.attribute("sqref")) {
                    std::string moved = shift_sqref(s.attribute("sqref").value(), axis_, map_);
                    if (moved.empty()) moved = s.attribute("activeCell").value();
                    if (moved.empty()) moved = "A1";
                    set_attr(s, "sqref", moved);
                }
            }
        }
    }

    // The application's extensions: conditional formats and validation lists with sqref and
    // formula elements of their own; sparklines.
    // False when `n` lost its whole area and goes with it, or lost every entry it held (a list
    // of validations or formats, its ext, the extLst).
    bool edit_extensions(pugi::xml_node n) {
        std::vector<pugi::xml_node> gone;
        for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling()) {
            if (c.type() != pugi::node_element) continue;
            std::string_view l = local(c);
            if (l == "sqref") {
                std::string moved = shift_sqref(c.text().get(), axis_, map_, true);
                if (moved.empty()) return false;  // the rule or validation it belongs to goes
                c.text().set(moved.c_str());
            } else if (l == "f" || l == "formula" || l == "formula1" || l == "formula2") {
                std::string text = formula_text(c);
                std::string edited = edit(text);
                if (edited != text) set_formula_text(c, edited);
            } else if (!edit_extensions(c)) {
                gone.push_back(c);
            }
        }
        if (gone.empty()) return true;
        for (pugi::xml_node g : gone) n.remove_child(g);
        if (pugi::xml_attribute count = n.attribute("count")) {
            std::int32_t left = 0;
            for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling())
                left += c.type() == pugi::node_element;
            count.set_value(left);
        }
        return element_child(n) != pugi::xml_node();
    }

    void update_dimension() {
        pugi::xml_node dim = xml::child(root_, "dimension");
        if (!dim) return;
        std::int32_t r1 = 0, r2 = 0, c1 = 0, c2 = 0;
        for (pugi::xml_node row = sheet_data_.first_child(); row; row = row.next_sibling()) {
            if (row.type() != pugi::node_element) continue;
            std::int32_t r = int_attr(row, "r", 0);
            for (pugi::xml_node c = row.first_child(); c; c = c.next_sibling()) {
                if (c.type() != pugi::node_element) continue;
                auto p = parse_cell(c.attribute("r").value());
                if (!p) continue;
                if (r1 == 0) r1 = r;
                r2 = r;
                c1 = c1 == 0 ? p->col : std::min(c1, p->col);
                c2 = std::max(c2, p->col);
            }
        }
        set_attr(dim, "ref", r1 == 0 ? std::string("A1")
                                     : format_address(Area{r1, c1, r2, c2}, false, false));
    }

    Axis axis_;
    const LineMap& map_;
    RefScope scope_;
    xml::Document doc_;
    pugi::xml_node root_, sheet_data_;
    std::vector<CellNode> cells_;
    std::map<std::int32_t, SharedGroup> groups_;
    std::vector<pugi::xml_node> gone_rows_, gone_cells_;
};

// ---------------------------------------------------------------------------------------------
// Parts anchored to the sheet's cells

// Comments and threaded comments: each names its cell.
std::optional<std::string> shift_comments(std::string_view text, Axis axis, const LineMap& map,
                                          const std::string& part) {
    xml::Document doc;
    if (!xml::load(doc, text, part)) return std::nullopt;
    bool changed = false;
    std::vector<pugi::xml_node> gone;
    std::function<void(pugi::xml_node)> walk = [&](pugi::xml_node n) {
        for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling()) {
            if (c.type() != pugi::node_element) continue;
            std::string_view l = local(c);
            if (l == "comment" || l == "threadedComment") {
                auto p = parse_cell(c.attribute("ref").value());
                if (!p) continue;
                std::int32_t cross = axis == Axis::Rows ? p->col : p->row;
                if (!map.moves(cross, cross)) continue;
                auto moved = map.line(line_of(*p, axis));
                changed = true;
                if (!moved)
                    gone.push_back(c);
                else
                    set_attr(c, "ref", cell_name(with_line(*p, axis, *moved).row,
                                                 with_line(*p, axis, *moved).col));
            } else {
                walk(c);
            }
        }
    };
    walk(doc.root());
    for (pugi::xml_node g : gone) g.parent().remove_child(g);
    if (!changed) return std::nullopt;
    return xml::save(doc);
}

// A drawing's anchors: pictures, shapes and charts move with their cells; "oneCell" ones keep
// their size; "absolute" ones stay.
std::optional<std::string> shift_drawing(std::string_view text, Axis axis, const LineMap& map,
                                         const std::string& part) {
    // Shifting cells inside some columns or rows leaves drawn objects where they are.
    if (map.band()) return std::nullopt;
    xml::Document doc;
    if (!xml::load(doc, text, part)) return std::nullopt;
    bool changed = false;
    const char* line_name = axis == Axis::Rows ? "row" : "col";
    const char* offset_name = axis == Axis::Rows ? "rowOff" : "colOff";
    for (pugi::xml_node a = doc.root().first_child(); a; a = a.next_sibling()) {
        if (a.type() != pugi::node_element) continue;
        std::string_view l = local(a);
        if (l != "twoCellAnchor" && l != "oneCellAnchor") continue;
        std::string_view edit_as = a.attribute("editAs").value();
        if (edit_as == "absolute") continue;
        pugi::xml_node from = xml::child(a, "from"), to = xml::child(a, "to");
        pugi::xml_node from_line = xml::child(from, line_name);
        if (!from_line) continue;
        std::int32_t old_from = from_line.text().as_int() + 1;
        std::int32_t new_from = map.nearest(old_from);
        if (!map.line(old_from)) xml::child(from, offset_name).text().set("0");
        from_line.text().set(std::to_string(new_from - 1).c_str());
        changed = changed || new_from != old_from;
        pugi::xml_node to_line = xml::child(to, line_name);
        if (!to_line) continue;
        std::int32_t old_to = to_line.text().as_int() + 1;
        std::int32_t new_to = edit_as == "oneCell" ? old_to + (new_from - old_from)
                                                   : map.nearest(old_to);
        if (edit_as != "oneCell" && !map.line(old_to)) xml::child(to, offset_name).text().set("0");
        new_to = std::max(new_to, new_from);
        to_line.text().set(std::to_string(new_to - 1).c_str());
        changed = changed || new_to != old_to;
    }
    if (!changed) return std::nullopt;
    return xml::save(doc);
}

// Legacy drawings (comment boxes and form controls) are VML, which is not always well-formed
// XML: edited as text. A comment box whose cell is deleted goes.
std::optional<std::string> shift_vml(std::string_view text, Axis axis, const LineMap& map) {
    std::string out;
    std::size_t pos = 0;
    bool changed = false;
    auto number_in = [](std::string_view block, std::string_view tag, std::size_t& begin,
                        std::size_t& end) -> std::optional<std::string_view> {
        std::string open = "<x:" + std::string(tag) + ">";
        std::size_t b = block.find(open);
        if (b == std::string_view::npos) return std::nullopt;
        b += open.size();
        std::size_t e = block.find('<', b);
        if (e == std::string_view::npos) return std::nullopt;
        begin = b;
        end = e;
        return block.substr(b, e - b);
    };
    while (true) {
        std::size_t b = text.find("<v:shape ", pos);
        if (b == std::string_view::npos) break;
        std::size_t e = text.find("</v:shape>", b);
        if (e == std::string_view::npos) break;
        e += 10;
        out.append(text.substr(pos, b - pos));
        std::string block(text.substr(b, e - b));
        pos = e;
        std::size_t vb = 0, ve = 0;
        bool note = block.find("ObjectType=\"Note\"") != std::string::npos;
        const char* cell_tag = axis == Axis::Rows ? "Row" : "Column";
        if (map.band()) {
            // Only comment boxes whose cell moves go with it.
            std::size_t cb = 0, ce = 0;
            auto cross = number_in(block, axis == Axis::Rows ? "Column" : "Row", cb, ce);
            std::int32_t at = cross ? std::atoi(std::string(*cross).c_str()) + 1 : 0;
            if (!note || !map.moves(at, at)) {
                out += block;
                continue;
            }
        }
        if (auto v = number_in(block, cell_tag, vb, ve)) {
            std::int32_t old = std::atoi(std::string(*v).c_str()) + 1;
            auto moved = map.line(old);
            if (!moved && note) {
                changed = true;
                continue;  // the comment's cell is gone
            }
            std::int32_t now = moved ? *moved : map.nearest(old);
            if (now != old) {
                block.replace(vb, ve - vb, std::to_string(now - 1));
                changed = true;
            }
        }
        if (auto v = number_in(block, "Anchor", vb, ve)) {
            // LeftColumn, LeftOffset, TopRow, TopOffset, RightColumn, RightOffset, BottomRow,
            // BottomOffset, lines counted from 0.
            std::vector<std::string> parts;
            std::string item;
            for (char ch : *v) {
                if (ch == ',') {
                    parts.push_back(item);
                    item.clear();
                } else if (ch != ' ' && ch != '\r' && ch != '\n' && ch != '\t') {
                    item += ch;
                }
            }
            parts.push_back(item);
            if (parts.size() == 8) {
                std::size_t first = axis == Axis::Rows ? 2 : 0, second = first + 4;
                for (std::size_t k : {first, second}) {
                    std::int32_t old = std::atoi(parts[k].c_str()) + 1;
                    parts[k] = std::to_string(map.nearest(old) - 1);
                }
                std::string joined;
                for (std::size_t k = 0; k < parts.size(); ++k) joined += (k ? ", " : "") + parts[k];
                if (joined != *v) {
                    block.replace(vb, ve - vb, joined);
                    changed = true;
                }
            }
        }
        out += block;
    }
    if (!changed) return std::nullopt;
    out.append(text.substr(pos));
    return out;
}

// A table on the sheet: its area moves; cutting its header row or its columns is refused.
Result<std::optional<std::string>> shift_table(std::string_view text, Axis axis,
                                               const LineMap& map, const std::string& part) {
    xml::Document doc;
    if (auto r = xml::load(doc, text, part); !r) return r.error();
    pugi::xml_node table = doc.root();
    auto a = parse_address(table.attribute("ref").value());
    if (!a) return std::optional<std::string>();
    std::string name = table.attribute("displayName").value();
    if (name.empty()) name = table.attribute("name").value();
    if (map.band()) {
        std::int32_t lo = axis == Axis::Rows ? a->first_col : a->first_row;
        std::int32_t hi = axis == Axis::Rows ? a->last_col : a->last_row;
        std::int32_t last = axis == Axis::Rows ? a->last_row : a->last_col;
        const LineSpan& b = *map.band();
        bool outside = hi < b.first || lo > b.last || last < map.first_affected();
        if (outside) return std::optional<std::string>();
        if (!map.moves(lo, hi) || axis == Axis::Columns || map.cuts(a->first_row, a->last_row))
            return refused("テーブル「" + name + "」の一部を移動することはできません。");
    }
    if (axis == Axis::Columns) {
        if (map.cuts(a->first_col, a->last_col))
            return refused("テーブル「" + name +
                           "」の列は、シートの列の挿入や削除では変更できません。");
    } else if (!map.inserting()) {
        bool header = table.attribute("headerRowCount").as_int(1) != 0;
        std::int32_t totals = table.attribute("totalsRowCount").as_int(0);
        if (header && !map.line(a->first_row))
            return refused("テーブル「" + name + "」の見出し行は削除できません。");
        auto s = map.span(a->first_row, a->last_row);
        std::int32_t kept = s ? s->last - s->first + 1 : 0;
        if (kept <= (header ? 1 : 0) + totals)
            return refused("テーブル「" + name + "」のデータ行をすべて削除することはできません。");
    }
    bool changed = false;
    std::function<void(pugi::xml_node)> walk = [&](pugi::xml_node n) {
        if (pugi::xml_attribute ref = n.attribute("ref")) {
            std::string moved = shift_sqref(ref.value(), axis, map);
            if (!moved.empty() && moved != ref.value()) {
                ref.set_value(moved.c_str());
                changed = true;
            }
        }
        for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling())
            if (c.type() == pugi::node_element && local(c) != "tableColumns") walk(c);
    };
    walk(table);
    if (!changed) return std::optional<std::string>();
    return std::optional<std::string>(xml::save(doc));
}

Result<std::optional<std::string>> shift_pivot_table(std::string_view text, Axis axis,
                                                     const LineMap& map, const std::string& part) {
    xml::Document doc;
    if (auto r = xml::load(doc, text, part); !r) return r.error();
    pugi::xml_node location = xml::child(doc.root(), "location");
    auto a = parse_address(location.attribute("ref").value());
    if (!a) return std::optional<std::string>();
    std::int32_t lo = axis == Axis::Rows ? a->first_row : a->first_col;
    std::int32_t hi = axis == Axis::Rows ? a->last_row : a->last_col;
    std::int32_t cross_lo = axis == Axis::Rows ? a->first_col : a->first_row;
    std::int32_t cross_hi = axis == Axis::Rows ? a->last_col : a->last_row;
    bool partly = map.band() && !map.moves(cross_lo, cross_hi) &&
                  cross_hi >= map.band()->first && cross_lo <= map.band()->last &&
                  hi >= map.first_affected();
    if ((map.moves(cross_lo, cross_hi) && map.cuts(lo, hi)) || partly)
        return refused("ピボットテーブル「" + std::string(doc.root().attribute("name").value()) +
                       "」の一部を変更することはできません。");
    auto moved = shift_area(*a, axis, map);
    if (!moved || *moved == *a) return std::optional<std::string>();
    set_attr(location, "ref", format_address(*moved, false, false));
    return std::optional<std::string>(xml::save(doc));
}

// Shared formulas on other sheets that read the moved sheet are written out per cell where the
// shared form would no longer give each cell its own references; the formula rewrite that
// follows then edits each cell's text.
std::optional<std::string> unshare_for_shift(std::string_view text, const RefScope& scope,
                                             Axis axis, const LineMap& map,
                                             const std::string& part) {
    xml::Document doc;
    if (!xml::load(doc, text, part)) return std::nullopt;
    pugi::xml_node sheet_data = xml::child(doc.root(), "sheetData");
    std::vector<CellNode> cells = read_cells(sheet_data);
    std::map<std::int32_t, SharedGroup> groups;
    for (CellNode& c : cells) {
        c.new_pos = c.old_pos;
        pugi::xml_node f = xml::child(c.node, "f");
        if (!f || std::string_view(f.attribute("t").value()) != "shared") continue;
        std::int32_t si = int_attr(f, "si", -1);
        if (si < 0) continue;
        SharedGroup& g = groups[si];
        g.members.push_back(&c);
        if (f.attribute("ref") && !formula_text(f).empty()) {
            g.master = c.old_pos;
            g.text = formula_text(f);
        }
    }
    bool changed = false;
    auto edit = [&](std::string_view f) { return shift_formula_refs(f, scope, axis, map); };
    for (auto& [si, g] : groups) {
        if (g.master.row == 0 || !may_mention(g.text, scope.sheet)) continue;
        changed = rewrite_shared_group(g, edit, true) || changed;
    }
    if (!changed) return std::nullopt;
    return xml::save(doc);
}

}  // namespace

Result<std::string> shift_sheet_part(std::string_view xml_text, std::string_view sheet_name,
                                     Axis axis, const LineMap& map) {
    return SheetShift(sheet_name, axis, map).run(xml_text);
}

Result<void> shift_lines(Book& b, Sheet& sheet, Axis axis, const LineMap& map) {
    auto text = structure::sheet_text(b, sheet);
    if (!text) return text.error();
    auto own = shift_sheet_part(*text, sheet.name(), axis, map);
    if (!own) return own.error();

    // The parts hanging off the sheet, rewritten first and stored only when all could be.
    auto ct = b.content_types();
    if (!ct) return ct.error();
    std::vector<std::pair<std::string, std::string>> parts;
    for (const std::string& name : structure::internal_targets(b, sheet.part_name())) {
        std::string type = (*ct)->type_of(name);
        auto bytes = b.package().read(name);
        if (!bytes) return bytes.error();
        std::optional<std::string> edited;
        if (type == kCommentsType || type == kThreadedCommentsType) {
            edited = shift_comments(*bytes, axis, map, name);
        } else if (type == structure::kDrawingType) {
            edited = shift_drawing(*bytes, axis, map, name);
        } else if (name.size() > 4 && name.compare(name.size() - 4, 4, ".vml") == 0) {
            edited = shift_vml(*bytes, axis, map);
        } else if (type == structure::kTableType) {
            auto t = shift_table(*bytes, axis, map, name);
            if (!t) return t.error();
            edited = std::move(*t);
        } else if (type == kPivotTableType) {
            auto t = shift_pivot_table(*bytes, axis, map, name);
            if (!t) return t.error();
            edited = std::move(*t);
        }
        if (edited) parts.emplace_back(name, std::move(*edited));
    }

    // Other sheets' shared formulas that read this sheet.
    RefScope scope{sheet.name(), false};
    std::vector<std::pair<Sheet*, std::string>> unshared;
    for (auto& s : b.sheets()) {
        if (s.get() == &sheet || !s->has_cells()) continue;
        auto other = structure::sheet_text(b, *s);
        if (!other) return other.error();
        if (!may_mention(*other, sheet.name())) continue;
        if (auto u = unshare_for_shift(*other, scope, axis, map, s->part_name()))
            unshared.emplace_back(s.get(), std::move(*u));
    }

    if (auto r = structure::store_sheet_text(b, sheet, std::move(*own)); !r) return r;
    for (auto& [name, bytes] : parts) b.package().write(name, std::move(bytes));
    for (auto& [s, t] : unshared)
        if (auto r = structure::store_sheet_text(b, *s, std::move(t)); !r) return r;
    auto edit = [&](std::string_view f) { return shift_formula_refs(f, scope, axis, map); };
    if (auto r = structure::rewrite_workbook_formulas(b, edit, sheet.name(), &sheet); !r) return r;
    b.cells_changed();
    return {};
}

}  // namespace sheaflow::xl::native
