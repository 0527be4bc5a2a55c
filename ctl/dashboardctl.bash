# Completion of dashboardctl's words for bash.
# shellcheck shell=bash

_dashboardctl() {
    local word=${COMP_WORDS[COMP_CWORD]} words=
    case $COMP_CWORD in
    1) words='status doctor version --help' ;;
    *) [[ ${COMP_WORDS[1]} != status ]] || words='--json --watch' ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -F _dashboardctl dashboardctl
