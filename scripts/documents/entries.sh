# shellcheck shell=bash
# shellcheck disable=SC2154 # set by who sources it
# entries.sh - how each command of the documents is run; sourced by scripts/documents.sh, bash.
#
#   entry KEY line FUNCTION...     the line KEY, wherever it stands, is run by FUNCTION (of this file or place.sh)
#   entry KEY block FUNCTION...    so is the whole block that begins with the line KEY
#   entry KEY long FUNCTION...     a line, but it takes minutes
#   entry KEY stage FILE TEXT      another stage of the tests runs this line: FILE has TEXT

in_repo() { cd "$repo" && run; }

# ---- Building and testing

entry 'scripts/demo.sh' stage scripts/test.sh '"$repo/scripts/demo.sh" </dev/null'
entry 'scripts/demo.sh --linux' long in_repo
entry 'scripts/demo.sh --fleet' long in_repo
entry 'scripts/test.sh' stage .ci/run 'scripts/test.sh --all'
entry 'scripts/test.sh --all' stage .ci/run 'scripts/test.sh --all'
entry 'scripts/test.sh --lab' stage scripts/test.sh 'stages+=(lab wifi'
entry 'scripts/test.sh --wifi' stage scripts/test.sh 'stages+=(lab wifi'
entry 'scripts/test.sh --page' stage scripts/test.sh 'stages+=(lab wifi page'
entry "scripts/test.sh --filter 'TcpQueue'" line in_repo
entry 'scripts/test.sh --coverage' long in_repo
entry 'scripts/test.sh --helgrind' long in_repo
entry 'scripts/test.sh --tsan-gateway' long in_repo
entry 'scripts/lint.sh format shell links' line in_repo
entry 'scripts/lint.sh' stage scripts/test.sh '"$repo/scripts/lint.sh" |'
entry 'scripts/fuzz-coverage.sh' long in_repo
entry 'cmake --preset fuzz && cmake --build --preset fuzz -j2' long in_repo
entry 'mkdir -p /tmp/new-inputs' line run
entry 'build/fuzz/dispatch_fuzz -max_total_time=60 /tmp/new-inputs tests/fuzz/corpus/dispatch_fuzz' long fuzz_by_hand
entry 'scripts/impaired-networks.sh' long in_repo
entry 'scripts/impaired-networks.sh --write' long keeping docs/impaired-networks.md
entry 'E2E_AGENT=build/tsan/plug setarch -R ctest --test-dir build/release -L e2e -R '"'e2e.Session'" stage scripts/test.sh 'E2E_AGENT=$repo/build/tsan/plug'
entry 'scripts/torture.sh' long in_repo
entry 'scripts/torture.sh --kind router --sample 50' long in_repo
entry "build/release/torture 'router send:7' 'local pipe:1+'" line in_repo
entry 'scripts/bench.sh' long in_repo
entry 'scripts/bench.sh latency idle' long in_repo
entry 'scripts/bench.sh scale' long in_repo
entry 'scripts/bench.sh --compare tests/bench/figures.tsv size idle' long in_repo
entry 'scripts/gateway-loss.sh' long in_repo
entry 'scripts/gateway-load.sh' long in_repo
entry 'scripts/gateway-load.sh soak' long in_repo
entry 'scripts/soak.sh --days 8 --speed 900 --seed 2 --plot docs/soak.svg' long keeping docs/soak.svg
entry 'unshare --mount --net --pid --fork --mount-proc bash' block lab_by_hand

fuzz_by_hand() {
    mkdir -p /tmp/new-inputs
    in_repo
}
# keeping FILE: the command writes a document, which is put back
keeping() {
    cp "$repo/$1" kept
    local status=0
    (in_repo) || status=$?
    cp kept "$repo/$1"
    return $status
}
# The first line is a shell, which gets the others.
lab_by_hand() {
    cd "$repo" || exit
    [ "$(from 2 | grep -c 'lab.sh up')" = 1 ]
    { echo 'set -e' && from 2 99 && echo 'scripts/lab.sh in router ip address show br-lan'; } | run "$(from 1)" >"$place/out.log" 2>&1
    says "$place/out.log" 192.168.50.1 1
}

# ---- Installing and porting. What installs packages runs in a bare system.

entry 'scripts/package.sh' stage scripts/vm.sh '"$repo/scripts/package.sh"'
entry 'apt install ./build/packages/plug_*.deb ./build/packages/plug-router-linux_*.deb' stage scripts/package.sh 'block scripts/package.sh'
entry 'apt install ./plug_*.deb ./plug-router-linux_*.deb' stage scripts/package.sh "block 'apt install ./plug_'"
entry 'install -m 600 /usr/share/doc/plug/examples/plug.conf /etc/plug.conf && editor /etc/plug.conf' stage scripts/package.sh "block 'apt install ./plug_'"
entry 'systemctl restart plug' stage scripts/package.sh "block 'apt install ./plug_'"
entry 'plugctl status' stage scripts/package.sh "block 'apt install ./plug_'"
entry 'plug --check -f /etc/plug.conf' stage scripts/package.sh "block 'plug --check'"
entry 'cp -r sdk/template my-router' block stubs_are_tried
entry 'cp -r plug/sdk/template my-router && cd my-router' block stubs_for_the_router
entry 'cmake -B build/router -DCMAKE_TOOLCHAIN_FILE=my-router.cmake -DCMAKE_BUILD_TYPE=MinSizeRel -DCMAKE_INTERPROCEDURAL_OPTIMIZATION=ON -DPLUG_TOOLS=OFF -DPLUG_TESTS=OFF' block own_toolchain
entry 'cmake -B build/router -DCMAKE_INSTALL_PREFIX=/usr' block own_image

# Stubs that answer nothing are told what they lack: status 1.
stubs_are_tried() {
    local status=0
    [ ! -e "$repo/my-router" ] || fail "there is no my-router in the checkout"
    trap 'rm -rf "$repo/my-router"' EXIT
    (in_repo) >out.log 2>&1 || status=$?
    [ $status = 1 ] || fail "it ends with 1, not $status"
    says out.log 'WRONG: fails, and the agent cannot register without it' 1
}
# The last line is for the router: here for this machine's processor.
stubs_for_the_router() {
    ln -s "$repo" plug
    run "$(from 1 3)"
    file_is my-router/libRouterSdk.so.1 MIPS
    rm -r my-router
    run "$(from 1)
make SDK=../plug/sdk
$(from 4)" >out.log 2>&1 || says out.log 'answered a code' 1
}
file_is() { readelf -h "$1" | grep -q "Machine: .*$2" || fail "$1 is for $2"; }
# A copy of the sources, so that the build is one of its own.
sources() {
    mkdir -p "$repo/build/documents/sources"
    cd "$repo/build/documents/sources" || exit
    (cd "$repo" && tar -c --exclude=./build --exclude=./.git .) | tar -x
    echo 'include(${CMAKE_CURRENT_LIST_DIR}/cmake/mipsel.cmake)' >my-router.cmake
    export PLUG_TARGET_LIBRARIES=$repo/build/target-libraries
}
own_toolchain() {
    sources
    run
    file_is build/router/plug MIPS
}
own_image() {
    own_toolchain_first="$(commands "$(grep -lF 'DCMAKE_TOOLCHAIN_FILE=my-router.cmake' "$repo"/build/documents/blocks/*)" | head -1)"
    sources
    run "$own_toolchain_first"
    run
    file_is build/image/usr/sbin/plug MIPS
    [ -x build/image/usr/libexec/plug/plug-supervisor.sh ]
}

entry 'uci set plug.agent.pin=...  && uci set plug.agent.key=...' stage tests/packaging/OpenWrtTest.sh "/^## Settings$/"
entry 'uci set plug.agent.server1=register1.example.net' stage tests/packaging/OpenWrtTest.sh "/^## Settings$/"
entry 'uci set plug.agent.enabled=1 && uci commit plug' stage tests/packaging/OpenWrtTest.sh "/^## Settings$/"
entry '/etc/init.d/plug enable && /etc/init.d/plug start' stage tests/packaging/OpenWrtTest.sh "/^## Settings$/"

# ---- The Linux machine as the router

entry 'scripts/install-packages.sh build run' line in_repo
entry 'cmake --preset release && cmake --build --preset release --target plug router_linux' line in_repo
entry 'LD_LIBRARY_PATH=build/release/sdk/linux build/release/plug -d -f plug.conf' line linux_router
entry 'packaging/plug-router-off.sh' block linux_router_off

# A router of one's own: a LAN, a WAN, and nothing in the machine's own folders.
linux_machine() {
    ip link add br-lan type bridge
    ip link add eth0 type veth peer name provider
    for device in br-lan eth0 provider; do ip link set $device up; done
    ip address add 192.168.50.1/24 dev br-lan
    ip address add 100.64.0.2/24 dev eth0
    ip route add default via 100.64.0.1
    mount -t tmpfs tmpfs /var/lib
    [ ! -e /etc/plug ] || mount -t tmpfs tmpfs /etc/plug
    with_platform
    configuration
}
linux_router() {
    linux_machine
    starts platform.log 'MsgType 10 login'
}
linux_router_off() {
    linux_machine
    LD_LIBRARY_PATH=build/release/sdk/linux plug -d -f plug.conf </dev/null >agent.log 2>&1 &
    says platform.log 'MsgType 10 login'
    nft list tables >before.log
    says before.log plug_router 1
    kill $! && wait $! || true
    tc qdisc add dev br-lan root handle 706c: htb # as for a device with a limit
    printf '#!/bin/sh\necho "$*" >>%s/systemctl.log\n' "$place" >bin/systemctl
    chmod +x bin/systemctl
    run
    ! nft list tables | grep -q plug_router || fail "the tables are gone"
    ! tc qdisc show | grep -q 706c: || fail "the qdisc is gone"
    [ "$(cat /proc/sys/net/ipv4/ip_forward)" = 0 ]
    says systemctl.log 'restart hostapd' 1
}

# ---- The simulated router, the clock, the local peer

entry "ROUTER_SIM_STATE=home.json ROUTER_SIM_FAULTS='get_cpu_use=-1:every=3' ROUTER_SIM_LOG=calls.log build/release/plug -d -f plug.conf" line simulated_router
entry 'LD_PRELOAD=build/release/libfastclock.so FASTCLOCK_FACTOR=20 build/release/plug -d -f plug.conf' line fast_agent
entry 'cc -Wall -Wextra -Werror -o peer peer.c && ./peer' line peer_of_the_document

simulated_router() {
    with_platform
    configuration
    starts platform.log 'MsgType 10 login'
    says calls.log 'get_router_mac'
}
# A heartbeat of every minute comes after three seconds.
fast_agent() {
    with_platform
    configuration
    starts platform.log 'MsgType 1 heartbeat'
    rm platform.log.seen 2>/dev/null || true
    for ((i = 0; i < 200; i++)); do
        [ "$(grep -c 'MsgType 1 heartbeat' platform.log)" -lt 3 ] || return 0
        sleep 0.05
    done
    fail "three heartbeats in ten seconds"
}
peer_of_the_document() {
    sed -n '/^```c$/,/^```$/p' docs/local-protocol.md | grep -v '^```' >peer.c
    bash -euo pipefail -c "$block_text" >out.log 2>&1 & # it says nothing; with it functions for the peer are answered
    block_text='wait heartbeat
mesh-topology
wait reply
expect status 0'
    own_script
}

# ---- The gateway

entry 'nats-server -js -sd /var/lib/nats &' block gateway_runs
entry 'plug-gateway ask SIM0000000001 identity' block gateway_answers

entry 'cp plug-2.0.0.8 /var/www/html/plug/' block fleet_is_updated

# A shell of a terminal goes on while the server begins. The agent is $1..., if that is given.
gateway_runs() {
    mount -t tmpfs tmpfs /var/lib
    with_agent "$@"
    { from 1 && echo 'sleep 2' && from 2 99 && echo wait; } | run "bash -euo pipefail" >out.log 2>&1 &
    for ((i = 0; i < 100; i++)); do
        ! plug-gateway ask SIM0000000001 router-version >answers.log 2>&1 || return 0
        sleep 0.2
    done
    fail "the router is online"
}
gateway_answers() {
    local questions=$block_text
    block_text=$(cat "$(grep -lF 'nats-server -js' "$repo"/build/documents/blocks/*)")
    gateway_runs
    run "$questions" >answers.log
    [ "$(grep -c '"status": *0' answers.log)" = 2 ] || fail "both are answered"
}

# With a web server, an agent under its supervisor, and a shorter time for its trial.
fleet_is_updated() {
    mount -t tmpfs tmpfs /var/www 2>/dev/null || { mkdir -p /var/www && mount -t tmpfs tmpfs /var/www; }
    mkdir -p /var/www/html/plug && ip address add 192.0.2.10/32 dev lo
    busybox httpd -p 192.0.2.10:80 -h /var/www/html
    cp "$repo/build/release/plug_next" plug-2.0.0.8
    rm bin/plug-gateway
    printf '#!/bin/sh\n[ "$1" != update ] || set -- "$@" --settle 1\nexec %s/build/release/plug-gateway "$@"\n' "$repo" >bin/plug-gateway
    chmod +x bin/plug-gateway
    printf '%s\n' "PLUG=$repo/build/release/plug" "PLUG_OPTIONS='-d -f $place/plug.conf'" PLUG_NEW=/tmp/plug.update PLUG_RUN=/tmp PLUG_LOG=none >defaults
    local update=$block_text
    block_text=$(cat "$(grep -lF 'nats-server -js' "$repo"/build/documents/blocks/*)")
    gateway_runs env PLUG_DEFAULTS="$place/defaults" LD_LIBRARY_PATH="$repo/build/release" sh "$repo/packaging/plug-supervisor.sh"
    run "$update" >update.log 2>&1 || fail "the fleet is updated"
    plug-gateway ask SIM0000000001 router-version >/dev/null
    grep -q "version=2.0.0.8" out.log || fail "it is back with the new version"
}

# ---- plugsim: its command lines, and the commands of its prompt as scripts with an agent

entry 'plugsim platform' line starts out.log listening
entry 'plugsim platform --http :8199 --http-size 1G' line starts out.log 127.0.0.1:8199
entry 'plugsim platform --login 127.0.0.1:0 --json' line starts out.log '"event":"listening"'
entry 'plugsim platform --script check.plugsim' line platform_script
entry "plugsim platform --misbehave 'late@login=3 1'" line late_login
entry "printf 'wait login\\nidentity\\nwait reply\\nexpect status 0\\n' | plugsim platform --script -" line platform_script
entry 'plugsim functions set-ssid-config' line run
entry 'plugsim manager' line manager_runs
entry 'plugsim manager --script check.plugsim' line manager_script
entry 'plugsim manager --household home.txt --state conf' line manager_runs
entry "plugsim manager --misbehave 'late@mesh=3 1'" line manager_late
entry 'plugsim platform &' block example_on_a_terminal
entry 'set thresholds 75 65' block household_of_the_document
entry 'wait request name=set-mesh' block manager_waits
entry 'wan-config 0' block every_command_is_answered
entry 'forward add 192.168.1.1 8080 192.168.1.50 80' block platform_commands
entry 'wait login' block own_script
entry 'title 1. The agent registers' block script_with_its_agent
entry 'update build/plug-2.0.0.8' line updates
entry 'update junk md5=0 expect-failure' line updates
entry 'http /download/300.data slow=50K stall=200K 1' block slow_download

# A script of one's own, with an agent.
own_script() {
    printf '%s\n' "$block_text" >check.plugsim
    with_agent
    timeout 60 plugsim platform --script check.plugsim "$@" >platform.log 2>&1 || fail "the script passes"
}
platform_script() {
    printf 'wait login\nversion\nwait reply\nexpect status 0\n' >check.plugsim
    with_agent
    timeout 60 bash -c "$block_text" >platform.log 2>&1 || fail "the script passes"
    grep -E 'function (1 router-version|2 identity), status 0' platform.log || fail "it is answered"
}
late_login() {
    with_agent
    starts out.log 'late@login=3'
}
every_command_is_answered() {
    with_agent
    printf '%s\n' "wait heartbeat" "$block_text" "wait reply function=66" "status" "check \${.events.reply} = $(from 1 99 | wc -l)" >check.plugsim
    timeout 60 plugsim platform --script check.plugsim >platform.log 2>&1 || fail "the script passes"
}
platform_commands() {
    block_text="wait heartbeat
$block_text"
    own_script
    ! grep -q '\*\*\*' platform.log || fail "no fault is found"
}
script_with_its_agent() {
    configuration
    printf '%s\n' "$block_text" >check.plugsim
    timeout 60 plugsim platform --script check.plugsim >platform.log 2>&1 || fail "the script passes"
    says platform.log 'registered within' 1
}
updates() {
    mkdir elsewhere && rm build && mkdir build
    cp "$repo/build/release/plug_next" build/plug-2.0.0.8
    echo no program >junk
    block_text="wait heartbeat
$block_text"
    own_script
}
slow_download() {
    ip address add 198.51.100.1/32 dev lo # where this build tests its rate
    block_text="wait heartbeat
$block_text"
    own_script --http 198.51.100.1:8199
}
manager_runs() {
    echo 'set thresholds 70 60' >home.txt
    with_platform
    with_agent
    starts out.log connected
}
manager_script() {
    printf 'wait connected\nwait request\n' >check.plugsim
    with_platform
    with_agent
    timeout 60 bash -c "$block_text" >out.log 2>&1 || fail "the script passes"
}
# The first question about the mesh is answered three seconds late.
manager_late() {
    with_agent
    starts out.log connected
    printf 'wait heartbeat\nmesh\nwait reply 10\nexpect latency_ms > 2900\n' >ask.plugsim
    timeout 60 plugsim platform --script ask.plugsim >platform.log 2>&1 || fail "the reply is late"
}
household_of_the_document() {
    printf '%s\n' "$block_text" >home.txt
    with_platform
    with_agent
    printf 'wait connected\nshow\n' >check.plugsim
    timeout 60 plugsim manager --household home.txt --script check.plugsim >out.log 2>&1 || fail "the household is taken"
    says out.log 'Next door' 1
    says out.log laptop 1
}
manager_waits() {
    printf '%s\n' "$block_text" >check.plugsim
    printf 'wait heartbeat\nset-mesh off\nwait reply 30\n' >ask.plugsim
    with_agent
    plugsim platform --script ask.plugsim </dev/null >platform.log 2>&1 &
    timeout 60 plugsim manager --script check.plugsim >out.log 2>&1 || fail "the script passes"
}
# As a person types it: in the shell of a terminal, with jobs.
example_on_a_terminal() {
    [ "$(from 3 9 | wc -l)" = 1 ]
    { sleep 1; printf '%s\n' "$block_text"; sleep 4; printf '\003'; sleep 0.5; echo 'jobs; kill %1; exit'; } |
        script -qec 'bash --norc -i' typed.log >/dev/null || true
    says typed.log 'MsgType 1 heartbeat' 1
    says typed.log 'Running' 1
}
