#pragma once
// The sheet operations: naming, inserting, deleting, moving and sorting the worksheets of the
// active workbook, and the sheet-name list. The checks and error texts here are shared with the
// combining and splitting operations.

#include <string>
#include <string_view>
#include <vector>

#include "shell/params.h"
#include "util/result.h"

namespace sheaflow::run {
class Session;
}

namespace sheaflow::xl {
class Worksheet;
}

namespace sheaflow::ops {

// "" when `name` holds none of the characters "#[]\/:*?" (half-width or full-width), else
// `prefix` + the message of Check_Sheet_Name_X for the first of them in that order.
std::string Check_Sheet_Name(std::string_view prefix, std::string_view name);
// "シート名に、記号<full-width c>は使えない。" when `c` occurs in `name` as it stands or in its
// full-width form, else "".
std::string Check_Sheet_Name_X(std::string_view name, char c);
// The full-width form of a character as the sheet-name messages show it.
std::string sheet_char_wide(char c);

// "" when the active workbook has a worksheet named exactly `name`; else the message
// "<book>  シート「<name>」がありません。", which is also appended to the run's error text.
std::string Excel_SheetName_Error_Text(run::Session& s, std::string_view name);
// "" when 1 <= number <= Worksheets.Count; else "<book> <action>シート番号が間違っています。",
// also appended to the run's error text.
std::string Excel_SheetCount_Error_Text(run::Session& s, std::string_view action, long number);

// The sheet-name column of the by-file sheet-name list: a name holding a blank (half-width or
// ideographic) is shown in 「」 so that its blanks can be seen; other names as they are.
std::string Sheet_Space_Check(std::string_view name);

// Whether an object's name fits a name pattern of the object operations: "*" any run of
// characters, "?" one character, upper and lower case alike; an empty pattern fits every name.
bool object_name_like(std::string_view pattern, std::string_view name);
// The patterns of a comma-separated list (half-width or full-width commas), blanks trimmed.
std::vector<std::string> object_name_list(std::string_view list);

// The numeric value of a pane text as the operations read it: leading blanks skipped, then an
// optional sign and digits; anything else ends the number (0 when there is none).
long pane_number(std::string_view text);

// The new name that the editing method `method` of シート名編集 makes of `name`, with the
// pane's text `text` for the methods that add or remove a text.
std::string Excel_シート_シート名編集_X(std::string_view name, std::string_view method,
                                        std::string_view text);
// The part of `file_name` (extension already dropped) that シート名をファイル名の一部から引用
// takes, as the pane describes it; "" when the part is empty.
std::string file_name_part(std::string_view stem, const shell::Params& p);

// Checks (the pane's first complaint, "" when it may run).
std::string Check_シート_シート名設定(const shell::Params& p, std::string_view category);
std::string Check_シート_シート名変更(const shell::Params& p, std::string_view category);
std::string Check_シート_シート名編集(const shell::Params& p, std::string_view category);
std::string Check_シート_シート名をファイル名の一部から引用(const shell::Params& p,
                                                            std::string_view category);
std::string Check_シート_挿入(const shell::Params& p, std::string_view category);
std::string Check_シート_削除(const shell::Params& p, std::string_view category);
std::string Check_シート_選択削除(const shell::Params& p, std::string_view category);
std::string Check_シート_選択以外削除(const shell::Params& p, std::string_view category);
std::string Check_シート_不要なシートを一括削除(const shell::Params& p, std::string_view category);
std::string Check_シート_移動(const shell::Params& p, std::string_view category);
std::string Check_シート_シート名順でソート(const shell::Params& p, std::string_view category);
std::string Check_シート_シート名一覧(const shell::Params& p, std::string_view category);

// Executors: one open workbook (the session's active workbook).
Result<void> Excel_シート_シート名設定(run::Session& s);
Result<void> Excel_シート_シート名変更(run::Session& s);
Result<void> Excel_シート_シート名編集(run::Session& s);
Result<void> Excel_シート_シート名をファイル名の一部から引用(run::Session& s);
Result<void> Excel_シート_挿入(run::Session& s);
Result<void> Excel_シート_削除(run::Session& s);
Result<void> Excel_シート_選択削除(run::Session& s);
Result<void> Excel_シート_選択以外削除(run::Session& s);
Result<void> Excel_シート_不要なシートを一括削除(run::Session& s);
Result<void> Excel_シート_移動(run::Session& s);
Result<void> Excel_シート_シート名順でソート(run::Session& s);
Result<void> Excel_シート_シート名一覧_First(run::Session& s);
Result<void> Excel_シート_シート名一覧(run::Session& s);
Result<void> Excel_シート_シート名一覧_Final(run::Session& s);

}  // namespace sheaflow::ops
