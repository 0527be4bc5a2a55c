// Signal quality of the two cellular SIM slots, in the units of the service that keeps it in csman. All measures but
// SINR are kept there as magnitudes and published behind a literal minus. A slot that is disabled or dead counts 0.
// Averages are signed 32-bit.

#include "base/dashboard_log.h"
#include "base/wall_clock.h"
#include "monitors/framed_monitor.h"
#include "monitors/metric_export.h"
#include "monitors/monitors.h"
#include "platform/csman.h"

#include <cstdint>

namespace dashboard {

namespace {

constexpr int32_t sim_slots = 2;

enum measure : int32_t { rssi, rsrp, rsrq, sinr, rscp, ecio, measure_count };

struct sim_sample {
    int32_t time;
    int32_t value[measure_count][sim_slots];

    void add(const sim_sample& other) {
        for (int32_t m = 0; m < measure_count; ++m) {
            for (int32_t k = 0; k < sim_slots; ++k) {
                value[m][k] = wrapping_sum(value[m][k], other.value[m][k]);
            }
        }
    }
    void divide(int32_t n) {
        for (auto& slots : value) {
            for (int32_t& slot : slots) {
                slot /= n;
            }
        }
    }
};

static_assert(sizeof(sim_sample) == 13 * sizeof(int32_t), "a time and six measures of two slots");

struct sim_store {
    metric_store<sim_sample> history;
    int32_t enabled[sim_slots]; // 1 or 0
};

sim_store* store = nullptr;

// Items of SIM 1; those of SIM 2 follow each.
constexpr uint32_t state_csid = 0x801e5020;
constexpr uint32_t measure_csid[measure_count] = {0x801e5f00, 0x801e8860, 0x801e7e20,
                                                  0x801e2be0, 0x801e7c20, 0x801e5e00};

constexpr monitor_description about = {
    "dashboard_simsq",
    "sim_strquality_init",
    "sim_strquality_loop",
    xml_span{72},
    start_marker{10},
    {
        {"xml_sim_strquality_sec", "/tmp/dashboard/sim_strquality_sec_0_tmp.xml",
         "/tmp/dashboard/sim_strquality_sec_0.xml", "/usr/www/sim_strquality_sec_0.xml"},
        {"xml_sim_strquality_min", "/tmp/dashboard/sim_strquality_min_0_tmp.xml",
         "/tmp/dashboard/sim_strquality_min_0.xml", "/usr/www/sim_strquality_min_0.xml"},
        {"xml_sim_strquality_hour", "/tmp/dashboard/sim_strquality_hour_0_tmp.xml",
         "/tmp/dashboard/sim_strquality_hour_0.xml", "/usr/www/sim_strquality_hour_0.xml"},
    },
    "/usr/www/sim_strquality*",
    "/tmp/dashboard/sim_strquality*",
};

constexpr export_description exports = {
    about.source,
    "count,index,RSSI,RSRP,RSRQ,SINR,RSCP,EcIo\n",
    fewest_samples{0},
    {
        {"data_export_sim_strquality_sec", "/tmp/dashboard/sim_strquality_sec_0_tmp",
         "/tmp/dashboard/sim_strquality_sec_0", "/usr/www/sim_strquality_sec_0"},
        {"data_export_sim_strquality_min", "/tmp/dashboard/sim_strquality_min_0_tmp",
         "/tmp/dashboard/sim_strquality_min_0", "/usr/www/sim_strquality_min_0"},
        {"data_export_sim_strquality_hour", "/tmp/dashboard/sim_strquality_hour_0_tmp",
         "/tmp/dashboard/sim_strquality_hour_0", "/usr/www/sim_strquality_hour_0"},
    },
};

// ---- sampling

int32_t read_state(int handle, int32_t k) {
    int state = 0;
    read_csman_int(handle, state_csid + static_cast<uint32_t>(k), &state);
    return state;
}

/// Deliberate: a slot is enabled by a 1 only, but lives on with any state but 0 until the next check.
void read_enabled(int handle) {
    for (int32_t k = 0; k < sim_slots; ++k) {
        store->enabled[k] = read_state(handle, k) == 1 ? 1 : 0;
    }
}

/// Returns whether the slot is alive.
bool sample_slot(sim_sample& sample, int handle, int32_t k) {
    if (read_state(handle, k) == 0) {
        _msg("get_sim_strquality_item", __LINE__, "3G/4G-%d is dead", k + 1);
        return false;
    }
    for (int32_t m = 0; m < measure_count; ++m) {
        read_csman_int(handle, measure_csid[m] + static_cast<uint32_t>(k), &sample.value[m][k]);
    }
    return true;
}

bool get_sim_strquality_item(sim_sample& sample, int handle) {
    bool live = false;
    for (int32_t k = 0; k < sim_slots; ++k) {
        if (store->enabled[k] == 1) {
            live = sample_slot(sample, handle, k) || live;
        }
    }
    sample.time = wall_seconds();
    return live;
}

// ---- elements and rows

void elements(metric_document& document, const sim_sample& sample) {
    for (int n = 1; n <= sim_slots; ++n) {
        const auto value = [&sample, n](measure m) { return sample.value[m][n - 1]; };
        document_printf(document, "    <sim%d_RSSI>-%d</sim%d_RSSI>\n", n, value(rssi), n);
        document_printf(document, "    <sim%d_RSRP>-%d</sim%d_RSRP>\n", n, value(rsrp), n);
        document_printf(document, "    <sim%d_RSRQ>-%d</sim%d_RSRQ>\n", n, value(rsrq), n);
        document_printf(document, "    <sim%d_SINR>%d</sim%d_SINR>\n", n, value(sinr), n);
        document_printf(document, "    <sim%d_RSCP>-%d</sim%d_RSCP>\n", n, value(rscp), n);
        document_printf(document, "    <sim%d_EcIo>-%d</sim%d_EcIo>\n", n, value(ecio), n);
    }
}

/// The samples' own values, however few there are: nothing is taken from nothing here.
void rows(metric_document& document, int32_t k, const sim_sample& sample, const sim_sample& /*previous*/) {
    for (int n = 1; n <= sim_slots; ++n) {
        const auto value = [&sample, n](measure m) { return sample.value[m][n - 1]; };
        document_printf(document, "%d,%d,-%d,-%d,-%d,%d,-%d,-%d\n", k + 1, n, value(rssi), value(rsrp), value(rsrq),
                        value(sinr), value(rscp), value(ecio));
    }
}

// ---- callbacks

int sim_strquality_check(int handle, int32_t* /*viewer*/, const monitor_cb* /*callbacks*/) {
    if (store == nullptr) {
        _warn("sim_strquality_check", __LINE__, "can't do check function");
        return 0;
    }
    read_enabled(handle);
    return 1;
}

int data_export(int /*handle*/, const int32_t* selector) {
    return export_series(store, selector, exports, rows);
}

} // namespace

extern constexpr monitor_cb sim_strquality_monitor =
    framed_monitor<store, about, read_enabled, get_sim_strquality_item, elements>(sim_strquality_check, data_export);

} // namespace dashboard
