// Safe replacement of files: what is refused and left as it was, what a save keeps of the file it
// replaces, the Japanese texts of system errors, and the clean-up of what killed saves left.
#include "util/safe_save.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>

#include "shell/temp_dir.h"
#include "util/file.h"

namespace sheaflow::file {
namespace {

namespace fs = std::filesystem;
using sheaflow::testing::TempDir;

std::string content(const std::string& path) {
    std::string bytes;
    EXPECT_TRUE(read_all(path, bytes)) << path;
    return bytes;
}

int entry_count(const std::string& folder) {
    int n = 0;
    for (const auto& e : fs::directory_iterator(folder)) {
        (void)e;
        ++n;
    }
    return n;
}

mode_t mode_of(const std::string& path) {
    struct stat st {};
    EXPECT_EQ(::stat(path.c_str(), &st), 0);
    return st.st_mode & 07777;
}

TEST(SafeSave, replaces_the_content_and_keeps_the_mode_leaving_nothing_beside) {
    TempDir d;
    const std::string target = d.file("book.xlsx");
    ASSERT_TRUE(replace_file(target, "old"));
    ASSERT_EQ(::chmod(target.c_str(), 0640), 0);
    ASSERT_TRUE(replace_file(target, "new content"));
    EXPECT_EQ(content(target), "new content");
    EXPECT_EQ(mode_of(target), 0640u);
    EXPECT_EQ(entry_count(d.path()), 1);
}

TEST(SafeSave, a_name_near_the_system_limit_still_saves) {
    TempDir d;
    // 250 bytes: a temporary name built from the target's would pass the 255-byte limit.
    const std::string target = d.file(std::string(245, 'a') + ".xlsx");
    ASSERT_TRUE(replace_file(target, "x"));
    auto r = replace_file(target, "y");
    ASSERT_TRUE(r) << r.error().message;
    EXPECT_EQ(content(target), "y");
    // Past the limit the message says so in words.
    auto too_long = replace_file(d.file(std::string(300, 'b') + ".xlsx"), "z");
    ASSERT_FALSE(too_long);
    EXPECT_NE(too_long.error().message.find("ファイル名またはパスが長すぎます"), std::string::npos)
        << too_long.error().message;
}

TEST(SafeSave, read_only_files_and_folders_and_other_kinds_are_refused_untouched) {
    TempDir d;
    const std::string file = d.file("ro.xlsx");
    ASSERT_TRUE(replace_file(file, "keep"));
    ASSERT_EQ(::chmod(file.c_str(), 0444), 0);
    auto r = replace_file(file, "lost");
    ASSERT_FALSE(r);
    EXPECT_EQ(r.error().code, Error::Code::Refused);
    EXPECT_EQ(r.error().message, "ファイル「" + file + "」は読み取り専用のため、保存できません。");
    EXPECT_EQ(content(file), "keep");

    const std::string folder = d.file("locked");
    ASSERT_TRUE(make_directories(folder));
    const std::string inside = folder + "/b.xlsx";
    ASSERT_TRUE(replace_file(inside, "keep"));
    ASSERT_EQ(::chmod(folder.c_str(), 0555), 0);
    r = replace_file(inside, "lost");
    ::chmod(folder.c_str(), 0755);
    ASSERT_FALSE(r);
    EXPECT_NE(r.error().message.find("フォルダー「" + folder + "」に書き込めない"),
              std::string::npos);
    EXPECT_EQ(content(inside), "keep");
    EXPECT_EQ(entry_count(folder), 1);

    const std::string fifo = d.file("pipe.xlsx");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0644), 0);
    r = replace_file(fifo, "x");
    ASSERT_FALSE(r);
    EXPECT_NE(r.error().message.find("通常のファイルではない"), std::string::npos);
    struct stat st {};
    ASSERT_EQ(::lstat(fifo.c_str(), &st), 0);
    EXPECT_TRUE(S_ISFIFO(st.st_mode));

    r = replace_file(d.file("missing/x.xlsx"), "x");
    ASSERT_FALSE(r);
    EXPECT_EQ(r.error().message, "保存先のフォルダー「" + d.file("missing") + "」がありません。");
}

TEST(SafeSave, hard_links_are_refused_and_symbolic_links_are_saved_through) {
    TempDir d;
    const std::string a = d.file("a.xlsx");
    const std::string b = d.file("b.xlsx");
    ASSERT_TRUE(replace_file(a, "shared"));
    ASSERT_EQ(::link(a.c_str(), b.c_str()), 0);
    auto r = replace_file(a, "new");
    ASSERT_FALSE(r);
    EXPECT_NE(r.error().message.find("ハードリンク"), std::string::npos);
    EXPECT_EQ(content(a), "shared");
    EXPECT_EQ(content(b), "shared");

    TempDir elsewhere;
    const std::string real = elsewhere.file("real.xlsx");
    const std::string link = d.file("link.xlsx");
    ASSERT_TRUE(replace_file(real, "before"));
    ASSERT_EQ(::chmod(real.c_str(), 0600), 0);
    ASSERT_EQ(::symlink(real.c_str(), link.c_str()), 0);
    ASSERT_TRUE(replace_file(link, "after"));
    struct stat st {};
    ASSERT_EQ(::lstat(link.c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    EXPECT_EQ(content(real), "after");
    EXPECT_EQ(mode_of(real), 0600u);
    EXPECT_EQ(entry_count(elsewhere.path()), 1);

    ASSERT_EQ(::symlink(d.file("gone.xlsx").c_str(), d.file("broken.xlsx").c_str()), 0);
    r = replace_file(d.file("broken.xlsx"), "x");
    ASSERT_FALSE(r);
    EXPECT_FALSE(fs::exists(d.file("gone.xlsx")));
}

TEST(SafeSave, failures_at_each_stage_leave_the_target_and_say_what_happened) {
    TempDir d;
    const std::string target = d.file("t.xlsx");
    ASSERT_TRUE(replace_file(target, "keep"));
    for (const char* stage : {"write", "sync", "rename"}) {
        SCOPED_TRACE(stage);
        std::string failing = stage;
        detail::save_fault_hook = [&](std::string_view s) { return s != failing; };
        detail::fault_errno = ENOSPC;
        auto r = replace_file(target, "lost");
        detail::save_fault_hook = nullptr;
        detail::fault_errno = EIO;
        ASSERT_FALSE(r);
        EXPECT_EQ(r.error().message,
                  "ファイル「" + target + "」を保存できません（ディスクの空き容量が足りません）。");
        EXPECT_TRUE(r.error().whole_run);
        EXPECT_EQ(content(target), "keep");
        EXPECT_EQ(entry_count(d.path()), 1);
    }
    // A failure of the file's own is not the whole run's.
    auto r = replace_file(target, [](int, const std::string&) -> Result<void> {
        return Error::make(Error::Code::Io, "書けません");
    });
    ASSERT_FALSE(r);
    EXPECT_FALSE(r.error().whole_run);
    EXPECT_EQ(r.error().path, target);
    EXPECT_EQ(errno_text(EACCES), "書き込みの権限がありません");
    EXPECT_EQ(errno_text(EROFS), "読み取り専用のディスクです");
    EXPECT_TRUE(errno_is_whole_run(EROFS));
    EXPECT_FALSE(errno_is_whole_run(EACCES));
}

TEST(SafeSave, open_regular_never_blocks_and_refuses_what_is_not_a_file) {
    TempDir d;
    const std::string fifo = d.file("pipe.xlsx");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0644), 0);
    ::alarm(20);  // a blocking open would hang here: the alarm ends the test program instead
    auto r = open_regular(fifo);
    ::alarm(0);
    ASSERT_FALSE(r);
    EXPECT_FALSE(open_regular(d.path()));
    auto missing = open_regular(d.file("none.xlsx"));
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().code, Error::Code::NotFound);
    ASSERT_TRUE(replace_file(d.file("ok.xlsx"), "x"));
    auto ok = open_regular(d.file("ok.xlsx"));
    ASSERT_TRUE(ok);
    EXPECT_EQ(::fcntl(*ok, F_GETFL) & O_NONBLOCK, 0);
    ::close(*ok);
}

TEST(SafeSave, stale_files_of_killed_saves_go_and_live_or_new_ones_stay) {
    TempDir d;
    auto make = [&](const std::string& name, bool old) {
        const std::string p = d.file(name);
        EXPECT_TRUE(replace_file(p, "partial"));
        if (old) fs::last_write_time(p, fs::last_write_time(p) - std::chrono::hours(1));
        return p;
    };
    const std::string stale = make(".sheaflow-save-a1B2c3.tmp", true);
    const std::string legacy = make(".book.xlsx.sheaflow-Q9w8E7", true);
    const std::string fresh = make(".sheaflow-save-zzzzzz.tmp", false);
    const std::string live = make(".sheaflow-save-LIVE00.tmp", true);
    const std::string unrelated = make(".sheaflow-save-notes.txt", true);
    const std::string workbook = make("book.xlsx", true);
    // A save in progress holds its temporary file locked.
    int fd = ::open(live.c_str(), O_RDWR);
    ASSERT_GE(fd, 0);
    struct flock fl {};
    fl.l_type = F_WRLCK;
    fl.l_whence = SEEK_SET;
    ASSERT_EQ(::fcntl(fd, F_OFD_SETLK, &fl), 0);

    const std::time_t now = std::time(nullptr);
    EXPECT_EQ(remove_stale_save_files(d.path(), now - 60), 2);
    ::close(fd);
    EXPECT_FALSE(fs::exists(stale));
    EXPECT_FALSE(fs::exists(legacy));
    for (const std::string& kept : {fresh, live, unrelated, workbook})
        EXPECT_TRUE(fs::exists(kept)) << kept;
}

}  // namespace
}  // namespace sheaflow::file
