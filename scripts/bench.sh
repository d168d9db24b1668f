#!/bin/sh
# bench.sh - builds and runs the benchmarks and ends with a table: figure, to reach, measured, verdict.
#
#   scripts/bench.sh [--save FILE] [--compare FILE] [--agents N] [codec] [dispatch] [surf] [md5] [latency] [start]
#                    [local] [ping] [devices] [rate] [size] [idle] [sessions] [scale]
#
# No name: all but "scale", about eleven minutes. "scale" takes another nine: a thousand agents at one platform, a start,
# heartbeats, and two outages.
#
#   --save FILE      the figures, for a later --compare
#   --compare FILE   fails when a size or memory is more than 3 % above what that file has; tests/bench/figures.tsv has
#                    those of docs/benchmarks.md
#   --agents N       for "scale": another number of agents, up to 5000
#
# Everything runs against the release build; the agent gets a /tmp of its own. Best on a machine that does nothing
# else. Exit status: 0 all reached, 1 a figure was missed, got worse or could not be measured.
set -u

repo=$(cd "$(dirname "$0")/.." && pwd)
. "$repo/scripts/lib/figures.sh"
build=$repo/build/release
save='' compare='' agents=1000
while [ $# -gt 0 ]; do
    case $1 in
    --save | --compare)
        [ $# -gt 1 ] || { echo "bench.sh: $1 needs a file" >&2; exit 1; }
        file=$(realpath -m "$2")
        if [ "$1" = --save ]; then save=$file; else compare=$file; fi
        shift 2
        ;;
    --agents)
        case ${2:-x} in *[!0-9]*) echo "bench.sh: --agents needs a number" >&2; exit 1 ;; esac
        agents=$2
        shift 2
        ;;
    *) break ;;
    esac
done
cd "$repo" || exit 1
[ $# -gt 0 ] || set -- codec dispatch surf md5 latency start local ping devices rate size idle sessions

die() { echo "bench.sh: $*" >&2; exit 1; }

[ -z "$compare" ] || [ -r "$compare" ] || die "cannot read $compare"
results=$(mktemp) || exit 1
log=$(mktemp) || exit 1
pid=
trap 'rm -f "$results" "$log"' EXIT
trap '[ -z "$pid" ] || kill "$pid" 2>/dev/null; exit 1' HUP INT TERM

build_preset() {
    preset=$1
    shift
    { cmake --preset "$preset" && cmake --build --preset "$preset" -j "$(nproc)" --target "$@"; } >"$log" 2>&1
}

# Keeps the FIGURE lines for the table and shows the others. In the background, so that an interrupt ends it at once.
run() {
    "$@" >"$log" 2>&1 &
    await "$@"
}

# The same, with the error output as it comes.
run_long() {
    "$@" >"$log" &
    await "$@"
}

await() {
    pid=$!
    wait "$pid"
    status=$?
    pid=
    grep -v '^FIGURE' "$log"
    sed -n 's/^.*FIGURE\t/FIGURE\t/p' "$log" >>"$results"
    [ $status -eq 0 ] || missing "$(basename "$1") ${2:-} (exit status $status)"
}

missing() { printf 'FIGURE\t%s\t\tnot measured\tMISSED\n' "$*" >>"$results"; }

# size NAME PROGRAM LIMIT-BYTES: the build leaves what is shipped beside the program.
size() {
    bytes=$(stat -c %s "$repo/build/$2.stripped" 2>/dev/null) || { missing "stripped agent, $1"; return; }
    verdict=reached
    [ "$bytes" -le "$3" ] || verdict=MISSED
    printf 'FIGURE\tstripped agent, %s\tat most %s bytes\t%s bytes\t%s\n' "$1" "$3" "$bytes" $verdict >>"$results"
}

# sizes NAME PRESET LIMIT-BYTES LIMIT-BYTES: of the agent with libcrypto as a part of it, and with the shared one. The
# latter is all there is where the machine has no libcrypto.a.
sizes() {
    if [ -e "build/$2/plug_dynamic.stripped" ]; then
        size "$1" "$2/plug" "$3"
        size "$1, shared libcrypto" "$2/plug_dynamic" "$4"
    else
        size "$1, shared libcrypto" "$2/plug" "$4"
    fi
}

# What is protected in the code is a part of it: up to 6 KB of each.
all_sizes() {
    sizes x86-64 release $((126 * 1024)) $((106 * 1024))
    if ! command -v mipsel-linux-gnu-g++ >/dev/null && [ ! -e build/mipsel/plug.stripped ]; then
        echo "size: no cross compiler (scripts/install-packages.sh mipsel), so nothing for mipsel"
        return
    fi
    for preset in mipsel mips16; do
        build_preset "$preset" all_agents || cat "$log"
        sizes "$preset" "$preset" $((126 * 1024)) $((110 * 1024))
    done
}

build_preset release all_agents agent_bench scale_bench codec_bench dispatch_bench surf_bench md5_bench || { cat "$log"; die "the build failed"; }
for group; do
    echo "== $group"
    case $group in
    codec | dispatch | surf | md5) run "$build/${group}_bench" ;;
    latency | start | local | ping | devices | rate | sessions) run "$build/agent_bench" "$group" ;;
    idle)
        run "$build/agent_bench" idle
        run "$build/agent_bench" memory
        [ ! -e "$build/plug_dynamic" ] || run "$build/agent_bench" --agent "$build/plug_dynamic" memory
        ;;
    scale) run_long "$build/scale_bench" "$agents" ;;
    size) all_sizes ;;
    *) die "unknown benchmark \"$group\" (codec, dispatch, surf, md5, latency, start, local, ping, devices, rate, size, idle, sessions, scale)" ;;
    esac
done

echo
figures_table "$results"
status=0
if grep -q 'MISSED$' "$results"; then status=1; fi
[ -z "$save" ] || cp "$results" "$save" || status=1
if [ -n "$compare" ]; then
    echo
    echo "against $compare:"
    "$repo/scripts/compare-figures.sh" "$compare" "$results" || status=1
fi
exit $status
