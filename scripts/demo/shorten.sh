#!/usr/bin/env bash
# shorten.sh - an agent's log from standard input, unchanged to the end of $out/agent.log and shortened to standard
# output: without colours, "Place->procedure->line" as "procedure".
tee -a "${out:?}/agent.log" | sed -u -E -e 's/\t/ /g' -e 's/\x1b\[[0-9;]*m//g' -e '/^$/d' \
    -e 's/^[0-9]+-[0-9]+-[0-9]+ ([0-9:]+) \[([A-Z]+)\] +\[[^>]*->([^>]*)->[0-9]+\]-> /\1 \2 \3: /'
