// Worksheet.PageSetup over the worksheet part (pageSetup, pageMargins, printOptions,
// headerFooter, sheetPr/pageSetUpPr) and the workbook's print-area and print-title names.
// Elements and attributes the page setup does not name are kept as they were.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "xl/native/book.h"
#include "xl/native/sheet_names.h"
#include "xl/native/structure_support.h"
#include "xl/native/xml.h"

namespace sheaflow::xl {

PageSetupChange PageSetupChange::whole(const PageSetup& a) {
    PageSetupChange c;
    c.orientation = a.orientation;
    c.paper_size = a.paper_size;
    c.left_margin = a.left_margin;
    c.right_margin = a.right_margin;
    c.top_margin = a.top_margin;
    c.bottom_margin = a.bottom_margin;
    c.header_margin = a.header_margin;
    c.footer_margin = a.footer_margin;
    c.left_header = a.left_header;
    c.center_header = a.center_header;
    c.right_header = a.right_header;
    c.left_footer = a.left_footer;
    c.center_footer = a.center_footer;
    c.right_footer = a.right_footer;
    c.print_area = a.print_area;
    c.print_title_rows = a.print_title_rows;
    c.print_title_columns = a.print_title_columns;
    c.zoom = a.zoom;
    c.fit_to_pages_wide = a.fit_to_pages_wide;
    c.fit_to_pages_tall = a.fit_to_pages_tall;
    c.center_horizontally = a.center_horizontally;
    c.center_vertically = a.center_vertically;
    return c;
}

}  // namespace sheaflow::xl

namespace sheaflow::xl::native {

namespace {

constexpr std::string_view kPrintArea = "_xlnm.Print_Area";
constexpr std::string_view kPrintTitles = "_xlnm.Print_Titles";

// The order of a worksheet's children, as the schema fixes it.
constexpr std::array<std::string_view, 39> kSheetOrder = {
    "sheetPr",        "dimension",        "sheetViews",        "sheetFormatPr",
    "cols",           "sheetData",        "sheetCalcPr",       "sheetProtection",
    "protectedRanges", "scenarios",       "autoFilter",        "sortState",
    "dataConsolidate", "customSheetViews", "mergeCells",       "phoneticPr",
    "conditionalFormatting", "dataValidations", "hyperlinks",  "printOptions",
    "pageMargins",    "pageSetup",        "headerFooter",      "rowBreaks",
    "colBreaks",      "customProperties", "cellWatches",       "ignoredErrors",
    "smartTags",      "drawing",          "legacyDrawing",     "legacyDrawingHF",
    "drawingHF",      "picture",          "oleObjects",        "controls",
    "webPublishItems", "tableParts",      "extLst"};

int sheet_order(std::string_view local) {
    auto it = std::find(kSheetOrder.begin(), kSheetOrder.end(), local);
    return it == kSheetOrder.end() ? static_cast<int>(kSheetOrder.size())
                                   : static_cast<int>(it - kSheetOrder.begin());
}

// The child `local` of the worksheet root, created in its place when missing.
pugi::xml_node sheet_child(pugi::xml_node root, std::string_view local) {
    if (pugi::xml_node n = xml::child(root, local)) return n;
    const std::string name = xml::prefix_of(root) + std::string(local);
    const int mine = sheet_order(local);
    for (pugi::xml_node n = root.first_child(); n; n = n.next_sibling())
        if (n.type() == pugi::node_element && sheet_order(xml::local_name(n.name())) > mine)
            return root.insert_child_before(name.c_str(), n);
    return root.append_child(name.c_str());
}

void set_attr(pugi::xml_node n, const char* name, const std::string& value) {
    pugi::xml_attribute a = n.attribute(name);
    if (!a) a = n.append_attribute(name);
    a.set_value(value.c_str());
}

// Numbers as the application writes them: no trailing zeros.
std::string number_text(double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.10g", v);
    return buf;
}

bool truthy(const char* v) {
    std::string_view s(v);
    return s == "1" || s == "true";
}

// "&L...&C...&R..." split into its three parts; text before any section code is centred.
std::array<std::string, 3> split_header(std::string_view text) {
    std::array<std::string, 3> parts;
    int section = 1;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '&' && i + 1 < text.size()) {
            char c = text[i + 1];
            if (c == 'L' || c == 'C' || c == 'R') {
                section = c == 'L' ? 0 : c == 'C' ? 1 : 2;
                ++i;
                continue;
            }
            // "&&" and the other codes stay as they are, the code character with them.
            parts[static_cast<std::size_t>(section)] += text.substr(i, 2);
            ++i;
            continue;
        }
        parts[static_cast<std::size_t>(section)] += text[i];
    }
    return parts;
}

std::string join_header(const std::array<std::string, 3>& parts) {
    std::string out;
    const char* codes[] = {"&L", "&C", "&R"};
    for (std::size_t i = 0; i < 3; ++i)
        if (!parts[i].empty()) out += codes[i] + parts[i];
    return out;
}

// "Sheet1!$A$1:$B$2,'x y'!$C:$C" -> {"$A$1:$B$2", "$C:$C"}: the references without sheet names.
std::vector<std::string> references_of(std::string_view formula) {
    std::vector<std::string> out;
    std::string item;
    bool quoted = false;
    auto finish = [&]() {
        std::size_t bang = item.rfind('!');
        out.push_back(bang == std::string::npos ? item : item.substr(bang + 1));
        item.clear();
    };
    for (char c : formula) {
        if (c == '\'') quoted = !quoted;
        if (c == ',' && !quoted) {
            finish();
            continue;
        }
        item += c;
    }
    if (!item.empty()) finish();
    return out;
}

// Whole rows ("$1:$2") as opposed to whole columns ("$A:$B").
bool is_row_reference(std::string_view ref) {
    return !ref.empty() && std::all_of(ref.begin(), ref.end(), [](char c) {
        return c == '$' || c == ':' || (c >= '0' && c <= '9');
    });
}

std::string join(const std::vector<std::string>& items) {
    std::string out;
    for (const auto& s : items) out += (out.empty() ? "" : ",") + s;
    return out;
}

// A print area or title typed by the user, checked and made absolute ("a1:b2" -> "$A$1:$B$2").
Result<std::string> absolute_references(std::string_view text, bool rows, bool columns) {
    std::vector<std::string> out;
    for (const std::string& item : references_of(text)) {
        std::string ref;
        for (char c : item)
            if (c != ' ') ref += c;
        auto area = parse_address(ref);
        bool whole_rows = area && area->first_col == 1 && area->last_col == 16384;
        bool whole_cols = area && area->first_row == 1 && area->last_row == 1048576;
        if (!area || (rows && !whole_rows) || (columns && !whole_cols))
            return Error::make(Error::Code::Refused, "範囲「" + item + "」が正しくありません。");
        if (rows)
            out.push_back("$" + std::to_string(area->first_row) + ":$" +
                          std::to_string(area->last_row));
        else if (columns)
            out.push_back("$" + column_letters(area->first_col) + ":$" +
                          column_letters(area->last_col));
        else
            out.push_back(format_address(*area));
    }
    return join(out);
}

pugi::xml_node defined_name(pugi::xml_node names, std::string_view name, int sheet) {
    for (pugi::xml_node n = names.first_child(); n; n = n.next_sibling()) {
        if (n.type() != pugi::node_element || xml::local_name(n.name()) != "definedName") continue;
        if (n.attribute("name").value() == name && n.attribute("localSheetId").as_int(-1) == sheet)
            return n;
    }
    return {};
}

}  // namespace

Result<PageSetup> Sheet::page_setup() {
    if (!has_cells()) return Error::failed("ワークシートではありません。");
    if (auto r = check(); !r) return r.error();
    auto text = structure::sheet_text(book_, *this);
    if (!text) return text.error();
    xml::Document doc;
    if (auto r = xml::load(doc, *text, part_name_); !r) return r.error();
    pugi::xml_node root = doc.root();
    PageSetup p;
    if (pugi::xml_node ps = xml::child(root, "pageSetup")) {
        p.orientation = std::string_view(ps.attribute("orientation").value()) == "landscape"
                            ? xlLandscape
                            : xlPortrait;
        // A sheet that names no paper prints on the printer's paper: A4 in this locale.
        p.paper_size = ps.attribute("paperSize").as_int(xlPaperA4);
        p.zoom = ps.attribute("scale").as_int(100);
        p.fit_to_pages_wide = ps.attribute("fitToWidth").as_int(1);
        p.fit_to_pages_tall = ps.attribute("fitToHeight").as_int(1);
    }
    if (truthy(xml::child(xml::child(root, "sheetPr"), "pageSetUpPr").attribute("fitToPage").value()))
        p.zoom = 0;
    if (pugi::xml_node m = xml::child(root, "pageMargins")) {
        auto inch = [&](const char* name, double fallback) {
            pugi::xml_attribute a = m.attribute(name);
            return std::round((a ? a.as_double() : fallback / 72) * 72 * 100) / 100;
        };
        p.left_margin = inch("left", p.left_margin);
        p.right_margin = inch("right", p.right_margin);
        p.top_margin = inch("top", p.top_margin);
        p.bottom_margin = inch("bottom", p.bottom_margin);
        p.header_margin = inch("header", p.header_margin);
        p.footer_margin = inch("footer", p.footer_margin);
    }
    if (pugi::xml_node o = xml::child(root, "printOptions")) {
        p.center_horizontally = truthy(o.attribute("horizontalCentered").value());
        p.center_vertically = truthy(o.attribute("verticalCentered").value());
    }
    pugi::xml_node hf = xml::child(root, "headerFooter");
    auto header = split_header(xml::child(hf, "oddHeader").text().get());
    auto footer = split_header(xml::child(hf, "oddFooter").text().get());
    p.left_header = header[0];
    p.center_header = header[1];
    p.right_header = header[2];
    p.left_footer = footer[0];
    p.center_footer = footer[1];
    p.right_footer = footer[2];

    const int position = book_.sheet_position(this);
    pugi::xml_node names = book_.workbook_part().defined_names_node();
    if (pugi::xml_node area = defined_name(names, kPrintArea, position))
        p.print_area = join(references_of(area.text().get()));
    if (pugi::xml_node titles = defined_name(names, kPrintTitles, position)) {
        std::vector<std::string> rows, columns;
        for (const std::string& r : references_of(titles.text().get()))
            (is_row_reference(r) ? rows : columns).push_back(r);
        p.print_title_rows = join(rows);
        p.print_title_columns = join(columns);
    }
    return p;
}

Result<void> Sheet::set_page_setup(const PageSetupChange& c) {
    if (!has_cells()) return Error::failed("ワークシートではありません。");
    auto refuse = [](std::string what) { return Error::make(Error::Code::Refused, std::move(what)); };
    if (c.orientation && *c.orientation != xlPortrait && *c.orientation != xlLandscape)
        return refuse("印刷の向きが正しくありません。");
    if (c.paper_size && (*c.paper_size < 1 || *c.paper_size > 118))
        return refuse("用紙サイズが正しくありません。");
    for (const auto* m : {&c.left_margin, &c.right_margin, &c.top_margin, &c.bottom_margin,
                          &c.header_margin, &c.footer_margin})
        if (*m && (**m < 0 || **m > 1000)) return refuse("余白が正しくありません。");
    if (c.zoom && *c.zoom != 0 && (*c.zoom < 10 || *c.zoom > 400))
        return refuse("拡大縮小は 10 から 400 までです。");
    for (const auto* f : {&c.fit_to_pages_wide, &c.fit_to_pages_tall})
        if (*f && (**f < 0 || **f > 32767)) return refuse("ページ数が正しくありません。");
    std::optional<std::string> area, title_rows, title_columns;
    if (c.print_area) {
        auto r = absolute_references(*c.print_area, false, false);
        if (!r) return r.error();
        area = *r;
    }
    if (c.print_title_rows) {
        auto r = absolute_references(*c.print_title_rows, true, false);
        if (!r) return r.error();
        title_rows = *r;
    }
    if (c.print_title_columns) {
        auto r = absolute_references(*c.print_title_columns, false, true);
        if (!r) return r.error();
        title_columns = *r;
    }
    if (auto r = check(); !r) return r;

    auto current = page_setup();
    if (!current) return current.error();
    auto text = structure::sheet_text(book_, *this);
    if (!text) return text.error();
    xml::Document doc;
    if (auto r = xml::load(doc, *text, part_name_); !r) return r;
    pugi::xml_node root = doc.root();
    const std::string prefix = xml::prefix_of(root);
    bool changed = false;

    if (c.orientation || c.paper_size || c.zoom || c.fit_to_pages_wide || c.fit_to_pages_tall) {
        pugi::xml_node ps = sheet_child(root, "pageSetup");
        if (c.paper_size) set_attr(ps, "paperSize", std::to_string(*c.paper_size));
        if (c.orientation)
            set_attr(ps, "orientation", *c.orientation == xlLandscape ? "landscape" : "portrait");
        if (c.zoom && *c.zoom > 0) set_attr(ps, "scale", std::to_string(*c.zoom));
        if (c.fit_to_pages_wide) set_attr(ps, "fitToWidth", std::to_string(*c.fit_to_pages_wide));
        if (c.fit_to_pages_tall) set_attr(ps, "fitToHeight", std::to_string(*c.fit_to_pages_tall));
        if (c.zoom) {
            pugi::xml_node pr = sheet_child(root, "sheetPr");
            pugi::xml_node fit = xml::child(pr, "pageSetUpPr");
            if (*c.zoom == 0) {
                if (!fit) fit = pr.append_child((prefix + "pageSetUpPr").c_str());
                set_attr(fit, "fitToPage", "1");
            } else if (fit) {
                fit.remove_attribute("fitToPage");
            }
        }
        changed = true;
    }
    if (c.left_margin || c.right_margin || c.top_margin || c.bottom_margin || c.header_margin ||
        c.footer_margin) {
        pugi::xml_node m = sheet_child(root, "pageMargins");
        auto put = [&](const char* name, const std::optional<double>& v, double now) {
            set_attr(m, name, number_text((v ? *v : now) / 72));
        };
        put("left", c.left_margin, current->left_margin);
        put("right", c.right_margin, current->right_margin);
        put("top", c.top_margin, current->top_margin);
        put("bottom", c.bottom_margin, current->bottom_margin);
        put("header", c.header_margin, current->header_margin);
        put("footer", c.footer_margin, current->footer_margin);
        changed = true;
    }
    if (c.center_horizontally || c.center_vertically) {
        pugi::xml_node o = sheet_child(root, "printOptions");
        if (c.center_horizontally)
            set_attr(o, "horizontalCentered", *c.center_horizontally ? "1" : "0");
        if (c.center_vertically)
            set_attr(o, "verticalCentered", *c.center_vertically ? "1" : "0");
        changed = true;
    }
    auto header_change = [&](const char* element, const std::optional<std::string>& l,
                             const std::optional<std::string>& m,
                             const std::optional<std::string>& r, const std::string& now_l,
                             const std::string& now_m, const std::string& now_r) {
        if (!l && !m && !r) return;
        std::string joined = join_header({l.value_or(now_l), m.value_or(now_m), r.value_or(now_r)});
        pugi::xml_node hf = sheet_child(root, "headerFooter");
        pugi::xml_node e = xml::child(hf, element);
        if (joined.empty()) {
            if (e) hf.remove_child(e);
        } else {
            if (!e) {
                // oddHeader comes first; oddFooter follows it.
                const std::string name = prefix + element;
                pugi::xml_node header = xml::child(hf, "oddHeader");
                e = std::string_view(element) == "oddFooter" && header
                        ? hf.insert_child_after(name.c_str(), header)
                        : hf.prepend_child(name.c_str());
            }
            e.text().set(joined.c_str());
        }
        changed = true;
    };
    header_change("oddHeader", c.left_header, c.center_header, c.right_header,
                  current->left_header, current->center_header, current->right_header);
    header_change("oddFooter", c.left_footer, c.center_footer, c.right_footer,
                  current->left_footer, current->center_footer, current->right_footer);

    if (changed) {
        if (auto r = structure::store_sheet_text(book_, *this, xml::save(doc)); !r) return r;
        book_.set_saved(false);
    }

    // Print area and titles are names of the workbook, local to the sheet.
    if (area || title_rows || title_columns) {
        WorkbookPart& wp = book_.workbook_part();
        const int position = book_.sheet_position(this);
        const std::string sheet = formula_sheet_name(name_);
        auto qualified = [&](const std::string& refs) {
            std::vector<std::string> items;
            for (const std::string& r : references_of(refs)) items.push_back(sheet + "!" + r);
            return join(items);
        };
        auto put_name = [&](std::string_view name, const std::string& refs) {
            pugi::xml_node names = wp.defined_names_node();
            pugi::xml_node n = defined_name(names, name, position);
            if (refs.empty()) {
                if (n) names.remove_child(n);
                if (names && !names.first_child()) wp.root().remove_child(names);
                return;
            }
            if (!names) names = wp.insert_in_order("definedNames");
            if (!n) {
                n = names.append_child((xml::prefix_of(names) + "definedName").c_str());
                set_attr(n, "name", std::string(name));
                set_attr(n, "localSheetId", std::to_string(position));
            }
            n.text().set(qualified(refs).c_str());
        };
        if (area) put_name(kPrintArea, *area);
        if (title_rows || title_columns) {
            std::string rows = title_rows.value_or(current->print_title_rows);
            std::string columns = title_columns.value_or(current->print_title_columns);
            // The application writes the columns first.
            put_name(kPrintTitles, columns.empty() ? rows : rows.empty() ? columns : columns + "," + rows);
        }
        wp.mark_dirty();
        book_.set_saved(false);
    }
    return {};
}

}  // namespace sheaflow::xl::native
