// Engine jobs timed one per process (bench/run_engine.sh runs them and computes the ratios):
//
//   bench_engine floor FILE             inflate the first sheet's XML and parse it (pugixml)
//   bench_engine floor-sst FILE         the same with the shared strings
//   bench_engine floor-all FILE         the same for every sheet and the shared strings
//   bench_engine read FILE              open and read every cell value of the first sheet
//   bench_engine replace FILE FROM TO OUT   open, replace in every sheet, save as OUT
//   bench_engine csv FILE OUT           open and save the active sheet as CSV
//
// Each prints "ms=<wall time> rss_kb=<peak resident set> cpu_ms=<processor time>" for the job
// alone (process start and exit excluded from the times, included in the peak). On a shared
// machine the processor time is the steadier figure.

#include <sys/resource.h>
#include <zip.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include "xl/native/engine.h"

namespace {

using namespace sheaflow;

std::string inflate(zip_t* z, const char* name) {
    zip_stat_t st;
    zip_stat_init(&st);
    if (zip_stat(z, name, 0, &st) != 0) return {};
    std::string out(st.size, '\0');
    zip_file_t* f = zip_fopen(z, name, 0);
    if (!f) return {};
    zip_int64_t got = zip_fread(f, out.data(), out.size());
    zip_fclose(f);
    out.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return out;
}

std::size_t floor_job(const std::string& file, const std::string& job) {
    int err = 0;
    zip_t* z = zip_open(file.c_str(), ZIP_RDONLY, &err);
    if (!z) return 0;
    std::vector<const char*> parts = {"xl/worksheets/sheet1.xml"};
    if (job == "floor-sst") parts = {"xl/worksheets/sheet1.xml", "xl/sharedStrings.xml"};
    if (job == "floor-all")
        parts = {"xl/worksheets/sheet1.xml", "xl/worksheets/sheet2.xml", "xl/worksheets/sheet3.xml",
                 "xl/sharedStrings.xml"};
    std::size_t nodes = 0;
    for (const char* p : parts) {
        std::string xml = inflate(z, p);
        pugi::xml_document doc;
        doc.load_buffer_inplace(xml.data(), xml.size());
        nodes += doc.document_element() ? 1 : 0;
    }
    zip_close(z);
    return nodes;
}

int run(int argc, char** argv) {
    std::string job = argv[1];
    std::string file = argv[2];
    if (job.rfind("floor", 0) == 0) return floor_job(file, job) ? 0 : 1;
    auto app = xl::native::create_application();
    auto book = app->workbooks().open(file, job == "read");
    if (!book) {
        std::fprintf(stderr, "%s\n", book.error().message.c_str());
        return 1;
    }
    if (job == "read") {
        xl::Worksheet* ws = (*book)->worksheet(1);
        xl::Area used = ws->used_range();
        std::size_t values = 0;
        for (std::int32_t r = used.first_row; r <= used.last_row; ++r)
            for (std::int32_t c = used.first_col; c <= used.last_col; ++c)
                if (!xl::is_empty(ws->cell_value({r, c}))) ++values;
        return values > 0 ? 0 : 1;
    }
    if (job == "replace" && argc >= 6) {
        auto t0 = std::chrono::steady_clock::now();
        for (int i = 1; i <= (*book)->worksheet_count(); ++i)
            if (!(*book)->worksheet(i)->check()) return 1;
        auto t1 = std::chrono::steady_clock::now();
        for (int i = 1; i <= (*book)->worksheet_count(); ++i) {
            xl::ReplaceOptions o;
            o.what = argv[3];
            o.replacement = argv[4];
            o.look_at = xl::xlPart;
            if (auto r = (*book)->worksheet(i)->cells().replace(o); !r) return 1;
        }
        auto t2 = std::chrono::steady_clock::now();
        bool ok = (*book)->save_as(argv[5], xl::xlOpenXMLWorkbook).has_value();
        auto t3 = std::chrono::steady_clock::now();
        auto ms = [](auto a, auto b) {
            return std::chrono::duration<double, std::milli>(b - a).count();
        };
        std::fprintf(stderr, "read %.1f replace %.1f save %.1f\n", ms(t0, t1), ms(t1, t2),
                     ms(t2, t3));
        return ok ? 0 : 1;
    }
    if (job == "csv" && argc >= 4) return (*book)->save_as(argv[3], xl::xlCSV) ? 0 : 1;
    std::fprintf(stderr, "unknown job\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: bench_engine floor|floor-all|read|replace|csv FILE [...]\n");
        return 2;
    }
    auto cpu = []() {
        timespec ts{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
        return ts.tv_sec * 1000.0 + ts.tv_nsec / 1e6;
    };
    double c0 = cpu();
    auto t0 = std::chrono::steady_clock::now();
    int rc = run(argc, argv);
    auto t1 = std::chrono::steady_clock::now();
    double c1 = cpu();
    struct rusage ru {};
    getrusage(RUSAGE_SELF, &ru);
    std::printf("ms=%.1f rss_kb=%ld cpu_ms=%.1f\n",
                std::chrono::duration<double, std::milli>(t1 - t0).count(), ru.ru_maxrss, c1 - c0);
    return rc;
}
