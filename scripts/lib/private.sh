# shellcheck shell=bash
# private.sh - a place of its own for programs whose paths and ports are fixed; sourced, bash.
#
# A mount namespace gives them a /tmp, a network namespace a loopback. Nothing has to be undone: both end with the
# last process inside. Which of them can be had depends on the machine: root has both; an ordinary user has both where
# the kernel lets users make namespaces; in many containers neither is allowed.

# private_ways: the ways in, best first: what unshare(1) is told
private_ways=('--mount --net' '--map-root-user --mount --net' '--mount' '--map-root-user --mount')

# private_way: prints the first way that works here; nothing when there is none
private_way() {
    local way
    for way in "${private_ways[@]}"; do
        # shellcheck disable=SC2086 # a list of words
        if unshare $way -- bash -c '
                mount -t tmpfs tmpfs /tmp || exit
                case $0 in *--net*) ip link set lo up ;; esac' "$way" >/dev/null 2>&1 </dev/null; then
            echo "$way"
            return
        fi
    done
}

# private_enter WAY FOLDER: to be called inside: an empty /tmp, the loopback up, and FOLDER still where it was
private_enter() {
    local way=$1 folder=$2
    mount --make-rprivate / 2>/dev/null || true # unshare(1) does this already, older ones did not
    cd "$folder" || return
    mount -t tmpfs -o mode=1777 tmpfs /tmp || return
    case $folder/ in
    /tmp/*)
        # It has just been covered, but this shell still stands in it.
        mkdir -p "$folder" && mount --no-canonicalize --rbind . "$folder" && cd "$folder" || return
        ;;
    esac
    case $way in *--net*) ip link set lo up || return ;; esac
}
