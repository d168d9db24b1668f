#!/usr/bin/env bash
# document-tables.sh - the tables in docs/ that programs print: plugsim its functions, reports, FuncIDs, commands, faults;
# gateway_tables what the gateway makes of them, and its metrics.
#
#   scripts/document-tables.sh [--write] [PLUGSIM [FOLDER]]
#
# Compares the documents in FOLDER (docs/ of this checkout unless given) with what PLUGSIM and the gateway_tables beside it
# print (exit status 1 when they differ), or with --write brings them up to date. Where the gateway is not built, its
# document is left alone, and a line says so.
set -euo pipefail

# Document, and what prints the table: a program and its arguments. In the document the table stands between two marks.
tables=(
    "protocol.md plugsim functions --markdown"
    "plugsim.md plugsim platform --markdown commands"
    "plugsim.md plugsim platform --markdown common-commands"
    "plugsim.md plugsim platform --markdown faults"
    "plugsim.md plugsim platform --markdown http-faults"
    "plugsim-manager.md plugsim manager --markdown commands"
    "plugsim-manager.md plugsim manager --markdown faults"
    "local-protocol.md plugsim manager --markdown funcids"
    "gateway.md gateway_tables functions"
    "gateway.md gateway_tables commands"
    "gateway.md gateway_tables reports"
    "gateway.md gateway_tables metrics"
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
    begin="<!-- $arguments: what follows is made by scripts/document-tables.sh --write -->"
    end="<!-- $arguments: end -->"
    for mark in "$begin" "$end"; do
        [ "$(grep -cFx -- "$mark" "$document")" = 1 ] || { echo "$document must have this line once: $mark" >&2; exit 1; }
    done
    read -r program arguments <<<"$arguments"
    read -ra words <<<"$arguments"
    case $program in plugsim) program=$plugsim ;; *) program=${plugsim%/*}/$program ;; esac
    [ -x "$program" ] || { echo "there is no $program: a table of $name is left alone"; continue; }
    {
        sed "/^${begin//\//\\/}\$/q" "$document"
        echo
        "$program" "${words[@]}"
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
    echo "$folder differs from the programs' tables; bring it up to date with: scripts/document-tables.sh --write $plugsim" >&2
    exit 1
fi
