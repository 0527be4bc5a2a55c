// The callback sets of the modules that are built, one name each.
#ifndef MONITORS_MONITORS_H
#define MONITORS_MONITORS_H

#include "core/monitor_cb.h"

namespace dashboard {

extern const monitor_cb cpu_usage_monitor;
extern const monitor_cb mem_usage_monitor;
extern const monitor_cb wan_traffic_monitor;
extern const monitor_cb lan_traffic_monitor;
extern const monitor_cb current_traffic_monitor;

} // namespace dashboard

#endif
