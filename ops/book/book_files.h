#pragma once
// What the book operations share: the checks of an output folder and the files written into it,
// the folder's creation, and the names of the files they write.

#include <optional>
#include <string>
#include <string_view>

#include "shell/params.h"
#include "util/result.h"

namespace sheaflow::run {
class Session;
}

namespace sheaflow::ops {

// The pane key of the output folder ("登録先ディレクトリ") of the book operations.
inline constexpr const char* kOutputFolderKey = "folder";
inline constexpr const char* kOutputFolderLabel = "登録先ディレクトリ";

// Check_File_FullName: "" when `path` can be a folder that the run creates or writes into;
// else a message that starts with `label`: an empty or relative path, a control character, a
// name longer than the file system allows, a file standing where a folder should be, or a folder
// that this user may not write into (looked at on the deepest part that exists).
std::string Check_File_FullName(std::string_view label, std::string_view path);

// Folder_Create_Process: creates the folder and its missing parents. The error says why not.
Result<void> Folder_Create_Process(const std::string& folder);

// The pane's output folder when one is given, else the folder of the current target.
std::string output_folder(const run::Session& s);

// The pane check of an optional output folder; `must_exist` for the operations whose folder
// must already be there. "" when it may run.
std::string check_output_folder(const shell::Params& p, bool must_exist);

// The file name without its extension (and its dot): "売上.xlsx" -> "売上".
std::string file_stem(std::string_view file_name);
// The extension without its dot, as the name writes it: "売上.xlsm" -> "xlsm".
std::string file_extension(std::string_view file_name);

// Prepares to write `path` for the current target: creates its folder, and refuses a file that
// this run already wrote (two targets whose names differ only after the stem) or that is one of
// the run's targets. On success the path is noted as written; on refusal the error text has a
// line for it and false is returned.
bool claim_output(run::Session& s, const std::string& path);

// The run error line of a failed save: the time, the path and the reason, as the driver writes
// its own write errors.
void log_save_error(run::Session& s, const std::string& path, const Error& e);

}  // namespace sheaflow::ops
