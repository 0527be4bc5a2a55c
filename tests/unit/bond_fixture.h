// What the tests of bond traffic share: the kernel's slave lists, the configuration, a model of the documents.
#ifndef TESTS_UNIT_BOND_FIXTURE_H
#define TESTS_UNIT_BOND_FIXTURE_H

#include "tests/unit/monitor_fixture.h"

#include <string>
#include <vector>

namespace dashboard::testing {

struct bond_second {
    int64_t time;
    uint64_t bond;
    std::vector<uint64_t> slaves; // of those that have a name
};

class bond_fixture : public monitor_fixture {
protected:
    const monitor_cb& module = bond_traffic_monitor;

    void enable(int bond, int32_t value = 1) { world.csman.set(bond_enable + static_cast<uint32_t>(bond), value); }
    static std::string slave_list(int bond) { return "/sys/class/net/bond" + std::to_string(bond) + "/bonding/slaves"; }
    void slaves(int bond, const std::string& text) { world.file(slave_list(bond), text); }

    static std::string file(int bond, const std::string& series = "sec") {
        return "/tmp/dashboard/bond_traffic_" + series + "_" + std::to_string(bond) + ".xml";
    }

    // Writes the document of one bond through the callback set.
    int write_sec(int32_t bond) { return module.write_sec(csman_handle_of_tests, &bond); }
    int write_min(int32_t bond) { return module.write_min(csman_handle_of_tests, &bond); }
    int write_hour(int32_t bond) { return module.write_hour(csman_handle_of_tests, &bond); }

    // A document of a bond whose slaves are `names` (their display names), the map above them.
    static std::string document(int bond, const std::string& map, const std::vector<std::string>& names,
                                const std::vector<bond_second>& seconds) {
        std::string body = "    <namemap_bond>" + map + "</namemap_bond>\n";
        for (size_t k = 0; k < names.size(); ++k) {
            const std::string tag = "namemap_slave" + std::to_string(k);
            body += "    <" + tag + ">" + names[k] + "</" + tag + ">\n";
        }
        for (const bond_second& second : seconds) {
            body += "    <time>" + std::to_string(second.time) + "000</time>\n";
            const std::string tag = "bond" + std::to_string(bond) + "_txrx";
            body += "    <" + tag + ">" + std::to_string(second.bond) + "</" + tag + ">\n";
            for (size_t k = 0; k < second.slaves.size(); ++k) {
                const std::string slave = "slave" + std::to_string(k) + "_txrx";
                body += "    <" + slave + ">" + std::to_string(second.slaves[k]) + "</" + slave + ">\n";
            }
        }
        return datalist(body);
    }

    // The document as it is now, whatever the viewer sees.
    void expect_state(int bond, const std::string& map, const std::vector<std::string>& names,
                      const std::vector<bond_second>& seconds = {}) {
        ASSERT_EQ(write_sec(bond), 1);
        expect_published(file(bond), document(bond, map, names, seconds));
    }

    // Ready, with bond `bond` up; its slaves are eth0 and eth1, WAN 1 and 2; the map is "office".
    void bring_up(int bond = 0) {
        enable(bond);
        world.csman.set_string(bond_name_map, "office");
        slaves(bond, "0:eth0\n1:eth1\n");
        ASSERT_EQ(init(module), 1);
        ASSERT_EQ(check(module), 1);
        world.messages();
    }
};

inline const std::vector<std::string> two_slaves = {"WAN-1(slave1)", "WAN-2(slave2)"};

} // namespace dashboard::testing

#endif
