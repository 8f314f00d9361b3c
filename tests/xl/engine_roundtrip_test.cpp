// After a Replace and a save, the workbook reads the same as before apart from the replaced text,
// both to the engine and to LibreOffice (its CSV export of every sheet, compared field by field).

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>

#include "engine_helpers.h"
#include "xl/native/csv.h"
#include "xl/native/engine.h"

namespace sheaflow::xl::native {
namespace {

using testing::EngineTempDir;

const char* kSuffix = "★置換";

std::string shell_quote(const std::string& s) {
    std::string out = "'";
    for (char c : s) {
        if (c == '\'')
            out += "'\\''";
        else
            out += c;
    }
    return out + "'";
}

bool have_soffice() { return std::system("command -v soffice >/dev/null 2>&1") == 0; }

// Every sheet of every file as CSV through LibreOffice: name -> rows of fields.
std::map<std::string, std::vector<std::vector<std::string>>> office_csv(
    const std::vector<std::string>& files, const std::string& out_dir, const std::string& profile) {
    std::string cmd =
        "soffice -env:UserInstallation=file://" + profile +
        " --headless --norestore --convert-to "
        "'csv:Text - txt - csv (StarCalc):44,34,76,1,,0,false,true,false,false,false,-1'"
        " --outdir " +
        shell_quote(out_dir);
    for (const std::string& f : files) cmd += " " + shell_quote(f);
    cmd += " >/dev/null 2>&1";
    EXPECT_EQ(std::system(cmd.c_str()), 0);
    std::map<std::string, std::vector<std::vector<std::string>>> out;
    for (const auto& e : std::filesystem::directory_iterator(out_dir))
        out[e.path().filename().string()] = csv::parse(testing::read_file(e.path().string()), ',');
    return out;
}

// The most frequent text constant of the workbook (at least two characters), the text that the
// test replaces; "" when there is none.
std::string pick_text(Workbook& book) {
    std::map<std::string, int> seen;
    for (int i = 1; i <= book.worksheet_count(); ++i) {
        Worksheet* ws = book.worksheet(i);
        ws->for_each_cell(ws->used_range(), [&](CellRef c) {
            Value v = ws->cell_value(c);
            std::string f = ws->cell_formula(c);
            if (auto s = std::get_if<std::string>(&v);
                s && f == *s && s->size() >= 2 && s->find_first_of("*?~\r\n") == std::string::npos)
                ++seen[*s];
        });
    }
    std::string best;
    int count = 0;
    for (const auto& [s, n] : seen)
        if (n > count) best = s, count = n;
    return best;
}

TEST(EngineRoundTrip, replaced_text_is_the_only_difference_for_the_engine_and_for_libreoffice) {
    std::vector<std::string> files = {std::string(SHEAFLOW_TEST_DATA_DIR) + "/engine/cells.xlsx"};
    for (const char* f :
         {"xlsx/sjs-ふりがな phonetic_text.xlsx", "xlsx/cal-richtext-namespaced.xlsx",
          "xlsx/cal-shared_formula_simple.xlsx", "xlsx/xw-unicode_shift_jis.xlsx",
          "xlsx/cal-temperature-table.xlsx", "xlsx/sjs-Attendance.xlsx", "xlsx/cal-issues.xlsx",
          "xlsx/sjs-LONumbers.xlsx", "xlsm/xw-macro01.xlsm", "xlsx/xw-utf8_07.xlsx",
          "xlsx/sjs-named_ranges_2011.xlsx"}) {
        std::string p = testing::corpus(f);
        if (std::filesystem::exists(p)) files.push_back(p);
    }
    EngineTempDir dir;
    std::filesystem::create_directories(dir.file("out"));
    std::vector<std::string> outputs;
    std::map<std::string, std::string> replaced;  // output file name -> original text
    for (const std::string& f : files) {
        SCOPED_TRACE(f);
        auto app = create_application();
        auto book = app->workbooks().open(f, false);
        ASSERT_TRUE(book) << book.error().message;
        std::string what = pick_text(**book);
        if (what.empty()) continue;
        std::string name = std::filesystem::path(f).filename().string();
        std::string out = dir.file("out/" + name);
        std::map<std::string, Value> expected;  // "sheet!r,c" -> value after the replace
        int changed = 0;
        for (int i = 1; i <= (*book)->worksheet_count(); ++i) {
            Worksheet* ws = (*book)->worksheet(i);
            ws->for_each_cell(ws->used_range(), [&](CellRef c) {
                Value v = ws->cell_value(c);
                if (auto s = std::get_if<std::string>(&v);
                    s && *s == what && ws->cell_formula(c) == what) {
                    v = what + kSuffix;
                    ++changed;
                }
                expected[ws->name() + "!" + std::to_string(c.row) + "," + std::to_string(c.col)] =
                    v;
            });
            ReplaceOptions o;
            o.what = what;
            o.replacement = what + kSuffix;
            o.look_at = xlWhole;
            o.match_case = true;
            o.match_byte = true;
            ASSERT_TRUE(ws->cells().replace(o));
        }
        ASSERT_GT(changed, 0);
        auto saved = (*book)->save_as(
            out, f.ends_with(".xlsm") ? xlOpenXMLWorkbookMacroEnabled : xlOpenXMLWorkbook);
        ASSERT_TRUE(saved) << saved.error().message;
        outputs.push_back(out);
        replaced[std::filesystem::path(out).stem().string()] = what;

        // The engine reads the saved file back as expected.
        auto app2 = create_application();
        auto again = app2->workbooks().open(out, true);
        ASSERT_TRUE(again) << again.error().message;
        std::size_t seen = 0;
        for (int i = 1; i <= (*again)->worksheet_count(); ++i) {
            Worksheet* ws = (*again)->worksheet(i);
            ws->for_each_cell(ws->used_range(), [&](CellRef c) {
                std::string key =
                    ws->name() + "!" + std::to_string(c.row) + "," + std::to_string(c.col);
                EXPECT_EQ(ws->cell_value(c), expected[key]) << key;
                ++seen;
            });
        }
        EXPECT_EQ(seen, expected.size());
    }

    if (!have_soffice()) GTEST_SKIP() << "LibreOffice (soffice) is not installed";
    std::vector<std::string> originals;
    for (const std::string& f : files)
        if (replaced.count(std::filesystem::path(f).stem().string())) originals.push_back(f);
    std::filesystem::create_directories(dir.file("csv_before"));
    std::filesystem::create_directories(dir.file("csv_after"));
    auto before = office_csv(originals, dir.file("csv_before"), dir.file("profile"));
    auto after = office_csv(outputs, dir.file("csv_after"), dir.file("profile"));
    ASSERT_FALSE(before.empty());
    ASSERT_EQ(before.size(), after.size());
    for (const auto& [name, rows] : before) {
        SCOPED_TRACE(name);
        ASSERT_TRUE(after.count(name));
        const auto& other = after.at(name);
        std::string what;
        for (const auto& [stem, w] : replaced)
            if (name.rfind(stem + "-", 0) == 0) what = w;
        ASSERT_EQ(rows.size(), other.size());
        for (std::size_t r = 0; r < rows.size(); ++r) {
            ASSERT_EQ(rows[r].size(), other[r].size()) << "row " << r + 1;
            for (std::size_t c = 0; c < rows[r].size(); ++c) {
                if (rows[r][c] == what && other[r][c] == what + kSuffix) continue;
                EXPECT_EQ(rows[r][c], other[r][c]) << "row " << r + 1 << " column " << c + 1;
            }
        }
    }
}

}  // namespace
}  // namespace sheaflow::xl::native
