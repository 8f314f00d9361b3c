#pragma once
// The procedures of each implemented operation, and dispatch by operation key: the first entry
// whose base category is the category or whose "すべてのシート_" variant is the category, and
// whose name equals the upper-cased display name, wins.

#include <span>
#include <string>
#include <string_view>

#include "shell/params.h"
#include "util/result.h"

namespace sheaflow::run {
class Session;
}

namespace sheaflow::ops {

// Check_<op>: the first complaint about the pane, or "" when it may run.
using CheckFn = std::string (*)(const shell::Params&, std::string_view category);
// Excel_<op> and its companions: work on the session's active workbook (or, for _First and
// _Final, on the run as a whole). A failure returned here is the pending error of the driver.
using ExecFn = Result<void> (*)(run::Session&);

struct Procedures {
    std::string_view category;  // base category: "セル", "シート", "ファイル"...
    std::string_view key_name;  // upper-cased display name
    CheckFn check = nullptr;
    ExecFn execute = nullptr;
    ExecFn first = nullptr;  // Excel_<op>_First: before the first workbook
    ExecFn final = nullptr;  // Excel_<op>_Final: after the last workbook
    ExecFn read = nullptr;   // Excel_<op>_Read: the preparation step before opening
    bool updates = false;       // the workbook is changed and saved by the driver
    bool saves_itself = false;  // the operation writes its own files; the driver does not save
    bool needs_files = true;    // false for the information lists that need no target files
};

// Tables of each operation area, in dispatch order.
std::span<const Procedures> cell_procedures();
std::span<const Procedures> sheet_procedures();
std::span<const Procedures> book_procedures();
std::span<const Procedures> tool_procedures();

// Dispatch: nullptr when no implemented operation matches.
const Procedures* find_procedures(std::string_view category, std::string_view key_name);

// The message a check gives for an operation that is not implemented yet.
inline constexpr const char* kNotImplemented = "この処理はまだ実装されていません。";

}  // namespace sheaflow::ops
