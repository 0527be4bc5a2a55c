// How many requests were refused since the router was started: the one thing that this program keeps, in a small file
// of fixed size.
#ifndef EXPORTER_REFUSAL_COUNT_H
#define EXPORTER_REFUSAL_COUNT_H

#include "exporter/exposition.h"

#include <cstdint>

namespace dashboard {

/// Lost at a restart, as everything in /tmp is.
constexpr char refusal_file[] = "/tmp/dashboard-metrics.refused";

/// Counts one refusal by its word. What cannot be written is not counted.
void count_refusal(const char* word);

/// The counts so far; zeros where there is no file, or where it is not this user's own.
void read_refusals(uint64_t (&counts)[refusal_total]);

} // namespace dashboard

#endif
