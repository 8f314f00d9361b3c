#pragma once
// The host of a run in the desktop program: everything stays on the UI thread, and the driver's
// yield points process pending events so that the window repaints and the cancel button works.

#include <QElapsedTimer>
#include <QStringList>
#include <functional>
#include <string>

#include "run/host.h"

class QWidget;
class QString;
class QListWidget;
class QLabel;
class QProgressBar;

namespace sheaflow::gui {

class GuiHost final : public run::Host {
public:
    // `window` parents the message boxes; `progress` receives the progress lines; `status`
    // shows the progress texts of long steps; `bar` shows "n / N ファイル" and the current file.
    GuiHost(QWidget* window, QListWidget* progress, QLabel* status, QProgressBar* bar = nullptr);

    bool yield() override;
    void message(const std::string& text) override;
    bool confirm(const std::string& text) override;
    bool confirm_first_file(const std::string& text, xl::Workbook* book) override;
    void progress(const std::string& line) override;
    void progress_file(int number, int total, const std::string& name) override;
    int progress_lines() const override;
    void clear_progress() override;
    void status(const std::string& text) override;
    [[noreturn]] void fatal(const std::string& text) override;

    // The cancel button: the next yield reports it.
    void requestCancel() { cancel_ = true; }
    void resetCancel() { cancel_ = false; }
    bool cancelRequested() const { return cancel_; }
    // Message boxes shown so far (the window shows a refused run's reason only when the
    // driver did not show it already).
    int messagesShown() const { return messages_; }
    // Called whenever the run's state is shown (the window shows the list items the driver
    // deselected).
    void setAfterYield(std::function<void()> f) { after_yield_ = std::move(f); }
    // Shows what is buffered now: the progress lines and the bar.
    void flush();

    // A yield processes events at most this often; the ones in between cost a clock read.
    static constexpr int kEventInterval = 20;  // milliseconds
    // The progress lines, the bar and the target list are brought up to date this often.
    static constexpr int kShowInterval = 250;

private:
    QWidget* window_;
    QListWidget* progress_;
    QLabel* status_;
    QProgressBar* bar_;
    QElapsedTimer since_events_;
    QElapsedTimer since_shown_;
    QStringList pending_;  // progress lines not yet in the list
    int file_number_ = 0, file_total_ = 0;
    QString file_name_;
    bool bar_changed_ = false;
    bool cancel_ = false;
    int messages_ = 0;
    std::function<void()> after_yield_;
};

// Message texts use CR LF between lines; Qt's labels want LF.
QString messageText(const std::string& text);

}  // namespace sheaflow::gui
