# SPDX-License-Identifier: MIT
# shellcheck shell=bash
#
# What every script here shares. Sourced, never run.
set -euo pipefail

# What stands at the head of a script is its help.
if [ "${1:-}" = --help ]; then
    sed -n '4,$ { /^#/!q; s/^# \?//p }' -- "$0"
    exit
fi

unset CDPATH # or "cd" may go elsewhere
root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd)
# CMake finds presets and ctest its tests from the root, wherever the caller stands.
cd -- "$root"

say() { printf '%s: %s\n' "${0##*/}" "$*"; }
die() { say "$*" >&2; exit 1; }
unknown() { die "\"$1\" is not known here; --help tells what is."; }

# prepare GROUP...: sees that one can work here at all, and installs what the groups need.
prepare() {
    local temporary=${TMPDIR:-/tmp}
    [ -n "${HOME:-}" ] || die "HOME is not set; let it name the folder of your account."
    if ! [ -d "$temporary" ] || ! [ -w "$temporary" ]; then
        die "no temporary file can be made in $temporary; let TMPDIR name a folder of yours, or unset it."
    fi
    if [ -e build ]; then
        [ -w build ] || die "the folder $root/build cannot be written to; remove it, or build as its owner."
    elif ! [ -w . ]; then
        die "the folder $root cannot be written to; work in a copy of your own."
    fi
    "$root/scripts/bootstrap" "$@"
}

children=()

# launch COMMAND...: starts it in a process group of its own; its id is ${children[-1]}.
# Where this script is killed, the kernel ends it.
launch() {
    setsid -- setpriv --pdeathsig TERM -- "$@" &
    children+=("$!")
}

# Ends what was launched, the last first, and waits until it is gone.
end_children() {
    local i
    for ((i = ${#children[@]} - 1; i >= 0; i--)); do
        kill -TERM -- "-${children[i]}" 2>/dev/null || kill -TERM "${children[i]}" 2>/dev/null || true
        wait "${children[i]}" 2>/dev/null || true
    done
    children=()
}

# attend COMMAND...: runs it to its end, and not beyond the end of this script.
attend() {
    local code=0
    launch "$@"
    wait "${children[-1]}" || code=$?
    unset 'children[-1]'
    return "$code"
}

# build_id PROGRAM: by which debuggers know its debug symbols, in whatever language readelf speaks otherwise.
build_id() {
    LC_ALL=C readelf --notes "$1" | sed -nE 's/^ *Build ID: ([0-9a-f]+)$/\1/p'
}

# compile FOLDER [TARGET...]: asks ninja itself, which CMake would leave behind where it is told to end.
compile() {
    attend ninja -C "$1" ${CMAKE_BUILD_PARALLEL_LEVEL:+-j "$CMAKE_BUILD_PARALLEL_LEVEL"} "${@:2}"
}

# use_ccache: where it is there; a cache that cannot be kept costs time, and not the build.
use_ccache() {
    local cache
    command -v ccache >/dev/null || return 0
    export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER:-ccache}
    # Without these it keeps nothing that is made with a precompiled header.
    export CCACHE_SLOPPINESS=${CCACHE_SLOPPINESS:-pch_defines,time_macros}
    cache=$(ccache --get-config cache_dir) || true
    if ! mkdir -p -- "$cache" 2>/dev/null || ! [ -w "$cache" ]; then
        say "ccache cannot keep anything in ${cache:-its folder}; building without it."
        export CCACHE_DISABLE=1
    fi
}

# require_same_compiler PRESET: CMake reads CXX only where it configures for the first time.
require_same_compiler() {
    local first
    [ -n "${CXX:-}" ] || return 0
    first=$(sed -nE 's/^CMAKE_CXX_COMPILER:[A-Z]+=//p' "build/$1/CMakeCache.txt" 2>/dev/null) || return 0
    [ "$(readlink -f -- "$first")" = "$(readlink -f -- "$(command -v "${CXX%% *}")")" ] ||
        die "CXX names \"$CXX\", but $root/build/$1 was configured for $first; remove that folder, or unset CXX."
}

# build PRESET [TARGET...]: configures and builds, or ends with one sentence. Tomorrow's
# compiler may warn of more than today's: only CMAKE_COMPILE_WARNING_AS_ERROR=ON stops at that.
build() {
    local preset=$1
    require_same_compiler "$preset"
    use_ccache
    attend cmake --preset "$preset" -DCMAKE_COMPILE_WARNING_AS_ERROR="${CMAKE_COMPILE_WARNING_AS_ERROR:-OFF}" ||
        die "configuring the $preset build failed; the reason is above."
    compile "build/$preset" "${@:2}" || die "the $preset build failed; the first error above says why."
}
