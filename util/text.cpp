#include "util/text.h"

#include <unicode/ucnv.h>

#include <algorithm>
#include <memory>

namespace sheaflow::text {
namespace {

struct ConverterClose {
    void operator()(UConverter* c) const { ucnv_close(c); }
};
using Converter = std::unique_ptr<UConverter, ConverterClose>;

// "windows-31j" opens ICU's ibm-943_P15A-2003 table, which maps like Windows code page 932.
Converter open_cp932() {
    UErrorCode status = U_ZERO_ERROR;
    Converter conv(ucnv_open("windows-31j", &status));
    if (U_FAILURE(status)) return nullptr;
    return conv;
}

bool decode_utf8_at(std::string_view s, std::size_t& i, char32_t& out) {
    auto b = static_cast<unsigned char>(s[i]);
    int extra;
    char32_t cp;
    if (b < 0x80) {
        out = b;
        ++i;
        return true;
    }
    if ((b & 0xE0) == 0xC0) {
        extra = 1;
        cp = b & 0x1F;
    } else if ((b & 0xF0) == 0xE0) {
        extra = 2;
        cp = b & 0x0F;
    } else if ((b & 0xF8) == 0xF0) {
        extra = 3;
        cp = b & 0x07;
    } else
        return false;
    if (i + extra >= s.size()) return false;
    for (int k = 1; k <= extra; ++k) {
        auto c = static_cast<unsigned char>(s[i + k]);
        if ((c & 0xC0) != 0x80) return false;
        cp = (cp << 6) | (c & 0x3F);
    }
    static constexpr char32_t min_for[] = {0, 0x80, 0x800, 0x10000};
    if (cp < min_for[extra] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
    out = cp;
    i += extra + 1;
    return true;
}

// Half-width katakana U+FF61..U+FF9F to full-width, in table order.
constexpr char32_t kHalfKanaToFull[] = {
    U'。', U'「', U'」', U'、', U'・', U'ヲ', U'ァ', U'ィ', U'ゥ', U'ェ', U'ォ', U'ャ', U'ュ',
    U'ョ', U'ッ', U'ー', U'ア', U'イ', U'ウ', U'エ', U'オ', U'カ', U'キ', U'ク', U'ケ', U'コ',
    U'サ', U'シ', U'ス', U'セ', U'ソ', U'タ', U'チ', U'ツ', U'テ', U'ト', U'ナ', U'ニ', U'ヌ',
    U'ネ', U'ノ', U'ハ', U'ヒ', U'フ', U'ヘ', U'ホ', U'マ', U'ミ', U'ム', U'メ', U'モ', U'ヤ',
    U'ユ', U'ヨ', U'ラ', U'リ', U'ル', U'レ', U'ロ', U'ワ', U'ン', U'゛', U'゜'};

bool is_half_kana(char32_t c) { return c >= 0xFF61 && c <= 0xFF9F; }

// Full-width kana with its voiced (dakuten) or semi-voiced (handakuten) mark applied, or 0.
char32_t voiced(char32_t base, char32_t mark) {
    if (mark == 0xFF9E) {
        if (base == U'ウ') return U'ヴ';
        if ((base >= U'カ' && base <= U'ト' && (base - U'カ') % 2 == 0 && base != U'ッ') ||
            (base >= U'ハ' && base <= U'ホ' && (base - U'ハ') % 3 == 0))
            return base + 1;
        if (base == U'ツ' || base == U'テ' || base == U'ト') return base + 1;
    }
    if (mark == 0xFF9F && base >= U'ハ' && base <= U'ホ' && (base - U'ハ') % 3 == 0)
        return base + 2;
    return 0;
}

}  // namespace

std::u32string to_u32(std::string_view s) {
    std::u32string out;
    out.reserve(s.size());
    std::size_t i = 0;
    while (i < s.size()) {
        char32_t c;
        if (decode_utf8_at(s, i, c)) {
            out.push_back(c);
        } else {
            out.push_back(0xFFFD);
            ++i;
        }
    }
    return out;
}

void append_utf8(char32_t c, std::string& out) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

std::string to_utf8(char32_t c) {
    std::string out;
    append_utf8(c, out);
    return out;
}

std::string to_utf8(std::u32string_view s) {
    std::string out;
    out.reserve(s.size());
    for (char32_t c : s) append_utf8(c, out);
    return out;
}

bool is_valid_utf8(std::string_view s) {
    std::size_t i = 0;
    char32_t c;
    while (i < s.size())
        if (!decode_utf8_at(s, i, c)) return false;
    return true;
}

std::size_t length(std::string_view s) {
    std::size_t n = 0;
    for (char ch : s)
        if ((static_cast<unsigned char>(ch) & 0xC0) != 0x80) ++n;
    return n;
}

namespace {
// Byte offset of character `index` (clamped to the end).
std::size_t byte_offset(std::string_view s, std::size_t index) {
    std::size_t n = 0;
    for (std::size_t i = 0; i < s.size(); ++i) {
        if ((static_cast<unsigned char>(s[i]) & 0xC0) != 0x80) {
            if (n == index) return i;
            ++n;
        }
    }
    return s.size();
}
}  // namespace

std::string mid(std::string_view s, std::size_t start, std::size_t count) {
    std::size_t b = byte_offset(s, start);
    if (count == std::string::npos) return std::string(s.substr(b));
    std::size_t e = b + byte_offset(s.substr(b), count);
    return std::string(s.substr(b, e - b));
}

std::string left(std::string_view s, std::size_t count) { return mid(s, 0, count); }

std::string right(std::string_view s, std::size_t count) {
    std::size_t n = length(s);
    return count >= n ? std::string(s) : mid(s, n - count);
}

std::size_t find(std::string_view s, std::string_view what, std::size_t start_char) {
    std::size_t b = byte_offset(s, start_char);
    std::size_t pos = s.find(what, b);
    if (pos == std::string_view::npos) return std::string::npos;
    return length(s.substr(0, pos));
}

std::string to_cp932(std::string_view utf8, char substitute) {
    // ASCII is the same in code page 932: most texts (numbers, codes) need no table at all.
    if (std::all_of(utf8.begin(), utf8.end(),
                    [](char b) { return static_cast<unsigned char>(b) < 0x80; }))
        return std::string(utf8);
    // One converter per thread: opening one costs more than converting a cell's text.
    static thread_local Converter conv = open_cp932();
    std::string out;
    if (!conv) return out;
    std::u32string cps = to_u32(utf8);
    out.reserve(utf8.size());
    char buf[8];
    for (char32_t c : cps) {
        if (c < 0x80) {
            out += static_cast<char>(c);
            continue;
        }
        UChar u16[2];
        int32_t n16 = 0;
        if (c < 0x10000) {
            u16[n16++] = static_cast<UChar>(c);
        } else {
            u16[n16++] = static_cast<UChar>(0xD800 + ((c - 0x10000) >> 10));
            u16[n16++] = static_cast<UChar>(0xDC00 + ((c - 0x10000) & 0x3FF));
        }
        UErrorCode status = U_ZERO_ERROR;
        int32_t len = ucnv_fromUChars(conv.get(), buf, sizeof buf, u16, n16, &status);
        // ICU's own substitution for this table is two bytes (0xFCFC); one unmappable character
        // becomes one substitute, as the spreadsheet application writes it.
        if (U_FAILURE(status) || (len == 2 && static_cast<unsigned char>(buf[0]) == 0xFC &&
                                  static_cast<unsigned char>(buf[1]) == 0xFC && c != 0xFCFC)) {
            out += substitute;
        } else {
            out.append(buf, static_cast<std::size_t>(len));
        }
    }
    return out;
}

bool from_cp932(std::string_view bytes, std::string& out) {
    out.clear();
    Converter conv = open_cp932();
    if (!conv) return false;
    UErrorCode status = U_ZERO_ERROR;
    ucnv_setToUCallBack(conv.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    if (U_FAILURE(status)) return false;
    std::u16string u16(bytes.size() + 1, u'\0');
    status = U_ZERO_ERROR;
    int32_t n = ucnv_toUChars(conv.get(), reinterpret_cast<UChar*>(u16.data()),
                              static_cast<int32_t>(u16.size()), bytes.data(),
                              static_cast<int32_t>(bytes.size()), &status);
    if (U_FAILURE(status)) return false;
    u16.resize(static_cast<std::size_t>(n));
    std::u32string cps;
    cps.reserve(u16.size());
    for (std::size_t i = 0; i < u16.size(); ++i) {
        char32_t c = u16[i];
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < u16.size()) {
            c = 0x10000 + ((c - 0xD800) << 10) + (u16[i + 1] - 0xDC00);
            ++i;
        }
        cps.push_back(c);
    }
    out = to_utf8(cps);
    return true;
}

bool is_valid_cp932(std::string_view bytes) {
    std::string ignored;
    return from_cp932(bytes, ignored);
}

bool decode_file_text(std::string_view bytes, std::string& out) {
    if (bytes.substr(0, 3) == "\xEF\xBB\xBF") {
        out = std::string(bytes.substr(3));
        return is_valid_utf8(out);
    }
    // Japanese UTF-8 text (three-byte sequences) is very often valid CP932 as well: E3 81 82
    // reads as two kanji. CP932 text is almost never valid UTF-8 with such sequences, since its
    // lead bytes 81..9F cannot start one. Two-byte UTF-8 alone is ambiguous (C3 BD is both "ý"
    // and the half-width "ﾃｽ"): CP932 wins there, as the files are CP932 by default.
    const bool utf8 = is_valid_utf8(bytes);
    if (utf8) {
        for (char c : bytes)
            if ((static_cast<unsigned char>(c) & 0xF0) >= 0xE0) {
                out = std::string(bytes);
                return true;
            }
    }
    if (from_cp932(bytes, out)) return true;
    if (utf8) {
        out = std::string(bytes);
        return true;
    }
    out.clear();
    return false;
}

std::string upper(std::string_view s) {
    std::u32string cps = to_u32(s);
    for (char32_t& c : cps) {
        if (c >= U'a' && c <= U'z')
            c -= 32;
        else if (c >= U'ａ' && c <= U'ｚ')
            c -= 32;
    }
    return to_utf8(cps);
}

std::string lower(std::string_view s) {
    std::u32string cps = to_u32(s);
    for (char32_t& c : cps) {
        if (c >= U'A' && c <= U'Z')
            c += 32;
        else if (c >= U'Ａ' && c <= U'Ｚ')
            c += 32;
    }
    return to_utf8(cps);
}

namespace {

// Appends the full-width kana for the half-width kana at in[i], joining a following voiced or
// semi-voiced mark into one character; returns how many input characters it used.
std::size_t append_full_kana(std::u32string_view in, std::size_t i, std::u32string& out) {
    char32_t full = kHalfKanaToFull[in[i] - 0xFF61];
    if (i + 1 < in.size()) {
        if (char32_t v = voiced(full, in[i + 1])) {
            out.push_back(v);
            return 2;
        }
    }
    out.push_back(full);
    return 1;
}

}  // namespace

namespace {

bool is_ascii_alnum(char32_t c) {
    return (c >= U'0' && c <= U'9') || (c >= U'A' && c <= U'Z') || (c >= U'a' && c <= U'z');
}

// The width class of a half-width character (0 when it has no full-width form here).
unsigned half_width_class(char32_t c) {
    if (is_half_kana(c)) return kKanaWidth;
    if (c == U' ') return kSymbolWidth;
    if (c >= 0x21 && c <= 0x7E) return is_ascii_alnum(c) ? kAlnumWidth : kSymbolWidth;
    return 0;
}

}  // namespace

std::string widen(std::string_view s, unsigned classes) {
    std::u32string in = to_u32(s), out;
    for (std::size_t i = 0; i < in.size();) {
        char32_t c = in[i];
        unsigned cls = half_width_class(c);
        if (!(cls & classes)) {
            out.push_back(c);
            ++i;
        } else if (cls == kKanaWidth) {
            i += append_full_kana(in, i, out);
        } else {
            out.push_back(c == U' ' ? char32_t{0x3000} : c + 0xFEE0);
            ++i;
        }
    }
    return to_utf8(out);
}

std::string widen(std::string_view s) { return widen(s, kAllWidths); }

std::string narrow(std::string_view s, unsigned classes) {
    std::u32string in = to_u32(s), out;
    for (char32_t c : in) {
        if (c == 0x3000) {
            out.push_back(classes & kSymbolWidth ? U' ' : c);
        } else if (c >= 0xFF01 && c <= 0xFF5E) {
            char32_t half = c - 0xFEE0;
            out.push_back(half_width_class(half) & classes ? half : c);
        } else if (!(classes & kKanaWidth)) {
            out.push_back(c);
        } else {
            bool done = false;
            for (char32_t h = 0xFF61; h <= 0xFF9F && !done; ++h) {
                char32_t full = kHalfKanaToFull[h - 0xFF61];
                if (full == c) {
                    out.push_back(h);
                    done = true;
                } else if (voiced(full, 0xFF9E) == c) {
                    out.push_back(h);
                    out.push_back(0xFF9E);
                    done = true;
                } else if (voiced(full, 0xFF9F) == c) {
                    out.push_back(h);
                    out.push_back(0xFF9F);
                    done = true;
                }
            }
            if (!done) out.push_back(c);
        }
    }
    return to_utf8(out);
}

std::string narrow(std::string_view s) { return narrow(s, kAllWidths); }

std::string widen_kana_runs(std::string_view s) {
    // Code points U+FF66..U+FF9F are the single-byte Shift-JIS codes 166..223.
    auto in_run = [](char32_t c) { return c >= 0xFF66 && c <= 0xFF9F; };
    std::u32string in = to_u32(s), out;
    for (std::size_t i = 0; i < in.size();) {
        if (!in_run(in[i])) {
            out.push_back(in[i++]);
            continue;
        }
        std::size_t end = i;
        while (end < in.size() && in_run(in[end])) ++end;
        out += to_u32(widen(to_utf8(std::u32string_view(in).substr(i, end - i))));
        i = end;
    }
    return to_utf8(out);
}

std::string to_katakana(std::string_view s) {
    std::u32string cps = to_u32(s);
    for (char32_t& c : cps)
        if (c >= 0x3041 && c <= 0x3096) c += 0x60;
    return to_utf8(cps);
}

std::string to_hiragana(std::string_view s) {
    std::u32string cps = to_u32(s);
    for (char32_t& c : cps)
        if (c >= 0x30A1 && c <= 0x30F6) c -= 0x60;
    return to_utf8(cps);
}

std::u32string fold_width(std::u32string_view in) {
    std::u32string out;
    out.reserve(in.size());
    for (std::size_t i = 0; i < in.size();) {
        char32_t c = in[i];
        if (is_half_kana(c)) {
            i += append_full_kana(in, i, out);
            continue;
        }
        if (c == 0x3000)
            out.push_back(U' ');
        else if (c >= 0xFF01 && c <= 0xFF5E)
            out.push_back(c - 0xFEE0);
        else
            out.push_back(c);
        ++i;
    }
    return out;
}

std::string trim(std::string_view s) {
    std::size_t b = s.find_first_not_of(" \t");
    if (b == std::string_view::npos) return {};
    std::size_t e = s.find_last_not_of(" \t");
    return std::string(s.substr(b, e - b + 1));
}

std::vector<std::string> split(std::string_view s, std::string_view sep) {
    std::vector<std::string> out;
    if (sep.empty()) {
        out.emplace_back(s);
        return out;
    }
    std::size_t start = 0;
    while (true) {
        std::size_t pos = s.find(sep, start);
        if (pos == std::string_view::npos) {
            out.emplace_back(s.substr(start));
            return out;
        }
        out.emplace_back(s.substr(start, pos - start));
        start = pos + sep.size();
    }
}

std::string replace_all(std::string_view s, std::string_view what, std::string_view with) {
    if (what.empty()) return std::string(s);
    std::string out;
    std::size_t start = 0;
    while (true) {
        std::size_t pos = s.find(what, start);
        if (pos == std::string_view::npos) break;
        out.append(s.substr(start, pos - start));
        out.append(with);
        start = pos + what.size();
    }
    out.append(s.substr(start));
    return out;
}

bool is_digits(std::string_view s) {
    if (s.empty()) return false;
    for (char c : s)
        if (c < '0' || c > '9') return false;
    return true;
}

std::string group_thousands(std::int64_t n) {
    std::string digits =
        std::to_string(n < 0 ? -(n + 1) + 1ULL : static_cast<unsigned long long>(n));
    std::string out;
    int count = 0;
    for (auto it = digits.rbegin(); it != digits.rend(); ++it) {
        if (count > 0 && count % 3 == 0) out.push_back(',');
        out.push_back(*it);
        ++count;
    }
    if (n < 0) out.push_back('-');
    return std::string(out.rbegin(), out.rend());
}

}  // namespace sheaflow::text
