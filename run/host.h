#pragma once
// What the run driver and the operations ask of a user interface. The GUI implements it with the
// Qt event loop, the command line with the terminal, the tests with a scripted host.

#include <string>
#include <vector>

namespace sheaflow::xl {
class Workbook;
}

namespace sheaflow::report {
class ResultTable;
}

namespace sheaflow::run {

class Host {
public:
    virtual ~Host() = default;
    // Processes pending events; returns true when the user asked to cancel the run.
    virtual bool yield() = 0;
    // A message box with an OK button (Msgbox_Process).
    virtual void message(const std::string& text) = 0;
    // An OK/Cancel question with Cancel as the default; true for OK.
    virtual bool confirm(const std::string& text) = 0;
    // The first-file confirmation: the question text and the processed workbook to inspect
    // (nullptr when the first file failed to open). True for OK.
    virtual bool confirm_first_file(const std::string& text, xl::Workbook* book) = 0;
    // One line of the progress list.
    virtual void progress(const std::string& line) = 0;
    // The run is at target `number` of `total` (1-based), `name`; called before each target is
    // looked at and once more with number = total + 1 when the last one is done. Hosts that show
    // a bar use it; the progress lines carry the same news.
    virtual void progress_file(int number, int total, const std::string& name) {
        (void)number;
        (void)total;
        (void)name;
    }
    // Lines now in the progress list, and clearing it (the driver clears a list that has grown
    // past 1,000 lines before a run); hosts without a list keep the defaults.
    virtual int progress_lines() const { return 0; }
    virtual void clear_progress() {}
    // A progress text of a long step (record store "読込中 1,234" and the like); may be ignored.
    virtual void status(const std::string& text) { (void)text; }
    // The result table is full: show the message, then end the program at once.
    [[noreturn]] virtual void fatal(const std::string& text) = 0;
};

}  // namespace sheaflow::run
