#pragma once
// Runs one cell operation through the batch driver over a copy of a workbook in a temporary
// folder, with the operation's declared pane at its defaults plus the values a test sets.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ops/registry.h"
#include "report/record_store.h"
#include "report/result_table.h"
#include "run/driver.h"
#include "shell/catalogue.h"
#include "support/scripted_host.h"
#include "util/text.h"
#include "xl/native/engine.h"

namespace sheaflow::testing {

using KeyValues = std::vector<std::pair<std::string, std::string>>;

class CellRun {
public:
    // Copies `workbook` into a fresh folder as `name`.
    CellRun(const std::string& workbook, const std::string& name = "本.xlsx") : name_(name) {
        static int serial = 0;
        dir_ = std::filesystem::temp_directory_path() /
               ("sheaflow_cellrun_" + std::to_string(::getpid()) + "_" + std::to_string(++serial));
        std::filesystem::remove_all(dir_);
        std::filesystem::create_directories(dir_);
        std::filesystem::copy_file(workbook, dir_ / name_);
        // The corpus is read-only, and a save refuses a read-only target.
        std::filesystem::permissions(dir_ / name_, std::filesystem::perms::owner_write,
                                     std::filesystem::perm_options::add);
    }
    ~CellRun() { std::filesystem::remove_all(dir_); }

    run::RunOutcome run(const std::string& category, const std::string& name,
                        const KeyValues& values) {
        const shell::OperationDecl* d = shell::find_declaration(category, name);
        if (!d) throw std::runtime_error("no declaration " + name);
        const shell::OperationDecl& owner = shell::params_owner(*d);
        values_ = {};
        for (const shell::Field& f : owner.fields) values_.values.push_back(f.default_value);
        for (const auto& [key, value] : values) {
            bool found = false;
            for (std::size_t i = 0; i < owner.fields.size(); ++i)
                if (owner.fields[i].key == key) {
                    values_.values[i] = value;
                    found = true;
                }
            EXPECT_TRUE(found) << name << ": no field " << key;
        }
        params_.emplace(owner, values_);
        files_ = {{dir_.string(), name_, true}};
        table_.clear();
        run::RunRequest req;
        req.category = category;
        req.name = name;
        req.params = &*params_;
        req.files = &files_;
        req.procedures = ops::find_procedures(category, text::upper(name));
        return run::run_batch(req, host_, table_, store_,
                              [] { return xl::native::create_application(); });
    }

    // The result rows, cells joined by "|" without trailing empty cells.
    std::vector<std::string> rows() const {
        std::vector<std::string> out;
        for (const auto& r : table_.rows()) {
            std::size_t n = r.size();
            while (n > 0 && r[n - 1].empty()) --n;
            std::string line;
            for (std::size_t i = 0; i < n; ++i) line += (i ? "|" : "") + r[i];
            out.push_back(line);
        }
        return out;
    }

    // The formula-bar text of a cell of the saved workbook.
    std::string formula(const std::string& sheet, const std::string& address) const {
        auto app = xl::native::create_application();
        auto book = app->workbooks().open(path(), true);
        if (!book) return "<" + book.error().message + ">";
        xl::Worksheet* ws = sheet.empty() ? (*book)->active_sheet() : (*book)->worksheet(sheet);
        auto r = ws->range(address);
        std::string f = r ? r->formula() : "<bad address>";
        app->quit();
        return f;
    }

    std::string path() const { return (dir_ / name_).string(); }
    std::string folder() const { return dir_.string(); }
    const report::ResultTable& table() const { return table_; }

private:
    std::filesystem::path dir_;
    std::string name_;
    shell::PaneValues values_;
    std::optional<shell::Params> params_;
    std::vector<run::TargetFile> files_;
    ScriptedHost host_;
    report::ResultTable table_;
    report::RecordStore store_;
};

inline const std::string kCellChecksBook =
    std::string(SHEAFLOW_TEST_DATA_DIR) + "/cell_checks.xlsx";

}  // namespace sheaflow::testing
