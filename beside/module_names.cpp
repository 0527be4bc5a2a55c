#include "beside/module_names.h"

namespace dashboard {

const module_names module_table[module_total] = {
    {"CPU", "cpu", 0x00150783, 0x80150431, "cpu_usage", true, false, 1},
    {"memory", "mem", 0x00150784, 0x80150432, "mem_usage", true, false, 1},
    {"WAN", "wan", 0x00150785, 0x80150433, "wan_traffic", true, false, 1},
    {"bonds", "bond", 0x00150786, 0x80150434, "bond_traffic", true, true, 3},
    {"LAN", "lan", 0x00150787, 0x80150435, "lan_traffic", true, false, 1},
    {"Wi-Fi 2.4", "wifi24", 0x00150788, 0x80150436, "wifi_24g_traffic", true, false, 1},
    {"Wi-Fi 5", "wifi5", 0x00150789, 0x80150437, "wifi_5g_traffic", true, false, 1},
    {"each AP", "ap", 0x0015078a, 0x80150438, "aptraffic", true, false, 128},
    {"all APs", "allap", 0x0015078b, 0x80150439, "aptraffic_allap", false, false, 1},
    {"current", "current", 0x00150782, 0x80150430, "current_traffic", true, true, 1},
    {"SIM", "sim", 0x0015078c, 0x8015043a, "sim_strquality", true, false, 1},
};

} // namespace dashboard
