# shellcheck shell=bash
# files.sh - which files the project consists of. Not asked of git: a copy without its history is checked as well.

# files PATTERN...: the files with such names, from the repository's root, where the caller stands
files() {
    local names=() pattern
    for pattern; do names+=(-o -name "$pattern"); done
    find . \( -path ./build -o -path ./.git \) -prune -o -type f \( "${names[@]:1}" \) -print | sed 's|^\./||' | sort
}
