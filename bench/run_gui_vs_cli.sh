#!/bin/sh
# The same job through the desktop program (under Xvfb) and through `sheaflow run`, side by side
# in one invocation, over one generated folder: an all-sheets search over N workbooks. Prints
# both times and the desktop program's time as a multiple of the command line's.
#
# Usage: sh bench/run_gui_vs_cli.sh [number of workbooks, default 528]
# Needs: build/sheaflow and build/sheaflow-gui-tour (sh scripts/build), xvfb-run.
# The desktop time runs from the run button to the end of the run (dialogs answered at once);
# the command line time is the whole process, start-up included. Each side keeps its parameter
# folder from round to round, as a user's is kept.
set -eu
ROOT=$(cd "$(dirname "$0")/.." && pwd)
. "$ROOT/bench/common.sh"
N=${1:-528}
WORK=${WORK:-/tmp/sheaflow-gui-bench}
SEARCH=東京
rm -rf "$WORK"
mkdir -p "$WORK/books" "$WORK/params" "$WORK/gui-params"
i=0
while [ $i -lt "$N" ]; do
    if [ $((i % 2)) -eq 0 ]; then src=cell_text.xlsx; else src=structure.xlsx; fi
    cp "$ROOT/tests/data/$src" "$WORK/books/book_$i.xlsx"
    i=$((i + 1))
done

# Alternating rounds; the median of each side, since the machine is shared.
ROUNDS=${ROUNDS:-3}
median() { sort -n | awk '{a[NR]=$1} END {print a[int((NR + 1) / 2)]}'; }
: >"$WORK/cli.times"
: >"$WORK/gui.times"
r=0
while [ $r -lt "$ROUNDS" ]; do
    t0=$(now)
    "$SHEAFLOW" run すべてのシート_セル 文字列検索 --folder "$WORK/books" --yes \
        --param-dir "$WORK/params" --set "search=$SEARCH" --out "$WORK/cli.tsv" 2>"$WORK/cli.log" || true
    t1=$(now)
    echo "$t1 - $t0" | bc -l >>"$WORK/cli.times"
    xvfb-run -a -s "-screen 0 1280x800x24" "$ROOT/build/sheaflow-gui-tour" --bench "$WORK/books" \
        --param-dir "$WORK/gui-params" \
        --category すべてのシート_セル --operation 文字列検索 --set "search=$SEARCH" \
        2>"$WORK/gui.log" | sed -n 's/^gui_seconds //p' >>"$WORK/gui.times"
    r=$((r + 1))
done
[ "$(wc -l <"$WORK/gui.times")" -eq "$ROUNDS" ] || { echo "a desktop run failed; see $WORK/gui.log" >&2; exit 1; }
cli=$(median <"$WORK/cli.times")
gui=$(median <"$WORK/gui.times")

printf 'workbooks          %s (%s rounds, medians)\n' "$N" "$ROUNDS"
printf 'sheaflow run       %.3f s   (%s)\n' "$cli" "$(tr '\n' ' ' <"$WORK/cli.times")"
printf 'sheaflow-gui       %.3f s   (%s)\n' "$gui" "$(tr '\n' ' ' <"$WORK/gui.times")"
printf 'gui / cli          %.2fx\n' "$(echo "$gui / $cli" | bc -l)"
