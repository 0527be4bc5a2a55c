// libutils.so for a development machine: the router's command runner.
//
// `_exec_cmd` returns the command's exit status (0 to 255; 128 and the signal's number when a signal ended it, as a
// shell reports it), or a negative number when the command was not run. When the environment names a file in UTILS_LOG,
// each call appends one line to it:
//
//     pid=812 file=dashboard_wan func=xml_wan_traffic_sec line=97 cmd=ln -sf /tmp/dashboard/a.xml /usr/www/a.xml
#pragma GCC visibility push(default)
#include "platform/utils.h"
#pragma GCC visibility pop

#include "base/uncancellable.h"

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace dashboard {

namespace {

constexpr size_t command_size = 2048;
constexpr size_t log_line_size = command_size + 512;

struct request {
    int pid;
    const char* file;
    const char* func;
    int line;
};

const char* or_dash(const char* text) {
    return text != nullptr ? text : "-";
}

/// One line, one write: processes that log at the same time don't mix their lines. Control bytes would break the line.
void log_request(const request& who, const char* what, const char* command) {
    const char* path = getenv("UTILS_LOG");
    if (path == nullptr || path[0] == '\0') {
        return;
    }
    char line[log_line_size];
    snprintf(line, sizeof line - 1, "pid=%d file=%s func=%s line=%d %s=%s", who.pid, or_dash(who.file),
             or_dash(who.func), who.line, what, command);
    const size_t length = strlen(line);
    for (size_t at = 0; at < length; at++) {
        if (line[at] > 0 && line[at] < ' ') {
            line[at] = '?';
        }
    }
    line[length] = '\n';
    const int fd = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY, 0644);
    if (fd < 0) {
        return;
    }
    // A log that can't be written is not the command's failure.
    const ssize_t written = write(fd, line, length + 1);
    static_cast<void>(written);
    close(fd);
}

/// Starts the shell with an empty signal mask and default actions: the caller's threads block or ignore signals that a
/// tool waits for or should die of.
int start_shell(const char* command, pid_t* child) {
    const int defaulted[] = {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGALRM, SIGTERM, SIGUSR1, SIGUSR2, SIGCHLD};
    sigset_t actions;
    sigset_t mask;
    sigemptyset(&actions);
    sigemptyset(&mask);
    for (const int signal : defaulted) {
        sigaddset(&actions, signal);
    }
    posix_spawnattr_t attributes;
    if (posix_spawnattr_init(&attributes) != 0) {
        return -1;
    }
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    posix_spawnattr_setsigmask(&attributes, &mask);
    posix_spawnattr_setsigdefault(&attributes, &actions);
    char shell[] = "sh";
    char option[] = "-c";
    char* const arguments[] = {shell, option, const_cast<char*>(command), nullptr};
    const int result = posix_spawn(child, "/bin/sh", nullptr, &attributes, arguments, environ);
    posix_spawnattr_destroy(&attributes);
    return result == 0 ? 0 : -1;
}

/// Waits for this child alone, so that no SIGCHLD handler, mask or action of the process matters, or is changed.
int wait_for(pid_t child) {
    int status = 0;
    pid_t ended;
    do {
        ended = waitpid(child, &status, 0);
    } while (ended < 0 && errno == EINTR);
    if (ended < 0) {
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/// A cancellation may cut the wait for a command that hangs, but not the making of its process.
int start(const request& who, const char* command, pid_t* child) {
    const uncancellable section;
    log_request(who, "cmd", command);
    return start_shell(command, child);
}

int run(const request& who, const char* command) {
    pid_t child = -1;
    return start(who, command, &child) == 0 ? wait_for(child) : -1;
}

} // namespace
} // namespace dashboard

extern "C" int _exec_cmd(int pid, const char* file, const char* func, int line, const char* format, ...) {
    const dashboard::request who = {pid, file, func, line};
    char command[dashboard::command_size];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(command, sizeof command, format, arguments);
    va_end(arguments);
    if (length < 0) {
        return -1;
    }
    // Half a command could do anything.
    if (static_cast<size_t>(length) >= sizeof command) {
        dashboard::log_request(who, "refused, too long", command);
        return -1;
    }
    return dashboard::run(who, command);
}
