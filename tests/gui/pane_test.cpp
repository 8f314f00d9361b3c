// The generated pane: every field kind shows a stored value and gives it back unchanged, and the
// row and column boxes keep to their masks.

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QGroupBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTemporaryDir>
#include <QTest>

#include "gui/operation_pane.h"
#include "gui/qt_text.h"
#include "gui_test.h"
#include "shell/settings.h"

namespace sheaflow::gui::test {

using shell::Field;
using shell::FieldKind;

namespace {

shell::OperationDecl everyKind() {
    shell::OperationDecl d;
    d.category = "テスト";
    d.name = "全種類";
    d.key_name = d.name;
    d.main_file = "Test_All.txt";
    d.history_files = {"Test_All_T0.txt", "Test_All_T1.txt", "Test_All_T2.txt"};
    d.fields = {
        {"text", FieldKind::Text, "文字", "", {}, -1, false},
        {"search", FieldKind::HistoryText, "検索文字", "", {}, 0, true},
        {"replace", FieldKind::HistoryText, "置換文字", "", {}, 1, false},
        {"flag", FieldKind::Check, "区別する", "0", {}, -1, false},
        {"mode",
         FieldKind::Option,
         "検索対象",
         "",
         {{"formulas", "数式"}, {"values", "値"}},
         -1,
         false},
        {"row", FieldKind::Row, "行", "", {}, -1, false},
        {"col", FieldKind::Column, "列", "", {}, -1, false},
        {"cell", FieldKind::Address, "セル", "", {}, -1, false},
        {"count", FieldKind::Number, "件数", "", {}, -1, false},
        {"folder", FieldKind::Folder, "フォルダー", "", {}, -1, false},
        {"file", FieldKind::File, "ファイル", "", {}, 2, false},
        {"sheets", FieldKind::SheetList, "シート", "", {}, -1, false},
    };
    return d;
}

}  // namespace

class PaneTest : public QObject {
    Q_OBJECT

private slots:
    void values_round_trip_data() {
        QTest::addColumn<QStringList>("values");
        // Japanese text with commas and quotes, an option with no choice, sheet names with
        // blanks: each must come back exactly as stored.
        QTest::newRow("filled") << QStringList{"東京, 大阪", "\"値\"",         "とうきょう",
                                               "1",          "values",         "12345",
                                               "AB",         "Sheet1!$A$1:C5", "-1.5",
                                               "/tmp/出力",  "/tmp/a b.xlsm",  "表 1\tSheet2"};
        QTest::newRow("empty") << QStringList{"", "", "", "0", "", "", "", "", "", "", "", ""};
        QTest::newRow("first option")
            << QStringList{"", "", "", "0", "formulas", "", "", "", "", "", "", "集計"};
    }

    void values_round_trip() {
        QFETCH(QStringList, values);
        const shell::OperationDecl decl = everyKind();
        shell::PaneValues stored;
        for (const QString& v : values) stored.values.push_back(v.toStdString());
        stored.histories = {{"古い", "もっと古い"}, {}, {"/tmp/前.xlsm"}};
        const shell::PaneValues original = stored;
        QTemporaryDir dir;
        OperationPane pane(decl, stored, dir.path().toStdString() + "/Test_All_");
        pane.storeValues();
        QCOMPARE(stored.values, original.values);
    }

    void history_drop_down_lists_entries_newest_first_and_keeps_the_text() {
        const shell::OperationDecl decl = everyKind();
        shell::PaneValues stored;
        stored.values.assign(decl.fields.size(), "");
        stored.values[1] = "今の値";
        stored.histories = {{"新しい", "", "古い"}, {}};
        OperationPane pane(decl, stored, "/nonexistent/");
        auto* combo = qobject_cast<QComboBox*>(pane.editor("search"));
        QVERIFY(combo);
        QCOMPARE(combo->count(), 2);  // the empty entry is not offered
        QCOMPARE(combo->itemText(0), QStringLiteral("新しい"));
        QCOMPARE(combo->currentText(), QStringLiteral("今の値"));
        // After the files were written the history has the used value on top.
        stored.histories[0] = {"今の値", "新しい", "古い"};
        pane.refreshHistories();
        QCOMPARE(combo->count(), 3);
        QCOMPARE(combo->itemText(0), QStringLiteral("今の値"));
        QCOMPARE(combo->currentText(), QStringLiteral("今の値"));
        QCOMPARE(combo->maxCount(), shell::kHistorySize);
    }

    void row_and_column_boxes_keep_to_their_masks() {
        const shell::OperationDecl decl = everyKind();
        shell::PaneValues stored;
        stored.values.assign(decl.fields.size(), "");
        OperationPane pane(decl, stored, "/nonexistent/");
        auto* row = qobject_cast<QLineEdit*>(pane.editor("row"));
        auto* col = qobject_cast<QLineEdit*>(pane.editor("col"));
        QVERIFY(row && col);
        QTest::keyClicks(row, "1x2-3456789");
        QCOMPARE(row->text(), QStringLiteral("12345"));  // five digits, nothing else
        QTest::keyClicks(col, "a1bcd");
        QCOMPARE(col->text(), QStringLiteral("ABC"));  // letters only, shown upper-cased
        pane.storeValues();
        QCOMPARE(stored.values[5], std::string("12345"));
        QCOMPARE(stored.values[6], std::string("ABC"));
    }

    void editing_a_field_is_reported() {
        const shell::OperationDecl decl = everyKind();
        shell::PaneValues stored;
        stored.values.assign(decl.fields.size(), "");
        OperationPane pane(decl, stored, "/nonexistent/");
        int edits = 0;
        connect(&pane, &OperationPane::edited, this, [&] { ++edits; });
        pane.showValues();  // showing stored values is not an edit
        QCOMPARE(edits, 0);
        QTest::keyClicks(qobject_cast<QComboBox*>(pane.editor("search"))->lineEdit(), "a");
        QVERIFY(edits > 0);
        const int before = edits;
        pane.findChild<QRadioButton*>("Opt_Joken_mode_values")->click();
        QVERIFY(edits > before);
        pane.storeValues();
        QCOMPARE(stored.values[4], std::string("values"));
        QCOMPARE(stored.values[1], std::string("a"));
    }

    void a_folder_chooser_remembers_its_last_folder() {
        QTemporaryDir dir;
        const QString chosen = dir.path() + QStringLiteral("/出力先");
        QVERIFY(QDir().mkpath(chosen));
        const shell::OperationDecl decl = everyKind();
        shell::PaneValues stored;
        stored.values.assign(decl.fields.size(), "");
        const std::string prefix = dir.path().toStdString() + "/Test_All_";
        OperationPane pane(decl, stored, prefix);
        auto* browse = pane.findChild<QPushButton*>("Cmd_Control_folder");
        QVERIFY(browse);

        QString started_in;
        DialogScript script;
        script.inspect = [&](QWidget* modal) {
            if (auto* d = qobject_cast<QFileDialog*>(modal)) {
                started_in = d->directory().absolutePath();
                d->setDirectory(chosen);
                static_cast<QDialog*>(d)->accept();
            }
        };
        browse->click();
        QCOMPARE(qobject_cast<QLineEdit*>(pane.editor("folder"))->text(), chosen);
        QCOMPARE(qs(shell::Fldg_Full_Name_Read(prefix + "folder")), chosen);
        QVERIFY(QFile::exists(dir.path() + "/Test_All_folder_Fldg.txt"));

        // With the box emptied, the chooser opens where it was last left.
        qobject_cast<QLineEdit*>(pane.editor("folder"))->clear();
        browse->click();
        QCOMPARE(started_in, chosen);
    }
};

static Register<PaneTest> reg;

}  // namespace sheaflow::gui::test

#include "pane_test.moc"
