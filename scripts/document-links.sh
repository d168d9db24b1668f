#!/usr/bin/env bash
# document-links.sh - checks that the targets of the documents exist: links between documents, and paths in backticks
# that begin with a folder of the repository or of agent/.
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

# anchors FILE: the anchors of its headings, as GitHub and others make them
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
        elif [ -n "$anchor" ] && ! anchors "$target" | grep -xF -- "$anchor" >/dev/null; then
            # grep, not grep -q: it reads to the end, so that sed does not write into a closed pipe.
            fault "$document: no heading of $target is $anchor"
        fi
    done < <(grep -oE '\]\([^)]+\)' "$document" | sed 's/^](//; s/)$//' || true)
    # A path without an extension is a module; build folders are not checked.
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
