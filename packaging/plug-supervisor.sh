#!/bin/sh
# plug-supervisor.sh - runs the plugin agent and runs it again whenever it has ended, an update in place of the agent that
# fetched it. Plain sh: BusyBox runs it. It stays in the foreground until TERM or INT, which end the agent as well.
#
# An update is tried out: the agent says with stage 004 that $PLUG_UPDATE is whole and verified; a copy of it, made
# executable, runs as $PLUG_NEW.trial. One that ends within $TRIAL seconds is dropped and the agent before it comes back;
# any other becomes $PLUG_NEW, which is preferred to $PLUG from then on. $PLUG itself is never written to. All moves are
# made with mv within one folder, so a power failure leaves each agent whole or away; a trial that it broke off is one
# again.

# Each may be set in /etc/default/plug.
PLUG=/usr/sbin/plug
PLUG_OPTIONS="-f /etc/plug.conf"
PLUG_NEW=/usr/sbin/plug.update # in a folder that only root may write
PLUG_STATUS=/tmp/plugstatus
PLUG_UPDATE=/tmp/plug_download
TRIAL=30         # seconds
PAUSE=2          # seconds before it is started again
LONG_PAUSE=60    # when the platform forced it off, or could not be reached
MAX_PAUSE=600    # when it ends right after its start, again and again
SHORT_RUN=5      # seconds that are "right after its start"
log() { logger -t plug "$*" 2>/dev/null || echo "plug: $*" >&2; } # may be defined anew there as well
DEFAULTS=${PLUG_DEFAULTS:-/etc/default/plug}
# shellcheck source=/dev/null
[ ! -r "$DEFAULTS" ] || . "$DEFAULTS"

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
    # A link in /tmp could be anybody's.
    [ -f "$PLUG_UPDATE" ] && [ ! -L "$PLUG_UPDATE" ] && [ -s "$PLUG_UPDATE" ] || {
        log "no update in $PLUG_UPDATE"
        return 1
    }
    cp "$PLUG_UPDATE" "$PLUG_NEW.part" && chmod 755 "$PLUG_NEW.part" && sync &&
        mv -f "$PLUG_NEW.part" "$PLUG_NEW.trial" || {
        log "could not install the update"
        rm -f "$PLUG_NEW.part"
        return 1
    }
    rm -f "$PLUG_UPDATE"
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
    [ ! -f "$PLUG_STATUS" ] || [ -L "$PLUG_STATUS" ] || read -r stage <"$PLUG_STATUS"
    judge "$agent" "$stage" "$ran"
    after_end "$stage" "$ran"
    log "$agent ended with status $status at stage ${stage:-none}; starting again in $pause s"
    # In the background, so that stopping us does not wait for it.
    sleep "$pause" &
    child=$!
    wait "$child"
    child=
done
