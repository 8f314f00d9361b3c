// The sheet operations on workbooks the engine makes in memory: checks, messages, and the
// sheets they leave.

#include "ops/sheet/sheet_ops.h"

#include <gtest/gtest.h>

#include "ops/registry.h"
#include "report/record_store.h"
#include "report/result_table.h"
#include "run/session.h"
#include "shell/catalogue.h"
#include "support/scripted_host.h"
#include "xl/native/engine.h"
#include "xl/xl.h"

namespace sheaflow::test {
namespace {

// The pane of a sheet operation as the catalogue declares it, at its defaults, with `values`
// (key, text) set on top. An unknown key fails the test: the operations must use declared keys.
shell::PaneValues pane_of(const shell::OperationDecl& decl,
                          const std::vector<std::pair<std::string, std::string>>& values) {
    shell::PaneValues pane;
    for (const shell::Field& f : decl.fields) pane.values.push_back(f.default_value);
    for (const auto& [key, value] : values) {
        bool found = false;
        for (std::size_t i = 0; i < decl.fields.size(); ++i) {
            if (decl.fields[i].key == key) {
                pane.values[i] = value;
                found = true;
            }
        }
        EXPECT_TRUE(found) << decl.name << ": no field " << key;
    }
    return pane;
}

const shell::OperationDecl& sheet_decl(const std::string& name) {
    const shell::OperationDecl* d = shell::find_declaration("シート", name);
    if (!d) throw std::runtime_error("no declaration " + name);
    return *d;
}

// One run of one operation over one workbook that the engine makes in memory.
struct SheetRun {
    explicit SheetRun(const std::vector<std::string>& sheet_names,
                      const std::string& file_name = "売上.xlsx")
        : app(xl::native::create_application()), file(file_name) {
        book = *app->workbooks().add();
        for (std::size_t i = 0; i < sheet_names.size(); ++i) {
            xl::Worksheet* ws =
                i == 0 ? book->worksheet(1)
                       : *book->add_worksheet(nullptr, book->sheet(book->sheet_count()));
            EXPECT_TRUE(ws->set_name(sheet_names[i]).has_value()) << sheet_names[i];
        }
        (void)book->worksheet(1)->activate();
    }

    // Runs the operation `name` with the pane values given as key=value pairs.
    void run(const std::string& name,
             const std::vector<std::pair<std::string, std::string>>& values,
             std::string category = "シート") {
        const shell::OperationDecl& decl = sheet_decl(name);
        shell::PaneValues pane = pane_of(decl, values);
        shell::Params params(decl, pane);
        const ops::Procedures* procs = ops::find_procedures(category, decl.key_name);
        ASSERT_NE(procs, nullptr) << name;
        ASSERT_EQ(procs->check(params, category), "") << name;
        report::ResultTable table;
        run::Session s(*app, host, params, table, store);
        s.category = std::move(category);
        s.book_name = file;
        s.file_name = file;
        s.folder = "/data";
        Result<void> r = procs->execute(s);
        ASSERT_TRUE(r.has_value()) << r.error().message;
        error_text = s.error_text;
    }

    std::vector<std::string> names() const {
        std::vector<std::string> out;
        for (int i = 1; i <= book->sheet_count(); ++i) out.push_back(book->sheet(i)->name());
        return out;
    }

    std::unique_ptr<xl::Application> app;
    xl::Workbook* book = nullptr;
    std::string file;
    testing::ScriptedHost host;
    report::RecordStore store;
    std::string error_text;
};

using Names = std::vector<std::string>;

TEST(SheetNameChecks, ReportsTheFirstForbiddenCharacterInFixedOrder) {
    EXPECT_EQ(ops::Check_Sheet_Name("変更後の", "集計[1]"),
              "変更後のシート名に、記号［は使えない。");
    EXPECT_EQ(ops::Check_Sheet_Name("変更後の", "a:b"), "変更後のシート名に、記号：は使えない。");
    // "#" comes before "?" in the order, though it stands later in the name.
    EXPECT_EQ(ops::Check_Sheet_Name("", "a?b#"), "シート名に、記号＃は使えない。");
    EXPECT_EQ(ops::Check_Sheet_Name("", "No＃1"), "シート名に、記号＃は使えない。");
    EXPECT_EQ(ops::Check_Sheet_Name("", "a\\b"), "シート名に、記号￥は使えない。");
    EXPECT_EQ(ops::Check_Sheet_Name("", "a￥b"), "シート名に、記号￥は使えない。");
    EXPECT_EQ(ops::Check_Sheet_Name("", "ｓｈｅｅｔ (2)"), "");
    EXPECT_EQ(ops::Check_Sheet_Name_X("x'y", '\''), "シート名に、記号’は使えない。");
}

TEST(SheetPaneChecks, FirstComplaintInOrder) {
    struct Case {
        std::string op;
        std::vector<std::pair<std::string, std::string>> values;
        std::string expected;
    };
    const Case cases[] = {
        {"シート名設定",
         {{"target", "position"}, {"position", ""}, {"name", ""}},
         "シート位置を設定してください。"},
        {"シート名設定", {{"target", ""}, {"name", ""}}, "シート名を設定してください。"},
        {"シート名設定", {{"target", ""}, {"name", "a/b"}}, "シート名に、記号／は使えない。"},
        {"シート名設定", {{"target", ""}, {"name", "ok"}}, "シートの条件を設定してください。"},
        {"シート名設定", {{"target", "active"}, {"name", "ok"}}, ""},
        {"シート名変更",
         {{"basis", "part"}, {"old", ""}, {"new", "x"}},
         "変更前のシート名（一部）を入力してください。"},
        // The whole-name mode leaves a missing old name to the run, which logs the sheet.
        {"シート名変更", {{"basis", "whole"}, {"old", ""}, {"new", "x"}}, ""},
        {"シート名変更",
         {{"basis", "part"}, {"old", "*"}, {"new", "x"}},
         "変更前のシート名に、記号＊は使えない。"},
        {"シート名変更",
         {{"basis", "active"}, {"new", ""}},
         "変更後のシート名を入力してください。"},
        {"シート名変更",
         {{"basis", "active"}, {"new", "集計[1]"}},
         "変更後のシート名に、記号［は使えない。"},
        {"シート名変更", {{"basis", ""}, {"new", "x"}}, "変更基準を入力してください。"},
        {"シート名編集", {{"target", ""}, {"method", "upper"}}, "シートの条件を設定してください。"},
        {"シート名編集", {{"target", "all"}, {"method", ""}}, "編集の方法を設定してください。"},
        {"シート名編集",
         {{"target", "all"}, {"method", "prefix"}, {"text", ""}},
         "編集する文字列を入力してください。"},
        {"挿入", {{"where", "front"}, {"count", "0"}}, "挿入するシート数を設定してください。"},
        {"挿入", {{"where", ""}, {"count", "2"}}, "シートの条件を設定してください。"},
        {"削除", {{"target", "name"}, {"name", ""}}, "シート名を入力してください。"},
        {"シートを選択して削除", {{"sheets", ""}}, "シートを選択してください。"},
        {"移動",
         {{"source", "position"}, {"source_position", "1"}, {"target_position", ""}},
         "移動先のシート位置を設定してください。"},
        {"シート名をファイル名の一部から引用",
         {{"target", "active"}, {"part", "before"}, {"delimiter", ""}},
         "区切り文字を入力してください。"},
        {"シート名一覧", {{"sort", ""}}, "並び順を設定してください。"},
    };
    for (const Case& c : cases) {
        const shell::OperationDecl& decl = sheet_decl(c.op);
        shell::PaneValues pane = pane_of(decl, c.values);
        const ops::Procedures* procs = ops::find_procedures("シート", decl.key_name);
        ASSERT_NE(procs, nullptr) << c.op;
        EXPECT_EQ(procs->check(shell::Params(decl, pane), "シート"), c.expected) << c.op;
    }
}

TEST(SheetRename, PartialRenameReplacesTheFirstOccurrenceAndLogsRefusals) {
    SheetRun r({"AAA", "xAy", "none"});
    r.run("シート名変更", {{"basis", "part"}, {"old", "A"}, {"new", "B"}});
    EXPECT_EQ(r.names(), (Names{"BAA", "xBy", "none"}));
    EXPECT_EQ(r.error_text, "");
    // "a1" -> "b1" clashes with "B1" (without regard to case); the loop goes on to "a2".
    SheetRun clash({"a1", "B1", "a2"});
    clash.run("シート名変更", {{"basis", "part"}, {"old", "a"}, {"new", "b"}});
    EXPECT_EQ(clash.names(), (Names{"a1", "B1", "b2"}));
    EXPECT_EQ(clash.error_text.rfind("売上.xlsx シート名「b1」", 0), 0u) << clash.error_text;
}

TEST(SheetRename, MissingSheetAndBadPositionMessages) {
    SheetRun r({"S1", "S2"});
    r.run("シート名変更", {{"basis", "whole"}, {"old", "s1"}, {"new", "X"}});
    // The exact-name lookup is binary: "s1" is not "S1".
    EXPECT_EQ(r.error_text, "売上.xlsx  シート「s1」がありません。\r\n");
    EXPECT_EQ(r.names(), (Names{"S1", "S2"}));
    for (std::string position : {"0", "3"}) {
        r.run("シート名設定", {{"target", "position"}, {"position", position}, {"name", "X"}});
        EXPECT_EQ(r.error_text, "売上.xlsx 挿入するシート番号が間違っています。\r\n");
    }
    r.run("シート名設定", {{"target", "position"}, {"position", "2"}, {"name", "X"}});
    EXPECT_EQ(r.names(), (Names{"S1", "X"}));
}

TEST(SheetRename, AllSheetsCategoryRenamesOnlyTheVisitedSheet) {
    SheetRun r({"AA", "AB"});
    ASSERT_TRUE(r.book->worksheet(2)->activate().has_value());
    r.run("シート名変更", {{"basis", "part"}, {"old", "A"}, {"new", "AA"}},
          "すべてのシート_シート");
    EXPECT_EQ(r.names(), (Names{"AA", "AAB"}));
}

TEST(SheetEdit, MethodsAndRefusals) {
    const std::tuple<std::string, std::string, std::string, std::string> cases[] = {
        {"売上", "prefix", "2024_", "2024_売上"}, {"売上", "suffix", "(旧)", "売上(旧)"},
        {"a-b-c", "remove", "-", "abc"},          {" 売 上　", "trim", "", "売 上"},
        {" 売 上　", "nospace", "", "売上"},      {"abc", "wide", "", "ａｂｃ"},
        {"ＡＢＣ１", "narrow", "", "ABC1"},       {"abc", "upper", "", "ABC"},
    };
    for (const auto& [name, method, text, expected] : cases)
        EXPECT_EQ(ops::Excel_シート_シート名編集_X(name, method, text), expected) << method;

    SheetRun r({"abc", "ABC2", "x"});
    r.run("シート名編集", {{"target", "all"}, {"method", "upper"}});
    EXPECT_EQ(r.names(), (Names{"ABC", "ABC2", "X"}));
    r.run("シート名編集", {{"target", "all"}, {"method", "suffix"}, {"text", "2"}});
    // "ABC" + "2" clashes with "ABC2" (checked before "ABC2" itself becomes "ABC22").
    EXPECT_EQ(r.names(), (Names{"ABC", "ABC22", "X2"}));
    EXPECT_NE(r.error_text.find("ABC2"), std::string::npos);
}

TEST(SheetNameFromFile, TakesThePartThePaneDescribes) {
    const std::tuple<std::vector<std::pair<std::string, std::string>>, std::string> cases[] = {
        {{{"part", "right"}, {"length", "2"}}, "支店"},
        {{{"part", "mid"}, {"start", "6"}, {"length", "2"}}, "東京"},
        {{{"part", "mid"}, {"start", "6"}, {"length", ""}}, "東京支店"},
        {{{"part", "before"}, {"delimiter", "_"}}, "2024"},
        {{{"part", "after"}, {"delimiter", "_"}}, "東京支店"},
        {{{"part", "after"}, {"delimiter", "#"}}, "Sheet1"},  // no such part: logged
    };
    for (const auto& [values, expected] : cases) {
        SheetRun r({"Sheet1"}, "2024_東京支店.xlsx");
        auto v = values;
        v.push_back({"target", "active"});
        r.run("シート名をファイル名の一部から引用", v);
        EXPECT_EQ(r.names(), (Names{expected})) << expected;
        EXPECT_EQ(r.error_text.empty(), expected != "Sheet1") << r.error_text;
    }
}

TEST(SheetInsert, AfterTheActiveSheetCopiesAndBadPositions) {
    SheetRun r({"A", "B", "C"});
    ASSERT_TRUE(r.book->worksheet(2)->activate().has_value());
    r.run("挿入", {{"where", "after_active"}, {"count", "2"}, {"kind", "new"}});
    EXPECT_EQ(r.names(), (Names{"A", "B", "Sheet2", "Sheet1", "C"}));
    ASSERT_TRUE(r.book->worksheet(2)->activate().has_value());
    r.run("挿入", {{"where", "before_active"}, {"count", "1"}, {"kind", "copy"}});
    EXPECT_EQ(r.names(), (Names{"A", "B (2)", "B", "Sheet2", "Sheet1", "C"}));
    for (std::string position : {"0", "7"}) {
        r.run("挿入",
              {{"where", "position"}, {"position", position}, {"count", "1"}, {"kind", "new"}});
        EXPECT_EQ(r.error_text, "売上.xlsx 挿入するシート番号が間違っています。\r\n");
    }
    EXPECT_EQ(r.names().size(), 6u);
}

TEST(SheetDelete, MessagesAndTheLastSheet) {
    SheetRun r({"2023_a", "2024_a", "2024_b", "other_a"});
    r.run("削除", {{"target", "name"}, {"name", "Z"}});
    EXPECT_EQ(r.error_text, "売上.xlsx  シート「Z」がありません。\r\n");
    r.run("削除", {{"target", "part"}, {"name", "2024"}});
    EXPECT_EQ(r.names(), (Names{"2023_a", "other_a"}));
    r.run("削除", {{"target", "part"}, {"name", "_a"}});
    EXPECT_EQ(r.names(), (Names{"2023_a", "other_a"}));
    EXPECT_NE(r.error_text.find("すべてのシートを削除してしまうので"), std::string::npos);
    r.run("削除", {{"target", "part"}, {"name", "zz"}});
    EXPECT_EQ(r.error_text, "売上.xlsx  シート名に「zz」を含むシートがありません。\r\n");
    r.run("シートを選択して削除", {{"sheets", "2023_a\tother_a"}});
    EXPECT_EQ(r.error_text,
              "すべてのシートを削除してしまうので、処理しませんでした/data/売上.xlsx\r\n");
    r.run("削除", {{"target", "name"}, {"name", "2023_a"}});
    r.run("削除", {{"target", "active"}});  // the last sheet: the engine refuses
    EXPECT_EQ(r.names(), (Names{"other_a"}));
    EXPECT_EQ(r.error_text.rfind("売上.xlsx ", 0), 0u) << r.error_text;
}

TEST(SheetDelete, EmptySheetsGoFromTheBackAndOneStays) {
    SheetRun r({"E1", "Full", "E2", "E3"});
    ASSERT_TRUE(r.book->worksheet(2)->set_cell_value({5, 3}, xl::Value{1.0}).has_value());
    r.run("不要なシートを一括削除", {});
    EXPECT_EQ(r.names(), (Names{"Full"}));
    SheetRun all_empty({"E1", "E2", "E3"});
    all_empty.run("不要なシートを一括削除", {});
    EXPECT_EQ(all_empty.names(), (Names{"E1"}));
}

TEST(SheetMove, PositionMessages) {
    SheetRun r({"A", "B"});
    r.run("移動", {{"source", "position"},
                   {"source_position", "3"},
                   {"target_position", "1"},
                   {"place", "before"}});
    EXPECT_EQ(r.error_text, "売上.xlsx 移動元のシート番号が間違っています。\r\n");
    r.run(
        "移動",
        {{"source", "name"}, {"source_name", "A"}, {"target_position", "9"}, {"place", "before"}});
    EXPECT_EQ(r.error_text, "売上.xlsx 移動先のシート番号が間違っています。\r\n");
    EXPECT_EQ(r.names(), (Names{"A", "B"}));
}

TEST(SheetSort, BinaryOrderAndCancel) {
    {
        // Upper case before lower case ("b" and "B" cannot both exist: names ignore case).
        SheetRun r({"b", "B1", "a"});
        r.run("シート名順でソート", {});
        EXPECT_EQ(r.names(), (Names{"B1", "a", "b"}));
    }
    {
        // Code-unit order: a character beyond U+FFFF (a surrogate pair) sorts before U+FF21.
        SheetRun r({"Ａ", "\U00020B9F", "あ", "1"});
        r.run("シート名順でソート", {});
        EXPECT_EQ(r.names(), (Names{"1", "あ", "\U00020B9F", "Ａ"}));
    }
    {
        SheetRun r({"d", "c", "b", "a"});
        int yields = 0;  // the second comparison finds the cancel flag set
        r.host.on_yield = [&](testing::ScriptedHost& h) { h.cancel = ++yields == 2; };
        r.run("シート名順でソート", {});
        EXPECT_EQ(r.names(), (Names{"c", "d", "b", "a"}));
    }
}

TEST(SheetProcedures, EveryOperationIsDispatched) {
    for (const char* name : {"シート名設定", "シート名変更", "シート名編集", "挿入", "削除", "移動",
                             "不要なシートを一括削除", "シート名順でソート", "シートを選択して削除",
                             "選択したシート以外、削除", "シート名をファイル名の一部から引用"}) {
        const ops::Procedures* p = ops::find_procedures("シート", name);
        ASSERT_NE(p, nullptr) << name;
        EXPECT_TRUE(p->updates);
    }
    EXPECT_NE(ops::find_procedures("すべてのシート_シート", "シート名変更"), nullptr);
    const ops::Procedures* list = ops::find_procedures("シート", "シート名一覧");
    ASSERT_NE(list, nullptr);
    EXPECT_FALSE(list->updates);  // a list opens its files read-only
    EXPECT_NE(list->first, nullptr);
    EXPECT_NE(list->final, nullptr);
}

}  // namespace
}  // namespace sheaflow::test
