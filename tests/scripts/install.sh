#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# install.sh BUILD: everybody can read what was installed by somebody with a narrow umask.
set -euo pipefail

folder=$(mktemp -d "${TMPDIR:-/tmp}/install-test.XXXXXX")
trap 'rm -rf -- "$folder"' EXIT
umask 077
cmake --install "$1" --prefix "$folder/prefix" >/dev/null
[ -x "$folder/prefix/bin/timer-kelvaro" ] || { echo "FAIL: nothing was installed" >&2; exit 1; }
odd=$(find "$folder/prefix" \( -type d -o -path '*/bin/*' \) ! -perm 755 -printf '%m %p\n' -o \
    -type f ! -path '*/bin/*' ! -perm 644 -printf '%m %p\n')
[ -z "$odd" ] || { printf 'FAIL: not for everybody:\n%s\n' "$odd" >&2; exit 1; }
