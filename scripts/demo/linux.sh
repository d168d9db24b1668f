#!/usr/bin/env bash
# linux.sh - the demo of the real router: the agent with the router library for Linux, in the lab of scripts/lab.sh.
#
#   linux.sh BUILD       called by demo.sh; BUILD is empty when the build that is there is to be used
#
# Each step is a script of plugsim in scripts/demo/linux. All figures are measured on the traffic of this run.
set -uo pipefail
export LC_ALL=C
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd -P)
. "$repo/scripts/lib/screen.sh"
. "$repo/scripts/lib/zone.sh"
. "$repo/scripts/demo/build.sh"
bin=$repo/build/release out=$repo/build/demo-linux

# Random values, so that correct answers cannot be stale ones.
make_inputs() {
    rm -f "$out"/{events.jsonl,agent.log,plug.conf}
    internet=198.51.100.1 key=$(random_hex 8) pin=$(printf '%012d' $((RANDOM * 32768 + RANDOM)))
    laptop=laptop-$RANDOM printer=printer-$RANDOM television=tv-$RANDOM
    limit=$((RANDOM % 400 * 1000 + 100000))
    cat >"$out/plug.conf" <<CONF
[Dev]
PIN=$pin
[Protool]
KEY=$key
SERVER1=$internet
SERVER2=$internet
PORT=6039
CONF
    read -r day weekday < <(date '+%u %A')
}

run_steps() {
    local begin colour=never
    [ -z "$off" ] || colour=always
    begin=$(now_us)
    cat "$repo"/scripts/demo/linux/*.plugsim |
        "$repo/scripts/lab.sh" in internet "$bin/plugsim" platform --script - --quiet --color $colour \
            --log "$out/events.jsonl" --wait-timeout 30 --register "$internet:6039" --login "$internet:6040" \
            --key "$key" --interval 20 --http "$internet:8199" --http-size 64M || {
        printf '\n%sThe step above failed.%s The last lines of the agent, and then of the platform:\n' "$red" "$off"
        { grep . "$out/agent.log" | tail -8; tail -4 "$out/events.jsonl"; } | cut -c1-300
        echo "All output is in $out"
        exit 1
    }
    printf '\n%sAll %s steps passed in %s s.%s What the programs wrote is in build/demo-linux.\n' \
        "$green" "$(cat "$repo"/scripts/demo/linux/*.plugsim | grep -c '^title [0-9]')" \
        "$(seconds $(($(now_us) - begin)))" "$off"
}

if [ "${1:-}" != --inside ]; then
    build_programs "${1:-}" "build run lab" "the agent, the router library for Linux and the test platform" \
        plug plugsim router_linux lab_traffic
    "$repo/scripts/lab.sh" check || exit
    # With the first process of the new namespaces all others end, and with them everything that was made.
    exec unshare --mount --net --pid --fork --kill-child --mount-proc -- bash "$0" --inside
fi
exec 8>"$out/lock"
flock -n 8 || die "another demo is running in this checkout"
# shellcheck source=scripts/lib/private.sh
. "$repo/scripts/lib/private.sh"
private_enter --net "$repo" || die "could not make the private place"
choose_time_zone
make_inputs
"$repo/scripts/lab.sh" up || exit
export repo bin out internet pin laptop printer television limit day weekday
run_steps
