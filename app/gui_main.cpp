// sheaflow-gui: the desktop program.
#include <QApplication>
#include <QCommandLineParser>
#include <QMessageBox>

#include "gui/application.h"
#include "gui/main_window.h"
#include "gui/qt_text.h"
#include "shell/settings.h"
#include "xl/native/engine.h"
#include "xl/office/libreoffice.h"

int main(int argc, char** argv) {
    sheaflow::gui::prepareApplication();
    QApplication app(argc, argv);
    sheaflow::gui::setUpApplication(app);

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Sheaflow: batch operations on workbooks"));
    parser.addHelpOption();
    const QCommandLineOption param_dir(QStringList{QStringLiteral("param-dir")},
                                       QStringLiteral("parameter folder"),
                                       QStringLiteral("folder"));
    parser.addOption(param_dir);
    parser.process(app);

    using sheaflow::gui::qs;
    using sheaflow::gui::ss;
    const std::string folder = sheaflow::shell::parameter_folder(
        ss(parser.value(param_dir)), ss(QCoreApplication::applicationDirPath()));
    if (folder.empty()) {
        QMessageBox::critical(nullptr, QApplication::applicationDisplayName(),
                              QStringLiteral("パラメータフォルダーを作成できません。"));
        return 1;
    }
    sheaflow::gui::MainWindow window(folder,
                                     [] {
        return sheaflow::xl::native::create_application(
            sheaflow::xl::office::libreoffice_bridge());
    });
    window.show();
    return QApplication::exec();
}
