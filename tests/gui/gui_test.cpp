#include "gui_test.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>

#include "gui/first_file_dialog.h"

namespace sheaflow::gui::test {

std::vector<TestFactory>& registry() {
    static std::vector<TestFactory> tests;
    return tests;
}

DialogScript::DialogScript(bool first_file_ok) : first_file_ok_(first_file_ok) {
    connect(&timer_, &QTimer::timeout, this, &DialogScript::poll);
    timer_.start(20);
}

void DialogScript::poll() {
    QWidget* modal = QApplication::activeModalWidget();
    if (!modal || !modal->isVisible()) return;
    if (inspect) inspect(modal);
    if (!modal->isVisible()) return;  // answered by `inspect`
    if (auto* box = qobject_cast<QMessageBox*>(modal)) {
        texts << box->text();
        if (QAbstractButton* ok = box->button(QMessageBox::Ok)) {
            ok->click();
        } else {
            box->reject();
        }
    } else if (auto* first = qobject_cast<FirstFileDialog*>(modal)) {
        ++first_file_dialogs;
        (first_file_ok_ ? first->okButton() : first->cancelButton())->click();
    } else if (auto* dialog = qobject_cast<QDialog*>(modal)) {
        dialog->reject();
    }
}

}  // namespace sheaflow::gui::test

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationDisplayName(QStringLiteral("Sheaflow"));
    int status = 0;
    for (const auto& make : sheaflow::gui::test::registry()) {
        std::unique_ptr<QObject> t = make();
        status |= QTest::qExec(t.get(), argc, argv);
    }
    return status;
}
