#pragma once
// The folder column of a list over subfolders: files of the same name in different folders are
// told apart by the folder each row was found in, relative to the target folder.

#include <string>
#include <string_view>

#include "report/result_table.h"

namespace sheaflow::report {

inline constexpr const char* kFolderTitle = "フォルダー";

// `folder` relative to `target_folder`: "." for the target folder itself, "sub/inner" below it,
// the folder unchanged elsewhere.
std::string relative_folder(std::string_view folder, std::string_view target_folder);

// A copy of `table` with a folder column after its last column, filled on every row that has
// cells and a known folder. The table comes back as it is when every row was found in the
// target folder itself (no file name is ambiguous then).
ResultTable with_folder_column(const ResultTable& table, std::string_view target_folder);

}  // namespace sheaflow::report
