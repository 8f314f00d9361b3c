#pragma once
// Save-format codes for file types: FileFormat_FromExt and FileFormat_FromFile, the codes that
// Workbook::save_as takes for an extension the user or an operation chose.

#include <optional>
#include <string_view>

namespace sheaflow::xl {

// What the run error text receives when a type has no code.
inline constexpr std::string_view kUnknownExtensionMessage = "ファイルの拡張子が不明です。";

// The code for a type word (an extension, case ignored): "CSV" 6, "TSV" -4158, "TXT" -4158
// (or with the separator word "COMMA" 6, "TAB" -4158, any other word none), "XLS" 56, "XLSX" 51,
// "XLSM" 52; nullopt for anything else. An empty separator word counts as none given.
std::optional<int> FileFormat_FromExt(std::string_view extension, std::string_view separator = {});

// The code for a file name, by its extension ("売上.xlsm" -> 52).
std::optional<int> FileFormat_FromFile(std::string_view file_name);

}  // namespace sheaflow::xl
