// The query thread: samples CPU usage with mpstat about every four seconds, beside the once-per-second server loop.
#ifndef CORE_DASHBOARD_QUERY_H
#define CORE_DASHBOARD_QUERY_H

#include <cstdint>

namespace dashboard {

/// The latest measurement, in percent (100 - idle). A core that mpstat did not report holds -1.
struct cpu_info {
    int32_t valid; // 0 until the first measurement, then 1 for good
    int32_t all;   // all cores together
    int32_t cpu[4];
};

static_assert(sizeof(cpu_info) == 6 * sizeof(int32_t), "six 32-bit fields");

/// One "Average:" line of mpstat: the name of the core and the integer parts of its ten percentages, the last of
/// them %idle.
struct cpu_line {
    char name[5];
    int32_t percent[10];
};

/// Copies the latest measurement to `out` and returns 1; returns 0 and leaves `out` alone while there is none. Any
/// thread, from process start.
int32_t query_cpu_info(cpu_info* out);

/// Parses one line that begins with "Average:". Returns 1, or 0 with a warning when the line has another form.
int32_t find_cpu_info(const char* line, cpu_line* out);

/// What the query thread carries from one second to the next. Times in seconds since the epoch.
struct query_state {
    int32_t last; // the last look that was in order
    int32_t next; // a measurement is due after this second
};

/// One second's work without its sleep: watches the wall clock for jumps, measures when a measurement is due.
void query_step(query_state& state);

/// The thread function; takes and returns nothing. Ends when its quit flag is set.
void query();

} // namespace dashboard

#endif
