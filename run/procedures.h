#pragma once
// The procedures of one operation as the driver calls them. The caller (command line, desktop
// program, tests) finds them in the operation registry and hands them to the driver, so that the
// driver knows no operation.

#include <string>
#include <string_view>

#include "shell/params.h"
#include "util/result.h"

namespace sheaflow::run {

class Session;

// Check_<op>: the first complaint about the pane, or "" when it may run.
using CheckFn = std::string (*)(const shell::Params&, std::string_view category);
// Excel_<op> and its companions: work on the session's active workbook (or, for _First and
// _Final, on the run as a whole). A failure returned here is the pending error of the driver.
using ExecFn = Result<void> (*)(Session&);
// A yes/no that an operation takes from its pane (the update flag of the operations whose pane
// chooses between listing and changing, "saves on its own" of those that do so only when a name
// is given).
using PaneFlagFn = bool (*)(const shell::Params&);
// The operation's own reason to pass over a target without counting it (the change-extension
// operation and a file that already has the chosen extension...). The session holds the file's
// folder, name and extension.
using SkipFn = bool (*)(const Session&);

struct Procedures {
    std::string_view category;  // base category: "セル", "シート", "ファイル"...
    std::string_view key_name;  // upper-cased display name
    CheckFn check = nullptr;
    ExecFn execute = nullptr;
    ExecFn first = nullptr;     // Excel_<op>_First: before the first workbook
    ExecFn final = nullptr;     // Excel_<op>_Final: after the last workbook
    ExecFn read = nullptr;      // Excel_<op>_Read: the preparation step before opening
    bool updates = false;       // the workbook is changed and saved by the driver
    bool saves_itself = false;  // the operation writes its own files; the driver does not save
    bool needs_files = true;    // false for the information lists that need no target files
    PaneFlagFn updates_when = nullptr;       // when set, decides `updates` from the pane
    PaneFlagFn saves_itself_when = nullptr;  // when set, decides `saves_itself` from the pane
    SkipFn skip = nullptr;
    // The executor walks the workbook's sheets itself; the driver calls it once per workbook
    // even in an all-sheets category.
    bool own_sheet_loop = false;
    // The combining operations: the driver adds a collecting workbook before the first target,
    // closes only the target after each one, and saves the collecting workbook at the end.
    bool collects = false;
    // Opening the target must run none of its event code (Application.EnableEvents off).
    bool no_events = false;
};

// The message a check gives for an operation that is not implemented yet.
inline constexpr const char* kNotImplemented = "この処理はまだ実装されていません。";

}  // namespace sheaflow::run
