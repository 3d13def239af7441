#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# description.sh BUILD: man page and completion name each option that --help names, and take files for files.
set -euo pipefail

build=$1
fail() { echo "FAIL: $*" >&2; exit 1; }

# completed WORD...: what bash offers for the last word of this command line.
completed() (
    name=$1
    # shellcheck disable=SC1090 # each program has its own
    source "$build/packaging/$name"
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
    "_${name//-/_}"
    printf '%s\n' "${COMPREPLY[@]}"
)

# What zsh is told of the options: what its completion hands to the function that knows them.
told_to_zsh() {
    # shellcheck disable=SC2016 # expanded by zsh
    zsh -fc '_arguments() { print -rl -- "$@" }; source "$1"' zsh "$build/packaging/_$1"
}

for name in timer-kelvaro timer-kelvaro-devserver; do
    help=$("$build/bin/$name" --help)
    mapfile -t options < <(grep -oE '^  (-[a-z], )?--[a-z-]+' <<<"$help" | grep -oE -e '-+[a-z-]+')
    [ ${#options[@]} -gt 5 ] || fail "--help of $name names too few options"
    manual=$(zcat "$build/packaging/$name.1.gz" | sed 's/\\-/-/g')
    bash=$(completed "$name" -)
    zsh=$(told_to_zsh "$name")
    for option in "${options[@]}"; do
        grep -qE -e "^\.B (-[a-z], )?$option(,| |$)" <<<"$manual" || fail "the man page of $name lacks $option"
        grep -qxF -e "$option" <<<"$bash" || fail "bash does not complete $option of $name"
        grep -qE -e "^(\([^)]*\))?$option(=?\[)" <<<"$zsh" || fail "zsh does not complete $option of $name"
    done
    mapfile -t files < <(grep -oE -e '--[a-z-]+ <file>' <<<"$help" | cut -d ' ' -f 1)
    for option in "${files[@]}"; do
        [ "$(completed "$name" "$option" "$build/CMakeC")" = "$build/CMakeCache.txt" ] ||
            fail "bash offers no files after $option of $name"
        [ "$(completed "$name" "$option" = "$build/CMakeC")" = "$build/CMakeCache.txt" ] ||
            fail "bash offers no files after $option= of $name"
        grep -qxF CMakeCache.txt <<<"$(cd "$build" && completed "$name" "$option" =)" ||
            fail "bash offers nothing at once after $option= of $name"
        grep -qE -e "^$option=.*:_files$" <<<"$zsh" || fail "zsh offers no files after $option of $name"
    done
done
