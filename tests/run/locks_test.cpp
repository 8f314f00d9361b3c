// File locks against other processes and office lock files, and re-locking after a safe save
// has renamed a new file over the target.
#include "run/locks.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;
using namespace sheaflow::run;

namespace {

class LocksTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() /
               ("sheaflow_locks_" + std::to_string(::getpid()) + "_" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
        file_ = (dir_ / "表.xlsx").string();
        std::ofstream(file_) << "content";
    }
    void TearDown() override { fs::remove_all(dir_); }
    fs::path dir_;
    std::string file_;
};

// Another process holding a classic POSIX write lock, as office programs take one.
struct ChildLock {
    explicit ChildLock(const std::string& path) {
        int ready[2], release[2];
        EXPECT_EQ(::pipe(ready), 0);
        EXPECT_EQ(::pipe(release), 0);
        pid = ::fork();
        if (pid == 0) {
            ::close(release[1]);  // else the read below never sees the end of the pipe
            ::close(ready[0]);
            int fd = ::open(path.c_str(), O_RDWR);
            struct flock fl {};
            fl.l_type = F_WRLCK;
            fl.l_whence = SEEK_SET;
            char ok = ::fcntl(fd, F_SETLK, &fl) == 0 ? 'y' : 'n';
            (void)!::write(ready[1], &ok, 1);
            char c;
            (void)!::read(release[0], &c, 1);
            ::_exit(0);
        }
        ::close(ready[1]);
        ::close(release[0]);
        char ok = 0;
        EXPECT_EQ(::read(ready[0], &ok, 1), 1);
        EXPECT_EQ(ok, 'y');
        ::close(ready[0]);
        release_fd = release[1];
    }
    ~ChildLock() {
        ::close(release_fd);
        int status = 0;
        ::waitpid(pid, &status, 0);
    }
    pid_t pid;
    int release_fd;
};

TEST_F(LocksTest, lock_held_by_another_process_is_reported_and_blocks_ours) {
    {
        ChildLock other(file_);
        EXPECT_TRUE(locked_by_other(file_));
        EXPECT_EQ(Excel_FileName_Error_Text(file_),
                  "ファイル「" + file_ + "」にロックがかかっています。");
        FileLocks locks;
        EXPECT_FALSE(locks.Up_File_Lock(file_));
        EXPECT_FALSE(locks.holds(file_));
    }
    EXPECT_EQ(Excel_FileName_Error_Text(file_), "");
}

TEST_F(LocksTest, office_lock_files_beside_the_target_count_as_locks) {
    for (const char* lock_name : {"~$表.xlsx", ".~lock.表.xlsx#"}) {
        std::ofstream(dir_ / lock_name) << "user";
        EXPECT_TRUE(locked_by_other(file_)) << lock_name;
        fs::remove(dir_ / lock_name);
        EXPECT_FALSE(locked_by_other(file_)) << lock_name;
    }
}

TEST_F(LocksTest, missing_file_and_folder_are_unknown) {
    std::string gone = (dir_ / "無い.xlsx").string();
    EXPECT_EQ(Excel_FileName_Error_Text(gone), "ファイル「" + gone + "」が不明です。");
    EXPECT_EQ(Excel_FileName_Error_Text(dir_.string()),
              "ファイル「" + dir_.string() + "」が不明です。");
    FileLocks locks;
    EXPECT_FALSE(locks.Up_File_Lock(gone));
}

TEST_F(LocksTest, held_lock_is_seen_by_others_until_released) {
    FileLocks locks;
    ASSERT_TRUE(locks.Up_File_Lock(file_));
    // A separate open of the file (as another program would make) sees the lock.
    EXPECT_TRUE(locked_by_other(file_));
    locks.Up_File_UnLock(file_);
    EXPECT_FALSE(locked_by_other(file_));
    locks.Up_File_LockAll({file_, (dir_ / "absent.xlsx").string()});
    EXPECT_EQ(locks.size(), 1u);
    locks.Up_File_UnLockAll();
    EXPECT_FALSE(locked_by_other(file_));
}

TEST_F(LocksTest, relock_after_a_rename_over_the_target_holds_the_new_file) {
    FileLocks locks;
    ASSERT_TRUE(locks.Up_File_Lock(file_));
    locks.Up_File_UnLock(file_);
    // A safe save: a complete new file renamed over the target.
    std::string tmp = (dir_ / ".new").string();
    std::ofstream(tmp) << "saved";
    fs::rename(tmp, file_);
    ASSERT_TRUE(locks.Up_File_Lock(file_));
    EXPECT_TRUE(locked_by_other(file_));
}

TEST_F(LocksTest, read_only_file_is_still_held_against_writers) {
    fs::permissions(file_, fs::perms::owner_read);
    if (::access(file_.c_str(), W_OK) == 0)
        GTEST_SKIP() << "running with permission to write anyway";
    FileLocks locks;
    ASSERT_TRUE(locks.Up_File_Lock(file_));
    EXPECT_TRUE(locked_by_other(file_));
}

TEST_F(LocksTest, destructor_releases_every_lock) {
    {
        FileLocks locks;
        ASSERT_TRUE(locks.Up_File_Lock(file_));
        FileLocks moved = std::move(locks);
        EXPECT_TRUE(moved.holds(file_));
        EXPECT_FALSE(locks.holds(file_));  // NOLINT(bugprone-use-after-move)
    }
    EXPECT_FALSE(locked_by_other(file_));
}

}  // namespace
