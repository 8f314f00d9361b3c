// The drawing-object operations over a workbook with one object of each kind and over corpus
// workbooks: split per object (names, description sheet, one object per file, what LibreOffice
// sees), the list, deletion by kind and name, moving, scaling, renaming, and copying and cutting
// objects between sheets and workbooks.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <set>

#include "object_run.h"

namespace sheaflow::test {
namespace {

namespace fs = std::filesystem;

std::string corpus(const std::string& rel) { return std::string(SHEAFLOW_CORPUS_DIR) + "/" + rel; }

class ObjectOpsTest : public OperationRunTest {
protected:
    // The objects of a sheet of a saved workbook, as "type:name@cells".
    std::vector<std::string> objects_of(const fs::path& file, int sheet = 1) {
        auto app = xl::native::create_application();
        auto book = app->workbooks().open(file.string(), true);
        if (!book) return {"!" + book.error().message};
        std::vector<std::string> out;
        for (const auto& o : (*book)->worksheet(sheet)->objects())
            out.push_back(o.type_word + ":" + o.name + "@" +
                          xl::format_address({o.first_row, o.first_col, o.last_row, o.last_col},
                                             false, false));
        return out;
    }
    std::vector<std::string> cells_of(const fs::path& file, int sheet, int row) {
        auto app = xl::native::create_application();
        auto book = app->workbooks().open(file.string(), true);
        if (!book || (*book)->worksheet_count() < sheet) return {};
        std::vector<std::string> out;
        for (int c = 1; c <= 4; ++c) out.push_back((*book)->worksheet(sheet)->cell_text({row, c}));
        return out;
    }
    std::vector<std::string> sheets_of(const fs::path& file) {
        auto app = xl::native::create_application();
        auto book = app->workbooks().open(file.string(), true);
        std::vector<std::string> out;
        if (book)
            for (int i = 1; i <= (*book)->sheet_count(); ++i)
                out.push_back((*book)->sheet(i)->name());
        return out;
    }
    // What LibreOffice sees on the files' sheets: one "== file\tsheet\tshapes=..." line each.
    std::string office_view(const std::vector<fs::path>& files) {
        std::string cmd =
            "/usr/bin/python3 '" + std::string(SHEAFLOW_TEST_DATA_DIR) + "/lo_objects.py'";
        for (const auto& f : files) cmd += " '" + f.string() + "'";
        cmd += " 2>/dev/null";
        std::string out;
        if (FILE* p = ::popen(cmd.c_str(), "r")) {
            char buf[4096];
            while (std::size_t n = std::fread(buf, 1, sizeof buf, p)) out.append(buf, n);
            ::pclose(p);
        }
        return out;
    }
    static bool has_office() { return std::system("command -v soffice >/dev/null 2>&1") == 0; }
    std::set<std::string> files_made() const {
        std::set<std::string> out;
        for (const auto& e : fs::directory_iterator(dir_ / "out"))
            out.insert(e.path().filename().string());
        return out;
    }
};

TEST_F(ObjectOpsTest, SplitPerObjectWritesOneFilePerObjectWithItsDescription) {
    add_target("colours.xlsx", "c.xlsx");
    // A name with "/" shows with a blank in the file name.
    ASSERT_EQ(
        run("シート", "オブジェクト名の変更", {{"old_name", "Rectangle 1"}, {"new_name", "枠/1"}})
            .failed_files,
        0);
    auto outcome =
        run("ファイル", "オブジェクトごとのファイルに分割", {{"folder", (dir_ / "out").string()}});
    ASSERT_EQ(outcome.failed_files, 0) << outcome.error_text;
    const std::set<std::string> expected = {
        "c-コメント-B2.xlsx",           "c-グラフ-Chart 7～E10:I21.xlsx",
        "c-四角形-枠 1～B4:D8.xlsx",    "c-グループ-Group 3～F4:H8.xlsx",
        "c-図-Picture 6～B10:C12.xlsx", "c-ハイパーリンク-C3.xlsx"};
    ASSERT_EQ(files_made(), expected);
    // Each piece keeps its object alone, with the cells, and describes it on a second sheet.
    fs::path chart = dir_ / "out" / "c-グラフ-Chart 7～E10:I21.xlsx";
    EXPECT_EQ(objects_of(chart), (std::vector<std::string>{"グラフ:Chart 7@E10:I21"}));
    EXPECT_EQ(sheets_of(chart).front(), "Colours");
    EXPECT_EQ(cells_of(chart, 1, 1), (std::vector<std::string>{"1", "2", "3", "4"}));
    EXPECT_EQ(cells_of(chart, 2, 1),
              (std::vector<std::string>{"シート名", "セル位置", "タイプ", "オブジェクト名"}));
    EXPECT_EQ(cells_of(chart, 2, 2),
              (std::vector<std::string>{"Colours", "E10:I21", "グラフ", "Chart 7～E10:I21"}));
    EXPECT_EQ(objects_of(dir_ / "out" / "c-コメント-B2.xlsx"),
              (std::vector<std::string>{"コメント:B2@B2"}));
    EXPECT_EQ(objects_of(dir_ / "out" / "c-ハイパーリンク-C3.xlsx"),
              (std::vector<std::string>{"ハイパーリンク:C3@C3"}));
    // The source is not changed by the split (its objects are all still there).
    EXPECT_EQ(objects_of(dir_ / "c.xlsx").size(), 6u);
    if (!has_office()) GTEST_SKIP() << "no soffice";
    std::vector<fs::path> pieces;
    for (const std::string& f : expected) pieces.push_back(dir_ / "out" / f);
    std::string seen = office_view(pieces);
    EXPECT_NE(seen.find("c-グラフ-Chart 7～E10:I21.xlsx\tColours\tshapes=1\tnotes=0"),
              std::string::npos)
        << seen;
    EXPECT_NE(
        seen.find("c-図-Picture 6～B10:C12.xlsx\tColours\tshapes=1\tnotes=0\tlinks=0\tPicture 6"),
        std::string::npos)
        << seen;
    EXPECT_NE(seen.find("c-グループ-Group 3～F4:H8.xlsx\tColours\tshapes=1"), std::string::npos);
    EXPECT_NE(seen.find("c-四角形-枠 1～B4:D8.xlsx\tColours\tshapes=1\tnotes=0\tlinks=0\t枠/1"),
              std::string::npos);
    EXPECT_NE(seen.find("c-コメント-B2.xlsx\tColours\tshapes=1\tnotes=1"), std::string::npos);
    EXPECT_EQ(seen.find("!!"), std::string::npos) << seen;
}

TEST_F(ObjectOpsTest, SplitPerObjectOfAMacroWorkbookGivesPlainWorkbooks) {
    add_target(corpus("xlsm/olet-embedded-simple-2007.xlsm"), "e.xlsm");
    add_target("styles.xlsx", "plain.xlsx");
    auto outcome =
        run("ファイル", "オブジェクトごとのファイルに分割", {{"folder", (dir_ / "out").string()}});
    EXPECT_EQ(files_made(),
              (std::set<std::string>{"e-埋め込みOLEオブジェクト-Object 1～A2:B4.xlsx"}));
    // A sheet without objects makes no file and one error line.
    EXPECT_NE(
        outcome.error_text.find("plain.xlsx オブジェクトがなくて、ファイルを作成してません。"),
        std::string::npos)
        << outcome.error_text;
    fs::path piece = dir_ / "out" / "e-埋め込みOLEオブジェクト-Object 1～A2:B4.xlsx";
    EXPECT_EQ(objects_of(piece),
              (std::vector<std::string>{"埋め込みOLEオブジェクト:Object 1@A2:B4"}));
    if (!has_office()) GTEST_SKIP() << "no soffice";
    std::string seen = office_view({piece});
    EXPECT_NE(seen.find("\tTabelle1\tshapes=1"), std::string::npos) << seen;
}

TEST_F(ObjectOpsTest, ListNamesEveryObjectOfEverySheet) {
    add_target("colours.xlsx", "c.xlsx");
    ASSERT_EQ(run("シート", "オブジェクト一覧").failed_files, 0);
    auto listed = rows(8);
    ASSERT_EQ(listed.size(), 6u);
    EXPECT_EQ(listed[0], (std::vector<std::string>{"c.xlsx", "Colours", "コメント", "B2", "B2",
                                                   listed[0][5], listed[0][6], "note text more"}));
    EXPECT_EQ(listed[2], (std::vector<std::string>{"c.xlsx", "Colours", "四角形", "Rectangle 1",
                                                   "B4:D8", "96.00", "60.00", "box/text"}));
    EXPECT_EQ(listed[5][2], "ハイパーリンク");
}

TEST_F(ObjectOpsTest, DeleteMoveAndScaleChooseByKindAndName) {
    add_target("colours.xlsx", "c.xlsx");
    // Charts and pictures whose names end in 7: the chart only.
    ASSERT_EQ(run("シート", "オブジェクト削除",
                  {{"charts", "1"}, {"pictures", "1"}, {"shapes", "0"}, {"name", "*7"}})
                  .failed_files,
              0);
    ASSERT_EQ(run("シート", "オブジェクト移動", {{"name", "pic*"}, {"cell", "f30"}}).failed_files,
              0);
    ASSERT_EQ(run("シート", "オブジェクト拡大縮小",
                  {{"name", "Group ?"}, {"width", "200"}, {"keep_ratio", "1"}})
                  .failed_files,
              0);
    EXPECT_EQ(objects_of(dir_ / "c.xlsx"),
              (std::vector<std::string>{"コメント:B2@B2", "四角形:Rectangle 1@B4:D8",
                                        "グループ:Group 3@F4:J12", "図:Picture 6@F30:G32",
                                        "ハイパーリンク:C3@C3"}));
    // Bad panes are refused by their checks.
    EXPECT_FALSE(
        run("シート", "オブジェクト削除", {{"charts", "0"}, {"pictures", "0"}, {"shapes", "0"}})
            .checked);
    EXPECT_FALSE(run("シート", "オブジェクト移動", {{"cell", "A1:B2"}}).checked);
    EXPECT_FALSE(run("シート", "オブジェクト拡大縮小", {{"width", "0"}}).checked);
}

TEST_F(ObjectOpsTest, CopyFromAnotherWorkbookAndCutBetweenSheets) {
    add_target("styles.xlsx", "s.xlsx");
    auto copied = run("編集", "コピー貼付_オブジェクト",
                      {{"source", "file"},
                       {"source_file", std::string(SHEAFLOW_TEST_DATA_DIR) + "/colours.xlsx"},
                       {"names", "Chart 7，Picture 6, C3, nothing*"},
                       {"dest", "B2"}});
    EXPECT_NE(copied.error_text.find("オブジェクト「nothing*」がありません。"), std::string::npos)
        << copied.error_text;
    EXPECT_EQ(objects_of(dir_ / "s.xlsx"),
              (std::vector<std::string>{"グラフ:Chart 7@B2:F13", "図:Picture 6@B2:C4",
                                        "ハイパーリンク:B2@B2"}));
    add_target("colours.xlsx", "c.xlsx");
    files_.erase(files_.begin());
    ASSERT_EQ(run("編集", "切取り貼付_オブジェクト",
                  {{"source_sheet", "Colours"}, {"dest_sheet", "Other"}, {"names", "Rect*"}})
                  .failed_files,
              0);
    EXPECT_EQ(objects_of(dir_ / "c.xlsx", 2),
              (std::vector<std::string>{"四角形:Rectangle 1@B4:D8"}));
    EXPECT_EQ(objects_of(dir_ / "c.xlsx", 1).size(), 5u);
    if (!has_office()) GTEST_SKIP() << "no soffice";
    std::string seen = office_view({dir_ / "s.xlsx", dir_ / "c.xlsx"});
    EXPECT_NE(seen.find("c.xlsx\tOther\tshapes=1\tnotes=0\tlinks=0\tRectangle 1"),
              std::string::npos)
        << seen;
    EXPECT_EQ(seen.find("!!"), std::string::npos) << seen;
    EXPECT_NE(seen.find("Chart 7|Picture 6"), std::string::npos) << seen;
}

TEST_F(ObjectOpsTest, EmbeddedObjectsAndControlsCopyAndCutWithTheirParts) {
    // Data has notes (a VML drawing) and no drawing part.
    add_target("structure.xlsx", "t.xlsx");
    const std::string controls = std::string(SHEAFLOW_TEST_DATA_DIR) + "/controls.xlsx";
    auto copied = run("編集", "コピー貼付_オブジェクト",
                      {{"source", "file"},
                       {"source_file", controls},
                       {"source_sheet", "Controls"},
                       {"dest_sheet", "Data"},
                       {"names", "*"},
                       {"dest", "H2"}});
    EXPECT_EQ(copied.error_text, "");
    std::vector<std::string> data = objects_of(dir_ / "t.xlsx", 1);
    for (const char* want : {"埋め込みOLEオブジェクト:Object 3@H2:K7",
                             "コントロール:Check Box 1@H2:K4", "コントロール:CommandButton1@H2:K5"})
        EXPECT_NE(std::find(data.begin(), data.end(), want), data.end()) << want;
    // Cut from one sheet to the other: the source sheet keeps none of them.
    add_target("controls.xlsx", "c.xlsx");
    files_.erase(files_.begin());
    auto cut = run("編集", "切取り貼付_オブジェクト",
                   {{"source_sheet", "Controls"}, {"dest_sheet", "Empty"}, {"names", "*"}});
    EXPECT_EQ(cut.failed_files, 0) << cut.error_text;
    EXPECT_EQ(objects_of(dir_ / "c.xlsx", 1), std::vector<std::string>{});
    EXPECT_EQ(objects_of(dir_ / "c.xlsx", 2),
              (std::vector<std::string>{"埋め込みOLEオブジェクト:Object 3@B9:E14",
                                        "コントロール:Check Box 1@B2:E4",
                                        "コントロール:CommandButton1@B5:E8"}));
    // Copied onto their own sheet: every one found although each copy renumbers the list, the
    // ActiveX button under a name of its own.
    auto again = run("編集", "コピー貼付_オブジェクト",
                     {{"source", "target"},
                      {"source_sheet", "Empty"},
                      {"dest_sheet", "Empty"},
                      {"names", "*"},
                      {"dest", "H20"}});
    EXPECT_EQ(again.error_text, "");
    std::vector<std::string> both = objects_of(dir_ / "c.xlsx", 2);
    EXPECT_EQ(both.size(), 6u);
    EXPECT_NE(std::find(both.begin(), both.end(), "コントロール:CommandButton2@H20:K23"),
              both.end());
    if (!has_office()) GTEST_SKIP() << "no soffice";
    std::string seen = office_view({dir_ / "t.xlsx", dir_ / "c.xlsx"});
    EXPECT_EQ(seen.find("!!"), std::string::npos) << seen;
    EXPECT_NE(seen.find("c.xlsx\tControls\tshapes=0\t"), std::string::npos) << seen;
    EXPECT_NE(seen.find("c.xlsx\tEmpty\tshapes=6\t"), std::string::npos) << seen;
    EXPECT_NE(seen.find("t.xlsx\tData\tshapes=4\tnotes=1\t"), std::string::npos) << seen;
}

TEST_F(ObjectOpsTest, NotesAreCopiedWithTheirThreads) {
    add_target("styles.xlsx", "s.xlsx");
    auto copied = run("編集", "コピー貼付_オブジェクト",
                      {{"source", "file"},
                       {"source_file", corpus("xlsx/sjs-threaded_comments_none.xlsx")},
                       {"names", "E5"},
                       {"dest", "C3"}});
    EXPECT_EQ(copied.error_text, "");
    EXPECT_EQ(objects_of(dir_ / "s.xlsx"), std::vector<std::string>{"コメント:C3@C3"});
    if (!has_office()) GTEST_SKIP() << "no soffice";
    std::string seen = office_view({dir_ / "s.xlsx"});
    EXPECT_EQ(seen.find("!!"), std::string::npos) << seen;
    EXPECT_NE(seen.find("s.xlsx\t"), std::string::npos) << seen;
    EXPECT_NE(seen.find("\tnotes=1\t"), std::string::npos) << seen;
}

}  // namespace
}  // namespace sheaflow::test
