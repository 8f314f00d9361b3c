#include "report/result_table.h"

#include <cstdint>

namespace sheaflow::report {

ResultTable::ResultTable(std::function<void(const std::string&)> on_full)
    : on_full_(std::move(on_full)) {}

void ResultTable::clear() {
    handed_on_ = 0;
    rows_.clear();
    titles_.clear();
    sources_.clear();
    pictures_.clear();
}

void ResultTable::finish_stream() {
    if (!sink_ || rows_.empty()) return;
    sources_.resize(rows_.size());
    for (std::size_t i = 0; i < rows_.size(); ++i) sink_(titles_, std::move(rows_[i]), sources_[i]);
    handed_on_ += static_cast<int>(rows_.size());
    rows_.clear();
    sources_.clear();
    pictures_.clear();
}

void ResultTable::new_row() {
    if (sink_) {
        finish_stream();
        rows_.emplace_back();
        sources_.push_back(source_);
        return;
    }
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
    row -= handed_on_;
    if (sources_.size() != rows_.size() || row < 0 || row >= static_cast<int>(rows_.size()))
        return kEmpty;
    return sources_[static_cast<std::size_t>(row)];
}

void ResultTable::set_row_source(int row, std::string folder) {
    row -= handed_on_;
    if (row < 0 || row >= static_cast<int>(rows_.size())) return;
    sources_.resize(rows_.size());
    sources_[static_cast<std::size_t>(row)] = std::move(folder);
}

void ResultTable::set_picture(std::shared_ptr<const std::string> png) {
    if (rows_.empty()) return;
    pictures_.resize(rows_.size());
    pictures_.back() = std::move(png);
}

const std::string* ResultTable::picture(int row) const {
    row -= handed_on_;
    if (row < 0 || row >= static_cast<int>(pictures_.size()) || row >= static_cast<int>(rows_.size()))
        return nullptr;
    return pictures_[static_cast<std::size_t>(row)].get();
}

std::optional<std::pair<int, int>> png_size(std::string_view png) {
    // The signature, then the IHDR chunk: length, type, width and height (big-endian).
    if (png.size() < 24 || png.substr(0, 8) != "\x89PNG\r\n\x1a\n" || png.substr(12, 4) != "IHDR")
        return std::nullopt;
    auto number = [&](std::size_t at) {
        std::uint32_t v = 0;
        for (std::size_t i = 0; i < 4; ++i) v = (v << 8) | static_cast<unsigned char>(png[at + i]);
        return v;
    };
    const std::uint32_t w = number(16), h = number(20);
    if (w == 0 || h == 0 || w > 1u << 20 || h > 1u << 20) return std::nullopt;
    return std::pair<int, int>(static_cast<int>(w), static_cast<int>(h));
}

void ResultTable::set(int col, std::string text) {
    if (rows_.empty() || col < 0 || col >= kColumns) return;
    Row& row = rows_.back();
    if (static_cast<int>(row.size()) <= col) row.resize(static_cast<std::size_t>(col) + 1);
    row[static_cast<std::size_t>(col)] = std::move(text);
}

const std::string& ResultTable::cell(int row, int col) const {
    static const std::string kEmpty;
    row -= handed_on_;
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
    row -= handed_on_;
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
