#include "xl/native/xml.h"

#include <unicode/ucnv.h>
#include <unicode/ustring.h>

#include <cstring>
#include <memory>
#include <sstream>

#include "util/text.h"

namespace sheaflow::xl::native::xml {

namespace {

int hex_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

bool unescape(std::string_view raw, std::string& out) {
    bool ok = true;
    std::size_t i = 0;
    while (i < raw.size()) {
        auto amp = raw.find('&', i);
        if (amp == std::string_view::npos) {
            out.append(raw.substr(i));
            break;
        }
        out.append(raw.substr(i, amp - i));
        auto semi = raw.find(';', amp);
        if (semi == std::string_view::npos || semi - amp > 12) {
            out += '&';
            i = amp + 1;
            ok = false;
            continue;
        }
        std::string_view ent = raw.substr(amp + 1, semi - amp - 1);
        i = semi + 1;
        if (ent == "lt") {
            out += '<';
        } else if (ent == "gt") {
            out += '>';
        } else if (ent == "amp") {
            out += '&';
        } else if (ent == "quot") {
            out += '"';
        } else if (ent == "apos") {
            out += '\'';
        } else if (ent.size() >= 2 && ent[0] == '#') {
            char32_t c = 0;
            bool valid = true;
            if (ent[1] == 'x' || ent[1] == 'X') {
                if (ent.size() < 3) valid = false;
                for (std::size_t k = 2; k < ent.size() && valid; ++k) {
                    int h = hex_value(ent[k]);
                    if (h < 0) valid = false;
                    c = c * 16 + static_cast<char32_t>(h);
                }
            } else {
                for (std::size_t k = 1; k < ent.size() && valid; ++k) {
                    if (ent[k] < '0' || ent[k] > '9') valid = false;
                    c = c * 10 + static_cast<char32_t>(ent[k] - '0');
                }
            }
            if (!valid || c == 0 || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
                ok = false;
                out.append(raw.substr(amp, semi - amp + 1));
            } else {
                text::append_utf8(c, out);
            }
        } else {
            // An entity we do not know stays as written (no DTD is ever expanded).
            ok = false;
            out.append(raw.substr(amp, semi - amp + 1));
        }
    }
    return ok;
}

std::string unescape(std::string_view raw) {
    std::string out;
    if (raw.find('&') == std::string_view::npos) return std::string(raw);
    unescape(raw, out);
    return out;
}

void escape_text(std::string_view s, std::string& out) {
    for (char c : s) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '\r':
                out += "&#13;";
                break;
            default:
                out += c;
        }
    }
}

void escape_attr(std::string_view s, std::string& out) {
    for (char c : s) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            case '\r':
                out += "&#13;";
                break;
            case '\n':
                out += "&#10;";
                break;
            case '\t':
                out += "&#9;";
                break;
            default:
                out += c;
        }
    }
}

std::string decode_ooxml_escapes(std::string_view s) {
    if (s.find("_x") == std::string_view::npos) return std::string(s);
    std::string out;
    out.reserve(s.size());
    std::size_t i = 0;
    while (i < s.size()) {
        if (s[i] == '_' && i + 6 < s.size() && s[i + 1] == 'x' && s[i + 6] == '_') {
            int v = 0;
            bool hex = true;
            for (std::size_t k = i + 2; k < i + 6; ++k) {
                int h = hex_value(s[k]);
                if (h < 0) {
                    hex = false;
                    break;
                }
                v = v * 16 + h;
            }
            if (hex) {
                text::append_utf8(static_cast<char32_t>(v), out);
                i += 7;
                continue;
            }
        }
        out += s[i++];
    }
    return out;
}

std::string encode_ooxml_escapes(std::string_view s) {
    std::string out;
    out.reserve(s.size());
    for (std::size_t i = 0; i < s.size(); ++i) {
        auto c = static_cast<unsigned char>(s[i]);
        bool literal_escape = c == '_' && i + 6 < s.size() && s[i + 1] == 'x' && s[i + 6] == '_' &&
                              hex_value(s[i + 2]) >= 0 && hex_value(s[i + 3]) >= 0 &&
                              hex_value(s[i + 4]) >= 0 && hex_value(s[i + 5]) >= 0;
        if (literal_escape) {
            out += "_x005F";
            out += '_';
        } else if (c < 0x20 && c != '\t' && c != '\n') {
            char buf[8];
            std::snprintf(buf, sizeof buf, "_x%04X_", c);
            out += buf;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}

Token Scanner::next() {
    Token t;
    const std::size_t n = src_.size();
    if (pos_ >= n) {
        t.kind = Token::Kind::Eof;
        t.begin = t.end = n;
        return t;
    }
    t.begin = pos_;
    const char* s = src_.data();
    if (s[pos_] != '<') {
        const void* lt = std::memchr(s + pos_, '<', n - pos_);
        std::size_t e = lt ? static_cast<std::size_t>(static_cast<const char*>(lt) - s) : n;
        t.kind = Token::Kind::Text;
        t.text = src_.substr(pos_, e - pos_);
        pos_ = t.end = e;
        return t;
    }
    auto fail = [&]() {
        t.kind = Token::Kind::Error;
        pos_ = n;
        return t;
    };
    if (pos_ + 1 >= n) return fail();
    char c1 = s[pos_ + 1];
    if (c1 == '/') {
        std::size_t gt = src_.find('>', pos_ + 2);
        if (gt == std::string_view::npos) return fail();
        std::size_t ne = pos_ + 2;
        while (ne < gt && s[ne] != ' ' && s[ne] != '\t' && s[ne] != '\n' && s[ne] != '\r') ++ne;
        t.kind = Token::Kind::End;
        t.name = src_.substr(pos_ + 2, ne - pos_ - 2);
        // A scanner started inside an element meets that element's end with nothing open.
        if (!open_.empty()) {
            if (open_.back() != t.name) return fail();
            open_.pop_back();
        }
        pos_ = t.end = gt + 1;
        return t;
    }
    if (c1 == '?') {
        std::size_t e = src_.find("?>", pos_ + 2);
        if (e == std::string_view::npos) return fail();
        t.kind = Token::Kind::Other;
        pos_ = t.end = e + 2;
        return t;
    }
    if (c1 == '!') {
        if (src_.compare(pos_, 4, "<!--") == 0) {
            std::size_t e = src_.find("-->", pos_ + 4);
            if (e == std::string_view::npos) return fail();
            t.kind = Token::Kind::Other;
            pos_ = t.end = e + 3;
            return t;
        }
        if (src_.compare(pos_, 9, "<![CDATA[") == 0) {
            std::size_t e = src_.find("]]>", pos_ + 9);
            if (e == std::string_view::npos) return fail();
            t.kind = Token::Kind::Text;
            t.cdata = true;
            t.text = src_.substr(pos_ + 9, e - pos_ - 9);
            pos_ = t.end = e + 3;
            return t;
        }
        return fail();  // <!DOCTYPE and anything else
    }
    // Start tag: the name, then attributes up to '>' outside quotes.
    std::size_t i = pos_ + 1;
    while (i < n && s[i] != ' ' && s[i] != '>' && s[i] != '/' && s[i] != '\t' && s[i] != '\n' &&
           s[i] != '\r')
        ++i;
    if (i == pos_ + 1 || i >= n) return fail();
    t.name = src_.substr(pos_ + 1, i - pos_ - 1);
    std::size_t attr_begin = i;
    char quote = 0;
    while (i < n) {
        char c = s[i];
        if (quote) {
            if (c == quote) quote = 0;
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (c == '>') {
            break;
        }
        ++i;
    }
    if (i >= n) return fail();
    std::size_t attr_end = i;
    if (attr_end > attr_begin && s[attr_end - 1] == '/') {
        t.self_closing = true;
        --attr_end;
    }
    t.kind = Token::Kind::Start;
    t.attrs = src_.substr(attr_begin, attr_end - attr_begin);
    if (!for_each_attr(t.attrs, [](std::string_view, std::string_view) { return true; }))
        return fail();
    if (!t.self_closing) open_.push_back(t.name);
    pos_ = t.end = i + 1;
    return t;
}

std::optional<std::string_view> find_attr(std::string_view attrs, std::string_view name) {
    std::optional<std::string_view> found;
    for_each_attr(attrs, [&](std::string_view n, std::string_view v) {
        if (n == name) {
            found = v;
            return false;
        }
        return true;
    });
    return found;
}

std::string set_attr(std::string_view attrs, std::string_view name,
                     std::optional<std::string_view> value) {
    std::string out;
    bool done = false;
    for_each_attr(attrs, [&](std::string_view n, std::string_view v) {
        if (n == name) {
            done = true;
            if (!value) return true;
            v = *value;
        }
        out += ' ';
        out.append(n);
        out += "=\"";
        out.append(v);
        out += '"';
        return true;
    });
    if (!done && value) {
        out += ' ';
        out.append(name);
        out += "=\"";
        out.append(*value);
        out += '"';
    }
    return out;
}

namespace {

bool iequals_ascii(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        char x = a[i], y = b[i];
        if (x >= 'a' && x <= 'z') x = static_cast<char>(x - 32);
        if (y >= 'a' && y <= 'z') y = static_cast<char>(y - 32);
        if (x != y) return false;
    }
    return true;
}

struct ConverterClose {
    void operator()(UConverter* c) const { ucnv_close(c); }
};

// `bytes` in `charset` -> UTF-8; nullopt on an unknown charset or bytes not valid in it.
std::optional<std::string> convert_to_utf8(std::string_view bytes, const char* charset) {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<UConverter, ConverterClose> conv(ucnv_open(charset, &status));
    if (U_FAILURE(status)) return std::nullopt;
    ucnv_setToUCallBack(conv.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    if (U_FAILURE(status) || bytes.size() > 0x7FFFFFF0u / 2) return std::nullopt;
    std::u16string u16(bytes.size() + 1, u'\0');
    int32_t n = ucnv_toUChars(conv.get(), reinterpret_cast<UChar*>(u16.data()),
                              static_cast<int32_t>(u16.size()), bytes.data(),
                              static_cast<int32_t>(bytes.size()), &status);
    if (U_FAILURE(status)) return std::nullopt;
    u16.resize(static_cast<std::size_t>(n));
    if (!u16.empty() && u16.front() == u'\uFEFF') u16.erase(0, 1);
    int32_t len = 0;
    status = U_ZERO_ERROR;
    u_strToUTF8(nullptr, 0, &len, reinterpret_cast<const UChar*>(u16.data()),
                static_cast<int32_t>(u16.size()), &status);
    if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) return std::nullopt;
    std::string out(static_cast<std::size_t>(len), '\0');
    status = U_ZERO_ERROR;
    u_strToUTF8(out.data(), len, &len, reinterpret_cast<const UChar*>(u16.data()),
                static_cast<int32_t>(u16.size()), &status);
    if (U_FAILURE(status)) return std::nullopt;
    return out;
}

// The declaration's attribute text ("version=... encoding=..."), or nullopt without one.
std::optional<std::string_view> declaration(std::string_view text) {
    if (text.substr(0, 5) != "<?xml") return std::nullopt;
    auto end = text.find("?>");
    if (end == std::string_view::npos) return std::nullopt;
    return text.substr(5, end - 5);
}

}  // namespace

std::optional<std::string> to_utf8(std::string bytes) {
    std::string_view b = bytes;
    std::string charset;
    if (b.substr(0, 3) == "\xEF\xBB\xBF") return bytes;
    if (b.substr(0, 2) == "\xFF\xFE" || b.substr(0, 4) == std::string_view("<\0?\0", 4))
        charset = "UTF-16LE";
    else if (b.substr(0, 2) == "\xFE\xFF" || b.substr(0, 4) == std::string_view("\0<\0?", 4))
        charset = "UTF-16BE";
    if (charset.empty()) {
        auto decl = declaration(b);
        if (!decl) return bytes;
        auto enc = find_attr(*decl, "encoding");
        if (!enc || iequals_ascii(*enc, "UTF-8") || iequals_ascii(*enc, "UTF8")) return bytes;
        charset = std::string(*enc);
    }
    auto text = convert_to_utf8(b, charset.c_str());
    if (!text) return std::nullopt;
    // The converted text must not claim its old encoding.
    if (auto decl = declaration(*text)) {
        std::size_t end = 5 + decl->size();
        std::string fixed = "<?xml" + set_attr(*decl, "encoding", "UTF-8");
        *text = fixed + text->substr(end);
    }
    return text;
}

std::optional<std::string> main_prefix(std::string_view attrs) {
    std::optional<std::string> found;
    for_each_attr(attrs, [&](std::string_view n, std::string_view v) {
        if (v != "http://schemas.openxmlformats.org/spreadsheetml/2006/main" &&
            v != "http://purl.oclc.org/ooxml/spreadsheetml/main")
            return true;
        if (n == "xmlns") {
            found = "";
            return false;
        }
        if (n.substr(0, 6) == "xmlns:") {
            found = std::string(n.substr(6)) + ":";
            return false;
        }
        return true;
    });
    return found;
}

Result<void> load(Document& d, std::string_view bytes, const std::string& part_name) {
    auto result = d.doc.load_buffer(bytes.data(), bytes.size(),
                                    pugi::parse_full | pugi::parse_ws_pcdata, pugi::encoding_utf8);
    auto broken = [&]() {
        return Error::make(Error::Code::BadFormat,
                           "ブックの部品「" + part_name + "」が壊れています。", part_name);
    };
    if (!result || !d.doc.document_element()) return broken();
    for (pugi::xml_node n = d.doc.first_child(); n; n = n.next_sibling())
        if (n.type() == pugi::node_doctype) return broken();
    // Keep the line break that usually follows the declaration.
    std::size_t decl_end = bytes.substr(0, 200).find("?>");
    d.newline_after_declaration = bytes.substr(0, 5) == "<?xml" && decl_end != std::string::npos &&
                                  bytes.substr(decl_end + 2, 2) == "\r\n";
    return {};
}

namespace {

struct StringWriter : pugi::xml_writer {
    std::string out;
    void write(const void* data, std::size_t size) override {
        const char* p = static_cast<const char*>(data);
        // pugixml writes a CR of text content raw; every CR left in the tree came from "&#13;"
        // (line ends were normalised on parsing) and attribute values are escaped already.
        for (std::size_t i = 0; i < size; ++i) {
            if (p[i] == '\r')
                out += "&#13;";
            else
                out += p[i];
        }
    }
};

}  // namespace

std::string save(const Document& d) {
    StringWriter w;
    d.doc.save(w, "", pugi::format_raw, pugi::encoding_utf8);
    if (d.newline_after_declaration && w.out.compare(0, 5, "<?xml") == 0) {
        auto e = w.out.find("?>");
        if (e != std::string::npos) w.out.insert(e + 2, "\r\n");
    }
    return std::move(w.out);
}

pugi::xml_node child(pugi::xml_node parent, std::string_view local) {
    for (pugi::xml_node n = parent.first_child(); n; n = n.next_sibling())
        if (n.type() == pugi::node_element && local_name(n.name()) == local) return n;
    return {};
}

std::string prefix_of(pugi::xml_node n) {
    std::string_view name = n.name();
    auto colon = name.find(':');
    return colon == std::string_view::npos ? std::string() : std::string(name.substr(0, colon + 1));
}

}  // namespace sheaflow::xl::native::xml
