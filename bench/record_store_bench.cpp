// Sorting a list of a million findings: the record store's block sort and merge against a plain
// std::stable_sort of the same keys (the baseline of the same run).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "report/record_store.h"

namespace {

using Keys = std::vector<std::pair<std::string, std::string>>;

// Keys shaped like a sheet-name list: a few thousand file names, a handful of sheet names each.
const Keys& keys(std::size_t n) {
    static Keys cache;
    if (cache.size() != n) {
        std::mt19937 rng(7);
        cache.clear();
        cache.reserve(n);
        for (std::size_t i = 0; i < n; ++i)
            cache.emplace_back("売上_" + std::to_string(rng() % 5000) + ".xlsx",
                               "Sheet" + std::to_string(rng() % 20));
    }
    return cache;
}

void BM_RecordStoreSort(benchmark::State& state) {
    const Keys& k = keys(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        state.PauseTiming();
        sheaflow::report::RecordStore store;
        for (std::size_t i = 0; i < k.size(); ++i)
            store.add({k[i].first, k[i].second}, {std::to_string(i)});
        state.ResumeTiming();
        store.sort();
        benchmark::DoNotOptimize(store.record(0));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_StdStableSortBaseline(benchmark::State& state) {
    const Keys& k = keys(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        state.PauseTiming();
        Keys copy = k;
        state.ResumeTiming();
        std::stable_sort(copy.begin(), copy.end());
        benchmark::DoNotOptimize(copy.front());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_RecordStoreAdd(benchmark::State& state) {
    const Keys& k = keys(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        sheaflow::report::RecordStore store;
        for (std::size_t i = 0; i < k.size(); ++i)
            store.add({k[i].first, k[i].second}, {std::to_string(i)});
        benchmark::DoNotOptimize(store.count());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

}  // namespace

BENCHMARK(BM_RecordStoreSort)->Arg(1000000)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_StdStableSortBaseline)->Arg(1000000)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_RecordStoreAdd)->Arg(1000000)->Unit(benchmark::kMillisecond)->Iterations(2);
