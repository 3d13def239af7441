# SPDX-License-Identifier: MIT
# shellcheck shell=bash
#
# Bare root folders of Debian releases, with a plain user in each, for scripts that
# try things there. Sourced after common.sh. What is made here ends with the script;
# what commands say goes to the file that $log names.

[ "$(id -u)" -eq 0 ] || die "only root can make the root folders of other systems; run it as root."
prepare systems

user=timer-tester
logs=${root:?}/build/systems
mkdir -p -- "$logs"
systems=$(mktemp -d "${TMPDIR:-/tmp}/timer-systems.XXXXXX")
chmod 755 "$systems"
child=''
# shellcheck disable=SC2317 # by the trap
end() {
    [ -z "$child" ] || { kill -KILL "$child"; wait "$child"; } 2>/dev/null || true
    rm -rf --one-file-system -- "$systems"
}
trap end EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

# isolated NAMESPACE-OPTIONS -- COMMAND...: its mounts and processes end with it, and it with this script.
isolated() {
    local code=0
    # shellcheck disable=SC2154 # set by the scripts that source this file
    setpriv --pdeathsig KILL -- unshare --mount --pid --fork --kill-child "$@" </dev/null >>"$log" 2>&1 &
    child=$!
    wait "$child" || code=$?
    child=''
    return "$code"
}

# within [--net] SYSTEM COMMAND...: runs it in there as root; with --net it reaches nothing but loopback.
within() {
    local net=()
    [ "$1" != --net ] || { net=("$1"); shift; }
    # shellcheck disable=SC2016 # expanded by the shell inside
    isolated "${net[@]}" -- bash -euc '
        ip link set lo up
        mount -t proc proc "$0/proc"
        mount --rbind /dev "$0/dev"
        mount -t tmpfs -o mode=1777 tmpfs "$0/dev/shm"
        exec env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 chroot "$0" "$@"' "$@"
}

# bare RELEASE SYSTEM: makes the folder, with nothing in it but what every system has.
bare() {
    isolated -- debootstrap --variant=minbase "$1" "$2" &&
        # An id that nobody has here, whose limits it would share.
        within "$2" useradd --uid 58234 --create-home "$user"
}
