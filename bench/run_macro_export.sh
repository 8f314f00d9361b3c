#!/bin/sh
# Exporting every module of 200 macro workbooks (マクロエクスポート over one folder, one run of
# the command-line program) beside LibreOffice reading the same workbooks and listing the Basic
# modules it imported from their VBA projects (one headless LibreOffice for all of them, through
# tests/data/lo_basic.py), in one invocation. Each is measured by /usr/bin/time: wall seconds,
# processor seconds of the command and its children, peak resident memory; ratio LibreOffice /
# Sheaflow.
#
# Usage: sh bench/run_macro_export.sh [BOOKS]      (default 200)
# Workload: copies of the corpus's macro workbooks that hold a project, in turn.
# Environment: SHEAFLOW (default build/sheaflow), CORPUS, WORK (scratch folder).
set -eu
ROOT=$(cd "$(dirname "$0")/.." && pwd)
. "$ROOT/bench/common.sh"
CORPUS=${CORPUS:-$(up shared/corpus)}
WORK=${WORK:-/tmp/sheaflow-bench-macro-export}
BOOKS=${1:-200}
[ -x "$SHEAFLOW" ] || { echo "no $SHEAFLOW: run sh scripts/build first" >&2; exit 2; }

rm -rf "$WORK"; mkdir -p "$WORK/in" "$WORK/out"
set -- $(grep -l vbaProject.bin "$CORPUS"/xlsm/*.xlsm 2>/dev/null || true)
[ $# -gt 0 ] || set -- $(for f in "$CORPUS"/xlsm/*.xlsm; do unzip -l "$f" | grep -q vbaProject.bin && echo "$f"; done)
i=0
while [ $i -lt "$BOOKS" ]; do
    for f in "$@"; do
        [ $i -lt "$BOOKS" ] || break
        cp "$f" "$WORK/in/$(printf %03d $i)-$(basename "$f")"; i=$((i + 1))
    done
done
chmod u+w "$WORK"/in/*

RESULTS="$WORK/results.txt"; : >"$RESULTS"
record sheaflow "$SHEAFLOW" run ツール "マクロエクスポート（すべて）" --folder "$WORK/in" --yes \
    --param-dir "$WORK/params" --set "folder=$WORK/out"
if [ $HAVE_LO = 1 ]; then
    record libreoffice /usr/bin/python3 "$ROOT/tests/data/lo_basic.py" "$WORK"/in/*.xlsm
fi
echo "every module of $BOOKS macro workbooks ($# distinct projects)"
awk '{ name[NR] = $1; w[$1] = $2; c[$1] = $3; m[$1] = $4 }
    END { printf "  %-12s %8s %8s %8s %9s %9s\n", "", "wall s", "cpu s", "peak MB", "wall/sf", "cpu/sf"
          for (i = 1; i <= NR; i++) { n = name[i]
              printf "  %-12s %8.2f %8.2f %8.0f %9.1f %9.1f\n", n, w[n], c[n], m[n], w[n] / w["sheaflow"], c[n] / c["sheaflow"] } }' "$RESULTS"
echo "  files written by sheaflow: $(ls "$WORK/out" | wc -l); modules listed by LibreOffice: $(grep -c '	' "$WORK/libreoffice.log" 2>/dev/null || echo 0)"
