#include "shell/param_file.h"

#include <algorithm>

#include "shell/params.h"
#include "util/text.h"

namespace sheaflow::shell {

std::vector<std::vector<std::string>> read_records(std::string_view text) {
    std::vector<std::vector<std::string>> records;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        std::string_view line = text.substr(
            start, end == std::string_view::npos ? std::string_view::npos : end - start);
        start = end == std::string_view::npos ? text.size() : end + 1;
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);

        std::vector<std::string> fields;
        std::string field;
        bool in_quotes = false;
        for (char c : line) {
            if (c == '"') in_quotes = !in_quotes;
            if (c == ',' && !in_quotes) {
                if (static_cast<int>(fields.size()) < kMaxFields)
                    fields.push_back(std::move(field));
                field.clear();
            } else {
                field += c;
            }
        }
        if (static_cast<int>(fields.size()) < kMaxFields) fields.push_back(std::move(field));
        for (std::string& f : fields)
            if (f.size() >= 2 && f.front() == '"' && f.back() == '"') f = f.substr(1, f.size() - 2);
        records.push_back(std::move(fields));
    }
    return records;
}

std::string reduce_quotes(std::string_view s) { return text::replace_all(s, "\"\"", "\""); }

std::vector<std::string> read_history(std::string_view text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start < text.size() && static_cast<int>(lines.size()) < kHistorySize) {
        std::size_t end = text.find('\n', start);
        std::string_view line = text.substr(
            start, end == std::string_view::npos ? std::string_view::npos : end - start);
        start = end == std::string_view::npos ? text.size() : end + 1;
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        lines.emplace_back(line);
    }
    lines.resize(kHistorySize);
    return lines;
}

std::vector<std::string> push_history(const std::vector<std::string>& history,
                                      const std::string& newest) {
    std::vector<std::string> out;
    out.reserve(kHistorySize);
    if (!newest.empty()) out.push_back(newest);
    for (const std::string& e : history) {
        if (static_cast<int>(out.size()) >= kHistorySize) break;
        if (e.empty() || e == newest) continue;
        // A hand-edited file may repeat an entry: the first (newer) copy stays.
        if (std::find(out.begin(), out.end(), e) != out.end()) continue;
        out.push_back(e);
    }
    out.resize(kHistorySize);
    return out;
}

std::string history_text(const std::vector<std::string>& history) {
    std::string out;
    for (const std::string& e : history)
        if (!e.empty()) out += e + "\r\n";
    return out;
}

std::string quoted(std::string_view value, bool numeric) {
    if (numeric) return std::string(value);
    std::string out = "\"";
    out += value;
    out += '"';
    return out;
}

bool decode(std::string_view bytes, std::string& text) {
    return text::decode_file_text(bytes, text);
}

std::string encode(std::string_view text) {
    std::string bytes = text::to_cp932(text);
    std::string back;
    if (text::from_cp932(bytes, back) && back == text) return bytes;
    return "\xEF\xBB\xBF" + std::string(text);
}

}  // namespace sheaflow::shell
