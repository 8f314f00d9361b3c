#pragma once
// A fixture for the book operations: target workbooks copied into a folder of their own, a run
// of one operation with its declared pane, and reading back what it wrote.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
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
#include "xl/xl.h"

namespace sheaflow::test {

using Names = std::vector<std::string>;
using Values = std::vector<std::pair<std::string, std::string>>;

inline std::filesystem::path corpus(const std::string& file) {
    return std::filesystem::path(SHEAFLOW_CORPUS_DIR) / file;
}

inline std::string read_bytes(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

inline bool have_soffice() { return std::system("command -v soffice >/dev/null 2>&1") == 0; }

class BookOpsTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = std::filesystem::temp_directory_path() /
               ("sheaflow_book_ops_" + std::to_string(::getpid()) + "_" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(dir_);
        std::filesystem::create_directories(dir_ / "in");
    }
    void TearDown() override { std::filesystem::remove_all(dir_); }

    std::filesystem::path in() const { return dir_ / "in"; }

    // A corpus workbook as a target named `name`.
    void add(const std::string& corpus_file, const std::string& name) {
        std::filesystem::copy_file(corpus(corpus_file), in() / name);
        // The corpus is read-only, and a save refuses a read-only target.
        std::filesystem::permissions(in() / name, std::filesystem::perms::owner_write,
                                     std::filesystem::perm_options::add);
        files_.push_back({in().string(), name, true});
    }
    // A workbook made by the engine: sheets with a few cells ("=..." entries are formulas).
    void add_made(const std::string& name,
                  const std::vector<std::pair<std::string, Names>>& sheets) {
        auto app = xl::native::create_application();
        auto book = app->workbooks().add();
        ASSERT_TRUE(book.has_value());
        xl::Workbook& b = **book;
        for (std::size_t i = 0; i < sheets.size(); ++i) {
            xl::Worksheet* ws = i == 0
                                    ? b.worksheet(1)
                                    : *b.add_worksheet(nullptr, b.worksheet(static_cast<int>(i)));
            ASSERT_TRUE(ws->set_name(sheets[i].first).has_value());
            int row = 1;
            for (const std::string& entry : sheets[i].second)
                ASSERT_TRUE(ws->set_cell_formula({row++, 1}, entry).has_value()) << entry;
        }
        (void)b.worksheet(1)->activate();
        int format =
            name.ends_with(".xlsm") ? xl::xlOpenXMLWorkbookMacroEnabled : xl::xlOpenXMLWorkbook;
        ASSERT_TRUE(b.save_as((in() / name).string(), format).has_value());
        files_.push_back({in().string(), name, true});
    }

    // Runs an operation with its declared pane, the given values set.
    run::RunOutcome run(const std::string& category, const std::string& name,
                        const Values& values) {
        const shell::OperationDecl* row = shell::find_declaration(category, name);
        EXPECT_NE(row, nullptr) << name;
        // An all-sheets row that shares its base row's pane runs with that pane.
        const shell::OperationDecl* decl = &shell::params_owner(*row);
        pane_.values.clear();
        for (const shell::Field& f : decl->fields) pane_.values.push_back(f.default_value);
        for (const auto& [key, value] : values)
            for (std::size_t i = 0; i < decl->fields.size(); ++i)
                if (decl->fields[i].key == key) pane_.values[i] = value;
        params_ = std::make_unique<shell::Params>(*decl, pane_);
        for (auto& f : files_) f.selected = true;
        run::RunRequest req;
        req.category = category;
        req.name = name;
        req.params = params_.get();
        req.files = &files_;
        req.procedures = ops::find_procedures(category, text::upper(name));
        req.output_folder = in().string();
        return run::run_batch(req, host_, table_, store_,
                              [] { return xl::native::create_application(); });
    }

    // The pane check of an operation with the given values.
    std::string check(const std::string& category, const std::string& name, const Values& values) {
        const shell::OperationDecl* decl = shell::find_declaration(category, name);
        shell::PaneValues pane;
        for (const shell::Field& f : decl->fields) pane.values.push_back(f.default_value);
        for (const auto& [key, value] : values)
            for (std::size_t i = 0; i < decl->fields.size(); ++i)
                if (decl->fields[i].key == key) pane.values[i] = value;
        const ops::Procedures* p = ops::find_procedures(category, text::upper(name));
        return p && p->check ? p->check(shell::Params(*decl, pane), category) : "(no check)";
    }

    // The files of a folder, sorted.
    Names listing(const std::filesystem::path& folder) const {
        Names out;
        for (const auto& e : std::filesystem::directory_iterator(folder))
            out.push_back(e.path().filename().string());
        std::sort(out.begin(), out.end());
        return out;
    }

    // Sheet names of a saved workbook read by a new engine, or "(error)".
    Names sheets_of(const std::filesystem::path& file) {
        auto app = xl::native::create_application();
        auto book = app->workbooks().open(file.string(), true);
        if (!book) return {"(" + book.error().message + ")"};
        Names out;
        for (int i = 1; i <= (*book)->sheet_count(); ++i) out.push_back((*book)->sheet(i)->name());
        return out;
    }

    std::filesystem::path dir_;
    std::vector<run::TargetFile> files_;
    testing::ScriptedHost host_;
    report::ResultTable table_;
    report::RecordStore store_;
    shell::PaneValues pane_;
    std::unique_ptr<shell::Params> params_;
};

}  // namespace sheaflow::test
