// The records of the command line: one flat JSON object per finding, written as rows come.
#include "report/records.h"

#include <gtest/gtest.h>

namespace sheaflow::report {
namespace {

TEST(RecordStream, WritesEachFindingAsSoonAsTheNextRowShowsItIsOne) {
    std::vector<std::string> out;
    RecordStream stream([&](const std::string& line) { out.push_back(line); });
    const ResultTable::Row titles = {"ファイル名", "シート名", "検索結果"};
    stream.push(titles, {"a.xlsx", "S1"});  // a heading: its cells go into the findings below
    stream.push(titles, {"", "", "A1"});
    EXPECT_TRUE(out.empty());
    stream.push(titles, {"", "", "B\"2\n"});
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0], "{\"ファイル名\":\"a.xlsx\",\"シート名\":\"S1\",\"検索結果\":\"A1\"}\n");
    stream.push(titles, {"b.xlsx", "S2"}, "sub");  // a heading again: nothing written for it
    stream.push(titles, {}, "sub");                // a separator row clears what is carried
    stream.push(titles, {"", "x"}, "sub");
    stream.finish(titles);
    ASSERT_EQ(out.size(), 4u);
    EXPECT_EQ(out[1],
              "{\"ファイル名\":\"a.xlsx\",\"シート名\":\"S1\",\"検索結果\":\"B\\\"2\\n\"}\n");
    // b.xlsx is followed by a blank row, so it is a finding of its own.
    EXPECT_EQ(out[2],
              "{\"ファイル名\":\"b.xlsx\",\"シート名\":\"S2\",\"検索結果\":\"\",\"フォルダー\":"
              "\"sub\"}\n");
    EXPECT_EQ(
        out[3],
        "{\"ファイル名\":\"\",\"シート名\":\"x\",\"検索結果\":\"\",\"フォルダー\":\"sub\"}\n");
}

TEST(ResultTable, StreamedRowsAreHandedOnAndNotKeptNorLimited) {
    ResultTable t([](const std::string&) { FAIL() << "no row limit while streaming"; });
    int handed = 0;
    std::string last;
    t.stream_rows([&](const ResultTable::Row&, ResultTable::Row row, const std::string& source) {
        ++handed;
        last = row.empty() ? "" : row[0] + "@" + source;
    });
    t.set_source("f");
    for (int i = 0; i <= ResultTable::kLastRowLimit + 10; ++i) {
        t.new_row();
        t.set(0, std::to_string(i));
        ASSERT_LE(t.rows().size(), 1u);
    }
    EXPECT_EQ(t.last_row(), ResultTable::kLastRowLimit + 10);
    EXPECT_EQ(t.cell(t.last_row(), 0), std::to_string(ResultTable::kLastRowLimit + 10));
    EXPECT_EQ(t.cell(0, 0), "");  // handed on
    t.finish_stream();
    EXPECT_EQ(handed, ResultTable::kLastRowLimit + 11);
    EXPECT_EQ(last, std::to_string(ResultTable::kLastRowLimit + 10) + "@f");
}

}  // namespace
}  // namespace sheaflow::report
