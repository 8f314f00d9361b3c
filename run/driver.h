#pragma once
// The batch run driver: the readiness check, the loop over the selected target files, and the
// per-file open / operate / confirm / save / close steps, with the run error text.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "run/host.h"
#include "run/procedures.h"
#include "shell/params.h"
#include "xl/file_format.h"

namespace sheaflow::xl {
class Application;
}

namespace sheaflow::report {
class ResultTable;
class RecordStore;
}  // namespace sheaflow::report

namespace sheaflow::run {

// One line of the target list (Lst_FileName).
struct TargetFile {
    std::string folder;
    std::string name;
    bool selected = true;
    std::string full_path() const;
};

struct RunRequest {
    std::string category;  // current category
    std::string name;      // current operation name (display or upper-cased)
    const shell::Params* params = nullptr;
    std::vector<TargetFile>* files = nullptr;  // the list; items are deselected while processed
    bool show_application = false;             // the check box that shows the application
    // The operation's procedures, found by the caller; a run without them is refused as not
    // implemented.
    const Procedures* procedures = nullptr;
    // Where the collecting workbook of the combining operations is saved; the folder of the
    // first target when empty.
    std::string output_folder;
    // The folder the targets were chosen from (their subfolders lie below it).
    std::string target_folder;
    // The password to open encrypted targets with (Workbooks.Open Password:=).
    std::string open_password;
};

struct RunOutcome {
    bool checked = true;        // false when the readiness check refused the run
    std::string check_message;  // its message
    bool cancelled = false;
    bool stopped = false;  // ended by the stop flag (Cancel at the first-file confirmation)
    int processed = 0;
    int failed_files = 0;
    int unchanged = 0;  // updated files that the operation left as they were, not saved
    std::string completion_text;  // "処理が終了しました。" + timing
    std::string error_text;       // the run error text
    std::string output_path;      // the collecting workbook of the combining operations
    bool is_list = false;         // the result table is to be shown
};

// Creates the application for a run (Excel_Start); the engine's by default.
using ApplicationFactory = std::function<std::unique_ptr<xl::Application>()>;

// Runs one operation over the selected files. The result table and record store are filled by
// list operations. The completion text goes through Host::message; the caller shows the run
// error text and, for a list operation, the result table.
RunOutcome run_batch(const RunRequest& request, Host& host, report::ResultTable& table,
                     report::RecordStore& store, const ApplicationFactory& make_application);

// The extensions a run opens: "XLS", "XLSX", "XLSM", "CSV".
bool is_target_extension(const std::string& upper_extension);
// The extension of a file name, upper-cased ("" when it has none).
std::string upper_extension(const std::string& file_name);

// FileFormat_FromExt and FileFormat_FromFile live with the object model; the driver's callers
// know them under its name too.
using xl::FileFormat_FromExt;
using xl::FileFormat_FromFile;

// The texts of the first-file confirmation (Excel_Message_1Kenme) for a run error text.
std::string first_file_question(const std::string& error_text);

}  // namespace sheaflow::run
