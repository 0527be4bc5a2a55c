// What happens to the routers of a simulated fleet, and when: read from a file, a happening a line.
//
//   FROM TO EVERY ROUTERS WHAT [ARGUMENT]
//
// Times are seconds since the fleet's start; EVERY is the distance of repetitions, 0 for none. ROUTERS is an index, or
// "K/M" for all whose index leaves K when it is divided by M. Empty lines and what follows "#" do not count.
//
//   reboot           no answer from FROM to TO, then all counters at 0
//   gone             no answer; the router works on
//   silent           not in the inventory: nobody asks, so not even that it is gone is known
//   slow N           takes N seconds to answer
//   daemon_dead      answers, but nothing is sampled; its counters go on in the kernel
//   stale            the daemon lives and writes no documents
//   down LINK        the link carries nothing and reads 0; it keeps its count
//   restart LINK     the link counts from 0 since TO
//   cpu N            CPU usage of N percent
//   memory N         memory usage of N percent
//   connections N    connection table N percent full
//   signal N         RSRP of SIM 1 at -N dBm
//   sim_flap N       SIM 1 is there for N seconds and away for N seconds, in turns
//   clock N          the clock is N seconds ahead (negative: behind)
#ifndef FLEET_SIMULATOR_LIFE_H
#define FLEET_SIMULATOR_LIFE_H

#include <cstdint>
#include <string>
#include <vector>

namespace dashboard {

/// The order of the words in `happening_words`.
enum class happening_kind {
    reboot,
    gone,
    silent,
    slow,
    daemon_dead,
    stale,
    down,
    restart,
    cpu,
    memory,
    connections,
    signal,
    sim_flap,
    clock
};

struct happening {
    int64_t from;
    int64_t to;
    int64_t every;
    int remainder;
    /// 0: the one router `remainder`.
    int modulus;
    happening_kind kind;
    /// A link's name.
    std::string link;
    int64_t number;
};

using happenings = std::vector<happening>;

struct interval {
    int64_t from;
    int64_t to;
};

/// Adds the happenings of a text to `life`. Returns "" or what is wrong, with the number of its line.
std::string read_life(const std::string& text, happenings& life);

/// Those that concern one router.
happenings life_of(const happenings& life, int router);

/// The one of a kind that is under way at `t`; null when there is none. `link` matters where the kind has one.
const happening* under_way(const happenings& life, happening_kind kind, const std::string& link, int64_t t);

/// When the turn that is under way, or was the last one, began: meaningful for a `t` at or after the first.
int64_t turn_start(const happening& what, int64_t t);

/// The end of the last turn that had ended at `t`; -1 when none had.
int64_t last_end(const happening& what, int64_t t);

/// All turns that overlap with a stretch of time, cut to it.
void add_turns(const happening& what, interval within, std::vector<interval>& turns);

} // namespace dashboard

#endif
