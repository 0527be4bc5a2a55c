# Debian's cross compiler for big-endian MIPS over the uClibc-ng that scripts/uclibc-sysroot has built, run by qemu-user.
set(uclibc_sysroot ${CMAKE_CURRENT_LIST_DIR}/../build/uclibc-sysroot)
cmake_path(NORMAL_PATH uclibc_sysroot)
if(NOT EXISTS ${uclibc_sysroot}/usr/lib/libc.so)
    message(FATAL_ERROR "No uClibc in ${uclibc_sysroot}: run scripts/uclibc-sysroot first.")
endif()

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mips)
set(CMAKE_C_COMPILER mips-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER mips-linux-gnu-g++)

# The compiler's own folders name the GNU C library. In their place: uClibc's, and libstdc++'s headers behind a few of
# ours, which take from them what uClibc lacks.
execute_process(COMMAND ${CMAKE_C_COMPILER} -print-file-name=include
    OUTPUT_VARIABLE uclibc_compiler_headers OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_C_COMPILER} -dumpversion
    OUTPUT_VARIABLE uclibc_compiler_version OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
set(uclibc_cxx_headers /usr/mips-linux-gnu/include/c++/${uclibc_compiler_version})
set(uclibc_flags "-muclibc --sysroot=${uclibc_sysroot} -nostdinc -B${uclibc_sysroot}/usr/lib/")
set(uclibc_c_headers "-isystem ${uclibc_compiler_headers} -isystem ${uclibc_sysroot}/usr/include")
set(CMAKE_C_FLAGS_INIT "${uclibc_flags} ${uclibc_c_headers}")
set(CMAKE_CXX_FLAGS_INIT "${uclibc_flags} -static-libstdc++ -static-libgcc -nostdinc++ \
-isystem ${CMAKE_CURRENT_LIST_DIR}/uclibc/include \
-isystem ${uclibc_cxx_headers} -isystem ${uclibc_cxx_headers}/mips-linux-gnu ${uclibc_c_headers}")

set(CMAKE_FIND_ROOT_PATH ${uclibc_sysroot})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-mips -L ${uclibc_sysroot})
