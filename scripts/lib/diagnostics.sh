# shellcheck shell=bash
# diagnostics.sh - the demo's ping, traceroute and rate test; sourced, bash. Needs what demo.sh, watch.sh and tour.sh
# have, and: rate_server (the address that the agent tests its download rate with), way, http_at.

# The address is not this computer's, so only a network of our own can have it.
have_rate_server() {
    case $way in *--net*) ip addr add "$rate_server/32" dev lo 2>/dev/null ;; *) false ;; esac
}

# The agent's commands would inherit its fast clock, by which no packet's time can be measured. make_commands FOLDER:
# the same commands, with the usual time; and a killall that reaches only what the agent, a session of its own, began
make_commands() {
    local name path
    mkdir -p "$1"
    for name in ping traceroute; do
        path=$(command -v $name) || failed "there is no $name; run without --no-build"
        printf '#!/bin/sh\nunset LD_PRELOAD\nexec %s "$@"\n' "$path" >"$1/$name"
    done
    printf '#!/bin/sh\nunset LD_PRELOAD\nexec pkill "$1" -s 0 -x "$2"\n' >"$1/killall"
    chmod +x "$1"/*
}

# tell NUMBER COMMAND...: sends a function and waits for its reply, whatever its status
tell() {
    local number=$1
    shift
    echo "$*" >&5
    next_event 60 "reply to $1" '"event":"reply"' "\"function\":$number,"
}

# show_text WHO: the text of the last reply, line by line
show_text() {
    local text
    text=$(value "$(fields "$event")" text) || failed "the reply has no text"
    [ -n "$text" ] || failed "the text is empty"
    printf '%b' "${text//\\\"/\"}" | grep -v '^$' | quoted "$1"
}

ping_and_traceroute() {
    local host=$1
    tell 8 ping "$host" 56 2
    same "the status of ping" "$(value "$event" status)" 0
    tell 9 ping-result
    asks "ping $host 56 2, then ping-result at once" "status $(value "$event" status): it runs, come again"
    same "the status of the first ping-result" "$(value "$event" status)" 1
    tell 9 ping-result
    same "the status of ping-result" "$(value "$event" status)" 0
    show_text ping
    [[ $event == *"2 packets transmitted, 2 received"* ]] || failed "not every packet came back"
    tell 51 traceroute "$host"
    same "the status of traceroute" "$(value "$event" status)" 0
    sleep 1 # a result that is asked for ends a traceroute that still runs
    tell 52 traceroute-result
    asks "traceroute $host, then traceroute-result" ""
    show_text trace
}

rate_test() {
    local bytes at rate
    if [ -n "$have_rate_server" ]; then
        asks "rate-test" "the agent fetches http://$rate_server:8199/download/300.data"
        tell 61 rate-test
    else
        asks "config-data" "the agent fetches http://$http_at/download/300.data"
        tell 87 config-data "{\"value_func61\":\"http://$http_at/download/300.data\"}"
    fi
    same "the status of its start" "$(value "$event" status)" 0
    next_event 60 "end of the download" '"event":"http-done"'
    same "how the download ended" "$(value "$event" end)" complete
    bytes=$(value "$event" bytes) at=$(value "$event" seconds)
    next_event 60 "rate report" '"function":62,'
    same "the status of the rate report" "$(value "$event" status)" 0
    rate=$(value "$(fields "$event")" rate)
    asks "  $bytes bytes in $at s" "function 62: rate $rate bytes/s, by the agent's clock in whole seconds"
    ((rate > 0 && rate <= bytes)) || failed "the rate cannot be"
}

diagnostics() {
    next_step "Diagnostics: ping, traceroute and a download rate"
    local host=127.0.0.1
    [ -z "$have_rate_server" ] || host=$rate_server
    ping_and_traceroute "$host"
    rate_test
    ok "the router's own commands ran, and the platform has their texts and a measured rate"
}
