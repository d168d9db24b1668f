#!/usr/bin/env bash
# fleet.sh - the demo of a fleet: three NATS servers, two gateways, and 200 agents with their routers.
#
#   fleet.sh BUILD       called by demo.sh; BUILD is empty when the build that is there is to be used
#
# Each step is a procedure here. What it says is what NATS, the gateways and the agents did in this run; a step that finds
# something else ends the demo with a sentence.
set -uo pipefail
export LC_ALL=C
PATH=$PATH:/usr/sbin:/sbin
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd -P)
. "$repo/scripts/lib/screen.sh"
. "$repo/scripts/demo/build.sh"
bin=$repo/build/release out=$repo/build/demo-fleet routers=200
trial=6 # seconds for which a supervisor watches a new agent

# ---- What the steps say, and how they look at the programs

number=0
part() { title "$((++number)). $*"; }
ok() { printf '  %sok%s      %s\n' "$green" "$off" "$*"; }
fail() { # what should be so
    printf '\n%sNot so: %s.%s The last lines of the gateways:\n' "$red" "$*" "$off"
    tail -n 5 "$out"/gateway?.log | cut -c1-300
    echo "All output is in $out"
    exit 1
}
# within SECONDS COMMAND...: waits until the command succeeds
within() {
    local end=$(($(now_us) + $1 * 1000000))
    shift
    until "$@"; do
        [ "$(now_us)" -lt $end ] || return 1
        sleep 0.2
    done
}
version_of() { "$bin/$1" --version | sed -n '1s/^plug \([0-9.]*\).*/\1/p'; } # PROGRAM
since() { seconds $(($(now_us) - $1)); }

# api SUBJECT DATA: asks a NATS server that runs, in its own protocol, and prints the answer
api() {
    local line
    exec 9<>"/dev/tcp/127.0.0.1/422$alive" || return
    printf 'CONNECT {"verbose":false}\r\nSUB demo 1\r\nPUB %s demo %d\r\n%s\r\n' "$1" ${#2} "$2" >&9
    while read -r -t 5 line <&9; do
        [[ $line != MSG* ]] || { read -r -t 5 line <&9 && printf '%s\n' "${line%$'\r'}"; break; }
    done
    exec 9>&-
} 2>/dev/null
serving() { [ "$(api "\$JS.API.INFO" '' | jq 'has("streams")' 2>/dev/null)" = true ]; }
# stream FILTER: a value of the stream of reports
stream() { api '$JS.API.STREAM.INFO.PLUG_REPORTS' '{"subjects_filter":">"}' | jq -r "$1" 2>/dev/null; }
# stored REPORT: how often the stream has it of each router that has sent it, one number a line
stored() { stream ".state.subjects | to_entries[] | select(.key | endswith(\".$1\")) | .value"; }
all_stored() { [ "$(stored "$1" | grep -cx "$2")" = $routers ]; } # REPORT TIMES: each router's, just so often
# all_copies: both followers have what the leader has
all_copies() { [ "$(stream '[.cluster.replicas[] | select(.current and (.offline | not))] | length')" = 2 ]; }
# metric NAME [GATEWAY]...: of these gateways, or of both, with all its labels
metric() {
    local name=$1 i
    shift
    [ $# -gt 0 ] || set -- 1 2
    for i; do curl -sf "http://127.0.0.1:947$i/metrics"; done |
        awk -v name="plug_gateway_$name" '$1 == name || index($1, name "{") == 1 { sum += $2 } END { print sum + 0 }'
}
sessions() { [ "$(metric sessions "${@:2}")" = "$1" ]; } # NUMBER [GATEWAY]
# cli ARGUMENT...: plug-gateway with the servers of this demo
cli() { "$bin/plug-gateway" "${servers[@]}" --replicas 3 "$@"; }
answered() { jq -r 'select(.serial) | .serial' "$out/answers.jsonl" | sort; } # the routers that have, as often as they have
# ask_all FUNCTION: every router answers, into answers.jsonl
ask_all() {
    cli ask all "$1" --seconds 60 >"$out/answers.jsonl" 2>"$out/ask.log" || return
    [ "$(answered | uniq | wc -l)" = $routers ]
}
# ask_devices: every router is asked to report its devices. One that has just done so takes no request for four seconds.
ask_devices() {
    while [ "$(now_us)" -lt $((asked + 7000000)) ]; do sleep 0.2; done
    asked=$(now_us)
    ask_all report-devices
}
# some_again: some routers' second list is in the stream; sets before, how many
some_again() { before=$(stored device-list | grep -cx 2) && [ "$before" -gt $((routers / 10)) ]; }
# spread FIRST SECOND: sessions at the gateways
spread() { [ "$1" -gt $((routers / 4)) ] && [ "$2" -gt $((routers / 4)) ] || fail "they spread evenly over the gateways ($1 and $2)"; }
crash() { kill -9 "$1" && ! wait "$1"; } 2>/dev/null # the shell would tell of it
# identities: every router has said of itself what its household has, and each once
identities() {
    ask_all identity || return
    jq -r 'select(.fields) | [.serial, .fields.serial, .fields.name, .fields.cpu_mhz] | @tsv' "$out/answers.jsonl" |
        sort | cmp -s - "$out/identities"
}

# households: mosquitto_sub has seen each router's report, with the devices of its own household
households() {
    [ "$(sed -n 's|^plug/[^/]*/report/device-list {|{|p' "$out/mqtt.log" |
        jq -s 'map(select((.serial[-3:] | tonumber) % 12 + 1 == (.fields.devices | length)) | .serial) | unique | length')" = $routers ]
}

# update FILE ARGUMENT...: what the agents are to become
update() { cli update "$out/web/$1" --to "$next" --url "http://127.0.0.1:8080/${1%/*}" --settle $((trial + 2)) --at-once 100 "${@:2}"; }
# versions VERSION: how many are online with it
versions() { update good/plug --dry-run | cut -f3 | grep -cx "$1"; }
all_versions() { [ "$(versions "$1")" = $routers ]; }
# updates_seen: mosquitto_sub has seen each router come online with the new version
updates_seen() {
    [ "$(sed -n 's|^plug/[^/]*/session {|{|p' "$out/mqtt.log" |
        jq -r --arg version "$next" 'select(.event == "online" and .version == $version) | .serial' | sort -u | wc -l)" = $routers ]
}
fetched() { grep -c "GET /$1/plug HTTP/1.1\" 200" "$out/web.log"; } # good|bad: how often the web server has given it

# ---- The parts

start_nats() { # NUMBER
    cat >"$out/nats$1.conf" <<CONF
server_name: nats$1
listen: 127.0.0.1:422$1
jetstream { store_dir: /tmp/nats$1 }
cluster { name: fleet, listen: 127.0.0.1:622$1, routes: [$(printf 'nats://127.0.0.1:622%d,' 1 2 3)] }
mqtt { listen: 127.0.0.1:188$1 }
CONF
    nats-server -c "$out/nats$1.conf" >>"$out/nats$1.log" 2>&1 &
    nats[$1]=$!
}
start_gateway() { # NUMBER
    "$bin/plug-gateway" "${servers[@]}" --replicas 3 run --name "gateway$1" --register "127.0.0.$1:6039" \
        --login "127.0.0.$1:6040" --web "127.0.0.1:947$1" --secret-file "$out/secret" --registrations-per-second 0 \
        --interval 20 --all-rate 25 --drain-seconds 5 >>"$out/gateway$1.log" 2>&1 &
    gateways[$1]=$!
    within 20 curl -sfo "$out/health" "http://127.0.0.1:947$1/healthz" || fail "gateway $1 becomes ready"
}
start_web() {
    mkdir -p "$out"/web/{bad,good}
    cp "$bin/plug_next" "$out/web/good/plug"
    head -c $(($(wc -c <"$bin/plug_next") / 2)) "$bin/plug_next" >"$out/web/bad/plug"
    cat >"$out/nginx.conf" <<CONF
user root; # whom the namespace has for the one that runs the demo
daemon off;
master_process off;
pid /tmp/nginx.pid;
events {}
http {
    client_body_temp_path /tmp/web-body;
    proxy_temp_path /tmp/web-proxy;
    fastcgi_temp_path /tmp/web-fastcgi;
    scgi_temp_path /tmp/web-scgi;
    uwsgi_temp_path /tmp/web-uwsgi;
    access_log $out/web.log;
    server { listen 127.0.0.1:8080; root $out/web; }
}
CONF
    nginx -c "$out/nginx.conf" -e "$out/web-errors.log" &
    web=$!
    within 5 curl -sfIo "$out/fetched" http://127.0.0.1:8080/good/plug || fail "the web server serves the new agent"
}
# Random values, so that correct answers cannot be stale ones.
make_routers() {
    local run i number folder devices other
    run=$(random_hex 2)
    random_hex 16 >"$out/secret"
    echo 'pin,key,serial,name' >"$out/devices.csv"
    : >"$out/identities"
    for ((i = 1; i <= routers; i++)); do
        printf -v number %03d $i
        folder=$out/routers/$number serial=H$run-$number devices='' other=$((i % 2 + 1))
        mkdir -p "$folder"
        echo "$run$number,key-$run-$number,$serial,household $i" >>"$out/devices.csv"
        printf '%s\t%s\thousehold-%d\t%d\n' "$serial" "$serial" $i $((500 + i)) >>"$out/identities"
        # Half of them register at the one gateway first, half at the other.
        printf '[Dev]\nPIN=%s\n[Protool]\nKEY=%s\nSERVER1=127.0.0.%d\nSERVER2=127.0.0.%d\nPORT=6039\n' \
            "$run$number" "key-$run-$number" $((3 - other)) $other >"$folder/plug.conf"
        for ((j = 1; j <= i % 12 + 1; j++)); do
            printf -v devices '%s{"mac": "02:00:00:%02x:00:%02x", "name": "device-%d", "ip": "192.168.1.%d"}, ' \
                "$devices" $i $j $j $((10 + j))
        done
        cat >"$folder/household.json" <<JSON
{"router": {"serial": "$serial", "mac": "02:00:00:00:01:$(printf %02x $i)", "name": "household-$i", "model": "R-$((i % 3 + 1))00"},
 "cpu": {"model": "MIPS 24KEc", "mhz": $((500 + i)), "cores": 1}, "devices": [${devices%, }]}
JSON
    done
}

# ---- The steps

step_cluster() {
    part "Three NATS servers as one cluster, two gateways, and a directory of $routers devices"
    local i
    for i in 1 2 3; do start_nats $i; done
    alive=1 servers=(--nats nats://127.0.0.1:4221 --nats nats://127.0.0.1:4222 --nats nats://127.0.0.1:4223)
    within 30 serving || fail "the NATS servers become one cluster"
    make_routers
    cli device import "$out/devices.csv" >"$out/import.log" 2>&1 || fail "the directory is imported ($(tail -1 "$out/import.log"))"
    [ "$(cli device list | wc -l)" = $routers ] || fail "the directory has $routers devices"
    start_gateway 1
    start_gateway 2
    within 10 all_copies || fail "the stream of reports has three copies"
    [ "$(api "\$JS.API.STREAM.LIST" '' | jq -c '[.streams[].config.num_replicas] | unique')" = '[3]' ] || fail "each bucket has three copies"
    ok "plug-gateway device import devices.csv: $(cat "$out/import.log"); each stream and bucket has three copies"
    # What everybody with an MQTT tool sees, for the whole demo; at a server that the demo does not kill.
    leader=$(stream .cluster.leader) leader=${leader#nats}
    alive=$((leader % 3 + 1))
    mosquitto_sub -h 127.0.0.1 -p "188$alive" -t 'plug/+/report/#' -t 'plug/+/session' -v >"$out/mqtt.log" 2>&1 &
    mqtt=$!
}

step_fleet() {
    part "$routers agents start, each with its own router and household, under its supervisor"
    local folder begin
    begin=$(now_us)
    for folder in "$out"/routers/*; do
        unshare --mount -- bash "$repo/scripts/demo/fleet-router.sh" "$folder" &
    done
    within 90 sessions $routers || fail "all agents come online in 90 s ($(metric sessions) have)"
    local first second
    first=$(metric sessions 1) second=$(metric sessions 2)
    spread "$first" "$second"
    ok "all $routers are online after $(since "$begin") s: $first at one gateway, $second at the other"
}

step_ask() {
    part "Questions by name, as JSON: to one router, and to all"
    local serial begin
    serial=$(sed -n 42p "$out/identities" | cut -f1)
    cli ask "$serial" identity >"$out/answer.json" || fail "the router $serial answers"
    say "plug-gateway ask $serial identity"
    say "$(cut -c1-150 "$out/answer.json")..."
    [ "$(jq -r .fields.name "$out/answer.json")" = household-42 ] || fail "it answers as household-42"
    cli ask "$serial" ping '{"hots":"192.0.2.1"}' >"$out/answer.json" && fail "a wrong parameter is refused"
    [ "$(jq -r .error.code "$out/answer.json")" = bad_parameter ] || fail "the answer says what is wrong"
    say "plug-gateway ask $serial ping '{\"hots\":\"192.0.2.1\"}'"
    say "$(cat "$out/answer.json")"
    begin=$(now_us)
    identities || fail "each of the $routers routers answers once, and as itself"
    ok "plug-gateway ask all identity: $routers routers, each has said its own serial number, name and clock, in $(since "$begin") s"
}

step_reports() {
    part "Reports: in the stream, and with an MQTT tool"
    within 30 all_stored rules-request 1 || fail "the stream has one rules-request of each router's login"
    ask_devices || fail "each router is asked for a report of its devices"
    within 30 all_stored device-list 1 || fail "the stream has one report of each router's devices"
    within 10 households || fail "mosquitto_sub sees each report, with the devices of the router's own household"
    say "mosquitto_sub -t 'plug/+/report/#' -v"
    say "$(grep -m1 'report/device-list {' "$out/mqtt.log" | cut -c1-150)..."
    ok "the stream has $(stream .state.messages) reports; of each router one list with the devices of its own household"
}

step_nats_killed() {
    part "The NATS server that leads the stream of reports is killed (-9) while all routers report"
    local begin ended before lost servers=(--nats "nats://127.0.0.1:422$alive") # for the question; the gateways know all three
    ended=$(metric sessions_ended_total)
    ask_devices &
    local question=$!
    within 20 some_again || fail "reports arrive"
    crash "${nats[leader]}" && begin=$(now_us)
    within 60 all_stored device-list 2 || fail "the stream has every router's report once ($(stored device-list | sort | uniq -c | xargs))"
    [ "$before" -lt $routers ] || fail "it is killed while reports arrive"
    ok "$before reports were in the stream; those of all $routers routers are, exactly once, $(since "$begin") s after the server's end"
    wait $question # or not by all: answers are not stored, and those on their way through the server end with it
    [ -z "$(answered | uniq -d)" ] || fail "no router answers twice"
    lost=$((routers - $(answered | wc -l)))
    [ "$(stream .cluster.leader)" != "nats$leader" ] || fail "another server leads the stream"
    begin=$(now_us)
    start_nats "$leader"
    within 60 all_copies || fail "the server has caught up"
    [ "$(metric sessions) $(metric sessions_ended_total)" = "$routers $ended" ] || fail "no session has ended"
    [ "$(metric 'reports_total{result="failed"}')" = 0 ] || fail "no report was given up"
    [ "$(metric 'reports_total{result="stored"}')" = "$(stream .state.messages)" ] || fail "what was acknowledged is what the stream has"
    ok "the server is back, and $(since "$begin") s later has all that it missed; no session ended, no report was given up"
    say "of the $routers answers to the question, which nobody stores, $lost ended with the server"
    within 20 identities || fail "all routers answer again"
}

step_gateway_killed() {
    part "A gateway is killed (-9) and comes back; then the other one is ended (SIGTERM)"
    local begin lost
    lost=$(metric sessions 2)
    crash "${gateways[2]}" && begin=$(now_us)
    within 90 sessions $routers 1 || fail "its routers come back at the other one ($(metric sessions 1) are there)"
    ok "its $lost routers are at the other gateway $(since "$begin") s later"
    within 20 identities || fail "all routers answer there"
    start_gateway 2
    kill "${gateways[1]}" && begin=$(now_us)
    within 90 sessions $routers 2 || fail "its routers come back at the other one ($(metric sessions 2) are there)"
    ok "drained: all $routers routers have gone over to the one that came back, $(since "$begin") s after the signal"
    wait "${gateways[1]}" || fail "the drained gateway ends with status 0"
    within 20 identities || fail "all routers answer there"
    ask_devices || fail "all routers can be asked for their devices"
    within 30 all_stored device-list 3 || fail "the stream has every router's third report once"
    ok "all answer as themselves, and the stream has the third report of each: $(stream .state.messages) reports in all"
}

step_update() {
    part "A staged update, from nginx: first a bad build, which stops itself, then a good one"
    local begin status tried first second
    start_gateway 1
    start_web
    all_versions "$version" || fail "all agents are version $version"
    # Half of a program, as after a transfer that was cut off. Its MD5 is right, so the agents make way for it.
    say "plug-gateway update plug --to $next --url http://127.0.0.1:8080/bad --share 1%,10%,100% --stop-after-failures 1%"
    begin=$(now_us)
    update bad/plug --share 1%,10%,100% --stop-after-failures 1% >"$out/bad.log" 2>&1
    status=$?
    sed 's/^/  /' "$out/bad.log"
    [ $status = 2 ] || fail "the bad build ends the update with status 2, not $status"
    tried=$(fetched bad)
    [ "$tried" -ge 1 ] && [ "$tried" -le $((routers / 100)) ] || fail "only routers of the first share have fetched it ($tried)"
    within 60 all_versions "$version" || fail "the routers that had the bad build are back with version $version"
    ok "it stopped itself after $(since "$begin") s: $tried of $routers routers had it, and their supervisors went back to $version"
    begin=$(now_us)
    update good/plug --share 1%,10%,100% --stop-after-failures 1% >"$out/good.log" 2>&1 || {
        sed 's/^/  /' "$out/good.log"
        fail "the good build reaches all routers"
    }
    say "the same with the good build:"
    sed 's/^/  /' "$out/good.log"
    [ "$(fetched good)" = $routers ] || fail "each router has fetched it once ($(fetched good))"
    within 60 sessions $routers && all_versions "$next" || fail "all are online with version $next"
    within 10 updates_seen || fail "an MQTT tool has seen each of them log in with version $next"
    within 20 identities || fail "all routers answer, as themselves"
    [ "$(stored plugin-update-report | awk '{ sum += $1 } END { print sum }')" = $((routers + tried)) ] || fail "the stream has a report of each update"
    first=$(metric sessions 1) second=$(metric sessions 2)
    spread "$first" "$second"
    ok "all $routers run version $next after $(since "$begin") s, $first at one gateway and $second at the other, and answer as before"
}

step_end() {
    part "The end"
    kill "${gateways[@]}" "$mqtt" "$web"
    wait "${gateways[1]}" && wait "${gateways[2]}" || fail "the gateways end with status 0"
    kill "${nats[@]}"
    wait "${nats[@]}"
    ok "the gateways have drained and ended; the NATS servers have ended, too. The agents end with their namespaces"
}

# In this order; each leaves all $routers routers online.
steps=(step_cluster step_fleet step_ask step_reports step_nats_killed step_gateway_killed step_update step_end)

if [ "${1:-}" != --inside ]; then
    build_programs "${1:-}" "build run fleet" "the agent, the simulated router and the gateway" plug plug_next plug-gateway
    # With the first process of the new namespaces all others end, and with them everything that was made.
    ways=(--mount --net --pid --fork --kill-child --mount-proc)
    [ "$(id -u)" = 0 ] || ways+=(--map-root-user)
    unshare "${ways[@]}" -- mount -t tmpfs tmpfs /tmp 2>"$out/unshare.log" || {
        echo "demo.sh: this machine allows no namespaces: $(tail -1 "$out/unshare.log")" >&2
        exit 3
    }
    unshare "${ways[@]}" -- bash "$0" --inside &
    trap 'kill -9 $!; exit 130' INT TERM # unshare ignores them
    wait $!
    exit
fi
exec 8>"$out/lock"
flock -n 8 || die "another demo is running in this checkout"
# shellcheck source=scripts/lib/private.sh
. "$repo/scripts/lib/private.sh"
private_enter --net "$repo" || die "could not make the private place"
rm -rf "$out"/{routers,web,*.log,*.conf,*.json*}
version=$(version_of plug) next=$(version_of plug_next)
export repo bin trial
nats=() gateways=() asked=0 begin=$(now_us)
for step in "${steps[@]}"; do $step; done
printf '\n%sAll %d steps passed in %s s.%s What the programs wrote is in build/demo-fleet.\n' "$green" ${#steps[@]} "$(since "$begin")" "$off"
