#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# sentences.sh SCRIPTS: where something is missing, the scripts stop with one sentence that says what to do.
set -euo pipefail

folder=$(mktemp -d "${TMPDIR:-/tmp}/scripts-test.XXXXXX")
trap 'chmod -R u+w -- "$folder" && rm -rf -- "$folder"' EXIT
mkdir "$folder/checkout" "$folder/programs" "$folder/locked"
cp -r -- "$1" "$folder/checkout/scripts"
chmod -R a+rX,a-w "$folder/checkout" "$folder/locked"
chmod 755 "$folder"
# File modes do not stop root.
plain=(env)
[ "$(id -u)" -ne 0 ] || plain=(setpriv --reuid 65534 --regid 65534 --clear-groups -- env)

# says SENTENCE COMMAND...: it fails, and this is the last that it says, on the error channel alone.
says() {
    local sentence=$1 said code=0
    shift
    said=$("${plain[@]}" "$@" 2>&1 >/dev/null </dev/null) || code=$?
    if [ "$said" != "$sentence" ] || [ $code -ne 1 ]; then
        printf 'FAIL: %s\nexpected: %s\nsaid:     %s\nended with %d\n' "$*" "$sentence" "$said" "$code" >&2
        exit 1
    fi
    echo "PASS: $sentence"
}

# stub NAME COMMAND: a program of this name that does no more than this.
stub() {
    printf '#!/bin/sh\n%s\n' "$2" >"$folder/programs/$1"
    chmod 755 "$folder/programs/$1"
}

run=$folder/checkout/scripts/test
says 'test: HOME is not set; let it name the folder of your account.' -u HOME "$run"
says "test: no temporary file can be made in /nowhere; let TMPDIR name a folder of yours, or unset it." \
    HOME=/ TMPDIR=/nowhere "$run"
says "test: no temporary file can be made in $folder/locked; let TMPDIR name a folder of yours, or unset it." \
    HOME=/ TMPDIR="$folder/locked" "$run"
says "test: the folder $folder/checkout cannot be written to; work in a copy of your own." \
    HOME=/ TMPDIR=/tmp "$run"
says 'package: packages are made of a commit, and this is no git checkout.' \
    HOME=/ "$folder/checkout/scripts/package"

# A system of Debian's kind with nothing installed, whoever asks.
stub id 'echo 1000'
stub dpkg-query 'exit 1'
stub apt-cache 'exit 0'
stub apt-get 'exit 100'
stub sudo 'exit 1'
bootstrap=(PATH="$folder/programs:$PATH" "$folder/checkout/scripts/bootstrap" session)
says 'bootstrap: sudo refused, so nothing was installed; give the right password, or let somebody install these packages whose account may use sudo.' \
    "${bootstrap[@]}"
stub sudo 'exec "$@"'
says 'bootstrap: the package lists could not be read; is the network there?' "${bootstrap[@]}"
