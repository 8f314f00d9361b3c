// The run driver over a fake object model: which files are opened and how, what is saved, the
// error lines, the first-file confirmation, cancel, the all-sheets loop, and the file locks.
#include "run/driver.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include "run/procedures.h"
#include "report/record_store.h"
#include "report/result_table.h"
#include "run/locks.h"
#include "run/session.h"
#include "support/fake_xl.h"
#include "support/scripted_host.h"

namespace fs = std::filesystem;
using namespace sheaflow;
using sheaflow::testing::FakeApplication;
using sheaflow::testing::FakeBookSpec;
using sheaflow::testing::FakeSheetSpec;
using sheaflow::testing::FakeWorld;
using sheaflow::testing::ScriptedHost;

namespace {

// What the fake operations saw; reset by each test.
struct Seen {
    std::vector<std::string> sheets;          // "book:sheet" per executor call
    std::vector<std::string> locked_others;   // targets locked while an executor ran
    std::vector<std::string> current_locked;  // the current target, if it was still locked
    std::vector<std::string> all_targets;
    std::string fail_book;       // the executor fails on this book
    std::string cancel_in_book;  // the host cancels while this book is processed
    ScriptedHost* host = nullptr;
};
Seen g_seen;

Result<void> record_exec(run::Session& s) {
    g_seen.sheets.push_back(s.book_name + ":" + s.sheet_name);
    for (const std::string& p : g_seen.all_targets) {
        if (p == s.full_path()) {
            if (run::locked_by_other(p)) g_seen.current_locked.push_back(p);
        } else if (run::locked_by_other(p)) {
            g_seen.locked_others.push_back(p);
        }
    }
    if (g_seen.cancel_in_book == s.book_name && g_seen.host) g_seen.host->cancel = true;
    if (g_seen.fail_book == s.book_name) return Error::failed("セルを変更できません。");
    return {};
}

Result<void> write_cell(run::Session& s) {
    (void)s.sheet()->set_cell_formula({1, 1}, "changed");
    return record_exec(s);
}

Result<void> add_title_row(run::Session& s) {
    s.table.new_row();
    s.table.set(0, s.file_name);
    return {};
}

run::Procedures updating_op() {
    run::Procedures p;
    p.category = "セル";
    p.key_name = "TEST";
    p.execute = write_cell;
    p.updates = true;
    return p;
}

class DriverTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_seen = Seen{};
        dir_ = fs::temp_directory_path() /
               ("sheaflow_driver_" + std::to_string(::getpid()) + "_" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
        decl_.category = "セル";
        decl_.name = "テスト";
        g_seen.host = &host_;
    }
    void TearDown() override { fs::remove_all(dir_); }

    // A target that exists on disk (for the pre-run check and the locks) and in the fake world.
    void add_book(const std::string& name, FakeBookSpec criteria = {{{"Sheet1"}}, 1},
                  bool selected = true) {
        std::ofstream(dir_ / name) << "x";
        world_.books[(dir_ / name).string()] = std::move(criteria);
        files_.push_back({dir_.string(), name, selected});
        if (selected) g_seen.all_targets.push_back((dir_ / name).string());
    }
    std::string path(const std::string& name) const { return (dir_ / name).string(); }

    run::RunOutcome run(const run::Procedures& proc, std::string category = "セル") {
        run::RunRequest req;
        req.category = std::move(category);
        req.name = "テスト";
        req.params = &params_;
        req.files = &files_;
        req.procedures = &proc;
        return run::run_batch(req, host_, table_, store(),
                              [this] { return std::make_unique<FakeApplication>(world_); });
    }
    static report::RecordStore& store() {
        static report::RecordStore records;
        return records;
    }

    fs::path dir_;
    FakeWorld world_;
    ScriptedHost host_;
    shell::OperationDecl decl_;
    shell::PaneValues values_;
    shell::Params params_{decl_, values_};
    report::ResultTable table_;
    std::vector<run::TargetFile> files_;
};

TEST_F(DriverTest, saves_each_eligible_selected_file_in_its_own_format) {
    add_book("a.xlsx");
    add_book("notes.txt");
    add_book("b.xlsm");
    add_book("skipped.xlsx", {{{"Sheet1"}}, 1}, false);
    add_book("c.CSV");
    auto out = run(updating_op());

    ASSERT_TRUE(out.checked) << out.check_message;
    EXPECT_EQ(out.processed, 3);
    EXPECT_EQ(out.failed_files, 0);
    EXPECT_EQ(out.error_text, "");
    ASSERT_EQ(world_.log.opens.size(), 3u);
    for (auto& [p, ro] : world_.log.opens) EXPECT_FALSE(ro) << p;
    using P = std::pair<std::string, int>;
    EXPECT_EQ(world_.log.saves, (std::vector<P>{{path("a.xlsx"), xl::xlOpenXMLWorkbook},
                                                {path("b.xlsm"), xl::xlOpenXMLWorkbookMacroEnabled},
                                                {path("c.CSV"), xl::xlCSV}}));
    EXPECT_EQ(world_.log.created, 1);
    EXPECT_EQ(world_.log.quits, 1);
    EXPECT_EQ(world_.log.closes.size(), 3u);
    // Neither the text file nor the unselected workbook gets a progress line.
    for (const std::string& line : host_.progress_lines_) {
        EXPECT_EQ(line.find("notes.txt"), std::string::npos) << line;
        EXPECT_EQ(line.find("skipped.xlsx"), std::string::npos) << line;
    }
    ASSERT_EQ(host_.first_file_questions.size(), 1u);
    ASSERT_FALSE(host_.messages.empty());
    EXPECT_EQ(host_.messages.back().rfind("処理が終了しました。\n", 0), 0u);
    EXPECT_EQ(out.completion_text, host_.messages.back());
    EXPECT_FALSE(out.is_list);
    for (auto& f : files_) EXPECT_EQ(f.selected, f.name != "skipped.xlsx") << f.name;
}

TEST_F(DriverTest, holds_every_target_locked_while_each_one_is_processed) {
    add_book("a.xlsx");
    add_book("b.xlsx");
    add_book("c.xlsx");
    auto out = run(updating_op());
    ASSERT_TRUE(out.checked);
    // While one book was processed, it and the two others were locked: no other run can read
    // a file between its open and its save.
    EXPECT_EQ(g_seen.locked_others.size(), 6u);
    EXPECT_EQ(g_seen.current_locked.size(), 3u);
    for (const std::string& p : g_seen.all_targets) EXPECT_FALSE(run::locked_by_other(p)) << p;
}

TEST_F(DriverTest, a_target_another_run_locked_after_the_check_is_left_to_it) {
    add_book("a.xlsx");
    add_book("b.xlsx");
    // The other run takes b.xlsx between this run's check and its locks.
    run::FileLocks other;
    host_.on_progress = [&](const std::string& line) {
        if (line.rfind("処理開始", 0) == 0) {
            ASSERT_TRUE(other.Up_File_Lock(path("b.xlsx")));
        }
    };
    auto out = run(updating_op());
    EXPECT_NE(out.error_text.find("ファイル「" + path("b.xlsx") + "」にロックがかかっています。"),
              std::string::npos)
        << out.error_text;
    EXPECT_EQ(out.failed_files, 1);
    ASSERT_EQ(world_.log.saves.size(), 1u);
    EXPECT_EQ(world_.log.saves[0].first, path("a.xlsx"));
}

TEST_F(DriverTest, stale_save_files_in_the_target_folder_are_removed_at_the_start) {
    add_book("a.xlsx");
    const fs::path stale = dir_ / ".sheaflow-save-Ab12Cd.tmp";
    const fs::path legacy = dir_ / ".a.xlsx.sheaflow-Xy34Zw";
    const fs::path other = dir_ / ".sheaflow-notes.txt";
    for (const fs::path& f : {stale, legacy, other}) {
        std::ofstream(f) << "partial";
        fs::last_write_time(f, fs::last_write_time(f) - std::chrono::hours(1));
    }
    auto out = run(updating_op());
    ASSERT_TRUE(out.checked);
    EXPECT_FALSE(fs::exists(stale));
    EXPECT_FALSE(fs::exists(legacy));
    EXPECT_TRUE(fs::exists(other));
}

TEST_F(DriverTest, list_operation_opens_read_only_and_never_saves) {
    add_book("a.xlsx");
    add_book("b.xlsx");
    run::Procedures p;
    p.category = "セル";
    p.key_name = "TEST";
    p.execute = add_title_row;
    auto out = run(p);
    ASSERT_TRUE(out.checked);
    EXPECT_TRUE(out.is_list);
    ASSERT_EQ(world_.log.opens.size(), 2u);
    for (auto& [path, ro] : world_.log.opens) EXPECT_TRUE(ro) << path;
    EXPECT_TRUE(world_.log.saves.empty());
    ASSERT_EQ(table_.rows().size(), 2u);
    EXPECT_EQ(table_.rows()[1][0], "b.xlsx");
}

TEST_F(DriverTest, failed_open_of_first_file_is_reported_and_the_run_goes_on) {
    add_book("bad.xlsx");
    add_book("good.xlsx");
    world_.fail_open.insert(path("bad.xlsx"));
    auto out = run(updating_op());
    EXPECT_EQ(out.error_text, "bad.xlsx ファイル形式が正しくありません。\r\n");
    EXPECT_EQ(out.failed_files, 1);
    EXPECT_FALSE(out.stopped);
    // The confirmation after the first file shows its error and no workbook.
    ASSERT_EQ(host_.first_file_questions.size(), 1u);
    EXPECT_NE(host_.first_file_questions[0].find("bad.xlsx ファイル形式が正しくありません。\n"
                                                 "処理を続行しますか？"),
              std::string::npos);
    EXPECT_EQ(host_.first_file_books[0], nullptr);
    ASSERT_EQ(world_.log.saves.size(), 1u);
    EXPECT_EQ(world_.log.saves[0].first, path("good.xlsx"));
}

TEST_F(DriverTest, executor_error_gives_an_update_error_line_and_no_save) {
    add_book("a.xlsx");
    add_book("b.xlsx");
    g_seen.fail_book = "a.xlsx";
    auto out = run(updating_op());
    EXPECT_EQ(out.failed_files, 1);
    auto pos =
        out.error_text.find(" " + path("a.xlsx") + " 更新エラー　セルを変更できません。\r\n");
    EXPECT_NE(pos, std::string::npos) << out.error_text;
    // The line starts with a time stamp "yyyy/mm/dd hh:mm:ss".
    EXPECT_EQ(pos, 19u);
    ASSERT_EQ(world_.log.saves.size(), 1u);
    EXPECT_EQ(world_.log.saves[0].first, path("b.xlsx"));
    EXPECT_EQ(world_.log.closes.size(), 2u);
}

TEST_F(DriverTest, failed_save_of_a_later_file_is_a_write_error_and_the_run_goes_on) {
    add_book("a.xlsx");
    add_book("b.xlsx");
    add_book("c.xlsx");
    world_.fail_save.insert(path("b.xlsx"));
    auto out = run(updating_op());
    EXPECT_FALSE(out.stopped);
    EXPECT_EQ(out.processed, 3);
    EXPECT_NE(out.error_text.find(" " + path("b.xlsx") + " 書込エラー　disk full\r\n"),
              std::string::npos)
        << out.error_text;
    EXPECT_EQ(world_.log.saves.size(), 2u);
    EXPECT_EQ(world_.log.closes.size(), 3u);
}

TEST_F(DriverTest, failed_save_of_the_first_file_is_its_error_and_the_run_goes_on) {
    add_book("a.xlsx");
    add_book("b.xlsx");
    world_.fail_save.insert(path("a.xlsx"));
    auto out = run(updating_op());
    EXPECT_FALSE(out.stopped);
    EXPECT_FALSE(out.cancelled);
    EXPECT_EQ(out.failed_files, 1);
    EXPECT_NE(out.error_text.find(" " + path("a.xlsx") + " 書込エラー　disk full\r\n"),
              std::string::npos)
        << out.error_text;
    ASSERT_EQ(world_.log.saves.size(), 1u);
    EXPECT_EQ(world_.log.saves[0].first, path("b.xlsx"));
    EXPECT_FALSE(run::locked_by_other(path("b.xlsx")));
}

TEST_F(DriverTest, a_full_disk_stops_the_run_after_the_file_and_says_why) {
    add_book("a.xlsx");
    add_book("b.xlsx");
    add_book("c.xlsx");
    world_.fail_save.insert(path("b.xlsx"));
    world_.fail_save_whole_run = true;
    auto out = run(updating_op());
    EXPECT_TRUE(out.cancelled);
    EXPECT_EQ(world_.log.opens.size(), 2u);
    EXPECT_NE(out.error_text.find("書込エラー　disk full"), std::string::npos);
    bool said = false;
    for (const std::string& line : host_.progress_lines_)
        said = said || line == "処理を中止しました。（disk full）";
    EXPECT_TRUE(said);
    for (const std::string& p : g_seen.all_targets) EXPECT_FALSE(run::locked_by_other(p)) << p;
}

TEST_F(DriverTest, cancel_at_first_file_confirmation_closes_unsaved_and_stops) {
    add_book("a.xlsx");
    add_book("b.xlsx");
    host_.answer_ok = false;
    auto out = run(updating_op());
    EXPECT_TRUE(out.stopped);
    EXPECT_EQ(out.completion_text, "");
    EXPECT_TRUE(world_.log.saves.empty());
    EXPECT_EQ(world_.log.opens.size(), 1u);
    EXPECT_EQ(world_.log.closes, std::vector<std::string>{"a.xlsx"});
    EXPECT_EQ(world_.log.quits, 1);
    ASSERT_EQ(host_.first_file_books.size(), 1u);
    EXPECT_NE(host_.first_file_books[0], nullptr);
    EXPECT_EQ(host_.first_file_questions[0],
              "Excelシート１枚を処理してみました。\nシートを確認してください。\n"
              "ただし確認しても、シートをクローズしないでください。\n処理を続行しますか？");
    for (const std::string& p : g_seen.all_targets) EXPECT_FALSE(run::locked_by_other(p));
}

TEST_F(DriverTest, cancel_mid_run_leaves_the_loop_before_the_next_file) {
    add_book("a.xlsx");
    add_book("b.xlsx");
    add_book("c.xlsx");
    g_seen.cancel_in_book = "b.xlsx";
    auto out = run(updating_op());
    EXPECT_TRUE(out.cancelled);
    EXPECT_EQ(out.completion_text, "");
    // b was cancelled before its save; c was never opened.
    using P = std::pair<std::string, int>;
    EXPECT_EQ(world_.log.saves, (std::vector<P>{{path("a.xlsx"), xl::xlOpenXMLWorkbook}}));
    EXPECT_EQ(world_.log.opens.size(), 2u);
    EXPECT_EQ(world_.log.closes.size(), 2u);
    EXPECT_EQ(world_.log.quits, 1);
    for (const std::string& p : g_seen.all_targets) EXPECT_FALSE(run::locked_by_other(p));
}

TEST_F(DriverTest, all_sheets_loop_visits_worksheets_only_and_restores_the_active_sheet) {
    FakeBookSpec criteria{
        {{"表1"}, {"グラフ1", xl::xlChart}, {"マクロ1", xl::xlExcel4MacroSheet}, {"表2"}, {"表3"}},
        4};
    add_book("a.xlsx", criteria);
    world_.charts_in_worksheets = true;  // the loop must test Type itself
    auto out = run(updating_op(), "すべてのシート_セル");
    ASSERT_TRUE(out.checked);
    EXPECT_EQ(g_seen.sheets, (std::vector<std::string>{"a.xlsx:表1", "a.xlsx:表2", "a.xlsx:表3"}));
    EXPECT_EQ(world_.log.active_at_save, std::vector<std::string>{"表2"});
}

TEST_F(DriverTest, all_sheets_loop_brings_back_an_active_chart_sheet) {
    add_book("a.xlsx", {{{"W1"}, {"Ch", xl::xlChart}, {"W2"}}, 2});
    auto out = run(updating_op(), "すべてのシート_セル");
    ASSERT_TRUE(out.checked);
    EXPECT_EQ(world_.log.active_at_save, std::vector<std::string>{"Ch"});
}

TEST_F(DriverTest, pre_run_check_refuses_missing_and_office_locked_files) {
    add_book("a.xlsx");
    files_.push_back({dir_.string(), "gone.xlsx", true});
    auto out = run(updating_op());
    EXPECT_FALSE(out.checked);
    EXPECT_EQ(out.check_message, "ファイル「" + path("gone.xlsx") + "」が不明です。");
    EXPECT_EQ(host_.messages, std::vector<std::string>{out.check_message});
    EXPECT_EQ(world_.log.created, 0);

    files_.pop_back();
    std::ofstream(dir_ / ".~lock.a.xlsx#") << "someone,host";
    out = run(updating_op());
    EXPECT_EQ(out.check_message, "ファイル「" + path("a.xlsx") + "」にロックがかかっています。");
    EXPECT_TRUE(world_.log.opens.empty());
}

TEST_F(DriverTest, operation_check_refuses_before_anything_opens) {
    add_book("a.xlsx");
    run::Procedures p = updating_op();
    p.check = [](const shell::Params&, std::string_view) -> std::string {
        return "新旧が一致してます。";
    };
    auto out = run(p);
    EXPECT_FALSE(out.checked);
    EXPECT_EQ(out.check_message, "新旧が一致してます。");
    EXPECT_EQ(world_.log.created, 0);
}

TEST_F(DriverTest, collecting_operation_keeps_its_workbook_and_saves_it_at_the_end) {
    add_book("a.xlsx");
    add_book("b.xlsx");
    run::Procedures p = updating_op();
    p.collects = true;
    p.saves_itself = true;
    p.execute = record_exec;
    auto out = run(p);
    ASSERT_TRUE(out.checked);
    EXPECT_EQ(world_.log.closes, (std::vector<std::string>{"a.xlsx", "b.xlsx"}));
    ASSERT_EQ(world_.log.saves.size(), 1u);
    EXPECT_EQ(world_.log.saves[0].first, out.output_path);
    EXPECT_EQ(out.output_path.rfind(dir_.string() + "/まとめ_", 0), 0u);
    EXPECT_NE(out.completion_text.find("「" + out.output_path + "」"), std::string::npos);
}

}  // namespace
