#!/bin/sh
# bench.sh - builds and runs the benchmarks and ends with a table: figure, to reach, measured, verdict.
#
#   scripts/bench.sh [codec] [dispatch] [surf] [md5] [latency] [start] [local] [ping] [devices] [rate] [size] [idle] [sessions]
#
# No name: all, about six minutes.
#
# Everything runs against the release build; the agent gets a /tmp of its own. Best on a machine that does nothing
# else. Exit status: 0 all reached, 1 a figure was missed or could not be measured.
set -u

repo=$(cd "$(dirname "$0")/.." && pwd)
build=$repo/build/release
cd "$repo" || exit 1
[ $# -gt 0 ] || set -- codec dispatch surf md5 latency start local ping devices rate size idle sessions

die() { echo "bench.sh: $*" >&2; exit 1; }

results=$(mktemp) || exit 1
log=$(mktemp) || exit 1
trap 'rm -f "$results" "$log"' EXIT
trap 'exit 1' HUP INT TERM

build_preset() {
    preset=$1
    shift
    { cmake --preset "$preset" && cmake --build --preset "$preset" -j "$(nproc)" --target "$@"; } >"$log" 2>&1
}

# Keeps the FIGURE lines for the table and shows the others.
run() {
    "$@" >"$log" 2>&1
    status=$?
    grep -v '^FIGURE' "$log"
    sed -n 's/^.*FIGURE\t/FIGURE\t/p' "$log" >>"$results"
    [ $status -eq 0 ] || missing "$(basename "$1") ${2:-} (exit status $status)"
}

missing() { printf 'FIGURE\t%s\t\tnot measured\tMISSED\n' "$*" >>"$results"; }

# size NAME PRESET LIMIT-KB: the build leaves the stripped agent beside the agent.
size() {
    file=$repo/build/$2/plug.stripped
    bytes=$(stat -c %s "$file" 2>/dev/null) || { missing "stripped agent, $1"; return; }
    verdict=reached
    [ "$bytes" -le $(($3 * 1024)) ] || verdict=MISSED
    kb=$(awk "BEGIN { printf \"%.1f\", $bytes / 1024 }")
    printf 'FIGURE\tstripped agent, -Os, %s\tat most %s KB\t%s KB\t%s\n' "$1" "$3" "$kb" $verdict >>"$results"
}

sizes() {
    size x86-64 release 130
    if ! command -v mipsel-linux-gnu-g++ >/dev/null && [ ! -e build/mipsel/plug.stripped ]; then
        echo "size: no cross compiler (scripts/install-packages.sh mipsel), so nothing for mipsel"
        return
    fi
    build_preset mipsel plug || cat "$log"
    size mipsel mipsel 120
}

build_preset release plug agent_bench codec_bench dispatch_bench surf_bench md5_bench || { cat "$log"; die "the build failed"; }
for group; do
    echo "== $group"
    case $group in
    codec | dispatch | surf | md5) run "$build/${group}_bench" ;;
    latency | start | local | ping | devices | rate | idle | sessions) run "$build/agent_bench" "$group" ;;
    size) sizes ;;
    *) die "unknown benchmark \"$group\" (codec, dispatch, surf, md5, latency, start, local, ping, devices, rate, size, idle, sessions)" ;;
    esac
done

echo
{ printf 'FIGURE\tfigure\tto reach\tmeasured\tverdict\n'; cat "$results"; } |
    awk -F '\t' '{
        for (i = 2; i <= 5; i++) { cell[NR, i] = $i; if (length($i) > width[i]) width[i] = length($i) }
    } END {
        for (row = 1; row <= NR; row++) {
            for (i = 2; i <= 4; i++) printf "%-*s  ", width[i], cell[row, i]
            print cell[row, 5]
        }
    }'
! grep -q 'MISSED$' "$results"
