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
for package in "$packages"/*.deb; do say "$(wc -c <"$package") bytes  ${package##*/}"; done
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
# checks TEXT COMMAND: a step, inside
checks() { inside "$2" >>"$dpkg_log" 2>&1 || { tail -20 "$dpkg_log"; die "not so: $1"; }; say "ok  $1"; }

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
    /etc/init.d/plug stop && dpkg -P plug plug-router-linux && rm -f /etc/plug.conf /tmp/plug*"
rm -r "$root/build" "$root"/usr/local/bin/{editor,systemctl}

apt 'cd /packages && dpkg -i plug_*.deb plug-router-sim_*.deb plugsim_*.deb plug-dev_*.deb'
checks "the agent runs" 'plug --version | grep -q "^plug "'
checks "plugsim runs" 'plugsim --help | grep -q platform'
checks "nothing has started without a configuration" '! [ -e /var/run/plug.pid ]'
checks "the simulated router keeps its contract" 'plug-sdk-check /usr/lib/*/libRouterSdk.so.1'
checks "the service starts by hand, and logs in at a platform" '
    printf "[Dev]\nPIN=123456789012\n[Protool]\nKEY=0123456789abcdef\nSERVER1=127.0.0.1\nPORT=6039\n" >/etc/plug.conf
    chmod 600 /etc/plug.conf
    (printf "wait login\nwait heartbeat\n" | plugsim platform --script - --at-end stay --no-prompt >/tmp/platform 2>&1; sleep 60) &
    /etc/init.d/plug start && for i in $(seq 150); do plugctl status && break; sleep 0.1; done; plugctl status && /etc/init.d/plug stop'
checks "a settings file that the operator has changed stays" '
    echo PLUG_LOG=info >>/etc/default/plug && DEBIAN_FRONTEND=noninteractive dpkg -i /packages/next-plug_*.deb /packages/next-plugsim_*.deb &&
    grep -qx PLUG_LOG=info /etc/default/plug && dpkg -s plug | grep -q "^Version: .*\.1$"'
checks "an upgrade restarts a service that runs" '
    printf "#!/bin/sh\nexit 0\n" >/usr/sbin/policy-rc.d && chmod 755 /usr/sbin/policy-rc.d # a system without init says no
    /etc/init.d/plug start && old=$(/usr/libexec/plug/plug-supervisor.sh --supervisor) &&
    DEBIAN_FRONTEND=noninteractive dpkg -i /packages/next-plug_*.deb &&
    new=$(/usr/libexec/plug/plug-supervisor.sh --supervisor) && [ "$old" != "$new" ] && /etc/init.d/plug stop && rm /usr/sbin/policy-rc.d'
checks "the router for Linux takes the place of the simulated one" '
    DEBIAN_FRONTEND=noninteractive apt-get install -y /packages/plug-router-linux_*.deb && ! dpkg -s plug-router-sim 2>/dev/null | grep "^Status: install ok" &&
    plug --version | grep -q libRouterSdk.so.1'
checks "a removal leaves the configuration" '
    dpkg -r plug plugsim plug-router-linux plug-dev && test -e /etc/plug.conf && test -e /etc/default/plug && ! test -e /usr/sbin/plug'
checks "a purge leaves nothing but the operator's file" 'dpkg -P plug plugsim plug-router-linux plug-router-sim plug-dev && rm /etc/plug.conf'
rm -f "$root"/tmp/*
files >"$logs/files-after"
diff -u "$logs/files-before" "$logs/files-after" | grep '^[+-]\.' && die "the packages leave this behind"
say "ok  the system is as it was"
