#!/usr/bin/env bash
# coverage.sh - counts which lines and branches of the agent its tests run, by folder.
set -uo pipefail
export LC_ALL=C
least_lines=99 least_branches=94 # percent
build=build/coverage

usage() {
    cat <<END
coverage.sh - counts which lines and branches of the agent its tests run

  scripts/coverage.sh [--uncovered]

Reads what the tests of $build (label "agent", unit tests, and "e2e") have left there; "scripts/test.sh --coverage"
builds it, runs them and then this. Prints lines and branches by folder, and the files with the fewest branches.

  --uncovered   prints the lines of which something did not run, with the number of branches, and nothing else
  --help        this text

A line counts when it has run. A branch counts when a condition, of "a && b" each part for itself, has had this result.
Not counted are branches that the compiler makes for exceptions or without any source, and the test of the log level
in lines that begin with a log macro: all have the same one, and the tests leave the log on.

Exit status: 0 when at least $least_lines % of the lines and $least_branches % of the branches ran, 1 when fewer, 2 for wrong use, 3 when
there is nothing to read. The whole list is in $build/coverage.csv.
END
}

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
. "$repo/scripts/lib/screen.sh"
cd "$repo" || exit 3
uncovered=''
while [ $# -gt 0 ]; do
    case $1 in
    --uncovered) uncovered=yes ;;
    -h | --help) usage; exit ;;
    *) echo "coverage.sh: unknown option \"$1\"; see --help" >&2; exit 2 ;;
    esac
    shift
done

[ -n "$(find $build -name '*.gcda' -print -quit 2>/dev/null)" ] || {
    echo "coverage.sh: no test of $build has run; see --help" >&2
    exit 3
}
scripts/install-packages.sh coverage || exit 3

gcovr --root . --filter agent/ --object-directory $build --exclude-throw-branches --exclude-unreachable-branches \
    --exclude-branches-by-pattern '\s*((case \w+|default): )?LOG_(AS|ERR|WARN|INFO|DEBUG)\(' \
    --csv $build/coverage.csv --json $build/coverage.json --json-pretty $build >$build/gcovr.log 2>&1 || {
    cat $build/gcovr.log >&2
    exit 3
}

if [ -n "$uncovered" ]; then
    python3 - $build/coverage.json <<'END'
import json, sys
for file in json.load(open(sys.argv[1]))["files"]:
    source = open(file["file"]).read().split("\n")
    for line in file["lines"]:
        missed = sum(branch["count"] == 0 for branch in line["branches"])
        if missed or not (line["count"] or line.get("gcovr/noncode")):
            number = line["line_number"]
            print(f'{file["file"]}:{number}: {missed} of {len(line["branches"])} branches, ran {line["count"]} times: '
                  f'{source[number - 1].strip()}')
END
    exit
fi

# Columns of the list: file, lines, lines run, share, branches, branches run, share.
awk -F, -v least_lines=$least_lines -v least_branches=$least_branches '
    function share(run, all) { return all ? sprintf("%5.1f %%", 100 * run / all) : "      -" }
    function row(name, l, lr, b, br) {
        printf "  %-26s %5d of %5d %s %6d of %5d %s\n", name, lr, l, share(lr, l), br, b, share(br, b)
    }
    NR == 1 { next }
    {
        count = split($1, part, "/")
        folder = count > 2 ? part[1] "/" part[2] : part[1]
        if (!(folder in lines)) order[++folders] = folder
        lines[folder] += $2; linesRun[folder] += $3; branches[folder] += $5; branchesRun[folder] += $6
        l += $2; lr += $3; b += $5; br += $6
        if ($5 >= 10) { files++; name[files] = $1; low[files] = $6 / $5; text[files] = $6 " of " $5 }
    }
    END {
        printf "  %-26s %22s %24s\n", "folder", "lines run", "branches run"
        for (i = 1; i <= folders; i++) {
            f = order[i]
            row(f, lines[f], linesRun[f], branches[f], branchesRun[f])
        }
        row("all", l, lr, b, br)
        print "  the lowest, of the files with at least 10 branches:"
        for (n = 0; n < 5 && n < files; n++) {
            at = 0
            for (i = 1; i <= files; i++) if (low[i] <= 1 && (!at || low[i] < low[at])) at = i
            printf "    %-34s %5.1f %%  (%s)\n", name[at], 100 * low[at], text[at]
            low[at] = 2
        }
        if (!l || !b) exit 1
        if (100 * lr / l < least_lines) { printf "  lines: less than %d %%\n", least_lines; failed = 1 }
        if (100 * br / b < least_branches) { printf "  branches: less than %d %%\n", least_branches; failed = 1 }
        exit failed
    }' $build/coverage.csv
