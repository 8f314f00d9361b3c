#pragma once
// The procedures of each implemented operation, and dispatch by operation key: the first entry
// whose base category is the category or whose "すべてのシート_" variant is the category, and
// whose name equals the upper-cased display name, wins.

#include <span>
#include <string>
#include <string_view>

#include "run/procedures.h"

namespace sheaflow::ops {

// The operations are written against the driver's view of them.
using run::CheckFn;
using run::ExecFn;
using run::kNotImplemented;
using run::PaneFlagFn;
using run::Procedures;
using run::SkipFn;

// Tables of procedures, one per topic file (ops/<area>/<topic>.cpp ends in its table); the
// registry lists them all in dispatch order.
std::span<const Procedures> cell_procedures();
std::span<const Procedures> romaji_procedures();
std::span<const Procedures> kansuji_procedures();
std::span<const Procedures> digit_check_procedures();
std::span<const Procedures> text_convert_procedures();
std::span<const Procedures> value_check_procedures();
std::span<const Procedures> furigana_procedures();
std::span<const Procedures> cell_set_procedures();
std::span<const Procedures> cell_shift_procedures();
// Cell formats.
std::span<const Procedures> cell_format_procedures();
std::span<const Procedures> cell_format_list_procedures();
std::span<const Procedures> hyperlink_procedures();
std::span<const Procedures> conditional_format_procedures();
std::span<const Procedures> comment_procedures();
std::span<const Procedures> formula_list_procedures();
std::span<const Procedures> picture_procedures();
std::span<const Procedures> formula_analysis_procedures();
std::span<const Procedures> value_sum_procedures();
std::span<const Procedures> sheet_procedures();
std::span<const Procedures> export_procedures();
std::span<const Procedures> combine_split_procedures();
std::span<const Procedures> password_procedures();
std::span<const Procedures> split_object_procedures();
std::span<const Procedures> extension_procedures();
std::span<const Procedures> file_name_procedures();
std::span<const Procedures> file_folder_procedures();
std::span<const Procedures> file_create_procedures();
std::span<const Procedures> property_procedures();
std::span<const Procedures> tool_procedures();
std::span<const Procedures> macro_procedures();
std::span<const Procedures> macro_list_procedures();
// Colours, tabs and drawing objects.
std::span<const Procedures> colour_procedures();
std::span<const Procedures> palette_list_procedures();
std::span<const Procedures> tab_procedures();
std::span<const Procedures> object_procedures();
std::span<const Procedures> page_setup_procedures();
std::span<const Procedures> external_macro_procedures();
std::span<const Procedures> printing_procedures();
std::span<const Procedures> colour_check_procedures();
std::span<const Procedures> row_delete_insert_procedures();
std::span<const Procedures> row_visibility_procedures();
std::span<const Procedures> row_size_procedures();
std::span<const Procedures> row_lists_procedures();
std::span<const Procedures> row_groups_procedures();
std::span<const Procedures> column_delete_insert_procedures();
std::span<const Procedures> column_visibility_procedures();
std::span<const Procedures> column_size_procedures();
std::span<const Procedures> column_lists_procedures();
std::span<const Procedures> column_groups_procedures();
std::span<const Procedures> column_duplicates_procedures();
std::span<const Procedures> column_split_procedures();
// Sheet settings and protection, workbook options, styles and the Excel information lists.
std::span<const Procedures> sheet_protection_procedures();
std::span<const Procedures> sheet_setting_procedures();
std::span<const Procedures> book_protection_procedures();
std::span<const Procedures> book_option_procedures();
std::span<const Procedures> sheet_option_procedures();
std::span<const Procedures> sharing_procedures();
std::span<const Procedures> style_procedures();
std::span<const Procedures> system_list_procedures();
std::span<const Procedures> font_list_procedures();
std::span<const Procedures> catalogue_list_procedures();
std::span<const Procedures> reference_list_procedures();
std::span<const Procedures> function_list_procedures();
// Data validation.
std::span<const Procedures> validation_procedures();
// View and edit.
std::span<const Procedures> view_window_procedures();
std::span<const Procedures> edit_jump_procedures();
std::span<const Procedures> edit_sheet_copy_procedures();
std::span<const Procedures> edit_clear_procedures();
std::span<const Procedures> edit_copy_paste_procedures();
std::span<const Procedures> edit_comment_procedures();
std::span<const Procedures> edit_cut_paste_procedures();
std::span<const Procedures> edit_object_paste_procedures();
std::span<const Procedures> edit_style_procedures();

// Dispatch: nullptr when no implemented operation matches. An entry whose category is the full
// category (an all-sheets variant with an executor of its own) is preferred to one matched
// through its base category.
const Procedures* find_procedures(std::string_view category, std::string_view key_name);

}  // namespace sheaflow::ops
