// Turning the process into a daemon: signals, fork, session, PID lock.
#ifndef CORE_DASHBOARD_DAEMON_H
#define CORE_DASHBOARD_DAEMON_H

namespace dashboard {

/// Makes the caller a daemon that works in `folder` and holds the lock of `pid_file`. A process whose parent is init
/// is one already: then nothing is done, and every signal does what it does to any process. Ends the process with 1
/// when it cannot fork, start a session, open or lock the file; the parent of the fork ends with 0.
void daemonize(const char* folder, const char* pid_file);

} // namespace dashboard

#endif
