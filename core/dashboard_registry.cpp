#include "core/dashboard_registry.h"

#include "monitors/monitors.h"

#include <cstring>

namespace dashboard {

namespace {

constexpr int32_t check_period = 8; // the check runs on the tenth cycle of each ten

constexpr monitor_entry initial_row(int32_t index, const monitor_cb& callbacks) {
    return {index, 0, 0, 0, 1, 0, check_period, &callbacks};
}

constexpr monitor_entry initial_rows[module_count] = {
    initial_row(0, cpu_usage_monitor),        // CPU usage
    initial_row(1, mem_usage_monitor),        // memory usage
    initial_row(2, wan_traffic_monitor),      // WAN traffic
    initial_row(3, bond_traffic_monitor),     // bond traffic
    initial_row(4, lan_traffic_monitor),      // LAN traffic
    initial_row(5, wifi_24g_traffic_monitor), // Wi-Fi 2.4 GHz
    initial_row(6, wifi_5g_traffic_monitor),  // Wi-Fi 5 GHz
    initial_row(7, ap_traffic_monitor),       // per-AP traffic
    initial_row(8, allap_traffic_monitor),    // all-AP traffic
    initial_row(9, current_traffic_monitor),  // current traffic
    initial_row(10, sim_strquality_monitor),  // SIM signal quality
};

csid_entry csid_table[module_count] = {
    {0, 0, 0x150783, 0x80150431},  // CPU usage
    {1, 0, 0x150784, 0x80150432},  // memory usage
    {2, 0, 0x150785, 0x80150433},  // WAN traffic
    {3, 0, 0x150786, 0x80150434},  // bond traffic
    {4, 0, 0x150787, 0x80150435},  // LAN traffic
    {5, 0, 0x150788, 0x80150436},  // Wi-Fi 2.4 GHz
    {6, 0, 0x150789, 0x80150437},  // Wi-Fi 5 GHz
    {7, 0, 0x15078a, 0x80150438},  // per-AP traffic
    {8, 0, 0x15078b, 0x80150439},  // all-AP traffic
    {9, 0, 0x150782, 0x80150430},  // current traffic
    {10, 0, 0x15078c, 0x8015043a}, // SIM signal quality
};

csid_entry* find_csids(int32_t index) {
    for (csid_entry& entry : csid_table) {
        if (entry.module_index == index) {
            return &entry;
        }
    }
    return nullptr;
}

} // namespace

monitor_entry reg_monitor_cb[module_count];

void load_registry() {
    memcpy(reg_monitor_cb, initial_rows, sizeof reg_monitor_cb);
}

uint32_t find_en_csid(int32_t index) {
    const csid_entry* entry = find_csids(index);
    return entry != nullptr ? entry->enable_csid : 0;
}

uint32_t find_rd_csid(int32_t index) {
    const csid_entry* entry = find_csids(index);
    return entry != nullptr ? entry->read_csid : 0;
}

int32_t* find_timeout_value(int32_t index) {
    csid_entry* entry = find_csids(index);
    return entry != nullptr ? &entry->timeout : nullptr;
}

} // namespace dashboard
