// The module registry: one row per metric module, and the csman items that switch modules and ask for them.
#ifndef CORE_DASHBOARD_REGISTRY_H
#define CORE_DASHBOARD_REGISTRY_H

#include "monitors/monitor_cb.h"

#include <cstdint>

namespace dashboard {

constexpr int32_t module_count = 11;
/// Stands for every module where a module index is asked for.
constexpr int32_t every_module = module_count;

/// One module as the server thread drives it. Row i holds module i.
struct monitor_entry {
    int32_t module_index;
    int32_t enabled;          // what the enable item read last; the module runs only while it is exactly 1
    int32_t previous_enabled; // enabled, after its last change was handled
    int32_t viewer_request;   // positive while the web interface watches
    int32_t initialised;      // 1 from a successful init to a successful term
    int32_t check_counter;    // cycles since the last check
    int32_t check_period;     // the check runs when the counter, before it is advanced, exceeds this
    const monitor_cb* callbacks;
};

/// The items of one module. `timeout`: when the viewer request expires, seconds since the epoch.
struct csid_entry {
    int32_t module_index;
    int32_t timeout;
    uint32_t enable_csid;
    uint32_t read_csid;
};

/// The rows that the server thread works on.
extern monitor_entry reg_monitor_cb[module_count];

/// Copies the constant initial rows into reg_monitor_cb. Every row starts as initialised, so that the first
/// term_monitor_cb clears what an earlier run left.
void load_registry();

/// The csid that enables module `index`, or that carries its viewer request; 0 when there is no such module.
uint32_t find_en_csid(int32_t index);
uint32_t find_rd_csid(int32_t index);

/// The viewer time-out of module `index`; null when there is no such module.
int32_t* find_timeout_value(int32_t index);

} // namespace dashboard

#endif
