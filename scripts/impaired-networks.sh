#!/usr/bin/env bash
# impaired-networks.sh - runs the end-to-end tests over bad networks and prints the times to recover as a table.
#
#   scripts/impaired-networks.sh [--write] [E2E_TEST]
#
# E2E_TEST is the built test program (build/release/e2e_test unless given). With --write the table also replaces the one
# in docs/impaired-networks.md. The tests compare the times; exit status 1 when one fails. Takes a minute; needs root or
# user namespaces.
set -euo pipefail

repo=$(cd "$(dirname "$0")/.." && pwd)
write=
if [ "${1:-}" = --write ]; then
    write=yes
    shift
fi
program=${1:-$repo/build/release/e2e_test}
document=$repo/docs/impaired-networks.md
begin='<!-- what follows is made by scripts/impaired-networks.sh --write -->'
end='<!-- scripts/impaired-networks.sh: end -->'
log=$(mktemp) table=$(mktemp) page=$(mktemp)
trap 'rm -f "$log" "$table" "$page"' EXIT

status=0
"$program" --gtest_filter='*Impaired*' >"$log" 2>&1 || status=$?
[ $status -eq 0 ] || grep -v '^recovery: \|^\[ RUN\|^\[       OK' "$log" >&2

# Which tests belong together, and what their rows begin with.
groups=(
    "ImpairedBeginning begin"
    "ImpairedLoss session"
    "ImpairedNetwork network"
    "ImpairedCommands commands"
    "ImpairedTransfer transfer"
    "ImpairedAddress address"
)

{
    echo '| | what happens | pauses, s | measured, s |'
    echo '|---|---|---|---|'
    for group in "${groups[@]}"; do
        # "TheLoginIsCut" becomes "The login is cut".
        sed -n "s/^recovery: ${group% *} //p" "$log" | while read -r name pauses measured; do
            text=$(sed -E 's/([A-Z])/ \L\1/g; s/^ (.)/\U\1/' <<<"$name")
            echo "| ${group#* } | $text | $pauses | $measured |"
        done
    done
} >"$table"
cat "$table"
rows=$(($(wc -l <"$table") - 2))
[ $rows -gt 0 ] || { echo "impaired-networks.sh: $program has printed no time" >&2; exit 1; }
[ $status -eq 0 ] || exit 1
[ "$write" ] || exit 0
for mark in "$begin" "$end"; do
    [ "$(grep -cFx -- "$mark" "$document")" = 1 ] || { echo "$document must have this line once: $mark" >&2; exit 1; }
done
{
    sed "/^${begin//\//\\/}\$/q" "$document"
    echo
    cat "$table"
    echo
    sed -n "/^${end//\//\\/}\$/,\$p" "$document"
} >"$page"
cat "$page" >"$document"
