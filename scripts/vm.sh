#!/usr/bin/env bash
# vm.sh - boots a virtual machine in which the packages are installed, and tries the services there.
set -uo pipefail
export LC_ALL=C
PATH=$PATH:/usr/sbin:/sbin

usage() {
    cat <<END
vm.sh - boots a virtual machine in which the packages are installed, and tries the services there

  scripts/vm.sh            makes the packages and a disk, boots it, and goes through scripts/vm/service.plugsim: the
                           agent with a platform outside, then the gateway with that agent and a NATS server inside
  scripts/vm.sh --shell    boots it for a look: the console is a shell; "poweroff" ends it
  --help                   this text

Needs root, qemu (no KVM) and, the first time, a Debian mirror. The machine reaches nothing but a test platform on a
network of its own. Exit status: 0 all steps passed, 1 one failed, 2 wrong use, 3 it could not run.
END
}

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
. "$repo/scripts/lib/screen.sh"
. "$repo/scripts/lib/bare-root.sh"
logs=$repo/build/logs
packages=$repo/build/packages
root=$repo/build/vm-root
platform=192.0.2.1

die() { echo "vm.sh: $*" >&2; exit 3; }

# ---- Inside the network of its own

boot() {
    exec timeout 1200 qemu-system-x86_64 -accel tcg,thread=multi -smp "$(nproc)" -m 384 -display none -no-reboot \
        -kernel "$repo/build/vm-kernel" -initrd "$repo/build/vm-initrd" \
        -append "console=ttyS0 root=/dev/vda rw quiet net.ifnames=0" \
        -drive file="$repo/build/vm.img",format=raw,if=virtio,cache=unsafe \
        -nic user,net=10.9.0.0/24,model=virtio-net-pci -serial stdio
}

case ${1:-} in
--boot) boot ;;
--inside)
    ip link set lo up && ip address add $platform/32 dev lo || exit 3
    export repo bin="$repo/build/release" version next
    version=$("$bin/plug" --version | sed -n '1s/^plug \([0-9.]*\).*/\1/p')
    next=$("$bin/plug_next" --version | sed -n '1s/^plug \([0-9.]*\).*/\1/p')
    exec timeout 1200 "$bin/plugsim" platform --script "$repo/scripts/vm/service.plugsim" --quiet --wait-timeout 120 \
        --register $platform:6039 --login $platform:6040 --http $platform:8199 --interval 20 --log "$logs/vm-events.jsonl"
    ;;
'' | --shell) ;;
-h | --help) usage; exit ;;
*) echo "vm.sh: wrong use; see --help" >&2; exit 2 ;;
esac

# ---- The disk

[ "$(id -u)" = 0 ] || die "it needs root"
mkdir -p "$logs"
"$repo/scripts/install-packages.sh" build run package vm || exit 3
"$repo/scripts/package.sh" || exit 3
title "== The machine"
(cd "$repo" && quietly "$logs/vm-configure.log" "configuring" cmake --preset release &&
    quietly "$logs/vm-build.log" "building" cmake --build build/release -j "$(nproc)" --target plug plug_next plugsim) || exit 3
mapfile -t depends < <(depends_of "$packages"/*.deb)
bare_root vm-root "${depends[@]}" systemd systemd-sysv linux-image-amd64 initramfs-tools iproute2 \
    nats-server &&
    fresh_root vm-root || exit 3
mv "$root"/boot/vmlinuz-* "$repo/build/vm-kernel" && mv "$root"/boot/initrd.img-* "$repo/build/vm-initrd" || exit 3

mkdir "$root/packages"
cp "$packages"/plug_*.deb "$packages"/plug-router-sim_*.deb "$packages"/plug-gateway_*.deb "$root/packages"
cp "$packages"/plug-router-linux_*.deb "$root/srv"
cat >"$root/etc/plug.conf" <<END
[Dev]
PIN=123456789012
[Protool]
KEY=0123456789abcdef
SERVER1=$platform
PORT=6039
END
chmod 600 "$root/etc/plug.conf"
mkdir "$root/etc/plug"
cat >"$root/etc/plug/router.conf" <<END
[wan]
masquerade = yes
END
# The gateway's NATS keeps what it gets.
echo 'jetstream { store_dir: /var/lib/nats }' >>"$root/etc/nats-server.conf"
mkdir "$root/etc/plug-gateway"
cat >"$root/etc/plug-gateway/gateway.conf" <<END
[run]
announce="10.9.0.15:6040"
drain-seconds=5
END
chmod 600 "$root/etc/plug-gateway/gateway.conf"
cat >"$root/etc/systemd/network/lan.network" <<END
[Match]
Name=eth0
[Network]
Address=10.9.0.15/24
Gateway=10.9.0.2
END
# The console: a shell that says how each line has ended.
cat >"$root/usr/local/sbin/console" <<'END'
#!/bin/sh
stty -echo
echo "vm: ready"
while read -r line; do
    (eval "$line") </dev/null 2>&1
    echo "vm: status $?"
done
END
cat >"$root/usr/local/sbin/page-summary" <<'END'
#!/bin/bash
exec 3<>/dev/tcp/127.0.0.1/9470
printf 'GET /api/summary HTTP/1.0\r\nAuthorization: Bearer %s\r\n\r\n' "$(cat /etc/plug-gateway/web-token)" >&3
cat <&3
END
chmod 755 "$root/usr/local/sbin/page-summary"
cat >"$root/etc/systemd/system/console.service" <<END
[Unit]
After=multi-user.target
[Service]
ExecStart=/bin/sh /usr/local/sbin/console
StandardInput=tty-force
StandardOutput=tty
TTYPath=/dev/ttyS0
Environment=HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin
[Install]
WantedBy=multi-user.target
END
quietly "$logs/vm-install.log" "installing the packages" chroot "$root" sh -c '
    printf "#!/bin/sh\nexit 101\n" >/usr/sbin/policy-rc.d && chmod 755 /usr/sbin/policy-rc.d &&
    install -d -o nats -g nats /var/lib/nats && dpkg -i /packages/*.deb && rm -r /usr/sbin/policy-rc.d /packages &&
    systemctl enable systemd-networkd systemd-networkd-wait-online && systemctl mask serial-getty@ttyS0 &&
    { [ "$0" = --shell ] || systemctl enable console; } && passwd -d root' "${1:-}" || exit 3
[ "${1:-}" != --shell ] || rm "$root/etc/systemd/system/serial-getty@ttyS0.service"
quietly "$logs/vm-disk.log" "making its disk" mkfs.ext4 -q -F -d "$root" "$repo/build/vm.img" 1500M || exit 3
rm -rf "$root"

case ${1:-} in
--shell) exec unshare --net bash "$0" --boot ;;
esac
title "== The services in it"
start=$(now_us)
unshare --net --pid --fork --kill-child bash "$0" --inside
status=$?
[ $status -eq 0 ] || { echo "vm.sh: a step failed, see $logs/vm-events.jsonl" >&2; exit 1; }
say "all steps passed in $(seconds $(($(now_us) - start))) s"
