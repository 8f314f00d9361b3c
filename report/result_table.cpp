#include "report/result_table.h"

namespace sheaflow::report {

ResultTable::ResultTable(std::function<void(const std::string&)> on_full)
    : on_full_(std::move(on_full)) {}

void ResultTable::clear() {
    rows_.clear();
    titles_.clear();
    sources_.clear();
}

void ResultTable::new_row() {
    if (last_row() >= kLastRowLimit) {
        if (on_full_) on_full_(kFullMessage);
        return;
    }
    rows_.emplace_back();
    sources_.resize(rows_.size() - 1);
    sources_.push_back(source_);
}

const std::string& ResultTable::row_source(int row) const {
    static const std::string kEmpty;
    // Rows erased or moved by other means leave the folders out of step: none is known then.
    if (sources_.size() != rows_.size() || row < 0 || row >= static_cast<int>(rows_.size()))
        return kEmpty;
    return sources_[static_cast<std::size_t>(row)];
}

void ResultTable::set_row_source(int row, std::string folder) {
    if (row < 0 || row >= static_cast<int>(rows_.size())) return;
    sources_.resize(rows_.size());
    sources_[static_cast<std::size_t>(row)] = std::move(folder);
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
