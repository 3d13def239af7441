# SPDX-License-Identifier: MIT
# shellcheck shell=bash
#
# The development server, for scripts that run the program against it. Sourced
# after common.sh. What they launch ends with them.

# shellcheck disable=SC2034 # read by the scripts that source this file
programs=${root:?}/build/release/bin
trap end_children EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

# require_free_port PORT
require_free_port() {
    if (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null; then
        die "port $1 on 127.0.0.1 is in use, perhaps by another scripts/run or a" \
            "timer-kelvaro-devserver; end that program and try again."
    fi
}

# start_server PORT FOLDER: the demo server with its database and its log in FOLDER; returns once it answers.
start_server() {
    local port=$1 folder=$2 log=$2/server.log deadline=$((SECONDS + 120))
    require_free_port "$port"
    { mkdir -p -- "$folder" && : >"$log"; } 2>/dev/null ||
        die "the development server's data cannot be kept in $folder; see to its rights and the space" \
            "there, or let XDG_DATA_HOME name another folder."
    launch "$programs/timer-kelvaro-devserver" --listen "127.0.0.1:$port" \
        --database "sqlite:$folder/demo.sqlite" --demo >"$log" 2>&1
    until grep -q '^Listening on ' "$log"; do
        # shellcheck disable=SC2154 # set by common.sh
        if ! kill -0 "${children[-1]}" 2>/dev/null; then
            cat "$log" >&2
            die "the development server did not start; its own words are above."
        fi
        [ $SECONDS -lt $deadline ] || die "the development server did not answer within two minutes; see $log"
        sleep 0.1
    done
}
