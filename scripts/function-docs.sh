#!/usr/bin/env bash
# The description of every function in docs/protocol.md comes from the table that plugsim works by.
#
#   scripts/function-docs.sh [--write] [PLUGSIM [DOCUMENT]]
#
# Compares the two (exit status 1 when they differ), or with --write brings the document up to date.
set -euo pipefail

repo=$(cd "$(dirname "$0")/.." && pwd)
write=
if [ "${1:-}" = --write ]; then
    write=yes
    shift
fi
plugsim=${1:-$repo/build/release/plugsim}
document=${2:-$repo/docs/protocol.md}
begin='<!-- functions: what follows is made by scripts/function-docs.sh --write -->'
end='<!-- functions end -->'

for mark in "$begin" "$end"; do
    if [ "$(grep -cFx -- "$mark" "$document")" != 1 ]; then
        echo "$document must have this line once: $mark" >&2
        exit 1
    fi
done

wanted=$(mktemp)
trap 'rm -f "$wanted"' EXIT
{
    sed "/^${begin//\//\\/}\$/q" "$document"
    "$plugsim" functions --markdown
    echo
    sed -n "/^${end//\//\\/}\$/,\$p" "$document"
} >"$wanted"

if cmp -s "$wanted" "$document"; then exit 0; fi
if [ "$write" ]; then
    cat "$wanted" >"$document"
    exit 0
fi
diff -u "$document" "$wanted" | head -40 || true
echo "$document differs from plugsim's table of functions; bring it up to date with: scripts/function-docs.sh --write $plugsim" >&2
exit 1
