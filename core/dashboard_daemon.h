// Turning the process into a daemon: fork, session, PID lock, signals.
#ifndef CORE_DASHBOARD_DAEMON_H
#define CORE_DASHBOARD_DAEMON_H

#include <cstdint>

namespace dashboard {

/// Makes the caller a daemon that works in `folder` and holds the lock of `pid_file`. A process whose parent is init
/// is one already: then nothing is done. Ends the process with 1 when it cannot fork, start a session, open or lock
/// the file; the parent of the fork ends with 0. From then on the main thread meets SIGHUP, SIGTERM and SIGINT only
/// inside `wait_for_signals`.
void daemonize(const char* folder, const char* pid_file);

/// SIGINT and SIGTERM end the process with 255, SIGHUP is logged, any other signal is named in the log. The work is
/// done on the main thread: a worker that is hit hands the signal on.
void signal_handler(int signal_number);

/// Main thread: sleeps `seconds` in full and lets signals in meanwhile, and only then, so that their handler never
/// interrupts the main thread inside a lock, stdio, syslog or the heap.
void wait_for_signals(int32_t seconds);

/// Workers: take signals like any thread does, whatever the main thread has blocked. Children inherit a thread's mask,
/// and a tool that never sees its signals waits for ever.
void accept_signals();

/// From now on the process ends by itself with `status` within `seconds` of real time, whatever lock or library the
/// calling thread may get stuck in; with 255 when SIGINT or SIGTERM waits to be taken by then. The next call moves the
/// deadline; 0 seconds take it back.
void end_within(unsigned seconds, int status);

} // namespace dashboard

#endif
