#!/bin/sh
# second-runs.sh - names the tests whose first run failed and whose second one passed.
#
#   second-runs.sh LOG     (what `ctest --repeat until-pass:2` has written)
set -eu
passed=$(sed -nE 's/^ +Test +#[0-9]+: ([^ ]+) \.+ +Passed .*/\1/p' "$1") # without a count before it: a second run
sed -nE 's/^ *[0-9]+\/[0-9]+ Test +#[0-9]+: ([^ ]+) .*\*\*\*.*/\1/p' "$1" | while read -r name; do
    if printf '%s\n' "$passed" | grep -qxF -- "$name"; then echo "$name"; fi
done
