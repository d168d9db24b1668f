#!/usr/bin/env bash
# What bash completes on plugsim's command line.
#
#   CompletionTest.sh COMPLETION PLUGSIM FOLDER
set -euo pipefail
completion=$(realpath "$1") folder=$3
PATH=$(dirname "$(realpath "$2")"):$PATH
rm -rf "$folder"
mkdir -p "$folder/inside"
cd "$folder"
: >a.plugsim
# shellcheck source=packaging/plugsim.bash-completion
. "$completion"

die() { echo "$*" >&2; exit 1; }

# completes WANTED WORD...: the completions of the last word are WANTED, in this order
completes() {
    local wanted=$1
    shift
    COMP_WORDS=(plugsim "$@") COMP_CWORD=$#
    _plugsim || true # compopt wants a real completion
    [ "${COMPREPLY[*]}" = "$wanted" ] || die "after 'plugsim $*' come '${COMPREPLY[*]}', not '$wanted'"
}

complete -p plugsim | grep -q -- '-F _plugsim' || die "bash does not know the function"
completes 'platform' pl
completes 'platform manager functions --help --version' ''
completes '--retry --reports' manager --re
completes '--script' platform --sc
completes 'a.plugsim inside' platform --script ''
completes 'inside' platform --http-root ''
completes 'always' platform --color al
completes 'exit stay' platform --at-end = ''
completes 'on off' manager --reports ''
completes 'wrong-key' platform --misbehave wr
completes 'identity' functions ide
completes '' nothing ''
# An option whose value can be anything completes to nothing.
completes '' platform --token ''
# Every option that help shows can be completed.
for tool in platform manager; do
    plugsim $tool --help | grep -oE '^  (-h,)?--[a-z-]+' | sed 's/.*--/--/' | sort >shown
    plugsim completions $tool | sort >completed
    diff shown completed || die "help of $tool and its completions differ"
done
