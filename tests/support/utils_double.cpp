// A command runner that writes every command down and itself does the few that the daemon's files depend on. Stands
// for libutils.so.
#include "platform/utils.h"
#include "tests/support/inside.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace dashboard::testing;

namespace {

// Straight to the kernel: what the runner does is not what the daemon did.
int make_folder(const char* path) {
    char buffer[512];
    return static_cast<int>(syscall(SYS_mkdirat, AT_FDCWD, inside_path(path, buffer), 0777));
}

int make_link(const char* target, const char* path) {
    char target_buffer[512];
    char path_buffer[512];
    const char* const place = inside_path(path, path_buffer);
    syscall(SYS_unlinkat, AT_FDCWD, place, 0);
    return static_cast<int>(syscall(SYS_symlinkat, inside_path(target, target_buffer), AT_FDCWD, place));
}

int run(const char* command) {
    char first[256];
    char second[256];
    if (sscanf(command, "mkdir -p %255s", first) == 1 || sscanf(command, "mkdir %255s", first) == 1) {
        return make_folder(first);
    }
    if (sscanf(command, "ln -sf %255s %255s", first, second) == 2) {
        return make_link(first, second);
    }
    return 0;
}

} // namespace

int _exec_cmd(int pid, const char* file, const char* func, int line, const char* format, ...) {
    char command[512];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(command, sizeof command, format, arguments);
    va_end(arguments);
    record("exec", "%d %s %s %d %s", pid, file, func, line, command);
    return must_fail("exec", command) ? -1 : run(command);
}
