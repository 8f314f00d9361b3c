// 画像として印字: the range of the active sheet drawn as it prints, as a picture in the result
// list (one row per workbook, its picture where the row reads "(画像)"), and optionally saved as
// a PNG file "<book>_<sheet>.png" in the output folder. The workbook is not changed.
//
// LibreOffice draws the picture from the workbook as it stands; a workbook that goes through it
// anyway (.xls) costs nothing more.

#include <memory>
#include <string>

#include "ops/book/book_files.h"
#include "ops/cell/cell_common.h"
#include "ops/registry.h"
#include "report/result_table.h"
#include "run/session.h"
#include "util/file.h"
#include "xl/print.h"

namespace sheaflow::ops {

namespace {

constexpr const char* kScale = "scale";        // "1", "2" or "3": times the screen size
constexpr const char* kSaveFiles = "save_files";  // "1": PNG files too

std::string Check_セル_画像として印字(const shell::Params& p, std::string_view) {
    if (std::string m = range_boxes_error(p); !m.empty()) return m;
    const std::string& scale = p.option(kScale);
    if (scale != "1" && scale != "2" && scale != "3") return "倍率が設定されていません。";
    if (p.check(kSaveFiles)) return check_output_folder(p, false);
    return {};
}

// Characters a file name cannot hold, from a sheet name ("/" only, on Linux; the others so
// that the files can be copied to any desktop).
std::string file_name_part(std::string name) {
    for (char& c : name)
        if (std::string_view("/\\:*?\"<>|").find(c) != std::string_view::npos) c = '_';
    return name;
}

Result<void> Excel_セル_画像として印字(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return Error::failed("シートが開かれていません。");
    s.table.set_title(0, "ファイル名");
    s.table.set_title(1, "シート名");
    s.table.set_title(2, "範囲");
    s.table.set_title(3, "画像");
    s.table.set_title(4, "大きさ（ピクセル）");
    s.table.set_title(5, "保存先");
    std::optional<xl::Area> area = pane_area(*ws, s.params);
    if (!area) {
        s.table.new_row();
        s.table.set(0, s.file_name);
        s.table.set(1, sheet_label(*ws));
        s.table.set(3, "範囲に値がありません");
        return {};
    }
    auto png = xl::range_picture(*s.book(), *ws, *area, std::stod(s.params.option(kScale)));
    if (!png) return png.error();
    auto picture = std::make_shared<const std::string>(std::move(*png));
    s.table.new_row();
    s.table.set(0, s.file_name);
    s.table.set(1, sheet_label(*ws));
    s.table.set(2, xl::format_address(*area, false, false));
    s.table.set(3, report::ResultTable::kPictureText);
    if (auto size = report::png_size(*picture))
        s.table.set(4, std::to_string(size->first) + "×" + std::to_string(size->second));
    s.table.set_picture(picture);
    if (!s.params.check(kSaveFiles)) return {};
    const std::string path = file::join(
        output_folder(s), file_stem(s.file_name) + "_" + file_name_part(ws->name()) + ".png");
    if (!claim_output(s, path)) return {};
    if (auto r = file::write_all(path, *picture); !r) {
        log_save_error(s, path, r.error());
        return {};
    }
    s.table.set(5, path);
    return {};
}

const Procedures kProcedures[] = {
    {.category = "セル",
     .key_name = "画像として印字",
     .check = Check_セル_画像として印字,
     .execute = Excel_セル_画像として印字},
};

}  // namespace

std::span<const Procedures> picture_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
