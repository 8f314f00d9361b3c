// Sheet-copy jobs timed one per process (bench/run_structure.sh runs them beside LibreOffice):
//
//   bench_structure combine INDIR OUT.xlsx   every worksheet of every workbook of INDIR (sorted
//                                            by name) copied after the last sheet of one new
//                                            workbook, whose own first sheet is then deleted
//   bench_structure split FILE OUTDIR        every worksheet of FILE copied into a new workbook
//                                            of its own, saved as OUTDIR/<stem>-<sheet>.xlsx
//
// Both go through the object model as the combining and splitting operations do (Workbooks.Add,
// Worksheet.Copy, SaveAs, Close). Each prints "ms=<wall time> rss_kb=<peak resident set>
// sheets=<copied>" for the job alone.

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "xl/native/engine.h"

namespace {

using namespace sheaflow;
namespace fs = std::filesystem;

int fail(const std::string& what) {
    std::fprintf(stderr, "bench_structure: %s\n", what.c_str());
    return 1;
}

int combine(const std::string& in_dir, const std::string& out, int& copied) {
    std::vector<std::string> books;
    for (const auto& e : fs::directory_iterator(in_dir))
        if (e.path().extension() == ".xlsx") books.push_back(e.path().string());
    std::sort(books.begin(), books.end());
    auto app = xl::native::create_application();
    auto collector = app->workbooks().add();
    if (!collector) return fail(collector.error().message);
    xl::Workbook& dest = **collector;
    for (const std::string& path : books) {
        auto opened = app->workbooks().open(path, true);
        if (!opened) return fail(path + ": " + opened.error().message);
        xl::Workbook& src = **opened;
        std::string stem = fs::path(path).stem().string();
        for (int i = 1; i <= src.worksheet_count(); ++i) {
            xl::Worksheet* ws = src.worksheet(i);
            // Sheets of different files get the file's name in front, as the combining
            // operation does, so that they do not collide.
            if (auto r = ws->set_name(stem + "-" + ws->name()); !r) return fail(r.error().message);
            auto c = ws->copy(nullptr, dest.worksheet(dest.worksheet_count()));
            if (!c) return fail(path + ": " + c.error().message);
            ++copied;
        }
        src.close();
    }
    if (auto r = dest.worksheet(1)->delete_sheet(); !r) return fail(r.error().message);
    if (auto r = dest.save_as(out, xl::xlOpenXMLWorkbook); !r) return fail(r.error().message);
    return 0;
}

int split(const std::string& file, const std::string& out_dir, int& copied) {
    auto app = xl::native::create_application();
    auto opened = app->workbooks().open(file, true);
    if (!opened) return fail(opened.error().message);
    xl::Workbook& src = **opened;
    std::string stem = fs::path(file).stem().string();
    fs::create_directories(out_dir);
    for (int i = 1; i <= src.worksheet_count(); ++i) {
        xl::Worksheet* ws = src.worksheet(i);
        auto made = app->workbooks().add();
        if (!made) return fail(made.error().message);
        xl::Workbook& piece = **made;
        auto c = ws->copy(piece.worksheet(1), nullptr);
        if (!c) return fail(c.error().message);
        std::string out = (fs::path(out_dir) / (stem + "-" + ws->name() + ".xlsx")).string();
        if (auto r = piece.save_as(out, xl::xlOpenXMLWorkbook); !r) return fail(r.error().message);
        piece.close();
        ++copied;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.size() != 3 || (args[0] != "combine" && args[0] != "split")) {
        std::fputs("usage: bench_structure combine INDIR OUT.xlsx | split FILE OUTDIR\n", stderr);
        return 2;
    }
    auto t0 = std::chrono::steady_clock::now();
    int copied = 0;
    int rc =
        args[0] == "combine" ? combine(args[1], args[2], copied) : split(args[1], args[2], copied);
    auto t1 = std::chrono::steady_clock::now();
    if (rc != 0) return rc;
    rusage ru{};
    getrusage(RUSAGE_SELF, &ru);
    std::printf("ms=%.1f rss_kb=%ld sheets=%d\n",
                std::chrono::duration<double, std::milli>(t1 - t0).count(), ru.ru_maxrss, copied);
    return 0;
}
