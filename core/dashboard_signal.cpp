#include "core/dashboard_signal.h"

#include "base/dashboard_log.h"
#include "base/dashboard_wait.h"
#include "base/portability.h"
#include "core/dashboard_flags.h"
#include "core/deadline.h"
#include "probes/tool_end.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sys/types.h>
#include <syslog.h>

namespace dashboard {

namespace {

std::atomic<pid_t> daemon_id{0}; // our process, from the fork on; before there is no child but the daemon itself

// Signals that met the main thread where it must not be interrupted, until it comes to them.
std::atomic<bool> main_is_busy{false};
std::atomic<int> noted_end{0};
std::atomic<int> noted_report{0};

/// Whoever started us may have had them blocked. The deadline's alarm, too: the handler that sets a deadline cannot
/// unblock it for longer than it runs.
void unblock_handled_signals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGHUP);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGALRM);
    sigprocmask(SIG_UNBLOCK, &set, nullptr);
}

bool install(int signal_number, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    return sigaction(signal_number, &action, nullptr) == 0;
}

bool ends_process(int signal_number) {
    return signal_number == SIGINT || signal_number == SIGTERM;
}

/// exit(-1) runs what the C library and the platform's libraries registered, beside workers that run on or hold their
/// locks: hence the deadline, which has been set.
[[noreturn]] void leave() {
    closelog();
    close_pid_file();
    close_configuration();
    end_tools();
    exit(-1);
}

void say_farewell() {
    _warn("signal_handler", __LINE__, "Daemon exiting");
}

/// On the main thread, where nothing is interrupted.
void act_on(int signal_number) {
    if (ends_process(signal_number)) {
        say_farewell();
        set_main_quit_flag();
        leave();
    }
    if (signal_number == SIGHUP) {
        _warn("signal_handler", __LINE__, "Received SIGHUP signal.");
    } else {
        _warn("signal_handler", __LINE__, "Unhandled signal %s", strsignal(signal_number));
    }
}

int take_noted_signal() {
    const int end = noted_end.exchange(0);
    return end != 0 ? end : noted_report.exchange(0);
}

/// The main thread is busy while it acts: a signal that comes meanwhile is noted and has its turn next.
void act_on_all(int signal_number) {
    while (signal_number != 0) {
        main_is_busy = true;
        act_on(signal_number);
        main_is_busy = false;
        signal_number = take_noted_signal();
    }
}

/// A tool between its fork and its exec still has our handlers, and after a vfork even our memory, but not our process
/// id. It has its own dispositions in either case, and dies like the tool that it is about to become.
bool in_a_tool() {
    return daemon_id != 0 && daemon_id != process_id();
}

void die_as_a_tool(int signal_number) {
    install(signal_number, SIG_DFL);
    send_to_main_thread(signal_number); // taken when the handler returns
}

} // namespace

void catch_signals() {
    main_is_busy = true;
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
    unblock_handled_signals();
}

void keep_signals_to_this_process() {
    daemon_id = process_id();
}

void signal_handler(int signal_number) {
    const int saved_errno = errno;
    if (in_a_tool()) {
        die_as_a_tool(signal_number);
        errno = saved_errno;
        return;
    }
    if (ends_process(signal_number)) {
        end_by_signal_soon();
    }
    if (!on_main_thread()) {
        send_to_main_thread(signal_number);
    } else if (!main_is_busy) {
        act_on_all(signal_number);
    } else {
        (ends_process(signal_number) ? noted_end : noted_report) = signal_number;
    }
    errno = saved_errno;
}

void wait_for_signals(int32_t seconds) {
    main_is_busy = false;
    act_on_all(take_noted_signal());
    sleep_fully(seconds);
    main_is_busy = true;
}

void end_if_told() {
    if (ends_by_signal()) { // also where a worker has it and is about to hand it on
        say_farewell();
        leave();
    }
}

} // namespace dashboard
