#include "run/driver.h"

#include <chrono>
#include <ctime>
#include <exception>
#include <filesystem>
#include <set>

#include "report/record_store.h"
#include "report/result_table.h"
#include "run/locks.h"
#include "run/session.h"
#include "shell/operation.h"
#include "util/file.h"
#include "util/safe_save.h"
#include "util/text.h"
#include "xl/xl.h"

namespace sheaflow::run {

using Clock = std::chrono::system_clock;

std::string TargetFile::full_path() const {
    if (folder.empty()) return name;
    if (folder.back() == '/') return folder + name;
    return folder + "/" + name;
}

std::string upper_extension(const std::string& file_name) {
    auto slash = file_name.rfind('/');
    auto dot = file_name.rfind('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return {};
    return text::upper(file_name.substr(dot + 1));
}

bool is_target_extension(const std::string& ext) {
    return ext == "XLS" || ext == "XLSX" || ext == "XLSM" || ext == "CSV";
}

std::string first_file_question(const std::string& error_text) {
    std::string q =
        "Excelシート１枚を処理してみました。\n"
        "シートを確認してください。\n"
        "ただし確認しても、シートをクローズしないでください。\n";
    if (!error_text.empty()) {
        std::string first = error_text.substr(0, error_text.find("\r\n"));
        q += first + "\n";
    }
    q += "処理を続行しますか？";
    return q;
}

namespace {

constexpr const char* kUpdateError = "更新エラー　";
constexpr const char* kWriteError = "書込エラー　";
constexpr const char* kUnchanged = "変更なし（保存しませんでした）";
constexpr const char* kCancelled = "処理を中止しました。";
constexpr const char* kCompleted = "処理が終了しました。";
constexpr const char* kProgressCleared = "処理状況の表示件数が1,000件を超えたので、クリアします。";
// A document window's WindowState before saving; the value the run has always used here.
constexpr int kSaveWindowState = -4137;

std::string format_time(Clock::time_point t, const char* pattern) {
    std::time_t tt = Clock::to_time_t(t);
    std::tm tm{};
    localtime_r(&tt, &tm);
    char buf[64];
    std::size_t n = std::strftime(buf, sizeof buf, pattern, &tm);
    return std::string(buf, n);
}

std::string stamp(Clock::time_point t) { return format_time(t, "%Y/%m/%d %H:%M:%S"); }

std::string elapsed_text(Clock::duration d) {
    auto secs = std::chrono::duration_cast<std::chrono::seconds>(d).count();
    char buf[32];
    std::snprintf(buf, sizeof buf, "%lld:%02lld:%02lld", static_cast<long long>(secs / 3600),
                  static_cast<long long>(secs / 60 % 60), static_cast<long long>(secs % 60));
    return buf;
}

// Runs an operation procedure; whatever it throws becomes the pending error of that file.
Result<void> call(ExecFn fn, Session& s) {
    try {
        return fn(s);
    } catch (const std::exception& e) {
        return Error::failed(e.what());
    } catch (...) {
        return Error::failed("予期しないエラーが発生しました。");
    }
}

std::string error_message(const Error& e) {
    return e.message.empty() ? std::string("エラーが発生しました。") : e.message;
}

class Driver {
public:
    Driver(const RunRequest& req, Host& host, report::ResultTable& table,
           report::RecordStore& store, const ApplicationFactory& factory)
        : req_(req), host_(host), table_(table), store_(store), factory_(factory) {}

    RunOutcome run();

private:
    bool excel_check();
    bool excel_start();
    void excel_process(TargetFile& file);
    Result<void> dispatch();
    Result<void> excel_process_all();
    bool excel_message_1kenme(bool opened);
    void close_step(bool opened);
    void excel_close_all();
    void quit();
    void finish(Clock::time_point start);
    void error_line(const char* kind, const std::string& message);
    bool all_sheets() const { return req_.category.rfind(shell::kAllSheetsPrefix, 0) == 0; }

    const RunRequest& req_;
    Host& host_;
    report::ResultTable& table_;
    report::RecordStore& store_;
    const ApplicationFactory& factory_;

    const Procedures* proc_ = nullptr;
    std::unique_ptr<xl::Application> app_;
    std::unique_ptr<Session> session_;
    FileLocks locks_;
    RunOutcome out_;
    bool updates_ = false;
    bool saves_itself_ = false;
    bool stop_ = false;          // end the run after the current file
    bool update_error_ = false;  // an error was pending after the executor: no save
    std::string halt_reason_;    // why the run stops after the current file
    std::int64_t replaced_cells_ = 0;  // cells replaced in the files saved
};

// Removes what saves killed in an earlier run left in the targets' folders.
void remove_stale_save_files(const std::vector<std::string>& targets, std::time_t started) {
    std::set<std::string> folders;
    for (const std::string& t : targets) {
        auto slash = t.rfind('/');
        folders.insert(slash == std::string::npos ? "." : slash == 0 ? "/" : t.substr(0, slash));
    }
    for (const std::string& folder : folders) (void)file::remove_stale_save_files(folder, started);
}

RunOutcome Driver::run() {
    const Clock::time_point start = Clock::now();
    proc_ = req_.procedures;
    if (!proc_ || !req_.params) {
        out_.checked = false;
        out_.check_message = kNotImplemented;
        return out_;
    }
    const shell::Params& params = *req_.params;
    if (proc_->check) {
        std::string msg = proc_->check(params, req_.category);
        if (!msg.empty()) {
            out_.checked = false;
            out_.check_message = msg;
            return out_;
        }
    }
    updates_ = proc_->updates_when ? proc_->updates_when(params) : proc_->updates;
    saves_itself_ =
        proc_->saves_itself_when ? proc_->saves_itself_when(params) : proc_->saves_itself;
    out_.is_list = !updates_;

    if (!proc_->needs_files) {
        // The information lists that need no target files run once, directly.
        if (!excel_start()) return out_;
        for (ExecFn fn : {proc_->first, proc_->execute, proc_->final})
            if (fn)
                if (auto r = call(fn, *session_); !r)
                    session_->update_error_text(error_message(r.error()));
        quit();
        finish(start);
        return out_;
    }

    if (!excel_check()) return out_;

    if (host_.progress_lines() >= 1001) {
        host_.message(kProgressCleared);
        host_.clear_progress();
    }
    host_.progress("処理開始 " + stamp(start));
    host_.progress(req_.name + "、" + req_.category);
    if (!excel_start()) return out_;
    Session& s = *session_;

    std::vector<std::string> targets;
    if (req_.files)
        for (const TargetFile& f : *req_.files)
            if (f.selected && is_target_extension(upper_extension(f.name)))
                targets.push_back(f.full_path());
    locks_.Up_File_LockAll(targets);
    for (const std::string& t : targets)
        s.target_files.insert(std::filesystem::path(t).lexically_normal().string());
    remove_stale_save_files(targets, Clock::to_time_t(start));
    s.processed = 0;

    if (proc_->collects) {
        auto added = app_->workbooks().add();
        if (!added) {
            host_.message(error_message(added.error()));
            quit();
            out_.checked = false;
            out_.check_message = error_message(added.error());
            return out_;
        }
        s.dest_book_name = (*added)->name();
        xl::Worksheet* ws = (*added)->active_sheet();
        s.dest_sheet_name = ws ? ws->name() : std::string();
    }
    if (proc_->first)
        if (auto r = call(proc_->first, s); !r) s.update_error_text(error_message(r.error()));

    const int total = static_cast<int>(targets.size());
    int number = 0;
    if (req_.files) {
        for (TargetFile& f : *req_.files) {
            if (s.yield()) break;
            if (!f.selected) continue;
            std::string ext = upper_extension(f.name);
            if (!is_target_extension(ext)) continue;
            host_.progress_file(++number, total, f.name);
            // Rows and records found from here on belong to this file's folder.
            table_.set_source(f.folder);
            store_.set_source(f.folder);
            s.folder = f.folder;
            s.file_name = f.name;
            s.extension = ext;
            host_.progress(f.name + " " + req_.name + "、" + req_.category);
            if (proc_->skip && proc_->skip(s)) continue;
            const std::string path = f.full_path();
            if (!locks_.holds(path)) {
                // Another run or program took the file after the check: it is left to them.
                if (std::string held = Excel_FileName_Error_Text(path); !held.empty()) {
                    s.append_error_line(stamp(Clock::now()) + " " + held);
                    ++out_.failed_files;
                    continue;
                }
            }

            ++s.processed;
            if (s.processed >= 2) {
                app_->visible = req_.show_application;
                app_->screen_updating = req_.show_application;
                s.yield();
            }
            f.selected = false;
            // The lock stays on while the file is opened and saved, so that no other run reads it
            // in between; the office bridge opens .xls files itself and needs them unlocked.
            const bool bridge = ext == "XLS";
            if (bridge) locks_.Up_File_UnLock(path);
            const std::size_t errors_before = s.error_text.size();
            excel_process(f);
            if (s.error_text.size() > errors_before) ++out_.failed_files;
            if (bridge || updates_) (void)locks_.relock(path);
            f.selected = true;
            if (!halt_reason_.empty()) {
                // A failure that every later save would meet too (a full disk): the run stops.
                host_.progress(halt_reason_);
                s.cancel = true;
            }

            if (stop_) {
                host_.progress(kCancelled);
                app_->visible = true;
                app_->screen_updating = true;
                quit();
                locks_.Up_File_UnLockAll();
                out_.stopped = true;
                out_.processed = s.processed;
                out_.error_text = s.error_text;
                return out_;
            }
        }
    }
    out_.processed = s.processed;
    if (!s.cancel) host_.progress_file(total + 1, total, {});
    if (s.cancel) {
        host_.progress(kCancelled);
        app_->visible = true;
        app_->screen_updating = true;
        quit();
        locks_.Up_File_UnLockAll();
        out_.cancelled = true;
        out_.error_text = s.error_text;
        return out_;
    }

    locks_.Up_File_UnLockAll();
    app_->visible = true;
    app_->screen_updating = true;
    table_.set_source({});
    if (proc_->final)
        if (auto r = call(proc_->final, s); !r) s.update_error_text(error_message(r.error()));

    if (proc_->collects) {
        // There is no window to leave the collecting workbook open in: it is saved beside the
        // targets under a name that says what it is and when it was made.
        app_->display_alerts = true;
        if (xl::Workbook* dest = app_->workbooks().item(s.dest_book_name)) {
            // The pane's output folder ("登録先ディレクトリ") when it has one.
            std::string folder = req_.params ? req_.params->text("folder") : std::string();
            if (folder.empty()) folder = req_.output_folder;
            if (folder.empty() && req_.files)
                for (const TargetFile& f : *req_.files)
                    if (!f.folder.empty()) {
                        folder = f.folder;
                        break;
                    }
            if (folder.empty()) folder = ".";
            (void)file::make_directories(folder);
            // Two runs within a second must not write over each other.
            const std::string stem =
                file::join(folder, "まとめ_" + format_time(Clock::now(), "%Y%m%d_%H%M%S"));
            // Macros the sources brought (when the pane asked to keep them) make it an .xlsm.
            auto project = dest->vb_project();
            const bool macros = project && (*project)->exists();
            const std::string ext = macros ? ".xlsm" : ".xlsx";
            std::string path = stem + ext;
            for (int n = 2; file::exists(path); ++n) path = stem + "_" + std::to_string(n) + ext;
            if (auto r = dest->save_as(path, macros ? xl::xlOpenXMLWorkbookMacroEnabled
                                                    : xl::xlOpenXMLWorkbook);
                r)
                out_.output_path = path;
            else
                s.append_error_line(stamp(Clock::now()) + " " + path + " " + kWriteError +
                                    error_message(r.error()));
        }
    }
    quit();
    finish(start);
    return out_;
}

bool Driver::excel_check() {
    if (!req_.files) return true;
    for (const TargetFile& f : *req_.files) {
        if (!f.selected || !is_target_extension(upper_extension(f.name))) continue;
        host_.progress(f.name + " ファイルチェック");
        std::string msg = Excel_FileName_Error_Text(f.full_path());
        if (!msg.empty()) {
            host_.message(msg);
            out_.checked = false;
            out_.check_message = msg;
            return false;
        }
    }
    return true;
}

bool Driver::excel_start() {
    try {
        app_ = factory_ ? factory_() : nullptr;
    } catch (const std::exception&) {
        app_.reset();
    }
    if (!app_) {
        const char* msg = "表計算エンジンを起動できませんでした。";
        host_.message(msg);
        out_.checked = false;
        out_.check_message = msg;
        return false;
    }
    app_->visible = true;
    app_->display_alerts = false;
    app_->window_state = xl::xlMinimized;
    session_ = std::make_unique<Session>(*app_, host_, *req_.params, table_, store_);
    session_->category = req_.category;
    session_->name = text::upper(req_.name);
    session_->target_folder = req_.target_folder;
    session_->updates = updates_;
    return true;
}

void Driver::error_line(const char* kind, const std::string& message) {
    session_->append_error_line(stamp(Clock::now()) + " " + session_->full_path() + " " + kind +
                                message);
}

void Driver::excel_process(TargetFile& file) {
    Session& s = *session_;
    xl::Application& app = *app_;
    update_error_ = false;
    stop_ = s.processed == 1;
    const std::int64_t replaced_before = app.find_state.replaced_cells;
    if (proc_->no_events) app.enable_events = false;

    s.book_name = file.name;
    s.sheet_name.clear();
    bool opened = false;
    std::optional<Error> pending;

    // The run's password; the preparation step may give one of its own for this file.
    app.open_password = req_.open_password;
    bool prepared = true;
    if (proc_->read) {
        if (auto r = call(proc_->read, s); !r) {
            s.update_error_text(error_message(r.error()));
            prepared = false;
        }
    }
    if (prepared) {
        auto book = app.workbooks().open(file.full_path(), !updates_);
        if (!book) {
            s.update_error_text(error_message(book.error()));
        } else {
            opened = true;
            s.book_name = (*book)->name();
            xl::Worksheet* ws = (*book)->active_sheet();
            s.sheet_name = ws ? ws->name() : std::string();
            if (ws) {
                s.max_row = ws->rows_count();
                s.max_col = ws->columns_count();
            }
            std::string through = (*book)->opened_through();
            host_.progress(s.book_name + " " + s.sheet_name +
                           (through.empty() ? "" : "（" + through + " で読込）"));
            if (auto r = dispatch(); !r) pending = r.error();
        }
    }

    bool keep_stop = false;
    if (!s.cancel && s.processed == 1 && !excel_message_1kenme(opened)) keep_stop = true;

    if (!keep_stop && !s.cancel && opened) {
        if (pending && updates_) {
            update_error_ = true;
            error_line(kUpdateError, error_message(*pending));
        } else if (pending) {
            // A list operation that failed on this file still leaves a line for it.
            s.update_error_text(error_message(*pending));
        } else if (updates_) {
            xl::Workbook* book = app.workbooks().item(s.book_name);
            if (book) (void)book->activate();
            // The cancel button is looked at once more right before the save.
            if (!s.yield() && !saves_itself_) {
                app.display_alerts = false;
                app.window_state = kSaveWindowState;
                std::optional<int> format = FileFormat_FromExt(s.extension);
                xl::Workbook* active = app.active_workbook();
                if (!format) {
                    s.update_error_text(std::string(xl::kUnknownExtensionMessage));
                    keep_stop = true;
                } else if (!book || !active) {
                    error_line(kWriteError, "ブック「" + s.book_name + "」が見つかりません。");
                    keep_stop = true;
                } else if (active->saved()) {
                    // Nothing changed: the file keeps its bytes and its modification time.
                    ++out_.unchanged;
                    host_.progress(s.book_name + " " + kUnchanged);
                } else if (auto r = active->save_as(s.full_path(), *format); !r) {
                    // The failure is this file's: the file stays as it was and the run goes on,
                    // unless every later save would fail alike.
                    error_line(kWriteError, error_message(r.error()));
                    if (r.error().whole_run)
                        halt_reason_ = std::string(kCancelled) + "（" + error_message(r.error()) +
                                       "）";
                } else {
                    replaced_cells_ += app.find_state.replaced_cells - replaced_before;
                    std::string through = active->opened_through();
                    host_.progress(s.book_name + " " + s.sheet_name +
                                   (through.empty() ? "" : "（" + through + " で保存）"));
                    s.yield();
                }
            }
        }
    }
    if (!keep_stop) stop_ = false;

    close_step(opened);
    if (proc_->no_events) app.enable_events = true;
}

Result<void> Driver::dispatch() {
    if (all_sheets() && !proc_->own_sheet_loop) return excel_process_all();
    if (!proc_->execute) return {};
    return call(proc_->execute, *session_);
}

Result<void> Driver::excel_process_all() {
    Session& s = *session_;
    xl::Workbook* book = app_->active_workbook();
    if (!book || !proc_->execute) return {};
    xl::Worksheet* active = book->active_sheet();
    const std::string remembered = active ? active->name() : std::string();
    std::optional<Error> first_error;
    const int count = book->worksheet_count();
    for (int i = 1; i <= count; ++i) {
        if (s.yield()) return first_error ? Result<void>(*first_error) : Result<void>();
        xl::Worksheet* ws = book->worksheet(i);
        if (!ws || ws->type() != xl::xlWorksheet) continue;
        (void)book->activate();
        if (auto r = ws->activate(); !r) {
            if (!first_error) first_error = r.error();
            continue;
        }
        s.yield();
        s.sheet_name = ws->name();
        if (auto r = call(proc_->execute, s); !r && !first_error) first_error = r.error();
    }
    // The sheet that was active comes back to the front, a chart sheet as well.
    for (int i = 1; i <= book->sheet_count(); ++i)
        if (xl::Worksheet* sh = book->sheet(i); sh && sh->name() == remembered) {
            (void)sh->activate();
            break;
        }
    s.sheet_name = remembered;
    if (first_error) return *first_error;
    return {};
}

bool Driver::excel_message_1kenme(bool opened) {
    app_->display_alerts = true;
    xl::Workbook* book = opened ? app_->workbooks().item(session_->book_name) : nullptr;
    return host_.confirm_first_file(first_file_question(session_->error_text), book);
}

void Driver::close_step(bool opened) {
    app_->display_alerts = false;
    if (proc_->collects) {
        if (!opened) return;
        if (xl::Workbook* book = app_->workbooks().item(session_->book_name);
            book && book->name() != session_->dest_book_name) {
            book->set_saved(true);
            book->close();
        }
        return;
    }
    excel_close_all();
}

void Driver::excel_close_all() {
    xl::Workbooks& books = app_->workbooks();
    while (books.count() != 0) {
        xl::Workbook* b = books.item(1);
        if (!b) break;
        b->set_saved(true);
        b->close();
    }
}

void Driver::quit() {
    if (app_) app_->quit();
}

void Driver::finish(Clock::time_point start) {
    Clock::time_point end = Clock::now();
    out_.completion_text = std::string(kCompleted) + "\n開始時刻 " + stamp(start) + "　経過時間 " +
                           elapsed_text(end - start);
    if (session_ && proc_->needs_files) {
        // The counts: files worked on, left unchanged, and failed.
        std::string counts = "\n処理したファイル " + std::to_string(session_->processed) + " 件";
        if (out_.unchanged > 0)
            counts += "（うち変更なし " + std::to_string(out_.unchanged) + " 件）";
        counts += "　エラー " + std::to_string(out_.failed_files) + " 件";
        if (session_->cells_found > 0)
            counts += "　見つかったセル " + std::to_string(session_->cells_found) + " 件";
        if (replaced_cells_ > 0)
            counts += "　置換したセル " + std::to_string(replaced_cells_) + " 件";
        out_.completion_text += counts;
    }
    if (!out_.output_path.empty())
        out_.completion_text += "\nまとめたブックを「" + out_.output_path + "」に保存しました。";
    if (session_) {
        out_.error_text = session_->error_text;
        out_.processed = session_->processed;
    }
    host_.message(out_.completion_text);
}

}  // namespace

RunOutcome run_batch(const RunRequest& request, Host& host, report::ResultTable& table,
                     report::RecordStore& store, const ApplicationFactory& make_application) {
    Driver driver(request, host, table, store, make_application);
    return driver.run();
}

}  // namespace sheaflow::run
