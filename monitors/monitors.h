// The callback sets of the metric modules.
#ifndef MONITORS_MONITORS_H
#define MONITORS_MONITORS_H

#include "monitors/monitor_cb.h"

namespace dashboard {

extern const monitor_cb cpu_usage_monitor;
extern const monitor_cb mem_usage_monitor;
extern const monitor_cb wan_traffic_monitor;
extern const monitor_cb lan_traffic_monitor;
extern const monitor_cb bond_traffic_monitor;
extern const monitor_cb wifi_24g_traffic_monitor;
extern const monitor_cb wifi_5g_traffic_monitor;
extern const monitor_cb ap_traffic_monitor;
extern const monitor_cb allap_traffic_monitor;
extern const monitor_cb current_traffic_monitor;
extern const monitor_cb sim_strquality_monitor;

} // namespace dashboard

#endif
