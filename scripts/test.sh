#!/usr/bin/env bash
# test.sh - builds the project and runs its tests.
set -uo pipefail
export LC_ALL=C
fuzz_seconds=6
PATH=$PATH:/usr/sbin:/sbin

usage() {
    cat <<END
test.sh - builds the project and runs its tests

  scripts/test.sh [--filter REGEX]           the release build and its tests but those of the lab
  scripts/test.sh --lab [--filter REGEX]     the lab: the Linux router among real traffic, in network namespaces
  scripts/test.sh --wifi                     Wi-Fi: the Linux router with hostapd, in a virtual machine with radios
  scripts/test.sh --packages | --vm | --musl | --page only that stage, as below
  scripts/test.sh --all [--filter REGEX]     the release build, and in addition:
      lab, wifi as above
      page      the gateway's page in a browser
      packages  Debian packages, installed and removed in a bare system (scripts/package.sh --test)
      vm        the packaged services, agent and gateway, in a virtual machine that boots (scripts/vm.sh)
      asan      unit and end-to-end tests with AddressSanitizer and UBSan
      tsan      unit and end-to-end tests with ThreadSanitizer
      mipsel    unit tests built for the router, under emulation
      mips16    the same of the agent in the 16-bit encoding, at any address
      musl      unit tests built with musl, and end-to-end tests of the agent built with it
      lint      scripts/lint.sh, and a build with clang
      fuzz      every fuzz target for $fuzz_seconds s, starting with its corpus
      demo      scripts/demo.sh without a terminal, and its prompt on one
      documents the commands of README, documents and man pages (scripts/documents.sh)
  scripts/test.sh --coverage                 the agent's tests in a build that counts, then scripts/coverage.sh: which
                                             lines and branches they run. Not part of --all: six minutes more
  scripts/test.sh --helgrind                 the agent's unit tests under valgrind (scripts/helgrind.sh): races and
                                             wrong use of locks. Not part of --all: ten minutes more
  scripts/test.sh --tsan-gateway             the gateway's unit and end-to-end tests with ThreadSanitizer. Not part of
                                             --all: two minutes more
  scripts/test.sh --documents                those commands that take minutes, too. Not part of --all: it takes hours

  --filter REGEX   only tests whose name matches; with --all no stage behind musl then
  --help           this text

Installs missing Debian packages (root or sudo). A failed test runs a second time, because the machine may be busy; the
lines before the last name those that passed then. The last line says "N passed, N failed" of all tests. Builds and their
logs are in build/. Exit status: 0 everything passed, 1 something failed, 2 wrong usage,
3 the end-to-end tests, or a stage that was asked for by its name, cannot run on this machine and were left out.

The lab needs root and a kernel with namespaces, nftables and HTB, wifi needs qemu, packages and vm need root and a Debian
mirror; without them the stage is skipped, and the summary says so. End-to-end tests (label "e2e") need root or user
namespaces, a root that is a mount point and inotify instances; without namespaces they are left out. Tests with files of
another user need root.
END
}

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
. "$repo/scripts/lib/screen.sh"
logs=$repo/build/logs
jobs=$(nproc)
all='' only=() filter=()

while [ $# -gt 0 ]; do
    case $1 in
    --all) all=yes ;;
    --coverage) only+=(coverage) ;;
    --helgrind | --tsan-gateway) only+=("${1#--}") ;;
    --lab | --wifi | --packages | --vm | --documents | --page | --musl) only+=("${1#--}") ;;
    --filter)
        [ $# -gt 1 ] || { echo "test.sh: --filter needs a regular expression" >&2; exit 2; }
        filter=(-R "$2")
        shift
        ;;
    -h | --help) usage; exit ;;
    *) echo "test.sh: unknown option \"$1\"; see --help" >&2; exit 2 ;;
    esac
    shift
done

# ---- The stages

build() { # PRESET [TARGET]...
    local preset=$1
    shift
    mkdir -p "$logs"
    (
        cd "$repo" || exit
        quietly "$logs/$preset-configure.log" "configuring $preset" cmake --preset "$preset" &&
            quietly "$logs/$preset-build.log" "building $preset" cmake --build "build/$preset" -j "$jobs" ${1:+--target "$@"}
    )
}

# Counts of the stages so far. A stage that fails without a count of its own is one failure.
passed=0 failed=0 skipped=0
again=() # tests that passed in their second run

# attribute FILE NAME: a number from the first line of ctest's result file that has it
attribute() { grep -m1 -o "[^a-z]$2=\"[0-9]*\"" "$1" | tr -cd 0-9; }

# run_ctest PRESET [ctest's options]: adds to the counts; 0 when nothing failed. $run is the name of the run, if it is
# not the preset's, $at_once how many tests run at the same time.
run_ctest() {
    local preset=$1 run=${run:-$1} at_once=${at_once:-$((jobs + 1))} status test tests failures unrun way=()
    local results=$repo/build/$preset/$run.xml log=$logs/$run-tests.log
    shift
    rm -f "$results"
    # ThreadSanitizer does not work in every randomised address space. Not all containers allow this.
    if setarch -R true 2>/dev/null; then way=(setarch -R); fi
    "${way[@]}" ctest --test-dir "$repo/build/$preset" -j "$at_once" --output-on-failure --no-tests=error \
        --repeat until-pass:2 --output-junit "$results" "${filter[@]}" "$@" </dev/null | tee "$log" |
        grep --line-buffered -v '^ *Start '
    status=${PIPESTATUS[0]}
    for test in $("$repo/scripts/second-runs.sh" "$log"); do again+=("$run: $test"); done
    if tests=$(attribute "$results" tests) && [ -n "$tests" ]; then
        failures=$(attribute "$results" failures)
        unrun=$(($(attribute "$results" skipped) + $(attribute "$results" disabled)))
        passed=$((passed + tests - failures - unrun))
        failed=$((failed + failures))
        skipped=$((skipped + unrun))
        stage_counted=$((stage_counted + failures))
        stage_text+="${stage_text:+; }$((tests - failures - unrun)) of $tests tests passed"
        [ "$unrun" -eq 0 ] || stage_text+=", $unrun skipped"
    fi
    return "$status"
}

# cannot_sandbox PRESET: whether its end-to-end tests cannot run here. The first time it says why; they are asked themselves.
without_e2e=''
cannot_sandbox() {
    local reason
    [ -z "$without_e2e" ] || return 0
    ! reason=$("$repo/build/$1/e2e_test" --gtest_filter=-'*' 2>&1 >/dev/null </dev/null) || return 1
    [[ $reason = 'no sandbox: '* ]] || return 1
    without_e2e="the end-to-end tests: $reason"
    say "left out: $without_e2e"
}

# any_of PRESET [ctest's options]: whether the filter leaves any of these tests. grep, not grep -q: it reads to the end, so
# that ctest does not write into a closed pipe.
any_of() { ctest --test-dir "$repo/build/$1" -N "${@:2}" "${filter[@]}" | grep '^ *Test *#' >/dev/null; }

# run_e2e PRESET [ctest's options]: end-to-end tests, if the filter leaves any. Most of their time they wait: each needs a
# fortieth of a processor, a tenth with AddressSanitizer. Tests that compute would keep them waiting, so they are by themselves.
run_e2e() {
    local preset=$1
    shift
    set -- -L e2e "$@"
    ! any_of "$preset" "$@" || run=${run:-$preset-e2e} at_once=$((jobs * 2)) run_ctest "$preset" "$@"
}

# run_all PRESET: all tests of its build but those of other stages
run_all() {
    local status=0 others=(-LE 'lab|page|e2e')
    if cannot_sandbox "$1" || ! any_of "$1" -L e2e; then
        run_ctest "$1" "${others[@]}"
        return
    fi
    ! any_of "$1" "${others[@]}" || run_ctest "$1" "${others[@]}" || status=1
    run_e2e "$1" || status=1
    return $status
}

run_release() { build release && run_all release; }
run_lab() {
    "$repo/scripts/install-packages.sh" build run lab || return
    "$repo/scripts/lab.sh" check || { stage_skipped=yes; return 0; }
    build release && run_ctest release -L lab
}

# try_script SCRIPT [OPTION]: one that prints "ok" before each step that passed, and ends with 3 where it cannot run
try_script() {
    local log=$logs/${1%.sh}-stage.log status
    "$repo/scripts/$1" "${@:2}" </dev/null 2>&1 | tee "$log"
    status=${PIPESTATUS[0]}
    [ "$status" -ne 3 ] || stage_skipped=yes
    [ "$status" -ne 0 ] || passed=$((passed + 1))
    stage_text="$(grep -c '^  ok ' "$log") steps passed"
    return "$status"
}
run_packages() { try_script package.sh --test; }
run_vm() { try_script vm.sh; }
run_documents() { build release && try_script documents.sh ${only:+--long}; }

# The browser is too large for the tests of every day.
run_page() {
    "$repo/scripts/install-packages.sh" build page && build release && run_ctest release -L page
}

run_asan() { build asan && run_all asan; }

# The end-to-end tests are those of the release build, with the agent and the simulated router of this one. Left out are
# those that bring other libraries into the agent (Torture, Surroundings), run it as another user (HostileUser) or not at
# all (Fleet, PortForward), have routers made of frames mostly (Gateway), or an agent of their own (Soak), start it again
# and again without a second thread at work (Start, OddSettings, RequiredValue, Supervised), or need it to be faster than it
# is here (two of Frames).
tsan_leaves_out='e2e\.(Torture|Surroundings|HostileUser|Fleet|Gateway|Soak|PortForward\.|Start|OddSettings|RequiredValue|Supervised|Frames\.(AFullQueue|APlatformThatPauses))'
run_tsan() {
    local status
    build tsan && build release || return
    run_ctest tsan -LE e2e
    status=$?
    ! cannot_sandbox release || return $status
    E2E_AGENT=$repo/build/tsan/plug run=tsan-e2e run_e2e release -E "$tsan_leaves_out" && return $status
}

# Its end-to-end tests are those of the release build, with the gateway of this one.
run_tsan-gateway() {
    local status=0
    build tsan-gateway gateway_test gateway_web_test plug-gateway && build release || return
    run_ctest tsan-gateway -L '^gateway$' || status=1
    cannot_sandbox release ||
        E2E_GATEWAY=$repo/build/tsan-gateway/plug-gateway run=tsan-gateway-e2e run_e2e release -R '^e2e\.Gateway' || status=1
    return $status
}

run_mipsel() {
    "$repo/scripts/install-packages.sh" build mipsel && build mipsel && run_ctest mipsel -LE e2e
}

run_mips16() {
    "$repo/scripts/install-packages.sh" build mipsel && build mips16 && run_ctest mips16 -LE e2e
}

# The end-to-end tests with the agent built with musl; those that put other libraries into it have none of musl's, and of
# long ones (Impaired, Fleet, Soak) and of the gateway (Gateway) a C library changes nothing. Then those that need no faster
# clock with an agent of one file, simulated router and C library included.
musl_leaves_out='e2e\.(Torture|Surroundings|Impaired|Fleet|Gateway|Soak)'
musl_static='e2e\.(Session\.(Registers|TheStatusFile)|Functions\.(EveryQuery|EverySetting|AFailure))'
run_musl() {
    local status=0
    "$repo/scripts/install-packages.sh" build musl && build musl && build release plug plugsim e2e_test || return
    run_ctest musl || status=1
    E2E_AGENT=$repo/build/musl/e2e/plug run=musl-e2e run_e2e release -E "$musl_leaves_out" || status=1
    [ ${#filter[@]} -gt 0 ] ||
        E2E_AGENT=$repo/build/musl/static/plug run=musl-static run_e2e release -R "$musl_static" || status=1
    say "stripped: $(stat -c %s "$repo/build/musl/plug.stripped") bytes; of one file with simulated router, cJSON and musl" \
        "$(stat -c %s "$repo/build/musl/static/plug.stripped") bytes"
    return $status
}

run_wifi() {
    local bin=$repo/build/release status=0
    "$repo/scripts/install-packages.sh" build run wifi || say "not all packages can be had"
    "$repo/scripts/wifi-vm.sh" check || { stage_skipped=yes; return 0; }
    build release || return
    WIFI_VM_FILES="$bin/plug $bin/plugsim $bin/plug-sdk-check $bin/sdk/linux/libRouterSdk.so.1" \
        "$repo/scripts/wifi-vm.sh" "$bin/wifi_test" --gtest_color=no </dev/null 2>&1 | tee "$logs/wifi.log" || status=${PIPESTATUS[0]}
    [ "$status" -ne 3 ] || { stage_skipped=yes; return 0; }
    stage_text=$(grep -c '^\[       OK' "$logs/wifi.log")" of $(grep -c '^\[ RUN ' "$logs/wifi.log") tests passed"
    [ "$status" -eq 0 ] || return
    passed=$((passed + $(grep -c '^\[       OK' "$logs/wifi.log")))
}

run_lint() {
    local status
    "$repo/scripts/install-packages.sh" build lint && build clang || return
    "$repo/scripts/lint.sh" | tee "$logs/lint.log"
    [ "${PIPESTATUS[0]}" -eq 0 ] && passed=$((passed + 1))
    status=$?
    stage_text=$(tail -1 "$logs/lint.log")
    return $status
}

# fuzz_one TARGET: runs it with a copy of its corpus, so that new inputs do not get into the repository by themselves
fuzz_one() {
    local name=${1##*/} corpus work log units
    corpus=$repo/tests/fuzz/corpus/$name work=$repo/build/fuzz/found/$name log=$logs/$name.log
    rm -rf "$work"
    mkdir -p "$work/inputs"
    [ -n "$(ls "$corpus" 2>/dev/null)" ] || { say "$name: no corpus in ${corpus#"$repo"/}"; return 1; }
    "$1" -max_total_time=$fuzz_seconds -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="$work/" "$work/inputs" "$corpus" >"$log" 2>&1 </dev/null || {
        tail -40 "$log"
        say "$name: failed; the input is in ${work#"$repo"/}"
        return 1
    }
    units=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    [ "${units:-0}" -gt 0 ] || { say "$name: ran no input"; return 1; }
    say "$name: $units inputs, nothing found"
}

run_fuzz() {
    local target name targets=() running=0
    "$repo/scripts/install-packages.sh" build check && build fuzz || return
    for target in "$repo"/build/fuzz/*_fuzz; do [ ! -x "$target" ] || targets+=("$target"); done
    [ ${#targets[@]} -gt 0 ] || { say "there is no fuzz target (build/fuzz/*_fuzz)"; return 1; }
    stage_counted=0
    for name in "$repo"/tests/fuzz/corpus/*/; do
        name=$(basename "$name")
        [ -x "$repo/build/fuzz/$name" ] || {
            say "the corpus $name has no target"
            stage_counted=$((stage_counted + 1))
        }
    done
    say "${#targets[@]} targets, $fuzz_seconds s each, $jobs at a time"
    for target in "${targets[@]}"; do
        if [ $running -ge "$jobs" ]; then
            wait -n || stage_counted=$((stage_counted + 1))
            running=$((running - 1))
        fi
        fuzz_one "$target" &
        running=$((running + 1))
    done
    for (( ; running > 0; running--)); do wait -n || stage_counted=$((stage_counted + 1)); done
    passed=$((passed + ${#targets[@]} - stage_counted))
    failed=$((failed + stage_counted))
    stage_text="$((${#targets[@]} - stage_counted)) of ${#targets[@]} targets without a fault"
    [ $stage_counted -eq 0 ]
}

run_coverage() {
    "$repo/scripts/install-packages.sh" build run coverage && build coverage agent_test os_test plug plugsim e2e_test || return
    ! cannot_sandbox coverage || { stage_skipped=yes; return 0; }
    find "$repo/build/coverage" -name '*.gcda' -delete # of an earlier run
    run_ctest coverage -L '^(agent|e2e)$' || return
    "$repo/scripts/coverage.sh" | tee "$logs/coverage.log"
    [ "${PIPESTATUS[0]}" -eq 0 ]
}

run_helgrind() {
    build debug agent_test os_test || return
    "$repo/scripts/helgrind.sh" | tee "$logs/helgrind.log"
    [ "${PIPESTATUS[0]}" -eq 0 ] || return
    passed=$((passed + 1))
    stage_text='nothing reported'
}

run_demo() {
    "$repo/scripts/demo.sh" </dev/null 2>&1 | tee "$logs/demo.log" || return
    # And what its last banner promises, on a terminal.
    (cd "$repo" && build/release/plugsim platform --register 127.0.0.1:0 --login 127.0.0.1:0 --script \
        tests/scripts/demo-prompt.plugsim) >"$logs/demo-prompt.log" 2>&1 </dev/null || {
        tail -40 "$logs/demo-prompt.log"
        return 1
    }
    passed=$((passed + 1))
    stage_text=$(sed -n 's/.*\(All [0-9]* steps passed in [0-9.]* s\).*/\1/p' "$logs/demo.log")
}

# ---- The run

summary=() left_out=''

stage() { # NAME
    local start status took
    title "== $1"
    start=$(now_us)
    stage_counted=0 stage_text='' stage_skipped=''
    "run_$1"
    status=$?
    took=$(($(now_us) - start))
    if [ -n "$stage_skipped" ]; then
        left_out=yes
        summary+=("$(printf '%-8s skipped %9s s   see above' "$1" "$(seconds $took)")")
    elif [ $status -eq 0 ]; then
        summary+=("$(printf '%-8s %spassed%s %8s s   %s' "$1" "$green" "$off" "$(seconds $took)" "$stage_text")")
    else
        [ "$stage_counted" -gt 0 ] || failed=$((failed + 1))
        summary+=("$(printf '%-8s %sFAILED%s %8s s   %s' "$1" "$red" "$off" "$(seconds $took)" \
            "${stage_text:-see above and build/logs}")")
    fi
}

"$repo/scripts/install-packages.sh" build run || exit 1

start=$(now_us)
stages=(release)
[ -z "$all" ] || stages+=(asan tsan mipsel mips16 musl)
[ -z "$all" ] || [ ${#filter[@]} -gt 0 ] || stages+=(lab wifi page packages vm lint fuzz demo documents)
[ ${#only[@]} -eq 0 ] || stages=("${only[@]}")
for name in "${stages[@]}"; do stage "$name"; done

title "== Summary, $(seconds $(($(now_us) - start))) s"
printf '  %s\n' "${summary[@]}"
[ $skipped -eq 0 ] || say "$skipped tests were skipped"
[ -z "$without_e2e" ] || say "left out: $without_e2e"
if [ ${#again[@]} -gt 0 ]; then
    say "${#again[@]} passed in their second run only:"
    printf '    %s\n' "${again[@]}"
fi
echo
echo "$passed passed, $failed failed"
[ $failed -eq 0 ] || exit 1
[ -z "$without_e2e" ] || exit 3
[ ${#only[@]} -eq 0 ] || [ -z "$left_out" ] || exit 3
