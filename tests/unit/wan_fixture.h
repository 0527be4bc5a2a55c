// What the tests of the WAN monitor share.
#ifndef TESTS_UNIT_WAN_FIXTURE_H
#define TESTS_UNIT_WAN_FIXTURE_H

#include "tests/unit/monitor_fixture.h"

#include <string>

namespace dashboard::testing {

class wan_fixture : public monitor_fixture {
protected:
    // Binds WAN connection `slot` (from 0) to an interface, through the name item of binding slot + 1.
    void bind(uint32_t slot, const std::string& name) {
        world.csman.set(wan_binding + slot, static_cast<int32_t>(slot) + 1);
        world.csman.set_string(wan_name + 1 + slot, name);
    }
    int init_it() { return init(wan_traffic_monitor); }
    int check_it() { return check(wan_traffic_monitor); }
    int loop_it(int32_t viewer = 1) { return loop(wan_traffic_monitor, viewer); }
};

} // namespace dashboard::testing

#endif
