#pragma once
// The record store of a list operation: the findings of a run, each with up to ten sort keys and
// the operation's detail fields, kept in blocks of a hundred records, and sorted by all keys in
// use with a stable block sort and merge.

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace sheaflow::report {

class RecordStore {
public:
    static constexpr int kBlock = 100;
    static constexpr int kKeys = 10;
    using Keys = std::array<std::string, kKeys>;

    struct Record {
        std::vector<std::string> keys;    // keys 0.. up to the last non-empty one
        std::vector<std::string> detail;  // the operation's detail fields
        std::string source;               // the folder of the workbook it was found in
        // Key k ("" when not given).
        const std::string& key(int k) const;
        // Detail field i ("" when not given).
        const std::string& field(std::size_t i) const;
    };

    // Progress texts ("読込中 1,234", "ソート中"...) and message boxes (a count mismatch of the
    // merge) go to these; both may be left empty.
    using Text = std::function<void(const std::string&)>;

    RecordStore() = default;
    RecordStore(const RecordStore&) = delete;
    RecordStore& operator=(const RecordStore&) = delete;

    // The reset of every Excel_<op>_First: no records, no keys in use, flags cleared.
    void reset();
    // Adds one finding: its keys (up to kKeys; those after the last non-empty one are not
    // stored) and its detail fields.
    void add(std::vector<std::string> keys, std::vector<std::string> detail);
    // The same from a full array of keys, as an operation fills it key by key.
    void add_keys(const Keys& keys, std::vector<std::string> detail);
    // The folder of the workbook whose findings are now added (set by the run driver).
    void set_source(std::string folder) { source_ = std::move(folder); }

    // The last record index, -1 when the store is empty.
    std::int32_t count() const { return count_; }
    std::size_t size() const { return static_cast<std::size_t>(count_ + 1); }
    bool empty() const { return count_ < 0; }
    // The number of keys the sort compares: the highest key index that received a non-empty
    // string, plus one (1 when no key was ever given).
    int used_keys() const { return used_keys_; }
    const Record& record(std::int32_t i) const;
    // Blocks allocated, and the last slot used in a block.
    std::size_t blocks() const { return blocks_.size(); }
    int last_slot(std::size_t block) const { return blocks_[block]->last_slot; }

    // Orders the records by key 0, then key 1, ... up to used_keys(); records with equal keys
    // keep the order in which they were added. An empty store is left as it is.
    void sort();

    void set_show_progress(bool on) { show_progress_ = on; }
    bool progress_shown() const { return progress_shown_; }
    void set_progress(Text progress) { progress_ = std::move(progress); }
    void set_message(Text message) { message_ = std::move(message); }

private:
    struct Block {
        std::array<Record, kBlock> records;
        int last_slot = -1;
    };

    void progress(const std::string& text);

    std::vector<std::unique_ptr<Block>> blocks_;
    std::int32_t count_ = -1;
    std::string source_;
    int used_keys_ = 1;
    bool any_key_ = false;
    bool show_progress_ = false;
    bool progress_shown_ = false;
    Text progress_;
    Text message_;
};

}  // namespace sheaflow::report
