#!/usr/bin/env bash
# folder-order.sh - checks that the agent's folders, and its modules, include each other in one direction only.
#
#   scripts/folder-order.sh [FOLDER [KNOWN]...]
#
# FOLDER is the agent's; that of this checkout unless given. KNOWN: arrows up in the place of those below.
set -euo pipefail

# Lowest first: a file may include what stands in its own folder or in one before it. Those in none are on top.
floors=(os core sdk platform http subdev rules comm functions plugin top)
# Arrows up that are known. One that is mended must go from this list.
known=()
[ $# -lt 2 ] || known=("${@:2}")

repo=$(cd "$(dirname "$0")/.." && pwd)
root=${1:-$repo/agent}
[ -d "$root/core" ] || { echo "folder-order.sh: there is no core/ in $root" >&2; exit 2; }
cd "$root"

floor_of() { # FILE: the number of its floor, nothing for what is no part of the agent
    local i name=top
    case $1 in */*) name=${1%%/*} ;; esac
    for i in "${!floors[@]}"; do [ "${floors[i]}" != "$name" ] || echo "$i"; done
}

faults=0 files=0
fault() {
    echo "$*"
    faults=$((faults + 1))
}

seen=' ' headers='' modules=''
while IFS=: read -r file line; do
    included=${line#*\"} included=${included%%\"*}
    from=$(floor_of "$file") to=$(floor_of "$included")
    [ -n "$from" ] && [ -n "$to" ] || continue
    files=$((files + 1))
    case $file in *.h) headers+="$file $included"$'\n' ;; esac
    # A module is a header and a source of the same name.
    [ "${file%.*}" = "${included%.*}" ] || modules+="${file%.*} ${included%.*}"$'\n'
    [ "$to" -gt "$from" ] || continue
    exception="$file ${floors[to]}"
    if printf '%s\n' "${known[@]}" | grep -qxF "$exception"; then
        seen+="$exception "
    else
        fault "$file includes $included, and ${floors[to]} stands above ${floors[from]}"
    fi
done < <(find . -name '*.cpp' -o -name '*.h' |
    sed 's|^\./||' | xargs grep -E '^#include "' /dev/null)

for exception in "${known[@]}"; do
    [[ $seen = *" $exception "* ]] || fault "no longer so, take it from the list of known ones: $exception"
done
in_a_circle() { # PAIRS WHAT: a fault when the pairs, one a line, have a circle
    local circle
    circle=$(tsort 2>&1 >/dev/null <<<"$1") || fault "$2 include each other in a circle:" \
        "$(tail -n +2 <<<"$circle" | paste -sd' ')"
}
in_a_circle "$headers" headers
in_a_circle "$modules" modules
[ $files -gt 0 ] || fault "found no includes in $root"
[ $faults -eq 0 ]
