// Sheet-name rules and the rewriting of sheet references inside formulas.

#include <gtest/gtest.h>

#include "xl/native/formula_refs.h"
#include "xl/native/sheet_names.h"

namespace sheaflow::xl::native {
namespace {

TEST(SheetNameRules, RefusesWhatTheApplicationRefuses) {
    std::vector<std::string> others = {"Data", "集計"};
    struct Case {
        std::string name;
        bool accepted;
    };
    const Case cases[] = {
        {"", false},
        {std::string(31, 'x'), true},
        {std::string(32, 'x'), false},
        {"売上表売上表売上表売上表売上表売上表売上表売上表売上表売上表売", true},  // 31 characters
        {"a:b", false},
        {"a\\b", false},
        {"a/b", false},
        {"a?b", false},
        {"a*b", false},
        {"a[1]", false},
        {"No#1", true},  // the program's panes refuse "#", the application does not
        {"'quoted", false},
        {"quoted'", false},
        {"it's", true},
        {"history", false},
        {"HISTORY", false},
        {"History1", true},
        {"data", false},  // same name as "Data" without regard to case
        {"ＤＡＴＡ", true},
        {"集計", false},
        {"tab\there", false},
    };
    for (const Case& c : cases) {
        Result<void> r = check_sheet_name(c.name, others);
        EXPECT_EQ(r.has_value(), c.accepted) << c.name;
        if (!r) {
            EXPECT_EQ(r.error().code, Error::Code::Refused);
            EXPECT_FALSE(r.error().message.empty());
        }
    }
    // Surrogate pairs count twice towards the limit.
    std::string emoji;
    for (int i = 0; i < 16; ++i) emoji += "\U0001F600";
    EXPECT_FALSE(check_sheet_name(emoji, {}).has_value());
}

TEST(SheetNameRules, CaseFoldingCoversFullWidthAndGreek) {
    EXPECT_TRUE(same_sheet_name("ＡＢＣ", "ａｂｃ"));
    EXPECT_TRUE(same_sheet_name("Σύνολο", "ΣΎΝΟΛΟ"));
    EXPECT_FALSE(same_sheet_name("ABC", "ＡＢＣ"));
}

TEST(SheetNameRules, NewAndCopyNames) {
    EXPECT_EQ(new_sheet_name({}), "Sheet1");
    EXPECT_EQ(new_sheet_name({"売上", "集計"}), "Sheet1");
    EXPECT_EQ(new_sheet_name({"Sheet1", "sheet3", "Sheet2"}), "Sheet4");
    EXPECT_EQ(new_sheet_name({"Sheet9999999999"}), "Sheet1");  // too long to be a number

    EXPECT_EQ(copy_sheet_name("Data", {"Data"}), "Data (2)");
    EXPECT_EQ(copy_sheet_name("Data", {"Data", "data (2)"}), "Data (3)");
    EXPECT_EQ(copy_sheet_name("Data (2)", {"Data", "Data (2)"}), "Data (3)");
    std::string long_name(31, 'x');
    EXPECT_EQ(copy_sheet_name(long_name, {long_name}), std::string(27, 'x') + " (2)");
    std::string kanji = "売上表売上表売上表売上表売上表売上表売上表売上表売上表売上表売";
    std::string copied = copy_sheet_name(kanji, {kanji});
    EXPECT_TRUE(check_sheet_name(copied, {kanji}).has_value()) << copied;
}

TEST(SheetNameRules, QuotingInFormulas) {
    const std::pair<std::string, std::string> cases[] = {
        {"Sheet1", "Sheet1"},   {"売上", "売上"},
        {"Sheet.1", "Sheet.1"}, {"My Sheet", "'My Sheet'"},
        {"it's", "'it''s'"},    {"1st", "'1st'"},
        {"A1", "'A1'"},         {"XFD1048576", "'XFD1048576'"},
        {"XFE1", "XFE1"},       {"R1C1", "'R1C1'"},
        {"rc", "'rc'"},         {"R", "'R'"},
        {"Rate", "Rate"},       {"TRUE", "'TRUE'"},
        {"a-b", "'a-b'"},       {"No#1", "'No#1'"},
        {"全　角", "'全　角'"},
    };
    for (const auto& [name, written] : cases) EXPECT_EQ(formula_sheet_name(name), written) << name;
}

TEST(FormulaRefs, RenameRewritesEveryFormOfReference) {
    const std::pair<std::string, std::string> table[] = {
        {"Data!A1+1", "'New Name'!A1+1"},
        {"SUM(data!$A$1:$B$2)", "SUM('New Name'!$A$1:$B$2)"},
        {"'Data'!A1", "'New Name'!A1"},
        {"Data:Other!A1", "'New Name:Other'!A1"},
        {"SUM(First:Data!B2)", "SUM('First:New Name'!B2)"},
        {"\"Data!A1\"&Data!A1", "\"Data!A1\"&'New Name'!A1"},
        {"[1]Data!A1", "[1]Data!A1"},
        {"'[1]Data'!A1", "'[1]Data'!A1"},
        {"DataX!A1+XData!A1", "DataX!A1+XData!A1"},
        {"Data", "Data"},  // a defined name spelled like the sheet
        {"Table1[[#This Row],[Data]]", "Table1[[#This Row],[Data]]"},
        {"#REF!A1+Data!A1", "#REF!A1+'New Name'!A1"},
        {"Data!A1:Data!B2", "'New Name'!A1:'New Name'!B2"},
        {"SUM(Data:'My Sheet'!A2)", "SUM('New Name':'My Sheet'!A2)"},  // quoted one by one
        {"'Other:Data'!A1", "'Other:New Name'!A1"},
        {"IF(A1=\"\",Data!A1,\"x\"\"Data!\")", "IF(A1=\"\",'New Name'!A1,\"x\"\"Data!\")"},
    };
    for (const auto& [before, after] : table)
        EXPECT_EQ(rename_sheet_in_formula(before, "Data", "New Name"), after) << before;

    // A quoted old name may become unquoted, and apostrophes are doubled in the new one.
    EXPECT_EQ(rename_sheet_in_formula("'My Data'!A1", "My Data", "Plain"), "Plain!A1");
    EXPECT_EQ(rename_sheet_in_formula("'My Data'!A1", "my data", "Bob's"), "'Bob''s'!A1");
    EXPECT_EQ(rename_sheet_in_formula("売上!A1*2", "売上", "売上2"), "売上2!A1*2");
    EXPECT_EQ(rename_sheet_in_formula("SUM(Data:'My Sheet'!A2)", "My Sheet", "Other"),
              "SUM(Data:Other!A2)");
}

TEST(FormulaRefs, FindsReferences) {
    auto refs = sheet_refs("SUM('A b'!A1,[2]X!B1,P:Q!C1,\"Z!A1\")");
    ASSERT_EQ(refs.size(), 3u);
    EXPECT_EQ(refs[0].first, "A b");
    EXPECT_EQ(refs[1].external, "[2]");
    EXPECT_EQ(refs[1].first, "X");
    EXPECT_EQ(refs[2].first, "P");
    EXPECT_EQ(refs[2].last, "Q");
    EXPECT_EQ(refs[0].cells, "A1");
    auto range = sheet_refs("SUM(Data!$A$1:$B$2)+Data!C:C+Data!Total");
    ASSERT_EQ(range.size(), 3u);
    EXPECT_EQ(range[0].cells, "$A$1:$B$2");
    EXPECT_EQ(range[1].cells, "C:C");
    EXPECT_EQ(range[2].cells, "Total");
}

TEST(FormulaRefs, DeleteTurnsReferencesIntoRefErrorsAndShrinks3D) {
    std::vector<std::string> order = {"Jan", "Feb", "Mar", "Apr"};
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"Feb!A1+1", "Feb", "#REF!A1+1"},
        {"SUM(Jan:Mar!A1)", "Jan", "SUM(Feb:Mar!A1)"},
        {"SUM(Jan:Mar!A1)", "Mar", "SUM(Jan:Feb!A1)"},
        {"SUM(Jan:Feb!A1)", "Feb", "SUM(Jan!A1)"},
        {"SUM(Jan:Mar!A1)", "Feb", "SUM(Jan:Mar!A1)"},
        {"Mar!A1", "Feb", "Mar!A1"},
    };
    for (const auto& [formula, deleted, after] : cases)
        EXPECT_EQ(delete_sheet_in_formula(formula, deleted, order), after) << formula;
}

TEST(FormulaRefs, TableRenamesAndNamesUsed) {
    EXPECT_EQ(rename_table_in_formula("SUM(Table1[Qty])+table1[[#This Row],[A]]", "Table1", "T2"),
              "SUM(T2[Qty])+T2[[#This Row],[A]]");
    EXPECT_EQ(rename_table_in_formula("\"Table1[Qty]\"&Table10[Qty]", "Table1", "T2"),
              "\"Table1[Qty]\"&Table10[Qty]");
    EXPECT_EQ(formula_names("SUM(Total,Sheet1!A1,'x y'!B2,Jan:Mar!C3,Table1[Q])*Rate+\"Name\""),
              (std::vector<std::string>{"Total", "A1", "B2", "C3", "Rate"}));
}

}  // namespace
}  // namespace sheaflow::xl::native
