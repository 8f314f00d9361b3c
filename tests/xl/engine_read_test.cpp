// Reading a workbook through the object model: sheets, every kind of cell, shared and array
// formulas, texts that need escaping, used range and CountA.

#include <gtest/gtest.h>

#include "engine_helpers.h"
#include "xl/native/engine.h"

namespace sheaflow::xl::native {
namespace {

std::string fixture(const std::string& name) {
    return std::string(SHEAFLOW_TEST_DATA_DIR) + "/engine/" + name;
}

class EngineRead : public ::testing::Test {
protected:
    void SetUp() override {
        app_ = create_application();
        auto b = app_->workbooks().open(fixture("cells.xlsx"), true);
        ASSERT_TRUE(b) << b.error().message;
        book_ = *b;
    }
    std::unique_ptr<Application> app_;
    Workbook* book_ = nullptr;
};

TEST_F(EngineRead, sheets_chart_sheets_and_names) {
    EXPECT_EQ(book_->name(), "cells.xlsx");
    EXPECT_EQ(book_->sheet_count(), 3);
    ASSERT_EQ(book_->worksheet_count(), 2);  // the chart sheet is not a worksheet
    EXPECT_EQ(book_->worksheet(1)->name(), "データ");
    EXPECT_EQ(book_->worksheet(2)->name(), "Prefixed");
    EXPECT_EQ(book_->worksheet("prefixed"), book_->worksheet(2));  // names compare without case
    EXPECT_EQ(book_->sheet(2)->type(), xlChart);
    EXPECT_EQ(book_->sheet(2)->index(), 0);
    EXPECT_EQ(book_->worksheet(1)->type(), xlWorksheet);
    EXPECT_EQ(book_->worksheet(1)->code_name(), "Sheet1");
    EXPECT_EQ(book_->active_sheet(), book_->worksheet(1));
    EXPECT_EQ(book_->worksheet(1)->rows_count(), 1048576);
    EXPECT_EQ(book_->worksheet(1)->columns_count(), 16384);
}

struct CellCase {
    const char* address;
    Value value;
    const char* formula;  // Range.Formula
    const char* text;     // Range.Text
};

TEST_F(EngineRead, every_kind_of_cell) {
    const CellCase cases[] = {
        {"A1", std::string("東京都"), "東京都", "東京都"},
        {"B1", 123.0, "123", "123"},
        {"C1", DateTime{45292}, "1/1/2024", "2024/1/1"},
        {"D1", true, "TRUE", "TRUE"},
        {"E1", CellError{"#DIV/0!"}, "#DIV/0!", "#DIV/0!"},
        {"F1", std::string("インライン"), "インライン", "インライン"},
        {"A2", std::string("赤 字"), "赤 字", "赤 字"},  // rich text; phonetic run left out
        {"B2", 0.5, "0.5", "50.00%"},
        {"C2", 246.0, "=B1*2", "246"},
        {"D2", std::string("xy"), "=\"x\"&\"y\"", "xy"},
        {"C3", 10.0, "=B3*10", "10"},  // shared formula: its own cell
        {"C4", 20.0, "=B4*10", "20"},  // and the cells sharing it, references moved
        {"C5", 30.0, "=B5*10", "30"},
        {"D3", 2.0, "=B3:B4*2", "2"},
        {"E3", std::string("ＡＢＣ"), "ＡＢＣ", "ＡＢＣ"},
        {"A6", std::string("一行目\r\n二行目"), "一行目\r\n二行目", "一行目\r\n二行目"},
        {"B6", std::string("A and _x0041_"), "A and _x0041_", "A and _x0041_"},
        {"C6", std::string(" "), " ", " "},  // a cell of one space keeps it
        {"D6", DateTime{45306.5}, "1/15/2024 12:00:00 PM", "2024/1/15"},
        {"G10", Value{}, "", ""},
        {"Z99", Value{}, "", ""},
    };
    Worksheet* ws = book_->worksheet(1);
    for (const CellCase& c : cases) {
        SCOPED_TRACE(c.address);
        auto r = ws->range(c.address);
        ASSERT_TRUE(r);
        EXPECT_EQ(r->value(), c.value);
        EXPECT_EQ(r->formula(), c.formula);
        EXPECT_EQ(r->text(), c.text);
    }
    EXPECT_EQ(ws->range("B2")->number_format_local(), "0.00%");
    EXPECT_EQ(ws->range("A1")->number_format_local(), "G/標準");
}

TEST_F(EngineRead, prefixed_elements_and_cells_without_references) {
    Worksheet* ws = book_->worksheet(2);
    EXPECT_EQ(ws->cell_value({1, 1}), Value(std::string("一")));
    EXPECT_EQ(ws->cell_value({1, 2}), Value(2.0));
    EXPECT_EQ(ws->cell_value({3, 2}), Value(std::string("東京都")));
    EXPECT_EQ(ws->used_range(), (Area{1, 1, 3, 2}));
}

TEST_F(EngineRead, used_range_counts_formats_but_count_a_only_contents) {
    Worksheet* ws = book_->worksheet(1);
    // G10 holds only a format and column H has a column format: both widen the used range.
    EXPECT_EQ(format_address(ws->used_range()), "$A$1:$H$10");
    EXPECT_EQ(ws->count_a(ws->used_range()), 25);
    EXPECT_EQ(ws->range("A1:B2")->count_a(), 4);
    EXPECT_EQ(ws->count_a(Area{7, 1, 9, 16384}), 0);
}

TEST(EngineReadEmpty, a_new_workbook_has_one_empty_sheet) {
    auto app = create_application();
    auto b = app->workbooks().add();
    ASSERT_TRUE(b);
    EXPECT_EQ((*b)->name(), "Book1");
    ASSERT_EQ((*b)->worksheet_count(), 1);
    Worksheet* ws = (*b)->worksheet(1);
    EXPECT_EQ(ws->name(), "Sheet1");
    EXPECT_EQ(ws->code_name(), "Sheet1");
    EXPECT_EQ(ws->used_range(), (Area{1, 1, 1, 1}));
    EXPECT_EQ(ws->count_a(ws->used_range()), 0);
    EXPECT_EQ(app->workbooks().count(), 1);
    EXPECT_EQ(app->active_workbook(), *b);
    auto second = app->workbooks().add();
    ASSERT_TRUE(second);
    EXPECT_EQ((*second)->name(), "Book2");
    (*second)->close();
    EXPECT_EQ(app->workbooks().count(), 1);
    EXPECT_EQ(app->active_workbook(), *b);
}

}  // namespace
}  // namespace sheaflow::xl::native
