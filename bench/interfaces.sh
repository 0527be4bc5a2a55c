# The interfaces of a router at the limits, in a network namespace of their own. Read after common.sh.
# shellcheck shell=bash

# lo and 37 pairs of linked interfaces: 75.
make_interfaces() {
    local names i
    mapfile -t names < <(printf '%s\n' eth{0..15} br{0..4} bond{0..2} ra{0..7} rai{0..7} usbnet0 apcl0 x{0..31})
    for ((i = 0; i < ${#names[@]}; i += 2)); do
        printf 'link add %s type veth peer name %s\n' "${names[i]}" "${names[i + 1]}"
    done | ip -batch -
    printf 'link set %s up\n' lo "${names[@]}" | ip -batch -
    [[ $(grep -c : /proc/net/dev) -eq 75 ]] || die "75 interfaces were wanted"
}
