#!/bin/sh
# plug-router-off.sh - takes off this machine what the router library for Linux has put on it: its rules and limits, which
# stay when the agent ends, and forwarding, if it was off before. The settings stay in their file.
#
#   plug-router-off.sh      the agent must not run: it would put everything back
#
# What others have put there is left alone. So is hostapd, which forgets what it was told when it is restarted.
PLUG_SUPERVISOR=/usr/libexec/plug/plug-supervisor.sh
PLUG_ROUTER_CONF=${PLUG_ROUTER_CONF:-/etc/plug/router.conf}
PATH=$PATH:/usr/sbin:/sbin
failed=0

complain() { echo "plug-router-off.sh: $*" >&2; failed=1; }

[ $# -eq 0 ] || { sed -n '5s/^# *//p' "$0" >&2; exit 2; }
if [ -x "$PLUG_SUPERVISOR" ] && process=$("$PLUG_SUPERVISOR" --agent); then
    complain "the agent runs, process $process: stop the service first"
    exit 1
fi

for family in inet netdev; do
    ! nft list table "$family" plug_router >/dev/null 2>&1 || nft delete table "$family" plug_router ||
        complain "cannot remove the rules"
done
for interface in $(tc qdisc show | sed -n 's/^qdisc htb 706c: dev \([^ ]*\) root .*/\1/p'); do
    tc qdisc del dev "$interface" root || complain "cannot remove the limits of $interface"
done

# What the kernel was told in this boot, and what it was before: the library's record.
state=$(sed -n 's/^[[:space:]]*state[[:space:]]*=[[:space:]]*\([^[:space:];#]*\).*/\1/p' "$PLUG_ROUTER_CONF" 2>/dev/null)
record=${state:-/var/lib/plug/router.state}.sysctl
if [ -f "$record" ]; then
    {
        read -r boot
        [ "$boot" = "$(cat /proc/sys/kernel/random/boot_id)" ] &&
            while IFS='=' read -r name value; do
                # An interface may be gone.
                [ ! -e "/proc/sys/$name" ] || echo "$value" >"/proc/sys/$name" || complain "cannot set $name"
            done
    } <"$record"
    rm -f "$record"
fi
exit $failed
