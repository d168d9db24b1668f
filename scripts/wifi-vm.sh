#!/usr/bin/env bash
# wifi-vm.sh - runs a program in a virtual machine that has radios: Debian's kernel with its simulated Wi-Fi hardware.
#
#   wifi-vm.sh check                 whether this machine can; if not, says what is missing, with exit status 3
#   wifi-vm.sh PROGRAM [WORD]...     runs it there as root, shows what it prints, ends with its exit status
#
# The machine's files are the program, what $WIFI_VM_FILES names (paths), the programs below, and the shared libraries of
# all of them, each at the path that it has here. It has two radios (wlan0, wlan1), a loopback, and nothing else: no disk,
# no network. The kernel's package is downloaded into build/vm and not installed.
set -euo pipefail
export LC_ALL=C
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
PATH=$PATH:/usr/sbin:/sbin
vm=$repo/build/vm
limit=400 # seconds; about 100 on two idle cores
programs=(busybox hostapd hostapd_cli wpa_supplicant wpa_cli iw ip nft tc kmod)
# The first one makes the radios; the crypto is what WPA2 needs.
modules=(mac80211_hwsim bridge nf_tables sch_htb sch_tbf ccm ctr cmac gcm veth)

missing() { echo "wifi-vm.sh: no Wi-Fi on this machine: $*" >&2; exit 3; }

check() {
    local program
    for program in qemu-system-x86_64 cpio dpkg-deb apt-get "${programs[@]}"; do
        command -v "$program" >/dev/null || missing "no $program; see scripts/install-packages.sh wifi"
    done
    [ "$(uname -m)" = x86_64 ] || missing "it is no x86-64"
}

# fetch_kernel: the newest kernel of the distribution, unpacked in $vm/image
fetch_kernel() {
    local package
    [ ! -e "$vm/image/complete" ] || return 0
    mkdir -p "$vm"
    package=$(apt-cache depends linux-image-amd64 | sed -n 's/^ *Depends: \(linux-image-[^ ]*\)$/\1/p' | head -1)
    [ -n "$package" ] || missing "apt knows no kernel"
    (cd "$vm" && rm -rf image ./linux-image-*.deb && apt-get -q download "$package" >download.log 2>&1) ||
        missing "the kernel $package cannot be downloaded"
    mkdir "$vm/image"
    dpkg-deb -x "$vm"/linux-image-*.deb "$vm/image"
    local version
    version=$(basename "$vm"/image/lib/modules/*)
    depmod -b "$vm/image" "$version"
    touch "$vm/image/complete"
}

add() { # FILE: with its path, and its shared libraries
    local file
    for file in "$1" $(ldd "$1" 2>/dev/null | grep -o '/[^ ]*'); do
        [ -e "$root$file" ] || { mkdir -p "$root$(dirname "$file")" && cp -L "$file" "$root$file"; }
    done
}

make_root() { # PROGRAM...
    local program module path version
    root=$vm/root
    rm -rf "$root"
    mkdir -p "$root"/{proc,sys,dev,tmp,run,etc,root,sbin,bin,var/lib/plug,lib/modules}
    for program in "${programs[@]}"; do add "$(command -v "$program")"; done
    add "$1"
    for path in ${WIFI_VM_FILES:-}; do add "$path"; done
    version=$(basename "$vm"/image/lib/modules/*)
    for module in "${modules[@]}"; do
        modprobe -d "$vm/image" -S "$version" --show-depends "$module" | sed -n 's/^insmod \([^ ]*\).*/\1/p'
    done | sort -u | while read -r path; do
        mkdir -p "$root$(dirname "${path#"$vm/image"}")"
        cp "$path" "$root${path#"$vm/image"}"
    done
    cp "$vm/image/lib/modules/$version"/modules.{builtin,order,builtin.modinfo} "$root/lib/modules/$version/"
    depmod -b "$root" "$version"
    ln -s "$(command -v kmod)" "$root/sbin/modprobe"
    ln -sf "$(command -v busybox)" "$root/bin/sh"
    echo 'root:x:0:0:root:/root:/bin/sh' >"$root/etc/passwd"
    echo 'root:x:0:' >"$root/etc/group"
    : >"$root/etc/resolv.conf"
    cat >"$root/init" <<INIT
#!/bin/sh
export PATH=/usr/sbin:/usr/bin:/sbin:/bin
for applet in mount mkdir rm sleep kill killall poweroff timeout cat grep; do $(command -v busybox) ln -sf $(command -v busybox) /bin/\$applet; done
mount -t proc proc /proc; mount -t sysfs sys /sys; mount -t devtmpfs dev /dev
mount -t tmpfs tmpfs /tmp; mount -t tmpfs tmpfs /run; mkdir -p /run/netns
modprobe mac80211_hwsim radios=2
for module in ${modules[*]:1}; do modprobe \$module; done
ip link set lo up
cd /tmp
$* 2>&1
echo "wifi-vm: status \$?"
poweroff -f
INIT
    chmod +x "$root/init"
    (cd "$root" && find . | cpio --quiet -o -H newc | gzip -1) >"$vm/initramfs"
}

boot() {
    local log=$vm/console.log status
    # Emulated: not every machine has virtualisation, and some that have it stand still in it. The console ends its lines with carriage returns, too.
    timeout "$limit" qemu-system-x86_64 -m 512 -nographic -no-reboot -net none \
        -kernel "$vm"/image/boot/vmlinuz-* -initrd "$vm/initramfs" \
        -append "console=ttyS0 quiet loglevel=3 panic=-1" </dev/null 2>&1 | sed -u 's/\r//g' | tee "$log" | grep --line-buffered -v '^wifi-vm: status'
    status=$(sed -n 's/.*wifi-vm: status \([0-9]*\)$/\1/p' "$log")
    [ -n "$status" ] || { echo "wifi-vm.sh: the virtual machine did not come to an end" >&2; return 1; }
    return "$status"
}

check
[ "${1:-}" != check ] || exit 0
[ $# -gt 0 ] || { sed -n '4,5s/^# *//p' "$0" >&2; exit 2; }
fetch_kernel
make_root "$@"
boot
