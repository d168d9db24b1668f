#!/usr/bin/env bash
# package.sh - makes the Debian packages, and tries them in a bare system.
set -uo pipefail
export LC_ALL=C
PATH=$PATH:/usr/sbin:/sbin

usage() {
    cat <<END
package.sh - makes the Debian packages, and tries them in a bare system

  scripts/package.sh           the packages, in build/packages, and what lintian says of them
  scripts/package.sh --test    and installs, upgrades, removes and purges them in a bare Debian root that it makes in
                               build/bare-root (root, network to a Debian mirror)
  --help                       this text

Exit status: 0 done, 1 something failed, 2 wrong use, 3 there can be no bare system here.
END
}

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
. "$repo/scripts/lib/screen.sh"
. "$repo/scripts/lib/bare-root.sh"
logs=$repo/build/logs
build=$repo/build/package
packages=$repo/build/packages
root=$repo/build/bare-root

try=''
case $* in
'') ;;
--test) try=yes ;;
-h | --help) usage; exit ;;
*) echo "package.sh: wrong use; see --help" >&2; exit 2 ;;
esac

die() { echo "package.sh: $*" >&2; exit 1; }

mkdir -p "$logs" "$packages" || exit
"$repo/scripts/install-packages.sh" build package || exit

title "== Packages"
rm -f "$packages"/*.deb "$build"/*.deb
quietly "$logs/package-configure.log" "configuring" cmake -S "$repo" -B "$build" -DPLUG_PACKAGES=ON \
    -DCMAKE_BUILD_TYPE=MinSizeRel -DCMAKE_INTERPROCEDURAL_OPTIMIZATION=ON -DPLUG_TESTS=OFF -DPLUG_STATIC_CRYPTO=OFF \
    -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_INSTALL_SYSCONFDIR=/etc -DCMAKE_INSTALL_LOCALSTATEDIR=/var || exit
quietly "$logs/package-build.log" "building" cmake --build "$build" -j "$(nproc)" || exit
(cd "$build" && quietly "$logs/cpack.log" "packing" cpack) || exit
mv "$build"/*.deb "$packages" || exit
for package in "$packages"/*.deb; do
    say "$(wc -c <"$package") bytes  ${package##*/}"
    dpkg-deb -f "$package" Depends | grep -q 'libc6 (>= ' || die "no dependencies were computed for ${package##*/}"
done
lintian --allow-root --fail-on error,warning "$packages"/*.deb || die "lintian finds faults"
say "lintian finds nothing"
[ -n "$try" ] || exit 0

# ---- A bare system

title "== A bare Debian"
[ "$(id -u)" = 0 ] || { echo "package.sh: --test needs root" >&2; exit 3; }
mapfile -t depends < <(depends_of "$packages"/*.deb)
bare_root bare-root "${depends[@]}" && fresh_root bare-root || exit 3

# In a mount namespace of its own, so that nothing stays mounted whatever happens.
inside() { unshare --mount --pid --net --fork sh -c 'mount -t proc proc "$0/proc" && ip link set lo up && exec chroot "$0" sh -c "$1"' "$root" "$1"; }
dpkg_log=$logs/dpkg.log
: >"$dpkg_log"
apt() { inside "DEBIAN_FRONTEND=noninteractive $1" >>"$dpkg_log" 2>&1 || { tail -20 "$dpkg_log"; die "failed: $1"; }; }
# Whatever dpkg and the loader keep about packages is not the packages' own.
files() {
    (cd "$root" && find . -path ./proc -prune -o -path ./packages -prune -o \( -type f -o -type l -o -type d \) -print) |
        grep -v -e '^\./var/lib/dpkg' -e '^\./var/log' -e '^\./var/cache' -e '^\./etc/ld.so.cache' -e '^\./etc/rc.\.d' \
            -e '^\./var/lib/systemd' -e '^\./var/lib/apt' | sort
}
# checks TEXT COMMAND: a step, inside; with what it is written with
words='export DEBIAN_FRONTEND=noninteractive
    supervisor() { /usr/libexec/plug/plug-supervisor.sh "--$1"; }
    soon() { for i in $(seq 150); do ! "$@" || return 0; sleep 0.1; done; return 1; }
    another() { now=$(supervisor "$1") && [ "$now" != "$2" ]; }
    bridge() { ip link add br-lan type bridge && ip link set br-lan up; }
    platform() { plugsim platform --script /dev/null --at-end stay --no-prompt >/tmp/platform 2>&1 & }
    '
checks() { inside "$words$2" >>"$dpkg_log" 2>&1 || { tail -20 "$dpkg_log"; die "not so: $1"; }; say "ok  $1"; }

mkdir "$root/packages"
cp "$packages"/*.deb "$root/packages"
# The next version: the same with a higher number.
for package in "$packages"/*.deb; do
    rm -rf "$build/next"
    dpkg-deb -R "$package" "$build/next" && sed -i 's/^Version: .*/&.1/' "$build/next/DEBIAN/control" &&
        dpkg-deb --root-owner-group -b "$build/next" "$root/packages/next-${package##*/}" >/dev/null || die "cannot make the next version"
done
files >"$logs/files-before"

# What the documents say about installing, as it stands there. For people are an editor and, without systemd, another
# systemctl.
block() { "$repo/scripts/documents.sh" --block "$1" 2>/dev/null || die "no document has it: $1"; }
mkdir "$root/build" && ln -s ../packages "$root/build/packages"
printf '#!/bin/sh\nsed -i -e "s/^PIN=.*/PIN=123456789012/" -e "s/^KEY=.*/KEY=0123456789abcdef/" "$1"\n' >"$root/usr/local/bin/editor"
printf '#!/bin/sh\nexec /etc/init.d/"$2" "$1"\n' >"$root/usr/local/bin/systemctl"
chmod 755 "$root"/usr/local/bin/{editor,systemctl}
readme=$(block scripts/package.sh | tail -n +2) operating=$(block 'apt install ./plug_') check=$(block 'plug --check')
checks "the README's command installs" "cd / && $readme
    plug --version && dpkg -P plug plug-router-linux"
checks "the commands of docs/operating.md bring the agent up" "cd /packages && set -e
    $(sed '$d' <<<"$operating")
    /usr/libexec/plug/plug-supervisor.sh --supervisor
    { $(sed '$!d' <<<"$operating") || true; } | grep -i 'supervis'
    $check
    /etc/init.d/plug stop && dpkg -P plug plug-router-linux && rm -f /etc/plug.conf /tmp/plug* /run/plug.*"
rm -r "$root/build" "$root"/usr/local/bin/{editor,systemctl}

# May services start here? A system without init says no.
allow() { printf '#!/bin/sh\nexit %s\n' "$1" >"$root/usr/sbin/policy-rc.d" && chmod 755 "$root/usr/sbin/policy-rc.d"; }
allow 0

apt 'cd /packages && dpkg -i plug_*.deb plug-router-sim_*.deb plugsim_*.deb plug-dev_*.deb plug-gateway_*.deb'
checks "the agent runs" 'plug --version | grep -q "^plug "'
checks "plugsim runs" 'plugsim --help | grep -q platform'
checks "the gateway runs, and its secrets are for root only" 'plug-gateway --help | grep -q NATS &&
    for name in secret web-token; do test "$(stat -c %a /etc/plug-gateway/$name)" = 600 && grep -qxE "[0-9a-f]{48}" /etc/plug-gateway/$name || exit; done'
checks "nothing has started without a configuration" '! [ -e /var/run/plug.pid ] && ! [ -e /var/run/plug.ends ]'
checks "a maker finds header, flags, template and checker" '
    [ -e /usr/include/plug/RouterSdk.h ] && [ -e /usr/lib/*/pkgconfig/plug-router-sdk.pc ] && [ -e /usr/share/plug/template/Makefile ] && plug-sdk-check --help'
checks "the simulated router keeps its contract" 'plug-sdk-check /usr/lib/*/libRouterSdk.so.1'
checks "the service starts by hand, and logs in at a platform" '
    printf "[Dev]\nPIN=123456789012\n[Protool]\nKEY=0123456789abcdef\nSERVER1=127.0.0.1\nPORT=6039\n" >/etc/plug.conf
    chmod 600 /etc/plug.conf
    platform; /etc/init.d/plug start && soon plugctl status && /etc/init.d/plug stop'
checks "its folder is root's" '[ "$(stat -c "%a %U" /var/lib/plug)" = "755 root" ]'
checks "a settings file that the operator has changed stays when all is upgraded, and nothing starts without a configuration" '
    echo PLUG_LOG=info >>/etc/default/plug && mv /etc/plug.conf /etc/plug.conf.mine && cd /packages &&
    dpkg -i next-plug_*.deb next-plugsim_*.deb next-plug-dev_*.deb next-plug-router-sim_*.deb next-plug-gateway_*.deb &&
    grep -qx PLUG_LOG=info /etc/default/plug && [ "$(dpkg -l "plug*" | grep -c "^ii .*\.1 ")" = 5 ] && ! [ -e /var/run/plug.pid ] &&
    mv /etc/plug.conf.mine /etc/plug.conf'
checks "an upgrade restarts a service that runs" '
    /etc/init.d/plug start && old=$(supervisor supervisor) && dpkg -i /packages/next-plug_*.deb && another supervisor "$old" &&
    /etc/init.d/plug stop'
# A bare system has neither a serial number nor a LAN.
checks "the router for Linux takes the place of the simulated one, in an agent that runs, too" '
    mkdir /etc/plug && printf "[router]\nserial = BARE1\n" >/etc/plug/router.conf && bridge && platform; /etc/init.d/plug start && soon supervisor agent && apt-get install -y /packages/plug-router-linux_*.deb &&
    ! dpkg -s plug-router-sim 2>/dev/null | grep "^Status: install ok" && plug --version | grep -q libRouterSdk.so.1 &&
    soon nft list table inet plug_router && grep -q libmnl "/proc/$(supervisor agent)/maps" &&
    [ "$(cat /proc/sys/net/ipv4/ip_forward)" = 1 ] && [ "$(stat -c "%a %U" /var/lib/plug/router.state)" = "600 root" ]'
checks "the router for Linux keeps its contract" 'bridge && plug-sdk-check /usr/lib/*/libRouterSdk.so.1'
checks "an upgrade of the library restarts the agent" '
    /etc/init.d/plug start && soon supervisor agent && old=$(supervisor agent) && dpkg -i /packages/next-plug-router-linux_*.deb &&
    soon another agent "$old"'
checks "a removal takes rules and forwarding off, and leaves configuration and settings" '
    bridge && platform; /etc/init.d/plug start && soon nft list table inet plug_router && [ "$(cat /proc/sys/net/ipv4/ip_forward)" = 1 ] &&
    dpkg -r plug plugsim plug-router-linux plug-dev plug-gateway && [ -e /etc/plug-gateway/secret ] && ! nft list tables | grep plug_router &&
    [ "$(cat /proc/sys/net/ipv4/ip_forward)" = 0 ] && [ -e /etc/plug.conf ] && [ -e /etc/default/plug ] &&
    [ -e /var/lib/plug/router.state ] && ! [ -e /usr/sbin/plug ] && /etc/init.d/plug start'
checks "what is installed again has its settings" '
    dpkg -i /packages/plug-router-linux_*.deb /packages/plug_*.deb && grep -qx PLUG_LOG=info /etc/default/plug'
checks "a purge leaves nothing but the operator's files" '
    dpkg -P plug plugsim plug-router-linux plug-router-sim plug-dev plug-gateway && rm /etc/plug.conf && rm -r /etc/plug'
rm "$root/usr/sbin/policy-rc.d"
rm -f "$root"/tmp/*
files >"$logs/files-after"
# Not in a pipe with "&&": diff's own status would be the pipe's.
left=$(diff -u "$logs/files-before" "$logs/files-after" | grep '^[+-]\.')
[ -z "$left" ] || die "the packages leave this behind: $left"
say "ok  the system is as it was"
