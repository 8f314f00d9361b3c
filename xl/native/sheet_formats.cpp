// Sheet::cell_format, format_cells and the text runs of a cell: the cells' format indexes are
// changed in the cell table, the formats themselves through the workbook's FormatTable, which
// reuses equal entries and never edits an entry in place.

#include "xl/native/book.h"
#include "xl/native/cell_formats.h"
#include "xl/native/structure_support.h"

namespace sheaflow::xl::native {
namespace {

// The format an empty position shows: its row's when the row carries one, else its column's.
std::uint32_t empty_cell_style(const WorksheetPart& part, CellRef at) {
    const CellTable& t = part.table();
    std::int64_t ri = t.row_index(at.row);
    if (ri >= 0 && t.rows[static_cast<std::size_t>(ri)].styled)
        return t.rows[static_cast<std::size_t>(ri)].style;
    return part.column_style(at.col);
}

// The widest area a walk over every position may cover (the pane's range cut to the used range
// stays far below it).
constexpr std::int64_t kMaxPositions = 4'000'000;

}  // namespace

Result<FormatTable*> Book::formats() {
    if (!formats_) {
        auto table = std::make_shared<FormatTable>();
        if (auto r = table->load(*this); !r) return r.error();
        formats_ = std::move(table);
    }
    return formats_.get();
}

std::vector<std::string> Book::cell_style_names() {
    auto f = formats();
    return f ? (*f)->style_names() : std::vector<std::string>{};
}

CellFormat Sheet::cell_format(CellRef c) {
    if (!has_cells()) return {};
    auto p = part();
    auto f = book_.formats();
    if (!p || !f) return {};
    const Cell* cell = (*p)->table().find(c.row, c.col);
    return (*f)->read(cell ? cell->style : empty_cell_style(**p, c));
}

Result<void> Sheet::format_cells(const Area& area_in, bool blanks,
                                 const std::function<void(CellRef, CellFormat&)>& edit) {
    if (!has_cells()) return Error::failed("ワークシートではありません。");
    if (auto r = check(); !r) return r;
    auto p = part();
    if (!p) return p.error();
    auto ft = book_.formats();
    if (!ft) return ft.error();
    FormatTable& f = **ft;
    CellTable& t = (*p)->table();
    Area a = area_in;
    a.first_row = std::max(a.first_row, 1);
    a.first_col = std::max(a.first_col, 1);
    a.last_row = std::min(a.last_row, rows_count());
    a.last_col = std::min(a.last_col, columns_count());
    if (a.first_row > a.last_row || a.first_col > a.last_col) return {};

    std::vector<CellRef> cells;
    if (blanks) {
        std::int64_t n = static_cast<std::int64_t>(a.last_row - a.first_row + 1) *
                         (a.last_col - a.first_col + 1);
        if (n > kMaxPositions)
            return Error::make(Error::Code::Refused, "書式を設定する範囲が広すぎます（" +
                                                         format_address(a) + "）。");
        cells.reserve(static_cast<std::size_t>(n));
        for (std::int32_t r = a.first_row; r <= a.last_row; ++r)
            for (std::int32_t c = a.first_col; c <= a.last_col; ++c) cells.push_back({r, c});
    } else {
        for (const Row& row : t.rows) {
            if (row.r < a.first_row || row.r > a.last_row) continue;
            for (std::uint32_t i = row.first; i < row.last; ++i)
                if (t.cells[i].col >= a.first_col && t.cells[i].col <= a.last_col)
                    cells.push_back({row.r, t.cells[i].col});
        }
    }

    bool changed = false;
    for (CellRef at : cells) {
        const Cell* existing = t.find(at.row, at.col);
        std::uint32_t xf = existing ? existing->style : empty_cell_style(**p, at);
        CellFormat was = f.read(xf);
        CellFormat want = was;
        edit(at, want);
        if (want == was) continue;
        std::uint32_t nx = f.intern(xf, was, want);
        if (existing && nx == xf) continue;
        std::size_t before = t.cells.size();
        Cell& c = t.touch(at.row, at.col);
        if (t.cells.size() != before) by_columns_valid_ = false;
        c.style = nx;
        c.flags |= Cell::kDirty;
        changed = true;
    }
    bool stored = f.changed();
    if (stored) {
        f.store(book_);
        book_.formats_stored();
    }
    if (changed) (*p)->mark_dirty();
    if (changed || stored) book_.set_saved(false);
    return {};
}

std::vector<TextRun> Sheet::text_runs(CellRef at) {
    if (!has_cells()) return {};
    auto p = part();
    if (!p) return {};
    const Cell* c = (*p)->table().find(at.row, at.col);
    if (!c || c->has_formula()) return {};
    if (c->kind == CellKind::String) return {TextRun{(*p)->table().text(c->text), std::nullopt}};
    if (c->kind != CellKind::SharedString) return {};
    SharedStrings& sst = book_.shared_strings();
    auto index = static_cast<std::size_t>(c->number);
    std::string source = sst.entry_source(index);
    if (source.empty()) return {TextRun{sst.at(index), std::nullopt}};
    xml::Document doc;
    if (!xml::load(doc, source, "si")) return {TextRun{sst.at(index), std::nullopt}};
    auto ft = book_.formats();
    std::vector<TextRun> runs;
    auto text_of = [](pugi::xml_node t) {
        std::string s;
        for (pugi::xml_node n = t.first_child(); n; n = n.next_sibling())
            if (n.type() == pugi::node_pcdata || n.type() == pugi::node_cdata) s += n.value();
        return xml::decode_ooxml_escapes(s);
    };
    for (pugi::xml_node n = doc.root().first_child(); n; n = n.next_sibling()) {
        std::string_view local = xml::local_name(n.name());
        if (local == "t") {
            runs.push_back({text_of(n), std::nullopt});
        } else if (local == "r") {
            TextRun run{text_of(xml::child(n, "t")), std::nullopt};
            if (pugi::xml_node pr = xml::child(n, "rPr"); pr && ft) run.font = (*ft)->read_font(pr);
            runs.push_back(std::move(run));
        }
    }
    return runs;
}

Result<void> Sheet::set_text_runs(CellRef at, const std::vector<TextRun>& runs) {
    if (!has_cells()) return Error::failed("ワークシートではありません。");
    auto ft = book_.formats();
    if (!ft) return ft.error();
    SharedStrings& sst = book_.shared_strings();
    const std::string& px = sst.prefix();
    pugi::xml_document d;
    pugi::xml_node si = d.append_child((px + "si").c_str());
    std::string plain;
    for (const TextRun& run : runs) {
        plain += run.text;
        pugi::xml_node r = si.append_child((px + "r").c_str());
        if (run.font) {
            pugi::xml_node pr = r.append_child((px + "rPr").c_str());
            const FontFormat& w = *run.font;
            // Compared with a font that differs everywhere, so that every property is written.
            FontFormat none;
            none.name = "\x01";
            none.size = -1;
            none.bold = !w.bold;
            none.italic = !w.italic;
            none.strike = !w.strike;
            none.underline = w.underline.empty() ? "x" : "";
            none.vert_align = w.vert_align.empty() ? "x" : "";
            none.colour = w.colour == kAutomaticColour ? kAutomaticColour : kAutomaticColour - 9;
            (*ft)->write_font(pr, none, w);
        }
        pugi::xml_node t = r.append_child((px + "t").c_str());
        t.append_attribute("xml:space").set_value("preserve");
        t.text().set(xml::encode_ooxml_escapes(run.text).c_str());
    }
    std::string si_text;
    struct Writer : pugi::xml_writer {
        std::string* out;
        void write(const void* data, std::size_t size) override {
            out->append(static_cast<const char*>(data), size);
        }
    } writer;
    writer.out = &si_text;
    si.print(writer, "", pugi::format_raw);

    auto cell = prepare_change(at);
    if (!cell) return cell.error();
    Cell& c = **cell;
    if (c.formula_kind == FormulaKind::Array)
        return Error::make(Error::Code::Refused, "配列数式の一部は変更できません。");
    clear_value(c);
    c.formula_kind = FormulaKind::None;
    c.kind = CellKind::SharedString;
    c.number = sst.add_rich(plain, si_text);
    sst.add_references(1);
    book_.cells_changed();
    return {};
}

}  // namespace sheaflow::xl::native
