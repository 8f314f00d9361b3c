#include "gui/first_file_dialog.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QSplitter>
#include <QStyle>
#include <QTableView>
#include <QVBoxLayout>
#include <algorithm>

#include "gui/qt_text.h"

namespace sheaflow::gui {

SheetPreview SheetPreview::read(xl::Worksheet& sheet, int max_rows, int max_cols) {
    SheetPreview p;
    if (sheet.type() == xl::xlChart || sheet.type() == xl::xlDialogSheet) {
        p.has_cells = false;
        return p;
    }
    const xl::Area used = sheet.used_range();
    p.area = used;
    p.area.last_row = std::min(used.last_row, used.first_row + max_rows - 1);
    p.area.last_col = std::min(used.last_col, used.first_col + max_cols - 1);
    p.truncated = p.area.last_row < used.last_row || p.area.last_col < used.last_col;
    const int rows = p.area.last_row - p.area.first_row + 1;
    const int cols = p.area.last_col - p.area.first_col + 1;
    p.cells.assign(static_cast<std::size_t>(rows),
                   std::vector<QString>(static_cast<std::size_t>(cols)));
    p.numeric.assign(static_cast<std::size_t>(rows),
                     std::vector<bool>(static_cast<std::size_t>(cols)));
    // Only the cells that hold something are visited; the rest stay empty.
    sheet.for_each_cell(p.area, [&](xl::CellRef c) {
        const auto r = static_cast<std::size_t>(c.row - p.area.first_row);
        const auto k = static_cast<std::size_t>(c.col - p.area.first_col);
        p.cells[r][k] = qs(sheet.cell_text(c));
        const xl::Value v = sheet.cell_value(c);
        p.numeric[r][k] =
            std::holds_alternative<double>(v) || std::holds_alternative<xl::DateTime>(v);
    });
    return p;
}

void SheetPreviewModel::setPreview(SheetPreview preview) {
    beginResetModel();
    preview_ = std::move(preview);
    endResetModel();
}

int SheetPreviewModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(preview_.cells.size());
}

int SheetPreviewModel::columnCount(const QModelIndex& parent) const {
    if (parent.isValid() || preview_.cells.empty()) return 0;
    return static_cast<int>(preview_.cells.front().size());
}

QVariant SheetPreviewModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid()) return {};
    const auto r = static_cast<std::size_t>(index.row());
    const auto c = static_cast<std::size_t>(index.column());
    switch (role) {
        case Qt::DisplayRole:
        case Qt::ToolTipRole:
            return preview_.cells[r][c];
        case Qt::TextAlignmentRole:
            return QVariant::fromValue(Qt::AlignVCenter |
                                       (preview_.numeric[r][c] ? Qt::AlignRight : Qt::AlignLeft));
        default:
            return {};
    }
}

QVariant SheetPreviewModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (role != Qt::DisplayRole) return {};
    if (orientation == Qt::Horizontal)
        return qs(xl::column_letters(preview_.area.first_col + section));
    return QString::number(preview_.area.first_row + section);
}

FirstFileDialog::FirstFileDialog(const QString& question, xl::Workbook* book, QWidget* parent)
    : QDialog(parent), book_(book) {
    setObjectName("Frm_Message_1Kenme");
    setWindowTitle(QStringLiteral("処理の確認"));
    setModal(true);

    auto* top = new QHBoxLayout;
    auto* icon = new QLabel(this);
    const int size = style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, this);
    icon->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxQuestion).pixmap(size, size));
    icon->setAlignment(Qt::AlignTop);
    auto* text = new QLabel(question, this);
    text->setObjectName("Lbl_Message");
    text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    text->setWordWrap(true);
    text->setMinimumWidth(text->fontMetrics().horizontalAdvance(u'あ') * 28);
    top->addWidget(icon);
    top->addWidget(text, 1);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);

    if (book) {
        auto* caption = new QLabel(QStringLiteral("処理したブック: ") + qs(book->name()), this);
        caption->setObjectName("Lbl_Book");
        layout->addWidget(caption);

        auto* split = new QSplitter(Qt::Horizontal, this);
        sheets_ = new QListWidget(split);
        sheets_->setObjectName("Lst_Sheet");
        auto* right = new QWidget(split);
        auto* right_layout = new QVBoxLayout(right);
        right_layout->setContentsMargins(0, 0, 0, 0);
        grid_ = new QTableView(right);
        grid_->setObjectName("Grd_Preview");
        grid_->setEditTriggers(QAbstractItemView::NoEditTriggers);
        grid_->verticalHeader()->setDefaultSectionSize(grid_->fontMetrics().height() + 6);
        model_ = new SheetPreviewModel(grid_);
        grid_->setModel(model_);
        grid_note_ = new QLabel(right);
        grid_note_->setObjectName("Lbl_Preview");
        right_layout->addWidget(grid_, 1);
        right_layout->addWidget(grid_note_);
        split->addWidget(sheets_);
        split->addWidget(right);
        split->setStretchFactor(1, 1);
        split->setSizes({180, 640});
        layout->addWidget(split, 1);

        // Every sheet in tab order, chart sheets included; the active one is shown first.
        xl::Worksheet* active = book->active_sheet();
        int active_row = 0;
        for (int i = 1; i <= book->sheet_count(); ++i) {
            xl::Worksheet* s = book->sheet(i);
            if (!s) continue;
            if (s == active) active_row = static_cast<int>(sheet_ptrs_.size());
            sheet_ptrs_.push_back(s);
            QString label = qs(s->name());
            if (s == active) label += QStringLiteral("（アクティブ）");
            sheets_->addItem(label);
        }
        connect(sheets_, &QListWidget::currentRowChanged, this, &FirstFileDialog::showSheet);
        if (!sheet_ptrs_.empty()) sheets_->setCurrentRow(active_row);
        resize(900, 600);
    }

    auto* buttons = new QDialogButtonBox(this);
    ok_ = buttons->addButton(QStringLiteral("OK"), QDialogButtonBox::AcceptRole);
    cancel_ = buttons->addButton(QStringLiteral("キャンセル"), QDialogButtonBox::RejectRole);
    ok_->setObjectName("Cmd_OK");
    cancel_->setObjectName("Cmd_Cancel");
    ok_->setAutoDefault(false);
    cancel_->setDefault(true);
    cancel_->setFocus();
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
}

void FirstFileDialog::showSheet(int row) {
    if (row < 0 || row >= static_cast<int>(sheet_ptrs_.size())) return;
    SheetPreview p = SheetPreview::read(*sheet_ptrs_[static_cast<std::size_t>(row)], kPreviewRows,
                                        kPreviewColumns);
    if (!p.has_cells) {
        grid_note_->setText(QStringLiteral("グラフシートのため、セルはありません。"));
    } else if (p.truncated) {
        grid_note_->setText(
            QStringLiteral("使用範囲 %1 のうち、先頭 %2 を表示しています。")
                .arg(qs(xl::format_address(sheet_ptrs_[static_cast<std::size_t>(row)]->used_range(),
                                           false, false)),
                     qs(xl::format_address(p.area, false, false))));
    } else {
        grid_note_->setText(
            QStringLiteral("使用範囲 %1").arg(qs(xl::format_address(p.area, false, false))));
    }
    model_->setPreview(std::move(p));
    // Columns as wide as their text, within reason.
    grid_->resizeColumnsToContents();
    const int widest = grid_->fontMetrics().horizontalAdvance(u'あ') * 16;
    for (int c = 0; c < model_->columnCount(); ++c)
        if (grid_->columnWidth(c) > widest) grid_->setColumnWidth(c, widest);
}

}  // namespace sheaflow::gui
