#!/bin/sh
# plug-supervisor.sh - runs the plugin agent and restarts it whenever it ends; runs an update instead of the agent that
# downloaded it. Plain sh: BusyBox runs it. It stays in the foreground until TERM or INT, which end the agent as well.
#
#   plug-supervisor.sh                  supervises
#   plug-supervisor.sh --supervisor     prints the process that does, if one does (else exit status 1)
#   plug-supervisor.sh --agent          the same for the agent
#   plug-supervisor.sh --next           prints the file of the agent that is started next
#
# An update has a trial: stage 004 of the agent says that $PLUG_UPDATE is complete and verified; an executable copy of
# it runs as $PLUG_NEW.trial. If it ends within $TRIAL seconds it is dropped, and the agent before it runs again;
# otherwise it becomes $PLUG_NEW, which is preferred to $PLUG from then on. $PLUG itself is never written to. All moves
# are made with mv within one folder, so after a power failure each agent is complete or missing; a trial that it
# interrupted is repeated.
#
# $PLUG_RUN remembers whose turn it is: plug.pid is the supervisor's process, plug.agent the agent's, plug.ends its last
# ends. A second supervisor ends at once; an agent whose supervisor was killed is ended by the next one.
#
# Everybody may write in /tmp: a file there may be somebody else's, and may be exchanged at any moment. The stage and
# the update are trusted if they are regular files of our own user or root, and are used where nobody can exchange them.

# Each may be set in /etc/default/plug.
PLUG=/usr/sbin/plug
PLUG_OPTIONS="-f /etc/plug.conf"
PLUG_NEW=/var/lib/plug/plug.update # in a folder that only root may write; made when it is missing
PLUG_RUN=/var/run
PLUG_STATUS=/tmp/plugstatus
PLUG_UPDATE=/tmp/plug_download
PLUG_LOG=error   # what of the agent's log goes to the system's: none, error, info or debug
PLUG_LOG_FILTER=/usr/libexec/plug/plug-log.sh
TRIAL=30         # seconds
PAUSE=2          # seconds before a restart; to each pause a random part of up to half is added, see draw
LONG_PAUSE=60    # when the platform forced the agent off, or could not be reached
MAX_PAUSE=600    # when the agent ends right after its start, again and again
SHORT_RUN=5      # seconds that are "right after its start"
log() { logger -t plug "$*" 2>/dev/null || echo "plug: $*" >&2; } # may be redefined there as well
DEFAULTS=${PLUG_DEFAULTS:-/etc/default/plug}
# shellcheck source=/dev/null
[ ! -r "$DEFAULTS" ] || . "$DEFAULTS"

own=$(id -u)

# Prints a number that differs between routers: after an outage a fleet must not reconnect in the same second. Identical
# routers run this script with the same process number, and soon after their start may have the same random bytes.
draw() {
    digits=$({
        dd if=/dev/urandom bs=16 count=1
        cat /sys/class/net/*/address /proc/uptime
        echo $$
    } 2>/dev/null | { md5sum || cksum; } 2>/dev/null)
    digits=$(printf %.7s "${digits%% *}")
    echo $((0x${digits:-0}))
}

# Whether FILE is a regular file of our own user or root with LINKS names that nobody else may write: not a symbolic
# link, not another user's. One call of ls, because at a second call it could be another file.
trusted() { # FILE LINKS
    # shellcheck disable=SC2012,SC2046 # not every router has stat or find -links; words
    set -- "$2" $(ls -lnd "$1" 2>/dev/null)
    case "$2 $3 $4" in
    -????-??-?*" $1 0" | -????-??-?*" $1 $own") ;;
    *) return 1 ;;
    esac
}

# Whether nobody but root and our own user can change the agent's configuration. One that is not there passes: the agent
# says so itself.
configuration_trusted() {
    # shellcheck disable=SC2086 # a list of words
    set -- $PLUG_OPTIONS
    while [ $# -gt 0 ] && [ "$1" != -f ]; do shift; done
    [ -e "${2:-}" ] || return 0
    # shellcheck disable=SC2012 # not every router has stat
    case $(ls -lndL "$2" 2>/dev/null | { read -r mode _ user _ && echo "$mode $user"; }) in
    -????-??-?*" 0" | -????-??-?*" $own") ;;
    *)
        log "refusing to start: $2 belongs to somebody else, or others may write it"
        return 1
        ;;
    esac
}

# Prints the content of FILE, an absolute path. The file gets a name in a new folder that nobody else may enter, in
# addition to its own (ln) or instead of it (mv), and is checked there: it could be another file than the one that was
# trusted. With mv it is removed afterwards.
contents() ( # ln|mv FILE
    umask 077
    folder=${2%/*}/.plug.$(draw)
    mkdir "$folder" && cd "$folder" || exit
    case $(ls -lnd .) in
    drwx--[-S]---*" $own "*) ;;
    *) exit 1 ;;
    esac
    "$1" "$2" it
    case $1 in
    ln) trusted it 2 ;;
    mv) trusted it 1 ;;
    esac && cat it
    result=$?
    rm -f it
    cd / && rmdir "$folder"
    exit $result
)

# The agent to run next: an update on trial, one that has passed its trial, or the installed one.
choose() {
    for agent in "$PLUG_NEW.trial" "$PLUG_NEW" "$PLUG"; do
        [ ! -x "$agent" ] || return 0
    done
    return 1
}

# A trial ends with the first run: the update is kept, or dropped if the run was too short. Stages 004 and 005 are
# regular ends.
judge() { # AGENT STAGE SECONDS-IT-RAN
    [ "$1" = "$PLUG_NEW.trial" ] || return 0
    case $2 in 004 | 005) set -- "$1" "$2" "$TRIAL" ;; esac
    if [ "$3" -ge "$TRIAL" ]; then
        mv -f "$1" "$PLUG_NEW" && log "the update stays"
    else
        rm -f "$1"
        log "the update ended after $3 s: back to the agent before it"
    fi
}

# Makes the downloaded agent the next trial.
install_update() {
    trusted "$PLUG_UPDATE" 1 && [ -s "$PLUG_UPDATE" ] || {
        log "no update in $PLUG_UPDATE"
        return 1
    }
    (umask 077 && contents mv "$PLUG_UPDATE" >"$PLUG_NEW.part") && chmod 755 "$PLUG_NEW.part" && sync &&
        mv -f "$PLUG_NEW.part" "$PLUG_NEW.trial" || {
        log "could not install the update"
        rm -f "$PLUG_NEW.part"
        return 1
    }
    log "update installed, on trial"
}

# Sets pause.
after_end() { # STAGE SECONDS-IT-RAN
    case $1 in
    004) install_update; pause=$PAUSE ;;
    005 | 102) pause=$LONG_PAUSE ;;
    *)
        # An invalid option or a missing PIN ends the agent at once, each time.
        if [ "$2" -ge "$SHORT_RUN" ]; then
            pause=$PAUSE
        else
            pause=$((pause * 2))
            [ "$pause" -le "$MAX_PAUSE" ] || pause=$MAX_PAUSE
        fi
        ;;
    esac
}

# Seconds since the system's start, so that setting the date does not change the length of a run.
now() {
    read -r uptime _ </proc/uptime
    echo "${uptime%.*}"
}

# ---- One supervisor, one agent ----

# What tells process ID from a later one of the same number: when it began. Nothing if there is none, or it has ended.
birth() { # ID
    stat=$(cat "/proc/$1/stat" 2>/dev/null) || return 0
    # shellcheck disable=SC2086 # words; the name of the program, before them, may contain any character
    set -- ${stat##*) }
    [ "$1" = Z ] || echo "${20}"
}

# Whether FILE names a process that still runs, "ID BIRTH"; sets process.
runs() { # FILE
    process='' born=''
    { read -r process born <"$1"; } 2>/dev/null
    [ -n "$born" ] && [ "$(birth "$process")" = "$born" ]
}

# Enters our process in plug.pid, unless another supervisor runs. plug.lock is a folder because only one can make it; one
# that stays for seconds was left behind by a process that was killed meanwhile.
enter() {
    [ -n "$PLUG_RUN" ] || return 0
    tries=0
    until mkdir "$PLUG_RUN/plug.lock" 2>/dev/null; do
        ! other_runs || return 1
        tries=$((tries + 1))
        [ $tries -lt 5 ] || rmdir "$PLUG_RUN/plug.lock"
        sleep 1
    done
    other_runs
    taken=$?
    [ $taken -eq 0 ] || echo "$$ $(birth $$)" >"$PLUG_RUN/plug.pid"
    rmdir "$PLUG_RUN/plug.lock"
    [ $taken -ne 0 ]
}

other_runs() {
    runs "$PLUG_RUN/plug.pid" && log "another supervisor runs already: process $process"
}

# Ends an agent that has lost its supervisor: it holds the socket, and would make every other agent end.
end_orphan() {
    [ -n "$PLUG_RUN" ] && runs "$PLUG_RUN/plug.agent" || return 0
    log "an agent without a supervisor runs, process $process: ending it"
    kill "$process"
    tries=0
    while runs "$PLUG_RUN/plug.agent" && [ $tries -lt 5 ]; do
        sleep 1
        tries=$((tries + 1))
    done
    ! runs "$PLUG_RUN/plug.agent" || kill -9 "$process"
}

# Starts `agent`, with its log on a pipe to the filter; sets child.
start() {
    pipe=$PLUG_RUN/plug.log
    if [ "$PLUG_LOG" != none ] && [ -n "$PLUG_RUN" ] && rm -f "$pipe" && mkfifo -m 600 "$pipe"; then
        "$PLUG_LOG_FILTER" "$PLUG_LOG" <"$pipe" &
        filter=$!
        exec 3>"$pipe" # waits for the filter
        rm -f "$pipe"
        # shellcheck disable=SC2086 # a list of words
        "$agent" -d $PLUG_OPTIONS 2>&3 3>&- &
        child=$!
        exec 3>&-
    else
        # shellcheck disable=SC2086 # a list of words
        "$agent" $PLUG_OPTIONS &
        child=$!
    fi
    [ -z "$PLUG_RUN" ] || echo "$child $(birth "$child")" >"$PLUG_RUN/plug.agent"
}

# Ends the filter: at the end of the log or, if what the agent has started holds it open, after a second.
end_filter() {
    [ -n "$filter" ] || return 0
    { sleep 1; kill "$filter"; } 2>/dev/null &
    watch=$!
    wait "$filter"
    kill "$watch" 2>/dev/null
    filter=''
}

# Keeps the last five ends for who asks.
remember() { # TEXT
    [ -n "$PLUG_RUN" ] || return 0
    ends=$PLUG_RUN/plug.ends
    { tail -n 4 "$ends" 2>/dev/null; echo "$(date '+%Y-%m-%d %H:%M:%S') $1"; } >"$ends.new" && mv -f "$ends.new" "$ends"
}

# Waits for `child`; sets status. Does not return when we are to stop: whoever told us so has ended the child, unless it
# was just being started.
await() {
    [ -z "$stopping" ] || kill "$child" 2>/dev/null
    wait "$child"
    status=$?
    if [ -z "$stopping" ]; then
        child=''
        end_filter
        return
    fi
    trap '' TERM INT
    wait "$child" # the signal has ended the wait before
    end_filter
    [ -z "$PLUG_RUN" ] || rm -f "$PLUG_RUN/plug.agent" "$PLUG_RUN/plug.pid"
    exit 0
}

# ---- For other programs ----

case ${1:-} in
'') ;;
--supervisor)
    runs "$PLUG_RUN/plug.pid" && echo "$process"
    exit
    ;;
--agent)
    runs "$PLUG_RUN/plug.agent" && echo "$process"
    exit
    ;;
--next)
    choose
    result=$?
    echo "$agent"
    exit $result
    ;;
*)
    echo "usage: plug-supervisor.sh [--supervisor|--agent|--next]" >&2
    exit 2
    ;;
esac

# ---- The loop ----

[ -w "$PLUG_RUN" ] || {
    log "cannot write in $PLUG_RUN: other supervisors are not noticed, and nothing of the agent's log is kept"
    PLUG_RUN=''
}
(umask 022 && mkdir -p "${PLUG_NEW%/*}") || log "cannot make ${PLUG_NEW%/*}: updates cannot be installed"
case $PLUG_LOG in
none | error | info | debug) ;;
*)
    log "PLUG_LOG is \"$PLUG_LOG\", and not none, error, info or debug: taking error"
    PLUG_LOG=error
    ;;
esac
child='' filter='' stopping=''
pause=$PAUSE
configuration_trusted || exit 78 # EX_CONFIG of sysexits.h: starting again does not help
enter || exit 75                 # EX_TEMPFAIL
trap 'stopping=yes; [ -z "$child" ] || kill "$child" 2>/dev/null' TERM INT
end_orphan
while :; do
    choose || log "there is no agent: $PLUG cannot be executed"
    begin=$(now)
    rm -f "$PLUG_STATUS" # the stage of the last run does not apply to this one
    start
    await
    ran=$(($(now) - begin))
    stage=''
    ! trusted "$PLUG_STATUS" 1 || stage=$(contents ln "$PLUG_STATUS")
    judge "$agent" "$stage" "$ran"
    after_end "$stage" "$ran"
    rest=$((pause + $(draw) % (pause / 2 + 1)))
    log "$agent ended with status $status at stage ${stage:-none}; starting again in $rest s"
    remember "$agent: status $status, stage ${stage:-none}, after $ran s"
    # In the background, so that a stop need not wait for it.
    sleep "$rest" &
    child=$!
    await
done
