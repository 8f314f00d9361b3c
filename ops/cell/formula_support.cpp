#include "ops/cell/formula_support.h"

#include "util/text.h"

namespace sheaflow::ops {

bool is_formula(std::string_view f) { return f.size() > 1 && f[0] == '='; }

std::string value_text(const xl::Value& v) {
    if (const auto* e = std::get_if<xl::CellError>(&v)) return e->code;
    return xl::to_text(v);
}

BookFormulas::BookFormulas(xl::Workbook& book) : book_(book), names_(book.names()) {
    for (int i = 1; i <= book.worksheet_count(); ++i)
        if (xl::Worksheet* ws = book.worksheet(i)) sheets_.push_back(ws->name());
}

int BookFormulas::sheet_index(const std::string& name) const {
    const std::string u = text::upper(name);
    for (std::size_t i = 0; i < sheets_.size(); ++i)
        if (text::upper(sheets_[i]) == u) return static_cast<int>(i) + 1;
    return 0;
}

std::string BookFormulas::sheet_name(int sheet) const {
    if (sheet < 1 || sheet > static_cast<int>(sheets_.size())) return {};
    return sheets_[static_cast<std::size_t>(sheet) - 1];
}

namespace {
// "[0]" is how some writers name the workbook itself.
bool other_book(const xl::FormulaToken& t) { return !t.book.empty() && t.book != "[0]"; }
}  // namespace

const xl::DefinedName* BookFormulas::find_name(const xl::FormulaToken& t, int sheet) const {
    if (other_book(t)) return nullptr;
    const std::string u = text::upper(t.body);
    // "Sheet1!Name" is the name of that sheet; a bare name is the current sheet's own name when
    // it has one, else the workbook's.
    const bool sheet_given = t.has_prefix && !t.sheet.empty();
    const std::string own = sheet_given ? t.sheet : sheet_name(sheet);
    const xl::DefinedName* global = nullptr;
    for (const xl::DefinedName& n : names_) {
        if (text::upper(n.name) != u) continue;
        if (!n.sheet.empty() && text::upper(n.sheet) == text::upper(own)) return &n;
        if (n.sheet.empty() && !sheet_given) global = &n;
    }
    return global;
}

void BookFormulas::add_refs(std::string_view formula, int sheet, const std::string& via,
                            int depth, std::vector<ResolvedRef>& out) {
    for (const xl::FormulaToken& t : xl::tokenize_formula(formula)) {
        if (t.kind == xl::TokenKind::Reference) {
            ResolvedRef r;
            r.via = via;
            r.text = t.text;
            if (other_book(t)) {
                r.resolved = false;
                out.push_back(std::move(r));
                continue;
            }
            int first = t.has_prefix && !t.sheet.empty() ? sheet_index(t.sheet) : sheet;
            int last = t.last_sheet.empty() ? first : sheet_index(t.last_sheet);
            if (first == 0 || last == 0) {
                r.resolved = false;
                out.push_back(std::move(r));
                continue;
            }
            if (first > last) std::swap(first, last);
            // A 3-D reference stands for the area on every sheet from the first to the last.
            for (int s = first; s <= last; ++s) {
                r.where = SheetArea{s, t.area};
                out.push_back(r);
            }
        } else if (t.kind == xl::TokenKind::Name) {
            const xl::DefinedName* n = find_name(t, sheet);
            if (!n || depth > 16) {
                ResolvedRef r;
                r.via = via.empty() ? t.body : via;
                r.text = t.text;
                r.resolved = false;
                out.push_back(std::move(r));
                continue;
            }
            int home = n->sheet.empty() ? sheet : sheet_index(n->sheet);
            add_refs(n->refers_to, home, via.empty() ? n->name : via, depth + 1, out);
        } else if (t.kind == xl::TokenKind::Error && t.has_prefix) {
            ResolvedRef r;
            r.via = via;
            r.text = t.text;
            r.resolved = false;
            out.push_back(std::move(r));
        }
    }
}

std::vector<ResolvedRef> BookFormulas::references(std::string_view formula, int sheet) {
    std::vector<ResolvedRef> out;
    add_refs(formula, sheet, {}, 0, out);
    return out;
}

const std::vector<FormulaCell>& BookFormulas::cells() {
    if (loaded_) return cells_;
    loaded_ = true;
    for (int s = 1; s <= static_cast<int>(sheets_.size()); ++s) {
        xl::Worksheet* ws = book_.worksheet(s);
        if (!ws) continue;
        ws->for_each_cell(ws->used_range(), [&](xl::CellRef c) {
            std::string f = ws->cell_formula(c);
            if (!is_formula(f)) return;
            FormulaCell fc{s, c, f, references(std::string_view(f).substr(1), s)};
            index_[s][{c.row, c.col}] = cells_.size();
            cells_.push_back(std::move(fc));
        });
    }
    return cells_;
}

std::vector<const FormulaCell*> BookFormulas::cells_in(const SheetArea& where) {
    cells();
    std::vector<const FormulaCell*> out;
    auto it = index_.find(where.sheet);
    if (it == index_.end()) return out;
    const xl::Area& a = where.area;
    for (auto c = it->second.lower_bound({a.first_row, 0});
         c != it->second.end() && c->first.first <= a.last_row; ++c)
        if (c->first.second >= a.first_col && c->first.second <= a.last_col)
            out.push_back(&cells_[c->second]);
    return out;
}

}  // namespace sheaflow::ops
