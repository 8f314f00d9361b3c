#pragma once
// Helpers shared by the sheet-structure members (rename, insert, delete, move, copy): the
// workbook part's sheet list and defined names, formula rewriting across a whole workbook, and
// the relationship graph of the package. Internal to xl/native.

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "util/result.h"
#include "xl/native/book.h"
#include "xl/native/structure_xml.h"

namespace sheaflow::xl::native::structure {

// Content types of parts that hold formulas besides the sheets.
inline constexpr std::string_view kChartType =
    "application/vnd.openxmlformats-officedocument.drawingml.chart+xml";
inline constexpr std::string_view kChartExType = "application/vnd.ms-office.chartex+xml";
inline constexpr std::string_view kDrawingType =
    "application/vnd.openxmlformats-officedocument.drawing+xml";
inline constexpr std::string_view kCtrlPropType = "application/vnd.ms-excel.controlproperties+xml";
inline constexpr std::string_view kCommentsType =
    "application/vnd.openxmlformats-officedocument.spreadsheetml.comments+xml";
inline constexpr std::string_view kThreadedCommentsType =
    "application/vnd.ms-excel.threadedcomments+xml";
inline constexpr std::string_view kTableType =
    "application/vnd.openxmlformats-officedocument.spreadsheetml.table+xml";
inline constexpr std::string_view kPivotCacheType =
    "application/vnd.openxmlformats-officedocument.spreadsheetml.pivotCacheDefinition+xml";
inline constexpr std::string_view kExternalLinkType =
    "application/vnd.openxmlformats-officedocument.spreadsheetml.externalLink+xml";
inline constexpr std::string_view kExternalLinkRel =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/externalLink";
inline constexpr std::string_view kExternalLinkPathRel =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/externalLinkPath";

Error refused(std::string message);

// Names of every sheet of the workbook in tab order (chart sheets included), optionally
// without one of them.
std::vector<std::string> sheet_names(Book& b, const Sheet* except = nullptr);

// The <sheet> element of the sheet at a 0-based position.
pugi::xml_node sheet_element(WorkbookPart& wp, int position);
// The relationship id (r:id) of a <sheet> element.
std::string sheet_rel_id(pugi::xml_node sheet);

// Inserts a <sheet> element at a 0-based position with a sheetId never used in the workbook
// (the largest plus one) and the relationship id; declares the relationships namespace when the
// part has none.
pugi::xml_node insert_sheet_element(WorkbookPart& wp, int position, const std::string& name,
                                    const std::string& rel_id);

// Every <definedName> element.
std::vector<pugi::xml_node> defined_names(WorkbookPart& wp);
// Renumbers the sheet-index references of the workbook part after the sheets were reordered:
// `map` gives the new 0-based position of an old one, or -1 for a sheet that is gone (its local
// names are removed). Covers defined names' localSheetId and the first visible tab.
void remap_sheet_indexes(WorkbookPart& wp, const std::function<int(int)>& map);

// The document properties list the worksheets and chart sheets again in their current order
// (done once at save, however many sheets moved).
void list_sheets_in_app_properties(Book& b);

// The current text of a sheet's part (with changes not yet written to the package).
Result<std::string> sheet_text(Book& b, Sheet& s);
// Replaces a sheet's part text (the loaded part object too, when there is one).
Result<void> store_sheet_text(Book& b, Sheet& s, std::string text);

// Formula rewriting over a whole workbook: every sheet part (but `skip`), every chart, drawing,
// form-control and table part, the defined names. `probe` is a text every formula that `edit`
// changes holds (the sheet name), used to skip parts quickly. Nothing is changed when a part
// cannot be read; the error is returned instead.
Result<void> rewrite_workbook_formulas(Book& b, const FormulaEdit& edit, std::string_view probe,
                                       const Sheet* skip);

// Relationship graph.
// The source part of a relationships part ("xl/_rels/workbook.xml.rels" -> "xl/workbook.xml").
std::string rels_source(std::string_view rels_part);
// Internal targets of a part's relationships (resolved part names that exist).
std::vector<std::string> internal_targets(Book& b, const std::string& part);
// The parts that `root` owns: reachable from it by relationships and referenced by no part
// outside that set. `root` itself included.
std::vector<std::string> owned_parts(Book& b, const std::string& root);

// A part name not in the package: `folder` + `stem` + N + `ext` with the smallest N >= 1.
std::string unique_part_name(Package& pkg, std::string_view folder, std::string_view stem,
                             std::string_view ext);
// Every code name in use in the workbook (sheets and the workbook itself), upper-cased.
std::set<std::string> code_names(Book& b);
// "Sheet<N>" with the smallest N that is not in use.
std::string new_code_name(Book& b);
// The text of a worksheet part without the selected flag on its first sheet view (a copy is
// selected by the next save only if it is the active sheet then).
std::string without_tab_selected(std::string_view xml);
// The text of a worksheet part with <sheetPr codeName> set to `code_name`.
std::string with_code_name(std::string_view xml, std::string_view code_name);

}  // namespace sheaflow::xl::native::structure
