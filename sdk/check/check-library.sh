#!/bin/sh
# check-library.sh HEADER LIBRARY NM READELF - the shipped library exports every prototype of the header and nothing
# else, has the soname that agents ask for, and needs no C++ runtime. Exit status 0, or 1 with the difference.
set -eu
header=$1 library=$2 nm=$3 readelf=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

sed -n 's/^\(int\|uint64_t\) \([a-z0-9_]*\)(.*/\2/p' "$header" | sort >"$work/declared"
# Every library has these two where the C library is musl.
"$nm" -D --defined-only "$library" | awk '$3 != "_init" && $3 != "_fini" { print $3 }' | sort >"$work/exported"
"$readelf" -d "$library" >"$work/dynamic"

status=0
if [ "$(wc -l <"$work/declared")" -lt 80 ]; then
    echo "only $(wc -l <"$work/declared") prototypes were found in $header"
    status=1
fi
if ! diff "$work/declared" "$work/exported"; then
    echo "the lines above are declared and not exported (<) or exported and not declared (>)"
    status=1
fi
if ! grep -q 'SONAME.*\[libRouterSdk\.so\.1\]' "$work/dynamic"; then
    echo "the soname is not libRouterSdk.so.1"
    status=1
fi
if grep 'NEEDED.*\(libstdc++\|libgcc_s\)' "$work/dynamic"; then
    if grep -q 'NEEDED.*lib[atu][a-z]*san' "$work/dynamic"; then
        [ $status -ne 0 ] || status=77 # sanitizers bring the C++ runtime along; nothing to see then
    else
        echo "the library needs a C++ runtime"
        status=1
    fi
fi
exit $status
