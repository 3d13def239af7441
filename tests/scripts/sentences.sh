#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# sentences.sh SCRIPTS: where something is missing, the scripts stop with one sentence that says what to do.
set -euo pipefail

folder=$(mktemp -d "${TMPDIR:-/tmp}/scripts-test.XXXXXX")
trap 'chmod -R u+w -- "$folder" && rm -rf -- "$folder"' EXIT
umask 022 # another user is to reach what is here
mkdir "$folder/checkout" "$folder/programs" "$folder/locked"
cp -r -- "$1" "$folder/checkout/scripts"
cp -- "$1/../tests/support/session" "$folder/checkout"
chmod -R a+rX,a-w "$folder/checkout" "$folder/locked"
chmod 755 "$folder"
# File modes do not stop root.
plain=(env)
[ "$(id -u)" -ne 0 ] || plain=(setpriv --reuid 65534 --regid 65534 --clear-groups -- env)

# says SENTENCE COMMAND...: it ends with code 1 or $failure, and this is the last that it says, on the error
# channel alone.
says() {
    local sentence=$1 said code=0
    shift
    said=$("${plain[@]}" "$@" 2>&1 >/dev/null </dev/null) || code=$?
    if [ "$said" != "$sentence" ] || [ $code -ne "${failure:-1}" ]; then
        printf 'FAIL: %s\nexpected: %s\nsaid:     %s\nended with %d\n' "$*" "$sentence" "$said" "$code" >&2
        exit 1
    fi
    echo "PASS: ${sentence:-$*}"
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
# Whatever the caller's "cd" knows.
mkdir -p "$folder/elsewhere/checkout/scripts"
# shellcheck disable=SC2016 # expanded by the shell inside
says 'test: HOME is not set; let it name the folder of your account.' -u HOME CDPATH="$folder/elsewhere" \
    bash -c 'cd -- "$1" && checkout/scripts/test' test "$folder"

# What nobody knows is refused before anything is installed or built; each script tells what it knows.
for line in 'run --hlep' 'screenshots --al' 'screenshots --all more' 'package --quick' 'check fromat' \
    'check-systems --quik' 'check-packages --package'; do
    read -r -a words <<<"$line"
    says "${words[0]}: \"${words[-1]}\" is not known here; --help tells what is." \
        -u HOME "$folder/checkout/scripts/${words[0]}" "${words[@]:1}"
done
for script in "$folder"/checkout/scripts/*; do
    name=${script##*/}
    [[ $name != *.* ]] || continue
    help=$(cd -- "$folder/checkout" && "${plain[@]}" -u HOME "scripts/$name" --help)
    if [[ $help != "$name"* || $help == *'shellcheck '* || $help != *.* ]]; then
        printf 'FAIL: %s --help says:\n%s\n' "$name" "$help" >&2
        exit 1
    fi
done

# A checkout of one's own in which somebody else has built.
chmod u+w "$folder/checkout"
mkdir -m 555 "$folder/checkout/build"
says "test: the folder $folder/checkout/build cannot be written to; remove it, or build as its owner." \
    HOME=/ TMPDIR=/tmp "$run"
chmod 777 "$folder/checkout/build"

# served SENTENCE PORT FOLDER: scripts/run with the server there.
served() {
    # shellcheck disable=SC2016 # expanded by the shell inside
    says "$1" HOME=/ bash -c 'source "$1/common.sh"; source "$1/server.sh"; start_server "$2" "$3"' \
        run "$folder/checkout/scripts" "${@:2}"
}

coproc listener { exec python3 -c 'import socket
s = socket.create_server(("127.0.0.1", 0))
print(s.getsockname()[1], flush=True)
input()'; }
listening=${listener_PID:?} # bash forgets it with the process
read -r port <&"${listener[0]}"
served "run: port $port on 127.0.0.1 is in use, perhaps by another scripts/run or a timer-kelvaro-devserver; end that program and try again." \
    "$port" "$folder/data"
echo >&"${listener[1]}"
wait "$listening"
served "run: the development server's data cannot be kept in $folder/locked/data; see to its rights and the space there, or let XDG_DATA_HOME name another folder." \
    "$port" "$folder/locked/data"

# A private session that cannot be.
stub gnome-keyring-daemon 'echo "its own reason" >&2; exit 1'
failure=69 says $'its own reason\nsession: gnome-keyring-daemon did not start' \
    PATH="$folder/programs:$PATH" "$folder/checkout/session" --keyring -- true
rm -- "$folder/programs/gnome-keyring-daemon"

# Nothing of the caller's desktop gets into one.
found=$("${plain[@]}" KDE_FULL_SESSION=true GNOME_SHELL=1 GTK_THEME=Dark XDG_SESSION_ID=1 XDG_CURRENT_DESKTOP=KDE \
    QT_SCALE_FACTOR=2 QT_FONT_DPI=120 QT_STYLE_OVERRIDE=kvantum QT_QPA_PLATFORMTHEME=kde QT_IM_MODULES=ibus \
    XMODIFIERS=@im=ibus XAUTHORITY=/nowhere SESSION_MANAGER=local/nowhere ICEAUTHORITY=/nowhere PGHOST=nowhere TZ=Asia/Tokyo http_proxy=http://127.0.0.1:9 \
    "$folder/checkout/session" -- env | grep -E '^(KDE|GNOME|GTK|XDG_SESSION|SESSION_|ICE|XDG_CURRENT|QT_|X[AM]|PG|TZ|http)' || true)
[ "$found" = QT_QPA_PLATFORM=offscreen ] || { printf 'FAIL: the caller'"'"'s desktop reaches a session:\n%s\n' "$found" >&2; exit 1; }
echo "PASS: the caller's desktop stays outside"

# A system of Debian's kind with nothing installed, whoever asks.
stub id 'echo 1000'
stub dpkg-query 'exit 1'
# shellcheck disable=SC2016 # expanded by the stub
stub apt-cache '[ "$LC_ALL" = C ] && echo "  Candidate: 1" || echo "  Installationskandidat: 1"'
stub apt-get 'umask >&2; exit 100'
for program in bash dirname; do
    ln -s "$(command -v "$program")" "$folder/programs"
done
says 'bootstrap: these packages are missing, and without sudo only root can install them: dbus gnome-keyring xvfb' \
    PATH="$folder/programs" "$folder/checkout/scripts/bootstrap" session
# Where apt speaks another language, too.
says 'bootstrap: these packages are missing, and without sudo only root can install them: clang-format-14 clang-tidy shellcheck appstream desktop-file-utils git patch reuse' \
    -u LC_ALL PATH="$folder/programs" "$folder/checkout/scripts/bootstrap" check
stub sudo 'exit 1'
bootstrap=(PATH="$folder/programs:$PATH" "$folder/checkout/scripts/bootstrap" session)
says 'bootstrap: sudo refused, so nothing was installed; give the right password, or let somebody install these packages whose account may use sudo.' \
    "${bootstrap[@]}"
stub sudo 'exec "$@"'
# A list that cannot be read need not be one that matters.
unread="bootstrap: not all package lists could be read, for apt's reason above; trying with those that are here."
uninstalled="bootstrap: the packages could not be installed; apt's reason is above. Where it cannot locate one, the system may be too old: Debian 12 and Ubuntu 24.04 are the oldest that have them all."
(umask 077 && says "0022
$unread
0022
$uninstalled" "${bootstrap[@]}")
# shellcheck disable=SC2016 # expanded by the stub
stub apt-get 'case "$*" in *update*) exit 100 ;; esac; [ "$2" = DPkg::Lock::Timeout=600 ]'
failure=0 says "$unread" "${bootstrap[@]}"
# Where nobody can install, what is useful alone does not stop anybody.
stub dpkg-query 'case "$*" in *ccache* | *fonts-croscore*) exit 1 ;; *) echo installed ;; esac'
stub sudo 'exit 1'
failure=0 says '' CXX= "${bootstrap[@]:0:2}" run
says 'bootstrap: sudo refused, so nothing was installed; give the right password, or let somebody install these packages whose account may use sudo.' \
    "${bootstrap[@]:0:2}" run test
# Nor where it cannot be had.
stub sudo 'exec "$@"'
# shellcheck disable=SC2016 # expanded by the stub
stub apt-get 'case "$*" in *update*) exit 0 ;; *fonts*) exit 100 ;; esac'
failure=0 says 'bootstrap: going on without these packages, which are useful but not needed: fonts-croscore' \
    CXX= "${bootstrap[@]:0:2}" run
says "$uninstalled" "${bootstrap[@]:0:2}" run test
# PostgreSQL that comes for the tests alone starts no server, also where another server's client is.
# shellcheck disable=SC2016 # expanded by the stub
stub dpkg-query 'for package; do :; done; case $package in postgresql | "$NONE") exit 1 ;; *) echo installed ;; esac'
stub apt-get 'exit 0'
# shellcheck disable=SC2016 # expanded by the stub
stub sudo 'case $1 in mkdir) ;; tee) cat >/dev/null; echo "$2" >&2 ;; *) exec "$@" ;; esac'
failure=0 says /etc/postgresql-common/createcluster.d/timer-kelvaro.conf CXX= NONE=postgresql-common \
    "${bootstrap[@]:0:2}" test
failure=0 says '' CXX= NONE= "${bootstrap[@]:0:2}" test
stub sudo 'exit 1'
# A browser that the tests were told of spares the system's.
stub dpkg-query 'case "$*" in *chromium*) exit 1 ;; *) echo installed ;; esac'
mkdir -p "$folder/checkout/build/dev"
printf '%s\n' CHROMIUM:UNINITIALIZED=/nowhere CHROMEDRIVER:FILEPATH=/bin/sh >"$folder/checkout/build/dev/CMakeCache.txt"
says 'bootstrap: sudo refused, so nothing was installed; give the right password, or let somebody install these packages whose account may use sudo.' \
    "${bootstrap[@]:0:2}" test
sed -i 's|/nowhere|/bin/true|' "$folder/checkout/build/dev/CMakeCache.txt"
failure=0 says '' "${bootstrap[@]:0:2}" test

says 'bootstrap: no C++ compiler was found; install g++ 12 or later, or set CXX.' \
    -u CXX PATH="$folder/programs" "$folder/checkout/scripts/bootstrap" session
# A system of another kind.
mkdir "$folder/other"
for program in bash dirname grep sed; do
    ln -s "$(command -v "$program")" "$folder/other"
done
says 'bootstrap: missing here: a C++20 compiler, cmake, ninja.' \
    -u CXX PATH="$folder/other" "$folder/checkout/scripts/bootstrap"
says 'bootstrap: missing here: cmake, ninja.' CXX=sed PATH="$folder/other" "$folder/checkout/scripts/bootstrap"
ln -s /bin/true "$folder/other/cmake"
ln -s /bin/true "$folder/other/ninja"
failure=0 says '' CXX=sed PATH="$folder/other" "$folder/checkout/scripts/bootstrap"
# A program that is open would be shown in the place of the one that was just built.
stub dbus-send 'echo "   boolean true"'
says 'run: Timer.Kelvaro is already open; choose "Quit" in its tray menu, or close its window, and try again.' \
    DISPLAY=:4711 PATH="$folder/programs:$PATH" "$folder/checkout/scripts/run"
# What git says about itself is not lost.
stub dpkg-query 'echo installed'
says 'bootstrap: CXX names "nowhere c++", which is not here.' CXX='nowhere c++' "${bootstrap[@]}"
says 'bootstrap: CXX names "nowhere", which is not here.' CXX=nowhere "${bootstrap[@]}"
failure=0 says '' CXX='env c++' "${bootstrap[@]}"
stub git 'echo "fatal: detected dubious ownership" >&2; exit 128'
says $'fatal: detected dubious ownership\npackage: packages are made of a commit, and git names none; its reason is above.' \
    HOME=/ PATH="$folder/programs:$PATH" "$folder/checkout/scripts/package"
rm -- "$folder/programs"/*

# built SENTENCE [VARIABLE...]: a script that builds.
built() {
    # shellcheck disable=SC2016 # expanded by the shell inside
    says "$1" -u CXX "${@:2}" HOME=/ PATH="$folder/programs:$PATH" \
        bash -c 'source "$1/common.sh"; build stay' building "$folder/checkout/scripts"
}
mkdir -p "$folder/checkout/build/stay"
stub cmake 'exit 1'
stub ninja 'exit 1'
built 'building: configuring the stay build failed; the reason is above.'
stub cmake 'exit 0'
built 'building: the stay build failed; the first error above says why.'
echo "CMAKE_CXX_COMPILER:FILEPATH=$(command -v c++)" >"$folder/checkout/build/stay/CMakeCache.txt"
built "building: CXX names \"env c++\", but $folder/checkout/build/stay was configured for $(command -v c++); remove that folder, or unset CXX." \
    CXX='env c++'
built 'building: the stay build failed; the first error above says why.' CXX="$(readlink -f -- "$(command -v c++)")"
# A cache that cannot be kept is not used; the real one compiles all the same.
# shellcheck disable=SC2016 # expanded by the stub
stub ninja '$CMAKE_CXX_COMPILER_LAUNCHER c++ -fsyntax-only -x c++ /dev/null >&2 && echo compiled >&2; exit 1'
built $'compiled\nbuilding: the stay build failed; the first error above says why.' \
    -u XDG_CACHE_HOME -u CCACHE_DIR -u CCACHE_DISABLE -u CMAKE_CXX_COMPILER_LAUNCHER
