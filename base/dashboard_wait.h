// Waiting: whole seconds that no signal shortens, and the next second of the wall clock at little cost.
#ifndef BASE_DASHBOARD_WAIT_H
#define BASE_DASHBOARD_WAIT_H

#include <cstdint>
#include <sys/times.h>

namespace dashboard {

/// Sleeps for `seconds` in full, however many signals arrive meanwhile and wherever the wall clock goes.
void sleep_fully(int32_t seconds);

/// What one thread knows about how regularly its seconds pass, and how late it has allowed itself to be woken.
struct second_watch {
    clock_t last_turn = times(nullptr); // ticks of the machine's own clock when the last second turned
    bool steady = false;                // the last second took as long as a second takes
    long turn_delay = 0;                // ns into a second at which `time`, a coarse clock, still showed the one before
    unsigned long slack = 0;            // timer slack in force, ns; 0: the default
};

/// Polls the wall clock every 500 microseconds until it no longer shows `second` and returns what it shows then; a
/// step backwards ends the wait too. Returns at once when the second is over already. The thread's timer slack is
/// the default again when it returns.
int32_t wait_for_next_second(int32_t second, second_watch& watch);

} // namespace dashboard

#endif
