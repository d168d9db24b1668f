# shellcheck shell=bash
# screen.sh - output of the scripts to the screen; sourced, bash.
# shellcheck disable=SC2034 # the colours are for who sources it
# Colour only on a terminal, and never when NO_COLOR is set.

if [ -t 1 ] && [ -z "${NO_COLOR:-}" ] && [ "${TERM:-dumb}" != dumb ]; then
    bold=$'\033[1m' red=$'\033[1;31m' green=$'\033[1;32m' off=$'\033[0m'
else
    bold='' red='' green='' off=''
fi

title() { printf '\n%s%s%s\n' "$bold" "$*" "$off"; }
say() { printf '  %s\n' "$*"; }

now_us() { # the time in microseconds; EPOCHREALTIME has six decimals, behind a comma in some locales
    local now=$EPOCHREALTIME
    echo "${now//[.,]/}"
}

# seconds MICROSECONDS: with two decimals
seconds() { printf '%d.%02d' $(($1 / 1000000)) $(($1 % 1000000 / 10000)); }

# quietly LOG TEXT COMMAND...: runs a command with its output in LOG. Of a build's percentages every fifth part is
# shown. If the command fails, the end of its output is shown, and the result is 1.
quietly() {
    local log=$1 text=$2 line shown=0 start
    shift 2
    start=$(now_us)
    say "$text ..."
    # PIPESTATUS has the command's status; the reader must not end early, or the command dies of SIGPIPE.
    "$@" 2>&1 </dev/null | while IFS= read -r line; do
        printf '%s\n' "$line" >&3
        if [[ $line =~ ^\[\ *([0-9]+)%\] ]] && ((BASH_REMATCH[1] >= shown + 20)); then
            shown=$((BASH_REMATCH[1] / 20 * 20))
            say "  $shown %"
        fi
    done 3>"$log"
    if [ "${PIPESTATUS[0]}" -ne 0 ]; then
        grep -n -e 'error' -e 'Error' "$log" | head -20 >&2
        echo "--- the end of $log:" >&2
        tail -25 "$log" >&2
        return 1
    fi
    say "  done in $(seconds $(($(now_us) - start))) s"
}
