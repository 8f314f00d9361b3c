#include "xl/native/office_edits.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <initializer_list>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "xl/native/shared_strings.h"
#include "xl/native/worksheet_part.h"
#include "xl/native/xml.h"

namespace sheaflow::xl::native {

namespace {

using Edits = std::vector<OfficeCellEdit>;

// Whether a text carries runs or phonetic guides, which a plain cell value cannot hold.
bool has_runs(std::string_view xml) {
    for (std::string_view tag : {"<r>", "<r ", ":r>", ":r ", "rPh"})
        if (xml.find(tag) != std::string_view::npos) return true;
    return false;
}

// A cell's value, texts of both kinds alike.
struct Value {
    enum class Kind { None, Number, Text, Other } kind = Kind::None;
    double number = 0;      // a number, a truth value
    std::string_view text;  // a text, an error code
    bool plain = true;      // a text without runs
    std::string rich;       // the runs of a text that has them

    bool operator==(const Value& o) const {
        return kind == o.kind && number == o.number && text == o.text && plain == o.plain &&
               rich == o.rich;
    }
};

Value value_of(const Cell& c, const WorksheetPart& part, const SharedStrings& strings) {
    Value v;
    switch (c.kind) {
        case CellKind::Blank:
            break;
        case CellKind::Number:
            v.kind = Value::Kind::Number;
            v.number = c.number;
            break;
        case CellKind::SharedString: {
            auto i = static_cast<std::size_t>(c.number);
            v.kind = Value::Kind::Text;
            v.text = strings.at(i);
            std::string source = strings.entry_source(i);
            v.plain = !strings.is_rich(i) && !has_runs(source);
            if (!v.plain) v.rich = std::move(source);
            break;
        }
        case CellKind::String:
            v.kind = Value::Kind::Text;
            v.text = part.table().text(c.text);
            v.plain = !has_runs(part.cell_source(c));
            if (!v.plain) v.rich = std::string(part.cell_source(c));
            break;
        case CellKind::Bool:
        case CellKind::Error:
            v.kind = Value::Kind::Other;
            v.number = c.number;
            if (c.kind == CellKind::Error) v.text = part.table().text(c.text);
            break;
    }
    return v;
}

// An XML part as the engine writes it, without the attributes `names` on any element; nullopt
// when it is not well-formed.
std::optional<std::string> without_attributes(const std::string& part,
                                              std::initializer_list<const char*> names) {
    xml::Document doc;
    if (!xml::load(doc, part, "")) return std::nullopt;
    std::vector<pugi::xml_node> todo{doc.root()};
    while (!todo.empty()) {
        pugi::xml_node n = todo.back();
        todo.pop_back();
        for (const char* name : names) n.remove_attribute(name);
        for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling())
            if (c.type() == pugi::node_element) todo.push_back(c);
    }
    return xml::save(doc);
}

// The part's text without its cells: what must stay equal for cell values to be all that
// changed.
std::string without_cells(const WorksheetPart& part) {
    const std::string& text = part.source();
    std::vector<std::pair<std::uint32_t, std::uint32_t>> spans;
    spans.reserve(part.table().cells.size());
    for (const Cell& c : part.table().cells)
        if (c.raw_end > c.raw_begin) spans.emplace_back(c.raw_begin, c.raw_end);
    std::sort(spans.begin(), spans.end());
    std::string out;
    out.reserve(text.size() / 4);
    std::size_t at = 0;
    for (auto [begin, end] : spans) {
        if (begin < at) return text;  // overlapping spans: compare whole texts
        out.append(text, at, begin - at);
        at = end;
    }
    out.append(text, at);
    return out;
}

bool same_formula(const Cell& a, const CellTable& ta, const Cell& b, const CellTable& tb) {
    if (a.formula_kind != b.formula_kind) return false;
    if (a.formula_kind == FormulaKind::SharedChild || a.formula_kind == FormulaKind::Other)
        return a.formula == b.formula;
    return ta.text(a.formula) == tb.text(b.formula);
}

// Appends the edits that turn sheet `before` (values from `strings_before`) into `after`;
// false when they differ in anything but plain cell values. A cell of the default format
// may come or go with its value where neither its row nor its column has a format: the office
// keeps such a cell's format when its value is written or cleared, which then is the default.
bool sheet_edits(const std::string& sheet, const WorksheetPart& before,
                 const SharedStrings& strings_before, const WorksheetPart& after,
                 const SharedStrings& strings_after, Edits& out) {
    const CellTable& t0 = before.table();
    const CellTable& t1 = after.table();
    if (t0.rows.size() != t1.rows.size()) return false;
    // Which tab is selected follows the active sheet, which the office is told apart.
    if (&before != &after) {
        auto rest_before = without_attributes(without_cells(before), {"tabSelected"});
        auto rest_after = without_attributes(without_cells(after), {"tabSelected"});
        if (!rest_before || !rest_after || *rest_before != *rest_after) return false;
    }
    const Cell blank;
    auto edit = [&](std::int32_t row, std::int32_t col, const Value& v) {
        OfficeCellEdit e;
        e.sheet = sheet;
        e.row = row;
        e.col = col;
        if (v.kind == Value::Kind::Text) {
            e.kind = OfficeCellEdit::Kind::Text;
            e.text = std::string(v.text);
        } else if (v.kind == Value::Kind::Number) {
            e.kind = OfficeCellEdit::Kind::Number;
            e.number = v.number;
        }
        out.push_back(std::move(e));
    };
    for (std::size_t ri = 0; ri < t0.rows.size(); ++ri) {
        const Row& r0 = t0.rows[ri];
        const Row& r1 = t1.rows[ri];
        if (r0.r != r1.r) return false;
        std::uint32_t i = r0.first, j = r1.first;
        while (i < r0.last || j < r1.last) {
            const std::int32_t col = std::min(i < r0.last ? t0.cells[i].col : INT32_MAX,
                                              j < r1.last ? t1.cells[j].col : INT32_MAX);
            const bool in0 = i < r0.last && t0.cells[i].col == col;
            const bool in1 = j < r1.last && t1.cells[j].col == col;
            const Cell& c0 = in0 ? t0.cells[i++] : blank;
            const Cell& c1 = in1 ? t1.cells[j++] : blank;
            if (in0 != in1 &&
                (c0.style != 0 || c1.style != 0 || r0.styled || before.column_style(col) != 0))
                return false;
            if (c0.style != c1.style) return false;
            Value v0 = value_of(c0, before, strings_before);
            Value v1 = value_of(c1, after, strings_after);
            if (c0.has_formula() || c1.has_formula()) {
                if (!in0 || !in1 || !same_formula(c0, t0, c1, t1) || !(v0 == v1)) return false;
                continue;
            }
            if (v0 == v1) continue;
            if (v0.kind == Value::Kind::Other || v1.kind == Value::Kind::Other || !v1.plain)
                return false;
            edit(r0.r, col, v1);
        }
    }
    return true;
}

}  // namespace

std::optional<Edits> office_cell_edits(const Package& pkg, const std::vector<OfficeSheet>& sheets,
                                       const std::string& workbook_part,
                                       const std::string& strings_part) {
    std::unordered_map<std::string, const OfficeSheet*> by_part;
    for (const OfficeSheet& s : sheets) by_part.emplace(s.part, &s);
    // Each part is read once in both versions, as opened and as it is now.
    struct Versions {
        std::string then, now;
    };
    std::unordered_map<std::string, Versions> read;
    auto versions = [&](const std::string& name) -> Versions* {
        if (auto it = read.find(name); it != read.end()) return &it->second;
        auto then = pkg.read_original(name);
        auto now = pkg.read(name);
        if (!then || !now) return nullptr;  // added or removed
        return &read.emplace(name, Versions{std::move(*then), std::move(*now)}).first->second;
    };
    bool strings_changed = false;
    std::vector<const OfficeSheet*> changed_sheets;
    for (const std::string& name : pkg.changed_parts()) {
        const Versions* v = versions(name);
        if (!v) return std::nullopt;
        if (v->now == v->then) continue;
        if (!strings_part.empty() && name == strings_part)
            strings_changed = true;
        else if (name == workbook_part) {
            // Besides the active tab, the engine asks for a full calculation once cells have
            // changed; the office calculates the document it keeps after writing the edits.
            auto plain_now = without_attributes(v->now, {"activeTab", "fullCalcOnLoad"});
            auto plain_then = without_attributes(v->then, {"activeTab", "fullCalcOnLoad"});
            if (!plain_now || !plain_then || *plain_now != *plain_then) return std::nullopt;
        } else if (auto it = by_part.find(name); it != by_part.end())
            changed_sheets.push_back(it->second);
        else
            return std::nullopt;
    }
    // A changed string table may change the cells of any sheet.
    if (strings_changed) {
        changed_sheets.clear();
        for (const OfficeSheet& s : sheets) changed_sheets.push_back(&s);
    }
    SharedStrings strings_before, strings_after;
    if (!strings_part.empty() && pkg.has(strings_part)) {
        const Versions* v = versions(strings_part);
        if (!v || !strings_before.parse(v->then, strings_part) ||
            !strings_after.parse(v->now, strings_part))
            return std::nullopt;
    }
    Edits edits;
    std::size_t cells = 0;
    for (const OfficeSheet* s : changed_sheets) {
        Versions* v = versions(s->part);
        if (!v) return std::nullopt;
        const bool same_text = v->then == v->now;
        WorksheetPart before, after;
        if (!before.parse(std::move(v->then), s->part)) return std::nullopt;
        if (!same_text && !after.parse(std::move(v->now), s->part)) return std::nullopt;
        if (!sheet_edits(s->name, before, strings_before, same_text ? before : after, strings_after,
                         edits))
            return std::nullopt;
        cells += before.table().cells.size();
    }
    // The office writes a cell in about 80 us and reads one from a package in about 40 us, with
    // some 50 ms for the package itself.
    if (edits.size() > cells / 2 + 600) return std::nullopt;
    return edits;
}

}  // namespace sheaflow::xl::native
