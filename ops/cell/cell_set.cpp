// 文字列設定１ (one value into a cell or a rectangle) and 文字列設定２ (a list of address and
// value pairs): the value goes in as if typed, so "=A1*2" is a formula, "12" a number and "abc"
// a text; an empty value clears the cells. An address may name its sheet ("Sheet2!B3"); without
// one it is on the active sheet.

#include <optional>

#include "address/address.h"
#include "ops/cell/cell_common.h"
#include "ops/registry.h"
#include "run/session.h"
#include "util/text.h"

namespace sheaflow::ops {

namespace {

// The pairs of 文字列設定２.
constexpr int kPairs = 8;

struct Target {
    std::string sheet;  // "" for the active sheet
    xl::Area area;
};

// "B3", "$B$3:D5" or "Sheet2!B3" (letters and row numbers on both sides, full-width accepted).
std::optional<Target> parse_target(std::string_view typed) {
    std::string t = text::narrow(text::trim(text::narrow(typed)));
    Target out;
    if (std::size_t bang = t.rfind('!'); bang != std::string::npos) {
        out.sheet = t.substr(0, bang);
        // A quoted sheet name ('My sheet'!A1) loses its quotes.
        if (out.sheet.size() >= 2 && out.sheet.front() == '\'' && out.sheet.back() == '\'')
            out.sheet = text::replace_all(out.sheet.substr(1, out.sheet.size() - 2), "''", "'");
        if (out.sheet.empty()) return std::nullopt;
        t = t.substr(bang + 1);
    }
    t = address::Address_Hensyu(t);
    // Whole rows or columns ("A:A", "3:3") are not cells to type into.
    for (const std::string& corner : text::split(t, ":")) {
        bool letters = false, digits = false;
        for (char ch : corner) {
            if ((ch >= 'A' && ch <= 'Z') || (ch >= 'a' && ch <= 'z')) letters = true;
            if (ch >= '0' && ch <= '9') digits = true;
        }
        if (!letters || !digits) return std::nullopt;
    }
    std::optional<xl::Area> a = xl::parse_address(t);
    if (!a) return std::nullopt;
    out.area = *a;
    return out;
}

std::string pair_key(const char* stem, int i) { return stem + std::to_string(i); }

std::string row_prefix(int i) { return text::widen(std::to_string(i)) + "行目の"; }

Result<void> set_value(run::Session& s, const Target& t, const std::string& value) {
    xl::Workbook* book = s.book();
    if (!book) return Error::failed("ブックが開かれていません。");
    xl::Worksheet* ws = t.sheet.empty() ? book->active_sheet() : book->worksheet(t.sheet);
    if (!ws) return Error::failed("シート「" + t.sheet + "」がありません。");
    for (std::int32_t r = t.area.first_row; r <= t.area.last_row; ++r) {
        if (s.yield()) return {};
        for (std::int32_t c = t.area.first_col; c <= t.area.last_col; ++c)
            if (auto done = ws->set_cell_formula({r, c}, value); !done) return done.error();
    }
    return {};
}

std::string Check_セル_文字列設定1(const shell::Params& p, std::string_view) {
    if (text::trim(p.text("address")).empty()) return "セルが指定されていません。";
    if (!parse_target(p.text("address"))) return "セルの指定が不正です。";
    return {};
}

Result<void> Excel_セル_文字列設定1(run::Session& s) {
    std::optional<Target> t = parse_target(s.params.text("address"));
    if (!t) return Error::failed("セルの指定が不正です。");
    return set_value(s, *t, s.params.text("value"));
}

std::string Check_セル_文字列設定2(const shell::Params& p, std::string_view) {
    bool any = false;
    for (int i = 1; i <= kPairs; ++i) {
        const std::string& address = p.text(pair_key("address", i));
        if (text::trim(address).empty()) {
            if (!p.text(pair_key("value", i)).empty())
                return row_prefix(i) + "セルが指定されていません。";
            continue;
        }
        if (!parse_target(address)) return row_prefix(i) + "セルの指定が不正です。";
        any = true;
    }
    if (!any) return "セルが指定されていません。";
    return {};
}

Result<void> Excel_セル_文字列設定2(run::Session& s) {
    for (int i = 1; i <= kPairs; ++i) {
        if (s.yield()) break;
        const std::string& address = s.params.text(pair_key("address", i));
        if (text::trim(address).empty()) continue;
        std::optional<Target> t = parse_target(address);
        if (!t) return Error::failed(row_prefix(i) + "セルの指定が不正です。");
        if (auto r = set_value(s, *t, s.params.text(pair_key("value", i))); !r) return r;
    }
    return {};
}

const Procedures kCellSetProcedures[] = {
    {.category = "セル",
     .key_name = "文字列設定１",
     .check = Check_セル_文字列設定1,
     .execute = Excel_セル_文字列設定1,
     .updates = true},
    {.category = "セル",
     .key_name = "文字列設定２",
     .check = Check_セル_文字列設定2,
     .execute = Excel_セル_文字列設定2,
     .updates = true},
};

}  // namespace

std::span<const Procedures> cell_set_procedures() { return kCellSetProcedures; }

}  // namespace sheaflow::ops
