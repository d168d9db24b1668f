#!/usr/bin/env bash
# lab.sh - a small internet of network namespaces, with a household whose router is a Linux machine.
#
#   lab.sh check            whether this machine allows all that; if not, says what is missing, with exit status 3
#   lab.sh up               builds it; call it once, in a private place (see below)
#   lab.sh in NET CMD...    runs a command in one of its networks
#   lab.sh join N [NAME]    client N plugs its cable in, and takes an address and a route from the router's DHCP server
#   lab.sh leave N          client N pulls its cable out (1, 2) or switches itself off behind the switch (3)
#   lab.sh crowd COUNT      COUNT more devices in one network "crowd" at the router's fourth port
#   lab.sh down             takes everything away again; the end of the place does so, too
#
#   internet --- provider --- router [wan | br-lan: lan1 lan2 lan3 lan4]
#                                     client1 -' client2 -' switch -' '- crowd
#                                                             `- client3
#
# The router has dnsmasq (addresses, names, announcements of IPv6) and nothing else: forwarding, address translation and
# all rules are the router library's. Nothing filters, translates or limits between provider and internet.
#
# A private place is a mount namespace with its own /tmp and a network namespace with only a loopback; lab.sh refuses to
# work anywhere else. It gets a /run and a /var/lib of its own there. Everything ends with the last process of the place.
set -eu

folder=/run/lab

internet4=198.51.100.1 internet6=2001:db8:200::1
wan4=100.64.0.2 wan6=2001:db8:100::2
lan4=192.168.50.1 lan6=2001:db8:50::1

die() { echo "lab.sh: $*" >&2; exit 1; }

at() { # NET CMD...
    local net=$1
    shift
    # Not "ip netns exec": that shows a /sys of the network's own, which a router does not need to have.
    nsenter --net="/run/netns/$net" -- "$@"
}

is_private() {
    local line
    line=$(grep ' /tmp [^-]* - tmpfs ' /proc/self/mountinfo) || return
    [[ $line != *shared:* ]] && ! ip -o link | grep -q link/ether
}

# ---- Networks

cable() { # NET DEVICE NET DEVICE
    ip link add "$2" netns "$1" type veth peer name "$4" netns "$3"
}

# The kernel would wait before it uses an IPv6 address and before it asks for a router.
hurry() { # NET
    at "$1" sh -c '
        cd /proc/sys/net/ipv6/conf || exit 0
        for name in all default; do
            echo 0 >$name/accept_dad
            echo 0 >$name/router_solicitation_delay
        done'
}

up() {
    local net n
    is_private || die "this is no private place"
    mount -t tmpfs -o mode=755 lab /run
    mount -t tmpfs -o mode=755 lab /var/lib
    mkdir -p $folder /var/lib/plug # where the router library keeps its settings unless told otherwise
    for net in internet provider router switch client1 client2 client3; do
        ip netns add $net
        hurry $net
        # A switch is no device of the household: it says nothing by itself.
        [ $net != switch ] || at switch sh -c 'echo 1 >/proc/sys/net/ipv6/conf/all/disable_ipv6'
        at $net ip link set lo up
    done

    cable internet eth0 provider core
    cable provider customer router wan
    for n in 1 2; do cable router lan$n client$n eth0; done
    cable router lan3 switch uplink
    cable switch port client3 eth0
    for n in 1 2 3; do at client$n ip link set eth0 address 02:00:00:00:01:0$n; done

    at internet sh -c "
        ip addr add $internet4/24 dev eth0; ip addr add $internet6/64 dev eth0; ip link set eth0 up
        ip route add default via 198.51.100.254; ip route add default via 2001:db8:200::fe"
    at provider sh -c "
        ip addr add 198.51.100.254/24 dev core; ip addr add 2001:db8:200::fe/64 dev core; ip link set core up
        ip addr add 100.64.0.1/30 dev customer; ip addr add 2001:db8:100::1/64 dev customer; ip link set customer up
        ip route add 2001:db8:50::/64 via $wan6
        echo 1 >/proc/sys/net/ipv4/ip_forward; echo 1 >/proc/sys/net/ipv6/conf/all/forwarding"
    at router sh -c "
        ip link add br-lan address 02:00:00:00:01:fe type bridge
        for n in 1 2 3; do ip link set lan\$n master br-lan up; done
        ip addr add $lan4/24 dev br-lan; ip addr add $lan6/64 dev br-lan; ip link set br-lan up
        ip addr add $wan4/30 dev wan; ip addr add $wan6/64 dev wan; ip link set wan up
        ip route add default via 100.64.0.1; ip route add default via 2001:db8:100::1"
    at switch sh -c "
        ip link add br0 type bridge; ip link set uplink master br0 up; ip link set port master br0 up; ip link set br0 up"

    # --no-ping: it would otherwise look for three seconds whether somebody has the address.
    at router dnsmasq --conf-file=/dev/null --interface=br-lan --bind-interfaces --user=root --no-resolv --no-hosts \
        --no-ping --dhcp-authoritative --enable-ra --ra-param=br-lan,60 --dhcp-range=192.168.50.100,192.168.50.199,1h \
        --dhcp-range=2001:db8:50::,slaac --dhcp-leasefile=$folder/leases --pid-file=$folder/dnsmasq.pid \
        --log-facility=$folder/dnsmasq.log --log-dhcp
    cat >$folder/router.conf <<CONF
[router]
serial = LAB0001
pin = 123456789012
maker = Example
model = Lab
state = $folder/router.state
[wan]
masquerade = yes
[lan]
leases = $folder/leases
CONF

    # It may take the kernel a second to see that a cable is in.
    for _ in {1..100}; do
        ! { reaches $internet4 && reaches $internet6; } || return 0
        pause
    done
    die "the router does not reach the internet"
}

reaches() { at router ping -c1 -W1 "$1" >/dev/null 2>&1; }

pause() { read -r -t 0.05 <> <(:) || true; }

down() {
    is_private || die "this is no private place"
    kill "$(cat $folder/dnsmasq.pid)" || true
    for net in /run/netns/*; do ip netns del "${net##*/}"; done
    umount /var/lib
    umount --lazy /run # dnsmasq may still be ending
}

# ---- Clients

join() { # N NAME
    at "client$1" ip link set eth0 up
    at "client$1" busybox udhcpc -i eth0 -n -q -f -t 20 -T 1 ${2:+-x "hostname:$2"} -s "$0" >"$folder/client$1.log" 2>&1 ||
        die "client $1 got no address: $(cat "$folder/client$1.log")"
    # Its IPv6 address and route come with the router's announcement.
    for _ in {1..200}; do
        ! at "client$1" ip -6 route show default | grep -q via || return 0
        pause
    done
    die "client $1 got no IPv6 route"
}

leave() { # N
    at "client$1" sh -c 'ip link set eth0 down; ip addr flush dev eth0'
}

# The client of the DHCP server calls this script with what has happened, and the addresses in its environment.
dhcp_event() { # EVENT
    # shellcheck disable=SC2154 # its environment
    case $1 in
    bound | renew)
        ip addr replace "$ip/$mask" dev "$interface"
        ip route replace default via "${router%% *}" dev "$interface"
        ;;
    esac
}

# Device i is 02:00:00:02:XX:XX with the next address that the DHCP server does not give away. All hang on one cable, and
# each has made itself known to the router.
crowd() { # COUNT
    local i
    ip netns add crowd
    cable router lan4 crowd uplink
    # Each device answers for its own address only.
    at crowd sh -c 'echo 1 >/proc/sys/net/ipv4/conf/all/arp_ignore; echo 1 >/proc/sys/net/ipv6/conf/uplink/disable_ipv6; ip link set lo up; ip link set uplink up'
    at router ip link set lan4 master br-lan up
    for ((i = 1; i <= $1; i++)); do
        printf 'link add link uplink name d%d address 02:00:00:02:%02x:%02x type macvlan mode bridge\n' \
            "$i" $((i / 256)) $((i % 256))
        printf 'addr add 192.168.50.%d/24 dev d%d\nlink set d%d up\n' $((i < 98 ? i + 1 : i + 102)) "$i" "$i"
    done >$folder/crowd.batch
    at crowd ip -batch $folder/crowd.batch
    at crowd bash -c "for ((i = 1; i <= $1; i++)); do ping -q -c1 -W5 -I d\$i $lan4 >/dev/null & done; wait"
}

# Each line is tried in a private place, one after the other.
check() {
    local output
    output=$(unshare --mount --net --pid --fork --kill-child bash -c '
        try() { "$@" >/dev/null 2>&1 || { echo "$*"; exit 1; }; }
        try mount --make-rprivate /
        try mount -t tmpfs tmpfs /tmp
        try mount -t tmpfs tmpfs /run
        try ip netns add there
        try ip link add here type veth peer name there netns there
        try ip link add bridge type bridge
        try nft add table inet probe
        try nft "add chain inet probe nat { type nat hook postrouting priority srcnat ; }"
        try nft add table netdev probe
        try nft "add chain netdev probe egress { type filter hook egress device here priority 0 ; }"
        try tc qdisc add dev here root handle 1: htb
        try tc class add dev here parent 1: classid 1:1 htb rate 1mbit
        try tc qdisc add dev here parent 1:1 tbf rate 1gbit burst 10240 limit 10240' 2>&1) && return
    echo "lab.sh: no lab on this machine: it does not allow: $output"
    exit 3
}

case ${1:-} in
check) check ;;
up) up ;;
down) down ;;
in) shift; net=$1; shift; exec nsenter --net="/run/netns/$net" -- "$@" ;;
join) join "$2" "${3:-}" ;;
leave) leave "$2" ;;
crowd) crowd "$2" ;;
deconfig | bound | renew | nak | leasefail) dhcp_event "$1" ;;
*) die "unknown command \"${1:-}\"; the head of the script says which there are" ;;
esac
