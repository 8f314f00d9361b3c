#!/bin/sh
# Two whole-folder jobs run as a user runs them (the command-line program, one process for the
# folder), side by side with the peers that are installed, in one invocation:
#   (a) every sheet of every book to CSV
#   (d) every sheet of every book combined into one workbook
# Baseline: the floor (every sheet's XML and the shared strings inflated with libzip and parsed
# with pugixml, nothing else: bench/floor_jobs.cpp, built here with the system compiler).
# Peers: ExcelJS (node, $PEERS/node_modules), SheetJS (when installed there), LibreOffice
# --convert-to for (a) and its Python-UNO combine for (d) (the small workload only unless
# LO_LARGE=1: it needs gigabytes on the large one). Gnumeric is not run (no peer script).
# Every command is measured by /usr/bin/time: wall seconds, processor seconds (user + system
# of the command and its children) and peak resident memory; ratios are peer / Sheaflow.
#
# Usage: sh bench/run_export_combine.sh [small|large|both]      (default both)
#   small: 200 books x 3 sheets x 200 rows;  large: 20 books x 3 sheets x 20,000 rows
# Environment: SHEAFLOW (default build/sheaflow), SHARED_BENCH, PEERS, WORK (scratch folder).
set -eu
ROOT=$(cd "$(dirname "$0")/.." && pwd)
. "$ROOT/bench/common.sh"
WORK=${WORK:-/tmp/sheaflow-bench-export-combine}
WHICH=${1:-both}
JOBS=${JOBS:-a d}      # which of the two jobs to run
[ -x "$SHEAFLOW" ] || { echo "no $SHEAFLOW: run sh scripts/build first" >&2; exit 2; }
mkdir -p "$WORK"
FLOOR="$WORK/bench_floor"
c++ -O2 -std=c++20 "$ROOT/bench/floor_jobs.cpp" -o "$FLOOR" \
    $(pkg-config --cflags --libs libzip) -lpugixml

HAVE_EXCELJS=0; [ -d "$PEERS/node_modules/exceljs" ] && HAVE_EXCELJS=1
HAVE_SHEETJS=0; [ -d "$PEERS/node_modules/xlsx" ] && HAVE_SHEETJS=1
HAVE_SOFFICE=0; command -v soffice >/dev/null && HAVE_SOFFICE=1
export LO_PROFILE="$WORK/lo-profile"


report() {
    label=$1 base=$2
    awk -v label="$label" -v base="$base" '
        { name[NR] = $1; w[$1] = $2; c[$1] = $3; m[$1] = $4 }
        END {
            printf "%s\n  %-22s %9s %9s %9s %10s %10s\n", label, "", "wall s", "cpu s", "peak MB", "wall/base", "cpu/base"
            for (i = 1; i <= NR; i++) { n = name[i]
                printf "  %-22s %9.2f %9.2f %9.0f %10.2f %10.2f\n", n, w[n], c[n], m[n],
                    (w[base] > 0 ? w[n] / w[base] : 0), (c[base] > 0 ? c[n] / c[base] : 0) } }' "$RESULTS"
}

one_size() {
    size=$1 books=$2 rows=$3
    IN="$WORK/$size/in"
    [ -d "$IN" ] || node "$SHARED_BENCH/gen-workload.js" "$IN" "$books" "$rows" >/dev/null
    case " $JOBS " in *" a "*) ;; *) combine_job "$size"; return ;; esac
    # (a) every sheet to CSV
    RESULTS="$WORK/$size-a.txt"; : >"$RESULTS"
    record floor "$FLOOR" "$IN"/*.xlsx
    rm -rf "$WORK/$size/csv-sf"; mkdir -p "$WORK/$size/csv-sf"
    record sheaflow "$SHEAFLOW" run すべてのシート_ファイル ＣＳＶで出力 --folder "$IN" --yes \
        --param-dir "$WORK/params" --set "folder=$WORK/$size/csv-sf"
    if [ $HAVE_EXCELJS = 1 ]; then
        rm -rf "$WORK/$size/csv-ej"; record exceljs node "$SHARED_BENCH/peers/exceljs.js" export "$IN" "$WORK/$size/csv-ej"; fi
    if [ $HAVE_SHEETJS = 1 ]; then
        rm -rf "$WORK/$size/csv-sj"; record sheetjs node "$SHARED_BENCH/peers/sheetjs.js" export "$IN" "$WORK/$size/csv-sj"; fi
    if [ $HAVE_SOFFICE = 1 ]; then
        rm -rf "$WORK/$size/csv-lo"; record libreoffice sh "$SHARED_BENCH/peers/lo_convert.sh" "$IN" "$WORK/$size/csv-lo"; fi
    report "(a) every sheet to CSV, $size ($books books x 3 sheets x $rows rows); base = sheaflow" sheaflow
    echo "  CSV files: sheaflow $(ls "$WORK/$size/csv-sf" | wc -l)"
    case " $JOBS " in *" d "*) combine_job "$size" ;; esac
}

# (d) combine every book into one
combine_job() {
    size=$1
    IN="$WORK/$size/in"
    RESULTS="$WORK/$size-d.txt"; : >"$RESULTS"
    rm -rf "$WORK/$size/comb-sf"; mkdir -p "$WORK/$size/comb-sf"
    record sheaflow "$SHEAFLOW" run ファイル すべてのファイルを１つのファイルにまとめる --folder "$IN" --yes \
        --param-dir "$WORK/params" --set "folder=$WORK/$size/comb-sf"
    if [ $HAVE_EXCELJS = 1 ]; then
        record exceljs node "$SHARED_BENCH/peers/exceljs.js" combine "$IN" "$WORK/$size/comb-ej.xlsx"; fi
    if [ $HAVE_SHEETJS = 1 ]; then
        record sheetjs node "$SHARED_BENCH/peers/sheetjs.js" combine "$IN" "$WORK/$size/comb-sj.xlsx"; fi
    if [ $HAVE_LO = 1 ] && { [ "$size" = small ] || [ "${LO_LARGE:-0}" = 1 ]; }; then
        record libreoffice /usr/bin/python3 "$SHARED_BENCH/peers/lo_uno.py" combine "$IN" "$WORK/$size/comb-lo.xlsx"; fi
    report "(d) combine into one workbook, $size; base = sheaflow" sheaflow
    ls -l "$WORK/$size/comb-sf" | tail -n +2 | awk '{ printf "  combined: %s, %.1f MB\n", $NF, $5 / 1048576 }'
}

case $WHICH in
    small) one_size small 200 200 ;;
    large) one_size large 20 20000 ;;
    *) one_size small 200 200; one_size large 20 20000 ;;
esac
