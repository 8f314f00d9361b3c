#include "gui/gui_host.h"

#include <QApplication>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QProgressBar>
#include <cstdlib>

#include "gui/first_file_dialog.h"
#include "gui/qt_text.h"

namespace sheaflow::gui {

QString messageText(const std::string& text) {
    QString t = qs(text);
    t.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    t.replace(u'\r', u'\n');
    return t;
}

GuiHost::GuiHost(QWidget* window, QListWidget* progress, QLabel* status, QProgressBar* bar)
    : window_(window), progress_(progress), status_(status), bar_(bar) {}

bool GuiHost::yield() {
    // The loops yield at every cell or sheet; handing over to the event loop each time costs far
    // more than the work. Every few milliseconds is often enough for the cancel button.
    if (since_events_.isValid() && since_events_.elapsed() < kEventInterval) return cancel_;
    // What the run shows changes many times a second; it is painted a few times a second.
    if (!since_shown_.isValid() || since_shown_.elapsed() >= kShowInterval) {
        flush();
        if (after_yield_) after_yield_();
        since_shown_.start();
    }
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    since_events_.start();
    return cancel_;
}

void GuiHost::flush() {
    if (progress_ && !pending_.isEmpty()) {
        progress_->addItems(pending_);
        pending_.clear();
        progress_->scrollToBottom();
    }
    if (bar_ && bar_changed_) {
        bar_changed_ = false;
        bar_->setRange(0, file_total_ > 0 ? file_total_ : 1);
        bar_->setValue(file_number_);
        QString name = file_name_;
        name.replace(u'%', QStringLiteral("%%"));
        bar_->setFormat(QStringLiteral("%v / %m ファイル　") + name);
    }
}

void GuiHost::progress_file(int number, int total, const std::string& name) {
    // Before target n is looked at, n - 1 are done; after the last, all of them.
    file_number_ = number > total ? total : number - 1;
    file_total_ = total;
    file_name_ = qs(name);
    bar_changed_ = true;
}

void GuiHost::message(const std::string& text) {
    flush();
    ++messages_;
    QMessageBox box(QMessageBox::NoIcon, QApplication::applicationDisplayName(), messageText(text),
                    QMessageBox::Ok, window_);
    box.setObjectName("Msgbox_Process");
    box.exec();
}

bool GuiHost::confirm(const std::string& text) {
    flush();
    QMessageBox box(QMessageBox::Question, QApplication::applicationDisplayName(),
                    messageText(text), QMessageBox::Ok | QMessageBox::Cancel, window_);
    box.setObjectName("Msgbox_Confirm");
    box.setDefaultButton(QMessageBox::Cancel);
    return box.exec() == QMessageBox::Ok;
}

bool GuiHost::confirm_first_file(const std::string& text, xl::Workbook* book) {
    flush();
    FirstFileDialog dialog(messageText(text), book, window_);
    const bool ok = dialog.exec() == QDialog::Accepted;
    // OK brings the main window back to the front.
    if (ok && window_) {
        window_->raise();
        window_->activateWindow();
    }
    return ok;
}

void GuiHost::progress(const std::string& line) {
    if (progress_) pending_.append(qs(line));
}

int GuiHost::progress_lines() const {
    return progress_ ? progress_->count() + static_cast<int>(pending_.size()) : 0;
}

void GuiHost::clear_progress() {
    pending_.clear();
    if (progress_) progress_->clear();
}

void GuiHost::status(const std::string& text) {
    if (status_) status_->setText(qs(text));
}

void GuiHost::fatal(const std::string& text) {
    flush();
    QMessageBox::critical(window_, QApplication::applicationDisplayName(), messageText(text));
    // The program ends here at once, as the message says.
    std::_Exit(EXIT_FAILURE);
}

}  // namespace sheaflow::gui
