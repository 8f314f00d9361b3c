// Whole runs from the main window over workbooks made with the engine: the first-file
// confirmation with its preview, the completion message, the result window and its copy, the
// cancel button during a run, and the parameter files written before it.

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QFileInfo>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include "gui/first_file_dialog.h"
#include "gui/main_window.h"
#include "gui/operation_pane.h"
#include "gui/qt_text.h"
#include "gui/result_window.h"
#include "gui_test.h"
#include "report/result_table.h"
#include "shell/catalogue.h"
#include "shell/settings.h"
#include "xl/native/engine.h"

namespace sheaflow::gui::test {

namespace {

std::unique_ptr<xl::Application> engine() { return xl::native::create_application(); }

// A workbook whose first sheet holds `cells` down column A.
bool makeBook(const QString& path, const std::vector<std::string>& cells) {
    auto app = engine();
    if (!app) return false;
    auto book = app->workbooks().add();
    if (!book) return false;
    xl::Worksheet* sheet = (*book)->active_sheet();
    for (std::size_t i = 0; i < cells.size(); ++i)
        if (!sheet->set_cell_value({static_cast<std::int32_t>(i) + 1, 1}, cells[i])) return false;
    const bool ok = static_cast<bool>((*book)->save_as(ss(path), xl::xlOpenXMLWorkbook));
    (*book)->close();
    return ok;
}

std::string cellA(const QString& path, std::int32_t row) {
    auto app = engine();
    auto book = app->workbooks().open(ss(path), true);
    if (!book) return "(cannot open)";
    std::string v = xl::to_text((*book)->worksheet(1)->cell_value({row, 1}));
    (*book)->close();
    return v;
}

bool choose(QListWidget* list, const QString& text) {
    for (int i = 0; i < list->count(); ++i)
        if (list->item(i)->text() == text) {
            list->setCurrentRow(i);
            return true;
        }
    return false;
}

void setText(OperationPane* pane, const char* key, const QString& text) {
    QWidget* e = pane->editor(key);
    if (auto* line = qobject_cast<QLineEdit*>(e)) line->setText(text);
    if (auto* combo = qobject_cast<QComboBox*>(e)) combo->setEditText(text);
}

struct Fixture {
    QTemporaryDir dir;
    QString books = dir.path() + QStringLiteral("/ブック");
    std::string params = (dir.path() + QStringLiteral("/Temp")).toStdString();
    Fixture() {
        QDir().mkpath(books);
        QDir().mkpath(qs(params));
    }
};

}  // namespace

class RunTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        if (!engine()) QSKIP("the workbook engine is not built in");
    }

    void a_search_over_two_workbooks_fills_the_result_window_and_copies() {
        Fixture fx;
        QVERIFY(makeBook(fx.books + "/売上_4月.xlsx", {"東京本店", "大阪支店"}));
        QVERIFY(makeBook(fx.books + "/売上_5月.xlsx", {"札幌支店", "名古屋支店", "東京駅前店"}));
        MainWindow w(fx.params, engine);
        w.setFolder(fx.books);
        QCOMPARE(static_cast<int>(w.targets().size()), 2);
        QVERIFY(choose(w.findChild<QListWidget*>("List1_0"), QStringLiteral("セル")));
        QVERIFY(choose(w.findChild<QListWidget*>("List1_1"), QStringLiteral("文字列検索")));
        setText(w.pane(), "search", QStringLiteral("東京"));
        w.checkProcess();
        auto* run = w.findChild<QPushButton*>("Cmd_Update2");
        QVERIFY2(run->isEnabled(), qPrintable(w.findChild<QLabel*>("Lbl_Error_Check")->text()));

        DialogScript script(true);
        QString preview_cell;
        bool cancel_is_default = false;
        bool controls_locked = false;
        script.inspect = [&](QWidget* modal) {
            if (auto* first = qobject_cast<FirstFileDialog*>(modal)) {
                SheetPreviewModel* m = first->previewModel();
                if (m && m->rowCount() > 0) preview_cell = m->data(m->index(0, 0)).toString();
                cancel_is_default = first->cancelButton()->isDefault();
                controls_locked = !w.findChild<QListWidget*>("List1_0")->isEnabled() &&
                                  !run->isEnabled() &&
                                  w.findChild<QPushButton*>("Cmd_Cancel_1")->isEnabled();
            }
        };
        run->click();
        QCOMPARE(script.first_file_dialogs, 1);
        QCOMPARE(preview_cell, QStringLiteral("東京本店"));
        QVERIFY(cancel_is_default);
        QVERIFY(controls_locked);
        QVERIFY2(!script.texts.isEmpty() &&
                     script.texts.front().startsWith(QStringLiteral("処理が終了しました。")),
                 qPrintable(script.texts.join(" | ")));
        QVERIFY(run->isEnabled());

        ResultWindow* result = w.resultWindow();
        QVERIFY(result);
        QVERIFY(result->isVisible());
        const QString shown = result->displayText();
        QVERIFY2(shown.contains(QStringLiteral("売上_4月.xlsx")) &&
                     shown.contains(QStringLiteral("売上_5月.xlsx")) &&
                     shown.contains(QStringLiteral("東京駅前店")) &&
                     !shown.contains(QStringLiteral("大阪支店")),
                 qPrintable(shown));
        script.texts.clear();
        result->findChild<QPushButton*>("Cmd_Copy")->click();
        QCOMPARE(script.texts, QStringList{QStringLiteral("メモリーにコピーしました。")});
        QCOMPARE(QApplication::clipboard()->text(), shown);

        // The pane was written to the parameter files before the run.
        shell::ParameterStore reread;
        reread.text_update('R', fx.params);
        const shell::OperationDecl* decl = shell::find_declaration("セル", "文字列検索");
        QVERIFY(decl);
        QCOMPARE(qs(reread.params(shell::params_owner(*decl)).text("search")),
                 QStringLiteral("東京"));
    }

    void the_result_table_saves_as_a_workbook() {
        Fixture fx;
        report::ResultTable table;
        table.set_title(0, "ファイル名");
        table.set_title(1, "シート名");
        table.new_row();
        table.set(0, "a.xlsx");
        table.set(1, "表1");
        table.new_row();
        table.set(0, "a.xlsx");
        table.set(1, "表2");
        ResultWindow window(engine);
        window.setTable(table, QStringLiteral("一覧"));
        const QString path = fx.dir.path() + "/一覧.xlsx";
        QCOMPARE(window.saveTable(path), QStringLiteral("「%1」に保存しました。").arg(path));
        QCOMPARE(qs(cellA(path, 1)), QStringLiteral("ファイル名"));
        QCOMPARE(qs(cellA(path, 2)), QStringLiteral("a.xlsx"));
        QCOMPARE(qs(cellA(path, 3)), QString());  // shown once, as in the window
    }

    void a_combine_run_offers_to_open_the_combined_workbook() {
        Fixture fx;
        QVERIFY(makeBook(fx.books + "/a.xlsx", {"1"}));
        QVERIFY(makeBook(fx.books + "/b.xlsx", {"2"}));
        MainWindow w(fx.params, engine);
        QString opened;
        w.setFileOpener([&](const QString& path) { opened = path; });
        w.setFolder(fx.books);
        QVERIFY(choose(w.findChild<QListWidget*>("List1_0"), QStringLiteral("ファイル")));
        QVERIFY(choose(w.findChild<QListWidget*>("List1_1"),
                       QStringLiteral("すべてのファイルを１つのファイルにまとめる")));
        w.checkProcess();
        DialogScript script(true);
        QString offer;
        script.inspect = [&](QWidget* modal) {
            auto* box = qobject_cast<QMessageBox*>(modal);
            if (box && box->objectName() == QStringLiteral("Msgbox_Open")) {
                offer = box->text();
                box->button(QMessageBox::Yes)->click();
            }
        };
        w.findChild<QPushButton*>("Cmd_Update2")->click();
        QVERIFY2(offer.startsWith(QStringLiteral("「まとめ_")) &&
                     offer.endsWith(QStringLiteral(".xlsx」を作成しました。開きますか？")),
                 qPrintable(offer + " | " + script.texts.join(" | ")));
        QVERIFY2(opened.startsWith(fx.books + QStringLiteral("/まとめ_")), qPrintable(opened));
        QVERIFY(QFileInfo::exists(opened));

        // Answered no, nothing is opened.
        opened.clear();
        script.inspect = nullptr;
        w.findChild<QPushButton*>("Cmd_Update2")->click();
        QVERIFY(script.texts.filter(QStringLiteral("開きますか？")).size() == 1);
        QVERIFY(opened.isEmpty());
    }

    void cancel_during_a_run_ends_it_before_the_next_save() {
        Fixture fx;
        for (const char* name : {"/1.xlsx", "/2.xlsx", "/3.xlsx"})
            QVERIFY(makeBook(fx.books + name, {"東京"}));
        MainWindow w(fx.params, engine);
        w.setFolder(fx.books);
        QVERIFY(choose(w.findChild<QListWidget*>("List1_0"), QStringLiteral("セル")));
        QVERIFY(choose(w.findChild<QListWidget*>("List1_1"), QStringLiteral("文字列置換")));
        setText(w.pane(), "search", QStringLiteral("東京"));
        setText(w.pane(), "replace", QStringLiteral("とうきょう"));
        w.checkProcess();
        DialogScript script(true);
        // The user presses the cancel button while the first file's confirmation is open.
        script.inspect = [&](QWidget* modal) {
            if (qobject_cast<FirstFileDialog*>(modal))
                w.findChild<QPushButton*>("Cmd_Cancel_1")->click();
        };
        w.findChild<QPushButton*>("Cmd_Update2")->click();
        QCOMPARE(script.first_file_dialogs, 1);
        for (const QString& t : script.texts)
            QVERIFY2(!t.startsWith(QStringLiteral("処理が終了しました。")), qPrintable(t));
        // The cancel flag is tested before the first file is saved and before the next file.
        for (const char* name : {"/1.xlsx", "/2.xlsx", "/3.xlsx"})
            QCOMPARE(qs(cellA(fx.books + name, 1)), QStringLiteral("東京"));
        QVERIFY(!w.running());
        QVERIFY(w.findChild<QListWidget*>("List1_0")->isEnabled());
    }

    void a_cancelled_search_keeps_its_rows_as_partial_and_says_so() {
        Fixture fx;
        for (const char* name : {"/1.xlsx", "/2.xlsx", "/3.xlsx"})
            QVERIFY(makeBook(fx.books + name, {"東京"}));
        MainWindow w(fx.params, engine);
        w.setFolder(fx.books);
        QVERIFY(choose(w.findChild<QListWidget*>("List1_0"), QStringLiteral("セル")));
        QVERIFY(choose(w.findChild<QListWidget*>("List1_1"), QStringLiteral("文字列検索")));
        setText(w.pane(), "search", QStringLiteral("東京"));
        w.checkProcess();
        DialogScript script(true);
        QString bar_during_run;
        script.inspect = [&](QWidget* modal) {
            if (!qobject_cast<FirstFileDialog*>(modal)) return;
            bar_during_run = w.findChild<QProgressBar*>("Prg_Files")->text();
            w.findChild<QPushButton*>("Cmd_Cancel_1")->click();
        };
        w.findChild<QPushButton*>("Cmd_Update2")->click();
        QCOMPARE(bar_during_run.left(8), QStringLiteral("0 / 3 ファ"));
        auto* progress = w.findChild<QListWidget*>("Lst_Progress");
        QCOMPARE(progress->item(progress->count() - 1)->text(), QStringLiteral("処理を中止しました。"));
        ResultWindow* result = w.resultWindow();
        QVERIFY(result && result->isVisible());
        QVERIFY(result->findChild<QLabel*>("Lbl_Caption")->text().endsWith(
            QStringLiteral("（中止したため途中まで）")));
        QVERIFY(result->findChild<QPlainTextEdit*>()->toPlainText().contains(
            QStringLiteral("1.xlsx")));
    }

    void a_replace_saves_every_workbook_and_shows_the_failed_one() {
        Fixture fx;
        QVERIFY(makeBook(fx.books + "/1.xlsx", {"東京本店"}));
        QVERIFY(makeBook(fx.books + "/2.xlsx", {"大阪", "東京駅前"}));
        QFile broken(fx.books + "/3壊れた.xlsx");
        QVERIFY(broken.open(QIODevice::WriteOnly));
        broken.write("not a workbook");
        broken.close();
        MainWindow w(fx.params, engine);
        w.setFolder(fx.books);
        QVERIFY(choose(w.findChild<QListWidget*>("List1_0"), QStringLiteral("セル")));
        QVERIFY(choose(w.findChild<QListWidget*>("List1_1"), QStringLiteral("文字列置換")));
        setText(w.pane(), "search", QStringLiteral("東京"));
        setText(w.pane(), "replace", QStringLiteral("とうきょう"));
        w.checkProcess();
        DialogScript script(true);
        w.findChild<QPushButton*>("Cmd_Update2")->click();
        QCOMPARE(script.first_file_dialogs, 1);
        QVERIFY2(script.texts.size() == 1 &&
                     script.texts.front().startsWith(QStringLiteral("処理が終了しました。")),
                 qPrintable(script.texts.join(" | ")));
        QCOMPARE(qs(cellA(fx.books + "/1.xlsx", 1)), QStringLiteral("とうきょう本店"));
        QCOMPARE(qs(cellA(fx.books + "/2.xlsx", 2)), QStringLiteral("とうきょう駅前"));
        QVERIFY2(w.lastErrorText().contains(QStringLiteral("3壊れた.xlsx")),
                 qPrintable(w.lastErrorText()));
        auto* errors = w.findChild<QWidget*>("Frm_Error_Text");
        QVERIFY(errors && errors->isVisible());
        QVERIFY(!w.resultWindow());  // a replace lists nothing
        // Every target is selected again after the run.
        for (const run::TargetFile& t : w.targets()) QVERIFY(t.selected);
    }

    void cancel_at_the_confirmation_leaves_the_first_file_unsaved() {
        Fixture fx;
        QVERIFY(makeBook(fx.books + "/1.xlsx", {"東京"}));
        QVERIFY(makeBook(fx.books + "/2.xlsx", {"東京"}));
        MainWindow w(fx.params, engine);
        w.setFolder(fx.books);
        QVERIFY(choose(w.findChild<QListWidget*>("List1_0"), QStringLiteral("セル")));
        QVERIFY(choose(w.findChild<QListWidget*>("List1_1"), QStringLiteral("文字列置換")));
        setText(w.pane(), "search", QStringLiteral("東京"));
        setText(w.pane(), "replace", QStringLiteral("とうきょう"));
        w.checkProcess();
        DialogScript script(false);
        w.findChild<QPushButton*>("Cmd_Update2")->click();
        QCOMPARE(script.first_file_dialogs, 1);
        QCOMPARE(qs(cellA(fx.books + "/1.xlsx", 1)), QStringLiteral("東京"));
        QCOMPARE(qs(cellA(fx.books + "/2.xlsx", 1)), QStringLiteral("東京"));
        QVERIFY(!w.resultWindow());
    }

    // Past the result table's last row the program stops, as the message says; the rows found
    // so far are shown first, marked as cut off.
    void a_list_past_the_row_limit_shows_its_rows_cut_off_before_the_end() {
        Fixture fx;
        const int hits = report::ResultTable::kLastRowLimit + 20;
        QVERIFY(makeBook(fx.books + "/多い.xlsx", std::vector<std::string>(hits, "東京")));
        MainWindow w(fx.params, engine);
        w.setFolder(fx.books);
        QVERIFY(choose(w.findChild<QListWidget*>("List1_0"), QStringLiteral("セル")));
        QVERIFY(choose(w.findChild<QListWidget*>("List1_1"), QStringLiteral("文字列検索")));
        setText(w.pane(), "search", QStringLiteral("東京"));
        w.checkProcess();

        // What the user sees when the program would end: the result window, then the exit.
        QString title_at_exit;
        int rows_at_exit = -1;
        int exits = 0;
        w.setProgramExit([&] {
            ++exits;
            if (ResultWindow* r = w.resultWindow()) {
                title_at_exit = r->windowTitle();
                rows_at_exit = r->table().last_row() + 1;
            }
        });
        // The user reads the cut-off rows and closes the window, which ends the program.
        QTimer closer;
        QObject::connect(&closer, &QTimer::timeout, [&] {
            if (ResultWindow* r = w.resultWindow(); r && r->isVisible() && exits == 0) r->close();
        });
        closer.start(50);
        DialogScript script(true);
        w.findChild<QPushButton*>("Cmd_Update2")->click();
        closer.stop();

        QCOMPARE(exits, 1);
        QVERIFY2(script.texts.size() >= 1 &&
                     script.texts.front().contains(QStringLiteral("３万行を超えました")),
                 qPrintable(script.texts.join(" | ")));
        QVERIFY2(title_at_exit.contains(QStringLiteral("打ち切りました")),
                 qPrintable(title_at_exit));
        // The file's heading row and every finding up to the limit.
        QCOMPARE(rows_at_exit, report::ResultTable::kLastRowLimit + 1);
    }
};

static Register<RunTest> reg;

}  // namespace sheaflow::gui::test

#include "run_test.moc"
