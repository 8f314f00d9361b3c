#include "report/record_store.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "util/text.h"

namespace sheaflow::report {
namespace {

const std::string kEmpty;

// Progress lines are shown once per this many records, not for every one: a callback per record
// would cost more than the work it reports.
constexpr std::int64_t kProgressEvery = 1000;

std::string counted(const char* word, std::int64_t n) {
    return std::string(word) + " " + text::group_thousands(n);
}

std::string six_digits(std::int64_t n) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%6lld", static_cast<long long>(n));
    return buf;
}

}  // namespace

const std::string& RecordStore::Record::key(int k) const {
    return k >= 0 && static_cast<std::size_t>(k) < keys.size() ? keys[static_cast<std::size_t>(k)]
                                                               : kEmpty;
}

const std::string& RecordStore::Record::field(std::size_t i) const {
    return i < detail.size() ? detail[i] : kEmpty;
}

void RecordStore::reset() {
    blocks_.clear();
    count_ = -1;
    used_keys_ = 1;
    any_key_ = false;
    show_progress_ = false;
    progress_shown_ = false;
}

void RecordStore::progress(const std::string& text) {
    if (progress_) progress_(text);
}

void RecordStore::add(std::vector<std::string> keys, std::vector<std::string> detail) {
    ++count_;
    const auto block = static_cast<std::size_t>(count_ / kBlock);
    const int slot = count_ % kBlock;
    if (slot == 0) blocks_.push_back(std::make_unique<Block>());
    while (!keys.empty() && keys.back().empty()) keys.pop_back();
    if (keys.size() > static_cast<std::size_t>(kKeys)) keys.resize(kKeys);
    if (!keys.empty()) used_keys_ = std::max(used_keys_, static_cast<int>(keys.size()));
    Block& b = *blocks_[block];
    b.last_slot = slot;
    b.records[static_cast<std::size_t>(slot)] = Record{std::move(keys), std::move(detail), source_};
    if (show_progress_ && (count_ % kProgressEvery == 0)) {
        progress_shown_ = true;
        progress(counted("読込中", count_ + 1));
    }
}

void RecordStore::add_keys(const Keys& keys, std::vector<std::string> detail) {
    add(std::vector<std::string>(keys.begin(), keys.end()), std::move(detail));
}

const RecordStore::Record& RecordStore::record(std::int32_t i) const {
    return blocks_[static_cast<std::size_t>(i / kBlock)]
        ->records[static_cast<std::size_t>(i % kBlock)];
}

void RecordStore::sort() {
    if (count_ < 0) return;
    const std::size_t n = size();
    const int used = used_keys_;

    // The first keys are held in the sort entries themselves, so that most comparisons read the
    // characters directly instead of going through the record and its key list.
    struct Entry {
        std::array<std::string_view, 3> head;
        Record* rec;
    };
    auto less = [used](const Entry& a, const Entry& b) {
        const int inline_keys = std::min(used, 3);
        for (int k = 0; k < inline_keys; ++k) {
            const int c =
                a.head[static_cast<std::size_t>(k)].compare(b.head[static_cast<std::size_t>(k)]);
            if (c != 0) return c < 0;
        }
        for (int k = 3; k < used; ++k) {
            const int c = a.rec->key(k).compare(b.rec->key(k));
            if (c != 0) return c < 0;
        }
        return false;
    };

    // Work area 1: the records in their blocks, sorted block by block.
    std::vector<Entry> order;
    order.reserve(n);
    for (std::size_t i = 0; i < n; ++i) {
        Record* r = &blocks_[i / kBlock]->records[i % kBlock];
        order.push_back(Entry{{r->key(0), r->key(1), r->key(2)}, r});
    }
    for (std::size_t b = 0; b * kBlock < n; ++b) {
        auto first = order.begin() + static_cast<std::ptrdiff_t>(b * kBlock);
        auto last = order.begin() + static_cast<std::ptrdiff_t>(std::min(n, (b + 1) * kBlock));
        std::stable_sort(first, last, less);
        if (b % kProgressEvery == 0)
            progress(counted("ソート中", static_cast<std::int64_t>(b * kBlock)));
    }
    progress(counted("読込完了", static_cast<std::int64_t>(n)));

    // Work area 2: the sorted runs merged pairwise, doubling their length, until one is left.
    std::vector<Entry> merged(n);
    std::int64_t in = 0, out = 0;
    for (std::size_t width = kBlock; width < n; width *= 2) {
        progress(counted("マージ中", static_cast<std::int64_t>(width)));
        in = out = 0;
        for (std::size_t lo = 0; lo < n; lo += 2 * width) {
            const std::size_t mid = std::min(n, lo + width);
            const std::size_t hi = std::min(n, lo + 2 * width);
            auto o = std::merge(order.begin() + static_cast<std::ptrdiff_t>(lo),
                                order.begin() + static_cast<std::ptrdiff_t>(mid),
                                order.begin() + static_cast<std::ptrdiff_t>(mid),
                                order.begin() + static_cast<std::ptrdiff_t>(hi),
                                merged.begin() + static_cast<std::ptrdiff_t>(lo), less);
            in += static_cast<std::int64_t>(hi - lo);
            out += o - (merged.begin() + static_cast<std::ptrdiff_t>(lo));
        }
        order.swap(merged);
        if (in != out && message_) {
            message_("入力件数と出力件数が合いません。\r\nQ_MmSort / IN " + six_digits(in) +
                     "  OUT " + six_digits(out));
        }
    }
    progress(counted("マージ完了", static_cast<std::int64_t>(n)));

    // Work area 3: the records moved into new blocks in sorted order.
    std::vector<std::unique_ptr<Block>> sorted;
    sorted.reserve(blocks_.size());
    for (std::size_t i = 0; i < n; ++i) {
        if (i % kBlock == 0) sorted.push_back(std::make_unique<Block>());
        Block& b = *sorted.back();
        b.records[i % kBlock] = std::move(*order[i].rec);
        b.last_slot = static_cast<int>(i % kBlock);
    }
    progress(counted("ソート完了", static_cast<std::int64_t>(n)));
    progress("メモリ領域①　解放中");
    std::vector<Entry>().swap(order);
    progress("メモリ領域②　解放中");
    std::vector<Entry>().swap(merged);
    progress("メモリ領域③　解放中");
    blocks_.swap(sorted);
    sorted.clear();
    progress("メモリ領域　解放完了");
}

}  // namespace sheaflow::report
