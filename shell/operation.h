#pragma once
// The operation declaration: one catalogue entry written as data. Everything else (parameter
// files, the GUI pane, `sheaflow params` and `--set`, dispatch) follows from it.

#include <string>
#include <string_view>
#include <vector>

namespace sheaflow::shell {

inline constexpr const char* kSeparator10 = "──────────";
inline constexpr const char* kSeparator5 = "─────";
inline constexpr const char* kAllSheetsPrefix = "すべてのシート_";

enum class FieldKind {
    Text,         // a plain text box
    HistoryText,  // a text box with a drop-down of up to 40 earlier entries (Cmb_Control)
    Check,        // a check box: "0" or "1"
    Option,       // a group of option buttons: one of `choices` (its key), or "" for none;
                  // the main file holds one line per button, 1 for the chosen one, else 0
    Row,          // a row number box (mask "#####")
    Column,       // a column letters box
    Address,      // a cell or range address
    Number,       // a numeric box
    Folder,       // a folder path with a chooser
    File,         // a file path with a chooser
    SheetList,    // a list of sheet names with multiple selection (values joined by "\t")
};

struct Choice {
    std::string key;      // stable ASCII value word used by --set and the parameter file
    std::string caption;  // Japanese caption of the option button
};

struct Field {
    std::string key;  // stable ASCII key (--set key=value)
    FieldKind kind = FieldKind::Text;
    std::string caption;          // Japanese caption
    std::string default_value;    // design-time default
    std::vector<Choice> choices;  // option groups only
    // Which history file of the operation holds this field's earlier entries (0-based index into
    // the operation's history files, then on into its extra files); -1 for none. HistoryText
    // fields always have one; a folder or file path may have one too.
    int history = -1;
    // On reading, doubled double quotes are reduced to one (the search text of 文字列置換...).
    bool reduce_quotes = false;
    // The extra file (index into extra_files) that keeps this field's value instead of the main
    // file; -1: the main file.
    int stored_in = -1;
};

struct OperationDecl {
    std::string category;  // "セル", "すべてのシート_セル", ...
    std::string name;      // display name exactly as listed, or a separator
    std::string key_name;  // upper-cased name that dispatch compares
    std::string proc;      // procedure-safe stem: "セル_文字列置換"
    // Parameter files in the order Text_Update handles them: the main file first (empty when
    // the operation has none), then its history files.
    std::string main_file;
    std::vector<std::string> history_files;
    // Further files of the operation that its own procedures read and write; Text_Update only
    // registers their names (for the duplicate check) and leaves them alone.
    std::vector<std::string> extra_files;
    bool plain = false;  // main file written plainly (print statement) instead of quoted
    // An all-sheets row that shares the procedures, pane and parameter files of the same name in
    // its base category (Catalogue::owner finds that row).
    bool shares_base = false;
    std::vector<Field> fields;  // pane fields in pane order = main file line order

    // Number of lines a field takes in the main file: one, or one per button of an option group.
    static int line_count(const Field& f) {
        return f.kind == FieldKind::Option ? static_cast<int>(f.choices.size()) : 1;
    }

    // History lists of the pane: one per history file, then one per extra file (used by the
    // fields whose history names an extra file).
    std::size_t history_slots() const { return history_files.size() + extra_files.size(); }

    bool is_separator() const { return name.rfind("─", 0) == 0; }
    const Field* field(std::string_view key) const {
        for (const Field& f : fields)
            if (f.key == key) return &f;
        return nullptr;
    }
};

}  // namespace sheaflow::shell
