#pragma once
// The final stage of a list operation (Excel_<op>_Final), with the sheet-name list as the model:
// the record store is sorted and copied into the result table in sorted order, an empty row
// between groups of records that differ in key 0.

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "report/record_store.h"
#include "report/result_table.h"

namespace sheaflow::report {

// Fills the new last row of the table from one record.
using FillRow = std::function<void(const RecordStore::Record&, ResultTable&)>;

// Nothing happens for an empty store. Otherwise the store is sorted, every record gets a row
// (after an empty separator row when its key 0 differs from the previous record's), and the
// titles are written into titles 0..n-1.
void Final_Process(RecordStore& store, ResultTable& table, const std::vector<std::string>& titles,
                   const FillRow& fill);

// The sheet-name list. The sort option of its pane.
enum class SheetListSort { ByFile, BySheet, ByCode };
// The option word of the pane ("file", "sheet", "code"); ByFile for anything else.
SheetListSort sheet_list_sort(std::string_view word);

inline constexpr const char* kFrontMark = "＊";  // the workbook's active sheet
inline constexpr const char* kNotFront = " ";

// One record per sheet: the keys the sort option asks for, and the detail fields file name,
// front-most mark, code name, sheet name.
void sheet_name_list_add(RecordStore& store, SheetListSort sort, const std::string& file,
                         const std::string& sheet, const std::string& code, bool front);
// The final stage of the sheet-name list. Under the by-file option the sheet-name column is
// filled through `sheet_space_check` (the sheet name as the list shows it) when one is given.
void sheet_name_list_final(
    RecordStore& store, ResultTable& table, SheetListSort sort,
    const std::function<std::string(const std::string&)>& sheet_space_check = {});

}  // namespace sheaflow::report
