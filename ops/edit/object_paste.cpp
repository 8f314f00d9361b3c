// Drawing objects copied and moved by name: コピー貼付_オブジェクト copies objects of a sheet
// (of a source workbook, or of the target itself) onto a sheet of every target;
// 切取り貼付_オブジェクト moves objects from one sheet of a target to another. Pictures,
// shapes, groups, charts, embedded objects and controls travel with their parts; notes (with
// their threads) and hyperlinks go to the same (or the given) cell, a note there replaced.

#include <optional>

#include "ops/edit/edit_common.h"
#include "ops/registry.h"
#include "ops/sheet/sheet_ops.h"
#include "util/text.h"

namespace sheaflow::ops {
namespace {
namespace k = edit::keys;

constexpr const char* kSource = "source";
constexpr const char* kDestSheet = "dest_sheet";
constexpr const char* kDest = "dest";

// The top-left cell the pane gives for the pasted objects; nullopt (their own place) when the
// box is empty, and an error when it holds no single cell.
Result<std::optional<xl::CellRef>> dest_cell(const shell::Params& p) {
    if (text::replace_all(text::trim(p.text(kDest)), "$", "").empty())
        return std::optional<xl::CellRef>();
    auto cell = edit::pane_cell(p.text(kDest));
    if (!cell) return Error::failed("貼り付け先のセルの指定が不正です。");
    return cell;
}

std::string check_names(const shell::Params& p) {
    if (object_name_list(p.text(k::kNames)).empty()) return "オブジェクト名を入力してください。";
    if (auto d = dest_cell(p); !d) return d.error().message;
    return {};
}

// The objects of `ws` whose names one of the pane's patterns fits, in the sheet's order;
// a pattern that fits none is an error line.
std::vector<xl::SheetObject> chosen(run::Session& s, xl::Worksheet& ws) {
    std::vector<xl::SheetObject> all = ws.objects(), out;
    for (const std::string& pattern : object_name_list(s.params.text(k::kNames))) {
        bool any = false;
        for (const xl::SheetObject& o : all) {
            if (!object_name_like(pattern, o.name)) continue;
            any = true;
            bool listed = false;
            for (const xl::SheetObject& c : out) listed = listed || c.id == o.id;
            if (!listed) out.push_back(o);
        }
        if (!any) s.update_error_text("オブジェクト「" + pattern + "」がありません。");
    }
    return out;
}

// The object of a sheet with the kind and name of `wanted`, as the sheet lists it now.
std::optional<xl::SheetObject> now_named(xl::Worksheet& ws, const xl::SheetObject& wanted) {
    for (const xl::SheetObject& c : ws.objects())
        if (c.kind == wanted.kind && c.name == wanted.name) return c;
    return std::nullopt;
}

std::string cell_name(xl::CellRef c) {
    return xl::format_address({c.row, c.col, c.row, c.col}, false, false);
}

xl::Worksheet* sheet_named(run::Session& s, xl::Workbook& b, const std::string& name,
                           const char* role) {
    xl::Worksheet* ws = edit::named_or_active(b, name);
    if (!ws)
        s.update_error_text(std::string(role) + "のシート「" + text::trim(name) +
                            "」がありません。");
    return ws;
}

// コピー貼付_オブジェクト ---------------------------------------------------------------------

std::string Check_編集_コピー貼付_オブジェクト(const shell::Params& p, std::string_view) {
    if (p.option(kSource) == "file")
        if (std::string m = edit::check_source_file(p); !m.empty()) return m;
    return check_names(p);
}

Result<void> read_source(run::Session& s) {
    if (s.params.option(kSource) != "file") return {};
    return edit::open_source(s);
}

Result<void> Excel_編集_コピー貼付_オブジェクト(run::Session& s) {
    xl::Workbook* target = s.book();
    if (!target) return {};
    xl::Workbook* from_book = s.params.option(kSource) == "file" ? edit::source_book(s) : target;
    if (!from_book) return {};
    xl::Worksheet* src = sheet_named(s, *from_book, s.params.text(k::kSourceSheet), "コピー元");
    xl::Worksheet* dst = sheet_named(s, *target, s.params.text(kDestSheet), "貼り付け先");
    if (!src || !dst) return {};
    auto to = dest_cell(s.params);
    if (!to) return to.error();
    for (const xl::SheetObject& wanted : chosen(s, *src)) {
        if (s.yield()) return {};
        // A copy onto the source sheet itself renumbers its objects: each is looked up again
        // (the first of a name is the original, copies coming after it).
        std::optional<xl::SheetObject> o = now_named(*src, wanted);
        if (!o) continue;
        if (auto r = src->copy_object(*o, *dst, *to); !r)
            s.update_error_text(o->name + " " + r.error().message);
    }
    return {};
}

// 切取り貼付_オブジェクト ---------------------------------------------------------------------

std::string Check_編集_切取り貼付_オブジェクト(const shell::Params& p, std::string_view) {
    return check_names(p);
}

// Each object is copied, then deleted from its sheet; on one sheet it is moved instead. The
// source is looked up again after each object, as a deletion renumbers the others.
Result<void> Excel_編集_切取り貼付_オブジェクト(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return {};
    xl::Worksheet* src = sheet_named(s, *b, s.params.text(k::kSourceSheet), "切り取り元");
    xl::Worksheet* dst = sheet_named(s, *b, s.params.text(kDestSheet), "貼り付け先");
    if (!src || !dst) return {};
    auto to = dest_cell(s.params);
    if (!to) return to.error();
    std::vector<xl::SheetObject> picked = chosen(s, *src);
    for (const xl::SheetObject& wanted : picked) {
        if (s.yield()) return {};
        std::optional<xl::SheetObject> o = now_named(*src, wanted);
        if (!o) continue;
        Result<void> r;
        // Notes and hyperlinks are named by their cells.
        const bool by_cell =
            o->kind == xl::ObjectKind::Hyperlink || o->kind == xl::ObjectKind::Comment;
        const bool stays = !*to || (by_cell && o->name == cell_name(**to));
        if (src == dst && !by_cell) {
            if (*to) r = src->move_object(*o, **to);
        } else if (src != dst || !stays) {
            // A copy on the same sheet renumbers the objects: the original is looked up again.
            r = src->copy_object(*o, *dst, *to);
            if (r) {
                std::optional<xl::SheetObject> original = now_named(*src, *o);
                if (original) r = src->delete_object(*original);
            }
        }
        if (!r) s.update_error_text(o->name + " " + r.error().message);
    }
    return {};
}

}  // namespace

std::span<const Procedures> edit_object_paste_procedures() {
    static const Procedures table[] = {
        {.category = "編集",
         .key_name = "コピー貼付_オブジェクト",
         .check = Check_編集_コピー貼付_オブジェクト,
         .execute = Excel_編集_コピー貼付_オブジェクト,
         .read = read_source,
         .updates = true},
        {.category = "編集",
         .key_name = "切取り貼付_オブジェクト",
         .check = Check_編集_切取り貼付_オブジェクト,
         .execute = Excel_編集_切取り貼付_オブジェクト,
         .updates = true},
    };
    return table;
}

}  // namespace sheaflow::ops
