#!/bin/sh
# Installs a build into an empty folder and looks at what is there.
#
#   InstallTest.sh CMAKE BUILD STAGE C-COMPILER PREFIX SBINDIR SYSCONFDIR INCLUDEDIR LIBDIR MANDIR DOCDIR UNITS LIBEXECDIR EMULATED
#                  TOOLS GATEWAY
#
# The folders are the full paths of the installation; EMULATED is empty when the agent runs on this machine, TOOLS when
# plugsim is not built, GATEWAY when plug-gateway is not.
set -eu
cmake=$1 build=$2 stage=$3 cc=$4 prefix=$5 sbin=$6 etc=$7 include=$8
shift 8
lib=$1 man=$2 doc=$3 units=$4 libexec=$5 emulated=$6 tools=$7 gateway=$8

die() { echo "InstallTest: $*" >&2; exit 1; }

rm -rf "$stage"
DESTDIR=$stage "$cmake" --install "$build" >/dev/null

wanted="755 $etc/init.d/plug
644 $include/plug/RouterSdk.h
644 $lib/pkgconfig/plug-router-sdk.pc
644 $man/man8/plug.8
644 $man/man8/plugctl.8
755 $sbin/plug
755 $libexec/plug/plug-log.sh
755 $libexec/plug/plug-supervisor.sh
644 $etc/default/plug
755 $sbin/plugctl
644 $doc/examples/plug.conf
644 $units/plug.service"
[ -z "$tools" ] || wanted="$wanted
755 $prefix/bin/plugsim
644 $prefix/share/bash-completion/completions/plugsim
644 $man/man1/plugsim.1"
[ -z "$gateway" ] || wanted="$wanted
755 $sbin/plug-gateway
644 $units/plug-gateway.service
644 $man/man8/plug-gateway.8
644 $prefix/share/plug-gateway/grafana/plug-gateway.json"
found=$(cd "$stage" && find . -type f -exec stat -c '%a %n' {} + | sed 's| \./| /|')
echo "$wanted" | sort >"$stage/wanted"
echo "$found" | sort >"$stage/found"
diff -u "$stage/wanted" "$stage/found" || die "that is not what is to be installed"

# Each script names what was installed, and nothing else of its kind.
for file in "$libexec/plug/plug-supervisor.sh" "$libexec/plug/plug-log.sh" "$sbin/plugctl" "$etc/init.d/plug"; do
    sh -n "$stage$file" || die "$file is damaged"
done
grep -qx "PLUG=$sbin/plug" "$stage$libexec/plug/plug-supervisor.sh" || die "the supervisor starts another agent"
grep -q "^PLUG_OPTIONS=\"-f $etc/plug.conf\"" "$stage$libexec/plug/plug-supervisor.sh" || die "the supervisor has another configuration"
grep -qx "PLUG_SUPERVISOR=$libexec/plug/plug-supervisor.sh" "$stage$etc/init.d/plug" || die "the init script starts another supervisor"
grep -qx "PLUG_SUPERVISOR=$libexec/plug/plug-supervisor.sh" "$stage$sbin/plugctl" || die "plugctl asks another supervisor"
grep -qx "PLUG_LOG_FILTER=$libexec/plug/plug-log.sh" "$stage$libexec/plug/plug-supervisor.sh" || die "the supervisor runs another filter"
grep -qx "ExecStart=$libexec/plug/plug-supervisor.sh" "$stage$units/plug.service" || die "the unit starts another supervisor"
[ -z "$gateway" ] || grep -q "^ExecStart=$sbin/plug-gateway --config %d/" "$stage$units/plug-gateway.service" ||
    die "the unit starts another gateway"
grep -q "^PIN=" "$stage$doc/examples/plug.conf" || die "the example has no PIN"

# The build's own folder would be searched for the router library on somebody else's machine.
if readelf -d "$stage$sbin/plug" | grep -E 'R(UN)?PATH'; then die "the installed agent has a path of the build"; fi

# What is stripped for a router holds nothing that only linkers read, and is still a whole program.
DESTDIR=$stage/router "$cmake" --install "$build" --component agent --strip >/dev/null
shipped=$stage/router$sbin/plug
readelf -hW "$shipped" | grep -qE 'Number of section headers: +0$' || die "the stripped agent has section headers"
readelf -dW "$shipped" >/dev/null || die "the stripped agent is damaged"
[ "$(wc -c <"$shipped")" -lt "$(wc -c <"$stage$sbin/plug")" ] || die "the stripped agent is not smaller"
if [ -z "$emulated" ]; then
    said=$(LD_LIBRARY_PATH=$build "$shipped" --version) || die "the stripped agent does not run"
    [ "$said" = "$("$build/plug" --version)" ] || die "the stripped agent says something else"
fi

# A router library compiles with what the .pc file says.
flags=$(sed -n 's/^Cflags: //p' "$stage$lib/pkgconfig/plug-router-sdk.pc" | sed "s|\${includedir}|$stage$include|")
printf '#include <RouterSdk.h>\nint get_router_mac(uint8_t mac[6]) { return mac[0]; }\n' >"$stage/maker.c"
# shellcheck disable=SC2086 # a list of words
"$cc" $flags -fsyntax-only "$stage/maker.c" || die "the header cannot be used with: $flags"
grep -qx "includedir=$include" "$stage$lib/pkgconfig/plug-router-sdk.pc" || die "the .pc file names another folder"
echo "all there"
