#include "xl/native/cell_table.h"

#include <algorithm>

#include "xl/native/formula.h"

namespace sheaflow::xl::native {

std::int64_t CellTable::row_index(std::int32_t r) const {
    auto it = std::lower_bound(rows.begin(), rows.end(), r,
                               [](const Row& row, std::int32_t v) { return row.r < v; });
    if (it == rows.end() || it->r != r) return -1;
    return it - rows.begin();
}

const Cell* CellTable::find(std::int32_t r, std::int32_t c) const {
    std::int64_t ri = row_index(r);
    if (ri < 0) return nullptr;
    const Row& row = rows[static_cast<std::size_t>(ri)];
    auto b = cells.begin() + row.first, e = cells.begin() + row.last;
    auto it =
        std::lower_bound(b, e, c, [](const Cell& cell, std::int32_t v) { return cell.col < v; });
    if (it == e || it->col != c) return nullptr;
    return &*it;
}

Cell* CellTable::find(std::int32_t r, std::int32_t c) {
    return const_cast<Cell*>(static_cast<const CellTable*>(this)->find(r, c));
}

Cell& CellTable::touch(std::int32_t r, std::int32_t c) {
    auto rit = std::lower_bound(rows.begin(), rows.end(), r,
                                [](const Row& row, std::int32_t v) { return row.r < v; });
    if (rit == rows.end() || rit->r != r) {
        Row row;
        row.r = r;
        row.first = row.last =
            rit == rows.end() ? static_cast<std::uint32_t>(cells.size()) : rit->first;
        rit = rows.insert(rit, row);
    }
    rit->dirty = true;
    auto b = cells.begin() + rit->first, e = cells.begin() + rit->last;
    auto it =
        std::lower_bound(b, e, c, [](const Cell& cell, std::int32_t v) { return cell.col < v; });
    if (it != e && it->col == c) return *it;
    std::size_t pos = static_cast<std::size_t>(it - cells.begin());
    Cell fresh;
    fresh.col = c;
    fresh.flags = Cell::kDirty;
    cells.insert(cells.begin() + static_cast<std::ptrdiff_t>(pos), fresh);
    rit->last += 1;
    for (auto later = rit + 1; later != rows.end(); ++later) {
        later->first += 1;
        later->last += 1;
    }
    return cells[pos];
}

std::uint32_t CellTable::add_text(std::string s) {
    pool.push_back(std::move(s));
    return static_cast<std::uint32_t>(pool.size() - 1);
}

std::string CellTable::formula_text(std::int32_t r, const Cell& c) const {
    switch (c.formula_kind) {
        case FormulaKind::Normal:
        case FormulaKind::SharedMaster:
        case FormulaKind::Array:
            return pool[c.formula];
        case FormulaKind::SharedChild: {
            auto it = shared.find(c.formula);
            if (it == shared.end()) return {};
            return formula::shift(pool[it->second.text], r - it->second.row,
                                  c.col - it->second.col);
        }
        default:
            return {};
    }
}

}  // namespace sheaflow::xl::native
