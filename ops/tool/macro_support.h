#pragma once
// What the macro operations share: the module kinds ("マクロタイプ"), the project of the active
// workbook, the module-name attribute of a module file, and the search for a procedure line.

#include <optional>
#include <string>
#include <string_view>

#include "run/session.h"
#include "xl/xl.h"

namespace sheaflow::ops::macro {

// One row of the kind table: kind name, component Type, export extension.
struct Kind {
    std::string_view name;
    int type;
    std::string_view extension;
};
// The kind of a component Type; the standard kind for an unknown code.
const Kind& kind_of(int type);
inline constexpr std::string_view kSheetKind = "シートモジュール";
inline constexpr std::string_view kThisWorkbook = "ThisWorkbook";

// The components of the active workbook's project (the engine's refusal as the error).
// The same for an import: a macro-enabled workbook that has no project yet gets a new one
// (ThisWorkbook and its sheets' modules), as the editor makes one.
Result<xl::VBComponents*> components_for_import(run::Session& s);
Result<xl::VBComponents*> components(run::Session& s);

// Whether the target's file type may hold macros ("XLSM" and "XLS").
bool may_hold_macros(const run::Session& s);

// Macro_SheetName_From_CodeName: the name of the worksheet whose code name it is ("" if none).
std::string sheet_name_from_code_name(xl::Workbook& book, std::string_view code_name);

// The sheet module chosen by sheet name or by code name; nullptr when there is none.
xl::VBComponent* sheet_module(xl::Workbook& book, xl::VBComponents& c, bool by_code_name,
                              const std::string& name);

// Clears a component's code: CodeModule.DeleteLines(1, CountOfLines).
Result<void> clear_code(xl::VBComponent& c);

// A procedure declared on a code line: its kind ("Sub", "Function", "Property") and name.
struct Procedure {
    std::string kind;
    std::string name;
};
std::optional<Procedure> procedure_on(std::string_view line);

}  // namespace sheaflow::ops::macro
