#include "report/render.h"

#include <algorithm>

#include "util/text.h"

namespace sheaflow::report {
namespace {

Page whole(const ResultTable& t) { return Page{0, t.last_row(), {}}; }

bool any_title(const ResultTable& t, int columns) {
    for (int c = 0; c < columns; ++c)
        if (!t.title(c).empty()) return true;
    return false;
}

std::string csv_cell(const std::string& s) {
    if (s.find_first_of(",\"\r\n") == std::string::npos) return s;
    return "\"" + text::replace_all(s, "\"", "\"\"") + "\"";
}

template <typename CellFn>
std::string joined(const ResultTable& t, const Page& page, std::string_view sep,
                   std::string_view eol, CellFn cell_text) {
    const int columns = Check_Hyoji_Max(t);
    std::string out;
    auto line = [&](auto get) {
        for (int c = 0; c < columns; ++c) {
            if (c > 0) out += sep;
            out += cell_text(get(c));
        }
        out += eol;
    };
    if (any_title(t, columns)) line([&](int c) -> const std::string& { return t.title(c); });
    const int last = std::min(page.last, t.last_row());
    for (int r = std::max(page.first, 0); r <= last; ++r)
        line([&](int c) -> const std::string& { return t.cell(r, c); });
    return out;
}

}  // namespace

void Check_Hyoji0_Indication(ResultTable& table) {
    const int n = table.last_row() + 1;
    int r = 0;
    while (r < n) {
        const std::string value = table.cell(r, 0);
        if (value.empty()) {
            ++r;
            continue;
        }
        int j = r + 1;
        while (j < n && (table.cell(j, 0) == value || table.cell(j, 0).empty())) {
            table.set_cell(j, 0, "");
            ++j;
        }
        r = j;
    }
}

int Check_Hyoji_Max(const ResultTable& table) {
    int highest = -1;
    for (int c = static_cast<int>(table.titles().size()) - 1; c > highest; --c)
        if (!table.title(c).empty()) highest = c;
    for (const ResultTable::Row& row : table.rows())
        for (int c = static_cast<int>(row.size()) - 1; c > highest; --c)
            if (!row[static_cast<std::size_t>(c)].empty()) highest = c;
    return highest + 1;
}

std::vector<Page> Index_Hensyu(const ResultTable& table, int page_rows) {
    std::vector<Page> pages;
    if (page_rows < 1) page_rows = kPageRows;
    const int n = table.last_row() + 1;
    for (int first = 0; first < n; first += page_rows) {
        const int last = std::min(n, first + page_rows) - 1;
        pages.push_back(Page{
            first, last,
            text::group_thousands(first + 1) + "行～" + text::group_thousands(last + 1) + "行"});
    }
    return pages;
}

int display_width(std::string_view s) {
    int w = 0;
    for (char32_t c : text::to_u32(s)) w += (c < 0x80 || (c >= 0xFF61 && c <= 0xFF9F)) ? 1 : 2;
    return w;
}

std::string Display_CSV_X(const ResultTable& t, const Page& page, std::string_view eol) {
    return joined(t, page, ",", eol, [](const std::string& s) { return csv_cell(s); });
}

std::string Display_Tab_X(const ResultTable& t, const Page& page, std::string_view eol) {
    return joined(t, page, "\t", eol, [](const std::string& s) { return s; });
}

std::string Display_Kotei_X(const ResultTable& t, const Page& page, std::string_view eol) {
    const int columns = Check_Hyoji_Max(t);
    const int last = std::min(page.last, t.last_row());
    const int first = std::max(page.first, 0);
    const bool titles = any_title(t, columns);
    std::vector<int> width(static_cast<std::size_t>(columns), 0);
    for (int c = 0; c < columns; ++c) {
        int& w = width[static_cast<std::size_t>(c)];
        if (titles) w = display_width(t.title(c));
        for (int r = first; r <= last; ++r) w = std::max(w, display_width(t.cell(r, c)));
    }
    std::string out;
    auto line = [&](auto get) {
        std::string l;
        for (int c = 0; c < columns; ++c) {
            const std::string& s = get(c);
            l += s;
            if (c + 1 < columns)
                l.append(static_cast<std::size_t>(width[static_cast<std::size_t>(c)] -
                                                  display_width(s) + 1),
                         ' ');
        }
        while (!l.empty() && l.back() == ' ') l.pop_back();
        out += l;
        out += eol;
    };
    if (titles) line([&](int c) -> const std::string& { return t.title(c); });
    for (int r = first; r <= last; ++r)
        line([&](int c) -> const std::string& { return t.cell(r, c); });
    return out;
}

std::string Display_CSV(const ResultTable& t, std::string_view eol) {
    return Display_CSV_X(t, whole(t), eol);
}
std::string Display_Tab(const ResultTable& t, std::string_view eol) {
    return Display_Tab_X(t, whole(t), eol);
}
std::string Display_Kotei(const ResultTable& t, std::string_view eol) {
    return Display_Kotei_X(t, whole(t), eol);
}

}  // namespace sheaflow::report
