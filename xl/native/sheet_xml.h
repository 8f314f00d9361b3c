#pragma once
// Editing the elements of a worksheet part around its cells (validation, conditional formats,
// hyperlinks): the part loaded as a tree, elements created in the order the schema requires,
// written back only when the edit changed it, and areas cut out of range lists. Internal to
// xl/native.

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "util/result.h"
#include "xl/native/xml.h"
#include "xl/xl.h"

namespace sheaflow::xl::native {

class Book;
class Sheet;

// Loads the sheet's part, calls `edit` with its root element and stores the part when `edit`
// answers true. An error from `edit` leaves the part as it was.
Result<void> edit_sheet_xml(Book& b, Sheet& s,
                            const std::function<Result<bool>(pugi::xml_node root)>& edit);
// Reads the sheet's part as a tree.
Result<void> read_sheet_xml(Book& b, Sheet& s, xml::Document& doc);

// The worksheet's child `local`, created in its place among the others when missing.
pugi::xml_node sheet_element(pugi::xml_node root, const char* local);

// The application's own extension of a list (x14:dataValidations, x14:conditionalFormatting
// entries) inside <extLst><ext>: each entry holds its range as an xm:sqref element and its
// formulas as xm:f elements. The extension elements of `local` found in the sheet's extLst, and
// the extension removed (with its ext and an extLst left empty) once it holds no entries.
std::vector<pugi::xml_node> extension_lists(pugi::xml_node root, std::string_view local);
void remove_when_empty(pugi::xml_node list);
// An extension entry's range (the text of its xm:sqref), and setting it.
std::string extension_sqref(pugi::xml_node entry);
void set_extension_sqref(pugi::xml_node entry, const std::string& sqref);

// "A1:B3 D4" as areas, and back.
std::vector<Area> parse_sqref(std::string_view sqref);
std::string format_sqref(const std::vector<Area>& areas);
// `a` without the cells of `cut`: up to four rectangles.
std::vector<Area> subtract_area(const Area& a, const Area& cut);
// Whether two areas share a cell.
bool overlaps(const Area& a, const Area& b);

}  // namespace sheaflow::xl::native
