# shellcheck shell=bash
# rules.sh - the demo's step with a rule of internet-access time; sourced, bash. Needs what demo.sh, watch.sh and
# tour.sh have.

rules_device=02:1A:2B:00:00:14
cut_off_s= # of the agent's time, from the command to the pass that acts on it

# rules_time_zone SECONDS: prints the time zone for the agent when ours will not do at that time: no rule acts on a
# Sunday, and this day should go on for a while.
rules_time_zone() {
    local zone day hour
    for zone in '' UTC0 '<back>12' '<ahead>-12' '<back>24'; do
        read -r day hour < <([ -z "$zone" ] || export TZ=$zone; printf '%(%u %-H)T\n' "$1")
        ((day == 7 || hour >= 22)) || break
    done
    echo "$zone"
}

# Agent and demo share the time zone: what we send and show is the agent's time.
choose_time_zone() {
    local zone
    zone=$(rules_time_zone "$EPOCHSECONDS")
    [ -z "$zone" ] || export TZ=$zone
}

# agent_time: the agent's clock now, from its last heartbeat
agent_time() {
    local beat t
    beat=$(grep -F '"event":"heartbeat"' "$events" | tail -1)
    t=$(value "$beat" t)
    echo $(($(value "$beat" time) + ($(now_us) / 1000 - ${t/./}) * factor / 1000))
}

# access_calls: what the router has been told about the device's access, in order: "0 1"
access_calls() {
    grep -F " set_dev_access_control(mac=${rules_device,,}," "$out/calls" | grep -o 'access=[01]' | cut -d= -f2 |
        paste -sd' '
}

# access_is WANT: what the platform is told now
access_is() {
    local device
    ask 39 all-devices
    device=$(fields "$event" | grep -o "{\"mac\":\"${rules_device,,}\"[^}]*}") || failed "the device is not there"
    same "the device's access" "$(value "$device" access)" "$1"
    asks "all-devices" "$(value "$device" name), ${rules_device,,}: $1"
}

# rule add|del DAY START STOP
rule() {
    ask 69 surf "$1" $rules_device "$2" "$3" "$4"
    same "the meaning of the status" "$(value "$event" meaning)" "done"
    asks "surf $1 MAC $2 $3 $4" "status 0: $(value "$event" meaning)"
}

internet_time() {
    local now day from to begin found
    now=$(agent_time)
    printf -v day '%(%u)T' "$now"
    printf -v from '%(%H:%M)T' "$now"
    printf -v to '%(%H:%M)T' $((now + 3600))
    next_step "A rule: no internet for a device on $(printf '%(%A)T' "$now")s from $from to $to, which is now"
    [ -z "${TZ:-}" ] || say "The agent's time zone is $TZ."
    access_is allowed

    rule add "$day" "$from" "$to"
    begin=$(now_us)
    wait_agent $((30 / factor + 15)) 1 "set_dev_access_control for: $rules_device to 0"
    cut_off_s=$((($(now_us) - begin) * factor / 1000000))
    found="Found rule for : $rules_device|$day"
    agent_said "Add surf rule $rules_device|$day" "$found" "set_dev_access_control for: $rules_device to 0"
    grep -F " set_dev_access_control(" "$out/calls" | tail -1 | cut -d' ' -f2- | quoted router
    same "what the router was told of the device's access" "$(access_calls)" 0
    access_is refused
    ok "cut off at the next pass, $cut_off_s s of the agent's time after the command (a pass every 30 s)"

    wait_agent $((30 / factor + 15)) 2 "$found"
    ok "the pass after that finds it as it should be"

    rule del "$day" "$from" "$to"
    # Once for each, and the second before the answer to the deletion: no pass was needed, and none said it again.
    same "what the router was told of the device's access" "$(access_calls)" "0 1"
    agent_said "set_dev_access_control for: $rules_device to 1" "surf rule $rules_device|$day removed."
    access_is allowed
    ok "let back in at once when its last rule of the day was deleted"
}
