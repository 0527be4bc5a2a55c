// CPU usage as mpstat measures it, and the latest measurement for whoever asks.
//
// One thread measures, any thread asks.
#ifndef PROBES_DASHBOARD_CPUINFO_H
#define PROBES_DASHBOARD_CPUINFO_H

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

/// Makes the record's mutex anew, before the first measurement. Returns false when that fails.
bool prepare_cpu_info();

/// The end of measuring: `query_cpu_info` finds nothing any more. The mutex is destroyed unless a reader is at it.
void retire_cpu_info();

/// Measures for two seconds and keeps the result where a line of it could be read. Returns false, with a warning, when
/// mpstat printed nothing at all; a command that cannot be started is warned of and tried again another time.
bool query_cpu();

} // namespace dashboard

#endif
