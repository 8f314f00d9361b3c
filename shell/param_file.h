#pragma once
// The text forms of the parameter and history files: the record reader, the history rules and
// the code page of the files on disk.

#include <string>
#include <string_view>
#include <vector>

namespace sheaflow::shell {

inline constexpr int kMaxFields = 256;

// Splits a file's text into records (at line ends) and fields (at commas outside double quotes),
// at most kMaxFields fields a record. A non-empty field that begins and ends with a double quote
// loses those two quotes; nothing else is unescaped.
std::vector<std::vector<std::string>> read_records(std::string_view text);
// Every pair of double quotes becomes one.
std::string reduce_quotes(std::string_view s);

// The history rules: kHistorySize entries, newest first, no duplicates, no empty entries.
// The lines of a history file, padded with empty entries to the full size; lines past the
// fortieth are ignored.
std::vector<std::string> read_history(std::string_view text);
// The history after `newest` has been used: it moves to the head (when not empty), every other
// copy of it goes, empty entries close up, and the list is cut to its full size.
std::vector<std::string> push_history(const std::vector<std::string>& history,
                                      const std::string& newest);
// The text of a history file: every non-empty entry on a line of its own, index 0 first.
std::string history_text(const std::vector<std::string>& history);

// One value as the write statement writes it: text in double quotes (quotes inside are not
// escaped); `numeric` values (check box and option states) as they stand.
std::string quoted(std::string_view value, bool numeric);

// Decodes a file's bytes (code page 932, or UTF-8 when the file is UTF-8); false when it is
// neither.
bool decode(std::string_view bytes, std::string& text);
// Encodes text for a settings file: code page 932 when every character survives the trip there
// and back, else UTF-8 with a byte-order mark, so that nothing is lost.
std::string encode(std::string_view text);

}  // namespace sheaflow::shell
