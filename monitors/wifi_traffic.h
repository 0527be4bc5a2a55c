// Wi-Fi traffic of one band: the bytes that its up to eight virtual access points (VAPs) have sent and received, as the
// kernel counts them. csman names the band's main interface, which tells whether the band's VAPs are ra0 to ra7 or rai0
// to rai7; until it does, the band records nothing. Two instances, one for each band; a `wifi_band` is all that
// differs.
#ifndef MONITORS_WIFI_TRAFFIC_H
#define MONITORS_WIFI_TRAFFIC_H

#include "base/wall_clock.h"
#include "monitors/framed_monitor.h"
#include "monitors/metric_export.h"
#include "monitors/traffic_counters.h"
#include "platform/csman.h"
#include "probes/dashboard_netdev.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace dashboard {

constexpr int32_t vap_slots = 8;

struct wifi_sample {
    int32_t time;
    unsigned long long total_a, total_b; // the band, as its description sums it
    traffic_counters<vap_slots> vap;

    void add(const wifi_sample& other) {
        total_a += other.total_a;
        total_b += other.total_b;
        vap.add(other.vap);
    }
    void divide(int32_t n) {
        total_a /= static_cast<unsigned long long>(n);
        total_b /= static_cast<unsigned long long>(n);
        vap.divide(n);
    }
};

struct wifi_store {
    metric_store<wifi_sample> history;
};

constexpr char wifi_export_header[] = "count,index,tx,rx,txrx\n";

/// The item that names a band's main interface.
struct main_interface_csid {
    uint32_t id;
};

/// What tells one band from the other.
struct wifi_band {
    const monitor_description& about;
    export_description exports;
    main_interface_csid main_interface;
    void (*add_totals)(wifi_sample& sample, const netdev_entry& entry);
    void (*elements)(metric_document& document, const wifi_sample& sample);
};

/// One band's module.
template <const wifi_band& band>
class wifi_traffic {
public:
    /// Lets a band whose main interface was not known yet begin without a restart.
    static int check(int handle, int32_t* /*viewer*/, const monitor_cb* /*callbacks*/) {
        if (store == nullptr) {
            return 0;
        }
        if (pattern[0] == '\0') {
            resolve_pattern(handle);
        }
        return 1;
    }

    static int data_export(int /*handle*/, const int32_t* selector) {
        return export_series(store, selector, band.exports, rows);
    }

private:
    static constexpr int32_t pattern_size = 26;
    static constexpr char ra_pattern[] = "ra%d";
    static constexpr char rai_pattern[] = "rai%d";

    inline static wifi_store* store = nullptr;
    inline static char pattern[pattern_size] = {}; // how the band's VAPs are named; empty while not known

    /// A name that cannot be read leaves the band unnamed, also where it had one.
    static void resolve_pattern(int handle) {
        read_csman(handle, band.main_interface.id, pattern, pattern_size, csman_type_string);
        if (strncmp(pattern, "ra0", pattern_size) == 0) {
            memcpy(pattern, ra_pattern, sizeof ra_pattern);
        } else if (strncmp(pattern, "rai0", pattern_size) == 0) {
            memcpy(pattern, rai_pattern, sizeof rai_pattern);
        } else {
            pattern[0] = '\0';
        }
    }

    struct vap_name {
        char text[16];

        explicit vap_name(int32_t slot) {
            if (strcmp(pattern, rai_pattern) == 0) {
                snprintf(text, sizeof text, "rai%d", slot);
            } else {
                snprintf(text, sizeof text, "ra%d", slot);
            }
        }
    };

    /// Returns whether the interface is one of the band's VAPs.
    static bool take_interface(wifi_sample& sample, const netdev_entry& entry) {
        bool taken = false;
        for (int32_t slot = 0; slot < vap_slots; ++slot) {
            if (strcmp(vap_name(slot).text, entry.name) == 0) {
                sample.vap.take(slot, entry);
                band.add_totals(sample, entry);
                taken = true;
            }
        }
        return taken;
    }

    static bool get_wifi_traffic_item(wifi_sample& sample, int /*handle*/) {
        bool found = false;
        const netdev_entry* entry = nullptr;
        int32_t i = pattern[0] != '\0' ? netdev_found(0, "ra*", &entry) : -1;
        while (i >= 0) {
            if (netdev_alive(entry->name) == 1) {
                found = take_interface(sample, *entry) || found;
            }
            i = netdev_found(static_cast<uint32_t>(i) + 1, "ra*", &entry);
        }
        sample.time = wall_seconds();
        return found;
    }

    static void rows(metric_document& document, int32_t k, const wifi_sample& sample, const wifi_sample& previous) {
        for (int32_t slot = 0; slot < vap_slots; ++slot) {
            difference_row(document, k, slot, sample.vap, previous.vap);
        }
    }

public:
    static constexpr monitor_cb monitor =
        framed_monitor<store, band.about, resolve_pattern, get_wifi_traffic_item, band.elements>(check, data_export);
};

} // namespace dashboard

#endif
