# Debian's cross compiler for 32-bit MIPS (big-endian unless a caller chose the other triple), tests run by qemu-user.
# For a router, bring its own toolchain file instead and set DASHBOARD_PLATFORM_DIR.
if(NOT DEFINED mips_triple)
    set(mips_triple mips-linux-gnu)
    set(mips_emulator qemu-mips)
endif()

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mips)
set(CMAKE_C_COMPILER ${mips_triple}-gcc)
set(CMAKE_CXX_COMPILER ${mips_triple}-g++)

set(CMAKE_FIND_ROOT_PATH /usr/${mips_triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR ${mips_emulator} -L /usr/${mips_triple})
