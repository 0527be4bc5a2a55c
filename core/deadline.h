// When the process ends by itself, whatever lock or library a thread of it is stuck in. All in real time.
#ifndef CORE_DEADLINE_H
#define CORE_DEADLINE_H

namespace dashboard {

/// What a process shows that SIGINT or SIGTERM has ended.
constexpr int signal_exit_status = 255;

/// Main thread: the process ends with 0 within `seconds` from now. A deadline that comes earlier stays.
void end_within(unsigned seconds);

/// Main thread: the step is done, and SIGALRM is as it was before, unless the process ends by a signal.
void lift_deadline();

/// SIGINT or SIGTERM has come: the process ends with 255 within two seconds, or at an earlier deadline. Nothing takes
/// that back. Any thread, also in a signal handler.
void end_by_signal_soon();

/// Whether SIGINT or SIGTERM has come.
bool ends_by_signal();

} // namespace dashboard

#endif
