# shellcheck shell=bash
# shellcheck disable=SC2154 # set by who sources it
# bare-root.sh - Debian systems in a folder, to try packages in; sourced after screen.sh, bash. Needs $repo and $logs.

# bare_root NAME PACKAGE...: makes build/NAME.tar, this Debian's smallest system with these packages, unless it is there
# with the same packages (build/NAME.packages). Needs root and the network. Returns 1 when it cannot.
bare_root() {
    local name=$1 folder=$repo/build/$1 suite mirror
    shift
    [ ! -e "$folder.tar" ] || [ "$(cat "$folder.packages" 2>/dev/null)" != "$*" ] || return 0
    suite=$(. /etc/os-release && echo "$VERSION_CODENAME")
    mirror=$(apt-get indextargets --format '$(SITE) $(RELEASE)' | awk -v suite="$suite" '$2 == suite { print $1; exit }')
    [ -n "$mirror" ] || { echo "no mirror of $suite in apt's lists" >&2; return 1; }
    rm -rf "$folder"
    quietly "$logs/$name-debootstrap.log" "fetching the smallest system" \
        debootstrap --variant=minbase "$suite" "$folder" "$mirror" || return 1
    quietly "$logs/$name-packages.log" "fetching its packages" unshare --mount sh -c \
        'root=$1 && shift && mount -t proc proc "$root/proc" && chroot "$root" apt-get update &&
        chroot "$root" env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "$@"' \
        sh "$folder" "$@" || return 1
    rm -rf "$folder"/var/cache/apt/archives/*.deb "$folder"/var/lib/apt/lists/* "$folder"/usr/share/{doc,locale}/*
    tar -C "$folder" -cf "$folder.tar.new" . && mv "$folder.tar.new" "$folder.tar" && rm -rf "$folder" &&
        echo "$*" >"$folder.packages"
}

# fresh_root NAME: build/NAME as bare_root() has kept it
fresh_root() {
    rm -rf "${repo:?}/build/$1"
    mkdir "$repo/build/$1" && tar -C "$repo/build/$1" -xf "$repo/build/$1.tar"
}

# depends_of PACKAGE...: the names of what these files of packages depend on, without each other
depends_of() {
    local package
    for package; do dpkg-deb -f "$package" Depends; done |
        tr ',' '\n' | sed -e 's/(.*//' -e 's/.*|//' -e 's/ //g' | grep -v -e '^plug' -e '^$' | sort -u
}
