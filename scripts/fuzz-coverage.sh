#!/usr/bin/env bash
# fuzz-coverage.sh - how far the corpus of each fuzz target gets: a table of the agent's modules that it runs,
# and the gateway's.
#
#   scripts/fuzz-coverage.sh [--write] [CORPORA]
#
# Builds the targets so that they count (preset "coverage"), replays the corpora below CORPORA, tests/fuzz/corpus unless
# given, and prints the table; with --write puts it into docs/fuzzing.md.
set -euo pipefail
export LC_ALL=C
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
document=$repo/docs/fuzzing.md
begin='<!-- what follows is made by scripts/fuzz-coverage.sh --write -->'
end='<!-- end -->'
build=$repo/build/coverage
write=
case ${1:-} in
--write)
    write=yes
    shift
    ;;
-*)
    sed -n '2,8s/^# \?//p' "${BASH_SOURCE[0]}"
    exit 2
    ;;
esac
corpora=${1:-$repo/tests/fuzz/corpus}
table=$(mktemp)
trap 'rm -f "$table" "$table.document" "$table.log"' EXIT

# One line of the table. The counts go into a folder of their own, away from those of the tests.
row() { # TARGET
    local counts=$build/fuzz-counts/$1 files=$corpora/$1_fuzz file
    rm -rf "$counts"
    mkdir -p "$counts"
    GCOV_PREFIX=$counts "$build/$1_replay" "$files" >"$counts/log" 2>&1 </dev/null || { tail -3 "$counts/log" >&2; return 1; }
    find "$counts" -name '*.gcda' | while read -r file; do
        file=${file%.gcda}
        ln -s "${file#"$counts"}.gcno" "$file.gcno"
    done
    (cd "$repo" && gcovr --root . --filter agent/ --filter gateway/ --csv "$counts/csv" "$counts") >>"$counts/log" 2>&1
    awk -F, -v name="$1" -v inputs="$(find "$files" -type f | wc -l)" '
        NR > 1 && $1 ~ /\.cpp$/ {
            run += $3
            sub("agent/", "", $1)
            sub("\\.cpp$", "", $1)
            if ($3 >= 5 && $3 / $2 >= 0.5) {
                modules[++count] = $1
                percent[$1] = int(100 * $3 / $2)
            }
        }
        END {
            if (!run) exit 1
            for (i = 2; i <= count; i++) # those that are run most come first; few, so by insertion
                for (j = i; j > 1 && percent[modules[j]] > percent[modules[j - 1]]; j--) {
                    swap = modules[j]
                    modules[j] = modules[j - 1]
                    modules[j - 1] = swap
                }
            for (i = 1; i <= count; i++) text = text (i > 1 ? ", " : "") modules[i] " " percent[modules[i]]
            printf "| `%s` | %d | %d | %s |\n", name, inputs, run, text
        }' "$counts/csv" >>"$table"
}

"$repo/scripts/install-packages.sh" build coverage
(cd "$repo" && cmake --preset coverage && cmake --build build/coverage -j "$(nproc)" --target fuzz_programs) >"$table.log" 2>&1 || {
    tail -20 "$table.log" >&2
    exit 1
}
echo '| target | inputs | lines run | modules, and percent of their lines |' >"$table"
echo '|---|---|---|---|' >>"$table"
targets=0
for target in "$build"/*_replay; do
    target=${target##*/}
    row "${target%_replay}" || { echo "$target counts nothing" >&2; exit 1; }
    targets=$((targets + 1))
done
if [ -z "$write" ]; then
    cat "$table"
    exit
fi
for mark in "$begin" "$end"; do
    [ "$(grep -cFx -- "$mark" "$document")" = 1 ] || { echo "$document must have this line once: $mark" >&2; exit 1; }
done
awk -v begin="$begin" -v end="$end" -v table="$table" '
    $0 == end { inside = 0 }
    !inside { print }
    $0 == begin { inside = 1; while ((getline line < table) > 0) print line }' "$document" >"$table.document"
cat "$table.document" >"$document"
echo "$targets targets in ${document#"$repo"/}"
