# shellcheck shell=bash
# shellcheck disable=SC2154 # set by who sources it: repo, bin, out
# build.sh - what every demo begins with; sourced behind screen.sh, bash.

die() { echo "demo.sh: $*" >&2; exit 2; }

random_hex() { od -An -N"$1" -tx1 /dev/urandom | tr -d ' \n'; }

# build_programs BUILD "GROUP..." TEXT TARGET...: installs what is missing of these groups of packages and builds the
# targets; only looks for them when BUILD is empty.
build_programs() {
    local build=$1 groups=$2 text=$3 program
    shift 3
    title "Preparing"
    mkdir -p "$out"
    if [ -n "$build" ]; then
        # shellcheck disable=SC2086 # a list of words
        "$repo/scripts/install-packages.sh" $groups || exit 1
        cd "$repo" || exit
        quietly "$out/configure.log" "configuring" cmake --preset release || die "cmake failed"
        quietly "$out/build.log" "building $text" cmake --build "$bin" -j "$(nproc)" --target "$@" || die "the build failed"
    fi
    for program in plug plugsim plug-gateway lab_traffic; do
        case " $* " in *" $program "*) [ -x "$bin/$program" ] || die "there is no $program in $bin; run without --no-build" ;; esac
    done
}
