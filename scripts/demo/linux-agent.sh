#!/usr/bin/env bash
# linux-agent.sh - runs the agent of the Linux demo on the lab's router. Its log goes through shorten.sh, its number to
# $out/agent.pid. The values are linux.sh's.
# shellcheck disable=SC2154 # those values
set -eu
exec 3>&1
export LD_LIBRARY_PATH=$bin/sdk/linux PLUG_ROUTER_CONF=/run/lab/router.conf
echo $$ >"$out/agent.pid"
exec "$repo/scripts/lab.sh" in router "$bin/plug" -d -f "$out/plug.conf" </dev/null >/dev/null \
    2> >(bash "$repo/scripts/demo/shorten.sh" >&3) 3>&-
