#!/bin/sh
# The "open the same way" batch over N workbooks (default 200): frozen panes removed, zoom 100,
# A1 active on every sheet and the first sheet active, by the command line (three runs: 表示 枠の固定,
# 表示 ズーム, 編集 ジャンプ) beside LibreOffice doing the same through UNO, on copies of the same
# files. Prints wall and CPU time of each and LibreOffice's as a multiple of Sheaflow's.
#
# Usage: sh bench/run_open_same_way.sh [N]
# Needs: build/sheaflow, python3; libreoffice-calc-nogui and python3-uno for the LibreOffice
# column. Environment: WORK (scratch folder, default /tmp/sheaflow-bench).
set -eu
ROOT=$(cd "$(dirname "$0")/.." && pwd)
. "$ROOT/bench/common.sh"
WORK=${WORK:-/tmp/sheaflow-bench}
N=${1:-200}
SRC="$WORK/src/view-$N"
[ -d "$SRC" ] || /usr/bin/python3 "$ROOT/bench/gen_view_books.py" "$SRC" "$N"
rm -rf "$WORK/view-sf" "$WORK/view-lo" "$WORK/view-params"
cp -r "$SRC" "$WORK/view-sf"
cp -r "$SRC" "$WORK/view-lo"
mkdir -p "$WORK/view-params"
SF=$SHEAFLOW

# The three runs as one command, so that one time covers them.
BATCH="P='--folder $WORK/view-sf --yes --param-dir $WORK/view-params';
\"$SF\" run 表示 枠の固定 \$P --set action=unfreeze --set target=all &&
\"$SF\" run 表示 ズーム \$P --set zoom=100 --set target=all &&
\"$SF\" run 編集 ジャンプ \$P --set cell=A1 --set target=all --set activate=first"
s=$(measure "$WORK/view-sf.log" sh -c "$BATCH")
l="- - -"
if [ $HAVE_LO = 1 ]; then
    l=$(measure "$WORK/view-lo.log" /usr/bin/python3 "$ROOT/bench/lo_open_same_way.py" "$WORK/view-lo")
fi
echo "sheaflow (wall cpu peak_mb): $s"
echo "libreoffice (wall cpu peak_mb): $l"
echo "$s $l" | awk '{ if ($1 > 0 && $4 != "-") printf "libreoffice / sheaflow: wall %.1fx, cpu %.1fx\n", $4 / $1, $5 / $2 }'
