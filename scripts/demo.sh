#!/usr/bin/env bash
# demo.sh - builds the agent and shows it at work: the real agent, the simulated router, platform and management process.
set -uo pipefail
export LC_ALL=C
PATH=$PATH:/usr/sbin:/sbin

usage() {
    cat <<END
demo.sh - builds the agent and shows it at work

  scripts/demo.sh [--no-build] [--factor N]

Installs the Debian packages that are missing (root or sudo), builds, and runs the real agent against the simulated
router and the test platform, step by step. Each step is checked against what the programs wrote. On a terminal you
are then left at the platform's prompt; without one the exit status is 0, or 1 when a step failed.

  --no-build    use the build that is there
  --factor N    how much faster the agent's time runs, 1 to 60 [20]
  --help        this text

What the programs wrote stays in build/demo: events.jsonl (platform), manager.jsonl (management process), agent.log, stages
(status file), calls (router).
END
}

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
. "$repo/scripts/lib/screen.sh"
. "$repo/scripts/lib/private.sh"
. "$repo/scripts/lib/watch.sh"
. "$repo/scripts/lib/tour.sh"
. "$repo/scripts/lib/diagnostics.sh"
. "$repo/scripts/lib/rules.sh"
. "$repo/scripts/lib/attached.sh"
. "$repo/scripts/lib/update.sh"

bin=$repo/build/release
out=$repo/build/demo
events=$out/events.jsonl agent_log=$out/agent.log stages=$out/stages
. "$repo/scripts/lib/local.sh"
clock=$out/libfastclock.so
factor=20
build=yes
inside= # set when we have started ourselves again in the private place
way=
interval=60 # seconds between heartbeats, of the agent's time
# Where the agent that was built tests its download rate.
rate_server=$(sed -n 's/^PLUG_RATE_TEST_SERVER:STRING=//p' "$bin/CMakeCache.txt" 2>/dev/null)
have_rate_server='' http_at=''

die() {
    echo "demo.sh: $*" >&2
    exit 2
}

while [ $# -gt 0 ]; do
    case $1 in
    --no-build) build= ;;
    --factor) [ $# -gt 1 ] || die "--factor needs a number"; factor=$2; shift ;;
    --inside) inside=yes way=$2; shift ;;
    -h | --help) usage; exit ;;
    *) die "unknown option \"$1\"; see --help" ;;
    esac
    shift
done
[[ $factor =~ ^[1-9][0-9]?$ ]] && [ "$factor" -le 60 ] || die "--factor is a whole number from 1 to 60"

# ---- Outside: packages, build, and a place of its own

prepare() {
    title "Preparing"
    if [ -n "$build" ]; then
        "$repo/scripts/install-packages.sh" build run || exit 1
        mkdir -p "$out"
        (cd "$repo" && cmake --preset release) >"$out/configure.log" 2>&1 </dev/null || {
            cat "$out/configure.log" >&2
            die "cmake failed (its words are above)"
        }
        quietly "$out/build.log" "building the agent, the simulated router and the test platform" \
            cmake --build "$bin" -j "$(nproc)" --target plug plug_next plugsim || die "the build failed"
    fi
    for file in plug plug_next plugsim libRouterSdk.so.1; do
        [ -e "$bin/$file" ] || die "there is no $bin/$file; run without --no-build"
    done
    mkdir -p "$out"
    # The tests' own clock; built here because the demo needs none of the tests.
    cc -shared -fPIC -O2 -std=gnu11 -fvisibility=hidden -o "$clock" "$repo"/tests/e2e/FastClock{,Calls}.c \
        -ldl -lpthread ||
        die "could not build the fast clock"
}

if [ -z "$inside" ]; then
    prepare
    way=$(private_way)
    case $way in
    *--net*) say "private place: a /tmp and a loopback of its own" ;;
    --*) say "private place: a /tmp of its own; no private network here, so the platform takes free ports of the loopback" ;;
    *)
        say "private place: none, this machine allows no namespaces. The platform takes free ports of the loopback, and"
        say "the agent writes this machine's own /tmp/plugstatus, which is removed in the end."
        # An agent that is in use would lose it, and we could not tell its stages from ours.
        [ ! -e /tmp/plugstatus ] || die "there is a /tmp/plugstatus already; remove it if no agent is in use here"
        ;;
    esac
    # exec: signals then reach the steps themselves.
    # shellcheck disable=SC2086 # a list of words
    [ -z "$way" ] || exec unshare $way -- bash "$repo/scripts/demo.sh" --factor "$factor" --inside "$way"
fi

# ---- Inside

platform_pid='' watcher_pid='' fifos=''
step=0 steps=13

stop() { # PID...: ends processes of ours and waits for them
    local pid
    for pid; do
        [ -n "$pid" ] || continue
        kill "$pid" 2>/dev/null
        wait "$pid" 2>/dev/null
    done
}

clean_up() {
    trap - EXIT
    stop "$agent_pid" "$platform_pid" "$manager_pid" "$watcher_pid"
    [ -z "$fifos" ] || rm -rf "$fifos"
    [ -n "$way" ] || rm -f /tmp/plugstatus
}
trap clean_up EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

failed() {
    printf '  %sFAILED%s  %s\n' "$red" "$off" "$*"
    if [ -s "$agent_log" ]; then echo; agent_lines | tail -8 | quoted agent; fi
    if [ -s "$events" ]; then echo; tail -4 "$events" | cut -c1-300 | quoted plugsim; fi
    echo
    echo "${red}Step $step of $steps failed.${off} Everything that was written is in $out"
    exit 1
}

next_step() {
    step=$((step + 1))
    title "$step. $*"
}

same() { # WHAT HAVE WANT
    [ "$2" = "$3" ] || failed "$1 is \"$2\" and should be \"$3\""
}

random_hex() { od -An -N"$1" -tx1 /dev/urandom | tr -d ' \n'; }

# A child that ends with us, even when we are killed.
bound() { exec setpriv --pdeathsig TERM -- "$@" 8>&-; }

# ---- What the run is given: fresh values each time, so that what comes back can only be what was told

make_inputs() {
    rm -f "$events" "$agent_log" "$stages" "$out"/calls "$out"/plug.conf "$out"/household.json "$out"/plugsim.err
    mkdir -p "$out"
    : >"$events"; : >"$agent_log"; : >"$stages"
    fifos=$(mktemp -d) || exit 1
    mkfifo "$fifos/commands" "$fifos/pause" || exit 1
    pin=$(printf '%08d' $((RANDOM * 32768 + RANDOM)) | tail -c 8)
    key=$(random_hex 8)
    mac=02$(random_hex 5)
    mac_colons=$(echo "$mac" | sed 's/..\B/&:/g')
    serial=DEMO$(random_hex 4) router_name=router-$RANDOM guest_name=guest-$RANDOM mhz=$((500 + RANDOM % 1000))
    cat >"$out/household.json" <<END
{"router": {"serial": "$serial", "vendor": "Example", "model": "R-100", "name": "$router_name", "ipv6": true},
 "cpu": {"model": "MIPS 24KEc", "mhz": $mhz, "cores": 1}, "memory": {"kilobytes": 65536, "type": "DDR2"},
 "timetable": $(guest_timetable)}
END
}

start_platform() {
    local listen='127.0.0.1:0' login='127.0.0.1:0' http='127.0.0.1:0'
    case $way in *--net*) listen=127.0.0.1:6039 login=127.0.0.1:6040 ;; esac
    if have_rate_server; then have_rate_server=yes http=$rate_server:8199; fi
    # Answers a tenth of a second late: at once, and the stages would pass faster than a file can be looked at.
    bound "$bin/plugsim" platform --json --register "$listen" --login "$login" --key "$key" --interval "$interval" \
        --misbehave late@register=0.1 --misbehave late@login=0.1 --http "$http" --http-size 64M \
        <"$fifos/commands" >>"$events" 2>"$out/plugsim.err" &
    platform_pid=$!
    agent_pid=$platform_pid # whom next_event watches over until there is an agent
    exec 5>"$fifos/commands" 6<"$events"
    next_event 10 listening '"event":"listening"'
    [[ $event =~ \"register\":\[\"127.0.0.1:([0-9]+)\" ]] || failed "the platform names no port"
    port=${BASH_REMATCH[1]}
    login_at=$(value "$event" login)
    http_at=$(value "$event" http) || failed "the platform names no address for HTTP"
}

write_config() { # FILE
    cat >"$1" <<END
[Dev]
PIN=$pin
[Protool]
KEY=$key
SERVER1=127.0.0.1
SERVER2=127.0.0.1
PORT=$port
END
}

start_agent() {
    watch_stages "$fifos/pause" &
    watcher_pid=$!
    make_commands "$fifos/bin"
    (
        export ROUTER_SIM_STATE=$out/household.json ROUTER_SIM_LOG=$out/calls PATH=$fifos/bin:$PATH
        export LD_PRELOAD=$clock FASTCLOCK_FACTOR=$factor
        bound setsid "$bin/plug" -d -f "$out/plug.conf" -m "$mac" </dev/null >/dev/null 2>"$agent_log" 5>&- 6<&-
    ) &
    agent_pid=$!
}

# ---- The steps

options_and_configuration() {
    next_step "Options and configuration"
    say "\$ plug -d -f plug.conf -m $mac     (PIN, KEY and MAC are made up for this run)"
    say "A preloaded clock makes the agent's time run $factor times faster, so that minutes take seconds."
    start_agent
    wait_agent 10 1 "PORT:"
    agent_said "Plugin Version" "use config file  [$out/plug.conf]" "PIN:"$'\t'"$pin" "KEY:"$'\t'"$key" \
        "SERVER1:"$'\t'127.0.0.1 "SERVER2:"$'\t'127.0.0.1 "PORT:"$'\t'"$port"
    ok "the debug log is on, and shows every value of the file"
}

# one_registration: the platform's view of a registration that works
one_registration() {
    next_event 20 registration '"event":"register"'
    same "the frame's checksum is right" "$(value "$event" checksum_ok)" true
    same "the PIN" "$(value "$event" pin)" "$pin"
    same "the serial number" "$(value "$(fields "$event")" serial)" "$serial"
    same "the MAC" "$(value "$(fields "$event")" mac)" "$mac_colons"
    next_event 20 "register acknowledgement" '"event":"sent"' '"step":"register"'
    token=$(value "$(fields "$event")" token)
}

# one_login: the same of a login, which has to bring the token of the registration before
one_login() {
    next_event 20 login '"event":"login"'
    login_t=$(value "$event" t)
    same "the frame's checksum is right" "$(value "$event" checksum_ok)" true
    same "the token" "$(value "$event" token)" "$token"
    same "the platform's verdict on the token" "$(value "$event" token_ok)" true
    version=$(value "$(fields "$event")" version)
}

registration() {
    next_step "Registration on port $port"
    one_registration
    wait_agent 10 1 "Register server1 success."
    echo "registers: serial $serial, MAC $mac_colons, PIN $pin" | quoted plugsim
    echo "answers:   login server $login_at, token $token" | quoted plugsim
    agent_said "ROUTER MAC:" "SN: $serial" "Register server1 success."
    ok "the platform decrypted the frame, its checksum is right, and it holds our MAC and the router's serial number"
}

login() {
    next_step "Login on $login_at"
    one_login
    wait_agent 10 1 "Login done"
    echo "logs in:   version $version, token $token" | quoted plugsim
    echo "answers:   a heartbeat every $interval s" | quoted plugsim
    agent_said "quit regist,start login $login_at" "Login done"
    report_each_device
    ok "it logged in with the token of its registration"
}

heartbeats() {
    local last='' at number gap
    next_step "Heartbeats, one every $interval s of the agent's time ($((interval * 10 / factor / 10)).$((interval * 10 / factor % 10)) s here)"
    for number in 1 2 3; do
        next_event $((interval / factor + 15)) "heartbeat $number" '"event":"heartbeat"'
        same "the frame's checksum is right" "$(value "$event" checksum_ok)" true
        at=$(value "$event" time)
        gap=
        if [ -n "$last" ]; then
            gap=", $((at - last)) s after the last"
            # The agent sends whole seconds, so two of them may be one off.
            ((at - last >= interval - 1 && at - last <= interval + 3)) || failed "heartbeats are $((at - last)) s apart"
        fi
        last=$at
        next_event 10 "acknowledgement of heartbeat $number" '"event":"sent"' '"type":"heartbeat-ack"'
        printf -v at '%(%H:%M:%S)T' "$at"
        wait_agent 10 $number "heart beat ack"
        echo "heartbeat $number: the agent's clock is $at$gap; acknowledged" | quoted plugsim
    done
    agent_lines | grep -F "heart beat ack" | head -3 | quoted agent
    ok "three heartbeats, each acknowledged, and the agent took each acknowledgement"
}

stage_meaning() {
    case $1 in
    001) echo "a cycle begins; connecting to register" ;;
    002) echo "the registration was accepted" ;;
    003) echo "logged in" ;;
    103) echo "the connection was lost" ;;
    *) echo "not expected here" ;;
    esac
}

# show_stages FROM: the stages seen since the FROM-th, with their times since the first shown
show_stages() {
    local at stage begin=
    while read -r at stage; do
        at=${at/./}
        : "${begin:=$at}"
        echo "+$(seconds $((at - begin))) s  $stage  $(stage_meaning "$stage")"
    done < <(tail -n +"$1" "$stages") | quoted file
}

stages_of_login() {
    next_step "The status file, /tmp/plugstatus"
    show_stages 1
    same "the row of stages" "$(stages_seen)" "001 002 003"
    same "the file's content" "$(od -An -c /tmp/plugstatus | tr -d ' ')" '003\n'
    ok "stages 001, 002, 003 in this order; it now holds the three digits and a newline"
}

# field OFFSET SIZE NAME [WANT]: shows one field of the reply: its first bytes and what plugsim makes of them
field() {
    local bytes=${payload:$1 * 2:$2 * 2} have
    have=$(value "$(fields "$event")" "$3") || failed "the reply has no field $3"
    [ ${#bytes} -eq $(($2 * 2)) ] || failed "the reply ends before $3"
    [ $# -lt 4 ] || same "$3" "$have" "$4"
    bytes=$(echo "${bytes:0:16}" | sed 's/../& /g')
    [ "$2" -le 8 ] || bytes+=..
    field_count=$((field_count + 1))
    printf 'at %3d, size %2d:  %-26s  %-11s %s\n' "$1" "$2" "$bytes" "$3" "$have" | quoted plugsim
}

identity() {
    next_step "A question to the router: function 2, identity"
    echo identity >&5
    next_event 10 "identity command" '"event":"sent"' '"function":2,'
    echo "asks:      $(value "$event" payload)  (tag, function, room)" | quoted plugsim
    next_event 10 "reply to the identity command" '"event":"reply"' '"function":2,'
    payload=$(value "$event" payload)
    latency="$(value "$event" latency_ms) ms"
    [ "$latency" != "0 ms" ] || latency="less than 1 ms"
    field_count=0
    same "the reply's tag belongs to our command" "$(value "$event" matched)" true
    same "the frame's checksum is right" "$(value "$event" checksum_ok)" true
    same "the status" "$(value "$event" status)" 0
    same "the reply's length" $((${#payload} / 2)) 301
    echo "answered:  status 0, $((${#payload} / 2)) bytes, after $latency" | quoted plugsim
    field 6 6 mac "$mac_colons"
    field 12 64 serial "$serial"
    field 76 64 vendor Example
    field 140 64 model R-100
    field 204 40 cpu_model "MIPS 24KEc"
    field 244 2 cpu_mhz "$mhz"
    field 246 1 cpu_cores 1
    field 247 4 memory_kb 65536
    field 251 16 memory_type DDR2
    field 267 1 plug
    field 268 32 name "$router_name"
    field 300 1 ipv6 1
    cut -d' ' -f2- "$out/calls" | tail -8 | paste -sd' ' | quoted router
    for call in get_router_sn get_router_vender get_router_model get_cpu_cfg get_mem_cfg get_name; do
        grep -q " $call() = 0" "$out/calls" || failed "the router's log has no call of $call"
    done
    ok "every field is what the simulated router's household file says"
}

lost_session() {
    local before lost acknowledged
    next_step "A lost session: the platform drops the connection"
    before=$(wc -l <"$stages")
    acknowledged=$(agent_lines | grep -c "heart beat ack")
    private_kb=$(awk '/^Private_/ { kb += $2 } END { print kb }' "/proc/$agent_pid/smaps_rollup" 2>/dev/null)
    threads=$(awk '/^Threads:/ { print $2 }' "/proc/$agent_pid/status" 2>/dev/null)
    echo drop >&5
    next_event 10 "end of the connection" '"event":"disconnected"' '"by":"platform"'
    lost=$(value "$event" t)
    echo "drops the connection" | quoted plugsim
    wait_agent 20 1 "Ready to Register ..."
    one_registration
    echo "registers: serial $serial; answered with a new token $token" | quoted plugsim
    one_login
    echo "logs in:   token $token" | quoted plugsim
    next_event 20 "heartbeat of the new session" '"event":"heartbeat"'
    wait_agent 10 2 "Login done"
    wait_agent 10 $((acknowledged + 1)) "heart beat ack"
    agent_said "Close link." "Ready to Register ..."
    show_stages $((before + 1))
    same "the row of stages" "$(tail -n +$((before + 1)) "$stages" | cut -d' ' -f2 | paste -sd' ')" "103 001 002 003"
    back_ms=$((${login_t/./} - ${lost/./}))
    ok "registered and logged in again $back_ms ms after the loss ($((back_ms * factor / 1000)) s of the agent's time)"
}

# The agent ends first: a platform that goes away would only start its retries.
end_of_run() {
    local status begin
    begin=$(now_us)
    kill "$agent_pid"
    wait "$agent_pid"
    status=$?
    stop_ms=$((($(now_us) - begin) / 1000))
    agent_pid=$platform_pid
    same "the agent's exit status after SIGTERM" "$status" 0
    echo quit >&5
    next_event 10 "end of the platform" '"event":"exit"'
    faults=$(value "$event" faults)
    same "the platform's count of faults" "$faults" 0
    same "the platform's count of failed commands" "$(value "$event" failures)" 0
    wait "$platform_pid"
    same "the platform's exit status" "$?" 0
    agent_pid='' platform_pid=''
    stop_manager
    stop "$watcher_pid"
    watcher_pid=
}

summary() {
    local beats acks came went
    beats=$(count_events '"event":"heartbeat"')
    acks=$(count_events '"event":"sent"' '"type":"heartbeat-ack"')
    came=$(count_events '"dir":"in"')
    went=$(count_events '"event":"sent"')
    title "Summary: what was measured"
    say "agent         $version, $(($(wc -c <"$bin/plug.stripped") / 1024)) KB stripped; ${private_kb:-?} KB of private memory and ${threads:-?} threads when logged in (clock included)"
    say "frames        $came from the agent, $went to it; wrong checksums and other faults: $faults"
    say "sessions      $(count_events '"event":"register"') registrations, $(count_events '"event":"login"') logins"
    say "heartbeats    $beats sent, $acks acknowledged; $interval s of the agent's time apart within a session"
    say "identity      $field_count fields, answered after $latency"
    say "functions     $functions_asked questions and settings besides, each checked"
    say "devices       $devices_reported in one report"
    say "rule          enforced $cut_off_s s of the agent's time after the command, undone at once with its deletion"
    say "lost session  logged in again after $back_ms ms at $factor times the speed"
    say "status file   $(stages_seen)"
    say "end           the agent stopped $stop_ms ms after SIGTERM with exit status 0"
    printf '\n%sAll %d steps passed in %s s.%s What the programs wrote is in build/demo.\n' \
        "$green" "$step" "$(seconds $(($(now_us) - begin)))" "$off"
}

# ---- The prompt

# The platform needs the terminal, so it runs in the foreground, and the agent starts as soon as it listens.
leave_at_prompt() {
    title "Your turn"
    say "This is the platform's prompt, with the agent attached; its time now runs at the usual speed."
    say "Try: functions   devices   mesh-topology   set-led off   update $bin/plug_next   drop   misbehave   help."
    say "A \"plugsim manager\" runs beside it. Ctrl-D or \"quit\" ends all. The agent's log: tail -f $out/agent-prompt.log"
    echo
    trap : INT # the platform's to handle; we only have to stay
    (
        trap - INT EXIT
        pattern=$(printf ': 0100007F:%04X 00000000:0000 0A ' "$port")
        for ((tries = 0; tries < 200; tries++)); do
            if grep -q "$pattern" /proc/net/tcp; then
                export ROUTER_SIM_STATE=$out/household.json
                bound "$bin/plug" -d -f "$out/plug.conf" -m "$mac"
            fi
            sleep 0.05
        done
    ) </dev/null >"$out/agent-prompt.log" 2>&1 5>&- 6<&- &
    agent_pid=$!
    bound "$bin/plugsim" manager --json </dev/null >"$local_events" 2>&1 5>&- 6<&- &
    manager_pid=$!
    "$bin/plugsim" platform --register "127.0.0.1:$port" --login "$login_at" --key "$key" --interval "$interval" \
        5>&- 6<&-
    stop "$agent_pid" "$manager_pid"
    agent_pid='' manager_pid=''
    echo "The agent and the platform have ended."
}

# What is written goes into one folder of this checkout.
mkdir -p "$out"
exec 8>"$out/lock"
flock -n 8 || die "another demo is running in this checkout"
if [ -n "$inside" ]; then private_enter "$way" "$repo" || die "could not make the private place"; fi
begin=$(now_us)
make_inputs
choose_time_zone
start_platform
write_config "$out/plug.conf"
options_and_configuration
registration
login
heartbeats
stages_of_login
identity
functions_tour
diagnostics
internet_time
attached_devices
management_process
lost_session
plugin_update
end_of_run
summary
if [ -t 0 ] && [ -t 1 ]; then leave_at_prompt; fi
exit 0
