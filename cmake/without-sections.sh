#!/bin/sh
# without-sections.sh - takes the section headers off a program: 2 KB that only linkers and debuggers read.
#
#   without-sections.sh FILE [READELF]
#
# FILE has been stripped before, and afterwards no tool can strip it again. What the kernel and the loader need is in
# the program headers; the file ends where the last of what they name ends.
set -eu
file=$1 readelf=${2:-readelf}

die() { echo "without-sections.sh: $*" >&2; exit 1; }

end=0
headers=$(LC_ALL=C "$readelf" -lW "$file") || die "cannot read $file"
while read -r _ offset _ _ size _; do
    [ $((offset + size)) -le $end ] || end=$((offset + size))
done <<END
$(echo "$headers" | grep -E '^ +[A-Z_]+ +0x[0-9a-f]+ 0x[0-9a-f]+ 0x[0-9a-f]+ 0x[0-9a-f]+ ')
END
[ "$end" -gt 0 ] || die "$file has no program headers"

# The fields of the ELF header: table's offset, then number of entries and index of the names' section.
case $(od -An -tu1 -j4 -N1 "$file" | tr -d ' ') in
1) table=32 width=4 counts=48 ;;
2) table=40 width=8 counts=60 ;;
*) die "$file is no program" ;;
esac
zero() { dd if=/dev/zero of="$file.headless" bs=1 seek="$1" count="$2" conv=notrunc 2>/dev/null; }
trap 'rm -f "$file.headless"' EXIT
cp -p "$file" "$file.headless"
dd if="$file" bs="$end" count=1 2>/dev/null >"$file.headless"
zero $table $width
zero $counts 4
mv "$file.headless" "$file"
