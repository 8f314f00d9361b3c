#include "gui/main_window.h"

#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QDesktopServices>
#include <QEventLoop>
#include <QFileInfo>
#include <QFileDialog>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QSettings>
#include <QSplitter>
#include <QStyledItemDelegate>
#include <QTreeWidget>
#include <QUrl>
#include <QVBoxLayout>
#include <algorithm>
#include <cstdlib>
#include <set>

#include "gui/gui_host.h"
#include "gui/operation_pane.h"
#include "gui/qt_text.h"
#include "gui/result_window.h"
#include "ops/registry.h"
#include "run/target_list.h"
#include "shell/descriptions.h"
#include "xl/xl.h"

namespace sheaflow::gui {

namespace {

// Rows at least as tall as the font's full line: with a Japanese font the default row height
// clips the descent, and underscores in file names vanish.
class FullLineDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        QSize size = QStyledItemDelegate::sizeHint(option, index);
        size.setHeight(std::max(size.height(), option.fontMetrics.lineSpacing() + 4));
        return size;
    }
};

constexpr int kTimerMs = 300;  // Timer1: the live check and the blinking of its message

// The window's own settings (size, position, splitters, the subfolder box) sit beside the
// parameter files, in a file of their own.
constexpr const char* kWindowSettingsFile = "/Sheaflow_F.ini";

std::string stemOf(const shell::OperationDecl& d) {
    std::string s = d.main_file;
    if (s.size() > 4 && s.compare(s.size() - 4, 4, ".txt") == 0) s.resize(s.size() - 4);
    return s.empty() ? d.proc : s;
}

QPushButton* button(const QString& text, const char* name, QWidget* parent) {
    auto* b = new QPushButton(text, parent);
    b->setObjectName(QString::fromLatin1(name));
    return b;
}

}  // namespace

MainWindow::MainWindow(std::string param_folder, run::ApplicationFactory make_application,
                       QWidget* parent)
    : QMainWindow(parent),
      param_folder_(std::move(param_folder)),
      make_application_(std::move(make_application)),
      table_([this](const std::string& text) { tableFull(text); }) {
    exit_program_ = [] { std::_Exit(EXIT_FAILURE); };
    setObjectName("Sheaflow_F");
    setWindowTitle(QStringLiteral("Sheaflow"));
    buildUi();
    host_ = std::make_unique<GuiHost>(this, progress_, status_, progress_bar_);
    host_->setAfterYield([this] {
        followCurrentTarget();
        syncSelectionToList();
    });
    restoreWindowSettings();
    startUp();
}

MainWindow::~MainWindow() = default;

void MainWindow::buildUi() {
    auto* central = new QWidget(this);
    setCentralWidget(central);

    // The catalogue: categories beside the operations of the chosen one.
    auto* catalogue_box = new QGroupBox(QStringLiteral("処理の選択"), central);
    auto* catalogue_layout = new QHBoxLayout(catalogue_box);
    categories_ = new QListWidget(catalogue_box);
    categories_->setObjectName("List1_0");
    operations_ = new QListWidget(catalogue_box);
    operations_->setObjectName("List1_1");
    catalogue_layout->addWidget(categories_, 2);
    catalogue_layout->addWidget(operations_, 3);
    connect(categories_, &QListWidget::currentRowChanged, this, &MainWindow::chooseCategory);
    connect(operations_, &QListWidget::currentRowChanged, this, &MainWindow::chooseOperation);

    // The pane of the chosen operation and the live result of its check.
    auto* pane_box = new QGroupBox(QStringLiteral("設定"), central);
    auto* pane_layout = new QVBoxLayout(pane_box);
    pane_caption_ = new QLabel(pane_box);
    pane_caption_->setObjectName("Label1");
    QFont caption_font = pane_caption_->font();
    caption_font.setBold(true);
    caption_font.setPointSizeF(caption_font.pointSizeF() * 1.15);
    pane_caption_->setFont(caption_font);
    description_ = new QLabel(pane_box);
    description_->setObjectName("Lbl_Description");
    description_->setWordWrap(true);
    pane_area_ = new QScrollArea(pane_box);
    pane_area_->setObjectName("Pic_Container");
    pane_area_->setWidgetResizable(true);
    error_label_ = new QLabel(pane_box);
    error_label_->setObjectName("Lbl_Error_Check");
    error_label_->setWordWrap(true);
    QSizePolicy keep = error_label_->sizePolicy();
    keep.setRetainSizeWhenHidden(true);
    error_label_->setSizePolicy(keep);
    error_label_->setMinimumHeight(error_label_->fontMetrics().height() * 2);
    error_label_->hide();
    pane_layout->addWidget(pane_caption_);
    pane_layout->addWidget(description_);
    pane_layout->addWidget(pane_area_, 1);
    pane_layout->addWidget(error_label_);

    // The target folder and its files.
    auto* target_box = new QGroupBox(QStringLiteral("対象ファイル"), central);
    auto* target_layout = new QVBoxLayout(target_box);
    auto* folder_row = new QHBoxLayout;
    folder_edit_ = new QLineEdit(target_box);
    folder_edit_->setObjectName("Txt_Folder");
    auto* choose = button(QStringLiteral("フォルダー指定…"), "Cmd_Main_0", target_box);
    auto* reload = button(QStringLiteral("再表示"), "Cmd_Main_2", target_box);
    folder_row->addWidget(new QLabel(QStringLiteral("フォルダー"), target_box));
    folder_row->addWidget(folder_edit_, 1);
    folder_row->addWidget(choose);
    folder_row->addWidget(reload);
    subfolders_ = new QCheckBox(QStringLiteral("サブフォルダーも対象にする"), target_box);
    subfolders_->setObjectName("Che_SubFolder");
    files_ = new QTreeWidget(target_box);
    files_->setItemDelegate(new FullLineDelegate(files_));
    files_->setObjectName("Lst_FileName");
    files_->setColumnCount(2);
    files_->setHeaderLabels({QStringLiteral("ファイル名"), QStringLiteral("フォルダー")});
    files_->setRootIsDecorated(false);
    files_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    files_->setUniformRowHeights(true);
    files_->header()->setSectionResizeMode(0, QHeaderView::Interactive);
    files_->header()->resizeSection(0, 280);
    target_layout->addLayout(folder_row);
    target_layout->addWidget(subfolders_);
    target_layout->addWidget(files_, 1);
    connect(choose, &QPushButton::clicked, this, [this] {
        const QString chosen =
            QFileDialog::getExistingDirectory(this, QStringLiteral("フォルダー指定"), qs(folder_));
        if (!chosen.isEmpty()) setFolder(chosen);
    });
    connect(folder_edit_, &QLineEdit::editingFinished, this, [this] {
        if (ss(folder_edit_->text()) != folder_) setFolder(folder_edit_->text());
    });
    connect(reload, &QPushButton::clicked, this, &MainWindow::reloadTargets);
    connect(subfolders_, &QCheckBox::toggled, this, &MainWindow::reloadTargets);
    connect(files_, &QTreeWidget::itemSelectionChanged, this, &MainWindow::syncSelectionFromList);

    // What the run did.
    auto* progress_box = new QGroupBox(QStringLiteral("処理状況"), central);
    auto* progress_layout = new QVBoxLayout(progress_box);
    progress_ = new QListWidget(progress_box);
    progress_->setItemDelegate(new FullLineDelegate(progress_));
    progress_->setObjectName("Lst_Progress");
    status_ = new QLabel(progress_box);
    status_->setObjectName("Lbl_Status");
    progress_bar_ = new QProgressBar(progress_box);
    progress_bar_->setObjectName("Prg_Files");
    progress_bar_->setValue(0);
    progress_bar_->setFormat(QString());
    progress_layout->addWidget(progress_, 1);
    progress_layout->addWidget(progress_bar_);
    progress_layout->addWidget(status_);

    top_split_ = new QSplitter(Qt::Horizontal, central);
    top_split_->addWidget(catalogue_box);
    top_split_->addWidget(pane_box);
    top_split_->setStretchFactor(1, 1);
    top_split_->setSizes({430, 800});
    bottom_split_ = new QSplitter(Qt::Horizontal, central);
    bottom_split_->addWidget(target_box);
    bottom_split_->addWidget(progress_box);
    bottom_split_->setSizes({700, 530});
    main_split_ = new QSplitter(Qt::Vertical, central);
    main_split_->addWidget(top_split_);
    main_split_->addWidget(bottom_split_);
    main_split_->setStretchFactor(0, 3);
    main_split_->setStretchFactor(1, 2);

    auto* buttons = new QHBoxLayout;
    auto* rebuild = button(QStringLiteral("処理一覧の再作成"), "Cmd_Main_3", central);
    run_button_ = button(QStringLiteral("実行"), "Cmd_Update2", central);
    cancel_button_ = button(QStringLiteral("中止"), "Cmd_Cancel_1", central);
    end_button_ = button(QStringLiteral("終了"), "Cmd_Cancel_0", central);
    QFont run_font = run_button_->font();
    run_font.setBold(true);
    run_button_->setFont(run_font);
    run_button_->setMinimumWidth(run_button_->fontMetrics().horizontalAdvance(u'W') * 8);
    run_button_->setEnabled(false);
    cancel_button_->setEnabled(false);
    buttons->addWidget(rebuild);
    buttons->addStretch();
    buttons->addWidget(run_button_);
    buttons->addWidget(cancel_button_);
    buttons->addWidget(end_button_);
    connect(rebuild, &QPushButton::clicked, this, &MainWindow::rebuildCatalogue);
    connect(run_button_, &QPushButton::clicked, this, &MainWindow::runOperation);
    connect(cancel_button_, &QPushButton::clicked, this, &MainWindow::requestCancel);
    connect(end_button_, &QPushButton::clicked, this, &QWidget::close);

    auto* layout = new QVBoxLayout(central);
    layout->addWidget(main_split_, 1);
    layout->addLayout(buttons);

    idle_only_ = {categories_, operations_, pane_area_, folder_edit_, choose,
                  reload,      subfolders_, files_,     rebuild,      end_button_};
    setMinimumSize(900, 600);
}

void MainWindow::startUp() {
    timer_.setInterval(kTimerMs);
    connect(&timer_, &QTimer::timeout, this, &MainWindow::checkProcess);
    category_.clear();
    op_ = nullptr;
    showPane();
    QCoreApplication::processEvents();
    // The catalogue, its last-used times and every operation's parameter files.
    rebuildCatalogue();
    // The last folder and its files.
    folder_ = shell::Dir_Read(param_folder_);
    folder_edit_->setText(qs(folder_));
    reloadTargets();
    QCoreApplication::processEvents();
    timer_.start();
}

void MainWindow::rebuildCatalogue() {
    if (pane_) pane_->storeValues();
    catalogue_ = shell::Catalogue();
    shell::List1_DayTime_Create(catalogue_, param_folder_);
    store_.text_update('R', param_folder_, [this](const std::string& m) { host_->message(m); });
    category_.clear();
    previous_category_.clear();
    op_ = nullptr;
    {
        const QSignalBlocker a(categories_);
        const QSignalBlocker b(operations_);
        categories_->clear();
        operations_->clear();
        op_rows_.clear();
        for (const std::string& c : catalogue_.categories()) categories_->addItem(qs(c));
        categories_->setCurrentRow(-1);
    }
    showPane();
    checkProcess();
}

void MainWindow::chooseCategory(int row) {
    if (row < 0 || row >= categories_->count()) return;
    category_ = ss(categories_->item(row)->text());
    if (category_ == previous_category_) return;
    previous_category_ = category_;
    if (pane_) pane_->storeValues();
    op_ = nullptr;
    showPane();
    // The implemented operation last chosen in this category is chosen again; the entries not
    // implemented yet are greyed and never chosen for the user.
    const shell::Catalogue::Row* recent = nullptr;
    int select = -1;
    {
        const QSignalBlocker block(operations_);
        operations_->clear();
        op_rows_.clear();
        for (const shell::Catalogue::Row* r : catalogue_.rows_of(category_)) {
            auto* item = new QListWidgetItem(qs(r->decl->name), operations_);
            const bool ready = r->decl->is_separator() ||
                               ops::find_procedures(category_, r->decl->key_name) != nullptr;
            if (!ready) {
                item->setForeground(palette().color(QPalette::Disabled, QPalette::Text));
                item->setToolTip(qs(ops::kNotImplemented));
            } else if (!r->decl->is_separator() &&
                       (!recent || recent->last_used < r->last_used)) {
                recent = r;
                select = static_cast<int>(op_rows_.size());
            }
            op_rows_.push_back(r->decl);
        }
        operations_->setCurrentRow(-1);
    }
    if (select >= 0) operations_->setCurrentRow(select);
    checkProcess();
}

void MainWindow::chooseOperation(int row) {
    if (row < 0 || row >= static_cast<int>(op_rows_.size())) return;
    if (pane_) pane_->storeValues();
    op_ = op_rows_[static_cast<std::size_t>(row)];
    // The choice is remembered so that the category opens here next time; a separator is no
    // choice and is not remembered.
    if (!op_->is_separator())
        shell::List1_DayTime_Write(catalogue_, param_folder_, category_, op_->name,
                                   shell::Clock::now());
    showPane();
    checkProcess();
}

void MainWindow::showPane() {
    if (QWidget* old = pane_area_->takeWidget()) old->deleteLater();
    pane_ = nullptr;
    if (!op_ || op_->is_separator()) {
        description_->clear();
        pane_caption_->setText(category_.empty() ? QString() : qs(category_));
        auto* hint = new QLabel(QStringLiteral("左の一覧から処理を選んでください。"));
        hint->setObjectName("Lbl_Hint");
        hint->setAlignment(Qt::AlignCenter);
        pane_area_->setWidget(hint);
        return;
    }
    pane_caption_->setText(qs(category_) + QStringLiteral("　／　") + qs(op_->name));
    std::string about = shell::description(category_, op_->name);
    if (!ops::find_procedures(category_, op_->key_name))
        about += std::string(about.empty() ? "" : "　") + ops::kNotImplemented;
    description_->setText(qs(about));
    // An all-sheets entry may share the pane and files of its base category's entry.
    const shell::OperationDecl& owner = shell::params_owner(*op_);
    const std::string prefix = param_folder_ + "/" + stemOf(owner) + "_";
    pane_ = new OperationPane(owner, store_.values(owner), prefix,
                              [this] { return firstTargetSheetNames(); });
    connect(pane_, &OperationPane::edited, this, &MainWindow::checkProcess);
    pane_area_->setWidget(pane_);
}

std::string MainWindow::checkMessage() const {
    if (!op_ || op_->is_separator()) return {};
    const ops::Procedures* p = ops::find_procedures(category_, op_->key_name);
    if (!p || !p->check) return ops::kNotImplemented;
    return p->check(store_.params(shell::params_owner(*op_)), category_);
}

void MainWindow::checkProcess() {
    if (running_) return;
    if (pane_) pane_->storeValues();
    const QString message = messageText(checkMessage());
    if (message != error_label_->text()) error_label_->setText(message);
    error_label_->setVisible(!message.isEmpty());
    // While it holds a message the label blinks between red and the normal text colour.
    blink_ = !blink_;
    QPalette pal = error_label_->palette();
    pal.setColor(QPalette::WindowText,
                 blink_ ? QColor(255, 0, 0) : palette().color(QPalette::ButtonText));
    error_label_->setPalette(pal);
    updateRunButton();
}

void MainWindow::updateRunButton() {
    run_button_->setEnabled(!running_ && op_ && !op_->is_separator() &&
                            error_label_->text().isEmpty());
}

void MainWindow::setFolder(const QString& folder) {
    folder_ = ss(folder);
    folder_edit_->setText(folder);
    shell::Dir_Write(param_folder_, folder_);
    reloadTargets();
}

void MainWindow::reloadTargets() {
    // A long search keeps the window alive.
    run::TargetList list = run::Lst_FileName_Load(folder_, subfolders_->isChecked(),
                                                  [] { QCoreApplication::processEvents(); });
    subfolders_->setEnabled(list.folder_exists);
    targets_ = std::move(list.files);
    for (run::TargetFile& t : targets_) t.selected = true;
    showTargets();
}

void MainWindow::refreshTargets() {
    std::set<std::string> unselected;
    for (const run::TargetFile& t : targets_)
        if (!t.selected) unselected.insert(t.full_path());
    reloadTargets();
    for (run::TargetFile& t : targets_) t.selected = unselected.count(t.full_path()) == 0;
    syncSelectionToList();
}

void MainWindow::showTargets() {
    syncing_ = true;
    files_->clear();
    // The folder column shows the subfolder below the target folder ("" for the folder itself).
    for (const run::TargetFile& t : targets_) {
        QString sub = qs(t.folder);
        const QString base = qs(folder_);
        if (sub.startsWith(base)) sub = sub.mid(base.size());
        while (sub.startsWith(u'/')) sub.remove(0, 1);
        auto* item = new QTreeWidgetItem(files_, {qs(t.name), sub});
        item->setToolTip(0, qs(t.full_path()));
    }
    syncSelectionToList();
    syncing_ = false;
}

void MainWindow::syncSelectionFromList() {
    if (syncing_) return;
    for (int i = 0; i < files_->topLevelItemCount() && i < static_cast<int>(targets_.size()); ++i)
        targets_[static_cast<std::size_t>(i)].selected = files_->topLevelItem(i)->isSelected();
}

void MainWindow::followCurrentTarget() {
    // The driver deselects the file it works on; the list still shows it selected.
    for (int i = 0; i < files_->topLevelItemCount() && i < static_cast<int>(targets_.size()); ++i) {
        QTreeWidgetItem* item = files_->topLevelItem(i);
        if (!targets_[static_cast<std::size_t>(i)].selected && item->isSelected()) {
            files_->scrollToItem(item);
            return;
        }
    }
}

void MainWindow::syncSelectionToList() {
    const bool was = syncing_;
    syncing_ = true;
    // One selection of runs of rows: selecting item by item costs a walk of the selection's
    // ranges each time, which a run of hundreds of files (each deselected) makes many.
    QAbstractItemModel* model = files_->model();
    const int n = std::min(files_->topLevelItemCount(), static_cast<int>(targets_.size()));
    auto on = [&](int i) { return targets_[static_cast<std::size_t>(i)].selected; };
    QItemSelection selection;
    for (int i = 0; i < n; ++i) {
        if (!on(i)) continue;
        int last = i;
        while (last + 1 < n && on(last + 1)) ++last;
        selection.select(model->index(i, 0), model->index(last, model->columnCount() - 1));
        i = last;
    }
    files_->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    syncing_ = was;
}

std::vector<std::string> MainWindow::firstTargetSheetNames() {
    std::vector<std::string> names;
    const run::TargetFile* first = nullptr;
    for (const run::TargetFile& t : targets_)
        if (t.selected) {
            first = &t;
            break;
        }
    if (!first) {
        host_->message("対象ファイルが選択されていません。");
        return names;
    }
    std::unique_ptr<xl::Application> app = make_application_ ? make_application_() : nullptr;
    if (!app) return names;
    Result<xl::Workbook*> book = app->workbooks().open(first->full_path(), true);
    if (!book) {
        host_->message(book.error().message);
        return names;
    }
    for (int i = 1; i <= (*book)->worksheet_count(); ++i)
        if (xl::Worksheet* s = (*book)->worksheet(i)) names.push_back(s->name());
    (*book)->close();
    app->quit();
    return names;
}

void MainWindow::setRunning(bool on) {
    running_ = on;
    for (QWidget* w : idle_only_) w->setEnabled(!on);
    cancel_button_->setEnabled(on);
    updateRunButton();
    if (!on) checkProcess();
}

void MainWindow::runOperation() {
    if (running_ || !op_ || op_->is_separator()) return;
    if (pane_) pane_->storeValues();
    const std::string complaint = checkMessage();
    if (!complaint.empty()) {
        host_->message(complaint);
        return;
    }
    const ops::Procedures* procedures = ops::find_procedures(category_, op_->key_name);
    if (procedures && procedures->needs_files &&
        std::none_of(targets_.begin(), targets_.end(),
                     [](const run::TargetFile& t) { return t.selected; })) {
        host_->message("対象ファイルが選択されていません。");
        return;
    }
    // The pane is in the parameters; every operation's files are written before the run.
    store_.text_update('W', param_folder_, [this](const std::string& m) { host_->message(m); });
    if (pane_) pane_->refreshHistories();

    const shell::Params params = store_.params(shell::params_owner(*op_));
    run::RunRequest request;
    request.category = category_;
    request.name = op_->key_name;
    request.params = &params;
    request.files = &targets_;
    request.procedures = procedures;
    request.target_folder = folder_;
    table_.clear();
    table_full_ = false;
    host_->resetCancel();
    status_->clear();
    const int messages_before = host_->messagesShown();
    setRunning(true);
    // Locking and checking a large folder takes seconds before the first yield: the window
    // shows the run as started (run disabled, 中止 enabled) before that.
    progress_bar_->setRange(0, 1);
    progress_bar_->setValue(0);
    progress_bar_->setFormat(QStringLiteral("開始しています…"));
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    // The driver shows the completion message itself; the window adds the error text and the
    // result list.
    const run::RunOutcome outcome =
        run::run_batch(request, *host_, table_, records_, make_application_);
    host_->flush();
    setRunning(false);
    syncSelectionToList();
    status_->clear();
    // Operations that write files of their own may have renamed, moved or added targets.
    if (procedures && (procedures->saves_itself || procedures->saves_itself_when)) refreshTargets();

    if (!outcome.checked) {
        if (!outcome.check_message.empty() && host_->messagesShown() == messages_before)
            host_->message(outcome.check_message);
        return;
    }
    // A run stopped at the first file or cancelled ends there; its error lines are still shown
    // so that the user sees why.
    if (!outcome.error_text.empty()) showErrorText(outcome.error_text);
    if (!outcome.output_path.empty() && !outcome.cancelled && !outcome.stopped)
        offerToOpen(outcome.output_path);
    // A cancelled list keeps the rows found so far, marked as partial.
    const bool partial = outcome.cancelled || outcome.stopped;
    if (outcome.is_list && (!partial || !table_.empty())) {
        if (!result_window_) result_window_ = new ResultWindow(make_application_, this);
        QString title = qs(category_) + QStringLiteral("　") + qs(op_->name);
        if (partial) title += QStringLiteral("（中止したため途中まで）");
        result_window_->setTable(table_, title, folder_);
        result_window_->show();
        result_window_->raise();
        result_window_->activateWindow();
    }
}

void MainWindow::offerToOpen(const std::string& path) {
    host_->flush();
    const QString file = qs(path);
    QMessageBox box(QMessageBox::Question, QApplication::applicationDisplayName(),
                    QStringLiteral("「%1」を作成しました。開きますか？").arg(QFileInfo(file).fileName()),
                    QMessageBox::Yes | QMessageBox::No, this);
    box.setObjectName("Msgbox_Open");
    box.setDefaultButton(QMessageBox::No);
    if (box.exec() != QMessageBox::Yes) return;
    if (open_file_) {
        open_file_(file);
    } else if (!QDesktopServices::openUrl(QUrl::fromLocalFile(file))) {
        host_->message("「" + path + "」を開くアプリケーションがありません。");
    }
}

void MainWindow::tableFull(const std::string& text) {
    // The program ends below; only a test's exit returns, and the run is then cancelled so
    // that the rows that keep coming do not show the stop again.
    if (table_full_) return;
    table_full_ = true;
    host_->flush();
    QMessageBox::critical(this, QApplication::applicationDisplayName(), messageText(text));
    if (!result_window_) result_window_ = new ResultWindow(make_application_, this);
    QString title = qs(category_) + QStringLiteral("　") + (op_ ? qs(op_->name) : QString()) +
                    QStringLiteral("（３万行を超えたため、ここまでで打ち切りました。）");
    result_window_->setTable(table_, title, folder_);
    result_window_->show();
    result_window_->raise();
    result_window_->activateWindow();
    // The rows can still be copied, printed or saved; closing the window ends the program.
    QEventLoop wait;
    connect(result_window_, &ResultWindow::closed, &wait, &QEventLoop::quit);
    wait.exec();
    exit_program_();
    requestCancel();
}

void MainWindow::showErrorText(const std::string& text) {
    if (!error_window_) {
        error_window_ = new QWidget(this, Qt::Window);
        error_window_->setObjectName("Frm_Error_Text");
        error_window_->setWindowTitle(QStringLiteral("エラー内容"));
        auto* layout = new QVBoxLayout(error_window_);
        error_text_ = new QPlainTextEdit(error_window_);
        error_text_->setObjectName("Txt_Error");
        error_text_->setReadOnly(true);
        // Error lines carry long paths: wrapped, each line is read whole.
        error_text_->setLineWrapMode(QPlainTextEdit::WidgetWidth);
        auto* close = new QPushButton(QStringLiteral("閉じる"), error_window_);
        close->setObjectName("Cmd_Close");
        auto* row = new QHBoxLayout;
        row->addStretch();
        row->addWidget(close);
        layout->addWidget(error_text_, 1);
        layout->addLayout(row);
        connect(close, &QPushButton::clicked, error_window_, &QWidget::close);
        error_window_->resize(900, 360);
    }
    error_text_->setPlainText(messageText(text));
    error_window_->show();
    error_window_->raise();
    error_window_->activateWindow();
}

QString MainWindow::lastErrorText() const {
    return error_text_ ? error_text_->toPlainText() : QString();
}

void MainWindow::requestCancel() {
    if (running_) host_->requestCancel();
}

void MainWindow::closeEvent(QCloseEvent* event) {
    // Closing during a run asks the run to stop; the window closes once it has.
    if (running_) {
        host_->requestCancel();
        event->ignore();
        return;
    }
    if (pane_) pane_->storeValues();
    saveWindowSettings();
    if (result_window_) result_window_->close();
    if (error_window_) error_window_->close();
    event->accept();
}

void MainWindow::saveWindowSettings() {
    QSettings s(qs(param_folder_ + kWindowSettingsFile), QSettings::IniFormat);
    s.setValue("geometry", saveGeometry());
    s.setValue("main_split", main_split_->saveState());
    s.setValue("top_split", top_split_->saveState());
    s.setValue("bottom_split", bottom_split_->saveState());
    s.setValue("subfolders", subfolders_->isChecked());
}

void MainWindow::restoreWindowSettings() {
    QSettings s(qs(param_folder_ + kWindowSettingsFile), QSettings::IniFormat);
    if (!restoreGeometry(s.value("geometry").toByteArray())) resize(1240, 760);
    main_split_->restoreState(s.value("main_split").toByteArray());
    top_split_->restoreState(s.value("top_split").toByteArray());
    bottom_split_->restoreState(s.value("bottom_split").toByteArray());
    const QSignalBlocker block(subfolders_);
    subfolders_->setChecked(s.value("subfolders", false).toBool());
}

}  // namespace sheaflow::gui
