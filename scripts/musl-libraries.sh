#!/bin/sh
# musl-libraries.sh - builds what the agent and its unit tests need beside musl, from Debian's sources, in a private folder.
#
#   scripts/musl-libraries.sh [FOLDER]     (default: $PLUG_MUSL_LIBRARIES, else build/musl-libraries)
#
# The folder then holds include/ and lib/ of libcrypto and cJSON (archives and shared libraries) and of libstdc++ (an
# archive), built with the machine's gcc for Debian's musl. libstdc++ is for the tests only, in the version of the
# compiler, whose sources are the package gcc-N-source; Debian's own is of another C library.
#
# Nothing is installed, and the machine's list of sources stays as it is: apt runs with lists and a cache of its own and
# with a copy of the machine's sources in which each also names its source packages. What is built are the released
# sources, without Debian's patches. Needs no privileges, two minutes, 0.5 GB meanwhile and 30 MB in the end.
# A complete folder is left alone; delete it to build the current versions.
set -eu

die() { echo "musl-libraries.sh: $*" >&2; exit 1; }

repo=$(cd "$(dirname "$0")/.." && pwd)
folder=${1:-${PLUG_MUSL_LIBRARIES:-$repo/build/musl-libraries}}
mkdir -p "$(dirname "$folder")" || die "cannot create the folder above $folder"
folder=$(cd "$(dirname "$folder")" && pwd)/$(basename "$folder")

for tool in apt-get dpkg-deb flock gcc g++ make perl xz; do
    command -v $tool >/dev/null || die "no $tool: run scripts/install-packages.sh build musl"
done
specs=$(echo /usr/lib/*-linux-musl/musl-gcc.specs)
[ -e "$specs" ] || die "no musl-gcc: run scripts/install-packages.sh build musl"

# The stamp is written last. Of another compiler, musl or script the folder has to be made anew.
find_object=$repo/cmake/musl-find-object.c
compiler=$(gcc -dumpfullversion) major=$(gcc -dumpversion)
stamp=$folder/versions
state="gcc $compiler, musl $(dpkg-query -W -f '${Version}' musl-dev), script $(cat "$0" "$find_object" | cksum)"

# Two builds may be configured at the same time.
exec 9>"$folder.lock" || die "cannot write to $(dirname "$folder")"
flock 9
if [ "$(head -n 1 "$stamp" 2>/dev/null)" = "$state" ]; then exit 0; fi

# Never delete anything that this script did not make, whatever folder was given.
[ -f "$stamp" ] || rmdir "$folder" 2>/dev/null || [ ! -e "$folder" ] || die "$folder exists and is not ours; delete it"

work=$(mktemp -d "$folder.XXXXXX")
log=$work/log
cleanup() {
    status=$?
    if [ $status -ne 0 ]; then
        tail -n 40 "$log" >&2
        echo "musl-libraries.sh: failed at: $text (the end of its messages is above)" >&2
    fi
    rm -rf "$work"
}
text=start
trap cleanup EXIT
trap 'exit 1' HUP INT TERM
jobs=$(nproc)

step() { # TEXT FUNCTION: ends the script where it fails
    text=$1
    echo "  $text"
    ("$2") >"$log" 2>&1 </dev/null
}

# ---- Sources ----

# The machine's sources, in both of apt's notations, with their keys and options: of packages and of sources.
copy_sources() { # FOLDER
    mkdir "$1"
    for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
        [ ! -e "$file" ] || sed -n -E 's/^[[:space:]]*deb([[:space:]].*)/deb\1\ndeb-src\1/p' "$file" >"$1/$(basename "$file" .list).list"
    done
    for file in /etc/apt/sources.list.d/*.sources; do
        [ ! -e "$file" ] || sed 's/^Types:.*/Types: deb deb-src/' "$file" >"$1/$(basename "$file")"
    done
}

fetch() {
    copy_sources "$work/lists"
    mkdir -p "$work/state/lists/partial" "$work/cache/archives/partial" "$work/sources"
    : >"$work/state/status"
    # Read after the machine's own settings, so it overrides them.
    cat >"$work/apt.conf" <<END
#clear APT::Update::Pre-Invoke;
#clear APT::Update::Post-Invoke;
#clear APT::Update::Post-Invoke-Success;
APT::Sandbox::User "";
APT::Get::AllowUnauthenticated "false";
Acquire::AllowInsecureRepositories "false";
Acquire::Languages "none";
Acquire::Retries "3";
Dir::Etc::sourcelist "/dev/null";
Dir::Etc::sourceparts "$work/lists";
Dir::State "$work/state";
Dir::State::lists "$work/state/lists";
Dir::State::status "$work/state/status";
Dir::Cache "$work/cache";
Dir::Cache::archives "$work/cache/archives";
END
    # A third-party source may fail; what counts is whether the sources can be downloaded. apt checks the signature of
    # the lists and the files' hashes in them.
    apt-get -q -c "$work/apt.conf" update || echo "(apt-get update failed)"
    cd "$work/sources"
    apt-get -q -c "$work/apt.conf" source --download-only --tar-only cjson openssl
    apt-get -q -c "$work/apt.conf" download "gcc-$major-source"
}

# unpack NAME ARCHIVE [tar's options]
unpack() {
    mkdir "$work/$1"
    archive=$2 name=$1
    shift 2
    tar -C "$work/$name" --strip-components=1 -xf "$archive" "$@"
}

# ---- Libraries ----

# Position-independent, so that one set of objects makes archive and shared library.
flags='-O1 -g0 -fPIC'

cjson() {
    unpack cjson "$work"/sources/cjson_*.orig.tar.*
    cd "$work/cjson"
    # shellcheck disable=SC2086 # a list of words
    musl-gcc $flags -c cJSON.c
    ar rcs "$work/root/lib/libcjson.a" cJSON.o
    musl-gcc -shared -Wl,-soname,libcjson.so.1 -o "$work/root/lib/libcjson.so.1" cJSON.o
    ln -s libcjson.so.1 "$work/root/lib/libcjson.so"
    mkdir "$work/root/include/cjson"
    cp cJSON.h "$work/root/include/cjson/"
}

# The agent takes AES and MD5 of it. The platform's side in its tests takes them by the EVP layer, which half of the
# library is tied to; the rest is left out.
crypto_without='asm tests engine dso module legacy async secure-memory ec dh dsa des aria bf blake2 camellia cast chacha
    cmac cmp cms ct idea md4 mdc2 ocb ocsp poly1305 rc2 rc4 rmd160 scrypt seed siphash siv sm2 sm3 sm4 srp ts whirlpool'
crypto() {
    unpack crypto "$work"/sources/openssl_*.orig.tar.*
    cd "$work/crypto"
    # shellcheck disable=SC2046,SC2086 # lists of words
    ./Configure "linux-$(uname -m)" CC=musl-gcc $flags $(printf 'no-%s ' $crypto_without)
    make -j "$jobs" build_generated
    make -j "$jobs" libcrypto.a libcrypto.so.3
    cp libcrypto.a libcrypto.so.3 "$work/root/lib/"
    ln -s libcrypto.so.3 "$work/root/lib/libcrypto.so"
    cp -R include/openssl "$work/root/include/"
}

cxx() {
    dpkg-deb -x "$work/sources/gcc-$major-source"_*.deb "$work/package"
    # What builds libstdc++ by itself; the compiler's other parts are a hundred times as much.
    unpack gcc "$work/package/usr/src/gcc-$major"/gcc-*.tar.* --wildcards --no-wildcards-match-slash \
        --exclude='*/testsuite/*/*' --exclude='*/ChangeLog*' \
        '*/libstdc++-v3' '*/libgcc' '*/include' '*/libiberty' '*/config' '*/config.guess' '*/config.sub' '*/config-ml.in' \
        '*/install-sh' '*/ltmain.sh' '*/missing' '*/move-if-change' '*/mkinstalldirs' '*/depcomp' '*/gcc/BASE-VER' \
        '*/gcc/DATESTAMP'
    ln -s gthr-posix.h "$work/gcc/libgcc/gthr-default.h" # what the compiler's own build would have made first
    mkdir "$work/libstdc++"
    cd "$work/libstdc++"
    "$work/gcc/libstdc++-v3/configure" --build="$(gcc -dumpmachine)" --host="$(uname -m)-linux-musl" \
        --prefix="$work/installed" --with-gxx-include-dir="$work/root/include/c++" --disable-multilib --disable-nls \
        --disable-shared --disable-libstdcxx-pch --disable-libstdcxx-verbose --disable-libstdcxx-filesystem-ts \
        --disable-libstdcxx-backtrace \
        CC="gcc -specs=$specs" CXX="g++ -specs=$specs" CFLAGS="$flags" CXXFLAGS="$flags"
    make -j "$jobs"
    make install
    cp "$work/installed/lib/libstdc++.a" "$work/root/lib/"
    # shellcheck disable=SC2086 # a list of words
    musl-gcc $flags -c -o "$work/root/lib/find-object.o" "$find_object" # what the compiler's libgcc needs in addition
    # The headers that depend on the machine, where the others are.
    cp -R "$work/root/include/c++/$(uname -m)-linux-musl/." "$work/root/include/c++/"
}

# Debian's musl has no headers of the kernel, which are the same for every C library.
kernel() {
    mkdir "$work/root/include/kernel"
    ln -s /usr/include/linux /usr/include/asm-generic "/usr/include/$(gcc -dumpmachine)/asm" "$work/root/include/kernel/"
}

echo "Building for musl, from Debian's sources:"
mkdir -p "$work/root/lib" "$work/root/include"
step "fetching cJSON, OpenSSL, gcc $major" fetch
step "the kernel's headers" kernel
step "cJSON" cjson
step "libcrypto" crypto
step "libstdc++" cxx
{
    echo "$state"
    (cd "$work/sources" && ls)
} >"$work/root/versions"
chmod 755 "$work/root"

rm -rf "$folder"
mv "$work/root" "$folder"
