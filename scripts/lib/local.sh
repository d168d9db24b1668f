# shellcheck shell=bash
# local.sh - the demo's router management process, the agent's local peer; sourced, bash. Needs what demo.sh, watch.sh
# and tour.sh have.

local_events=$out/manager.jsonl
manager_pid=

start_manager() {
    : >"$local_events"
    mkfifo "$fifos/manager"
    bound "$bin/plugsim" manager --json <"$fifos/manager" >>"$local_events" 2>"$out/manager.err" 4>&- 5>&- 6<&- &
    manager_pid=$!
    exec 4>"$fifos/manager"
}

stop_manager() {
    [ -n "$manager_pid" ] || return 0
    exec 4>&-
    stop "$manager_pid"
    manager_pid=
}

# local_event SECONDS WHAT PATTERN...: the latest of the manager's events that has all patterns, in `event`
local_event() {
    local until=$(($(now_us) + $1 * 1000000)) what=$2 line pattern
    shift 2
    while :; do
        event=
        while IFS= read -r line; do
            for pattern; do [[ $line == *"$pattern"* ]] || continue 2; done
            event=$line
        done <"$local_events"
        [ -z "$event" ] || return 0
        (($(now_us) < until)) || failed "the management process saw no $what in time"
        kill -0 "$manager_pid" 2>/dev/null || failed "the management process ended: $(cat "$out/manager.err")"
        sleep 0.02
    done
}

# question NUMBER COMMAND...: a function that the agent passes on; shows all four ways
question() {
    local number=$1
    shift
    ask "$number" "$@"
    question_ms="$(value "$event" latency_ms) ms"
    [ "$question_ms" != "0 ms" ] || question_ms="less than 1 ms"
    answer=$event
    echo "asks:      $*" | quoted plugsim
    local_event 10 "question $number" '"event":"request"' "\"id\":$number,"
    echo "is asked:  FuncID $number $(value "$event" name), sequence $(value "$event" sequence)" | quoted manager
    local_event 10 "answer to $number" '"event":"answered"' "\"id\":$number,"
    echo "answers:   status $(value "$event" status), $(value "$event" length) bytes" | quoted manager
}

management_process() {
    local clients=$((RANDOM % 90 + 10)) node count=0 answer question_ms
    next_step "The router's management process: questions down, reports up"
    say "\$ plugsim manager     (it connects to the agent's /tmp/CommServer)"
    start_manager
    local_event 10 "connection to the agent" '"event":"connected"'

    question 78 mesh-topology
    while IFS= read -r node; do
        count=$((count + 1))
        printf '%-10s %-10s %s\n' "$(value "$node" role)" "$(value "$node" name)" "$(value "$node" mac)" | quoted ''
    done < <(fields "$answer" | sed 's/\\"/"/g' | grep -o '{"mac":[^}]*}')
    ((count > 1)) || failed "the topology has no satellites"
    ok "platform, agent, management process and back in $question_ms: a mesh of $count"

    question 74 set-mesh-roaming off
    ask 75 mesh-roaming
    asks "mesh-roaming" "$(told switch off)"
    ok "what the platform sets, the management process keeps"

    echo "report 84 {\"clients\":$clients}" >&4
    next_event 10 "report 84" '"event":"upload"' '"datatype":84'
    [[ $event == *"\"json\":{\"clients\":$clients}"* ]] || failed "the report does not say what was sent"
    echo "report 84 {\"clients\":$clients}" | quoted manager
    echo "a frame:   $(value "$event" datatype_name), sequence $(value "$(fields "$event")" sequence), {\"clients\":$clients}" |
        quoted plugsim
    echo "devices online 02:00:00:00:00:55=tv-$clients" >&4
    next_event 15 "device that the management process named" '"event":"upload"' '"datatype":40' 02:00:00:00:00:55
    echo "devices online 02:00:00:00:00:55=tv-$clients" | quoted manager
    echo "a frame:   $(value "$event" meaning)" | quoted plugsim
    same "the name of the device" "$(value "$(fields "$event")" name)" "tv-$clients"
    ok "its reports travel up, the devices that it sees as well"
}
