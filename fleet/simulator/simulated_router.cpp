#include "fleet/simulator/simulated_router.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

namespace dashboard {

namespace {

constexpr int routers_of_site = 10;

uint64_t number_of(const std::string& link) {
    uint64_t number = 0;
    for (const char c : link) {
        number = number * 131 + static_cast<unsigned char>(c);
    }
    return number;
}

router_identity identity_of(int index) {
    static const char* const firmwares[] = {"4.2.0", "4.2.1", "4.3.0"};
    char name[16];
    char site[16];
    snprintf(name, sizeof name, "r%05d", index);
    snprintf(site, sizeof site, "site-%03d", index / routers_of_site);
    static const router_model models[] = {router_model::small, router_model::small, router_model::cellular,
                                          router_model::cellular, router_model::large};
    return {name, site, firmwares[lot(7, static_cast<uint64_t>(index)) % 3], models[index % 5]};
}

} // namespace

const char* model_name(router_model model) {
    static const char* const names[] = {"small", "cellular", "large"};
    return names[static_cast<int>(model)];
}

simulated_router::simulated_router(int index, const happenings& life)
    : place_in_fleet(index), own_life(life_of(life, index)), own_identity(identity_of(index)) {}

bool simulated_router::answers(int64_t t) const {
    return under_way(own_life, happening_kind::gone, "", t) == nullptr &&
           under_way(own_life, happening_kind::reboot, "", t) == nullptr;
}

int64_t simulated_router::answer_time(int64_t t) const {
    return forced(happening_kind::slow, t, 0);
}

bool simulated_router::in_inventory(int64_t t) const {
    return under_way(own_life, happening_kind::silent, "", t) == nullptr;
}

bool simulated_router::daemon_lives(int64_t t) const {
    return under_way(own_life, happening_kind::daemon_dead, "", t) == nullptr;
}

int64_t simulated_router::published_at(int64_t t) const {
    int64_t published = t;
    for (const happening_kind kind : {happening_kind::daemon_dead, happening_kind::stale}) {
        const happening* const what = under_way(own_life, kind, "", t);
        if (what != nullptr) {
            published = std::min(published, turn_start(*what, t));
        }
    }
    return published;
}

int64_t simulated_router::clock_error(int64_t t) const {
    return forced(happening_kind::clock, t, 0);
}

int64_t simulated_router::started_at(int64_t t) const {
    int64_t start = 0;
    for (const happening& what : own_life) {
        if (what.kind == happening_kind::reboot) {
            start = std::max(start, last_end(what, t));
        }
    }
    return start;
}

int64_t simulated_router::daemon_started_at(int64_t t) const {
    int64_t start = started_at(t);
    for (const happening& what : own_life) {
        if (what.kind == happening_kind::daemon_dead) {
            start = std::max(start, last_end(what, t));
        }
    }
    return start;
}

bool simulated_router::has_link(const std::string& link) const {
    return own_identity.model != router_model::small || link != "usbnet0";
}

bool simulated_router::link_up(const std::string& link, int64_t t) const {
    return has_link(link) && under_way(own_life, happening_kind::down, link, t) == nullptr &&
           under_way(own_life, happening_kind::reboot, "", t) == nullptr;
}

int64_t simulated_router::last_up(const std::string& link, int64_t t) const {
    int64_t up = t;
    for (const happening* what :
         {under_way(own_life, happening_kind::down, link, t), under_way(own_life, happening_kind::reboot, "", t)}) {
        if (what != nullptr) {
            up = std::min(up, turn_start(*what, t) - 1);
        }
    }
    return up;
}

int64_t simulated_router::counts_since(const std::string& link, int64_t t) const {
    int64_t since = started_at(t);
    for (const happening& what : own_life) {
        if (what.kind == happening_kind::restart && what.link == link) {
            since = std::max(since, last_end(what, t));
        }
    }
    return since;
}

traffic_pattern simulated_router::pattern(const std::string& link, direction way) const {
    const uint64_t seed =
        lot(static_cast<uint64_t>(place_in_fleet), number_of(link) * 2 + (way == direction::receive ? 1 : 0));
    const double most = way == direction::receive ? 1250000 : 180000;
    // Few links are busy, most are not: the cube of an even lot.
    const double share = lot_fraction(seed, 1);
    return {1000 + most * share * share * share, 0.6 * lot_fraction(seed, 2), 900 + 2700 * lot_fraction(seed, 3),
            3600 * lot_fraction(seed, 4)};
}

double simulated_router::flowed(const std::string& link, direction way, interval when) const {
    if (way == direction::both) {
        return flowed_one_way(link, direction::transmit, when) + flowed_one_way(link, direction::receive, when);
    }
    return flowed_one_way(link, way, when);
}

double simulated_router::flowed_one_way(const std::string& link, direction way, interval when) const {
    std::vector<interval> outages;
    for (const happening& what : own_life) {
        if (what.kind == happening_kind::reboot || (what.kind == happening_kind::down && what.link == link)) {
            add_turns(what, when, outages);
        }
    }
    std::sort(outages.begin(), outages.end(), [](interval a, interval b) { return a.from < b.from; });

    const traffic_pattern flow = pattern(link, way);
    double bytes = 0;
    int64_t from = when.from;
    for (const interval& outage : outages) {
        if (outage.from > from) {
            bytes += bytes_between(flow, static_cast<double>(from), static_cast<double>(outage.from));
        }
        from = std::max(from, outage.to);
    }
    return bytes + bytes_between(flow, static_cast<double>(from), static_cast<double>(std::max(from, when.to)));
}

uint64_t simulated_router::counter(const std::string& link, direction way, int64_t t) const {
    if (!link_up(link, t)) {
        return 0;
    }
    const int64_t since = counts_since(link, t);
    // A router that has not been restarted yet has been up for a while.
    const uint64_t before = since == 0 ? lot(static_cast<uint64_t>(place_in_fleet), number_of(link)) % 40000000000U : 0;
    const uint64_t both = way == direction::both ? 2 * before : before;
    return both + static_cast<uint64_t>(flowed(link, way, {since, t}));
}

uint64_t simulated_router::sent(const std::string& link, direction way, interval when) const {
    return static_cast<uint64_t>(flowed(link, way, when));
}

int64_t simulated_router::forced(happening_kind kind, int64_t t, int64_t otherwise) const {
    const happening* const what = under_way(own_life, kind, "", t);
    return what == nullptr ? otherwise : what->number;
}

int64_t simulated_router::wander(uint64_t what, int64_t t, int64_t least, int64_t most) const {
    const uint64_t seed = lot(static_cast<uint64_t>(place_in_fleet), what);
    const double phase =
        6.283185307179586 * (lot_fraction(seed, 1) + static_cast<double>(t) / (300 + 600 * lot_fraction(seed, 2)));
    return least + static_cast<int64_t>(static_cast<double>(most - least) * (0.5 + 0.5 * std::sin(phase)));
}

int64_t simulated_router::cpu(int64_t t) const {
    return forced(happening_kind::cpu, t, wander(1001, t, 3, 55));
}

int64_t simulated_router::memory(int64_t t) const {
    return forced(happening_kind::memory, t, wander(1002, t, 45, 62));
}

int64_t simulated_router::connections(int64_t t) const {
    return forced(happening_kind::connections, t, wander(1003, t, 2, 40));
}

bool simulated_router::sim_alive(int slot, int64_t t) const {
    const happening* const flap = under_way(own_life, happening_kind::sim_flap, "", t);
    if (slot == 2) {
        return place_in_fleet % 2 == 0;
    }
    return flap == nullptr || (t - turn_start(*flap, t)) / flap->number % 2 == 0;
}

int64_t simulated_router::last_alive(int slot, int64_t t) const {
    if (sim_alive(slot, t)) {
        return t;
    }
    const happening* const flap = under_way(own_life, happening_kind::sim_flap, "", t);
    if (slot == 2 || flap == nullptr) {
        return INT64_MIN;
    }
    const int64_t since = turn_start(*flap, t);
    return t - (t - since) % flap->number - 1;
}

int64_t simulated_router::rsrp(int slot, int64_t t) const {
    const int64_t usual = wander(1003 + static_cast<uint64_t>(slot), t, 78, 102);
    return slot == 1 ? forced(happening_kind::signal, t, usual) : usual;
}

} // namespace dashboard
