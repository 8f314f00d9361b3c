#pragma once
// The result window: the result table of a list operation, page by page, as comma-separated,
// fixed-width or tab-separated text, with copy to the clipboard, printing (to a printer or a PDF
// file) and saving the table as a workbook through the engine.

#include <QWidget>
#include <functional>
#include <string>
#include <vector>

#include "report/render.h"
#include "report/result_table.h"
#include "run/driver.h"

class QComboBox;
class QRadioButton;
class QCheckBox;
class QPlainTextEdit;
class QPushButton;
class QLabel;
class QStackedWidget;
class QStandardItemModel;
class QTableView;
class QPrinter;

namespace sheaflow::xl {
class Worksheet;
}

namespace sheaflow::gui {

class ResultWindow : public QWidget {
    Q_OBJECT

public:
    enum class Format { Csv, Fixed, Tab, Grid };

    explicit ResultWindow(run::ApplicationFactory make_application, QWidget* parent = nullptr);

    // Shows a copy of `table`; `caption` names the operation. Rows found below `target_folder`
    // get a folder column, and a double-click on a row opens the workbook it names.
    void setTable(const report::ResultTable& table, const QString& caption,
                  const std::string& target_folder = {});
    // The workbook a row of the table names (the row itself or the heading rows above it), as a
    // path; empty when none is found on disk.
    QString workbookAt(int table_row) const;
    // How a workbook is opened (the desktop's default application unless a test says other).
    void setFileOpener(std::function<void(const QString& path)> opener) {
        open_file_ = std::move(opener);
    }
    // Opens the workbook of a grid row, as a double-click does.
    void openRow(int grid_row);
    const report::ResultTable& table() const { return table_; }
    // The grid view of the shown page: a column per title, sortable, copied as a rectangle.
    QTableView* grid() const { return grid_; }
    // The text of the display box (what copy and print take); in the grid view, the selected
    // rectangle as tab-separated lines.
    QString displayText() const;
    int pageCount() const { return static_cast<int>(pages_.size()); }
    // Prints the shown text on `printer` (a printer or a PDF file); false when there is none.
    bool printTo(QPrinter& printer) const;

signals:
    void closed();

public slots:
    void copyToClipboard();
    void print();
    void saveAsWorkbook();
    // Saves the table as an .xlsx workbook; the message for the user ("" on success is never
    // returned: it names the saved file).
    QString saveTable(const QString& path);

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void rebuildPages();
    void render();
    void showGrid(const report::Page& page);
    // Puts the rows' pictures into the saved table (rows from `first_row`); "" or the error.
    std::string placePictures(xl::Worksheet& sheet, std::int32_t first_row) const;
    Format format() const;

    run::ApplicationFactory make_application_;
    std::function<void(const QString&)> open_file_;
    std::string target_folder_;
    report::ResultTable table_;  // as the run left it, with its folder column
    report::ResultTable shown_;  // with repeats in the first column suppressed when asked
    std::vector<report::Page> pages_;

    QLabel* caption_ = nullptr;
    QComboBox* page_box_ = nullptr;  // Cmb_File
    QRadioButton* opt_csv_ = nullptr;
    QRadioButton* opt_fixed_ = nullptr;
    QRadioButton* opt_tab_ = nullptr;
    QCheckBox* suppress_ = nullptr;
    QRadioButton* opt_grid_ = nullptr;
    QStackedWidget* views_ = nullptr;
    QPlainTextEdit* display_ = nullptr;
    QTableView* grid_ = nullptr;
    QStandardItemModel* grid_model_ = nullptr;
    QLabel* count_ = nullptr;
};

}  // namespace sheaflow::gui
