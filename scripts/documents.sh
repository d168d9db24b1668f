#!/usr/bin/env bash
# documents.sh - runs the commands of README, documents and man pages.
set -uo pipefail
export LC_ALL=C
PATH=$PATH:/usr/sbin:/sbin

usage() {
    cat <<TEXT
documents.sh - runs the commands of README, documents and man pages

  scripts/documents.sh [--long] [TEXT]   runs every command block (whose first line contains TEXT); --long: also what
                                         takes minutes
  scripts/documents.sh --list            each block and how it is run; fails when one has no entry, an entry no block, or
                                         a stage that is to run it does not
  scripts/documents.sh --block TEXT      prints the block whose first line contains TEXT
  --help                                 this text

Command blocks are the fenced ones of "sh" and the indented ones of Markdown, and the .nf ones of man pages. The entries
are in scripts/documents/entries.sh. Each runs in namespaces of its own (root; with a /tmp, a network and processes), in
build/documents. Needs the release build. Exit status: 0 all did what they should, 1 one did not or has no entry, 2 wrong
use, 3 there can be no namespaces.
TEXT
}

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
. "$repo/scripts/lib/screen.sh"
. "$repo/scripts/lib/files.sh"
. "$repo/scripts/lib/private.sh"
out=$repo/build/documents
long='' only='' list='' print='' inside=''

while [ $# -gt 0 ]; do
    case $1 in
    --long) long=yes ;;
    --list) list=yes ;;
    --block) print=yes only=${2:-} && shift ;;
    --inside) inside=$2 && shift ;;
    -h | --help) usage; exit ;;
    -*) echo "documents.sh: unknown option \"$1\"; see --help" >&2; exit 2 ;;
    *) only=$1 ;;
    esac
    shift
done

# ---- The blocks: $out/blocks/NUMBER with their text, and a line "NUMBER DOCUMENT:LINE" each in $out/blocks/list

take_blocks() {
    rm -rf "$out/blocks"
    mkdir -p "$out/blocks"
    : >"$out/blocks/list"
    cd "$repo" || exit
    # A change log has no commands.
    files '*.md' '*.[1-8]' | grep -v -e '^CHANGELOG' -e '/corpus/' | while IFS= read -r document; do
        awk -v folder="$out/blocks" -v first="$(wc -l <"$out/blocks/list")" -v name="$document" '
            function begin(line) { count++; file = folder "/" first + count; print first + count, name ":" line >>(folder "/list"); printf "" >file }
            BEGIN { man = name ~ /\.[1-8]$/; blank = 1 }
            man && /^\.nf/ { begin(NR + 1); block = 1; next }
            man && /^\.fi/ { block = 0; next }
            man && block { gsub(/\\-/, "-"); gsub(/\\\\/, "\\"); print >file; next }
            man { next }
            fence { if (/^```/) { fence = block = 0 } else if (block) print >file; next }
            /^```/ { fence = 1; block = /^```sh$/; if (block) begin(NR + 1); next }
            /^    [^ ]/ && (blank || block) { if (!block) begin(NR); block = 1; sub(/^    /, ""); print >file; blank = 0; next }
            { block = 0; blank = /^$/ }' "$document"
    done
}

# commands FILE: its lines without comments, with those that go on in the next one joined
commands() { sed -e ':more' -e '/\\$/{N;s/ *\\\n */ /;b more' -e '}' "$1" | sed -E -e '/^#/d' -e 's/(^| +)#( .*)?$//' -e 's/ +$//' -e '/^$/d' -e '/^ +[a-z]/!s/^ +//'; }

# ---- Entries. Each is a line of the table: whole block by its first line, or one line wherever it stands.

declare -A entry_of used
problems=0
problem() {
    echo "documents.sh: $*" >&2
    problems=$((problems + 1))
}
# entry KEY WORD...: how the block that begins with KEY, or the line KEY, is run
entry() { [ -z "${entry_of[$1]:-}" ] && entry_of[$1]="${*:2}" || problem "two entries: $1"; }
. "$repo/scripts/documents/entries.sh"

# plan: a line "KIND<TAB>KEY<TAB>WHERE<TAB>NUMBER" for each thing to run: a block or a line
plan() {
    local number where first line
    while read -r number where; do
        first=$(commands "$out/blocks/$number" | head -1)
        [ -n "$first" ] || { problem "$where: a block without a command"; continue; }
        if [[ ${entry_of[$first]:-} = block\ * ]]; then
            printf '%s\t%s\t%s\n' "$first" "$where" "$number"
            continue
        fi
        while IFS= read -r line; do
            if [ -n "${entry_of[$line]:-}" ]; then
                printf '%s\t%s\t%s\n' "$line" "$where" "$number"
            else
                echo "documents.sh: $where: no entry in scripts/documents/entries.sh for: $line" >&2
                echo missing
            fi
        done < <(commands "$out/blocks/$number")
    done <"$out/blocks/list"
}

if [ -z "$inside" ]; then
    take_blocks
    plan >"$out/plan"
    problems=$((problems + $(grep -c '^missing$' "$out/plan")))
    while IFS=$'\t' read -r key _ _; do used[$key]=yes; done <"$out/plan"
    for key in "${!entry_of[@]}"; do [ -n "${used[$key]:-}" ] || problem "no document has: $key"; done
fi

if [ -n "$print" ]; then
    while IFS=$'\t' read -r key _ number; do
        [[ $key = *"$only"* ]] && [ -n "$number" ] && exec cat "$out/blocks/$number"
    done <"$out/plan"
    echo "documents.sh: no block begins with $only" >&2
    exit 1
fi

# ---- Inside: one entry, with what scripts/documents/entries.sh uses

block_text=''
if [ -n "$inside" ]; then
    IFS=$'\t' read -r key where number < <(sed -n "${inside}p" "$out/plan")
    [[ ${entry_of[$key]} = block\ * ]] && block_text=$(cat "$out/blocks/$number") || block_text=$key
    private_enter --net "$repo" || exit 3
    place=$out/place
    rm -rf "$place"
    mkdir -p "$place/bin" && cd "$place" || exit
    for folder in build scripts sdk packaging tests cmake docs; do ln -s "$repo/$folder" .; done
    for program in plug plug-gateway plugsim plug-sdk-check; do ln -s "$repo/build/release/$program" bin; done
    export PATH=$place/bin:$PATH HOME=$place repo place block_text
    . "$repo/scripts/documents/place.sh"
    set -e
    ${entry_of[$key]#* }
    exit
fi

# ---- All of them

passed=0 failed=0 later=0 elsewhere=0 number=0
declare -A done_before
[ -n "$list" ] || unshare --mount --net --pid true 2>/dev/null || { echo "documents.sh: there can be no namespaces here" >&2; exit 3; }
# The network is out of reach later.
[ -n "$list" ] || { "$repo/scripts/install-packages.sh" build run mipsel && "$repo/scripts/target-libraries.sh"; } >"$out/log" 2>&1 ||
    { cat "$out/log" && exit 3; }
while IFS=$'\t' read -r key where _; do
    number=$((number + 1))
    [ "$key" != missing ] && [[ $key = *"$only"* ]] || continue
    how=${entry_of[$key]}
    kind=${how%% *} rest=${how#* }
    [ -z "$list" ] || printf '%-28s %-10s %s\n' "$where" "$kind" "$key"
    if [ "$kind" = stage ]; then
        # "stage FILE TEXT": the file, which scripts/test.sh or .ci/run runs, has this text.
        grep -qF -- "${rest#* }" "$repo/${rest%% *}" || problem "$where: ${rest%% *} does not have: ${rest#* }"
        elsewhere=$((elsewhere + 1))
        continue
    fi
    [ -z "$list" ] && [ -z "${done_before[$key]:-}" ] || continue
    done_before[$key]=yes
    if [ "$kind" = long ] && [ -z "$long" ]; then
        later=$((later + 1))
        continue
    fi
    start=$(now_us)
    # With its first process all others of the namespaces end.
    # A command that does not end is a fault.
    limit=300
    [ "$kind" != long ] || limit=3600
    if timeout $limit unshare --mount --net --pid --fork --kill-child --mount-proc -- bash "$0" --inside $number >"$out/log" 2>&1 </dev/null; then
        passed=$((passed + 1))
        say "ok  $where: $key ($(seconds $(($(now_us) - start))) s)"
    else
        failed=$((failed + 1))
        tail -40 "$out/log"
        say "${red}FAILED${off}  $where: $key"
    fi
done <"$out/plan"
[ -n "$list" ] || echo "$passed passed, $failed failed; $elsewhere run in other stages${later:+; $later only with --long}"
[ $failed -eq 0 ] && [ $problems -eq 0 ]
