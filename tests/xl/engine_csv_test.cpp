// CSV files in and text formats out: encodings, quoting, line ends, ragged rows, what becomes a
// number, and the active sheet written as displayed in code page 932.

#include <gtest/gtest.h>

#include "engine_helpers.h"
#include "util/text.h"
#include "xl/file_format.h"
#include "xl/native/csv.h"
#include "xl/native/engine.h"

namespace sheaflow::xl::native {
namespace {

using testing::EngineTempDir;

Result<Workbook*> open_csv(Application& app, const std::string& name) {
    return app.workbooks().open(testing::corpus("csv/" + name), true);
}

std::string utf8_of_cp932(const std::string& bytes) {
    std::string out;
    EXPECT_TRUE(text::from_cp932(bytes, out));
    return out;
}

TEST(CsvParse, quotes_line_ends_and_ragged_records) {
    using Rows = std::vector<std::vector<std::string>>;
    EXPECT_EQ(csv::parse("a,b\r\nc\rd,\"e\"\"f\",\"g\r\nh\"\n\n", ','),
              (Rows{{"a", "b"}, {"c"}, {"d", "e\"f", "g\nh"}, {}}));
    EXPECT_EQ(csv::parse("x,,\r\n,\r\n", ','), (Rows{{"x", "", ""}, {"", ""}}));
    EXPECT_EQ(csv::parse("no final newline", ','), (Rows{{"no final newline"}}));
    EXPECT_EQ(csv::parse("a\tb,c\n", '\t'), (Rows{{"a", "b,c"}}));
}

TEST(CsvParse, a_number_only_when_it_writes_back_the_same) {
    struct Case {
        const char* text;
        bool number;
    } cases[] = {{"123", true},   {"-5", true},          {"0.25", true},          {"0123", false},
                 {"1.50", false}, {"1e3", false},        {"+5", false},           {"1,000", false},
                 {" 1", false},   {"12345678901", true}, {"123456789012", false}, {"", false}};
    for (const Case& c : cases) {
        double d;
        EXPECT_EQ(csv::plain_number(c.text, d), c.number) << c.text;
    }
}

TEST(EngineCsv, cp932_and_utf8_files_read_the_same) {
    auto app = create_application();
    auto a = open_csv(*app, "made-ja_sjis_basic.csv");
    auto b = open_csv(*app, "made-ja_utf8_basic.csv");
    auto c = open_csv(*app, "made-ja_utf8_bom_crlf.csv");
    if (!a && a.error().code == Error::Code::NotFound) GTEST_SKIP() << "no corpus";
    ASSERT_TRUE(a) << a.error().message;
    ASSERT_TRUE(b) << b.error().message;
    ASSERT_TRUE(c) << c.error().message;
    EXPECT_EQ((*a)->worksheet(1)->name(), "made-ja_sjis_basic");
    for (Workbook* other : {*b, *c}) {
        Worksheet* x = (*a)->worksheet(1);
        Worksheet* y = other->worksheet(1);
        ASSERT_EQ(x->used_range(), y->used_range());
        x->for_each_cell(x->used_range(), [&](CellRef r) {
            EXPECT_EQ(x->cell_value(r), y->cell_value(r)) << r.row << "," << r.col;
        });
    }
    EXPECT_EQ((*a)->worksheet(1)->cell_value({1, 1}), Value(std::string("氏名")));
    EXPECT_EQ((*a)->worksheet(1)->cell_value({2, 4}), Value(std::string("03-1234-5678")));
}

TEST(EngineCsv, quoted_fields_leading_zeros_and_formula_like_text_stay) {
    auto app = create_application();
    auto b = open_csv(*app, "made-ja_sjis_quoted_multiline.csv");
    if (!b) GTEST_SKIP() << "no corpus";
    Worksheet* ws = (*b)->worksheet(1);
    EXPECT_EQ(ws->cell_value({3, 3}), Value(std::string("一行目\n二行目\n三行目")));
    EXPECT_EQ(ws->cell_value({4, 2}), Value(std::string("引用符\"入り\"")));
    EXPECT_EQ(ws->cell_value({5, 2}), Value(std::string("  前後に空白  ")));
    EXPECT_EQ(ws->cell_value({5, 3}), Value(std::string("   未引用の空白   ")));
    EXPECT_EQ(ws->cell_value({6, 2}), Value{});
    EXPECT_EQ(ws->cell_value({7, 2}), Value(std::string("=SUM(A1:A3)")));
    EXPECT_EQ(ws->cell_value({8, 2}), Value(std::string("0123")));
    EXPECT_EQ(ws->cell_value({9, 2}), Value(std::string("2024/04/01")));
    EXPECT_EQ(ws->cell_value({9, 1}), Value(8.0));
}

TEST(EngineCsv, cr_only_line_ends) {
    auto app = create_application();
    auto b = open_csv(*app, "sjs-ErrorTypes.csv");
    if (!b) GTEST_SKIP() << "no corpus";
    Worksheet* ws = (*b)->worksheet(1);
    EXPECT_EQ(ws->used_range(), (Area{1, 1, 14, 10}));
    EXPECT_EQ(ws->cell_value({2, 1}), Value(std::string("#NULL!")));
    EXPECT_EQ(ws->cell_value({10, 1}), Value(123.0));
}

TEST(EngineCsv, a_cp932_file_saved_again_is_byte_for_byte_the_same) {
    for (const char* name : {"made-ja_sjis_trailbyte5c_nec.csv", "made-ja_sjis_basic.csv"}) {
        SCOPED_TRACE(name);
        std::string src = testing::corpus(std::string("csv/") + name);
        if (!std::filesystem::exists(src)) GTEST_SKIP() << "no corpus";
        EngineTempDir dir;
        auto app = create_application();
        auto b = app->workbooks().open(src, false);
        ASSERT_TRUE(b) << b.error().message;
        ASSERT_TRUE((*b)->save_as(dir.file("out.csv"), xlCSV));
        EXPECT_EQ(testing::read_file(dir.file("out.csv")), testing::read_file(src));
    }
}

TEST(EngineCsv, ragged_rows_are_padded_and_characters_outside_cp932_become_question_marks) {
    EngineTempDir dir;
    auto app = create_application();
    auto ragged = open_csv(*app, "made-ja_sjis_ragged_no_final_newline.csv");
    if (!ragged) GTEST_SKIP() << "no corpus";
    ASSERT_TRUE((*ragged)->save_as(dir.file("ragged.csv"), xlCSV));
    EXPECT_EQ(utf8_of_cp932(testing::read_file(dir.file("ragged.csv"))),
              "列A,列B,列C,\r\n1,2,,\r\n,,,\r\n3,4,5,6\r\n,,,\r\n末尾カンマ,あ,,\r\n"
              "最終行に改行なし,い,う,\r\n");
    auto utf8 = open_csv(*app, "made-ja_utf8_non_cp932.csv");
    ASSERT_TRUE(utf8);
    ASSERT_TRUE((*utf8)->save_as(dir.file("narrow.csv"), xlCSV));
    std::string out = utf8_of_cp932(testing::read_file(dir.file("narrow.csv")));
    EXPECT_NE(out.find("絵文字,? は CP932 に無い\r\n"), std::string::npos) << out;
}

TEST(EngineTextSave, the_active_sheet_as_displayed) {
    EngineTempDir dir;
    auto app = create_application();
    auto b =
        app->workbooks().open(std::string(SHEAFLOW_TEST_DATA_DIR) + "/engine/cells.xlsx", true);
    ASSERT_TRUE(b);
    ASSERT_TRUE((*b)->worksheet(2)->activate());
    ASSERT_TRUE((*b)->save_as(dir.file("p.csv"), xlCSV));
    EXPECT_EQ(utf8_of_cp932(testing::read_file(dir.file("p.csv"))), "一,2\r\n,\r\n,東京都\r\n");
    // The workbook now is the text file; its sheets are all still there.
    EXPECT_EQ((*b)->name(), "p.csv");
    EXPECT_EQ((*b)->worksheet_count(), 2);

    ASSERT_TRUE((*b)->worksheet(1)->activate());
    ASSERT_TRUE((*b)->save_as(dir.file("d.txt"), *FileFormat_FromExt("TXT", "tab")));
    std::string tsv = utf8_of_cp932(testing::read_file(dir.file("d.txt")));
    auto lines = text::split(tsv, "\r\n");
    ASSERT_GE(lines.size(), 6u);
    EXPECT_EQ(lines[0], "東京都\t123\t2024/1/1\tTRUE\t#DIV/0!\tインライン\t\t");
    EXPECT_EQ(lines[1], "赤 字\t50.00%\t246\txy\t\t\t\t");
    // A line break inside a cell is quoted; the CR the cell holds stays.
    EXPECT_NE(tsv.find("\r\n\"一行目\r\n二行目\"\tA and _x0041_\t \t2024/1/15\t\t\t\t\r\n"),
              std::string::npos);

    ASSERT_TRUE((*b)->save_as(dir.file("d.csv"), xlCSV));
    std::string csv_text = utf8_of_cp932(testing::read_file(dir.file("d.csv")));
    EXPECT_EQ(text::split(csv_text, "\r\n")[1], "赤 字,50.00%,246,xy,,,,");
}

TEST(FileFormat, codes_by_extension_and_file_name) {
    struct Case {
        const char* ext;
        const char* sep;
        std::optional<int> code;
    } cases[] = {{"CSV", "", 6},      {"csv", "TAB", 6},   {"TSV", "", -4158},
                 {"TXT", "", -4158},  {"TXT", "comma", 6}, {"TXT", "Tab", -4158},
                 {"TXT", "semi", {}}, {"XLS", "", 56},     {"XLSX", "", 51},
                 {"XLSM", "", 52},    {"XLSB", "", {}},    {"", "", {}}};
    for (const Case& c : cases)
        EXPECT_EQ(FileFormat_FromExt(c.ext, c.sep), c.code) << c.ext << c.sep;
    EXPECT_EQ(FileFormat_FromFile("/tmp/売上.book.xlsm"), 52);
    EXPECT_EQ(FileFormat_FromFile("/tmp/dir.xlsx/noext"), std::nullopt);
}

}  // namespace
}  // namespace sheaflow::xl::native
