#pragma once
// The run host of the command line: progress on stderr (a bar on a terminal, plain lines
// otherwise), messages on stderr, Ctrl-C as the cancel button, and the first-file confirmation
// asked on the terminal with a look at the processed workbook.

#include <cstdio>
#include <string>

#include "run/host.h"

namespace sheaflow::cli {

class CliHost : public run::Host {
public:
    // `assume_yes`: every confirmation is answered OK without asking (--yes).
    explicit CliHost(bool assume_yes);
    // Restores the previous SIGINT handling.
    ~CliHost() override;
    CliHost(const CliHost&) = delete;
    CliHost& operator=(const CliHost&) = delete;

    bool yield() override;
    void message(const std::string& text) override;
    bool confirm(const std::string& text) override;
    bool confirm_first_file(const std::string& text, xl::Workbook* book) override;
    void progress(const std::string& line) override;
    void progress_file(int number, int total, const std::string& name) override;
    [[noreturn]] void fatal(const std::string& text) override;

    // True once Ctrl-C was pressed.
    static bool interrupted();

private:
    // Asks on the terminal; Cancel is the default answer.
    bool ask(const std::string& question);
    void clear_bar();

    bool assume_yes_;
    bool terminal_;  // stdin and stderr are terminals
    bool bar_shown_ = false;
};

// What the first-file confirmation shows of a workbook: its sheet names (the active one marked)
// and the first rows of the active sheet as displayed text, tab-separated.
std::string workbook_preview(xl::Workbook& book, int rows = 10, int columns = 8);

}  // namespace sheaflow::cli
