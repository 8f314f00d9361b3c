#pragma once
// XML helpers of the engine: a fast forward scanner for the large parts (worksheets, shared
// strings), escaping, and pugixml loading and saving with the flags that keep a part lossless.

#include <cstddef>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "util/result.h"

namespace sheaflow::xl::native::xml {

// Appends `raw` with the predefined entities and character references decoded. False when a
// reference is malformed (the text is still appended as far as it could be decoded).
bool unescape(std::string_view raw, std::string& out);
std::string unescape(std::string_view raw);
// Appends text content escaped (& < > and CR, which a reader would otherwise drop).
void escape_text(std::string_view s, std::string& out);
// Appends an attribute value escaped for double quotes.
void escape_attr(std::string_view s, std::string& out);

// Spreadsheet strings escape characters XML cannot carry as _xHHHH_ (a literal "_x" sequence is
// itself written _x005F_x...). Decode after XML unescaping; encode before XML escaping.
std::string decode_ooxml_escapes(std::string_view s);
std::string encode_ooxml_escapes(std::string_view s);

// True when the text is only XML white space (or empty).
inline bool is_space(std::string_view s) {
    for (char c : s)
        if (c != ' ' && c != '\t' && c != '\r' && c != '\n') return false;
    return true;
}

// The local part of a qualified name ("x:row" -> "row").
inline std::string_view local_name(std::string_view qname) {
    auto colon = qname.find(':');
    return colon == std::string_view::npos ? qname : qname.substr(colon + 1);
}

// One token of the scanner. Spans are byte offsets into the scanned text.
struct Token {
    enum class Kind { Start, End, Text, Other, Eof, Error };
    Kind kind = Kind::Eof;
    bool self_closing = false;  // <x/>
    bool cdata = false;         // Text from a CDATA section (raw, not escaped)
    std::string_view name;      // qualified name of Start and End
    std::string_view attrs;     // raw attribute text of Start
    std::string_view text;      // raw text of Text
    std::size_t begin = 0, end = 0;
};

// A forward scanner over XML. It builds no tree, but it refuses what is not well formed: an end
// tag that does not close the element opened last, malformed attributes, a document type
// declaration (parts never carry one, and refusing it rules out entity expansion). Callers
// track depth; a scanner may start inside an element (`pos`).
class Scanner {
public:
    // A UTF-8 byte-order mark at the start is passed over.
    explicit Scanner(std::string_view src, std::size_t pos = 0) : src_(src), pos_(pos) {
        if (pos_ == 0 && src_.substr(0, 3) == "\xEF\xBB\xBF") pos_ = 3;
    }
    Token next();
    std::size_t pos() const { return pos_; }
    std::string_view source() const { return src_; }

private:
    std::string_view src_;
    std::size_t pos_;
    std::vector<std::string_view> open_;  // names of the open elements
};

// Calls f(name, raw_value) for every attribute of a start tag's raw attribute text; stops early
// when f returns false. Returns false when the attribute text is malformed.
template <typename F>
bool for_each_attr(std::string_view attrs, F&& f) {
    std::size_t i = 0, n = attrs.size();
    auto is_ws = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    while (true) {
        while (i < n && is_ws(attrs[i])) ++i;
        if (i >= n) return true;
        std::size_t name_begin = i;
        while (i < n && attrs[i] != '=' && !is_ws(attrs[i])) ++i;
        std::string_view name = attrs.substr(name_begin, i - name_begin);
        while (i < n && is_ws(attrs[i])) ++i;
        if (i >= n || attrs[i] != '=' || name.empty()) return false;
        ++i;
        while (i < n && is_ws(attrs[i])) ++i;
        if (i >= n || (attrs[i] != '"' && attrs[i] != '\'')) return false;
        char q = attrs[i++];
        std::size_t value_begin = i;
        while (i < n && attrs[i] != q) {
            if (attrs[i] == '<') return false;  // not allowed in a value
            ++i;
        }
        if (i >= n) return false;
        if (!f(name, attrs.substr(value_begin, i - value_begin))) return true;
        ++i;
    }
}

// The raw value of the attribute with this qualified name.
std::optional<std::string_view> find_attr(std::string_view attrs, std::string_view name);

// Rebuilds a start tag's raw attribute text with one attribute set (added at the end when
// missing) or removed (`value` nullopt); other attributes keep their text and order.
std::string set_attr(std::string_view attrs, std::string_view name,
                     std::optional<std::string_view> value);

// The text of a part in UTF-8. A part in UTF-16 (found by its byte-order mark or its first
// characters) or declaring another encoding is converted, and its declaration then names UTF-8;
// nullopt when the encoding is unknown or the bytes are not valid in it. UTF-8 comes back as it
// was.
std::optional<std::string> to_utf8(std::string bytes);

// The prefix ("x:" or "") that a start tag's attributes bind to the spreadsheet main namespace
// (transitional or strict); nullopt when they bind none.
std::optional<std::string> main_prefix(std::string_view attrs);
// The prefix with its colon of a qualified name ("x:row" -> "x:", "row" -> "").
inline std::string_view name_prefix(std::string_view qname) {
    auto colon = qname.find(':');
    return colon == std::string_view::npos ? std::string_view() : qname.substr(0, colon + 1);
}

// A part loaded into a pugixml tree, with what is needed to write it back as it was.
struct Document {
    pugi::xml_document doc;
    bool newline_after_declaration = false;  // "?>\r\n" as the application writes it
    pugi::xml_node root() const { return doc.document_element(); }
};
// Parses a part (full flags, whitespace text kept). A document type declaration is refused.
Result<void> load(Document& d, std::string_view bytes, const std::string& part_name);
// Serialises without reformatting; a CR in text is written as &#13; so that it survives.
std::string save(const Document& d);

// Child elements by local name, whatever the namespace prefix of the part.
pugi::xml_node child(pugi::xml_node parent, std::string_view local);
// The prefix of an element's name with its colon ("x:") or "".
std::string prefix_of(pugi::xml_node n);

}  // namespace sheaflow::xl::native::xml
