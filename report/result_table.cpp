#include "report/result_table.h"

namespace sheaflow::report {

ResultTable::ResultTable(std::function<void(const std::string&)> on_full)
    : on_full_(std::move(on_full)) {}

void ResultTable::clear() {
    rows_.clear();
    titles_.clear();
}

void ResultTable::new_row() {
    if (last_row() >= kLastRowLimit && on_full_)
        on_full_("チェックメッセージが３万行を超えました。\r\nこの後、強制終了します。");
    rows_.emplace_back();
}

void ResultTable::set(int col, std::string text) {
    if (rows_.empty() || col < 0 || col >= kColumns) return;
    Row& row = rows_.back();
    if (static_cast<int>(row.size()) <= col) row.resize(static_cast<std::size_t>(col) + 1);
    row[static_cast<std::size_t>(col)] = std::move(text);
}

void ResultTable::set_title(int col, std::string text) {
    if (col < 0 || col >= kColumns) return;
    if (static_cast<int>(titles_.size()) <= col) titles_.resize(static_cast<std::size_t>(col) + 1);
    titles_[static_cast<std::size_t>(col)] = std::move(text);
}

}  // namespace sheaflow::report
