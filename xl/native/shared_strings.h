#pragma once
// "xl/sharedStrings.xml": the workbook's string table. Cells refer to strings by index, so
// existing entries never move; new strings are appended and the part is written as the original
// text with the new entries added before its end tag.

#include <cstdint>
#include <deque>
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

    // Appends a rich-text entry: `plain` is its text, `si` the whole <si> element written with
    // prefix(). Equal entries appended before are reused; plain interning never returns one.
    std::uint32_t add_rich(std::string_view plain, const std::string& si);
    // The <si> element of an entry as the part holds it ("" for an appended plain entry).
    std::string entry_source(std::size_t index) const;
    const std::string& prefix() const { return prefix_; }
    bool is_rich(std::size_t index) const { return rich_.count(static_cast<std::uint32_t>(index)); }

    // Entries read from the part (the rest were appended since).
    std::size_t original_size() const { return original_size_; }
    // Gives an entry read from the part a new text. Only for an entry no cell refers to any
    // more with its old text (the engine folds "every cell of entry i now uses appended entry
    // j" back into entry i, so that those cells stay as written).
    void set_text(std::uint32_t index, const std::string& text);
    // Drops appended entries; `keep[k]` tells whether appended entry original_size() + k stays.
    // Returns the new index of every appended entry (unchanged for those read from the part).
    std::vector<std::uint32_t> compact_appended(const std::vector<bool>& keep);

private:
    std::string entry_xml(const std::string& text) const;

    std::string source_;             // the part as read ("" for a new table)
    std::deque<std::string> items_;  // a deque: entries never move, so views of them stay valid
    std::vector<std::pair<std::uint32_t, std::uint32_t>> spans_;  // <si> of each read entry
    std::vector<bool> replaced_;                                  // read entries given a new text
    std::size_t original_size_ = 0;
    std::unique_ptr<std::unordered_map<std::string_view, std::uint32_t>> lookup_;
    std::unordered_map<std::uint32_t, std::string> rich_;  // appended rich entries: <si>
    std::int64_t count_delta_ = 0;
    bool dirty_ = false;
    // Where the root element's start tag lies and where its end tag starts.
    std::size_t root_begin_ = 0, root_end_ = 0, close_pos_ = 0;
    bool root_self_closing_ = false;
    std::string prefix_;  // namespace prefix of the root element ("x:" or "")
};

}  // namespace sheaflow::xl::native
