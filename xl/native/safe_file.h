#pragma once
// Safe saving: a file is written under a new name in the target's folder and renamed over the
// target only when it is complete and flushed; on any failure the target is untouched and the
// temporary file is removed.

#include <functional>
#include <string>
#include <string_view>

#include "util/result.h"

namespace sheaflow::xl::native {

// Writes `target` through `fill`, which receives the temporary path to create and write.
Result<void> write_atomically(const std::string& target,
                              const std::function<Result<void>(const std::string& temp)>& fill);
// The same with the whole content at hand.
Result<void> write_file_atomically(const std::string& target, std::string_view bytes);

namespace detail {
// Test hook: called at each stage of a save ("write", "sync", "rename"); returning false makes
// that stage fail as an I/O error would.
extern std::function<bool(std::string_view stage)> save_fault_hook;
}  // namespace detail

}  // namespace sheaflow::xl::native
