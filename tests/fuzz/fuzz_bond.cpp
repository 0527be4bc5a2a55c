// The kernel's list of a bond's slaves, through the monitor's check and one sample, against fscanf.
#include "monitors/monitors.h"
#include "probes/dashboard_netdev.h"
#include "tests/fuzz/outside.h"

namespace dashboard::fuzz {
namespace {

constexpr uint32_t bond_enable = 0xb20070; // bond0
constexpr char slaves_path[] = "/sys/class/net/bond0/bonding/slaves";
constexpr size_t longest_input = 4096;

struct expected_slave {
    int number;
    std::string interface;
};

std::vector<expected_slave> expected_slaves() {
    std::vector<expected_slave> slaves;
    FILE* const list = open_file(slaves_path);
    int number = 0;
    char word[longest_input + 1];
    while (slaves.size() < 4 && fscanf(list, "%d:%4096s", &number, word) == 2) {
        slaves.push_back({number, std::string(word).substr(0, 15)}); // word ends at its first NUL
    }
    fclose(list);
    return slaves;
}

// Bytes of an interface in the tables that this target makes; anything else is not alive.
int bytes_of(const std::string& interface) {
    if (interface == "bond0") {
        return 500;
    }
    return interface == "eth0" ? 30 : interface == "eth1" ? 70 : 0;
}

std::string expected_document(const std::vector<expected_slave>& slaves) {
    std::string names = "<?xml version=\"1.0\" ?>\n<datalist>\n    <namemap_bond>map</namemap_bond>\n";
    std::string sample = "    <time>1700000000000</time>\n    <bond0_txrx>500</bond0_txrx>\n";
    int k = 0;
    for (const expected_slave& slave : slaves) {
        const std::string n = std::to_string(k++);
        // A name that begins with a NUL is no name.
        if (slave.interface[0] != '\0') {
            const int shown = static_cast<int>(static_cast<unsigned>(slave.number) + 1u);
            names += "    <namemap_slave" + n + ">WAN-" + std::to_string(shown) + "(slave" + std::to_string(k) +
                     ")</namemap_slave" + n + ">\n";
            sample +=
                "    <slave" + n + "_txrx>" + std::to_string(bytes_of(slave.interface)) + "</slave" + n + "_txrx>\n";
        }
    }
    return names + sample + "</datalist>\n";
}

void make_interfaces() {
    set_file("/proc/net/dev", "Inter-|   Receive\n face |bytes\n"
                              "  eth0: 10 0 0 0 0 0 0 0 20 0 0 0 0 0 0 0\n"
                              "  eth1: 30 0 0 0 0 0 0 0 40 0 0 0 0 0 0 0\n"
                              " bond0: 200 0 0 0 0 0 0 0 300 0 0 0 0 0 0 0\n");
    set_tool_output("ifconfig", "bond0\neth0\neth1\n");
    main_netdev_info();
    main_netdev_alive();
}

} // namespace
} // namespace dashboard::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace dashboard;
    if (size > fuzz::longest_input) {
        return -1;
    }
    fuzz::make_interfaces();
    fuzz::set_number(fuzz::bond_enable, 1);
    fuzz::set_string(0xb200b0, "map");
    fuzz::set_file(fuzz::slaves_path, fuzz::text_of(data, size));

    int32_t watched = 1;
    bond_traffic_monitor.init(7, 0);
    bond_traffic_monitor.check(7, &watched, &bond_traffic_monitor);
    bond_traffic_monitor.loop(7, &watched, &bond_traffic_monitor);
    const std::string document = fuzz::read_file("/tmp/dashboard/bond_traffic_sec_0.xml");
    fuzz::require(document == fuzz::expected_document(fuzz::expected_slaves()), "the document shows the slaves");
    bond_traffic_monitor.term(7, 0);
    fuzz::remove_file("/tmp/dashboard/bond_traffic_sec_0.xml");
    return 0;
}
