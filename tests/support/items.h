// The items of the configuration store, spelt once for all tests.
#ifndef TESTS_SUPPORT_ITEMS_H
#define TESTS_SUPPORT_ITEMS_H

#include <cstdint>

namespace dashboard::testing {

inline constexpr uint32_t daemon_enable = 0x150780;
inline constexpr uint32_t log_mode = 0x150781;
inline constexpr uint32_t start_marker = 0x8015043e;

// One module: its number in the log, its items, the mark it leaves in the start marker (0: none).
struct module_items {
    int index;
    uint32_t enable;
    uint32_t view;
    int32_t marker;
};

inline constexpr module_items cpu_module = {0, 0x150783, 0x80150431, 1};
inline constexpr module_items mem_module = {1, 0x150784, 0x80150432, 2};
inline constexpr module_items wan_module = {2, 0x150785, 0x80150433, 3};
inline constexpr module_items bond_module = {3, 0x150786, 0x80150434, 40}; // + bond
inline constexpr module_items lan_module = {4, 0x150787, 0x80150435, 5};
inline constexpr module_items wifi_24g_module = {5, 0x150788, 0x80150436, 6};
inline constexpr module_items wifi_5g_module = {6, 0x150789, 0x80150437, 7};
inline constexpr module_items ap_module = {7, 0x15078a, 0x80150438, 8};
inline constexpr module_items allap_module = {8, 0x15078b, 0x80150439, 9};
inline constexpr module_items current_module = {9, 0x150782, 0x80150430, 0};
inline constexpr module_items sim_module = {10, 0x15078c, 0x8015043a, 10};

inline constexpr module_items all_modules[] = {
    cpu_module,     mem_module, wan_module,   bond_module,    lan_module, wifi_24g_module,
    wifi_5g_module, ap_module,  allap_module, current_module, sim_module,
};

inline constexpr uint32_t wan_enable = wan_module.enable;
inline constexpr uint32_t wan_view = wan_module.view;
inline constexpr uint32_t wan_binding = 0x10600; // + slot, from 0
inline constexpr uint32_t wan_name = 0x8001018f; // + binding, 1 to 16
inline constexpr uint32_t wan_name_99 = 0x8001000b;

inline constexpr uint32_t wifi_24g_interface = 0x8000f391;
inline constexpr uint32_t wifi_5g_interface = 0x8000f392;

inline constexpr uint32_t bond_enable = 0xb20070;   // + bond
inline constexpr uint32_t bond_name_map = 0xb200b0; // of all three

inline constexpr uint32_t sim_state = 0x801e5020; // + slot, from 0; so for each measure
inline constexpr uint32_t sim_rssi = 0x801e5f00;
inline constexpr uint32_t sim_rsrp = 0x801e8860;
inline constexpr uint32_t sim_rsrq = 0x801e7e20;
inline constexpr uint32_t sim_sinr = 0x801e2be0;
inline constexpr uint32_t sim_rscp = 0x801e7c20;
inline constexpr uint32_t sim_ecio = 0x801e5e00;
inline constexpr uint32_t sim_measure_items[] = {sim_rssi, sim_rsrp, sim_rsrq, sim_sinr, sim_rscp, sim_ecio};

inline constexpr uint32_t eth_port_count = 0x8000f360;
inline constexpr uint32_t eth_port = 0x80010020;          // + port, from 0
inline constexpr uint32_t cellular_port = 0x801e0701;     // + port, from 0
inline constexpr uint32_t cellular_port_use = 0x001e4200; // + port, from 0
inline constexpr uint32_t wifi_2g_port = 0x00010010;
inline constexpr uint32_t wifi_5g_port = 0x00010018;
inline constexpr uint32_t power_port = 0x803b0011;

} // namespace dashboard::testing

#endif
