#pragma once
// Shared pieces of the widget tests: a registry of test objects run by one main, and a script
// that answers the modal dialogs a run opens, recording what they said.

#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <functional>
#include <memory>
#include <vector>

namespace sheaflow::gui::test {

using TestFactory = std::function<std::unique_ptr<QObject>()>;
std::vector<TestFactory>& registry();

template <typename T>
struct Register {
    Register() {
        registry().push_back([] { return std::make_unique<T>(); });
    }
};

// Answers every modal dialog that opens while it lives: message boxes get OK, the first-file
// confirmation gets `first_file_ok` (OK or Cancel). Each dialog's text is recorded, and
// `inspect` (when set) sees the dialog before it is answered, and may answer it itself.
class DialogScript : public QObject {
    Q_OBJECT

public:
    explicit DialogScript(bool first_file_ok = true);
    QStringList texts;  // message box texts, in order
    int first_file_dialogs = 0;
    std::function<void(QWidget*)> inspect;

private:
    void poll();
    bool first_file_ok_;
    QTimer timer_;
};

}  // namespace sheaflow::gui::test
