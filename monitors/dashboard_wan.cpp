// WAN traffic: the bytes that up to sixteen WAN connections have sent and received, in bytes as the kernel counts them
// since the interface came up. Which interface carries a connection is said by csman; a connection keeps the last name
// it was given until the module is started again. A connection whose interface is down counts 0 in that second.

#include "base/dashboard_log.h"
#include "base/wall_clock.h"
#include "monitors/framed_monitor.h"
#include "monitors/metric_export.h"
#include "monitors/monitors.h"
#include "monitors/traffic_counters.h"
#include "platform/csman.h"
#include "probes/dashboard_netdev.h"

#include <cstdint>
#include <cstring>

namespace dashboard {

namespace {

constexpr int32_t wan_slots = 16;
constexpr int32_t wan_name_size = 16;

struct wan_sample {
    int32_t time;
    traffic_counters<wan_slots> bytes;

    void add(const wan_sample& other) { bytes.add(other.bytes); }
    void divide(int32_t n) { bytes.divide(n); }
};

struct wan_store {
    metric_store<wan_sample> history;
    char name[wan_slots][wan_name_size]; // terminated when shorter; empty: not in use

    bool in_use(int32_t slot) const { return name[slot][0] != '\0'; }
};

wan_store* store = nullptr;

constexpr uint32_t binding_csid = 0x10600;       // + slot
constexpr uint32_t fixed_name_csid = 0x8001000B; // the name for binding 99
constexpr uint32_t name_csid = 0x8001018F;       // + binding, 1..16
constexpr int32_t fixed_binding = 99;

constexpr monitor_description about = {
    "dashboard_wan",
    "wan_traffic_init",
    "wan_traffic_loop",
    xml_span{72},
    start_marker{3},
    {
        {"xml_wan_traffic_sec", "/tmp/dashboard/wan_traffic_sec_tmp.xml", "/tmp/dashboard/wan_traffic_sec_0.xml",
         "/usr/www/wan_traffic_sec_0.xml"},
        {"xml_wan_traffic_min", "/tmp/dashboard/wan_traffic_min_tmp.xml", "/tmp/dashboard/wan_traffic_min_0.xml",
         "/usr/www/wan_traffic_min_0.xml"},
        {"xml_wan_traffic_hour", "/tmp/dashboard/wan_traffic_hour_tmp.xml", "/tmp/dashboard/wan_traffic_hour_0.xml",
         "/usr/www/wan_traffic_hour_0.xml"},
    },
    "/usr/www/wan_traffic*",
    "/tmp/dashboard/wan_traffic*",
};

constexpr export_description exports = {
    about.source,
    "count,index,tx,rx,txrx\n",
    fewest_samples{2},
    {
        {"data_export_wan_traffic_sec", "/tmp/dashboard/wan_traffic_sec_0_tmp", "/tmp/dashboard/wan_traffic_sec_0",
         "/usr/www/wan_traffic_sec_0"},
        {"data_export_wan_traffic_min", "/tmp/dashboard/wan_traffic_min_0_tmp", "/tmp/dashboard/wan_traffic_min_0",
         "/usr/www/wan_traffic_min_0"},
        {"data_export_wan_traffic_hour", "/tmp/dashboard/wan_traffic_hour_0_tmp", "/tmp/dashboard/wan_traffic_hour_0",
         "/usr/www/wan_traffic_hour_0"},
    },
};

/// A name as a terminated string, also one that fills its buffer.
struct wan_name {
    char text[wan_name_size + 1] = {};

    explicit wan_name(const char (&name)[wan_name_size]) { memcpy(text, name, wan_name_size); }
};

// ---- sampling

void read_name(int handle, int32_t slot) {
    int binding = 0;
    read_csman_int(handle, binding_csid + static_cast<uint32_t>(slot), &binding);
    if (binding == fixed_binding) {
        read_csman(handle, fixed_name_csid, store->name[slot], wan_name_size, csman_type_string);
    } else if (binding >= 1 && binding <= wan_slots) {
        read_csman(handle, name_csid + static_cast<uint32_t>(binding), store->name[slot], wan_name_size,
                   csman_type_string);
    }
}

/// Returns whether the connection's interface could be read.
bool sample_slot(wan_sample& sample, int32_t slot) {
    const wan_name name(store->name[slot]);
    const netdev_entry* entry = nullptr;
    if (netdev_alive(name.text) == 0) {
        _msg("get_wan_traffic_item", __LINE__, "%s is dead", name.text);
        return false;
    }
    if (netdev_found(0, name.text, &entry) < 0) {
        _msg("get_wan_traffic_item", __LINE__, "can not find netdev(%s)", name.text);
        return false;
    }
    sample.bytes.take(slot, *entry);
    return true;
}

bool get_wan_traffic_item(wan_sample& sample, int /*handle*/) {
    bool taken = false;
    for (int32_t slot = 0; slot < wan_slots; ++slot) {
        if (store->in_use(slot)) {
            taken = sample_slot(sample, slot) || taken;
        }
    }
    sample.time = wall_seconds();
    return taken;
}

// ---- elements and rows

void elements(metric_document& document, const wan_sample& sample) {
    for (int32_t slot = 0; slot < wan_slots; ++slot) {
        if (!store->in_use(slot)) {
            continue;
        }
        const int n = slot + 1;
        document_printf(document, "    <wan%d_tx>%llu</wan%d_tx>\n", n, sample.bytes.tx[slot], n);
        document_printf(document, "    <wan%d_rx>%llu</wan%d_rx>\n", n, sample.bytes.rx[slot], n);
        document_printf(document, "    <wan%d_txrx>%llu</wan%d_txrx>\n", n, sample.bytes.txrx[slot], n);
    }
}

void rows(metric_document& document, int32_t k, const wan_sample& sample, const wan_sample& previous) {
    for (int32_t slot = 0; slot < wan_slots; ++slot) {
        if (store->in_use(slot)) {
            difference_row(document, k, slot, sample.bytes, previous.bytes);
        }
    }
}

// ---- callbacks

void add_connections(int handle) {
    for (int32_t slot = 0; slot < wan_slots; ++slot) {
        read_name(handle, slot);
        if (store->in_use(slot)) {
            _msg("wan_traffic_init", __LINE__, "Add WAN%d:(%s)", slot, wan_name(store->name[slot]).text);
        }
    }
}

int wan_traffic_check(int handle, int32_t* /*viewer*/, const monitor_cb* /*callbacks*/) {
    if (store == nullptr) {
        _warn("wan_traffic_check", __LINE__, "can't do check function");
        return 0;
    }
    for (int32_t slot = 0; slot < wan_slots; ++slot) {
        read_name(handle, slot);
    }
    return 1;
}

int data_export(int /*handle*/, const int32_t* selector) {
    return export_series(store, selector, exports, rows);
}

} // namespace

extern constexpr monitor_cb wan_traffic_monitor =
    framed_monitor<store, about, add_connections, get_wan_traffic_item, elements>(wan_traffic_check, data_export);

} // namespace dashboard
