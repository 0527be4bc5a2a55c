// What a router's other programs would do, as plain values: the access points' counters and the modems' signals at a
// given second. play_router writes them down.
#ifndef PLATFORM_HOST_ROUTER_PLAY_H
#define PLATFORM_HOST_ROUTER_PLAY_H

#include <cstdint>
#include <string>
#include <vector>

namespace dashboard {

constexpr int access_point_limit = 128;
constexpr int sim_slot_limit = 2;

/// What is played. Periods are in seconds; 0: it never happens.
struct play_plan {
    int access_points = 2;  // 0 to access_point_limit
    int sim_slots = 2;      // 0 to sim_slot_limit
    int away_period = 0;    // each access point is away in the last third of every such period
    int restart_period = 0; // each access point begins to count at 0 in every such period
};

/// Bytes, as an interface or an access point counts them.
struct byte_counters {
    uint64_t sent = 0;
    uint64_t received = 0;
};

/// One access point at one second.
struct access_point_state {
    bool there = false; // its record is there
    byte_counters total;
};

/// All access points through the seconds. `index` is from 0, seconds count from the start of the play.
class access_point_play {
public:
    explicit access_point_play(const play_plan& chosen);

    /// Goes on to `second`, which must not lie before the last one, with made-up traffic: access point `index` carries
    /// (index + 1) times 20 to 40 kB/s each way.
    void make_up(int64_t second);

    /// The same with the traffic that a real interface has counted so far. An access point that restarts counts what
    /// comes after its restart, and all of them count anew when the interface does.
    void follow(int64_t second, const byte_counters& counted);

    const std::vector<access_point_state>& points() const { return states; }

private:
    void advance(int64_t second, const byte_counters* counted);

    play_plan plan;
    std::vector<access_point_state> states;
    std::vector<byte_counters> bases; // what the interface had counted when the access point restarted
    int64_t last_second = 0;
};

/// The line of an access point's record: its own counters, and the same for the one virtual access point that has its
/// traffic. Even ones are busy at 2.4 GHz, odd ones at 5 GHz; each pair on the next virtual access point.
std::string access_point_record(int index, const byte_counters& total);

/// An item of the configuration store, by the name that csmanctl knows, and its number.
struct played_item {
    std::string name;
    int32_t value;
};

/// The items of the first `slots` SIM slots: both alive, the second with the weaker signal, both in a wave of twenty
/// seconds.
std::vector<played_item> sim_items(int slots, int64_t second);

} // namespace dashboard

#endif
