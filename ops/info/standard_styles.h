#pragma once
// The application's built-in cell styles by their builtinId: the English name a workbook stores,
// the name the Japanese application shows, and the group of the style gallery.

#include <span>
#include <string_view>

namespace sheaflow::ops {

struct BuiltinStyle {
    int id;
    std::string_view english;
    std::string_view japanese;
    std::string_view group;
};

// In builtinId order (ids 1 and 2, the outline level styles, and the unused 12 to 14 are left
// out: the gallery never shows them).
std::span<const BuiltinStyle> builtin_styles();
// The style of a builtinId, nullptr when none.
const BuiltinStyle* builtin_style(int id);

}  // namespace sheaflow::ops
