#include "xl/native/worksheet_part.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "xl/native/xml.h"
#include "xl/xl.h"

namespace sheaflow::xl::native {

namespace {

using Kind = xml::Token::Kind;

constexpr std::int32_t kMaxRows = 1048576;
constexpr std::int32_t kMaxCols = 16384;

Error broken(const std::string& part) {
    return Error::make(Error::Code::BadFormat, "ブックの部品「" + part + "」が壊れています。",
                       part);
}

// "AB12" -> column and row; false when it is not a cell reference within the grid.
bool parse_cell_ref(std::string_view s, std::int32_t& col, std::int32_t& row) {
    std::size_t i = 0;
    std::int32_t c = 0;
    while (i < s.size() && i < 4) {
        char ch = s[i];
        if (ch >= 'A' && ch <= 'Z')
            c = c * 26 + (ch - 'A' + 1);
        else if (ch >= 'a' && ch <= 'z')
            c = c * 26 + (ch - 'a' + 1);
        else
            break;
        ++i;
    }
    if (i == 0 || c > 16384) return false;
    std::int64_t r = 0;
    std::size_t digits = 0;
    for (; i < s.size(); ++i, ++digits) {
        char ch = s[i];
        if (ch < '0' || ch > '9' || digits > 7) return false;
        r = r * 10 + (ch - '0');
    }
    if (digits == 0 || r < 1 || r > 1048576) return false;
    col = c;
    row = static_cast<std::int32_t>(r);
    return true;
}

bool parse_uint(std::string_view s, std::uint32_t& out) {
    auto res = std::from_chars(s.data(), s.data() + s.size(), out);
    return res.ec == std::errc() && res.ptr == s.data() + s.size();
}

bool parse_int(std::string_view s, std::int32_t& out) {
    auto res = std::from_chars(s.data(), s.data() + s.size(), out);
    return res.ec == std::errc() && res.ptr == s.data() + s.size();
}

bool truthy(std::string_view v) { return v == "1" || v == "true"; }

// Skips the rest of an element whose start tag was just read.
bool skip_element(xml::Scanner& sc) {
    int depth = 1;
    while (depth > 0) {
        xml::Token t = sc.next();
        if (t.kind == Kind::Start && !t.self_closing) ++depth;
        if (t.kind == Kind::End) --depth;
        if (t.kind == Kind::Eof || t.kind == Kind::Error) return false;
    }
    return true;
}

// Reads the text content of an element whose start tag was just read, up to its end tag.
// Returns a view into the source when possible; otherwise decodes into `scratch`.
bool read_text(xml::Scanner& sc, std::string& scratch, std::string_view& text) {
    xml::Token t = sc.next();
    if (t.kind == Kind::End) {
        text = {};
        return true;
    }
    if (t.kind == Kind::Text && !t.cdata && t.text.find('&') == std::string_view::npos) {
        xml::Token e = sc.next();
        if (e.kind == Kind::End) {
            text = t.text;
            return true;
        }
        scratch.assign(t.text);
        t = e;
    } else {
        scratch.clear();
    }
    while (true) {
        if (t.kind == Kind::Text) {
            if (t.cdata)
                scratch.append(t.text);
            else
                xml::unescape(t.text, scratch);
        } else if (t.kind == Kind::Start) {
            if (!t.self_closing && !skip_element(sc)) return false;
        } else if (t.kind == Kind::End) {
            break;
        } else if (t.kind != Kind::Other) {
            return false;
        }
        t = sc.next();
    }
    text = scratch;
    return true;
}

// Plain text of rich or inline text (<is> or <si>): the <t> texts, phonetic runs left out.
bool read_rich_text(xml::Scanner& sc, std::string& out) {
    int depth = 1, t_depth = -1, skip_depth = -1;
    while (depth > 0) {
        xml::Token t = sc.next();
        switch (t.kind) {
            case Kind::Start: {
                if (t.self_closing) break;
                std::string_view local = xml::local_name(t.name);
                if (skip_depth < 0 && (local == "rPh" || local == "phoneticPr")) skip_depth = depth;
                if (skip_depth < 0 && local == "t") t_depth = depth;
                ++depth;
                break;
            }
            case Kind::End:
                --depth;
                if (depth == t_depth) t_depth = -1;
                if (depth == skip_depth) skip_depth = -1;
                break;
            case Kind::Text:
                if (t_depth >= 0 && skip_depth < 0) {
                    if (t.cdata)
                        out.append(t.text);
                    else
                        xml::unescape(t.text, out);
                }
                break;
            case Kind::Other:
                break;
            default:
                return false;
        }
    }
    return true;
}

// Days since 1899-12-30 of an ISO 8601 date-time ("2024-01-05T12:00:00"), as t="d" cells hold.
bool parse_iso_date(std::string_view s, double& serial) {
    int y = 0, m = 0, d = 0, hh = 0, mm = 0;
    double ss = 0;
    if (s.size() < 10 || s[4] != '-' || s[7] != '-') return false;
    if (!parse_int(s.substr(0, 4), y) || !parse_int(s.substr(5, 2), m) ||
        !parse_int(s.substr(8, 2), d))
        return false;
    if (s.size() >= 16 && s[10] == 'T') {
        if (!parse_int(s.substr(11, 2), hh) || !parse_int(s.substr(14, 2), mm)) return false;
        if (s.size() >= 19) {
            std::string_view sec = s.substr(17);
            auto z = sec.find_first_of("Z+-");
            sec = sec.substr(0, z);
            auto r = std::from_chars(sec.data(), sec.data() + sec.size(), ss);
            if (r.ec != std::errc()) return false;
        }
    }
    if (m < 1 || m > 12 || d < 1 || d > 31) return false;
    // Days from civil (proleptic Gregorian), then to the 1900 serial (1970-01-01 = 25569).
    int yy = y - (m <= 2);
    int era = (yy >= 0 ? yy : yy - 399) / 400;
    int yoe = yy - era * 400;
    int doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    int doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    long days = static_cast<long>(era) * 146097 + doe - 719468;
    serial = static_cast<double>(days + 25569);
    // Serials before 1900-03-01 count the fictitious 1900-02-29.
    if (serial < 61) serial -= 1;
    serial += (hh * 3600 + mm * 60 + ss) / 86400.0;
    return true;
}

std::uint64_t& configured_cell_limit() {
    static std::uint64_t limit = [] {
        std::uint64_t n = 20'000'000;  // about a gigabyte of cells
        if (const char* env = std::getenv("SHEAFLOW_MAX_CELLS")) {
            std::uint64_t v = 0;
            auto res = std::from_chars(env, env + std::strlen(env), v);
            if (res.ec == std::errc() && v > 0) n = v;
        }
        return n;
    }();
    return limit;
}

}  // namespace

std::uint64_t cell_limit() { return configured_cell_limit(); }
void set_cell_limit(std::uint64_t cells) { configured_cell_limit() = cells; }

Result<void> WorksheetPart::parse(std::string xml_text, const std::string& part_name,
                                  std::uint64_t max_cells) {
    auto text = xml::to_utf8(std::move(xml_text));
    if (!text) return broken(part_name);
    source_ = std::move(*text);
    table_ = CellTable();
    code_name_.clear();
    styled_cols_.clear();
    column_styles_.clear();
    tab_selected_ = tab_selected_changed_ = root_self_closing_ = false;
    insert_pos_ = 0;
    has_sheet_data_ = sheet_data_self_closing_ = false;
    view_tag_begin_ = view_tag_end_ = dimension_tag_begin_ = dimension_tag_end_ = 0;
    dirty_ = false;
    if (source_.size() >= 0xFFFFFFF0u) return broken(part_name);

    std::string_view src = source_;
    xml::Scanner sc(src);
    int depth = 0;
    std::string_view parent;  // the depth-1 element being read
    bool insert_found = false;
    bool ordered = true;
    std::string scratch, inline_text;
    // Why the cells could not be read, when it is more than the part not being well formed.
    std::optional<Error> refusal;
    auto bad_reference = [&](std::string_view what) {
        refusal = Error::make(Error::Code::BadFormat,
                              "部品「" + part_name + "」に正しくないセル参照「" +
                                  std::string(what.substr(0, 40)) + "」があります",
                              part_name);
        return false;
    };

    auto read_sheet_data = [&]() -> bool {
        std::int32_t prev_row = 0;
        while (true) {
            xml::Token t = sc.next();
            if (t.kind == Kind::Text || t.kind == Kind::Other) continue;
            if (t.kind == Kind::End) {
                content_end_ = t.begin;
                return true;
            }
            if (t.kind != Kind::Start) return false;
            if (xml::local_name(t.name) != "row") {
                if (!t.self_closing && !skip_element(sc)) return false;
                continue;
            }
            Row row;
            row.raw_begin = static_cast<std::uint32_t>(t.begin);
            row.tag_end = static_cast<std::uint32_t>(t.end);
            row.self_closing = t.self_closing;
            row.r = prev_row + 1;
            std::optional<std::string_view> bad_row;
            xml::for_each_attr(t.attrs, [&](std::string_view n, std::string_view v) {
                if (n == "r") {
                    std::int32_t r;
                    if (parse_int(v, r) && r >= 1 && r <= kMaxRows) {
                        row.r = r;
                        row.numbered = true;
                    } else {
                        bad_row = v;
                    }
                } else if (n == "customFormat") {
                    row.styled = truthy(v);
                } else if (n == "s") {
                    parse_uint(v, row.style);
                }
                return true;
            });
            if (bad_row) return bad_reference(*bad_row);
            if (row.r > kMaxRows) return bad_reference(std::to_string(row.r));
            if (row.r <= prev_row) ordered = false;
            prev_row = row.r;
            row.first = static_cast<std::uint32_t>(table_.cells.size());
            std::int32_t next_col = 1;
            if (!t.self_closing) {
                while (true) {
                    xml::Token ct = sc.next();
                    if (ct.kind == Kind::Text || ct.kind == Kind::Other) continue;
                    if (ct.kind == Kind::End) {
                        row.raw_end = static_cast<std::uint32_t>(ct.end);
                        break;
                    }
                    if (ct.kind != Kind::Start) return false;
                    if (xml::local_name(ct.name) != "c") {
                        if (!ct.self_closing && !skip_element(sc)) return false;
                        continue;
                    }
                    Cell cell;
                    cell.raw_begin = static_cast<std::uint32_t>(ct.begin);
                    std::string_view t_attr;
                    std::int32_t col = next_col;
                    std::optional<std::string_view> bad_cell;
                    bool other_attrs = false;
                    xml::for_each_attr(ct.attrs, [&](std::string_view n, std::string_view v) {
                        if (n.size() != 1) {
                            other_attrs = true;
                            return true;
                        }
                        if (n[0] == 'r') {
                            std::int32_t c, r;
                            // A reference must name a cell of the grid in this very row.
                            if (parse_cell_ref(v, c, r) && r == row.r)
                                col = c;
                            else
                                bad_cell = v;
                        } else if (n[0] == 's') {
                            parse_uint(v, cell.style);
                        } else if (n[0] == 't') {
                            t_attr = v;
                        } else {
                            other_attrs = true;
                        }
                        return true;
                    });
                    if (bad_cell) return bad_reference(*bad_cell);
                    if (col > kMaxCols)
                        return bad_reference(column_letters(col) + std::to_string(row.r));
                    if (col < next_col) ordered = false;
                    cell.col = col;
                    next_col = col + 1;
                    // <c/> says nothing: not kept, so that memory follows the real content.
                    if (ct.self_closing && cell.style == 0 && !other_attrs) continue;
                    if (table_.cells.size() + table_.rows.size() >= max_cells) {
                        refusal = Error::make(Error::Code::TooLarge,
                                              "セルの数が上限（" + std::to_string(max_cells) +
                                                  " 個）を超えています",
                                              part_name);
                        return false;
                    }
                    std::string_view value;
                    bool has_value = false;
                    std::string value_store;
                    if (ct.self_closing) {
                        cell.raw_end = static_cast<std::uint32_t>(ct.end);
                    } else {
                        while (true) {
                            xml::Token e = sc.next();
                            if (e.kind == Kind::Text || e.kind == Kind::Other) continue;
                            if (e.kind == Kind::End) {
                                cell.raw_end = static_cast<std::uint32_t>(e.end);
                                break;
                            }
                            if (e.kind != Kind::Start) return false;
                            std::string_view local = xml::local_name(e.name);
                            if (local == "v") {
                                has_value = true;
                                if (!e.self_closing) {
                                    if (!read_text(sc, scratch, value)) return false;
                                    if (value.data() == scratch.data()) {
                                        value_store = scratch;
                                        value = value_store;
                                    }
                                }
                            } else if (local == "f") {
                                std::string_view ft, ref, si;
                                xml::for_each_attr(e.attrs,
                                                   [&](std::string_view n, std::string_view v) {
                                                       if (n == "t")
                                                           ft = v;
                                                       else if (n == "ref")
                                                           ref = v;
                                                       else if (n == "si")
                                                           si = v;
                                                       return true;
                                                   });
                                std::string_view ftext;
                                if (!e.self_closing && !read_text(sc, scratch, ftext)) return false;
                                if (ft.empty() || ft == "normal") {
                                    if (!ftext.empty()) {
                                        cell.formula_kind = FormulaKind::Normal;
                                        cell.formula = table_.add_text(std::string(ftext));
                                    }
                                } else if (ft == "shared") {
                                    std::uint32_t group = 0;
                                    bool has_group = parse_uint(si, group);
                                    if (!ftext.empty() && !ref.empty() && has_group) {
                                        cell.formula_kind = FormulaKind::SharedMaster;
                                        cell.formula = table_.add_text(std::string(ftext));
                                        table_.shared[group] = {row.r, col, cell.formula};
                                    } else if (!ftext.empty()) {
                                        cell.formula_kind = FormulaKind::Normal;
                                        cell.formula = table_.add_text(std::string(ftext));
                                    } else if (has_group) {
                                        cell.formula_kind = FormulaKind::SharedChild;
                                        cell.formula = group;
                                    }
                                } else if (ft == "array") {
                                    cell.formula_kind = FormulaKind::Array;
                                    cell.formula = table_.add_text(std::string(ftext));
                                    if (auto a = parse_address(ref);
                                        a &&
                                        (a->last_row > a->first_row || a->last_col > a->first_col))
                                        table_.arrays.push_back(
                                            {a->first_row, a->first_col, a->last_row, a->last_col});
                                } else {
                                    cell.formula_kind = FormulaKind::Other;
                                }
                            } else if (local == "is") {
                                has_value = true;
                                inline_text.clear();
                                if (!e.self_closing && !read_rich_text(sc, inline_text))
                                    return false;
                                value_store = inline_text;
                                value = value_store;
                            } else if (!e.self_closing && !skip_element(sc)) {
                                return false;
                            }
                        }
                    }
                    if (has_value) {
                        if (t_attr.empty() || t_attr == "n") {
                            double d = 0;
                            auto res =
                                std::from_chars(value.data(), value.data() + value.size(), d);
                            if (res.ec == std::errc() && res.ptr == value.data() + value.size() &&
                                std::isfinite(d)) {
                                cell.kind = CellKind::Number;
                                cell.number = d;
                            } else if (!value.empty()) {
                                cell.kind = CellKind::String;
                                cell.text = table_.add_text(std::string(value));
                            }
                        } else if (t_attr == "s") {
                            std::uint32_t idx = 0;
                            if (parse_uint(value, idx)) {
                                cell.kind = CellKind::SharedString;
                                cell.number = idx;
                            }
                        } else if (t_attr == "str" || t_attr == "inlineStr") {
                            cell.kind = CellKind::String;
                            cell.text = table_.add_text(xml::decode_ooxml_escapes(value));
                            if (t_attr == "inlineStr") cell.flags |= Cell::kInline;
                        } else if (t_attr == "b") {
                            cell.kind = CellKind::Bool;
                            cell.number = truthy(value) ? 1 : 0;
                        } else if (t_attr == "e") {
                            cell.kind = CellKind::Error;
                            cell.text = table_.add_text(std::string(value));
                        } else if (t_attr == "d") {
                            double serial;
                            if (parse_iso_date(value, serial)) {
                                cell.kind = CellKind::Number;
                                cell.number = serial;
                            } else {
                                cell.kind = CellKind::String;
                                cell.text = table_.add_text(std::string(value));
                            }
                        }
                    }
                    table_.cells.push_back(cell);
                }
            } else {
                row.raw_end = row.tag_end;
            }
            row.last = static_cast<std::uint32_t>(table_.cells.size());
            // Rows count too: millions of empty rows take memory as cells do.
            if (table_.cells.size() + table_.rows.size() >= max_cells) {
                refusal = Error::make(Error::Code::TooLarge,
                                      "セルと行の数が上限（" + std::to_string(max_cells) +
                                          " 個）を超えています",
                                      part_name);
                return false;
            }
            table_.rows.push_back(row);
        }
    };

    bool root_seen = false;
    while (true) {
        xml::Token t = sc.next();
        if (t.kind == Kind::Eof) break;
        if (t.kind == Kind::Error) return broken(part_name);
        if (t.kind == Kind::Start) {
            std::string_view local = xml::local_name(t.name);
            if (depth == 0) {
                if (root_seen) return broken(part_name);
                root_seen = true;
                // Elements are written with the prefix bound to the spreadsheet namespace, which
                // need not be the root's (a macro sheet is <xm:macrosheet> around <sheetData>).
                prefix_ = xml::main_prefix(t.attrs).value_or(std::string(xml::name_prefix(t.name)));
                root_name_ = std::string(t.name);
                if (t.self_closing) {
                    // <worksheet/>: cells would go inside it.
                    root_self_closing_ = true;
                    insert_pos_ = t.end - 2;
                    insert_found = true;
                }
            } else if (depth == 1) {
                parent = local;
                if (!insert_found && local != "sheetPr" && local != "dimension" &&
                    local != "sheetViews" && local != "sheetFormatPr" && local != "cols") {
                    insert_pos_ = t.begin;
                    insert_found = true;
                }
                if (local == "sheetPr") {
                    if (auto v = xml::find_attr(t.attrs, "codeName"))
                        code_name_ = xml::unescape(*v);
                } else if (local == "dimension" && dimension_tag_end_ == 0) {
                    dimension_tag_begin_ = t.begin;
                    dimension_tag_end_ = t.end;
                } else if (local == "sheetData") {
                    if (has_sheet_data_) return broken(part_name);  // only one is allowed
                    has_sheet_data_ = true;
                    sheet_data_begin_ = t.begin;
                    if (t.self_closing) {
                        sheet_data_self_closing_ = true;
                        content_begin_ = content_end_ = t.end;
                    } else {
                        content_begin_ = t.end;
                        if (!read_sheet_data()) return refusal ? *refusal : broken(part_name);
                    }
                    continue;
                }
            } else if (depth == 2) {
                if (parent == "sheetViews" && local == "sheetView" && view_tag_end_ == 0) {
                    view_tag_begin_ = t.begin;
                    view_tag_end_ = t.end;
                    if (auto v = xml::find_attr(t.attrs, "tabSelected")) tab_selected_ = truthy(*v);
                } else if (parent == "cols" && local == "col") {
                    std::int32_t lo = 0, hi = 0;
                    std::uint32_t style = 0;
                    xml::for_each_attr(t.attrs, [&](std::string_view n, std::string_view v) {
                        if (n == "min")
                            parse_int(v, lo);
                        else if (n == "max")
                            parse_int(v, hi);
                        else if (n == "style")
                            parse_uint(v, style);
                        return true;
                    });
                    if (style != 0 && lo >= 1 && hi >= lo) {
                        styled_cols_.emplace_back(lo, std::min(hi, 16384));
                        column_styles_.push_back(style);
                    }
                }
            }
            if (!t.self_closing) ++depth;
        } else if (t.kind == Kind::End) {
            --depth;
            if (depth < 0) return broken(part_name);
            if (depth == 0 && !insert_found) {
                insert_pos_ = t.begin;
                insert_found = true;
            }
        } else if (t.kind == Kind::Text && depth == 0 && !xml::is_space(t.text)) {
            return broken(part_name);  // text outside the root element
        }
    }
    if (!root_seen || depth != 0) return broken(part_name);

    if (!ordered) {
        if (auto r = sort_cells(part_name); !r) return r;
    }
    return {};
}

Result<void> WorksheetPart::sort_cells(const std::string& part_name) {
    // The application reads rows and cells in any order; the table keeps them in order, and the
    // part is written in order when a row changes. A row or cell given twice is refused: which
    // one counts is not something to guess.
    auto duplicate = [&](std::int32_t r, std::int32_t c) {
        std::string where = c ? column_letters(c) + std::to_string(r) : std::to_string(r);
        return Error::make(Error::Code::BadFormat,
                           "部品「" + part_name + "」で" + (c ? "セル「" : "行「") + where +
                               "」が二重に書かれています",
                           part_name);
    };
    std::vector<Row> rows = table_.rows;
    std::stable_sort(rows.begin(), rows.end(),
                     [](const Row& a, const Row& b) { return a.r < b.r; });
    std::vector<Cell> cells;
    cells.reserve(table_.cells.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        Row& row = rows[i];
        if (i > 0 && rows[i - 1].r == row.r) return duplicate(row.r, 0);
        auto b = table_.cells.begin() + row.first, e = table_.cells.begin() + row.last;
        row.first = static_cast<std::uint32_t>(cells.size());
        cells.insert(cells.end(), b, e);
        auto rb = cells.begin() + row.first;
        std::stable_sort(rb, cells.end(),
                         [](const Cell& a, const Cell& c) { return a.col < c.col; });
        for (auto it = rb; it != cells.end(); ++it)
            if (it + 1 != cells.end() && (it + 1)->col == it->col) return duplicate(row.r, it->col);
        row.last = static_cast<std::uint32_t>(cells.size());
    }
    table_.rows = std::move(rows);
    table_.cells = std::move(cells);
    return {};
}

WorksheetPart::Head WorksheetPart::read_head(std::string_view xml_prefix) {
    Head head;
    xml::Scanner sc(xml_prefix);
    int depth = 0;
    std::string_view parent;
    while (true) {
        xml::Token t = sc.next();
        if (t.kind == Kind::Eof || t.kind == Kind::Error) break;
        if (t.kind == Kind::Start) {
            std::string_view local = xml::local_name(t.name);
            if (depth == 1) {
                parent = local;
                if (local == "sheetPr") {
                    if (auto v = xml::find_attr(t.attrs, "codeName"))
                        head.code_name = xml::unescape(*v);
                } else if (local == "sheetData") {
                    break;
                }
            } else if (depth == 2 && parent == "sheetViews" && local == "sheetView") {
                if (auto v = xml::find_attr(t.attrs, "tabSelected")) head.tab_selected = truthy(*v);
                break;
            }
            if (!t.self_closing) ++depth;
        } else if (t.kind == Kind::End) {
            --depth;
        }
    }
    return head;
}

std::string WorksheetPart::empty_xml(bool tab_selected) {
    std::string s =
        "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
        "<worksheet xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\" "
        "xmlns:r=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships\">"
        "<dimension ref=\"A1\"/><sheetViews><sheetView ";
    if (tab_selected) s += "tabSelected=\"1\" ";
    s += "workbookViewId=\"0\"/></sheetViews><sheetFormatPr defaultRowHeight=\"13.5\"/>"
         "<sheetData/><pageMargins left=\"0.7\" right=\"0.7\" top=\"0.75\" bottom=\"0.75\" "
         "header=\"0.3\" footer=\"0.3\"/></worksheet>";
    return s;
}

void WorksheetPart::set_tab_selected(bool on) {
    if (on == tab_selected_) return;
    tab_selected_ = on;
    tab_selected_changed_ = !tab_selected_changed_;
    dirty_ = true;
}

namespace {

void append_number(double d, std::string& out) {
    char buf[40];
    auto res = std::to_chars(buf, buf + sizeof buf, d);
    out.append(buf, res.ptr);
}

// The pieces of an original <c> element that the engine does not model.
struct RawCell {
    std::string_view name;                // the cell element's qualified name
    std::string_view attrs;               // the cell's attributes
    std::string_view f_attrs;             // the <f> element's attributes
    std::string_view f_element;           // the whole <f> element
    std::vector<std::string_view> extra;  // child elements other than f, v and is
};

RawCell scan_raw_cell(std::string_view raw) {
    RawCell rc;
    xml::Scanner sc(raw);
    xml::Token t = sc.next();
    if (t.kind != Kind::Start) return rc;
    rc.name = t.name;
    rc.attrs = t.attrs;
    if (t.self_closing) return rc;
    while (true) {
        xml::Token e = sc.next();
        if (e.kind == Kind::End || e.kind == Kind::Eof || e.kind == Kind::Error) break;
        if (e.kind != Kind::Start) continue;
        std::size_t begin = e.begin;
        std::string_view local = xml::local_name(e.name);
        if (!e.self_closing) skip_element(sc);
        std::string_view whole = raw.substr(begin, sc.pos() - begin);
        if (local == "f") {
            rc.f_attrs = e.attrs;
            rc.f_element = whole;
        } else if (local != "v" && local != "is") {
            rc.extra.push_back(whole);
        }
    }
    return rc;
}

void append_escaped_cell_text(std::string_view s, std::string& out) {
    xml::escape_text(xml::encode_ooxml_escapes(s), out);
}

bool needs_preserve(std::string_view s) {
    if (s.empty()) return false;
    auto ws = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    return ws(s.front()) || ws(s.back());
}

}  // namespace

std::optional<std::uint32_t> WorksheetPart::original_shared_index(const Cell& c) const {
    if (c.raw_end <= c.raw_begin) return std::nullopt;
    RawCell raw =
        scan_raw_cell(std::string_view(source_).substr(c.raw_begin, c.raw_end - c.raw_begin));
    if (!raw.f_element.empty() || !raw.extra.empty()) return std::nullopt;
    std::uint32_t style = 0;
    bool shared = false, plain = true;
    xml::for_each_attr(raw.attrs, [&](std::string_view n, std::string_view v) {
        if (n == "s")
            parse_uint(v, style);
        else if (n == "t")
            shared = v == "s";
        else if (n == "vm" || n == "cm")
            plain = false;
        return true;
    });
    if (!shared || !plain || style != c.style) return std::nullopt;
    // The value: the text of the one <v> child.
    std::string_view text(source_.data() + c.raw_begin, c.raw_end - c.raw_begin);
    auto v = text.find("v>");
    if (v == std::string_view::npos) return std::nullopt;
    auto end = text.find('<', v + 2);
    if (end == std::string_view::npos) return std::nullopt;
    std::uint32_t index = 0;
    if (!parse_uint(text.substr(v + 2, end - v - 2), index)) return std::nullopt;
    return index;
}

void WorksheetPart::refresh_dirty() {
    bool any = false;
    for (Row& row : table_.rows) {
        bool d = row.raw_end <= row.raw_begin;  // a new row
        for (std::uint32_t i = row.first; i < row.last && !d; ++i)
            d = table_.cells[i].dirty() || table_.cells[i].raw_end <= table_.cells[i].raw_begin;
        row.dirty = d;
        any = any || d;
    }
    dirty_ = any || tab_selected_changed_;
}

void WorksheetPart::write_cell(std::int32_t r, const Cell& c, std::string& out) const {
    RawCell raw;
    if (c.raw_end > c.raw_begin)
        raw = scan_raw_cell(std::string_view(source_).substr(c.raw_begin, c.raw_end - c.raw_begin));
    if (c.kind == CellKind::Blank && !c.has_formula() && c.style == 0 && raw.extra.empty()) return;

    // A cell read from the part keeps its own prefix.
    const std::string p = raw.name.empty() ? prefix_ : std::string(xml::name_prefix(raw.name));
    out += '<';
    out += p;
    out += "c r=\"";
    out += column_letters(c.col);
    out += std::to_string(r);
    out += '"';
    if (c.style) {
        out += " s=\"";
        out += std::to_string(c.style);
        out += '"';
    }
    switch (c.kind) {
        case CellKind::SharedString:
            out += " t=\"s\"";
            break;
        case CellKind::String:
            out += c.has_formula() ? " t=\"str\"" : " t=\"inlineStr\"";
            break;
        case CellKind::Bool:
            out += " t=\"b\"";
            break;
        case CellKind::Error:
            out += " t=\"e\"";
            break;
        default:
            break;
    }
    // Attributes the engine does not model (cm, ph...); value metadata goes with a changed value.
    xml::for_each_attr(raw.attrs, [&](std::string_view n, std::string_view v) {
        if (n == "r" || n == "s" || n == "t") return true;
        if (n == "vm" && (c.flags & Cell::kDropMeta)) return true;
        out += ' ';
        out.append(n);
        out += "=\"";
        out.append(v);
        out += '"';
        return true;
    });
    out += '>';

    auto open_f = [&](bool keep_kind) {
        out += '<';
        out += p;
        out += 'f';
        xml::for_each_attr(raw.f_attrs, [&](std::string_view n, std::string_view v) {
            if (!keep_kind && (n == "t" || n == "ref" || n == "si")) return true;
            out += ' ';
            out.append(n);
            out += "=\"";
            out.append(v);
            out += '"';
            return true;
        });
    };
    switch (c.formula_kind) {
        case FormulaKind::None:
            break;
        case FormulaKind::Normal:
            open_f(false);
            out += '>';
            xml::escape_text(table_.pool[c.formula], out);
            out += "</" + p + "f>";
            break;
        case FormulaKind::SharedMaster:
        case FormulaKind::Array:
            open_f(true);
            if (raw.f_attrs.empty() && c.formula_kind == FormulaKind::Array) {
                std::string a = column_letters(c.col) + std::to_string(r);
                out += " t=\"array\" ref=\"" + a + "\"";
            }
            out += '>';
            xml::escape_text(table_.pool[c.formula], out);
            out += "</" + p + "f>";
            break;
        case FormulaKind::SharedChild:
            if (!raw.f_element.empty()) {
                out.append(raw.f_element);
            } else {
                out += '<' + p + "f t=\"shared\" si=\"" + std::to_string(c.formula) + "\"/>";
            }
            break;
        case FormulaKind::Other:
            out.append(raw.f_element);
            break;
    }
    switch (c.kind) {
        case CellKind::Blank:
            break;
        case CellKind::Number:
            out += '<' + p + "v>";
            append_number(c.number, out);
            out += "</" + p + "v>";
            break;
        case CellKind::SharedString:
            out += '<' + p + "v>";
            out += std::to_string(static_cast<std::uint64_t>(c.number));
            out += "</" + p + "v>";
            break;
        case CellKind::Bool:
            out += '<' + p + "v>";
            out += c.number != 0 ? '1' : '0';
            out += "</" + p + "v>";
            break;
        case CellKind::Error:
            out += '<' + p + "v>";
            xml::escape_text(table_.pool[c.text], out);
            out += "</" + p + "v>";
            break;
        case CellKind::String: {
            const std::string& s = table_.pool[c.text];
            if (c.has_formula()) {
                out += '<' + p + "v>";
                append_escaped_cell_text(s, out);
                out += "</" + p + "v>";
            } else {
                out +=
                    '<' + p + "is><" + p + (needs_preserve(s) ? "t xml:space=\"preserve\">" : "t>");
                append_escaped_cell_text(s, out);
                out += "</" + p + "t></" + p + "is>";
            }
            break;
        }
    }
    for (std::string_view e : raw.extra) out.append(e);
    out += "</" + p + "c>";
}

void WorksheetPart::write_row(const Row& row, std::string& out) const {
    std::string close = "</" + prefix_ + "row>";
    if (row.raw_end > row.raw_begin) {
        std::string_view tag =
            std::string_view(source_).substr(row.raw_begin, row.tag_end - row.raw_begin);
        auto name_end = tag.find_first_of(" \t\r\n/>");
        std::string_view name = tag.substr(1, name_end - 1);
        std::string_view attrs =
            tag.substr(name_end, tag.size() - name_end - (row.self_closing ? 2 : 1));
        // "spans" only hints at the columns in use; drop it when cells now lie outside it.
        std::string new_attrs(attrs);
        if (auto spans = xml::find_attr(attrs, "spans"); spans && row.last > row.first) {
            std::int32_t lo = 0, hi = 0;
            auto colon = spans->find(':');
            if (colon == std::string_view::npos || !parse_int(spans->substr(0, colon), lo) ||
                !parse_int(spans->substr(colon + 1), hi) || table_.cells[row.first].col < lo ||
                table_.cells[row.last - 1].col > hi)
                new_attrs = xml::set_attr(attrs, "spans", std::nullopt);
        }
        // Written anew, the row may no longer follow the row it took its number from.
        if (!row.numbered) new_attrs = xml::set_attr(new_attrs, "r", std::to_string(row.r));
        out += '<';
        out.append(name);
        out += new_attrs;
        out += '>';
        close = "</" + std::string(name) + ">";
    } else {
        out += '<' + prefix_ + "row r=\"" + std::to_string(row.r) + "\">";
    }
    for (std::uint32_t i = row.first; i < row.last; ++i) {
        const Cell& c = table_.cells[i];
        if (!c.dirty() && c.raw_end > c.raw_begin)
            out.append(source_, c.raw_begin, c.raw_end - c.raw_begin);
        else
            write_cell(row.r, c, out);
    }
    out += close;
}

std::string WorksheetPart::serialize() const {
    if (!dirty_) return source_;
    std::string out;
    out.reserve(source_.size() + source_.size() / 8 + 256);
    std::size_t pos = 0;
    bool any_rows_dirty =
        std::any_of(table_.rows.begin(), table_.rows.end(), [](const Row& r) { return r.dirty; });
    // Start tags before the cells that change with them: the dimension (the used range, which
    // readers take as a hint) and the first sheet view's selected flag.
    auto rewrite_tag = [&](std::size_t begin, std::size_t end, std::string_view name,
                           std::optional<std::string_view> value) {
        std::string_view tag = std::string_view(source_).substr(begin, end - begin);
        auto name_end = tag.find_first_of(" \t\r\n/>");
        bool self_closing = tag.size() >= 2 && tag[tag.size() - 2] == '/';
        std::string_view attrs =
            tag.substr(name_end, tag.size() - name_end - (self_closing ? 2 : 1));
        out.append(source_, pos, begin - pos);
        out += '<';
        out.append(tag.substr(1, name_end - 1));
        out += xml::set_attr(attrs, name, value);
        out += self_closing ? "/>" : ">";
        pos = end;
    };
    if (any_rows_dirty && dimension_tag_end_ > dimension_tag_begin_ &&
        (!has_sheet_data_ || dimension_tag_end_ <= sheet_data_begin_)) {
        std::int32_t r1 = 0, r2 = 0, c1 = 0, c2 = 0;
        for (const Row& row : table_.rows) {
            for (std::uint32_t i = row.first; i < row.last; ++i) {
                const Cell& c = table_.cells[i];
                if (!c.has_content() && c.style == 0) continue;
                if (r1 == 0) r1 = row.r;
                r2 = row.r;
                c1 = c1 == 0 ? c.col : std::min(c1, c.col);
                c2 = std::max(c2, c.col);
            }
        }
        std::string ref =
            r1 == 0 ? std::string("A1") : format_address(Area{r1, c1, r2, c2}, false, false);
        rewrite_tag(dimension_tag_begin_, dimension_tag_end_, "ref", ref);
    }
    if (tab_selected_changed_ && view_tag_end_ > view_tag_begin_ && view_tag_begin_ >= pos)
        rewrite_tag(view_tag_begin_, view_tag_end_, "tabSelected",
                    tab_selected_ ? std::optional<std::string_view>("1") : std::nullopt);
    if (!any_rows_dirty) {
        out.append(source_, pos, std::string::npos);
        return out;
    }
    if (!has_sheet_data_) {
        std::size_t at = std::max(insert_pos_, pos);
        out.append(source_, pos, at - pos);
        if (root_self_closing_) out += '>';
        out += '<' + prefix_ + "sheetData>";
        for (const Row& row : table_.rows) write_row(row, out);
        out += "</" + prefix_ + "sheetData>";
        if (root_self_closing_) {
            // Close the root that was written as <worksheet .../>.
            out += "</" + root_name_ + '>';
            out.append(source_, at + 2, std::string::npos);
        } else {
            out.append(source_, at, std::string::npos);
        }
        return out;
    }
    if (sheet_data_self_closing_) {
        out.append(source_, pos, sheet_data_begin_ - pos);
        out += '<' + prefix_ + "sheetData>";
        for (const Row& row : table_.rows) write_row(row, out);
        out += "</" + prefix_ + "sheetData>";
        out.append(source_, content_end_, std::string::npos);
        return out;
    }
    out.append(source_, pos, content_begin_ - pos);
    pos = content_begin_;
    bool in_order = true;
    std::uint32_t last_end = 0;
    for (const Row& row : table_.rows) {
        if (row.raw_end > row.raw_begin) {
            if (row.raw_begin < last_end) in_order = false;
            last_end = row.raw_end;
        }
    }
    for (const Row& row : table_.rows) {
        bool original = row.raw_end > row.raw_begin;
        if (original && in_order) {
            out.append(source_, pos, row.raw_begin - pos);  // what lies between rows
            pos = row.raw_end;
        }
        // A row without its number takes it from the row before: one moved is written anew.
        if (original && !row.dirty && (in_order || row.numbered))
            out.append(source_, row.raw_begin, row.raw_end - row.raw_begin);
        else
            write_row(row, out);
    }
    if (!in_order) pos = content_end_;
    out.append(source_, pos, std::string::npos);
    return out;
}

}  // namespace sheaflow::xl::native
