#!/usr/bin/env bash
# gateway-loss.sh - routers that report while what stores their reports dies.
set -uo pipefail
export LC_ALL=C

usage() {
    cat <<END
gateway-loss.sh - kills NATS server and gateways under a fleet, and counts what is lost

  scripts/gateway-loss.sh [--agents N] [--reports N]

Builds the release build, and runs the end-to-end test GatewayLoss with more routers: they send numbered reports by way of
two gateways to one NATS server, and are asked questions meanwhile. The server hangs once and is killed three times, each
gateway is killed, and all come back. Then the stream is read: every report that was acknowledged is in it once, and no
question was answered twice or by another router.

  --agents N    routers [1000]
  --reports N   of all of them together [100000]
  --help        this text

1000 routers take a minute and a half. Needs root or user namespaces.
Exit status: 0 nothing was lost, 1 a fault, 2 wrong use, 3 it could not run.
END
}

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
. "$repo/scripts/lib/screen.sh"
program=$repo/build/release/gateway_e2e_test agents=1000 reports=100000

wrong() { echo "gateway-loss.sh: $*; see --help" >&2; exit 2; }

while [ $# -gt 0 ]; do
    case $1 in
    --agents | --reports) [[ ${2:-} =~ ^[1-9][0-9]{0,6}$ ]] || wrong "$1 needs a number" ;;
    -h | --help) usage; exit ;;
    *) wrong "unknown option \"$1\"" ;;
    esac
    [ "$1" = --agents ] && agents=$2 || reports=$2
    shift 2
done
[ "$agents" -le 5000 ] || wrong "--agents: at most 5000, a thread each"
[ "$reports" -ge $((agents * 20)) ] || wrong "--reports: at least 20 for each router, so that they go on while something dies"

"$repo/scripts/install-packages.sh" build run || exit 3
mkdir -p "$repo/build/logs"
cd "$repo" || exit 3
quietly "$repo/build/logs/release-configure.log" 'configuring release' cmake --preset release || exit 3
quietly "$repo/build/logs/release-build.log" 'building the test' \
    cmake --build build/release -j "$(nproc)" --target gateway_e2e_test || exit 3
! reason=$("$program" --gtest_filter=-'*' 2>&1 >/dev/null </dev/null) || reason=''
[[ $reason != 'no sandbox: '* ]] || { echo "gateway-loss.sh: $reason" >&2; exit 3; }

title "$reports reports of $agents routers"
log=$repo/build/logs/gateway-loss.log
ulimit -n $((agents + 500)) 2>/dev/null || ulimit -n "$(ulimit -Hn)"
PLUG_LOSS_AGENTS=$agents PLUG_LOSS_REPORTS=$reports "$program" --gtest_filter='GatewayLoss.*' </dev/null 2>&1 |
    tee "$log" | grep --line-buffered -v -e '^\[[-= ]' -e '^\[[0-9-]* [0-9:.]*\] ' -e '^Note: '
status=${PIPESTATUS[0]}
if [ "$status" -eq 0 ] && grep -q '^\[  PASSED  \] 1 test' "$log"; then
    say "${green}nothing lost, nothing twice${off}"
else
    say "${red}FAILED${off}; the log is build/logs/gateway-loss.log"
    exit 1
fi
