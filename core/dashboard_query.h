// The query thread: measures CPU usage about every four seconds, beside the once-per-second server loop.
#ifndef CORE_DASHBOARD_QUERY_H
#define CORE_DASHBOARD_QUERY_H

#include <cstdint>

namespace dashboard {

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
