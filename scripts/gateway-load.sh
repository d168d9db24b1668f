#!/usr/bin/env bash
# gateway-load.sh - ten thousand synthetic routers at one gateway: how it does under load, and whether it stays flat.
set -uo pipefail
export LC_ALL=C

usage() {
    cat <<END
gateway-load.sh - ten thousand synthetic routers at one gateway with one thread for its sessions

  scripts/gateway-load.sh [load] [OPTION]...    figures, and three restart storms; about seven minutes
  scripts/gateway-load.sh soak [OPTION]...      the traffic of an hour in six minutes, after six of warming up: is it flat?

Builds the release build, and runs nats-server, plug-gateway and the routers (real connections, frames and keys, all in one
thread) in namespaces of their own. In the end there is a table: figure, what it has to reach, measured, verdict.

  load measures logins, memory of a session, processor time with heartbeats alone, questions one after another (each in turn
  with a bare NATS request) and many at once, reports until they are acknowledged; kills the gateway (-9) and starts it
  again, with each router at an address of its own, then behind few, then a minute later; and puts the same question to
  plugsim.
  soak holds up heartbeats, questions, reports and lost sessions at ten times the rate of every day, takes samples of memory,
  descriptors, threads and processor time, and compares the second sixth of the time with the last one as tests/fleet/Flat.h
  says.

  --routers N     in the fleet [10000]
  --interval N    seconds between a router's heartbeats [60]
  --minutes N     of soak [6]
  --speed N       of soak: times the rates of every day [10]
  --log FILE      keep all that the run has written there, too
  others          for short runs: build/release/gateway_load load --help and soak --help list them
  --help          this text

Needs root or user namespaces, and as many descriptors as there are routers (root has them). Best on a machine that does
nothing else: the load average stands beside what it touches.
Exit status: 0 all was reached, 1 not so, 2 wrong use, 3 it could not run, 130 interrupted.
END
}

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
. "$repo/scripts/lib/screen.sh"
. "$repo/scripts/lib/figures.sh"
work=$repo/build/gateway-load
kind=load log='' options=()

wrong() { echo "gateway-load.sh: $*; see --help" >&2; exit 2; }

case ${1:-} in load | soak)
    kind=$1
    shift
    ;;
esac
while [ $# -gt 0 ]; do
    case $1 in
    -h | --help) usage; exit ;;
    --log)
        [ $# -gt 1 ] || wrong "$1 needs a value"
        log=$(realpath -m -- "$2") || exit 3
        ;;
    --folder) wrong "the folder is $work" ;;
    --*)
        [ $# -gt 1 ] || wrong "$1 needs a value"
        options+=("$1" "$2")
        ;;
    *) wrong "unknown argument \"$1\"" ;;
    esac
    shift 2
done

mkdir -p "$work" || exit 3
"$repo/scripts/install-packages.sh" build run || exit 3
title "== Build"
quietly "$work/configure.log" "configuring" cmake -S "$repo" --preset release || exit 3
quietly "$work/build.log" "building" cmake --build "$repo/build/release" -j "$(nproc)" --target gateway_load || exit 3

# ---- The run: figures to the file, all else to the screen as it comes

pid='' interrupted=''
# shellcheck disable=SC2317 # the trap calls it
stop() {
    interrupted=yes
    [ -z "$pid" ] || kill "$pid" 2>/dev/null
}
trap stop HUP INT TERM

title "== $kind"
say "$(nproc) processors, load average $(cut -d ' ' -f 1-3 /proc/loadavg) before the start"
"$repo/build/release/gateway_load" "$kind" --folder "$work" "${options[@]}" > >(tee "$work/output" | grep --line-buffered -v '^FIGURE') &
pid=$!
wait "$pid"
status=$?
while [ -n "$interrupted" ] && kill -0 "$pid" 2>/dev/null; do wait "$pid"; done
wait # for what copies its output
[ -z "$log" ] || cp "$work/output" "$log" || status=3

title "== Figures"
figures_table "$work/output"
[ -z "$interrupted" ] || exit 130
case $status in
0 | 1) exit "$status" ;;
2 | 10[0-9] | 11[0-9]) wrong "an option was not understood" ;;
*) exit 3 ;;
esac
