// What the threads tell each other: keep-alive counters and quit flags under the global mutex.
#ifndef CORE_DASHBOARD_FLAGS_H
#define CORE_DASHBOARD_FLAGS_H

#include "base/dashboard_mutex.h"

#include <atomic>
#include <cstdint>

namespace dashboard {

/// Guards the counters and flags below and nothing else. No call blocks while it is held.
extern mutex g_mutex;

/// Descriptor of the open and locked PID file; -1 when closed.
extern std::atomic<int32_t> pidFilehandle;

/// Handle of the configuration store that the server thread opened; -1 when closed. Whoever closes the store takes
/// the handle out with `exchange(-1)` first, so that it is closed once.
extern std::atomic<int32_t> csman_handle;

/// A worker's question, once per cycle: counts the worker as alive and returns its quit flag, 0 to run on or -1 to
/// leave.
int32_t check_server_thread_status();
int32_t check_query_thread_status();

/// The counters as the watchdog compares them.
int32_t get_server_kal_counter();
int32_t get_query_kal_counter();

/// Tell one worker to leave at its next cycle.
void set_server_quit_flag();
void set_query_quit_flag();

/// The main quit flag: 0, or -1 once somebody met a condition that the daemon cannot live with. Setting it also closes
/// the PID file, which gives up the lock; the watchdog sees the flag within five seconds.
int32_t get_main_quit_flag();
void set_main_quit_flag();

/// Close the PID file and the configuration store unless they are closed already.
void close_pid_file();
void close_configuration();

} // namespace dashboard

#endif
