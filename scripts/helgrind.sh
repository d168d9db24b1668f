#!/usr/bin/env bash
# helgrind.sh - looks for races and wrong use of locks in the agent's unit tests.
set -uo pipefail
export LC_ALL=C

usage() {
    cat <<END
helgrind.sh - looks for races and wrong use of locks in the agent's unit tests

  scripts/helgrind.sh [--filter PATTERN]

Runs agent_test and os_test of build/debug under valgrind's helgrind, each in one process; "scripts/test.sh --helgrind"
builds them first. Prints what helgrind reports. What is right as it is has a suppression with its reason in
tests/valgrind/helgrind.supp.

  --filter PATTERN   only tests that match, as googletest's --gtest_filter
  --help             this text

Exit status: 0 when nothing is reported and no test fails, 1 otherwise, 2 for wrong use.
END
}

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
. "$repo/scripts/lib/screen.sh"
build=$repo/build/debug logs=$repo/build/logs/helgrind
filter='*'

while [ $# -gt 0 ]; do
    case $1 in
    --filter)
        [ $# -gt 1 ] || { echo "helgrind.sh: --filter needs a pattern" >&2; exit 2; }
        filter=$2
        shift
        ;;
    -h | --help) usage; exit ;;
    *) echo "helgrind.sh: unknown option \"$1\"; see --help" >&2; exit 2 ;;
    esac
    shift
done

# This test lets a thread end while it holds the device table's lock and then makes the lock anew, which helgrind does
# not see: to it, whoever takes the lock afterwards takes that of somebody else.
left_out=SubdevTest.WithoutTheLockANameIsMissingAndTheListIsReadAgain

"$repo/scripts/install-packages.sh" check || exit 1
failed=0
rm -rf "$logs"
mkdir -p "$logs"
for program in agent_test os_test; do
    start=$(now_us)
    # Child processes have logs of their own; they begin with what their parent had reported by then.
    valgrind --tool=helgrind --history-level=approx --error-limit=no --suppressions="$repo/tests/valgrind/helgrind.supp" \
        --log-file="$logs/$program.%p" "$build/$program" --gtest_brief=1 --gtest_filter="$filter:-$left_out" \
        >"$logs/$program.out" 2>&1 </dev/null
    status=$?
    tests=$(sed -nE 's/^\[=+\] ([0-9]+) tests? from .* ran.*/\1/p' "$logs/$program.out")
    [ "$status" -eq 0 ] && [ "${tests:-0}" -gt 0 ] || {
        failed=1
        tail -20 "$logs/$program.out"
        say "$program ended with $status"
    }
    reports=$(sed -nE 's/.*ERROR SUMMARY: [0-9]+ errors from ([0-9]+) contexts.*/\1/p' "$logs/$program".[0-9]* | sort -n | tail -1)
    if [ "${reports:-1}" -gt 0 ]; then
        failed=1
        most=$(grep -lE "ERROR SUMMARY: [0-9]+ errors from $reports contexts" "$logs/$program".[0-9]* | head -1)
        cat "$most"
    fi
    say "$program: ${tests:-0} tests, ${reports:-no} reports, in $(seconds $(($(now_us) - start))) s"
done
exit $failed
