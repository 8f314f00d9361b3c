#pragma once
// The result list for scripts: one JSON object a line per finding, keyed by the column titles.
// A row that only heads the rows below it (the file and sheet line of a search) is no finding;
// its cells are carried into the findings under it, as are the leading cells a row leaves empty.
// Rows are taken one at a time, so that a long run writes its findings as they are made.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "report/result_table.h"

namespace sheaflow::report {

class RecordStream {
public:
    using Write = std::function<void(const std::string&)>;
    // Each record holds as many fields as the widest row or title row seen so far.
    explicit RecordStream(Write write);

    // The next row of the list, with the titles as they stand and the folder it was found in
    // (a "フォルダー" field when `folder` is given).
    void push(const ResultTable::Row& titles, ResultTable::Row row,
              std::optional<std::string> folder = std::nullopt);
    // The end of the list: the last row is written out.
    void finish(const ResultTable::Row& titles);

private:
    void settle(const ResultTable::Row& titles, const ResultTable::Row* next);

    Write write_;
    int columns_ = 0;
    std::optional<ResultTable::Row> pending_;
    std::optional<std::string> pending_folder_;
    std::vector<std::string> carried_;
};

}  // namespace sheaflow::report
