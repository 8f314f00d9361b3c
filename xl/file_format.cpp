#include "xl/file_format.h"

#include <string>

#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::xl {

std::optional<int> FileFormat_FromExt(std::string_view extension, std::string_view separator) {
    std::string ext = text::upper(extension);
    if (ext == "CSV") return xlCSV;
    if (ext == "TSV") return xlCurrentPlatformText;
    if (ext == "TXT") {
        std::string sep = text::upper(separator);
        if (sep.empty() || sep == "TAB") return xlCurrentPlatformText;
        if (sep == "COMMA") return xlCSV;
        return std::nullopt;
    }
    if (ext == "XLS") return xlExcel8;
    if (ext == "XLSX") return xlOpenXMLWorkbook;
    if (ext == "XLSM") return xlOpenXMLWorkbookMacroEnabled;
    return std::nullopt;
}

std::optional<int> FileFormat_FromFile(std::string_view file_name) {
    auto slash = file_name.find_last_of("/\\");
    std::string_view base =
        slash == std::string_view::npos ? file_name : file_name.substr(slash + 1);
    auto dot = base.rfind('.');
    if (dot == std::string_view::npos) return std::nullopt;
    return FileFormat_FromExt(base.substr(dot + 1));
}

}  // namespace sheaflow::xl
