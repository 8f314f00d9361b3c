// Phonetic readings (furigana) of text cells: the <rPh> runs of a shared-string entry or of an
// inline string. A changed reading makes the cell refer to a new rich entry of the string table;
// the entry it left stays as it was for the other cells that use it.

#include "util/text.h"
#include "xl/native/book.h"
#include "xl/native/shared_strings.h"
#include "xl/native/worksheet_part.h"
#include "xl/native/xml.h"

namespace sheaflow::xl::native {
namespace {

std::string text_of(pugi::xml_node t) {
    std::string s;
    for (pugi::xml_node n = t.first_child(); n; n = n.next_sibling())
        if (n.type() == pugi::node_pcdata || n.type() == pugi::node_cdata) s += n.value();
    return xml::decode_ooxml_escapes(s);
}

std::string descendant_texts(pugi::xml_node n) {
    std::string s;
    for (pugi::xml_node c = n.first_child(); c; c = c.next_sibling()) {
        if (c.type() != pugi::node_element) continue;
        s += xml::local_name(c.name()) == "t" ? text_of(c) : descendant_texts(c);
    }
    return s;
}

// The string element (<si> or <is>) of a text cell as the package holds it: its shared-string
// entry, or the inline string of the <c> element it was read with. "" when the cell holds no
// text constant or its text has no element yet (appended plain entries).
std::string string_source(const WorksheetPart& part, const Cell& c, SharedStrings& sst) {
    if (c.has_formula()) return {};
    if (c.kind == CellKind::SharedString) return sst.entry_source(static_cast<std::size_t>(c.number));
    if (c.kind != CellKind::String || !(c.flags & Cell::kInline)) return {};
    std::string_view raw = part.cell_source(c);
    std::size_t b = raw.find("is>");  // <is> or <x:is>
    if (b == std::string_view::npos) return {};
    b = raw.rfind('<', b);
    std::size_t e = raw.rfind("</");
    if (b == std::string_view::npos || e == std::string_view::npos || e <= b) return {};
    return std::string(raw.substr(b, e - b));
}

// Length in the UTF-16 units the run offsets count.
std::size_t utf16_length(std::string_view utf8) {
    std::size_t n = 0;
    for (char32_t ch : text::to_u32(utf8)) n += ch > 0xFFFF ? 2 : 1;
    return n;
}

}  // namespace

std::string Sheet::phonetic(CellRef at) {
    if (!has_cells()) return {};
    auto p = part();
    if (!p) return {};
    const Cell* c = (*p)->table().find(at.row, at.col);
    if (!c) return {};
    std::string source = string_source(**p, *c, book_.shared_strings());
    if (source.find("rPh") == std::string::npos) return {};
    xml::Document doc;
    if (!xml::load(doc, source, part_name_)) return {};
    // The base text with each annotated part replaced by its reading, as PHONETIC() reads it.
    std::u32string base;
    std::vector<std::pair<std::size_t, std::size_t>> spans;  // [sb, eb) in UTF-16 units
    std::vector<std::string> readings;
    for (pugi::xml_node n = doc.root().first_child(); n; n = n.next_sibling()) {
        if (n.type() != pugi::node_element) continue;
        std::string_view local = xml::local_name(n.name());
        if (local == "t") base += text::to_u32(text_of(n));
        if (local == "r") base += text::to_u32(text_of(xml::child(n, "t")));
        if (local != "rPh") continue;
        // Some writers put runs inside a reading: every <t> below it counts.
        std::string reading = descendant_texts(n);
        spans.emplace_back(n.attribute("sb").as_uint(0), n.attribute("eb").as_uint(0));
        readings.push_back(std::move(reading));
    }
    if (readings.empty()) return {};
    std::string out;
    std::size_t unit = 0, next = 0;
    for (char32_t ch : base) {
        while (next < spans.size() && spans[next].second <= unit) ++next;
        bool inside = next < spans.size() && unit >= spans[next].first;
        if (inside && unit == spans[next].first) out += readings[next];
        if (!inside) text::append_utf8(ch, out);
        unit += ch > 0xFFFF ? 2 : 1;
    }
    // Readings that start past the end of the text (a damaged offset) are still shown.
    for (; next < spans.size(); ++next)
        if (spans[next].first >= unit) out += readings[next];
    return out;
}

Result<void> Sheet::set_phonetic(CellRef at, const std::string& reading) {
    if (!has_cells()) return Error::failed("ワークシートではありません。");
    auto p = part();
    if (!p) return p.error();
    const Cell* found = (*p)->table().find(at.row, at.col);
    bool text = found && !found->has_formula() &&
                (found->kind == CellKind::SharedString || found->kind == CellKind::String);
    if (!text) return Error::make(Error::Code::Refused, "文字列のセルではありません。");
    SharedStrings& sst = book_.shared_strings();
    const std::string plain = found->kind == CellKind::SharedString
                                  ? sst.at(static_cast<std::size_t>(found->number))
                                  : (*p)->table().text(found->text);
    std::string source = string_source(**p, *found, sst);
    if (reading.empty() && source.find("rPh") == std::string::npos) return {};

    const std::string& px = sst.prefix();
    xml::Document doc;
    if (source.empty()) {
        pugi::xml_node si = doc.doc.append_child((px + "si").c_str());
        pugi::xml_node t = si.append_child((px + "t").c_str());
        t.append_attribute("xml:space").set_value("preserve");
        t.text().set(xml::encode_ooxml_escapes(plain).c_str());
    } else if (!xml::load(doc, source, part_name_)) {
        return Error::make(Error::Code::BadFormat, "セルの文字列が壊れています。");
    }
    pugi::xml_node si = doc.root();
    si.set_name((px + "si").c_str());  // an inline <is> becomes a table entry
    for (pugi::xml_node n = si.first_child(); n;) {
        pugi::xml_node next = n.next_sibling();
        if (n.type() == pugi::node_element && xml::local_name(n.name()) == "rPh") si.remove_child(n);
        n = next;
    }
    if (!reading.empty()) {
        // Runs of the reading come after the text and before the phonetic properties.
        pugi::xml_node props = xml::child(si, "phoneticPr");
        pugi::xml_node r = props ? si.insert_child_before((px + "rPh").c_str(), props)
                                 : si.append_child((px + "rPh").c_str());
        r.append_attribute("sb") = 0;
        r.append_attribute("eb") = static_cast<unsigned long long>(utf16_length(plain));
        r.append_child((px + "t").c_str()).text().set(xml::encode_ooxml_escapes(reading).c_str());
        if (!props) si.append_child((px + "phoneticPr").c_str()).append_attribute("fontId") = 0;
    }
    // The element alone: the table's entries carry no declaration of their own.
    struct Writer : pugi::xml_writer {
        std::string out;
        void write(const void* data, std::size_t size) override {
            out.append(static_cast<const char*>(data), size);
        }
    } writer;
    si.print(writer, "", pugi::format_raw);
    const std::string& entry = writer.out;
    if (entry == source) return {};

    auto cell = prepare_change(at);
    if (!cell) return cell.error();
    Cell& c = **cell;
    clear_value(c);
    c.kind = CellKind::SharedString;
    c.number = sst.add_rich(plain, entry);
    sst.add_references(1);
    book_.cells_changed();
    return {};
}

}  // namespace sheaflow::xl::native
