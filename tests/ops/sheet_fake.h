#pragma once
// A small in-memory workbook for the sheet-operation tests: sheets with names, visibility and a
// few cells, the structure members with the application's naming rules, and a host and session
// around it.

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "run/host.h"
#include "xl/native/sheet_names.h"
#include "xl/xl.h"

namespace sheaflow::test {

class FakeBook;

class FakeSheet : public xl::Worksheet {
public:
    FakeSheet(FakeBook& book, std::string name, int type = xl::xlWorksheet)
        : book_(&book), name_(std::move(name)), type_(type) {}

    xl::Workbook& parent() override;
    std::string name() const override { return name_; }
    Result<void> set_name(const std::string& name) override;
    std::string code_name() const override { return code_name_; }
    int type() const override { return type_; }
    int index() const override;
    bool visible() const override { return visible_; }
    Result<void> activate() override;
    Result<void> select() override { return activate(); }
    std::int32_t rows_count() const override { return 1048576; }
    std::int32_t columns_count() const override { return 16384; }
    xl::Area used_range() override {
        if (cells_.empty()) return {1, 1, 1, 1};
        xl::Area a{1048576, 16384, 1, 1};
        for (const auto& [c, v] : cells_) {
            a.first_row = std::min(a.first_row, c.first);
            a.first_col = std::min(a.first_col, c.second);
            a.last_row = std::max(a.last_row, c.first);
            a.last_col = std::max(a.last_col, c.second);
        }
        return a;
    }
    xl::Value cell_value(xl::CellRef c) override {
        auto it = cells_.find({c.row, c.col});
        return it == cells_.end() ? xl::Value{} : it->second;
    }
    std::string cell_formula(xl::CellRef c) override { return xl::to_text(cell_value(c)); }
    std::string cell_text(xl::CellRef c) override { return xl::to_text(cell_value(c)); }
    std::string cell_number_format_local(xl::CellRef) override { return "G/標準"; }
    Result<void> set_cell_value(xl::CellRef c, const xl::Value& v) override {
        if (xl::is_empty(v))
            cells_.erase({c.row, c.col});
        else
            cells_[{c.row, c.col}] = v;
        return {};
    }
    Result<void> set_cell_formula(xl::CellRef c, const std::string& f) override {
        return set_cell_value(c, xl::Value{f});
    }
    void for_each_cell(const xl::Area& area,
                       const std::function<void(xl::CellRef)>& visit) override {
        for (const auto& [c, v] : cells_)
            if (area.contains({c.first, c.second})) visit({c.first, c.second});
    }
    std::optional<xl::CellRef> find(const xl::Area&, const xl::FindSpec&,
                                    std::optional<xl::CellRef>) override {
        return std::nullopt;
    }
    Result<bool> replace(const xl::Area&, const xl::FindSpec&, const std::string&) override {
        return false;
    }
    std::int64_t count_a(const xl::Area& area) override {
        std::int64_t n = 0;
        for (const auto& [c, v] : cells_)
            if (area.contains({c.first, c.second})) ++n;
        return n;
    }
    Result<void> delete_sheet() override;
    Result<void> move(xl::Worksheet* before, xl::Worksheet* after) override;
    Result<xl::Worksheet*> copy(xl::Worksheet* before, xl::Worksheet* after) override;

    FakeBook* book_;
    std::string name_;
    std::string code_name_;
    int type_;
    bool visible_ = true;
    std::map<std::pair<int, int>, xl::Value> cells_;
};

class FakeBook : public xl::Workbook {
public:
    FakeBook(xl::Application& app, std::string name) : app_(&app), name_(std::move(name)) {}

    // Adds a sheet at the end (test set-up).
    FakeSheet& add(const std::string& name, int type = xl::xlWorksheet) {
        sheets_.push_back(std::make_unique<FakeSheet>(*this, name, type));
        sheets_.back()->code_name_ = "Sheet" + std::to_string(++code_counter_);
        if (!active_) active_ = sheets_.back().get();
        return *sheets_.back();
    }
    // Tab order of every sheet's name, chart sheets included.
    std::vector<std::string> names() const {
        std::vector<std::string> out;
        for (const auto& s : sheets_) out.push_back(s->name_);
        return out;
    }

    xl::Application& application() override { return *app_; }
    std::string name() const override { return name_; }
    std::string full_name() const override { return "/tmp/" + name_; }
    bool read_only() const override { return false; }
    int worksheet_count() override { return static_cast<int>(worksheets().size()); }
    xl::Worksheet* worksheet(int index) override {
        auto w = worksheets();
        return index >= 1 && index <= static_cast<int>(w.size()) ? w[index - 1] : nullptr;
    }
    xl::Worksheet* worksheet(std::string_view name) override {
        for (FakeSheet* s : worksheets())
            if (xl::native::same_sheet_name(s->name_, name)) return s;
        return nullptr;
    }
    int sheet_count() override { return static_cast<int>(sheets_.size()); }
    xl::Worksheet* sheet(int index) override {
        return index >= 1 && index <= sheet_count() ? sheets_[index - 1].get() : nullptr;
    }
    xl::Worksheet* active_sheet() override { return active_; }
    Result<void> activate() override { return {}; }
    Result<xl::Worksheet*> add_worksheet(xl::Worksheet* before, xl::Worksheet* after) override {
        auto sheet = std::make_unique<FakeSheet>(*this, xl::native::new_sheet_name(names()));
        sheet->code_name_ = "Sheet" + std::to_string(++code_counter_);
        std::size_t at = before  ? position(before)
                         : after ? position(after) + 1
                                 : position(active_);
        FakeSheet* raw = sheet.get();
        sheets_.insert(sheets_.begin() + static_cast<std::ptrdiff_t>(at), std::move(sheet));
        active_ = raw;
        return static_cast<xl::Worksheet*>(raw);
    }
    bool saved() const override { return saved_; }
    void set_saved(bool s) override { saved_ = s; }
    Result<void> save_as(const std::string&, int) override { return {}; }
    void close() override {}

    std::vector<FakeSheet*> worksheets() const {
        std::vector<FakeSheet*> out;
        for (const auto& s : sheets_)
            if (s->type_ != xl::xlChart) out.push_back(s.get());
        return out;
    }
    std::size_t position(const xl::Worksheet* s) const {
        for (std::size_t i = 0; i < sheets_.size(); ++i)
            if (sheets_[i].get() == s) return i;
        return sheets_.size();
    }

    xl::Application* app_;
    std::string name_;
    std::vector<std::unique_ptr<FakeSheet>> sheets_;
    std::vector<std::unique_ptr<FakeSheet>> deleted_;  // kept so that stale pointers stay valid
    FakeSheet* active_ = nullptr;
    int code_counter_ = 0;
    bool saved_ = true;
};

inline xl::Workbook& FakeSheet::parent() { return *book_; }

inline int FakeSheet::index() const {
    auto w = book_->worksheets();
    auto it = std::find(w.begin(), w.end(), this);
    return it == w.end() ? 0 : static_cast<int>(it - w.begin()) + 1;
}

inline Result<void> FakeSheet::activate() {
    book_->active_ = this;
    return {};
}

inline Result<void> FakeSheet::set_name(const std::string& name) {
    std::vector<std::string> others;
    for (const auto& s : book_->sheets_)
        if (s.get() != this) others.push_back(s->name_);
    if (Result<void> r = xl::native::check_sheet_name(name, others); !r) return r;
    name_ = name;
    return {};
}

inline Result<void> FakeSheet::delete_sheet() {
    int visible = 0;
    for (const auto& s : book_->sheets_)
        if (s.get() != this && s->visible_) ++visible;
    if (visible == 0)
        return Error::make(Error::Code::Refused, "ブックには少なくとも1枚の表示シートが必要です。");
    std::size_t at = book_->position(this);
    book_->deleted_.push_back(std::move(book_->sheets_[at]));
    book_->sheets_.erase(book_->sheets_.begin() + static_cast<std::ptrdiff_t>(at));
    if (book_->active_ == this)
        book_->active_ = book_->sheets_[std::min(at, book_->sheets_.size() - 1)].get();
    return {};
}

inline Result<void> FakeSheet::move(xl::Worksheet* before, xl::Worksheet* after) {
    if (before == this || after == this) return {};
    std::size_t at = book_->position(this);
    auto self = std::move(book_->sheets_[at]);
    book_->sheets_.erase(book_->sheets_.begin() + static_cast<std::ptrdiff_t>(at));
    std::size_t to = before ? book_->position(before) : book_->position(after) + 1;
    book_->sheets_.insert(book_->sheets_.begin() + static_cast<std::ptrdiff_t>(to),
                          std::move(self));
    return {};
}

inline Result<xl::Worksheet*> FakeSheet::copy(xl::Worksheet* before, xl::Worksheet* after) {
    auto sheet =
        std::make_unique<FakeSheet>(*book_, xl::native::copy_sheet_name(name_, book_->names()));
    sheet->code_name_ = "Sheet" + std::to_string(++book_->code_counter_);
    sheet->cells_ = cells_;
    std::size_t to = before ? book_->position(before) : book_->position(after) + 1;
    FakeSheet* raw = sheet.get();
    book_->sheets_.insert(book_->sheets_.begin() + static_cast<std::ptrdiff_t>(to),
                          std::move(sheet));
    book_->active_ = raw;
    return static_cast<xl::Worksheet*>(raw);
}

class FakeApp : public xl::Application {
public:
    class Books : public xl::Workbooks {
    public:
        explicit Books(FakeApp& app) : app_(&app) {}
        Result<xl::Workbook*> open(const std::string&, bool) override {
            return Error::failed("not supported");
        }
        Result<xl::Workbook*> add() override { return Error::failed("not supported"); }
        int count() override { return static_cast<int>(app_->books_.size()); }
        xl::Workbook* item(int i) override {
            return i >= 1 && i <= count() ? app_->books_[i - 1].get() : nullptr;
        }
        xl::Workbook* item(std::string_view name) override {
            for (auto& b : app_->books_)
                if (b->name() == name) return b.get();
            return nullptr;
        }

    private:
        FakeApp* app_;
    };

    FakeApp() : books_list_(*this) {}
    FakeBook& add_book(const std::string& name) {
        books_.push_back(std::make_unique<FakeBook>(*this, name));
        return *books_.back();
    }
    xl::Workbooks& workbooks() override { return books_list_; }
    xl::Workbook* active_workbook() override { return books_.empty() ? nullptr : books_[0].get(); }
    std::string version() const override { return "16.0"; }
    void quit() override { books_.clear(); }

    std::vector<std::unique_ptr<FakeBook>> books_;
    Books books_list_;
};

// A host that never cancels unless told to, and records messages.
class ScriptedHost : public run::Host {
public:
    bool yield() override { return --cancel_after_ == 0; }
    void message(const std::string& t) override { messages.push_back(t); }
    bool confirm(const std::string&) override { return true; }
    bool confirm_first_file(const std::string&, xl::Workbook*) override { return true; }
    void progress(const std::string&) override {}
    [[noreturn]] void fatal(const std::string& t) override { throw std::runtime_error(t); }

    int cancel_after_ = -1;  // the yield call that reports a cancel (counting down), -1 never
    std::vector<std::string> messages;
};

}  // namespace sheaflow::test
