// Running a tool, for a bounded time.
#ifndef CTL_COMMAND_H
#define CTL_COMMAND_H

#include <string>

namespace dashboard {

constexpr int command_timed_out = -2;

/// Runs a shell command with standard input and error output at /dev/null, and takes what it prints, at most 1 MB.
/// Returns its exit status, -1 when it could not be run or was ended by a signal, command_timed_out when it was ended
/// because it took longer than `seconds`.
int run_command(const char* command, int seconds, std::string& output);

/// Whether the shell finds a command of this name; `path` is where.
bool find_command(const std::string& name, std::string& path);

} // namespace dashboard

#endif
