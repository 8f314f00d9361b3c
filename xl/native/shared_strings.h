#pragma once
// "xl/sharedStrings.xml": the workbook's string table. Cells refer to strings by index, so
// existing entries never move; new strings are appended and the part is written as the original
// text with the new entries added before its end tag.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "util/result.h"

namespace sheaflow::xl::native {

class SharedStrings {
public:
    // Reads the table; rich text gives its plain text (phonetic runs left out).
    Result<void> parse(std::string xml, const std::string& part_name);

    std::size_t size() const { return items_.size(); }
    // Plain text of an entry; "" for an index out of range.
    const std::string& at(std::size_t index) const;
    // Index of an entry with exactly this text, appending one when there is none.
    std::uint32_t intern(std::string_view text);
    // Cells referring to the table were added (positive) or removed (negative).
    void add_references(std::int64_t delta) {
        count_delta_ += delta;
        if (delta) dirty_ = true;
    }
    bool dirty() const { return dirty_; }
    std::string serialize() const;

private:
    std::string source_;  // the part as read ("" for a new table)
    std::vector<std::string> items_;
    std::size_t original_size_ = 0;
    std::unique_ptr<std::unordered_map<std::string, std::uint32_t>> lookup_;
    std::int64_t count_delta_ = 0;
    bool dirty_ = false;
    // Where the root element's start tag lies and where its end tag starts.
    std::size_t root_begin_ = 0, root_end_ = 0, close_pos_ = 0;
    bool root_self_closing_ = false;
    std::string prefix_;  // namespace prefix of the root element ("x:" or "")
};

}  // namespace sheaflow::xl::native
