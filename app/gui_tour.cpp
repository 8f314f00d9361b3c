// sheaflow-gui-tour: drives the desktop program through a replace and a search over a few sample
// workbooks and saves screenshots of the main window, the first-file confirmation, the
// completion message, the error text and the result window. scripts/screenshots runs it under
// Xvfb.
#include <QApplication>
#include <QComboBox>
#include <QCommandLineParser>
#include <QDialog>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QTemporaryDir>
#include <QTimer>
#include <QWindow>
#include <cstdio>

#include "gui/application.h"
#include "gui/first_file_dialog.h"
#include "gui/main_window.h"
#include "gui/operation_pane.h"
#include "gui/qt_text.h"
#include "gui/result_window.h"
#include "xl/native/engine.h"

namespace {

using sheaflow::gui::qs;
using sheaflow::gui::ss;

QString g_out;
int g_failures = 0;

void settle(int ms = 250) {
    QElapsedTimer t;
    t.start();
    while (t.elapsed() < ms) QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
}

// What the X server shows inside the widget's frame; a rendering of the widget itself on a
// platform without a screen to read.
void shoot(QWidget* w, const QString& name) {
    settle();
    QPixmap pixmap;
    if (QGuiApplication::platformName() == QStringLiteral("xcb")) {
        const QRect r = w->frameGeometry();
        pixmap = w->screen()->grabWindow(0, r.x(), r.y(), r.width(), r.height());
    } else {
        pixmap = w->grab();
    }
    const QString path = g_out + u'/' + name;
    if (!pixmap.save(path)) {
        std::fprintf(stderr, "cannot save %s\n", qPrintable(path));
        ++g_failures;
        return;
    }
    std::printf("%s\n", qPrintable(path));
}

bool choose(QListWidget* list, const QString& text) {
    for (int i = 0; i < list->count(); ++i)
        if (list->item(i)->text() == text) {
            list->setCurrentRow(i);
            return true;
        }
    std::fprintf(stderr, "not listed: %s\n", qPrintable(text));
    ++g_failures;
    return false;
}

void setText(sheaflow::gui::OperationPane* pane, const char* key, const QString& text) {
    QWidget* e = pane ? pane->editor(key) : nullptr;
    if (auto* line = qobject_cast<QLineEdit*>(e)) line->setText(text);
    if (auto* combo = qobject_cast<QComboBox*>(e)) combo->setEditText(text);
}

// Sample workbooks: a few branches with 東京 in some cells, and one damaged file that shows a
// run error line.
bool makeBooks(const QString& folder) {
    QDir().mkpath(folder);
    const char* branches[][3] = {{"東京本店", "大阪支店", "名古屋支店"},
                                 {"札幌支店", "東京駅前店", "福岡支店"},
                                 {"横浜支店", "京都支店", "東京湾岸店"}};
    for (int b = 0; b < 3; ++b) {
        auto app = sheaflow::xl::native::create_application();
        if (!app) return false;
        auto book = app->workbooks().add();
        if (!book) return false;
        sheaflow::xl::Worksheet* sheet = (*book)->active_sheet();
        (void)sheet->set_cell_value({1, 1}, std::string("支店"));
        (void)sheet->set_cell_value({1, 2}, std::string("売上（千円）"));
        (void)sheet->set_cell_value({1, 3}, std::string("備考"));
        for (int r = 0; r < 3; ++r) {
            (void)sheet->set_cell_value({r + 2, 1}, std::string(branches[b][r]));
            (void)sheet->set_cell_value({r + 2, 2}, 1200.0 + 350 * r + 90 * b);
            (void)sheet->set_cell_value({r + 2, 3}, std::string(r == 0 ? "東京へ移転予定" : ""));
        }
        const QString path = folder + QStringLiteral("/売上_%1月.xlsx").arg(b + 4);
        if (!(*book)->save_as(ss(path), sheaflow::xl::xlOpenXMLWorkbook)) return false;
        (*book)->close();
    }
    QFile broken(folder + QStringLiteral("/売上_9月（破損）.xlsx"));
    if (!broken.open(QIODevice::WriteOnly)) return false;
    broken.write("this is not a workbook");
    return true;
}

// Answers every dialog of a run at once: OK to the first-file confirmation and to messages.
void answerDialogs() {
    QWidget* modal = QApplication::activeModalWidget();
    if (!modal || !modal->isVisible()) return;
    if (auto* first = qobject_cast<sheaflow::gui::FirstFileDialog*>(modal))
        first->okButton()->click();
    else if (auto* box = qobject_cast<QMessageBox*>(modal))
        box->button(QMessageBox::Ok)->click();
    else if (auto* dialog = qobject_cast<QDialog*>(modal))
        dialog->reject();
}

// --bench: one job through the main window over a folder, timed from the run button to the
// end of the run (result window filled), printed as "gui_seconds N". The parameter folder is
// `param_dir` when given (kept from run to run, as a user's is), else a temporary one.
int bench(const QString& folder, const QString& category, const QString& operation,
          const QStringList& sets, const QString& param_dir) {
    QTemporaryDir work;
    const QString params = param_dir.isEmpty() ? work.path() + QStringLiteral("/Temp") : param_dir;
    QDir().mkpath(params);
    sheaflow::gui::MainWindow w(ss(params),
                                [] { return sheaflow::xl::native::create_application(); });
    w.resize(1280, 800);
    w.show();
    settle(300);
    w.setFolder(folder);
    if (!choose(w.findChild<QListWidget*>("List1_0"), category) ||
        !choose(w.findChild<QListWidget*>("List1_1"), operation))
        return 2;
    for (const QString& set : sets) {
        const qsizetype eq = set.indexOf(u'=');
        setText(w.pane(), qPrintable(set.left(eq)), set.mid(eq + 1));
    }
    w.checkProcess();
    settle(100);
    QTimer answer;
    QObject::connect(&answer, &QTimer::timeout, answerDialogs);
    answer.start(1);
    QElapsedTimer t;
    t.start();
    w.runOperation();
    const double seconds = static_cast<double>(t.nsecsElapsed()) / 1e9;
    answer.stop();
    std::printf("gui_seconds %.3f\n", seconds);
    std::fflush(stdout);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    sheaflow::gui::prepareApplication();
    QApplication app(argc, argv);
    sheaflow::gui::setUpApplication(app);
    QCommandLineParser parser;
    const QCommandLineOption out({QStringLiteral("out")}, QStringLiteral("screenshot folder"),
                                 QStringLiteral("folder"), QStringLiteral("screenshots"));
    parser.addOption(out);
    const QCommandLineOption bench_folder({QStringLiteral("bench")},
                                          QStringLiteral("time one job over this folder"),
                                          QStringLiteral("folder"));
    const QCommandLineOption category({QStringLiteral("category")}, QStringLiteral("category"),
                                      QStringLiteral("name"));
    const QCommandLineOption operation({QStringLiteral("operation")},
                                       QStringLiteral("operation"), QStringLiteral("name"));
    const QCommandLineOption set({QStringLiteral("set")}, QStringLiteral("pane field"),
                                 QStringLiteral("key=value"));
    const QCommandLineOption param_dir({QStringLiteral("param-dir")},
                                       QStringLiteral("parameter folder of --bench"),
                                       QStringLiteral("folder"));
    parser.addOptions({bench_folder, category, operation, set, param_dir});
    parser.addHelpOption();
    parser.process(app);
    if (parser.isSet(bench_folder))
        return bench(parser.value(bench_folder), parser.value(category), parser.value(operation),
                     parser.values(set), parser.value(param_dir));
    g_out = parser.value(out);
    QDir().mkpath(g_out);

    QTemporaryDir work;
    const QString books = work.path() + QStringLiteral("/対象ブック");
    const QString params = work.path() + QStringLiteral("/Temp");
    QDir().mkpath(params);
    if (!makeBooks(books)) {
        std::fprintf(stderr, "cannot make the sample workbooks\n");
        return 1;
    }

    sheaflow::gui::MainWindow w(ss(params),
                                [] { return sheaflow::xl::native::create_application(); });
    w.move(0, 0);
    w.resize(1280, 800);
    w.show();
    settle(500);
    w.setFolder(books);

    auto* categories = w.findChild<QListWidget*>("List1_0");
    auto* operations = w.findChild<QListWidget*>("List1_1");
    choose(categories, QStringLiteral("セル"));
    choose(operations, QStringLiteral("文字列置換"));
    setText(w.pane(), "search", QStringLiteral("東京"));
    setText(w.pane(), "replace", QStringLiteral("とうきょう"));
    w.checkProcess();
    shoot(&w, QStringLiteral("1-main-replace.png"));

    // The dialogs of the run are answered here, each photographed the first time it shows.
    bool confirm_shot = false;
    bool message_shot = false;
    QTimer answer;
    QObject::connect(&answer, &QTimer::timeout, [&] {
        QWidget* modal = QApplication::activeModalWidget();
        if (!modal || !modal->isVisible()) return;
        answer.stop();
        if (auto* first = qobject_cast<sheaflow::gui::FirstFileDialog*>(modal)) {
            if (!confirm_shot) shoot(first, QStringLiteral("2-confirm.png"));
            confirm_shot = true;
            first->okButton()->click();
        } else if (auto* box = qobject_cast<QMessageBox*>(modal)) {
            if (!message_shot) shoot(box, QStringLiteral("3-completion.png"));
            message_shot = true;
            box->button(QMessageBox::Ok)->click();
        } else if (auto* dialog = qobject_cast<QDialog*>(modal)) {
            dialog->reject();
        }
        answer.start();
    });
    answer.start(100);

    w.runOperation();
    settle(300);
    if (QWidget* errors = w.findChild<QWidget*>("Frm_Error_Text"); errors && errors->isVisible()) {
        errors->move(120, 120);
        shoot(errors, QStringLiteral("4-errors.png"));
        errors->close();
    }

    shoot(&w, QStringLiteral("6-main-after-run.png"));

    choose(operations, QStringLiteral("文字列検索"));
    setText(w.pane(), "search", QStringLiteral("とうきょう"));
    w.checkProcess();
    w.runOperation();
    settle(300);
    if (QWidget* errors = w.findChild<QWidget*>("Frm_Error_Text")) errors->close();
    if (sheaflow::gui::ResultWindow* result = w.resultWindow()) {
        result->move(60, 40);
        result->resize(1100, 680);
        shoot(result, QStringLiteral("5-result.png"));
    } else {
        std::fprintf(stderr, "the search showed no result window\n");
        ++g_failures;
    }
    answer.stop();
    return g_failures == 0 ? 0 : 1;
}
