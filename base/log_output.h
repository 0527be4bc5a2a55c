// Where the lines of the log go: the console and the system log, neither of which may hold a thread up.
#ifndef BASE_LOG_OUTPUT_H
#define BASE_LOG_OUTPUT_H

#include <cstddef>

namespace dashboard {

/// The longest line, its terminating NUL included.
constexpr size_t longest_line = 312;

/// Writes `text`, shorter than `longest_line`, and a newline to standard output: with one `write` that does not wait.
/// What the console does not take at once is lost: of a pipe always the whole line, of a terminal the rest of it. Only
/// a console that is neither a pipe, a terminal nor a socket, or that this process may not open, can make the thread
/// wait, when somebody else fills it between our question for room and our write. Any thread.
void print_line(const char* text);

/// Gives `text` to `syslog` as a notice, unless the system log would let us wait for room in its queue: then it is
/// lost. The queue is looked at just before: only what takes its last place in between can still make the thread wait,
/// until the log is read again. That is another program; or, at a log that takes connections, our own look before the
/// C library connects. Any thread; one at a time.
void send_line(const char* text);

} // namespace dashboard

#endif
