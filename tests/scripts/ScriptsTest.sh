#!/usr/bin/env bash
# Runs one test of the checks in scripts/.
#
#   ScriptsTest.sh TEST REPOSITORY FOLDER CMAKE CTEST
set -euo pipefail
name=$1 repo=$2 folder=$3 cmake=$4 ctest=$5
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"

die() { echo "$*" >&2; exit 1; }

# says STATUS TEXT COMMAND...: checks that the command ends with this status and prints this text
says() {
    local status=0 said
    said=$("${@:3}" 2>&1) || status=$?
    [ "$status" = "$1" ] || die "${*:3} ended with $status and said: $said"
    [[ $said = *"$2"* ]] || die "${*:3} did not say \"$2\" but: $said"
}

order() { "$repo/scripts/folder-order.sh" "$folder" "subdev/Up.cpp comm"; }

# An agent of a few files, with one known arrow up.
some_agent() {
    mkdir -p core os comm subdev
    echo '#include "os/Clock.h"' >core/Log.h
    echo '#include "core/Log.h"' >comm/Server.h
    echo '#include "comm/Server.h"' | tee subdev/Up.cpp >main.cpp
    : >os/Clock.h
    says 0 '' order
}

case $name in
NamesTheTestsThatNeededASecondRun)
    cat >CMakeLists.txt <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(tests NONE)
enable_testing()
foreach(name Fails Crashes)
  add_test(NAME Once.${name} COMMAND sh -c "[ -e ${name} ] || { : >${name}; [ ${name} = Fails ] || kill -SEGV $$; exit 1; }")
endforeach()
add_test(NAME Never.Passes COMMAND false)
add_test(NAME Always.Passes COMMAND true)
CMAKE
    "$cmake" -B build . >/dev/null
    "$ctest" --test-dir build --repeat until-pass:2 >log 2>&1 || true
    [ "$("$repo/scripts/second-runs.sh" log | sort | paste -sd' ')" = "Once.Crashes Once.Fails" ] ||
        die "$("$repo/scripts/second-runs.sh" log; cat log)"
    ;;
FindsAnIncludeThatPointsUp)
    some_agent
    echo '#include "comm/Server.h"' >core/Log.cpp
    says 1 'core/Log.cpp includes comm/Server.h, and comm stands above core' order
    ;;
FindsAnIncludeThatPointsUpWithNoKnownArrow)
    some_agent
    says 1 'subdev/Up.cpp includes comm/Server.h, and comm stands above subdev' "$repo/scripts/folder-order.sh" "$folder"
    : >subdev/Up.cpp
    says 0 '' "$repo/scripts/folder-order.sh" "$folder"
    ;;
FindsACircleOfHeaders)
    some_agent
    echo '#include "core/Log.h"' >core/Bytes.h
    echo '#include "core/Bytes.h"' >core/Log.h
    says 1 'headers include each other in a circle' order
    : >core/Bytes.h
    echo '#include "os/Clock.h"' >core/Log.h
    echo '#include "core/Log.h"' >core/Bytes.cpp
    says 0 '' order
    echo '#include "core/Bytes.h"' >core/Log.cpp # now only the sources make the circle
    says 1 'modules include each other in a circle' order
    ;;
FindsAKnownArrowThatIsMended)
    some_agent
    : >subdev/Up.cpp
    says 1 'no longer so, take it from the list of known ones: subdev/Up.cpp comm' order
    ;;
FindsADiagramThatIsOutOfDate)
    some_agent
    plan() { "$repo/scripts/folder-plan.sh" "$folder" plan.md; }
    row() { printf ' %s   what it does   ──> %s\n' "$@"; }
    { row agent/ comm && row subdev/ comm && row comm/ core && row core/ 'os' && row os/ 'POSIX'; } >plan.md
    says 0 '' plan
    row core/ 'os comm' >>plan.md
    says 1 'no file makes the arrow core ──> comm of plan.md' plan
    sed -i '/subdev/d; $d' plan.md
    says 1 'plan.md lacks the arrow subdev ──> comm' plan
    echo '# No diagram' >plan.md
    says 1 'plan.md has no diagram' plan
    ;;
FindsADocumentThatPointsNowhere)
    links=$repo/scripts/document-links.sh
    printf '# A heading\n[here](#a-heading) `core/Config` `scripts/*.sh` `no/path`\n' >right.md
    says 0 '' "$links" "$folder/right.md"
    printf '[gone](gone.md)\n' >wrong.md
    says 1 'there is no gone.md' "$links" "$folder/wrong.md"
    printf '[gone](right.md#gone)\n' >wrong.md
    says 1 'is gone' "$links" "$folder/wrong.md"
    printf '`scripts/gone.sh`\n' >wrong.md
    says 1 'there is no scripts/gone.sh' "$links" "$folder/wrong.md"
    ;;
FindsAHeadingBeforeThousandsOfOthers) # they do not fit into the pipe between sed and grep
    { echo '# The first' && seq -f '## Heading %g of this long document' 4000; } >long.md
    echo '[there](long.md#the-first)' >right.md
    says 0 '' "$repo/scripts/document-links.sh" "$folder/right.md"
    ;;
FindsFiguresThatGotWorse)
    compare=$repo/scripts/compare-figures.sh
    figures() { # BYTES KB MICROSECONDS
        printf 'FIGURE\tstripped agent, x86-64\tat most 9 bytes\t%s bytes\treached\n' "$1"
        printf 'FIGURE\tdirty private memory, plug, logged in\tat most 9 KB\t%s KB\treached\n' "$2"
        printf 'FIGURE\tcommand to acknowledgement\t\t%s us\treached\n' "$3"
    }
    figures 100000 300 10 >before
    says 0 'as good' "$compare" before before
    figures 103000 309 90 >now
    says 0 'as good' "$compare" before now
    figures 103001 300 10 >now
    says 1 'WORSE' "$compare" before now
    figures 90000 310 10 >now
    says 1 'WORSE' "$compare" before now
    : >now
    says 1 'nothing to compare' "$compare" before now
    says 1 'cannot read' "$compare" before gone
    ;;
LeavesOutTheEndToEndTestsWhereTheyCannotRun)
    # A copy of test.sh whose build and tests are these three programs.
    mkdir -p scripts bin build/release
    cp -r "$repo"/scripts/{test.sh,second-runs.sh,lib} scripts
    printf '#!/bin/sh\n' | tee scripts/install-packages.sh >bin/cmake
    cat >bin/ctest <<'CTEST'
#!/bin/sh
case $* in *' -N '*) echo '  Test #1: one'; exit ;; esac
echo "ctest $*"
while [ "$1" != --output-junit ]; do shift; done
echo '<testsuite tests="3" failures="0" disabled="0" skipped="0">' >"$2"
CTEST
    e2e() { printf '#!/bin/sh\n%s\n' "$1" >build/release/e2e_test; chmod +x build/release/e2e_test; }
    e2e 'exit 0'
    chmod +x scripts/install-packages.sh bin/*
    PATH=$folder/bin:$PATH
    says 0 ' -L e2e' scripts/test.sh
    says 0 '6 passed, 0 failed' scripts/test.sh
    e2e 'echo "no sandbox: unshare: not permitted" >&2; exit 1'
    says 3 ' -LE lab|page|e2e' scripts/test.sh
    says 3 'left out: the end-to-end tests: no sandbox: unshare: not permitted' scripts/test.sh
    says 3 '3 passed, 0 failed' scripts/test.sh
    ;;
FindsACommandOfADocumentThatNothingRuns)
    says 0 '' "$repo/scripts/documents.sh" --list
    mkdir -p copy/docs copy/.ci copy/tests
    cp -r "$repo/scripts" copy
    cp -r "$repo/tests/packaging" copy/tests
    cp "$repo/.ci/run" copy/.ci
    cp "$repo/README.md" copy
    cp -r "$repo"/docs/{*.md,man} copy/docs
    cp "$repo/CONTRIBUTING.md" copy
    list() { says "$1" "$2" copy/scripts/documents.sh --list; }
    list 0 ''
    printf '\n```sh\nscripts/new.sh\n```\n' >>copy/README.md
    list 1 'no entry in scripts/documents/entries.sh for: scripts/new.sh'
    cp "$repo/README.md" copy
    printf '.nf\nplug \\-\\-new\n.fi\n' >>copy/docs/man/plug.8
    list 1 'no entry in scripts/documents/entries.sh for: plug --new'
    cp "$repo/docs/man/plug.8" copy/docs/man
    printf '\n    new --command  # of an indented block\n' >>copy/docs/testing.md
    list 1 'no entry in scripts/documents/entries.sh for: new --command'
    cp "$repo/docs/testing.md" copy/docs
    echo 'entry gone line run' >>copy/scripts/documents/entries.sh
    list 1 'no document has: gone'
    cp "$repo/scripts/documents/entries.sh" copy/scripts/documents
    sed -i '/^readme=/d' copy/scripts/package.sh
    list 1 'scripts/package.sh does not have: block scripts/package.sh'
    ;;
*) die "there is no test $name" ;;
esac
