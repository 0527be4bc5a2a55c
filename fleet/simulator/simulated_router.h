// One router of a simulated fleet at any moment: a function of its index, its life and the time, with no state that
// moves. So a day of it can be asked for as quickly as a second, in any order, and the same question gets the same
// answer.
#ifndef FLEET_SIMULATOR_SIMULATED_ROUTER_H
#define FLEET_SIMULATOR_SIMULATED_ROUTER_H

#include "fleet/simulator/life.h"
#include "fleet/simulator/traffic.h"

#include <cstdint>
#include <string>

namespace dashboard {

enum class direction { transmit, receive, both };

/// The models differ by the documents that they publish.
enum class router_model { small, cellular, large };

struct router_identity {
    std::string name;
    std::string site;
    std::string firmware;
    router_model model;
};

const char* model_name(router_model model);

class simulated_router {
public:
    simulated_router(int index, const happenings& life);

    int index() const { return place_in_fleet; }
    const router_identity& identity() const { return own_identity; }

    /// Whether a scrape at `t` gets an answer.
    bool answers(int64_t t) const;

    /// How long that takes, in seconds.
    int64_t answer_time(int64_t t) const;

    /// Whether somebody scrapes it at all.
    bool in_inventory(int64_t t) const;

    bool daemon_lives(int64_t t) const;

    /// The moment that the published documents show: `t`, or when the daemon stopped writing.
    int64_t published_at(int64_t t) const;

    /// How far the router's clock is ahead, in seconds.
    int64_t clock_error(int64_t t) const;

    /// When the router started last; 0 before any reboot.
    int64_t started_at(int64_t t) const;

    /// When the daemon started last; 0 when it never did since the fleet's start.
    int64_t daemon_started_at(int64_t t) const;

    /// The smallest model has one WAN.
    bool has_link(const std::string& link) const;

    bool link_up(const std::string& link, int64_t t) const;

    /// The last moment at which a link was up, or a SIM slot alive: `t` itself, when it is.
    int64_t last_up(const std::string& link, int64_t t) const;
    int64_t last_alive(int slot, int64_t t) const;

    /// What the kernel shows: bytes since the link's last restart, 0 while it is down.
    uint64_t counter(const std::string& link, direction way, int64_t t) const;

    /// Bytes that really went over the link between two moments, whatever was counted of them.
    uint64_t sent(const std::string& link, direction way, interval when) const;

    /// Percentages.
    int64_t cpu(int64_t t) const;
    int64_t memory(int64_t t) const;
    int64_t connections(int64_t t) const;

    /// Whether a SIM slot, 1 or 2, is alive, and the magnitude of its RSRP. Every other router has the first slot only.
    bool sim_alive(int slot, int64_t t) const;
    int64_t rsrp(int slot, int64_t t) const;

private:
    traffic_pattern pattern(const std::string& link, direction way) const;
    double flowed(const std::string& link, direction way, interval when) const;
    double flowed_one_way(const std::string& link, direction way, interval when) const;
    int64_t counts_since(const std::string& link, int64_t t) const;
    int64_t forced(happening_kind kind, int64_t t, int64_t otherwise) const;
    int64_t wander(uint64_t what, int64_t t, int64_t least, int64_t most) const;

    int place_in_fleet;
    happenings own_life;
    router_identity own_identity;
};

} // namespace dashboard

#endif
