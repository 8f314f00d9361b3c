#pragma once
// Helpers of the Excel information lists: they need no target files, have no pane to check, and
// each fills the result table with a title row and one row per item.

#include <initializer_list>
#include <string>
#include <string_view>

#include "report/result_table.h"
#include "shell/params.h"

namespace sheaflow::ops::info {

inline std::string Check_Info_List(const shell::Params&, std::string_view) { return ""; }

inline void titles(report::ResultTable& t, std::initializer_list<const char*> names) {
    int i = 0;
    for (const char* n : names) t.set_title(i++, n);
}

inline void row(report::ResultTable& t, std::initializer_list<std::string> cells) {
    t.new_row();
    int i = 0;
    for (const std::string& c : cells) t.set(i++, c);
}

}  // namespace sheaflow::ops::info
