#pragma once
// Text helpers. Strings are UTF-8 inside the program; the functions here count characters (code
// points), not bytes, wherever the operations count (Left, Mid, InStr, the 31-character rule).

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace sheaflow::text {

// Code points of a UTF-8 string (invalid bytes become U+FFFD).
std::u32string to_u32(std::string_view utf8);
std::string to_utf8(std::u32string_view s);
std::string to_utf8(char32_t c);
// Appends the UTF-8 bytes of one code point.
void append_utf8(char32_t c, std::string& out);

bool is_valid_utf8(std::string_view bytes);
// Number of characters (code points).
std::size_t length(std::string_view utf8);
// Mid(s, start, count) with a 0-based character start; count npos means to the end.
std::string mid(std::string_view utf8, std::size_t start, std::size_t count = std::string::npos);
std::string left(std::string_view utf8, std::size_t count);
std::string right(std::string_view utf8, std::size_t count);
// InStr: 0-based character position of `what` in `s`, or npos.
std::size_t find(std::string_view s, std::string_view what, std::size_t start_char = 0);

// Code page 932 (Windows-31J). Characters CP932 cannot hold become `substitute` ("?" as the
// spreadsheet application writes them).
std::string to_cp932(std::string_view utf8, char substitute = '?');
// Decodes CP932. Returns false (and leaves `out` empty) when the bytes are not valid CP932.
bool from_cp932(std::string_view bytes, std::string& out);
bool is_valid_cp932(std::string_view bytes);
// Decodes a settings or text file: a UTF-8 byte-order mark means UTF-8; otherwise UTF-8 when the
// bytes are valid UTF-8 holding a sequence of three or four bytes, else CP932 when they are valid
// CP932, else UTF-8 when valid. Returns false when neither fits.
bool decode_file_text(std::string_view bytes, std::string& out);

// Upper case for ASCII letters and full-width Latin letters only; Japanese text is unchanged
// (the catalogue's dispatch compares names upper-cased this way).
std::string upper(std::string_view utf8);
std::string lower(std::string_view utf8);
// Full-width form of half-width ASCII and katakana (the platform's narrow-to-wide conversion).
std::string widen(std::string_view utf8);
// Half-width form of full-width ASCII, the ideographic space and katakana.
std::string narrow(std::string_view utf8);
// The classes of characters that widen and narrow may convert, to be or-ed together: letters and
// digits; katakana with their marks and the half-width punctuation of their block; the other
// ASCII symbols and the space.
enum WidthClass : unsigned {
    kAlnumWidth = 1,
    kKanaWidth = 2,
    kSymbolWidth = 4,
    kAllWidths = 7,
};
std::string widen(std::string_view utf8, unsigned classes);
std::string narrow(std::string_view utf8, unsigned classes);
// Widens each run of half-width katakana as one piece, so that a voiced or semi-voiced mark
// joins its kana; every other character (the half-width punctuation 。「」、・ included) is kept.
std::string widen_kana_runs(std::string_view utf8);
// Hiragana to katakana.
std::string to_katakana(std::string_view utf8);
// Katakana to hiragana (ヷ..ヺ, which have no hiragana, are kept).
std::string to_hiragana(std::string_view utf8);
// Width fold used when full-width and half-width forms must compare equal (MatchByte off).
std::u32string fold_width(std::u32string_view s);

std::string trim(std::string_view s);  // ASCII spaces and tabs at both ends
std::vector<std::string> split(std::string_view s, std::string_view sep);
std::string replace_all(std::string_view s, std::string_view what, std::string_view with);
// True when every character is an ASCII digit (and there is at least one).
bool is_digits(std::string_view s);
// A whole number with thousands separators, as the format "###,##0" shows it: 1234567 gives
// "1,234,567", -1000 gives "-1,000".
std::string group_thousands(std::int64_t n);

}  // namespace sheaflow::text
