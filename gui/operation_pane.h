#pragma once
// The pane of one operation, generated from its declaration: one widget per field, in pane
// order, each kind with its own editor (text, text with history, check box, option group, row,
// column and address boxes, number, folder or file chooser, sheet list).

#include <QWidget>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "shell/operation.h"
#include "shell/params.h"

class QLabel;

namespace sheaflow::gui {

class OperationPane : public QWidget {
    Q_OBJECT

public:
    // Gives the sheet names a sheet list may offer (those of the first selected target).
    using SheetNameSource = std::function<std::vector<std::string>()>;

    // `values` belongs to the parameter store and outlives the pane. A browse button of field
    // `key` remembers its last path in "<fldg_prefix><key>_Fldg.txt".
    OperationPane(const shell::OperationDecl& decl, shell::PaneValues& values,
                  std::string fldg_prefix, SheetNameSource sheet_names = {},
                  QWidget* parent = nullptr);

    const shell::OperationDecl& decl() const { return *decl_; }
    // Shows the stored values and history lists in the widgets.
    void showValues();
    // Copies what the widgets hold back into the stored values.
    void storeValues();
    // Reloads the history drop-downs (after the parameter files were written), keeping the texts.
    void refreshHistories();
    // The editor of a field, or nullptr.
    QWidget* editor(std::string_view key) const;

signals:
    // The user changed a field.
    void edited();

private:
    struct Slot {
        const shell::Field* field = nullptr;
        QWidget* editor = nullptr;  // the widget holding the value
        QWidget* widget = nullptr;  // what the form lays out (the editor or its container)
        std::function<std::string()> get;
        std::function<void(const std::string&)> set;
        std::function<void()> reload_history;
    };

    Slot makeText(const shell::Field& f);
    Slot makeHistory(const shell::Field& f);
    Slot makeCheck(const shell::Field& f);
    Slot makeOption(const shell::Field& f);
    Slot makeMasked(const shell::Field& f, const QString& family, const QString& pattern,
                    int width_chars, bool upper);
    Slot makeChooser(const shell::Field& f, bool folder);
    Slot makeSheetList(const shell::Field& f);
    std::vector<std::string> history(const shell::Field& f) const;

    const shell::OperationDecl* decl_;
    shell::PaneValues* values_;
    std::string fldg_prefix_;
    SheetNameSource sheet_names_;
    std::vector<Slot> slots_;
    bool showing_ = false;
};

}  // namespace sheaflow::gui
