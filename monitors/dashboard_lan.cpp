// LAN traffic: the bytes that the bridges br0 to br4 have sent and received, as the kernel counts them since the bridge
// came up. A bridge is followed from the moment it is seen alive until the module is started again, also when it goes
// away in between; it counts 0 while it is gone.

#include "base/dashboard_log.h"
#include "base/wall_clock.h"
#include "monitors/framed_monitor.h"
#include "monitors/metric_export.h"
#include "monitors/monitors.h"
#include "monitors/traffic_counters.h"
#include "probes/dashboard_netdev.h"

#include <cstdint>

namespace dashboard {

namespace {

constexpr int32_t lan_bridges = 5;

struct lan_sample {
    int32_t time;
    traffic_counters<lan_bridges> bytes;

    void add(const lan_sample& other) { bytes.add(other.bytes); }
    void divide(int32_t n) { bytes.divide(n); }
};

struct lan_store {
    metric_store<lan_sample> history;
    int32_t flag[lan_bridges]; // 1: the bridge is followed
};

lan_store* store = nullptr;

constexpr monitor_description about = {
    "dashboard_lan",
    "lan_traffic_init",
    "lan_traffic_loop",
    xml_span{72},
    start_marker{5},
    {
        {"xml_lan_traffic_sec", "/tmp/dashboard/lan_traffic_sec_tmp.xml", "/tmp/dashboard/lan_traffic_sec_0.xml",
         "/usr/www/lan_traffic_sec_0.xml"},
        {"xml_lan_traffic_min", "/tmp/dashboard/lan_traffic_min_tmp.xml", "/tmp/dashboard/lan_traffic_min_0.xml",
         "/usr/www/lan_traffic_min_0.xml"},
        {"xml_lan_traffic_hour", "/tmp/dashboard/lan_traffic_hour_tmp.xml", "/tmp/dashboard/lan_traffic_hour_0.xml",
         "/usr/www/lan_traffic_hour_0.xml"},
    },
    "/usr/www/lan_traffic*",
    "/tmp/dashboard/lan_traffic*",
};

constexpr export_description exports = {
    about.source,
    "count,index,tx,rx,txrx\n",
    fewest_samples{2},
    {
        {"data_export_lan_traffic_sec", "/tmp/dashboard/lan_traffic_sec_0_tmp", "/tmp/dashboard/lan_traffic_sec_0",
         "/usr/www/lan_traffic_sec_0"},
        {"data_export_lan_traffic_min", "/tmp/dashboard/lan_traffic_min_0_tmp", "/tmp/dashboard/lan_traffic_min_0",
         "/usr/www/lan_traffic_min_0"},
        {"data_export_lan_traffic_hour", "/tmp/dashboard/lan_traffic_hour_0_tmp", "/tmp/dashboard/lan_traffic_hour_0",
         "/usr/www/lan_traffic_hour_0"},
    },
};

constexpr const char* bridge_names[lan_bridges] = {"br0", "br1", "br2", "br3", "br4"};

// ---- sampling

enum class bridge_probe { every_bridge, new_bridges };

void check_lan_bridges(int32_t (&flag)[lan_bridges], bridge_probe mode) {
    for (int32_t bridge = 0; bridge < lan_bridges; ++bridge) {
        if (mode == bridge_probe::every_bridge || flag[bridge] != 1) {
            flag[bridge] = netdev_alive(bridge_names[bridge]);
        }
    }
}

/// Returns whether the bridge could be read.
bool sample_bridge(lan_sample& sample, int32_t bridge) {
    const char* const name = bridge_names[bridge];
    const netdev_entry* entry = nullptr;
    if (netdev_alive(name) == 0) {
        _msg("get_lan_traffic_item", __LINE__, "netdev(%s) is not alive", name);
        return false;
    }
    if (netdev_found(0, name, &entry) < 0) {
        _msg("get_lan_traffic_item", __LINE__, "can not find netdev(%s)", name);
        return false;
    }
    sample.bytes.take(bridge, *entry);
    return true;
}

bool get_lan_traffic_item(lan_sample& sample, int /*handle*/) {
    bool taken = false;
    for (int32_t bridge = 0; bridge < lan_bridges; ++bridge) {
        if (store->flag[bridge] == 1) {
            taken = sample_bridge(sample, bridge) || taken;
        }
    }
    sample.time = wall_seconds();
    return taken;
}

// ---- elements and rows

void elements(metric_document& document, const lan_sample& sample) {
    for (int32_t bridge = 0; bridge < lan_bridges; ++bridge) {
        if (store->flag[bridge] != 1) {
            continue;
        }
        const int n = bridge + 1;
        document_printf(document, "    <lan%d_tx>%llu</lan%d_tx>\n", n, sample.bytes.tx[bridge], n);
        document_printf(document, "    <lan%d_rx>%llu</lan%d_rx>\n", n, sample.bytes.rx[bridge], n);
        document_printf(document, "    <lan%d_txrx>%llu</lan%d_txrx>\n", n, sample.bytes.txrx[bridge], n);
    }
}

void rows(metric_document& document, int32_t k, const lan_sample& sample, const lan_sample& previous) {
    for (int32_t bridge = 0; bridge < lan_bridges; ++bridge) {
        if (store->flag[bridge] == 1) {
            difference_row(document, k, bridge, sample.bytes, previous.bytes);
        }
    }
}

// ---- callbacks

void find_bridges(int /*handle*/) {
    check_lan_bridges(store->flag, bridge_probe::every_bridge);
}

int lan_traffic_check(int /*handle*/, int32_t* /*viewer*/, const monitor_cb* /*callbacks*/) {
    if (store == nullptr) {
        return 0;
    }
    check_lan_bridges(store->flag, bridge_probe::new_bridges);
    return 1;
}

int data_export(int /*handle*/, const int32_t* selector) {
    return export_series(store, selector, exports, rows);
}

} // namespace

extern constexpr monitor_cb lan_traffic_monitor =
    framed_monitor<store, about, find_bridges, get_lan_traffic_item, elements>(lan_traffic_check, data_export);

} // namespace dashboard
