# Sourced by the benchmark scripts once they have set ROOT (the checkout): where the program,
# the shared benchmark folder and the peers are, which peers are installed, and how a command
# is timed.

SHEAFLOW=${SHEAFLOW:-${SHEAFLOW_BIN:-$ROOT/build/sheaflow}}
# The shared folder and the peers sit beside the checkout (or beside the folder of worktrees).
up() { for d in "$ROOT/../$1" "$ROOT/../../$1"; do [ -e "$d" ] && { (cd "$d" && pwd); return; }; done; echo "$ROOT/../$1"; }
SHARED_BENCH=${SHARED_BENCH:-$(up shared/bench)}
PEERS=${PEERS:-$(up peers)}
export NODE_PATH="$PEERS/node_modules"
# LibreOffice with its Python bridge, which the in-place peers need.
HAVE_LO=0
if command -v soffice >/dev/null && /usr/bin/python3 -c 'import uno' 2>/dev/null; then HAVE_LO=1; fi

now() { date +%s.%N; }

# measure LOG CMD...: runs CMD with its output in LOG and prints "<wall s> <cpu s> <peak MB>"
# (CPU time of the command and its children: an office process is a child of its script), or
# "failed failed failed". On a shared machine the CPU time is the steadier figure.
measure() {
    log=$1; shift
    if /usr/bin/time -f '%e %U %S %M' -o "$log.time" "$@" >"$log" 2>&1; then
        awk '{ printf "%s %.2f %.0f", $1, $2 + $3, $4 / 1024 }' "$log.time"
    else
        echo "failed failed failed"
    fi
}

# record NAME CMD...: measures CMD, niced, with its output in $WORK/NAME.log, and appends
# "NAME <wall s> <cpu s> <peak MB>" to $RESULTS; a failure is told instead.
record() {
    name=$1; shift
    figures=$(measure "$WORK/$name.log" nice "$@")
    case $figures in
        failed*) echo "  ($name failed: see $WORK/$name.log)" ;;
        *) echo "$name $figures" >>"$RESULTS" ;;
    esac
}
