#pragma once
// The host of a run in the desktop program: everything stays on the UI thread, and the driver's
// yield points process pending events so that the window repaints and the cancel button works.

#include <functional>
#include <string>

#include "run/host.h"

class QWidget;
class QString;
class QListWidget;
class QLabel;

namespace sheaflow::gui {

class GuiHost final : public run::Host {
public:
    // `window` parents the message boxes; `progress` receives the progress lines; `status`
    // shows the progress texts of long steps.
    GuiHost(QWidget* window, QListWidget* progress, QLabel* status);

    bool yield() override;
    void message(const std::string& text) override;
    bool confirm(const std::string& text) override;
    bool confirm_first_file(const std::string& text, xl::Workbook* book) override;
    void progress(const std::string& line) override;
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
    // Called after every yield (the window shows the list items the driver deselected).
    void setAfterYield(std::function<void()> f) { after_yield_ = std::move(f); }

private:
    QWidget* window_;
    QListWidget* progress_;
    QLabel* status_;
    bool cancel_ = false;
    int messages_ = 0;
    std::function<void()> after_yield_;
};

// Message texts use CR LF between lines; Qt's labels want LF.
QString messageText(const std::string& text);

}  // namespace sheaflow::gui
