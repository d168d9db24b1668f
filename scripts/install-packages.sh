#!/bin/sh
# install-packages.sh - installs the Debian packages that this project needs and that are missing.
#
#   scripts/install-packages.sh [GROUP]...      (no group: build run)
#
#   build    the agent, the simulators, the unit tests and benchmarks
#   run      the programs that the demo, the end-to-end tests and the benchmarks call
#   fleet    the demo of a fleet, in addition to run
#   lab      the programs of a router and its household (scripts/lab.sh), in addition to run
#   wifi     the virtual machine with radios (scripts/wifi-vm.sh), in addition to run
#   page     a browser for the gateway's page
#   check    fuzzing and memory checking
#   coverage counting what the tests run
#   lint     the checks of scripts/lint.sh, and the build with the other compiler
#   package  making and checking Debian packages
#   mipsel   cross-building for the router and running the result under emulation
#   musl     building with musl, and the libraries for it (scripts/musl-libraries.sh)
#   vm       booting a virtual machine
#   plot     the picture of scripts/soak.sh
#
# Prints nothing and needs no privileges if nothing is missing; otherwise prints one line, and needs root or sudo.
set -eu

die() { echo "install-packages.sh: $*" >&2; exit 1; }

packages_of() {
    case $1 in
    build)
        # make is listed because cmake only recommends it.
        echo g++ make cmake libcjson-dev libssl-dev libgtest-dev libbenchmark-dev libcli11-dev libreadline-dev \
            libmnl-dev libinih-dev libwpa-client-dev
        # plug-gateway: sockets, NATS, JSON, log, metrics, HTTP.
        echo libasio-dev libnats-dev nlohmann-json3-dev libspdlog-dev prometheus-cpp-dev libcivetweb-dev ;;
    run)
        # ip for network namespaces, unshare and mount for private /tmp folders, ps and pgrep to watch the
        # daemon; benchmarks compare with curl and openssl; the agent itself runs the others (killall
        # is in psmisc). busybox has the shell of small routers. The router library for Linux runs nft and tc.
        # Tests of the gateway start NATS servers of their own.
        echo nats-server busybox iproute2 util-linux mount procps curl openssl iptables iputils-ping traceroute psmisc nftables ;;
    fleet)
        echo nats-server mosquitto-clients jq nginx ;;
    lab)
        # dnsmasq without its service; busybox has the clients' udhcpc.
        echo dnsmasq-base busybox nftables ;;
    wifi)
        echo qemu-system-x86 hostapd wpasupplicant iw busybox kmod cpio nftables ;;
    page)
        echo chromium ;;
    check)
        # Without the runtime, clang cannot link -fsanitize=fuzzer; without llvm-symbolizer its reports have no
        # line numbers; without libc's symbols valgrind reports the C library's fast string code as overreads.
        echo clang libclang-rt-dev llvm valgrind libc6-dbg ;;
    coverage)
        echo gcovr ;;
    lint)
        echo clang clang-format clang-tidy cppcheck shellcheck mandoc ;;
    package)
        echo dpkg-dev lintian debootstrap gzip ;;
    mipsel)
        # googletest has the sources of the test library, which is built for the target.
        echo make cmake g++-mipsel-linux-gnu qemu-user-static googletest ;;
    musl)
        echo make cmake musl-tools googletest perl xz-utils ;;
    vm)
        echo qemu-system-x86 e2fsprogs ;;
    plot)
        echo gnuplot-nox ;;
    *)
        die "unknown group \"$1\"; the first lines of $0 list them" ;;
    esac
}

for tool in dpkg-query apt-get; do
    command -v $tool >/dev/null || die "no $tool: this is not a Debian system; install what $0 lists by hand"
done

[ $# -gt 0 ] || set -- build run
wanted=
for group; do
    list=$(packages_of "$group") || exit 1
    wanted="$wanted $list"
done

# A package of another architecture with the same name does not count: this build cannot use it.
native=$(dpkg --print-architecture)
is_installed() {
    dpkg-query -W -f '${Architecture} ${db:Status-Status}\n' "$1" 2>/dev/null |
        grep -qx -e "$native installed" -e 'all installed'
}

missing=
for package in $wanted; do
    case " $missing " in *" $package "*) continue ;; esac
    is_installed "$package" || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

if [ "$(id -u)" -eq 0 ]; then
    as_root=
elif command -v sudo >/dev/null; then
    as_root=sudo
else
    die "missing packages:$missing
Run this as root, or install them with: apt-get install --no-install-recommends$missing"
fi

echo "Installing Debian packages:$missing"
log=$(mktemp)
trap 'rm -f "$log"' EXIT

# Another apt may be running (unattended upgrades): wait for it rather than fail.
apt() {
    $as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -y \
        -o DPkg::Lock::Timeout=300 -o Acquire::Retries=3 "$@" >>"$log" 2>&1 </dev/null
}

# An unreachable third-party source makes the update fail, which may not matter: the installation decides.
apt update || echo "(apt-get update failed)" >>"$log"
# shellcheck disable=SC2086 # a list of words
if ! apt install --no-install-recommends $missing; then
    cat "$log" >&2
    die "could not install:$missing (the log is above)"
fi
