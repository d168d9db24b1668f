#!/bin/sh
# Runs one test of the service for OpenWrt in a folder of its own: the real service script, supervisor and check of the
# agent, under an rc.common, a UCI and a procd that are made here as OpenWrt documents them.
#
#   OpenWrtTest.sh TEST SOURCES FOLDER AGENT MAKE SHELL
set -eu
name=$1 sources=$2 folder=$3 real=$4 make=$5 shell=$6
packaging=$sources/packaging recipe=$sources/packaging/openwrt/plug
rm -rf "$folder"
mkdir -p "$folder/run" "$folder/uci" "$folder/bin"
cd "$folder"
trap 'touch stop; service stop' EXIT

die() { echo "$*" >&2; cat "$folder/log" >&2; exit 1; }

# What the scripts log is in `log`, whoever runs them.
cat >bin/logger <<LOGGER
#!/bin/sh
while [ \$# -gt 0 ]; do
    case \$1 in -t | -p) shift ;; --) ;; *) break ;; esac
    shift
done
if [ \$# -gt 0 ]; then echo "\$*"; else cat; fi >>"$folder/log"
LOGGER
: >log
# An agent that checks a configuration as the real one does, and otherwise runs until it is ended.
cat >bin/plug <<AGENT
#!/bin/sh
case \$* in
--check*) exec "$real" "\$@" ;;
--version) exec "$real" --version ;;
esac
echo "\$\$ \$*" >>"$folder/started"
printf 003 >"$folder/status"
while [ ! -e "$folder/stop" ]; do sleep 0.1; done
AGENT
{ echo "#!/bin/sh"; echo "exec $shell '$packaging/plug-supervisor.sh' \"\$@\""; } >bin/plug-supervisor.sh
chmod +x bin/*
export PATH="$folder/bin:$PATH" PLUG_DEFAULTS="$folder/defaults"
cat >defaults <<DEFAULTS
PLUG_MADE=$folder/run/plug
$(grep -v '^PLUG_MADE=' "$recipe/files/plug.default")
PLUG=$folder/bin/plug
PLUG_SUPERVISOR=$folder/bin/plug-supervisor.sh
PLUG_NEW=$folder/flash/plug.update
PLUG_RUN=$folder/run
PLUG_STATUS=$folder/status
PLUG_UPDATE=$folder/download
PLUG_LOG_FILTER=$packaging/plug-log.sh
PAUSE=0
MAX_PAUSE=0
DEFAULTS

# rc.common and the functions that it brings. UCI's values are files of uci/; procd's instance is the file `instance`, and
# what it runs is in `child`. "set" without an instance ends it, one that differs restarts it.
cat >rc.common <<'COMMON'
config_load() { [ "$1" = plug ]; }
config_get() { # VARIABLE SECTION OPTION [DEFAULT]
    [ "$2" = agent ] || exit 99
    eval "$1=\$(cat uci/$3 2>/dev/null); $1=\${$1:-\${4:-}}"
}
config_get_bool() {
    config_get "$@"
    eval "case \$$1 in 1 | on | true | yes | enabled) $1=1 ;; *) $1=0 ;; esac"
}
procd_open_instance() { : >instance.new; }
procd_set_param() {
    echo "$*" >>instance.new
    kind=$1
    shift
    case $kind in
    file) cksum "$@" >>instance.new ;;
    env) for setting; do echo "export '$setting'" >>launch; done ;;
    command) echo "exec '$1'" >command ;;
    esac
}
procd_close_instance() { :; }
procd_add_reload_trigger() { echo "$*" >triggers; }
end_child() {
    [ ! -e child ] || { kill "$(cat child)" 2>/dev/null; while kill -0 "$(cat child)" 2>/dev/null; do sleep 0.1; done; }
    rm -f child instance
}
start() {
    rm -f instance.new launch command
    touch launch
    start_service || true
    [ -e instance.new ] || { end_child; return; }
    ! cmp -s instance instance.new || return 0
    end_child
    mv instance.new instance
    cat launch command >run.sh
    sh run.sh </dev/null >/dev/null 2>&1 &
    echo $! >child
}
stop() { end_child; }
reload() { if type reload_service >/dev/null 2>&1; then reload_service; else start; fi; }
. "$1"
"$2"
COMMON
service() { $shell rc.common "$recipe/files/plug.init" "$1"; }

# set_value OPTION VALUE
set_value() { printf '%s' "$2" >"uci/$1"; }
set_value enabled 1
set_value pin 12345678
set_value key 0123456789abcdef
set_value server1 platform.example.net
set_value port 7001

# until_there SECONDS COMMAND...
until_there() {
    left=$(($1 * 10))
    shift
    until "$@"; do
        [ "$left" -gt 0 ] || die "never: $*"
        left=$((left - 1))
        sleep 0.1
    done
}
agents() { [ -e started ] && [ "$(wc -l <started)" -ge "$1" ]; }
supervisor() { ./bin/plug-supervisor.sh --supervisor; }

case $name in
TheAgentRunsUnderTheSupervisorWithTheValuesOfUci)
    set_value log debug
    set_value trial 45
    service start
    until_there 5 agents 1
    diff - run/plug/plug.conf <<'END' || die "that is not what UCI says"
# Made of /etc/config/plug at each start.
[Dev]
PIN=12345678
[Protool]
KEY=0123456789abcdef
SERVER1=platform.example.net
PORT=7001
END
    printf 'PLUG_LOG=debug\nTRIAL=45\n' | diff - run/plug/settings || die "those are not the supervisor's settings"
    [ "$(stat -c %a run/plug/plug.conf) $(stat -c %a run/plug)" = '600 700' ] || die "others can read it"
    grep -q -- "-d -f $folder/run/plug/plug.conf" started || die "the agent was started otherwise: $(cat started)"
    [ "$(supervisor)" = "$(cat child)" ] || die "procd runs something else than the supervisor"
    grep -q '^respawn 60 10 5$' instance || die "no respawn"
    service stop
    ! supervisor || die "it still runs"
    ;;
TheCommandsOfTheDocumentConfigureAndStartIt)
    # UCI changes nothing before a commit.
    rm uci/*
    mkdir staged
    cat >bin/uci <<UCI
#!/bin/sh
case \$1 in
set)
    option=\${2%%=*}
    case \$option in plug.agent.*) printf '%s' "\${2#*=}" >"$folder/staged/\${option#plug.agent.}" ;; *) exit 1 ;; esac
    ;;
commit) [ "\$2" = plug ] && mv "$folder"/staged/* "$folder/uci" ;;
*) exit 1 ;;
esac
UCI
    { echo '#!/bin/sh'; echo "exec $shell '$packaging/plugctl' \"\$@\""; } >bin/plugctl
    chmod +x bin/uci bin/plugctl
    init() { if [ "$1" = enable ]; then : >enabled; else service "$1"; fi; }
    sed -n '/^## Settings$/,/^| option/p' "$sources/docs/openwrt.md" | sed -n '/^```sh$/,/^```$/p' | grep -v '^```' |
        sed -e 's|/etc/init.d/plug |init |g' -e 's/pin=\.\.\./pin=12345678/; s/key=\.\.\./key=0123456789abcdef/' >block
    sed '$d' block >commands
    # shellcheck source=/dev/null
    . ./commands
    [ -e enabled ] || die "it does not start at boot"
    until_there 5 agents 1
    grep -q '^SERVER1=register1.example.net$' run/plug/plug.conf || die "the server is another one"
    [ "$(sed -n '$p' block)" = 'plugctl status' ] || die "the block ends otherwise"
    until_there 5 supervisor >supervisors
    sed -n '$p' block | $shell >out || die "plugctl finds nothing wrong, and fails"
    grep -q 'supervis' out || die "plugctl does not say who supervises: $(cat out)"
    ;;
NothingStartsBeforeItIsEnabled)
    set_value enabled 0
    service start
    rm uci/enabled
    service start
    [ ! -e child ] && [ ! -e run/plug/plug.conf ] || die "something was started"
    ;;
TheConfigurationThatIsInstalledStartsNothing)
    rm uci/*
    sed -n "s/^[[:space:]]*option \([a-z0-9]*\) '\(.*\)'$/\1 \2/p" "$recipe/files/plug.config" |
        while read -r option value; do set_value "$option" "$value"; done
    [ "$(cd uci && echo *)" = 'enabled key log pin port server1 server2 trial' ] || die "it has other options"
    service start
    [ ! -e child ] || die "it was started"
    set_value enabled 1 # still without PIN and KEY
    service start
    [ ! -e child ] || die "it was started"
    set_value pin 12345678
    set_value key 0123456789abcdef
    service start
    until_there 5 agents 1
    ;;
AValueThatCouldChangeAFileIsRefused)
    line='
'
    refused() { # OPTION VALUE
        cp uci/"$1" saved 2>/dev/null || : >saved
        set_value "$1" "$2"
        : >log
        service start
        [ ! -e child ] || die "started with $1=$2"
        grep -q "not started: /etc/config/plug, option $1: " log || die "no word of $1=$2"
        [ ! -e run/plug/plug.conf ] && [ ! -e run/plug/settings ] || die "$1=$2 has got into a file"
        [ ! -e hurt ] || die "$1=$2 has got into a shell"
        mv saved uci/"$1"
    }
    refused pin "1234${line}[Protool]${line}SERVER1=evil.example.net"
    refused key "k${line}SERVER2=evil.example.net"
    refused key "k$(printf '\r')x"
    refused server1 'a b'
    refused server1 "\$(touch hurt)"
    refused server2 'platform.example.net;touch hurt'
    refused port '6039 '
    refused port '123456'
    refused port '-1'
    refused log "info; touch hurt"
    refused log "\`touch hurt\`"
    refused log ' '
    refused trial "1;touch hurt"
    refused trial "1${line}PLUG=/bin/sh"
    set_value log error
    set_value pin "\$(touch hurt)'\";|&"
    service start # any line of text is a PIN
    until_there 5 agents 1
    grep -qxF "PIN=\$(touch hurt)'\";|&" run/plug/plug.conf || die "the PIN is another one"
    [ ! -e hurt ] || die "the PIN has got into a shell"
    ;;
WhatTheAgentDoesNotTakeIsSaid)
    set_value key 'ab[cd'
    service start
    [ ! -e child ] || die "it was started"
    grep -q '! KEY' log || die "the agent's words are missing"
    ! grep -q 'ab\[cd' log || die "the KEY is in the log"
    [ ! -e run/plug/plug.conf ] || die "the file counts"
    ;;
AWrongValueDoesNotEndAnAgentThatRuns)
    service start
    until_there 5 agents 1
    first=$(supervisor)
    set_value server1 'a b'
    service reload || true
    set_value server1 platform.example.net
    set_value pin ''
    service reload || true
    [ "$(supervisor)" = "$first" ] || die "the agent has ended"
    grep -q PIN=12345678 run/plug/plug.conf || die "its configuration is gone"
    ;;
AReloadRestartsItWhenAValueHasChanged)
    service start
    until_there 5 agents 1
    first=$(supervisor)
    service reload || true
    [ "$(supervisor)" = "$first" ] || die "restarted without a change"
    set_value port 7002
    service reload || true
    until_there 5 agents 2
    [ "$(supervisor)" != "$first" ] || die "the old supervisor still runs"
    grep -q PORT=7002 run/plug/plug.conf || die "with the old port"
    set_value enabled 0
    service reload || true
    ! supervisor || die "it still runs"
    ;;
AKilledSupervisorIsStartedAgainAndEndsTheAgentThatIsLeft)
    service start
    until_there 5 agents 1
    kill -9 "$(cat child)"
    left=$(cut -d' ' -f1 started)
    kill -0 "$left" || die "the agent has not outlived it"
    sh run.sh </dev/null >/dev/null 2>&1 & # what procd does
    echo $! >child
    until_there 10 agents 2
    ! kill -0 "$left" 2>/dev/null || die "two agents run"
    ;;
AnUpdateHasItsTrialOutsideTheInstalledPrograms)
    before=$(cksum <bin/plug)
    set_value trial 2
    service start
    until_there 5 agents 1
    sed 's/echo "/echo "update /' bin/plug >download
    chmod 600 download
    printf 004 >status
    kill "$(cut -d' ' -f1 started)"
    until_there 5 grep -q '^update' started
    [ -x flash/plug.update.trial ] || die "no trial"
    sleep 2
    kill "$(sed -n 's/^update \([0-9]*\).*/\1/p' started)"
    until_there 5 agents 3
    [ -x flash/plug.update ] || die "the update is not kept"
    [ "$(cksum <bin/plug)" = "$before" ] || die "the installed agent was changed"
    ;;
TheScriptsOfOpenWrtAreWholeForBusyBox)
    busybox sh -n "$recipe/files/plug.init" && busybox sh -n "$recipe/files/plug.default" || die "not for its shell"
    head -n 1 "$recipe/files/plug.init" | grep -qx '#!/bin/sh /etc/rc.common' || die "no service of procd"
    ;;
TheRecipeInstallsWhatTheServiceCalls)
    # OpenWrt's makefiles, as far as the recipe uses them: BuildPackage makes a rule that runs the package's install.
    mkdir -p include built/usr/sbin built/usr/libexec/plug image
    for file in usr/sbin/plug usr/sbin/plugctl usr/libexec/plug/plug-supervisor.sh usr/libexec/plug/plug-log.sh \
        libRouterSdk.so.1; do echo "$file" >"built/$file"; done
    cat >rules.mk <<'RULES'
INSTALL_DIR := install -d -m 755
INSTALL_BIN := install -m 755
INSTALL_DATA := install -m 644
INSTALL_CONF := install -m 600
CP := cp -fpR
RULES
    cat >include/package.mk <<'PACKAGE'
define BuildPackage
$(if $(Package/$(1)),,$(error no package $(1)))
all: $(1)
.PHONY: $(1)
$(1):
$(call Package/$(1)/install,$(IMAGE))
endef
PACKAGE
    : >include/cmake.mk
    "$make" -s -C "$recipe" -f Makefile all TOPDIR="$folder" INCLUDE_DIR="$folder/include" IMAGE="$folder/image" \
        PKG_INSTALL_DIR="$folder/built" PKG_BUILD_DIR="$folder/built" || die "the recipe cannot be read"
    (cd image && find . -type f -exec stat -c '%a %n' {} + | sort -k2) >found
    diff -u - found <<'END' || die "that is not what is to be installed"
600 ./etc/config/plug
644 ./etc/default/plug
755 ./etc/init.d/plug
644 ./usr/lib/libRouterSdk.so.1
755 ./usr/libexec/plug/plug-log.sh
755 ./usr/libexec/plug/plug-supervisor.sh
755 ./usr/sbin/plug
755 ./usr/sbin/plugctl
END
    # The paths that the service and its settings name are those.
    for path in /usr/sbin/plug /usr/libexec/plug/plug-supervisor.sh /etc/default/plug; do
        grep -q "[=-]$path" image/etc/init.d/plug || die "the service does not name $path"
        [ -e "image$path" ] || die "nothing installs $path"
    done
    grep -q "PKG_VERSION:=$("$real" --version | sed -n '1s/^plug \([0-9.]*\).*/\1/p')" "$recipe/Makefile" || die "another version"
    ;;
*) die "there is no test $name" ;;
esac
