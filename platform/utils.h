// The router's command runner, as its own library offers it (libutils.so).
#ifndef PLATFORM_UTILS_H
#define PLATFORM_UTILS_H

#ifdef __cplusplus
extern "C" {
#endif

/// Formats a command and runs it through the shell. `pid`, `file`, `func` and `line` tell the runner's own log who
/// asked for it. The result belongs to the platform; the daemon does not look at it.
int _exec_cmd(int pid, const char* file, const char* func, int line, const char* format, ...)
    __attribute__((format(printf, 5, 6)));

#ifdef __cplusplus
}
#endif

#endif
