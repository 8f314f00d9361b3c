// オブジェクトごとのファイルに分割: every object of the active sheet (notes, embedded objects,
// charts, the other shapes, hyperlinks) written to a workbook of its own: a copy of the sheet
// that keeps that object alone, and a description sheet after it.

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

std::string range_text(const xl::SheetObject& o) {
    return xl::format_address({o.first_row, o.first_col, o.last_row, o.last_col}, false, false);
}

// Notes and hyperlinks are named by their cell; the others by their name, "～" and their
// cells.
std::string object_name(const xl::SheetObject& o) {
    std::string name = o.kind == xl::ObjectKind::Comment || o.kind == xl::ObjectKind::Hyperlink
                           ? o.name
                           : o.name + "～" + range_text(o);
    for (char& c : name)
        if (c == '/') c = ' ';
    return name;
}

// The copy of the sheet keeps the object at `keep` of the source's list alone: the copy lists
// the same objects in the same order, and deleting from the back leaves earlier handles good.
Result<void> keep_only(xl::Worksheet& copy, const std::vector<xl::SheetObject>& source,
                       std::size_t keep) {
    std::vector<xl::SheetObject> mine = copy.objects();
    if (mine.size() != source.size() || mine[keep].name != source[keep].name)
        return Error::failed("コピーしたシートのオブジェクトが元のシートと一致しません。");
    for (std::size_t i = mine.size(); i-- > 0;)
        if (i != keep)
            if (auto r = copy.delete_object(mine[i]); !r) return r;
    return {};
}

Result<void> describe(xl::Workbook& piece, xl::Worksheet& copy, const std::string& sheet_name,
                      const xl::SheetObject& o, const std::string& name) {
    auto added = piece.add_worksheet(nullptr, &copy);
    if (!added) return added.error();
    xl::Worksheet& d = **added;
    const char* heads[] = {"シート名", "セル位置", "タイプ", "オブジェクト名"};
    const std::string values[] = {sheet_name, range_text(o), o.type_word, name};
    for (int c = 0; c < 4; ++c) {
        if (auto r = d.set_cell_value({1, c + 1}, xl::Value(std::string(heads[c]))); !r) return r;
        if (auto r = d.set_cell_value({2, c + 1}, xl::Value(values[c])); !r) return r;
    }
    if (auto r = d.autofit_lines(xl::Axis::Columns, {{1, 4}}, 1); !r) return r;
    return copy.activate();
}

}  // namespace

std::string Check_ファイル_オブジェクトごとのファイルに分割(const shell::Params& p,
                                                            std::string_view) {
    return check_output_folder(p, false);
}

Result<void> Excel_ファイル_オブジェクトごとのファイルに分割(run::Session& s) {
    xl::Workbook* book = s.book();
    xl::Worksheet* ws = s.sheet();
    if (!book || !ws) return Error::failed("ブックが開かれていません。");
    // The pieces of a workbook with macros are plain workbooks.
    std::string ext = file_extension(s.file_name);
    if (text::upper(ext) == "XLSM") ext = "xlsx";
    const std::vector<xl::SheetObject> objects = ws->objects();
    if (objects.empty()) {
        s.update_error_text("オブジェクトがなくて、ファイルを作成してません。");
        return {};
    }
    std::string stem = file_stem(s.file_name);
    if (s.category.rfind("すべてのシート", 0) == 0) stem += "-" + ws->name();
    const std::string sheet_name = ws->name();
    for (std::size_t i = 0; i < objects.size(); ++i) {
        if (s.yield()) return {};
        const xl::SheetObject& o = objects[i];
        const std::string name = object_name(o);
        const std::string file_name = stem + "-" + o.type_word + "-" + name + "." + ext;
        std::optional<int> format = xl::FileFormat_FromFile(file_name);
        if (!format) {
            s.update_error_text(std::string(xl::kUnknownExtensionMessage));
            return {};
        }
        const std::string path = file::join(output_folder(s), file_name);
        if (!claim_output(s, path)) continue;
        auto copied = ws->copy(nullptr, nullptr);
        if (!copied) {
            s.update_error_text("シート「" + sheet_name + "」をコピーできません。" +
                                copied.error().message);
            return {};
        }
        xl::Workbook& piece = (*copied)->parent();
        Result<void> made = keep_only(**copied, objects, i);
        if (made) made = describe(piece, **copied, sheet_name, o, name);
        if (!made)
            s.update_error_text(name + " " + made.error().message);
        else if (auto saved = piece.save_as(path, *format); !saved)
            log_save_error(s, path, saved.error());
        piece.close();
        (void)book->activate();
    }
    return {};
}

std::span<const Procedures> split_object_procedures() {
    static const Procedures table[] = {
        {.category = "ファイル",
         .key_name = "オブジェクトごとのファイルに分割",
         .check = Check_ファイル_オブジェクトごとのファイルに分割,
         .execute = Excel_ファイル_オブジェクトごとのファイルに分割,
         .updates = true,
         .saves_itself = true},
    };
    return table;
}

}  // namespace sheaflow::ops
