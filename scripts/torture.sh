#!/usr/bin/env bash
# torture.sh - lets every call of the agent go wrong, one at a time, and prints a table of what became of it.
set -uo pipefail
export LC_ALL=C

usage() {
    cat <<END
torture.sh - lets calls of the agent go wrong, and looks whether it gets over it

  scripts/torture.sh [--kind KIND]... [--session NAME]... [--sample N] [--seed S] [--jobs N]

Builds the release build, and then goes through sessions with the simulated router and the test platform. In each of
them one call fails, or all from one on, or calls are interrupted at random; for every call that a session makes.
Afterwards the session has to come back by itself, everything has to work, the agent must not hold more descriptors,
threads or memory than before, and SIGTERM has to end it within a second.

  --kind KIND      only faults of this kind: malloc, send, recv, read, write, open, socket, bind, listen, accept,
                   connect, spawn, pipe, thread, rename, unlink, stat, poll, option, file, router, random
  --session NAME   only this session: router, local, update
  --sample N       only N of the points
  --seed S         chooses these N, and the order of all (otherwise of the time; it is printed)
  --jobs N         so many agents at a time (as many as there are processors)
  --help           this text

All points take about an hour with two processors. Interrupted, it prints the table of what it has. Every result is
kept in build/torture/results.txt; "build/release/torture 'router send:7'" tries one point again. Needs root or user
namespaces.

Exit status: 0 when no point was faulty, 1 when one was, 2 for wrong use, 3 when it could not run, 130 when interrupted.
END
}

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
. "$repo/scripts/lib/screen.sh"
work=$repo/build/torture
torture=$repo/build/release/torture
kinds='' sessions='' sample=0 seed=$(date +%s) jobs=$(nproc)

wrong() { echo "torture.sh: $*; see --help" >&2; exit 2; }
number() { [[ $2 =~ ^[1-9][0-9]{0,9}$ ]] || wrong "$1 needs a number"; }

while [ $# -gt 0 ]; do
    case $1 in
    --kind | --session | --sample | --seed | --jobs) [ $# -gt 1 ] || wrong "$1 needs a value" ;;
    -h | --help) usage; exit ;;
    *) wrong "unknown option \"$1\"" ;;
    esac
    case $1 in
    --kind)
        [[ $2 =~ ^(malloc|send|recv|read|write|open|socket|bind|listen|accept|connect|spawn|pipe|thread)$ ]] ||
            [[ $2 =~ ^(rename|unlink|stat|poll|option|file|router|random)$ ]] || wrong "there is no kind \"$2\""
        kinds+=${kinds:+|}$2
        ;;
    --session)
        [[ $2 =~ ^(router|local|update)$ ]] || wrong "there is no session \"$2\""
        sessions+=${sessions:+|}$2
        ;;
    --sample) number "$@" && sample=$2 ;;
    --seed) number "$@" && seed=$2 ;;
    --jobs) number "$@" && jobs=$2 ;;
    esac
    shift 2
done

# ---- What there is to do

mkdir -p "$work" || exit 3
rm -f "$work"/part.* "$work"/results.* "$work"/errors.*
title "== Build"
quietly "$work/configure.log" "configuring" cmake -S "$repo" --preset release || exit 3
quietly "$work/build.log" "building" cmake --build "$repo/build/release" -j "$(nproc)" --target torture || exit 3

# chance: an endless stream of bytes that only the seed decides
chance() { openssl enc -aes-128-ctr -pass "pass:$seed" -nosalt -pbkdf2 </dev/zero 2>/dev/null; }

title "== Points"
"$torture" --list >"$work/all" || exit 3
grep -E "^(${sessions:-.*}) (${kinds:-.*}):" "$work/all" | shuf --random-source=<(chance) >"$work/points"
[ "$sample" -eq 0 ] || { head -n "$sample" "$work/points" >"$work/points.cut" && mv "$work/points.cut" "$work/points"; }
count=$(wc -l <"$work/points")
say "$count points of $(wc -l <"$work/all"), --seed $seed, $jobs at a time"
[ "$count" -gt 0 ] || { echo "torture.sh: no such point is ever reached" >&2; exit 3; }

# ---- Trying them

pids=()
interrupted=''
stop() {
    interrupted=yes
    [ ${#pids[@]} -eq 0 ] || kill "${pids[@]}" 2>/dev/null
}
trap stop HUP INT TERM

results() { cat "$work"/results.[0-9]*; }

progress() {
    local tried took left
    tried=$(results | wc -l)
    took=$(($(now_us) - start))
    [ "$tried" -gt 0 ] || return
    left=$((took * (count - tried) / tried / 1000000))
    say "$tried of $count, $(results | grep -c -F $'\tFAULTY\t') faulty, about $((left / 60)) min $((left % 60)) s left"
}

# running: whether one of them still is
running() {
    local pid
    for pid in "${pids[@]}"; do ! kill -0 "$pid" 2>/dev/null || return 0; done
    return 1
}

title "== Faults"
start=$(now_us)
for ((job = 0; job < jobs; job++)); do
    awk -v job=$job -v jobs="$jobs" 'NR % jobs == job' "$work/points" >"$work/part.$job"
    : >"$work/results.$job"
    [ -s "$work/part.$job" ] || continue
    "$torture" <"$work/part.$job" >"$work/results.$job" 2>"$work/errors.$job" &
    pids+=($!)
done
ticks=0
while [ -z "$interrupted" ] && running; do
    sleep 1 &
    wait $!
    ticks=$((ticks + 1))
    [ $((ticks % 20)) -ne 0 ] || progress
done
broken=''
for pid in "${pids[@]}"; do
    wait "$pid"
    [ $? -le 1 ] || broken=yes
done
results >"$work/results.txt"
cat "$work"/errors.* >&2

# ---- The table

title "== Table, $(seconds $(($(now_us) - start))) s"
awk -F '\t' '
    {
        split($1, part, /[ :]/)
        kind = part[2]
        if (!(kind in points)) order[++kinds] = kind
        points[kind]++
        became[kind, $2]++
        total[$2]++
    }
    function row(name, n, back, anew, stop, out, bad) {
        printf "  %-10s %7s %10s %13s %8s %12s %7s\n", name, n, back, anew, stop, out, bad
    }
    END {
        row("kind", "points", "came back", "started anew", "stopped", "not reached", "FAULTY")
        for (i = 1; i <= kinds; i++) {
            k = order[i]
            row(k, points[k], became[k, "came-back"] + 0, became[k, "started-anew"] + 0, became[k, "stopped"] + 0,
                became[k, "not-reached"] + 0, became[k, "FAULTY"] + 0)
        }
        row("all", NR, total["came-back"] + 0, total["started-anew"] + 0, total["stopped"] + 0,
            total["not-reached"] + 0, total["FAULTY"] + 0)
    }' "$work/results.txt"
grep -F $'\tFAULTY\t' "$work/results.txt" >"$work/faulty"
if [ -s "$work/faulty" ]; then
    title "== Faulty"
    awk -F '\t' '{ printf "  %s (%s)\n      %s\n", $1, $4, substr($5, 1, 300) }' "$work/faulty"
fi
echo
echo "$(wc -l <"$work/results.txt") of $count points tried, $(wc -l <"$work/faulty") faulty, --seed $seed"
[ -z "$interrupted" ] || exit 130
[ ! -s "$work/faulty" ] || exit 1
[ -z "$broken" ] && [ "$(wc -l <"$work/results.txt")" -eq "$count" ] || exit 3
