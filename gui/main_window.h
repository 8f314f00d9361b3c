#pragma once
// The main window: the catalogue (categories and operations), the pane of the chosen operation
// with its live check, the target folder and file list, the run and cancel buttons and the
// progress list. A run happens on this thread through GuiHost.

#include <QMainWindow>
#include <QTimer>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "report/record_store.h"
#include "report/result_table.h"
#include "run/driver.h"
#include "shell/catalogue.h"
#include "shell/settings.h"

class QListWidget;
class QLabel;
class QLineEdit;
class QCheckBox;
class QPushButton;
class QScrollArea;
class QTreeWidget;
class QSplitter;
class QPlainTextEdit;
class QProgressBar;

namespace sheaflow::gui {

class GuiHost;
class OperationPane;
class ResultWindow;

class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    // `param_folder` exists (shell::parameter_folder created it); `make_application` starts the
    // workbook engine for a run.
    MainWindow(std::string param_folder, run::ApplicationFactory make_application,
               QWidget* parent = nullptr);
    ~MainWindow() override;

    const std::string& currentCategory() const { return category_; }
    // The chosen catalogue entry (a separator included), or nullptr.
    const shell::OperationDecl* currentOperation() const { return op_; }
    OperationPane* pane() const { return pane_; }
    ResultWindow* resultWindow() const { return result_window_; }
    const std::vector<run::TargetFile>& targets() const { return targets_; }
    bool running() const { return running_; }
    shell::ParameterStore& parameters() { return store_; }
    // The text of the last run's error window.
    QString lastErrorText() const;
    // What ends the program when the result table passes its row limit (tests replace it).
    void setProgramExit(std::function<void()> exit) { exit_program_ = std::move(exit); }
    // What opens a written workbook with the desktop's default application (tests replace it).
    void setFileOpener(std::function<void(const QString&)> open) { open_file_ = std::move(open); }

public slots:
    // The timer's work: takes the pane into the parameters and shows the check's complaint.
    void checkProcess();
    // The folder of the target files: written to "Folder.txt", then the list is reloaded.
    void setFolder(const QString& folder);
    void reloadTargets();
    // Reads the target list again after a run that renamed or added files; files that were left
    // unselected stay so.
    void refreshTargets();
    void rebuildCatalogue();
    void runOperation();
    void requestCancel();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    // The result table passed its row limit: the message, then the rows found so far in the
    // result window, marked as cut off; the program ends when that window closes.
    void tableFull(const std::string& text);
    void buildUi();
    void startUp();
    void chooseCategory(int row);
    void chooseOperation(int row);
    void showPane();
    void updateRunButton();
    void setRunning(bool on);
    void showTargets();
    void syncSelectionFromList();
    void syncSelectionToList();
    void followCurrentTarget();
    void showErrorText(const std::string& text);
    // After a run that wrote one workbook of its own (the combined book): offers to open it.
    void offerToOpen(const std::string& path);
    std::vector<std::string> firstTargetSheetNames();
    void saveWindowSettings();
    void restoreWindowSettings();
    std::string checkMessage() const;

    std::string param_folder_;
    run::ApplicationFactory make_application_;
    std::function<void(const QString&)> open_file_;
    shell::Catalogue catalogue_;
    shell::ParameterStore store_;
    report::ResultTable table_;
    report::RecordStore records_;
    std::unique_ptr<GuiHost> host_;

    std::string category_;           // current category
    std::string previous_category_;  // to notice a change of category
    const shell::OperationDecl* op_ = nullptr;
    std::vector<const shell::OperationDecl*> op_rows_;  // the entries of List1 index 1
    std::string folder_;
    std::vector<run::TargetFile> targets_;
    bool running_ = false;
    bool blink_ = false;
    bool syncing_ = false;

    QTimer timer_;                       // Timer1
    QListWidget* categories_ = nullptr;  // List1 index 0
    QListWidget* operations_ = nullptr;  // List1 index 1
    QLabel* pane_caption_ = nullptr;     // Label1
    QLabel* description_ = nullptr;      // what the operation does, one line
    QScrollArea* pane_area_ = nullptr;   // Pic_Container
    OperationPane* pane_ = nullptr;
    QLabel* error_label_ = nullptr;     // Lbl_Error_Check
    QLineEdit* folder_edit_ = nullptr;  // Txt_Folder
    QCheckBox* subfolders_ = nullptr;   // Che_SubFolder
    QTreeWidget* files_ = nullptr;      // Lst_FileName
    QListWidget* progress_ = nullptr;   // the progress list
    QLabel* status_ = nullptr;
    QProgressBar* progress_bar_ = nullptr;
    QPushButton* run_button_ = nullptr;     // Cmd_Update2
    QPushButton* end_button_ = nullptr;     // Cmd_Cancel index 0
    QPushButton* cancel_button_ = nullptr;  // Cmd_Cancel index 1
    std::vector<QWidget*> idle_only_;       // disabled during a run
    QSplitter* main_split_ = nullptr;
    QSplitter* top_split_ = nullptr;
    QSplitter* bottom_split_ = nullptr;
    ResultWindow* result_window_ = nullptr;
    std::function<void()> exit_program_;
    bool table_full_ = false;  // the row limit was met during this run
    QWidget* error_window_ = nullptr;
    QPlainTextEdit* error_text_ = nullptr;
};

}  // namespace sheaflow::gui
