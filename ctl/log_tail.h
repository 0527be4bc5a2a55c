// The daemon's last warnings, wherever this machine's system log can be read.
#ifndef CTL_LOG_TAIL_H
#define CTL_LOG_TAIL_H

#include <cstddef>
#include <string>
#include <vector>

namespace dashboard {

/// Of a log's lines those with a warning or a fatal message of the daemon, the last `count` of them, oldest first.
std::vector<std::string> pick_warnings(const std::string& log, size_t count);

/// The last warnings from the first system log that can be read: a file, busybox's ring, the journal. `from` is set to
/// where that was; empty when there is no log here.
std::vector<std::string> find_warnings(size_t count, std::string& from);

} // namespace dashboard

#endif
