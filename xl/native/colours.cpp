#include "xl/native/colours.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "xl/native/book.h"
#include "xl/native/relationships.h"
#include "xl/native/xml.h"

namespace sheaflow::xl::native {
namespace {

constexpr std::string_view kThemeRel =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/theme";

// The default indexed palette (0-63) as RGB hex; 64 and 65 are the system colours.
const char* const kDefaultIndexed[64] = {
    "000000", "FFFFFF", "FF0000", "00FF00", "0000FF", "FFFF00", "FF00FF", "00FFFF",
    "000000", "FFFFFF", "FF0000", "00FF00", "0000FF", "FFFF00", "FF00FF", "00FFFF",
    "800000", "008000", "000080", "808000", "800080", "008080", "C0C0C0", "808080",
    "9999FF", "993366", "FFFFCC", "CCFFFF", "660066", "FF8080", "0066CC", "CCCCFF",
    "000080", "FF00FF", "FFFF00", "00FFFF", "800080", "800000", "008080", "0000FF",
    "00CCFF", "CCFFFF", "CCFFCC", "FFFF99", "99CCFF", "FF99CC", "CC99FF", "FFCC99",
    "3366FF", "33CCCC", "99CC00", "FFCC00", "FF9900", "FF6600", "666699", "969696",
    "003366", "339966", "003300", "333300", "993300", "993366", "333399", "333333",
};

std::int32_t make(int r, int g, int b) { return r + 256 * g + 65536 * b; }
int red(std::int32_t c) { return c & 0xFF; }
int green(std::int32_t c) { return (c >> 8) & 0xFF; }
int blue(std::int32_t c) { return (c >> 16) & 0xFF; }

// "RRGGBB" or "AARRGGBB" -> colour; -1 when malformed.
std::int32_t parse_hex(std::string_view hex) {
    if (hex.size() == 8) hex.remove_prefix(2);
    if (hex.size() != 6) return -1;
    for (char c : hex)
        if (!std::isxdigit(static_cast<unsigned char>(c))) return -1;
    unsigned long v = std::strtoul(std::string(hex).c_str(), nullptr, 16);
    return make(static_cast<int>((v >> 16) & 0xFF), static_cast<int>((v >> 8) & 0xFF),
                static_cast<int>(v & 0xFF));
}

ResolvedColour known(std::int32_t c) { return {false, true, c}; }
ResolvedColour unknown() { return {false, false, -1}; }
ResolvedColour automatic() { return {}; }

// RGB <-> HLS, all components in 0..1.
struct Hls {
    double h = 0, l = 0, s = 0;
};
Hls to_hls(std::int32_t c) {
    double r = red(c) / 255.0, g = green(c) / 255.0, b = blue(c) / 255.0;
    double mx = std::max({r, g, b}), mn = std::min({r, g, b});
    Hls out;
    out.l = (mx + mn) / 2;
    if (mx == mn) return out;
    double d = mx - mn;
    out.s = out.l <= 0.5 ? d / (mx + mn) : d / (2 - mx - mn);
    if (mx == r)
        out.h = (g - b) / d + (g < b ? 6 : 0);
    else if (mx == g)
        out.h = (b - r) / d + 2;
    else
        out.h = (r - g) / d + 4;
    out.h /= 6;
    return out;
}
double hue_part(double p, double q, double t) {
    if (t < 0) t += 1;
    if (t > 1) t -= 1;
    if (t < 1.0 / 6) return p + (q - p) * 6 * t;
    if (t < 0.5) return q;
    if (t < 2.0 / 3) return p + (q - p) * (2.0 / 3 - t) * 6;
    return p;
}
int byte_of(double v) { return static_cast<int>(std::lround(std::clamp(v, 0.0, 1.0) * 255)); }
std::int32_t from_hls(const Hls& x) {
    if (x.s == 0) return make(byte_of(x.l), byte_of(x.l), byte_of(x.l));
    double q = x.l < 0.5 ? x.l * (1 + x.s) : x.l + x.s - x.l * x.s;
    double p = 2 * x.l - q;
    return make(byte_of(hue_part(p, q, x.h + 1.0 / 3)), byte_of(hue_part(p, q, x.h)),
                byte_of(hue_part(p, q, x.h - 1.0 / 3)));
}

// The SpreadsheetML theme index of a clrScheme element name.
int theme_index(std::string_view name) {
    static const char* const kNames[12] = {"lt1",     "dk1",     "lt2",     "dk2",
                                           "accent1", "accent2", "accent3", "accent4",
                                           "accent5", "accent6", "hlink",   "folHlink"};
    for (int i = 0; i < 12; ++i)
        if (name == kNames[i]) return i;
    return -1;
}

// The theme index a DrawingML scheme colour name stands for.
int scheme_index(std::string_view name) {
    if (name == "tx1") return 1;
    if (name == "bg1") return 0;
    if (name == "tx2") return 3;
    if (name == "bg2") return 2;
    return theme_index(name);
}

// DrawingML modifiers (lumMod, lumOff, tint, shade), in 1/1000 %.
std::int32_t apply_modifiers(std::int32_t c, pugi::xml_node choice) {
    double lum_mod = 1, lum_off = 0;
    bool lum = false;
    for (pugi::xml_node m = choice.first_child(); m; m = m.next_sibling()) {
        std::string_view n = xml::local_name(m.name());
        double v = m.attribute("val").as_double() / 100000.0;
        if (n == "lumMod") {
            lum_mod = v;
            lum = true;
        } else if (n == "lumOff") {
            lum_off = v;
            lum = true;
        } else if (n == "tint") {
            c = make(byte_of(1 - (1 - red(c) / 255.0) * v), byte_of(1 - (1 - green(c) / 255.0) * v),
                     byte_of(1 - (1 - blue(c) / 255.0) * v));
        } else if (n == "shade") {
            c = make(byte_of(red(c) / 255.0 * v), byte_of(green(c) / 255.0 * v),
                     byte_of(blue(c) / 255.0 * v));
        }
    }
    if (lum) {
        Hls h = to_hls(c);
        h.l = std::clamp(h.l * lum_mod + lum_off, 0.0, 1.0);
        c = from_hls(h);
    }
    return c;
}

}  // namespace

std::int32_t apply_tint(std::int32_t colour, double tint) {
    if (tint == 0) return colour;
    Hls h = to_hls(colour);
    if (tint < 0)
        h.l = h.l * (1 + tint);
    else
        h.l = h.l * (1 - tint) + tint;
    return from_hls(h);
}

ColourResolver::ColourResolver() { theme_.fill(-1); }

void ColourResolver::load(Book& b, pugi::xml_node styles_root) {
    theme_.fill(-1);
    indexed_.clear();
    for (const char* hex : kDefaultIndexed) indexed_.push_back(parse_hex(hex));
    // A workbook's own palette replaces the default.
    pugi::xml_node custom = xml::child(xml::child(styles_root, "colors"), "indexedColors");
    int i = 0;
    for (pugi::xml_node c = custom.first_child(); c; c = c.next_sibling()) {
        if (xml::local_name(c.name()) != "rgbColor") continue;
        if (i < static_cast<int>(indexed_.size()))
            indexed_[i] = parse_hex(c.attribute("rgb").value());
        ++i;
    }
    auto item = b.workbook_rels().by_type(kThemeRel);
    if (!item) return;
    auto bytes = b.package().read(resolve_target(b.workbook_part_name(), item->target));
    if (!bytes) return;
    xml::Document doc;
    if (!xml::load(doc, *bytes, "theme")) return;
    pugi::xml_node scheme = xml::child(xml::child(doc.root(), "themeElements"), "clrScheme");
    for (pugi::xml_node n = scheme.first_child(); n; n = n.next_sibling()) {
        int index = theme_index(xml::local_name(n.name()));
        if (index < 0) continue;
        for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling()) {
            std::string_view cn = xml::local_name(c.name());
            if (cn == "srgbClr") theme_[index] = parse_hex(c.attribute("val").value());
            if (cn == "sysClr") theme_[index] = parse_hex(c.attribute("lastClr").value());
        }
    }
}

ResolvedColour ColourResolver::spreadsheet(pugi::xml_node color) const {
    if (!color) return automatic();
    std::string_view a = color.attribute("auto").value();
    if (a == "1" || a == "true") return automatic();
    double tint = color.attribute("tint").as_double(0);
    std::int32_t c = -1;
    if (pugi::xml_attribute rgb = color.attribute("rgb")) {
        c = parse_hex(rgb.value());
        if (c < 0) return unknown();
    } else if (pugi::xml_attribute th = color.attribute("theme")) {
        int t = th.as_int(-1);
        if (t < 0 || t >= 12 || theme_[t] < 0) return unknown();
        c = theme_[t];
    } else if (pugi::xml_attribute ix = color.attribute("indexed")) {
        int n = ix.as_int(-1);
        // 64 and 65 are the system foreground and background; larger values have no
        // documented meaning and show as the default colour.
        if (n < 0 || n >= static_cast<int>(indexed_.size())) return automatic();
        c = indexed_[n];
        if (c < 0) return unknown();
    } else {
        return automatic();
    }
    return known(apply_tint(c, tint));
}

ResolvedColour ColourResolver::drawing(pugi::xml_node choice) const {
    std::string_view n = xml::local_name(choice.name());
    std::int32_t c = -1;
    if (n == "srgbClr") {
        c = parse_hex(choice.attribute("val").value());
    } else if (n == "sysClr") {
        c = parse_hex(choice.attribute("lastClr").value());
        if (c < 0) return automatic();
    } else if (n == "schemeClr") {
        std::string_view v = choice.attribute("val").value();
        if (v == "phClr") return automatic();  // stands for the colour of the referring style
        int i = scheme_index(v);
        if (i < 0 || theme_[i] < 0) return unknown();
        c = theme_[i];
    } else if (n == "scrgbClr") {
        auto lin = [&](const char* a) {
            double v = choice.attribute(a).as_double() / 100000.0;
            v = v <= 0.0031308 ? v * 12.92 : 1.055 * std::pow(v, 1 / 2.4) - 0.055;
            return byte_of(v);
        };
        c = make(lin("r"), lin("g"), lin("b"));
    } else if (n == "prstClr") {
        static const std::pair<const char*, const char*> kPreset[] = {
            {"black", "000000"}, {"white", "FFFFFF"},  {"red", "FF0000"},  {"green", "008000"},
            {"blue", "0000FF"},  {"yellow", "FFFF00"}, {"cyan", "00FFFF"}, {"magenta", "FF00FF"},
            {"gray", "808080"},  {"silver", "C0C0C0"}, {"navy", "000080"}, {"maroon", "800000"}};
        std::string_view v = choice.attribute("val").value();
        for (const auto& [name, hex] : kPreset)
            if (v == name) c = parse_hex(hex);
        if (c < 0) return unknown();
    } else {
        return unknown();
    }
    if (c < 0) return unknown();
    return known(apply_modifiers(c, choice));
}

ResolvedColour ColourResolver::vml(std::string_view text) {
    // A bracketed palette index may follow the colour.
    if (auto br = text.find('['); br != std::string_view::npos) text = text.substr(0, br);
    while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
    while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
    if (text.empty() || text == "none") return automatic();
    if (text[0] == '#') {
        std::string_view hex = text.substr(1);
        if (hex.size() == 3) {
            std::string six;
            for (char c : hex) six += std::string(2, c);
            return known(parse_hex(six));
        }
        std::int32_t c = parse_hex(hex);
        return c < 0 ? unknown() : known(c);
    }
    static const std::pair<const char*, const char*> kNamed[] = {
        {"black", "000000"},   {"white", "FFFFFF"}, {"red", "FF0000"},    {"green", "008000"},
        {"lime", "00FF00"},    {"blue", "0000FF"},  {"yellow", "FFFF00"}, {"aqua", "00FFFF"},
        {"fuchsia", "FF00FF"}, {"gray", "808080"},  {"silver", "C0C0C0"}, {"navy", "000080"},
        {"maroon", "800000"},  {"olive", "808000"}, {"purple", "800080"}, {"teal", "008080"}};
    std::string lower;
    for (char c : text) lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    for (const auto& [name, hex] : kNamed)
        if (lower == name) return known(parse_hex(hex));
    // System colour names (infoBackground, windowText...): the system decides.
    return automatic();
}

void write_spreadsheet_colour(pugi::xml_node color, std::int32_t colour) {
    for (const char* a : {"theme", "indexed", "tint", "auto"}) color.remove_attribute(a);
    char buf[12];
    std::snprintf(buf, sizeof buf, "FF%02X%02X%02X", red(colour), green(colour), blue(colour));
    pugi::xml_attribute rgb = color.attribute("rgb");
    if (!rgb) rgb = color.append_attribute("rgb");
    rgb.set_value(buf);
}

pugi::xml_node write_drawing_colour(pugi::xml_node choice, std::int32_t colour) {
    std::string name = std::string(choice.name());
    std::string prefix = name.substr(0, name.size() - xml::local_name(name).size());
    pugi::xml_node parent = choice.parent();
    pugi::xml_node out = parent.insert_child_before((prefix + "srgbClr").c_str(), choice);
    char buf[8];
    std::snprintf(buf, sizeof buf, "%02X%02X%02X", red(colour), green(colour), blue(colour));
    out.append_attribute("val").set_value(buf);
    for (pugi::xml_node m = choice.first_child(); m; m = m.next_sibling())
        if (xml::local_name(m.name()) == "alpha") out.append_copy(m);
    parent.remove_child(choice);
    return out;
}

std::string vml_colour(std::int32_t colour) {
    char buf[8];
    std::snprintf(buf, sizeof buf, "#%02x%02x%02x", red(colour), green(colour), blue(colour));
    return buf;
}

bool is_drawing_colour(std::string_view local) {
    return local == "srgbClr" || local == "schemeClr" || local == "sysClr" || local == "prstClr" ||
           local == "scrgbClr" || local == "hslClr";
}

}  // namespace sheaflow::xl::native
