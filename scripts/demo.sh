#!/usr/bin/env bash
# demo.sh - builds the agent and shows it at work: the real agent, the simulated router, test platform and local peer.
set -uo pipefail
export LC_ALL=C
PATH=$PATH:/usr/sbin:/sbin

usage() {
    cat <<TEXT
demo.sh - builds the agent and shows it at work

  scripts/demo.sh [--no-build] [--factor N]
  scripts/demo.sh --linux [--no-build]
  scripts/demo.sh --fleet [--no-build]

Installs the Debian packages that are missing (root or sudo), builds, and runs the real agent against the simulated
router and the test platform, step by step. Each step is a script of plugsim in scripts/demo. On a terminal you
are then left at the platform's prompt; without one the exit status is 0, or 1 when a step failed.

  --linux       a real router instead: the router library for Linux, among real traffic in network namespaces
                (scripts/lab.sh); needs root, ends with status 3 where the machine does not allow them
  --fleet       200 agents instead, two gateways (plug-gateway) and three NATS servers, of which some are killed, and a
                staged update; three minutes, needs namespaces, ends with status 3 where the machine does not allow them
  --no-build    use the build that is there
  --factor N    how much faster the agent's time runs, 1 to 60 [20]
  --help        this text

What the programs wrote stays in build/demo: events.jsonl (platform and management process), agent.log, calls (router).
TEXT
}

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
. "$repo/scripts/lib/screen.sh"
. "$repo/scripts/lib/private.sh"
. "$repo/scripts/lib/zone.sh"
. "$repo/scripts/demo/build.sh"

bin=$repo/build/release out=$repo/build/demo
clock=$out/libfastclock.so
factor=20 build=yes other=''
inside='' way='' # set when the script has restarted itself in the private place

while [ $# -gt 0 ]; do
    case $1 in
    --linux | --fleet) other=${1#--} ;;
    --no-build) build= ;;
    --factor) [ $# -gt 1 ] || die "--factor needs a number"; factor=$2; shift ;;
    --inside) inside=yes way=$2; shift ;;
    -h | --help) usage; exit ;;
    *) die "unknown option \"$1\"; see --help" ;;
    esac
    shift
done
[[ $factor =~ ^([1-9]|[1-5][0-9]|60)$ ]] || die "--factor is a whole number from 1 to 60"

if [ -n "$other" ]; then exec bash "$repo/scripts/demo/$other.sh" "$build"; fi

# ---- Outside: packages, build, and a private place (namespaces)

prepare() {
    build_programs "$build" "build run" "the agent, the simulated router and the test platform" plug plug_next plugsim
    # The tests' fast clock; built here so that the demo does not need to build the tests.
    cc -shared -fPIC -O2 -std=gnu11 -fvisibility=hidden -o "$clock" "$repo"/tests/e2e/FastClock{,Calls}.c \
        -ldl -lpthread || die "could not build the fast clock"
}

if [ -z "$inside" ]; then
    prepare
    way=$(private_way)
    case $way in
    *--net*) say "private place: a /tmp and a loopback of its own" ;;
    --*) say "private place: a /tmp of its own; no private network here, so the platform takes free ports of the loopback" ;;
    *)
        say "private place: none, this machine allows no namespaces. The platform takes free ports of the loopback, and"
        say "the agent writes this machine's own /tmp/plugstatus, which is removed at the end."
        # A running agent would lose it, and its stages would be mixed with the demo's.
        [ ! -e /tmp/plugstatus ] || die "there is a /tmp/plugstatus already; remove it if no agent is in use here"
        ;;
    esac
    # exec: signals then reach the steps directly.
    # shellcheck disable=SC2086 # a list of words
    [ -z "$way" ] || exec unshare $way -- bash "$repo/scripts/demo.sh" --factor "$factor" --inside "$way"
fi

# ---- Inside: random input values for each run, so that correct answers cannot be stale ones

make_inputs() {
    rm -f "$out"/{events.jsonl,agent.log,calls,plug.conf,household.json}
    pin=$(printf '%08d' $((RANDOM * 32768 + RANDOM)) | tail -c 8)
    key=$(random_hex 8) mac=02$(random_hex 5)
    mac_colons=${mac:0:2}:${mac:2:2}:${mac:4:2}:${mac:6:2}:${mac:8:2}:${mac:10:2}
    serial=DEMO$(random_hex 4) router_name=router-$RANDOM guest_name=guest-$RANDOM mhz=$((500 + RANDOM % 1000))
    clients=$((RANDOM % 90 + 10)) interval=60 # seconds between heartbeats, of the agent's time
    stripped=$(($(wc -c <"$bin/plug.stripped") / 1024))
    # The guest is online for a minute of every two, whatever the demo does.
    cat >"$out/household.json" <<JSON
{"router": {"serial": "$serial", "vendor": "Example", "model": "R-100", "name": "$router_name", "ipv6": true},
 "cpu": {"model": "MIPS 24KEc", "mhz": $mhz, "cores": 1}, "memory": {"kilobytes": 65536, "type": "DDR2"},
 "timetable": [{"at": 20, "every": 120,
                "join": {"mac": "02:00:00:00:00:99", "name": "$guest_name", "ip": "192.168.1.50", "link": "wifi_5g"}},
               {"at": 80, "every": 120, "leave": "02:00:00:00:00:99"}]}
JSON
    : >"$out/calls"
}

# Sets the platform's addresses, and steps: the matching scripts of scripts/demo.
choose_place() {
    local rate_server own=''
    # The address at which this build of the agent tests its download rate: only a private network can have it, and a
    # device that the router does not know.
    rate_server=$(sed -n 's/^PLUG_RATE_TEST_SERVER:STRING=//p' "$bin/CMakeCache.txt")
    register=127.0.0.1:0 login=127.0.0.1:0 http=127.0.0.1:0 host=127.0.0.1
    if [[ $way = *--net* ]]; then
        register=127.0.0.1:6039 login=127.0.0.1:6040
        if ip addr add "$rate_server/32" dev lo 2>/dev/null; then own=rate http=$rate_server:8199 host=$rate_server; fi
        if ip link add lan0 type veth peer name lan1 2>/dev/null && ip addr add 192.168.1.1/24 dev lan0 &&
            ip link set lan0 up && ip neigh add 192.168.1.77 lladdr 02:00:00:00:00:77 nud permanent dev lan0; then
            own+=" neighbour"
        fi
    fi
    steps=(01-configuration 02-registration 03-login 04-heartbeats 05-status-file 06-identity 07-functions 08-diagnostics)
    if [[ $own = rate* ]]; then steps+=(08-rate-own-address); else steps+=(08-rate-elsewhere); fi
    steps+=(08-rate-result 09-internet-time 10-devices)
    if [[ $own = *neighbour ]]; then steps+=(10-neighbour); fi
    steps+=(10-guest 11-management-process 12-lost-session 13-update 14-summary)
}

run_steps() {
    local begin colour=never
    [ -z "$off" ] || colour=always
    begin=$(now_us)
    # Answers are a tenth of a second late: otherwise the stages would change faster than stages.sh can read the file.
    (cd "$repo/scripts/demo" && cat "${steps[@]/%/.plugsim}") |
        "$bin/plugsim" platform --script - --quiet --color $colour --log "$out/events.jsonl" --wait-timeout 30 \
            --register "$register" --login "$login" --key "$key" --interval "$interval" --http "$http" --http-size 64M \
            --misbehave late@register=0.1 --misbehave late@login=0.1 || {
        printf '\n%sThe step above failed.%s The last lines of the agent, and then of the platform:\n' "$red" "$off"
        { grep . "$out/agent.log" | tail -8; tail -4 "$out/events.jsonl"; } | cut -c1-300
        echo "All output is in $out"
        exit 1
    }
    printf '\n%sAll 13 steps passed in %s s.%s What the programs wrote is in build/demo.\n' \
        "$green" "$(seconds $(($(now_us) - begin)))" "$off"
}

# ---- The prompt

bound() { exec setpriv --pdeathsig TERM -- "$@" 8>&-; } # ends with this script, even if it is killed

# The platform needs the terminal, so it runs in the foreground, and the agent starts as soon as it listens.
leave_at_prompt() {
    local port children
    port=$(sed -n 's/^PORT=//p' "$out/plug.conf")
    title "Your turn"
    say "This is the platform's prompt, with the agent attached; its time now runs at the usual speed."
    say "Try: functions   devices   mesh-topology   set-led off   drop   misbehave   help   and, with the agent back after"
    say "some seconds because its supervisor starts it again:   update $bin/plug_next   disconnect"
    say "A \"plugsim manager\" runs beside it. Ctrl-C ends a wait, Ctrl-D or \"quit\" ends all. The agent's log:"
    say "tail -f $out/agent.log"
    echo
    trap : INT # the platform handles it; this script has to stay
    (
        trap - INT EXIT
        until grep -q "$(printf ': 0100007F:%04X 00000000:0000 0A ' "$port")" /proc/net/tcp; do sleep 0.05; done
        bound setsid bash "$repo/scripts/demo/agent.sh" prompt
    ) </dev/null >/dev/null 2>&1 &
    children=($!)
    bound "$bin/plugsim" manager --json </dev/null >"$out/manager.jsonl" 2>&1 &
    children+=($!)
    "$bin/plugsim" platform --register "127.0.0.1:$port" --login "$login" --key "$key" --interval "$interval"
    kill "${children[@]}" 2>/dev/null
    wait
    echo "The agent and the platform have ended."
}

# All output goes into one folder of this checkout.
exec 8>"$out/lock"
flock -n 8 || die "another demo is running in this checkout"
if [ -n "$inside" ]; then private_enter "$way" "$repo" || die "could not make the private place"; fi
[ -n "$way" ] || trap 'rm -f /tmp/plugstatus' EXIT
make_inputs
choose_time_zone # for agent and scripts: what is sent and shown is the agent's time
choose_place
export repo bin out clock factor pin key mac mac_colons serial router_name guest_name mhz clients interval stripped host
run_steps
if [ -t 0 ] && [ -t 1 ]; then leave_at_prompt; fi
exit 0
