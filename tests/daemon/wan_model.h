// What the WAN documents must hold, worked out apart from the daemon: whole lists instead of rings.
#ifndef TESTS_DAEMON_WAN_MODEL_H
#define TESTS_DAEMON_WAN_MODEL_H

#include <array>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace dashboard::testing {

// One WAN connection in one second, or on average.
struct wan_bytes {
    uint64_t tx = 0;
    uint64_t rx = 0;
    uint64_t both = 0;
};

struct wan_point {
    int64_t time = 0;
    std::vector<wan_bytes> wan; // WAN 1, WAN 2, ...
};

// The last 119 points, and how many there have ever been.
struct wan_list {
    std::deque<wan_point> points;
    int64_t pushed = 0;
    int64_t rolled_up_to = 0; // `slot` of the finer list at the last roll-up into this one
    int64_t last_roll_up = 0;

    void push(const wan_point& point);
    // Where the next point would go in a ring of 120.
    int64_t slot() const { return pushed % 120; }
    // The newest 72 as a document.
    std::string document() const;
    // The points at positions first, first + 1, ... up to but not including `end`, around a ring of 120; those that do
    // not exist do not count. Nothing when none does.
    std::optional<wan_point> average(int64_t first, int64_t end, int64_t now) const;
};

class wan_model {
public:
    // The module starts at wall clock second `now`.
    explicit wan_model(int64_t now);

    // One cycle. `watched` as the module sees it.
    void cycle(int64_t now, const std::vector<wan_bytes>& wan, bool watched = true);

    std::string sec_document;
    std::string min_document;
    std::string hour_document;
    int64_t empty_roll_ups = 0;
    int64_t min_roll_ups = 0;
    int64_t hour_roll_ups = 0;

private:
    void roll_up_hour(int64_t now);

    wan_list sec;
    wan_list min;
    wan_list hour;
};

} // namespace dashboard::testing

#endif
