// The main window as a user drives it: catalogue choices, the live check of the pane, the
// target list, a whole run with its confirmation and the result window.

#include "gui/main_window.h"

#include <algorithm>
#include <string>
#include <vector>

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QTreeWidget>

#include "gui/operation_pane.h"
#include "gui/qt_text.h"
#include "gui/result_window.h"
#include "gui_test.h"
#include "ops/registry.h"
#include "shell/catalogue.h"

namespace sheaflow::gui::test {

namespace {

// Chooses a list entry by its text, as a click would; false when it is not listed.
bool choose(QListWidget* list, const QString& text) {
    for (int i = 0; i < list->count(); ++i) {
        if (list->item(i)->text() == text) {
            list->setCurrentRow(i);
            return true;
        }
    }
    return false;
}

// A category none of whose entries is implemented yet ("" when every category has one).
std::string unimplemented_category() {
    std::vector<std::string> seen, busy;
    for (const shell::OperationDecl& d : shell::declarations()) {
        if (std::find(seen.begin(), seen.end(), d.category) == seen.end())
            seen.push_back(d.category);
        if (!d.is_separator() && ops::find_procedures(d.category, d.key_name))
            busy.push_back(d.category);
    }
    for (const std::string& c : seen)
        if (std::find(busy.begin(), busy.end(), c) == busy.end()) return c;
    return {};
}

QListWidget* categories(MainWindow& w) { return w.findChild<QListWidget*>("List1_0"); }
QListWidget* operations(MainWindow& w) { return w.findChild<QListWidget*>("List1_1"); }
QPushButton* runButton(MainWindow& w) { return w.findChild<QPushButton*>("Cmd_Update2"); }
QLabel* errorLabel(MainWindow& w) { return w.findChild<QLabel*>("Lbl_Error_Check"); }

void type(OperationPane* pane, const char* key, const QString& text) {
    QWidget* e = pane->editor(key);
    QVERIFY2(e, key);
    if (auto* line = qobject_cast<QLineEdit*>(e)) {
        line->clear();
        QTest::keyClicks(line, text);
    } else if (auto* combo = qobject_cast<QComboBox*>(e)) {
        combo->setEditText(text);
    }
}

}  // namespace

class MainWindowTest : public QObject {
    Q_OBJECT

private slots:
    void choosing_a_category_preselects_its_last_used_operation() {
        QTemporaryDir dir;
        const std::string params = dir.path().toStdString();
        {
            MainWindow w(params, {});
            QVERIFY(choose(categories(w), QStringLiteral("セル")));
            QVERIFY(w.currentOperation());
            // The saved time has whole seconds: choose later than the catalogue was built.
            QThread::msleep(1100);
            QVERIFY(choose(operations(w), QStringLiteral("文字列置換")));
            QCOMPARE(qs(w.currentOperation()->name), QStringLiteral("文字列置換"));
            QVERIFY(choose(categories(w), QStringLiteral("シート")));
            QCOMPARE(qs(w.currentOperation()->category), QStringLiteral("シート"));
            // A category of entries not implemented yet preselects none of them.
            if (const std::string idle = unimplemented_category(); !idle.empty()) {
                QVERIFY(choose(categories(w), qs(idle)));
                QVERIFY(!w.currentOperation());
            }
            QVERIFY(choose(categories(w), QStringLiteral("セル")));
            QCOMPARE(qs(w.currentOperation()->name), QStringLiteral("文字列置換"));
            QCOMPARE(operations(w)->currentItem()->text(), QStringLiteral("文字列置換"));
        }
        // After a restart the choice comes back from the parameter folder.
        MainWindow again(params, {});
        QVERIFY(!again.currentOperation());
        QVERIFY(choose(categories(again), QStringLiteral("セル")));
        QVERIFY(again.currentOperation());
        QCOMPARE(qs(again.currentOperation()->name), QStringLiteral("文字列置換"));
        QVERIFY(again.pane());
    }

    void a_separator_keeps_the_run_button_disabled() {
        QTemporaryDir dir;
        MainWindow w(dir.path().toStdString(), {});
        QVERIFY(choose(categories(w), QStringLiteral("セル")));
        QVERIFY(choose(operations(w), QStringLiteral("文字列検索")));
        type(w.pane(), "search", QStringLiteral("東京"));
        w.checkProcess();
        QVERIFY2(runButton(w)->isEnabled(), qPrintable(errorLabel(w)->text()));
        int separator = -1;
        for (int i = 0; i < operations(w)->count() && separator < 0; ++i)
            if (operations(w)->item(i)->text().startsWith(u'─')) separator = i;
        if (separator < 0) QSKIP("the セル category has no separator row");
        operations(w)->setCurrentRow(separator);
        w.checkProcess();
        QVERIFY(w.currentOperation()->is_separator());
        QVERIFY(!w.pane());
        QVERIFY(!runButton(w)->isEnabled());
        QVERIFY(errorLabel(w)->text().isEmpty());
    }

    void a_bad_row_shows_its_message_and_disables_the_run_button() {
        QTemporaryDir dir;
        MainWindow w(dir.path().toStdString(), {});
        QVERIFY(choose(categories(w), QStringLiteral("セル")));
        QVERIFY(choose(operations(w), QStringLiteral("文字列置換")));
        OperationPane* pane = w.pane();
        QVERIFY(pane);
        type(pane, "search", QStringLiteral("東京"));
        type(pane, "replace", QStringLiteral("とうきょう"));
        type(pane, "col_from", QStringLiteral("A"));
        type(pane, "col_to", QStringLiteral("C"));
        type(pane, "row_from", QStringLiteral("5"));
        type(pane, "row_to", QStringLiteral("3"));  // from-row after to-row
        w.checkProcess();
        QVERIFY2(errorLabel(w)->text().contains(QStringLiteral("行の指定が不正です。")),
                 qPrintable(errorLabel(w)->text()));
        QVERIFY(!errorLabel(w)->isHidden());
        QVERIFY(!runButton(w)->isEnabled());
        // The label blinks: its colour changes from one tick to the next.
        const QColor first = errorLabel(w)->palette().color(QPalette::WindowText);
        w.checkProcess();
        QVERIFY(errorLabel(w)->palette().color(QPalette::WindowText) != first);

        type(pane, "row_to", QStringLiteral("9"));
        w.checkProcess();
        QVERIFY2(errorLabel(w)->text().isEmpty(), qPrintable(errorLabel(w)->text()));
        QVERIFY(errorLabel(w)->isHidden());
        QVERIFY(runButton(w)->isEnabled());
    }

    void a_run_without_a_selected_target_is_refused_with_a_message() {
        QTemporaryDir dir;
        MainWindow w(dir.path().toStdString(), {});
        QVERIFY(choose(categories(w), QStringLiteral("セル")));
        QVERIFY(choose(operations(w), QStringLiteral("文字列検索")));
        type(w.pane(), "search", QStringLiteral("東京"));
        w.checkProcess();
        QVERIFY(runButton(w)->isEnabled());
        DialogScript script;
        runButton(w)->click();
        QCOMPARE(script.texts, QStringList{QStringLiteral("対象ファイルが選択されていません。")});
        QVERIFY(!w.running());
    }

    void the_target_folder_and_its_files_come_back_all_selected() {
        QTemporaryDir dir;
        const std::string params = (dir.path() + "/param").toStdString();
        QDir().mkpath(qs(params));
        QDir().mkpath(dir.path() + "/books/sub");
        for (const char* name :
             {"/books/b.xlsx", "/books/A.csv", "/books/notes.txt", "/books/sub/c.xlsm"}) {
            QFile f(dir.path() + name);
            QVERIFY(f.open(QIODevice::WriteOnly));
        }
        {
            MainWindow w(params, {});
            w.setFolder(dir.path() + "/books");
            QCOMPARE(static_cast<int>(w.targets().size()), 2);
        }
        MainWindow w(params, {});
        QCOMPARE(w.findChild<QLineEdit*>("Txt_Folder")->text(), dir.path() + "/books");
        auto* list = w.findChild<QTreeWidget*>("Lst_FileName");
        QCOMPARE(list->topLevelItemCount(), 2);
        QCOMPARE(list->selectedItems().size(), 2);
        QCOMPARE(list->topLevelItem(0)->text(0), QStringLiteral("A.csv"));
        auto* sub = w.findChild<QCheckBox*>("Che_SubFolder");
        QVERIFY(sub->isEnabled());
        sub->setChecked(true);
        QCOMPARE(list->topLevelItemCount(), 3);
        QCOMPARE(list->selectedItems().size(), 3);
        // Deselecting an item in the list deselects the target.
        list->topLevelItem(0)->setSelected(false);
        QVERIFY(!w.targets()[0].selected);
        QVERIFY(w.targets()[1].selected);
    }

    void the_window_remembers_its_size() {
        QTemporaryDir dir;
        const std::string params = dir.path().toStdString();
        {
            MainWindow w(params, {});
            w.show();
            QVERIFY(QTest::qWaitForWindowExposed(&w));
            w.resize(1010, 690);
            QTest::qWait(20);
            w.close();
        }
        QVERIFY(QFile::exists(dir.path() + "/Sheaflow_F.ini"));
        MainWindow w(params, {});
        QCOMPARE(w.size(), QSize(1010, 690));
    }
};

static Register<MainWindowTest> reg;

}  // namespace sheaflow::gui::test

#include "main_window_test.moc"
