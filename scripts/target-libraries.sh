#!/bin/sh
# target-libraries.sh - fetches the agent's libraries for the router's architecture into a private folder.
#
#   scripts/target-libraries.sh [FOLDER]     (default: $PLUG_TARGET_LIBRARIES, else build/target-libraries)
#
# The folder then holds usr/include and usr/lib/mipsel-linux-gnu of libcrypto and cJSON for mipsel. Nothing is
# installed, and the system's dpkg gets no foreign architecture: Debian would refuse these packages beside a newer
# libssl3 of its own architecture, and a build must not change the machine. So apt runs with its own lists, cache and
# (empty) package status, but with this machine's sources, keys, proxies and certificates.
# Needs no privileges. A complete folder is left alone; delete it to fetch the current versions.
set -eu

arch=mipsel
packages="libssl-dev libssl3 libcjson-dev libcjson1"

die() { echo "target-libraries.sh: $*" >&2; exit 1; }

repo=$(cd "$(dirname "$0")/.." && pwd)
folder=${1:-${PLUG_TARGET_LIBRARIES:-$repo/build/target-libraries}}
mkdir -p "$(dirname "$folder")" || die "cannot create the folder above $folder"
folder=$(cd "$(dirname "$folder")" && pwd)/$(basename "$folder")
stamp=$folder/versions

# The stamp is written last and names every package, so the folder of an interrupted run or of an older list of packages
# never counts as complete.
is_complete() {
    for package in $packages; do
        grep -q "^$package [^ ]* $arch\$" "$stamp" 2>/dev/null || return 1
    done
}

for tool in apt-get dpkg-deb flock; do
    command -v $tool >/dev/null || die "no $tool: the packages are Debian's, so this needs a Debian system"
done

# Two builds may be configured at the same time.
exec 9>"$folder.lock" || die "cannot write to $(dirname "$folder")"
flock 9
if is_complete; then exit 0; fi

# Never delete anything that this script did not make, whatever folder was given.
[ -f "$stamp" ] || rmdir "$folder" 2>/dev/null || [ ! -e "$folder" ] || die "$folder exists and is not ours; delete it"

work=$(mktemp -d "$folder.XXXXXX")
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM
mkdir -p "$work/state/lists/partial" "$work/cache/archives/partial" "$work/packages" "$work/root"
: >"$work/state/status"

# Read after the machine's own settings, so it overrides them.
cat >"$work/apt.conf" <<END
#clear APT::Architectures;
#clear APT::Update::Pre-Invoke;
#clear APT::Update::Post-Invoke;
#clear APT::Update::Post-Invoke-Success;
APT::Architecture "$arch";
APT::Architectures { "$arch"; };
APT::Sandbox::User "";
APT::Get::AllowUnauthenticated "false";
Acquire::AllowInsecureRepositories "false";
Acquire::Languages "none";
Acquire::Retries "3";
Dir::State "$work/state";
Dir::State::lists "$work/state/lists";
Dir::State::status "$work/state/status";
Dir::Cache "$work/cache";
Dir::Cache::archives "$work/cache/archives";
END

fail() {
    cat "$work/log" >&2
    die "$* (apt's messages are above)"
}

echo "Fetching the $arch libraries: $packages"
apt-get -q -c "$work/apt.conf" update >"$work/log" 2>&1 || echo "(apt-get update failed)" >>"$work/log"
# A third-party source may have failed; what counts is whether the packages can be downloaded. apt checks
# the signature of the lists and the packages' hashes in them.
# shellcheck disable=SC2086 # a list of words
(cd "$work/packages" && apt-get -q -c "$work/apt.conf" download $packages) >>"$work/log" 2>&1 ||
    fail "could not download $packages for $arch from this machine's Debian sources (do they leave out the architecture?)"

for package in $packages; do
    deb=$(echo "$work/packages/${package}"_*_$arch.deb)
    [ -f "$deb" ] || fail "apt did not deliver $package for $arch"
    dpkg-deb -x "$deb" "$work/root" || die "could not unpack $package"
    # shellcheck disable=SC2016 # dpkg-deb's variables
    dpkg-deb -W --showformat='${Package} ${Version} ${Architecture}\n' "$deb" >>"$work/versions"
done
for file in usr/lib/mipsel-linux-gnu/libcrypto.so usr/lib/mipsel-linux-gnu/libcjson.so \
    usr/include/openssl/aes.h usr/include/cjson/cJSON.h; do
    [ -e "$work/root/$file" ] || die "the packages have no $file"
done
mv "$work/versions" "$work/root/versions"
chmod 755 "$work/root"

rm -rf "$folder"
mv "$work/root" "$folder"
