# The private view of files in which the scripts and benchmarks run the daemon, in a mount namespace of their own: its
# own /tmp, /usr/www and /var/run, all in memory, and the tools in the variants whose output the daemon can read.
# Read after common.sh.
# shellcheck shell=bash

# Sets `private_view` to the command that starts another one in namespaces of its own, as the given options of unshare(1)
# name them. An ordinary user is root in there.
set_private_view() {
    private_view=(unshare "$@")
    [[ $EUID -eq 0 ]] || private_view=(unshare --user --map-root-user "$@")
    "${private_view[@]}" true 2>/dev/null ||
        die "no privilege for a private view of the files ('${private_view[*]}' fails): run this as root or with sudo"
}

# Everything private lies in one file system in memory, mounted over a folder that every system has and that does not
# hold the project. Sets `house`.
open_house() {
    house=/mnt
    [[ $PWD/ != /mnt/* ]] || house=/media
    mount -t tmpfs -o mode=0755 dashboard "$house"
    mkdir -m 1777 "$house/tmp"
    mkdir -p "$house"/{run,bin,csman,usr/www}
}

# Copies what the daemon consists of, and other programs that are named, from the folder of a build: the project may lie
# below a folder that is about to be covered. `freemem` has no place outside a router.
furnish_house() {
    local from=$1 tool
    cp "$from"/dashboard "$from"/platform/host/{csmanctl,play_router,libcsman.so,libutils.so} "${@:2}" "$house/bin"
    for tool in ifconfig netstat awk; do
        ln -s "$(command -v busybox)" "$house/bin/$tool"
    done
    printf '#!/bin/sh\nexit 0\n' >"$house/bin/freemem"
    chmod 755 "$house/bin/freemem"

    export PATH=$house/bin:$PATH:/usr/sbin:/sbin LD_LIBRARY_PATH=$house/bin CSMAN_DIR=$house/csman LC_ALL=C
    unset S_COLORS S_TIME_FORMAT
}

# /usr made anew: its own entries are seen in it unchanged, with the house's /usr/www beside them.
cover_usr() {
    local entry name
    for entry in /usr/*; do
        name=${entry##*/}
        if [[ -L $entry ]]; then
            cp -P "$entry" "$house/usr/$name"
        elif [[ -d $entry && $name != www ]]; then
            mkdir "$house/usr/$name"
            mount --rbind "$entry" "$house/usr/$name"
        fi
    done
    mount --rbind "$house/usr" /usr
}

# Moves into the house: from here on the system's own folders are out of sight.
move_in() {
    cover_usr
    mount --bind "$house/tmp" /tmp
    mount --bind "$house/run" "$(readlink -f /var/run)"
    cd "$house" || die "can't enter $house"
}

# Starts the daemon with the given command and sets `daemon` to its process. It does not leave a parent whose process
# id is 1 (as a script's may be in a container), hence a subshell that has something to do afterwards.
start_daemon() {
    local tries
    (
        "$@"
        exit $?
    ) || return 1
    for ((tries = 0; tries < 50; tries++)); do
        [[ ! -s /var/run/dashboard_daemon.pid ]] || break
        sleep 0.1
    done
    daemon=$(cat /var/run/dashboard_daemon.pid 2>/dev/null) && [[ -n $daemon ]]
}
