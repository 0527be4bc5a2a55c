# Shared by the scripts of this folder: messages and the installing of what a fresh machine lacks.
# shellcheck shell=bash

# What messages begin with; a script may have named itself otherwise.
readonly program=${program:-scripts/${0##*/}}

say() {
    printf '%s: %s\n' "$program" "$*"
}

# Ends the script with one line that says what is wrong and what to do.
die() {
    printf '%s: %s\n' "$program" "$*" >&2
    exit 1
}

# A need is WHAT:PACKAGE: a command, or an absolute path (with wildcards) for what is no command.
have() {
    case $1 in
    /*) compgen -G "$1" >/dev/null ;;
    *) PATH=$PATH:/usr/sbin:/sbin command -v "$1" >/dev/null ;;
    esac
}

# Prints the packages of those needs that are not met.
missing_packages() {
    local need
    for need in "$@"; do
        have "${need%:*}" || printf '%s\n' "${need#*:}"
    done | sort -u
}

# Arguments of this shell script: packages. Some bring a service, which Debian starts at once: a policy that is there during
# the installation forbids it.
# The package lists of a fresh machine may be missing or old, but fetching them needlessly costs half a minute.
# shellcheck disable=SC2016 # expanded by that shell
readonly install_script='
    policy=/usr/sbin/policy-rc.d
    if [ ! -e "$policy" ]; then
        trap "rm -f $policy" EXIT
        trap "exit 130" INT TERM HUP
        printf "#!/bin/sh\nexit 101\n" >"$policy"
        chmod 755 "$policy"
    fi
    install="apt-get install -y -q --no-install-recommends"
    $install "$@" || { apt-get update -q && $install "$@"; }'

apt_install() {
    local as_root=()
    [[ $EUID -eq 0 ]] || as_root=(sudo)
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive sh -c "$install_script" install "$@"
}

# Installs the Debian packages that the given needs lack, unless the first argument is "no"; ends the script when that
# can't be done.
ensure() {
    local may_install=$1 packages
    shift
    mapfile -t packages < <(missing_packages "$@")
    [[ ${#packages[@]} -gt 0 ]] || return 0

    local advice="run 'apt-get install ${packages[*]}' as root"
    [[ $may_install != no ]] || die "missing: ${packages[*]}; $advice, or leave out --no-install"
    have apt-get || die "missing: ${packages[*]}; no apt-get here to install them: install them by hand"
    [[ $EUID -eq 0 ]] || have sudo || die "missing: ${packages[*]}; no root and no sudo to install them: $advice"

    say "installing ${packages[*]}"
    # No file for the output: the folder for such files may be what is full.
    local output
    if ! output=$(apt_install "${packages[@]}" </dev/null 2>&1); then
        tail -n 15 <<<"$output" >&2
        die "could not install ${packages[*]}: $advice"
    fi
    mapfile -t packages < <(missing_packages "$@")
    [[ ${#packages[@]} -eq 0 ]] || die "still missing after installing: ${packages[*]}"
}

# What every build needs. /usr/include/stdlib.h stands for the C library's headers.
# shellcheck disable=SC2034 # used by the scripts that read this file
build_needs=(cmake:cmake ninja:ninja-build g++:g++ /usr/include/stdlib.h:libc6-dev)

# What uClibc for MIPS is built with and from, besides.
readonly uclibc_source=/usr/src/uClibc-ng-1.0.35.tar.xz
# shellcheck disable=SC2034 # used by the scripts that read this file
uclibc_needs=("${build_needs[@]}" make:make gcc:gcc xz:xz-utils "$uclibc_source:uclibc-source"
    mips-linux-gnu-g++:g++-mips-linux-gnu)

# What is installed, without the tests.
# shellcheck disable=SC2034 # used by the scripts that read this file
shipped_targets=(dashboard dashboardctl dashboard-metrics csman utils csmanctl play_router viewer)
