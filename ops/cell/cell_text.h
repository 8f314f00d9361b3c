#pragma once
// Text search and replace in cells: over a range of the active sheet, or over every worksheet of
// the workbook. Search lists the cells it finds in the result table; replace changes the workbook,
// which the run then saves.

#include <cstdint>
#include <string>
#include <string_view>

#include "ops/cell/cell_common.h"
#include "shell/params.h"
#include "util/result.h"

namespace sheaflow::run {
class Session;
}

namespace sheaflow::xl {
class Worksheet;
}

namespace sheaflow::ops {

// Pane keys of the four operations.
namespace cell_text_keys {
inline constexpr const char* kColFrom = "col_from";
inline constexpr const char* kRowFrom = "row_from";
inline constexpr const char* kColTo = "col_to";
inline constexpr const char* kRowTo = "row_to";
inline constexpr const char* kSearch = "search";
inline constexpr const char* kReplace = "replace";
inline constexpr const char* kMatchCase = "match_case";
inline constexpr const char* kMatchByte = "match_byte";
inline constexpr const char* kWholeCell = "whole_cell";
inline constexpr const char* kLookIn = "look_in";
inline constexpr const char* kFormulas = "formulas";
inline constexpr const char* kValues = "values";
}  // namespace cell_text_keys

std::string Check_セル_文字列検索(const shell::Params& p, std::string_view category);
std::string Check_セル_文字列置換(const shell::Params& p, std::string_view category);
std::string Check_すべてのシート_セル_文字列検索(const shell::Params& p, std::string_view category);
std::string Check_すべてのシート_セル_文字列置換(const shell::Params& p, std::string_view category);

Result<void> Excel_セル_文字列検索(run::Session& s);
Result<void> Excel_セル_文字列置換(run::Session& s);
Result<void> Excel_すべてのシート_セル_文字列検索(run::Session& s);
Result<void> Excel_すべてのシート_セル_文字列置換(run::Session& s);

}  // namespace sheaflow::ops
