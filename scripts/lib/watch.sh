# shellcheck shell=bash
# watch.sh - reads what plugsim and the agent write while they run; sourced, bash.
#
# Needs: events (file of plugsim's JSON lines), agent_log (file of the agent's log), stages (file of stages seen),
#        and a function `failed TEXT`, which does not return.

event=      # the line that next_event found
event_part= # the beginning of a line that plugsim has not written to its end
agent_pid=

# value LINE KEY: the value of the first member KEY of a line of JSON; texts without quotes
value() {
    local pattern="\"$2\":(\"(([^\"\\\\]|\\\\.)*)\"|[^],}]*)"
    [[ $1 =~ $pattern ]] || return 1
    if [[ ${BASH_REMATCH[1]} == \"* ]]; then echo "${BASH_REMATCH[2]}"; else echo "${BASH_REMATCH[1]}"; fi
}

# fields LINE: what stands behind "fields", so that `value` does not find members of the same name before it
fields() { [[ $1 == *'"fields":{'* ]] && echo "${1#*\"fields\":}"; }

# next_event SECONDS WHAT PATTERN...: the next event, behind the last one found, that has all patterns (parts of the
# line); passes over others
next_event() {
    local until=$(($(now_us) + $1 * 1000000)) what=$2 part pattern
    shift 2
    while :; do
        if IFS= read -r -u 6 part; then
            event=$event_part$part event_part=
            for pattern; do [[ $event == *"$pattern"* ]] || continue 2; done
            return
        fi
        event_part+=$part
        (($(now_us) < until)) || failed "the platform saw no $what in time"
        kill -0 "$agent_pid" 2>/dev/null || failed "the agent ended while we waited for: $what"
        sleep 0.02
    done
}

# count_events PATTERN...: how many lines have all patterns
count_events() {
    local line pattern count=0
    while IFS= read -r line; do
        for pattern; do [[ $line == *"$pattern"* ]] || continue 2; done
        count=$((count + 1))
    done <"$events"
    echo $count
}

# agent_lines: the agent's log without colours and empty lines; "Place->procedure->line" becomes "procedure"
agent_lines() {
    sed -E -e 's/\x1b\[[0-9;]*m//g' -e '/^$/d' \
        -e 's/^[0-9]+-[0-9]+-[0-9]+ ([0-9:]+) \[([A-Z]+)\] +\[[^>]*->([^>]*)->[0-9]+\]-> /\1 \2 \3: /' "$agent_log"
}

# agent_said TEXT...: shows the first line of the agent's log that has this text; fails when there is none
agent_said() {
    local text lines
    for text; do
        # All of them: a grep that ends at the first one breaks the pipe behind a long log.
        lines=$(agent_lines | grep -F -e "$text") || failed "the agent's log has no \"$text\""
        echo "${lines%%$'\n'*}" | quoted agent
    done
}

# wait_agent SECONDS COUNT TEXT: until the agent's log has the text COUNT times
wait_agent() {
    local until=$(($(now_us) + $1 * 1000000))
    until [ "$(agent_lines | grep -c -F -e "$3")" -ge "$2" ]; do
        (($(now_us) < until)) || failed "the agent's log has \"$3\" not $2 times"
        kill -0 "$agent_pid" 2>/dev/null || failed "the agent ended while we waited for \"$3\" in its log"
        sleep 0.02
    done
}

# watch_stages FIFO: notes every change of the status file, in the background until it is killed. FIFO is one that
# nobody writes to: waiting for it is a sleep without a process.
watch_stages() {
    local last='' stage
    exec 7<>"$1"
    while kill -0 $$; do # as long as the script itself is there
        stage=
        { IFS= read -r stage </tmp/plugstatus; } 2>/dev/null
        if [[ $stage =~ ^[0-9]{3}$ && $stage != "$last" ]]; then
            last=$stage
            echo "$EPOCHREALTIME $stage"
        fi
        read -r -t 0.002 -u 7
    done >"$stages"
}

# stages_seen: "001 002 003"
stages_seen() { cut -d' ' -f2 "$stages" | paste -sd' '; }
