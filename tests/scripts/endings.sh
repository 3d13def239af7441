#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# endings.sh ROOT BUILD: however a session, a test or a script with a server ends, nothing of it is left.
set -euo pipefail

root=$1 build=$2
folder=$(mktemp -d "${TMPDIR:-/tmp}/session-test.XXXXXX")
trap 'rm -rf -- "$folder"' EXIT
chmod 711 "$folder" # root's cluster belongs to another user
export TMPDIR=$folder

# wait_until WHAT COMMAND...: the test ends where the command does not come true.
wait_until() {
    local what=$1 tries=1200
    shift
    until "$@"; do
        [ $((tries -= 1)) -gt 0 ] || { echo "FAIL: $what" >&2; cat "$folder/log" >&2; exit 1; }
        sleep 0.05
    done
}

# The dead have none, even where nobody buries them.
gone() { ! [ -e "/proc/$(<"$folder/command")/exe" ]; }

nothing_left() {
    ! compgen -G "$folder/timer-session.*" >/dev/null &&
        ! grep -qslF -f <(echo "$folder/timer-session.") /proc/[0-9]*/cmdline /proc/[0-9]*/environ &&
        gone
}

# ends HOW SIGNAL WHOM: a session of everything ends when this signal reaches its command,
# its script, or the caller of that.
ends() {
    rm -f -- "$folder"/{caller,session,command}
    # shellcheck disable=SC2016 # expanded by the shells inside
    bash -c '"$0" --keyring --display --postgresql -- bash -c "$1" "$2/command" & echo $! >"$2/session"; wait' \
        "$root/tests/support/session" 'echo $$ >"$0.new"; mv "$0.new" "$0"; exec tail -f /dev/null' "$folder" >"$folder/log" 2>&1 &
    echo $! >"$folder/caller"
    wait_until "the session starts" test -s "$folder/command"
    kill "-$2" "$(<"$folder/$3")"
    wait_until "nothing is left: $1" nothing_left
    echo "PASS: $1"
}

# script_ends SIGNAL: the server that scripts/run launches ends when this signal reaches scripts/run.
script_ends() {
    rm -f -- "$folder"/{command,log}
    # shellcheck disable=SC2016 # expanded by the shells inside
    bash -c 'source "$0/common.sh"; source "$0/server.sh"
        launch "$1/bin/timer-kelvaro-devserver" --listen 127.0.0.1:0 --database "sqlite:$2/data.sqlite"
        echo "${children[-1]}" >"$2/command"
        wait "${children[-1]}"' "$root/scripts" "$build" "$folder" >"$folder/log" 2>&1 &
    wait_until "the server is known" test -s "$folder/command"
    wait_until "the server answers" grep -qs '^Listening on ' "$folder/log"
    kill "-$1" $!
    wait_until "nothing is left of a script after SIG$1" nothing_left
    echo "PASS: a script gets SIG$1"
}

# window_ends SIGNAL: the window that scripts/run opens on a desktop ends when this signal reaches
# scripts/run, and not only with the desktop.
window_ends() {
    rm -f -- "$folder"/{command,session,script}
    # shellcheck disable=SC2016 # expanded by the shell inside
    "$root/tests/support/session" --keyring --display -- \
        bash -c 'bash "$0/opens" "$@" & echo $! >"$0/script"; exec tail -f /dev/null' \
        "$folder" "$root/scripts" "$build" "$folder" >"$folder/log" 2>&1 &
    echo $! >"$folder/session"
    wait_until "the window opens" test -s "$folder/command"
    kill "-$1" "$(<"$folder/script")"
    wait_until "the window is gone after SIG$1" gone
    kill "$(<"$folder/session")"
    wait_until "nothing is left of a window after SIG$1" nothing_left
    echo "PASS: a script with a window gets SIG$1"
}

# build_ends SIGNAL FILE...: all of a build ends when this signal reaches the script of these files that builds.
build_ends() {
    rm -f -- "$folder"/{command,log}
    # shellcheck disable=SC2016 # expanded by the shell inside
    PATH="$folder/programs:$PATH" bash -c 'for file in "${@:2}"; do source "$1/scripts/$file"; done; build stay' \
        building "$folder/checkout" "${@:2}" >"$folder/log" 2>&1 &
    wait_until "the build starts" test -s "$folder/command"
    kill "-$1" $!
    wait_until "nothing is left of a build after SIG$1" nothing_left
    echo "PASS: a script that builds gets SIG$1 (${*:2})"
}

# set_up_build: a checkout whose build takes for ever.
set_up_build() {
    mkdir -p "$folder/programs" "$folder/checkout/build/stay"
    cp -r -- "$root/scripts" "$folder/checkout"
    # Like the real one it leaves the build tool behind.
    # shellcheck disable=SC2016 # expanded by the stub
    printf '%s\n' '#!/bin/sh' '[ "$1" != --build ] || ninja -C build/stay' >"$folder/programs/cmake"
    chmod 755 "$folder/programs/cmake"
    cat >"$folder/checkout/build/stay/build.ninja" <<END
rule stay
  command = echo \$\$\$\$ >"$folder/command.new"; mv "$folder/command.new" "$folder/command"; exec tail -f /dev/null
build it: stay
END
}

# Its display and its command are there.
session_runs() { [ "$(cat -- "$folder"/timer-session.*/groups 2>/dev/null | wc -l)" -eq 2 ]; }

# test_ends SIGNAL: all of a test with a window ends when this signal reaches ctest.
test_ends() {
    ctest --test-dir "$folder" --tests-regex '^app_commandline$' >"$folder/log" 2>&1 &
    echo $! >"$folder/command"
    wait_until "the test starts" session_runs
    kill "-$1" $!
    wait_until "nothing is left of a test after SIG$1" nothing_left
    echo "PASS: ctest gets SIG$1"
}

set_up_build
for signal in TERM KILL; do
    build_ends "$signal" common.sh
    build_ends "$signal" common.sh server.sh
done
script_ends TERM
script_ends KILL
cat >"$folder/opens" <<'END'
source "$1/common.sh"
source "$1/server.sh"
launch "$2/bin/timer-kelvaro" --server http://127.0.0.1:9
# Its own waiting ends with an error where a window goes away under its eyes.
until xdotool search --onlyvisible --pid "${children[-1]}" >/dev/null 2>&1; do sleep 0.05; done
echo "${children[-1]}" >"$3/command"
wait "${children[-1]}"
END
window_ends TERM
window_ends KILL
# Elsewhere, for ctest's own files in the build folder belong to the one that runs this.
echo "include($build/tests/app/CTestTestfile.cmake)" >"$folder/CTestTestfile.cmake"
test_ends TERM
test_ends KILL
ends 'the command ends' TERM command
ends 'the session is told to end' TERM session
ends 'the session is killed' KILL session
ends 'the caller is told to end' TERM caller
ends 'the caller is killed' KILL caller
