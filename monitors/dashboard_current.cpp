// Current traffic: one document for the overview page with every live interface (kind, bytes, bytes per second), the
// CPU, memory and connection-table usage in percent, and the port states that csman holds. No history: every third
// second while somebody watches, the newest sample is published, its rates against the sample before it.

#include "monitors/metric_store.h"
#include "monitors/monitors.h"
#include "platform/csman.h"
#include "probes/dashboard_cpuinfo.h"
#include "probes/dashboard_netdev.h"
#include "probes/dashboard_sysinfo.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace dashboard {

namespace {

constexpr int32_t ring_slots = 10;
constexpr int32_t port_limit = 16;
constexpr int32_t calls_per_snapshot = 3;
constexpr int32_t percentage = 1; // mode of get_mem_usage

enum device_type : int32_t { ethernet, wireless_lan, wifi, cellular };

struct current_traffic_dev {
    char name[16]; // empty: the end of the list
    int32_t type;
    unsigned long long rx, tx;         // bytes
    unsigned long long rxrate, txrate; // bytes per second
};

struct current_traffic_sample {
    int32_t time;
    current_traffic_dev device[netdev_limit];
    cpu_info cpu;
    int32_t mem;                  // percent, -1: not known
    uint32_t netsession;          // percent
    int32_t port_eth[port_limit]; // -1: no such port
    int32_t port_3g[port_limit];
    int32_t port_use3g[port_limit];
    int32_t port_wifi2g, port_wifi5g, port_power;
};

/// A ring of the newest samples; its creation time stands where a series keeps its last roll-up.
using current_traffic_store = metric_series<current_traffic_sample, ring_slots>;

current_traffic_store* store = nullptr;

/// Calls of the loop while watched, since the last snapshot. Starts so that the first call makes one; neither init nor
/// term sets it back.
int32_t call_counter = 3;

constexpr monitor_description about = {
    "dashboard_current",
    "current_traffic_init",
    nullptr, // rolls nothing up
    xml_span{1},
    start_marker{}, // none is written
    {
        {"xml_current_traffic_sec", "/tmp/dashboard/current_traffic_sec_0_tmp.xml",
         "/tmp/dashboard/current_traffic_sec_0.xml", "/usr/www/current_traffic_sec_0.xml"},
        {}, // no minutes
        {}, // no hours
    },
    "/usr/www/current_traffic*",
    "/tmp/dashboard/current_traffic*",
};

constexpr uint32_t port_count_csid = 0x8000f360;
constexpr uint32_t port_eth_csid = 0x80010020; // + port
constexpr uint32_t port_3g_csid = 0x801e0701;  // + port
constexpr uint32_t port_use3g_csid = 0x1e4200; // + port
constexpr uint32_t port_wifi2g_csid = 0x10010;
constexpr uint32_t port_wifi5g_csid = 0x10018;
constexpr uint32_t port_power_csid = 0x803b0011;

// ---- sampling

const current_traffic_sample* newest() {
    return series_get(series_count(*store) - 1, *store);
}

device_type type_of(const char* name) {
    static constexpr struct {
        const char* prefix;
        device_type type;
    } families[] = {{"ra", wireless_lan}, {"usbnet", cellular}, {"apcl", wifi}};
    for (const auto& family : families) {
        if (strncmp(name, family.prefix, strlen(family.prefix)) == 0) {
            return family.type;
        }
    }
    return ethernet;
}

/// Deliberate: `before` is what stood at the same position in the previous sample, whatever its name, so that a rate
/// may wrap when the set of live interfaces changes.
void take_rates(current_traffic_dev& device, const current_traffic_dev& before, int32_t elapsed) {
    if (elapsed <= 0) {
        return;
    }
    const auto seconds = static_cast<unsigned long long>(elapsed);
    device.rxrate = (device.rx - before.rx) / seconds;
    device.txrate = (device.tx - before.tx) / seconds;
}

void take_device(current_traffic_dev& device, const netdev_entry& entry) {
    memcpy(device.name, entry.name, sizeof device.name - 1); // the rest of either name is NUL
    device.type = type_of(entry.name);
    device.rx = entry.rx_bytes;
    device.tx = entry.tx_bytes;
}

void take_devices(current_traffic_sample& sample, const current_traffic_sample* previous) {
    const netdev_entry* entry = nullptr;
    int32_t k = 0;
    for (int32_t i = netdev_found(0, "*", &entry); i >= 0;
         i = netdev_found(static_cast<uint32_t>(i) + 1, "*", &entry)) {
        if (netdev_alive(entry->name) == 0) {
            continue;
        }
        take_device(sample.device[k], *entry);
        if (previous != nullptr) {
            take_rates(sample.device[k], previous->device[k], seconds_between(previous->time, wall_seconds()));
        }
        ++k;
    }
}

void read_ports(int handle, uint32_t csid, int32_t (&ports)[port_limit], int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        read_csman_int(handle, csid + static_cast<uint32_t>(i), &ports[i]);
    }
}

void take_ports(current_traffic_sample& sample, int handle) {
    int count = 0;
    read_csman_int(handle, port_count_csid, &count);
    count = std::clamp(count, 0, port_limit);
    std::fill(sample.port_eth + count, sample.port_eth + port_limit, -1);
    read_ports(handle, port_eth_csid, sample.port_eth, count);
    read_ports(handle, port_3g_csid, sample.port_3g, port_limit);
    read_ports(handle, port_use3g_csid, sample.port_use3g, port_limit);
    read_csman_int(handle, port_wifi2g_csid, &sample.port_wifi2g);
    read_csman_int(handle, port_wifi5g_csid, &sample.port_wifi5g);
    read_csman_int(handle, port_power_csid, &sample.port_power);
}

// ---- elements

void device_elements(metric_document& document, int32_t i, const current_traffic_dev& device) {
    document_printf(document, " <item name=\"device_%d\">%s</item>\n", i, device.name);
    switch (device.type) {
    case cellular:
        document_printf(document, " <item name=\"type_%d\">Cellular</item>\n", i);
        break;
    case wifi:
        document_printf(document, " <item name=\"type_%d\">WiFi</item>\n", i);
        break;
    case wireless_lan:
        document_printf(document, " <item name=\"type_%d\">Wireless LAN</item>\n", i);
        break;
    default:
        document_printf(document, " <item name=\"type_%d\">Ethernet</item>\n", i);
    }
    document_printf(document, " <item name=\"tx_%d\">%llu</item>\n", i, device.tx);
    document_printf(document, " <item name=\"rx_%d\">%llu</item>\n", i, device.rx);
    document_printf(document, " <item name=\"txrate_%d\">%llu</item>\n", i, device.txrate);
    document_printf(document, " <item name=\"rxrate_%d\">%llu</item>\n", i, device.rxrate);
}

void port_elements(metric_document& document, const current_traffic_sample& sample) {
    for (int n = 1; n <= port_limit && sample.port_eth[n - 1] != -1; ++n) {
        document_printf(document, "  <port_eth%d>%d</port_eth%d>\n", n, sample.port_eth[n - 1], n);
    }
    for (int n = 1; n <= port_limit; ++n) {
        document_printf(document, "  <port_3g%d>%d</port_3g%d>\n", n, sample.port_3g[n - 1], n);
    }
    for (int n = 1; n <= port_limit; ++n) {
        document_printf(document, "  <port_use3g%d>%d</port_use3g%d>\n", n, sample.port_use3g[n - 1], n);
    }
    document_printf(document, "  <port_wifi2g>%d</port_wifi2g>\n", sample.port_wifi2g);
    document_printf(document, "  <port_wifi5g>%d</port_wifi5g>\n", sample.port_wifi5g);
    document_printf(document, "  <port_power>%d</port_power>\n", sample.port_power);
}

void elements(metric_document& document, const current_traffic_sample& sample) {
    for (int32_t i = 0; i < netdev_limit && sample.device[i].name[0] != '\0'; ++i) {
        device_elements(document, i, sample.device[i]);
    }
    document_printf(document, " <usage>%d|%d|%d</usage>\n", sample.cpu.all, sample.mem,
                    static_cast<int>(sample.netsession));
    port_elements(document, sample);
}

int xml_current_traffic_sec() {
    const document_names& names = about.documents[sec];
    metric_document document;
    if (!open_document(document, names)) {
        return 0;
    }
    begin_datalist(document);
    if (const current_traffic_sample* sample = newest(); sample != nullptr) {
        elements(document, *sample);
    }
    end_datalist(document);
    publish(document, names, about.source);
    return 1;
}

// ---- callbacks

int take_snapshot(int handle) {
    current_traffic_sample sample{};
    take_devices(sample, newest());
    query_cpu_info(&sample.cpu);
    sample.mem = get_mem_usage(percentage);
    sample.netsession = get_netsession_usage();
    take_ports(sample, handle);
    sample.time = wall_seconds();
    series_push(sample, *store);
    xml_current_traffic_sec();
    return 1;
}

int current_traffic_loop(int handle, int32_t* viewer, const monitor_cb* /*callbacks*/) {
    if (viewer_request(viewer) < 1) {
        return 1;
    }
    call_counter += 1;
    if (call_counter < calls_per_snapshot) {
        return 1;
    }
    call_counter = 0;
    return store != nullptr ? take_snapshot(handle) : 0;
}

int current_traffic_init(int handle, int /*unused*/) {
    if (store == nullptr) {
        if (!make_store(store, about)) {
            return 0;
        }
        store->last_roll_up = wall_seconds();
    }
    int32_t watched = 1;
    current_traffic_loop(handle, &watched, nullptr);
    return 1;
}

int current_traffic_term(int /*handle*/, int /*unused*/) {
    return drop_store(store, about);
}

int write_sec(int /*handle*/, const int32_t* /*index*/) {
    return store != nullptr ? xml_current_traffic_sec() : 0;
}

constexpr monitor_cb callbacks() {
    monitor_cb set;
    set.init = current_traffic_init;
    set.term = current_traffic_term;
    set.loop = current_traffic_loop;
    set.write_sec = write_sec;
    return set;
}

} // namespace

extern constexpr monitor_cb current_traffic_monitor = callbacks();

} // namespace dashboard
