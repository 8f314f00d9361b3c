// Number formats: built-in codes, the local form of codes, section choice and the per-thread
// cache of compiled codes.

#include "xl/native/numfmt.h"

#include <array>
#include <cmath>
#include <unordered_map>
#include <utility>

#include "xl/native/numfmt_detail.h"

namespace sheaflow::xl::native::numfmt {
namespace {

using detail::CondOp;
using detail::Format;
using detail::Kind;
using detail::Section;
using detail::Tok;
using detail::Token;

bool matches(const Section& s, double v) {
    switch (s.op) {
        case CondOp::Lt:
            return v < s.bound;
        case CondOp::Le:
            return v <= s.bound;
        case CondOp::Gt:
            return v > s.bound;
        case CondOp::Ge:
            return v >= s.bound;
        case CondOp::Eq:
            return v == s.bound;
        case CondOp::Ne:
            return v != s.bound;
        case CondOp::None:
            return true;
    }
    return true;
}

// A section whose condition admits only negative numbers shows them without a minus sign, like
// the negative section of a plain two-section code.
bool negative_only(const Section& s) {
    return (s.op == CondOp::Lt && s.bound <= 0) || (s.op == CondOp::Le && s.bound < 0) ||
           (s.op == CondOp::Eq && s.bound < 0);
}

struct Choice {
    const Section* section = nullptr;  // nullptr: no section fits
    bool drop_minus = false;
};

Choice choose(const Format& f, double v) {
    std::size_t n = f.numeric.size();
    auto at = [&](std::size_t k) -> const Section& {
        return f.sections[static_cast<std::size_t>(f.numeric[k])];
    };
    if (!f.conditional) {
        if (n == 1) return {&at(0), false};
        if (v > 0 || (v == 0 && n == 2)) return {&at(0), false};
        if (v < 0) return {&at(1), true};
        return {&at(2), false};
    }
    // With conditions: the first two sections are tried in turn; one without a condition of its
    // own takes what is left, and so does a third section.
    for (std::size_t k = 0; k < n && k < 2; ++k) {
        const Section& s = at(k);
        if (s.op != CondOp::None) {
            if (matches(s, v)) return {&s, negative_only(s)};
        } else if (k == 1 || v >= 0) {
            return {&s, false};
        }
    }
    if (n == 3) return {&at(2), false};
    return {};
}

std::string render(const Format& f, double value, bool date1904) {
    if (f.numeric.empty()) {
        // A code with only a text section shows numbers as General does.
        std::string text = detail::general_text(std::fabs(value));
        return value < 0 ? "-" + text : text;
    }
    Choice c = choose(f, value);
    if (c.section == nullptr) return std::string(kUnshowable);
    const Section& s = *c.section;
    if (s.kind == Kind::Date) {
        return detail::render_date(s, c.drop_minus ? std::fabs(value) : value, date1904);
    }
    std::string text = detail::render_number(s, std::fabs(value));
    if (value < 0 && !c.drop_minus) return "-" + text;
    return text;
}

std::string render_text(const Format& f, std::string_view value) {
    if (f.text_section < 0) return std::string(value);
    std::string out;
    for (const Token& t : f.sections[static_cast<std::size_t>(f.text_section)].tokens) {
        if (t.type == Tok::Literal) out += t.text;
        if (t.type == Tok::Text) out += value;
    }
    return out;
}

struct CodeHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view s) const { return std::hash<std::string_view>{}(s); }
};

// Compiled codes of this thread. An engine renders millions of cells with a few codes; a
// workbook with very many distinct codes simply refills the cache.
CompiledFormat cached(std::string_view code) {
    thread_local std::unordered_map<std::string, CompiledFormat, CodeHash, std::equal_to<>> cache;
    if (auto it = cache.find(code); it != cache.end()) return it->second;
    if (cache.size() >= 4096) cache.clear();
    return cache.emplace(std::string(code), CompiledFormat::compile(code)).first->second;
}

// English colour names and their Japanese local form.
constexpr std::array<std::pair<std::string_view, std::string_view>, 8> kColours = {{
    {"black", "黒"},
    {"blue", "青"},
    {"cyan", "水"},
    {"green", "緑"},
    {"magenta", "紫"},
    {"red", "赤"},
    {"white", "白"},
    {"yellow", "黄"},
}};

std::string lower(std::string_view s) {
    std::string out(s);
    for (char& c : out) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return out;
}

}  // namespace

std::string builtin_code(int id) {
    switch (id) {
        case 0:
            return "General";
        case 1:
            return "0";
        case 2:
            return "0.00";
        case 3:
            return "#,##0";
        case 4:
            return "#,##0.00";
        case 5:
            return "\"¥\"#,##0;\"¥\"\\-#,##0";
        case 6:
            return "\"¥\"#,##0;[Red]\"¥\"\\-#,##0";
        case 7:
            return "\"¥\"#,##0.00;\"¥\"\\-#,##0.00";
        case 8:
            return "\"¥\"#,##0.00;[Red]\"¥\"\\-#,##0.00";
        case 9:
            return "0%";
        case 10:
            return "0.00%";
        case 11:
            return "0.00E+00";
        case 12:
            return "# ?/?";
        case 13:
            return "# ?\?/??";
        case 14:
            return "yyyy/m/d";
        case 15:
            return "d-mmm-yy";
        case 16:
            return "d-mmm";
        case 17:
            return "mmm-yy";
        case 18:
            return "h:mm AM/PM";
        case 19:
            return "h:mm:ss AM/PM";
        case 20:
            return "h:mm";
        case 21:
            return "h:mm:ss";
        case 22:
            return "yyyy/m/d h:mm";
        case 27:
        case 36:
        case 50:
        case 57:
            return "[$-411]ge.m.d";
        case 28:
        case 29:
        case 51:
        case 54:
        case 58:
            return "[$-411]ggge\"年\"m\"月\"d\"日\"";
        case 30:
            return "m/d/yy";
        case 31:
            return "yyyy\"年\"m\"月\"d\"日\"";
        case 32:
            return "h\"時\"mm\"分\"";
        case 33:
            return "h\"時\"mm\"分\"ss\"秒\"";
        case 34:
        case 52:
        case 55:
            return "yyyy\"年\"m\"月\"";
        case 35:
        case 53:
        case 56:
            return "m\"月\"d\"日\"";
        case 37:
            return "#,##0 ;(#,##0)";
        case 38:
            return "#,##0 ;[Red](#,##0)";
        case 39:
            return "#,##0.00;(#,##0.00)";
        case 40:
            return "#,##0.00;[Red](#,##0.00)";
        case 41:
            return "_ * #,##0_ ;_ * \\-#,##0_ ;_ * \"-\"_ ;_ @_ ";
        case 42:
            return "_ \"¥\"* #,##0_ ;_ \"¥\"* \\-#,##0_ ;_ \"¥\"* \"-\"_ ;_ @_ ";
        case 43:
            return "_ * #,##0.00_ ;_ * \\-#,##0.00_ ;_ * \"-\"??_ ;_ @_ ";
        case 44:
            return "_ \"¥\"* #,##0.00_ ;_ \"¥\"* \\-#,##0.00_ ;_ \"¥\"* \"-\"??_ ;_ @_ ";
        case 45:
            return "mm:ss";
        case 46:
            return "[h]:mm:ss";
        case 47:
            return "mm:ss.0";
        case 48:
            return "##0.0E+0";
        case 49:
            return "@";
        default:
            return {};
    }
}

bool is_date_code(std::string_view code) { return cached(code).is_date(); }

std::string local_code(std::string_view code) {
    std::string out;
    std::size_t i = 0;
    while (i < code.size()) {
        char c = code[i];
        if (c == '"') {
            std::size_t close = code.find('"', i + 1);
            std::size_t end = close == std::string_view::npos ? code.size() : close + 1;
            out.append(code.substr(i, end - i));
            i = end;
        } else if (c == '\\' || c == '!' || c == '_' || c == '*') {
            std::size_t n = i + 1 < code.size() ? detail::utf8_char_length(code, i + 1) : 0;
            out.append(code.substr(i, 1 + n));
            i += 1 + n;
        } else if (c == '[') {
            std::size_t close = code.find(']', i + 1);
            std::size_t body_end = close == std::string_view::npos ? code.size() : close;
            std::size_t end = close == std::string_view::npos ? code.size() : close + 1;
            std::string body = lower(code.substr(i + 1, body_end - i - 1));
            std::string replaced;
            for (const auto& [english, local] : kColours) {
                if (body == english) replaced = "[" + std::string(local) + "]";
            }
            if (replaced.empty() && body.starts_with("color") && body.size() > 5) {
                replaced = "[色" + std::string(code.substr(i + 6, body_end - i - 6)) + "]";
            }
            out += replaced.empty() ? std::string(code.substr(i, end - i)) : replaced;
            i = end;
        } else if (lower(code.substr(i, 7)) == "general") {
            out += "G/標準";
            i += 7;
        } else {
            std::size_t n = detail::utf8_char_length(code, i);
            out.append(code.substr(i, n));
            i += n;
        }
    }
    return out;
}

std::string format_number(double value, std::string_view code, bool date1904) {
    return cached(code).render(value, date1904);
}

std::string format_text(std::string_view value, std::string_view code) {
    return cached(code).render_text(value);
}

CompiledFormat::CompiledFormat() {
    static const auto general = std::make_shared<const Format>(detail::parse("General"));
    format_ = general;
}

CompiledFormat::CompiledFormat(std::shared_ptr<const detail::Format> format)
    : format_(std::move(format)) {}

CompiledFormat CompiledFormat::compile(std::string_view code) {
    return CompiledFormat(std::make_shared<const Format>(detail::parse(code)));
}

std::string CompiledFormat::render(double value, bool date1904) const {
    return numfmt::render(*format_, value, date1904);
}

std::string CompiledFormat::render_text(std::string_view value) const {
    return numfmt::render_text(*format_, value);
}

bool CompiledFormat::is_date() const { return format_->date; }

}  // namespace sheaflow::xl::native::numfmt
