# A box that is looked at by a script: boots it, talks to its shell over its serial port and to its web server, and ends it
# with the script. Read by router/check and router/measure, which set `port`, and `limit`, the seconds that all may take.
# shellcheck shell=bash

: "${root:?}" "${port:?}" "${limit:?}"
readonly address=http://127.0.0.1:$port

# What the page sends for all of its graphs.
readonly request='cpu=1&mem=1&wan=1&bond=1&lan=1&wifi24=1&wifi5=1&ap=1&allap=1&current=1&sim=1'

folder=$(mktemp -d)
machine=

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
    nice -n 5 "$root/router/boot" "$root/build/router/box" 64 "$port" router.traffic=known -serial "pipe:$folder/serial" &
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

# ---- Its web server

# Asks for all graphs, as the page does. Its requests last a minute.
ask_for_graphs() {
    ((SECONDS >= asked + 20)) || return 0
    curl -sS --fail --max-time 20 -o "$folder/answer" -H 'X-Requested-With: dashboard-viewer' \
        -H 'Sec-Fetch-Site: same-origin' --data "$request" "$address/cgi-bin/viewer" || return 1
    asked=$SECONDS
}
asked=-60

fetch() {
    curl -sS --fail --max-time 20 -o "$folder/$1.xml.new" "$address/$1.xml" 2>/dev/null || return 1
    # A document may be replaced while it is sent.
    grep -q '</datalist>' "$folder/$1.xml.new" || return 1
    mv "$folder/$1.xml.new" "$folder/documents/$1.xml"
}
