// The parameter store against real files in a temporary folder: the worked example of the
// text-replace pane, the tolerant reader, the history files and the settings files.
#include "shell/settings.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <set>

#include "shell/temp_dir.h"
#include "util/datetime.h"
#include "util/file.h"
#include "util/text.h"

namespace sheaflow::shell {
namespace {

using testing::TempDir;

std::string slurp(const std::string& path) {
    std::string bytes;
    file::read_all(path, bytes);
    return bytes;
}

void put(const std::string& path, const std::string& bytes) {
    ASSERT_TRUE(file::write_all(path, bytes).has_value());
}

const OperationDecl& op(const char* category, const char* name) {
    const OperationDecl* d = find_declaration(category, name);
    EXPECT_NE(d, nullptr) << category << " " << name;
    return *d;
}

std::string value(const ParameterStore& s, const OperationDecl& d, const char* key) {
    return s.params(d).text(key);
}

void set(ParameterStore& s, const OperationDecl& d, const char* key, const std::string& v) {
    std::string msg;
    ASSERT_TRUE(s.set(d, key, v, msg)) << key << ": " << msg;
}

std::vector<std::string> messages_of(ParameterStore& s, char mode, const std::string& folder) {
    std::vector<std::string> out;
    s.text_update(mode, folder, [&](const std::string& m) { out.push_back(m); });
    return out;
}

TEST(ParameterStore, WritesTheReplacePaneAsNineLinesInCodePage932) {
    TempDir dir;
    ParameterStore store;
    const OperationDecl& d = op("セル", "文字列置換");
    set(store, d, "col_from", "A");
    set(store, d, "row_from", "1");
    set(store, d, "col_to", "C");
    set(store, d, "row_to", "5");
    set(store, d, "search", "東京");
    set(store, d, "replace", "とうきょう");
    set(store, d, "match_case", "1");
    set(store, d, "whole_cell", "1");
    EXPECT_TRUE(messages_of(store, 'W', dir.path()).empty());

    const std::string expected =
        "\"A\"\r\n\"1\"\r\n\"C\"\r\n\"5\"\r\n\"東京\"\r\n\"とうきょう\"\r\n1\r\n0\r\n1\r\n";
    EXPECT_EQ(slurp(dir.file("Cell_Tikan.txt")), text::to_cp932(expected));
    EXPECT_EQ(slurp(dir.file("Cell_Tikan_T0.txt")), text::to_cp932("東京\r\n"));
    EXPECT_EQ(slurp(dir.file("Cell_Tikan_T1.txt")), text::to_cp932("とうきょう\r\n"));

    ParameterStore again;
    again.text_update('R', dir.path());
    for (const char* key : {"col_from", "row_from", "col_to", "row_to", "search", "replace",
                            "match_case", "match_byte", "whole_cell"})
        EXPECT_EQ(value(again, d, key), value(store, d, key)) << key;
    EXPECT_EQ(again.values(d).histories[0][0], "東京");
}

TEST(ParameterStore, ReadsAFileOfTheDesktopProgram) {
    TempDir dir;
    // Line 5 (the search text) has its doubled quotes reduced; line 6 keeps them.
    put(dir.file("Cell_Tikan.txt"),
        text::to_cp932(
            "\"B\","
            "\"x\"\r\n\"2\"\r\n\"D\"\r\n\"9\"\r\n\"a\"\"b\"\r\n\"c\"\"d\"\r\n0\r\n1\r\n0\r\n"));
    put(dir.file("Cell_Tikan_T0.txt"), text::to_cp932("一\r\n二\r\n"));
    ParameterStore store;
    EXPECT_TRUE(messages_of(store, 'R', dir.path()).empty());
    const OperationDecl& d = op("セル", "文字列置換");
    EXPECT_EQ(value(store, d, "col_from"), "B") << "the pane takes field 0 of each record";
    EXPECT_EQ(value(store, d, "row_to"), "9");
    EXPECT_EQ(value(store, d, "search"), "a\"b");
    EXPECT_EQ(value(store, d, "replace"), "c\"\"d");
    EXPECT_EQ(value(store, d, "match_byte"), "1");
    EXPECT_EQ(store.values(d).histories[0][1], "二");
}

TEST(ParameterStore, SearchTextWithAQuoteSurvivesAWriteAndRead) {
    TempDir dir;
    ParameterStore store;
    const OperationDecl& d = op("セル", "文字列置換");
    set(store, d, "search", "say \"hi\"");
    store.text_update('W', dir.path());
    ParameterStore again;
    again.text_update('R', dir.path());
    EXPECT_EQ(value(again, d, "search"), "say \"hi\"");
}

TEST(ParameterStore, ShortOrBadFilesLeaveTheDefaults) {
    TempDir dir;
    const OperationDecl& d = op("セル", "文字列置換");
    // Two lines only, then a check box line that does not fit a check box.
    put(dir.file("Cell_Tikan.txt"), "\"K\"\r\n\"7\"\r\n");
    put(dir.file("Sheet_Tikan.txt"), "\"s\"\r\n\"r\"\r\nmaybe\r\n1\r\n");
    // Not code page 932 and not UTF-8.
    put(dir.file("Cell_Search.txt"), std::string("\"\x81\"\r\n\xFF\xFE\r\n", 8));
    ParameterStore store;
    set(store, op("セル", "文字列検索"), "search", "keep");
    store.text_update('R', dir.path());
    EXPECT_EQ(value(store, d, "col_from"), "K");
    EXPECT_EQ(value(store, d, "row_from"), "7");
    EXPECT_EQ(value(store, d, "col_to"), "");
    EXPECT_EQ(value(store, d, "match_case"), "0");
    const OperationDecl& all = op("すべてのシート_セル", "文字列置換");
    EXPECT_EQ(value(store, all, "match_case"), "0") << "a line that does not fit is skipped";
    EXPECT_EQ(value(store, all, "match_byte"), "1");
    EXPECT_EQ(value(store, op("セル", "文字列検索"), "search"), "keep");
}

TEST(ParameterStore, MissingMainFilesAreCreatedEmpty) {
    TempDir dir;
    ParameterStore store;
    EXPECT_TRUE(messages_of(store, 'R', dir.path()).empty());
    EXPECT_TRUE(file::exists(dir.file("Cell_Tikan.txt")));
    EXPECT_EQ(slurp(dir.file("Cell_Tikan.txt")), "");
    EXPECT_TRUE(file::exists(dir.file("Excel_Func.txt")));
    EXPECT_EQ(value(store, op("セル", "文字列検索"), "look_in"), "formulas");
}

TEST(ParameterStore, PlainFileCutsAtACommaAndOptionsTakeALineEach) {
    TempDir dir;
    ParameterStore store;
    const OperationDecl& d = op("シート", "シート名変更");
    set(store, d, "old", "集計,旧");
    set(store, d, "new", "新");
    set(store, d, "basis", "part");
    store.text_update('W', dir.path());
    EXPECT_EQ(slurp(dir.file("Sheet_Name.txt")),
              text::to_cp932("集計,旧\r\n新\r\n0\r\n0\r\n1\r\n"));
    ParameterStore again;
    again.text_update('R', dir.path());
    EXPECT_EQ(value(again, d, "old"), "集計") << "a plain value is read up to its comma";
    EXPECT_EQ(value(again, d, "basis"), "part");
    EXPECT_EQ(again.values(d).histories[0][0], "集計,旧") << "the history keeps the whole text";
}

TEST(ParameterStore, OptionWithNoButtonSetIsNoChoice) {
    TempDir dir;
    put(dir.file("Sheet_Name.txt"), "a\r\nb\r\n0\r\n0\r\n0\r\n");
    ParameterStore store;
    store.text_update('R', dir.path());
    EXPECT_EQ(value(store, op("シート", "シート名変更"), "basis"), "");
}

TEST(ParameterStore, HistoriesOfUndeclaredPanesAreKeptAndTheirMainFilesLeftAlone) {
    // The main file of a catalogue entry whose pane has no fields declared, and a history file
    // that no declared field feeds.
    std::string main_file, history;
    for (const OperationDecl& d : declarations()) {
        if (main_file.empty() && d.fields.empty() && !d.main_file.empty()) main_file = d.main_file;
        for (std::size_t h = 0; h < d.history_files.size() && history.empty(); ++h) {
            bool fed = false;
            for (const Field& f : d.fields) fed = fed || f.history == static_cast<int>(h);
            if (!fed) history = d.history_files[h];
        }
    }
    if (main_file.empty() || history.empty()) GTEST_SKIP() << "every pane is declared in full";
    TempDir dir;
    put(dir.file(main_file), "\"whatever\"\r\n1\r\n");
    put(dir.file(history), "x\r\n\r\ny\r\n");
    ParameterStore store;
    store.text_update('R', dir.path());
    store.text_update('W', dir.path());
    EXPECT_EQ(slurp(dir.file(main_file)), "\"whatever\"\r\n1\r\n");
    EXPECT_EQ(slurp(dir.file(history)), "x\r\ny\r\n");
}

TEST(ParameterStore, EveryPassRegistersEachFileOnce) {
    TempDir dir;
    ParameterStore store;
    EXPECT_TRUE(messages_of(store, 'R', dir.path()).empty());
    EXPECT_TRUE(messages_of(store, 'W', dir.path()).empty());
    EXPECT_TRUE(messages_of(store, 'R', dir.path()).empty());
}

TEST(ParameterStore, UnreadableFolderGivesTheMessageAndDefaults) {
    ParameterStore store;
    auto msgs = messages_of(store, 'R', "/nonexistent/sheaflow/param");
    ASSERT_FALSE(msgs.empty());
    EXPECT_EQ(msgs[0].rfind("「/nonexistent/sheaflow/param/", 0), 0u);
    EXPECT_NE(msgs[0].find("」はありません。"), std::string::npos);
    auto w = messages_of(store, 'W', "/nonexistent/sheaflow/param");
    ASSERT_EQ(w.size(), 1u) << "one message for a pass that could not write";
}

TEST(ParameterStore, SetChecksTheValueAgainstTheField) {
    ParameterStore store;
    const OperationDecl& d = op("セル", "文字列検索");
    std::string msg;
    EXPECT_TRUE(store.set(d, "look_in", "values", msg));
    EXPECT_EQ(value(store, d, "look_in"), "values");
    EXPECT_TRUE(store.set(d, "look_in", "数式", msg)) << "a caption names its choice too";
    EXPECT_EQ(value(store, d, "look_in"), "formulas");
    EXPECT_FALSE(store.set(d, "look_in", "cells", msg));
    EXPECT_NE(msg.find("formulas, values"), std::string::npos);
    EXPECT_FALSE(store.set(d, "match_case", "2", msg));
    EXPECT_TRUE(store.set(d, "match_case", "true", msg));
    EXPECT_EQ(value(store, d, "match_case"), "1");
    EXPECT_FALSE(store.set(d, "nothing", "1", msg));
    EXPECT_NE(msg.find("nothing"), std::string::npos);
    EXPECT_FALSE(store.set(d, "search", "a\nb", msg));
    const OperationDecl& n = op("セル", "整数の桁数チェック");
    EXPECT_FALSE(store.set(n, "digits", "three", msg));
    EXPECT_TRUE(store.set(n, "digits", "３", msg));
    EXPECT_EQ(value(store, n, "digits"), "3");
}

TEST(ParameterStore, SharedAllSheetsRowsUseTheBaseValues) {
    ParameterStore store;
    const OperationDecl& all = op("すべてのシート_シート", "シート名変更");
    set(store, all, "new", "X");
    EXPECT_EQ(value(store, op("シート", "シート名変更"), "new"), "X");
}

TEST(ParameterStore, PageHeaderTextsLiveInTheirOwnFilesWithOneSharedHistory) {
    TempDir dir;
    ParameterStore store;
    const OperationDecl& d = op("ファイル", "頁設定_更新");
    set(store, d, "center_header", "&A");
    set(store, d, "right_header", "社外秘");
    set(store, d, "center_footer", "&P / &N");
    set(store, d, "print_area", "A1:F40");
    store.text_update('W', dir.path());
    EXPECT_EQ(slurp(file::join(dir.path(), "Page_Header1.txt")),
              "\"\"\r\n\"&A\"\r\n\"\x8e\xd0\x8a\x4f\x94\xe9\"\r\n");
    EXPECT_EQ(slurp(file::join(dir.path(), "Page_Header2.txt")), "\"\"\r\n\"&P / &N\"\r\n\"\"\r\n");
    EXPECT_EQ(slurp(file::join(dir.path(), "PageSetup_2.txt")).substr(0, 8), "A1:F40\r\n");
    const std::string main = slurp(file::join(dir.path(), "PageSetup_1.txt"));
    EXPECT_EQ(main.find("&A"), std::string::npos) << "header texts are not in the main file";

    ParameterStore again;
    again.text_update('R', dir.path());
    EXPECT_EQ(value(again, d, "center_header"), "&A");
    EXPECT_EQ(value(again, d, "right_header"), "社外秘");
    EXPECT_EQ(value(again, d, "center_footer"), "&P / &N");
    EXPECT_EQ(value(again, d, "print_area"), "A1:F40");
    // One drop-down list for all six texts, the first field's text on top.
    const auto& shared =
        again.values(d).histories.at(static_cast<std::size_t>(d.field("left_footer")->history));
    ASSERT_GE(shared.size(), 3u);
    EXPECT_EQ(shared[0], "&A");
    EXPECT_EQ(shared[1], "社外秘");
    EXPECT_EQ(shared[2], "&P / &N");
}

TEST(ParameterFolder, OverrideThenEnvironmentThenProgramFolderThenConfig) {
    TempDir dir;
    const char* saved_env = std::getenv("SHEAFLOW_PARAM_DIR");
    const std::string saved = saved_env ? saved_env : "";
    ::setenv("SHEAFLOW_PARAM_DIR", dir.file("env").c_str(), 1);
    EXPECT_EQ(parameter_folder(dir.file("given"), dir.path()), dir.file("given"));
    EXPECT_TRUE(file::is_directory(dir.file("given")));
    EXPECT_EQ(parameter_folder("", dir.path()), dir.file("env"));
    ::unsetenv("SHEAFLOW_PARAM_DIR");
    EXPECT_EQ(parameter_folder("", dir.path()), dir.file("Temp"));
    ::setenv("XDG_CONFIG_HOME", dir.file("xdg").c_str(), 1);
    EXPECT_EQ(parameter_folder("", dir.file("no/such/program/folder")),
              dir.file("xdg") + "/sheaflow/Temp")
        << "a program folder that cannot be written falls back to the user's config";
    EXPECT_TRUE(file::is_directory(dir.file("xdg") + "/sheaflow/Temp"));
    ::unsetenv("XDG_CONFIG_HOME");
    if (saved_env) ::setenv("SHEAFLOW_PARAM_DIR", saved.c_str(), 1);
}

TEST(SettingsFiles, FolderTxtHoldsOneLine) {
    TempDir dir;
    EXPECT_EQ(Dir_Read(dir.path()), "");
    Dir_Write(dir.path(), "/data/売上,2024");
    Dir_Write(dir.path(), "/data/売上,2024");
    EXPECT_EQ(slurp(dir.file("Folder.txt")), text::to_cp932("/data/売上,2024\r\n"));
    EXPECT_EQ(Dir_Read(dir.path()), "/data/売上,2024");
    Fldg_Full_Name_Write(dir.file("Tool_Macro"), "/m/Module1.bas");
    EXPECT_EQ(Fldg_Full_Name_Read(dir.file("Tool_Macro")), "/m/Module1.bas");
    EXPECT_EQ(Fldg_Full_Name_Read(dir.file("None")), "");
}

TEST(SettingsFiles, ListTxtKeepsLastUseAndToleratesBadRecords) {
    TempDir dir;
    auto t = *datetime::parse("2024-03-05 10:20:30");
    put(dir.file("List.txt"), text::to_cp932("\"セル\",\"文字列検索\",#2024-03-05 10:20:30#\r\n"
                                             "\"セル\",\"消えた処理\",#2024-03-06 00:00:00#\r\n"
                                             "\"セル\",\"文字列置換\",not a date\r\n"
                                             "broken\r\n"
                                             "\"Excel\",\"ColorIndex一覧\",#2024-01-01#\r\n"));
    Catalogue cat;
    List1_DayTime_Create(cat, dir.path());
    EXPECT_EQ(cat.most_recent("セル")->decl->name, "削除") << "the first row wins equal times";
    for (const auto& row : cat.rows())
        if (row.decl->category == "セル" && row.decl->name == "文字列検索") {
            EXPECT_EQ(row.last_used, t);
        }

    // Choosing an operation stamps it and rewrites the file from the catalogue.
    auto later =
        std::chrono::floor<std::chrono::seconds>(datetime::Clock::now()) + std::chrono::hours(1);
    List1_DayTime_Write(cat, dir.path(), "セル", "文字列置換", later);
    EXPECT_EQ(cat.most_recent("セル")->decl->name, "文字列置換");
    std::string text;
    ASSERT_TRUE(text::from_cp932(slurp(dir.file("List.txt")), text));
    EXPECT_EQ(text.find("消えた処理"), std::string::npos) << "unknown records are dropped";
    EXPECT_NE(text.find("\"セル\",\"文字列検索\",#2024-03-05 10:20:30#\r\n"), std::string::npos);

    Catalogue reread;
    List1_DayTime_Create(reread, dir.path());
    EXPECT_EQ(reread.most_recent("セル")->decl->name, "文字列置換");
    EXPECT_EQ(reread.most_recent("")->decl->name, "文字列置換");
}

}  // namespace
}  // namespace sheaflow::shell
