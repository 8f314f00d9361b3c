#include "gui/result_window.h"

#include <algorithm>

#include <QApplication>
#include <QButtonGroup>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDesktopServices>
#include <QFileInfo>
#include <QFileDialog>
#include <QFontDatabase>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPixmap>
#include <QPlainTextEdit>
#include <QPrintDialog>
#include <QPrinter>
#include <QPushButton>
#include <QHeaderView>
#include <QRadioButton>
#include <QStackedWidget>
#include <QStandardItemModel>
#include <QTableView>
#include <QCloseEvent>
#include <QTextDocument>
#include <QUrl>
#include <QVBoxLayout>

#include "gui/gui_host.h"
#include "gui/qt_text.h"
#include "report/folders.h"
#include "run/driver.h"
#include "xl/xl.h"

namespace sheaflow::gui {

namespace {

// The largest picture the grid shows in a cell.
const QSize kThumbnail(240, 120);

// A font in which a full-width character is exactly two half-width ones, so that the
// fixed-width rendering lines up; IPA Gothic is such a font and carries the Japanese glyphs.
QFont fixedFont() {
    for (const QString& family : {QStringLiteral("IPAGothic"), QStringLiteral("IPAゴシック"),
                                  QStringLiteral("Noto Sans Mono CJK JP")}) {
        if (QFontDatabase::hasFamily(family)) return QFont(family);
    }
    QFont f = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    f.setStyleHint(QFont::Monospace);
    return f;
}

void say(QWidget* parent, const QString& text) {
    QMessageBox box(QMessageBox::NoIcon, QApplication::applicationDisplayName(), text,
                    QMessageBox::Ok, parent);
    box.setObjectName("Msgbox_Process");
    box.exec();
}

}  // namespace

ResultWindow::ResultWindow(run::ApplicationFactory make_application, QWidget* parent)
    : QWidget(parent, Qt::Window), make_application_(std::move(make_application)) {
    setObjectName("Check_F");
    setWindowTitle(QStringLiteral("結果一覧"));

    caption_ = new QLabel(this);
    caption_->setObjectName("Lbl_Caption");

    page_box_ = new QComboBox(this);
    page_box_->setObjectName("Cmb_File");
    page_box_->setSizeAdjustPolicy(QComboBox::AdjustToContents);

    auto* formats = new QGroupBox(QStringLiteral("表示形式"), this);
    auto* format_layout = new QHBoxLayout(formats);
    opt_csv_ = new QRadioButton(QStringLiteral("ＣＳＶ"), formats);
    opt_fixed_ = new QRadioButton(QStringLiteral("固定長"), formats);
    opt_tab_ = new QRadioButton(QStringLiteral("タブ区切り"), formats);
    opt_csv_->setObjectName("Opt_CSV");
    opt_fixed_->setObjectName("Opt_Kotei");
    opt_tab_->setObjectName("Opt_Tab");
    opt_grid_ = new QRadioButton(QStringLiteral("表"), formats);
    opt_grid_->setObjectName("Opt_Grid");
    opt_fixed_->setChecked(true);
    auto* group = new QButtonGroup(formats);
    for (QRadioButton* r : {opt_csv_, opt_fixed_, opt_tab_, opt_grid_}) {
        group->addButton(r);
        format_layout->addWidget(r);
        connect(r, &QRadioButton::toggled, this, [this](bool on) {
            if (on) render();
        });
    }

    suppress_ = new QCheckBox(QStringLiteral("１列目の繰り返しを表示しない"), this);
    suppress_->setObjectName("Che_Hyoji0");
    suppress_->setChecked(true);
    connect(suppress_, &QCheckBox::toggled, this, [this] {
        rebuildPages();
        render();
    });

    display_ = new QPlainTextEdit(this);
    display_->setObjectName("Txt_Display");
    display_->setReadOnly(true);
    display_->setLineWrapMode(QPlainTextEdit::NoWrap);
    display_->setFont(fixedFont());
    grid_model_ = new QStandardItemModel(this);
    grid_ = new QTableView(this);
    grid_->setObjectName("Grd_Result");
    grid_->setModel(grid_model_);
    grid_->setSortingEnabled(true);
    grid_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    grid_->horizontalHeader()->setSortIndicatorShown(true);
    // One row height for every row: the view then lays out tens of thousands of rows without
    // measuring each one.
    grid_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    grid_->verticalHeader()->setDefaultSectionSize(grid_->fontMetrics().height() + 6);
    connect(grid_, &QTableView::doubleClicked, this,
            [this](const QModelIndex& index) { openRow(index.row()); });
    open_file_ = [](const QString& path) { QDesktopServices::openUrl(QUrl::fromLocalFile(path)); };
    views_ = new QStackedWidget(this);
    views_->addWidget(display_);
    views_->addWidget(grid_);

    count_ = new QLabel(this);
    count_->setObjectName("Lbl_Kensu");

    auto* copy = new QPushButton(QStringLiteral("コピー"), this);
    auto* print_button = new QPushButton(QStringLiteral("印刷…"), this);
    auto* save = new QPushButton(QStringLiteral("ブックに保存…"), this);
    auto* close_button = new QPushButton(QStringLiteral("閉じる"), this);
    copy->setObjectName("Cmd_Copy");
    print_button->setObjectName("Cmd_Print");
    save->setObjectName("Cmd_Gazou");
    close_button->setObjectName("Cmd_Close");
    connect(copy, &QPushButton::clicked, this, &ResultWindow::copyToClipboard);
    connect(print_button, &QPushButton::clicked, this, &ResultWindow::print);
    connect(save, &QPushButton::clicked, this, &ResultWindow::saveAsWorkbook);
    connect(close_button, &QPushButton::clicked, this, &QWidget::close);
    connect(page_box_, &QComboBox::currentIndexChanged, this, [this] { render(); });

    auto* top = new QHBoxLayout;
    top->addWidget(new QLabel(QStringLiteral("表示範囲"), this));
    top->addWidget(page_box_);
    top->addWidget(formats);
    top->addWidget(suppress_);
    top->addStretch();

    auto* bottom = new QHBoxLayout;
    bottom->addWidget(count_);
    bottom->addStretch();
    for (QPushButton* b : {copy, print_button, save, close_button}) bottom->addWidget(b);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(caption_);
    layout->addLayout(top);
    layout->addWidget(views_, 1);
    layout->addLayout(bottom);
    resize(1000, 640);
}

void ResultWindow::setTable(const report::ResultTable& table, const QString& caption,
                            const std::string& target_folder) {
    target_folder_ = target_folder;
    table_ = target_folder.empty() ? table : report::with_folder_column(table, target_folder);
    caption_->setText(caption);
    setWindowTitle(QStringLiteral("結果一覧 - ") + caption);
    rebuildPages();
    render();
}

ResultWindow::Format ResultWindow::format() const {
    if (opt_csv_->isChecked()) return Format::Csv;
    if (opt_tab_->isChecked()) return Format::Tab;
    if (opt_grid_->isChecked()) return Format::Grid;
    return Format::Fixed;
}

void ResultWindow::rebuildPages() {
    shown_ = table_;
    if (suppress_->isChecked()) report::Check_Hyoji0_Indication(shown_);
    pages_ = report::Index_Hensyu(shown_);
    const QSignalBlocker block(page_box_);
    const int keep = page_box_->currentIndex();
    page_box_->clear();
    for (const report::Page& p : pages_) page_box_->addItem(qs(p.text));
    page_box_->setCurrentIndex(keep >= 0 && keep < page_box_->count() ? keep : 0);
    page_box_->setEnabled(!pages_.empty());
    count_->setText(QStringLiteral("%1 行").arg(shown_.last_row() + 1));
}

void ResultWindow::render() {
    const int index = page_box_->currentIndex();
    views_->setCurrentWidget(format() == Format::Grid ? static_cast<QWidget*>(grid_) : display_);
    if (pages_.empty() || index < 0) {
        display_->clear();
        grid_model_->clear();
        return;
    }
    const report::Page& page = pages_[static_cast<std::size_t>(index)];
    if (format() == Format::Grid) {
        showGrid(page);
        return;
    }
    std::string text;
    switch (format()) {
        case Format::Grid:
            break;
        case Format::Csv:
            text = report::Display_CSV_X(shown_, page, "\n");
            break;
        case Format::Fixed:
            text = report::Display_Kotei_X(shown_, page, "\n");
            break;
        case Format::Tab:
            text = report::Display_Tab_X(shown_, page, "\n");
            break;
    }
    display_->setPlainText(qs(text));
}

void ResultWindow::showGrid(const report::Page& page) {
    const int columns = report::Check_Hyoji_Max(shown_);
    grid_->setSortingEnabled(false);
    grid_model_->clear();
    grid_model_->setColumnCount(columns);
    QStringList titles;
    for (int c = 0; c < columns; ++c) titles << qs(shown_.title(c));
    grid_model_->setHorizontalHeaderLabels(titles);
    for (int r = page.first; r <= page.last; ++r) {
        QList<QStandardItem*> row;
        for (int c = 0; c < columns; ++c) {
            auto* item = new QStandardItem(qs(shown_.cell(r, c)));
            // A row's picture is shown small where the row reads "(画像)".
            const std::string* png = shown_.picture(r);
            if (png && shown_.cell(r, c) == report::ResultTable::kPictureText) {
                QPixmap picture;
                if (picture.loadFromData(reinterpret_cast<const uchar*>(png->data()),
                                         static_cast<uint>(png->size()), "PNG"))
                    item->setData(picture.scaled(kThumbnail, Qt::KeepAspectRatio,
                                                 Qt::SmoothTransformation),
                                  Qt::DecorationRole);
            }
            row << item;
        }
        row.front()->setData(r, Qt::UserRole);  // the table row, whatever the sort
        grid_model_->appendRow(row);
    }
    grid_->setSortingEnabled(true);
    grid_->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
    grid_->resizeColumnsToContents();
    grid_->resizeRowsToContents();
}

QString ResultWindow::workbookAt(int table_row) const {
    std::string folder = table_.row_source(table_row);
    if (folder.empty()) folder = target_folder_;
    // The row itself, then the rows above it up to the group's blank line: a search names the
    // file on the heading row of its findings.
    for (int r = table_row; r >= 0; --r) {
        const report::ResultTable::Row& row = table_.rows()[static_cast<std::size_t>(r)];
        if (std::all_of(row.begin(), row.end(), [](const std::string& c) { return c.empty(); }))
            break;
        for (const std::string& cell : row) {
            if (cell.empty() || !run::is_target_extension(run::upper_extension(cell))) continue;
            const QString path = cell.front() == '/' || folder.empty()
                                     ? qs(cell)
                                     : qs(folder) + QLatin1Char('/') + qs(cell);
            if (QFileInfo(path).isFile()) return path;
        }
    }
    return {};
}

void ResultWindow::closeEvent(QCloseEvent* event) {
    emit closed();
    QWidget::closeEvent(event);
}

void ResultWindow::openRow(int grid_row) {
    const QModelIndex first = grid_model_->index(grid_row, 0);
    if (!first.isValid()) return;
    const QString path = workbookAt(first.data(Qt::UserRole).toInt());
    if (!path.isEmpty() && open_file_) open_file_(path);
}

QString ResultWindow::displayText() const {
    if (format() != Format::Grid) return display_->toPlainText();
    // The selected rectangle, rows in the order shown.
    const QModelIndexList selected = grid_->selectionModel()->selectedIndexes();
    if (selected.isEmpty()) return {};
    int top = selected.front().row(), bottom = top, left = selected.front().column(), right = left;
    for (const QModelIndex& i : selected) {
        top = std::min(top, i.row());
        bottom = std::max(bottom, i.row());
        left = std::min(left, i.column());
        right = std::max(right, i.column());
    }
    QString text;
    for (int r = top; r <= bottom; ++r) {
        for (int c = left; c <= right; ++c) {
            if (c > left) text += u'\t';
            text += grid_model_->index(r, c).data().toString();
        }
        text += u'\n';
    }
    return text;
}

void ResultWindow::copyToClipboard() {
    const QString text = displayText();
    if (text.isEmpty()) {
        say(this, QStringLiteral("コピーする領域がありません。"));
        return;
    }
    QApplication::clipboard()->setText(text);
    say(this, QStringLiteral("メモリーにコピーしました。"));
}

void ResultWindow::print() {
    if (displayText().isEmpty()) return;
    QPrinter printer(QPrinter::HighResolution);
    printer.setDocName(windowTitle());
    QPrintDialog dialog(&printer, this);
    dialog.setWindowTitle(QStringLiteral("印刷"));
    if (dialog.exec() != QDialog::Accepted) return;
    printTo(printer);
}

bool ResultWindow::printTo(QPrinter& printer) const {
    const QString text = displayText();
    if (text.isEmpty()) return false;
    QTextDocument doc;
    doc.setDefaultFont(fixedFont());
    doc.setPlainText(text);
    doc.print(&printer);
    return true;
}

void ResultWindow::saveAsWorkbook() {
    if (table_.empty()) {
        say(this, QStringLiteral("保存する一覧がありません。"));
        return;
    }
    QString path = QFileDialog::getSaveFileName(this, QStringLiteral("ブックに保存"), QString(),
                                                QStringLiteral("Excel ブック (*.xlsx)"));
    if (path.isEmpty()) return;
    if (!path.endsWith(QStringLiteral(".xlsx"), Qt::CaseInsensitive))
        path += QStringLiteral(".xlsx");
    say(this, saveTable(path));
}

std::string ResultWindow::placePictures(xl::Worksheet& sheet, std::int32_t first_row) const {
    // Each picture goes into its "(画像)" cell at its own size, shrunk to at most 600 × 409
    // points (a row's greatest height); its column is widened and its row heightened to hold it
    // first, since the anchor is measured in cells.
    constexpr double kMaxWidth = 600, kMaxHeight = 409;
    struct Placed {
        const std::string* png;
        xl::CellRef at;
        double width, height;
    };
    std::vector<Placed> placed;
    double column_points[report::ResultTable::kColumns] = {};
    for (int r = 0; r <= shown_.last_row(); ++r) {
        const std::string* png = shown_.picture(r);
        auto size = png ? report::png_size(*png) : std::nullopt;
        if (!size) continue;
        for (int c = 0; c < report::ResultTable::kColumns; ++c) {
            if (shown_.cell(r, c) != report::ResultTable::kPictureText) continue;
            double w = size->first * 0.75, h = size->second * 0.75;  // 96 pixels an inch
            const double shrink = std::min({1.0, kMaxWidth / w, kMaxHeight / h});
            placed.push_back({png, {first_row + r, c + 1}, w * shrink, h * shrink});
            column_points[c] = std::max(column_points[c], w * shrink);
            break;
        }
    }
    for (int c = 0; c < report::ResultTable::kColumns; ++c) {
        if (column_points[c] == 0) continue;
        xl::LineFormatChange width;  // characters of 7 pixels, plus 5 pixels of padding
        width.size = std::min(255.0, (column_points[c] / 0.75 + 5) / 7 + 1);
        if (auto ok = sheet.format_lines(xl::Axis::Columns, {{c + 1, c + 1}}, width); !ok)
            return ok.error().message;
    }
    for (const Placed& p : placed) {
        xl::LineFormatChange height;
        height.size = std::min(kMaxHeight, p.height + 2);
        if (auto ok = sheet.format_lines(xl::Axis::Rows, {{p.at.row, p.at.row}}, height); !ok)
            return ok.error().message;
    }
    for (const Placed& p : placed)
        if (auto ok = sheet.add_picture(*p.png, p.at, p.width, p.height); !ok)
            return ok.error().message;
    return {};
}

QString ResultWindow::saveTable(const QString& path) {
    if (!make_application_) return QStringLiteral("ブックを作成できません。");
    std::unique_ptr<xl::Application> app = make_application_();
    if (!app) return QStringLiteral("ブックを作成できません。");
    Result<xl::Workbook*> added = app->workbooks().add();
    if (!added) return messageText(added.error().message);
    xl::Workbook* book = *added;
    xl::Worksheet* sheet = book->active_sheet();
    // Titles first when the list has any, then the rows as the window shows them.
    const int columns = report::Check_Hyoji_Max(shown_);
    std::int32_t row = 1;
    bool titled = false;
    for (const std::string& t : shown_.titles()) titled = titled || !t.empty();
    std::string failure;
    auto put = [&](const report::ResultTable::Row& cells) {
        for (int c = 0; c < columns && c < static_cast<int>(cells.size()); ++c) {
            const std::string& v = cells[static_cast<std::size_t>(c)];
            if (v.empty()) continue;
            Result<void> r = sheet->set_cell_value({row, c + 1}, xl::Value(v));
            if (!r && failure.empty()) failure = r.error().message;
        }
        ++row;
    };
    if (titled) put(shown_.titles());
    const std::int32_t first_row = row;
    for (const report::ResultTable::Row& r : shown_.rows()) put(r);
    if (failure.empty()) failure = placePictures(*sheet, first_row);
    Result<void> saved = failure.empty() ? book->save_as(ss(path), xl::xlOpenXMLWorkbook)
                                         : Result<void>(Error::failed(failure));
    book->close();
    app->quit();
    if (!saved) return messageText(saved.error().message);
    return QStringLiteral("「%1」に保存しました。").arg(path);
}

}  // namespace sheaflow::gui
