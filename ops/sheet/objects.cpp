// The drawing objects of a sheet: オブジェクト一覧 (every object of every worksheet, with its
// kind, name, cells, size and text), オブジェクト削除 (by kind and name pattern), オブジェクト移動
// (to a cell), オブジェクト名の変更 and オブジェクト拡大縮小 (by percent, optionally keeping the
// aspect ratio). The changing operations act on the active sheet (on every sheet in the
// all-sheets category); notes and hyperlinks belong to their cells and are only listed and
// deleted.

#include <algorithm>
#include <cstdio>
#include <functional>
#include <optional>

#include "ops/registry.h"
#include "ops/sheet/sheet_ops.h"
#include "report/list_final.h"
#include "report/record_store.h"
#include "report/result_table.h"
#include "run/session.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace {

Error no_workbook() { return Error::failed("ブックが開かれていません。"); }

// Code points of a text, upper-cased, for the name patterns.
std::u32string points(std::string_view s) { return text::to_u32(text::upper(s)); }

// A name pattern: "*" any run of characters, "?" one character; upper and lower case alike.
// An empty pattern matches every name.
bool matches(const std::u32string& pattern, const std::u32string& name) {
    std::size_t p = 0, n = 0, star = std::u32string::npos, mark = 0;
    while (n < name.size()) {
        if (p < pattern.size() && (pattern[p] == U'?' || pattern[p] == name[n])) {
            ++p, ++n;
        } else if (p < pattern.size() && pattern[p] == U'*') {
            star = p++;
            mark = n;
        } else if (star != std::u32string::npos) {
            p = star + 1;
            n = ++mark;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == U'*') ++p;
    return p == pattern.size();
}

bool name_matches(const shell::Params& p, const xl::SheetObject& o) {
    return object_name_like(p.text("name"), o.name);
}

// Objects that can be moved, scaled and renamed: those drawn on the sheet.
bool drawn(const xl::SheetObject& o) {
    return o.kind != xl::ObjectKind::Comment && o.kind != xl::ObjectKind::Hyperlink;
}

std::string points_text(double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.2f", v);
    return buf;
}

// Applies `act` to the objects of the sheet that `pick` chooses, looking the sheet's objects
// up again after each change (a change may renumber them). Failures are error lines.
void for_objects(run::Session& s, xl::Worksheet& ws,
                 const std::function<bool(const xl::SheetObject&)>& pick,
                 const std::function<Result<void>(const xl::SheetObject&)>& act) {
    std::vector<std::string> done;
    while (true) {
        if (s.yield()) return;
        const xl::SheetObject* next = nullptr;
        std::vector<xl::SheetObject> all = ws.objects();
        for (std::size_t i = 0; i < all.size() && !next; ++i) {
            std::string key = std::to_string(static_cast<int>(all[i].kind)) + all[i].name;
            if (pick(all[i]) && std::find(done.begin(), done.end(), key) == done.end()) {
                next = &all[i];
                done.push_back(key);
            }
        }
        if (!next) return;
        if (auto r = act(*next); !r) s.update_error_text(next->name + " " + r.error().message);
    }
}

// オブジェクト一覧 ----------------------------------------------------------------------------

enum Column : std::size_t { kFile, kSheet, kKind, kName, kRange, kWidth, kHeight, kText };

std::string Check_シート_オブジェクト一覧(const shell::Params&, std::string_view) { return ""; }

Result<void> Excel_シート_オブジェクト一覧_First(run::Session& s) {
    s.store.reset();
    return {};
}

Result<void> Excel_シート_オブジェクト一覧(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    for (int i = 1; i <= b->worksheet_count(); ++i) {
        if (s.yield()) return {};
        xl::Worksheet* w = b->worksheet(i);
        for (const xl::SheetObject& o : w->objects()) {
            std::string range = xl::format_address(
                {o.first_row, o.first_col, o.last_row, o.last_col}, false, false);
            s.store.add({s.file_name, std::to_string(i)},
                        {s.file_name, w->name(), o.type_word, o.name, range,
                         drawn(o) || o.width > 0 ? points_text(o.width) : "",
                         drawn(o) || o.height > 0 ? points_text(o.height) : "", o.text});
        }
    }
    return {};
}

Result<void> Excel_シート_オブジェクト一覧_Final(run::Session& s) {
    report::Final_Process(
        s.store, s.table,
        {"ファイル名", "シート名", "種類", "オブジェクト名", "セル範囲", "幅", "高さ", "テキスト"},
        [](const report::RecordStore::Record& r, report::ResultTable& t) {
            for (std::size_t i = kFile; i <= kText; ++i) t.set(static_cast<int>(i), r.field(i));
        });
    return {};
}

// オブジェクト削除 ----------------------------------------------------------------------------

struct KindBox {
    const char* key;
    xl::ObjectKind kind;
};
constexpr KindBox kKindBoxes[] = {
    {"comments", xl::ObjectKind::Comment},     {"ole_objects", xl::ObjectKind::OleObject},
    {"charts", xl::ObjectKind::Chart},         {"pictures", xl::ObjectKind::Picture},
    {"shapes", xl::ObjectKind::Shape},         {"controls", xl::ObjectKind::Control},
    {"hyperlinks", xl::ObjectKind::Hyperlink},
};

bool kind_chosen(const shell::Params& p, xl::ObjectKind k) {
    for (const KindBox& box : kKindBoxes)
        if (box.kind == k) return p.check(box.key);
    return false;
}

std::string Check_シート_オブジェクト削除(const shell::Params& p, std::string_view) {
    for (const KindBox& box : kKindBoxes)
        if (p.check(box.key)) return "";
    return "削除するオブジェクトの種類を選んでください。";
}

Result<void> Excel_シート_オブジェクト削除(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_workbook();
    for_objects(
        s, *ws,
        [&](const xl::SheetObject& o) {
            return kind_chosen(s.params, o.kind) && name_matches(s.params, o);
        },
        [&](const xl::SheetObject& o) { return ws->delete_object(o); });
    return {};
}

// オブジェクト移動 ----------------------------------------------------------------------------

std::optional<xl::CellRef> cell_of(const std::string& text) {
    auto a = xl::parse_address(text::upper(text::trim(text)));
    if (!a || a->first_row != a->last_row || a->first_col != a->last_col) return std::nullopt;
    return xl::CellRef{a->first_row, a->first_col};
}

std::string Check_シート_オブジェクト移動(const shell::Params& p, std::string_view) {
    if (!cell_of(p.text("cell"))) return "移動先のセル位置が不正です。";
    return "";
}

Result<void> Excel_シート_オブジェクト移動(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_workbook();
    xl::CellRef to = *cell_of(s.params.text("cell"));
    for_objects(
        s, *ws, [&](const xl::SheetObject& o) { return drawn(o) && name_matches(s.params, o); },
        [&](const xl::SheetObject& o) { return ws->move_object(o, to); });
    return {};
}

// オブジェクト名の変更 ------------------------------------------------------------------------

std::string Check_シート_オブジェクト名の変更(const shell::Params& p, std::string_view) {
    if (p.text("old_name").empty()) return "変更前のオブジェクト名を入力してください。";
    if (p.text("new_name").empty()) return "変更後のオブジェクト名を入力してください。";
    if (text::length(p.text("new_name")) > 255) return "変更後のオブジェクト名が長すぎます。";
    return "";
}

Result<void> Excel_シート_オブジェクト名の変更(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_workbook();
    const std::string& from = s.params.text("old_name");
    const std::string& to = s.params.text("new_name");
    for (const xl::SheetObject& o : ws->objects()) {
        if (!drawn(o) || o.name != from) continue;
        if (auto r = ws->rename_object(o, to); !r)
            s.update_error_text(o.name + " " + r.error().message);
        return {};
    }
    s.update_error_text("オブジェクト「" + from + "」がありません。");
    return {};
}

// オブジェクト拡大縮小 ------------------------------------------------------------------------

std::string Check_シート_オブジェクト拡大縮小(const shell::Params& p, std::string_view) {
    long w = pane_number(p.text("width"));
    if (w < 1 || w > 10000) return "幅の倍率(%)は１～１００００で指定してください。";
    if (p.check("keep_ratio")) return "";
    long h = pane_number(p.text("height"));
    if (h < 1 || h > 10000) return "高さの倍率(%)は１～１００００で指定してください。";
    return "";
}

Result<void> Excel_シート_オブジェクト拡大縮小(run::Session& s) {
    xl::Worksheet* ws = s.sheet();
    if (!ws) return no_workbook();
    double w = pane_number(s.params.text("width")) / 100.0;
    double h = s.params.check("keep_ratio") ? w : pane_number(s.params.text("height")) / 100.0;
    for_objects(
        s, *ws, [&](const xl::SheetObject& o) { return drawn(o) && name_matches(s.params, o); },
        [&](const xl::SheetObject& o) { return ws->scale_object(o, w, h); });
    return {};
}

}  // namespace

bool object_name_like(std::string_view pattern, std::string_view name) {
    return pattern.empty() || matches(points(pattern), points(name));
}

std::vector<std::string> object_name_list(std::string_view list) {
    std::string all = text::replace_all(std::string(list), "，", ",");
    std::vector<std::string> out;
    std::size_t i = 0;
    while (i <= all.size()) {
        std::size_t j = all.find(',', i);
        if (j == std::string::npos) j = all.size();
        std::string item = text::trim(std::string_view(all).substr(i, j - i));
        if (!item.empty()) out.push_back(item);
        i = j + 1;
    }
    return out;
}

std::span<const Procedures> object_procedures() {
    static const Procedures table[] = {
        {.category = "シート",
         .key_name = "オブジェクト一覧",
         .check = Check_シート_オブジェクト一覧,
         .execute = Excel_シート_オブジェクト一覧,
         .first = Excel_シート_オブジェクト一覧_First,
         .final = Excel_シート_オブジェクト一覧_Final,
         .own_sheet_loop = true},
        {.category = "シート",
         .key_name = "オブジェクト削除",
         .check = Check_シート_オブジェクト削除,
         .execute = Excel_シート_オブジェクト削除,
         .updates = true},
        {.category = "シート",
         .key_name = "オブジェクト移動",
         .check = Check_シート_オブジェクト移動,
         .execute = Excel_シート_オブジェクト移動,
         .updates = true},
        {.category = "シート",
         .key_name = "オブジェクト名の変更",
         .check = Check_シート_オブジェクト名の変更,
         .execute = Excel_シート_オブジェクト名の変更,
         .updates = true},
        {.category = "シート",
         .key_name = "オブジェクト拡大縮小",
         .check = Check_シート_オブジェクト拡大縮小,
         .execute = Excel_シート_オブジェクト拡大縮小,
         .updates = true},
    };
    return table;
}

}  // namespace sheaflow::ops
