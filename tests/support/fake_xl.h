#pragma once
// An in-memory stand-in for the object model, for tests of the run driver and of operations:
// workbooks are described by the test (sheets, types, cells), every Open/SaveAs/Close is recorded,
// and failures are injected per path. Find walks the cells row by row with the After rule of the
// object model (start after `after`, wrap, the start cell last); matching is plain substring or
// whole-cell comparison, optionally case-blind.

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "xl/xl.h"

namespace sheaflow::testing {

struct FakeSheetSpec {
    FakeSheetSpec(std::string n = "Sheet1", int t = xl::xlWorksheet,
                  std::map<std::string, std::string> c = {})
        : name(std::move(n)), type(t), cells(std::move(c)) {}
    std::string name;
    int type;
    std::string code_name;
    std::map<std::string, std::string> cells;  // by "A1": formula ("=A1") or constant
    std::set<std::string> error_cells;         // cells whose value is an error (#N/A)
};

struct FakeBookSpec {
    std::vector<FakeSheetSpec> sheets;
    int active = 1;  // 1-based position among the sheets
};

class FakeApplication;
class FakeWorkbook;

class FakeWorksheet : public xl::Worksheet {
public:
    FakeWorksheet(FakeWorkbook& book, FakeSheetSpec criteria) : book_(book), spec_(std::move(criteria)) {
        for (auto& [addr, f] : spec_.cells) {
            auto a = xl::parse_address(addr);
            cells_[{a->first_row, a->first_col}] = f;
        }
    }

    xl::Workbook& parent() override;
    std::string name() const override { return spec_.name; }
    Result<void> set_name(const std::string& n) override {
        spec_.name = n;
        touched();
        return {};
    }
    std::string code_name() const override {
        return spec_.code_name.empty() ? spec_.name : spec_.code_name;
    }
    int type() const override { return spec_.type; }
    int index() const override;
    bool visible() const override { return true; }
    Result<void> check() override {
        if (damaged) return Error::make(Error::Code::BadFormat, "damaged sheet");
        return {};
    }
    Result<void> activate() override;
    Result<void> select() override { return {}; }
    std::int32_t rows_count() const override { return 1048576; }
    std::int32_t columns_count() const override { return 16384; }
    xl::Area used_range() override {
        if (cells_.empty()) return {};
        xl::Area a{1 << 30, 1 << 30, 0, 0};
        for (auto& [k, v] : cells_) {
            a.first_row = std::min(a.first_row, k.first);
            a.last_row = std::max(a.last_row, k.first);
            a.first_col = std::min(a.first_col, k.second);
            a.last_col = std::max(a.last_col, k.second);
        }
        return a;
    }
    xl::Value cell_value(xl::CellRef c) override {
        auto it = cells_.find({c.row, c.col});
        if (it == cells_.end()) return {};
        if (spec_.error_cells.count(xl::format_address({c.row, c.col, c.row, c.col}, false, false)))
            return xl::CellError{"#N/A"};
        if (!it->second.empty() && it->second[0] == '=') return std::string("calc");
        return it->second;
    }
    std::string cell_formula(xl::CellRef c) override {
        auto it = cells_.find({c.row, c.col});
        return it == cells_.end() ? std::string() : it->second;
    }
    std::string cell_text(xl::CellRef c) override { return xl::to_text(cell_value(c)); }
    std::string cell_number_format_local(xl::CellRef) override { return "G/標準"; }
    Result<void> set_cell_value(xl::CellRef c, const xl::Value& v) override {
        cells_[{c.row, c.col}] = xl::to_text(v);
        touched();
        return {};
    }
    Result<void> set_cell_formula(xl::CellRef c, const std::string& f) override {
        cells_[{c.row, c.col}] = f;
        touched();
        return {};
    }
    void for_each_cell(const xl::Area& area, const std::function<void(xl::CellRef)>& v) override {
        for (auto& [k, f] : cells_)
            if (area.contains({k.first, k.second})) v({k.first, k.second});
    }
    std::optional<xl::CellRef> find(const xl::Area& area, const xl::FindSpec& criteria,
                                    std::optional<xl::CellRef> after) override {
        ++finds;
        if (fail_find) return std::nullopt;
        std::vector<xl::CellRef> order;
        for (auto& [k, f] : cells_)
            if (area.contains({k.first, k.second}) && matches(k, criteria))
                order.push_back({k.first, k.second});
        if (order.empty()) return std::nullopt;
        xl::CellRef start = after.value_or(xl::CellRef{area.first_row, area.first_col});
        for (const xl::CellRef& c : order)
            if (c.row > start.row || (c.row == start.row && c.col > start.col)) return c;
        return order.front();
    }
    Result<bool> replace(const xl::Area& area, const xl::FindSpec& criteria,
                         const std::string& replacement) override {
        ++replaces;
        last_spec = criteria;
        if (!refuse_replace.empty()) return Error::failed(refuse_replace);
        for (auto& [k, f] : cells_) {
            if (!area.contains({k.first, k.second}) || !matches(k, criteria)) continue;
            touched();
            if (criteria.look_at == xl::xlWhole) {
                f = replacement;
            } else {
                std::string out;
                std::size_t pos = 0, hit;
                while ((hit = f.find(criteria.what, pos)) != std::string::npos) {
                    out += f.substr(pos, hit - pos) + replacement;
                    pos = hit + criteria.what.size();
                }
                f = out + f.substr(pos);
            }
        }
        return true;
    }
    std::int64_t count_a(const xl::Area& area) override {
        std::int64_t n = 0;
        for (auto& [k, f] : cells_) n += area.contains({k.first, k.second});
        return n;
    }
    // A change marks the workbook unsaved, as the engine does.
    void touched();
    Result<void> delete_sheet() override { return Error::failed("not in the fake"); }
    Result<void> move(Worksheet*, Worksheet*) override { return Error::failed("not in the fake"); }
    Result<Worksheet*> copy(Worksheet*, Worksheet*) override {
        return Error::failed("not in the fake");
    }

    std::string formula_at(const std::string& addr) {
        auto a = xl::parse_address(addr);
        return cell_formula({a->first_row, a->first_col});
    }

    int finds = 0;
    int replaces = 0;
    xl::FindSpec last_spec;
    std::string refuse_replace;  // Replace fails with this message when not empty
    bool fail_activate = false;
    bool damaged = false;
    bool fail_find = false;

private:
    bool matches(const std::pair<int, int>& k, const xl::FindSpec& criteria) {
        std::string hay =
            criteria.look_in == xl::xlValues ? cell_text({k.first, k.second}) : cells_.at(k);
        std::string what = criteria.what;
        if (!criteria.match_case) {
            for (char& ch : hay)
                ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
            for (char& ch : what)
                ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
        }
        return criteria.look_at == xl::xlWhole ? hay == what : hay.find(what) != std::string::npos;
    }

    FakeWorkbook& book_;
    FakeSheetSpec spec_;
    std::map<std::pair<int, int>, std::string> cells_;
};

class FakeWorkbook : public xl::Workbook {
public:
    FakeWorkbook(FakeApplication& app, std::string path, const FakeBookSpec& criteria, bool ro)
        : app_(app), path_(std::move(path)), read_only_(ro) {
        for (const auto& s : criteria.sheets)
            sheets_.push_back(std::make_unique<FakeWorksheet>(*this, s));
        active_ = criteria.active - 1;
    }
    xl::Application& application() override;
    std::string name() const override { return path_.substr(path_.rfind('/') + 1); }
    std::string full_name() const override { return path_; }
    bool read_only() const override { return read_only_; }
    // Worksheets: everything but chart sheets, unless a test puts a chart into the list on
    // purpose (`charts_in_worksheets`) to see that the caller checks Type.
    int worksheet_count() override { return static_cast<int>(worksheets().size()); }
    xl::Worksheet* worksheet(int i) override {
        auto w = worksheets();
        return i >= 1 && i <= static_cast<int>(w.size()) ? w[static_cast<std::size_t>(i - 1)]
                                                         : nullptr;
    }
    xl::Worksheet* worksheet(std::string_view n) override {
        for (auto* w : worksheets())
            if (w->name() == n) return w;
        return nullptr;
    }
    int sheet_count() override { return static_cast<int>(sheets_.size()); }
    xl::Worksheet* sheet(int i) override {
        return i >= 1 && i <= sheet_count() ? sheets_[static_cast<std::size_t>(i - 1)].get()
                                            : nullptr;
    }
    xl::Worksheet* active_sheet() override {
        return sheets_.empty() ? nullptr : sheets_[static_cast<std::size_t>(active_)].get();
    }
    Result<void> activate() override;
    Result<xl::Worksheet*> add_worksheet(xl::Worksheet*, xl::Worksheet*) override {
        return Error::failed("not in the fake");
    }
    bool saved() const override { return saved_; }
    void set_saved(bool s) override { saved_ = s; }
    Result<void> save_as(const std::string& path, int format) override;
    void close() override;

    void set_active(FakeWorksheet* s) {
        for (std::size_t i = 0; i < sheets_.size(); ++i)
            if (sheets_[i].get() == s) active_ = static_cast<int>(i);
    }
    int position(const FakeWorksheet* s) const {
        int n = 0;
        for (const auto& p : sheets_) {
            if (charts_in_worksheets || p->type() != xl::xlChart) ++n;
            if (p.get() == s) return n;
        }
        return 0;
    }
    FakeWorksheet& fake_sheet(int i) { return *sheets_[static_cast<std::size_t>(i - 1)]; }

    bool charts_in_worksheets = false;

private:
    std::vector<FakeWorksheet*> worksheets() {
        std::vector<FakeWorksheet*> out;
        for (auto& s : sheets_)
            if (charts_in_worksheets || s->type() != xl::xlChart) out.push_back(s.get());
        return out;
    }

    FakeApplication& app_;
    std::string path_;
    bool read_only_;
    bool saved_ = true;
    int active_ = 0;
    std::vector<std::unique_ptr<FakeWorksheet>> sheets_;
};

// What happened during a run, kept after the application is gone.
struct FakeLog {
    std::vector<std::pair<std::string, bool>> opens;  // path, read-only
    std::vector<std::pair<std::string, int>> saves;   // path, format
    std::vector<std::string> closes;                  // book names
    std::vector<std::string> adds;                    // names given by Workbooks.Add
    int quits = 0;
    int created = 0;
    // Active sheet name of each book when it was saved.
    std::vector<std::string> active_at_save;
};

class FakeWorkbooks : public xl::Workbooks {
public:
    explicit FakeWorkbooks(FakeApplication& app) : app_(app) {}
    Result<xl::Workbook*> open(const std::string& path, bool read_only) override;
    Result<xl::Workbook*> add() override;
    int count() override { return static_cast<int>(books.size()); }
    xl::Workbook* item(int i) override {
        return i >= 1 && i <= count() ? books[static_cast<std::size_t>(i - 1)].get() : nullptr;
    }
    xl::Workbook* item(std::string_view n) override {
        for (auto& b : books)
            if (b->name() == n) return b.get();
        return nullptr;
    }
    std::vector<std::unique_ptr<FakeWorkbook>> books;

private:
    FakeApplication& app_;
};

// The world the fake application sees: the books that "exist" (by path) and the failures.
struct FakeWorld {
    std::map<std::string, FakeBookSpec> books;  // by full path
    std::set<std::string> fail_open;            // paths whose Open fails
    std::set<std::string> fail_save;            // paths whose SaveAs fails
    bool fail_save_whole_run = false;           // ... as a full disk does, for every file
    bool charts_in_worksheets = false;
    FakeLog log;
    // Closed books, kept so that tests can look at their cells afterwards.
    std::vector<std::unique_ptr<FakeWorkbook>> closed;
};

class FakeApplication : public xl::Application {
public:
    explicit FakeApplication(FakeWorld& w) : world(w), books_(*this) { ++world.log.created; }
    xl::Workbooks& workbooks() override { return books_; }
    xl::Workbook* active_workbook() override { return active; }
    std::string version() const override { return "16.0"; }
    void quit() override {
        ++world.log.quits;
        for (auto& b : books_.books) world.closed.push_back(std::move(b));
        books_.books.clear();
        active = nullptr;
    }

    FakeWorld& world;
    xl::Workbook* active = nullptr;

private:
    FakeWorkbooks books_;
};

inline xl::Workbook& FakeWorksheet::parent() { return book_; }
inline int FakeWorksheet::index() const { return book_.position(this); }
inline void FakeWorksheet::touched() { book_.set_saved(false); }

inline Result<void> FakeWorksheet::activate() {
    if (fail_activate) return Error::failed("activate refused");
    book_.set_active(this);
    return {};
}
inline xl::Application& FakeWorkbook::application() { return app_; }
inline Result<void> FakeWorkbook::activate() {
    app_.active = this;
    return {};
}
inline Result<void> FakeWorkbook::save_as(const std::string& path, int format) {
    if (app_.world.fail_save.count(path)) {
        Error e = Error::make(Error::Code::Io, "disk full", path);
        e.whole_run = app_.world.fail_save_whole_run;
        return e;
    }
    app_.world.log.saves.emplace_back(path, format);
    app_.world.log.active_at_save.push_back(active_sheet() ? active_sheet()->name() : "");
    saved_ = true;
    return {};
}
inline void FakeWorkbook::close() {
    app_.world.log.closes.push_back(name());
    auto& v = static_cast<FakeWorkbooks&>(app_.workbooks()).books;
    for (auto it = v.begin(); it != v.end(); ++it)
        if (it->get() == this) {
            if (app_.active == this) app_.active = nullptr;
            app_.world.closed.push_back(std::move(*it));
            v.erase(it);
            break;
        }
    if (!app_.active && !v.empty()) app_.active = v.front().get();
}
inline Result<xl::Workbook*> FakeWorkbooks::open(const std::string& path, bool read_only) {
    app_.world.log.opens.emplace_back(path, read_only);
    if (app_.world.fail_open.count(path))
        return Error::make(Error::Code::BadFormat, "ファイル形式が正しくありません。", path);
    auto it = app_.world.books.find(path);
    if (it == app_.world.books.end()) return Error::make(Error::Code::NotFound, "not found", path);
    auto book = std::make_unique<FakeWorkbook>(app_, path, it->second, read_only);
    book->charts_in_worksheets = app_.world.charts_in_worksheets;
    FakeWorkbook* raw = book.get();
    books.push_back(std::move(book));
    app_.active = raw;
    return static_cast<xl::Workbook*>(raw);
}
inline Result<xl::Workbook*> FakeWorkbooks::add() {
    std::string name = "Book" + std::to_string(app_.world.log.adds.size() + 1);
    app_.world.log.adds.push_back(name);
    FakeBookSpec criteria{{{"Sheet1"}}, 1};
    auto book = std::make_unique<FakeWorkbook>(app_, "/mem/" + name, criteria, false);
    FakeWorkbook* raw = book.get();
    books.push_back(std::move(book));
    app_.active = raw;
    return static_cast<xl::Workbook*>(raw);
}

}  // namespace sheaflow::testing
