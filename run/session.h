#pragma once
// The state of one run that the driver hands to the operations: the application, the open
// workbook's names, the grid maxima, the run error text, the result table and the cancel flag.

#include <cstdint>
#include <set>
#include <string>

#include "run/host.h"
#include "shell/params.h"
#include "xl/xl.h"

namespace sheaflow::report {
class ResultTable;
class RecordStore;
}  // namespace sheaflow::report

namespace sheaflow::run {

class Session {
public:
    Session(xl::Application& a, Host& h, const shell::Params& p, report::ResultTable& t,
            report::RecordStore& s)
        : app(a), host(h), params(p), table(t), store(s) {}

    xl::Application& app;
    Host& host;
    const shell::Params& params;
    report::ResultTable& table;
    report::RecordStore& store;

    std::string category;  // current category ("すべてのシート_セル"...)
    std::string name;      // current upper-cased operation name

    std::string target_folder;  // the folder the targets were chosen from
    std::string folder;      // folder of the current target
    std::string file_name;   // its file name
    std::string extension;   // its extension, upper-cased
    std::string book_name;   // ActiveWorkbook.Name
    std::string sheet_name;  // ActiveSheet.Name (updated by the all-sheets loop)
    std::int32_t max_row = 1048576;
    std::int32_t max_col = 16384;
    int processed = 0;     // processed-file counter
    std::int64_t cells_found = 0;  // cells a search found, for the completion message
    bool updates = false;  // the update flag: the workbook is opened for writing and saved

    // The collecting workbook of the combining operations and its active sheet at creation.
    std::string dest_book_name;
    std::string dest_sheet_name;

    // The run's targets (full paths) and the files its operations wrote, so that an operation
    // that writes files of its own never overwrites a target or a file written earlier in the run.
    std::set<std::string> target_files;
    std::set<std::string> written_files;

    bool cancel = false;  // the cancel flag
    bool error_flag = false;
    std::string error_text;  // the run error text, lines ended by CR LF

    std::string full_path() const;
    xl::Workbook* book() { return app.active_workbook(); }
    xl::Worksheet* sheet() { return app.active_sheet(); }
    // Yields to the host; sets and returns the cancel flag.
    bool yield();
    // Excel_Update_Error_Text: when `message` trimmed is not empty, appends the book name, a
    // blank and the message as a line, and sets the error flag.
    void update_error_text(const std::string& message);
    // Appends a line of its own to the run error text.
    void append_error_line(const std::string& line);
};

}  // namespace sheaflow::run
