// Range.Copy with PasteSpecial and Range.Clear over the engine's cell table: cells read from the
// source first (so that a source and destination that overlap read as before the paste), then
// written one by one; formats and formulas pasted into another workbook go through the
// destination's styles and external links.

#include <algorithm>
#include <functional>

#include "xl/native/book.h"
#include "xl/native/formula.h"
#include "xl/native/sheet_xml.h"
#include "xl/native/shift_refs.h"
#include "xl/native/structure_copy.h"
#include "xl/native/structure_support.h"

namespace sheaflow::xl::native {
namespace {

constexpr std::int32_t kRows = 1048576, kCols = 16384;

Error refused(std::string m) { return Error::make(Error::Code::Refused, std::move(m)); }

// One source cell as it was before the paste.
struct Snap {
    std::int32_t dr = 0, dc = 0;  // offset from the source's top-left cell
    std::uint32_t style = 0;
    bool formula = false;
    std::string text;  // the formula without "=" when `formula`
    Value value;       // the constant, or the formula's last value
};

bool intersects(const Area& a, const Area& b) {
    return a.first_row <= b.last_row && b.first_row <= a.last_row && a.first_col <= b.last_col &&
           b.first_col <= a.last_col;
}
bool inside(const Area& inner, const Area& outer) {
    return inner.first_row >= outer.first_row && inner.last_row <= outer.last_row &&
           inner.first_col >= outer.first_col && inner.last_col <= outer.last_col;
}

// The merged areas of a worksheet part's text.
std::vector<Area> merged_areas(std::string_view xml) {
    std::vector<Area> out;
    std::size_t at = 0;
    while ((at = xml.find("mergeCell ", at)) != std::string_view::npos) {
        std::size_t end = xml.find('>', at);
        if (end == std::string_view::npos) break;
        std::string_view tag = xml.substr(at + 10, end - at - 10);
        if (auto ref = xml::find_attr(tag, "ref"))
            if (auto a = parse_address(*ref)) out.push_back(*a);
        at = end;
    }
    return out;
}

// Refuses a change of `area` that would cut a merged area or an array formula.
Result<void> check_whole(Book& b, Sheet& s, CellTable& t, const Area& area) {
    for (const ArrayRange& a : t.arrays) {
        Area ar{a.first_row, a.first_col, a.last_row, a.last_col};
        if (intersects(ar, area) && !inside(ar, area))
            return refused("配列数式の一部は変更できません（" + format_address(ar, false, false) +
                           "）。");
    }
    auto text = structure::sheet_text(b, s);
    if (!text) return text.error();
    for (const Area& m : merged_areas(*text))
        if (intersects(m, area) && !inside(m, area))
            return refused("結合したセルの一部は変更できません（" + format_address(m, false, false) +
                           "）。");
    return {};
}

// Array formulas lying inside `area` go as a whole: their cells become plain cells.
void drop_arrays(CellTable& t, const Area& area) {
    std::vector<ArrayRange> kept;
    for (const ArrayRange& a : t.arrays) {
        if (inside(Area{a.first_row, a.first_col, a.last_row, a.last_col}, area)) {
            if (Cell* c = t.find(a.first_row, a.first_col)) {
                c->formula_kind = FormulaKind::Normal;
                c->flags |= Cell::kDirty;
            }
        } else {
            kept.push_back(a);
        }
    }
    t.arrays = std::move(kept);
}

// A space-separated list of areas after a cut: areas inside the block move, areas inside the
// cells pasted over go, the others stay.
std::string moved_sqref(std::string_view sqref, const Area& from, const Area& dest, std::int32_t dr,
                        std::int32_t dc) {
    std::string out;
    std::size_t i = 0;
    while (i < sqref.size()) {
        std::size_t sp = sqref.find(' ', i);
        std::string_view one = sqref.substr(i, sp == std::string_view::npos ? sp : sp - i);
        i = sp == std::string_view::npos ? sqref.size() : sp + 1;
        if (one.empty()) continue;
        auto a = parse_address(one);
        std::string kept(one);
        if (a && inside(*a, from)) {
            kept = format_address({a->first_row + dr, a->first_col + dc, a->last_row + dr,
                                   a->last_col + dc},
                                  false, false);
            if (a->first_row == a->last_row && a->first_col == a->last_col)
                kept = kept.substr(0, kept.find(':'));
        } else if (a && inside(*a, dest)) {
            continue;
        }
        if (!out.empty()) out += ' ';
        out += kept;
    }
    return out;
}

// What becomes of a note: kept where it is, deleted, or moved to `to`.
struct NoteFate {
    enum Kind { Keep, Delete, Move } kind = Keep;
    CellRef to{};
};

// Notes edited in the comments part and the threaded comments part (each comment names its
// cell) and in the VML part (each note's shape names its cell's row and column, counted from 0).
Result<void> edit_notes(Book& b, Sheet& s, const std::function<NoteFate(CellRef)>& fate) {
    for (const std::string& name : structure::internal_targets(b, s.part_name())) {
        auto bytes = b.package().read(name);
        if (!bytes) return bytes.error();
        bool vml = name.size() > 4 && name.compare(name.size() - 4, 4, ".vml") == 0;
        bool threaded = !vml && bytes->find("<ThreadedComments") != std::string::npos;
        if (!vml && !threaded && bytes->find("<comments") == std::string::npos) continue;
        if (vml) {
            std::string out;
            std::string_view text = *bytes;
            std::size_t pos = 0;
            bool any = false;
            while (true) {
                std::size_t sb = text.find("<v:shape ", pos);
                std::size_t se = sb == std::string_view::npos ? sb : text.find("</v:shape>", sb);
                if (se == std::string_view::npos) break;
                se += 10;
                out.append(text.substr(pos, sb - pos));
                std::string block(text.substr(sb, se - sb));
                pos = se;
                std::size_t rb = block.find("<x:Row>"), cb = block.find("<x:Column>");
                if (block.find("ObjectType=\"Note\"") != std::string::npos &&
                    rb != std::string::npos && cb != std::string::npos) {
                    std::int32_t r = std::atoi(block.c_str() + rb + 7) + 1;
                    std::int32_t c = std::atoi(block.c_str() + cb + 10) + 1;
                    NoteFate f = fate({r, c});
                    if (f.kind == NoteFate::Delete) {
                        any = true;
                        continue;  // the note goes
                    }
                    if (f.kind == NoteFate::Move) {
                        std::size_t re = block.find('<', rb + 7);
                        block.replace(rb + 7, re - rb - 7, std::to_string(f.to.row - 1));
                        cb = block.find("<x:Column>");
                        std::size_t ce = block.find('<', cb + 10);
                        block.replace(cb + 10, ce - cb - 10, std::to_string(f.to.col - 1));
                        any = true;
                    }
                }
                out += block;
            }
            out.append(text.substr(pos));
            if (any) b.package().write(name, std::move(out));
            continue;
        }
        xml::Document cdoc;
        if (!xml::load(cdoc, *bytes, name)) continue;
        bool any = false;
        pugi::xml_node list = threaded ? cdoc.root() : xml::child(cdoc.root(), "commentList");
        std::vector<pugi::xml_node> gone;
        for (pugi::xml_node c = list.first_child(); c; c = c.next_sibling()) {
            if (c.type() != pugi::node_element) continue;
            auto a = parse_address(c.attribute("ref").value());
            if (!a) continue;
            NoteFate f = fate({a->first_row, a->first_col});
            if (f.kind == NoteFate::Keep) continue;
            any = true;
            if (f.kind == NoteFate::Delete)
                gone.push_back(c);
            else
                c.attribute("ref").set_value(
                    format_address({f.to.row, f.to.col, f.to.row, f.to.col}, false, false).c_str());
        }
        for (pugi::xml_node g : gone) list.remove_child(g);
        if (any) b.package().write(name, xml::save(cdoc));
    }
    return {};
}

// What a cut carries along besides the cells: merged areas, hyperlinks, validation and
// conditional formats of the sheet part, and the notes (comments part and their shapes).
Result<void> move_anchored(Book& b, Sheet& s, const Area& from, const Area& dest, std::int32_t dr,
                           std::int32_t dc) {
    auto text = structure::sheet_text(b, s);
    if (!text) return text.error();
    xml::Document doc;
    if (auto r = xml::load(doc, *text, s.part_name()); !r) return r;
    bool changed = false;
    struct Kind {
        const char* list;
        const char* item;
        const char* attr;
    };
    for (Kind k : {Kind{"mergeCells", "mergeCell", "ref"}, Kind{"hyperlinks", "hyperlink", "ref"},
                   Kind{"dataValidations", "dataValidation", "sqref"}, Kind{nullptr, "conditionalFormatting", "sqref"}}) {
        std::vector<pugi::xml_node> items;
        pugi::xml_node parent = k.list ? xml::child(doc.root(), k.list) : doc.root();
        for (pugi::xml_node n = parent.first_child(); n; n = n.next_sibling())
            if (n.type() == pugi::node_element && xml::local_name(n.name()) == k.item) items.push_back(n);
        for (pugi::xml_node n : items) {
            std::string before = n.attribute(k.attr).value();
            std::string after = moved_sqref(before, from, dest, dr, dc);
            if (after == before) continue;
            changed = true;
            if (after.empty())
                parent.remove_child(n);
            else
                n.attribute(k.attr).set_value(after.c_str());
        }
        if (k.list && items.size() && !xml::child(parent, k.item)) doc.root().remove_child(parent);
        else if (k.list && items.size())
            if (pugi::xml_attribute c = parent.attribute("count")) {
                int count = 0;
                for (pugi::xml_node n : parent.children())
                    if (n.type() == pugi::node_element) ++count;
                c.set_value(count);
            }
    }
    // The same for those the application keeps in its extension, whose range is an xm:sqref.
    for (const char* list_name : {"dataValidations", "conditionalFormattings"}) {
        for (pugi::xml_node list : extension_lists(doc.root(), list_name)) {
            std::vector<pugi::xml_node> gone;
            bool moved = false;
            for (pugi::xml_node n = list.first_child(); n; n = n.next_sibling()) {
                if (n.type() != pugi::node_element) continue;
                std::string before = extension_sqref(n);
                std::string after = moved_sqref(before, from, dest, dr, dc);
                if (after == before) continue;
                moved = true;
                if (after.empty())
                    gone.push_back(n);
                else
                    set_extension_sqref(n, after);
            }
            if (!moved) continue;
            changed = true;
            for (pugi::xml_node n : gone) list.remove_child(n);
            if (pugi::xml_attribute c = list.attribute("count")) {
                int count = 0;
                for (pugi::xml_node n : list.children())
                    if (n.type() == pugi::node_element) ++count;
                c.set_value(count);
            }
            remove_when_empty(list);
        }
    }
    if (changed)
        if (auto r = structure::store_sheet_text(b, s, xml::save(doc)); !r) return r;

    return edit_notes(b, s, [&](CellRef at) -> NoteFate {
        if (from.contains(at)) return {NoteFate::Move, {at.row + dr, at.col + dc}};
        if (dest.contains(at)) return {NoteFate::Delete, {}};
        return {};
    });
}

}  // namespace

Result<void> Sheet::paste_special(Worksheet& source, const Area& from, CellRef to, int paste,
                                  bool skip_blanks, bool transpose) {
    auto* src = dynamic_cast<Sheet*>(&source);
    if (!src || !src->has_cells() || !has_cells())
        return refused("ワークシートではないシートには貼り付けられません。");
    return paste_cells(*src, from, to, paste, skip_blanks, transpose, true);
}

Result<void> Sheet::paste_cells(Sheet& source, const Area& from, CellRef to, int paste,
                                bool skip_blanks, bool transpose, bool shift) {
    Sheet* src = &source;
    if (from.first_row < 1 || from.first_col < 1 || from.last_row > kRows ||
        from.last_col > kCols || from.first_row > from.last_row || from.first_col > from.last_col)
        return refused("コピー元のセル範囲がシートの範囲外です。");
    std::int32_t height = from.last_row - from.first_row + 1;
    std::int32_t width = from.last_col - from.first_col + 1;
    if (transpose) std::swap(height, width);
    Area dest{to.row, to.col, to.row + height - 1, to.col + width - 1};
    if (to.row < 1 || to.col < 1 || dest.last_row > kRows || dest.last_col > kCols)
        return refused("貼り付け先がシートの範囲外です。");
    if (paste != xlPasteAll && paste != xlPasteValues && paste != xlPasteFormulas &&
        paste != xlPasteFormats && paste != xlPasteColumnWidths)
        return refused("この形式の貼り付けはできません。");
    if (auto r = src->check(); !r) return r;
    if (auto r = check(); !r) return r;

    if (paste == xlPasteColumnWidths) {
        for (std::int32_t c = from.first_col; c <= from.last_col; ++c) {
            LineFormat f = src->line_format(Axis::Columns, c);
            LineFormatChange change;
            if (f.custom_size)
                change.size = f.size;
            else
                change.standard_size = true;
            std::int32_t at = to.col + (c - from.first_col);
            if (at > kCols) break;
            if (auto r = format_lines(Axis::Columns, {{at, at}}, change); !r) return r;
        }
        return {};
    }

    // The source as it is now.
    auto sp = src->part();
    if (!sp) return sp.error();
    const CellTable& st = (*sp)->table();
    std::vector<Snap> snaps;
    for (const Row& row : st.rows) {
        if (row.r < from.first_row || row.r > from.last_row) continue;
        for (std::uint32_t i = row.first; i < row.last; ++i) {
            const Cell& c = st.cells[i];
            if (c.col < from.first_col || c.col > from.last_col) continue;
            Snap s;
            s.dr = row.r - from.first_row;
            s.dc = c.col - from.first_col;
            s.style = c.style;
            bool array_member = false;
            for (const ArrayRange& a : st.arrays)
                if (a.contains(row.r, c.col) && !(a.first_row == row.r && a.first_col == c.col))
                    array_member = true;
            if (c.has_formula() && !array_member && c.formula_kind != FormulaKind::Other) {
                s.formula = true;
                s.text = st.formula_text(row.r, c);
            }
            s.value = src->cell_value({row.r, c.col});
            snaps.push_back(std::move(s));
        }
    }

    auto dp = part();
    if (!dp) return dp.error();
    CellTable& t = (*dp)->table();
    if (auto r = check_whole(book_, *this, t, dest); !r) return r;

    std::unique_ptr<PasteTransfer> transfer;
    if (&src->book_ != &book_) {
        transfer = std::make_unique<PasteTransfer>(src->book_, book_);
        if (auto r = transfer->load(); !r) return r;
    }
    bool values = paste == xlPasteAll || paste == xlPasteValues || paste == xlPasteFormulas;
    bool formulas = paste == xlPasteAll || paste == xlPasteFormulas;
    bool formats = paste == xlPasteAll || paste == xlPasteFormats;

    auto place = [&](std::int32_t dr, std::int32_t dc) {
        return transpose ? CellRef{to.row + dc, to.col + dr} : CellRef{to.row + dr, to.col + dc};
    };
    // Every cell of the destination that the source leaves empty is emptied too (not with skip
    // blanks): the cells that hold something there now.
    std::vector<CellRef> emptied;
    if (!skip_blanks && (values || formats)) {
        std::vector<std::pair<std::int32_t, std::int32_t>> filled;
        for (const Snap& s : snaps) {
            CellRef p = place(s.dr, s.dc);
            filled.emplace_back(p.row, p.col);
        }
        std::sort(filled.begin(), filled.end());
        for (const Row& row : t.rows) {
            if (row.r < dest.first_row || row.r > dest.last_row) continue;
            for (std::uint32_t i = row.first; i < row.last; ++i) {
                std::int32_t col = t.cells[i].col;
                if (col < dest.first_col || col > dest.last_col) continue;
                if (!std::binary_search(filled.begin(), filled.end(), std::pair{row.r, col}))
                    emptied.push_back({row.r, col});
            }
        }
    }
    drop_arrays(t, dest);

    bool contents_changed = false;
    auto write = [&](CellRef at, const Snap* s) -> Result<void> {
        bool blank = !s || (!s->formula && is_empty(s->value));
        if (skip_blanks && blank) return {};
        auto cell = prepare_change(at);
        if (!cell) return cell.error();
        Cell& c = **cell;
        if (formats) c.style = s ? (transfer ? transfer->cell_format(s->style) : s->style) : 0;
        if (!values) return {};
        contents_changed = true;
        clear_value(c);
        c.formula_kind = FormulaKind::None;
        if (!s) return {};
        if (s->formula && formulas) {
            std::string f = shift ? formula::shift(s->text, at.row - (from.first_row + s->dr),
                                                   at.col - (from.first_col + s->dc))
                                  : s->text;
            if (transfer) f = transfer->formula(f);
            c.formula_kind = FormulaKind::Normal;
            c.formula = part_->table().add_text(std::move(f));
            return {};
        }
        const Value& v = s->value;
        if (auto d = std::get_if<double>(&v)) {
            c.kind = CellKind::Number;
            c.number = *d;
        } else if (auto dt = std::get_if<DateTime>(&v)) {
            c.kind = CellKind::Number;
            c.number = book_.date1904() ? dt->serial - 1462 : (dt->serial < 61 ? dt->serial - 1 : dt->serial);
        } else if (auto b = std::get_if<bool>(&v)) {
            c.kind = CellKind::Bool;
            c.number = *b ? 1 : 0;
        } else if (auto str = std::get_if<std::string>(&v)) {
            set_string(c, *str);
        } else if (auto e = std::get_if<CellError>(&v)) {
            c.kind = CellKind::Error;
            c.text = part_->table().add_text(e->code);
        }
        return {};
    };
    for (CellRef at : emptied)
        if (auto r = write(at, nullptr); !r) return r;
    for (const Snap& s : snaps)
        if (auto r = write(place(s.dr, s.dc), &s); !r) return r;
    if (transfer)
        if (auto r = transfer->finish(); !r) return r;
    if (contents_changed) book_.cells_changed();
    book_.set_saved(false);
    return {};
}

Result<void> Sheet::clear_cells(const Area& area, int what) {
    if (!has_cells()) return refused("ワークシートではありません。");
    if (area.first_row < 1 || area.first_col < 1 || area.last_row > kRows ||
        area.last_col > kCols || area.first_row > area.last_row || area.first_col > area.last_col)
        return refused("セル範囲がシートの範囲外です。");
    if (auto r = check(); !r) return r;
    if (what & kClearComments) {
        if (!ensure_comments()) return refused("コメントを読めません。");
        bool any = std::any_of(comments_.begin(), comments_.end(),
                               [&](const auto& c) { return area.contains(c.first); });
        if (any) {
            if (auto r = edit_notes(book_, *this, [&](CellRef at) -> NoteFate {
                    if (area.contains(at)) return {NoteFate::Delete, {}};
                    return {};
                });
                !r)
                return r;
            comments_loaded_ = false;
            comments_.clear();
            book_.set_saved(false);
        }
    }
    auto p = part();
    if (!p) return p.error();
    CellTable& t = (*p)->table();
    bool contents = what & kClearContents, formats = what & kClearFormats;
    if (!contents && !formats) return {};
    if (contents)
        if (auto r = check_whole(book_, *this, t, area); !r) return r;
    std::vector<CellRef> cells;
    for (const Row& row : t.rows) {
        if (row.r < area.first_row || row.r > area.last_row) continue;
        for (std::uint32_t i = row.first; i < row.last; ++i) {
            const Cell& c = t.cells[i];
            if (c.col < area.first_col || c.col > area.last_col) continue;
            if ((contents && c.has_content()) || (formats && c.style != 0))
                cells.push_back({row.r, c.col});
        }
    }
    if (cells.empty()) return {};
    if (contents) drop_arrays(t, area);
    for (CellRef at : cells) {
        auto cell = prepare_change(at);
        if (!cell) return cell.error();
        Cell& c = **cell;
        if (formats) c.style = 0;
        if (contents) {
            clear_value(c);
            c.formula_kind = FormulaKind::None;
        }
    }
    if (contents) book_.cells_changed();
    book_.set_saved(false);
    return {};
}

Result<void> Sheet::cut_cells(const Area& from, CellRef to) {
    if (!has_cells()) return refused("ワークシートではありません。");
    if (from.first_row < 1 || from.first_col < 1 || from.last_row > kRows ||
        from.last_col > kCols || from.first_row > from.last_row || from.first_col > from.last_col)
        return refused("切り取るセル範囲がシートの範囲外です。");
    Area dest{to.row, to.col, to.row + (from.last_row - from.first_row),
              to.col + (from.last_col - from.first_col)};
    if (to.row < 1 || to.col < 1 || dest.last_row > kRows || dest.last_col > kCols)
        return refused("貼り付け先がシートの範囲外です。");
    if (dest == from) return {};
    if (auto r = check(); !r) return r;
    auto p = part();
    if (!p) return p.error();
    if (auto r = check_whole(book_, *this, (*p)->table(), from); !r) return r;
    if (auto r = paste_cells(*this, from, to, xlPasteAll, false, false, false); !r) return r;
    // The cells left behind are emptied, formats and all.
    CellTable& t = part_->table();
    std::vector<CellRef> left;
    for (const Row& row : t.rows) {
        if (row.r < from.first_row || row.r > from.last_row) continue;
        for (std::uint32_t i = row.first; i < row.last; ++i) {
            CellRef c{row.r, t.cells[i].col};
            if (from.contains(c) && !dest.contains(c)) left.push_back(c);
        }
    }
    drop_arrays(t, from);
    for (CellRef at : left) {
        auto cell = prepare_change(at);
        if (!cell) return cell.error();
        clear_value(**cell);
        (*cell)->formula_kind = FormulaKind::None;
        (*cell)->style = 0;
    }
    if (auto r = move_anchored(book_, *this, from, dest, to.row - from.first_row,
                               to.col - from.first_col);
        !r)
        return r;
    comments_loaded_ = false;
    comments_.clear();
    // References follow the cells: this sheet's own (unqualified ones too), then the rest.
    bool whole_lines = (from.first_col == 1 && from.last_col == kCols) ||
                       (from.first_row == 1 && from.last_row == kRows);
    BlockMove move{from, to.row - from.first_row, to.col - from.first_col, whole_lines};
    RefScope own{name_, true}, others{name_, false};
    auto text = structure::sheet_text(book_, *this);
    if (!text) return text.error();
    if (auto edited = rewrite_part_formulas(
            *text, [&](std::string_view f) { return move_block_refs(f, own, move); }))
        if (auto r = structure::store_sheet_text(book_, *this, std::move(*edited)); !r) return r;
    if (auto r = structure::rewrite_workbook_formulas(
            book_, [&](std::string_view f) { return move_block_refs(f, others, move); }, name_,
            this);
        !r)
        return r;
    book_.cells_changed();
    book_.set_saved(false);
    return {};
}

std::vector<std::pair<CellRef, std::string>> Sheet::comments() {
    if (!has_cells() || !ensure_comments()) return {};
    auto out = comments_;
    std::sort(out.begin(), out.end(), [](const auto& a, const auto& b) {
        return a.first.row != b.first.row ? a.first.row < b.first.row : a.first.col < b.first.col;
    });
    return out;
}

std::vector<std::string> Book::style_names() { return named_styles(*this); }

Result<void> Book::merge_styles(Workbook& source, const std::vector<std::string>& names) {
    auto* src = dynamic_cast<Book*>(&source);
    if (!src) return refused("コピー元のブックのスタイルを読めません。");
    if (src == this) return {};
    return merge_named_styles(*src, *this, names);
}

}  // namespace sheaflow::xl::native
