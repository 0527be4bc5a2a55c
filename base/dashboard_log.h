// Every message of the daemon, and the formatted writer for file descriptors.
#ifndef BASE_DASHBOARD_LOG_H
#define BASE_DASHBOARD_LOG_H

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>

namespace dashboard {

/// Output switches: an output is on while its switch is exactly 1. Set by the options "logc" and "logs" and by the
/// log-mode item of csman; any thread may read them.
extern std::atomic<int32_t> log2console;
extern std::atomic<int32_t> log2syslog;

/// Information and warnings: "level[func:line]: text" to standard output and syslog as the switches say. `func` is the
/// name of the step that speaks. Text is cut at 255 characters, the line at 311. An output that does not take the line
/// at once loses it: speaking holds nobody up. Any thread.
void _msg(const char* func, int32_t line, const char* format, ...) __attribute__((format(printf, 3, 4)));
void _warn(const char* func, int32_t line, const char* format, ...) __attribute__((format(printf, 3, 4)));

/// An unrecoverable error: the line goes to both outputs whatever the switches say, then the process ends with 1.
[[noreturn]] void _fatal(const char* func, int32_t line, const char* format, ...) __attribute__((format(printf, 3, 4)));

/// The longest text that dh_printf and the documents take, its terminating NUL included.
constexpr size_t longest_text = 384;

/// Formats into `text`. Returns the length, or -1 when the text would not fit: it is refused, never cut.
int format_text(char (&text)[longest_text], const char* format, va_list arguments)
    __attribute__((format(printf, 2, 0)));

/// Writes a formatted text of at most 383 characters to `fd` with one `write` and returns its result. A longer text is
/// refused with -1; a negative `fd` too, with a warning.
int dh_printf(int fd, const char* format, ...) __attribute__((format(printf, 2, 3)));

} // namespace dashboard

#endif
