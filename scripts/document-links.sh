#!/usr/bin/env bash
# document-links.sh - checks that what the documents of this repository point to is there: links between documents, and
# paths in backticks that begin with one of its folders, or with one of agent/, from which sources name each other.
#
#   scripts/document-links.sh [DOCUMENT]...     (all Markdown files of the repository unless given)
set -euo pipefail

repo=$(cd "$(dirname "$0")/.." && pwd)
. "$repo/scripts/lib/files.sh"
cd "$repo"
documents=("$@")
[ $# -gt 0 ] || mapfile -t documents < <(files '*.md')
[ ${#documents[@]} -gt 0 ] || { echo "document-links.sh: there is no document in $repo" >&2; exit 1; }

faults=0
fault() {
    echo "$*"
    faults=$((faults + 1))
}

# anchors FILE: what GitHub and others make of its headings
anchors() { sed -nE 's/^#+ +//p' "$1" | tr '[:upper:]' '[:lower:]' | sed -E 's/[^a-z0-9 _-]//g; s/ /-/g'; }

for document in "${documents[@]}"; do
    folder=$(dirname "$document")
    while IFS= read -r link; do
        file=${link%%#*} anchor=
        case $link in *://*) continue ;; *'#'*) anchor=${link#*#} ;; esac
        target=$document
        [ -z "$file" ] || target=$folder/$file
        if [ ! -e "$target" ]; then
            fault "$document: there is no $link"
        elif [ -n "$anchor" ] && ! anchors "$target" | grep -xF -- "$anchor" >/dev/null; then # to its end: sed must not meet a closed pipe
            fault "$document: no heading of $target is $anchor"
        fi
    done < <(grep -oE '\]\([^)]+\)' "$document" | sed 's/^](//; s/)$//' || true)
    # A path without the extension of its sources is a module; a build folder is not kept.
    while IFS= read -r path; do
        known='' found=''
        for root in '' agent/; do
            [ ! -d "$root${path%%/*}" ] || [ "${path%%/*}" = build ] || known=yes
            if compgen -G "$root$path" >/dev/null || compgen -G "$root${path%/}.*" >/dev/null; then found=yes; fi
        done
        [ -z "$known" ] || [ -n "$found" ] || fault "$document: there is no $path"
    done < <(grep -oE '`[A-Za-z][A-Za-z0-9_.-]*/[A-Za-z0-9_./*-]*`' "$document" | tr -d '`' | sort -u || true)
done
[ $faults -eq 0 ]
