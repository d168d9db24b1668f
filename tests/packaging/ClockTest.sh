#!/bin/sh
# ClockTest.sh - whether programs have the tests' fast clock inside. What is shipped must not.
#
#   ClockTest.sh none|inside FILE...
set -eu
wanted=$1
shift
[ $# -gt 0 ]
for file; do
    found=none
    # The setting that makes it fast.
    if grep -qF FASTCLOCK_FACTOR "$file"; then found=inside; fi
    [ "$found" = "$wanted" ] || { echo "fast clock in $file: $found, wanted: $wanted"; exit 1; }
done
