// The running daemon, seen from outside: its process, its lock, its threads, its version.
#ifndef CTL_DAEMON_LOOK_H
#define CTL_DAEMON_LOOK_H

#include "beside/daemon_process.h"

#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

namespace dashboard {

/// One process, from /proc/PID. The daemon has three threads.
struct process_look {
    std::string name;
    pid_t parent = 0;
    int threads = 0;
    int64_t age = 0; // seconds
};

/// False when there is no such process.
bool look_at_process(pid_t pid, process_look& look);

struct daemon_look {
    pid_t pid = 0;   // 0: no daemon runs
    pid_t noted = 0; // the number in the PID file; 0: none
    lock_state lock = lock_state::no_file;
    bool lock_lost = false; // the daemon's PID file was removed under it
    process_look process;
    std::string version; // of the program that runs; empty when it cannot be read
};

constexpr int daemon_threads = 3;

daemon_look look_at_daemon();

/// The version that the program file `path` carries; empty when it has none or cannot be read.
std::string version_in(const std::string& path);

/// The version in a program's bytes, which stands behind "@(#)dashboard ".
std::string find_version(const std::string& bytes);

/// A variable of a running process; empty when it is unset or may not be read.
std::string variable_of(pid_t pid, const std::string& name);

/// Every process whose name is one of these.
std::vector<pid_t> find_processes(const std::vector<std::string>& names);

} // namespace dashboard

#endif
