#pragma once
// Locks on the target files for the length of a run, so that no other program edits a workbook
// while the run holds it. The locks are open-file-description locks (fcntl F_OFD_SETLK): they
// belong to the descriptor, conflict with other processes' POSIX and OFD locks, and disappear
// with the process. A lock is held from the start of the run until the file's save is complete:
// a safe save renames a new file over the path, so the lock is then taken on the new file before
// the one on the old file is dropped.

#include <map>
#include <string>
#include <vector>

namespace sheaflow::run {

class FileLocks {
public:
    FileLocks() = default;
    FileLocks(const FileLocks&) = delete;
    FileLocks& operator=(const FileLocks&) = delete;
    FileLocks(FileLocks&& other) noexcept : held_(std::move(other.held_)) { other.held_.clear(); }
    FileLocks& operator=(FileLocks&& other) noexcept;
    // Releases every lock still held.
    ~FileLocks() { Up_File_UnLockAll(); }

    // Locks every path; a path that cannot be locked is left unlocked (the pre-run check has
    // already refused files that another program holds).
    void Up_File_LockAll(const std::vector<std::string>& paths);
    // Locks one path; false when it does not exist or another process holds a lock on it.
    bool Up_File_Lock(const std::string& path);
    void Up_File_UnLock(const std::string& path);
    // Locks the file that now stands at `path` (after a save replaced it) and then drops the lock
    // on the file it replaced; false when the new file could not be locked.
    bool relock(const std::string& path);
    void Up_File_UnLockAll();

    bool holds(const std::string& path) const { return held_.count(path) != 0; }
    std::size_t size() const { return held_.size(); }

private:
    std::map<std::string, int> held_;  // path -> descriptor carrying the lock
};

// True when another process holds a lock on the file that conflicts with a write lock, or an
// office lock file ("~$name", ".~lock.name#") stands beside it.
bool locked_by_other(const std::string& path);

// Excel_FileName_Error_Text: "" when the file exists and no other program holds it; otherwise
// "ファイル「path」が不明です。" or "ファイル「path」にロックがかかっています。".
std::string Excel_FileName_Error_Text(const std::string& path);

}  // namespace sheaflow::run
