#!/bin/sh
# Deleting every blank row of the large workload (20 books x 3 sheets x 20,000 rows, every tenth
# row blank): the command line (SHEAFLOW_BIN, default build/sheaflow) beside LibreOffice doing
# the same through UNO, on copies of the same files in one invocation. Prints wall and CPU time
# of each and LibreOffice's as a multiple of Sheaflow's.
#
# Usage: sh bench/run_blank_rows.sh [BOOKS] [ROWS]
# Needs: build/sheaflow (scripts/build), python3; libreoffice-calc-nogui and python3-uno for the
# LibreOffice column. Environment: WORK (scratch folder, default /tmp/sheaflow-bench).
set -eu
ROOT=$(cd "$(dirname "$0")/.." && pwd)
. "$ROOT/bench/common.sh"
WORK=${WORK:-/tmp/sheaflow-bench}
BOOKS=${1:-20}
ROWS=${2:-20000}
SRC="$WORK/src/blank-$BOOKS-$ROWS"
[ -d "$SRC" ] || /usr/bin/python3 "$ROOT/bench/gen_blank_rows.py" "$SRC" "$BOOKS" "$ROWS"
rm -rf "$WORK/blank-sf" "$WORK/blank-lo" "$WORK/blank-params"
cp -r "$SRC" "$WORK/blank-sf"
cp -r "$SRC" "$WORK/blank-lo"
mkdir -p "$WORK/blank-params"

s=$(measure "$WORK/blank-sf.log" "$SHEAFLOW" run すべてのシート_行 空白行削除 \
    --folder "$WORK/blank-sf" --yes --param-dir "$WORK/blank-params")
l="- - -"
if [ $HAVE_LO = 1 ]; then
    l=$(measure "$WORK/blank-lo.log" /usr/bin/python3 "$ROOT/bench/lo_blank_rows.py" "$WORK/blank-lo")
fi
echo "sheaflow (wall cpu peak_mb): $s"
echo "libreoffice (wall cpu peak_mb): $l"
echo "$s $l" | awk '{ if ($1 > 0 && $4 != "-") printf "libreoffice / sheaflow: wall %.1fx, cpu %.1fx\n", $4 / $1, $5 / $2 }'
