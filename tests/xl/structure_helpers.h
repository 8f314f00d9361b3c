#pragma once
// Helpers of the sheet-structure tests: opening a fixture through the engine, reading what a
// saved package holds, and asking LibreOffice what it computes for a workbook.

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "engine_helpers.h"
#include "util/text.h"
#include "xl/native/engine.h"
#include "xl/native/package.h"
#include "xl/xl.h"

namespace sheaflow::testing {

// One workbook opened by a fresh engine from a copy of a fixture.
struct OpenBook {
    explicit OpenBook(const std::string& fixture, const std::string& name = "book.xlsx") {
        path = dir.file(name);
        std::filesystem::copy_file(fixture, path);
        // The corpus is read-only, and a save refuses a read-only target.
        std::filesystem::permissions(path, std::filesystem::perms::owner_write,
                                     std::filesystem::perm_options::add);
        app = xl::native::create_application();
        auto opened = app->workbooks().open(path, false);
        if (opened)
            book = *opened;
        else
            error = opened.error().message;
    }
    std::vector<std::string> names() const {
        std::vector<std::string> out;
        for (int i = 1; i <= book->sheet_count(); ++i) out.push_back(book->sheet(i)->name());
        return out;
    }
    xl::Worksheet& ws(const std::string& name) { return *book->worksheet(name); }
    // Saves to a new file of the folder and returns its path.
    std::string save(const std::string& name = "out.xlsx") {
        std::string out = dir.file(name);
        auto r = book->save_as(out, xl::xlOpenXMLWorkbook);
        EXPECT_TRUE(r.has_value()) << (r ? "" : r.error().message);
        return out;
    }

    EngineTempDir dir;
    std::string path;
    std::unique_ptr<xl::Application> app;
    xl::Workbook* book = nullptr;
    std::string error;
};

// A part of a saved package ("" when missing).
inline std::string part_of(const std::string& file, const std::string& part) {
    auto pkg = xl::native::Package::open_file(file);
    if (!pkg || !(*pkg)->has(part)) return {};
    auto bytes = (*pkg)->read(part);
    return bytes ? *bytes : std::string();
}

inline std::vector<std::string> parts_of(const std::string& file) {
    auto pkg = xl::native::Package::open_file(file);
    return pkg ? (*pkg)->part_names() : std::vector<std::string>{};
}

// What LibreOffice computes: file -> sheet -> cell -> (formula, shown value), sheets in order.
struct OfficeSheet {
    std::string name;
    std::map<std::string, std::pair<std::string, std::string>> cells;
};
using OfficeDump = std::map<std::string, std::vector<OfficeSheet>>;

inline bool office_available() {
    const char* path = std::getenv("PATH");
    for (const std::string& dir : text::split(path ? path : "", ":"))
        if (!dir.empty() && std::filesystem::exists(dir + "/soffice")) return true;
    return false;
}

// Runs tests/data/lo_dump.py over the files (one LibreOffice for all). Files that LibreOffice
// could not open are missing from the answer; with `sheets_only` the sheets have no cells.
inline OfficeDump office_dump(const std::vector<std::string>& files, bool sheets_only = false) {
    std::string cmd = "/usr/bin/python3 '" + std::string(SHEAFLOW_TEST_DATA_DIR) + "/lo_dump.py'";
    if (sheets_only) cmd += " --sheets-only";
    for (const std::string& f : files) cmd += " '" + f + "'";
    cmd += " 2>/dev/null";
    OfficeDump dump;
    FILE* p = ::popen(cmd.c_str(), "r");
    if (!p) return dump;
    std::string out;
    char buf[65536];
    while (std::size_t n = std::fread(buf, 1, sizeof buf, p)) out.append(buf, n);
    ::pclose(p);
    OfficeSheet* current = nullptr;
    for (const std::string& line : text::split(out, "\n")) {
        if (line.rfind("== ", 0) == 0) {
            auto parts = text::split(line.substr(3), "\t");
            if (parts.size() < 2) continue;
            dump[parts[0]].push_back(OfficeSheet{parts[1], {}});
            current = &dump[parts[0]].back();
        } else if (current && !line.empty() && line.rfind("!! ", 0) != 0) {
            auto parts = text::split(line, "\t");
            if (parts.size() >= 3) current->cells[parts[0]] = {parts[1], parts[2]};
        }
    }
    return dump;
}

inline const OfficeSheet* office_sheet(const OfficeDump& d, const std::string& file,
                                       const std::string& sheet) {
    auto it = d.find(file);
    if (it == d.end()) return nullptr;
    for (const OfficeSheet& s : it->second)
        if (s.name == sheet) return &s;
    return nullptr;
}

inline std::string structure_fixture() {
    return std::string(SHEAFLOW_TEST_DATA_DIR) + "/structure.xlsx";
}

}  // namespace sheaflow::testing
