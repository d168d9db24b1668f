# shellcheck shell=bash
# update.sh - the demo's update of the agent to a second build of it, under the supervisor of packaging/; sourced, bash.
# Needs what demo.sh and watch.sh have.

# start_supervised: the agent again, this time run by the supervisor; agent_pid is the supervisor's
start_supervised() {
    rm -f "$out"/plug.update*
    # The clock makes the supervisor's pauses short as well, but not the time that it measures a run with.
    cat >"$out/supervisor.conf" <<END
PLUG='$bin/plug'
PLUG_OPTIONS='-d -f $out/plug.conf -m $mac'
PLUG_NEW='$out/plug.update'
TRIAL=2
log() { echo "supervisor: \$*" >&2; }
END
    (
        export PLUG_DEFAULTS=$out/supervisor.conf LD_LIBRARY_PATH=$bin # the update stands in another folder
        export ROUTER_SIM_STATE=$out/household.json ROUTER_SIM_LOG=$out/calls PATH=$fifos/bin:$PATH
        export LD_PRELOAD=$clock FASTCLOCK_FACTOR=$factor
        bound setsid sh "$repo/packaging/plug-supervisor.sh" </dev/null >/dev/null 2>>"$agent_log" 4>&- 5>&- 6<&-
    ) &
    agent_pid=$!
}

supervisor_said() { # TEXT...
    local text
    for text; do
        grep -F "supervisor: " "$agent_log" | grep -q -F "$text" || failed "the supervisor did not say \"$text\""
        grep -F "supervisor: " "$agent_log" | grep -F "$text" | tail -1 | sed 's/^supervisor: //' | quoted init
    done
}

plugin_update() {
    local old=$version size bytes
    next_step "An update: the platform gives the agent a second build of itself"
    say "\$ packaging/plug-supervisor.sh     (it starts the agent, and what the agent fetches)"
    kill "$agent_pid"
    wait "$agent_pid"
    start_supervised
    one_registration
    one_login
    same "the version that the supervisor has started" "$version" "$old"
    echo "logs in:   version $version" | quoted plugsim
    next_event 20 "first heartbeat" '"event":"heartbeat"' # the login's acknowledgement has arrived

    size=$(wc -c <"$bin/plug_next")
    echo "update $bin/plug_next" >&5
    next_event 20 "offer of the update" '"event":"update"' '"state":"offered"'
    echo "offers:    $(value "$event" url), MD5 $(value "$event" md5)" | quoted plugsim
    next_event 20 "end of the update" '"event":"update"' '"state":"done"'
    bytes=$(value "$event" bytes)
    same "the bytes that the agent has fetched" "$bytes" "$size"
    same "the result that it reports" "$(value "$event" result)" 0
    echo "a frame:   result 0, process $(value "$event" process), $bytes bytes fetched" | quoted plugsim
    wait_agent 10 1 "exit at [ParserPlugData]" # once the report has left
    agent_said "md5: self:" "exit at [ParserPlugData]"

    one_registration
    one_login
    supervisor_said "ended with status 255 at stage 004" "update installed, on trial"
    agent_said "Plugin Version = $version"
    same "the version that logs in now" "$version" 2.0.0.8
    echo "logs in:   version $version" | quoted plugsim
    cmp -s "$out/plug.update.trial" "$bin/plug_next" || failed "what runs now is not what was offered"
    ok "from $old to $version; the supervisor would go back to $old if the new one ended right away"
}
