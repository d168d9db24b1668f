# shellcheck shell=bash
# tour.sh - the demo's tour of the functions; sourced, bash. Needs what demo.sh and watch.sh have.

functions_asked=0

# ask NUMBER COMMAND...: sends a function by its name and waits for its reply, whose status has to be 0
ask() {
    local number=$1
    shift
    echo "$*" >&5
    next_event 10 "reply to $1" '"event":"reply"' "\"function\":$number,"
    same "the reply to $1 belongs to our command" "$(value "$event" matched)" true
    same "the status of $1" "$(value "$event" status)" 0
    functions_asked=$((functions_asked + 1))
}

# told NAME [WANT] [UNIT]: one field of the last reply, "name value"
told() {
    local have
    have=$(value "$(fields "$event")" "$1") || failed "the reply has no field $1"
    [ -z "${2:-}" ] || same "$1" "$have" "$2"
    printf '%s %s%s' "$1" "$have" "${3:+ $3}"
}

asks() { printf '%-46s %s\n' "$1" "$2" | quoted plugsim; }

router_was_called() { grep -q -F " $1" "$out/calls" || failed "the router's log has no call $1"; }

# The devices of the last reply as a table.
show_devices() {
    local device count=0
    printf '%-18s %-17s %-14s %-8s %s\n' MAC NAME ADDRESS LINK ACCESS | quoted ''
    while IFS= read -r device; do
        count=$((count + 1))
        ((count > 4)) || printf '%-18s %-17s %-14s %-8s %s\n' "$(value "$device" mac)" "$(value "$device" name)" \
            "$(value "$device" ip)" "$(value "$device" link)" "$(value "$device" access)" | quoted ''
    done < <(fields "$event" | grep -o '{"mac":[^}]*}')
    echo "... $count devices in all" | quoted ''
    ((count > 0)) || failed "the router has no devices"
}

functions_tour() {
    local device=02:1A:2B:00:00:14
    next_step "A tour of the functions (at the prompt: \"functions\" lists them, \"help NAME\" shows one)"
    ask 3 wan-config 0
    asks "wan-config 0" "$(told mode pppoe), $(told ip 198.51.100.20), $(told mtu 1492 bytes), $(told connected yes)"
    ask 16 ssid-config 2
    asks "ssid-config 2" "$(told ssid Household-5G), $(told channel 44), $(told bandwidth 80 MHz), $(told enabled on)"
    ask 58 traffic-rates
    asks "traffic-rates" "$(told down '' bytes/s), $(told up '' bytes/s)"
    ask 47 cpu-use
    asks "cpu-use" "$(told use '' %)"
    ask 39 all-devices
    asks "all-devices" ""
    show_devices
    ask 23 set-led off
    ask 22 led
    asks "set-led off, then led" "$(told switch off)"
    router_was_called "set_led_switch(on=0) = 0"
    ask 35 set-device-limits $device 1000000 5000000
    ask 34 device-limits $device
    asks "set-device-limits MAC 1000000 5000000" "$(told up 1000000 bytes/s), $(told down 5000000 bytes/s)"
    router_was_called "set_dev_us_max_bw(mac=02:1a:2b:00:00:14, limit=1000000) = 0"
    ask 37 set-device-name $device "Anna's new phone"
    ask 36 device-name $device
    asks "set-device-name MAC Anna's new phone" "$(told name "Anna's new phone")"
    ok "$functions_asked questions and settings, each answered; the settings hold in the simulated router"
}
