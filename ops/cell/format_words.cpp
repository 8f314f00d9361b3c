// The words and colour texts of the cell format operations (ops/cell/formats.h).

#include <charconv>
#include <cstdio>

#include "ops/cell/formats.h"
#include "util/text.h"

namespace sheaflow::ops::formats {
namespace {

struct Word {
    const char* value;
    const char* word;
};

std::string lookup(const Word* words, std::size_t n, const std::string& v) {
    for (std::size_t i = 0; i < n; ++i)
        if (v == words[i].value) return words[i].word;
    return v;
}

const Word kHorizontal[] = {{"general", "標準"},
                            {"left", "左詰め"},
                            {"center", "中央揃え"},
                            {"right", "右詰め"},
                            {"fill", "繰り返し"},
                            {"justify", "両端揃え"},
                            {"centerContinuous", "選択範囲内で中央"},
                            {"distributed", "均等割り付け"}};
const Word kVertical[] = {{"top", "上詰め"},
                          {"center", "中央揃え"},
                          {"bottom", "下詰め"},
                          {"justify", "両端揃え"},
                          {"distributed", "均等割り付け"}};
const Word kUnderline[] = {{"single", "下線"},
                           {"double", "二重下線"},
                           {"singleAccounting", "下線(会計)"},
                           {"doubleAccounting", "二重下線(会計)"}};
const Word kBorder[] = {{"thin", "細線"},
                        {"medium", "中太線"},
                        {"thick", "太線"},
                        {"double", "二重線"},
                        {"dotted", "点線"},
                        {"dashed", "破線"},
                        {"hair", "極細線"},
                        {"mediumDashed", "中太破線"},
                        {"dashDot", "一点鎖線"},
                        {"mediumDashDot", "中太一点鎖線"},
                        {"dashDotDot", "二点鎖線"},
                        {"mediumDashDotDot", "中太二点鎖線"},
                        {"slantDashDot", "斜め一点鎖線"}};
const Word kPattern[] = {{"none", "なし"}, {"solid", "塗りつぶし"}, {"gradient", "グラデーション"}};

bool parse_byte(std::string_view t, int& out) {
    auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), out);
    return ec == std::errc() && end == t.data() + t.size() && out >= 0 && out <= 255;
}

}  // namespace

std::optional<std::int32_t> parse_colour(std::string_view typed) {
    std::string t = text::trim(text::narrow(text::trim(typed)));
    if (t == "自動" || t == "auto" || t == "AUTO" || t == "Auto") return xl::kAutomaticColour;
    if (t.size() > 5 && (t.substr(0, 4) == "RGB(" || t.substr(0, 4) == "rgb(") && t.back() == ')')
        t = t.substr(4, t.size() - 5);
    if (t.find(',') != std::string::npos) {
        std::vector<std::string> parts = text::split(t, ",");
        if (parts.size() != 3) return std::nullopt;
        int c[3];
        for (int i = 0; i < 3; ++i)
            if (!parse_byte(text::trim(parts[static_cast<std::size_t>(i)]), c[i]))
                return std::nullopt;
        return c[0] + 256 * c[1] + 65536 * c[2];
    }
    if (!t.empty() && t[0] == '#') t.erase(0, 1);
    if (t.size() != 6) return std::nullopt;
    unsigned v = 0;
    auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), v, 16);
    if (ec != std::errc() || end != t.data() + t.size()) return std::nullopt;
    return static_cast<std::int32_t>(((v >> 16) & 0xFF) + 256 * ((v >> 8) & 0xFF) +
                                     65536 * (v & 0xFF));
}

std::string colour_words(std::int32_t colour) {
    if (colour == xl::kUnknownColour) return "不明";
    if (colour < 0) return "自動";
    return "RGB(" + std::to_string(colour & 0xFF) + "," + std::to_string((colour >> 8) & 0xFF) +
           "," + std::to_string((colour >> 16) & 0xFF) + ")";
}

void apply_switch(const shell::Params& p, const char* key, bool& flag) {
    std::string v = p.option(key);
    if (v == "on") flag = true;
    if (v == "off") flag = false;
}

std::string horizontal_word(const std::string& v) { return lookup(kHorizontal, 8, v); }
std::string vertical_word(const std::string& v) { return lookup(kVertical, 5, v); }
std::string underline_word(const std::string& v) { return lookup(kUnderline, 4, v); }
std::string border_word(const std::string& s) { return lookup(kBorder, 13, s); }
std::string pattern_word(const std::string& p) { return lookup(kPattern, 3, p); }

namespace {
std::string size_text(double size) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%g", size);
    return buf;
}
}  // namespace

std::string font_text(const xl::FontFormat& f) {
    std::string out = f.name + " " + size_text(f.size);
    if (f.bold) out += " 太字";
    if (f.italic) out += " 斜体";
    if (!f.underline.empty()) out += " " + underline_word(f.underline);
    if (f.strike) out += " 取消線";
    if (f.vert_align == "superscript") out += " 上付き";
    if (f.vert_align == "subscript") out += " 下付き";
    out += " " + colour_words(f.colour);
    return out;
}

std::string alignment_text(const xl::AlignmentFormat& a) {
    std::string out = "横:" + horizontal_word(a.horizontal) + " 縦:" + vertical_word(a.vertical);
    if (a.wrap) out += " 折り返し";
    if (a.shrink) out += " 縮小";
    if (a.indent) out += " インデント" + std::to_string(a.indent);
    if (a.rotation == 255)
        out += " 縦書き";
    else if (a.rotation > 90)
        out += " 角度" + std::to_string(90 - a.rotation);
    else if (a.rotation)
        out += " 角度" + std::to_string(a.rotation);
    return out;
}

std::string border_text(const xl::BorderFormat& b) {
    std::string out;
    auto edge = [&](const char* where, const xl::BorderEdge& e) {
        if (e.style.empty()) return;
        if (!out.empty()) out += " ";
        out += std::string(where) + ":" + border_word(e.style);
        if (e.colour >= 0) out += "(" + colour_words(e.colour) + ")";
    };
    edge("左", b.left);
    edge("上", b.top);
    edge("下", b.bottom);
    edge("右", b.right);
    if (b.diagonal_down) edge("斜め下", b.diagonal);
    if (b.diagonal_up) edge("斜め上", b.diagonal);
    return out.empty() ? "なし" : out;
}

std::string fill_text(const xl::FillFormat& f) {
    if (f.pattern == "none") return "なし";
    std::string out = pattern_word(f.pattern) + " " + colour_words(f.colour);
    if (f.pattern != "solid" && f.pattern != "gradient")
        out += " パターン色 " + colour_words(f.pattern_colour);
    return out;
}

std::string format_text(const xl::CellFormat& f) {
    std::string out = font_text(f.font) + " / " + alignment_text(f.alignment) + " / 罫線 " +
                      border_text(f.border) + " / 背景 " + fill_text(f.fill) + " / 表示形式 " +
                      f.number_format;
    if (!f.locked) out += " / ロックなし";
    if (f.hidden) out += " / 数式を表示しない";
    return out;
}

}  // namespace sheaflow::ops::formats
