#include "core/dashboard_registry.h"

#include "monitors/monitors.h"

#include <array>
#include <cstddef>

namespace dashboard {

namespace {

constexpr int32_t check_period = 8; // the check runs on the tenth cycle of each ten

/// One module: its callback set, and the csman items that switch it on and carry its viewer request.
struct module_row {
    const monitor_cb& callbacks;
    uint32_t enable_csid;
    uint32_t read_csid;
};

/// Row i is module i.
constexpr module_row modules[] = {
    {cpu_usage_monitor, 0x150783, 0x80150431},        // CPU usage
    {mem_usage_monitor, 0x150784, 0x80150432},        // memory usage
    {wan_traffic_monitor, 0x150785, 0x80150433},      // WAN traffic
    {bond_traffic_monitor, 0x150786, 0x80150434},     // bond traffic
    {lan_traffic_monitor, 0x150787, 0x80150435},      // LAN traffic
    {wifi_24g_traffic_monitor, 0x150788, 0x80150436}, // Wi-Fi 2.4 GHz
    {wifi_5g_traffic_monitor, 0x150789, 0x80150437},  // Wi-Fi 5 GHz
    {ap_traffic_monitor, 0x15078a, 0x80150438},       // per-AP traffic
    {allap_traffic_monitor, 0x15078b, 0x80150439},    // all-AP traffic
    {current_traffic_monitor, 0x150782, 0x80150430},  // current traffic
    {sim_strquality_monitor, 0x15078c, 0x8015043a},   // SIM signal quality
};

static_assert(sizeof modules / sizeof modules[0] == module_count, "a row for every module");

constexpr monitor_entry initial_row(int32_t index) {
    monitor_entry row{};
    row.module_index = index;
    row.initialised = 1;
    row.check_period = check_period;
    row.callbacks = &modules[index].callbacks;
    return row;
}

/// What the rows say of the items, and the time-outs of the viewer requests beside it.
constexpr std::array<csid_entry, module_count> initial_csids() {
    std::array<csid_entry, module_count> table{};
    for (int32_t i = 0; i < module_count; ++i) {
        table[static_cast<size_t>(i)] = {i, 0, modules[i].enable_csid, modules[i].read_csid};
    }
    return table;
}

std::array<csid_entry, module_count> csid_table = initial_csids();

csid_entry* find_csids(int32_t index) {
    return index >= 0 && index < module_count ? &csid_table[static_cast<size_t>(index)] : nullptr;
}

} // namespace

monitor_entry reg_monitor_cb[module_count];

void load_registry() {
    for (int32_t i = 0; i < module_count; ++i) {
        reg_monitor_cb[i] = initial_row(i);
    }
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
