// Bond traffic: bytes received plus sent of up to three link-aggregation interfaces and of up to four members
// ("slaves") of each, as the kernel counts them. The check follows the configuration and the kernel's slave lists and
// so starts and stops bonds. Nothing is ever rolled up: minutes and hours stay empty. The viewer request value selects
// the bond whose seconds are published, 1 for bond0.

#include "base/dashboard_log.h"
#include "base/wall_clock.h"
#include "monitors/metric_store.h"
#include "monitors/monitors.h"
#include "platform/csman.h"
#include "probes/dashboard_netdev.h"
#include "probes/text_scan.h"
#include "probes/text_source.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace dashboard {

namespace {

constexpr int32_t bond_limit = 3;
constexpr int32_t slave_limit = 4;
constexpr int32_t interface_size = 16;
constexpr int32_t display_size = 64;

struct bond_sample {
    int32_t time;
    unsigned long long txrx;
    unsigned long long slave_txrx[slave_limit];
};

/// What the web interface calls a bond and its slaves. The map fills its buffer at times and has no end then.
struct bond_names {
    char map[display_size];
    char slave[slave_limit][display_size];
};

struct bond_slot {
    metric_store<bond_sample> history;
    char interface[interface_size]; // empty: the bond is not up
    char slave[slave_limit][interface_size];
    bond_names names;
    int32_t active;     // the module follows this bond
    int32_t configured; // what the bond's enable item read last
};

struct bond_store {
    bond_slot bond[bond_limit];
};

bond_store* store = nullptr;

constexpr uint32_t enable_csid = 0xb20070; // + bond
constexpr uint32_t name_map_csid = 0xb200b0;

constexpr monitor_description about = {
    "dashboard_bond",
    "bond_traffic_init",
    nullptr, // rolls nothing up
    xml_span{60},
    start_marker{40}, // of bond0; those of the others follow
    {
        {"xml_bond_traffic_sec", "/tmp/dashboard/bond_traffic_sec_%d_tmp.xml", "/tmp/dashboard/bond_traffic_sec_%d.xml",
         "/usr/www/bond_traffic_sec_%d.xml"},
        {"xml_bond_traffic_min", "/tmp/dashboard/bond_traffic_min_%d_tmp.xml", "/tmp/dashboard/bond_traffic_min_%d.xml",
         "/usr/www/bond_traffic_min_%d.xml"},
        {"xml_bond_traffic_hour", "/tmp/dashboard/bond_traffic_hour_%d_tmp.xml",
         "/tmp/dashboard/bond_traffic_hour_%d.xml", "/usr/www/bond_traffic_hour_%d.xml"},
    },
    "/usr/www/bond_traffic*",
    "/tmp/dashboard/bond_traffic*",
};

// ---- documents

void name_elements(metric_document& document, const bond_slot& slot) {
    document_printf(document, "    <namemap_bond>%.64s</namemap_bond>\n", slot.names.map);
    for (int32_t k = 0; k < slave_limit; ++k) {
        if (slot.slave[k][0] != '\0') {
            document_printf(document, "    <namemap_slave%d>%s</namemap_slave%d>\n", k, slot.names.slave[k], k);
        }
    }
}

void elements(metric_document& document, const bond_slot& slot, int32_t i, const bond_sample& sample) {
    document_printf(document, "    <bond%d_txrx>%llu</bond%d_txrx>\n", i, sample.txrx, i);
    for (int32_t k = 0; k < slave_limit; ++k) {
        if (slot.slave[k][0] != '\0') {
            document_printf(document, "    <slave%d_txrx>%llu</slave%d_txrx>\n", k, sample.slave_txrx[k], k);
        }
    }
}

int write_document(series_id id, int32_t i) {
    const indexed_names names(about.documents[id], i);
    metric_document document;
    if (!open_document(document, names)) {
        return 0;
    }
    const bond_slot& slot = store->bond[i];
    begin_datalist(document);
    name_elements(document, slot);
    document_samples(document, slot.history.series[id], about.span,
                     [&slot, i](metric_document& out, const bond_sample& sample) { elements(out, slot, i, sample); });
    end_datalist(document);
    publish(document, names, about.source);
    return 1;
}

void remove_sec_document(int32_t i) {
    remove(indexed_names(about.documents[sec], i).published);
}

// ---- configuration

void restart_slot(bond_slot& slot) {
    memset(static_cast<void*>(&slot), 0, sizeof slot);
    slot.active = 1;
    slot.configured = 1;
    start_series(slot.history, wall_seconds());
}

void read_enable_item(int handle, int32_t i, int32_t& value) {
    read_csman_int(handle, enable_csid + static_cast<uint32_t>(i), &value);
}

void follow_configuration(bond_slot& slot, int32_t i) {
    if (slot.active == 0 && slot.configured == 1) {
        _msg("bond_traffic_check", __LINE__, "dashboard-bond%d start", i);
        restart_slot(slot);
        write_document(sec, i);
    } else if (slot.active == 1 && slot.configured == 0) {
        _msg("bond_traffic_check", __LINE__, "dashboard-bond%d stop", i);
        memset(static_cast<void*>(&slot), 0, sizeof slot);
        remove_sec_document(i);
    }
}

/// The bond has come up: its history begins anew.
void bring_up(int handle, bond_slot& slot, int32_t i) {
    restart_slot(slot);
    // Deliberate: also where the start has just written it; the next viewed sample brings it back.
    remove_sec_document(i);
    mark_start(handle, start_marker{about.marker.code + i});
}

/// Reads "number:interface". Returns whether both stood there; of a longer name the front is kept.
bool scan_slave(text_source& list, int32_t& number, char (&name)[interface_size]) {
    if (!scan_integer(list, number) || !scan_literal(list, ":") || !scan_word(list, name)) {
        return false;
    }
    skip_word(list);
    return true;
}

/// Slaves beyond those listed keep what they had.
void read_slaves(text_source& list, bond_slot& slot) {
    int32_t number = 0;
    char name[interface_size] = {};
    for (int32_t k = 0; k < slave_limit && scan_slave(list, number, name); ++k) {
        snprintf(slot.slave[k], sizeof slot.slave[k], "%s", name);
        snprintf(slot.names.slave[k], sizeof slot.names.slave[k], "WAN-%d(slave%d)", wrapping_sum(number, 1), k + 1);
    }
}

void follow_kernel(int handle, bond_slot& slot, int32_t i) {
    if (slot.active == 0) {
        slot.interface[0] = '\0';
        return;
    }
    char text[display_size] = {};
    snprintf(text, sizeof text, "/sys/class/net/bond%d/bonding/slaves", i);
    text_source list(open_for_reading(text));
    if (list.fd < 0) {
        slot.interface[0] = '\0';
        return;
    }
    if (slot.interface[0] == '\0') {
        bring_up(handle, slot, i);
    }
    snprintf(slot.interface, sizeof slot.interface, "bond%d", i);
    // Deliberate: the path's own buffer takes the map, so that without a map the path is shown.
    read_csman(handle, name_map_csid, text, display_size, csman_type_string);
    memcpy(slot.names.map, text, sizeof text);
    read_slaves(list, slot);
    close(list.fd);
}

// ---- sampling

unsigned long long rx_and_tx(const netdev_entry& entry) {
    return entry.rx_bytes + entry.tx_bytes;
}

bool sample_bond(bond_sample& sample, const bond_slot& slot) {
    const netdev_entry* entry = nullptr;
    if (netdev_alive(slot.interface) == 0) {
        _msg("get_bond_traffic_item", __LINE__, "netdev(%s) is not alive", slot.interface);
        return false;
    }
    if (netdev_found(0, slot.interface, &entry) < 0) {
        _msg("get_bond_traffic_item", __LINE__, "can not find netdev(%s)", slot.interface);
        return false;
    }
    sample.txrx = rx_and_tx(*entry);
    for (int32_t k = 0; k < slave_limit; ++k) {
        const char* slave = slot.slave[k];
        if (slave[0] != '\0' && netdev_alive(slave) == 1 && netdev_found(0, slave, &entry) >= 0) {
            sample.slave_txrx[k] = rx_and_tx(*entry);
        }
    }
    return true;
}

void follow_bond(bond_slot& slot, int32_t i, int32_t request) {
    bond_sample sample{};
    if (slot.active == 0 || slot.interface[0] == '\0' || !sample_bond(sample, slot)) {
        return;
    }
    sample.time = wall_seconds();
    series_push(sample, slot.history.series[sec]);
    if (request == i + 1) {
        write_document(sec, i);
    }
}

// ---- callbacks

int bond_traffic_init(int handle, int /*unused*/) {
    if (!make_store(store, about)) {
        return 0;
    }
    for (int32_t i = 0; i < bond_limit; ++i) {
        start_series(store->bond[i].history, wall_seconds());
        read_enable_item(handle, i, store->bond[i].active);
    }
    for (int32_t i = 0; i < bond_limit; ++i) {
        if (store->bond[i].active != 0) {
            write_document(sec, i);
        }
    }
    return 1;
}

int bond_traffic_check(int handle, int32_t* /*viewer*/, const monitor_cb* /*callbacks*/) {
    if (store == nullptr) {
        _warn("bond_traffic_check", __LINE__, "can't do checkfunction");
        return 0;
    }
    for (int32_t i = 0; i < bond_limit; ++i) {
        read_enable_item(handle, i, store->bond[i].configured);
    }
    for (int32_t i = 0; i < bond_limit; ++i) {
        follow_configuration(store->bond[i], i);
    }
    for (int32_t i = 0; i < bond_limit; ++i) {
        follow_kernel(handle, store->bond[i], i);
    }
    return 1;
}

int get_bond_traffic_item(int /*handle*/, int32_t* viewer, const monitor_cb* /*callbacks*/) {
    if (store == nullptr) {
        return 0;
    }
    const int32_t request = viewer_request(viewer);
    for (int32_t i = 0; i < bond_limit; ++i) {
        follow_bond(store->bond[i], i, request);
    }
    return 1;
}

int bond_traffic_term(int /*handle*/, int /*unused*/) {
    return drop_store(store, about);
}

/// Writes the document of the bond that `index` points to, of bond0 when it is empty.
template <series_id id>
int write_indexed(int /*handle*/, const int32_t* index) {
    const int32_t i = index != nullptr ? *index : 0;
    return store != nullptr && i >= 0 && i < bond_limit ? write_document(id, i) : 0;
}

constexpr monitor_cb callbacks() {
    monitor_cb set;
    set.init = bond_traffic_init;
    set.check = bond_traffic_check;
    set.term = bond_traffic_term;
    set.loop = get_bond_traffic_item;
    set.write_sec = write_indexed<sec>;
    set.write_min = write_indexed<min>;
    set.write_hour = write_indexed<hour>;
    return set;
}

} // namespace

extern constexpr monitor_cb bond_traffic_monitor = callbacks();

} // namespace dashboard
