#pragma once
// Runs an operation of any category through the driver over copies of fixture workbooks in a
// temporary folder, with its declared pane and the values a test sets.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <memory>

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

class OperationRunTest : public ::testing::Test {
protected:
    void SetUp() override {
        dir_ = std::filesystem::temp_directory_path() /
               ("sheaflow_objects_" + std::to_string(::getpid()) + "_" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(dir_);
        std::filesystem::create_directories(dir_);
    }
    void TearDown() override { std::filesystem::remove_all(dir_); }

    // A copy of a workbook (a tests/data name or a full path) under `name` as a target.
    void add_target(const std::string& source, const std::string& name) {
        std::filesystem::path from = source.find('/') == std::string::npos
                                         ? std::filesystem::path(SHEAFLOW_TEST_DATA_DIR) / source
                                         : std::filesystem::path(source);
        std::filesystem::copy_file(from, dir_ / name,
                                   std::filesystem::copy_options::overwrite_existing);
        // The corpus is read-only, and a save refuses a read-only target.
        std::filesystem::permissions(dir_ / name, std::filesystem::perms::owner_write,
                                     std::filesystem::perm_options::add);
        files_.push_back({dir_.string(), name, true});
    }

    run::RunOutcome run(const std::string& category, const std::string& name,
                        const std::vector<std::pair<std::string, std::string>>& values = {}) {
        const shell::OperationDecl* listed = shell::find_declaration(category, name);
        EXPECT_NE(listed, nullptr) << name;
        if (!listed) return {};
        // An all-sheets row that shares its base row's pane runs with that pane.
        const shell::OperationDecl* decl = &shell::params_owner(*listed);
        pane_.values.clear();
        for (const shell::Field& f : decl->fields) pane_.values.push_back(f.default_value);
        for (const auto& [key, value] : values) {
            bool found = false;
            for (std::size_t i = 0; i < decl->fields.size(); ++i)
                if (decl->fields[i].key == key) {
                    pane_.values[i] = value;
                    found = true;
                }
            EXPECT_TRUE(found) << name << ": no field " << key;
        }
        params_ = std::make_unique<shell::Params>(*decl, pane_);
        for (auto& f : files_) f.selected = true;
        table_.clear();
        run::RunRequest req;
        req.category = category;
        req.name = name;
        req.params = params_.get();
        req.files = &files_;
        req.procedures = ops::find_procedures(category, text::upper(name));
        return run::run_batch(req, host_, table_, store_,
                              [] { return xl::native::create_application(); });
    }

    // The cells of the result table's rows, `width` columns each.
    std::vector<std::vector<std::string>> rows(std::size_t width) const {
        std::vector<std::vector<std::string>> out;
        for (auto r : table_.rows()) {
            r.resize(width);
            out.push_back(r);
        }
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
