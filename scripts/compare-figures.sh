#!/bin/sh
# compare-figures.sh - fails when sizes or memory got worse.
#
#   scripts/compare-figures.sh BEFORE NOW
#
# Two files as scripts/bench.sh --save writes them: lines of FIGURE, its name, what is to reach, what was measured and the
# verdict, with tabs between. Compared are the sizes ("stripped agent") and memory; a figure that only one file has is
# not. Exit status: 0 nothing is more than 3 % larger, 1 something is, or nothing was compared.
set -eu
[ $# -eq 2 ] || { echo "usage: compare-figures.sh BEFORE NOW" >&2; exit 2; }
for file; do [ -r "$file" ] || { echo "compare-figures.sh: cannot read $file" >&2; exit 1; }; done

awk -F '\t' -v limit=3 '
    $1 != "FIGURE" || $2 !~ /^stripped agent|private memory/ || $4 !~ /^[0-9]/ { next }
    { number = $4 + 0 }
    FNR == NR { before[$2] = number; next }
    $2 in before && before[$2] > 0 {
        compared++
        change = (number / before[$2] - 1) * 100
        larger = number * 100 > before[$2] * (100 + limit)
        if (larger) worse++
        printf "%-55s %10s -> %10s  %+6.1f %%  %s\n", $2, before[$2], number, change, larger ? "WORSE" : "as good"
    }
    END {
        if (!compared) print "nothing to compare"
        exit worse || !compared
    }' "$1" "$2"
