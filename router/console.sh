# A box that is looked at by a script: boots it, talks to its shell over its serial port and to its web server, and ends it
# with the script. Read by router/check and router/measure, which set `port`; `limit`, the seconds that all may take; and
# `box`, the folder of what is booted.
# shellcheck shell=bash

: "${root:?}" "${port:?}" "${limit:?}" "${box:?}"

folder=$(mktemp -d)
machine=

# shellcheck source=router/web.sh
source "$root/router/web.sh"

finish() {
    local status=$?
    trap - EXIT
    if [[ $status -ne 0 && -s $folder/rates ]]; then
        cat "$folder/rates" >&2
    fi
    if [[ $status -ne 0 && -s $folder/console ]]; then
        say "the console's last words:" >&2
        tail -n 40 "$folder/console" >&2
    fi
    # The machine and what keeps its console.
    # shellcheck disable=SC2046 # several numbers are several arguments
    kill $(jobs -p) 2>/dev/null || true
    wait
    rm -rf "$folder"
    exit "$status"
}
trap finish EXIT
trap 'exit 1' INT TERM HUP

# ---- The box and its console

boot() {
    mkfifo "$folder/serial.in" "$folder/serial.out"
    # Both ends stay open here, so that neither side sees an end.
    exec {console_in}<>"$folder/serial.in" {console_out}<>"$folder/serial.out"
    cat <&"$console_out" >"$folder/console" &
    nice -n 5 "$root/router/boot" "$box" 64 "$port" router.traffic=known -serial "pipe:$folder/serial" &
    machine=$!
}

# in_time WHAT COMMAND...: until the command succeeds, and the box lives.
in_time() {
    local what=$1
    shift
    until "$@"; do
        kill -0 "$machine" 2>/dev/null || die "the box has ended while waiting for $what"
        ((SECONDS < limit)) || die "no $what after $SECONDS seconds"
        sleep 1
    done
    say "$what (after $SECONDS seconds)"
}

console_says() {
    tr -d '\r' <"$folder/console" | grep -qE "$1"
}

# What the box's init has to say is said by itself and by the daemon's script; anything else is a tool's complaint.
complaints() {
    tr -d '\r' <"$folder/console" | sed -n '/^router: kernel/,/^router: ready/p' | grep -vE '^(router|dashboard): ' || true
}

# at_console TEXT COMMAND: runs a command in the box's shell; what it prints between two marks goes to standard output.
# The marks are put together there, so that the echo of what is typed is none.
at_console() {
    local mark=$SRANDOM
    printf "\necho be'gin'-%s; %s; echo e'nd'-%s\n" "$mark" "$1" "$mark" >&"$console_in"
    until console_says "^end-$mark\$"; do
        kill -0 "$machine" 2>/dev/null || die "the box has ended while running: $1"
        ((SECONDS < limit)) || die "the box's shell does not answer: $1"
        sleep 0.5
    done
    tr -d '\r' <"$folder/console" | sed -n "/^begin-$mark\$/,/^end-$mark\$/p" | sed '1d;$d'
}
