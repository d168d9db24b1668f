#!/bin/sh
# The man page and the program name the same options.
#
#   ManPageTest.sh PLUG-GATEWAY MAN-PAGE
set -eu
program=$1 page=$2
options() { grep -oE '(^|[^a-z-])--[a-z][a-z-]*' | grep -oE -- '--[a-z-]+' | sort -u | grep -vx -e --help -e --help-all; }
said=$({
    "$program" --help
    for words in run "device add" "device list" "device show" "device remove" "device lock" "device unlock" "device import" "device export" ask update; do
        # shellcheck disable=SC2086 # a list of words
        "$program" $words --help
    done
} | options)
written=$(sed 's/\\-/-/g' "$page" | options)
[ -n "$said" ] || { echo "the program names no options"; exit 1; }
[ "$said" = "$written" ] && exit 0
echo "the program has: $said"
echo "the page has: $written"
exit 1
