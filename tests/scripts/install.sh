#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# install.sh BUILD: what is installed is for everybody, belongs together, and is there once.
set -euo pipefail
unset CDPATH # or "cd" may go elsewhere

id=io.github.timer_kelvaro.timer
folder=$(mktemp -d "${TMPDIR:-/tmp}/install-test.XXXXXX")
trap 'rm -rf -- "$folder"' EXIT
fail() { printf 'FAIL: %s\n' "$@" >&2; exit 1; }

umask 077
cmake --install "$1" --prefix "$folder/prefix" >/dev/null
for component in client devserver; do
    cmake --install "$1" --prefix "$folder/$component" --component "$component" >/dev/null
    compgen -G "$folder/$component/share/doc/*/LICENSE" >/dev/null || fail "the component $component has no licence"
done
both=$(comm -12 <(cd -- "$folder/client" && find . -type f | sort) <(cd -- "$folder/devserver" && find . -type f | sort))
[ -z "$both" ] || fail "in either component:" "$both"
# A folder that is named from here, and that is not there yet.
(cd -- "$folder" && DESTDIR=staged timeout 60 cmake --install "$1" --prefix /usr --component client >/dev/null)
[ -x "$folder/staged/usr/bin/timer-kelvaro" ] || fail "nothing was installed into a folder beside"
cd -- "$folder"
[ -x client/bin/timer-kelvaro ] || fail "nothing was installed"
odd=$(find prefix client devserver \( -type d -o -path '*/bin/*' \) ! -perm 755 -printf '%m %p\n' -o \
    -type f ! -path '*/bin/*' ! -perm 644 -printf '%m %p\n')
[ -z "$odd" ] || fail "not for everybody:" "$odd"

# The components are all, and what only Debian's packages hold is in none.
other=$(diff <(cd prefix && find . | sort) <({ cd client && find . && cd ../devserver && find .; } | sort -u)) ||
    fail "the components together hold something else:" "$other"
debian=$(find . -name copyright -o -name 'changelog*')
[ -z "$debian" ] || fail "installed for Debian alone:" "$debian"
cd prefix

twice=$(find . -type f ! -name LICENSE -exec sha256sum {} + | sort | uniq -w 64 --all-repeated)
[ -z "$twice" ] || fail "installed twice:" "$twice"

# Links and pictures within a document lead to what is there.
while IFS= read -r -d '' document; do
    while IFS= read -r link; do
        [[ $link =~ ^(https?:|#) ]] || [ -e "$(dirname -- "$document")/${link%%#*}" ] ||
            fail "$document leads to $link, which is not installed"
    done < <(grep -oE '\]\([^)]+\)' "$document" | sed -E 's/^\]\((.*)\)$/\1/')
done < <(find . -name '*.md' -print0)

# One name for all that a desktop puts together.
entry=share/applications/$id.desktop
for size in 16x16 22x22 24x24 32x32 48x48 64x64 128x128 256x256 512x512; do
    edges=$(od -An -tu1 -j 16 -N 8 "share/icons/hicolor/$size/apps/$id.png" |
        awk '{ printf "%dx%d", $3 * 256 + $4, $7 * 256 + $8 }')
    [ "$edges" = "$size" ] || fail "the icon of $size is $edges"
done
[ -s "share/icons/hicolor/scalable/apps/$id.svg" ] || fail "there is no icon of any size"
[ -s "share/icons/hicolor/symbolic/apps/$id-symbolic.svg" ] || fail "there is no symbolic icon"
grep -qx "Icon=$id" "$entry" || fail "the desktop entry has another icon"
grep -qx "Name=$id" "share/dbus-1/services/$id.service" || fail "the bus starts another name"
grep -qF "<id>$id</id>" "share/metainfo/$id.metainfo.xml" || fail "the metadata have another name"
grep -qF ">$id.desktop</launchable>" "share/metainfo/$id.metainfo.xml" || fail "the metadata start something else"
[ -x "bin/$(sed -n 's/^Exec=//p' "$entry")" ] || fail "the desktop entry starts something else"
started_from() { sed -n 's/^Exec=//p' "$1/share/dbus-1/services/$id.service"; }
[ "$(started_from .)" = "\"$folder/prefix/bin/timer-kelvaro\"" ] || fail "the bus starts something else"
[ "$(started_from "$folder/staged/usr")" = '"/usr/bin/timer-kelvaro"' ] || fail "the bus starts what was staged"

# The newest release that the metadata name is this one.
version=$(sed -nE 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$1/CMakeCache.txt")
[[ $(grep -m 1 '<release ' "share/metainfo/$id.metainfo.xml") = *"version=\"$version\""* ]] ||
    fail "the metadata do not name release $version first"
