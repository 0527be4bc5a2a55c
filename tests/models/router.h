// A router on which every module has something to measure, and what they must publish of it: for the unit tests of one
// module and for whole daemons alike.
#ifndef TESTS_MODELS_ROUTER_H
#define TESTS_MODELS_ROUTER_H

#include "tests/support/world.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace dashboard::testing {

// What the configuration says and what is alive, once for all: WAN 1 and 2, bridges br0 and br4, two VAPs of either
// band, a bond with a slave, two access points, both SIM slots. Then moment 0.
void configure_router(test_world& world);

// What moment `n` shows; CPU usage stays what it was. Counters wrap and averages have remainders.
void router_at(test_world& world, uint64_t n);

// The same in parts, for a test of one module that lives long: the counters of all interfaces, the memory, the access
// points' records, the SIM slots.
void router_traffic_at(test_world& world, uint64_t n);
void router_memory_at(test_world& world, uint64_t n);
void router_aps_at(test_world& world, uint64_t n);
void router_sims_at(test_world& world, uint64_t n);

// CPU usage of moment `n`, as the next measurement will find it.
void router_cpu_at(test_world& world, uint64_t n);

// The three series of one metric that began at a second, worked out apart from the daemon.
class metric_history {
public:
    metric_history() = default;
    virtual ~metric_history() = default;
    metric_history(const metric_history&) = delete;
    metric_history& operator=(const metric_history&) = delete;

    // A sample of moment `n`, taken in second `now`. Returns whether every roll-up that was due found something.
    virtual bool feed(int64_t now, uint64_t n) = 0;

    // What is published of a series: 0 seconds, 1 minutes, 2 hours.
    virtual std::string document(int series) const = 0;
    virtual std::string csv(int series) const = 0;
    virtual size_t held(int series) const = 0;
    virtual int64_t newest_time(int series) const = 0;
};

using begin_history = std::unique_ptr<metric_history> (*)(int64_t start);

std::unique_ptr<metric_history> cpu_history(int64_t start);
std::unique_ptr<metric_history> mem_history(int64_t start);
std::unique_ptr<metric_history> wan_history(int64_t start);
std::unique_ptr<metric_history> lan_history(int64_t start);
std::unique_ptr<metric_history> wifi_24g_history(int64_t start);
std::unique_ptr<metric_history> wifi_5g_history(int64_t start);
std::unique_ptr<metric_history> first_ap_history(int64_t start);
std::unique_ptr<metric_history> allap_history(int64_t start);
std::unique_ptr<metric_history> sim_history(int64_t start);

} // namespace dashboard::testing

#endif
