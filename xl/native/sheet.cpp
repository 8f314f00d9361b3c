#include <algorithm>
#include <numeric>

#include "util/text.h"
#include "xl/native/book.h"
#include "xl/native/find.h"
#include "xl/native/formula.h"
#include "xl/native/numfmt.h"
#include "xl/native/structure_copy.h"
#include "xl/native/value_text.h"

namespace sheaflow::xl::native {

namespace {

constexpr std::int32_t kMaxRows = 1048576;
constexpr std::int32_t kMaxCols = 16384;

bool in_grid(CellRef c) {
    return c.row >= 1 && c.row <= kMaxRows && c.col >= 1 && c.col <= kMaxCols;
}

Error outside_grid(CellRef c) {
    return Error::make(Error::Code::Refused, "セル（行 " + std::to_string(c.row) + "、列 " +
                                                 std::to_string(c.col) +
                                                 "）はワークシートの範囲外です。");
}

// Serial of the workbook's date system -> days since 1899-12-30 (what a Date value holds).
double to_date_value(double serial, bool date1904) {
    if (date1904) return serial + 1462;
    if (serial < 60) return serial + 1;  // before the fictitious 1900-02-29
    return serial;
}

double from_date_value(double days, bool date1904) {
    if (date1904) return days - 1462;
    if (days < 61) return days - 1;
    return days;
}

}  // namespace

Sheet::Sheet(Book& book, std::string name, std::string part_name, SheetKind kind)
    : book_(book), name_(std::move(name)), part_name_(std::move(part_name)), kind_(kind) {}

Workbook& Sheet::parent() { return book_; }

std::string Sheet::code_name() const {
    if (part_) return part_->code_name();
    if (!code_name_) {
        auto head = book_.package().read_prefix(part_name_, 64 * 1024);
        code_name_ = head ? WorksheetPart::read_head(*head).code_name : std::string();
    }
    return *code_name_;
}

int Sheet::type() const {
    switch (kind_) {
        case SheetKind::Worksheet:
            return xlWorksheet;
        case SheetKind::Chart:
            return xlChart;
        case SheetKind::Dialog:
            return xlDialogSheet;
        case SheetKind::Macro:
            return xlExcel4MacroSheet;
    }
    return xlWorksheet;
}

int Sheet::index() const { return book_.worksheet_number(this); }

Result<void> Sheet::activate() {
    book_.set_active(this);
    book_.app().set_active(&book_);
    return {};
}

Result<WorksheetPart*> Sheet::part() {
    if (part_) return part_.get();
    if (load_error_) return *load_error_;
    if (!has_cells()) {
        load_error_ = Error::make(Error::Code::Refused,
                                  "シート「" + name_ + "」はワークシートではありません。");
        return *load_error_;
    }
    auto bytes = book_.package().read(part_name_);
    if (!bytes) {
        load_error_ = Error::make(
            bytes.error().code,
            "シート「" + name_ + "」を読み込めません（" + bytes.error().message + "）。",
            part_name_);
        return *load_error_;
    }
    auto p = std::make_unique<WorksheetPart>();
    auto refuse = [&](const Error& e) {
        std::string why = e.message;
        if (why.ends_with("。")) why.resize(why.size() - std::string_view("。").size());
        if (why.starts_with("ブックの")) why.erase(0, std::string_view("ブックの").size());
        load_error_ = Error::make(e.code, "シート「" + name_ + "」を読み込めません（" + why + "）。",
                                  e.path.empty() ? part_name_ : e.path);
        return *load_error_;
    };
    // Memory follows the real content: the whole workbook's cells stay within the limit.
    const std::uint64_t budget = book_.cell_budget(this);
    if (auto r = p->parse(std::move(*bytes), part_name_, budget); !r) {
        Error e = r.error();
        if (e.code == Error::Code::TooLarge && budget < cell_limit())
            e.message = "ブック全体のセルの数が上限（" + std::to_string(cell_limit()) +
                        " 個）を超えています";
        return refuse(e);
    }
    // Cells name their strings by number: without a readable table of the right size they
    // cannot be read, and a string added would be written into a new table that loses the rest.
    if (auto r = book_.check_string_references(p->table()); !r) return refuse(r.error());
    part_ = std::move(p);
    return part_.get();
}

std::uint64_t Sheet::held_cells() const {
    if (!part_) return 0;
    return part_->table().cells.size() + part_->table().rows.size();
}

void Sheet::release() {
    if (!part_ || part_->dirty()) return;
    part_.reset();
    by_columns_.clear();
    by_columns_valid_ = false;
}

Result<void> Sheet::check() {
    if (!has_cells()) return {};
    auto p = part();
    if (!p) return p.error();
    return {};
}

// ---------------------------------------------------------------------------------------------
// Reading

std::string Sheet::display_text(const Cell& c) const {
    const Styles& st = book_.styles();
    switch (c.kind) {
        case CellKind::Blank:
            return {};
        case CellKind::Number:
            return st.compiled(c.style).render(c.number, book_.date1904());
        case CellKind::SharedString: {
            const std::string& s = book_.shared_strings().at(static_cast<std::size_t>(c.number));
            return st.shows_text_as_is(c.style) ? s : st.compiled(c.style).render_text(s);
        }
        case CellKind::String: {
            const std::string& s = part_->table().text(c.text);
            return st.shows_text_as_is(c.style) ? s : st.compiled(c.style).render_text(s);
        }
        case CellKind::Bool:
            return c.number != 0 ? "TRUE" : "FALSE";
        case CellKind::Error:
            return part_->table().text(c.text);
    }
    return {};
}

std::string Sheet::formula_bar_text(std::int32_t r, const Cell& c) const {
    if (c.has_formula()) {
        if (c.formula_kind == FormulaKind::Other) return {};
        return "=" + part_->table().formula_text(r, c);
    }
    switch (c.kind) {
        case CellKind::Blank:
            return {};
        case CellKind::Number:
            if (book_.styles().is_date(c.style))
                return formula_bar_date(book_.date1904() ? c.number + 1462 : c.number);
            return formula_bar_number(c.number);
        case CellKind::SharedString:
            return book_.shared_strings().at(static_cast<std::size_t>(c.number));
        case CellKind::String:
        case CellKind::Error:
            return part_->table().text(c.text);
        case CellKind::Bool:
            return c.number != 0 ? "TRUE" : "FALSE";
    }
    return {};
}

Value Sheet::cell_value(CellRef at) {
    auto p = part();
    if (!p || !in_grid(at)) return {};
    const Cell* c = (*p)->table().find(at.row, at.col);
    if (!c) return {};
    switch (c->kind) {
        case CellKind::Blank:
            return {};
        case CellKind::Number:
            if (book_.styles().is_date(c->style))
                return DateTime{to_date_value(c->number, book_.date1904())};
            return c->number;
        case CellKind::SharedString:
            return book_.shared_strings().at(static_cast<std::size_t>(c->number));
        case CellKind::String:
            return (*p)->table().text(c->text);
        case CellKind::Bool:
            return c->number != 0;
        case CellKind::Error:
            return CellError{(*p)->table().text(c->text)};
    }
    return {};
}

std::string Sheet::cell_formula(CellRef at) {
    auto p = part();
    if (!p || !in_grid(at)) return {};
    const Cell* c = (*p)->table().find(at.row, at.col);
    return c ? formula_bar_text(at.row, *c) : std::string();
}

std::string Sheet::cell_text(CellRef at) {
    auto p = part();
    if (!p || !in_grid(at)) return {};
    const Cell* c = (*p)->table().find(at.row, at.col);
    return c ? display_text(*c) : std::string();
}

std::string Sheet::cell_number_format_local(CellRef at) {
    auto p = part();
    std::uint32_t style = 0;
    if (p && in_grid(at))
        if (const Cell* c = (*p)->table().find(at.row, at.col)) style = c->style;
    return numfmt::local_code(book_.styles().format_code(style));
}

Area Sheet::used_range() {
    auto p = part();
    if (!p) return Area{};
    const CellTable& t = (*p)->table();
    std::int32_t r1 = kMaxRows + 1, r2 = 0, c1 = kMaxCols + 1, c2 = 0;
    for (const Row& row : t.rows) {
        bool any = false;
        for (std::uint32_t i = row.first; i < row.last; ++i) {
            const Cell& c = t.cells[i];
            if (!c.has_content() && c.style == 0) continue;
            any = true;
            c1 = std::min(c1, c.col);
            c2 = std::max(c2, c.col);
        }
        if (any || row.styled) {
            r1 = std::min(r1, row.r);
            r2 = std::max(r2, row.r);
        }
    }
    for (const auto& [lo, hi] : (*p)->styled_columns()) {
        c1 = std::min(c1, lo);
        c2 = std::max(c2, hi);
    }
    if (r2 == 0 && c2 == 0) return Area{};
    if (r2 == 0) r1 = r2 = 1;
    if (c2 == 0) c1 = c2 = 1;
    return Area{r1, c1, r2, c2};
}

std::int64_t Sheet::count_a(const Area& area) {
    std::int64_t n = 0;
    for_each_cell(area, [&](CellRef) { ++n; });
    return n;
}

void Sheet::for_each_cell(const Area& area, const std::function<void(CellRef)>& visit) {
    auto p = part();
    if (!p) return;
    const CellTable& t = (*p)->table();
    auto it = std::lower_bound(t.rows.begin(), t.rows.end(), area.first_row,
                               [](const Row& row, std::int32_t v) { return row.r < v; });
    for (; it != t.rows.end() && it->r <= area.last_row; ++it) {
        auto b = t.cells.begin() + it->first, e = t.cells.begin() + it->last;
        auto c = std::lower_bound(b, e, area.first_col,
                                  [](const Cell& cell, std::int32_t v) { return cell.col < v; });
        std::int32_t r = it->r;
        for (; c != e && c->col <= area.last_col; ++c)
            if (c->has_content()) visit(CellRef{r, c->col});
    }
}

// ---------------------------------------------------------------------------------------------
// Writing

Result<Cell*> Sheet::prepare_change(CellRef at) {
    if (!in_grid(at)) return outside_grid(at);
    auto p = part();
    if (!p) return p.error();
    CellTable& t = (*p)->table();
    for (const ArrayRange& a : t.arrays)
        if (a.contains(at.row, at.col) && !(a.first_row == at.row && a.first_col == at.col))
            return Error::make(Error::Code::Refused,
                               "配列数式の一部は変更できません（" +
                                   format_address(Area{at.row, at.col, at.row, at.col}) + "）。");
    if (const Cell* existing = t.find(at.row, at.col);
        existing && (existing->formula_kind == FormulaKind::SharedMaster ||
                     existing->formula_kind == FormulaKind::SharedChild)) {
        // Every cell of the shared formula gets its own formula text, so that changing one of
        // them leaves the others reading as before.
        std::uint32_t group = 0;
        if (existing->formula_kind == FormulaKind::SharedChild) {
            group = existing->formula;
        } else {
            for (const auto& [si, sf] : t.shared)
                if (sf.row == at.row && sf.col == at.col) group = si;
        }
        auto sf = t.shared.find(group);
        for (Row& row : t.rows) {
            for (std::uint32_t i = row.first; i < row.last; ++i) {
                Cell& c = t.cells[i];
                bool member =
                    (c.formula_kind == FormulaKind::SharedChild && c.formula == group) ||
                    (c.formula_kind == FormulaKind::SharedMaster && sf != t.shared.end() &&
                     sf->second.row == row.r && sf->second.col == c.col);
                if (!member) continue;
                std::string text = t.formula_text(row.r, c);
                c.formula_kind = FormulaKind::Normal;
                c.formula = t.add_text(std::move(text));
                c.flags |= Cell::kDirty;
                row.dirty = true;
            }
        }
        if (sf != t.shared.end()) t.shared.erase(sf);
    }
    std::size_t before = t.cells.size();
    Cell& c = t.touch(at.row, at.col);
    if (t.cells.size() != before) by_columns_valid_ = false;
    c.flags |= Cell::kDirty | Cell::kDropMeta;
    (*p)->mark_dirty();
    return &c;
}

void Sheet::clear_value(Cell& c) {
    if (c.kind == CellKind::SharedString) book_.shared_strings().add_references(-1);
    c.kind = CellKind::Blank;
    c.number = 0;
    c.text = 0;
    c.flags &= static_cast<std::uint8_t>(~Cell::kInline);
}

void Sheet::set_string(Cell& c, std::string_view s) {
    clear_value(c);
    SharedStrings& sst = book_.shared_strings();
    c.kind = CellKind::SharedString;
    c.number = sst.intern(s);
    sst.add_references(1);
}

Result<void> Sheet::enter(CellRef at, std::string_view typed) {
    auto cell = prepare_change(at);
    if (!cell) return cell.error();
    Cell& c = **cell;
    CellTable& t = part_->table();
    TypedEntry e = parse_typed(typed, book_.styles().is_date(c.style));
    bool array = c.formula_kind == FormulaKind::Array;
    if (array && e.kind != TypedEntry::Kind::Formula)
        return Error::make(Error::Code::Refused,
                           "配列数式の一部は変更できません（" +
                               format_address(Area{at.row, at.col, at.row, at.col}) + "）。");
    clear_value(c);
    if (e.kind != TypedEntry::Kind::Formula) c.formula_kind = FormulaKind::None;
    switch (e.kind) {
        case TypedEntry::Kind::Empty:
            break;
        case TypedEntry::Kind::Formula:
            // The cached value is gone with the old formula; the application recalculates.
            if (!array) c.formula_kind = FormulaKind::Normal;
            c.formula = t.add_text(std::move(e.text));
            break;
        case TypedEntry::Kind::Number:
        case TypedEntry::Kind::Date:
            c.kind = CellKind::Number;
            c.number = e.number;
            break;
        case TypedEntry::Kind::Bool:
            c.kind = CellKind::Bool;
            c.number = e.number;
            break;
        case TypedEntry::Kind::Error:
            c.kind = CellKind::Error;
            c.text = t.add_text(std::move(e.text));
            break;
        case TypedEntry::Kind::Text:
            set_string(c, e.text);
            break;
    }
    book_.cells_changed();
    return {};
}

Result<void> Sheet::set_cell_value(CellRef at, const Value& v) {
    if (!in_grid(at)) return outside_grid(at);
    if (auto s = std::get_if<std::string>(&v)) return enter(at, *s);
    if (std::holds_alternative<std::monostate>(v)) return enter(at, "");
    auto cell = prepare_change(at);
    if (!cell) return cell.error();
    Cell& c = **cell;
    if (c.formula_kind == FormulaKind::Array)
        return Error::make(Error::Code::Refused, "配列数式の一部は変更できません。");
    clear_value(c);
    c.formula_kind = FormulaKind::None;
    if (auto d = std::get_if<double>(&v)) {
        c.kind = CellKind::Number;
        c.number = *d;
    } else if (auto dt = std::get_if<DateTime>(&v)) {
        c.kind = CellKind::Number;
        c.number = from_date_value(dt->serial, book_.date1904());
    } else if (auto b = std::get_if<bool>(&v)) {
        c.kind = CellKind::Bool;
        c.number = *b ? 1 : 0;
    } else if (auto e = std::get_if<CellError>(&v)) {
        c.kind = CellKind::Error;
        c.text = part_->table().add_text(e->code);
    }
    book_.cells_changed();
    return {};
}

Result<void> Sheet::set_cell_formula(CellRef at, const std::string& formula_or_constant) {
    if (!in_grid(at)) return outside_grid(at);
    if (formula_or_constant.size() > 1 && formula_or_constant[0] == '=' &&
        formula_or_constant.find('[') != std::string::npos) {
        // References to other workbooks by path become links of this workbook.
        auto linked = link_external_references(book_, formula_or_constant);
        if (!linked) return linked.error();
        return enter(at, *linked);
    }
    return enter(at, formula_or_constant);
}

// ---------------------------------------------------------------------------------------------
// Find and Replace

const std::vector<std::pair<std::int32_t, std::int32_t>>& Sheet::column_order() {
    // Cells added by any path change the count; the order is then built again.
    if (!by_columns_valid_ || by_columns_.size() != part_->table().cells.size()) {
        by_columns_.clear();
        const CellTable& t = part_->table();
        by_columns_.reserve(t.cells.size());
        for (const Row& row : t.rows)
            for (std::uint32_t i = row.first; i < row.last; ++i)
                by_columns_.emplace_back(t.cells[i].col, row.r);
        std::sort(by_columns_.begin(), by_columns_.end());
        by_columns_valid_ = true;
    }
    return by_columns_;
}

Result<void> Sheet::ensure_comments() {
    if (comments_loaded_) return {};
    comments_loaded_ = true;
    std::string rels_name = rels_path_for(part_name_);
    if (!book_.package().has(rels_name)) return {};
    auto bytes = book_.package().read(rels_name);
    if (!bytes) return bytes.error();
    Relationships rels;
    if (auto r = rels.parse(*bytes, rels_name); !r) return r;
    auto item = rels.by_type(rel::kComments);
    if (!item) return {};
    std::string part = resolve_target(part_name_, item->target);
    auto cbytes = book_.package().read(part);
    if (!cbytes) return cbytes.error();
    xml::Document doc;
    if (auto r = xml::load(doc, *cbytes, part); !r) return r;
    for (pugi::xml_node n = xml::child(doc.root(), "commentList").first_child(); n;
         n = n.next_sibling()) {
        if (xml::local_name(n.name()) != "comment") continue;
        auto area = parse_address(n.attribute("ref").value());
        if (!area) continue;
        std::string text;
        // Plain text of the comment: its <t> elements outside phonetic runs.
        struct Walker : pugi::xml_tree_walker {
            std::string* out;
            bool for_each(pugi::xml_node& node) override {
                if (node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata) {
                    pugi::xml_node parent = node.parent();
                    if (xml::local_name(parent.name()) != "t") return true;
                    for (pugi::xml_node up = parent; up; up = up.parent())
                        if (xml::local_name(up.name()) == "rPh") return true;
                    *out += node.value();
                }
                return true;
            }
        } walker;
        walker.out = &text;
        xml::child(n, "text").traverse(walker);
        comments_.emplace_back(CellRef{area->first_row, area->first_col},
                               xml::decode_ooxml_escapes(text));
    }
    return {};
}

std::string Sheet::comment_text(CellRef c) {
    if (!ensure_comments()) return {};
    for (const auto& [ref, text] : comments_)
        if (ref == c) return text;
    return {};
}

std::optional<CellRef> Sheet::find(const Area& area, const FindSpec& criteria,
                                   std::optional<CellRef> after) {
    Matcher m(criteria);
    if (!m.valid()) return std::nullopt;
    auto p = part();
    if (!p) return std::nullopt;
    const CellTable& t = (*p)->table();
    CellRef start =
        after && area.contains(*after) ? *after : CellRef{area.first_row, area.first_col};
    bool by_cols = criteria.search_order == xlByColumns;
    bool forward = criteria.search_direction != xlPrevious;
    using Key = std::pair<std::int32_t, std::int32_t>;
    auto key_of = [&](CellRef c) { return by_cols ? Key{c.col, c.row} : Key{c.row, c.col}; };

    // The candidates in search order: (row, col) of cells, or of comments for xlComments.
    std::vector<Key> comment_keys;
    std::size_t n = 0;
    if (criteria.look_in == xlComments) {
        if (!ensure_comments()) return std::nullopt;
        for (const auto& [ref, text] : comments_) comment_keys.push_back(key_of(ref));
        std::sort(comment_keys.begin(), comment_keys.end());
        n = comment_keys.size();
    } else if (by_cols) {
        n = column_order().size();
    } else {
        n = t.cells.size();
    }
    if (n == 0) return std::nullopt;
    auto candidate = [&](std::size_t i) -> CellRef {
        if (criteria.look_in == xlComments)
            return by_cols ? CellRef{comment_keys[i].second, comment_keys[i].first}
                           : CellRef{comment_keys[i].first, comment_keys[i].second};
        if (by_cols) return CellRef{by_columns_[i].second, by_columns_[i].first};
        return CellRef{0, t.cells[i].col};  // row filled in below
    };
    // Row numbers of the flat cell vector, found by walking the rows alongside.
    auto row_at = [&](std::size_t i) -> std::int32_t {
        auto it = std::upper_bound(t.rows.begin(), t.rows.end(), static_cast<std::uint32_t>(i),
                                   [](std::uint32_t v, const Row& row) { return v < row.last; });
        return it == t.rows.end() ? 0 : it->r;
    };
    auto ref_at = [&](std::size_t i) {
        CellRef c = candidate(i);
        if (c.row == 0) c.row = row_at(i);
        return c;
    };
    const Styles& styles = book_.styles();
    const bool numbers_can_match = m.may_match_within(U"0123456789.-+Ee");
    const bool dates_can_match = m.may_match_within(U"0123456789/: AMPamp");
    auto test = [&](CellRef c) -> bool {
        if (!area.contains(c)) return false;
        if (criteria.look_in == xlComments) return m.matches(comment_text(c));
        const Cell* cell = t.find(c.row, c.col);
        if (!cell || !cell->has_content()) return false;
        if (!cell->has_formula() && cell->kind == CellKind::SharedString) {
            // The text itself, in formulas and under a format that shows text as it is.
            const std::string& code = styles.format_code(cell->style);
            if (criteria.look_in != xlValues || code == "General" || code == "@") {
                auto idx = static_cast<std::size_t>(cell->number);
                std::int8_t& known = book_.match_memo(criteria, idx);
                if (known == 0) known = m.matches(book_.shared_strings().at(idx)) ? 1 : 2;
                return known == 1;
            }
        }
        if (criteria.look_in != xlValues && !cell->has_formula() && cell->kind == CellKind::Number &&
            !(styles.is_date(cell->style) ? dates_can_match : numbers_can_match))
            return false;
        std::string s =
            criteria.look_in == xlValues ? display_text(*cell) : formula_bar_text(c.row, *cell);
        return m.matches(s);
    };
    // First position whose key is greater than the start (forward) or not less (backward).
    Key sk = key_of(start);
    std::size_t lo = 0, hi = n;
    while (lo < hi) {
        std::size_t mid = (lo + hi) / 2;
        Key k = key_of(ref_at(mid));
        if (forward ? !(sk < k) : k < sk)
            lo = mid + 1;
        else
            hi = mid;
    }
    for (std::size_t k = 0; k < n; ++k) {
        std::size_t i = forward ? (lo + k) % n : (lo + n - 1 - k) % n;
        CellRef c = ref_at(i);
        if (test(c)) return c;
    }
    return std::nullopt;
}

Result<bool> Sheet::replace(const Area& area, const FindSpec& criteria,
                            const std::string& replacement) {
    Matcher m(criteria);
    if (!m.valid()) return true;
    auto p = part();
    if (!p) return p.error();
    struct Change {
        CellRef at;
        std::string text;
        bool formula;
    };
    std::vector<Change> changes;
    CellTable& t = (*p)->table();
    const Styles& styles = book_.styles();
    SharedStrings& sst = book_.shared_strings();
    // Texts of the string table are looked at once per entry, not once per cell.
    constexpr std::int32_t kUnknown = -1, kNoChange = -2;
    std::vector<std::int32_t> memo;
    std::vector<std::string> results;
    // A number's formula-bar text has only these characters; most search words have others.
    const bool numbers_can_match = m.may_match_within(U"0123456789.-+Ee");
    const bool dates_can_match = m.may_match_within(U"0123456789/: AMPamp");
    auto it = std::lower_bound(t.rows.begin(), t.rows.end(), area.first_row,
                               [](const Row& row, std::int32_t v) { return row.r < v; });
    for (; it != t.rows.end() && it->r <= area.last_row; ++it) {
        auto b = t.cells.begin() + it->first, e = t.cells.begin() + it->last;
        auto c = std::lower_bound(b, e, area.first_col,
                                  [](const Cell& cell, std::int32_t v) { return cell.col < v; });
        for (; c != e && c->col <= area.last_col; ++c) {
            if (!c->has_content() || c->formula_kind == FormulaKind::Other) continue;
            CellRef at{it->r, c->col};
            if (!c->has_formula()) {
                if (c->kind == CellKind::SharedString) {
                    auto idx = static_cast<std::size_t>(c->number);
                    if (memo.size() <= idx) memo.resize(std::max(sst.size(), idx + 1), kUnknown);
                    if (memo[idx] == kUnknown) {
                        const std::string& before = sst.at(idx);
                        auto after = m.replace(before, replacement);
                        if (after && *after != before) {
                            memo[idx] = static_cast<std::int32_t>(results.size());
                            results.push_back(std::move(*after));
                        } else {
                            memo[idx] = kNoChange;
                        }
                    }
                    if (memo[idx] >= 0)
                        changes.push_back(
                            {at, results[static_cast<std::size_t>(memo[idx])], false});
                    continue;
                }
                if (c->kind == CellKind::Number &&
                    !(styles.is_date(c->style) ? dates_can_match : numbers_can_match))
                    continue;
            }
            std::string before = formula_bar_text(at.row, *c);
            auto after = m.replace(before, replacement);
            if (after && *after != before)
                changes.push_back({at, std::move(*after), c->has_formula()});
        }
    }
    std::vector<std::string> refused;
    for (Change& ch : changes) {
        // A formula that would no longer parse is left as it was, and reported.
        if (ch.formula && !ch.text.empty() && ch.text[0] == '=' &&
            !formula::plausible(ch.text.substr(1))) {
            refused.push_back(format_address(Area{ch.at.row, ch.at.col, ch.at.row, ch.at.col}));
            continue;
        }
        if (auto r = enter(ch.at, ch.text); !r)
            refused.push_back(format_address(Area{ch.at.row, ch.at.col, ch.at.row, ch.at.col}));
        else
            ++book_.application().find_state.replaced_cells;
    }
    if (!refused.empty()) {
        std::string list = refused.front();
        if (refused.size() > 1) list += " ほか " + std::to_string(refused.size() - 1) + " 件";
        return Error::make(Error::Code::Refused,
                           "シート「" + name_ + "」の置換できないセルがあります（" + list + "）。");
    }
    return true;
}

}  // namespace sheaflow::xl::native
