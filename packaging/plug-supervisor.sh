#!/bin/sh
# plug-supervisor.sh - runs the plugin agent and runs it again whenever it has ended, an update in place of the agent that
# fetched it. Plain sh: BusyBox runs it. It stays in the foreground until TERM or INT, which end the agent as well.
#
# An update is tried out: the agent says with stage 004 that $PLUG_UPDATE is whole and verified; a copy of it, made
# executable, runs as $PLUG_NEW.trial. One that ends within $TRIAL seconds is dropped and the agent before it comes back;
# any other becomes $PLUG_NEW, which is preferred to $PLUG from then on. $PLUG itself is never written to. All moves are
# made with mv within one folder, so a power failure leaves each agent whole or away; a trial that it broke off is one
# again.
#
# /tmp is everybody's: what has a name there may be somebody else's, and another file a moment later. The stage and the
# update are believed when they are regular files of ours or root's alone, and used where nobody else can exchange them.

# Each may be set in /etc/default/plug.
PLUG=/usr/sbin/plug
PLUG_OPTIONS="-f /etc/plug.conf"
PLUG_NEW=/usr/sbin/plug.update # in a folder that only root may write
PLUG_STATUS=/tmp/plugstatus
PLUG_UPDATE=/tmp/plug_download
TRIAL=30         # seconds
PAUSE=2          # seconds before it is started again; to each pause up to half of it is added, see draw
LONG_PAUSE=60    # when the platform forced it off, or could not be reached
MAX_PAUSE=600    # when it ends right after its start, again and again
SHORT_RUN=5      # seconds that are "right after its start"
log() { logger -t plug "$*" 2>/dev/null || echo "plug: $*" >&2; } # may be defined anew there as well
DEFAULTS=${PLUG_DEFAULTS:-/etc/default/plug}
# shellcheck source=/dev/null
[ ! -r "$DEFAULTS" ] || . "$DEFAULTS"

own=$(id -u)

# Prints a number that is another one on each router: after an outage a fleet must not come back in one second. Routers
# that are alike run us with the same process number, and soon after their start may have the same random bytes.
draw() {
    digits=$({
        dd if=/dev/urandom bs=16 count=1
        cat /sys/class/net/*/address /proc/uptime
        echo $$
    } 2>/dev/null | { md5sum || cksum; } 2>/dev/null)
    digits=$(printf %.7s "${digits%% *}")
    echo $((0x${digits:-0}))
}

# Whether FILE is a regular file of ours or root's that has LINKS names and that nobody else may write: no link, and
# none of another user's. One call of ls, because it could be another file at the next.
trusted() { # FILE LINKS
    # shellcheck disable=SC2012,SC2046 # not every router has stat or find -links; words
    set -- "$2" $(ls -lnd "$1" 2>/dev/null)
    case "$2 $3 $4" in
    -????-??-?*" $1 0" | -????-??-?*" $1 $own") ;;
    *) return 1 ;;
    esac
}

# Prints what is in FILE, an absolute path. It gets a name in a new folder that nobody else may enter, in addition to
# its own (ln) or in its place (mv), and is looked at there: by now it could be another file than one that was trusted.
# With mv it is gone afterwards.
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

# The agent to run next: an update on trial, one that has stood its trial, or the one that was installed.
choose() {
    for agent in "$PLUG_NEW.trial" "$PLUG_NEW" "$PLUG"; do
        [ ! -x "$agent" ] || return 0
    done
}

# A trial ends with the first run: kept, or dropped when it was too short. Stages 004 and 005 are ends on order.
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
        # A bad option or a missing PIN ends it at once, each time.
        if [ "$2" -ge "$SHORT_RUN" ]; then
            pause=$PAUSE
        else
            pause=$((pause * 2))
            [ "$pause" -le "$MAX_PAUSE" ] || pause=$MAX_PAUSE
        fi
        ;;
    esac
}

# Seconds since the system's start, so that setting the date makes no run short or long.
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
    rm -f "$PLUG_STATUS" # the stage of the last run says nothing about this one
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
    # In the background, so that stopping us does not wait for it.
    sleep "$rest" &
    child=$!
    wait "$child"
    child=
done
