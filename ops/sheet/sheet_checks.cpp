// The pane checks of the sheet operations and the text helpers they share.

#include <cctype>

#include "ops/sheet/sheet_keys.h"
#include "ops/sheet/sheet_ops.h"
#include "util/text.h"

namespace sheaflow::ops {
namespace k = sheet_keys;

namespace {

// The characters a sheet name may not hold, in the order in which they are reported.
constexpr std::string_view kForbidden = "#[]\\/:*?";

bool has_blank(std::string_view s) {
    return s.find(' ') != std::string_view::npos || s.find("\u3000") != std::string_view::npos;
}

// Leading and trailing half-width and ideographic blanks removed.
std::string trim_blanks(std::string_view s) {
    std::u32string u = text::to_u32(s);
    std::size_t b = 0, e = u.size();
    auto blank = [](char32_t c) { return c == U' ' || c == 0x3000 || c == U'\t'; };
    while (b < e && blank(u[b])) ++b;
    while (e > b && blank(u[e - 1])) --e;
    return text::to_utf8(u.substr(b, e - b));
}

std::string without_blanks(std::string_view s) {
    std::u32string out;
    for (char32_t c : text::to_u32(s))
        if (c != U' ' && c != 0x3000 && c != U'\t') out.push_back(c);
    return text::to_utf8(out);
}

// "シート位置を設定してください。" when the position mode is chosen and its box is empty.
std::string check_position(const shell::Params& p) {
    if (p.option(k::kTarget) == k::kPosition && text::trim(p.text(k::kPosition)).empty())
        return "シート位置を設定してください。";
    return {};
}

bool is_one_of(const std::string& word, std::initializer_list<std::string_view> words) {
    for (std::string_view w : words)
        if (word == w) return true;
    return false;
}

}  // namespace

std::string sheet_char_wide(char c) {
    switch (c) {
        case '\\':
            return "\uFFE5";
        case '"':
            return "\u201D";
        case '\'':
            return "\u2019";
        default:
            return text::widen(std::string(1, c));
    }
}

std::string Check_Sheet_Name_X(std::string_view name, char c) {
    std::string wide = sheet_char_wide(c);
    if (name.find(c) == std::string_view::npos && name.find(wide) == std::string_view::npos)
        return {};
    return "シート名に、記号" + wide + "は使えない。";
}

std::string Check_Sheet_Name(std::string_view prefix, std::string_view name) {
    for (char c : kForbidden) {
        std::string m = Check_Sheet_Name_X(name, c);
        if (!m.empty()) return std::string(prefix) + m;
    }
    return {};
}

std::string Sheet_Space_Check(std::string_view name) {
    if (!has_blank(name)) return std::string(name);
    return "「" + std::string(name) + "」";
}

long pane_number(std::string_view t) {
    std::size_t i = 0;
    while (i < t.size() && (t[i] == ' ' || t[i] == '\t')) ++i;
    bool negative = false;
    if (i < t.size() && (t[i] == '+' || t[i] == '-')) negative = t[i++] == '-';
    long value = 0;
    for (; i < t.size() && std::isdigit(static_cast<unsigned char>(t[i])); ++i) {
        if (value > 100000000) return negative ? -value : value;  // far beyond any sheet count
        value = value * 10 + (t[i] - '0');
    }
    return negative ? -value : value;
}

std::string Excel_シート_シート名編集_X(std::string_view name, std::string_view method,
                                        std::string_view t) {
    if (method == "prefix") return std::string(t) + std::string(name);
    if (method == "suffix") return std::string(name) + std::string(t);
    if (method == "remove") return t.empty() ? std::string(name) : text::replace_all(name, t, "");
    if (method == "trim") return trim_blanks(name);
    if (method == "nospace") return without_blanks(name);
    if (method == "wide") return text::widen(name);
    if (method == "narrow") return text::narrow(name);
    if (method == "upper") return text::upper(name);
    if (method == "lower") return text::lower(name);
    return std::string(name);
}

std::string file_name_part(std::string_view stem, const shell::Params& p) {
    const std::string& part = p.option(k::kPart);
    std::size_t chars = text::length(stem);
    long length = pane_number(p.text(k::kLength));
    if (part == "left") return length > 0 ? text::left(stem, static_cast<std::size_t>(length)) : "";
    if (part == "right")
        return length > 0 ? text::right(stem, static_cast<std::size_t>(length)) : "";
    if (part == "mid") {
        long start = pane_number(p.text(k::kStart));
        if (start < 1 || static_cast<std::size_t>(start) > chars) return {};
        std::size_t count = text::trim(p.text(k::kLength)).empty()
                                ? std::string::npos
                                : static_cast<std::size_t>(std::max(length, 0L));
        return text::mid(stem, static_cast<std::size_t>(start - 1), count);
    }
    const std::string& delimiter = p.text(k::kDelimiter);
    if (delimiter.empty()) return {};
    std::size_t at = text::find(stem, delimiter);
    if (part == "before") return at == std::string::npos ? std::string(stem) : text::left(stem, at);
    if (part == "after")
        return at == std::string::npos ? "" : text::mid(stem, at + text::length(delimiter));
    return {};
}

std::string Check_シート_シート名設定(const shell::Params& p, std::string_view) {
    if (std::string m = check_position(p); !m.empty()) return m;
    if (p.text(k::kName).empty()) return "シート名を設定してください。";
    if (std::string m = Check_Sheet_Name("", p.text(k::kName)); !m.empty()) return m;
    if (!is_one_of(p.option(k::kTarget), {k::kActive, k::kPosition}))
        return "シートの条件を設定してください。";
    return {};
}

std::string Check_シート_シート名変更(const shell::Params& p, std::string_view) {
    const std::string& basis = p.option(k::kBasis);
    // Only the partial mode needs its text here; in the whole-name mode a missing old name is
    // reported per workbook as a sheet that does not exist.
    if (basis == k::kByPart) {
        if (p.text(k::kOld).empty()) return "変更前のシート名（一部）を入力してください。";
        if (std::string m = Check_Sheet_Name("変更前の", p.text(k::kOld)); !m.empty()) return m;
    }
    if (p.text(k::kNew).empty()) return "変更後のシート名を入力してください。";
    if (std::string m = Check_Sheet_Name("変更後の", p.text(k::kNew)); !m.empty()) return m;
    if (!is_one_of(basis, {k::kActive, k::kWhole, k::kByPart}))
        return "変更基準を入力してください。";
    return {};
}

std::string Check_シート_シート名編集(const shell::Params& p, std::string_view) {
    if (std::string m = check_position(p); !m.empty()) return m;
    if (!is_one_of(p.option(k::kTarget), {k::kActive, k::kPosition, k::kAll}))
        return "シートの条件を設定してください。";
    const std::string& method = p.option(k::kMethod);
    if (!is_one_of(method, {"prefix", "suffix", "remove", "trim", "nospace", "wide", "narrow",
                            "upper", "lower"}))
        return "編集の方法を設定してください。";
    if (is_one_of(method, {"prefix", "suffix", "remove"})) {
        if (p.text(k::kText).empty()) return "編集する文字列を入力してください。";
        if (method != "remove") {
            if (std::string m = Check_Sheet_Name("追加する", p.text(k::kText)); !m.empty())
                return m;
        }
    }
    return {};
}

std::string Check_シート_シート名をファイル名の一部から引用(const shell::Params& p,
                                                            std::string_view) {
    if (std::string m = check_position(p); !m.empty()) return m;
    if (!is_one_of(p.option(k::kTarget), {k::kActive, k::kPosition}))
        return "シートの条件を設定してください。";
    const std::string& part = p.option(k::kPart);
    if (!is_one_of(part, {"left", "mid", "right", "before", "after"}))
        return "引用する部分を設定してください。";
    if (part == "mid" && pane_number(p.text(k::kStart)) < 1) return "開始位置を設定してください。";
    if ((part == "left" || part == "right") && pane_number(p.text(k::kLength)) < 1)
        return "文字数を設定してください。";
    if (part == "mid" && !text::trim(p.text(k::kLength)).empty() &&
        pane_number(p.text(k::kLength)) < 1)
        return "文字数を設定してください。";
    if ((part == "before" || part == "after") && p.text(k::kDelimiter).empty())
        return "区切り文字を入力してください。";
    return {};
}

std::string Check_シート_挿入(const shell::Params& p, std::string_view) {
    const std::string& where = p.option(k::kWhere);
    if (where == k::kPosition && text::trim(p.text(k::kPosition)).empty())
        return "シート位置を設定してください。";
    if (pane_number(p.text(k::kCount)) < 1) return "挿入するシート数を設定してください。";
    if (!is_one_of(where, {"front", "before_active", "after_active", k::kPosition}))
        return "シートの条件を設定してください。";
    if (!is_one_of(p.option(k::kKind), {"new", "copy"}))
        return "挿入するシートの種類を設定してください。";
    return {};
}

std::string Check_シート_削除(const shell::Params& p, std::string_view) {
    const std::string& target = p.option(k::kTarget);
    if (target == k::kByName || target == k::kByPart) {
        if (p.text(k::kName).empty()) return "シート名を入力してください。";
    }
    if (!is_one_of(target, {k::kByName, k::kActive, k::kByPart}))
        return "シートの条件を設定してください。";
    return {};
}

std::string Check_シート_選択削除(const shell::Params& p, std::string_view) {
    if (p.list(k::kSheets).empty()) return "シートを選択してください。";
    return {};
}

std::string Check_シート_選択以外削除(const shell::Params& p, std::string_view) {
    if (p.list(k::kSheets).empty()) return "シートを選択してください。";
    return {};
}

std::string Check_シート_不要なシートを一括削除(const shell::Params&, std::string_view) {
    return {};
}

std::string Check_シート_移動(const shell::Params& p, std::string_view) {
    const std::string& source = p.option(k::kSource);
    if (source == k::kByName) {
        if (p.text(k::kSourceName).empty()) return "移動元のシート名を入力してください。";
    }
    if (source == k::kPosition && text::trim(p.text(k::kSourcePosition)).empty())
        return "移動元のシート位置を設定してください。";
    if (text::trim(p.text(k::kTargetPosition)).empty())
        return "移動先のシート位置を設定してください。";
    if (!is_one_of(p.option(k::kPlace), {"before", "after"}))
        return "移動先の前後を設定してください。";
    if (!is_one_of(source, {k::kByName, k::kPosition})) return "シートの条件を設定してください。";
    return {};
}

std::string Check_シート_シート名順でソート(const shell::Params&, std::string_view) { return {}; }

std::string Check_シート_シート名一覧(const shell::Params& p, std::string_view) {
    if (!is_one_of(p.option(k::kSort), {"file", "sheet", "code"}))
        return "並び順を設定してください。";
    return {};
}

}  // namespace sheaflow::ops
