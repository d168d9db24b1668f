#!/bin/sh
# Runs one test of the scripts with which a router is operated, in a folder of its own.
#
#   OperateTest.sh TEST PACKAGING FOLDER SHELL
set -eu
name=$1 packaging=$2 folder=$3 shell=$4
rm -rf "$folder"
mkdir -p "$folder/run"
cd "$folder"
trap 'touch stop; ./plug.init stop >/dev/null 2>&1' EXIT

die() { echo "$*" >&2; exit 1; }

export PLUG_DEFAULTS="$folder/defaults"
for script in plug-supervisor.sh plug.init plugctl; do
    { echo "#!/bin/sh"; echo "exec $shell '$packaging/$script' \"\$@\""; } >"$script"
    chmod +x "$script"
done
# An agent that knows its version and runs until it is ended.
cat >agent <<'AGENT'
#!/bin/sh
case $* in
--version) echo "plug 2.0.0.7: ties this router to its platform"; exit ;;
--check*) echo "checks $*"; exit 1 ;;
esac
echo $$ >>started
printf 003 >status
while [ ! -e stop ]; do sleep 0.1; done
AGENT
chmod +x agent
cat >defaults <<DEFAULTS
PLUG=$folder/agent
PLUG_OPTIONS="-f $folder/plug.conf"
PLUG_NEW=$folder/update
PLUG_RUN=$folder/run
PLUG_STATUS=$folder/status
PLUG_SUPERVISOR=$folder/plug-supervisor.sh
PLUG_LOG=none
PAUSE=0
MAX_PAUSE=0
log() { echo "\$*" >>$folder/log; }
log_agent() { echo "\$1: \$2"; }
DEFAULTS

# until_there SECONDS COMMAND...
until_there() {
    left=$(($1 * 10))
    shift
    until "$@"; do
        [ "$left" -gt 0 ] || die "never: $*"
        left=$((left - 1))
        sleep 0.1
    done
}
agents() { [ "$(wc -l <started 2>/dev/null || echo 0)" -ge "$1" ]; }

# ends_with STATUS TEXT COMMAND...: checks that the command ends with this status and prints this text
ends_with() {
    wanted=$1 part=$2
    shift 2
    said=$("$@" 2>&1) && status=0 || status=$?
    [ "$status" = "$wanted" ] || die "$* ended with $status and said: $said"
    case $said in *"$part"*) ;; *) die "$* did not say \"$part\" but: $said" ;; esac
}

# ---- What an agent logs ----

escape=$(printf '\033')
logged() { # TIME LEVEL TEXT
    printf '2026-3-9 %s [%s]%s[1;31m [Module->function->12]-> %s[0m%s[1;33m%b%s[0m\n\n' "$1" "$2" "$escape" "$escape" "$escape" "$3" "$escape"
}
filter() { "$shell" "$packaging/plug-log.sh" "$1"; }
[ "$shell" != "busybox sh" ] || filter() { busybox sh "$packaging/plug-log.sh" "$1"; }

# passes LEVEL: checks that the filter makes of the file `in` what standard input says
passes() {
    cat >wanted
    filter "$1" <in >found
    diff -u wanted found || die "that is not what is to be passed on"
}

case $name in
ALineIsPassedOnWhenItsLevelIsAdmitted)
    for level in ERR WARN NOTICE INFO DEBUG; do logged 07:05:00 $level "a line of $level"; done >in
    echo 'err: a line of ERR' | passes error
    printf '%s\n' 'err: a line of ERR' 'warning: a line of WARN' 'notice: a line of NOTICE' 'info: a line of INFO' | passes info
    { cat wanted; echo 'debug: a line of DEBUG'; } >all
    passes debug <all
    ;;
ATextOfSeveralLinesHasOneLevel)
    { logged 07:05:00 DEBUG 'first\nsecond'; logged 07:05:00 ERR 'third\n\nfourth'; } >in
    printf '%s\n' 'err: third' 'err: fourth' | passes error
    ;;
TheAgentsSecretsAreMaskedWhereverTheyStand)
    {
        logged 07:05:00 DEBUG 'PIN:\t4711[0*]'
        logged 07:05:00 DEBUG 'KEY:\tgeheim'
        logged 07:05:00 ERR 'x4711[0*]y and geheim, geheimgeheim; 4711000'
    } >in
    echo 'err: x***y and ***, ******; 4711000' | passes error
    ;;
SecretsAreMaskedByTheirNames)
    {
        logged 07:05:00 ERR '{"token":"a\\\\"b","url":"http://me:pw@host/x?token=abc&y=1"}'
        logged 07:05:00 ERR '{"wifi_key": "a b", "passwd" : 12, "Password":"c","n":1}'
        logged 07:05:00 ERR 'token: t1 psk=p2, secret=s3'
        logged 07:05:00 ERR 'Not find Key="PIN" and no default_str to use.'
        logged 07:05:00 ERR 'ping len =3'
    } >in
    passes error <<'END'
err: {"token":"***","url":"http://***@host/x?token=***&y=1"}
err: {"wifi_key": "***", "passwd" : ***, "Password":"***","n":1}
err: token: *** psk=***, secret=***
err: Not find Key="PIN" and no default_str to use.
err: ping len =3
END
    ;;
SoManyLinesPassInASecondAndTheOthersAreCounted)
    echo PLUG_LOG_RATE=2 >>defaults
    { for i in 1 2 3 4 5; do logged 07:05:00 ERR "line $i"; done; logged 07:05:01 ERR last; } >in
    printf '%s\n' 'err: line 1' 'err: line 2' 'notice: 3 lines left out: more than 2 in a second' 'err: last' | passes error
    ;;
ARepeatedLineIsPassedOnceAMinuteAndCounted)
    { for s in 01 02 03; do logged 07:05:$s ERR again; done; logged 07:06:00 ERR again; } >in
    printf '%s\n' 'err: again' 'notice: 2 lines repeated earlier ones' 'err: again' | passes error
    ;;
AnAnswerThatCannotBeDecryptedIsSaidToBeAKey)
    {
        logged 07:05:00 INFO 'quit regist,start login 1.2.3.4:99'
        logged 07:05:00 ERR 'regist ack error'
        logged 07:05:00 ERR 'Login ServerInit error'
    } >in
    passes error <<END
err: regist ack error
err: hint: the answer cannot be decrypted: is KEY the platform's?
err: Login ServerInit error
err: hint: no login server at 1.2.3.4:99; if that is no address of the platform, the answer cannot be decrypted: is KEY the platform's?
END
    ;;
AMissingSerialNumberIsSaidToBeTheLibrarys)
    logged 07:05:00 ERR 'ERROR: get sn failed!' >in
    passes error <<END
err: ERROR: get sn failed!
err: hint: the router library has no serial number; that for Linux takes "serial" of /etc/plug/router.conf
END
    ;;
TwoStartsMakeOneSupervisor)
    ./plug.init start & first=$!
    ./plug.init start
    wait $first
    until_there 5 agents 1
    ends_with 0 'runs already' ./plug.init start
    ends_with 0 'running, stage 003' ./plug.init status
    ends_with 0 '' ./plug.init stop
    ends_with 3 'not running' ./plug.init status
    [ "$(wc -l <started)" = 1 ] || die "$(wc -l <started) agents were started"
    ;;
ARestartEndsTheOldSupervisorFirst)
    ./plug.init start
    until_there 5 agents 1
    old=$(./plug-supervisor.sh --supervisor)
    ends_with 0 '' ./plug.init restart
    until_there 5 agents 2
    new=$(./plug-supervisor.sh --supervisor)
    [ "$new" != "$old" ] || die "the old supervisor still runs"
    ends_with 0 "$(sed -n 2p started)" ./plug-supervisor.sh --agent
    ends_with 0 '' ./plug.init stop
    ;;
AStopEndsTheAgentOfASupervisorThatWasKilled)
    ./plug.init start
    until_there 5 ./plug-supervisor.sh --agent
    agent=$(./plug-supervisor.sh --agent)
    kill -9 "$(./plug-supervisor.sh --supervisor)"
    ends_with 0 "$agent" ./plug-supervisor.sh --agent
    ends_with 0 '' ./plug.init stop
    ends_with 1 '' ./plug-supervisor.sh --agent
    ends_with 0 '' ./plug.init stop
    ;;
AStartThatIsRefusedIsSaid)
    : >plug.conf
    chmod 666 plug.conf
    ends_with 1 'has not started' ./plug.init start
    grep -q 'refusing to start' log || die "nothing was logged"
    ;;
AnInitScriptThatARemovalHasLeftDoesNothing)
    echo "PLUG_SUPERVISOR=$folder/gone" >>defaults
    for action in start stop status; do ends_with 0 'not installed' ./plug.init $action; done
    ;;
StatusTellsStageVersionSupervisorAndEnds)
    ends_with 1 'does not run' ./plugctl status
    ./plug.init start
    until_there 5 agents 1
    ends_with 0 'logged in' ./plugctl status
    for part in "process $(cat started), $folder/agent" 'version:     2.0.0.7' "process $(./plug-supervisor.sh --supervisor)" \
        'update:      none' 'last ends:   none' ' since 20'; do
        ends_with 0 "$part" ./plugctl status
    done
    ends_with 0 "process $(cat started) was told to end" ./plugctl restart
    until_there 5 agents 2
    until_there 5 test -s run/plug.ends
    ends_with 0 'status 143, stage 003, after ' ./plugctl status
    ends_with 0 '' ./plug.init stop
    ends_with 1 'none runs' ./plugctl status
    ;;
ARollbackGoesBackToTheInstalledAgent)
    ends_with 1 'no update' ./plugctl rollback
    cp agent update
    ./plug.init start
    until_there 5 agents 1
    ends_with 0 'has passed its trial' ./plugctl status
    ends_with 0 'the update is removed' ./plugctl rollback
    until_there 5 agents 2
    ends_with 0 'update:      none' ./plugctl status
    [ ! -e update ] || die "the update is still there"
    ends_with 0 '' ./plug.init stop
    ;;
TheConfigurationIsCheckedByTheAgentThatRunsNext)
    ends_with 1 "checks --check -f $folder/plug.conf" ./plugctl check
    ;;
WrongUseIsRefused)
    for words in '' 'what' 'status now' 'log many' 'log -3'; do
        # shellcheck disable=SC2086 # words
        ends_with 2 'plugctl status' ./plugctl $words
    done
    ends_with 0 'plugctl rollback' ./plugctl --help
    ends_with 2 usage ./plug.init what
    ends_with 2 usage ./plug-supervisor.sh --what
    ends_with 2 usage filter loud
    ;;
*) die "no such test: $name" ;;
esac
