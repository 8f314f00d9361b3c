// The target list over a real folder tree.
#include "run/target_list.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "shell/temp_dir.h"
#include "util/file.h"

namespace sheaflow::run {
namespace {

using sheaflow::testing::TempDir;

void touch(const std::string& path) { ASSERT_TRUE(file::write_all(path, "x").has_value()); }

std::vector<std::string> relative(const TargetList& l, const std::string& root) {
    std::vector<std::string> out;
    for (const TargetFile& f : l.files) {
        std::string folder = f.folder.substr(root.size());
        out.push_back(folder.empty() ? f.name : folder.substr(1) + "/" + f.name);
    }
    return out;
}

TEST(TargetList, ListsWorkbooksOnlyInCaseInsensitiveOrder) {
    TempDir d;
    for (const char* n : {"data.csv", "Book.XLSX", "notes.txt", "Book.xlsb", "book.xls", "a.XLSM",
                          ".hidden.xlsx", "~$Book.XLSX", ".~lock.data.csv#", "noext", "C.csv"})
        touch(d.file(n));
    ASSERT_TRUE(file::make_directories(d.file("folder.xlsx")));
    ASSERT_EQ(::symlink("gone.xlsx", d.file("broken.xlsx").c_str()), 0);
    ASSERT_EQ(::symlink(d.file("C.csv").c_str(), d.file("link.csv").c_str()), 0);
    TargetList l = Lst_FileName_Load(d.path(), false);
    EXPECT_TRUE(l.folder_exists);
    EXPECT_EQ(relative(l, d.path()), (std::vector<std::string>{"a.XLSM", "book.xls", "Book.XLSX",
                                                               "C.csv", "data.csv", "link.csv"}));
    for (const TargetFile& f : l.files) EXPECT_TRUE(f.selected);
}

TEST(TargetList, SubfoldersStandTogetherAfterTheirParent) {
    TempDir d;
    touch(d.file("z.xlsx"));
    ASSERT_TRUE(file::make_directories(d.file("Sub/inner")));
    ASSERT_TRUE(file::make_directories(d.file("alpha")));
    ASSERT_TRUE(file::make_directories(d.file(".git")));
    touch(d.file("Sub/b.csv"));
    touch(d.file("Sub/A.csv"));
    touch(d.file("Sub/inner/c.xlsx"));
    touch(d.file("alpha/y.xls"));
    touch(d.file(".git/x.xlsx"));
    ASSERT_EQ(::symlink(d.path().c_str(), d.file("Sub/loop").c_str()), 0);

    EXPECT_EQ(relative(Lst_FileName_Load(d.path(), false), d.path()),
              (std::vector<std::string>{"z.xlsx"}));
    EXPECT_EQ(relative(Lst_FileName_Load(d.path() + "/", true), d.path()),
              (std::vector<std::string>{"z.xlsx", "alpha/y.xls", "Sub/A.csv", "Sub/b.csv",
                                        "Sub/inner/c.xlsx"}));
}

TEST(TargetList, LinksToFoldersAreNotFollowedOutOfTheTarget) {
    TempDir inside, outside;
    touch(inside.file("own.xlsx"));
    touch(outside.file("elsewhere.xlsx"));
    ASSERT_TRUE(file::make_directories(outside.file("deep")));
    touch(outside.file("deep/far.xlsx"));
    ASSERT_EQ(::symlink(outside.path().c_str(), inside.file("away").c_str()), 0);
    ASSERT_EQ(::symlink(outside.file("elsewhere.xlsx").c_str(), inside.file("linked.xlsx").c_str()),
              0);
    // The link to a workbook is listed (a save goes through it); the linked folder is not searched.
    EXPECT_EQ(relative(Lst_FileName_Load(inside.path(), true), inside.path()),
              (std::vector<std::string>{"linked.xlsx", "own.xlsx"}));
}

TEST(TargetList, EmptyMissingOrUnreadableFolder) {
    TargetList none = Lst_FileName_Load("", true);
    EXPECT_FALSE(none.folder_exists);
    EXPECT_TRUE(none.files.empty());
    TargetList missing = Lst_FileName_Load("/no/such/folder/anywhere", true);
    EXPECT_FALSE(missing.folder_exists);
    EXPECT_TRUE(missing.files.empty());

    TempDir d;
    touch(d.file("a.csv"));
    ASSERT_TRUE(file::make_directories(d.file("closed")));
    touch(d.file("closed/b.csv"));
    ::chmod(d.file("closed").c_str(), 0);
    TargetList l = Lst_FileName_Load(d.path(), true);
    ::chmod(d.file("closed").c_str(), 0755);
    EXPECT_TRUE(l.folder_exists);
    EXPECT_GE(l.files.size(), 1u) << "an unreadable subfolder does not stop the search";
    EXPECT_EQ(l.files.front().name, "a.csv");
}

TEST(TargetList, FilterPatternsAndLockFiles) {
    TempDir d;
    for (const char* n : {"a.TXT", "b.txt", "c.csv", "d"}) touch(d.file(n));
    EXPECT_EQ(File_Search(d.path(), false, "*.txt").size(), 2u);
    EXPECT_EQ(File_Search(d.path(), false, "*.*").size(), 4u);
    EXPECT_EQ(File_Search(d.path(), false, " *.csv ; *.TXT").size(), 3u);
    int visited = 0;
    File_Search(d.path(), false, "*.*", [&] { ++visited; });
    EXPECT_EQ(visited, 4);
    EXPECT_TRUE(is_office_lock_file("~$売上.xlsx"));
    EXPECT_TRUE(is_office_lock_file(".~lock.売上.xlsx#"));
    EXPECT_FALSE(is_office_lock_file("売上~$.xlsx"));
}

}  // namespace
}  // namespace sheaflow::run
