# shellcheck shell=bash
# private.sh - a private place for programs whose paths and ports are fixed; sourced, bash.
#
# A mount namespace gives them a /tmp, a network namespace a loopback. Nothing has to be undone: both end with the last
# process inside. Root can make both, an ordinary user only where the kernel allows it; many containers allow neither.

# private_ways: arguments for unshare(1), best first
private_ways=('--mount --net' '--map-root-user --mount --net' '--mount' '--map-root-user --mount')

# private_way: prints the first way that works here; nothing if none does
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

# private_enter WAY FOLDER: call it inside: it makes an empty /tmp, sets the loopback up and keeps FOLDER at its path
private_enter() {
    local way=$1 folder=$2
    mount --make-rprivate / 2>/dev/null || true # older versions of unshare(1) do not do this
    cd "$folder" || return
    mount -t tmpfs -o mode=1777 tmpfs /tmp || return
    case $folder/ in
    /tmp/*)
        # The new /tmp hides it, but this shell is still in it.
        mkdir -p "$folder" && mount --no-canonicalize --rbind . "$folder" && cd "$folder" || return
        ;;
    esac
    case $way in *--net*) ip link set lo up || return ;; esac
}
