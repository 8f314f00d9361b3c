// 計算式解析 (each formula of the range broken into its references, names, functions and
// constants, with what each reference and name points at and the faults of the formula) and
// 計算式で影響するセル一覧 (the cells a given cell's formula depends on, or the formulas that depend
// on the given cell, level by level, across sheets and through defined names).

#include <set>

#include "ops/cell/cell_common.h"
#include "ops/cell/formula_support.h"
#include "ops/registry.h"
#include "report/result_table.h"
#include "run/session.h"
#include "util/text.h"

namespace sheaflow::ops {

namespace {

Error no_sheet() { return Error::failed("シートが開かれていません。"); }

// "Sheet2!$A$1:$B$5", or the address alone on the formula's own sheet.
std::string place_text(const BookFormulas& book, const SheetArea& w, int home) {
    std::string a = xl::format_address(w.area);
    if (w.area.first_row == 1 && w.area.last_row == 1048576)
        a = "$" + xl::column_letters(w.area.first_col) + ":$" + xl::column_letters(w.area.last_col);
    else if (w.area.first_col == 1 && w.area.last_col == 16384)
        a = "$" + std::to_string(w.area.first_row) + ":$" + std::to_string(w.area.last_row);
    return w.sheet == home ? a : book.sheet_name(w.sheet) + "!" + a;
}

// Function names as the user reads them: without the prefixes of the newer functions.
std::string function_name(std::string name) {
    for (std::string_view p : {"_xlfn._xlws.", "_xlfn.", "_xlws.", "_xll."})
        if (name.rfind(p, 0) == 0) return name.substr(p.size());
    return name;
}

// ---- 計算式解析 ----

std::string Check_セル_計算式解析(const shell::Params& p, std::string_view) {
    return range_boxes_error(p);
}

Result<void> Excel_セル_計算式解析(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    xl::Workbook* wb = s.book();
    if (!ws || !wb) return no_sheet();
    BookFormulas book(*wb);
    const int home = book.sheet_index(ws->name());
    begin_cell_list(s, *ws, {"計算式", "種類", "要素", "内容"});
    report::ResultTable& t = s.table;
    auto element = [&](const char* kind, const std::string& what, const std::string& detail) {
        t.new_row();
        t.set(4, kind);
        t.set(5, what);
        t.set(6, detail);
    };
    for_each_pane_cell(s, *ws, [&](xl::CellRef c) {
        const std::string f = ws->cell_formula(c);
        if (!is_formula(f)) return;
        const std::string body = f.substr(1);
        const xl::Value v = ws->cell_value(c);
        add_cell_row(s, c, {f, "値", value_text(v)});
        const std::vector<xl::FormulaToken> tokens = xl::tokenize_formula(body);
        if (std::string e = xl::formula_syntax_error(tokens); !e.empty())
            element("構文エラー", "", e);
        if (xl::is_error(v)) element("値のエラー", value_text(v), "計算結果がエラーです。");
        for (const xl::FormulaToken& tok : tokens) {
            switch (tok.kind) {
                case xl::TokenKind::Reference: {
                    if (!tok.book.empty() && tok.book != "[0]") {
                        element("外部参照", tok.text, "別のブックのセルです。");
                        break;
                    }
                    auto refs = book.references(tok.text, home);
                    std::string where;
                    for (const ResolvedRef& r : refs) {
                        if (!r.resolved) {
                            where = "シートがありません。";
                            break;
                        }
                        if (!where.empty()) where += ",";
                        where += place_text(book, r.where, 0);
                    }
                    element(tok.last_sheet.empty() ? "参照" : "3D参照", tok.text, where);
                    break;
                }
                case xl::TokenKind::Name: {
                    if (!tok.book.empty() && tok.book != "[0]") {
                        element("外部の名前", tok.text, "別のブックの名前です。");
                        break;
                    }
                    const xl::DefinedName* n = book.find_name(tok, home);
                    element("名前", tok.text, n ? "=" + n->refers_to : "定義されていない名前です。");
                    break;
                }
                case xl::TokenKind::Function:
                    element("関数", function_name(tok.text), "");
                    break;
                case xl::TokenKind::Table:
                    element("テーブル参照", tok.text, "");
                    break;
                case xl::TokenKind::Number:
                case xl::TokenKind::String:
                case xl::TokenKind::Bool:
                    element("定数", tok.text, "");
                    break;
                case xl::TokenKind::Error:
                    element("エラー値", tok.text,
                            tok.body == "#REF!" ? "参照先が失われています。" : "");
                    break;
                default:
                    break;
            }
        }
    });
    return {};
}

// ---- 計算式で影響するセル一覧 ----

constexpr const char* kAddress = "address";
constexpr const char* kDirection = "direction";
constexpr const char* kAllLevels = "all_levels";

// The typed cell or range: its sheet ("" for the active one) and area.
struct Start {
    std::string sheet;
    xl::Area area;
};
std::optional<Start> parse_start(std::string_view typed) {
    std::string t = text::trim(text::narrow(std::string(typed)));
    Start out;
    std::size_t bang = t.rfind('!');
    if (bang != std::string::npos) {
        out.sheet = t.substr(0, bang);
        if (out.sheet.size() >= 2 && out.sheet.front() == '\'' && out.sheet.back() == '\'') {
            out.sheet = out.sheet.substr(1, out.sheet.size() - 2);
            std::string unq;
            for (std::size_t i = 0; i < out.sheet.size(); ++i) {
                unq += out.sheet[i];
                if (out.sheet[i] == '\'' && i + 1 < out.sheet.size() && out.sheet[i + 1] == '\'')
                    ++i;
            }
            out.sheet = unq;
        }
        if (out.sheet.empty()) return std::nullopt;
        t = t.substr(bang + 1);
    }
    if (t.empty()) return std::nullopt;
    auto a = xl::parse_address(t);
    if (!a) return std::nullopt;
    out.area = *a;
    return out;
}

std::string Check_セル_計算式で影響するセル一覧(const shell::Params& p, std::string_view) {
    if (text::trim(p.text(kAddress)).empty()) return "調べるセルが指定されていません。";
    if (!parse_start(p.text(kAddress))) return "調べるセルの指定が不正です。";
    if (p.option(kDirection).empty()) return "調べる向きが選択されていません。";
    return {};
}

bool overlaps(const xl::Area& a, const xl::Area& b) {
    return a.first_row <= b.last_row && b.first_row <= a.last_row && a.first_col <= b.last_col &&
           b.first_col <= a.last_col;
}

class Tracer {
public:
    Tracer(run::Session& s, BookFormulas& book, bool all) : s_(s), book_(book), all_(all) {}

    void row(int level, const SheetArea& w, const std::string& content, const std::string& via) {
        report::ResultTable& t = s_.table;
        t.new_row();
        t.set(1, book_.sheet_name(w.sheet));
        t.set(2, place_text(book_, w, w.sheet));
        t.set(3, std::to_string(level));
        t.set(4, content);
        t.set(5, via);
    }

    // What a single cell holds: its formula, else its value.
    std::string content(const SheetArea& w) {
        if (w.area.first_row != w.area.last_row || w.area.first_col != w.area.last_col) return {};
        xl::Worksheet* ws = s_.book()->worksheet(w.sheet);
        if (!ws) return {};
        xl::CellRef c{w.area.first_row, w.area.first_col};
        std::string f = ws->cell_formula(c);
        return is_formula(f) ? f : value_text(ws->cell_value(c));
    }

    // The areas the start's formulas refer to; then those the formulas inside them refer to.
    void precedents(const SheetArea& start) {
        std::vector<const FormulaCell*> frontier = book_.cells_in(start);
        std::set<SheetArea> listed;
        std::set<const FormulaCell*> expanded(frontier.begin(), frontier.end());
        for (int level = 1; !frontier.empty() && !s_.cancel; ++level) {
            std::vector<const FormulaCell*> next;
            for (const FormulaCell* f : frontier) {
                if (s_.yield()) return;
                for (const ResolvedRef& r : f->refs) {
                    if (!r.resolved) {
                        s_.table.new_row();
                        s_.table.set(2, r.text);
                        s_.table.set(3, std::to_string(level));
                        s_.table.set(4, "（解決できない参照）");
                        s_.table.set(5, r.via);
                        continue;
                    }
                    if (!listed.insert(r.where).second) continue;
                    row(level, r.where, content(r.where), r.via);
                    for (const FormulaCell* inner : book_.cells_in(r.where))
                        if (expanded.insert(inner).second) next.push_back(inner);
                }
            }
            if (!all_) break;
            frontier = std::move(next);
        }
    }

    // The formulas that refer to the start; then those that refer to them.
    void dependents(const SheetArea& start) {
        const std::vector<FormulaCell>& cells = book_.cells();
        std::vector<SheetArea> frontier = {start};
        std::set<const FormulaCell*> found;
        for (int level = 1; !frontier.empty() && !s_.cancel; ++level) {
            std::vector<SheetArea> next;
            for (const FormulaCell& f : cells) {
                if (found.count(&f)) continue;
                const ResolvedRef* hit = nullptr;
                for (const ResolvedRef& r : f.refs) {
                    if (!r.resolved) continue;
                    for (const SheetArea& w : frontier)
                        if (w.sheet == r.where.sheet && overlaps(w.area, r.where.area)) {
                            hit = &r;
                            break;
                        }
                    if (hit) break;
                }
                if (!hit) continue;
                if (s_.yield()) return;
                found.insert(&f);
                SheetArea at{f.sheet, {f.cell.row, f.cell.col, f.cell.row, f.cell.col}};
                row(level, at, f.formula, hit->via);
                next.push_back(at);
            }
            if (!all_) break;
            frontier = std::move(next);
        }
    }

private:
    run::Session& s_;
    BookFormulas& book_;
    bool all_;
};

Result<void> Excel_セル_計算式で影響するセル一覧(run::Session& s) {
    xl::Worksheet* active = s.sheet();
    xl::Workbook* wb = s.book();
    if (!active || !wb) return no_sheet();
    auto start = parse_start(s.params.text(kAddress));
    if (!start) return Error::failed("調べるセルの指定が不正です。");
    BookFormulas book(*wb);
    const int sheet = book.sheet_index(start->sheet.empty() ? active->name() : start->sheet);
    if (sheet == 0) {
        s.update_error_text("シート「" + start->sheet + "」がありません。");
        return {};
    }
    report::ResultTable& t = s.table;
    t.new_row();
    t.set_title(0, "ファイル名");
    t.set_title(1, "シート名");
    t.set_title(2, "ｱﾄﾞﾚｽ");
    t.set_title(3, "段階");
    t.set_title(4, "計算式・値");
    t.set_title(5, "経由した名前");
    t.set(0, s.file_name);
    t.set(1, book.sheet_name(sheet));
    t.set(2, place_text(book, SheetArea{sheet, start->area}, 0));
    Tracer tracer(s, book, s.params.check(kAllLevels));
    if (s.params.option(kDirection) == "dependents")
        tracer.dependents(SheetArea{sheet, start->area});
    else
        tracer.precedents(SheetArea{sheet, start->area});
    return {};
}

const Procedures kProcedures[] = {
    {.category = "セル",
     .key_name = "計算式解析",
     .check = Check_セル_計算式解析,
     .execute = Excel_セル_計算式解析},
    {.category = "セル",
     .key_name = "計算式で影響するセル一覧",
     .check = Check_セル_計算式で影響するセル一覧,
     .execute = Excel_セル_計算式で影響するセル一覧},
};

}  // namespace

std::span<const Procedures> formula_analysis_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
