#!/bin/sh
# The sheet-copy jobs, Sheaflow's engine beside LibreOffice on the same files in one invocation:
#   combine  the sheets of 200 small workbooks (shared workload "small") into one workbook
#   split    a ten-sheet workbook into ten files
# Prints wall time and peak memory of each, and LibreOffice's time as a multiple of Sheaflow's.
#
# Usage: sh bench/run_structure.sh
# Needs: build-bench/bench_structure (this script builds it with SHEAFLOW_BUILD_BENCH=ON, -j2),
# node with exceljs in $PEERS (to make the workloads when missing), libreoffice-calc-nogui and
# python3-uno for the LibreOffice column (skipped when missing).
# Environment: SHARED_BENCH (gen-workload.js and peers/), PEERS (folder holding node_modules),
# WORK (scratch folder, default /tmp/sheaflow-bench), ROWS (rows of each split sheet, 2000).
set -eu
ROOT=$(cd "$(dirname "$0")/.." && pwd)
. "$ROOT/bench/common.sh"
WORK=${WORK:-/tmp/sheaflow-bench}
ROWS=${ROWS:-2000}
export SHARED_BENCH
export LO_PROFILE="$WORK/lo-profile"

cmake -S "$ROOT" -B "$ROOT/build-bench" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DSHEAFLOW_BUILD_BENCH=ON -DSHEAFLOW_BUILD_TESTS=OFF -DSHEAFLOW_BUILD_GUI=OFF >/dev/null
cmake --build "$ROOT/build-bench" -j2 --target bench_structure >/dev/null
BIN="$ROOT/build-bench/bench/bench_structure"

mkdir -p "$WORK"
SMALL="$WORK/src/small"
[ -d "$SMALL" ] || node "$SHARED_BENCH/gen-workload.js" "$SMALL" 200 200 >/dev/null
TEN="$WORK/src/ten-sheets.xlsx"
[ -f "$TEN" ] || node "$ROOT/bench/gen_ten_sheets.js" "$TEN" "$ROWS"
OUT="$WORK/structure"
rm -rf "$OUT"; mkdir -p "$OUT"

ratio() { awk -v a="$1" -v b="$2" 'BEGIN { if (a + 0 > 0 && b != "failed") printf "%.1fx", b / a; else print "-" }'; }

printf '%-8s %-30s %-30s %s\n' job "sheaflow (wall peak cpu)" "libreoffice (wall peak cpu)" \
    "lo/sheaflow wall, cpu"
for job in combine split; do
    if [ $job = combine ]; then
        set -- "$SMALL" "$OUT/combined.xlsx"
        lo_cmd="/usr/bin/python3 $SHARED_BENCH/peers/lo_uno.py combine $SMALL $OUT/lo-combined.xlsx"
    else
        set -- "$TEN" "$OUT/split"
        lo_cmd="/usr/bin/python3 $ROOT/bench/lo_split.py $TEN $OUT/lo-split"
    fi
    s=$(measure "$OUT/$job.log" "$BIN" $job "$@")
    l="- - -"
    [ $HAVE_LO = 1 ] && l=$(measure "$OUT/lo-$job.log" $lo_cmd)
    set -- $s; st=$1 sc=$2 sm=$3
    set -- $l; lt=$1 lc=$2 lm=$3
    printf '%-8s %-30s %-30s %s\n' $job "${st}s ${sm}MB ${sc}s" "${lt}s ${lm}MB ${lc}s" \
        "$(ratio "$st" "$lt"), $(ratio "$sc" "$lc")"
    echo "         sheaflow: $(cat "$OUT/$job.log")"
done
