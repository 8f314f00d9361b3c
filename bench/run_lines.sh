#!/bin/sh
# Row and column operations on the large workload (BOOKS books x 3 sheets x ROWS rows, every
# tenth row blank; bench/gen_blank_rows.py), each job run by the command line and by LibreOffice
# through UNO (bench/lo_lines.py, bench/lo_blank_rows.py) on copies of the same files, in one
# invocation. A floor job beside them: every sheet of every book opened and written back by the
# engine with one row height set (a change that rewrites each sheet part and nothing else).
# Prints CPU seconds (steadier than wall time on a shared machine) and two ratios:
# LibreOffice / Sheaflow, and Sheaflow / its floor.
#
#   rowdel  すべてのシート_行 削除 2:5001         rowins  すべてのシート_行 挿入１ 100 rows at 2
#   every   行 挿入２ a blank row every 10 rows   coldel  すべてのシート_列 削除 C
#   colins  すべてのシート_列 挿入 2 at B          blank   すべてのシート_行 空白行削除
#
# Usage: sh bench/run_lines.sh [BOOKS] [ROWS]
# Needs: build/sheaflow (scripts/build) or SHEAFLOW_BIN, python3; libreoffice-calc-nogui and
# python3-uno for the LibreOffice column. Environment: WORK (default /tmp/sheaflow-bench), JOBS
# (the jobs to run, default all).
set -eu
ROOT=$(cd "$(dirname "$0")/.." && pwd)
. "$ROOT/bench/common.sh"
WORK=${WORK:-/tmp/sheaflow-bench}
BOOKS=${1:-3}
ROWS=${2:-20000}
JOBS=${JOBS:-"rowdel rowins every coldel colins blank"}
SRC="$WORK/src/blank-$BOOKS-$ROWS"
[ -d "$SRC" ] || /usr/bin/python3 "$ROOT/bench/gen_blank_rows.py" "$SRC" "$BOOKS" "$ROWS"

# "<cpu s>" of a command (children included), or "failed".
cpu() { measure "$@" | cut -d' ' -f2; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { if (a + 0 > 0 && b + 0 > 0) printf "%.1fx", b / a; else print "-" }'; }

# The operation and settings of a job (words without spaces).
job_args() {
    case $1 in
    floor) echo すべてのシート_行 高さ設定１ --set lines=1 --set size=20 ;;
    rowdel) echo すべてのシート_行 削除 --set mode=lines --set lines=2:5001 ;;
    rowins) echo すべてのシート_行 挿入１ --set at=2 --set count=100 ;;
    every) echo 行 挿入２ --set mode=every --set from=2 --set interval=10 ;;
    coldel) echo すべてのシート_列 削除 --set mode=lines --set lines=C ;;
    colins) echo すべてのシート_列 挿入 --set at=B --set count=2 ;;
    blank) echo すべてのシート_行 空白行削除 ;;
    esac
}
sheaflow_job() {
    log=$1 job=$2
    # shellcheck disable=SC2046
    cpu "$log" "$SHEAFLOW" run $(job_args $job) --folder "$WORK/lines-sf" --yes \
        --param-dir "$WORK/lines-params"
}

fresh() { rm -rf "$1"; cp -r "$SRC" "$1"; }

rm -rf "$WORK/lines-params"; mkdir -p "$WORK/lines-params"
fresh "$WORK/lines-sf"
floor=$(sheaflow_job "$WORK/lines-floor.log" floor)
printf '%-8s %10s %12s %14s %16s\n' job sheaflow libreoffice "lo/sheaflow" "sheaflow/floor"
printf '%-8s %10s %12s %14s %16s\n' floor "${floor}s" - - 1.0x
for job in $JOBS; do
    fresh "$WORK/lines-sf"
    s=$(sheaflow_job "$WORK/lines-$job-sf.log" $job)
    l=-
    if [ $HAVE_LO = 1 ]; then
        fresh "$WORK/lines-lo"
        if [ $job = blank ]; then
            l=$(cpu "$WORK/lines-$job-lo.log" /usr/bin/python3 "$ROOT/bench/lo_blank_rows.py" "$WORK/lines-lo")
        else
            l=$(cpu "$WORK/lines-$job-lo.log" /usr/bin/python3 "$ROOT/bench/lo_lines.py" "$WORK/lines-lo" $job)
        fi
    fi
    printf '%-8s %10s %12s %14s %16s\n' $job "${s}s" "${l}s" "$(ratio "$s" "$l")" "$(ratio "$floor" "$s")"
done
