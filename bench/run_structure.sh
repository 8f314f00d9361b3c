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
SHARED_BENCH=${SHARED_BENCH:-$ROOT/../shared/bench}
PEERS=${PEERS:-$ROOT/../peers}
WORK=${WORK:-/tmp/sheaflow-bench}
ROWS=${ROWS:-2000}
export NODE_PATH="$PEERS/node_modules" SHARED_BENCH
export LO_PROFILE="$WORK/lo-profile"

cmake -S "$ROOT" -B "$ROOT/build-bench" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DSHEAFLOW_BUILD_BENCH=ON -DSHEAFLOW_BUILD_TESTS=OFF -DSHEAFLOW_BUILD_GUI=OFF >/dev/null
cmake --build "$ROOT/build-bench" -j2 --target bench_structure >/dev/null
BIN="$ROOT/build-bench/bench/bench_structure"
HAVE_LO=0; command -v soffice >/dev/null && /usr/bin/python3 -c 'import uno' 2>/dev/null && HAVE_LO=1

mkdir -p "$WORK"
SMALL="$WORK/src/small"
[ -d "$SMALL" ] || node "$SHARED_BENCH/gen-workload.js" "$SMALL" 200 200 >/dev/null
TEN="$WORK/src/ten-sheets.xlsx"
[ -f "$TEN" ] || node "$ROOT/bench/gen_ten_sheets.js" "$TEN" "$ROWS"
OUT="$WORK/structure"
rm -rf "$OUT"; mkdir -p "$OUT"

# Runs a command under /usr/bin/time; prints "<wall s> <peak kB> <cpu s>" (children included:
# LibreOffice's office process is a child of its script). On a shared machine the CPU time is
# the steadier figure.
measure() {
    log=$1; shift
    if /usr/bin/time -f '%e %M %U %S' -o "$log.time" "$@" >"$log" 2>&1; then
        awk '{ printf "%s %s %.2f", $1, $2, $3 + $4 }' "$log.time"
    else
        echo "failed failed failed"
    fi
}
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
    set -- $s; st=$1 sm=$2 sc=$3
    set -- $l; lt=$1 lm=$2 lc=$3
    printf '%-8s %-30s %-30s %s\n' $job "${st}s ${sm}kB ${sc}s" "${lt}s ${lm}kB ${lc}s" \
        "$(ratio "$st" "$lt"), $(ratio "$sc" "$lc")"
    echo "         sheaflow: $(cat "$OUT/$job.log")"
done
