#include "ops/registry.h"

#include "shell/operation.h"

namespace sheaflow::ops {
namespace {

// Every table of procedures, in dispatch order: one line per topic file.
using TableFn = std::span<const Procedures> (*)();
const TableFn kTables[] = {
    cell_procedures,
    romaji_procedures,
    kansuji_procedures,
    digit_check_procedures,
    text_convert_procedures,
    value_check_procedures,
    furigana_procedures,
    cell_set_procedures,
    cell_shift_procedures,
    cell_format_procedures,
    cell_format_list_procedures,
    hyperlink_procedures,
    conditional_format_procedures,
    comment_procedures,
    formula_list_procedures,
    picture_procedures,
    formula_analysis_procedures,
    value_sum_procedures,
    sheet_procedures,
    export_procedures,
    combine_split_procedures,
    password_procedures,
    split_object_procedures,
    extension_procedures,
    file_name_procedures,
    file_folder_procedures,
    file_create_procedures,
    property_procedures,
    tool_procedures,
    macro_procedures,
    macro_list_procedures,
    colour_procedures,
    palette_list_procedures,
    tab_procedures,
    object_procedures,
    page_setup_procedures,
    external_macro_procedures,
    printing_procedures,
    colour_check_procedures,
    row_delete_insert_procedures,
    row_visibility_procedures,
    row_size_procedures,
    row_lists_procedures,
    row_groups_procedures,
    column_delete_insert_procedures,
    column_visibility_procedures,
    column_size_procedures,
    column_lists_procedures,
    column_groups_procedures,
    column_duplicates_procedures,
    column_split_procedures,
    sheet_protection_procedures,
    sheet_setting_procedures,
    book_protection_procedures,
    book_option_procedures,
    sheet_option_procedures,
    sharing_procedures,
    style_procedures,
    system_list_procedures,
    font_list_procedures,
    catalogue_list_procedures,
    reference_list_procedures,
    function_list_procedures,
    validation_procedures,
    view_window_procedures,
    edit_jump_procedures,
    edit_sheet_copy_procedures,
    edit_clear_procedures,
    edit_copy_paste_procedures,
    edit_comment_procedures,
    edit_cut_paste_procedures,
    edit_object_paste_procedures,
    edit_style_procedures,
};

}  // namespace

const Procedures* find_procedures(std::string_view category, std::string_view key_name) {
    for (TableFn table : kTables)
        for (const Procedures& p : table())
            if (p.category == category && p.key_name == key_name) return &p;
    std::string_view base = category;
    std::string_view prefix = shell::kAllSheetsPrefix;
    if (base.substr(0, prefix.size()) == prefix) base.remove_prefix(prefix.size());
    for (TableFn table : kTables)
        for (const Procedures& p : table())
            if (p.category == base && p.key_name == key_name) return &p;
    return nullptr;
}

}  // namespace sheaflow::ops
