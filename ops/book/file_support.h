#pragma once
// What the file operations share: names built from parts of other names, the characters a file
// name cannot hold, and copies and moves that never overwrite or lose a file.

#include <string>
#include <string_view>

#include "util/result.h"

namespace sheaflow::run {
class Session;
}
namespace sheaflow::shell {
class Params;
}
namespace sheaflow::xl {
class Worksheet;
}

namespace sheaflow::ops::files {

// The extension with its dot ("" when there is none).
std::string extension(std::string_view name);

// Whether a character may not stand in a file or folder name on the desktop systems that share
// these files (\ / : * ? " < > | and control characters).
bool unusable_in_name(char c);
// `text` made usable as a file or folder name: the characters that the desktop systems refuse
// in a name (\ / : * ? " < > | and control characters) become `substitute`; blanks at either
// end and dots at the end are dropped, as the desktop's file dialogs do.
std::string safe_name(std::string_view text, std::string_view substitute);
// The pane's complaint about a substitute text ("" when it may be used).
std::string substitute_error(std::string_view substitute);

// What to do when the destination already exists.
enum class Clash { Refuse, Overwrite };

// Copies `from` to `to` through a temporary file in the destination's folder that takes the
// destination's name only when complete. With Clash::Refuse an existing destination is an error
// and stays as it was.
Result<void> copy_file(const std::string& from, const std::string& to, Clash clash);
// Moves `from` to `to`: a rename on the same file system, else a complete copy followed by the
// removal of the original, so that the file is in exactly one of the two places afterwards.
Result<void> move_file(const std::string& from, const std::string& to, Clash clash);

// The worksheet the pane's "sheet" option names: the active sheet, or the first worksheet.
xl::Worksheet* chosen_sheet(run::Session& s);
// The displayed text of the cell typed in the pane's "cell" box on the chosen sheet; an error
// names a cell address that does not parse.
Result<std::string> chosen_cell_text(run::Session& s);
// The pane's complaint about a single cell address ("" when it is one cell of the grid).
std::string cell_address_error(std::string_view address);
// The clash rule of the pane's "overwrite" check box.
Clash clash_rule(const shell::Params& p);

// The extension of a workbook made for `target`: the template's, else the target's own when the
// engine writes that format, else .xlsx.
std::string new_book_extension(const std::string& target, const std::string& templ);
// The pane's complaint about its "template" file ("" when empty or usable).
std::string template_error(const shell::Params& p);
// Makes the workbook `to`: a copy of the pane's template, or a new empty workbook; the pane's
// overwrite box decides a clash. The target stays the active workbook.
Result<void> create_book(run::Session& s, const std::string& to);

}  // namespace sheaflow::ops::files
