#pragma once
// The parameter folder and the files in it: every operation's parameter files (Text_Update) and
// the settings files "Folder.txt", "<base>_Fldg.txt" and "List.txt". Files are in code page 932
// with CR LF line ends.

#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "shell/catalogue.h"
#include "shell/params.h"

namespace sheaflow::shell {

// The parameter folder: `override_dir` when given, else $SHEAFLOW_PARAM_DIR, else the program's
// folder + "/Temp" when that is writable, else $XDG_CONFIG_HOME/sheaflow/Temp (~/.config when the
// variable is unset). Created when missing.
std::string parameter_folder(const std::string& override_dir, const std::string& program_dir);

// The pane values of every operation, read and written as one set.
class ParameterStore {
public:
    // Every operation starts at its design-time defaults.
    ParameterStore();

    PaneValues& values(const OperationDecl& decl);
    const PaneValues& values(const OperationDecl& decl) const;
    Params params(const OperationDecl& decl) const { return Params(decl, values(decl)); }
    // Sets a field from text as `--set` gives it; false with a message when the key is unknown or
    // the value does not fit the field. Check boxes take 1/0 (true/false, on/off), option groups
    // one of their value words (or a caption, or "" for none), numbers a number or "".
    bool set(const OperationDecl& decl, std::string_view key, std::string_view value,
             std::string& message);

    // Text_Update: "R" reads or "W" writes every operation's files in the order of
    // text_update_order(). Messages (the duplicate file-name message, "「path」はありません。", a
    // failed write) go to `message`. Reading creates a missing main file empty; a file that is
    // neither code page 932 nor UTF-8 leaves the defaults. Writing puts each history field's
    // value at the head of its history.
    void text_update(char mode, const std::string& folder,
                     const std::function<void(const std::string&)>& message = {});

    // The text of an operation's main file as "W" writes it (before encoding).
    std::string main_text(const OperationDecl& decl) const;

private:
    void read_main(const OperationDecl& decl, const std::string& path,
                   const std::function<void(const std::string&)>& message);
    // Reads ("R") or writes ("W") one history list of the operation (an index into its history
    // slots) or one extra file; false when a write failed.
    bool history_update(const OperationDecl& decl, std::size_t slot, char mode,
                        const std::string& path);
    bool own_file_update(const OperationDecl& decl, std::size_t extra, char mode,
                         const std::string& path);

    std::map<const OperationDecl*, PaneValues> values_;
};

// Settings files are written in code page 932 with CR LF (UTF-8 with a byte-order mark when a
// value has characters that code page cannot hold); a missing or unreadable file gives "" or
// leaves the catalogue as it is, with no message.
// "Folder.txt": the last target folder ("" when missing).
std::string Dir_Read(const std::string& param_folder);
void Dir_Write(const std::string& param_folder, const std::string& target_folder);
// "<base>_Fldg.txt": the last path of one browse button.
std::string Fldg_Full_Name_Read(const std::string& base);
void Fldg_Full_Name_Write(const std::string& base, const std::string& full_name);
// "List.txt": reads the last-used times into the catalogue / rewrites it from the catalogue.
void List1_DayTime_Create(Catalogue& catalogue, const std::string& param_folder);
// Stamps the row of (category, name) with `when` and rewrites "List.txt".
void List1_DayTime_Write(Catalogue& catalogue, const std::string& param_folder,
                         std::string_view category, std::string_view name, Clock::time_point when);

}  // namespace sheaflow::shell
