#!/bin/sh
# Whole runs of the all-sheets cell text replace and search over generated workbooks, side by
# side with the same jobs in LibreOffice (one headless office per run, Python-UNO) and in a Node
# script with SheetJS, on copies of the same files, in one invocation. Prints wall times and
# each peer's time as a multiple of Sheaflow's, then checks what each replace kept.
#
# Usage: sh bench/run_cell_text.sh [small|large|all]
# Needs: build/sheaflow (sh scripts/build), node with xlsx@0.18.5 installed in $PEERS
# (mkdir -p ../peers && cd ../peers && npm init -y && npm install xlsx@0.18.5),
# libreoffice-calc-nogui and python3-uno for the LibreOffice column (skipped when missing).
# Environment: SHEAFLOW (the binary), SHARED_BENCH (gen-workload.js and peers/), PEERS (the
# folder holding node_modules), WORK (scratch folder, default /tmp/sheaflow-bench).
set -eu
ROOT=$(cd "$(dirname "$0")/.." && pwd)
. "$ROOT/bench/common.sh"
WORK=${WORK:-/tmp/sheaflow-bench}
WHICH=${1:-all}
export LO_PROFILE="$WORK/lo-profile"
FROM=東京
TO=とうきょう
# 東京 is in one row of eight: over the large workload its matches would pass the result list's
# 32,760-row stop, so the large search looks for a text in one row of ninety-seven.
SEARCH_SMALL=東京
SEARCH_LARGE=No.42

[ -x "$SHEAFLOW" ] || { echo "no $SHEAFLOW: run sh scripts/build first" >&2; exit 2; }
HAVE_NODE=0; [ -d "$PEERS/node_modules/xlsx" ] && command -v node >/dev/null && HAVE_NODE=1

mkdir -p "$WORK"
# Runs a command, prints its wall time in seconds (or "failed").
timed() {
    log=$1; shift
    t0=$(now)
    if "$@" >"$log" 2>&1; then
        t1=$(now)
        awk -v a="$t0" -v b="$t1" 'BEGIN { printf "%.2f", b - a }'
    else
        echo failed
    fi
}
ratio() { awk -v p="$1" -v s="$2" 'BEGIN { if (p == "failed" || p == "-" || s + 0 == 0) print "-"; else printf "%.1fx", p / s }'; }

sf_replace() {
    "$SHEAFLOW" run すべてのシート_セル 文字列置換 --folder "$1" --yes --param-dir "$WORK/params" \
        --set "search=$FROM" --set "replace=$TO" --set match_case=0 --set match_byte=1 \
        --set whole_cell=0
}
sf_search() {
    "$SHEAFLOW" run すべてのシート_セル 文字列検索 --folder "$1" --yes --param-dir "$WORK/params" \
        --set "search=$TERM" --set look_in=values --set match_case=0 --set match_byte=1 \
        --set whole_cell=0 --out "$2"
}

# What a replace kept, by content against the source: parts missing or added, parts changed
# besides the sheets and the shared strings, and the text still to be replaced.
check_kept() {
    /usr/bin/python3 - "$1" "$2" "$FROM" "$TO" <<'EOF'
import sys, zipfile, os
src, out, old, new = sys.argv[1:]
books = sorted(f for f in os.listdir(src) if f.endswith(('.xlsx', '.xlsm')))
import collections
missing = added = left = made = 0
changed = collections.Counter()
for b in books:
    a, z = zipfile.ZipFile(os.path.join(src, b)), zipfile.ZipFile(os.path.join(out, b))
    na, nz = set(a.namelist()), set(z.namelist())
    missing += len(na - nz); added += len(nz - na)
    for n in na & nz:
        if n.startswith('xl/worksheets/') or n == 'xl/sharedStrings.xml':
            continue
        if a.read(n) != z.read(n):
            changed[n] += 1
    for n in nz:
        if n.endswith('.xml'):
            t = z.read(n).decode('utf-8', 'replace')
            left += t.count(old); made += t.count(new)
others = ', '.join('%s x%d' % kv for kv in sorted(changed.items())) or 'none'
print('parts missing %d, added %d; "%s" left %d, "%s" written %d; other parts changed: %s'
      % (missing, added, old, left, new, made, others))
EOF
}

run_size() {
    size=$1 books=$2 rows=$3 TERM=$4
    src="$WORK/src/$size"
    if [ ! -d "$src" ]; then
        node "$SHARED_BENCH/gen-workload.js" "$src" "$books" "$rows" >/dev/null
    fi
    rm -rf "$WORK/run-$size" && mkdir -p "$WORK/run-$size"
    for tool in sheaflow sheetjs lo; do cp -r "$src" "$WORK/run-$size/$tool"; done
    r=$WORK/run-$size

    sf_rep=$(timed "$r/sf_replace.log" sf_replace "$r/sheaflow")
    sf_sea=$(timed "$r/sf_search.log" sf_search "$src" "$r/sf_search.tsv")
    js_rep=-; js_sea=-; lo_rep=-; lo_sea=-
    if [ $HAVE_NODE = 1 ]; then
        js_rep=$(timed "$r/js_replace.log" node "$SHARED_BENCH/peers/sheetjs.js" replace "$r/sheetjs" "$FROM" "$TO")
        js_sea=$(timed "$r/js_search.log" node "$SHARED_BENCH/peers/sheetjs.js" search "$src" "$TERM" "$r/js_search.tsv")
    fi
    if [ $HAVE_LO = 1 ]; then
        lo_rep=$(timed "$r/lo_replace.log" /usr/bin/python3 "$SHARED_BENCH/peers/lo_uno.py" replace "$r/lo" "$FROM" "$TO")
        lo_sea=$(timed "$r/lo_search.log" /usr/bin/python3 "$SHARED_BENCH/peers/lo_uno.py" search "$src" "$TERM" "$r/lo_search.tsv")
    fi

    echo "== $size: $books workbooks x 3 sheets x $rows rows"
    printf '%-12s %10s %10s %14s %14s\n' tool "replace s" "search s" "replace/sf" "search/sf"
    printf '%-12s %10s %10s %14s %14s\n' sheaflow "$sf_rep" "$sf_sea" 1.0x 1.0x
    printf '%-12s %10s %10s %14s %14s\n' sheetjs "$js_rep" "$js_sea" "$(ratio "$js_rep" "$sf_rep")" "$(ratio "$js_sea" "$sf_sea")"
    printf '%-12s %10s %10s %14s %14s\n' libreoffice "$lo_rep" "$lo_sea" "$(ratio "$lo_rep" "$sf_rep")" "$(ratio "$lo_sea" "$sf_sea")"
    for t in sf js lo; do
        if [ -f "$r/${t}_search.tsv" ]; then
            echo "$t search \"$TERM\": $(grep -c "$TERM" "$r/${t}_search.tsv" || true) matching lines"
        fi
    done
    echo "kept by sheaflow:    $(check_kept "$src" "$r/sheaflow")"
    if [ $HAVE_NODE = 1 ]; then echo "kept by sheetjs:     $(check_kept "$src" "$r/sheetjs")"; fi
    if [ $HAVE_LO = 1 ]; then echo "kept by libreoffice: $(check_kept "$src" "$r/lo")"; fi
    echo
}

case $WHICH in
    small) run_size small 200 200 "$SEARCH_SMALL" ;;
    large) run_size large 20 20000 "$SEARCH_LARGE" ;;
    all) run_size small 200 200 "$SEARCH_SMALL"; run_size large 20 20000 "$SEARCH_LARGE" ;;
    *) echo "usage: $0 [small|large|all]" >&2; exit 2 ;;
esac
