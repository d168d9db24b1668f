#!/usr/bin/env bash
# lint.sh - checks what a compiler does not: formatting, usual mistakes, scripts, man pages, documents.
#
#   scripts/lint.sh [CHECK]...     (all unless given)
#
#   format      clang-format leaves every source as it is
#   tidy        clang-tidy finds nothing in the agent (.clang-tidy); needs build/clang configured
#   cppcheck    cppcheck finds nothing in the programs (.cppcheck)
#   shell       shellcheck finds nothing in the scripts
#   man         mandoc finds nothing in the man pages
#   links       links and paths in the documents exist
#   folders     the agent's folders include each other in one direction, as docs/architecture.md draws it
#
# The last line says how many checks passed and which failed; exit status 1 when one failed.
# Packages: scripts/install-packages.sh lint.
set -uo pipefail
export LC_ALL=C

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
. "$repo/scripts/lib/screen.sh"
. "$repo/scripts/lib/files.sh"
cd "$repo" || exit

check_format() { files '*.cpp' '*.h' '*.c' | xargs clang-format --dry-run -Werror; }

# The agent's sources are those of the build.
check_tidy() {
    local database=build/clang/compile_commands.json agent
    [ -e $database ] || { echo "there is no $database; run cmake --preset clang"; return 1; }
    agent=$(sed -nE 's|.*"file": "'"$repo"'/(agent/[^"]*)".*|\1|p' $database | sort -u)
    [ -n "$agent" ] || { echo "found no sources of the agent in $database"; return 1; }
    # Its messages about findings in headers that it does not show are ignored.
    xargs -P "$(nproc)" -n 6 clang-tidy --quiet -p build/clang <<<"$agent" 2> >(grep -v ' warnings\? generated\|^Suppressed\|^Use -header-filter')
}

check_cppcheck() {
    cppcheck --quiet -j "$(nproc)" --error-exitcode=1 --std=c++17 --language=c++ --platform=unix64 \
        --enable=warning,style,performance,portability --inline-suppr --suppressions-list=.cppcheck/suppressions \
        --library=posix --library=.cppcheck/macros.cfg -I agent -I . agent gateway protocol sdk simulator
}

check_shell() { { files '*.sh' && ls .ci/run packaging/plug.init packaging/plugctl packaging/plugsim.bash-completion packaging/openwrt/plug/files/plug.{init,default}; } | xargs shellcheck -x -S style; }
check_man() { files 'plug*.[1-8]' | xargs mandoc -Tlint -W warning; }
check_links() { scripts/document-links.sh; }
check_folders() { scripts/folder-order.sh && scripts/folder-plan.sh; }

passed=0 failed=()
[ $# -gt 0 ] || set -- format tidy cppcheck shell man links folders
for check; do
    declare -F "check_$check" >/dev/null || { echo "lint.sh: unknown check \"$check\"" >&2; exit 2; }
    start=$(now_us)
    if "check_$check"; then
        passed=$((passed + 1))
        say "$check: nothing found, in $(seconds $(($(now_us) - start))) s"
    else
        failed+=("$check")
        say "$check: ${red}FAILED${off}"
    fi
done
echo "$passed of $((passed + ${#failed[@]})) checks found nothing${failed:+; failed: ${failed[*]}}"
[ ${#failed[@]} -eq 0 ]
