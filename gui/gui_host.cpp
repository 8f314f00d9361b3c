#include "gui/gui_host.h"

#include <QApplication>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
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

GuiHost::GuiHost(QWidget* window, QListWidget* progress, QLabel* status)
    : window_(window), progress_(progress), status_(status) {}

bool GuiHost::yield() {
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    if (after_yield_) after_yield_();
    return cancel_;
}

void GuiHost::message(const std::string& text) {
    ++messages_;
    QMessageBox box(QMessageBox::NoIcon, QApplication::applicationDisplayName(), messageText(text),
                    QMessageBox::Ok, window_);
    box.setObjectName("Msgbox_Process");
    box.exec();
}

bool GuiHost::confirm(const std::string& text) {
    QMessageBox box(QMessageBox::Question, QApplication::applicationDisplayName(),
                    messageText(text), QMessageBox::Ok | QMessageBox::Cancel, window_);
    box.setObjectName("Msgbox_Confirm");
    box.setDefaultButton(QMessageBox::Cancel);
    return box.exec() == QMessageBox::Ok;
}

bool GuiHost::confirm_first_file(const std::string& text, xl::Workbook* book) {
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
    if (!progress_) return;
    progress_->addItem(qs(line));
    progress_->scrollToBottom();
}

int GuiHost::progress_lines() const { return progress_ ? progress_->count() : 0; }

void GuiHost::clear_progress() {
    if (progress_) progress_->clear();
}

void GuiHost::status(const std::string& text) {
    if (status_) status_->setText(qs(text));
}

void GuiHost::fatal(const std::string& text) {
    QMessageBox::critical(window_, QApplication::applicationDisplayName(), messageText(text));
    // The program ends here at once, as the message says.
    std::_Exit(EXIT_FAILURE);
}

}  // namespace sheaflow::gui
