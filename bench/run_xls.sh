#!/bin/sh
# A replace over .xls books: Sheaflow (the engine, with LibreOffice reading and writing the
# .xls through the bridge) beside LibreOffice's own Python-UNO replace of the same books (the
# shared peer script), on copies of the same files, in one invocation. Prints both wall times
# and the ratio. The bridge should cost little more than LibreOffice alone.
#
# Usage: sh bench/run_xls.sh [BOOKS] [ROWS]     (default 200 books of 200 rows a sheet)
# Needs: build/sheaflow, node with exceljs@4.4.0 in $PEERS (the workload generator; see the shared
# bench README), libreoffice-calc-nogui, python3-uno.
# Environment: SHEAFLOW, SHARED_BENCH (gen-workload.js and peers/), PEERS (the folder holding
# node_modules), WORK (scratch folder).
set -eu
ROOT=$(cd "$(dirname "$0")/.." && pwd)
. "$ROOT/bench/common.sh"
WORK=${WORK:-/tmp/sheaflow-bench-xls}
BOOKS=${1:-200}
ROWS=${2:-200}
FROM=東京
TO=とうきょう
[ -x "$SHEAFLOW" ] || { echo "no $SHEAFLOW: run sh scripts/build first" >&2; exit 2; }
[ $HAVE_LO = 1 ] ||
    { echo "LibreOffice with python3-uno is needed" >&2; exit 2; }

rm -rf "$WORK"
mkdir -p "$WORK/xlsx" "$WORK/xls"
node "$SHARED_BENCH/gen-workload.js" "$WORK/xlsx" "$BOOKS" "$ROWS" >/dev/null
# The .xls books: the workload converted by one LibreOffice.
/usr/bin/python3 - "$ROOT/xl/office" "$WORK/xlsx" "$WORK/xls" <<'PY'
import os, sys
sys.path.insert(0, sys.argv[1])
import lo_session
src, dst = sys.argv[2], sys.argv[3]
with lo_session.Office() as office:
    for name in sorted(os.listdir(src)):
        doc = office.load(os.path.join(src, name), ReadOnly=True)
        out = os.path.join(dst, os.path.splitext(name)[0] + '.xls')
        doc.storeToURL(lo_session.url(out), lo_session.props(FilterName='MS Excel 97', Overwrite=True))
        doc.close(True)
PY
cp -r "$WORK/xls" "$WORK/sf"
cp -r "$WORK/xls" "$WORK/lo"
cp -r "$WORK/xls" "$WORK/floor"

t0=$(now)
"$SHEAFLOW" run すべてのシート_セル 文字列置換 --folder "$WORK/sf" --yes --param-dir "$WORK/params" \
    --set "search=$FROM" --set "replace=$TO" --set match_case=0 --set match_byte=1 \
    --set whole_cell=0 >"$WORK/sf.log" 2>&1 || echo "sheaflow: see $WORK/sf.log"
t1=$(now)
LO_PROFILE="$WORK/lo-profile" /usr/bin/python3 "$SHARED_BENCH/peers/lo_uno.py" replace "$WORK/lo" "$FROM" "$TO" \
    >"$WORK/lo.log" 2>&1 || echo "LibreOffice: see $WORK/lo.log"
t2=$(now)
# The floor of a bridge that hands the engine a package: LibreOffice's own replace plus the one
# .xlsx export per book that the engine reads.
/usr/bin/python3 - "$ROOT/xl/office" "$WORK/floor" "$FROM" "$TO" >"$WORK/floor.log" 2>&1 <<'PY' ||
import glob, os, sys
sys.path.insert(0, sys.argv[1])
import lo_session
with lo_session.Office() as office:
    package = os.path.join(office.dir, 'package.xlsx')
    for path in sorted(glob.glob(os.path.join(sys.argv[2], '*.xls'))):
        doc = office.load(path)
        doc.storeToURL(lo_session.url(package),
                       lo_session.props(FilterName='Calc MS Excel 2007 XML', Overwrite=True))
        for sheet in doc.Sheets:
            rd = sheet.createReplaceDescriptor()
            rd.SearchString, rd.ReplaceString = sys.argv[3], sys.argv[4]
            sheet.replaceAll(rd)
        doc.store()
        doc.close(True)
PY
    echo "floor: see $WORK/floor.log"
t3=$(now)
awk -v a="$t0" -v b="$t1" -v c="$t2" -v d="$t3" -v n="$BOOKS" 'BEGIN {
    sf = b - a; lo = c - b; floor = d - c
    printf "replace over %d .xls books\n", n
    printf "  Sheaflow (bridge)      %7.2f s\n", sf
    printf "  LibreOffice Python-UNO %7.2f s\n", lo
    printf "  LibreOffice + .xlsx    %7.2f s   (its replace plus the export the engine reads)\n", floor
    printf "  Sheaflow / LibreOffice %7.2f\n", sf / lo
    printf "  Sheaflow / LO + .xlsx  %7.2f\n", sf / floor }'
# Both left no text to replace: LibreOffice's own search counts the cells still holding it.
left=$(/usr/bin/python3 - "$ROOT/xl/office" "$WORK/sf" "$FROM" <<'PY'
import glob, os, sys
sys.path.insert(0, sys.argv[1])
import lo_session
left = 0
with lo_session.Office() as office:
    for path in sorted(glob.glob(os.path.join(sys.argv[2], '*.xls'))):
        doc = office.load(path, ReadOnly=True)
        for sheet in doc.Sheets:
            search = sheet.createSearchDescriptor()
            search.SearchString = sys.argv[3]
            found = sheet.findAll(search)
            left += found.Count if found else 0
        doc.close(True)
print(left)
PY
)
echo "  cells still holding $FROM after Sheaflow: $left"
