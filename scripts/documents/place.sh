# shellcheck shell=bash
# shellcheck disable=SC2154 # set by who sources it
# place.sh - what the entries of the documents are run with; sourced by scripts/documents.sh, bash, in $place with set -e.

fail() {
    echo "not so: $*" >&2
    tail -n 30 ./*.log >&2 2>/dev/null
    exit 1
}

# says FILE TEXT [SECONDS]: waits until the file has the text
says() {
    local i
    for ((i = 0; i < ${3:-20} * 20; i++)); do
        ! grep -qF -- "$2" "$1" 2>/dev/null || return 0
        sleep 0.05
    done
    fail "$1 says \"$2\""
}

# from LINE [LINE]: these lines of the block
from() { sed -n "$1,${2:-$1}p" <<<"$block_text"; }

# run [TEXT]: the block, or these lines of it, in a shell that ends at the first failure
run() { bash -euo pipefail -c "${1:-$block_text}"; }

configuration() {
    printf '[Dev]\nPIN=12345678\n[Protool]\nKEY=0123456789abcdef\nSERVER1=127.0.0.1\nSERVER2=127.0.0.1\n' >plug.conf
    chmod 600 plug.conf
}

# with_platform [OPTION]...: a platform at the usual ports
with_platform() {
    plugsim platform "$@" </dev/null >platform.log 2>&1 &
    says platform.log listening
}

# with_agent [WORD]...: an agent, or this command that starts one, with a configuration for it
with_agent() {
    configuration
    [ $# -gt 0 ] || set -- plug -d -f plug.conf -m 021a2b000001
    "$@" </dev/null >agent.log 2>&1 &
}

# starts FILE TEXT [LINES]: the block, or these lines of it, runs on; FILE gets this text
starts() {
    bash -euo pipefail -c "${3:-$block_text}" </dev/null >out.log 2>&1 &
    says "$1" "$2"
    echo "says: $(grep -m1 -F -- "$2" "$1")"
}
