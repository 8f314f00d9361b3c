#pragma once
// Helpers of the cell format operations: colours typed in a pane, the three-way option of a
// property (leave, set, clear), the Japanese words of format values, and the one-line
// descriptions of a font, an alignment, borders and a fill that the format lists show.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "shell/params.h"
#include "xl/cell_format.h"

namespace sheaflow::ops::formats {

// A colour typed as "#RRGGBB", "RRGGBB", "RGB(r,g,b)" or "r,g,b" (full-width digits allowed),
// or "自動" / "auto" for the automatic colour; nullopt when the text is none of them.
std::optional<std::int32_t> parse_colour(std::string_view typed);
// "自動", or "RGB(r,g,b)".
std::string colour_words(std::int32_t colour);

// The options of a property that a pane may leave as it is: "keep", "on", "off".
inline constexpr const char* kKeep = "keep";
// Applies a three-way option to a flag.
void apply_switch(const shell::Params& p, const char* key, bool& flag);

// The Japanese word of a value ("center" -> "中央揃え"), the value itself when it has none.
std::string horizontal_word(const std::string& v);
std::string vertical_word(const std::string& v);
std::string underline_word(const std::string& v);
std::string border_word(const std::string& style);
std::string pattern_word(const std::string& pattern);

// "游ゴシック 11 太字 斜体 下線 取消線 RGB(255,0,0)".
std::string font_text(const xl::FontFormat& f);
// "横:中央揃え 縦:下詰め 折り返し 縮小 インデント1 角度45".
std::string alignment_text(const xl::AlignmentFormat& a);
// "上:細線 下:二重線 RGB(0,0,255)", "なし" when there is none.
std::string border_text(const xl::BorderFormat& b);
// "塗りつぶし RGB(255,255,0)", "なし".
std::string fill_text(const xl::FillFormat& f);
// The whole format in one line (the key of the distinct-format list).
std::string format_text(const xl::CellFormat& f);

}  // namespace sheaflow::ops::formats
