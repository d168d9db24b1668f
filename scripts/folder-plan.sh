#!/usr/bin/env bash
# folder-plan.sh - checks that the diagram in docs/architecture.md has the arrows between the agent's folders that the
# includes make, each of them and no other.
#
#   scripts/folder-plan.sh [FOLDER [DOCUMENT]]     (the agent's and docs/architecture.md of this checkout unless given)
#
# A row of the diagram is a folder with a slash, anything, "──>" and the folders that it includes.
set -euo pipefail

repo=$(cd "$(dirname "$0")/.." && pwd)
folder=${1:-$repo/agent}
document=${2:-$repo/docs/architecture.md}
[ -d "$folder/core" ] || { echo "folder-plan.sh: there is no core/ in $folder" >&2; exit 2; }

# "agent os": one line for each arrow that the includes make. The files above the folders count as agent.
made() {
    cd "$folder"
    find . -name '*.cpp' -o -name '*.h' | sed 's|^\./||' | xargs grep -oE '^#include "[a-z]+/' /dev/null |
        sed -E 's|^([^:/]*):|agent/\1:|; s|^([^/]*)/[^:]*:#include "(.*)/|\1 \2|' | awk '$1 != $2' | sort -u
}

# The same of the diagram; what an arrow points to and is no folder of the agent's, nor sdk, is a word of explanation.
drawn() {
    local from names to
    sed -nE 's|^ ([a-z]+)/ .*──> *(.*)|\1 \2|p' "$document" | while read -r from names; do
        for to in $names; do
            if [ -d "$folder/$to" ] || [ "$to" = sdk ]; then echo "$from $to"; fi
        done
    done | sort -u
}

arrows=$(drawn)
[ -n "$arrows" ] || { echo "$document has no diagram"; exit 1; }
faults=0
while read -r from to where; do
    case $where in
    includes) echo "$document lacks the arrow $from ──> $to" ;;
    diagram) echo "no file makes the arrow $from ──> $to of $document" ;;
    esac
    faults=$((faults + 1))
done < <(comm -23 <(made) <(echo "$arrows") | sed 's/$/ includes/' && comm -13 <(made) <(echo "$arrows") | sed 's/$/ diagram/')
[ $faults -eq 0 ]
