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

/// The counts so far. False where none can be kept: the folder is read-only, or the file is not this user's own.
bool read_refusals(uint64_t (&counts)[refusal_total]);

} // namespace dashboard

#endif
