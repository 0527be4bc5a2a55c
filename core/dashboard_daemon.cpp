#include "core/dashboard_daemon.h"

#include "base/dashboard_log.h"
#include "base/dashboard_wait.h"
#include "base/portability.h"
#include "core/dashboard_flags.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

namespace dashboard {

namespace {

constexpr unsigned longest_farewell = 2; // seconds that a dying process gives its locks and libraries
constexpr unsigned longest_report = 5;   // seconds that a line in the log may take before we give the daemon up
constexpr int signal_exit_status = 255;  // what exit(-1) shows

std::atomic<int> deadline_status{0}; // any thread's handler writes it

sigset_t handled_signals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGHUP);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    return set;
}

void change_signal_mask(int how) {
    const sigset_t set = handled_signals();
    pthread_sigmask(how, &set, nullptr);
}

void block_terminal_signals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGCHLD);
    sigaddset(&set, SIGTSTP);
    sigaddset(&set, SIGTTOU);
    sigaddset(&set, SIGTTIN);
    sigprocmask(SIG_BLOCK, &set, nullptr);
}

bool install(int signal_number, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    return sigaction(signal_number, &action, nullptr) == 0;
}

void install_signal_handlers() {
    if (!install(SIGHUP, signal_handler)) {
        _warn("daemonize", __LINE__, "can't catch SIGHUP");
    }
    if (!install(SIGTERM, signal_handler)) {
        _warn("daemonize", __LINE__, "can't catch SIGTERM");
    }
    if (!install(SIGINT, signal_handler)) {
        _warn("daemonize", __LINE__, "can't catch SIGINT");
    }
    // A console reader that goes away must not take the daemon along. A handler, not SIG_IGN, which the tools that
    // we start would inherit.
    install(SIGPIPE, [](int) {});
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

/// exit(-1) runs what the C library and the platform's libraries registered, beside workers that run on or hold their
/// locks: hence the deadline.
[[noreturn]] void end_by_signal() {
    end_within(longest_farewell, signal_exit_status);
    _warn("signal_handler", __LINE__, "Daemon exiting");
    set_main_quit_flag();
    closelog();
    close_pid_file();
    close_configuration();
    exit(-1);
}

bool ends_process(int signal_number) {
    return signal_number == SIGINT || signal_number == SIGTERM;
}

/// The main thread may have one of them blocked, and a deadline that passes meanwhile.
bool end_is_pending() {
    sigset_t pending;
    sigemptyset(&pending);
    sigpending(&pending);
    return sigismember(&pending, SIGINT) == 1 || sigismember(&pending, SIGTERM) == 1;
}

void end_at_deadline(int /*signal_number*/) {
    _exit(end_is_pending() ? signal_exit_status : deadline_status.load());
}

void hand_to_main_thread(int signal_number) {
    if (ends_process(signal_number)) {
        deadline_status = signal_exit_status;
    }
    send_to_main_thread(signal_number);
}

void report_signal(int signal_number) {
    end_within(longest_report, 0);
    if (signal_number == SIGHUP) {
        _warn("signal_handler", __LINE__, "Received SIGHUP signal.");
    } else {
        _warn("signal_handler", __LINE__, "Unhandled signal %s", strsignal(signal_number));
    }
    end_within(0, 0);
}

} // namespace

void daemonize(const char* folder, const char* pid_file) {
    if (getppid() == 1) {
        return;
    }
    block_terminal_signals();
    change_signal_mask(SIG_BLOCK);
    install_signal_handlers();
    leave_parent();

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

void signal_handler(int signal_number) {
    const int saved_errno = errno;
    if (!on_main_thread()) {
        hand_to_main_thread(signal_number);
        errno = saved_errno;
        return;
    }
    change_signal_mask(SIG_BLOCK); // until the handler returns: none of them may interrupt the log of another
    if (ends_process(signal_number)) {
        end_by_signal();
    }
    report_signal(signal_number);
    errno = saved_errno;
}

void wait_for_signals(int32_t seconds) {
    change_signal_mask(SIG_UNBLOCK);
    sleep_fully(seconds);
    change_signal_mask(SIG_BLOCK);
}

void accept_signals() {
    change_signal_mask(SIG_UNBLOCK);
}

void end_within(unsigned seconds, int status) {
    deadline_status = status;
    install(SIGALRM, end_at_deadline);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGALRM);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    alarm(seconds);
}

} // namespace dashboard
