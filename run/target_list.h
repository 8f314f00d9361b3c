#pragma once
// The target list (Lst_FileName): the workbooks of the target folder, optionally with its
// subfolders, in case-insensitive order of folder, then name.

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "run/driver.h"

namespace sheaflow::run {

// The file filter of the target list: patterns "*.<extension>" separated by ";" ("*.*" takes
// every file).
inline constexpr const char* kTargetFilter = "*.csv;*.xls;*.xlsx;*.xlsm";

// Called once per directory entry visited, so that a long search keeps the window alive.
using SearchYield = std::function<void()>;

// File_Search: the ordinary files of `folder` (and of every subfolder below it when `subfolders`
// is set) whose extension, upper-cased, matches one of the filter's. Folders, hidden files (a
// name starting with "."), broken links and office lock files ("~$name", ".~lock.name#") are not
// listed; hidden folders and links to folders are not searched. A link to a workbook is listed:
// a save goes through it to the file it names. A folder that cannot be read contributes nothing. The
// files come in the order found, which is not the list order (see Lst_FileName_Load).
std::vector<TargetFile> File_Search(const std::string& folder, bool subfolders,
                                    std::string_view filter = kTargetFilter,
                                    const SearchYield& yield = {});

struct TargetList {
    // Whether the folder exists: the subfolder check box is enabled only then.
    bool folder_exists = false;
    std::vector<TargetFile> files;
};

// Lst_FileName_Load: the list for a target folder. An empty folder text gives an empty list and
// no search. The files are sorted through the record store on the upper-cased folder and name.
TargetList Lst_FileName_Load(const std::string& folder, bool subfolders,
                             const SearchYield& yield = {});

// True for the lock files that office programs keep beside an open file.
bool is_office_lock_file(std::string_view name);

}  // namespace sheaflow::run
