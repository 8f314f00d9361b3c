#include "gui/operation_pane.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpressionValidator>
#include <QVBoxLayout>

#include "gui/qt_text.h"
#include "shell/settings.h"
#include "util/text.h"

namespace sheaflow::gui {

namespace {

// Editors of one kind share a width so that the boxes of a range line up.
int charWidth(QWidget* w, int chars) { return w->fontMetrics().horizontalAdvance(u'W') * chars; }

}  // namespace

OperationPane::OperationPane(const shell::OperationDecl& decl, shell::PaneValues& values,
                             std::string fldg_prefix, SheetNameSource sheet_names, QWidget* parent)
    : QWidget(parent),
      decl_(&decl),
      values_(&values),
      fldg_prefix_(std::move(fldg_prefix)),
      sheet_names_(std::move(sheet_names)) {
    setObjectName("Pic_Control");
    auto* form = new QFormLayout(this);
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    form->setLabelAlignment(Qt::AlignRight | Qt::AlignVCenter);
    form->setRowWrapPolicy(QFormLayout::DontWrapRows);

    // Row and column boxes that follow one another (a range: from-column, from-row, to-column,
    // to-row) share one line, each with its caption in front.
    auto is_short = [](const shell::Field& f) {
        return f.kind == shell::FieldKind::Row || f.kind == shell::FieldKind::Column;
    };
    QHBoxLayout* short_line = nullptr;
    for (std::size_t i = 0; i < decl.fields.size(); ++i) {
        const shell::Field& f = decl.fields[i];
        Slot slot;
        switch (f.kind) {
            case shell::FieldKind::Text:
                slot = makeText(f);
                break;
            case shell::FieldKind::HistoryText:
                slot = makeHistory(f);
                break;
            case shell::FieldKind::Check:
                slot = makeCheck(f);
                break;
            case shell::FieldKind::Option:
                slot = makeOption(f);
                break;
            case shell::FieldKind::Row:
                slot = makeMasked(f, "Txt_Gyo", "[0-9]{0,5}", 7, false);
                break;
            case shell::FieldKind::Column:
                slot = makeMasked(f, "Txt_Retu", "[A-Za-z]{0,3}", 7, true);
                break;
            case shell::FieldKind::Address:
                slot = makeMasked(f, "Txt_Cell", "", 20, false);
                break;
            case shell::FieldKind::Number:
                slot = makeMasked(f, "Txt_Numeric", "-?[0-9]*([.][0-9]*)?", 10, false);
                break;
            case shell::FieldKind::Folder:
                slot = makeChooser(f, true);
                break;
            case shell::FieldKind::File:
                slot = makeChooser(f, false);
                break;
            case shell::FieldKind::SheetList:
                slot = makeSheetList(f);
                break;
        }
        slot.field = &f;
        if (!slot.widget) slot.widget = slot.editor;
        auto* label = new QLabel(qs(f.caption), this);
        label->setObjectName(QStringLiteral("Label1_") + qs(f.key));
        label->setBuddy(slot.editor);
        const bool next_short = i + 1 < decl.fields.size() && is_short(decl.fields[i + 1]);
        if (is_short(f) && (short_line || next_short)) {
            if (!short_line) {
                short_line = new QHBoxLayout;
                form->addRow(short_line);
            } else {
                short_line->addSpacing(label->fontMetrics().horizontalAdvance(u'W') * 2);
            }
            short_line->addWidget(label);
            short_line->addWidget(slot.widget);
            if (!next_short) {
                short_line->addStretch();
                short_line = nullptr;
            }
        } else if (f.kind == shell::FieldKind::Check || f.kind == shell::FieldKind::Option) {
            // Check boxes and option groups carry their caption themselves.
            delete label;
            form->addRow(slot.widget);
        } else {
            form->addRow(label, slot.widget);
        }
        slots_.push_back(std::move(slot));
    }
    if (decl.fields.empty()) {
        auto* none = new QLabel(QStringLiteral("この処理に設定項目はありません。"), this);
        form->addRow(none);
    }
    showValues();
}

std::vector<std::string> OperationPane::history(const shell::Field& f) const {
    std::vector<std::string> out;
    if (f.history < 0 || static_cast<std::size_t>(f.history) >= values_->histories.size())
        return out;
    for (const std::string& h : values_->histories[static_cast<std::size_t>(f.history)])
        if (!h.empty()) out.push_back(h);
    return out;
}

OperationPane::Slot OperationPane::makeText(const shell::Field& f) {
    auto* edit = new QLineEdit(this);
    edit->setObjectName(QStringLiteral("Txt_Value_") + qs(f.key));
    connect(edit, &QLineEdit::textEdited, this, &OperationPane::edited);
    Slot s;
    s.editor = edit;
    s.get = [edit] { return ss(edit->text()); };
    s.set = [edit](const std::string& v) { edit->setText(qs(v)); };
    return s;
}

OperationPane::Slot OperationPane::makeHistory(const shell::Field& f) {
    auto* combo = new QComboBox(this);
    combo->setObjectName(QStringLiteral("Cmb_Control_") + qs(f.key));
    combo->setEditable(true);
    combo->setMaxCount(shell::kHistorySize);
    combo->setInsertPolicy(QComboBox::NoInsert);
    combo->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    combo->setMinimumContentsLength(24);
    combo->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(combo, &QComboBox::editTextChanged, this, [this] {
        if (!showing_) emit edited();
    });
    Slot s;
    s.editor = combo;
    s.get = [combo] { return ss(combo->currentText()); };
    s.set = [combo](const std::string& v) { combo->setEditText(qs(v)); };
    s.reload_history = [this, combo, field = &f] {
        const QString keep = combo->currentText();
        combo->clear();
        for (const std::string& h : history(*field)) combo->addItem(qs(h));
        combo->setEditText(keep);
    };
    return s;
}

OperationPane::Slot OperationPane::makeCheck(const shell::Field& f) {
    auto* box = new QCheckBox(qs(f.caption), this);
    box->setObjectName(QStringLiteral("Che_Control_") + qs(f.key));
    connect(box, &QCheckBox::clicked, this, &OperationPane::edited);
    Slot s;
    s.editor = box;
    s.get = [box] { return std::string(box->isChecked() ? "1" : "0"); };
    // The files hold 0 and 1; a stored -1 (the value some writers give true) also means checked.
    s.set = [box](const std::string& v) {
        const std::string t = text::trim(v);
        box->setChecked(!t.empty() && t != "0" && t != "False" && t != "FALSE");
    };
    return s;
}

OperationPane::Slot OperationPane::makeOption(const shell::Field& f) {
    auto* group = new QGroupBox(qs(f.caption), this);
    group->setObjectName(QStringLiteral("Opt_Joken_") + qs(f.key));
    auto* layout = new QHBoxLayout(group);
    auto* buttons = new QButtonGroup(group);
    buttons->setExclusive(true);
    std::vector<QRadioButton*> radios;
    for (const shell::Choice& c : f.choices) {
        auto* radio = new QRadioButton(qs(c.caption), group);
        radio->setObjectName(QStringLiteral("Opt_Joken_") + qs(f.key) + u'_' + qs(c.key));
        buttons->addButton(radio);
        layout->addWidget(radio);
        radios.push_back(radio);
        connect(radio, &QRadioButton::clicked, this, &OperationPane::edited);
    }
    layout->addStretch();
    Slot s;
    s.editor = group;
    s.get = [radios, field = &f] {
        for (std::size_t i = 0; i < radios.size(); ++i)
            if (radios[i]->isChecked()) return field->choices[i].key;
        return std::string();
    };
    // No choice at all is a valid state: the group is then shown with no button on.
    s.set = [radios, buttons, field = &f](const std::string& v) {
        buttons->setExclusive(false);
        for (std::size_t i = 0; i < radios.size(); ++i)
            radios[i]->setChecked(field->choices[i].key == v);
        buttons->setExclusive(true);
    };
    return s;
}

OperationPane::Slot OperationPane::makeMasked(const shell::Field& f, const QString& family,
                                              const QString& pattern, int width_chars, bool upper) {
    auto* edit = new QLineEdit(this);
    edit->setObjectName(family + u'_' + qs(f.key));
    if (!pattern.isEmpty())
        edit->setValidator(new QRegularExpressionValidator(QRegularExpression(pattern), edit));
    edit->setMaximumWidth(charWidth(edit, width_chars));
    connect(edit, &QLineEdit::textEdited, this, [this, edit, upper](const QString& t) {
        // Column letters are shown as the grid shows them.
        if (upper && t != t.toUpper()) {
            const int pos = edit->cursorPosition();
            edit->setText(t.toUpper());
            edit->setCursorPosition(pos);
        }
        emit edited();
    });
    Slot s;
    s.editor = edit;
    s.get = [edit] { return ss(edit->text()); };
    s.set = [edit](const std::string& v) { edit->setText(qs(v)); };
    return s;
}

OperationPane::Slot OperationPane::makeChooser(const shell::Field& f, bool folder) {
    // The path is typed or chosen; a path field with a history offers its earlier entries.
    Slot s = f.history >= 0 ? makeHistory(f) : makeText(f);
    if (f.history < 0) s.editor->setObjectName(QStringLiteral("Txt_File_") + qs(f.key));
    auto* box = new QWidget(this);
    auto* layout = new QHBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    s.editor->setParent(box);
    auto* browse = new QPushButton(QStringLiteral("参照…"), box);
    browse->setObjectName(QStringLiteral("Cmd_Control_") + qs(f.key));
    layout->addWidget(s.editor, 1);
    layout->addWidget(browse);
    const std::string base = fldg_prefix_ + f.key;
    connect(browse, &QPushButton::clicked, this,
            [this, get = s.get, set = s.set, base, folder, caption = f.caption] {
                QString start = qs(get());
                if (start.isEmpty()) start = qs(shell::Fldg_Full_Name_Read(base));
                QString chosen;
                if (folder) {
                    chosen = QFileDialog::getExistingDirectory(this, qs(caption), start);
                } else {
                    chosen = QFileDialog::getOpenFileName(this, qs(caption), start,
                                                          QStringLiteral("すべてのファイル (*)"));
                }
                if (chosen.isEmpty()) return;
                set(ss(chosen));
                shell::Fldg_Full_Name_Write(base, ss(chosen));
                emit edited();
            });
    s.widget = box;
    return s;
}

OperationPane::Slot OperationPane::makeSheetList(const shell::Field& f) {
    auto* box = new QWidget(this);
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* list = new QListWidget(box);
    list->setObjectName(QStringLiteral("Lst_Select_") + qs(f.key));
    list->setSelectionMode(QAbstractItemView::MultiSelection);
    list->setMinimumHeight(list->fontMetrics().height() * 6);
    auto* row = new QHBoxLayout;
    auto* name = new QLineEdit(box);
    name->setPlaceholderText(QStringLiteral("シート名"));
    auto* add = new QPushButton(QStringLiteral("追加"), box);
    auto* load = new QPushButton(QStringLiteral("対象ファイルから読込"), box);
    load->setToolTip(QStringLiteral("選択した先頭の対象ファイルのシート名を一覧に加えます。"));
    load->setEnabled(static_cast<bool>(sheet_names_));
    row->addWidget(name, 1);
    row->addWidget(add);
    row->addWidget(load);
    layout->addWidget(list);
    layout->addLayout(row);

    auto add_name = [list](const QString& n, bool selected) {
        if (n.isEmpty()) return;
        QList<QListWidgetItem*> found = list->findItems(n, Qt::MatchExactly);
        QListWidgetItem* item = found.isEmpty() ? new QListWidgetItem(n, list) : found.front();
        if (selected) item->setSelected(true);
    };
    connect(add, &QPushButton::clicked, this, [this, name, add_name] {
        add_name(name->text().trimmed(), true);
        name->clear();
        emit edited();
    });
    connect(name, &QLineEdit::returnPressed, add, &QPushButton::click);
    connect(load, &QPushButton::clicked, this, [this, add_name] {
        for (const std::string& n : sheet_names_()) add_name(qs(n), false);
    });
    connect(list, &QListWidget::itemSelectionChanged, this, [this] {
        if (!showing_) emit edited();
    });

    Slot s;
    s.editor = list;
    s.widget = box;
    // The selected names in list order, joined by tabs.
    s.get = [list] {
        std::string out;
        for (int i = 0; i < list->count(); ++i) {
            if (!list->item(i)->isSelected()) continue;
            if (!out.empty()) out += '\t';
            out += ss(list->item(i)->text());
        }
        return out;
    };
    s.set = [list, add_name](const std::string& v) {
        list->clearSelection();
        if (v.empty()) return;
        for (const std::string& n : text::split(v, "\t")) add_name(qs(n), true);
    };
    return s;
}

void OperationPane::showValues() {
    showing_ = true;
    for (std::size_t i = 0; i < slots_.size(); ++i) {
        if (slots_[i].reload_history) slots_[i].reload_history();
        const std::string& v =
            i < values_->values.size() ? values_->values[i] : slots_[i].field->default_value;
        slots_[i].set(v);
    }
    showing_ = false;
}

void OperationPane::storeValues() {
    if (values_->values.size() < slots_.size()) values_->values.resize(slots_.size());
    for (std::size_t i = 0; i < slots_.size(); ++i) values_->values[i] = slots_[i].get();
}

void OperationPane::refreshHistories() {
    showing_ = true;
    for (Slot& s : slots_)
        if (s.reload_history) s.reload_history();
    showing_ = false;
}

QWidget* OperationPane::editor(std::string_view key) const {
    for (const Slot& s : slots_)
        if (s.field->key == key) return s.editor;
    return nullptr;
}

}  // namespace sheaflow::gui
