#include "gui/application.h"

#include <QApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

namespace sheaflow::gui {

void prepareApplication() {
    QApplication::setHighDpiScaleFactorRoundingPolicy(
        Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
}

void setUpApplication(QApplication& app) {
    QApplication::setApplicationName(QStringLiteral("sheaflow"));
    QApplication::setApplicationDisplayName(QStringLiteral("Sheaflow"));
    // The program speaks Japanese whatever the desktop's language is.
    auto* translator = new QTranslator(&app);
    if (translator->load(QLocale(QLocale::Japanese, QLocale::Japan), QStringLiteral("qtbase"),
                         QStringLiteral("_"), QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QApplication::installTranslator(translator);
    else
        delete translator;
}

}  // namespace sheaflow::gui
