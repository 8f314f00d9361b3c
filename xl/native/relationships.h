#pragma once
// A relationships part ("xl/_rels/workbook.xml.rels"): the links from one part to others.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "util/result.h"
#include "xl/native/xml.h"

namespace sheaflow::xl::native {

// Relationship types used by the engine (transitional namespace).
namespace rel {
inline constexpr std::string_view kOfficeDocument =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument";
inline constexpr std::string_view kStrictOfficeDocument =
    "http://purl.oclc.org/ooxml/officeDocument/relationships/officeDocument";
inline constexpr std::string_view kWorksheet =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/worksheet";
inline constexpr std::string_view kChartsheet =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/chartsheet";
inline constexpr std::string_view kDialogsheet =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/dialogsheet";
inline constexpr std::string_view kMacrosheet =
    "http://schemas.microsoft.com/office/2006/relationships/xlMacrosheet";
inline constexpr std::string_view kSharedStrings =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/sharedStrings";
inline constexpr std::string_view kStyles =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/styles";
inline constexpr std::string_view kCalcChain =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/calcChain";
inline constexpr std::string_view kComments =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/comments";
inline constexpr std::string_view kVbaProject =
    "http://schemas.microsoft.com/office/2006/relationships/vbaProject";
}  // namespace rel

// The relationships part that belongs to a part: "xl/workbook.xml" -> "xl/_rels/workbook.xml.rels".
std::string rels_path_for(std::string_view part);
// Resolves a relationship target against the folder of its source part ("worksheets/sheet1.xml"
// from "xl/workbook.xml" -> "xl/worksheets/sheet1.xml"; "/xl/x.xml" is absolute).
std::string resolve_target(std::string_view source_part, std::string_view target);
// The target to write for `part` seen from `source_part` (relative when in the same tree).
std::string relative_target(std::string_view source_part, std::string_view part);

class Relationships {
public:
    struct Item {
        std::string id;
        std::string type;
        std::string target;  // as written
        bool external = false;
    };

    // An empty set for a part that has no relationships part yet.
    Relationships() = default;
    Result<void> parse(std::string_view bytes, const std::string& part_name);
    std::string serialize() const;

    std::vector<Item> items() const;
    std::optional<Item> by_id(std::string_view id) const;
    // First relationship of a type.
    std::optional<Item> by_type(std::string_view type) const;
    // Adds a relationship and returns its new id ("rIdN" not in use).
    std::string add(std::string_view type, std::string_view target);
    // The same for a target outside the package (TargetMode="External").
    std::string add_external(std::string_view type, std::string_view target);
    // Removes every relationship of a type, or the one with an id; true when one was removed.
    bool remove_type(std::string_view type);
    bool remove_id(std::string_view id);
    bool dirty() const { return dirty_; }

private:
    void ensure_root();
    xml::Document doc_;
    bool dirty_ = false;
};

}  // namespace sheaflow::xl::native
