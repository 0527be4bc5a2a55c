// A world in which every module has something to measure.
#ifndef TESTS_DAEMON_ALL_MODULES_H
#define TESTS_DAEMON_ALL_MODULES_H

#include "tests/daemon/module_fixture.h"
#include "tests/unit/ap_records.h"

namespace dashboard::testing {

// What there is besides lo and eth0: a bridge, a VAP of either band, a bond with a slave, two access points, one live
// SIM slot. Counters are those of moment `n`.
inline void fill_world(test_world& world, uint64_t n = 0) {
    world.netdev({{"lo", 100, 100},
                  {"eth0", 1000 + 31 * n, 2000 + 17 * n},
                  {"br0", 7 * n, 5 * n * n},
                  {"ra0", 3000 + 101 * n, 4000 + 13 * n * n},
                  {"rai1", 5000 + 7 * n, 6000 + 1009 * n},
                  {"bond0", 8000 + n, 9000 + n}});
    for (int ap = 0; ap < 2; ++ap) {
        world.file(ap_file(ap), ap_line(counted_from(1000 * static_cast<uint64_t>(ap + 1) + 60 * n)) + "\n");
    }
}

// The same once for all: what the configuration says, and what is alive.
inline void configure_world(test_world& world) {
    world.alive({"lo", "eth0", "br0", "ra0", "rai1", "bond0"});
    world.csman.set_string(wifi_24g_interface, "ra0");
    world.csman.set_string(wifi_5g_interface, "rai0");
    world.csman.set(bond_enable, 1);
    world.csman.set_string(bond_name_map, "office");
    world.file("/sys/class/net/bond0/bonding/slaves", "0:eth0\n");
    world.csman.set(sim_state, 1);
    for (uint32_t m = 0; m < 6; ++m) {
        world.csman.set(sim_measures[m], static_cast<int32_t>(60 + m));
    }
    fill_world(world);
}

} // namespace dashboard::testing

#endif
