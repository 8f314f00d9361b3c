// The folder column of lists over subfolders: rows and records remember the folder they were
// found in, through the final sort, and the column names it relative to the target folder.
#include "report/folders.h"

#include <gtest/gtest.h>

#include "report/list_final.h"
#include "report/record_store.h"

namespace sheaflow::report {
namespace {

TEST(FolderColumn, rows_below_the_target_folder_say_where_they_were_found) {
    ResultTable t;
    t.set_title(0, "ファイル名");
    t.set_source("/data/target");
    t.new_row();
    t.set(0, "a.xlsx");
    t.set_source("/data/target/sub/inner");
    t.new_row();
    t.set(0, "a.xlsx");
    t.new_row();  // a blank separator stays blank
    ResultTable shown = with_folder_column(t, "/data/target/");
    EXPECT_EQ(shown.title(1), "フォルダー");
    EXPECT_EQ(shown.cell(0, 1), ".");
    EXPECT_EQ(shown.cell(1, 1), "sub/inner");
    EXPECT_EQ(shown.cell(2, 1), "");
    EXPECT_EQ(shown.row_source(1), "/data/target/sub/inner");

    // All in the target folder itself: nothing is ambiguous and the table stays as it was.
    ResultTable flat;
    flat.set_source("/data/target");
    flat.new_row();
    flat.set(0, "b.xlsx");
    EXPECT_EQ(with_folder_column(flat, "/data/target").title(1), "");

    // Rows rearranged by hand lose their folders rather than show wrong ones.
    t.rows().erase(t.rows().begin());
    EXPECT_EQ(t.row_source(0), "");
    EXPECT_EQ(relative_folder("/elsewhere/x", "/data/target"), "/elsewhere/x");
    EXPECT_EQ(relative_folder("/x/y", "/"), "x/y");
}

TEST(FolderColumn, records_carry_their_folder_through_the_final_sort) {
    RecordStore store;
    ResultTable table;
    store.set_source("/t/z");
    store.add({"b.xlsx"}, {"b.xlsx"});
    store.set_source("/t");
    store.add({"a.xlsx"}, {"a.xlsx"});
    Final_Process(store, table, {"ファイル名"},
                  [](const RecordStore::Record& r, ResultTable& t) { t.set(0, r.field(0)); });
    ASSERT_EQ(table.last_row(), 2);  // a, separator, b
    EXPECT_EQ(table.cell(0, 0), "a.xlsx");
    EXPECT_EQ(table.row_source(0), "/t");
    EXPECT_EQ(table.row_source(2), "/t/z");
    EXPECT_EQ(with_folder_column(table, "/t").cell(2, 1), "z");
}

}  // namespace
}  // namespace sheaflow::report
