#include "app/cli/cli_host.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>

#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::cli {

namespace {

volatile std::sig_atomic_t g_interrupted = 0;
struct sigaction g_previous {};

extern "C" void on_sigint(int) { g_interrupted = 1; }

// Lines of a message with CR LF or LF ends, for a terminal.
std::string unix_lines(const std::string& s) { return text::replace_all(s, "\r\n", "\n"); }

// Columns a character takes on a terminal: one for ASCII and half-width katakana, two for
// the rest.
int char_width(char32_t c) { return c < 0x80 || (c >= 0xFF61 && c <= 0xFF9F) ? 1 : 2; }

// A text cut to `width` display columns, for one line of the bar.
std::string fit(const std::string& s, int width) {
    std::string out;
    int w = 0;
    for (char32_t c : text::to_u32(s)) {
        int cw = char_width(c);
        if (w + cw > width) break;
        out += text::to_utf8(c);
        w += cw;
    }
    return out;
}

}  // namespace

CliHost::CliHost(bool assume_yes)
    : assume_yes_(assume_yes), terminal_(::isatty(STDIN_FILENO) && ::isatty(STDERR_FILENO)) {
    g_interrupted = 0;
    struct sigaction sa {};
    sa.sa_handler = on_sigint;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = 0;  // no SA_RESTART: a prompt waiting for an answer sees the interrupt
    ::sigaction(SIGINT, &sa, &g_previous);
}

CliHost::~CliHost() {
    clear_bar();
    ::sigaction(SIGINT, &g_previous, nullptr);
}

bool CliHost::interrupted() { return g_interrupted != 0; }

bool CliHost::yield() { return g_interrupted != 0; }

void CliHost::clear_bar() {
    if (!bar_shown_) return;
    std::fputs("\r\033[K", stderr);
    bar_shown_ = false;
}

void CliHost::message(const std::string& text) {
    clear_bar();
    std::string t = unix_lines(text);
    std::fputs(t.c_str(), stderr);
    std::fputc('\n', stderr);
}

void CliHost::progress(const std::string& line) {
    // On a terminal the bar says it all; elsewhere each line is written as it comes.
    if (terminal_) return;
    std::fputs(line.c_str(), stderr);
    std::fputc('\n', stderr);
}

void CliHost::progress_file(int number, int total, const std::string& name) {
    if (!terminal_ || total <= 0) return;
    const int done = std::min(number - 1, total);
    constexpr int kWidth = 30;
    const int filled = done * kWidth / total;
    std::string bar = "\r\033[K[" + std::string(static_cast<std::size_t>(filled), '#') +
                      std::string(static_cast<std::size_t>(kWidth - filled), ' ') + "] " +
                      std::to_string(done) + "/" + std::to_string(total) + " " + fit(name, 40);
    std::fputs(bar.c_str(), stderr);
    std::fflush(stderr);
    bar_shown_ = true;
}

bool CliHost::ask(const std::string& question) {
    clear_bar();
    std::string q = unix_lines(question);
    std::fprintf(stderr, "%s\n[y = OK / N = キャンセル] ", q.c_str());
    std::fflush(stderr);
    std::string answer;
    char c;
    while (true) {
        ssize_t n = ::read(STDIN_FILENO, &c, 1);
        if (n <= 0) return false;  // end of input or Ctrl-C: the default, Cancel
        if (c == '\n') break;
        answer += c;
    }
    answer = text::lower(text::trim(answer));
    return answer == "y" || answer == "yes" || answer == "ok";
}

bool CliHost::confirm(const std::string& text) {
    if (assume_yes_ || !terminal_) return true;
    return ask(text);
}

bool CliHost::confirm_first_file(const std::string& text, xl::Workbook* book) {
    // Without a terminal there is nobody to ask: the run goes on.
    if (assume_yes_ || !terminal_) return true;
    clear_bar();
    if (book) {
        std::string preview = workbook_preview(*book);
        std::fputs(preview.c_str(), stderr);
    }
    return ask(text);
}

void CliHost::fatal(const std::string& text) {
    message(text);
    std::fflush(stdout);
    std::_Exit(1);
}

std::string workbook_preview(xl::Workbook& book, int rows, int columns) {
    std::string out = "─── " + book.name() + " ───\n";
    xl::Worksheet* active = book.active_sheet();
    out += "シート:";
    for (int i = 1, n = book.sheet_count(); i <= n; ++i) {
        xl::Worksheet* ws = book.sheet(i);
        if (!ws) continue;
        out += " " + std::string(ws == active ? "＊" : "") + ws->name();
    }
    out += "\n";
    if (!active || active->type() != xl::xlWorksheet) return out;
    xl::Area used = active->used_range();
    out += active->name() + " (" + xl::format_address(used, false, false) + "):\n";
    const std::int32_t last_row = std::min(used.last_row, used.first_row + rows - 1);
    const std::int32_t last_col = std::min(used.last_col, used.first_col + columns - 1);
    for (std::int32_t r = used.first_row; r <= last_row; ++r) {
        std::string line = std::to_string(r);
        for (std::int32_t c = used.first_col; c <= last_col; ++c)
            line += "\t" + fit(active->cell_text({r, c}), 20);
        out += line + "\n";
    }
    if (used.last_row > last_row) out += "…\n";
    return out;
}

}  // namespace sheaflow::cli
