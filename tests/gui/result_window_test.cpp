// The result window: pages, the three renderings, repeat suppression, copy to the clipboard with
// its two messages, and saving the table as a workbook.

#include "gui/result_window.h"

#include <QApplication>
#include <cmath>
#include <memory>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QHeaderView>
#include <QPixmap>
#include <QPrinter>
#include <QPushButton>
#include <QRadioButton>
#include <QTemporaryDir>
#include <QTableView>
#include <QTest>

#include "gui/qt_text.h"
#include "gui_test.h"
#include "report/result_table.h"
#include "xl/native/engine.h"

namespace sheaflow::gui::test {

namespace {

// Two workbooks as the search lists them: a file row, then one row per found cell.
report::ResultTable searchList() {
    report::ResultTable t;
    t.set_title(0, "ファイル名");
    t.set_title(1, "シート名");
    t.set_title(2, "検索結果");
    const char* rows[][3] = {{"売上_4月.xlsx", "Sheet1(Sheet1)", ""},
                             {"売上_4月.xlsx", "", "A2  値=東京本店  計算式=東京本店"},
                             {"売上_4月.xlsx", "", "C2  値=東京へ移転予定  計算式=東京へ移転予定"},
                             {"売上_5月.xlsx", "Sheet1(Sheet1)", ""},
                             {"売上_5月.xlsx", "", "A3  値=東京駅前店  計算式=東京駅前店"}};
    for (const auto& r : rows) {
        t.new_row();
        for (int c = 0; c < 3; ++c) t.set(c, r[c]);
    }
    return t;
}

}  // namespace

class ResultWindowTest : public QObject {
    Q_OBJECT

private slots:
    void a_row_opens_its_workbook_and_subfolders_get_a_folder_column() {
        QTemporaryDir dir;
        const std::string root = ss(dir.path());
        QDir().mkpath(dir.path() + QStringLiteral("/支店"));
        for (const QString& name : {QStringLiteral("/売上.xlsx"), QStringLiteral("/支店/売上.xlsx")}) {
            QFile f(dir.path() + name);
            QVERIFY(f.open(QIODevice::WriteOnly));
        }
        // The same file name in two folders, each with its heading row and a finding below.
        report::ResultTable t;
        t.set_title(0, "ファイル名");
        t.set_title(1, "シート名");
        t.set_title(2, "セル");
        for (const std::string& folder : {root, root + "/支店"}) {
            t.set_source(folder);
            t.new_row();
            t.set(0, "売上.xlsx");
            t.new_row();
            t.set(1, "Sheet1");
            t.set(2, "A1");
        }
        ResultWindow w({});
        QStringList opened;
        w.setFileOpener([&](const QString& path) { opened << path; });
        w.setTable(t, QStringLiteral("セル　文字列検索"), root);
        w.findChild<QRadioButton*>("Opt_Grid")->setChecked(true);
        QAbstractItemModel* model = w.grid()->model();
        QCOMPARE(model->headerData(3, Qt::Horizontal).toString(), QStringLiteral("フォルダー"));
        QCOMPARE(model->index(0, 3).data().toString(), QStringLiteral("."));
        QCOMPARE(model->index(3, 3).data().toString(), QStringLiteral("支店"));
        // Every row is as tall as the others.
        QCOMPARE(w.grid()->verticalHeader()->sectionResizeMode(0), QHeaderView::Fixed);
        // A finding row opens the workbook of its heading row, whatever the sort.
        w.grid()->sortByColumn(3, Qt::DescendingOrder);
        for (int r = 0; r < model->rowCount(); ++r)
            if (model->index(r, 2).data().toString() == QStringLiteral("A1") &&
                model->index(r, 3).data().toString() == QStringLiteral("支店"))
                w.openRow(r);
        QCOMPARE(opened, QStringList{dir.path() + QStringLiteral("/支店/売上.xlsx")});
        QCOMPARE(ss(w.workbookAt(1)), root + "/売上.xlsx");
    }

    void grid_view_shows_columns_sorts_and_copies_a_rectangle() {
        ResultWindow w({});
        w.setTable(searchList(), QStringLiteral("セル　文字列検索"));
        w.findChild<QRadioButton*>("Opt_Grid")->setChecked(true);
        QTableView* grid = w.grid();
        QVERIFY(grid->isVisibleTo(&w));
        QAbstractItemModel* model = grid->model();
        QCOMPARE(model->rowCount(), 5);
        QCOMPARE(model->headerData(2, Qt::Horizontal).toString(), QStringLiteral("検索結果"));
        // The first column repeats are suppressed as in the text views.
        QCOMPARE(model->index(1, 0).data().toString(), QString());
        grid->sortByColumn(2, Qt::DescendingOrder);
        QCOMPARE(model->index(0, 2).data().toString().left(2), QStringLiteral("C2"));
        // Rows 0 and 1 of columns 1 and 2, as tab-separated lines.
        grid->selectionModel()->select(
            QItemSelection(model->index(0, 1), model->index(1, 2)), QItemSelectionModel::Select);
        QCOMPARE(w.displayText(), QStringLiteral("\tC2  値=東京へ移転予定  計算式=東京へ移転予定\n"
                                                 "\tA3  値=東京駅前店  計算式=東京駅前店\n"));
    }

    void pictures_show_in_the_grid_and_go_into_the_saved_workbook() {
        QFile source(QStringLiteral(SHEAFLOW_TEST_DATA_DIR "/range_picture.png"));
        QVERIFY(source.open(QIODevice::ReadOnly));
        const QByteArray bytes = source.readAll();
        report::ResultTable t;
        t.set_title(0, "ファイル名");
        t.set_title(1, "画像");
        t.new_row();
        t.set(0, "a.xlsx");
        t.set(1, report::ResultTable::kPictureText);
        t.set_picture(std::make_shared<const std::string>(bytes.toStdString()));
        t.new_row();
        t.set(0, "b.xlsx");
        ResultWindow w([] { return xl::native::create_application(); });
        w.setTable(t, QStringLiteral("セル　画像として印字"));
        w.findChild<QRadioButton*>("Opt_Grid")->setChecked(true);
        QAbstractItemModel* model = w.grid()->model();
        QVERIFY(!model->index(0, 1).data(Qt::DecorationRole).value<QPixmap>().isNull());
        QVERIFY(model->index(1, 1).data(Qt::DecorationRole).isNull());

        QTemporaryDir dir;
        const QString path = dir.path() + QStringLiteral("/一覧.xlsx");
        QCOMPARE(w.saveTable(path), QStringLiteral("「%1」に保存しました。").arg(path));
        auto app = xl::native::create_application();
        auto book = app->workbooks().open(ss(path), true);
        QVERIFY(book.has_value());
        std::vector<xl::SheetObject> objects = (*book)->worksheet(1)->objects();
        QCOMPARE(objects.size(), std::size_t{1});
        // Under the title row, in the picture's cell, at its own size (96 pixels an inch).
        QCOMPARE(objects[0].first_row, 2);
        QCOMPARE(objects[0].first_col, 2);
        auto size = report::png_size(bytes.toStdString());
        QVERIFY(size.has_value());
        QVERIFY(std::abs(objects[0].width - size->first * 0.75) < 0.5);
        QVERIFY((*book)->worksheet(1)->line_format(xl::Axis::Rows, 2).size >= objects[0].height);
    }

    void copy_puts_the_shown_text_on_the_clipboard() {
        ResultWindow w({});
        w.setTable(searchList(), QStringLiteral("セル　文字列検索"));
        QApplication::clipboard()->setText(QStringLiteral("前の内容"));
        DialogScript script;
        w.findChild<QPushButton*>("Cmd_Copy")->click();
        QCOMPARE(script.texts, QStringList{QStringLiteral("メモリーにコピーしました。")});
        QVERIFY(!w.displayText().isEmpty());
        QCOMPARE(QApplication::clipboard()->text(), w.displayText());
        QVERIFY(w.displayText().contains(QStringLiteral("東京駅前店")));
    }

    void copy_of_an_empty_list_says_so_and_leaves_the_clipboard() {
        ResultWindow w({});
        w.setTable(report::ResultTable(), QStringLiteral("空"));
        QApplication::clipboard()->setText(QStringLiteral("前の内容"));
        DialogScript script;
        w.findChild<QPushButton*>("Cmd_Copy")->click();
        QCOMPARE(script.texts, QStringList{QStringLiteral("コピーする領域がありません。")});
        QCOMPARE(QApplication::clipboard()->text(), QStringLiteral("前の内容"));
        QCOMPARE(w.pageCount(), 0);
    }

    void repeats_of_the_first_column_are_shown_once_unless_asked() {
        ResultWindow w({});
        w.setTable(searchList(), QStringLiteral("一覧"));
        QCOMPARE(w.displayText().count(QStringLiteral("売上_4月.xlsx")), 1);
        w.findChild<QCheckBox*>("Che_Hyoji0")->setChecked(false);
        QCOMPARE(w.displayText().count(QStringLiteral("売上_4月.xlsx")), 3);
        // The window's copy of the table is untouched by the suppression.
        QCOMPARE(qs(w.table().rows()[1][0]), QStringLiteral("売上_4月.xlsx"));
    }

    void the_page_chooser_and_the_three_renderings() {
        ResultWindow w({});
        w.setTable(searchList(), QStringLiteral("一覧"));
        auto* pages = w.findChild<QComboBox*>("Cmb_File");
        QCOMPARE(pages->count(), 1);
        QVERIFY2(pages->itemText(0).contains(QStringLiteral("行～")) &&
                     pages->itemText(0).endsWith(QStringLiteral("行")),
                 qPrintable(pages->itemText(0)));
        w.findChild<QRadioButton*>("Opt_Tab")->click();
        const QString tab = w.displayText();
        QVERIFY(tab.contains(QStringLiteral("売上_4月.xlsx\tSheet1(Sheet1)")));
        w.findChild<QRadioButton*>("Opt_CSV")->click();
        const QString csv = w.displayText();
        QVERIFY(csv.contains(u','));
        QVERIFY(!csv.contains(u'\t'));
        w.findChild<QRadioButton*>("Opt_Kotei")->click();
        const QString fixed = w.displayText();
        QVERIFY(!fixed.contains(u'\t') && !fixed.contains(QStringLiteral("xlsx,")));
        QVERIFY(fixed.contains(QStringLiteral("東京へ移転予定")));
    }

    void printing_to_a_pdf_file_writes_the_list() {
        QTemporaryDir dir;
        const QString pdf = dir.path() + "/一覧.pdf";
        QPrinter printer(QPrinter::HighResolution);
        printer.setOutputFormat(QPrinter::PdfFormat);
        printer.setOutputFileName(pdf);
        ResultWindow empty({});
        empty.setTable(report::ResultTable(), QStringLiteral("空"));
        QVERIFY(!empty.printTo(printer));
        ResultWindow w({});
        w.setTable(searchList(), QStringLiteral("一覧"));
        QVERIFY(w.printTo(printer));
        QFile f(pdf);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QVERIFY(f.read(5) == "%PDF-");
        QVERIFY(f.size() > 1000);
    }
};

static Register<ResultWindowTest> reg;

}  // namespace sheaflow::gui::test

#include "result_window_test.moc"
