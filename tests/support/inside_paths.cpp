// Calls that take a path: the world's own root stands in for "/".
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS
#undef _FORTIFY_SOURCE
#include "tests/support/inside.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace dashboard::testing;

namespace {

// Opens by `type_of_real`, whose mode argument matters only to calls that create.
template <class Open>
int open_inside(Open real, const char* path, int flags, mode_t mode) {
    if (must_fail("open", path)) {
        return -1;
    }
    char buffer[512];
    return real(inside_path(path, buffer), flags, mode);
}

#ifndef O_TMPFILE
#define O_TMPFILE 0 // uClibc: what its programs cannot ask for has no mode either
#endif

mode_t mode_argument(int flags, va_list arguments) {
    return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : mode_t{0};
}

template <class Open>
FILE* fopen_inside(Open real, const char* path, const char* mode) {
    if (must_fail("fopen", path) || must_fail("open", path)) {
        return nullptr;
    }
    char buffer[512];
    return real(inside_path(path, buffer), mode);
}

} // namespace

#define INTERPOSE_OPEN(name)                                                                                           \
    INTERPOSE(int, name, const char* path, int flags, ...) {                                                           \
        va_list arguments;                                                                                             \
        va_start(arguments, flags);                                                                                    \
        const mode_t mode = mode_argument(flags, arguments);                                                           \
        va_end(arguments);                                                                                             \
        return open_inside(REAL(int (*)(const char*, int, ...), name), path, flags, mode);                             \
    }

INTERPOSE_OPEN(open)
INTERPOSE_OPEN(open64)

// What a build with _FORTIFY_SOURCE calls when it creates nothing.
INTERPOSE(int, __open_2, const char* path, int flags) {
    return open_inside(REAL(int (*)(const char*, int, ...), open), path, flags, 0);
}

INTERPOSE(int, __open64_2, const char* path, int flags) {
    return open_inside(REAL(int (*)(const char*, int, ...), open64), path, flags, 0);
}

INTERPOSE(FILE*, fopen, const char* path, const char* mode) {
    return fopen_inside(REAL(FILE * (*)(const char*, const char*), fopen), path, mode);
}

INTERPOSE(FILE*, fopen64, const char* path, const char* mode) {
    return fopen_inside(REAL(FILE * (*)(const char*, const char*), fopen64), path, mode);
}

#define INTERPOSE_STAT(name)                                                                                           \
    INTERPOSE(int, name, const char* path, void* out) {                                                                \
        if (must_fail("stat", path)) {                                                                                 \
            return -1;                                                                                                 \
        }                                                                                                              \
        char buffer[512];                                                                                              \
        return REAL(int (*)(const char*, void*), name)(inside_path(path, buffer), out);                                \
    }

INTERPOSE_STAT(stat)
INTERPOSE_STAT(stat64)
INTERPOSE_STAT(lstat)
INTERPOSE_STAT(lstat64)
#if defined(__mips__)
INTERPOSE_STAT(__stat64_time64)
INTERPOSE_STAT(__lstat64_time64)
#endif

INTERPOSE(int, access, const char* path, int how) {
    if (must_fail("access", path)) {
        return -1;
    }
    char buffer[512];
    return REAL(int (*)(const char*, int), access)(inside_path(path, buffer), how);
}

#define INTERPOSE_RECORDED(name)                                                                                       \
    INTERPOSE(int, name, const char* path) {                                                                           \
        record(#name, "%s", path);                                                                                     \
        if (must_fail(#name, path)) {                                                                                  \
            return -1;                                                                                                 \
        }                                                                                                              \
        char buffer[512];                                                                                              \
        return REAL(int (*)(const char*), name)(inside_path(path, buffer));                                            \
    }

INTERPOSE_RECORDED(unlink)
INTERPOSE_RECORDED(remove)
INTERPOSE_RECORDED(chdir)

INTERPOSE(int, rename, const char* from, const char* to) {
    record("rename", "%s %s", from, to);
    if (must_fail("rename", from)) {
        return -1;
    }
    char from_buffer[512];
    char to_buffer[512];
    return REAL(int (*)(const char*, const char*), rename)(inside_path(from, from_buffer), inside_path(to, to_buffer));
}
