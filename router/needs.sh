# What the router in a box needs on top of build_needs: its emulator, the cross compiler, what puts its image together and
# what looks at it. Read by the scripts that build and boot it.
# shellcheck shell=bash
# shellcheck disable=SC2034 # used by the scripts that read this file
router_needs=(qemu-system-mipsel:qemu-system-mips qemu-mipsel:qemu-user mipsel-linux-gnu-g++:g++-mipsel-linux-gnu
    cpio:cpio depmod:kmod dpkg-deb:dpkg npm:npm curl:curl xmllint:libxml2-utils
    /usr/share/keyrings/debian-archive-keyring.gpg:debian-archive-keyring)
