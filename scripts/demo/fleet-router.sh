#!/usr/bin/env bash
# fleet-router.sh - one router of the fleet's demo: the agent under its supervisor, with a /tmp of its own.
#
#   fleet-router.sh FOLDER     called in a new mount namespace. The folder has plug.conf and household.json
#
# The other values are fleet.sh's.
# shellcheck disable=SC2154 # those values
set -eu
# shellcheck source=scripts/lib/private.sh
. "$repo/scripts/lib/private.sh"
private_enter --mount "$repo"
# Its pauses are short, so that nobody has to wait for a minute after an outage, and so is an update's trial.
cat >/tmp/defaults <<CONF
PLUG='$bin/plug'
PLUG_OPTIONS='-d -f $1/plug.conf'
PLUG_NEW=/tmp/plug.update
PLUG_RUN=/tmp
PLUG_LOG=none
LONG_PAUSE=3
TRIAL=$trial
log() { echo "supervisor: \$*" >&2; }
CONF
export PLUG_DEFAULTS=/tmp/defaults ROUTER_SIM_STATE=$1/household.json LD_LIBRARY_PATH=$bin
exec sh "$repo/packaging/plug-supervisor.sh" </dev/null >"$1/agent.log" 2>&1 8>&-
