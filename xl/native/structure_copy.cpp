#include "xl/native/structure_copy.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <map>
#include <set>

#include "util/text.h"
#include "xl/native/drawing_objects.h"
#include "xl/native/formula_refs.h"
#include "xl/native/numfmt.h"
#include "xl/native/sheet_names.h"
#include "xl/native/structure_support.h"
#include "xl/native/style_merge.h"
#include "xl/native/xml.h"
#include "xl/xl.h"

namespace sheaflow::xl::native {

using namespace structure;

namespace structure {

// One entry of a string table: its XML content, and its plain text when it has no runs.
struct SstItem {
    std::string inner;
    std::string plain;
    bool rich = false;
};

// An external link of a destination workbook.
struct ExternalLink {
    int index = 0;                    // 1-based, as formulas write it ("[1]")
    std::string part;                 // the externalLink part
    std::vector<std::string> sheets;  // sheet names to list (added by this copy)
    bool created = false;             // made by this copy
    std::string rel_id;               // the workbook relationship of a link made here
    // Values of the other workbook's cells that formulas use, kept in the link as the
    // application keeps them, so that a recalculation without that workbook open has them:
    // sheet name -> (row, column) -> (cell type attribute, value text).
    std::map<std::string, std::map<std::pair<int, int>, std::pair<std::string, std::string>>>
        cells = {};
};

}  // namespace structure

namespace {

std::string_view rel_kind(std::string_view type) {
    std::size_t slash = type.rfind('/');
    return slash == std::string_view::npos ? type : type.substr(slash + 1);
}

// Parts that two sheets of one workbook may both refer to: pictures and media, and the pivot
// caches (which belong to the workbook).
bool shared_within_book(std::string_view kind) {
    return kind == "image" || kind == "hdphoto" || kind == "video" || kind == "audio" ||
           kind == "media" || kind == "pivotCacheDefinition";
}

std::string upper(std::string_view s) { return text::upper(s); }

std::vector<SstItem> read_string_table(std::string_view x, std::string& prefix) {
    std::vector<SstItem> items;
    xml::Scanner sc(x);
    int depth = 0;
    int si_depth = -1;
    std::size_t inner_begin = 0;
    bool in_t = false, in_rph = false;
    while (true) {
        xml::Token t = sc.next();
        if (t.kind == xml::Token::Kind::Eof || t.kind == xml::Token::Kind::Error) break;
        if (t.kind == xml::Token::Kind::Start) {
            std::string_view local = xml::local_name(t.name);
            if (depth == 0) {
                std::size_t colon = t.name.find(':');
                if (colon != std::string_view::npos)
                    prefix = std::string(t.name.substr(0, colon + 1));
            }
            if (local == "si" && si_depth < 0) {
                si_depth = depth;
                inner_begin = t.end;
                items.emplace_back();
                if (t.self_closing) si_depth = -1;
            } else if (si_depth >= 0) {
                if (local == "r" || local == "rPh") items.back().rich = true;
                if (local == "rPh") in_rph = !t.self_closing;
                if (local == "t" && !in_rph) in_t = !t.self_closing;
            }
            if (!t.self_closing) ++depth;
        } else if (t.kind == xml::Token::Kind::End) {
            --depth;
            std::string_view local = xml::local_name(t.name);
            if (si_depth >= 0 && depth == si_depth && local == "si") {
                items.back().inner = std::string(x.substr(inner_begin, t.begin - inner_begin));
                si_depth = -1;
            } else if (local == "t") {
                in_t = false;
            } else if (local == "rPh") {
                in_rph = false;
            }
        } else if (t.kind == xml::Token::Kind::Text && in_t && si_depth >= 0) {
            if (t.cdata)
                items.back().plain.append(t.text);
            else
                xml::unescape(t.text, items.back().plain);
        }
    }
    for (SstItem& item : items) item.plain = xml::decode_ooxml_escapes(item.plain);
    return items;
}

// The target of a workbook-level relationship of a type, resolved; "" when none.
std::string workbook_target(Book& b, std::string_view type) {
    if (auto item = b.workbook_rels().by_type(type))
        return resolve_target(b.workbook_part_name(), item->target);
    return {};
}

std::string read_or_empty(Book& b, const std::string& part) {
    if (part.empty() || !b.package().has(part)) return {};
    auto bytes = b.package().read(part);
    return bytes ? std::move(*bytes) : std::string();
}

// The attributes of the first start tag (the root element) of a part.
std::string_view root_attrs(std::string_view x, std::size_t& begin) {
    xml::Scanner sc(x);
    while (true) {
        xml::Token t = sc.next();
        if (t.kind == xml::Token::Kind::Eof || t.kind == xml::Token::Kind::Error) return {};
        if (t.kind == xml::Token::Kind::Start) {
            begin = static_cast<std::size_t>(t.attrs.data() - x.data());
            return t.attrs;
        }
    }
}

std::string replace_root_attrs(std::string_view x,
                               const std::function<std::string(std::string_view)>& f) {
    std::size_t begin = 0;
    std::string_view attrs = root_attrs(x, begin);
    if (attrs.data() == nullptr) return std::string(x);
    std::string out(x.substr(0, begin));
    out += f(attrs);
    out.append(x.substr(begin + attrs.size()));
    return out;
}

std::string attr_value(std::string_view attrs, std::string_view name) {
    auto raw = xml::find_attr(attrs, name);
    return raw ? xml::unescape(*raw) : std::string();
}

std::string escaped(std::string_view s) {
    std::string out;
    xml::escape_attr(s, out);
    return out;
}

// VML drawings number their shapes in blocks of 1024 per drawing ("o:idmap data"); a copy gets
// a block of its own.
int vml_block(std::string_view x) {
    std::size_t at = x.find("idmap");
    if (at == std::string_view::npos) return 0;
    std::size_t data = x.find("data=\"", at);
    if (data == std::string_view::npos) return 0;
    return std::atoi(std::string(x.substr(data + 6, 12)).c_str());
}

// Adds `shift` to the shape numbers (1024 and above) written after `key`; with `tag`, only
// inside start tags of that local name.
std::string shift_shape_numbers(std::string_view x, std::string_view key, std::string_view tag,
                                int shift) {
    std::string out;
    std::size_t i = 0;
    while (true) {
        std::size_t hit = x.find(key, i);
        if (hit == std::string_view::npos) break;
        std::size_t d = hit + key.size(), e = d;
        while (e < x.size() && std::isdigit(static_cast<unsigned char>(x[e]))) ++e;
        bool inside = tag.empty();
        if (!inside) {
            std::size_t open = x.rfind('<', hit);
            std::size_t name_end = x.find_first_of(" \t\r\n/>", open);
            std::string_view name = x.substr(open + 1, name_end - open - 1);
            inside = open != std::string_view::npos && x.find('>', open) > hit &&
                     xml::local_name(name) == tag;
        }
        long n = e > d ? std::atol(std::string(x.substr(d, e - d)).c_str()) : 0;
        out.append(x.substr(i, d - i));
        if (inside && n >= 1024) {
            out += std::to_string(n + shift);
            i = e;
        } else {
            i = d;
        }
    }
    out.append(x.substr(i));
    return out;
}

std::string renumber_vml(std::string_view x, int old_block, int new_block) {
    std::string out;
    std::size_t i = 0;
    std::size_t at = x.find("idmap");
    if (at != std::string_view::npos) {
        std::size_t data = x.find("data=\"", at);
        if (data != std::string_view::npos) {
            std::size_t end = x.find('"', data + 6);
            out.append(x.substr(0, data + 6));
            out += std::to_string(new_block);
            i = end;
        }
    }
    constexpr std::string_view kShape = "_x0000_s";
    while (i < x.size()) {
        std::size_t hit = x.find(kShape, i);
        if (hit == std::string_view::npos) break;
        std::size_t d = hit + kShape.size();
        std::size_t e = d;
        while (e < x.size() && std::isdigit(static_cast<unsigned char>(x[e]))) ++e;
        out.append(x.substr(i, d - i));
        if (e > d) {
            long n = std::atol(std::string(x.substr(d, e - d)).c_str());
            n += 1024L * (new_block - old_block);
            out += std::to_string(n);
        }
        i = e;
    }
    out.append(x.substr(i));
    return out;
}

// A copied sheet's threaded comments get new ids, as ids are unique within a workbook and a
// workbook may receive the same sheet twice: the ids and parent ids of the threads, and the
// notes that stand for them (their xr:uid and their "tc=" author). Persons keep theirs.
std::string renew_thread_ids(std::string_view x, std::map<std::string, std::string>& ids) {
    std::string out;
    std::size_t done = 0;
    for (std::size_t b = x.find('{'); b != std::string_view::npos; b = x.find('{', b + 1)) {
        std::size_t e = x.find('}', b);
        if (e == std::string_view::npos) break;
        bool renew = b >= 3 && x.substr(b - 3, 3) == "tc=";
        if (!renew && b >= 2 && x.substr(b - 2, 2) == "=\"") {
            std::size_t n = x.find_last_of(" \t\r\n", b - 2);
            if (n == std::string_view::npos) continue;
            std::string_view local = xml::local_name(x.substr(n + 1, b - 2 - n - 1));
            renew = local == "id" || local == "parentId" || local == "uid";
        }
        if (!renew || e - b > 40) continue;
        std::string old(x.substr(b, e + 1 - b));
        auto it = ids.find(old);
        if (it == ids.end()) it = ids.emplace(old, new_guid()).first;
        out.append(x.substr(done, b - done));
        out += it->second;
        done = e + 1;
    }
    out.append(x.substr(done));
    return out;
}

}  // namespace

// Kept in a workbook between copies from or into it.
struct StructureCache {
    // As a destination: its external links.
    std::vector<std::string> ids;               // the workbook's link relationship ids, in order
    std::map<std::string, ExternalLink> links;  // by target path
    // As a source: its string table as read from the part (kept while the part is the same
    // size; the engine only ever appends to a table).
    std::vector<SstItem> sst;
    std::string sst_prefix;
    std::size_t sst_part_size = std::string::npos;
};

namespace {

// The externalLink parts of a destination workbook, by the path they point at.
class ExternalLinks {
public:
    explicit ExternalLinks(Book& b) : b_(b) {
        // The links are listed in the workbook part; their targets are in each link's own
        // relationships. A workbook that collects many sheets is asked again and again, so what
        // was read is kept per workbook and reused while the list of links is the same.
        std::vector<std::string> ids;
        pugi::xml_node refs = xml::child(b.workbook_part().root(), "externalReferences");
        for (pugi::xml_node n = refs.first_child(); n; n = n.next_sibling())
            if (n.type() == pugi::node_element) ids.push_back(sheet_rel_id(n));
        Cache& cache = cache_for(b);
        if (cache.ids != ids) {
            cache.ids = ids;
            cache.links.clear();
            std::map<std::string, std::string> targets;  // relationship id -> target
            for (const auto& item : b.workbook_rels().items()) targets[item.id] = item.target;
            for (std::size_t i = 0; i < ids.size(); ++i) {
                auto it = targets.find(ids[i]);
                if (it == targets.end()) continue;
                std::string part = resolve_target(b.workbook_part_name(), it->second);
                std::string rels_name = rels_path_for(part);
                Relationships rels;
                std::string bytes = read_or_empty(b, rels_name);
                if (bytes.empty() || !rels.parse(bytes, rels_name)) continue;
                if (auto path = rels.by_type(kExternalLinkPathRel))
                    cache.links[path->target] =
                        Link{static_cast<int>(i) + 1, part, {}, false, {}, {}};
            }
        }
        links_ = cache.links;
        count_ = static_cast<int>(ids.size());
    }

    // The 1-based index of the link to `target`, created when missing; `sheet` is noted as a
    // sheet the link must list.
    int index(const std::string& target, const std::string& sheet) {
        auto it = links_.find(target);
        if (it == links_.end()) {
            it = links_.emplace(target, Link{++count_, "", {}, true, {}, {}}).first;
        }
        if (!sheet.empty() && std::find(it->second.sheets.begin(), it->second.sheets.end(),
                                        sheet) == it->second.sheets.end())
            it->second.sheets.push_back(sheet);
        return it->second.index;
    }

    // Notes the value of a cell of a linked workbook's sheet (the link is made by index()).
    void add_cell(const std::string& target, const std::string& sheet, int row, int col,
                  std::string type, std::string value) {
        auto it = links_.find(target);
        if (it == links_.end()) return;
        it->second.cells[sheet][{row, col}] = {std::move(type), std::move(value)};
    }
    bool has_cell(const std::string& target, const std::string& sheet, int row, int col) const {
        auto it = links_.find(target);
        if (it == links_.end()) return false;
        auto s = it->second.cells.find(sheet);
        return s != it->second.cells.end() && s->second.count({row, col});
    }

    // Writes new links and the sheet names added to existing ones.
    Result<void> write(ContentTypes& ct) {
        std::vector<Link*> created;
        for (auto& [target, link] : links_) {
            if (link.created) {
                if (auto r = create(ct, target, link); !r) return r;
                created.push_back(&link);
            } else if (!link.sheets.empty() || !link.cells.empty()) {
                update(link);
            }
        }
        // The cache learns the new links in the order they were listed.
        std::sort(created.begin(), created.end(),
                  [](const Link* a, const Link* b) { return a->index < b->index; });
        Cache& cache = cache_for(b_);
        for (auto& [target, link] : links_) {
            Link kept = link;
            kept.sheets.clear();
            kept.cells.clear();
            kept.created = false;
            cache.links[target] = kept;
        }
        for (const Link* link : created) cache.ids.push_back(link->rel_id);
        return {};
    }

private:
    using Link = ExternalLink;
    using Cache = StructureCache;
    static Cache& cache_for(Book& b) {
        if (!b.structure_cache) b.structure_cache = std::make_shared<StructureCache>();
        return *b.structure_cache;
    }

    Result<void> create(ContentTypes& ct, const std::string& target, Link& link) {
        std::string folder =
            b_.workbook_part_name().substr(0, b_.workbook_part_name().rfind('/') + 1);
        link.part =
            unique_part_name(b_.package(), folder + "externalLinks/", "externalLink", ".xml");
        std::string x =
            "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
            "<externalLink xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\" "
            "xmlns:r=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships\">"
            "<externalBook r:id=\"rId1\"><sheetNames/><sheetDataSet/></externalBook>"
            "</externalLink>";
        b_.package().write(link.part, x);
        update(link);
        b_.package().write(
            rels_path_for(link.part),
            "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
            "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">"
            "<Relationship Id=\"rId1\" Type=\"" +
                std::string(kExternalLinkPathRel) + "\" Target=\"" + escaped(target) +
                "\" TargetMode=\"External\"/></Relationships>");
        ct.set_override(link.part, kExternalLinkType);
        std::string id = b_.workbook_rels().add(
            kExternalLinkRel, relative_target(b_.workbook_part_name(), link.part));
        WorkbookPart& wp = b_.workbook_part();
        pugi::xml_node refs = xml::child(wp.root(), "externalReferences");
        if (!refs) refs = wp.insert_in_order("externalReferences");
        std::string prefix = xml::prefix_of(wp.root());
        pugi::xml_node ref = refs.append_child((prefix + "externalReference").c_str());
        // The relationships prefix was declared when a sheet was inserted; look it up again.
        std::string r_prefix = "r";
        for (pugi::xml_attribute at : wp.root().attributes()) {
            std::string_view n = at.name();
            if (n.substr(0, 6) == "xmlns:" &&
                std::string_view(at.value()) ==
                    "http://schemas.openxmlformats.org/officeDocument/2006/relationships")
                r_prefix = std::string(n.substr(6));
        }
        ref.append_attribute((r_prefix + ":id").c_str()).set_value(id.c_str());
        link.rel_id = id;
        wp.mark_dirty();
        return {};
    }

    // Adds the sheet names and cell values a link lacks to its part.
    void update(Link& link) {
        std::string bytes = read_or_empty(b_, link.part);
        xml::Document doc;
        if (bytes.empty() || !xml::load(doc, bytes, link.part)) return;
        pugi::xml_node book = xml::child(doc.root(), "externalBook");
        if (!book) return;
        std::string prefix = xml::prefix_of(doc.root());
        auto element = [&](const char* local) { return prefix + local; };
        pugi::xml_node names = xml::child(book, "sheetNames");
        if (!names) names = book.prepend_child(element("sheetNames").c_str());
        pugi::xml_node data = xml::child(book, "sheetDataSet");
        if (!data) data = book.append_child(element("sheetDataSet").c_str());
        std::map<std::string, int> ids;  // upper-cased sheet name -> sheetId
        int count = 0;
        for (pugi::xml_node n = names.first_child(); n; n = n.next_sibling())
            if (n.type() == pugi::node_element) ids[upper(n.attribute("val").value())] = count++;
        bool changed = false;
        auto sheet_id = [&](const std::string& sheet) {
            auto it = ids.find(upper(sheet));
            if (it != ids.end()) return it->second;
            names.append_child(element("sheetName").c_str())
                .append_attribute("val")
                .set_value(sheet.c_str());
            changed = true;
            return ids[upper(sheet)] = count++;
        };
        for (const std::string& sheet : link.sheets) sheet_id(sheet);
        for (const auto& [sheet, cells] : link.cells) {
            int id = sheet_id(sheet);
            pugi::xml_node sd;
            for (pugi::xml_node n = data.first_child(); n && !sd; n = n.next_sibling())
                if (n.type() == pugi::node_element && n.attribute("sheetId").as_int(-1) == id)
                    sd = n;
            if (!sd) {
                sd = data.append_child(element("sheetData").c_str());
                sd.append_attribute("sheetId").set_value(id);
            }
            std::map<int, pugi::xml_node> rows;
            for (pugi::xml_node r = sd.first_child(); r; r = r.next_sibling())
                if (r.type() == pugi::node_element) rows[r.attribute("r").as_int()] = r;
            for (const auto& [at, cell] : cells) {
                auto [row_number, col] = at;
                pugi::xml_node row = rows[row_number];
                if (!row) {
                    auto next = rows.upper_bound(row_number);
                    row = next != rows.end() && next->second
                              ? sd.insert_child_before(element("row").c_str(), next->second)
                              : sd.append_child(element("row").c_str());
                    row.append_attribute("r").set_value(row_number);
                    rows[row_number] = row;
                }
                std::string ref = xl::column_letters(col) + std::to_string(row_number);
                pugi::xml_node before;
                bool present = false;
                for (pugi::xml_node c = row.first_child(); c && !before; c = c.next_sibling()) {
                    auto a = xl::parse_address(c.attribute("r").value());
                    if (!a) continue;
                    if (a->first_col == col) present = true;
                    if (a->first_col >= col) before = c;
                }
                if (present) continue;
                pugi::xml_node c = before ? row.insert_child_before(element("cell").c_str(), before)
                                          : row.append_child(element("cell").c_str());
                c.append_attribute("r").set_value(ref.c_str());
                if (!cell.first.empty()) c.append_attribute("t").set_value(cell.first.c_str());
                c.append_child(element("v").c_str()).text().set(cell.second.c_str());
                changed = true;
            }
        }
        if (changed) b_.package().write(link.part, xml::save(doc));
    }

    Book& b_;
    std::map<std::string, Link> links_;
    int count_ = 0;
};

// True when a number format shows a calendar date (a year, month or day, or an era), not only
// a time of day or a duration.
bool has_date_part(std::string_view code) {
    if (!numfmt::is_date_code(code)) return false;
    bool month_or_minute = false, time = false;
    for (std::size_t i = 0; i < code.size(); ++i) {
        char c = static_cast<char>(std::tolower(static_cast<unsigned char>(code[i])));
        if (code[i] == '"') {
            std::size_t close = code.find('"', i + 1);
            if (close == std::string_view::npos) break;
            i = close;
        } else if (code[i] == '\\' || code[i] == '_' || code[i] == '*') {
            ++i;
        } else if (code[i] == '[') {
            std::size_t close = code.find(']', i + 1);
            if (close == std::string_view::npos) break;
            i = close;
        } else if (c == 'y' || c == 'd' || c == 'e' || c == 'g') {
            return true;
        } else if (c == 'm') {
            month_or_minute = true;
        } else if (c == 'h' || c == 's') {
            time = true;
        }
    }
    return month_or_minute && !time;
}

// Cell formats and strings of a sheet copied into another workbook: every style index goes
// through the style merge, shared strings are interned in the destination's table (entries
// with runs become inline strings, which keep their runs), and cell metadata indexes, which
// belong to the source workbook, are dropped.
std::string restyle_sheet(std::string_view x, StyleMerge& styles, const std::vector<SstItem>& sst,
                          const std::string& sst_prefix, SharedStrings& dest_sst,
                          const std::function<double(std::uint32_t)>& date_shift) {
    std::string out;
    out.reserve(x.size() + x.size() / 16);
    std::size_t copied = 0;
    std::int64_t references = 0;
    xml::Scanner sc(x);
    auto replace_attrs = [&](const xml::Token& t, const std::string& attrs) {
        std::size_t begin = static_cast<std::size_t>(t.attrs.data() - x.data());
        out.append(x.substr(copied, begin - copied));
        out += attrs;
        copied = begin + t.attrs.size();
    };
    auto map_attr = [&](std::string& attrs, std::string_view name, bool dxf) {
        auto raw = xml::find_attr(attrs, name);
        if (!raw) return false;
        std::uint32_t v =
            static_cast<std::uint32_t>(std::strtoul(std::string(*raw).c_str(), nullptr, 10));
        std::uint32_t mapped = dxf ? styles.differential_format(v) : styles.cell_format(v);
        attrs = xml::set_attr(attrs, name, std::to_string(mapped));
        return true;
    };
    while (true) {
        xml::Token t = sc.next();
        if (t.kind == xml::Token::Kind::Eof || t.kind == xml::Token::Kind::Error) break;
        if (t.kind != xml::Token::Kind::Start) continue;
        std::string_view local = xml::local_name(t.name);
        if (local == "row" || local == "col" || local == "cfRule") {
            std::string attrs(t.attrs);
            bool changed = local == "row"   ? map_attr(attrs, "s", false)
                           : local == "col" ? map_attr(attrs, "style", false)
                                            : map_attr(attrs, "dxfId", true);
            if (changed) replace_attrs(t, attrs);
            continue;
        }
        if (local != "c") continue;
        std::string attrs(t.attrs);
        std::uint32_t src_xf = 0;
        if (auto raw = xml::find_attr(attrs, "s"))
            src_xf =
                static_cast<std::uint32_t>(std::strtoul(std::string(*raw).c_str(), nullptr, 10));
        map_attr(attrs, "s", false);
        if (xml::find_attr(attrs, "cm")) attrs = xml::set_attr(attrs, "cm", std::nullopt);
        if (xml::find_attr(attrs, "vm")) attrs = xml::set_attr(attrs, "vm", std::nullopt);
        auto type = xml::find_attr(attrs, "t");
        const bool shared = type && *type == "s";
        const double shift = !type || *type == "n" ? date_shift(src_xf) : 0.0;
        if (t.self_closing || (!shared && shift == 0.0)) {
            replace_attrs(t, attrs);
            continue;
        }
        // Find the cell's <v> and its end.
        xml::Scanner inner(x, t.end);
        std::size_t v_begin = 0, v_text_begin = 0, v_text_end = 0, v_end = 0, c_end = 0;
        std::string value;
        int depth = 0;
        while (true) {
            xml::Token u = inner.next();
            if (u.kind == xml::Token::Kind::Eof || u.kind == xml::Token::Kind::Error) break;
            if (u.kind == xml::Token::Kind::Start) {
                if (depth == 0 && xml::local_name(u.name) == "v" && !u.self_closing) {
                    v_begin = u.begin;
                    v_text_begin = v_text_end = u.end;
                }
                if (!u.self_closing) ++depth;
            } else if (u.kind == xml::Token::Kind::Text && depth == 1 && v_begin) {
                value.append(u.text);
                v_text_end = u.end;
            } else if (u.kind == xml::Token::Kind::End) {
                if (depth == 0) {
                    c_end = u.begin;
                    break;
                }
                --depth;
                if (depth == 0 && xml::local_name(u.name) == "v") v_end = u.end;
            }
        }
        if (!shared) {
            // A date of a workbook with the other date system: the same day in this one.
            if (!v_begin || !v_end || !c_end || value.empty()) {
                replace_attrs(t, attrs);
                continue;
            }
            replace_attrs(t, attrs);
            out.append(x.substr(copied, v_text_begin - copied));
            char buf[64];
            double moved = std::strtod(value.c_str(), nullptr) + shift;
            auto res = std::to_chars(buf, buf + sizeof buf, moved);
            out.append(buf, res.ptr);
            copied = v_text_end;
            sc = xml::Scanner(x, c_end);
            continue;
        }
        std::size_t index = static_cast<std::size_t>(std::strtoul(value.c_str(), nullptr, 10));
        if (!v_begin || !v_end || !c_end || index >= sst.size()) {
            replace_attrs(t, attrs);
            continue;
        }
        const SstItem& item = sst[index];
        std::string cell_prefix;
        if (std::size_t colon = t.name.find(':'); colon != std::string_view::npos)
            cell_prefix = std::string(t.name.substr(0, colon + 1));
        if (item.rich && cell_prefix == sst_prefix) {
            attrs = xml::set_attr(attrs, "t", std::string_view("inlineStr"));
            replace_attrs(t, attrs);
            out.append(x.substr(copied, v_begin - copied));
            out += "<" + cell_prefix + "is>" + item.inner + "</" + cell_prefix + "is>";
            copied = v_end;
        } else {
            replace_attrs(t, attrs);
            out.append(x.substr(copied, v_text_begin - copied));
            out += std::to_string(dest_sst.intern(item.plain));
            ++references;
            copied = v_text_end;
        }
        sc = xml::Scanner(x, c_end);
    }
    out.append(x.substr(copied));
    if (references) dest_sst.add_references(references);
    return out;
}

// Table names and ids in use in a workbook.
struct Tables {
    std::set<std::string> names;  // upper-cased
    std::uint32_t max_id = 0;
};

Tables tables_of(Book& b, ContentTypes& ct) {
    Tables t;
    for (const std::string& part : b.package().part_names()) {
        if (part.find("table") == std::string::npos || ct.type_of(part) != kTableType) continue;
        std::string bytes = read_or_empty(b, part);
        std::size_t begin = 0;
        std::string_view attrs = root_attrs(bytes, begin);
        t.names.insert(upper(attr_value(attrs, "name")));
        t.names.insert(upper(attr_value(attrs, "displayName")));
        t.max_id = std::max<std::uint32_t>(
            t.max_id,
            static_cast<std::uint32_t>(std::strtoul(attr_value(attrs, "id").c_str(), nullptr, 10)));
    }
    for (pugi::xml_node n : defined_names(b.workbook_part()))
        t.names.insert(upper(n.attribute("name").value()));
    return t;
}

// Source sheet name -> destination sheet name.
using SheetRenames = std::vector<std::pair<std::string, std::string>>;

const std::string* renamed_in(const SheetRenames& group, std::string_view name) {
    for (const auto& [from, to] : group)
        if (same_sheet_name(from, name)) return &to;
    return nullptr;
}

class SheetCopy {
public:
    // `group`: the sheets copied together with this one, by source name, with their names in
    // the destination; references to them point at their copies.
    SheetCopy(Sheet& src, Book& dest, int position, const SheetRenames* group = nullptr)
        : src_(src),
          sb_(static_cast<Book&>(src.parent())),
          db_(dest),
          position_(position),
          same_(&sb_ == &dest),
          group_(group) {}

    Result<Worksheet*> run();

private:
    std::string plan_name(const std::string& src_part);
    Result<void> plan(const std::string& part);
    std::string transform(const std::string& part, std::string_view type, std::string text);
    std::string edit_formula(std::string_view f);
    std::string edit_reference(std::string_view f);
    int link_for_source(const std::string& sheet);
    // Keeps the values of the cells a reference to another sheet of the source uses.
    void cache_values(const SheetRef& ref);
    Result<void> copy_names();

    Sheet& src_;
    Book& sb_;
    Book& db_;
    int position_;
    bool same_;
    const SheetRenames* group_;
    std::string old_name_, new_name_;
    ContentTypes* sct_ = nullptr;
    ContentTypes* dct_ = nullptr;
    std::map<std::string, std::string> copied_;  // source part -> destination part
    std::vector<std::string> order_;             // source parts in the order planned
    std::set<std::string> reserved_;             // destination names planned (lower-cased)
    std::map<std::string, std::string> table_renames_;
    Tables tables_;
    int vml_block_ = 0;
    // How far the shape numbers of the sheet's VML drawing moved (its block changed): the
    // sheet's embedded objects and controls, and their drawing shapes, name them.
    int vml_shift_ = 0;
    // New ids of the sheet's threaded comments, shared by the threads and their notes.
    std::map<std::string, std::string> thread_ids_;
    std::unique_ptr<ExternalLinks> links_;
    std::vector<std::string> source_links_;  // targets of the source's external links, by index
    std::set<std::string> names_used_;       // upper-cased bare names in the copied formulas
};

std::string SheetCopy::plan_name(const std::string& src_part) {
    std::size_t slash = src_part.rfind('/');
    std::string folder = src_part.substr(0, slash + 1);
    std::string file = src_part.substr(slash + 1);
    std::size_t dot = file.rfind('.');
    std::string ext = dot == std::string::npos ? "" : file.substr(dot);
    std::string stem = file.substr(0, dot == std::string::npos ? file.size() : dot);
    while (!stem.empty() && std::isdigit(static_cast<unsigned char>(stem.back()))) stem.pop_back();
    for (int n = 1;; ++n) {
        std::string name = folder + stem + std::to_string(n) + ext;
        if (!db_.package().has(name) && !reserved_.count(text::lower(name))) {
            reserved_.insert(text::lower(name));
            return name;
        }
    }
}

Result<void> SheetCopy::plan(const std::string& part) {
    copied_[part] = plan_name(part);
    order_.push_back(part);
    std::string rels_name = rels_path_for(part);
    if (!sb_.package().has(rels_name)) return {};
    auto bytes = sb_.package().read(rels_name);
    if (!bytes) return bytes.error();
    Relationships rels;
    if (auto r = rels.parse(*bytes, rels_name); !r) return r;
    for (const auto& item : rels.items()) {
        if (item.external) continue;
        std::string_view kind = rel_kind(item.type);
        if (same_ && shared_within_book(kind)) continue;
        if (!same_ && (kind == "pivotTable" || kind == "pivotCacheDefinition")) continue;
        auto stored = sb_.package().find(resolve_target(part, item.target));
        if (!stored || copied_.count(*stored)) continue;
        if (auto r = plan(*stored); !r) return r;
    }
    return {};
}

int SheetCopy::link_for_source(const std::string& sheet) {
    if (!links_) links_ = std::make_unique<ExternalLinks>(db_);
    std::string path = sb_.full_name();
    std::string target = !path.empty() && path.front() == '/' ? "file://" + path : path;
    return links_->index(target, sheet);
}

void SheetCopy::cache_values(const SheetRef& ref) {
    // Ranges of whole columns or rows, names and 3-D references are not cached: the first are
    // too large to copy, the others name no cells of one sheet.
    constexpr std::int64_t kMostCells = 10000;
    if (!ref.last.empty()) return;
    auto area = xl::parse_address(ref.cells);
    if (!area) return;
    std::int64_t cells =
        std::int64_t{area->last_row - area->first_row + 1} * (area->last_col - area->first_col + 1);
    if (cells > kMostCells) return;
    xl::Worksheet* ws = sb_.worksheet(ref.first);
    if (!ws) return;
    std::string path = sb_.full_name();
    std::string target = !path.empty() && path.front() == '/' ? "file://" + path : path;
    ws->for_each_cell(*area, [&](xl::CellRef c) {
        if (links_->has_cell(target, ref.first, c.row, c.col)) return;
        xl::Value v = ws->cell_value(c);
        std::string type, text;
        if (const double* d = std::get_if<double>(&v)) {
            char buf[64];
            text.assign(buf, std::to_chars(buf, buf + sizeof buf, *d).ptr);
        } else if (const xl::DateTime* t = std::get_if<xl::DateTime>(&v)) {
            // Days since 1899-12-30 as a serial of the destination's date system.
            double serial = db_.date1904()   ? t->serial - 1462
                            : t->serial < 61 ? t->serial - 1
                                             : t->serial;
            char buf[64];
            text.assign(buf, std::to_chars(buf, buf + sizeof buf, serial).ptr);
        } else if (const bool* b = std::get_if<bool>(&v)) {
            type = "b";
            text = *b ? "1" : "0";
        } else if (const std::string* str = std::get_if<std::string>(&v)) {
            type = "str";
            text = *str;
        } else if (const xl::CellError* e = std::get_if<xl::CellError>(&v)) {
            type = "e";
            text = e->code;
        } else {
            return;
        }
        links_->add_cell(target, ref.first, c.row, c.col, std::move(type), std::move(text));
    });
}

std::string SheetCopy::edit_formula(std::string_view f) {
    for (const std::string& n : formula_names(f)) names_used_.insert(upper(n));
    std::string out = rewrite_sheet_refs(f, [&](const SheetRef& r) -> std::optional<std::string> {
        bool self = r.external.empty() && r.last.empty() && same_sheet_name(r.first, old_name_);
        if (self) {
            if (new_name_ == old_name_) return std::nullopt;
            return sheet_ref_text(SheetRef{"", new_name_, "", false});
        }
        if (same_) return std::nullopt;
        SheetRef e = r;
        if (group_ && r.external.empty()) {
            const std::string* first = renamed_in(*group_, r.first);
            const std::string* last = r.last.empty() ? nullptr : renamed_in(*group_, r.last);
            if (first && (r.last.empty() || last)) {
                e.first = *first;
                if (last) e.last = *last;
                return sheet_ref_text(e);
            }
        }
        if (!r.external.empty()) {
            // A link of the source workbook: the same file through a link of the destination.
            std::size_t k =
                static_cast<std::size_t>(std::strtoul(r.external.substr(1).c_str(), nullptr, 10));
            if (k == 0 || k > source_links_.size() || source_links_[k - 1].empty())
                return std::nullopt;
            if (!links_) links_ = std::make_unique<ExternalLinks>(db_);
            int index = links_->index(source_links_[k - 1], r.first);
            if (!r.last.empty()) links_->index(source_links_[k - 1], r.last);
            e.external = "[" + std::to_string(index) + "]";
            return sheet_ref_text(e);
        }
        // Another sheet of the source workbook: an external reference to the source file.
        int index = link_for_source(r.first);
        if (!r.last.empty()) link_for_source(r.last);
        cache_values(r);
        e.external = "[" + std::to_string(index) + "]";
        return sheet_ref_text(e);
    });
    for (const auto& [from, to] : table_renames_) out = rename_table_in_formula(out, from, to);
    return out;
}

std::string SheetCopy::edit_reference(std::string_view f) {
    if (new_name_ == old_name_) return std::string(f);
    return rename_sheet_in_formula(f, old_name_, new_name_);
}

std::string SheetCopy::transform(const std::string& part, std::string_view type, std::string x) {
    FormulaEdit element = [this](std::string_view f) { return edit_formula(f); };
    FormulaEdit attribute = [this](std::string_view f) { return edit_reference(f); };
    if (type == kThreadedCommentsType || type == kCommentsType)
        return renew_thread_ids(x, thread_ids_);
    if (type == kTableType) {
        std::string old_name;
        x = replace_root_attrs(x, [&](std::string_view attrs) {
            std::string a(attrs);
            old_name = attr_value(attrs, "name");
            a = xml::set_attr(a, "id", std::to_string(++tables_.max_id));
            std::string name = old_name;
            if (tables_.names.count(upper(name))) {
                std::string base = name;
                while (!base.empty() && std::isdigit(static_cast<unsigned char>(base.back())))
                    base.pop_back();
                if (base.empty()) base = "Table";
                for (int n = 1;; ++n) {
                    name = base + std::to_string(n);
                    if (!tables_.names.count(upper(name))) break;
                }
                table_renames_[old_name] = name;
            }
            tables_.names.insert(upper(name));
            std::string esc = escaped(name);
            a = xml::set_attr(a, "name", std::string_view(esc));
            a = xml::set_attr(a, "displayName", std::string_view(esc));
            return a;
        });
    }
    if (part.size() > 4 && text::lower(part.substr(part.size() - 4)) == ".vml") {
        int old_block = vml_block(x);
        if (old_block > 0) {
            int new_block = ++vml_block_;
            if (vml_shift_ == 0 && x.find("ClientData") != std::string::npos)
                vml_shift_ = 1024 * (new_block - old_block);
            x = renumber_vml(x, old_block, new_block);
        }
        return x;
    }
    if (type == kTableType || type == kChartType || type == kChartExType || type == kDrawingType ||
        type == kCtrlPropType) {
        if (auto edited = rewrite_part_formulas(x, element, attribute)) x = std::move(*edited);
    }
    return x;
}

Result<void> SheetCopy::copy_names() {
    WorkbookPart& swp = sb_.workbook_part();
    WorkbookPart& dwp = db_.workbook_part();
    int src_pos = sb_.sheet_position(&src_);
    if (same_ && src_pos >= position_) ++src_pos;  // its names were renumbered already
    std::vector<pugi::xml_node> local, global;
    for (pugi::xml_node n : defined_names(swp)) {
        pugi::xml_attribute id = n.attribute("localSheetId");
        if (id && id.as_int(-1) == src_pos)
            local.push_back(n);
        else if (!id)
            global.push_back(n);
    }
    std::set<std::string> dest_globals;
    if (!same_)
        for (pugi::xml_node n : defined_names(dwp))
            if (!n.attribute("localSheetId"))
                dest_globals.insert(upper(n.attribute("name").value()));
    pugi::xml_node list = dwp.defined_names_node();
    auto add = [&](pugi::xml_node n, bool as_local) {
        if (!list) list = dwp.insert_in_order("definedNames");
        pugi::xml_node copy = list.append_copy(n);
        if (!same_) {
            // The element takes the destination's prefix.
            copy.set_name((xml::prefix_of(dwp.root()) + "definedName").c_str());
        }
        if (as_local) {
            pugi::xml_attribute a = copy.attribute("localSheetId");
            if (!a) a = copy.append_attribute("localSheetId");
            a.set_value(position_);
        }
        std::string f = copy.text().get();
        copy.text().set(edit_formula(f).c_str());
    };
    for (pugi::xml_node n : local) add(n, true);
    if (!same_) {
        // Workbook-level names the copied formulas use come along; one that the destination
        // has already becomes local to the copy.
        for (pugi::xml_node n : global) {
            std::string name = upper(n.attribute("name").value());
            if (!names_used_.count(name)) continue;
            add(n, dest_globals.count(name) > 0);
        }
    }
    if (!local.empty() || !global.empty()) dwp.mark_dirty();
    return {};
}

Result<Worksheet*> SheetCopy::run() {
    // The packages are read as they stand: parts that the engine holds changed in memory are
    // the sheet (read through its part object), the string table (entries added since opening
    // are plain text, read from the table object) and the workbook part (used as an object).
    auto sct = sb_.content_types();
    if (!sct) return sct.error();
    auto dct = db_.content_types();
    if (!dct) return dct.error();
    sct_ = *sct;
    dct_ = *dct;
    old_name_ = src_.name();
    std::vector<std::string> dest_names = sheet_names(db_);
    const std::string* planned = group_ ? renamed_in(*group_, old_name_) : nullptr;
    new_name_ = planned ? *planned :
        same_ || std::any_of(dest_names.begin(), dest_names.end(),
                             [&](const std::string& n) { return same_sheet_name(n, old_name_); })
            ? copy_sheet_name(old_name_, dest_names)
            : old_name_;
    if (!same_) {
        pugi::xml_node refs = xml::child(sb_.workbook_part().root(), "externalReferences");
        for (pugi::xml_node n = refs.first_child(); n; n = n.next_sibling()) {
            if (n.type() != pugi::node_element) continue;
            std::string target;
            if (auto item = sb_.workbook_rels().by_id(sheet_rel_id(n))) {
                std::string part = resolve_target(sb_.workbook_part_name(), item->target);
                Relationships rels;
                std::string bytes = read_or_empty(sb_, rels_path_for(part));
                if (!bytes.empty() && rels.parse(bytes, rels_path_for(part)))
                    if (auto path = rels.by_type(kExternalLinkPathRel)) target = path->target;
            }
            source_links_.push_back(target);
        }
    }

    // Plan the parts, then read and transform every one before anything is written.
    const std::string root = src_.part_name();
    if (auto r = plan(root); !r) return r.error();
    const std::string new_part = copied_[root];
    std::vector<std::pair<std::string, std::string>> writes;  // destination part, content
    std::vector<std::pair<std::string, std::string>> types;   // destination part, content type
    StyleMerge styles;
    std::vector<SstItem> sst;
    std::string sst_prefix;
    if (!same_) {
        if (auto r = styles.load(read_or_empty(sb_, workbook_target(sb_, rel::kStyles)),
                                 read_or_empty(db_, workbook_target(db_, rel::kStyles)));
            !r)
            return r.error();
        // The source's string table, read once for all the sheets copied from it.
        if (!sb_.structure_cache) sb_.structure_cache = std::make_shared<StructureCache>();
        StructureCache& cache = *sb_.structure_cache;
        std::string sst_part = workbook_target(sb_, rel::kSharedStrings);
        std::size_t part_size = sst_part.empty() ? 0 : sb_.package().size(sst_part);
        if (cache.sst_part_size != part_size) {
            cache.sst = read_string_table(read_or_empty(sb_, sst_part), cache.sst_prefix);
            cache.sst_part_size = part_size;
        }
        sst = cache.sst;
        sst_prefix = cache.sst_prefix;
        // Strings the engine added since the workbook was opened are not in the part yet.
        SharedStrings& table = sb_.shared_strings();
        for (std::size_t i = sst.size(); i < table.size(); ++i)
            sst.push_back({"", table.at(i), false});
    }
    // What the copied parts must not clash with in the destination: table names and ids, and
    // the shape blocks of VML drawings (looked up only when such parts come along).
    bool any_table = false, any_vml = false;
    for (const std::string& p : order_) {
        any_table = any_table || sct_->type_of(p) == kTableType;
        any_vml = any_vml || (p.size() > 4 && text::lower(p.substr(p.size() - 4)) == ".vml");
    }
    if (any_table) tables_ = tables_of(db_, *dct_);
    if (any_vml)
        for (const std::string& part : db_.package().part_names())
            if (part.size() > 4 && text::lower(part.substr(part.size() - 4)) == ".vml")
                vml_block_ = std::max(vml_block_, vml_block(read_or_empty(db_, part)));
    // Tables first, so that the sheet's formulas see their new names.
    std::vector<std::string> ordered = order_;
    std::stable_partition(ordered.begin(), ordered.end(),
                          [&](const std::string& p) { return sct_->type_of(p) == kTableType; });
    for (const std::string& part : ordered) {
        auto bytes = part == root ? sheet_text(sb_, src_) : sb_.package().read(part);
        if (!bytes) return bytes.error();
        std::string type = sct_->type_of(part);
        std::string x;
        if (part == root) {
            x = with_code_name(without_tab_selected(*bytes), new_code_name(db_));
            FormulaEdit element = [this](std::string_view f) { return edit_formula(f); };
            FormulaEdit attribute = [this](std::string_view f) { return edit_reference(f); };
            if (auto edited = rewrite_part_formulas(x, element, attribute)) x = std::move(*edited);
            if (!same_) {
                const bool src_1904 = sb_.date1904();
                const Styles& src_styles = sb_.styles();
                auto date_shift = [&](std::uint32_t xf) {
                    if (src_1904 == db_.date1904()) return 0.0;
                    if (!has_date_part(src_styles.format_code(xf))) return 0.0;
                    return src_1904 ? 1462.0 : -1462.0;
                };
                x = restyle_sheet(x, styles, sst, sst_prefix, db_.shared_strings(), date_shift);
            }
        } else {
            x = transform(part, type, std::move(*bytes));
        }
        writes.emplace_back(copied_[part], std::move(x));
        if (!type.empty()) types.emplace_back(copied_[part], type);
        // The part's relationships, with the targets of copied parts renamed.
        std::string rels_name = rels_path_for(part);
        if (!sb_.package().has(rels_name)) continue;
        auto rels_bytes = sb_.package().read(rels_name);
        if (!rels_bytes) return rels_bytes.error();
        xml::Document rels;
        if (auto r = xml::load(rels, *rels_bytes, rels_name); !r) return r.error();
        for (pugi::xml_node n = rels.root().first_child(); n;) {
            pugi::xml_node next = n.next_sibling();
            if (n.type() == pugi::node_element &&
                std::string_view(n.attribute("TargetMode").value()) != "External") {
                std::string target = resolve_target(part, n.attribute("Target").value());
                auto stored = sb_.package().find(target);
                auto it = stored ? copied_.find(*stored) : copied_.end();
                if (it != copied_.end()) {
                    n.attribute("Target").set_value(
                        relative_target(copied_[part], it->second).c_str());
                } else if (!same_) {
                    // A part that does not come along (a pivot table): its link goes too.
                    rels.root().remove_child(n);
                }
            }
            n = next;
        }
        writes.emplace_back(rels_path_for(copied_[part]), xml::save(rels));
    }
    // The destination's sheet indexes move up for the sheet that comes in.
    remap_sheet_indexes(db_.workbook_part(), [&](int i) { return i >= position_ ? i + 1 : i; });
    if (auto r = copy_names(); !r) return r.error();

    if (vml_shift_ != 0)
        for (auto& [name, content] : writes) {
            if (name == new_part) {
                content = shift_shape_numbers(content, "shapeId=\"", "", vml_shift_);
            } else {
                auto t = std::find_if(types.begin(), types.end(),
                                      [&part = name](const auto& nt) { return nt.first == part; });
                if (t != types.end() && t->second == kDrawingType)
                    content = shift_shape_numbers(content, " id=\"", "cNvPr", vml_shift_);
            }
        }
    // Write: parts, content types, the sheet list, styles, links.
    // The persons that copied threaded comments name, for the destination's persons list.
    std::set<std::string> persons;
    for (const auto& [name, type] : types) {
        if (type != kThreadedCommentsType) continue;
        for (const auto& [part, content] : writes) {
            if (part != name) continue;
            for (std::size_t at = content.find("personId=\""); at != std::string::npos;
                 at = content.find("personId=\"", at + 1))
                persons.insert(content.substr(at + 10, content.find('"', at + 10) - at - 10));
        }
    }
    for (auto& [name, content] : writes) db_.package().write(name, std::move(content));
    for (const auto& [name, type] : types) {
        if (dct_->type_of(name) == type) continue;
        std::size_t dot = name.rfind('.');
        std::string ext = dot == std::string::npos ? "" : text::lower(name.substr(dot + 1));
        if (ext == "xml")
            dct_->set_override(name, type);
        else
            dct_->ensure_default(ext, type);
        if (dct_->type_of(name) != type) dct_->set_override(name, type);
    }
    bool macro = src_.kind() == SheetKind::Macro;
    std::string rel_id =
        db_.workbook_rels().add(macro ? rel::kMacrosheet : rel::kWorksheet,
                                relative_target(db_.workbook_part_name(), new_part));
    insert_sheet_element(db_.workbook_part(), position_, new_name_, rel_id);
    if (!same_) {
        if (styles.changed()) {
            std::string styles_part = workbook_target(db_, rel::kStyles);
            if (styles_part.empty()) {
                std::string folder =
                    db_.workbook_part_name().substr(0, db_.workbook_part_name().rfind('/') + 1);
                styles_part = folder + "styles.xml";
                db_.workbook_rels().add(rel::kStyles,
                                        relative_target(db_.workbook_part_name(), styles_part));
                dct_->set_override(styles_part, ctype::kStyles);
            }
            db_.package().write(styles_part, styles.destination_xml());
            db_.styles_changed();
        }
        if (links_)
            if (auto r = links_->write(*dct_); !r) return r.error();
        if (auto r = merge_persons(sb_, db_, persons); !r) return r.error();
    }

    auto sheet = std::make_unique<Sheet>(db_, new_name_, new_part, src_.kind());
    Sheet* raw = sheet.get();
    db_.sheets().insert(db_.sheets().begin() + position_, std::move(sheet));
    db_.document_module_added(*raw, &src_);
    db_.set_active(raw);
    db_.app().set_active(&db_);
    db_.cells_changed();
    db_.structure_changed();
    return static_cast<Worksheet*>(raw);
}

}  // namespace

Result<std::vector<Worksheet*>> copy_sheets(const std::vector<Sheet*>& sources, Book& dest,
                                            Worksheet& after,
                                            const std::vector<std::string>& names) {
    Sheet* anchor = nullptr;
    for (auto& s : dest.sheets())
        if (s.get() == &after) anchor = s.get();
    if (!anchor) return refused("コピー先のシートが見つかりません。");
    // Every copy's name is settled first, so that references among the copies can name sheets
    // that are not there yet.
    std::vector<std::string> taken = sheet_names(dest);
    SheetRenames group;
    for (std::size_t i = 0; i < sources.size(); ++i) {
        Sheet* s = sources[i];
        std::string name = names.empty() ? s->name() : names[i];
        if (auto r = check_sheet_name(name, {}); !r) return r.error();
        bool clash = std::any_of(taken.begin(), taken.end(),
                                 [&](const std::string& n) { return same_sheet_name(n, name); });
        if (clash) name = copy_sheet_name(name, taken);
        taken.push_back(name);
        group.emplace_back(s->name(), name);
    }
    std::vector<Worksheet*> copies;
    int position = dest.sheet_position(anchor) + 1;
    for (Sheet* s : sources) {
        SheetCopy copy(*s, dest, position++, &group);
        auto copied = copy.run();
        if (!copied) return copied.error();
        copies.push_back(*copied);
    }
    return copies;
}

Result<Worksheet*> copy_sheet(Sheet& source, Book& dest, Worksheet* before, Worksheet* after) {
    Sheet* anchor = nullptr;
    for (auto& s : dest.sheets())
        if (s.get() == (before ? before : after)) anchor = s.get();
    if (!anchor) return refused("コピー先のシートが見つかりません。");
    int position = dest.sheet_position(anchor) + (after ? 1 : 0);
    SheetCopy copy(source, dest, position);
    return copy.run();
}

struct PasteTransfer::Impl {
    Book& source;
    Book& dest;
    StyleMerge styles;
    std::unique_ptr<ExternalLinks> links;
    std::string target;  // the source's file as a link names it
};

PasteTransfer::PasteTransfer(Book& source, Book& dest)
    : impl_(std::make_unique<Impl>(Impl{source, dest, {}, nullptr, {}})) {
    std::string path = source.full_name();
    impl_->target = !path.empty() && path.front() == '/' ? "file://" + path : path;
}

PasteTransfer::~PasteTransfer() = default;

Result<void> PasteTransfer::load() {
    return impl_->styles.load(read_or_empty(impl_->source, workbook_target(impl_->source, rel::kStyles)),
                              read_or_empty(impl_->dest, workbook_target(impl_->dest, rel::kStyles)));
}

std::uint32_t PasteTransfer::cell_format(std::uint32_t xf) { return impl_->styles.cell_format(xf); }

std::uint32_t PasteTransfer::differential_format(std::uint32_t dxf) {
    return impl_->styles.differential_format(dxf);
}

std::string PasteTransfer::formula(std::string_view f) {
    Impl& m = *impl_;
    return rewrite_sheet_refs(f, [&](const SheetRef& r) -> std::optional<std::string> {
        if (!r.external.empty()) return std::nullopt;  // already another workbook's
        if (!m.links) m.links = std::make_unique<ExternalLinks>(m.dest);
        int index = m.links->index(m.target, r.first);
        if (!r.last.empty()) m.links->index(m.target, r.last);
        // The values the reference reads, so that the link shows them before it is updated.
        if (auto area = xl::parse_address(r.cells); area && r.last.empty() &&
            std::int64_t{area->last_row - area->first_row + 1} *
                    (area->last_col - area->first_col + 1) <= 10000)
            if (xl::Worksheet* ws = m.source.worksheet(r.first))
                ws->for_each_cell(*area, [&](xl::CellRef c) {
                    xl::Value v = ws->cell_value(c);
                    std::string type, text;
                    char buf[64];
                    if (const double* d = std::get_if<double>(&v)) {
                        text.assign(buf, std::to_chars(buf, buf + sizeof buf, *d).ptr);
                    } else if (const xl::DateTime* t = std::get_if<xl::DateTime>(&v)) {
                        double serial = t->serial < 61 ? t->serial - 1 : t->serial;
                        text.assign(buf, std::to_chars(buf, buf + sizeof buf, serial).ptr);
                    } else if (const bool* b = std::get_if<bool>(&v)) {
                        type = "b";
                        text = *b ? "1" : "0";
                    } else if (const std::string* str = std::get_if<std::string>(&v)) {
                        type = "str";
                        text = *str;
                    } else if (const xl::CellError* e = std::get_if<xl::CellError>(&v)) {
                        type = "e";
                        text = e->code;
                    } else {
                        return;
                    }
                    if (!m.links->has_cell(m.target, r.first, c.row, c.col))
                        m.links->add_cell(m.target, r.first, c.row, c.col, std::move(type),
                                          std::move(text));
                });
        SheetRef e = r;
        e.external = "[" + std::to_string(index) + "]";
        return sheet_ref_text(e);
    });
}

Result<void> PasteTransfer::finish() {
    Book& db = impl_->dest;
    auto ct = db.content_types();
    if (!ct) return ct.error();
    if (impl_->styles.changed()) {
        std::string styles_part = workbook_target(db, rel::kStyles);
        if (styles_part.empty()) {
            std::string folder = db.workbook_part_name().substr(0, db.workbook_part_name().rfind('/') + 1);
            styles_part = folder + "styles.xml";
            db.workbook_rels().add(rel::kStyles, relative_target(db.workbook_part_name(), styles_part));
            (*ct)->set_override(styles_part, ctype::kStyles);
        }
        db.package().write(styles_part, impl_->styles.destination_xml());
        db.styles_changed();
    }
    if (impl_->links)
        if (auto r = impl_->links->write(**ct); !r) return r;
    return {};
}

namespace {

// Writes a changed styles part of `db`, adding the part when the workbook had none.
Result<void> store_styles(Book& db, const StyleMerge& styles) {
    auto ct = db.content_types();
    if (!ct) return ct.error();
    std::string styles_part = workbook_target(db, rel::kStyles);
    if (styles_part.empty()) {
        std::string folder = db.workbook_part_name().substr(0, db.workbook_part_name().rfind('/') + 1);
        styles_part = folder + "styles.xml";
        db.workbook_rels().add(rel::kStyles, relative_target(db.workbook_part_name(), styles_part));
        (*ct)->set_override(styles_part, ctype::kStyles);
    }
    db.package().write(styles_part, styles.destination_xml());
    db.styles_changed();
    db.set_saved(false);
    return {};
}

}  // namespace

std::vector<std::string> named_styles(Book& book) {
    StyleMerge m;
    std::string part = read_or_empty(book, workbook_target(book, rel::kStyles));
    if (!m.load(part, part)) return {};
    return m.source_style_names();
}

Result<void> merge_named_styles(Book& source, Book& dest, const std::vector<std::string>& names) {
    StyleMerge m;
    if (auto r = m.load(read_or_empty(source, workbook_target(source, rel::kStyles)),
                        read_or_empty(dest, workbook_target(dest, rel::kStyles)));
        !r)
        return r;
    std::vector<std::string> wanted = names.empty() ? m.source_style_names() : names;
    for (const std::string& n : wanted)
        if (!m.merge_named_style(n))
            return refused("コピー元のブックにスタイル「" + n + "」がありません。");
    if (!m.changed()) return {};
    return store_styles(dest, m);
}

}  // namespace sheaflow::xl::native

namespace sheaflow::xl::native {

namespace {

// The value of a cell as a link keeps it: the cell type attribute and the value text; nullopt
// for an empty cell.
std::optional<std::pair<std::string, std::string>> link_value(const xl::Value& v, bool date1904) {
    char buf[64];
    if (const double* d = std::get_if<double>(&v))
        return std::pair{std::string(), std::string(buf, std::to_chars(buf, buf + 64, *d).ptr)};
    if (const xl::DateTime* t = std::get_if<xl::DateTime>(&v)) {
        double serial = date1904 ? t->serial - 1462 : t->serial < 61 ? t->serial - 1 : t->serial;
        return std::pair{std::string(), std::string(buf, std::to_chars(buf, buf + 64, serial).ptr)};
    }
    if (const bool* b = std::get_if<bool>(&v))
        return std::pair{std::string("b"), std::string(*b ? "1" : "0")};
    if (const std::string* s = std::get_if<std::string>(&v)) return std::pair{"str", *s};
    if (const xl::CellError* e = std::get_if<xl::CellError>(&v))
        return std::pair{std::string("e"), e->code};
    return std::nullopt;
}

// The open workbook whose full path or (for a prefix without a folder) name is `path`.
xl::Workbook* open_workbook(Book& b, const std::string& path, bool by_name) {
    xl::Workbooks& books = b.app().workbooks();
    for (int i = 1; i <= books.count(); ++i) {
        xl::Workbook* w = books.item(i);
        if (w && (by_name ? upper(w->name()) == upper(path) : w->full_name() == path)) return w;
    }
    return nullptr;
}

}  // namespace

Result<std::string> link_external_references(Book& b, std::string_view formula) {
    std::vector<xl::FormulaToken> tokens = xl::tokenize_formula(formula);
    std::optional<ExternalLinks> links;
    bool changed = false;
    for (xl::FormulaToken& t : tokens) {
        if (t.book.size() < 3 || t.book.back() != ']') continue;
        std::size_t open = t.book.rfind('[');
        if (open == std::string::npos) continue;
        std::string folder = t.book.substr(0, open);
        std::string file = t.book.substr(open + 1, t.book.size() - open - 2);
        // "[1]" is already a link of this workbook.
        if (folder.empty() && !file.empty() &&
            std::all_of(file.begin(), file.end(), [](char c) { return c >= '0' && c <= '9'; }))
            continue;
        xl::Workbook* source = nullptr;
        std::string path;
        if (folder.empty()) {
            // A workbook named without its folder must be open: its path is taken from it.
            source = open_workbook(b, file, true);
            if (!source) return refused("ブック「" + file + "」が開かれていません。");
            path = source->full_name();
        } else {
            if (folder.back() != '/' && folder.back() != '\\') folder += '/';
            path = folder + file;
            source = open_workbook(b, path, false);
        }
        if (path.empty() || path.front() != '/')
            return refused("リンク先のブック「" + path + "」の場所が分かりません。");
        const std::string target = "file://" + path;
        if (!links) links.emplace(b);
        int index = links->index(target, t.sheet);
        if (!t.last_sheet.empty()) links->index(target, t.last_sheet);
        // The values the formula uses, kept in the link for a reader that does not open the
        // other workbook (a single sheet's cells only, and not whole columns).
        xl::Worksheet* ws = source && t.last_sheet.empty() ? source->worksheet(t.sheet) : nullptr;
        const xl::Area& a = t.area;
        if (ws && t.kind == xl::TokenKind::Reference &&
            std::int64_t{a.last_row - a.first_row + 1} * (a.last_col - a.first_col + 1) <= 10000) {
            ws->for_each_cell(a, [&](xl::CellRef c) {
                if (auto v = link_value(ws->cell_value(c), b.date1904()))
                    links->add_cell(target, t.sheet, c.row, c.col, v->first, v->second);
            });
        }
        t.book = "[" + std::to_string(index) + "]";
        t.quoted = sheet_ref_text(SheetRef{t.book, t.sheet, t.last_sheet, false}).front() == '\'';
        changed = true;
    }
    if (!changed) return std::string(formula);
    auto ct = b.content_types();
    if (!ct) return ct.error();
    if (auto r = links->write(**ct); !r) return r.error();
    return (formula.substr(0, 1) == "=" ? "=" : "") + xl::formula_from_tokens(tokens);
}

}  // namespace sheaflow::xl::native
