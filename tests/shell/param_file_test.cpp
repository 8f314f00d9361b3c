// The record reader, the history rules and the file encoding of the parameter files.
#include "shell/param_file.h"

#include <gtest/gtest.h>

#include "shell/params.h"

namespace sheaflow::shell {
namespace {

std::vector<std::string> hist(std::initializer_list<const char*> entries) {
    std::vector<std::string> h(entries.begin(), entries.end());
    h.resize(kHistorySize);
    return h;
}

TEST(History, PushFollowsTheRules) {
    struct Case {
        const char* what;
        std::vector<std::string> before;
        std::string newest;
        std::vector<std::string> after;
    };
    const Case cases[] = {
        {"a value used again moves to the top", hist({"A", "B", "C"}), "B", hist({"B", "A", "C"})},
        {"a new value goes first", hist({"A", "B"}), "N", hist({"N", "A", "B"})},
        {"an empty newest keeps the old entries, closed up", hist({"A", "", "B"}), "",
         hist({"A", "B"})},
        {"every copy of the newest value goes", hist({"A", "X", "B", "X"}), "X",
         hist({"X", "A", "B"})},
        {"a repeated old entry keeps its first copy", hist({"A", "B", "A"}), "C",
         hist({"C", "A", "B"})},
    };
    for (const Case& c : cases) EXPECT_EQ(push_history(c.before, c.newest), c.after) << c.what;
}

TEST(History, FortyFirstEntryDropsTheOldest) {
    std::vector<std::string> h;
    for (int i = 0; i < kHistorySize; ++i) h.push_back("v" + std::to_string(i));
    auto after = push_history(h, "new");
    ASSERT_EQ(after.size(), static_cast<std::size_t>(kHistorySize));
    EXPECT_EQ(after.front(), "new");
    EXPECT_EQ(after[1], "v0");
    EXPECT_EQ(after.back(), "v38");
    std::string text = history_text(after);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), kHistorySize);
}

TEST(History, FileTextHasNoEmptyLines) {
    EXPECT_EQ(history_text(hist({"A", "", "B"})), "A\r\nB\r\n");
    EXPECT_EQ(history_text(hist({})), "");
}

TEST(History, ReadPadsAndIgnoresLinesPastTheFortieth) {
    std::string text;
    for (int i = 0; i < 45; ++i) text += "e" + std::to_string(i) + "\r\n";
    auto h = read_history(text);
    ASSERT_EQ(h.size(), static_cast<std::size_t>(kHistorySize));
    EXPECT_EQ(h.front(), "e0");
    EXPECT_EQ(h.back(), "e39");

    auto short_one = read_history("x\r\ny,z\r\n");
    EXPECT_EQ(short_one[0], "x");
    EXPECT_EQ(short_one[1], "y,z") << "history lines are not split at commas";
    EXPECT_EQ(short_one[2], "");
    EXPECT_EQ(short_one.size(), static_cast<std::size_t>(kHistorySize));
}

TEST(Records, FieldsSplitAtCommasOutsideQuotes) {
    auto r = read_records("\"a,b\",c\r\nplain,text\r\n\"\"\r\n\r\n\"ab\"c\"\r\n\"\r\n");
    ASSERT_EQ(r.size(), 6u);
    EXPECT_EQ(r[0], (std::vector<std::string>{"a,b", "c"}));
    EXPECT_EQ(r[1], (std::vector<std::string>{"plain", "text"}));
    EXPECT_EQ(r[2], (std::vector<std::string>{""}));
    EXPECT_EQ(r[3], (std::vector<std::string>{""}));
    EXPECT_EQ(r[4][0], "ab\"c") << "quotes inside a written value are kept";
    EXPECT_EQ(r[5][0], "\"") << "a lone quote is not both ends of a field";
}

TEST(Records, AcceptLineFeedOnlyAndStopAt256Fields) {
    auto r = read_records("1\n2");
    ASSERT_EQ(r.size(), 2u);
    EXPECT_EQ(r[1][0], "2");
    std::string wide;
    for (int i = 0; i < 300; ++i) wide += (i ? "," : "") + std::to_string(i);
    auto w = read_records(wide);
    ASSERT_EQ(w[0].size(), static_cast<std::size_t>(kMaxFields));
    EXPECT_EQ(w[0].back(), "255");
}

TEST(Records, ReduceQuotes) {
    EXPECT_EQ(reduce_quotes("a\"\"b\"\"\"\"c"), "a\"b\"\"c");
    EXPECT_EQ(reduce_quotes("a\"b"), "a\"b");
}

TEST(Encoding, CodePage932WhenPossibleElseUtf8WithMark) {
    EXPECT_EQ(encode("置換～ｶﾅ"), "\x92\x75\x8A\xB7\x81\x60\xB6\xC5");
    std::string back;
    ASSERT_TRUE(decode(encode("置換～ｶﾅ"), back));
    EXPECT_EQ(back, "置換～ｶﾅ");

    // U+301C WAVE DASH has no code in code page 932: the file is written in UTF-8 instead of
    // losing the character.
    std::string bytes = encode("a〜b");
    EXPECT_EQ(bytes.substr(0, 3), "\xEF\xBB\xBF");
    ASSERT_TRUE(decode(bytes, back));
    EXPECT_EQ(back, "a〜b");
}

}  // namespace
}  // namespace sheaflow::shell
