#include "xl/native/csv.h"

#include <charconv>
#include <cmath>

#include "util/text.h"
#include "xl/native/numfmt.h"

namespace sheaflow::xl::native::csv {

bool decode(std::string_view bytes, std::string& utf8) {
    if (bytes.substr(0, 3) == "\xEF\xBB\xBF") {
        bytes.remove_prefix(3);
        if (!text::is_valid_utf8(bytes)) return false;
        utf8.assign(bytes);
        return true;
    }
    // Japanese UTF-8 text is often also a valid CP932 byte sequence, while CP932 text is almost
    // never valid UTF-8: valid UTF-8 therefore decides first.
    if (text::is_valid_utf8(bytes)) {
        utf8.assign(bytes);
        return true;
    }
    return text::from_cp932(bytes, utf8);
}

std::vector<std::vector<std::string>> parse(std::string_view s, char sep) {
    std::vector<std::vector<std::string>> rows;
    std::vector<std::string> row;
    std::string field;
    bool field_started = false;  // the current record has a field in progress
    bool at_field_start = true;  // nothing read yet of the current field
    std::size_t i = 0, n = s.size();
    auto end_field = [&]() {
        row.push_back(std::move(field));
        field.clear();
        at_field_start = true;
    };
    auto end_record = [&]() {
        if (field_started || !row.empty()) end_field();
        rows.push_back(std::move(row));
        row.clear();
        field_started = false;
    };
    while (i < n) {
        char c = s[i];
        if (c == '"' && at_field_start) {
            // A quoted field: up to the closing quote; text after it is kept as written.
            ++i;
            field_started = true;
            at_field_start = false;
            while (i < n) {
                if (s[i] == '"') {
                    if (i + 1 < n && s[i + 1] == '"') {
                        field += '"';
                        i += 2;
                        continue;
                    }
                    ++i;
                    break;
                }
                if (s[i] == '\r') {
                    // A line break inside a cell is LF.
                    field += '\n';
                    i += (i + 1 < n && s[i + 1] == '\n') ? 2 : 1;
                    continue;
                }
                field += s[i++];
            }
            continue;
        }
        if (c == sep) {
            field_started = true;
            end_field();
            ++i;
            continue;
        }
        if (c == '\r' || c == '\n') {
            end_record();
            i += (c == '\r' && i + 1 < n && s[i + 1] == '\n') ? 2 : 1;
            continue;
        }
        field_started = true;
        at_field_start = false;
        field += c;
        ++i;
    }
    if (field_started || !row.empty()) end_record();
    return rows;
}

bool plain_number(std::string_view f, double& value) {
    if (f.empty() || f.size() > 30) return false;
    char c0 = f[0];
    if (!((c0 >= '0' && c0 <= '9') || c0 == '-' || c0 == '.')) return false;
    double d = 0;
    auto r = std::from_chars(f.data(), f.data() + f.size(), d);
    if (r.ec != std::errc() || r.ptr != f.data() + f.size() || !std::isfinite(d)) return false;
    if (numfmt::format_number(d, "General") != f) return false;
    value = d;
    return true;
}

void append_field(std::string_view f, char sep, std::string& out) {
    bool quote = f.find_first_of(sep == '\t' ? "\t\",\r\n" : ",\"\r\n") != std::string_view::npos ||
                 (sep != ',' && sep != '\t' && f.find(sep) != std::string_view::npos);
    if (!quote) {
        out.append(f);
        return;
    }
    out += '"';
    for (char c : f) {
        if (c == '"') out += '"';
        out += c;
    }
    out += '"';
}

void append_record(const std::vector<std::string>& fields, char sep, std::string& out) {
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (i) out += sep;
        append_field(fields[i], sep, out);
    }
    out += "\r\n";
}

}  // namespace sheaflow::xl::native::csv
