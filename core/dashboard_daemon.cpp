#include "core/dashboard_daemon.h"

#include "base/dashboard_log.h"
#include "core/dashboard_flags.h"
#include "core/dashboard_signal.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace dashboard {

namespace {

void block_terminal_signals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGCHLD);
    sigaddset(&set, SIGTSTP);
    sigaddset(&set, SIGTTOU);
    sigaddset(&set, SIGTTIN);
    sigprocmask(SIG_BLOCK, &set, nullptr);
}

void leave_parent() {
    const pid_t child = fork();
    if (child < 0) {
        exit(1);
    }
    if (child > 0) {
        exit(0);
    }
}

/// Tools inherit the standard descriptors and no other.
void keep_from_tools(int fd) {
    if (fd > STDERR_FILENO) {
        fcntl(fd, F_SETFD, FD_CLOEXEC);
    }
}

void hold_pid_lock(const char* pid_file) {
    pidFilehandle = open(pid_file, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (pidFilehandle < 0) {
        _fatal("daemonize", __LINE__, "Could not open PID lock file %s, exiting", pid_file);
    }
    // A record lock: taken after the fork since children do not inherit it, lost when any descriptor of the file is
    // closed.
    if (lockf(pidFilehandle, F_TLOCK, 0) < 0) {
        _fatal("daemonize", __LINE__, "Could not lock PID lock file %s, exiting", pid_file);
    }
    dh_printf(pidFilehandle, "%d\n", static_cast<int>(getpid()));
}

} // namespace

void daemonize(const char* folder, const char* pid_file) {
    if (getppid() == 1) {
        return;
    }
    block_terminal_signals();
    catch_signals();
    end_if_told(); // by a signal that came this early: then there is nothing to become
    leave_parent();
    keep_signals_to_this_process();

    umask(027);
    if (setsid() < 0) {
        exit(1);
    }
    // Deliberate: 0, 1 and 2 stay what the daemon inherited, so that the console log keeps reaching the terminal that
    // started it. The descriptors opened here take their place only where they were closed.
    const int null_device = open("/dev/null", O_RDWR);
    if (null_device >= 0) {
        keep_from_tools(null_device);
        keep_from_tools(dup(null_device));
        keep_from_tools(dup(null_device));
    }
    [[maybe_unused]] const int moved = chdir(folder);
    hold_pid_lock(pid_file);
}

} // namespace dashboard
