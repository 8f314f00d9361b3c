#pragma once
// Edits of whole XML parts that the sheet structure needs: rewriting every formula a part holds
// (cell formulas, validation and conditional-format formulas, chart references, internal
// hyperlinks, form-control links) and the sheet name of pivot-cache sources. The part's text is
// copied as it is except for the rewritten texts, so unknown content stays byte for byte.

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "xl/native/sheet_names.h"

namespace sheaflow::xl::native {

// A formula rewriter: the new text of a formula (without "="), or the same text.
using FormulaEdit = std::function<std::string(std::string_view)>;

// The part with every formula rewritten by `edit`; nullopt when nothing changed (or the part is
// not well-formed enough to scan, in which case it is left alone).
std::optional<std::string> rewrite_part_formulas(std::string_view xml, const FormulaEdit& edit);
// The same with one edit for formula elements and another for the reference attributes
// (internal hyperlinks and control links cannot point into another workbook).
std::optional<std::string> rewrite_part_formulas(std::string_view xml,
                                                 const FormulaEdit& element_edit,
                                                 const FormulaEdit& attribute_edit);

// The part with every <worksheetSource sheet="..."> naming `old_name` (without regard to case)
// changed to `new_name`; nullopt when none does.
std::optional<std::string> rename_pivot_source(std::string_view xml, std::string_view old_name,
                                               std::string_view new_name);

// The same for renames made one after the other.
std::optional<std::string> rename_pivot_sources(std::string_view xml, const SheetRenameChain& renames);

// True when the part is well-formed as far as a forward scan sees: every tag closes, the
// elements nest, there is one root element.
bool well_formed(std::string_view xml);

// True when `xml` may mention the sheet name: a quick test before a part is rewritten (the name
// as it stands, or with the characters XML escapes in it).
bool may_mention(std::string_view xml, std::string_view sheet_name);

}  // namespace sheaflow::xl::native
