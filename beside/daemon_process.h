// The running daemon as other programs find it: the lock of its PID file, and its process. Without the heap.
#ifndef BESIDE_DAEMON_PROCESS_H
#define BESIDE_DAEMON_PROCESS_H

#include <cstdint>
#include <sys/types.h>

namespace dashboard {

constexpr char pid_lock_file[] = "/var/run/dashboard_daemon.pid";

/// What the lock of the PID file says.
enum class lock_state {
    held,       // by the daemon
    no_file,    // there is no PID file
    stale,      // nobody holds it: the file is left from an earlier daemon
    unreadable, // this user may not look
};

/// The lock's state, and its holder; 0 when it is not known, as where it lives in another process namespace.
lock_state look_at_lock(pid_t& holder);

/// The number in the first line of the PID file; 0 when there is none. Only that line counts: the daemon does not empty
/// the file before it writes.
pid_t noted_process();

/// One process, from /proc/PID/stat.
struct process_stat {
    char name[64]; // cut to what fits; the kernel's own limit is 15 characters
    pid_t parent;
    int threads;
    int64_t age; // seconds
};

/// False when there is no such process, or when it has ended and only waits to be asked for.
bool read_process_stat(pid_t pid, process_stat& process);

/// A daemon without a lock, as process 1 starts it; 0 when there is none. A process of that name whose file may not be
/// looked at counts.
pid_t find_daemon_by_name();

} // namespace dashboard

#endif
