# As toolchain-mips.cmake, for the little-endian MIPS.
set(mips_triple mipsel-linux-gnu)
set(mips_emulator qemu-mipsel)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-mips.cmake)
