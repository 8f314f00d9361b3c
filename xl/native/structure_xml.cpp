#include "xl/native/structure_xml.h"

#include <unicode/unistr.h>

#include <array>
#include <vector>

#include "xl/native/sheet_names.h"
#include "xl/native/xml.h"

namespace sheaflow::xl::native {
namespace {

// Elements whose text is a formula: cell formulas and chart references (f), conditional formats
// (formula), data validation (formula1, formula2) and their x14 forms (xm:f, local name f).
bool is_formula_element(std::string_view name) {
    std::string_view local = xml::local_name(name);
    return local == "f" || local == "formula" || local == "formula1" || local == "formula2";
}

// Attributes that hold a reference: internal hyperlinks (location), form controls (fmlaLink,
// fmlaRange, fmlaTxbx, fmlaGroup), shapes linked to a cell (textlink).
constexpr std::array<std::string_view, 6> kFormulaAttrs = {"location", "fmlaLink",  "fmlaRange",
                                                           "fmlaTxbx", "fmlaGroup", "textlink"};

std::string escaped_attr(std::string_view s) {
    std::string out;
    xml::escape_attr(s, out);
    return out;
}

// Rewrites the listed attributes of a start tag's raw attribute text; nullopt when unchanged.
std::optional<std::string> rewrite_attrs(std::string_view attrs, const FormulaEdit& edit) {
    std::string current(attrs);
    bool changed = false;
    for (std::string_view name : kFormulaAttrs) {
        std::optional<std::string_view> raw = xml::find_attr(current, name);
        if (!raw) continue;
        std::string value = xml::unescape(*raw);
        std::string edited = edit(value);
        if (edited == value) continue;
        std::string esc = escaped_attr(edited);
        current = xml::set_attr(current, name, std::string_view(esc));
        changed = true;
    }
    if (!changed) return std::nullopt;
    return current;
}

// Calls `on_start` for every start tag; it may answer new attribute text. Text inside formula
// elements goes through `on_formula`. Returns the new part, nullopt when nothing changed or the
// part could not be scanned.
std::optional<std::string> rewrite_tokens(
    std::string_view xml_text,
    const std::function<std::optional<std::string>(std::string_view, std::string_view)>& on_start,
    const FormulaEdit* on_formula) {
    xml::Scanner scanner(xml_text);
    std::string out;
    std::size_t copied = 0;  // xml_text[0, copied) is in `out`
    bool changed = false;
    std::string_view formula_element;  // set while inside a formula element
    std::size_t text_begin = 0;
    std::string text;
    auto flush_to = [&](std::size_t pos) {
        out.append(xml_text.substr(copied, pos - copied));
        copied = pos;
    };
    while (true) {
        xml::Token t = scanner.next();
        if (t.kind == xml::Token::Kind::Eof) break;
        if (t.kind == xml::Token::Kind::Error) return std::nullopt;
        if (t.kind == xml::Token::Kind::Start) {
            if (std::optional<std::string> attrs = on_start(t.name, t.attrs)) {
                std::size_t attr_begin = static_cast<std::size_t>(t.attrs.data() - xml_text.data());
                flush_to(attr_begin);
                out += *attrs;
                copied = attr_begin + t.attrs.size();
                changed = true;
            }
            if (on_formula && !t.self_closing && is_formula_element(t.name)) {
                formula_element = t.name;
                text.clear();
                text_begin = t.end;
            }
        } else if (t.kind == xml::Token::Kind::Text && !formula_element.empty()) {
            if (t.cdata)
                text.append(t.text);
            else
                xml::unescape(t.text, text);
        } else if (t.kind == xml::Token::Kind::End && !formula_element.empty()) {
            if (t.name == formula_element) {
                std::string edited = (*on_formula)(text);
                if (edited != text) {
                    flush_to(text_begin);
                    xml::escape_text(edited, out);
                    copied = t.begin;
                    changed = true;
                }
            }
            formula_element = {};
        }
    }
    if (!changed) return std::nullopt;
    flush_to(xml_text.size());
    return out;
}

}  // namespace

std::optional<std::string> rewrite_part_formulas(std::string_view xml_text,
                                                 const FormulaEdit& edit) {
    return rewrite_part_formulas(xml_text, edit, edit);
}

std::optional<std::string> rewrite_part_formulas(std::string_view xml_text,
                                                 const FormulaEdit& element_edit,
                                                 const FormulaEdit& attribute_edit) {
    return rewrite_tokens(
        xml_text,
        [&](std::string_view name, std::string_view attrs) -> std::optional<std::string> {
            // Only these elements carry reference attributes; the test keeps the scan of a
            // large sheet from looking into every cell's attributes.
            std::string_view local = xml::local_name(name);
            if (local != "hyperlink" && local != "formControlPr" && local != "sp")
                return std::nullopt;
            return rewrite_attrs(attrs, attribute_edit);
        },
        &element_edit);
}

std::optional<std::string> rename_pivot_source(std::string_view xml_text, std::string_view old_name,
                                               std::string_view new_name) {
    return rewrite_tokens(
        xml_text,
        [&](std::string_view name, std::string_view attrs) -> std::optional<std::string> {
            if (xml::local_name(name) != "worksheetSource") return std::nullopt;
            std::optional<std::string_view> raw = xml::find_attr(attrs, "sheet");
            if (!raw || !same_sheet_name(xml::unescape(*raw), old_name)) return std::nullopt;
            std::string esc = escaped_attr(new_name);
            return xml::set_attr(attrs, "sheet", std::string_view(esc));
        },
        nullptr);
}

std::optional<std::string> rename_pivot_sources(std::string_view xml_text,
                                                const SheetRenameChain& renames) {
    return rewrite_tokens(
        xml_text,
        [&](std::string_view name, std::string_view attrs) -> std::optional<std::string> {
            if (xml::local_name(name) != "worksheetSource") return std::nullopt;
            std::optional<std::string_view> raw = xml::find_attr(attrs, "sheet");
            if (!raw) return std::nullopt;
            auto renamed = renames.find(xml::unescape(*raw));
            if (!renamed) return std::nullopt;
            std::string esc = escaped_attr(*renamed);
            return xml::set_attr(attrs, "sheet", std::string_view(esc));
        },
        nullptr);
}

bool well_formed(std::string_view xml_text) {
    xml::Scanner sc(xml_text);
    std::vector<std::string_view> open;
    int roots = 0;
    while (true) {
        xml::Token t = sc.next();
        if (t.kind == xml::Token::Kind::Eof) break;
        if (t.kind == xml::Token::Kind::Error) return false;
        if (t.kind == xml::Token::Kind::Start) {
            if (open.empty()) ++roots;
            if (!t.self_closing) open.push_back(t.name);
        } else if (t.kind == xml::Token::Kind::End) {
            if (open.empty() || open.back() != t.name) return false;
            open.pop_back();
        }
    }
    return open.empty() && roots == 1;
}

bool may_mention(std::string_view xml_text, std::string_view sheet_name) {
    // Case-insensitive search would need folding the whole part; instead look for the name's
    // ASCII-lower-cased first characters up to the first character XML may escape.
    auto lower = [](char c) {
        return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    };
    std::string probe;
    for (char c : sheet_name) {
        if (c == '&' || c == '<' || c == '>' || c == '\'' || c == '"') break;
        probe += lower(c);
    }
    if (probe.empty()) return true;
    // Letters beyond ASCII may differ in case (full-width, Greek...): probe only an ASCII prefix
    // then, or answer true when there is none.
    std::size_t ascii = 0;
    while (ascii < probe.size() && static_cast<unsigned char>(probe[ascii]) < 0x80) ++ascii;
    bool has_cased_non_ascii = false;
    {
        icu::UnicodeString u = icu::UnicodeString::fromUTF8(probe);
        icu::UnicodeString f = u;
        f.foldCase();
        has_cased_non_ascii = u != f;
    }
    if (has_cased_non_ascii) {
        if (ascii == 0) return true;
        probe.resize(ascii);
    }
    const std::size_t m = probe.size();
    if (xml_text.size() < m) return false;
    for (std::size_t i = 0; i + m <= xml_text.size(); ++i) {
        if (lower(xml_text[i]) != probe[0]) continue;
        std::size_t k = 1;
        while (k < m && lower(xml_text[i + k]) == probe[k]) ++k;
        if (k == m) return true;
    }
    return false;
}

}  // namespace sheaflow::xl::native
