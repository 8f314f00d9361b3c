#include "report/folders.h"

#include <algorithm>

#include "report/render.h"

namespace sheaflow::report {

namespace {

std::string_view without_trailing_slash(std::string_view p) {
    while (p.size() > 1 && p.back() == '/') p.remove_suffix(1);
    return p;
}

}  // namespace

std::string relative_folder(std::string_view folder, std::string_view target_folder) {
    folder = without_trailing_slash(folder);
    target_folder = without_trailing_slash(target_folder);
    if (folder == target_folder) return ".";
    if (folder.size() > target_folder.size() && folder.substr(0, target_folder.size()) == target_folder &&
        (folder[target_folder.size()] == '/' || target_folder == "/"))
        return std::string(folder.substr(target_folder.size() + (target_folder == "/" ? 0 : 1)));
    return std::string(folder);
}

ResultTable with_folder_column(const ResultTable& table, std::string_view target_folder) {
    bool below = false;
    for (int r = 0; r <= table.last_row() && !below; ++r) {
        const std::string& source = table.row_source(r);
        below = !source.empty() && relative_folder(source, target_folder) != ".";
    }
    if (!below) return table;
    ResultTable out = table;
    const int column = Check_Hyoji_Max(table);
    if (column >= ResultTable::kColumns) return table;
    out.set_title(column, kFolderTitle);
    for (int r = 0; r <= out.last_row(); ++r) {
        const auto& row = out.rows()[static_cast<std::size_t>(r)];
        const bool has_cells =
            std::any_of(row.begin(), row.end(), [](const std::string& c) { return !c.empty(); });
        const std::string& source = table.row_source(r);
        if (has_cells && !source.empty())
            out.set_cell(r, column, relative_folder(source, target_folder));
    }
    return out;
}

}  // namespace sheaflow::report
