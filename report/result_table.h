#pragma once
// The result table that list operations fill and the result window shows: rows of up to 256 text
// cells with a title row, and the hard stop at 32,760 rows.

#include <array>
#include <functional>
#include <string>
#include <vector>

namespace sheaflow::report {

class ResultTable {
public:
    static constexpr int kColumns = 256;
    static constexpr int kLastRowLimit = 32760;
    using Row = std::vector<std::string>;  // up to kColumns cells; missing cells are empty

    // `on_full` is called with the message when a row is added past the limit; it must not
    // return (the program ends), see run::Host::fatal.
    explicit ResultTable(std::function<void(const std::string&)> on_full = {});

    void clear();
    // Appends an empty row (the hard stop happens here).
    void new_row();
    // Cell of the last row.
    void set(int col, std::string text);
    void set_title(int col, std::string text);

    int last_row() const { return static_cast<int>(rows_.size()) - 1; }  // -1 when empty
    bool empty() const { return rows_.empty(); }
    const std::vector<Row>& rows() const { return rows_; }
    std::vector<Row>& rows() { return rows_; }
    const Row& titles() const { return titles_; }

private:
    std::function<void(const std::string&)> on_full_;
    std::vector<Row> rows_;
    Row titles_;
};

}  // namespace sheaflow::report
