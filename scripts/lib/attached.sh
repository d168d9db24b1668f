# shellcheck shell=bash
# attached.sh - the demo's report of the attached devices, and the device that comes online; sourced, bash. Needs what
# demo.sh, watch.sh and tour.sh have.

# A guest who comes for a minute every two; when that is depends on nothing that we do.
guest_mac=02:00:00:00:00:99 guest_name=
neighbour_mac=02:00:00:00:00:77 # a device that only the network knows, not the router's list

# guest_timetable: the household's timetable, JSON
guest_timetable() {
    cat <<END
[{"at": 20, "every": 120, "join": {"mac": "$guest_mac", "name": "$guest_name", "ip": "192.168.1.50", "link": "wifi_5g"}},
 {"at": 80, "every": 120, "leave": "$guest_mac"}]
END
}

# have_neighbour: gives this network a device with an address of the household's; only in a network of our own
have_neighbour() {
    case $way in *--net*) ;; *) return 1 ;; esac
    ip link add lan0 type veth peer name lan1 2>/dev/null && ip addr add 192.168.1.1/24 dev lan0 && ip link set lan0 up &&
        ip neigh add 192.168.1.77 lladdr $neighbour_mac nud permanent dev lan0
}

# report_each_device: from now on each device that comes online is reported, again after a minute's absence
report_each_device() {
    echo "report-interval 1" >&5
    next_event 10 "acknowledgement of report-interval" '"event":"ack"' '"datatype":18'
}

attached_devices() {
    local neighbour=''
    next_step "All attached devices, and one that comes online"
    if have_neighbour; then neighbour=yes; fi
    echo devices >&5
    next_event 20 "reply to report-devices" '"event":"reply"' '"function":64,'
    same "the status of report-devices" "$(value "$event" status)" 0
    next_event 20 "report of the devices" '"event":"upload"' '"datatype":63'
    devices_reported=$(fields "$event" | grep -o '"mac":' | wc -l)
    ((devices_reported > 0)) || failed "the report has no devices"
    if [ -n "$neighbour" ]; then
        [[ $event == *"\"mac\":\"$neighbour_mac\""* ]] || failed "the report lacks the device that only the ARP table has"
    fi
    next_event 10 "table of the devices" '"event":"answer"' 'IP  '
    printf '%b\n' "$(value "$event" text)" | quoted plugsim
    [ -z "$neighbour" ] || say "The last one is not on the router's list: the agent found it in the kernel's ARP table."
    ok "one frame, $devices_reported devices, with what each has sent and received"

    next_event $((150 / factor + 15)) "report of the guest" '"event":"upload"' '"datatype":40' "$guest_mac"
    same "the name of the device that came online" "$(value "$(fields "$event")" name)" "$guest_name"
    echo "a frame:   $(value "$event" meaning)" | quoted plugsim
    ok "the guest of the simulated household was reported by itself, within a minute of the agent's time"
}
