// The palettes and their lookups, and the colour operations over a workbook with colours in
// every place they look: what is listed, what standardisation writes, and what it leaves alone.

#include "ops/sheet/colours.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "object_run.h"
#include "ops/sheet/palettes.h"
#include "xl/native/package.h"

namespace sheaflow::test {
namespace {

using ops::Palette;

TEST(Palettes, ExactAndNearestLookupsWithTheirTieRule) {
    EXPECT_EQ(ops::palette_entries(Palette::Color2010).size(), 227u);
    EXPECT_EQ(ops::palette_entries(Palette::ColorIndex).size(), 57u);
    // Pure red is code 62, not the later 188 of the same colour.
    EXPECT_EQ(ops::exact_code(Palette::Color2010, ops::rgb_value(255, 0, 0)), 62);
    EXPECT_EQ(ops::exact_code(Palette::Color2010, ops::rgb_value(250, 250, 250)), -1);
    EXPECT_EQ(ops::nearest_code(Palette::Color2010, ops::rgb_value(250, 250, 250)), 199);
    EXPECT_EQ(ops::entry_of(Palette::Color2010, 199)->rgb(), ops::rgb_value(248, 248, 248));
    // A code with two index values: the first entry supplies the index.
    EXPECT_EQ(ops::entry_of(Palette::Color2010, 64)->colour_index, 6);
    // Blue is index 5 and 32; the nearest lookup never gives 32.
    EXPECT_EQ(ops::nearest_code(Palette::ColorIndex, ops::rgb_value(0, 0, 250)), 5);
    EXPECT_EQ(ops::exact_code(Palette::ColorIndex, ops::rgb_value(0, 0, 255)), 5);
    EXPECT_EQ(ops::exact_code(Palette::ColorIndex, -1), -1);
    EXPECT_EQ(ops::nearest_code(Palette::ColorIndex, -4105), -1);
    EXPECT_FALSE(ops::standard_colour(Palette::Color2010, ops::rgb_value(255, 0, 0)));
    EXPECT_EQ(*ops::standard_colour(Palette::ColorIndex, ops::rgb_value(250, 250, 250)),
              ops::rgb_value(255, 255, 255));

    // Against integer distances over a grid: the first entry of the smallest distance wins,
    // which is also what decides colours at equal distance from two entries.
    int ties = 0;
    for (Palette p : {Palette::Color2010, Palette::ColorIndex}) {
        auto entries = ops::palette_entries(p);
        for (int r = 0; r < 256; r += 15)
            for (int g = 0; g < 256; g += 15)
                for (int b = 0; b < 256; b += 15) {
                    int best = -1, best_d = 1 << 30, count = 0;
                    for (std::size_t i = 1; i < entries.size(); ++i) {
                        int dr = r - entries[i].red, dg = g - entries[i].green,
                            db = b - entries[i].blue;
                        int d = dr * dr + dg * dg + db * db;
                        if (d < best_d) {
                            best_d = d;
                            best = entries[i].code;
                            count = 1;
                        } else if (d == best_d && entries[i].rgb() != entries[i - 1].rgb()) {
                            ++count;
                        }
                    }
                    ties += count > 1;
                    ASSERT_EQ(ops::nearest_code(p, ops::rgb_value(r, g, b)), best)
                        << r << "," << g << "," << b;
                }
    }
    EXPECT_GT(ties, 0);  // the grid does meet colours at equal distance
}

class ColourOpsTest : public OperationRunTest {
protected:
    std::string part(const std::string& file, const std::string& name) {
        auto pkg = xl::native::Package::open_file((dir_ / file).string());
        if (!pkg) return "";
        auto text = (*pkg)->read(name);
        return text ? *text : "";
    }
    // The list's detail column by place ("A1", "条件書式(A1:A2)"...), "\n"-joined.
    std::map<std::string, std::string> listed() {
        std::map<std::string, std::string> out;
        for (const auto& r : rows(4))
            if (!r[0].empty() || !r[2].empty()) out[r[2]] += (out[r[2]].empty() ? "" : "\n") + r[3];
        return out;
    }
};

TEST_F(ColourOpsTest, ListsEveryColourOutsideThePaletteAndNothingAutomatic) {
    add_target("colours.xlsx", "c.xlsx");
    auto out = run("シート", "Color2010カラー標準以外の一覧");
    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.failed_files, 0) << out.error_text;
    EXPECT_EQ(table_.titles()[2], "場所");
    auto l = listed();
    EXPECT_EQ(l["A1"], "文字の色=199 RGB(248,248,248)　実際 RGB(250,250,250)");
    EXPECT_EQ(l["A2"], l["A1"]);
    // B1: the fill and two borders; its black font (theme) and automatic bottom border are in
    // the palette or automatic.
    EXPECT_EQ(std::count(l["B1"].begin(), l["B1"].end(), '\n'), 2) << l["B1"];
    EXPECT_NE(l["B1"].find("背景の色="), std::string::npos);
    EXPECT_NE(l["B1"].find("罫線左の色="), std::string::npos);
    EXPECT_NE(l["B1"].find("罫線斜め下の色="), std::string::npos);
    // C1: a theme colour with a tint, resolved through the theme.
    EXPECT_NE(l["C1"].find("　実際 RGB(149,179,215)"), std::string::npos) << l["C1"];
    // D1: the red pattern colour (indexed through the palette) is standard; its background not.
    EXPECT_EQ(l["D1"].rfind("背景の色=", 0), 0u) << l["D1"];
    EXPECT_EQ(std::count(l["D1"].begin(), l["D1"].end(), '\n'), 0);
    EXPECT_EQ(std::count(l["条件書式(A1:A2)"].begin(), l["条件書式(A1:A2)"].end(), '\n'), 1);
    EXPECT_NE(l["タブ"].find("タブの色="), std::string::npos);
    // The note's text colour and box fill; its line is a system colour.
    EXPECT_EQ(std::count(l["コメント(B2)"].begin(), l["コメント(B2)"].end(), '\n'), 1)
        << l["コメント(B2)"];
    // Shapes: fill and line each (the red text is standard), members of the group too.
    EXPECT_EQ(std::count(l["オートシェイプ(Rectangle 1)"].begin(),
                         l["オートシェイプ(Rectangle 1)"].end(), '\n'),
              1);
    EXPECT_FALSE(l["オートシェイプ(Member 4)"].empty());
    EXPECT_FALSE(l["オートシェイプ(Member 5)"].empty());

    // The kinds follow the check boxes.
    out = run("シート", "Color2010カラー標準以外の一覧",
              {{"font", "0"},
               {"interior", "0"},
               {"pattern", "0"},
               {"borders", "0"},
               {"format_conditions", "0"},
               {"comments", "0"},
               {"shapes", "0"},
               {"controls", "0"}});
    l = listed();
    EXPECT_EQ(l.size(), 1u);
    EXPECT_TRUE(l.count("タブ"));
    out = run("シート", "Color2010カラー標準以外の一覧",
              {{"font", "0"},
               {"interior", "0"},
               {"pattern", "0"},
               {"borders", "0"},
               {"format_conditions", "0"},
               {"comments", "0"},
               {"shapes", "0"},
               {"controls", "0"},
               {"tab", "0"}});
    EXPECT_FALSE(out.checked);
    EXPECT_EQ(out.check_message, "チェックマークがありません。");
}

TEST_F(ColourOpsTest, StandardisingLeavesNothingToListAndKeepsSharedFormats) {
    for (const char* op : {"Color2010", "ColorIndex"}) {
        files_.clear();
        add_target("colours.xlsx", std::string(op) + ".xlsx");
        std::string base = op;
        auto out = run("シート", base + "カラー標準化");
        ASSERT_TRUE(out.checked) << out.check_message;
        EXPECT_EQ(out.failed_files, 0) << out.error_text;
        run("シート", base + "カラー標準以外の一覧");
        EXPECT_TRUE(table_.rows().empty()) << op << ": " << listed().begin()->second;

        std::string file = base + ".xlsx";
        std::string styles = part(file, "xl/styles.xml");
        // The other sheet's cell keeps its format and that format its colour.
        EXPECT_NE(part(file, "xl/worksheets/sheet2.xml").find("<c r=\"A1\" s=\"1\">"),
                  std::string::npos);
        EXPECT_NE(styles.find("FFFAFAFA"), std::string::npos);
        // Both cells that shared a format share the new one.
        std::string sheet1 = part(file, "xl/worksheets/sheet1.xml");
        auto s_of = [&](const char* ref) {
            auto at = sheet1.find(std::string("r=\"") + ref + "\"");
            return sheet1.substr(at, sheet1.find('>', at) - at);
        };
        EXPECT_EQ(s_of("A1").substr(7), s_of("A2").substr(7));
        EXPECT_EQ(s_of("A1").find("s=\"1\""), std::string::npos);
        if (base == "Color2010") {
            EXPECT_NE(styles.find("FFF8F8F8"), std::string::npos);
            EXPECT_NE(part(file, "xl/drawings/vmlDrawing1.vml").find("fillcolor=\"#ffffcc\""),
                      std::string::npos);
        }
    }
}

TEST_F(ColourOpsTest, LibreOfficeOpensTheStandardisedWorkbook) {
    if (std::system("command -v soffice >/dev/null 2>&1") != 0) GTEST_SKIP() << "no soffice";
    add_target("colours.xlsx", "c.xlsx");
    ASSERT_EQ(run("シート", "Color2010カラー標準化").failed_files, 0);
    std::string cmd = "cd '" + dir_.string() +
                      "' && timeout 120 soffice --headless --convert-to csv c.xlsx >/dev/null 2>&1";
    ASSERT_EQ(std::system(cmd.c_str()), 0);
    std::ifstream in(dir_ / "c.csv");
    std::stringstream ss;
    ss << in.rdbuf();
    EXPECT_EQ(ss.str().substr(0, 8), "1,2,3,4\n");
}

TEST_F(ColourOpsTest, ColourCheckListsCellsWithColoursOfTheirOwn) {
    add_target("colours.xlsx", "c.xlsx");
    ASSERT_EQ(run("セル", "カラーチェック").failed_files, 0);
    std::vector<std::string> cells;
    for (const auto& r : rows(4)) cells.push_back(r[2] + " " + r[3]);
    // B1's black text is the workbook's default; the pattern and font colours in the palette
    // are listed with their codes.
    EXPECT_EQ(cells,
              (std::vector<std::string>{"A1 文字の色=RGB(250,250,250)", "B1 背景の色=RGB(18,52,86)",
                                        "C1 文字の色=RGB(149,179,215)",
                                        "D1 文字の色=RGB(255,0,0) ColorIndex=3 Color2010=62",
                                        "D1 パターンの色=RGB(255,0,0) ColorIndex=3 Color2010=62",
                                        "D1 背景の色=RGB(1,1,1)", "A2 文字の色=RGB(250,250,250)"}));
}

TEST_F(ColourOpsTest, PaletteListsNeedNoTargets) {
    auto out = run("Excel", "ColorIndex一覧");
    ASSERT_TRUE(out.checked) << out.check_message;
    auto r = rows(6);
    ASSERT_EQ(r.size(), 56u);
    EXPECT_EQ(r[4], (std::vector<std::string>{"5", "0", "0", "255", "16711680", "#0000FF"}));
    out = run("Excel", "Color2010一覧");
    r = rows(7);
    ASSERT_EQ(r.size(), 226u);
    EXPECT_EQ(r[60], (std::vector<std::string>{"61", "192", "0", "0", "192", "#C00000", ""}));
    EXPECT_EQ(r[61][6], "3");
}

}  // namespace
}  // namespace sheaflow::test
