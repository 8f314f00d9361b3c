#pragma once
// What every Sheaflow window program sets up on its QApplication.

class QApplication;

namespace sheaflow::gui {

// High-DPI scaling without rounding; call before the QApplication is constructed.
void prepareApplication();
// Names of the program, and Qt's own dialogs (files, printing, message box buttons) in Japanese
// when Qt's translations are installed.
void setUpApplication(QApplication& app);

}  // namespace sheaflow::gui
