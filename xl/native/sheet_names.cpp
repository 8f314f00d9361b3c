#include "xl/native/sheet_names.h"

#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cctype>
#include <cstdint>

#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::xl::native {
namespace {

icu::UnicodeString folded(std::string_view s) {
    icu::UnicodeString u = icu::UnicodeString::fromUTF8(icu::StringPiece(s.data(), s.size()));
    u.foldCase();
    return u;
}

std::size_t utf16_length(std::string_view s) {
    std::size_t n = 0;
    for (char32_t c : text::to_u32(s)) n += c >= 0x10000 ? 2 : 1;
    return n;
}

// The first `units` UTF-16 code units of `s`, never splitting a character.
std::string utf16_left(std::string_view s, std::size_t units) {
    std::u32string out;
    std::size_t n = 0;
    for (char32_t c : text::to_u32(s)) {
        std::size_t w = c >= 0x10000 ? 2 : 1;
        if (n + w > units) break;
        out.push_back(c);
        n += w;
    }
    return text::to_utf8(out);
}

bool is_taken(std::string_view name, const std::vector<std::string>& names) {
    icu::UnicodeString f = folded(name);
    return std::any_of(names.begin(), names.end(),
                       [&](const std::string& n) { return folded(n) == f; });
}

Error refused(std::string message) { return Error::make(Error::Code::Refused, std::move(message)); }

// Parses the digits of s[from..] as a number below 10^9; false when there are none or too many.
bool small_number(std::string_view digits, std::int64_t& out) {
    if (digits.empty() || digits.size() > 9) return false;
    out = 0;
    for (char c : digits) {
        if (c < '0' || c > '9') return false;
        out = out * 10 + (c - '0');
    }
    return true;
}

bool ascii_upper_is(char c, char upper) { return c == upper || c == upper + ('a' - 'A'); }

}  // namespace

bool same_sheet_name(std::string_view a, std::string_view b) { return folded(a) == folded(b); }

namespace {
std::string folded_key(std::string_view s) {
    std::string out;
    folded(s).toUTF8String(out);
    return out;
}
}  // namespace

void SheetRenameChain::add(std::string_view old_name, std::string_view new_name) {
    const std::string from = folded_key(old_name), to = folded_key(new_name);
    std::vector<std::string> firsts;
    if (auto it = firsts_.find(from); it != firsts_.end()) {
        firsts = std::move(it->second);
        firsts_.erase(it);
    } else {
        firsts.push_back(from);
        first_spelling_.emplace(from, std::string(old_name));
    }
    for (const std::string& f : firsts) last_[f] = std::string(new_name);
    std::vector<std::string>& now = firsts_[to];
    now.insert(now.end(), firsts.begin(), firsts.end());
}

std::optional<std::string> SheetRenameChain::find(std::string_view name) const {
    auto it = last_.find(folded_key(name));
    if (it == last_.end()) return std::nullopt;
    return it->second;
}

std::vector<std::string> SheetRenameChain::old_names() const {
    std::vector<std::string> out;
    for (const auto& [key, spelling] : first_spelling_) out.push_back(spelling);
    return out;
}

Result<void> check_sheet_name(std::string_view name, const std::vector<std::string>& others) {
    const std::string shown(name);
    if (name.empty()) return refused("シート名が入力されていません。");
    if (utf16_length(name) > kMaxSheetNameLength)
        return refused("シート名「" + shown + "」が31文字を超えています。");
    for (char32_t c : text::to_u32(name)) {
        if (c < 0x20 || c == 0xFFFD)
            return refused("シート名「" + shown + "」に使用できない制御文字が含まれています。");
        if (c == U':' || c == U'\\' || c == U'/' || c == U'?' || c == U'*' || c == U'[' ||
            c == U']')
            return refused("シート名「" + shown + "」に使用できない文字「" + text::to_utf8(c) +
                           "」が含まれています。");
    }
    if (name.front() == '\'' || name.back() == '\'')
        return refused("シート名「" + shown +
                       "」の先頭と末尾にアポストロフィ（'）は使用できません。");
    if (same_sheet_name(name, "History"))
        return refused("シート名「" + shown + "」は予約されているため使用できません。");
    if (is_taken(name, others)) return refused("シート名「" + shown + "」は既に使用されています。");
    return {};
}

std::string new_sheet_name(const std::vector<std::string>& names) {
    std::int64_t largest = 0;
    for (const std::string& n : names) {
        std::int64_t k;
        if (n.size() > 5 && same_sheet_name(n.substr(0, 5), "Sheet") &&
            small_number(std::string_view(n).substr(5), k))
            largest = std::max(largest, k);
    }
    for (std::int64_t k = largest + 1;; ++k) {
        std::string candidate = "Sheet" + std::to_string(k);
        if (!is_taken(candidate, names)) return candidate;
    }
}

std::string copy_sheet_name(std::string_view name, const std::vector<std::string>& names) {
    std::string base(name);
    std::int64_t next = 2;
    // "Name (3)" counts on from 3 rather than becoming "Name (3) (2)".
    if (std::size_t open = base.rfind(" (");
        open != std::string::npos && base.size() > open + 3 && base.back() == ')') {
        std::int64_t k;
        if (small_number(std::string_view(base).substr(open + 2, base.size() - open - 3), k)) {
            base.resize(open);
            next = k + 1;
        }
    }
    for (std::int64_t k = next;; ++k) {
        std::string suffix = " (" + std::to_string(k) + ")";
        std::string candidate = utf16_left(base, kMaxSheetNameLength - suffix.size()) + suffix;
        if (!is_taken(candidate, names)) return candidate;
    }
}

bool sheet_name_needs_quotes(std::string_view name) {
    if (name.empty()) return true;
    std::u32string u = text::to_u32(name);
    for (char32_t c : u)
        if (!(c == U'_' || c == U'.' ||
              (c < 0x80 ? std::isalnum(static_cast<int>(c)) != 0
                        : u_isalnum(static_cast<UChar32>(c)) != 0)))
            return true;
    if (u_isdigit(static_cast<UChar32>(u[0])) || u[0] == U'.') return true;
    // Names that read as a cell reference in A1 style ("A1", "XFD1048576") or R1C1 style ("R",
    // "C12", "R1C1", "rc") or as a boolean would be taken for one.
    std::size_t i = 0;
    while (i < name.size() && std::isalpha(static_cast<unsigned char>(name[i]))) ++i;
    std::size_t letters = i;
    while (i < name.size() && std::isdigit(static_cast<unsigned char>(name[i]))) ++i;
    if (i == name.size() && letters >= 1 && letters <= 3 && letters < name.size()) {
        std::int64_t row;
        if (column_number(name.substr(0, letters)) > 0 && small_number(name.substr(letters), row) &&
            row >= 1 && row <= 1048576)
            return true;
    }
    i = 0;
    if (i < name.size() && ascii_upper_is(name[i], 'R')) {
        ++i;
        while (i < name.size() && std::isdigit(static_cast<unsigned char>(name[i]))) ++i;
    }
    if (i < name.size() && ascii_upper_is(name[i], 'C')) {
        ++i;
        while (i < name.size() && std::isdigit(static_cast<unsigned char>(name[i]))) ++i;
    }
    if (i == name.size()) return true;
    return same_sheet_name(name, "TRUE") || same_sheet_name(name, "FALSE");
}

std::string formula_sheet_name(std::string_view name) {
    if (!sheet_name_needs_quotes(name)) return std::string(name);
    return "'" + text::replace_all(name, "'", "''") + "'";
}

}  // namespace sheaflow::xl::native
