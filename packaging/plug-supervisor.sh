#!/bin/sh
# plug-supervisor.sh - runs the plugin agent and restarts it whenever it ends; runs an update instead of the agent that
# downloaded it. Plain sh: BusyBox runs it. It stays in the foreground until TERM or INT, which end the agent as well.
#
# An update has a trial: stage 004 of the agent says that $PLUG_UPDATE is complete and verified; an executable copy of
# it runs as $PLUG_NEW.trial. If it ends within $TRIAL seconds it is dropped, and the agent before it runs again;
# otherwise it becomes $PLUG_NEW, which is preferred to $PLUG from then on. $PLUG itself is never written to. All moves
# are made with mv within one folder, so after a power failure each agent is complete or missing; a trial that it
# interrupted is repeated.
#
# Everybody may write in /tmp: a file there may be somebody else's, and may be exchanged at any moment. The stage and
# the update are trusted if they are regular files of our own user or root, and are used where nobody can exchange them.

# Each may be set in /etc/default/plug.
PLUG=/usr/sbin/plug
PLUG_OPTIONS="-f /etc/plug.conf"
PLUG_NEW=/usr/sbin/plug.update # in a folder that only root may write
PLUG_STATUS=/tmp/plugstatus
PLUG_UPDATE=/tmp/plug_download
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

child=
pause=$PAUSE
trap 'trap "" TERM INT; [ -z "$child" ] || kill "$child" 2>/dev/null; wait; exit 0' TERM INT
while :; do
    choose
    begin=$(now)
    rm -f "$PLUG_STATUS" # the stage of the last run does not apply to this one
    # shellcheck disable=SC2086 # a list of words
    "$agent" $PLUG_OPTIONS &
    child=$!
    wait "$child"
    status=$?
    child=
    ran=$(($(now) - begin))
    stage=
    ! trusted "$PLUG_STATUS" 1 || stage=$(contents ln "$PLUG_STATUS")
    judge "$agent" "$stage" "$ran"
    after_end "$stage" "$ran"
    rest=$((pause + $(draw) % (pause / 2 + 1)))
    log "$agent ended with status $status at stage ${stage:-none}; starting again in $rest s"
    # In the background, so that a stop need not wait for it.
    sleep "$rest" &
    child=$!
    wait "$child"
    child=
done
