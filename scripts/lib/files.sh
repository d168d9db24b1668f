# shellcheck shell=bash
# files.sh - the project's files. Does not use git: a copy without history can be checked as well.

# files PATTERN...: the files with such names, relative to the repository's root, which is the caller's folder
files() {
    local names=() pattern
    for pattern; do names+=(-o -name "$pattern"); done
    find . \( -path ./build -o -path ./.git \) -prune -o -type f \( "${names[@]:1}" \) -print | sed 's|^\./||' | sort
}
