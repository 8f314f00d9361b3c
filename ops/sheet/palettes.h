#pragma once
// The two fixed colour palettes of the colour operations and the Excel information lists: the
// 2010 palette (the colours of the application's colour picker of that generation, each with a
// code of this program's own) and the 56-colour index palette (ColorIndex 1 to 56), with the
// exact and nearest lookups that standardisation uses.
//
// A colour is the object model's long: red in the lowest byte, green in the next, blue in the
// third; a negative value means automatic or none.

#include <cstdint>
#include <span>
#include <string>

namespace sheaflow::ops {

struct PaletteEntry {
    int code = 0;  // the 2010 code, or the index itself in the 56-colour palette
    int red = -1, green = -1, blue = -1;
    int colour_index = -1;  // the equivalent ColorIndex, -1 when there is none
    // The colour value: -1 when the entry has no colour.
    std::int32_t rgb() const {
        return green < 0 || blue < 0 ? -1 : red + 256 * green + 65536 * blue;
    }
};

enum class Palette { Color2010, ColorIndex };

// The entries in table order: 227 for the 2010 palette (entry 0 is the empty colour; a code
// occurs twice where the colour has two index values), 57 for the index palette (entry 0 empty).
std::span<const PaletteEntry> palette_entries(Palette p);

// The code of the first entry whose colour equals `colour`; -1 for a negative colour or none.
int exact_code(Palette p, std::int32_t colour);
// The code of the nearest entry (Euclidean distance in RGB, entry 0 never a candidate): on a
// tie the entry earlier in the table wins. -1 for a negative colour.
int nearest_code(Palette p, std::int32_t colour);
// The first entry with this code, or nullptr.
const PaletteEntry* entry_of(Palette p, int code);

// The colour value from its bytes, and the bytes of a value.
inline std::int32_t rgb_value(int r, int g, int b) { return r + 256 * g + 65536 * b; }
inline int red_of(std::int32_t c) { return c & 0xFF; }
inline int green_of(std::int32_t c) { return (c >> 8) & 0xFF; }
inline int blue_of(std::int32_t c) { return (c >> 16) & 0xFF; }

// The text form of a colour in the lists: "RGB(255,0,0)"; "自動" for a negative colour.
std::string colour_text(std::int32_t colour);
// "#RRGGBB" (the form the result window shows as a swatch).
std::string colour_hex(std::int32_t colour);

}  // namespace sheaflow::ops
