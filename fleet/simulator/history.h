// The fleet's past as OpenMetrics text with times, for the server's database to be filled from: what a server would
// have scraped, without waiting for it.
#ifndef FLEET_SIMULATOR_HISTORY_H
#define FLEET_SIMULATOR_HISTORY_H

#include "fleet/simulator/fleet.h"

#include <cstdint>
#include <cstdio>

namespace dashboard {

struct history_span {
    /// Seconds from the fleet's start on.
    int64_t length;
    /// Distance of scrapes, in seconds.
    int64_t step;
    /// Distance of readings of the truth.
    int64_t truth_step;
};

/// Writes what scrapes of all routers would have read, with the labels of relabelling and with `up`, and the truth of
/// every link. Returns false when the file can't be written.
bool write_history(const fleet& routers, const history_span& span, FILE* out);

} // namespace dashboard

#endif
