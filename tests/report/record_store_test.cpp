// The record store: blocks of a hundred, the keys in use, and the stable sort by all of them.
#include "report/record_store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace sheaflow::report {
namespace {

TEST(RecordStore, GrowsByBlocksOfAHundred) {
    RecordStore s;
    EXPECT_EQ(s.count(), -1);
    EXPECT_TRUE(s.empty());
    for (int i = 0; i < 100; ++i) s.add(std::vector<std::string>{std::to_string(i)}, {});
    EXPECT_EQ(s.blocks(), 1u);
    EXPECT_EQ(s.last_slot(0), 99);
    s.add(std::vector<std::string>{"x"}, {"d"});
    EXPECT_EQ(s.count(), 100);
    EXPECT_EQ(s.blocks(), 2u);
    EXPECT_EQ(s.last_slot(1), 0);
    EXPECT_EQ(s.record(100).field(0), "d");
    s.reset();
    EXPECT_EQ(s.count(), -1);
    EXPECT_EQ(s.blocks(), 0u);
    EXPECT_EQ(s.used_keys(), 1);
}

TEST(RecordStore, UsedKeysIsTheHighestNonEmptyKeyOverAllRecords) {
    RecordStore s;
    RecordStore::Keys k;
    k[0] = "a";
    s.add_keys(k, {});
    EXPECT_EQ(s.used_keys(), 1);
    k[4] = "e";
    s.add_keys(k, {});
    EXPECT_EQ(s.used_keys(), 5);
    RecordStore::Keys gap;
    gap[2] = "c";  // keys 0 and 1 empty
    s.add_keys(gap, {});
    EXPECT_EQ(s.used_keys(), 5);
    EXPECT_EQ(s.record(2).key(0), "");
    EXPECT_EQ(s.record(2).key(2), "c");
    EXPECT_EQ(s.record(2).key(9), "");
}

TEST(RecordStore, SortsByEveryUsedKeyAndKeepsEqualRecordsInOrder) {
    RecordStore s;
    s.add(std::vector<std::string>{"b", "2"}, {"first b2"});
    s.add(std::vector<std::string>{"a", "9"}, {"a9"});
    s.add(std::vector<std::string>{"b", "1"}, {"b1"});
    s.add(std::vector<std::string>{"b", "2"}, {"second b2"});
    s.add(std::vector<std::string>{"B", "5"}, {"B5"});
    s.add(std::vector<std::string>{"", "0"}, {"empty"});
    s.add(std::vector<std::string>{"b"}, {"b without key 1"});
    s.sort();
    std::vector<std::string> got;
    for (std::int32_t i = 0; i <= s.count(); ++i) got.push_back(s.record(i).field(0));
    EXPECT_EQ(got, (std::vector<std::string>{"empty", "B5", "a9", "b without key 1", "b1",
                                             "first b2", "second b2"}));
}

TEST(RecordStore, SortAcrossManyBlocksMatchesAStableSort) {
    // Enough records for several merge passes, with many equal keys, so that a merge that takes
    // from the wrong run or loses records shows.
    std::mt19937 rng(42);
    RecordStore s;
    std::vector<std::pair<std::string, int>> expected;
    const int n = 12345;
    for (int i = 0; i < n; ++i) {
        std::string k = std::to_string(rng() % 50);
        s.add(std::vector<std::string>{k}, {std::to_string(i)});
        expected.emplace_back(k, i);
    }
    std::vector<std::string> texts;
    s.set_progress([&](const std::string& t) { texts.push_back(t); });
    std::vector<std::string> messages;
    s.set_message([&](const std::string& m) { messages.push_back(m); });
    s.sort();
    std::stable_sort(expected.begin(), expected.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    ASSERT_EQ(s.count(), n - 1);
    for (int i = 0; i < n; ++i) {
        ASSERT_EQ(s.record(i).key(0), expected[static_cast<std::size_t>(i)].first) << i;
        ASSERT_EQ(s.record(i).field(0),
                  std::to_string(expected[static_cast<std::size_t>(i)].second))
            << i;
    }
    EXPECT_TRUE(messages.empty());
    ASSERT_FALSE(texts.empty());
    EXPECT_NE(std::find(texts.begin(), texts.end(), "ソート完了 12,345"), texts.end());
    EXPECT_EQ(texts.back(), "メモリ領域　解放完了");
    EXPECT_EQ(s.last_slot(s.blocks() - 1), (n - 1) % 100);
}

TEST(RecordStore, SortOfAnEmptyStoreDoesNothing) {
    RecordStore s;
    int calls = 0;
    s.set_progress([&](const std::string&) { ++calls; });
    s.sort();
    EXPECT_EQ(s.count(), -1);
    EXPECT_EQ(calls, 0);
}

TEST(RecordStore, ShowsReadingProgressOnlyWhenAsked) {
    RecordStore s;
    std::vector<std::string> texts;
    s.set_progress([&](const std::string& t) { texts.push_back(t); });
    s.add(std::vector<std::string>{"a"}, {});
    EXPECT_TRUE(texts.empty());
    EXPECT_FALSE(s.progress_shown());
    s.set_show_progress(true);
    for (int i = 0; i < 2000; ++i) s.add(std::vector<std::string>{"a"}, {});
    EXPECT_TRUE(s.progress_shown());
    ASSERT_FALSE(texts.empty());
    EXPECT_EQ(texts.back(), "読込中 2,001");
}

}  // namespace
}  // namespace sheaflow::report
