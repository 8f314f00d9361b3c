#pragma once
// The first-file confirmation: the question of the run driver, with a look at the workbook just
// processed (its sheets and a read-only grid of a sheet's used range), since no spreadsheet
// window exists to inspect it in.

#include <QAbstractTableModel>
#include <QDialog>
#include <QStringList>
#include <vector>

#include "xl/xl.h"

class QListWidget;
class QTableView;
class QLabel;
class QPushButton;

namespace sheaflow::gui {

// A snapshot of the top-left corner of a sheet's used range, as displayed text.
struct SheetPreview {
    xl::Area area;                            // the part of the used range shown
    bool truncated = false;                   // the used range is larger than what is shown
    bool has_cells = true;                    // false for a chart sheet
    std::vector<std::vector<QString>> cells;  // rows of displayed text
    std::vector<std::vector<bool>> numeric;   // cells holding a number or date (right-aligned)

    static SheetPreview read(xl::Worksheet& sheet, int max_rows, int max_cols);
};

// The snapshot as a table: row numbers and column letters as headers.
class SheetPreviewModel : public QAbstractTableModel {
    Q_OBJECT

public:
    explicit SheetPreviewModel(QObject* parent = nullptr) : QAbstractTableModel(parent) {}
    void setPreview(SheetPreview preview);
    const SheetPreview& preview() const { return preview_; }

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

private:
    SheetPreview preview_;
};

class FirstFileDialog : public QDialog {
    Q_OBJECT

public:
    static constexpr int kPreviewRows = 200;
    static constexpr int kPreviewColumns = 52;

    // `book` may be nullptr (the first file failed to open): only the question is shown.
    FirstFileDialog(const QString& question, xl::Workbook* book, QWidget* parent = nullptr);

    QPushButton* okButton() const { return ok_; }
    QPushButton* cancelButton() const { return cancel_; }
    QListWidget* sheetList() const { return sheets_; }
    SheetPreviewModel* previewModel() const { return model_; }

private:
    void showSheet(int row);

    xl::Workbook* book_;
    std::vector<xl::Worksheet*> sheet_ptrs_;
    QListWidget* sheets_ = nullptr;
    QTableView* grid_ = nullptr;
    QLabel* grid_note_ = nullptr;
    SheetPreviewModel* model_ = nullptr;
    QPushButton* ok_ = nullptr;
    QPushButton* cancel_ = nullptr;
};

}  // namespace sheaflow::gui
