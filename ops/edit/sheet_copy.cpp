// Copies of whole sheets: a sheet of a source workbook into every target (コピー_シート１), a
// sheet of each target copied within it a number of times or once per name (コピー_シート２), and
// one sheet of every target collected into a new workbook (コピー_シート３).

#include "ops/edit/edit_common.h"
#include "ops/registry.h"
#include "ops/sheet/sheet_ops.h"
#include "util/text.h"

namespace sheaflow::ops {
namespace {
namespace k = edit::keys;

constexpr long kMostCopies = 255;

// Where a copy goes in `b`: before or after which sheet ("front", "end", "position" before the
// sheet at the pane's position, "after_source" after the sheet copied).
struct Place {
    xl::Worksheet* before = nullptr;
    xl::Worksheet* after = nullptr;
};

std::optional<Place> place_in(run::Session& s, xl::Workbook& b, xl::Worksheet* anchor) {
    const std::string& where = s.params.option(k::kWhere);
    if (where == "front") return Place{b.worksheet(1), nullptr};
    if (where == "position") {
        long n = edit::pane_count(s.params.text(k::kPosition), 100000);
        if (n < 1 || n > b.worksheet_count()) {
            s.update_error_text("シート位置" + std::to_string(n) + "のシートはありません。");
            return std::nullopt;
        }
        return Place{b.worksheet(static_cast<int>(n)), nullptr};
    }
    if (where == "after_source" && anchor) return Place{nullptr, anchor};
    return Place{nullptr, b.worksheet(b.worksheet_count())};
}

std::string check_new_name(const std::string& name) {
    if (name.empty()) return {};
    if (text::length(name) > 31) return "シート名は３１文字以内で指定してください。";
    return Check_Sheet_Name("", name);
}

std::string Check_編集_コピー_シート1(const shell::Params& p, std::string_view) {
    if (std::string m = edit::check_source_file(p); !m.empty()) return m;
    if (p.option(k::kWhere) == "position" && edit::pane_count(p.text(k::kPosition), 100000) == 0)
        return "シート位置が不正です。";
    return check_new_name(text::trim(p.text(k::kName)));
}

Result<void> Excel_編集_コピー_シート1(run::Session& s) {
    xl::Workbook* target = s.book();
    xl::Workbook* source = edit::source_book(s);
    if (!target || !source) return {};
    const std::string& sheet_name = s.params.text(k::kSourceSheet);
    xl::Worksheet* from = edit::named_or_active(*source, sheet_name);
    if (!from) {
        s.update_error_text("コピー元のシート「" + sheet_name + "」がありません。");
        return {};
    }
    std::string name = text::trim(s.params.text(k::kName));
    if (!name.empty() && target->worksheet(name)) {
        s.update_error_text("シート「" + name + "」はすでにあります。");
        return {};
    }
    auto place = place_in(s, *target, nullptr);
    if (!place) return {};
    auto copy = from->copy(place->before, place->after);
    if (!copy) {
        edit::log_failure(s, copy.error(), from);
        return {};
    }
    if (!name.empty())
        if (auto r = (*copy)->set_name(name); !r) edit::log_failure(s, r.error(), *copy);
    (void)target->activate();
    return {};
}

std::vector<std::string> copy_names(const shell::Params& p) {
    std::string t = text::replace_all(p.text(k::kNames), "，", ",");
    std::vector<std::string> out;
    for (const std::string& n : text::split(t, ",")) {
        std::string name = text::trim(n);
        if (!name.empty()) out.push_back(name);
    }
    return out;
}

std::string Check_編集_コピー_シート2(const shell::Params& p, std::string_view) {
    if (p.option(k::kMode) == "names") {
        auto names = copy_names(p);
        if (names.empty()) return "シート名を入力してください。";
        if (names.size() > static_cast<std::size_t>(kMostCopies))
            return "一度にコピーできるシートは２５５枚までです。";
        for (const std::string& n : names)
            if (std::string m = check_new_name(n); !m.empty()) return m;
        for (std::size_t i = 0; i < names.size(); ++i)
            for (std::size_t j = i + 1; j < names.size(); ++j)
                if (text::upper(names[i]) == text::upper(names[j]))
                    return "シート名「" + names[i] + "」が重複しています。";
    } else if (edit::pane_count(p.text(k::kCount), kMostCopies) == 0) {
        return "コピーする枚数は１～２５５で指定してください。";
    }
    if (p.option(k::kWhere) == "position" && edit::pane_count(p.text(k::kPosition), 100000) == 0)
        return "シート位置が不正です。";
    return {};
}

Result<void> Excel_編集_コピー_シート2(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return {};
    const std::string& sheet_name = s.params.text(k::kSourceSheet);
    xl::Worksheet* from = edit::named_or_active(*b, sheet_name);
    if (!from) {
        s.update_error_text("コピー元のシート「" + sheet_name + "」がありません。");
        return {};
    }
    bool by_names = s.params.option(k::kMode) == "names";
    std::vector<std::string> names = by_names ? copy_names(s.params) : std::vector<std::string>{};
    for (const std::string& n : names)
        if (b->worksheet(n)) {
            s.update_error_text("シート「" + n + "」はすでにあります。");
            return {};
        }
    long count = by_names ? static_cast<long>(names.size())
                          : edit::pane_count(s.params.text(k::kCount), kMostCopies);
    xl::Worksheet* last = from;  // copies follow each other in order
    for (long i = 0; i < count; ++i) {
        if (s.yield()) return {};
        auto place = place_in(s, *b, last);
        if (!place) return {};
        auto copy = from->copy(place->before, place->after);
        if (!copy) {
            edit::log_failure(s, copy.error(), from);
            return {};
        }
        if (by_names)
            if (auto r = (*copy)->set_name(names[static_cast<std::size_t>(i)]); !r) {
                edit::log_failure(s, r.error(), *copy);
                return {};
            }
        last = *copy;
    }
    // The sheet copied stays the active one, as it was.
    (void)from->activate();
    return {};
}

// コピー_シート３: one sheet of every target collected into a new workbook, the copies named
// after their files, and a list of what was collected on the new workbook's first sheet.
constexpr const char* kSheet3 = "sheet";
constexpr const char* kNaming = "naming";

// A sheet name made of `base`: the characters a sheet name cannot hold become "_", cut to 31
// characters, numbered "(2)", "(3)"... when the workbook has it already.
std::string free_sheet_name(xl::Workbook& b, std::string base) {
    for (const char* bad : {"\\", "/", "?", "*", "[", "]", ":", "＼", "／", "？", "＊", "［", "］", "："})
        base = text::replace_all(base, bad, "_");
    if (base.empty()) base = "Sheet";
    std::string name = text::left(base, 31);
    for (int n = 2; b.worksheet(name); ++n) {
        std::string suffix = " (" + std::to_string(n) + ")";
        name = text::left(base, 31 - text::length(suffix)) + suffix;
    }
    return name;
}

std::string Check_編集_コピー_シート3(const shell::Params& p, std::string_view) {
    std::string name = text::trim(p.text(kSheet3));
    if (!name.empty()) return Check_Sheet_Name("", name);
    return {};
}

Result<void> Excel_編集_コピー_シート3_First(run::Session& s) {
    xl::Workbook* dest = s.app.workbooks().item(s.dest_book_name);
    if (!dest) return {};
    xl::Worksheet* list = dest->worksheet(s.dest_sheet_name);
    if (!list) return {};
    if (auto r = list->set_name("一覧"); r) s.dest_sheet_name = "一覧";
    (void)list->set_cell_value({1, 1}, std::string("ファイル名"));
    (void)list->set_cell_value({1, 2}, std::string("シート名"));
    (void)list->set_cell_value({1, 3}, std::string("コピー後のシート名"));
    return {};
}

Result<void> Excel_編集_コピー_シート3(run::Session& s) {
    xl::Workbook* book = s.book();
    xl::Workbook* dest = s.app.workbooks().item(s.dest_book_name);
    if (!book || !dest) return {};
    const std::string& sheet_name = s.params.text(kSheet3);
    xl::Worksheet* from = edit::named_or_active(*book, sheet_name);
    if (!from) {
        s.update_error_text("シート「" + text::trim(sheet_name) + "」がありません。");
        return {};
    }
    std::string stem = s.file_name.substr(0, s.file_name.find_last_of('.'));
    const std::string& naming = s.params.option(kNaming);
    std::string base = naming == "sheet" ? from->name()
                       : naming == "both" ? stem + "_" + from->name()
                                          : stem;
    std::string name = free_sheet_name(*dest, base);
    auto copy = from->copy(nullptr, dest->worksheet(dest->worksheet_count()));
    if (!copy) {
        edit::log_failure(s, copy.error(), from);
        return {};
    }
    if (auto r = (*copy)->set_name(name); !r) edit::log_failure(s, r.error(), *copy);
    if (xl::Worksheet* list = dest->worksheet(s.dest_sheet_name)) {
        std::int32_t row = list->used_range().last_row + 1;
        (void)list->set_cell_value({row, 1}, s.file_name);
        (void)list->set_cell_value({row, 2}, from->name());
        (void)list->set_cell_value({row, 3}, (*copy)->name());
    }
    (void)book->activate();
    return {};
}

const Procedures kProcedures[] = {
    {"編集", "コピー_シート１", Check_編集_コピー_シート1, Excel_編集_コピー_シート1, nullptr,
     nullptr, edit::open_source, true},
    {"編集", "コピー_シート２", Check_編集_コピー_シート2, Excel_編集_コピー_シート2, nullptr,
     nullptr, nullptr, true},
    {"編集", "コピー_シート３", Check_編集_コピー_シート3, Excel_編集_コピー_シート3,
     Excel_編集_コピー_シート3_First, nullptr, nullptr, false, false, true, nullptr, nullptr,
     nullptr, false, true},
};

}  // namespace

std::span<const Procedures> edit_sheet_copy_procedures() { return kProcedures; }

}  // namespace sheaflow::ops
