// The final stage of a list, with the sheet-name list as the model.
#include "report/list_final.h"

#include <gtest/gtest.h>

#include "report/render.h"

namespace sheaflow::report {
namespace {

void add_books(RecordStore& s, SheetListSort sort) {
    sheet_name_list_add(s, sort, "b.xlsx", "集計", "Sheet2", false);
    sheet_name_list_add(s, sort, "a.xlsx", "明細", "Sheet1", true);
    sheet_name_list_add(s, sort, "b.xlsx", "明細", "Sheet1", true);
    sheet_name_list_add(s, sort, "a.xlsx", "集計", "Sheet3", false);
}

TEST(SheetNameList, ByFileGroupsFilesWithOneSeparatorBetween) {
    RecordStore s;
    ResultTable t;
    add_books(s, SheetListSort::ByFile);
    sheet_name_list_final(s, t, SheetListSort::ByFile,
                          [](const std::string& name) { return "[" + name + "]"; });
    EXPECT_EQ(Display_Tab(t, "\n"),
              "ファイル名\t最前面\tコード名\tシート名\n"
              "a.xlsx\t＊\tSheet1\t[明細]\n"
              "a.xlsx\t \tSheet3\t[集計]\n"
              "\t\t\t\n"
              "b.xlsx\t＊\tSheet1\t[明細]\n"
              "b.xlsx\t \tSheet2\t[集計]\n");
}

TEST(SheetNameList, BySheetAndByCodeColumns) {
    RecordStore s;
    ResultTable t;
    add_books(s, SheetListSort::BySheet);
    sheet_name_list_final(s, t, SheetListSort::BySheet);
    ASSERT_EQ(t.last_row(), 4);
    EXPECT_EQ(t.titles(), (ResultTable::Row{"シート名", "コード名", "最前面", "ファイル名"}));
    // 明細 (U+660E) sorts before 集計 (U+96C6); within a sheet name, by code name then file.
    EXPECT_EQ(t.rows()[0], (ResultTable::Row{"明細", "Sheet1", "＊", "a.xlsx"}));
    EXPECT_EQ(t.rows()[1], (ResultTable::Row{"明細", "Sheet1", "＊", "b.xlsx"}));
    EXPECT_TRUE(t.rows()[2].empty());
    EXPECT_EQ(t.rows()[3], (ResultTable::Row{"集計", "Sheet2", " ", "b.xlsx"}));

    RecordStore c;
    ResultTable tc;
    add_books(c, sheet_list_sort("code"));
    sheet_name_list_final(c, tc, SheetListSort::ByCode);
    EXPECT_EQ(tc.titles()[0], "コード名");
    EXPECT_EQ(tc.cell(0, 0), "Sheet1");
    EXPECT_EQ(tc.cell(0, 1), "明細");
    EXPECT_EQ(tc.last_row(), 5) << "three code names, two separators";
}

TEST(SheetNameList, EmptyStoreLeavesTheTableEmpty) {
    RecordStore s;
    ResultTable t;
    sheet_name_list_final(s, t, SheetListSort::ByFile);
    EXPECT_TRUE(t.empty());
    EXPECT_TRUE(t.titles().empty());
}

TEST(FinalProcess, SameKeyZeroMakesNoSeparator) {
    RecordStore s;
    ResultTable t;
    for (const char* k : {"x", "x", "x"}) s.add(std::vector<std::string>{k}, {k});
    Final_Process(s, t, {"T"},
                  [](const RecordStore::Record& r, ResultTable& tt) { tt.set(0, r.field(0)); });
    EXPECT_EQ(t.last_row(), 2);
    EXPECT_EQ(sheet_list_sort("anything"), SheetListSort::ByFile);
}

}  // namespace
}  // namespace sheaflow::report
