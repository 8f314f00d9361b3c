// すべてのファイルを１つのファイルにまとめる: the worksheets of every target copied into one
// collecting workbook that the driver creates before the first target and saves after the last.
// シートごとのファイルに分割: every sheet of a target saved as a workbook of its own.

#include <string>
#include <vector>

#include "ops/book/book_files.h"
#include "ops/registry.h"
#include "run/session.h"
#include "util/file.h"
#include "util/text.h"
#include "xl/file_format.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

constexpr const char* kInputKey = "input";
constexpr const char* kKeepMacrosKey = "keep_macros";
constexpr int kSearchBoxes = 10;

std::vector<std::string> search_strings(const shell::Params& p) {
    std::vector<std::string> out;
    for (int i = 1; i <= kSearchBoxes; ++i)
        if (const std::string& t = p.text("search" + std::to_string(i)); !t.empty())
            out.push_back(t);
    return out;
}

// The worksheets of the target that the pane chooses, in their order.
std::vector<xl::Worksheet*> chosen_sheets(run::Session& s, xl::Workbook& book) {
    const std::string& input = s.params.option(kInputKey);
    std::vector<xl::Worksheet*> out;
    if (input == "active") {
        if (xl::Worksheet* ws = book.active_sheet(); ws && ws->type() == xl::xlWorksheet)
            out.push_back(ws);
        return out;
    }
    const std::vector<std::string> searches = search_strings(s.params);
    for (int i = 1; i <= book.worksheet_count(); ++i) {
        xl::Worksheet* ws = book.worksheet(i);
        if (input == "search") {
            const std::string name = ws->name();
            bool hit = false;
            for (const std::string& t : searches) hit = hit || name.find(t) != std::string::npos;
            if (!hit) continue;
        }
        out.push_back(ws);
    }
    return out;
}

bool is_sheet_code_name(xl::Workbook& book, const std::string& name) {
    for (int i = 1; i <= book.sheet_count(); ++i)
        if (xl::Worksheet* w = book.sheet(i); w && text::upper(w->code_name()) == text::upper(name))
            return true;
    return false;
}

// The project of a macro source, or nullptr (with its error line when it cannot be read).
xl::VBProject* macro_source(run::Session& s, xl::Workbook& book) {
    if (!s.params.check(kKeepMacrosKey) || s.extension != "XLSM") return nullptr;
    auto project = book.vb_project();
    if (!project) {
        s.update_error_text("マクロを引き継げません。" + project.error().message);
        return nullptr;
    }
    return (*project)->exists() ? *project : nullptr;
}

// The collecting workbook's project, made on the first macro source after that source's
// project (its references, its code page and its ThisWorkbook code). The ThisWorkbook code of a
// later source has nowhere to go and is reported; its modules bring the references they need.
Result<xl::VBProject*> collecting_project(run::Session& s, xl::Workbook& dest,
                                          xl::VBProject& source) {
    auto project = dest.vb_project();
    if (!project) return project.error();
    xl::VBComponent* source_book = source.vb_components().item("ThisWorkbook");
    for (int i = 1; !source_book && i <= source.vb_components().count(); ++i)
        if (xl::VBComponent* c = source.vb_components().item(i);
            c->type() == xl::vbext_ct_Document && !is_sheet_code_name(*s.book(), c->name()))
            source_book = c;
    const std::string code =
        source_book ? source_book->code_module().lines(1, source_book->code_module().count_of_lines())
                    : std::string();
    if ((*project)->exists()) {
        if (!text::trim(code).empty())
            s.update_error_text("ブックのモジュール「" + source_book->name() +
                                "」のマクロは、最初のマクロ付きブックのものだけを引き継ぐため、まとめたブックに入れていません。");
        return *project;
    }
    if (auto r = (*project)->create(&source); !r) return r.error();
    xl::VBComponent* book_module = nullptr;
    xl::VBComponents& dc = (*project)->vb_components();
    for (int i = 1; !book_module && i <= dc.count(); ++i)
        if (dc.item(i)->type() == xl::vbext_ct_Document && !is_sheet_code_name(dest, dc.item(i)->name()))
            book_module = dc.item(i);
    if (book_module && !code.empty())
        if (auto r = book_module->code_module().insert_lines(1, code); !r) return r.error();
    return *project;
}

// The standard and class modules of a source go into the collecting workbook under their own
// names. A module whose name is taken is left out with an error line, unless it holds the same
// code (the same module shared by several books goes in once). Forms cannot travel.
void copy_modules(run::Session& s, xl::VBProject& source, xl::VBProject& dest) {
    xl::VBComponents& from = source.vb_components();
    xl::VBComponents& to = dest.vb_components();
    for (int i = 1; i <= from.count(); ++i) {
        xl::VBComponent* m = from.item(i);
        if (m->type() == xl::vbext_ct_Document) continue;
        if (m->type() != xl::vbext_ct_StdModule && m->type() != xl::vbext_ct_ClassModule) {
            s.update_error_text("フォーム「" + m->name() + "」はまとめたブックに入れていません。");
            continue;
        }
        if (xl::VBComponent* there = to.item(m->name())) {
            auto all = [](xl::VBComponent& c) {
                return c.code_module().lines(1, c.code_module().count_of_lines());
            };
            if (there->type() != m->type() || all(*there) != all(*m))
                s.update_error_text("モジュール「" + m->name() +
                                    "」は同じ名前の別のモジュールが既にあるため、まとめたブックに入れていません。");
            continue;
        }
        if (auto r = to.copy_from(*m); !r) s.update_error_text(r.error().message);
    }
}

}  // namespace

std::string Check_ファイル_1つのファイルにまとめる(const shell::Params& p, std::string_view) {
    const std::string& input = p.option(kInputKey);
    if (input != "all" && input != "active" && input != "search")
        return "入力シートの選択指定が不正です。";
    if (input == "search" && search_strings(p).empty()) return "入力シートの検索文字列が不正です。";
    return check_output_folder(p, false);
}

// The sheets are copied under "<file name>-<sheet name>" so that sheets of different files
// cannot collide. The target itself is not renamed: the copies are given their names directly,
// so that references from the copies to sheets left behind name the sheets as they are in the
// file. A prefixed name that the application refuses is logged and the sheet is copied under
// its own name, made unique.
Result<void> Excel_ファイル_1つのファイルにまとめる(run::Session& s) {
    xl::Workbook* book = s.book();
    xl::Workbook* dest = s.app.workbooks().item(s.dest_book_name);
    if (!book || !dest) return Error::failed("まとめ先のブックがありません。");
    const std::string prefix = s.file_name + "-";
    std::vector<xl::Worksheet*> sheets = chosen_sheets(s, *book);
    std::vector<std::string> names;
    for (xl::Worksheet* ws : sheets) {
        if (s.yield()) return {};
        std::string name = prefix + ws->name();
        if (auto r = dest->check_sheet_name(name); !r) {
            s.update_error_text(r.error().message);
            name = ws->name();
        }
        names.push_back(name);
    }
    if (sheets.empty()) return {};
    xl::Worksheet* last = dest->worksheet(dest->worksheet_count());
    if (!last) return Error::failed("まとめ先のブックにシートがありません。");
    // The project comes first, so that each copied sheet brings its module's code along.
    xl::VBProject* source_project = macro_source(s, *book);
    xl::VBProject* dest_project = nullptr;
    if (source_project) {
        auto made = collecting_project(s, *dest, *source_project);
        if (!made) return made.error();
        dest_project = *made;
    }
    auto copied = book->copy_sheets(sheets, *last, names);
    if (!copied) return copied.error();
    if (source_project) copy_modules(s, *source_project, *dest_project);
    return {};
}

// The sheet the collecting workbook was made with goes once something was copied after it (the
// last sheet of a workbook cannot go). The copies have other names: a copy that takes a name
// in use is renamed.
Result<void> Excel_ファイル_1つのファイルにまとめる_Final(run::Session& s) {
    xl::Workbook* dest = s.app.workbooks().item(s.dest_book_name);
    if (!dest) return {};
    xl::Worksheet* initial = dest->worksheet(s.dest_sheet_name);
    if (initial && dest->worksheet_count() > 1)
        if (auto r = initial->delete_sheet(); !r) return r.error();
    if (xl::Worksheet* first = dest->worksheet(1)) (void)first->activate();
    return {};
}

std::string Check_ファイル_シートごとのファイルに分割(const shell::Params& p, std::string_view) {
    return check_output_folder(p, false);
}

// Each sheet goes into a new workbook before the sheet that workbook was made with, which stays
// behind it, and is saved as "<stem>-<sheet>.<ext of the source>" in the source's format. Chart
// sheets cannot be copied on their own: each gets an error line instead of a file.
Result<void> Excel_ファイル_シートごとのファイルに分割(run::Session& s) {
    xl::Workbook* book = s.book();
    if (!book) return Error::failed("ブックが開かれていません。");
    const std::string ext = file_extension(s.file_name);
    std::optional<int> format = xl::FileFormat_FromExt(text::upper(ext));
    if (!format) {
        s.update_error_text(std::string(xl::kUnknownExtensionMessage));
        return {};
    }
    for (int i = 1; i <= book->sheet_count(); ++i) {
        if (s.yield()) return {};
        xl::Worksheet* ws = book->sheet(i);
        if (ws->type() != xl::xlWorksheet) {
            s.update_error_text("シート「" + ws->name() +
                                "」はワークシートではないため、ファイルを作成していません。");
            continue;
        }
        const std::string path =
            file::join(output_folder(s), file_stem(s.file_name) + "-" + ws->name() + "." + ext);
        if (!claim_output(s, path)) continue;
        auto added = s.app.workbooks().add();
        if (!added) return added.error();
        xl::Workbook* piece = *added;
        if (auto r = ws->copy(piece->worksheet(1), nullptr); !r)
            s.update_error_text("シート「" + ws->name() + "」をコピーできません。" +
                                r.error().message);
        else if (auto saved = piece->save_as(path, *format); !saved)
            log_save_error(s, path, saved.error());
        piece->close();
        (void)book->activate();
    }
    return {};
}

std::span<const Procedures> combine_split_procedures() {
    static const Procedures table[] = {
        {.category = "ファイル",
         .key_name = "すべてのファイルを１つのファイルにまとめる",
         .check = Check_ファイル_1つのファイルにまとめる,
         .execute = Excel_ファイル_1つのファイルにまとめる,
         .final = Excel_ファイル_1つのファイルにまとめる_Final,
         .own_sheet_loop = true,
         .collects = true},
        {.category = "ファイル",
         .key_name = "シートごとのファイルに分割",
         .check = Check_ファイル_シートごとのファイルに分割,
         .execute = Excel_ファイル_シートごとのファイルに分割,
         .updates = true,
         .saves_itself = true,
         .own_sheet_loop = true},
    };
    return table;
}

}  // namespace sheaflow::ops
