#include "report/records.h"

#include <algorithm>
#include <cstdio>

#include "report/folders.h"

namespace sheaflow::report {
namespace {

bool blank(const ResultTable::Row& row) {
    return std::all_of(row.begin(), row.end(), [](const std::string& c) { return c.empty(); });
}

int first_set(const ResultTable::Row& row) {
    for (std::size_t c = 0; c < row.size(); ++c)
        if (!row[c].empty()) return static_cast<int>(c);
    return static_cast<int>(row.size());
}

int last_set(const ResultTable::Row& row) {
    for (std::size_t c = row.size(); c-- > 0;)
        if (!row[c].empty()) return static_cast<int>(c);
    return -1;
}

void append_json_string(const std::string& s, std::string& out) {
    out += '"';
    for (char c : s) {
        const auto u = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\r') {
            out += "\\r";
        } else if (c == '\t') {
            out += "\\t";
        } else if (u < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", u);
            out += buf;
        } else {
            out += c;
        }
    }
    out += '"';
}

}  // namespace

RecordStream::RecordStream(Write write) : write_(std::move(write)) {}

void RecordStream::push(const ResultTable::Row& titles, ResultTable::Row row,
                        std::optional<std::string> folder) {
    columns_ = std::max({columns_, last_set(titles) + 1, last_set(row) + 1});
    if (pending_) settle(titles, &row);
    if (blank(row)) {
        std::fill(carried_.begin(), carried_.end(), std::string());
        return;
    }
    pending_ = std::move(row);
    pending_folder_ = std::move(folder);
}

void RecordStream::finish(const ResultTable::Row& titles) {
    if (pending_) settle(titles, nullptr);
}

// Writes the pending row unless the row after it shows it to be a heading.
void RecordStream::settle(const ResultTable::Row& titles, const ResultTable::Row* next) {
    ResultTable::Row row = std::move(*pending_);
    pending_.reset();
    carried_.resize(static_cast<std::size_t>(columns_));
    for (int c = first_set(row); c < columns_; ++c)
        carried_[static_cast<std::size_t>(c)] =
            c < static_cast<int>(row.size()) ? row[static_cast<std::size_t>(c)] : std::string();
    if (next && !blank(*next) && first_set(*next) > last_set(row)) return;
    std::string out = "{";
    for (int c = 0; c < columns_; ++c) {
        if (c > 0) out += ',';
        const std::string title =
            c < static_cast<int>(titles.size()) ? titles[static_cast<std::size_t>(c)] : "";
        append_json_string(title.empty() ? "列" + std::to_string(c + 1) : title, out);
        out += ':';
        append_json_string(carried_[static_cast<std::size_t>(c)], out);
    }
    if (pending_folder_) {
        out += ',';
        append_json_string(kFolderTitle, out);
        out += ':';
        append_json_string(*pending_folder_, out);
    }
    out += "}\n";
    write_(out);
}

}  // namespace sheaflow::report
