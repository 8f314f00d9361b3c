// Find, FindNext and Replace with the application's semantics: where the search starts and how
// it wraps, the two orders and directions, kept settings, LookIn, LookAt, MatchCase, MatchByte,
// wildcards, and what Replace does to numbers, dates, formulas and shared strings.

#include <gtest/gtest.h>

#include <functional>

#include "engine_helpers.h"
#include "xl/native/engine.h"
#include "xl/native/find.h"

namespace sheaflow::xl::native {
namespace {

std::string fixture(const std::string& name) {
    return std::string(SHEAFLOW_TEST_DATA_DIR) + "/engine/" + name;
}

class EngineFind : public ::testing::Test {
protected:
    void SetUp() override {
        app_ = create_application();
        auto b = app_->workbooks().add();
        ASSERT_TRUE(b);
        ws_ = (*b)->worksheet(1);
    }
    void put(const char* address, const std::string& typed) {
        ASSERT_TRUE(ws_->range(address)->set_value(typed));
    }
    // Addresses found by Find then FindNext until the first comes round again.
    std::vector<std::string> walk(const Range& r, const FindOptions& o) {
        std::vector<std::string> out;
        auto hit = r.find(o);
        if (!hit) return out;
        std::string first = hit->address(false, false);
        while (hit && out.size() < 20) {
            out.push_back(hit->address(false, false));
            hit = r.find_next(*hit);
            if (hit && hit->address(false, false) == first) break;
        }
        return out;
    }
    std::unique_ptr<Application> app_;
    Worksheet* ws_ = nullptr;
};

TEST_F(EngineFind, the_first_cell_is_looked_at_last) {
    put("A1", "x");
    put("C3", "x");
    Range r = *ws_->range("A1:C3");
    FindOptions o;
    o.what = "x";
    EXPECT_EQ(walk(r, o), (std::vector<std::string>{"C3", "A1"}));
    // A match only in the first cell is still found.
    put("C3", "");
    EXPECT_EQ(walk(r, o), (std::vector<std::string>{"A1"}));
}

TEST_F(EngineFind, orders_and_directions) {
    for (const char* a : {"A2", "B1", "B3", "C2"}) put(a, "x");
    Range r = *ws_->range("A1:C3");
    FindOptions o;
    o.what = "x";
    o.search_order = xlByRows;
    EXPECT_EQ(walk(r, o), (std::vector<std::string>{"B1", "A2", "C2", "B3"}));
    o.search_order = xlByColumns;
    EXPECT_EQ(walk(r, o), (std::vector<std::string>{"A2", "B1", "B3", "C2"}));
    // Backwards from the first cell: the last cell of the range comes first.
    o.search_order = xlByRows;
    o.search_direction = xlPrevious;
    EXPECT_EQ(r.find(o)->address(false, false), "B3");
    o.search_order = xlByColumns;
    EXPECT_EQ(r.find(o)->address(false, false), "C2");
    EXPECT_EQ(r.find(o, CellRef{3, 2})->address(false, false), "B1");
    o.search_order = xlByRows;
    // Find after a given cell.
    o.search_direction = xlNext;
    EXPECT_EQ(r.find(o, CellRef{2, 1})->address(false, false), "C2");
    // Cells outside the range are never found.
    put("D1", "x");
    EXPECT_EQ(walk(r, o).size(), 4u);
    EXPECT_EQ(walk(ws_->cells(), o).size(), 5u);
}

TEST_F(EngineFind, kept_settings_apply_to_the_next_call) {
    put("A1", "abc");
    put("A2", "xabcx");
    Range r = *ws_->range("A1:A5");
    FindOptions whole;
    whole.what = "abc";
    whole.look_at = xlWhole;
    EXPECT_EQ(walk(r, whole), (std::vector<std::string>{"A1"}));
    FindOptions omitted;
    omitted.what = "abc";
    EXPECT_EQ(walk(r, omitted), (std::vector<std::string>{"A1"}));  // still whole
    omitted.look_at = xlPart;
    EXPECT_EQ(walk(r, omitted), (std::vector<std::string>{"A2", "A1"}));
    // Replace keeps LookAt too.
    ReplaceOptions rep;
    rep.what = "abc";
    rep.replacement = "ABC";
    rep.look_at = xlWhole;
    ASSERT_TRUE(r.replace(rep));
    EXPECT_EQ(ws_->cell_value({2, 1}), Value(std::string("xabcx")));
    EXPECT_EQ(app_->find_state.look_at, xlWhole);
}

TEST(EngineFindLookIn, formulas_values_and_comments) {
    auto app = create_application();
    auto b = app->workbooks().open(fixture("cells.xlsx"), true);
    ASSERT_TRUE(b);
    Worksheet* ws = (*b)->worksheet(1);
    Range all = ws->cells();
    auto first = [&](const char* what, int look_in, int look_at = xlPart) {
        FindOptions o;
        o.what = what;
        o.look_in = look_in;
        o.look_at = look_at;
        auto hit = all.find(o);
        return hit ? hit->address(false, false) : std::string("-");
    };
    EXPECT_EQ(first("B1*", xlFormulas), "C2");  // the formula text with its references
    EXPECT_EQ(first("246", xlFormulas), "-");
    EXPECT_EQ(first("246", xlValues), "C2");         // the displayed value
    EXPECT_EQ(first("=B4", xlFormulas), "C4");       // a shared formula's other cell
    EXPECT_EQ(first("1/1/2024", xlFormulas), "C1");  // dates as m/d/yyyy
    EXPECT_EQ(first("2024/1/1", xlValues), "C1");    // and as shown
    EXPECT_EQ(first("50.00%", xlValues, xlWhole), "B2");
    EXPECT_EQ(first("0.5", xlFormulas, xlWhole), "B2");
    EXPECT_EQ(first("確認済", xlComments), "B1");
    EXPECT_EQ(first("#DIV/0!", xlValues), "E1");
}

TEST_F(EngineFind, case_width_and_wildcards) {
    put("A1", "ＡＢＣ");
    put("A2", "ｶﾞｷﾞ");
    put("A3", "a*c");
    put("A4", "a1234c");
    put("A5", "東京　都");
    Range r = *ws_->range("A1:A9");
    auto found = [&](const char* what, bool match_case, bool match_byte, int look_at = xlPart) {
        FindOptions o;
        o.what = what;
        o.match_case = match_case;
        o.match_byte = match_byte;
        o.look_at = look_at;
        return walk(r, o);
    };
    using V = std::vector<std::string>;
    EXPECT_EQ(found("abc", false, false), (V{"A1"}));  // width and case folded
    EXPECT_EQ(found("abc", false, true), V{});         // MatchByte: full-width stays apart
    EXPECT_EQ(found("ABC", true, false), (V{"A1"}));
    EXPECT_EQ(found("abc", true, false), V{});             // MatchCase
    EXPECT_EQ(found("ガギ", false, false), (V{"A2"}));     // half-width kana with voiced marks
    EXPECT_EQ(found("東京 都", false, false), (V{"A5"}));  // ideographic space
    EXPECT_EQ(found("a*c", false, false, xlWhole), (V{"A3", "A4", "A1"}));  // ＡＢＣ folds too
    EXPECT_EQ(found("a~*c", false, false, xlWhole), (V{"A3"}));
    EXPECT_EQ(found("a??34c", false, false, xlWhole), (V{"A4"}));
    EXPECT_EQ(found("", false, false), V{});
}

TEST(MatcherReplace, replacement_by_pattern) {
    struct Case {
        const char* what;
        int look_at;
        bool match_case;
        const char* text;
        const char* expected;  // nullptr: no match
    } cases[] = {
        {"ab", xlPart, false, "xAByab", "x--y--"}, {"ab", xlPart, true, "xAByab", "xABy--"},
        {"ab", xlWhole, false, "ab", "--"},        {"ab", xlWhole, false, "abab", nullptr},
        {"a*c", xlPart, false, "abcabc", "--"},   // a star takes the longest match
        {"b?", xlPart, false, "abcab", "a--ab"},  // "?" needs a character
        {"ｶﾞ", xlPart, false, "ガラス", "--ラス"}, {"ｘ", xlPart, false, "axbx", "a--b--"},
        {"zz", xlPart, false, "abc", nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        FindSpec criteria;
        criteria.what = c.what;
        criteria.look_at = c.look_at;
        criteria.match_case = c.match_case;
        Matcher m(criteria);
        auto out = m.replace(c.text, "--");
        if (c.expected)
            EXPECT_EQ(out, std::optional<std::string>(c.expected));
        else
            EXPECT_EQ(out, std::nullopt);
    }
}

// The longest match of `pattern` (a, b, ?, *) at the start of `s`, by trying every length.
std::optional<std::size_t> longest_by_trying(std::string_view pattern, std::string_view s) {
    std::function<bool(std::size_t, std::size_t, std::size_t)> whole = [&](std::size_t p,
                                                                           std::size_t i,
                                                                           std::size_t end) {
        if (p == pattern.size()) return i == end;
        if (pattern[p] == '*') return whole(p + 1, i, end) || (i < end && whole(p, i + 1, end));
        return i < end && (pattern[p] == '?' || pattern[p] == s[i]) && whole(p + 1, i + 1, end);
    };
    for (std::size_t end = s.size() + 1; end-- > 0;)
        if (whole(0, 0, end)) return end;
    return std::nullopt;
}

TEST(MatcherReplace, wildcards_replace_the_leftmost_longest_matches_like_trying_every_start) {
    // Every pattern of up to four items over a, b, ? and * against every text of up to seven
    // letters, compared with a replacement that tries each start and each length.
    const std::string items = "ab?*";
    std::vector<std::string> patterns = {""}, texts = {""};
    for (std::size_t n = 0; n < patterns.size() && patterns[n].size() < 4; ++n)
        for (char c : items) patterns.push_back(patterns[n] + c);
    for (std::size_t n = 0; n < texts.size() && texts[n].size() < 7; ++n)
        for (char c : std::string("ab")) texts.push_back(texts[n] + c);
    for (const std::string& pattern : patterns) {
        if (pattern.find_first_of("?*") == std::string::npos) continue;
        FindSpec criteria;
        criteria.what = pattern;
        Matcher m(criteria);
        for (const std::string& text : texts) {
            std::string expected;
            bool any = false;
            for (std::size_t i = 0; i < text.size();) {
                auto len = longest_by_trying(pattern, std::string_view(text).substr(i));
                if (!len || *len == 0) {
                    expected += text[i++];
                    continue;
                }
                expected += '#';
                any = true;
                i += *len;
            }
            auto got = m.replace(text, "#");
            ASSERT_EQ(got.has_value(), any) << pattern << " in " << text;
            if (any) {
                ASSERT_EQ(*got, expected) << pattern << " in " << text;
            }
            ASSERT_EQ(m.matches(text), any) << pattern << " in " << text;
        }
    }
}

TEST_F(EngineFind, replace_reenters_the_text_as_typed) {
    put("A1", "123");
    put("A2", "=SIN(1)+SIN(2)");
    put("A3", "abc");
    put("A4", "xabcx");
    put("A5", "東京都");
    ASSERT_TRUE(ws_->range("A6")->set_value(DateTime{45292}));  // no date format: a number
    Range r = *ws_->range("A1:A9");
    auto replace = [&](const char* what, const char* with, int look_at = xlPart) {
        ReplaceOptions o;
        o.what = what;
        o.replacement = with;
        o.look_at = look_at;
        o.match_case = false;
        return r.replace(o);
    };
    ASSERT_TRUE(replace("1", ""));
    EXPECT_EQ(ws_->cell_value({1, 1}), Value(23.0));  // "23" is a number again
    EXPECT_EQ(ws_->cell_formula({2, 1}), "=SIN()+SIN(2)");
    ASSERT_TRUE(replace("SIN", "COS"));
    EXPECT_EQ(ws_->cell_formula({2, 1}), "=COS()+COS(2)");
    ASSERT_TRUE(replace("abc", "-", xlWhole));
    EXPECT_EQ(ws_->cell_value({3, 1}), Value(std::string("-")));
    EXPECT_EQ(ws_->cell_value({4, 1}), Value(std::string("xabcx")));
    ASSERT_TRUE(replace("東京", "とうきょう"));
    EXPECT_EQ(ws_->cell_value({5, 1}), Value(std::string("とうきょう都")));
    // A replacement that would break a formula is refused and the cell stays.
    auto bad = replace("(2)", "(");
    ASSERT_FALSE(bad);
    EXPECT_NE(bad.error().message.find("$A$2"), std::string::npos);
    EXPECT_EQ(ws_->cell_formula({2, 1}), "=COS()+COS(2)");
}

TEST(EngineReplaceDates, a_date_changes_year_and_keeps_its_format) {
    auto app = create_application();
    auto b = app->workbooks().open(fixture("cells.xlsx"), false);
    ASSERT_TRUE(b);
    Worksheet* ws = (*b)->worksheet(1);
    ReplaceOptions o;
    o.what = "2024";
    o.replacement = "2025";
    ASSERT_TRUE(ws->range("C1")->replace(o));
    EXPECT_EQ(ws->cell_value({1, 3}), Value(DateTime{45658}));  // 2025-01-01
    EXPECT_EQ(ws->cell_text({1, 3}), "2025/1/1");
    // A shared formula cell changed by Replace: the others keep their own text.
    o.what = "B4";
    o.replacement = "B1";
    ASSERT_TRUE(ws->range("C4")->replace(o));
    EXPECT_EQ(ws->cell_formula({4, 3}), "=B1*10");
    EXPECT_EQ(ws->cell_formula({3, 3}), "=B3*10");
    EXPECT_EQ(ws->cell_formula({5, 3}), "=B5*10");
    // The array formula's text can change; its range stays an array.
    o.what = "~*2";
    o.replacement = "*3";
    ASSERT_TRUE(ws->range("D3")->replace(o));
    EXPECT_EQ(ws->cell_formula({3, 4}), "=B3:B4*3");
}

}  // namespace
}  // namespace sheaflow::xl::native
