#include "xl/native/text_measure.h"

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <string>

#include "util/text.h"

namespace sheaflow::xl::native {
namespace {

// Fonts that the application's fonts are commonly replaced by on Linux, with the same metrics.
constexpr std::pair<std::string_view, std::string_view> kMetricTwins[] = {
    {"Calibri", "Carlito"},
    {"Cambria", "Caladea"},
    {"Arial", "Liberation Sans"},
    {"Times New Roman", "Liberation Serif"},
    {"Courier New", "Liberation Mono"},
    {"ＭＳ ゴシック", "IPAGothic"},
    {"ＭＳ Ｐゴシック", "IPAPGothic"},
    {"ＭＳ 明朝", "IPAMincho"},
    {"ＭＳ Ｐ明朝", "IPAPMincho"},
    {"MS Gothic", "IPAGothic"},
    {"MS PGothic", "IPAPGothic"},
};

// One loaded face per font; faces stay loaded for the life of the program.
class FaceCache {
public:
    ~FaceCache() {
        for (auto& [key, face] : faces_)
            if (face) FT_Done_Face(face);
        if (library_) FT_Done_FreeType(library_);
    }

    FT_Face face(const FontSpec& f) {
        std::string key = f.name + (f.bold ? "|b" : "|") + (f.italic ? "i" : "");
        auto it = faces_.find(key);
        if (it != faces_.end()) return it->second;
        FT_Face face = load(f);
        faces_[key] = face;
        return face;
    }

private:
    FT_Face load(const FontSpec& f) {
        if (!library_ && FT_Init_FreeType(&library_) != 0) return nullptr;
        std::string family = f.name;
        std::string file = match(family, f);
        if (file.empty()) {
            for (auto [name, twin] : kMetricTwins)
                if (family == name) file = match(std::string(twin), f);
        }
        if (file.empty()) return nullptr;
        FT_Face face = nullptr;
        if (FT_New_Face(library_, file.c_str(), index_, &face) != 0) return nullptr;
        return face;
    }

    // The file of an installed font of exactly this family ("" when fontconfig would only
    // offer a substitute).
    std::string match(const std::string& family, const FontSpec& f) {
        FcPattern* pattern = FcPatternCreate();
        FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(family.c_str()));
        FcPatternAddInteger(pattern, FC_WEIGHT, f.bold ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR);
        FcPatternAddInteger(pattern, FC_SLANT, f.italic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
        FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
        FcDefaultSubstitute(pattern);
        FcResult result;
        FcPattern* found = FcFontMatch(nullptr, pattern, &result);
        FcPatternDestroy(pattern);
        std::string file;
        if (found) {
            FcChar8* got_family = nullptr;
            FcChar8* path = nullptr;
            int index = 0;
            bool same = false;
            for (int i = 0; FcPatternGetString(found, FC_FAMILY, i, &got_family) == FcResultMatch;
                 ++i)
                same = same || text::lower(reinterpret_cast<const char*>(got_family)) ==
                                   text::lower(family);
            if (same && FcPatternGetString(found, FC_FILE, 0, &path) == FcResultMatch) {
                file = reinterpret_cast<const char*>(path);
                FcPatternGetInteger(found, FC_INDEX, 0, &index);
                index_ = index;
            }
            FcPatternDestroy(found);
        }
        return file;
    }

    FT_Library library_ = nullptr;
    FT_Long index_ = 0;
    std::map<std::string, FT_Face> faces_;
};

FaceCache& cache() {
    static FaceCache c;
    return c;
}

FT_Face sized_face(const FontSpec& f) {
    FT_Face face = cache().face(f);
    if (!face) return nullptr;
    // 96 dots per inch, as the application lays out its grid on screen.
    if (FT_Set_Char_Size(face, 0, static_cast<FT_F26Dot6>(std::lround(f.size * 64)), 96, 96) != 0)
        return nullptr;
    return face;
}

bool wide(char32_t c) {
    return (c >= 0x1100 && c <= 0x115F) || (c >= 0x2E80 && c <= 0xA4CF) ||
           (c >= 0xAC00 && c <= 0xD7A3) || (c >= 0xF900 && c <= 0xFAFF) ||
           (c >= 0xFE30 && c <= 0xFE4F) || (c >= 0xFF00 && c <= 0xFF60) ||
           (c >= 0xFFE0 && c <= 0xFFE6) || c >= 0x20000;
}

}  // namespace

std::optional<double> measure_text_width(const FontSpec& font, std::string_view utf8) {
    FT_Face face = sized_face(font);
    if (!face) return std::nullopt;
    double width = 0;
    for (char32_t c : text::to_u32(utf8)) {
        FT_UInt glyph = FT_Get_Char_Index(face, c);
        if (glyph == 0 || FT_Load_Glyph(face, glyph, FT_LOAD_DEFAULT) != 0) {
            // A character the font lacks is drawn by another font: counted by the rule.
            width += fallback_max_digit_width(font.size) * (wide(c) ? 2 : 1);
            continue;
        }
        width += static_cast<double>(face->glyph->advance.x) / 64.0;
    }
    return width;
}

std::optional<double> measure_max_digit_width(const FontSpec& font) {
    FT_Face face = sized_face(font);
    if (!face) return std::nullopt;
    double widest = 0;
    for (char32_t c = U'0'; c <= U'9'; ++c) {
        FT_UInt glyph = FT_Get_Char_Index(face, c);
        if (glyph == 0 || FT_Load_Glyph(face, glyph, FT_LOAD_DEFAULT) != 0) return std::nullopt;
        widest = std::max(widest, std::round(face->glyph->advance.x / 64.0));
    }
    return widest;
}

std::optional<double> measure_line_height(const FontSpec& font) {
    FT_Face face = sized_face(font);
    if (!face || face->units_per_EM == 0) return std::nullopt;
    double em_pixels = font.size * 96.0 / 72.0;
    double pixels = std::ceil(
        static_cast<double>(face->ascender - face->descender) / face->units_per_EM * em_pixels);
    return pixels * 72.0 / 96.0;
}

double fallback_max_digit_width(double size_points) {
    return std::floor(size_points * 96.0 / 72.0 / 2.0 + 0.5);
}

double fallback_text_width(const FontSpec& font, std::string_view utf8) {
    double digit = fallback_max_digit_width(font.size);
    double width = 0;
    for (char32_t c : text::to_u32(utf8)) width += digit * (wide(c) ? 2 : 1);
    return width;
}

}  // namespace sheaflow::xl::native
