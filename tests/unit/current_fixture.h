// What the tests of the current-traffic snapshot share.
#ifndef TESTS_UNIT_CURRENT_FIXTURE_H
#define TESTS_UNIT_CURRENT_FIXTURE_H

#include "monitors/monitors.h"
#include "tests/unit/monitor_fixture.h"

#include <string>
#include <vector>

namespace dashboard::testing {

// One interface as the document shows it.
struct shown_device {
    std::string name;
    std::string type;
    uint64_t tx, rx, txrate, rxrate;
};

class current_fixture : public monitor_fixture {
protected:
    // Half of the memory used, 10 of 1000 connections, one core at 10 %.
    current_fixture() {
        world.usual_inputs();
        world.tool("netstat", "i=0; while [ $i -lt 12 ]; do echo line; i=$((i + 1)); done");
        world.csman.set(eth_port_count, 0);
        interfaces({});
        cpu({"90.10", "80.20"});
        // The calls are counted over the whole life of the process. Without a store the one that would make a snapshot
        // fails and counting begins again.
        while (loop_it() != 0) {
        }
        world.messages();
        world.forget_calls();
    }

    int init_it() { return init(current_traffic_monitor); }
    int loop_it(int32_t viewer = 1) { return loop(current_traffic_monitor, viewer); }
    // Three calls, one of which makes a snapshot: after start_quietly the second.
    void snapshot() {
        for (int call = 1; call <= 3; ++call) {
            ASSERT_EQ(loop_it(), 1);
        }
    }
    void snapshot_at(int64_t second) {
        world.clock.set(second);
        snapshot();
    }
    // Makes a store without a snapshot: init's own call is the first of three.
    void start_quietly() {
        ASSERT_EQ(init_it(), 1);
        ASSERT_FALSE(world.exists(published("current_traffic_sec")));
        world.forget_calls();
    }

    static std::string devices(const std::vector<shown_device>& all) {
        std::string text;
        int i = 0;
        for (const shown_device& one : all) {
            const std::string number = "_" + std::to_string(i++) + "\">";
            text += " <item name=\"device" + number + one.name + "</item>\n";
            text += " <item name=\"type" + number + one.type + "</item>\n";
            text += " <item name=\"tx" + number + std::to_string(one.tx) + "</item>\n";
            text += " <item name=\"rx" + number + std::to_string(one.rx) + "</item>\n";
            text += " <item name=\"txrate" + number + std::to_string(one.txrate) + "</item>\n";
            text += " <item name=\"rxrate" + number + std::to_string(one.rxrate) + "</item>\n";
        }
        return text;
    }
    static std::string port(const std::string& name, int state) {
        return "  <" + name + ">" + std::to_string(state) + "</" + name + ">\n";
    }
    // The ports with nothing configured, behind these Ethernet ports.
    static std::string ports(const std::vector<int>& eth = {}) {
        std::string text;
        int n = 0;
        for (const int state : eth) {
            const std::string name = "port_eth" + std::to_string(++n);
            text += port(name, state);
        }
        for (const char* kind : {"port_3g", "port_use3g"}) {
            for (n = 1; n <= 16; ++n) {
                const std::string name = kind + std::to_string(n);
                text += port(name, 0);
            }
        }
        return text + "  <port_wifi2g>0</port_wifi2g>\n  <port_wifi5g>0</port_wifi5g>\n  <port_power>0</port_power>\n";
    }
    void expect_current(const std::string& body) { expect_document("current_traffic_sec", datalist(body)); }
    void expect_devices(const std::vector<shown_device>& all) {
        expect_current(devices(all) + " <usage>10|50|1</usage>\n" + ports());
    }
};

} // namespace dashboard::testing

#endif
