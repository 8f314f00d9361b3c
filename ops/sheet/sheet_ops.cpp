// The executors of the sheet operations: each works on the active workbook of the run through
// the object model, logs what it refuses or cannot do in the run's error text and goes on.

#include "ops/sheet/sheet_ops.h"

#include <algorithm>
#include <vector>

#include "ops/registry.h"
#include "ops/sheet/sheet_keys.h"
#include "run/session.h"
#include "shell/operation.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::ops {
namespace k = sheet_keys;

namespace {

Error no_workbook() { return Error::failed("ブックが開かれていません。"); }

// Keeps the run's current sheet name in step with the active sheet after a change.
void refresh_sheet_name(run::Session& s) {
    if (xl::Worksheet* a = s.sheet()) s.sheet_name = a->name();
}

// Worksheet.Name = name, with a refusal written to the error text. True when renamed.
bool assign_name(run::Session& s, xl::Worksheet& ws, const std::string& name) {
    if (ws.name() == name) return true;
    Result<void> r = ws.set_name(name);
    if (!r) {
        s.update_error_text(r.error().message);
        return false;
    }
    return true;
}

// Logs a failed member call; always answers false so callers can `return log_failed(...)`.
bool log_failed(run::Session& s, const Error& e) {
    s.update_error_text(e.message.empty() ? std::string("処理できませんでした。") : e.message);
    return false;
}

// Renames sheets one after the other as assign_name does, with the workbook's references to
// them rewritten once for the whole list rather than once per sheet.
using Renames = std::vector<std::pair<xl::Worksheet*, std::string>>;
void assign_names(run::Session& s, xl::Workbook& b, const Renames& renames) {
    if (renames.empty()) return;
    auto done = b.rename_sheets(renames);
    if (!done) {
        log_failed(s, done.error());
        return;
    }
    for (const Result<void>& r : *done)
        if (!r) s.update_error_text(r.error().message);
}

bool all_sheets_category(const run::Session& s) {
    return s.category.rfind(shell::kAllSheetsPrefix, 0) == 0;
}

// The worksheet whose name equals `name` exactly, or nullptr.
xl::Worksheet* worksheet_named(xl::Workbook& b, std::string_view name) {
    for (int i = 1, n = b.worksheet_count(); i <= n; ++i)
        if (xl::Worksheet* w = b.worksheet(i); w && w->name() == name) return w;
    return nullptr;
}

std::vector<std::string> worksheet_names(xl::Workbook& b) {
    std::vector<std::string> names;
    for (int i = 1, n = b.worksheet_count(); i <= n; ++i)
        if (xl::Worksheet* w = b.worksheet(i)) names.push_back(w->name());
    return names;
}

// Text comparison as a binary string compare of the program's UTF-16 strings does it.
std::u16string utf16(std::string_view s) {
    std::u16string out;
    for (char32_t c : text::to_u32(s)) {
        if (c >= 0x10000) {
            c -= 0x10000;
            out.push_back(static_cast<char16_t>(0xD800 + (c >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
        } else {
            out.push_back(static_cast<char16_t>(c));
        }
    }
    return out;
}

// The sheet that the active-sheet or position mode names; nullptr (with the error text written)
// when the position is out of range.
xl::Worksheet* chosen_sheet(run::Session& s, const shell::Params& p) {
    xl::Workbook* b = s.book();
    if (p.option(k::kTarget) == k::kPosition) {
        long n = pane_number(p.text(k::kPosition));
        if (!Excel_SheetCount_Error_Text(s, "挿入する", n).empty()) return nullptr;
        return b->worksheet(static_cast<int>(n));
    }
    return s.sheet();
}

// Deletes the named worksheets, from the last position to the first.
void delete_by_names(run::Session& s, xl::Workbook& b, const std::vector<std::string>& names) {
    for (int i = b.worksheet_count(); i >= 1; --i) {
        if (s.yield()) return;
        xl::Worksheet* w = b.worksheet(i);
        if (!w || std::find(names.begin(), names.end(), w->name()) == names.end()) continue;
        if (Result<void> r = w->delete_sheet(); !r) log_failed(s, r.error());
    }
}

void log_all_sheets(run::Session& s) {
    s.append_error_line("すべてのシートを削除してしまうので、処理しませんでした" + s.full_path());
}

}  // namespace

std::string Excel_SheetName_Error_Text(run::Session& s, std::string_view name) {
    if (xl::Workbook* b = s.book(); b && worksheet_named(*b, name)) return {};
    std::string m = s.book_name + "  シート「" + std::string(name) + "」がありません。";
    s.append_error_line(m);
    return m;
}

std::string Excel_SheetCount_Error_Text(run::Session& s, std::string_view action, long number) {
    xl::Workbook* b = s.book();
    if (b && number >= 1 && number <= b->worksheet_count()) return {};
    std::string m = s.book_name + " " + std::string(action) + "シート番号が間違っています。";
    s.append_error_line(m);
    return m;
}

Result<void> Excel_シート_シート名設定(run::Session& s) {
    if (!s.book()) return no_workbook();
    if (xl::Worksheet* w = chosen_sheet(s, s.params)) assign_name(s, *w, s.params.text(k::kName));
    refresh_sheet_name(s);
    return {};
}

Result<void> Excel_シート_シート名変更(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    const shell::Params& p = s.params;
    const std::string& basis = p.option(k::kBasis);
    const std::string& old_text = p.text(k::kOld);
    const std::string& new_text = p.text(k::kNew);
    if (basis == k::kActive) {
        if (xl::Worksheet* w = s.sheet()) assign_name(s, *w, new_text);
    } else if (basis == k::kWhole) {
        // Under the all-sheets category the driver visits every sheet; only the visited one is
        // looked at, so that a name is not changed once per visit.
        if (all_sheets_category(s)) {
            if (xl::Worksheet* w = s.sheet(); w && w->name() == old_text)
                assign_name(s, *w, new_text);
        } else if (Excel_SheetName_Error_Text(s, old_text).empty()) {
            assign_name(s, *worksheet_named(*b, old_text), new_text);
        }
    } else if (basis == k::kByPart && !old_text.empty()) {
        Renames renames;
        auto change = [&](xl::Worksheet& w) {
            std::string name = w.name();
            std::size_t at = text::find(name, old_text);
            if (at == std::string::npos) return;
            renames.emplace_back(
                &w, text::left(name, at) + new_text + text::mid(name, at + text::length(old_text)));
        };
        if (all_sheets_category(s)) {
            if (xl::Worksheet* w = s.sheet()) change(*w);
        } else {
            for (int i = 1; i <= b->worksheet_count(); ++i) {
                if (s.yield()) return {};
                if (xl::Worksheet* w = b->worksheet(i)) change(*w);
            }
        }
        assign_names(s, *b, renames);
    }
    refresh_sheet_name(s);
    return {};
}

Result<void> Excel_シート_シート名編集(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    const shell::Params& p = s.params;
    Renames renames;
    auto edit = [&](xl::Worksheet& w) {
        std::string name = w.name();
        std::string edited =
            Excel_シート_シート名編集_X(name, p.option(k::kMethod), p.text(k::kText));
        if (edited != name) renames.emplace_back(&w, std::move(edited));
    };
    if (p.option(k::kTarget) == k::kAll) {
        for (int i = 1; i <= b->worksheet_count(); ++i) {
            if (s.yield()) return {};
            if (xl::Worksheet* w = b->worksheet(i)) edit(*w);
        }
    } else if (xl::Worksheet* w = chosen_sheet(s, p)) {
        edit(*w);
    }
    assign_names(s, *b, renames);
    refresh_sheet_name(s);
    return {};
}

Result<void> Excel_シート_シート名をファイル名の一部から引用(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    std::string file = s.file_name.empty() ? b->name() : s.file_name;
    std::string stem = file.substr(0, file.rfind('.'));
    std::string part = file_name_part(stem, s.params);
    if (part.empty()) {
        s.update_error_text("ファイル名「" + file + "」から引用する部分がありません。");
        return {};
    }
    if (xl::Worksheet* w = chosen_sheet(s, s.params)) assign_name(s, *w, part);
    refresh_sheet_name(s);
    return {};
}

Result<void> Excel_シート_挿入(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    const shell::Params& p = s.params;
    const std::string& where = p.option(k::kWhere);
    const bool copy = p.option(k::kKind) == "copy";
    long count = pane_number(p.text(k::kCount));
    long position = 0;
    if (where == k::kPosition) {
        position = pane_number(p.text(k::kPosition));
        if (!Excel_SheetCount_Error_Text(s, "挿入する", position).empty()) return {};
    }
    // The sheet that was active before the insertion: the anchor of "after the active sheet"
    // and the model of the copies.
    xl::Worksheet* original = s.sheet();
    if (!original) return no_workbook();
    for (long n = 0; n < count; ++n) {
        xl::Worksheet* before = nullptr;
        xl::Worksheet* after = nullptr;
        if (where == "front") {
            before = b->worksheet(1);
        } else if (where == k::kPosition) {
            before = b->worksheet(static_cast<int>(position));
        } else if (where == "after_active") {
            after = original;
        } else if (copy) {
            before = b->active_sheet();
        }
        if (copy) {
            if (Result<xl::Worksheet*> r = original->copy(before, after); !r) {
                log_failed(s, r.error());
                return {};
            }
        } else {
            Result<xl::Worksheet*> r = b->add_worksheet(before, nullptr);
            if (!r) {
                log_failed(s, r.error());
                return {};
            }
            if (after) {
                if (Result<void> m = (*r)->move(nullptr, after); !m) {
                    log_failed(s, m.error());
                    return {};
                }
            }
        }
        if (s.yield()) return {};
    }
    refresh_sheet_name(s);
    return {};
}

Result<void> Excel_シート_削除(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    const shell::Params& p = s.params;
    const std::string& target = p.option(k::kTarget);
    const std::string& name = p.text(k::kName);
    if (target == k::kByName) {
        if (Excel_SheetName_Error_Text(s, name).empty()) {
            if (Result<void> r = worksheet_named(*b, name)->delete_sheet(); !r)
                log_failed(s, r.error());
        }
    } else if (target == k::kActive) {
        if (xl::Worksheet* w = s.sheet()) {
            if (Result<void> r = w->delete_sheet(); !r) log_failed(s, r.error());
        }
    } else if (target == k::kByPart && !name.empty()) {
        std::vector<std::string> names = worksheet_names(*b);
        std::vector<std::string> marked;
        for (const std::string& n : names)
            if (text::find(n, name) != std::string::npos) marked.push_back(n);
        if (marked.empty()) {
            s.append_error_line(s.book_name + "  シート名に「" + name +
                                "」を含むシートがありません。");
        } else if (marked.size() == names.size()) {
            log_all_sheets(s);
        } else {
            delete_by_names(s, *b, marked);
        }
    }
    refresh_sheet_name(s);
    return {};
}

namespace {

Result<void> delete_selected(run::Session& s, bool selected_ones) {
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    std::vector<std::string> chosen = s.params.list(k::kSheets);
    std::vector<std::string> names = worksheet_names(*b);
    std::vector<std::string> marked;
    for (const std::string& n : names) {
        bool in_list = std::find(chosen.begin(), chosen.end(), n) != chosen.end();
        if (in_list == selected_ones) marked.push_back(n);
    }
    if (marked.empty()) return {};
    if (marked.size() == names.size()) {
        log_all_sheets(s);
        return {};
    }
    delete_by_names(s, *b, marked);
    refresh_sheet_name(s);
    return {};
}

}  // namespace

Result<void> Excel_シート_選択削除(run::Session& s) { return delete_selected(s, true); }

Result<void> Excel_シート_選択以外削除(run::Session& s) { return delete_selected(s, false); }

Result<void> Excel_シート_不要なシートを一括削除(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    while (b->worksheet_count() > 1) {
        if (s.yield()) return {};
        xl::Worksheet* empty = nullptr;
        for (int i = b->worksheet_count(); i >= 1; --i) {
            xl::Worksheet* w = b->worksheet(i);
            if (w && w->type() == xl::xlWorksheet && w->count_a(w->used_range()) == 0) {
                empty = w;
                break;
            }
        }
        if (!empty) break;
        if (Result<void> r = empty->delete_sheet(); !r) {
            log_failed(s, r.error());
            break;
        }
    }
    refresh_sheet_name(s);
    return {};
}

Result<void> Excel_シート_移動(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    const shell::Params& p = s.params;
    xl::Worksheet* source = nullptr;
    if (p.option(k::kSource) == k::kByName) {
        const std::string& name = p.text(k::kSourceName);
        if (!Excel_SheetName_Error_Text(s, name).empty()) return {};
        source = worksheet_named(*b, name);
    } else {
        long from = pane_number(p.text(k::kSourcePosition));
        if (!Excel_SheetCount_Error_Text(s, "移動元の", from).empty()) return {};
        source = b->worksheet(static_cast<int>(from));
    }
    long to = pane_number(p.text(k::kTargetPosition));
    if (!Excel_SheetCount_Error_Text(s, "移動先の", to).empty()) return {};
    xl::Worksheet* target = b->worksheet(static_cast<int>(to));
    bool after = p.option(k::kPlace) == "after";
    if (Result<void> r = source->move(after ? nullptr : target, after ? target : nullptr); !r)
        log_failed(s, r.error());
    return {};
}

Result<void> Excel_シート_シート名順でソート(run::Session& s) {
    xl::Workbook* b = s.book();
    if (!b) return no_workbook();
    int count = b->worksheet_count();
    if (count <= 1) return {};
    for (int i = 1; i <= count; ++i) {
        for (int j = 1; j <= count - i; ++j) {
            if (s.yield()) return {};
            xl::Worksheet* a = b->worksheet(j);
            xl::Worksheet* c = b->worksheet(j + 1);
            if (!a || !c || !(utf16(a->name()) > utf16(c->name()))) continue;
            if (Result<void> r = a->move(nullptr, c); !r) {
                log_failed(s, r.error());
                return {};
            }
        }
    }
    return {};
}

std::span<const Procedures> sheet_procedures() {
    static const Procedures table[] = {
        {"シート", "シート名設定", Check_シート_シート名設定, Excel_シート_シート名設定, nullptr,
         nullptr, nullptr, true},
        {"シート", "シート名変更", Check_シート_シート名変更, Excel_シート_シート名変更, nullptr,
         nullptr, nullptr, true},
        {"シート", "シート名編集", Check_シート_シート名編集, Excel_シート_シート名編集, nullptr,
         nullptr, nullptr, true},
        {"シート", "シート名をファイル名の一部から引用",
         Check_シート_シート名をファイル名の一部から引用,
         Excel_シート_シート名をファイル名の一部から引用, nullptr, nullptr, nullptr, true},
        {"シート", "挿入", Check_シート_挿入, Excel_シート_挿入, nullptr, nullptr, nullptr, true},
        {"シート", "削除", Check_シート_削除, Excel_シート_削除, nullptr, nullptr, nullptr, true},
        {"シート", "シートを選択して削除", Check_シート_選択削除, Excel_シート_選択削除, nullptr,
         nullptr, nullptr, true},
        {"シート", "選択削除", Check_シート_選択削除, Excel_シート_選択削除, nullptr, nullptr,
         nullptr, true},
        {"シート", "選択したシート以外、削除", Check_シート_選択以外削除, Excel_シート_選択以外削除,
         nullptr, nullptr, nullptr, true},
        {"シート", "選択以外削除", Check_シート_選択以外削除, Excel_シート_選択以外削除, nullptr,
         nullptr, nullptr, true},
        {"シート", "不要なシートを一括削除", Check_シート_不要なシートを一括削除,
         Excel_シート_不要なシートを一括削除, nullptr, nullptr, nullptr, true},
        {"シート", "移動", Check_シート_移動, Excel_シート_移動, nullptr, nullptr, nullptr, true},
        {"シート", "シート名順でソート", Check_シート_シート名順でソート,
         Excel_シート_シート名順でソート, nullptr, nullptr, nullptr, true},
        {"シート", "シート名一覧", Check_シート_シート名一覧, Excel_シート_シート名一覧,
         Excel_シート_シート名一覧_First, Excel_シート_シート名一覧_Final, nullptr, false},
    };
    return table;
}

}  // namespace sheaflow::ops
