// Hostile workloads, each timed beside a baseline of the same size measured in the same run, so
// that the ratio says whether the cost grows as it should whatever the machine's speed:
//
//   bench_hostile sort N        N shuffled sheets sorted by name with the exchange sort of the
//                               sheet operation (each out-of-order pair moved with After:=);
//                               baseline: the same workbook saved once
//   bench_hostile wildcard N L  N cells of L characters searched with "a*b" (no hit);
//                               baseline: the same cells searched for a plain text
//   bench_hostile rename N      every sheet of a saved workbook of N sheets renamed, one
//                               Worksheet.Name at a time (as the all-sheets loop renames);
//                               each sheet holds formulas that read the next sheet; baseline:
//                               opening the workbook and saving it once
//   bench_hostile renames N     the same renames as one batch (as the sheet-name operations
//                               that rename many sheets at once do)
//
// Each prints "job=<name> n=<size> ms=<time> baseline_ms=<time> ratio=<time/baseline>". A sort
// of 1,000 shuffled sheets does about 250,000 moves: with moves that cost the distance they go,
// it stays within a small multiple of one save of the workbook.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "xl/native/engine.h"

namespace {

using namespace sheaflow;
using Clock = std::chrono::steady_clock;

int fail(const std::string& what) {
    std::fprintf(stderr, "bench_hostile: %s\n", what.c_str());
    return 1;
}

double ms_since(Clock::time_point t) {
    return std::chrono::duration<double, std::milli>(Clock::now() - t).count();
}

void report(const char* job, long n, double ms, double baseline) {
    std::printf("job=%s n=%ld ms=%.1f baseline_ms=%.1f ratio=%.2f\n", job, n, ms, baseline,
                baseline > 0 ? ms / baseline : 0.0);
}

// Code-unit order of the names, as the sheet sort compares them (ASCII names here).
bool greater(const std::string& a, const std::string& b) { return a > b; }

// A workbook of `n` sheets in shuffled name order.
Result<xl::Workbook*> shuffled_book(xl::Application& app, int n) {
    auto made = app.workbooks().add();
    if (!made) return made.error();
    xl::Workbook& b = **made;
    std::vector<int> order(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) order[static_cast<std::size_t>(i)] = i;
    std::mt19937 rng(12345);
    std::shuffle(order.begin(), order.end(), rng);
    for (int i = 1; i < n; ++i)
        if (auto r = b.add_worksheet(nullptr, b.worksheet(b.worksheet_count())); !r)
            return r.error();
    char name[32];
    for (int i = 1; i <= n; ++i) {
        std::snprintf(name, sizeof name, "S%05d", order[static_cast<std::size_t>(i - 1)]);
        if (auto r = b.worksheet(i)->set_name(name); !r) return r.error();
    }
    return &b;
}

int sort_job(int n) {
    auto app = xl::native::create_application();
    auto book = shuffled_book(*app, n);
    if (!book) return fail(book.error().message);
    xl::Workbook& b = **book;
    // Baseline: one save, which writes every sheet once.
    const std::string out =
        (std::filesystem::temp_directory_path() / ("bench_hostile_" + std::to_string(n) + ".xlsx"))
            .string();
    auto t0 = Clock::now();
    if (auto r = b.save_as(out, xl::xlOpenXMLWorkbook); !r) return fail(r.error().message);
    const double baseline = ms_since(t0);
    std::filesystem::remove(out);
    auto t1 = Clock::now();
    long moves = 0;
    for (int i = 1; i <= n; ++i)
        for (int j = 1; j <= n - i; ++j) {
            xl::Worksheet* a = b.worksheet(j);
            xl::Worksheet* c = b.worksheet(j + 1);
            if (!greater(a->name(), c->name())) continue;
            if (auto r = a->move(nullptr, c); !r) return fail(r.error().message);
            ++moves;
        }
    const double ms = ms_since(t1);
    for (int i = 1; i < n; ++i)
        if (greater(b.worksheet(i)->name(), b.worksheet(i + 1)->name()))
            return fail("not sorted at " + std::to_string(i));
    report("sort", n, ms, baseline);
    std::printf("moves=%ld\n", moves);
    return 0;
}

int wildcard_job(int n, int length) {
    auto app = xl::native::create_application();
    auto made = app->workbooks().add();
    if (!made) return fail(made.error().message);
    xl::Worksheet* ws = (*made)->worksheet(1);
    // Texts that differ, so that each is looked at.
    const std::string text(static_cast<std::size_t>(length), 'a');
    for (int r = 1; r <= n; ++r)
        if (auto set = ws->set_cell_value({r, 1}, text + std::to_string(r)); !set)
            return fail(set.error().message);
    const xl::Area all{1, 1, n, 1};
    auto search = [&](const std::string& what) {
        xl::FindSpec criteria;
        criteria.what = what;
        criteria.look_in = xl::xlValues;
        auto t = Clock::now();
        auto hit = ws->find(all, criteria, std::nullopt);
        double ms = ms_since(t);
        return std::make_pair(hit.has_value(), ms);
    };
    auto [plain_hit, baseline] = search("zzz");
    auto [star_hit, ms] = search("a*b");
    if (plain_hit || star_hit) return fail("unexpected hit");
    report("wildcard", n, ms, baseline);
    return 0;
}

int rename_job(int n, bool batch) {
    const std::string path =
        (std::filesystem::temp_directory_path() / ("bench_rename_" + std::to_string(n) + ".xlsx"))
            .string();
    char name[32], next[32];
    {
        auto app = xl::native::create_application();
        auto made = app->workbooks().add();
        if (!made) return fail(made.error().message);
        xl::Workbook& b = **made;
        for (int i = 1; i < n; ++i)
            if (auto r = b.add_worksheet(nullptr, b.worksheet(b.worksheet_count())); !r)
                return fail(r.error().message);
        for (int i = 1; i <= n; ++i) {
            std::snprintf(name, sizeof name, "Data%05d", i);
            if (auto r = b.worksheet(i)->set_name(name); !r) return fail(r.error().message);
        }
        for (int i = 1; i <= n; ++i) {
            std::snprintf(next, sizeof next, "Data%05d", i % n + 1);
            xl::Worksheet* ws = b.worksheet(i);
            for (int r = 1; r <= 20; ++r) {
                if (auto set = ws->set_cell_value({r, 1}, std::to_string(r)); !set)
                    return fail(set.error().message);
                std::string f =
                    "=" + std::string(next) + "!A" + std::to_string(r) + "+A" + std::to_string(r);
                if (auto set = ws->set_cell_formula({r, 2}, f); !set)
                    return fail(set.error().message);
            }
        }
        if (auto r = b.save_as(path, xl::xlOpenXMLWorkbook); !r) return fail(r.error().message);
    }
    auto app = xl::native::create_application();
    auto t0 = Clock::now();
    {
        auto opened = app->workbooks().open(path, false);
        if (!opened) return fail(opened.error().message);
        if (auto r = (*opened)->save_as(path, xl::xlOpenXMLWorkbook); !r)
            return fail(r.error().message);
        (*opened)->close();
    }
    const double baseline = ms_since(t0);
    auto t1 = Clock::now();
    auto opened = app->workbooks().open(path, false);
    if (!opened) return fail(opened.error().message);
    xl::Workbook& b = **opened;
    std::vector<std::pair<xl::Worksheet*, std::string>> renames;
    for (int i = 1; i <= n; ++i) {
        std::snprintf(name, sizeof name, "Item%05d", i);
        if (batch) {
            renames.emplace_back(b.worksheet(i), name);
        } else if (auto r = b.worksheet(i)->set_name(name); !r) {
            return fail(r.error().message);
        }
    }
    if (batch) {
        auto done = b.rename_sheets(renames);
        if (!done) return fail(done.error().message);
        for (const Result<void>& r : *done)
            if (!r) return fail(r.error().message);
    }
    if (auto r = b.save_as(path, xl::xlOpenXMLWorkbook); !r) return fail(r.error().message);
    const double ms = ms_since(t1);
    std::snprintf(next, sizeof next, "=Item%05d!A3+A3", 2);
    if (b.worksheet(1)->cell_formula({3, 2}) != next)
        return fail("formula not renamed: " + b.worksheet(1)->cell_formula({3, 2}));
    b.close();
    std::filesystem::remove(path);
    report(batch ? "renames" : "rename", n, ms, baseline);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc >= 3 && std::string(argv[1]) == "sort") return sort_job(std::atoi(argv[2]));
    if (argc >= 4 && std::string(argv[1]) == "wildcard")
        return wildcard_job(std::atoi(argv[2]), std::atoi(argv[3]));
    if (argc >= 3 && std::string(argv[1]) == "rename") return rename_job(std::atoi(argv[2]), false);
    if (argc >= 3 && std::string(argv[1]) == "renames") return rename_job(std::atoi(argv[2]), true);
    std::fprintf(stderr, "usage: bench_hostile sort N | wildcard N LENGTH | rename[s] N\n");
    return 2;
}
