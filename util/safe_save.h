#pragma once
// Safe replacement of a file: the new content is written to a short temporary name in the
// target's own folder, flushed to the disk, given the target's mode and owner, and renamed over
// the target only when complete. A failure at any step leaves the target as it was and removes
// the temporary file. Targets that cannot be replaced that way without harm are refused before
// anything is written: a read-only file, a file in a read-only folder, a file with other hard
// links (a rename would part them from the new content), anything but a regular file. A target
// that is a symbolic link is replaced through the link: the file it names gets the new content
// and the link stays.

#include <ctime>
#include <functional>
#include <string>
#include <string_view>

#include "util/result.h"

namespace sheaflow::file {

// Temporary files are named ".sheaflow-save-XXXXXX.tmp": short, so that a target whose name is
// near the system's limit still gets one, and recognisable, so that one a killed run left
// behind can be found and removed.
inline constexpr std::string_view kSaveTempPrefix = ".sheaflow-save-";
inline constexpr std::string_view kSaveTempSuffix = ".tmp";

// What an errno means, in the words shown to the user ("ディスクの空き容量が足りません").
std::string errno_text(int err);
// Whether a write failure with that errno concerns every file of the folder or the disk alike
// (a full disk, a read-only file system), not only the file at hand.
bool errno_is_whole_run(int err);

// Writes `target` anew. `fill` writes the whole content to the descriptor (opened for writing at
// offset 0, already locked against cleanup); `temp` names it for messages. Errors carry texts
// that name the target.
using FillFn = std::function<Result<void>(int fd, const std::string& temp)>;
Result<void> replace_file(const std::string& target, const FillFn& fill);
// The same with the whole content at hand.
Result<void> replace_file(const std::string& target, std::string_view bytes);

// Refuses a target that a save must not replace (see above). A target that does not exist yet is
// checked for its folder only.
Result<void> check_replaceable(const std::string& target);

// Opens an existing file for reading without blocking on a FIFO or a device, and refuses
// anything but a regular file. The descriptor is close-on-exec; the caller closes it.
Result<int> open_regular(const std::string& path);

// Removes the temporary files of saves in `folder` that a killed run left behind: those modified
// before `before` that no live process holds locked. Returns how many were removed.
int remove_stale_save_files(const std::string& folder, std::time_t before);

namespace detail {
// Test hook: called at each stage of a save ("write", "sync", "rename"); returning false makes
// that stage fail as an I/O error would. `fault_errno` is the errno that failure reports.
extern std::function<bool(std::string_view stage)> save_fault_hook;
extern int fault_errno;
}  // namespace detail

}  // namespace sheaflow::file
