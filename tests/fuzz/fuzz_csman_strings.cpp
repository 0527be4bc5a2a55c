// The strings that csman holds, through the modules that read them. Input: "WAN 1~WAN 2~2.4 GHz~5 GHz~bond names".
#include "monitors/monitors.h"
#include "probes/dashboard_netdev.h"
#include "tests/fuzz/outside.h"

namespace dashboard::fuzz {
namespace {

constexpr char wan_path[] = "/tmp/dashboard/wan_traffic_sec_0.xml";
constexpr char wifi_24g_path[] = "/tmp/dashboard/wifi_24g_traffic_sec_0.xml";
constexpr char wifi_5g_path[] = "/tmp/dashboard/wifi_5g_traffic_sec_0.xml";
constexpr char bond_path[] = "/tmp/dashboard/bond_traffic_sec_0.xml";

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// A string as a module sees it that gave room for `size` bytes.
std::string seen(const std::string& item, size_t size) {
    const std::string kept = item.substr(0, size);
    return kept.substr(0, kept.find('\0'));
}

void make_interfaces() {
    set_file("/proc/net/dev", "Inter-|   Receive\n face |bytes\n"
                              "  eth0: 11 0 0 0 0 0 0 0 1 0 0 0 0 0 0 0\n"
                              "   ra0: 22 0 0 0 0 0 0 0 2 0 0 0 0 0 0 0\n"
                              "  rai0: 33 0 0 0 0 0 0 0 3 0 0 0 0 0 0 0\n"
                              "a23456789012345: 44 0 0 0 0 0 0 0 4 0 0 0 0 0 0 0\n"
                              " bond0: 55 0 0 0 0 0 0 0 5 0 0 0 0 0 0 0\n");
    set_tool_output("ifconfig", "lo\neth0\nra0\nrai0\na23456789012345\nbond0\n");
    main_netdev_info();
    main_netdev_alive();
}

// Bytes received of the interface of that very name; 0 for any other name.
int rx_of(const std::string& name) {
    static const struct {
        const char* name;
        int rx;
    } interfaces[] = {{"eth0", 11}, {"ra0", 22}, {"rai0", 33}, {"a23456789012345", 44}, {"bond0", 55}};
    for (const auto& interface : interfaces) {
        if (name == interface.name) {
            return interface.rx;
        }
    }
    return 0;
}

// One cycle of a module that is watched; its document, or nothing.
std::string run(const monitor_cb& module, const char* path) {
    int32_t watched = 1;
    module.init(7, 0);
    remove_file(path); // what init has written holds no sample
    module.check(7, &watched, &module);
    module.loop(7, &watched, &module);
    const std::string document = read_file(path);
    module.term(7, 0);
    remove_file(path);
    return document;
}

void check_wan(const std::string (&names)[2]) {
    const std::string document = run(wan_traffic_monitor, wan_path);
    const bool alive = rx_of(names[0]) + rx_of(names[1]) > 0;
    require(is_whole_document(document) == alive, "a document if a WAN is alive");
    for (int slot = 0; slot < 2 && alive; ++slot) {
        const std::string n = std::to_string(slot + 1);
        const std::string element =
            "    <wan" + n + "_rx>" + std::to_string(rx_of(names[slot])) + "</wan" + n + "_rx>\n";
        require(contains(document, element) == !names[slot].empty(), "every WAN with a name, and its bytes");
    }
}

void check_wifi(const monitor_cb& module, const char* path, const std::string& name, const char* element) {
    const std::string document = run(module, path);
    const int rx = name == "ra0" || name == "rai0" ? rx_of(name) : 0;
    require(is_whole_document(document) == (rx != 0), "a document if the band is known");
    require(rx == 0 || contains(document, element + std::to_string(rx) + "<"), "and the bytes of its first VAP");
}

} // namespace
} // namespace dashboard::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace dashboard;
    const std::vector<std::string> parts = fuzz::parts_of(fuzz::text_of(data, size), 5);
    fuzz::make_interfaces();
    fuzz::set_number(0x10600, 99); // the binding of WAN 1
    fuzz::set_number(0x10601, 16); // and of WAN 2
    fuzz::set_string(0x8001000b, parts[0]);
    fuzz::set_string(0x8001018f + 16, parts[1]);
    fuzz::set_string(0x8000f391, parts[2]);
    fuzz::set_string(0x8000f392, parts[3]);
    fuzz::set_string(0xb200b0, parts[4]);
    fuzz::set_number(0xb20070, 1);
    fuzz::set_file("/sys/class/net/bond0/bonding/slaves", "0:eth0");

    fuzz::check_wan({fuzz::seen(parts[0], 16), fuzz::seen(parts[1], 16)});
    fuzz::check_wifi(wifi_24g_traffic_monitor, fuzz::wifi_24g_path, fuzz::seen(parts[2], 26), "<VAP1_24_Rx>");
    fuzz::check_wifi(wifi_5g_traffic_monitor, fuzz::wifi_5g_path, fuzz::seen(parts[3], 26), "<VAP1_50_Rx>");

    const std::string bond = fuzz::run(bond_traffic_monitor, fuzz::bond_path);
    const std::string map = "    <namemap_bond>" + fuzz::seen(parts[4], 64) + "</namemap_bond>\n";
    fuzz::require(fuzz::is_whole_document(bond) && fuzz::contains(bond, map), "the bond's name is shown");
    return 0;
}
