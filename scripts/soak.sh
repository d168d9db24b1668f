#!/usr/bin/env bash
# soak.sh - days of the supervised agent's life in minutes, and a picture of what it holds.
set -uo pipefail
export LC_ALL=C

usage() {
    cat <<END
soak.sh - lets the agent live for days in minutes, and looks whether it holds more and more

  scripts/soak.sh [--days N] [--speed N] [--seed N] [--plot FILE] [--keep]

Builds the release build, and runs the agent under its supervisor, on a fast clock, against the simulated router, the
test platform and the router's management process. In every hour of its time everything is done once, in another order
each time: commands of every kind, rules, diagnostics, reports, a refused update, damaged frames, a local peer that
leaves, lost sessions, a date that is set. The first four processes are ended by the platform, by SIGKILL, by an outage
and by an update; the next one ends itself after its week. Memory, descriptors, threads, files and processor time are
compared as tests/soak/Judge.h says.

  --days N      of the agent's time, decimals too [8]
  --speed N     how many times faster that time runs [600]: 8 days take about 19 minutes
  --seed N      decides the order [of the time; it is printed]
  --plot FILE   where the picture goes [build/soak/soak.svg]
  --keep        keep samples, summary and retries in build/soak (a run that is not flat keeps them anyway)
  --help        this text

Interrupted, it makes the picture of what it has. Needs root or user namespaces.
Exit status: 0 all was flat and everything worked, 1 not so, 2 wrong use, 3 it could not run, 130 interrupted.
END
}

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
. "$repo/scripts/lib/screen.sh"
work=$repo/build/soak
days=8 speed=600 seed=$(date +%s) picture=$work/soak.svg keep=''

wrong() { echo "soak.sh: $*; see --help" >&2; exit 2; }
number() { [[ $2 =~ ^[0-9]{1,9}(\.[0-9]{1,6})?$ ]] || wrong "$1 needs a number"; }

while [ $# -gt 0 ]; do
    case $1 in
    --days | --speed | --seed | --plot) [ $# -gt 1 ] || wrong "$1 needs a value" ;;
    --keep)
        keep=yes
        shift
        continue
        ;;
    -h | --help) usage; exit ;;
    *) wrong "unknown option \"$1\"" ;;
    esac
    case $1 in
    --days) number "$@" && days=$2 ;;
    --speed) number "$@" && speed=$2 ;;
    --seed)
        [[ $2 =~ ^[0-9]{1,9}$ ]] || wrong "$1 needs a whole number"
        seed=$2
        ;;
    --plot) picture=$(realpath -m -- "$2") || exit 3 ;;
    esac
    shift 2
done

mkdir -p "$work" || exit 3
"$repo/scripts/install-packages.sh" build run plot || exit 3
title "== Build"
quietly "$work/configure.log" "configuring" cmake -S "$repo" --preset release || exit 3
quietly "$work/build.log" "building" cmake --build "$repo/build/release" -j "$(nproc)" --target soak || exit 3

# ---- The run

pid=''
interrupted=''
# shellcheck disable=SC2317 # the trap calls it
stop() {
    interrupted=yes
    [ -z "$pid" ] || kill "$pid" 2>/dev/null
}
trap stop HUP INT TERM

title "== $days days at $speed times the speed, --seed $seed"
"$repo/build/release/soak" --days "$days" --speed "$speed" --seed "$seed" --folder "$work" &
pid=$!
wait "$pid"
status=$?
while [ -n "$interrupted" ] && kill -0 "$pid" 2>/dev/null; do wait "$pid"; done

# ---- The picture

# draw: of what there is
draw() {
    local samples=$work/samples.tsv settled=$work/settled.tsv heading ends
    [ "$(grep -c $'\t1$' "$samples" 2>/dev/null)" -gt 1 ] || return 1 # a line needs two points
    # The rate between two rounds of one process; the times at which a process is seen first.
    awk -F '\t' -v OFS='\t' 'NR > 1 && $9 == 1 {
        if ($2 != life) cpu = age = 0
        print $1 / 86400, $2, $4, $5, $6, $7, ($8 - cpu) * 3600 / ($3 - age)
        life = $2; cpu = $8; age = $3
    }' "$samples" >"$settled"
    ends=$(awk -F '\t' 'NR > 1 && $2 != life {
        if (life) printf "set arrow from first %f, graph 0 to first %f, graph 1 nohead lc rgb \"#bbbbbb\";", $1 / 86400, $1 / 86400
        life = $2
    }' "$samples")
    heading="$days days at $speed times the speed: interrupted"
    [ ! -s "$work/summary.txt" ] || heading=$(head -n 2 "$work/summary.txt" | fold -s -w 110)
    heading=${heading//\'/}
    heading=${heading//$'\n'/\\n}
    gnuplot -e "samples='$samples'; settled='$settled'; picture='$picture'; days=$days; ends='$ends'; heading=\"$heading\"" \
        "$repo/tests/soak/plot.gnuplot"
}

if draw; then say "the picture is $picture"; else say "there is no picture"; fi
[ -z "$interrupted" ] || exit 130
if [ -z "$keep" ] && [ "$status" -eq 0 ]; then
    rm -f "$work"/{samples.tsv,settled.tsv,summary.txt,retries.txt,supervisor,plug.update,plug.update.trial,configure.log,build.log}
fi
exit "$status"
