#!/usr/bin/env bash
# stages.sh - writes every change of the agent's status file: "001", then "002 after 001" and so on.
last=''
exec 3<> <(:) # reading from a pipe that nobody writes is a sleep without a process
while :; do
    stage=''
    { IFS= read -r stage </tmp/plugstatus; } 2>/dev/null
    if [[ $stage =~ ^[0-9]{3}$ && $stage != "$last" ]]; then
        echo "$stage${last:+ after $last}"
        last=$stage
    fi
    read -r -t 0.002 -u 3
done
