// The sheet's window as the workbook keeps it (<sheetViews> of a worksheet part) and the group of
// selected tabs. Only the <sheetViews> element is parsed and rewritten; the rest of the part is
// copied around it as it was.

#include <algorithm>
#include <charconv>

#include "xl/native/book.h"
#include "xl/native/structure_support.h"

namespace sheaflow::xl::native {
namespace {

constexpr std::int32_t kRows = 1048576, kCols = 16384;

// Where <sheetViews> is in the part's text, or where it would go; the same for <sheetPr>.
struct ViewsPlace {
    bool found = false;
    std::size_t begin = 0, end = 0;  // the element, or the insertion point (begin == end)
    bool pr_found = false;
    std::size_t pr_begin = 0, pr_end = 0;
    std::string prefix;              // of the spreadsheet namespace
    bool root_self_closing = false;  // <worksheet .../>: the root must be opened
    std::string root_name;
};

Result<ViewsPlace> locate_views(std::string_view text, const std::string& part_name) {
    using Kind = xml::Token::Kind;
    auto broken = [&] {
        return Error::make(Error::Code::BadFormat, "シートの部品「" + part_name + "」が壊れています。");
    };
    ViewsPlace p;
    xml::Scanner sc(text);
    int depth = 0;
    bool in_views = false, in_pr = false;
    while (true) {
        xml::Token t = sc.next();
        if (t.kind == Kind::Eof || t.kind == Kind::Error) return broken();
        if (t.kind == Kind::Start) {
            if (depth == 0) {
                p.prefix = xml::main_prefix(t.attrs).value_or(std::string(xml::name_prefix(t.name)));
                p.root_name = std::string(t.name);
                if (t.self_closing) {
                    p.root_self_closing = true;
                    p.begin = p.end = p.pr_begin = p.pr_end = t.end - 2;
                    return p;
                }
                p.pr_begin = p.pr_end = t.end;
            } else if (depth == 1 && !in_views && !in_pr) {
                std::string_view local = xml::local_name(t.name);
                if (local == "sheetPr") {
                    p.pr_found = true;
                    p.pr_begin = t.begin;
                    p.pr_end = t.end;
                    in_pr = !t.self_closing;
                } else if (local == "sheetViews") {
                    p.begin = t.begin;
                    if (t.self_closing) {
                        p.end = t.end;
                        p.found = true;
                        return p;
                    }
                    in_views = true;
                } else if (local != "sheetPr" && local != "dimension") {
                    p.begin = p.end = t.begin;
                    return p;
                }
            }
            if (!t.self_closing) ++depth;
        } else if (t.kind == Kind::End) {
            --depth;
            if (depth == 1 && in_pr) {
                p.pr_end = t.end;
                in_pr = false;
            }
            if (depth == 1 && in_views) {
                p.end = t.end;
                p.found = true;
                return p;
            }
            if (depth == 0) {  // the root closes with nothing after the head
                p.begin = p.end = t.begin;
                return p;
            }
        }
    }
}

std::optional<CellRef> parse_cell(std::string_view s) {
    auto a = parse_address(s);
    if (!a || a->first_row != a->last_row || a->first_col != a->last_col) return std::nullopt;
    return CellRef{a->first_row, a->first_col};
}

std::string cell_address(CellRef c) {
    return format_address(Area{c.row, c.col, c.row, c.col}, false, false);
}

bool flag(pugi::xml_node n, const char* name, bool fallback) {
    pugi::xml_attribute a = n.attribute(name);
    if (!a) return fallback;
    std::string_view v = a.value();
    return v == "1" || v == "true";
}

void set_or_remove(pugi::xml_node n, const char* name, const std::optional<std::string>& value) {
    pugi::xml_attribute a = n.attribute(name);
    if (!value) {
        if (a) n.remove_attribute(a);
        return;
    }
    if (!a) a = n.append_attribute(name);
    a.set_value(value->c_str());
}

void set_flag(pugi::xml_node n, const char* name, bool value, bool fallback) {
    set_or_remove(n, name, value == fallback ? std::nullopt
                                             : std::optional<std::string>(value ? "1" : "0"));
}

// The per-view zoom attribute of a view.
const char* zoom_attribute(int view) {
    if (view == xlPageBreakPreview) return "zoomScaleSheetLayoutView";
    if (view == xlPageLayoutView) return "zoomScalePageLayoutView";
    return "zoomScaleNormal";
}

int stored_zoom(pugi::xml_node v, int view) {
    int z = v.attribute(zoom_attribute(view)).as_int(0);
    return z >= 10 && z <= 400 ? z : 100;
}

bool frozen_state(std::string_view state) { return state == "frozen" || state == "frozenSplit"; }

SheetView read_view(pugi::xml_node v) {
    SheetView out;
    std::string_view mode = v.attribute("view").value();
    out.view = mode == "pageBreakPreview" ? xlPageBreakPreview
               : mode == "pageLayout"     ? xlPageLayoutView
                                          : xlNormalView;
    int zoom = v.attribute("zoomScale").as_int(100);
    out.zoom = zoom >= 10 && zoom <= 400 ? zoom : 100;
    out.gridlines = flag(v, "showGridLines", true);
    out.headings = flag(v, "showRowColHeaders", true);
    out.zeros = flag(v, "showZeros", true);
    out.formulas = flag(v, "showFormulas", false);
    out.outline = flag(v, "showOutlineSymbols", true);
    out.right_to_left = flag(v, "rightToLeft", false);
    out.ruler = flag(v, "showRuler", true);
    out.white_space = flag(v, "showWhiteSpace", true);
    CellRef top = parse_cell(v.attribute("topLeftCell").value()).value_or(CellRef{});
    out.scroll = top;
    std::string active_pane = "topLeft";
    if (pugi::xml_node pane = xml::child(v, "pane")) {
        if (pugi::xml_attribute a = pane.attribute("activePane")) active_pane = a.value();
        int x = static_cast<int>(pane.attribute("xSplit").as_double(0));
        int y = static_cast<int>(pane.attribute("ySplit").as_double(0));
        std::optional<CellRef> pane_top = parse_cell(pane.attribute("topLeftCell").value());
        if (frozen_state(pane.attribute("state").value()) && (x > 0 || y > 0)) {
            CellRef f{std::min(top.row + y, kRows), std::min(top.col + x, kCols)};
            out.freeze = f;
            out.scroll = pane_top.value_or(f);
            if (y == 0) out.scroll.row = top.row;
            if (x == 0) out.scroll.col = top.col;
        } else {
            out.split = true;
        }
    }
    // The selection of the active pane; without one, the last selection written.
    pugi::xml_node chosen;
    for (pugi::xml_node s = v.first_child(); s; s = s.next_sibling()) {
        if (s.type() != pugi::node_element || xml::local_name(s.name()) != "selection") continue;
        std::string_view pane = s.attribute("pane") ? s.attribute("pane").value() : "topLeft";
        if (pane == active_pane) {
            chosen = s;
            break;
        }
        chosen = s;
    }
    if (pugi::xml_node s = chosen) {
        out.active_cell = parse_cell(s.attribute("activeCell").value()).value_or(CellRef{});
        std::vector<Area> areas;
        std::string_view sq = s.attribute("sqref").value();
        while (!sq.empty()) {
            std::size_t sp = sq.find(' ');
            std::string_view one = sq.substr(0, sp);
            if (auto a = parse_address(one)) areas.push_back(*a);
            sq = sp == std::string_view::npos ? std::string_view() : sq.substr(sp + 1);
        }
        if (!areas.empty())
            out.selection = areas;
        else
            out.selection = {Area{out.active_cell.row, out.active_cell.col, out.active_cell.row,
                                  out.active_cell.col}};
    }
    if (!std::any_of(out.selection.begin(), out.selection.end(),
                     [&](const Area& a) { return a.contains(out.active_cell); }))
        out.selection = {
            Area{out.active_cell.row, out.active_cell.col, out.active_cell.row, out.active_cell.col}};
    return out;
}

bool in_grid(CellRef c) { return c.row >= 1 && c.row <= kRows && c.col >= 1 && c.col <= kCols; }

// Inserts a child of <sheetView> before its pivot selections and extensions.
pugi::xml_node insert_view_child(pugi::xml_node v, const std::string& name) {
    for (pugi::xml_node c = v.first_child(); c; c = c.next_sibling()) {
        std::string_view l = xml::local_name(c.name());
        if (c.type() == pugi::node_element && (l == "pivotSelection" || l == "extLst"))
            return v.insert_child_before(name.c_str(), c);
    }
    return v.append_child(name.c_str());
}

void add_selection(pugi::xml_node v, const std::string& prefix, const char* pane,
                   const SheetView& want, bool with_cells) {
    pugi::xml_node s = insert_view_child(v, prefix + "selection");
    if (pane) s.append_attribute("pane") = pane;
    if (!with_cells) return;
    s.append_attribute("activeCell") = cell_address(want.active_cell).c_str();
    std::string sqref;
    for (const Area& a : want.selection) {
        if (!sqref.empty()) sqref += ' ';
        sqref += format_address(a, false, false);
    }
    s.append_attribute("sqref") = sqref.c_str();
}

// Rewrites the panes and selections of a sheet view for `want`.
void write_panes(pugi::xml_node v, const std::string& prefix, const SheetView& cur,
                 const SheetView& want) {
    pugi::xml_node old_pane = xml::child(v, "pane");
    bool keep_split = want.split && cur.split && !want.freeze;
    std::string active_pane = "topLeft";
    if (keep_split && old_pane.attribute("activePane")) active_pane = old_pane.attribute("activePane").value();
    // Selections: every one goes (kept split panes keep theirs but the active one's).
    for (pugi::xml_node c = v.first_child(); c;) {
        pugi::xml_node next = c.next_sibling();
        std::string_view l = xml::local_name(c.name());
        if (c.type() == pugi::node_element) {
            if (l == "pane" && !keep_split) v.remove_child(c);
            if (l == "selection") {
                std::string_view p = c.attribute("pane") ? c.attribute("pane").value() : "topLeft";
                if (!keep_split || p == active_pane) v.remove_child(c);
            }
        }
        c = next;
    }
    CellRef top = parse_cell(v.attribute("topLeftCell").value()).value_or(CellRef{});
    if (want.freeze) {
        CellRef f = *want.freeze;
        if (f.row < top.row) top.row = 1;
        if (f.col < top.col) top.col = 1;
        int y = f.row - top.row, x = f.col - top.col;
        CellRef scroll{y ? std::max(want.scroll.row, f.row) : top.row,
                       x ? std::max(want.scroll.col, f.col) : top.col};
        const char* pane_name = x && y ? "bottomRight" : y ? "bottomLeft" : "topRight";
        pugi::xml_node pane = insert_view_child(v, prefix + "pane");
        if (x) pane.append_attribute("xSplit") = x;
        if (y) pane.append_attribute("ySplit") = y;
        pane.append_attribute("topLeftCell") = cell_address(scroll).c_str();
        pane.append_attribute("activePane") = pane_name;
        pane.append_attribute("state") = "frozen";
        if (x && y) {
            add_selection(v, prefix, "topRight", want, false);
            add_selection(v, prefix, "bottomLeft", want, false);
        }
        add_selection(v, prefix, pane_name, want, true);
        set_or_remove(v, "topLeftCell",
                      top == CellRef{} ? std::nullopt : std::optional(cell_address(top)));
        return;
    }
    if (keep_split) {
        add_selection(v, prefix, active_pane == "topLeft" ? nullptr : active_pane.c_str(), want,
                      true);
    } else {
        bool home = want.active_cell == CellRef{} && want.selection.size() == 1 &&
                    want.selection.front() == Area{};
        if (!home) add_selection(v, prefix, nullptr, want, true);
    }
    set_or_remove(v, "topLeftCell",
                  want.scroll == CellRef{} ? std::nullopt : std::optional(cell_address(want.scroll)));
}

void write_view(pugi::xml_node v, const std::string& prefix, const SheetView& cur,
                const SheetView& want) {
    if (want.view != cur.view || want.zoom != cur.zoom) {
        int zoom = want.zoom;
        if (want.view != cur.view) {
            // The view left keeps its zoom for the next time it is shown.
            const char* left = zoom_attribute(cur.view);
            if (v.attribute(left) || cur.zoom != 100) set_or_remove(v, left, std::to_string(cur.zoom));
            if (want.zoom == cur.zoom) zoom = stored_zoom(v, want.view);
            set_or_remove(v, "view",
                          want.view == xlPageBreakPreview ? std::optional<std::string>("pageBreakPreview")
                          : want.view == xlPageLayoutView ? std::optional<std::string>("pageLayout")
                                                          : std::nullopt);
        }
        set_or_remove(v, "zoomScale",
                      zoom == 100 ? std::nullopt : std::optional(std::to_string(zoom)));
        const char* own = zoom_attribute(want.view);
        if (v.attribute(own) || zoom != 100) set_or_remove(v, own, std::to_string(zoom));
    }
    if (want.gridlines != cur.gridlines) set_flag(v, "showGridLines", want.gridlines, true);
    if (want.headings != cur.headings) set_flag(v, "showRowColHeaders", want.headings, true);
    if (want.zeros != cur.zeros) set_flag(v, "showZeros", want.zeros, true);
    if (want.formulas != cur.formulas) set_flag(v, "showFormulas", want.formulas, false);
    if (want.outline != cur.outline) set_flag(v, "showOutlineSymbols", want.outline, true);
    if (want.right_to_left != cur.right_to_left)
        set_flag(v, "rightToLeft", want.right_to_left, false);
    if (want.ruler != cur.ruler) set_flag(v, "showRuler", want.ruler, true);
    if (want.white_space != cur.white_space) set_flag(v, "showWhiteSpace", want.white_space, true);
    if (want.freeze != cur.freeze || want.split != cur.split || want.scroll != cur.scroll ||
        want.active_cell != cur.active_cell || want.selection != cur.selection)
        write_panes(v, prefix, cur, want);
}

}  // namespace

Result<SheetView> Sheet::view() {
    if (!has_cells()) return Error::failed("ワークシートではありません。");
    if (auto r = check(); !r) return r.error();
    auto text = structure::sheet_text(book_, *this);
    if (!text) return text.error();
    auto place = locate_views(*text, part_name_);
    if (!place) return place.error();
    SheetView out;
    if (place->found) {
        xml::Document doc;
        if (auto r = xml::load(doc, std::string_view(*text).substr(place->begin, place->end - place->begin),
                               part_name_);
            !r)
            return r.error();
        out = read_view(xml::child(doc.root(), "sheetView"));
    }
    if (place->pr_found) {
        xml::Document doc;
        if (auto r = xml::load(doc, std::string_view(*text).substr(place->pr_begin,
                                                                   place->pr_end - place->pr_begin),
                               part_name_);
            !r)
            return r.error();
        out.page_breaks = flag(xml::child(doc.root(), "pageSetUpPr"), "autoPageBreaks", true);
    }
    return out;
}

Result<void> Sheet::set_view(const SheetView& v) {
    if (v.zoom < 10 || v.zoom > 400)
        return Error::make(Error::Code::Refused, "ズームは１０～４００の範囲で指定してください。");
    if (v.view != xlNormalView && v.view != xlPageBreakPreview && v.view != xlPageLayoutView)
        return Error::make(Error::Code::Refused, "表示の種類が間違っています。");
    SheetView want = v;
    if (want.freeze == CellRef{}) want.freeze.reset();
    bool cells_ok = in_grid(want.scroll) && in_grid(want.active_cell) &&
                    (!want.freeze || in_grid(*want.freeze));
    for (const Area& a : want.selection)
        cells_ok = cells_ok && in_grid({a.first_row, a.first_col}) &&
                   in_grid({a.last_row, a.last_col}) && a.first_row <= a.last_row &&
                   a.first_col <= a.last_col;
    if (!cells_ok) return Error::make(Error::Code::Refused, "セルの位置がシートの範囲外です。");
    if (want.selection.empty() ||
        !std::any_of(want.selection.begin(), want.selection.end(),
                     [&](const Area& a) { return a.contains(want.active_cell); }))
        want.selection = {Area{want.active_cell.row, want.active_cell.col, want.active_cell.row,
                               want.active_cell.col}};
    if (want.freeze) {  // the panes below and right of frozen ones cannot show what is frozen
        want.scroll.row = std::max(want.scroll.row, want.freeze->row);
        want.scroll.col = std::max(want.scroll.col, want.freeze->col);
    }
    auto current = view();
    if (!current) return current.error();
    if (!current->split) want.split = false;  // a split is only ever removed here
    if (want == *current) return {};

    auto text = structure::sheet_text(book_, *this);
    if (!text) return text.error();
    auto place = locate_views(*text, part_name_);
    if (!place) return place.error();
    const std::string& p = place->prefix;
    std::string pr_fragment = text->substr(place->pr_begin, place->pr_end - place->pr_begin);
    if (want.page_breaks != current->page_breaks) {
        if (!place->pr_found) pr_fragment = "<" + p + "sheetPr/>";
        xml::Document doc;
        if (auto r = xml::load(doc, pr_fragment, part_name_); !r) return r;
        pugi::xml_node pr = doc.root();
        // pageSetUpPr is the last child the schema allows before extensions of sheetPr.
        pugi::xml_node setup = xml::child(pr, "pageSetUpPr");
        if (!setup) setup = pr.append_child((p + "pageSetUpPr").c_str());
        set_flag(setup, "autoPageBreaks", want.page_breaks, true);
        if (!setup.first_attribute()) pr.remove_child(setup);
        pr_fragment = pr.first_child() || pr.first_attribute() ? xml::save(doc) : std::string();
    }
    std::string views_fragment = text->substr(place->begin, place->end - place->begin);
    SheetView window_want = want, window_current = *current;
    window_want.page_breaks = window_current.page_breaks = true;
    if (window_want != window_current) {
        std::string fragment =
            place->found ? views_fragment
                         : "<" + p + "sheetViews><" + p + "sheetView workbookViewId=\"0\"/></" +
                               p + "sheetViews>";
        xml::Document doc;
        if (auto r = xml::load(doc, fragment, part_name_); !r) return r;
        pugi::xml_node views = doc.root();
        pugi::xml_node sv = xml::child(views, "sheetView");
        if (!sv) {
            sv = views.prepend_child((p + "sheetView").c_str());
            sv.append_attribute("workbookViewId") = "0";
        }
        write_view(sv, p, *current, want);
        views_fragment = xml::save(doc);
    }
    // sheetPr comes first, sheetViews after it (both may go in at one point of an empty root).
    std::string out = text->substr(0, place->pr_begin);
    if (place->root_self_closing) {
        out += ">" + pr_fragment + views_fragment + "</" + place->root_name + ">";
        out += text->substr(place->end + 2);
    } else {
        out += pr_fragment;
        out += text->substr(place->pr_end, place->begin - place->pr_end);
        out += views_fragment;
        out += text->substr(place->end);
    }
    book_.set_saved(false);
    return structure::store_sheet_text(book_, *this, std::move(out));
}

std::vector<int> Book::selected_sheets() {
    std::vector<int> out;
    bool follow_active =
        group_changed_ || sheet_position(active_) != loaded_active_tab_;
    int n = 0;
    for (auto& s : sheets_) {
        if (!s->has_cells()) continue;
        ++n;
        bool on = s.get() == active_;
        if (!on && follow_active) {
            on = std::find(group_.begin(), group_.end(), s.get()) != group_.end();
        } else if (!on) {
            if (s->loaded()) {
                auto part = s->part();
                on = part && (*part)->tab_selected();
            } else if (auto head = package_->read_prefix(s->part_name(), 64 * 1024)) {
                on = WorksheetPart::read_head(*head).tab_selected;
            }
        }
        if (on) out.push_back(n);
    }
    return out;
}

Result<void> Book::select_sheets(const std::vector<int>& positions) {
    std::vector<Sheet*> group;
    for (int pos : positions) {
        auto* s = static_cast<Sheet*>(worksheet(pos));
        if (!s) return Error::make(Error::Code::Refused, "シート番号が間違っています。");
        if (!s->visible())
            return Error::make(Error::Code::Refused,
                               "非表示のシート「" + s->name() + "」は選択できません。");
        if (std::find(group.begin(), group.end(), s) == group.end()) group.push_back(s);
    }
    if (group.empty()) return Error::make(Error::Code::Refused, "シートが指定されていません。");
    std::vector<int> wanted;
    for (Sheet* s : group) wanted.push_back(s->index());
    std::sort(wanted.begin(), wanted.end());
    if (active_ == group.front() && selected_sheets() == wanted) return {};
    group_ = group;
    group_changed_ = true;
    active_ = group.front();
    app_.set_active(this);
    saved_ = false;
    return {};
}

}  // namespace sheaflow::xl::native
