#!/usr/bin/env bash
# document-tables.sh - the tables in docs/ that are made from plugsim's own: functions, reports, FuncIDs, commands, faults.
#
#   scripts/document-tables.sh [--write] [PLUGSIM [FOLDER]]
#
# Compares the documents in FOLDER (docs/ of this checkout unless given) with what PLUGSIM prints (exit status 1 when
# they differ), or with --write brings them up to date.
set -euo pipefail

# Document, and what prints the table. In the document the table stands between two marks.
tables=(
    "protocol.md functions --markdown"
    "plugsim.md platform --markdown commands"
    "plugsim.md platform --markdown common-commands"
    "plugsim.md platform --markdown faults"
    "plugsim.md platform --markdown http-faults"
    "plugsim-manager.md manager --markdown commands"
    "plugsim-manager.md manager --markdown faults"
    "local-protocol.md manager --markdown funcids"
)

repo=$(cd "$(dirname "$0")/.." && pwd)
write=
if [ "${1:-}" = --write ]; then
    write=yes
    shift
fi
plugsim=${1:-$repo/build/release/plugsim}
folder=${2:-$repo/docs}
wanted=$(mktemp)
trap 'rm -f "$wanted"' EXIT

stale=0
for table in "${tables[@]}"; do
    read -r name arguments <<<"$table"
    document=$folder/$name
    begin="<!-- plugsim $arguments: what follows is made by scripts/document-tables.sh --write -->"
    end="<!-- plugsim $arguments: end -->"
    for mark in "$begin" "$end"; do
        [ "$(grep -cFx -- "$mark" "$document")" = 1 ] || { echo "$document must have this line once: $mark" >&2; exit 1; }
    done
    read -ra words <<<"$arguments"
    {
        sed "/^${begin//\//\\/}\$/q" "$document"
        echo
        "$plugsim" "${words[@]}"
        echo
        sed -n "/^${end//\//\\/}\$/,\$p" "$document"
    } | cat -s >"$wanted"
    cmp -s "$wanted" "$document" && continue
    if [ "$write" ]; then
        cat "$wanted" >"$document"
    else
        diff -u "$document" "$wanted" | head -40 || true
        stale=$((stale + 1))
    fi
done
if [ $stale -gt 0 ]; then
    echo "$folder differs from plugsim's tables; bring it up to date with: scripts/document-tables.sh --write $plugsim" >&2
    exit 1
fi
