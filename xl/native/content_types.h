#pragma once
// "[Content_Types].xml": the media type of every part, by extension (Default) or by part name
// (Override).

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "util/result.h"
#include "xl/native/xml.h"

namespace sheaflow::xl::native {

namespace ctype {
inline constexpr std::string_view kWorkbook =
    "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet.main+xml";
inline constexpr std::string_view kWorkbookMacro =
    "application/vnd.ms-excel.sheet.macroEnabled.main+xml";
inline constexpr std::string_view kTemplate =
    "application/vnd.openxmlformats-officedocument.spreadsheetml.template.main+xml";
inline constexpr std::string_view kTemplateMacro =
    "application/vnd.ms-excel.template.macroEnabled.main+xml";
inline constexpr std::string_view kAddinMacro =
    "application/vnd.ms-excel.addin.macroEnabled.main+xml";
inline constexpr std::string_view kBinaryWorkbook =
    "application/vnd.ms-excel.sheet.binary.macroEnabled.main";
inline constexpr std::string_view kWorksheet =
    "application/vnd.openxmlformats-officedocument.spreadsheetml.worksheet+xml";
inline constexpr std::string_view kSharedStrings =
    "application/vnd.openxmlformats-officedocument.spreadsheetml.sharedStrings+xml";
inline constexpr std::string_view kStyles =
    "application/vnd.openxmlformats-officedocument.spreadsheetml.styles+xml";
inline constexpr std::string_view kCalcChain =
    "application/vnd.openxmlformats-officedocument.spreadsheetml.calcChain+xml";
inline constexpr std::string_view kVbaProject = "application/vnd.ms-office.vbaProject";
}  // namespace ctype

class ContentTypes {
public:
    Result<void> parse(std::string_view bytes);
    std::string serialize() const;

    // The media type of a part ("xl/workbook.xml"): its Override, else the Default of its
    // extension; "" when neither exists.
    std::string type_of(std::string_view part) const;
    // Sets the Override of a part (added when missing).
    void set_override(std::string_view part, std::string_view type);
    bool remove_override(std::string_view part);
    // Adds a Default for an extension unless one exists.
    void ensure_default(std::string_view extension, std::string_view type);
    bool dirty() const { return dirty_; }

private:
    // The Override element of a part, found through an index of the part names (lower-cased,
    // without the leading "/") built on first use: packages with thousands of parts ask often.
    pugi::xml_node override_of(std::string_view part) const;

    xml::Document doc_;
    bool dirty_ = false;
    mutable std::unordered_map<std::string, pugi::xml_node> overrides_;
    mutable bool indexed_ = false;
};

}  // namespace sheaflow::xl::native
