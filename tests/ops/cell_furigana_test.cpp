// ふり仮名検索 on the phonetic fixture (plain, rich and inline strings with readings): what a search
// finds with kana and widths mixed, and readings set and removed, read back from the package.
#include <gtest/gtest.h>

#include "cell_run.h"
#include "xl/native/package.h"

namespace sheaflow::testing {
namespace {

using Lines = std::vector<std::string>;
const std::string kPhoneticBook = std::string(SHEAFLOW_TEST_DATA_DIR) + "/phonetic.xlsx";

std::string shared_strings(const std::string& file) {
    auto pkg = xl::native::Package::open_file(file);
    if (!pkg) return {};
    auto bytes = (*pkg)->read("xl/sharedStrings.xml");
    return bytes ? *bytes : std::string();
}

TEST(FuriganaRun, SearchFoldsKanaAndWidths) {
    CellRun r(kPhoneticBook);
    const auto before = std::filesystem::last_write_time(r.path());
    struct Case {
        const char* search;
        Lines found;
    };
    const std::string head = "本.xlsx|Sheet1()";
    const Case cases[] = {
        {"かんじ", {head, "||A1|漢字|カンジ", "||A2|漢字withColor|カンジwithColor"}},
        {"ＷＩＴＨ", {head, "||A2|漢字withColor|カンジwithColor"}},
        {"やまだ　タロウ", {head, "||A3|山田　太郎|ﾔﾏﾀﾞ　たろう"}},
        {"ﾀﾞﾀ", {head, "||A3|山田　太郎|ﾔﾏﾀﾞ　たろう"}},
        {"かな", {head}},  // A5 reads かな but has no reading
        {"", {head, "||A1|漢字|カンジ", "||A2|漢字withColor|カンジwithColor",
              "||A3|山田　太郎|ﾔﾏﾀﾞ　たろう"}},
    };
    for (const Case& c : cases) {
        auto out = r.run("セル", "ふり仮名検索", {{"search", c.search}});
        ASSERT_TRUE(out.checked) << out.check_message;
        EXPECT_EQ(r.rows(), c.found) << c.search;
    }
    EXPECT_EQ(r.table().title(4), "ふりがな");
    EXPECT_EQ(std::filesystem::last_write_time(r.path()), before);  // a list does not save
}

TEST(FuriganaRun, SetsAndRemovesTheReadingsOfTheCellsFound) {
    CellRun r(kPhoneticBook);
    auto out = r.run("セル", "ふり仮名検索",
                     {{"search", "ｶﾝｼﾞ"}, {"action", "set"}, {"reading", "かんじ"}});
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    EXPECT_EQ(r.rows(), (Lines{"本.xlsx|Sheet1()", "||A1|漢字|カンジ|かんじ",
                               "||A2|漢字withColor|カンジwithColor|かんじ"}));
    std::string sst = shared_strings(r.path());
    EXPECT_NE(sst.find("<t>漢字</t><rPh sb=\"0\" eb=\"2\"><t>かんじ</t></rPh>"), std::string::npos)
        << sst;

    out = r.run("セル", "ふり仮名検索", {{"search", "たろう"}, {"action", "remove"}});
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    r.run("セル", "ふり仮名検索", {});
    EXPECT_EQ(r.rows(), (Lines{"本.xlsx|Sheet1()", "||A1|漢字|かんじ", "||A2|漢字withColor|かんじ"}));
    EXPECT_EQ(r.formula("", "A3"), "山田　太郎");

    EXPECT_EQ(r.run("セル", "ふり仮名検索", {{"action", "set"}, {"reading", "　"}}).check_message,
              "設定するふりがなを入力してください。");
    EXPECT_EQ(r.run("セル", "ふり仮名検索", {{"row_from", "2"}}).check_message,
              "行の指定が不正です。");
}

}  // namespace
}  // namespace sheaflow::testing
