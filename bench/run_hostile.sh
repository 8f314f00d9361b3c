#!/bin/sh
# Hostile workloads beside a baseline of the same size, measured in the same run (see
# bench/hostile_jobs.cpp): sorting 200, 400 and 1,000 shuffled sheets by name (goal: 1,000 in
# under 2 s), a wildcard search over long cells, and renaming every sheet of a 1,000-sheet
# workbook one rename at a time and as one batch.
#
# Usage: sh bench/run_hostile.sh
# Needs: build-bench/bench_hostile (this script builds it with SHEAFLOW_BUILD_BENCH=ON, -j2).
set -eu
ROOT=$(cd "$(dirname "$0")/.." && pwd)
cmake -S "$ROOT" -B "$ROOT/build-bench" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DSHEAFLOW_BUILD_BENCH=ON -DSHEAFLOW_BUILD_TESTS=OFF -DSHEAFLOW_BUILD_GUI=OFF >/dev/null
cmake --build "$ROOT/build-bench" -j2 --target bench_hostile >/dev/null
BIN="$ROOT/build-bench/bench/bench_hostile"
for n in 200 400 1000; do "$BIN" sort "$n"; done
"$BIN" wildcard 2000 2000
"$BIN" rename 1000
"$BIN" renames 1000
