#include "report/result_table.h"

namespace sheaflow::report {

ResultTable::ResultTable(std::function<void(const std::string&)> on_full)
    : on_full_(std::move(on_full)) {}

void ResultTable::clear() {
    rows_.clear();
    titles_.clear();
}

void ResultTable::new_row() {
    if (last_row() >= kLastRowLimit) {
        if (on_full_) on_full_(kFullMessage);
        return;
    }
    rows_.emplace_back();
}

void ResultTable::set(int col, std::string text) {
    if (rows_.empty() || col < 0 || col >= kColumns) return;
    Row& row = rows_.back();
    if (static_cast<int>(row.size()) <= col) row.resize(static_cast<std::size_t>(col) + 1);
    row[static_cast<std::size_t>(col)] = std::move(text);
}

const std::string& ResultTable::cell(int row, int col) const {
    static const std::string kEmpty;
    if (row < 0 || row >= static_cast<int>(rows_.size()) || col < 0) return kEmpty;
    const Row& r = rows_[static_cast<std::size_t>(row)];
    return col < static_cast<int>(r.size()) ? r[static_cast<std::size_t>(col)] : kEmpty;
}

const std::string& ResultTable::title(int col) const {
    static const std::string kEmpty;
    return col >= 0 && col < static_cast<int>(titles_.size())
               ? titles_[static_cast<std::size_t>(col)]
               : kEmpty;
}

void ResultTable::set_cell(int row, int col, std::string text) {
    if (row < 0 || row >= static_cast<int>(rows_.size()) || col < 0 || col >= kColumns) return;
    Row& r = rows_[static_cast<std::size_t>(row)];
    if (static_cast<int>(r.size()) <= col) r.resize(static_cast<std::size_t>(col) + 1);
    r[static_cast<std::size_t>(col)] = std::move(text);
}

void ResultTable::set_title(int col, std::string text) {
    if (col < 0 || col >= kColumns) return;
    if (static_cast<int>(titles_.size()) <= col) titles_.resize(static_cast<std::size_t>(col) + 1);
    titles_[static_cast<std::size_t>(col)] = std::move(text);
}

}  // namespace sheaflow::report
