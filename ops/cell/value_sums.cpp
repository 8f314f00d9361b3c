// 値の加算_画面表示, 値の加算_EXCEL登録 and 値の加算_リンク登録: the values of the given cells
// summed across every target of the run. Each lists the values per workbook and the totals; the
// second also writes them into a new workbook, the third writes a new workbook whose cells are
// links to the targets' cells and whose totals are formulas over them, so that it follows the
// targets when they change.

#include <charconv>
#include <filesystem>

#include "ops/book/book_files.h"
#include "ops/cell/formula_support.h"
#include "ops/registry.h"
#include "report/result_table.h"
#include "run/session.h"
#include "util/text.h"

namespace sheaflow::ops {

namespace {

constexpr const char* kCells = "cells";
constexpr const char* kFileName = "file_name";
constexpr const char* kOverwrite = "overwrite";
constexpr std::size_t kMostCells = 1000;

// One cell to add up: its sheet ("" for each workbook's active sheet) and place.
struct SumCell {
    std::string sheet;
    xl::CellRef cell;
};

// "B3", "B3:D5", "Sheet2!B3", "'My sheet'!B3:B9" separated by commas; nullopt when one is not
// a cell or range or there are too many cells.
std::optional<std::vector<SumCell>> parse_cells(std::string_view typed) {
    std::vector<SumCell> out;
    for (std::string item : text::split(text::narrow(std::string(typed)), ",")) {
        item = text::trim(item);
        if (item.empty()) continue;
        std::string sheet;
        std::size_t bang = item.rfind('!');
        if (bang != std::string::npos) {
            sheet = item.substr(0, bang);
            item = item.substr(bang + 1);
            if (sheet.size() >= 2 && sheet.front() == '\'' && sheet.back() == '\'') {
                std::string inner = sheet.substr(1, sheet.size() - 2), unq;
                for (std::size_t i = 0; i < inner.size(); ++i) {
                    unq += inner[i];
                    if (inner[i] == '\'' && i + 1 < inner.size() && inner[i + 1] == '\'') ++i;
                }
                sheet = unq;
            }
            if (sheet.empty()) return std::nullopt;
        }
        auto a = xl::parse_address(item);
        // Whole rows or columns are not cells to add up one by one.
        if (!a || item.find_first_of("0123456789") == std::string::npos ||
            item.find_first_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz") ==
                std::string::npos)
            return std::nullopt;
        for (std::int32_t r = a->first_row; r <= a->last_row; ++r)
            for (std::int32_t c = a->first_col; c <= a->last_col; ++c) {
                out.push_back({sheet, {r, c}});
                if (out.size() > kMostCells) return std::nullopt;
            }
    }
    if (out.empty()) return std::nullopt;
    return out;
}

// "B3" or "Sheet2!B3" as the list shows a cell.
std::string cell_label(const SumCell& c) {
    std::string a = xl::format_address({c.cell.row, c.cell.col, c.cell.row, c.cell.col}, false,
                                       false);
    return c.sheet.empty() ? a : c.sheet + "!" + a;
}

std::string number_text(double d) { return xl::to_text(xl::Value(d)); }

// The sums of one run. The driver calls the executor once per target, so the cells, totals
// and the next row of the new workbook live here from Excel_..._First to Excel_..._Final.
struct RunSums {
    std::vector<SumCell> cells;
    std::vector<double> totals;
    std::int32_t next_row = 2;  // the next row of the new workbook (row 1 holds the titles)
    std::string first_folder;   // where the new workbook goes when no folder is given
};
RunSums g_sums;

std::string check_cells(const shell::Params& p) {
    const std::string& typed = p.text(kCells);
    if (text::trim(typed).empty()) return "加算するセルが指定されていません。";
    if (!parse_cells(typed))
        return "加算するセルの指定が不正です（セルは" + std::to_string(kMostCells) +
               "個まで、行や列全体は指定できません）。";
    return {};
}

std::string check_output(const shell::Params& p) {
    if (std::string e = check_cells(p); !e.empty()) return e;
    if (std::string e = check_output_folder(p, false); !e.empty()) return e;
    std::string name = text::trim(p.text(kFileName));
    if (name.empty()) return "登録するファイル名が指定されていません。";
    if (name.find('/') != std::string::npos || name.find('\\') != std::string::npos)
        return "登録するファイル名にフォルダーは書けません。";
    if (text::upper(std::filesystem::path(name).extension().string()) != ".XLSX")
        return "登録するファイル名の拡張子は .xlsx にしてください。";
    return {};
}

std::string Check_セル_値の加算_画面表示(const shell::Params& p, std::string_view) {
    return check_cells(p);
}
std::string Check_セル_値の加算_EXCEL登録(const shell::Params& p, std::string_view) {
    return check_output(p);
}
std::string Check_セル_値の加算_リンク登録(const shell::Params& p, std::string_view) {
    return check_output(p);
}

// The collecting workbook of the run and its sheet; nullptr for 画面表示.
xl::Worksheet* collecting_sheet(run::Session& s) {
    if (s.dest_book_name.empty()) return nullptr;
    xl::Workbook* dest = s.app.workbooks().item(s.dest_book_name);
    return dest ? dest->worksheet(1) : nullptr;
}

Result<void> start(run::Session& s) {
    g_sums = RunSums{};
    auto cells = parse_cells(s.params.text(kCells));
    if (!cells) return Error::failed("加算するセルの指定が不正です。");
    g_sums.cells = std::move(*cells);
    g_sums.totals.assign(g_sums.cells.size(), 0.0);
    s.table.set_title(0, "ファイル名");
    s.table.set_title(1, "シート名");
    s.table.set_title(2, "ｱﾄﾞﾚｽ");
    s.table.set_title(3, "値");
    if (xl::Worksheet* out = collecting_sheet(s)) {
        if (auto r = out->set_cell_value({1, 1}, std::string("ファイル名")); !r) return r;
        for (std::size_t i = 0; i < g_sums.cells.size(); ++i)
            if (auto r = out->set_cell_value({1, static_cast<std::int32_t>(i) + 2},
                                             cell_label(g_sums.cells[i]));
                !r)
                return r;
    }
    return {};
}

// The text of a sheet name in a reference to another workbook: always quoted, since the
// prefix holds a folder.
std::string doubled_quotes(std::string_view s) {
    std::string out;
    for (char c : s) {
        out += c;
        if (c == '\'') out += '\'';
    }
    return out;
}

Result<void> add_up(run::Session& s, bool links) {
    xl::Workbook* wb = s.book();
    xl::Worksheet* active = s.sheet();
    if (!wb || !active) return Error::failed("シートが開かれていません。");
    if (g_sums.first_folder.empty()) g_sums.first_folder = s.folder;
    xl::Worksheet* out = collecting_sheet(s);
    const std::int32_t row = g_sums.next_row++;
    if (out)
        if (auto r = out->set_cell_value({row, 1}, s.full_path()); !r) return r;
    s.table.new_row();
    s.table.set(0, s.file_name);
    for (std::size_t i = 0; i < g_sums.cells.size(); ++i) {
        if (s.yield()) break;
        const SumCell& c = g_sums.cells[i];
        xl::Worksheet* ws = c.sheet.empty() ? active : wb->worksheet(c.sheet);
        if (!ws) {
            s.update_error_text("シート「" + c.sheet + "」がありません。");
            continue;
        }
        const xl::Value v = ws->cell_value(c.cell);
        std::optional<double> number;
        if (const double* d = std::get_if<double>(&v)) number = *d;
        if (const xl::DateTime* d = std::get_if<xl::DateTime>(&v)) number = d->serial;
        if (number) g_sums.totals[i] += *number;
        s.table.new_row();
        s.table.set(1, ws->name());
        s.table.set(2, cell_label({"", c.cell}));
        // Texts, booleans and errors are shown but not added, as SUM passes them over.
        s.table.set(3, number ? number_text(*number) : value_text(v));
        if (!out) continue;
        const xl::CellRef at{row, static_cast<std::int32_t>(i) + 2};
        Result<void> written;
        if (links) {
            std::string address =
                xl::format_address({c.cell.row, c.cell.col, c.cell.row, c.cell.col});
            written = out->set_cell_formula(at, "='" + doubled_quotes(s.folder) + "/[" +
                                                    doubled_quotes(s.file_name) + "]" +
                                                    doubled_quotes(ws->name()) + "'!" + address);
        } else if (number) {
            written = out->set_cell_value(at, *number);
        }
        if (!written) return written;
    }
    return {};
}

Result<void> Excel_セル_値の加算_画面表示(run::Session& s) { return add_up(s, false); }
Result<void> Excel_セル_値の加算_EXCEL登録(run::Session& s) { return add_up(s, false); }
Result<void> Excel_セル_値の加算_リンク登録(run::Session& s) { return add_up(s, true); }

// The totals at the end of the list: one row per cell.
void list_totals(run::Session& s) {
    if (g_sums.next_row == 2) return;  // no workbook was read
    s.table.new_row();
    s.table.new_row();
    s.table.set(0, "合計");
    for (std::size_t i = 0; i < g_sums.cells.size(); ++i) {
        s.table.new_row();
        s.table.set(1, g_sums.cells[i].sheet);
        s.table.set(2, cell_label({"", g_sums.cells[i].cell}));
        s.table.set(3, number_text(g_sums.totals[i]));
    }
}

Result<void> finish_list(run::Session& s) {
    list_totals(s);
    return {};
}

// Writes the total row and saves the collecting workbook under the pane's name; closing it
// afterwards leaves nothing for the driver to save.
Result<void> finish_book(run::Session& s, bool links) {
    list_totals(s);
    xl::Workbook* dest = s.app.workbooks().item(s.dest_book_name);
    xl::Worksheet* out = dest ? dest->worksheet(1) : nullptr;
    if (!out) return Error::failed("登録するブックがありません。");
    if (g_sums.next_row == 2) {
        dest->close();
        return {};
    }
    const std::int32_t total_row = g_sums.next_row;
    if (auto r = out->set_cell_value({total_row, 1}, std::string("合計")); !r) return r;
    for (std::size_t i = 0; i < g_sums.cells.size(); ++i) {
        const std::int32_t col = static_cast<std::int32_t>(i) + 2;
        Result<void> r;
        if (links) {
            const std::string letters = xl::column_letters(col);
            r = out->set_cell_formula({total_row, col}, "=SUM(" + letters + "2:" + letters +
                                                           std::to_string(total_row - 1) + ")");
        } else {
            r = out->set_cell_value({total_row, col}, g_sums.totals[i]);
        }
        if (!r) return r;
    }
    std::string folder = text::trim(s.params.text(kOutputFolderKey));
    if (folder.empty()) folder = g_sums.first_folder;
    const std::string path = (std::filesystem::path(folder) /
                              text::trim(s.params.text(kFileName)))
                                 .lexically_normal()
                                 .string();
    std::error_code ec;
    if (std::filesystem::exists(path, ec) && !s.params.check(kOverwrite)) {
        log_save_error(s, path, Error::failed("同じ名前のファイルがあります。上書きしません。"));
    } else if (claim_output(s, path)) {
        if (auto r = dest->save_as(path, xl::xlOpenXMLWorkbook); !r)
            log_save_error(s, path, r.error());
        else
            s.host.progress("登録しました: " + path);
    }
    dest->close();
    return {};
}

Result<void> Excel_セル_値の加算_EXCEL登録_Final(run::Session& s) { return finish_book(s, false); }
Result<void> Excel_セル_値の加算_リンク登録_Final(run::Session& s) { return finish_book(s, true); }

const Procedures kProcedures[] = {
    {.category = "セル",
     .key_name = "値の加算_画面表示",
     .check = Check_セル_値の加算_画面表示,
     .execute = Excel_セル_値の加算_画面表示,
     .first = start,
     .final = finish_list},
    {.category = "セル",
     .key_name = "値の加算_EXCEL登録",
     .check = Check_セル_値の加算_EXCEL登録,
     .execute = Excel_セル_値の加算_EXCEL登録,
     .first = start,
     .final = Excel_セル_値の加算_EXCEL登録_Final,
     .collects = true},
    {.category = "セル",
     .key_name = "値の加算_リンク登録",
     .check = Check_セル_値の加算_リンク登録,
     .execute = Excel_セル_値の加算_リンク登録,
     .first = start,
     .final = Excel_セル_値の加算_リンク登録_Final,
     .collects = true},
};

}  // namespace

std::span<const Procedures> value_sum_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
