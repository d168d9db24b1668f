#!/usr/bin/env bash
# try-library.sh - builds a router library from a copy of sdk/template, and tries it with plug-sdk-check.
#
#   scripts/try-library.sh FOLDER [OPTION]...     (options of plug-sdk-check)
#
# For this machine's processor; packages that are missing are installed (root or sudo). The exit status is that of
# plug-sdk-check: 0 nothing is wrong, 1 something is; 2 when one of the two could not be built.
set -euo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
. "$repo/scripts/lib/screen.sh"
[ $# -gt 0 ] && [ -e "$1/Makefile" ] || { echo "try-library.sh: which folder? It is a copy of sdk/template" >&2; exit 2; }
folder=$(cd "$1" && pwd)
shift

mkdir -p "$repo/build/logs"
cd "$repo"
"$repo/scripts/install-packages.sh" build || exit 2
make -C "$folder" SDK="$repo/sdk" || exit 2
quietly build/logs/try-configure.log "configuring" cmake --preset release || exit 2
quietly build/logs/try-build.log "building plug-sdk-check" cmake --build build/release -j "$(nproc)" --target plug_sdk_check || exit 2
exec build/release/plug-sdk-check "$@" "$folder/libRouterSdk.so.1"
