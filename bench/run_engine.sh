#!/bin/sh
# Engine benchmark: the three jobs of the engine on generated 20,000-row workbooks, each job in a
# process of its own, side by side with the floor (inflating and parsing the same XML with
# nothing else done) and with LibreOffice on the same files, all in one invocation. Prints the
# median milliseconds per workbook, the peak memory, and the ratios.
#
# Figures are processor time (steadier than wall time on a shared machine).
#
#   read     open a workbook and read every cell value of its first sheet (20,001 x 8)
#   replace  open, replace 東京 with とうきょう in every sheet, save (.xlsx)
#   csv      open and save the active sheet as CSV
#
# Usage: sh bench/run_engine.sh
# Needs: bench_engine (cmake -DSHEAFLOW_BUILD_BENCH=ON, target bench_engine; default path
# build-bench/bench/bench_engine, or BENCH_ENGINE), node with exceljs in $PEERS/node_modules
# for the workload (or an existing $WORK/in), libreoffice-calc-nogui and python3-uno for the
# LibreOffice column (skipped when missing).
# Environment: BOOKS (3), ROWS (20000), REPS (3), WORK (/tmp/sheaflow-engine-bench),
# SHARED_BENCH (gen-workload.js and peers/), PEERS (folder holding node_modules).
set -eu
ROOT=$(cd "$(dirname "$0")/.." && pwd)
. "$ROOT/bench/common.sh"
BENCH=${BENCH_ENGINE:-$ROOT/build-bench/bench/bench_engine}
WORK=${WORK:-/tmp/sheaflow-engine-bench}
BOOKS=${BOOKS:-3}
ROWS=${ROWS:-20000}
REPS=${REPS:-3}
FROM=東京
TO=とうきょう

[ -x "$BENCH" ] || { echo "no $BENCH: build the bench_engine target first" >&2; exit 2; }
mkdir -p "$WORK"
if [ ! -d "$WORK/in" ]; then
    node "$SHARED_BENCH/gen-workload.js" "$WORK/in" "$BOOKS" "$ROWS" >/dev/null
fi

# Runs a job REPS times over every book (interleaved), then prints "median_ms max_rss_kb".
engine_job() {
    job=$1; shift
    : >"$WORK/$job.runs"
    r=0
    while [ $r -lt "$REPS" ]; do
        for book in "$WORK"/in/*.xlsx; do
            case $job in
                replace) cp "$book" "$WORK/copy.xlsx"
                         "$BENCH" replace "$WORK/copy.xlsx" "$FROM" "$TO" "$WORK/out.xlsx" 2>/dev/null ;;
                csv) "$BENCH" csv "$book" "$WORK/out.csv" ;;
                *) "$BENCH" "$job" "$book" ;;
            esac >>"$WORK/$job.runs"
        done
        r=$((r + 1))
    done
    sed 's/ms=\([0-9.]*\) rss_kb=\([0-9]*\) cpu_ms=\([0-9.]*\)/\3 \2 \1/' "$WORK/$job.runs" |
        sort -n | awk '{ t[NR] = $1; if ($2 > m) m = $2 } END { printf "%.1f %d\n", t[int((NR + 1) / 2)], m }'
}

for job in floor floor-sst floor-all read csv replace; do
    set -- $(engine_job "$job")
    eval "ms_$(echo $job | tr - _)=$1 rss_$(echo $job | tr - _)=$2"
done

if [ $HAVE_LO = 1 ]; then
    export LO_PROFILE="$WORK/lo-profile"
    LO=$SHARED_BENCH/peers/lo_uno.py
    mkdir -p "$WORK/empty"
    # One office per run: its start and stop, measured on an empty folder, is taken off and the
    # rest divided by the number of workbooks.
    measure "$WORK/lo.log" /usr/bin/python3 "$LO" search "$WORK/empty" "$FROM" "$WORK/lo.tsv" >/dev/null  # profile
    set -- $(measure "$WORK/lo.log" /usr/bin/python3 "$LO" search "$WORK/empty" "$FROM" "$WORK/lo.tsv")
    start_wall=$1 start_cpu=$2
    per_book() {  # processor ms per workbook, the office's start and stop taken off
        set -- $("$@")
        awk -v c="$2" -v s="$start_cpu" -v n="$BOOKS" 'BEGIN { printf "%.0f", (c - s) * 1000 / n }'
    }
    lo_read=$(per_book measure "$WORK/lo.log" /usr/bin/python3 "$LO" search "$WORK/in" "$FROM" "$WORK/lo.tsv")
    rm -rf "$WORK/lo-copy" && cp -r "$WORK/in" "$WORK/lo-copy"
    lo_replace=$(per_book measure "$WORK/lo.log" /usr/bin/python3 "$LO" replace "$WORK/lo-copy" "$FROM" "$TO")
    rm -rf "$WORK/lo-csv"
    lo_csv=$(per_book measure "$WORK/lo.log" /usr/bin/python3 "$LO" export "$WORK/in" "$WORK/lo-csv")
fi

ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / b }'; }
mb() { awk -v k="$1" 'BEGIN { printf "%.0f", k / 1024 }'; }
echo "workbooks: $BOOKS x 3 sheets x $ROWS rows, $REPS runs each;" \
     "median processor ms per workbook (the machine is shared: wall times are noisier)"
echo
printf "%-9s %8s %8s  %-28s %s\n" job engine peakMB "ratio to floor" "LibreOffice (ratio to engine)"
printf "%-9s %8s %8s  %-28s %s\n" read "$ms_read" "$(mb $rss_read)" \
    "$(ratio $ms_read $ms_floor) (sheet)" "${lo_read:--} ${lo_read:+($(ratio $lo_read $ms_read)x)}"
printf "%-9s %8s %8s  %-28s %s\n" csv "$ms_csv" "$(mb $rss_csv)" \
    "$(ratio $ms_csv $ms_floor) (sheet) $(ratio $ms_csv $ms_floor_sst) (+strings)" \
    "${lo_csv:--} ${lo_csv:+($(ratio $lo_csv $ms_csv)x, every sheet)}"
printf "%-9s %8s %8s  %-28s %s\n" replace "$ms_replace" "$(mb $rss_replace)" \
    "$(ratio $ms_replace $ms_floor_all) (all sheets+strings)" \
    "${lo_replace:--} ${lo_replace:+($(ratio $lo_replace $ms_replace)x)}"
echo
echo "floors: sheet $ms_floor ms ($(mb $rss_floor) MB), sheet+strings $ms_floor_sst ms," \
     "all sheets+strings $ms_floor_all ms"
[ $HAVE_LO = 1 ] && echo "LibreOffice: processor time of one office per job, its start and stop" \
    "(${start_cpu}s, ${start_wall}s wall) taken off, divided by the workbooks" || true
