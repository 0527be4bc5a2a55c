// What SIGHUP, SIGTERM and SIGINT do, in whatever state the daemon is.
#ifndef CORE_DASHBOARD_SIGNAL_H
#define CORE_DASHBOARD_SIGNAL_H

#include <cstdint>

namespace dashboard {

/// Has the three handled by `signal_handler`, and SIGPIPE survived; neither the three nor the alarm of their deadline
/// stay blocked. One that cannot be caught is warned of. From then on the main thread counts as busy outside
/// `wait_for_signals`.
void catch_signals();

/// From now on the handler knows this process from its children: one that has not yet become the tool that it is to be
/// dies of a signal like that tool.
void keep_signals_to_this_process();

/// SIGINT and SIGTERM end the process with 255, SIGHUP is logged, any other signal is named in the log. The work is
/// done on the main thread: a worker that is hit hands the signal on, and a main thread that is busy comes to it in
/// `wait_for_signals` or `end_if_told`. For SIGINT and SIGTERM the deadline of `end_by_signal_soon` runs meanwhile.
void signal_handler(int signal_number);

/// Main thread: sleeps `seconds` in full and acts on signals meanwhile, and only then, so that their handler never
/// interrupts the main thread inside a lock, syslog or the heap. None is blocked: tools inherit a thread's mask, and
/// one that never sees its signals waits for ever. A daemon that catches no signals just sleeps.
void wait_for_signals(int32_t seconds);

/// Main thread, where it does not wait: before it forks, and last of all, when the flags are gone with their mutex.
/// Ends the process with 255 if SIGINT or SIGTERM has come meanwhile.
void end_if_told();

} // namespace dashboard

#endif
