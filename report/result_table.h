#pragma once
// The result table that list operations fill and the result window shows: rows of up to 256 text
// cells with a title row, and the hard stop at 32,760 rows.

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sheaflow::report {

class ResultTable {
public:
    static constexpr int kColumns = 256;
    static constexpr int kLastRowLimit = 32760;
    using Row = std::vector<std::string>;  // up to kColumns cells; missing cells are empty

    // The message of the hard stop.
    static constexpr const char* kFullMessage =
        "チェックメッセージが３万行を超えました。\r\nこの後、強制終了します。";

    // `on_full` is called with the message when a row is added past the limit; it is meant not
    // to return (the program ends), see run::Host::fatal. If it does return, the row is not
    // added.
    explicit ResultTable(std::function<void(const std::string&)> on_full = {});
    void set_on_full(std::function<void(const std::string&)> on_full) {
        on_full_ = std::move(on_full);
    }

    void clear();
    // Appends an empty row. When the last-row index is already kLastRowLimit, the hard stop
    // happens here instead.
    void new_row();
    // Cell of the last row.
    void set(int col, std::string text);
    void set_title(int col, std::string text);

    // Rows handed on as they are finished instead of kept (the records output of the command
    // line): each row goes to `sink` when the next one starts, or at finish_stream(), with the
    // folder it was found in. Only the row being filled stays; rows(), cell() and set_cell()
    // see that row alone, row numbers count on, and the row limit no longer applies.
    using RowSink = std::function<void(const Row& titles, Row row, const std::string& source)>;
    void stream_rows(RowSink sink) { sink_ = std::move(sink); }
    // Hands on the last row.
    void finish_stream();

    int last_row() const { return handed_on_ + static_cast<int>(rows_.size()) - 1; }  // -1: empty
    bool empty() const { return last_row() < 0; }
    const std::vector<Row>& rows() const { return rows_; }
    std::vector<Row>& rows() { return rows_; }
    const Row& titles() const { return titles_; }
    // A cell or title, "" when never set.
    const std::string& cell(int row, int col) const;
    const std::string& title(int col) const;
    // Sets a cell of any row that exists.
    void set_cell(int row, int col, std::string text);

    // A row may carry a picture (the bytes of a PNG file), shown where one of its cells reads
    // kPictureText; saving the list as a workbook places the picture there.
    static constexpr const char* kPictureText = "(画像)";
    void set_picture(std::shared_ptr<const std::string> png);  // of the last row
    // The row's picture, nullptr when it has none.
    const std::string* picture(int row) const;

    // The folder of the workbook whose findings the rows now added belong to; the run driver
    // sets it before each file, so that a list over subfolders can tell same-named files apart.
    void set_source(std::string folder) { source_ = std::move(folder); }
    const std::string& source() const { return source_; }
    // The folder a row was added under ("" when not known, or when rows were rearranged since).
    const std::string& row_source(int row) const;
    void set_row_source(int row, std::string folder);

private:
    std::function<void(const std::string&)> on_full_;
    std::vector<Row> rows_;
    Row titles_;
    std::string source_;
    std::vector<std::string> sources_;  // per row
    std::vector<std::shared_ptr<const std::string>> pictures_;  // per row, up to the last set
    RowSink sink_;
    int handed_on_ = 0;  // rows given to the sink, which no longer are in rows_
};

// The width and height in pixels of a PNG picture, read from its header.
std::optional<std::pair<int, int>> png_size(std::string_view png);

}  // namespace sheaflow::report
