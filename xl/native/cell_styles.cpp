// The Styles collection: the cell styles of xl/styles.xml (<cellStyles> and the style formats
// of <cellStyleXfs>), how many cells, rows and columns use each, and deleting styles. A deleted
// style's cell formats are re-parented to Normal and apply their own formats, so every cell
// keeps what it showed; the cell format indexes themselves never change, so no sheet
// part is rewritten.

#include <map>
#include <set>

#include "util/text.h"
#include "xl/native/book.h"
#include "xl/native/structure_support.h"

namespace sheaflow::xl::native {
namespace {

std::vector<pugi::xml_node> elements(pugi::xml_node list, std::string_view local) {
    std::vector<pugi::xml_node> out;
    for (pugi::xml_node n : list.children())
        if (n.type() == pugi::node_element && xml::local_name(n.name()) == local) out.push_back(n);
    return out;
}

void set_count(pugi::xml_node list, std::size_t n) {
    if (!list) return;
    pugi::xml_attribute a = list.attribute("count");
    if (!a) a = list.append_attribute("count");
    a.set_value(static_cast<unsigned long long>(n));
}

// How many cells, rows and columns of every worksheet use each cell format.
Result<std::map<std::uint32_t, std::int64_t>> cell_format_uses(Book& b) {
    std::map<std::uint32_t, std::int64_t> uses;
    for (const auto& s : b.sheets()) {
        if (!s->has_cells()) continue;
        auto text = structure::sheet_text(b, *s);
        if (!text) return text.error();
        xml::Scanner sc(*text);
        while (true) {
            xml::Token t = sc.next();
            if (t.kind == xml::Token::Kind::Eof) break;
            if (t.kind == xml::Token::Kind::Error)
                return Error::make(Error::Code::BadFormat,
                                   "シート「" + s->name() + "」が壊れています。", s->part_name());
            if (t.kind != xml::Token::Kind::Start) continue;
            std::string_view local = xml::local_name(t.name);
            const char* attr = local == "c" || local == "row" ? "s"
                               : local == "col"              ? "style"
                                                             : nullptr;
            if (!attr) continue;
            if (auto v = xml::find_attr(t.attrs, attr))
                ++uses[static_cast<std::uint32_t>(std::strtoul(std::string(*v).c_str(), nullptr, 10))];
            else if (local == "c")
                ++uses[0];
        }
    }
    return uses;
}

// Styles that table parts name (their header, data and total cells' styles).
std::set<std::string> styles_named_by_tables(Book& b) {
    std::set<std::string> out;
    auto ct = b.content_types();
    if (!ct) return out;
    for (const std::string& name : b.package().part_names()) {
        if ((*ct)->type_of(name) != structure::kTableType) continue;
        auto text = b.package().read(name);
        if (!text) continue;
        xml::Scanner sc(*text);
        for (xml::Token t = sc.next();
             t.kind != xml::Token::Kind::Eof && t.kind != xml::Token::Kind::Error; t = sc.next()) {
            if (t.kind != xml::Token::Kind::Start) continue;
            xml::for_each_attr(t.attrs, [&](std::string_view n, std::string_view v) {
                if (n.size() > 9 && n.substr(n.size() - 9) == "CellStyle")
                    out.insert(text::upper(xml::unescape(v)));
                return true;
            });
        }
    }
    return out;
}

struct StylesDoc {
    std::string part;
    xml::Document doc;
};

Result<StylesDoc> load_styles(Book& b) {
    StylesDoc d;
    auto item = b.workbook_rels().by_type(rel::kStyles);
    if (!item) return Error::make(Error::Code::NotFound, "スタイルの部品がありません。");
    d.part = resolve_target(b.workbook_part_name(), item->target);
    auto bytes = b.package().read(d.part);
    if (!bytes) return bytes.error();
    if (auto r = xml::load(d.doc, *bytes, d.part); !r) return r.error();
    return d;
}

// A cell format leaves its style for Normal: it applies its own number format, font, fill,
// border, alignment and protection from now on. Its own values are what the engine and the
// application draw (a format written by the application holds the style's values where it
// does not apply its own), so the cell looks as it did.
void keep_formats(pugi::xml_node xf) {
    for (const char* apply : {"applyNumberFormat", "applyFont", "applyFill", "applyBorder",
                              "applyAlignment", "applyProtection"}) {
        pugi::xml_attribute a = xf.attribute(apply);
        if (!a) a = xf.append_attribute(apply);
        a.set_value("1");
    }
}

}  // namespace

Result<std::vector<CellStyleInfo>> Book::cell_styles() {
    if (format_ == Format::Csv) return Error::failed("CSVファイルにはスタイルがありません。");
    auto d = load_styles(*this);
    if (!d) return d.error();
    auto uses = cell_format_uses(*this);
    if (!uses) return uses.error();
    pugi::xml_node root = d->doc.root();
    std::map<std::uint32_t, std::int64_t> by_style_xf;
    std::vector<pugi::xml_node> xfs = elements(xml::child(root, "cellXfs"), "xf");
    for (const auto& [index, n] : *uses)
        if (index < xfs.size()) by_style_xf[xfs[index].attribute("xfId").as_uint(0)] += n;
    std::vector<CellStyleInfo> out;
    for (pugi::xml_node s : elements(xml::child(root, "cellStyles"), "cellStyle")) {
        CellStyleInfo info;
        info.name = s.attribute("name").value();
        info.builtin_id = s.attribute("builtinId") ? s.attribute("builtinId").as_int() : -1;
        std::string_view hidden = s.attribute("hidden").value();
        info.hidden = hidden == "1" || hidden == "true";
        info.cells = by_style_xf[s.attribute("xfId").as_uint(0)];
        out.push_back(std::move(info));
    }
    return out;
}

Result<int> Book::delete_cell_styles(const std::vector<std::string>& names) {
    if (format_ == Format::Csv) return Error::failed("CSVファイルにはスタイルがありません。");
    auto d = load_styles(*this);
    if (!d) return d.error();
    std::set<std::string> wanted;
    for (const std::string& n : names) wanted.insert(text::upper(n));
    const std::set<std::string> in_tables = styles_named_by_tables(*this);
    pugi::xml_node root = d->doc.root();
    pugi::xml_node style_list = xml::child(root, "cellStyles");
    pugi::xml_node style_xf_list = xml::child(root, "cellStyleXfs");
    std::vector<pugi::xml_node> styles = elements(style_list, "cellStyle");
    std::vector<pugi::xml_node> style_xfs = elements(style_xf_list, "xf");

    std::vector<pugi::xml_node> doomed;
    std::set<std::uint32_t> kept_xf_ids = {0};  // Normal's format stays whatever happens
    for (pugi::xml_node s : styles) {
        std::string upper = text::upper(s.attribute("name").value());
        bool normal = std::string_view(s.attribute("builtinId").value()) == "0";
        if (wanted.count(upper) && !normal && !in_tables.count(upper))
            doomed.push_back(s);
        else
            kept_xf_ids.insert(s.attribute("xfId").as_uint(0));
    }
    if (doomed.empty()) return 0;

    // Style formats no remaining style uses go; the others are renumbered in order.
    std::vector<std::int64_t> new_index(style_xfs.size(), -1);
    std::uint32_t next = 0;
    for (std::uint32_t i = 0; i < style_xfs.size(); ++i)
        if (kept_xf_ids.count(i)) new_index[i] = next++;
    for (pugi::xml_node x : elements(xml::child(root, "cellXfs"), "xf")) {
        std::uint32_t id = x.attribute("xfId").as_uint(0);
        if (id < new_index.size() && new_index[id] >= 0) {
            if (id != new_index[id]) x.attribute("xfId").set_value(new_index[id]);
            continue;
        }
        keep_formats(x);
        if (pugi::xml_attribute a = x.attribute("xfId")) a.set_value(0);
    }
    for (pugi::xml_node s : doomed) style_list.remove_child(s);
    for (pugi::xml_node s : elements(style_list, "cellStyle")) {
        std::uint32_t id = s.attribute("xfId").as_uint(0);
        if (id < new_index.size() && new_index[id] >= 0 && id != new_index[id])
            s.attribute("xfId").set_value(new_index[id]);
    }
    for (std::uint32_t i = 0; i < style_xfs.size(); ++i)
        if (new_index[i] < 0) style_xf_list.remove_child(style_xfs[i]);
    set_count(style_list, elements(style_list, "cellStyle").size());
    set_count(style_xf_list, elements(style_xf_list, "xf").size());
    package_->write(d->part, xml::save(d->doc));
    styles_changed();
    saved_ = false;
    return static_cast<int>(doomed.size());
}

}  // namespace sheaflow::xl::native
