#!/usr/bin/env bash
# agent.sh - runs the agent of the demo, by itself or under its supervisor, with a clock that runs faster, or under its
# supervisor at the usual speed for the prompt.
#
#   agent.sh plug | supervised | prompt [ADDRESS:PORT]
#
# With the platform's address it writes the agent's configuration first. The log goes through shorten.sh. The other values
# are demo.sh's.
# shellcheck disable=SC2154,SC2016 # those values; texts for other scripts
set -eu

if [ -n "${2:-}" ]; then
    cat >"$out/plug.conf" <<CONF
[Dev]
PIN=$pin
[Protool]
KEY=$key
SERVER1=127.0.0.1
SERVER2=127.0.0.1
PORT=${2##*:}
CONF
fi

# The agent's commands would inherit its fast clock, which cannot measure a packet's time. Its killall is limited to
# processes of the agent's own session.
mkdir -p "$out/bin"
for name in ping traceroute; do
    printf '#!/bin/sh\nunset LD_PRELOAD\nexec %s "$@"\n' "$(command -v $name)" >"$out/bin/$name"
done
printf '#!/bin/sh\nunset LD_PRELOAD\nexec pkill "$1" -s 0 -x "$2"\n' >"$out/bin/killall"
chmod +x "$out"/bin/*

usual_speed=''
[ "$1" != prompt ] || usual_speed=yes
options="-d -f $out/plug.conf -m $mac"
if [ "$1" = plug ]; then
    # shellcheck disable=SC2086 # a list of words
    set -- "$bin/plug" $options
else
    rm -f "$out"/plug.update*
    # The fast clock shortens the supervisor's pauses as well, but not the time with which it measures a run. At the prompt
    # nobody wants to wait for a minute after a disconnect.
    cat >"$out/supervisor.conf" <<CONF
PLUG='$bin/plug'
PLUG_OPTIONS='$options'
PLUG_NEW='$out/plug.update'
PLUG_RUN='$out'
PLUG_LOG=none
TRIAL=2
LONG_PAUSE=$([ "$1" = prompt ] && echo 3 || echo 60)
log() { echo "supervisor: \$*" >&2; }
CONF
    export PLUG_DEFAULTS=$out/supervisor.conf LD_LIBRARY_PATH=$bin # the update is in another folder
    set -- sh "$repo/packaging/plug-supervisor.sh"
fi

export ROUTER_SIM_STATE=$out/household.json ROUTER_SIM_LOG=$out/calls PATH=$out/bin:$PATH
[ -n "$usual_speed" ] || set -- env LD_PRELOAD="$clock" FASTCLOCK_FACTOR="$factor" "$@"
exec 3>&1
exec "$@" </dev/null >/dev/null \
    2> >(bash "$repo/scripts/demo/shorten.sh" >&3) 3>&-
