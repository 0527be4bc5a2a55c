// What the tests of bonds in a whole daemon share.
#ifndef TESTS_DAEMON_BOND_FIXTURE_H
#define TESTS_DAEMON_BOND_FIXTURE_H

#include "tests/daemon/module_fixture.h"

#include <string>
#include <vector>

namespace dashboard::testing {

// Three bonds and three interfaces, all up, the bond module on; no bond configured yet.
class BondModule : public live_modules {
protected:
    BondModule() {
        switch_on(bond_module);
        world.csman.set_string(bond_name_map, "office");
        world.alive({"lo", "eth0", "eth1", "eth2", "bond0", "bond1", "bond2"});
        world.netdev(
            {{"eth0", 1, 10}, {"eth1", 2, 20}, {"eth2", 3, 30}, {"bond0", 4, 40}, {"bond1", 5, 50}, {"bond2", 6, 60}});
    }

    void enable(int bond, int32_t value = 1) { world.csman.set(bond_enable + static_cast<uint32_t>(bond), value); }

    static std::string slave_list(int bond) { return "/sys/class/net/bond" + std::to_string(bond) + "/bonding/slaves"; }
    void slaves(int bond, const std::string& text) { world.file(slave_list(bond), text); }

    static std::string name(int bond) { return "bond_traffic_sec_" + std::to_string(bond) + ".xml"; }
    static std::string path(int bond) { return "/tmp/dashboard/" + name(bond); }

    // The check comes with every tenth cycle; the loop of that cycle sees what it found.
    void live_through_check() { live(10 - static_cast<int>((world.clock.now() - first_second) % 10)); }

    // The head of a document: the map and the slaves' display names.
    static std::string names(const std::string& map, const std::vector<std::string>& slave_names) {
        std::string lines = "    <namemap_bond>" + map + "</namemap_bond>\n";
        for (size_t k = 0; k < slave_names.size(); ++k) {
            const std::string tag = "namemap_slave" + std::to_string(k);
            lines += "    <" + tag + ">" + slave_names[k] + "</" + tag + ">\n";
        }
        return lines;
    }

    // One sample of a document.
    static std::string second(int64_t time, int bond, uint64_t bytes, const std::vector<uint64_t>& slave_bytes) {
        std::string lines = time_line(time) + element("bond" + std::to_string(bond) + "_txrx", bytes);
        for (size_t k = 0; k < slave_bytes.size(); ++k) {
            lines += element("slave" + std::to_string(k) + "_txrx", slave_bytes[k]);
        }
        return lines;
    }

    // The head of a bond's document and its newest sample.
    std::string head(int bond) const {
        const std::string text = world.read(path(bond));
        const size_t from = text.find("    <namemap_bond>");
        return text.substr(from, text.find("    <time>") - from);
    }
    std::string newest(int bond) const {
        const std::string text = world.read(path(bond));
        const size_t from = text.rfind("    <time>");
        return text.substr(from, text.rfind("</datalist>") - from);
    }
};

} // namespace dashboard::testing

#endif
